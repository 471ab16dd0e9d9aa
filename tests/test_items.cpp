// The pack loop, item building and the registry: what a stream of packs turns into, over packets
// and over a memory block, and how a factory is filled.
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frame_builder.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/transport/rdd18_stream_reader.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

using Summary = std::vector<std::pair<rdd18::tag, Bytes>>;

/// Tags and raw bytes of a list of unsupported items.
Summary summarize(const ItemList& items) {
    Summary out;
    for (const auto& item : items) {
        EXPECT_FALSE(item->isSupported());
        out.emplace_back(item->tag(), item->payloadAs<ByteVector>());
    }
    return out;
}

ItemList parseFrame(const Bytes& frame, const ItemFactory& factory) {
    AncillaryDataBufferReader packets(frame.data(), frame.size(), AncillaryDataBufferWithFlags);
    RDD18AncillaryDataStreamReader stream(packets);
    return parseDataForItems(stream, factory);
}

ItemList parsePackets(const Bytes& stream, const ItemFactory& factory,
                      std::size_t perPacket = 254) {
    return parseFrame(FrameBuilder().rdd18Stream(stream, perPacket).bytes(), factory);
}

ItemList parseBlock(const Bytes& stream, const ItemFactory& factory) {
    return parseDataForItems(stream.data(), stream.size(), factory);
}

Bytes key() {
    const auto k = rdd18PackKey();
    return Bytes(k.begin(), k.end());
}
/// A pack header whose length field says `length`, whatever follows.
Bytes packHeader(std::uint32_t length) {
    const Bytes word = be32(length);
    return key() + Bytes{0x83} + Bytes(word.begin() + 1, word.end());
}

const Bytes kItemA = rdd18Item(0xF0, 0x01, {0xAA});
const Bytes kItemB = rdd18Item(0xF0, 0x02, {0xB1, 0xB2});
const rdd18::tag kTagA = make_tag(0xF0, 0x01);
const rdd18::tag kTagB = make_tag(0xF0, 0x02);

struct PackCase {
    PackCase(std::string n, Bytes s, Summary i, std::optional<Summary> p = std::nullopt,
             std::size_t per = 254)
        : name(std::move(n)),
          stream(std::move(s)),
          items(std::move(i)),
          packetItems(std::move(p)),
          perPacket(per) {}

    std::string name;
    Bytes stream;
    Summary items;                       // memory block form, and packet form unless given below
    std::optional<Summary> packetItems;  // where the packet form differs
    std::size_t perPacket;               // stream bytes per packet
};

