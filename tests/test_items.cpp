// The pack loop, item building and the registry: what a stream of packs turns into, over packets
// and over a memory block, and how a factory is filled.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frame_builder.h"
#include "rdd18/internal/address_sanitizer.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/transport/rdd18_stream_reader.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

using Summary = std::vector<std::pair<rdd18::tag, Bytes>>;

/// Tags and payloads of a list of items: raw bytes for unsupported ones, the Uint16 value as two
/// bytes for the one supported item these tests use (tag 0x80 0x00).
Summary summarize(const ItemList& items) {
    Summary out;
    for (const auto& item : items) {
        out.emplace_back(item->tag(), item->isSupported() ? be16(item->payloadAs<Uint16>().value())
                                                          : item->payloadAs<ByteVector>());
    }
    return out;
}

ItemList parseFrame(const Bytes& frame, const ItemFactory& factory) {
    AncillaryDataBufferReader packets(frame.data(), frame.size(), AncillaryDataBufferWithFlags);
    RDD18AncillaryDataStreamReader stream(packets);
    return parseDataForItems(stream, factory);
}

Bytes key() {
    const auto k = rdd18PackKey();
    return Bytes(k.begin(), k.end());
}
/// A pack header whose length field says `length`, whatever follows.
Bytes packHeader(std::uint8_t length) {
    return key() + Bytes{0x83, 0x00, 0x00, length};
}

const Bytes kItemA = rdd18Item(0xF0, 0x01, {0xAA});
const Bytes kItemB = rdd18Item(0xF0, 0x02, {0xB1, 0xB2});
const rdd18::tag kTagA = make_tag(0xF0, 0x01);
const rdd18::tag kTagB = make_tag(0xF0, 0x02);

struct PackCase {
    const char* name;
    Bytes stream;
    Summary items;                            // memory block form, and packet form unless below
    std::optional<Summary> packetItems = {};  // where the packet form differs
    std::size_t perPacket = 254;              // stream bytes per packet
};

