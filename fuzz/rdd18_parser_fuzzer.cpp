// VLRDD18Parser of one flavour (VELMORA_FUZZ_FLAVOUR: 0 standard, 1 Varicam, 2 Sony), over the
// input read with and without flags. Invariants: the answer is the model's answer for the same
// bytes (fuzz/model/rdd18_model.h), keys, value kinds and values, bit for bit; and its numbers
// convert to integers and floats without undefined behaviour (checkConversions).
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "model/rdd18_model.h"
#include "mutator.h"
#include "rdd18/output/VLRDD18Parser.h"

#ifndef VELMORA_FUZZ_FLAVOUR
#error "VELMORA_FUZZ_FLAVOUR must be 0 (standard), 1 (Varicam) or 2 (Sony)"
#endif

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

constexpr int kFlavour = VELMORA_FUZZ_FLAVOUR;

const VLRDD18Parser& parser() {
    static const VLRDD18Parser instance(kFlavour);
    return instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    for (const bool flags : {false, true}) {
        const Dictionary answer = parser().parseData(input.span(), flags);
        VELMORA_FUZZ_CHECK(answer == model::answer(input.span(), flags, kFlavour));
        checkConversions(answer);
        checkCameraModel(interpret::fromRDD18(answer));
    }
    return 0;
}

VELMORA_FUZZ_FRAME_MUTATOR(rdd18::fuzz::FrameKind::Rdd18)
