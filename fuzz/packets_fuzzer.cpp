// The packet walk: every packet lies inside the buffer where the walk says, in order and without
// overlap; the walk is the same through packetsFromData and through the reader; and the same
// packets written again with flags put on or taken off walk to the same packets.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_support.h"
#include "rdd18/transport/ancillary_packet.h"

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

using Packets = std::vector<utils::AncillaryPacket>;

bool samePacket(const utils::AncillaryPacket& a, const utils::AncillaryPacket& b) {
    return a.did == b.did && a.sdid == b.sdid && a.size == b.size && a.checksum == b.checksum &&
           std::memcmp(a.payload, b.payload, a.payloadSize()) == 0;
}

bool samePackets(const Packets& a, const Packets& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), samePacket);
}

AncillaryDataBufferContainsFlags flagsValue(bool flags) {
    return flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags;
}

void checkWalk(const InputCopy& input, bool flags) {
    const unsigned char* base = input.data();
    const std::size_t size = input.size();
    const Packets packets = packetsFromData(base, size, flagsValue(flags));

    // The reader walks the same packets; each call moves the cursor, and the walk ends at the end.
    AncillaryDataBufferReader reader(base, size, flagsValue(flags));
    Packets walked;
    unsigned long remaining = reader.remainingBufferSize();
    VELMORA_FUZZ_CHECK(remaining == size);
    while (reader.hasNextPacket()) {
        if (auto p = reader.readNextPacket()) walked.push_back(*p);
        VELMORA_FUZZ_CHECK(reader.remainingBufferSize() < remaining);
        remaining = reader.remainingBufferSize();
    }
    VELMORA_FUZZ_CHECK(remaining == 0 && !reader.readNextPacket());
    VELMORA_FUZZ_CHECK(walked.size() == packets.size());
    for (std::size_t i = 0; i < packets.size(); ++i)
        VELMORA_FUZZ_CHECK(walked[i].payload == packets[i].payload &&
                           samePacket(walked[i], packets[i]));

    // Each packet is where its header says, whole, behind the previous one. Without flags the
    // walk never skips a byte before the last packet; with flags it skips only whole 3-byte
    // groups that are not a flag.
    const std::size_t header = flags ? 6 : 3;
    std::size_t previousEnd = 0;
    for (const auto& p : packets) {
        VELMORA_FUZZ_CHECK(p.payload >= base + header);
        const std::size_t start = static_cast<std::size_t>(p.payload - base) - header;
        VELMORA_FUZZ_CHECK(start >= previousEnd);
        VELMORA_FUZZ_CHECK(packetEnd(base, p) <= size);
        VELMORA_FUZZ_CHECK(p.payload[-3] == p.did && p.payload[-2] == p.sdid &&
                           p.payload[-1] == p.size);
        VELMORA_FUZZ_CHECK(p.checksum == p.payload[p.size]);
        if (flags) {
            VELMORA_FUZZ_CHECK(isFlag(base + start));
            VELMORA_FUZZ_CHECK((start - previousEnd) % 3 == 0);
            for (std::size_t g = previousEnd; g < start; g += 3)
                VELMORA_FUZZ_CHECK(!isFlag(base + g));
        } else {
            VELMORA_FUZZ_CHECK(start == previousEnd);
        }
        previousEnd = packetEnd(base, p);
    }
    VELMORA_FUZZ_CHECK(packets.size() <= size / (flags ? 7 : 4));

    // Written again with flags put on (or taken off), the packets walk to the same packets.
    const Bytes rewritten = rewritePackets(packets, flags ? 0 : input.fromEnd(0, 1) | 1u);
    const Packets again = packetsFromData(rewritten.data(), rewritten.size(), flagsValue(!flags));
    VELMORA_FUZZ_CHECK(samePackets(again, packets));
    VELMORA_FUZZ_CHECK(walkIsExact(again, rewritten.size(), !flags));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    checkWalk(input, false);
    checkWalk(input, true);
    if (size == 0) {
        VELMORA_FUZZ_CHECK(packetsFromData(nullptr, 0, AncillaryDataBufferWithFlags).empty());
    }
    return 0;
}