TEST(PackLoop, MemoryBlockAndPacketForms) {
    const ItemFactory factory = standardItemFactory();
    const std::array<unsigned char, 16> anyLabel = {0x06, 0x0E, 0x2B, 0x34, 0xFF, 0xFF, 0xFF, 0xFF,
                                                    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    Bytes rubbishKey = key();
    rubbishKey[3] = 0x35;
    Bytes big(300);
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<unsigned char>(i * 7);
    const Bytes pack = rdd18Pack(kItemA + kItemB);
    const Summary a = {{kTagA, {0xAA}}}, ab = {{kTagA, {0xAA}}, {kTagB, {0xB1, 0xB2}}};
    const PackCase cases[] = {
        {"empty pack, then a pack", rdd18Pack({}) + rdd18Pack(kItemA), a},
        {"two packs join one list",
         pack + rdd18Pack(rdd18Item(0xF0, 0x03, {})),
         {{kTagA, {0xAA}}, {kTagB, {0xB1, 0xB2}}, {make_tag(0xF0, 0x03), {}}}},
        {"any label behind the header", rdd18Pack(kItemA, anyLabel), a},
        {"length marker ignored", rdd18Pack(kItemA, rdd18PackKey(), 0x00), a},
        {"payload over two packets",
         rdd18Pack(rdd18Item(0xF0, 0x05, big)),
         {{make_tag(0xF0, 0x05), big}}},
        {"known item, unread rest of its payload skipped",
         rdd18Pack(rdd18Item(0x80, 0x00, {0x01, 0x02, 0xEE, 0xEE}) + kItemA),
         {{make_tag(0x80, 0x00), {0x01, 0x02}}, {kTagA, {0xAA}}}},
        {"item running past the pack end ends the pack",
         packHeader(4) + rdd18Item(0xF0, 0x01, {1, 2, 3, 4, 5, 6}) + rdd18Pack(kItemB),
         {{kTagA, {1, 2, 3, 4, 5, 6}}, {kTagB, {0xB1, 0xB2}}}},
        {"end inside a key", pack + Bytes(rubbishKey.begin(), rubbishKey.begin() + 10), {}},
        {"end inside a length field", pack + key() + Bytes{0x83, 0x00}, {}},
        {"end inside an item header", packHeader(4) + Bytes{0xF0, 0x01, 0x00}, {}},
        {"15 bytes of padding", pack + Bytes(15, 0), {}},
        {"16 bytes of padding are a key that fails", pack + Bytes(16, 0), ab},
        {"item cut off inside the pack", packHeader(10) + Bytes{0xF0, 0x01, 0x00, 0x06, 1, 2}, {}},
        {"item cut off at the pack end is zero-filled",
         packHeader(4) + Bytes{0xF0, 0x01, 0x00, 0x06, 0xA1, 0xA2},
         {{kTagA, {0xA1, 0xA2, 0, 0, 0, 0}}}},
        {"rubbish key in its own packet", rubbishKey + pack, ab, std::nullopt, 16},
        {"rubbish key takes the rest of its packet along", rubbishKey + pack, ab, Summary{}},
    };
    for (const PackCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(summarize(parseDataForItems(c.stream.data(), c.stream.size(), factory)), c.items);
        const Bytes frame = FrameBuilder().rdd18Stream(c.stream, c.perPacket).bytes();
        EXPECT_EQ(summarize(parseFrame(frame, factory)), c.packetItems.value_or(c.items));
        // How the stream is cut into packets doesn't matter when no key fails.
        if (!c.packetItems && c.perPacket == 254) {
            const Bytes small = FrameBuilder().rdd18Stream(c.stream, 3).bytes();
            EXPECT_EQ(summarize(parseFrame(small, factory)), c.items);
        }
    }
    EXPECT_TRUE(parseDataForItems(nullptr, 0, factory).empty());
}

TEST(PackLoop, SequenceBreakBetweenPacksKeepsTheFirstPack) {
    const ItemFactory empty;
    const Bytes first = rdd18Pack(kItemA), second = rdd18Pack(kItemB);
    const Bytes between = FrameBuilder().rdd18Packet(1, first).rdd18Packet(3, second).bytes();
    EXPECT_EQ(summarize(parseFrame(between, empty)), (Summary{{kTagA, {0xAA}}}));
}

TEST(PackLoop, UndecodablePayloadDiscardsTheWholeList) {
    const ItemFactory factory = standardItemFactory();
    for (const Bytes& bad : {rdd18Item(0x80, 0x00, {0x01}),        // Uint16 of length 1
                             rdd18Item(0x81, 0x08, {0x00, 0x01}),  // Uint32 of length 2
                             rdd18Item(0x81, 0x18, countedVector(1, 8, {}))}) {
        SCOPED_TRACE(testing::PrintToString(bad));
        const Bytes block = rdd18Pack(kItemA + bad + kItemB);
        EXPECT_TRUE(parseDataForItems(block.data(), block.size(), factory).empty());
        const Bytes frame = FrameBuilder().rdd18Stream(rdd18Pack(kItemA) + rdd18Pack(bad)).bytes();
        EXPECT_TRUE(parseFrame(frame, factory).empty());
    }
}

// Item blocks are kept by the thread for the next parse, but AddressSanitizer still sees an item
// read after its delete.
TEST(ItemBlocks, ReadAfterDeleteIsReportedUnderAddressSanitizer) {
#ifndef VELMORA_ADDRESS_SANITIZER
    GTEST_SKIP() << "needs a build with AddressSanitizer";
#else
    const Bytes block = rdd18Pack(kItemA);
    EXPECT_DEATH(
        {
            ItemList items = parseDataForItems(block.data(), block.size(), ItemFactory{});
            const volatile unsigned char* freed =
                reinterpret_cast<const volatile unsigned char*>(items.front().get());
            items.clear();
            std::fprintf(stderr, "%d", freed[8]);
        },
        "use-after-poison");
#endif
}

TEST(Registration, FirstRegistrationOfATagOrANameWins) {
    ItemFactory factory;
    factory.registerItem<TaggedItem<Uint16, 1, 2>>("First");
    factory.registerItem<TaggedItem<Label, 1, 2>>("Second");   // same tag, other name
    factory.registerItem<TaggedItem<Boolean, 3, 4>>("First");  // same name, other tag
    EXPECT_EQ(factory.builders.size(), 2u);
    EXPECT_EQ(factory.tagsToNames, (std::map<rdd18::tag, std::string>{{make_tag(1, 2), "First"},
                                                                      {make_tag(3, 4), "First"}}));
    EXPECT_EQ(factory.namesToTags, (decltype(factory.namesToTags){{"First", make_tag(1, 2)},
                                                                  {"Second", make_tag(1, 2)}}));
    EXPECT_EQ(factory.itemName(make_tag(1, 3)), "");
    // The builder of 1, 2 is still the Uint16 one.
    const Bytes block = rdd18Item(1, 2, {0x00, 0x2A});
    RDD18BufferReader reader(block.data(), block.size());
    EXPECT_EQ(factory.build(reader)->payloadAs<Uint16>().value(), 42);
}

}  // namespace
