// The ARRI stream and its KLV loop: packet selection, numbering, items at packet boundaries,
// the filter, and the answers to streams that end or break.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/arri/arri_ancillary_parser.h"

using namespace rdd18;
using namespace rdd18::arri;
using namespace rdd18::testsupport;

namespace {

bool acceptAll(const ArriAncKey&) {
    return true;
}
bool metadataOnly(const ArriAncKey& key) {
    return key == ArriAncMetadataKey;
}

std::vector<Bytes> parseValues(const Bytes& frame, const ArriAncKeyFilter& filter = acceptAll) {
    AncillaryDataBufferReader packets(frame.data(), frame.size(), AncillaryDataBufferWithFlags);
    std::vector<Bytes> values;
    for (const ArriAncBlob& blob : parseAncillaryData(packets, filter))
        values.emplace_back(blob.data(), blob.data() + blob.size());
    return values;
}

Bytes pattern(std::size_t n, unsigned char seed) {
    Bytes b(n);
    for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(seed + i * 7);
    return b;
}

Bytes slice(const Bytes& b, std::size_t from, std::size_t n) {
    return Bytes(b.begin() + static_cast<std::ptrdiff_t>(from),
                 b.begin() + static_cast<std::ptrdiff_t>(std::min(from + n, b.size())));
}

const Bytes kA = pattern(300, 1);
const Bytes kB = pattern(40, 2);
const Bytes kC = pattern(5, 3);
const Bytes kItemA = arriItem(kArriMetadataKey, kA);
const Bytes kItemB = arriItem(kArriMetadataKey, kB);
const Bytes kItemC = arriItem(kArriLUTKey, kC);

/// 0xFFFE packets without stream bytes, then packet 0xFFFF holding item B, then item C in a
/// packet of stream id `nextId` numbered `nextSequence`.
Bytes afterLastSequenceNumber(std::uint8_t nextId, std::uint16_t nextSequence) {
    FrameBuilder frame;
    for (std::uint32_t s = 1; s < 0xFFFF; ++s)
        frame.arriPacket(1, static_cast<std::uint16_t>(s), {});
    frame.arriPacket(1, 0xFFFF, kItemB);
    return frame.arriPacket(nextId, nextSequence, kItemC).bytes();
}

struct Case {
    std::string name;
    Bytes frame;
    std::vector<Bytes> expected;
    bool (*filter)(const ArriAncKey&) = acceptAll;
};

TEST(ArriStream, StreamsThatParse) {
    const Bytes big = pattern(4096, 9);
    const std::vector<Case> cases = {
        {"empty buffer", {}, {}},
        {"no ARRI packet",
         FrameBuilder().rdd18Stream(kItemA).packet(0x44, 0x05, {1, 1, 0}).bytes(),
         {}},
        {"4096 bytes over full packets, padding dropped",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, big)).bytes(),
         {big}},
        {"two padded items",
         FrameBuilder().arriStream(kItemA, 100).arriStream(kItemB).bytes(),
         {kA, kB}},
        {"second item of a packet is padding",
         FrameBuilder().arriPacket(1, 1, kItemB + kItemC).arriPacket(1, 2, kItemC).bytes(),
         {kB, kC}},
        {"value of length 0", FrameBuilder().arriStream(arriItem(kArriLUTKey, {})).bytes(), {{}}},
        {"3-byte payload advances the numbering",
         FrameBuilder().arriPacket(1, 1, {}).arriPacket(1, 2, kItemB).bytes(),
         {kB}},
        {"foreign and 2-byte packets inside an item",
         FrameBuilder()
             .arriPacket(1, 1, slice(kItemA, 0, 200))
             .packet(0x44, 0x04, {0x01, 0x02})
             .packet(0x45, 0x04, {0x01, 0x02, 0x00, 0xEE})
             .rdd18Packet(1, {0xEE})
             .arriPacket(1, 2, slice(kItemA, 200, 200))
             .bytes(),
         {kA}},
        {"new stream id at 1 inside an item",
         FrameBuilder()
             .arriStream(slice(kItemA, 0, 100), 50, false, 7)
             .arriStream(slice(kItemA, 100, 400), 50, true, 8)
             .bytes(),
         {kA}},
        {"first packet not numbered 1", FrameBuilder().arriPacket(1, 2, kItemB).bytes(), {}},
        {"repeated number ends the stream between items",
         FrameBuilder().arriPacket(1, 1, kItemB).arriPacket(1, 1, kItemB).bytes(),
         {kB}},
        {"new stream id not at 1 ends the stream",
         FrameBuilder().arriPacket(1, 1, kItemB).arriPacket(2, 2, kItemB).bytes(),
         {kB}},
        {"break inside a kept value drops it",
         FrameBuilder()
             .arriPacket(1, 1, kItemB)
             .arriPacket(1, 2, slice(kItemA, 0, 100))
             .arriPacket(1, 4, slice(kItemA, 100, 400))
             .bytes(),
         {kB}},
        {"end inside a kept value drops it",
         FrameBuilder().arriPacket(1, 1, kItemB).arriPacket(1, 2, slice(kItemA, 0, 100)).bytes(),
         {kB}},
        {"end inside a rejected value",
         FrameBuilder()
             .arriPacket(1, 1, kItemB)
             .arriPacket(1, 2, slice(arriItem(kArriLUTKey, kA), 0, 100))
             .bytes(),
         {kB},
         metadataOnly},
        {"rejected item, its last byte alone in a packet, ahead of a kept one",
         FrameBuilder().arriStream(arriItem(kArriLUTKey, kA), 29).arriStream(kItemB).bytes(),
         {kB},
         metadataOnly},
        {"number 0xFFFF is the last", afterLastSequenceNumber(1, 0), {kB}},
        {"a new stream id follows 0xFFFF", afterLastSequenceNumber(2, 1), {kB, kC}},
    };
    for (const Case& c : cases) EXPECT_EQ(parseValues(c.frame, c.filter), c.expected) << c.name;
}

