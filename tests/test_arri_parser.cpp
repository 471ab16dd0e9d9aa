// The ARRI facade end to end: which block is translated, and the frames that give nothing.
#include <gtest/gtest.h>

#include <type_traits>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

static_assert(std::is_nothrow_default_constructible_v<VLArriANCParser> &&
              std::is_copy_constructible_v<VLArriANCParser>);

const Bytes kRecord = ArriHeaderBuilder().u32(0x0014, 1920).bytes();
const Bytes kMetadataItem = arriItem(kArriMetadataKey, kRecord);

bool isTheRecord(const Dictionary& d) {
    const Value* width = d.find("rawImageWidth");
    return d.size() == 57 && width && width->number() == Number::unsignedInt(1920);
}

TEST(ArriParser, TranslatesTheFirstMetadataBlock) {
    const VLArriANCParser parser;
    const Bytes frame = FrameBuilder().arriStream(kMetadataItem).bytes();
    EXPECT_TRUE(isTheRecord(parser.parseData(frame)));
    EXPECT_EQ(parser.parseData(frame), parser.parseData(frame, true));
    EXPECT_TRUE(isTheRecord(
        parser.parseData(FrameBuilder(Flags::Alternate).arriStream(kMetadataItem).bytes())));
    const Bytes bare = FrameBuilder(Flags::None).arriStream(kMetadataItem).bytes();
    EXPECT_TRUE(isTheRecord(parser.parseData(bare, false)));
    EXPECT_TRUE(parser.parseData(bare).empty());
    EXPECT_TRUE(parser.parseData(frame, false).empty());

    const std::vector<std::pair<std::string, Bytes>> good = {
        {"5000-byte block",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, kRecord + Bytes(904, 0xFF))).bytes()},
        {"LUT item first", FrameBuilder()
                               .arriStream(arriItem(kArriLUTKey, Bytes(4096, 0xFF)))
                               .arriStream(kMetadataItem)
                               .bytes()},
        {"second block ignored", FrameBuilder()
                                     .arriStream(kMetadataItem)
                                     .arriStream(arriItem(kArriMetadataKey, Bytes(4096, 0xFF)))
                                     .bytes()},
        {"sequence break behind the block",
         FrameBuilder().arriStream(kMetadataItem).arriPacket(1, 1, Bytes{0x01}).bytes()},
        {"incomplete block behind the block",
         FrameBuilder()
             .arriStream(kMetadataItem)
             .arriStream(Bytes(kMetadataItem.begin(), kMetadataItem.end() - 1))
             .bytes()},
    };
    for (const auto& [name, f] : good) EXPECT_TRUE(isTheRecord(parser.parseData(f))) << name;
}

TEST(ArriParser, FramesThatGiveAnEmptyDictionary) {
    const VLArriANCParser parser;
    const Bytes small = arriItem(kArriMetadataKey, Bytes(4095, 0x00));
    const Bytes whole = FrameBuilder().arriStream(kMetadataItem).bytes();
    const std::vector<std::pair<std::string, Bytes>> cases = {
        {"no bytes", {}},
        {"only a LUT item", FrameBuilder().arriStream(arriItem(kArriLUTKey, kRecord)).bytes()},
        {"4095-byte first block",
         FrameBuilder().arriStream(small).arriStream(kMetadataItem).bytes()},
        {"bad length marker behind the block", FrameBuilder()
                                                   .arriStream(kMetadataItem)
                                                   .arriStream(arriItem(kArriLUTKey, {}, 0x84))
                                                   .bytes()},
        {"block cut short", Bytes(whole.begin(), whole.end() - 300)},
    };
    for (const auto& [name, f] : cases) EXPECT_TRUE(parser.parseData(f).empty()) << name;
    EXPECT_TRUE(parser.parseData(std::span<const unsigned char>(), false).empty());
    EXPECT_TRUE(parser.translateFileHeaderToDictionary(nullptr).empty());
}

}  // namespace
