// VLArriANCParser over the input read with and without flags. Invariant: the answer is the
// model's answer for the same bytes (fuzz/model/arri_model.h): the first metadata value of the
// model's KLV loop, translated by the model's record table when it holds 4096 bytes or more, and
// empty otherwise; its interpreted view holds no NaN or infinity and reads back from its
// dictionary form; its interpreted view holds no NaN or infinity; its numbers convert without
// undefined behaviour.
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "model/arri_model.h"
#include "mutator.h"
#include "rdd18/arri/VLArriANCParser.h"

using namespace rdd18;
using namespace rdd18::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const VLArriANCParser parser;
    const InputCopy input(data, size);
    for (const bool flags : {false, true}) {
        const Dictionary answer = parser.parseData(input.span(), flags);
        VELMORA_FUZZ_CHECK(answer == model::answer(input.span(), flags));
        checkConversions(answer);
        checkCameraModel(interpret::fromArri(answer));
    }
    return 0;
}

VELMORA_FUZZ_FRAME_MUTATOR(rdd18::fuzz::FrameKind::Arri)
