// arri::parseAncillaryData over the input read with and without flags, with three filters: one
// that keeps every item, one that keeps the metadata item only, one that keeps nothing. Each
// filter records the keys it is asked about. Invariants:
//  - the same bytes give the same outcome twice;
//  - the filter is asked about the same keys, in the same order, whatever it answers, and the
//    three parses fail (ParsingError) together: a kept value and a skipped one leave the stream
//    at the same place, and a value cut short ends the stream either way;
//  - keeping everything gives a blob for each key asked about, but perhaps the last (cut short);
//    keeping the metadata item gives those of them under its key; keeping nothing gives none;
//  - no blob is longer than 24 bits can say, and keys and values together take no more than the
//    stream bytes of the ARRI packets;
//  - a whole packet of another kind put in where the packet walk stands changes nothing;
//  - a buffer the walk takes whole gives the same outcome with flags put on or taken off.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_support.h"
#include "rdd18/arri/arri_ancillary_parser.h"

using namespace rdd18;
using namespace rdd18::arri;
using namespace rdd18::fuzz;

namespace {

enum class Keep { All, Metadata, Nothing };

struct Outcome {
    bool failed = false;
    std::vector<ArriAncKey> asked;
    std::vector<Bytes> values;  // the blobs' bytes, in order
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

Outcome parse(std::span<const unsigned char> bytes, bool flags, Keep keep) {
    Outcome out;
    AncillaryDataBufferReader reader(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    const ArriAncKeyFilter filter = [&](const ArriAncKey& key) {
        out.asked.push_back(key);
        return keep == Keep::All || (keep == Keep::Metadata && key == ArriAncMetadataKey);
    };
    try {
        for (const ArriAncBlob& blob : parseAncillaryData(reader, filter)) {
            VELMORA_FUZZ_CHECK(blob.data() != nullptr && blob.size() <= 0xFFFFFF);
            out.values.emplace_back(blob.data(), blob.data() + blob.size());
        }
    } catch (const ParsingError&) {
        out.failed = true;
        out.values.clear();
    }
    return out;
}

void checkOneReading(const InputCopy& input, bool flags) {
    const Outcome all = parse(input.span(), flags, Keep::All);
    VELMORA_FUZZ_CHECK(parse(input.span(), flags, Keep::All) == all);
    const Outcome metadata = parse(input.span(), flags, Keep::Metadata);
    const Outcome nothing = parse(input.span(), flags, Keep::Nothing);

    VELMORA_FUZZ_CHECK(metadata.failed == all.failed && nothing.failed == all.failed);
    VELMORA_FUZZ_CHECK(metadata.asked == all.asked && nothing.asked == all.asked);
    VELMORA_FUZZ_CHECK(nothing.values.empty());
    if (!all.failed) {
        VELMORA_FUZZ_CHECK(all.values.size() == all.asked.size() ||
                           all.values.size() + 1 == all.asked.size());
        std::vector<Bytes> expected;
        for (std::size_t i = 0; i < all.values.size(); ++i) {
            if (all.asked[i] == ArriAncMetadataKey) expected.push_back(all.values[i]);
        }
        VELMORA_FUZZ_CHECK(metadata.values == expected);
    }

    const auto packets =
        packetsFromData(input.data(), input.size(),
                        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    std::size_t streamBytes = 0;
    for (const auto& p : packets) {
        if (p.did == 0x44 && p.sdid == 0x04 && p.payloadSize() > 3)
            streamBytes += p.payloadSize() - 3;
    }
    std::size_t taken = 0;
    for (const Bytes& v : all.values) taken += 20 + v.size();
    VELMORA_FUZZ_CHECK(taken <= streamBytes);

    const unsigned selector = input.fromEnd(0) | (input.fromEnd(1) << 8);
    const Bytes foreign = foreignPacket(0x44, 0x04, 3, selector, input.span(), flags);
    const Bytes withForeign =
        insertAtPacketBoundary(input.span(), packets, input.fromEnd(2), foreign);
    VELMORA_FUZZ_CHECK(parse(withForeign, flags, Keep::All) == all);

    if (walkIsExact(packets, input.size(), flags)) {
        const Bytes rewritten = rewritePackets(packets, flags ? 0 : input.fromEnd(3) | 1u);
        VELMORA_FUZZ_CHECK(parse(rewritten, !flags, Keep::All) == all);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    checkOneReading(input, false);
    checkOneReading(input, true);
    return 0;
}