std::vector<PackCase> packCases() {
    const std::array<unsigned char, 16> anyLabel = {0x06, 0x0E, 0x2B, 0x34, 0xFF, 0xFF, 0xFF, 0xFF,
                                                    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    Bytes rubbishKey = key();
    rubbishKey[3] = 0x35;
    Bytes big(300);
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<unsigned char>(i * 7);
    const Bytes pack = rdd18Pack(kItemA + kItemB);
    const Summary ab = {{kTagA, {0xAA}}, {kTagB, {0xB1, 0xB2}}};
    return {
        {"EmptyPackThenPack", rdd18Pack({}) + rdd18Pack(kItemA), {{kTagA, {0xAA}}}},
        {"TwoPacksJoinOneList",
         pack + rdd18Pack(rdd18Item(0xF0, 0x03, {})),
         {{kTagA, {0xAA}}, {kTagB, {0xB1, 0xB2}}, {make_tag(0xF0, 0x03), {}}}},
        {"AnyLabelBehindTheHeader", rdd18Pack(kItemA, anyLabel), {{kTagA, {0xAA}}}},
        {"LengthMarkerIgnored", rdd18Pack(kItemA, rdd18PackKey(), 0x00), {{kTagA, {0xAA}}}},
        {"UnregisteredEmptyPayload",
         rdd18Pack(rdd18Item(0x10, 0x20, {})),
         {{make_tag(0x10, 0x20), {}}}},
        {"UnregisteredPayloadOverTwoPackets",
         rdd18Pack(rdd18Item(0xF0, 0x05, big)),
         {{make_tag(0xF0, 0x05), big}}},
        {"SameTagTwice", rdd18Pack(kItemA + kItemA), {{kTagA, {0xAA}}, {kTagA, {0xAA}}}},
        {"ItemRunningPastThePackEndEndsThePack",
         packHeader(4) + rdd18Item(0xF0, 0x01, {1, 2, 3, 4, 5, 6}) + rdd18Pack(kItemB),
         {{kTagA, {1, 2, 3, 4, 5, 6}}, {kTagB, {0xB1, 0xB2}}}},
        {"EndsInsideKey", pack + Bytes(rubbishKey.begin(), rubbishKey.begin() + 10), {}},
        {"EndsInsideLengthField", pack + key() + Bytes{0x83, 0x00}, {}},
        {"EndsInsideItemHeader", packHeader(4) + Bytes{0xF0, 0x01, 0x00}, {}},
        {"FifteenBytesOfPaddingBehindTheLastItem", pack + Bytes(15, 0), {}},
        {"SixteenBytesOfPaddingAreAKeyThatFails", pack + Bytes(16, 0), ab},
        {"UnregisteredItemCutOffInsideThePack",
         packHeader(10) + Bytes{0xF0, 0x01, 0x00, 0x06, 1, 2},
         {}},
        {"UnregisteredItemCutOffAtThePackEndIsZeroFilled",
         packHeader(4) + Bytes{0xF0, 0x01, 0x00, 0x06, 0xA1, 0xA2},
         {{kTagA, {0xA1, 0xA2, 0, 0, 0, 0}}}},
        {"RubbishKeyInItsOwnPacket", rubbishKey + pack, ab, std::nullopt, 16},
        {"RubbishKeyTakesTheRestOfItsPacketAlong", rubbishKey + pack, ab, Summary{}},
    };
}

class PackLoop : public testing::TestWithParam<PackCase> {};

TEST_P(PackLoop, MemoryBlockForm) {
    const ItemFactory empty;
    EXPECT_EQ(summarize(parseBlock(GetParam().stream, empty)), GetParam().items);
}

TEST_P(PackLoop, PacketForm) {
    const ItemFactory empty;
    const PackCase& c = GetParam();
    EXPECT_EQ(summarize(parsePackets(c.stream, empty, c.perPacket)),
              c.packetItems.value_or(c.items));
    // How the stream is cut into packets doesn't matter when no key fails.
    if (!c.packetItems && c.perPacket == 254) {
        EXPECT_EQ(summarize(parsePackets(c.stream, empty, 3)), c.items);
    }
}

void PrintTo(const PackCase& c, std::ostream* os) {
    *os << c.name;
}

INSTANTIATE_TEST_SUITE_P(Streams, PackLoop, testing::ValuesIn(packCases()),
                         [](const auto& info) { return info.param.name; });

TEST(PackLoopPackets, AFailedKeyGivesUpItsPacketAndTheNextPacketIsSearched) {
    Bytes rubbishKey = key();
    rubbishKey[0] = 0x07;
    const Bytes frame = FrameBuilder()
                            .rdd18Packet(1, rubbishKey + rdd18Pack(kItemA))
                            .rdd18Packet(2, rdd18Pack(kItemB))
                            .bytes();
    const ItemFactory empty;
    EXPECT_EQ(summarize(parseFrame(frame, empty)), (Summary{{kTagB, {0xB1, 0xB2}}}));
}

TEST(PackLoopPackets, SequenceBreakBetweenPacksKeepsTheFirstPack) {
    const ItemFactory empty;
    const Bytes first = rdd18Pack(kItemA), second = rdd18Pack(kItemB);
    const Bytes between = FrameBuilder().rdd18Packet(1, first).rdd18Packet(3, second).bytes();
    EXPECT_EQ(summarize(parseFrame(between, empty)), (Summary{{kTagA, {0xAA}}}));

    const Bytes both = first + second;
    const Bytes inside = FrameBuilder()
                             .rdd18Packet(1, Bytes(both.begin(), both.begin() + 30))
                             .rdd18Packet(3, Bytes(both.begin() + 30, both.end()))
                             .bytes();
    EXPECT_TRUE(parseFrame(inside, empty).empty());
}

TEST(PackLoopPackets, StreamInvalidatedByItsFirstPacketIsEmpty) {
    const ItemFactory empty;
    EXPECT_TRUE(
        parseFrame(FrameBuilder().rdd18Packet(2, rdd18Pack(kItemA)).bytes(), empty).empty());
    EXPECT_TRUE(parseFrame({}, empty).empty());
}

TEST(PackLoopBlock, EmptyAndNullBlocksGiveNothing) {
    const ItemFactory factory = standardItemFactory();
    EXPECT_TRUE(parseDataForItems(nullptr, 0, factory).empty());
    EXPECT_TRUE(parseBlock({}, factory).empty());
}

// --- Known items: decoding through the factory -------------------------------------------------

const rdd18::tag kIris = make_tag(0x80, 0x00);  // Uint16

TEST(KnownItems, PayloadLongerThanTheTypeIsSkipped) {
    const ItemFactory factory = standardItemFactory();
    for (const Bytes& payload : {Bytes{0x01, 0x02, 0xEE, 0xEE}, Bytes{0x01, 0x02, 1, 2, 3, 4}}) {
        SCOPED_TRACE(payload.size());
        const ItemList items =
            parseBlock(rdd18Pack(rdd18Item(0x80, 0x00, payload) + kItemA), factory);
        ASSERT_EQ(items.size(), 2u);
        EXPECT_TRUE(items[0]->isSupported());
        EXPECT_EQ(items[0]->tag(), kIris);
        EXPECT_EQ(items[0]->payloadAs<Uint16>().value(), 0x0102);
        EXPECT_EQ(items[1]->tag(), kTagA);
        EXPECT_EQ(items[1]->payloadAs<ByteVector>(), Bytes{0xAA});
    }
}

TEST(KnownItems, UndecodablePayloadDiscardsTheWholeList) {
    const ItemFactory factory = standardItemFactory();
    for (const Bytes& bad : {rdd18Item(0x80, 0x00, {0x01}),        // Uint16 of length 1
                             rdd18Item(0x81, 0x08, {0x00, 0x01}),  // Uint32 of length 2
                             rdd18Item(0x81, 0x18, countedVector(1, 8, {}))}) {
        SCOPED_TRACE(testing::PrintToString(bad));
        EXPECT_TRUE(parseBlock(rdd18Pack(kItemA + bad + kItemB), factory).empty());
        EXPECT_TRUE(parsePackets(rdd18Pack(kItemA) + rdd18Pack(bad), factory).empty());
    }
}

// --- ItemFactory::build ------------------------------------------------------------------------

TEST(FactoryBuild, LeavesTheStreamBehindThePayload) {
    const ItemFactory factory = standardItemFactory();
    struct Case {
        Bytes item;
        bool supported;
    };
    for (const Case& c :
         {Case{rdd18Item(0x80, 0x00, {1, 2}), true},
          Case{rdd18Item(0x80, 0x00, {1, 2, 3, 4, 5}), true},
          Case{rdd18Item(0x80, 0x0A, {1, 2, 3}), false}, Case{rdd18Item(0x80, 0x07, {}), true}}) {
        SCOPED_TRACE(testing::PrintToString(c.item));
        const Bytes block = c.item + Bytes{0x99};
        RDD18BufferReader reader(block.data(), block.size());
        const auto item = factory.build(reader);
        EXPECT_EQ(item->isSupported(), c.supported);
        EXPECT_EQ(item->tag(), make_tag(c.item[0], c.item[1]));
        EXPECT_EQ(reader.position(), c.item.size());
    }
}

TEST(FactoryBuild, ShortTagOrLengthThrows) {
    const ItemFactory factory;
    for (const Bytes& block : {Bytes{}, Bytes{0xF0}, Bytes{0xF0, 0x01}, Bytes{0xF0, 0x01, 0x00}}) {
        RDD18BufferReader reader(block.data(), block.size());
        EXPECT_THROW(factory.build(reader), ParsingError) << testing::PrintToString(block);
    }
}

// --- Registration ------------------------------------------------------------------------------

TEST(Registration, FirstRegistrationOfATagOrANameWins) {
    ItemFactory factory;
    factory.registerItem<TaggedItem<Uint16, 1, 2>>("First");
    factory.registerItem<TaggedItem<Label, 1, 2>>("Second");   // same tag, other name
    factory.registerItem<TaggedItem<Boolean, 3, 4>>("First");  // same name, other tag
    EXPECT_EQ(factory.builders.size(), 2u);
    EXPECT_EQ(factory.tagsToNames, (std::map<rdd18::tag, std::string>{{make_tag(1, 2), "First"},
                                                                      {make_tag(3, 4), "First"}}));
    ASSERT_EQ(factory.namesToTags.size(), 2u);
    EXPECT_EQ(factory.namesToTags.at("First"), make_tag(1, 2));
    EXPECT_EQ(factory.namesToTags.at("Second"), make_tag(1, 2));
    // The builder of 1, 2 is still the Uint16 one.
    const Bytes block = rdd18Item(1, 2, {0x00, 0x2A});
    RDD18BufferReader reader(block.data(), block.size());
    const auto item = factory.build(reader);
    ASSERT_NE((dynamic_cast<const TaggedItem<Uint16, 1, 2>*>(item.get())), nullptr);
    EXPECT_EQ(item->payloadAs<Uint16>().value(), 42);
}

TEST(Registration, ItemNameOfAnUnregisteredTagIsEmpty) {
    const ItemFactory factory = standardItemFactory();
    EXPECT_EQ(factory.itemName(make_tag(0x81, 0x0B)), "CameraISOSensitivityItem");
    EXPECT_EQ(factory.itemName(make_tag(0x80, 0x0A)), "");
    EXPECT_EQ(ItemFactory().itemName(make_tag(0x81, 0x0B)), "");
}

TEST(Registration, MovedFactoryTakesItsMapsAlong) {
    ItemFactory source = standardItemFactory();
    ItemFactory target;
    target = std::move(source);
    EXPECT_EQ(target.builders.size(), 37u);
    EXPECT_EQ(target.itemName(make_tag(0x32, 0x10)), "CameraCaptureGammaEquationItem");
}

TEST(Tags, OrderedByFirstThenSecondByte) {
    EXPECT_EQ(make_tag(0x32, 0x10), (rdd18::tag{0x32, 0x10}));
    EXPECT_LT(make_tag(0x32, 0xFF), make_tag(0x80, 0x00));
    EXPECT_LT(make_tag(0x81, 0x01), make_tag(0x81, 0x02));
    EXPECT_EQ((TaggedItem<Uint16, 0x81, 0x15>::Tag()), make_tag(0x81, 0x15));
}

}  // namespace
