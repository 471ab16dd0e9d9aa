// VLArriANCParser over the input read with and without flags. Invariants:
//  - the same bytes give the same answer twice;
//  - the answer is empty, or 54 to 62 keys of the record's kinds;
//  - the answer is the translation of the first blob that parseAncillaryData keeps under the
//    metadata key when that blob has 4096 bytes or more, and empty when there is none, when it is
//    shorter, or when the stream raises ParsingError;
//  - a whole packet of another kind put in where the packet walk stands changes nothing;
//  - a buffer the walk takes whole gives the same answer with flags put on or taken off;
//  - the interpreted view holds no NaN or infinity and survives its dictionary form.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "arri_support.h"
#include "fuzz_support.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_ancillary_parser.h"

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

const VLArriANCParser& parser() {
    static const VLArriANCParser instance;
    return instance;
}

AncillaryDataBufferContainsFlags flagsValue(bool flags) {
    return flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags;
}

/// The answer built from the blob layer.
Dictionary fromFirstMetadataBlob(const InputCopy& input, bool flags) {
    AncillaryDataBufferReader reader(input.data(), input.size(), flagsValue(flags));
    try {
        const auto blobs =
            rdd18::arri::parseAncillaryData(reader, [](const rdd18::arri::ArriAncKey& key) {
                return key == rdd18::arri::ArriAncMetadataKey;
            });
        if (blobs.empty() || blobs.front().size() < 4096) return {};
        return parser().translateFileHeaderToDictionary(
            reinterpret_cast<const rdd18::arri::ArriFileHeader*>(blobs.front().data()));
    } catch (const ParsingError&) {
        return {};
    }
}

void checkOneReading(const InputCopy& input, bool flags) {
    const Dictionary answer = parser().parseData(input.span(), flags);
    VELMORA_FUZZ_CHECK(parser().parseData(input.span(), flags) == answer);
    if (!answer.empty()) arri_answer::checkArriAnswer(answer);
    checkCameraModel(interpret::fromArri(answer));
    VELMORA_FUZZ_CHECK(fromFirstMetadataBlob(input, flags) == answer);

    const auto packets = packetsFromData(input.data(), input.size(), flagsValue(flags));
    const unsigned selector = input.fromEnd(0) | (input.fromEnd(1) << 8);
    const Bytes foreign = foreignPacket(0x44, 0x04, 3, selector, input.span(), flags);
    const Bytes withForeign =
        insertAtPacketBoundary(input.span(), packets, input.fromEnd(2), foreign);
    VELMORA_FUZZ_CHECK(parser().parseData(withForeign, flags) == answer);

    if (walkIsExact(packets, input.size(), flags)) {
        const Bytes rewritten = rewritePackets(packets, flags ? 0 : input.fromEnd(3) | 1u);
        VELMORA_FUZZ_CHECK(parser().parseData(rewritten, !flags) == answer);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    checkOneReading(input, false);
    checkOneReading(input, true);
    return 0;
}