TEST(ArriStream, BrokenKeyOrLengthFieldIsAParsingError) {
    const Bytes key(kArriMetadataKey.begin(), kArriMetadataKey.end());
    const std::vector<std::pair<std::string, Bytes>> cases = {
        {"bad length marker after a good item",
         FrameBuilder()
             .arriPacket(1, 1, kItemB)
             .arriPacket(1, 2, arriItem(kArriMetadataKey, kB, 0x82))
             .bytes()},
        {"short-form length",
         FrameBuilder().arriPacket(1, 1, key + Bytes{0x05, 1, 2, 3, 4, 5}).bytes()},
        {"end inside a key",
         FrameBuilder().arriPacket(1, 1, kItemB).arriPacket(1, 2, slice(key, 0, 10)).bytes()},
        {"end inside a length field",
         FrameBuilder().arriPacket(1, 1, key + Bytes{0x83, 0x00}).bytes()},
        {"break inside a key", FrameBuilder()
                                   .arriPacket(1, 1, slice(kItemB, 0, 8))
                                   .arriPacket(1, 3, slice(kItemB, 8, 60))
                                   .bytes()},
    };
    for (const auto& [name, frame] : cases) EXPECT_THROW(parseValues(frame), ParsingError) << name;
}

TEST(ArriStream, FilterSeesEachKeyOnceBeforeItsValue) {
    const Bytes frame =
        FrameBuilder().arriStream(kItemC).arriStream(kItemA).arriStream(kItemC).bytes();
    std::vector<ArriAncKey> seen;
    const auto values = parseValues(frame, [&](const ArriAncKey& key) {
        seen.push_back(key);
        return false;
    });
    EXPECT_TRUE(values.empty());
    EXPECT_EQ(seen, (std::vector<ArriAncKey>{ArriAncLUTKey, ArriAncMetadataKey, ArriAncLUTKey}));
}

}  // namespace
