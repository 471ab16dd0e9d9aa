// The pack loop, item building and the registry: what a stream of packs turns into, over packets
// and over a memory block, and how a factory is filled.
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include "frame_builder.h"
#include "rdd18/items/internal_standard_items.h"
#include "rdd18/items/item_factory.h"
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

ItemList parseFrame(const Bytes& frame, const ItemFactory& factory, FaultSink* faults = nullptr) {
    AncillaryDataBufferReader packets(frame.data(), frame.size(), AncillaryDataBufferWithFlags);
    RDD18AncillaryDataStreamReader stream(packets);
    return parseDataForItems(stream, factory, faults);
}

ItemList parseBlock(const Bytes& block, const ItemFactory& factory, FaultSink* faults) {
    RDD18BufferReader reader(block.data(), block.size());
    return parseDataForItems(reader, factory, faults);
}

/// A fault of the item layer at stream position `offset`.
Fault fault(FaultCode code, unsigned long offset, rdd18::tag t = {}, unsigned long expected = 0,
            unsigned long found = 0) {
    return {.code = code,
            .unit = FaultUnit::StreamPosition,
            .offset = offset,
            .tag = {t.first, t.second},
            .expected = expected,
            .found = found};
}
const Fault kLost{.code = FaultCode::ItemsLost};

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
    std::vector<Fault> faults = {};           // of both forms, unless the packet form differs
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
    using enum FaultCode;
    const Fault rubbish = fault(KeyRejected, 0, {}, 0, 0x060E2B35);
    const auto lost = [](Fault f) { return std::vector<Fault>{f, kLost}; };
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
        {"end in a length field",
         pack + key() + Bytes{0x83, 0},
         {},
         lost(fault(PackLengthCutOff, 47))},
        {"end in an item length",
         packHeader(4) + Bytes{0xF0, 1, 0},
         {},
         lost(fault(ItemHeaderCutOff, 22, kTagA))},
        {"15 bytes of padding", pack + Bytes(15, 0), {}, lost(fault(PackKeyCutOff, 31))},
        {"16 bytes of padding: no key", pack + Bytes(16, 0), ab, {fault(KeyRejected, 31)}},
        // The packet stream's position stays behind a short read: the header is cut off at 24.
        {"item cut off inside the pack",
         packHeader(10) + Bytes{0xF0, 0x01, 0x00, 0x06, 1, 2},
         {},
         {fault(PayloadZeroFilled, 24, kTagA, 6), fault(ItemHeaderCutOff, 26), kLost},
         Summary{}},
        {"item cut off at the pack end is zero-filled",
         packHeader(4) + Bytes{0xF0, 0x01, 0x00, 0x06, 0xA1, 0xA2},
         {{kTagA, {0xA1, 0xA2, 0, 0, 0, 0}}},
         {fault(PayloadZeroFilled, 24, kTagA, 6)}},
        {"rubbish key in its own packet", rubbishKey + pack, ab, {rubbish}, std::nullopt, 16},
        {"rubbish key takes the rest of its packet along",
         rubbishKey + pack,
         ab,
         {rubbish},
         Summary{}},
    };
    for (const PackCase& c : cases) {
        SCOPED_TRACE(c.name);
        FaultList faults, packetFaults;
        EXPECT_EQ(summarize(parseBlock(c.stream, factory, &faults)), c.items);
        EXPECT_EQ(faults.faults(), c.faults) << testing::PrintToString(describe(faults.faults()));
        const Bytes frame = FrameBuilder().rdd18Stream(c.stream, c.perPacket).bytes();
        EXPECT_EQ(summarize(parseFrame(frame, factory, &packetFaults)),
                  c.packetItems.value_or(c.items));
        // How the stream is cut into packets doesn't matter when no key fails.
        if (!c.packetItems && c.perPacket == 254) {
            EXPECT_EQ(packetFaults.faults(), c.faults);
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

TEST(PackLoop, UndecodablePayloadDiscardsTheWholeListWithTheDecodersFault) {
    const ItemFactory factory = standardItemFactory();
    using enum FaultCode;
    const struct {
        Bytes bad;        // the last item of the stream, refused
        std::size_t cut;  // bytes of it that the stream doesn't hold
        Fault refusal;
    } cases[] = {
        {rdd18Item(0x80, 0x00, {0x01}), 0, fault(PayloadTooShort, 29, {0x80, 0x00}, 2, 1)},
        {rdd18Item(0x81, 0x08, {0x00, 0x01}), 0, fault(PayloadTooShort, 29, {0x81, 0x08}, 4, 2)},
        {rdd18Item(0x81, 0x06, rationalPayload(1, 2)), 1,
         fault(PayloadCutOff, 29, {0x81, 0x06}, 8)},
        {rdd18Item(0x81, 0x18, countedVector(1, 8, {})), 0,
         fault(VectorShapeRejected, 29, {0x81, 0x18}, 8, 8)},
        {rdd18Item(0x81, 0x17, countedVector(0, 4, {})), 0,
         fault(VectorShapeRejected, 29, {0x81, 0x17}, 2, 8)},
        {rdd18Item(0x80, 0x07, Bytes(9, 'a')), 2, fault(TextCutOff, 29, {0x80, 0x07}, 9)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bad));
        Bytes block = rdd18Pack(kItemA + c.bad);
        block.resize(block.size() - c.cut);
        FaultList faults;
        EXPECT_TRUE(parseBlock(block, factory, &faults).empty());
        EXPECT_EQ(faults.faults(), (std::vector<Fault>{c.refusal, kLost}));
        EXPECT_TRUE(parseFrame(FrameBuilder().rdd18Stream(block).bytes(), factory).empty());
    }
}

// The first registration of a tag or a name wins. A builder put into the map later, replacing one
// or under a new tag, is the one the next parse uses; one erased from it (and freed) is not used.
TEST(Registration, FirstRegistrationWinsAndEachParseAsksTheMap) {
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
    const Bytes block = rdd18Pack(rdd18Item(1, 2, {0x00, 0x2A}) + kItemB);
    using Kinds = std::vector<std::type_index>;
    const auto kinds = [&] {
        Kinds out;
        for (const auto& item : parseDataForItems(block.data(), block.size(), factory)) {
            const Item& it = *item;  // typeid of a plain reference: no call to evaluate
            out.emplace_back(typeid(it));
        }
        return out;
    };
    using Unsupported = UnsupportedItem;
    EXPECT_EQ(kinds(), (Kinds{typeid(TaggedItem<Uint16, 1, 2>), typeid(Unsupported)}));
    factory.builders[make_tag(1, 2)] = std::make_unique<TaggedItem<Label, 1, 2>::Builder>();
    EXPECT_EQ(kinds(), (Kinds{typeid(TaggedItem<Label, 1, 2>), typeid(Unsupported)}));
    factory.builders.erase(make_tag(1, 2));
    factory.builders.emplace(kTagB, std::make_unique<TaggedItem<Label, 0xF0, 0x02>::Builder>());
    EXPECT_EQ(kinds(), (Kinds{typeid(Unsupported), typeid(TaggedItem<Label, 0xF0, 0x02>)}));
    RDD18BufferReader reader(block.data() + block.size() - kItemB.size(), kItemB.size());
    EXPECT_EQ(factory.build(reader)->payloadAs<Label>().value1, 0xB2);
}

}  // namespace
