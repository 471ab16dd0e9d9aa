// translateFileHeaderToDictionary over a 4096-byte record (the input's first 4096 bytes, filled
// up with zeros). Invariant: the answer is the model's translation of the same record
// (fuzz/model/arri_model.h): every key, kind and value, the lens and VFX keys present exactly
// when their sentinels say so; and its numbers convert to integers and floats without undefined
// behaviour (checkConversions).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_support.h"
#include "model/arri_model.h"
#include "rdd18/arri/VLArriANCParser.h"

using namespace rdd18;
using namespace rdd18::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const VLArriANCParser parser;
    // Exactly 4096 bytes on the heap: a read past the record is an AddressSanitizer report.
    constexpr std::size_t kRecordSize = 4096;
    const std::unique_ptr<unsigned char[]> record(new unsigned char[kRecordSize]());
    std::copy_n(data, std::min(size, kRecordSize), record.get());
    const Dictionary answer = parser.translateFileHeaderToDictionary(
        reinterpret_cast<const rdd18::arri::ArriFileHeader*>(record.get()));
    VELMORA_FUZZ_CHECK(answer == model::record(record.get()));
    checkConversions(answer);
    return 0;
}
