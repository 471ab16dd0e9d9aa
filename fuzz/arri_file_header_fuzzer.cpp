// translateFileHeaderToDictionary over a 4096-byte record (the input's first 4096 bytes, filled
// up with zeros). Invariants:
//  - the same record gives the same answer twice;
//  - 54 to 62 keys: the 54 always there, the lens keys as a group exactly when the focus distance
//    is not 0 and the iris word not 0xFFFFFFFF, each VFX key exactly when its word isn't
//    0xFFFFFFFF; every value of its kind; every text field by the text rule;
//  - the bytes that are never read (the leading group, the eleven further timecode records, the
//    further group and the tail) have no effect.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "arri_support.h"
#include "fuzz_support.h"
#include "rdd18/arri/VLArriANCParser.h"

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

constexpr std::size_t kRecordSize = 4096;

struct Range {
    std::size_t offset, size;
};
constexpr Range kNeverRead[] = {
    {0x0000, 16},    // leading group
    {0x01B8, 176},   // eleven further timecode records
    {0x0718, 220},   // further group
    {0x0848, 1976},  // tail
};

Dictionary translate(const unsigned char* record) {
    static const VLArriANCParser parser;
    return parser.translateFileHeaderToDictionary(
        reinterpret_cast<const rdd18::arri::ArriFileHeader*>(record));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Exactly 4096 bytes on the heap: a read past the record is an AddressSanitizer report.
    const std::unique_ptr<unsigned char[]> record(new unsigned char[kRecordSize]());
    std::copy_n(data, std::min(size, kRecordSize), record.get());

    const Dictionary answer = translate(record.get());
    VELMORA_FUZZ_CHECK(translate(record.get()) == answer);
    arri_answer::checkArriAnswer(answer, record.get());

    for (const Range& r : kNeverRead) {
        std::for_each(record.get() + r.offset, record.get() + r.offset + r.size,
                      [](unsigned char& b) { b = static_cast<unsigned char>(~b); });
    }
    VELMORA_FUZZ_CHECK(translate(record.get()) == answer);
    return 0;
}
