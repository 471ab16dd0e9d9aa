// The ARRI facade end to end: which block is translated, and the frames that give nothing.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

TEST(ArriParser, TranslatesTheFirstMetadataBlockOfAtLeast4096Bytes) {
    const Bytes record = ArriHeaderBuilder().u32(0x0014, 1920).bytes();
    const Bytes item = arriItem(kArriMetadataKey, record);
    const Bytes whole = FrameBuilder().arriStream(item).bytes();
    const Bytes bare = FrameBuilder(Flags::None).arriStream(item).bytes();
    const struct {
        const char* name;
        Bytes frame;
        bool flags;
        bool translated;  // else empty
    } cases[] = {
        {"one block", whole, true, true},
        {"alternate flags", FrameBuilder(Flags::Alternate).arriStream(item).bytes(), true, true},
        {"no flags", bare, false, true},
        {"no flags read with flags", bare, true, false},
        {"flags read without flags", whole, false, false},
        {"5000-byte block",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, record + Bytes(904, 0xFF))).bytes(),
         true, true},
        {"LUT item first",
         FrameBuilder()
             .arriStream(arriItem(kArriLUTKey, Bytes(4096, 0xFF)))
             .arriStream(item)
             .bytes(),
         true, true},
        {"second block ignored",
         FrameBuilder()
             .arriStream(item)
             .arriStream(arriItem(kArriMetadataKey, Bytes(4096, 0xFF)))
             .bytes(),
         true, true},
        {"sequence break behind the block",
         FrameBuilder().arriStream(item).arriPacket(1, 1, Bytes{0x01}).bytes(), true, true},
        {"no bytes", {}, true, false},
        {"4095-byte first block",
         FrameBuilder()
             .arriStream(arriItem(kArriMetadataKey, Bytes(4095, 0)))
             .arriStream(item)
             .bytes(),
         true, false},
        {"bad length marker behind the block",
         FrameBuilder().arriStream(item).arriStream(arriItem(kArriLUTKey, {}, 0x84)).bytes(), true,
         false},
    };
    const VLArriANCParser parser;
    for (const auto& c : cases) {
        const Dictionary d = parser.parseData(c.frame, c.flags);
        if (c.translated) {
            EXPECT_EQ(d.size(), 57u) << c.name;
            EXPECT_EQ(d.get<Number>("rawImageWidth"), Number::unsignedInt(1920)) << c.name;
        } else {
            EXPECT_TRUE(d.empty()) << c.name;
        }
    }
    EXPECT_EQ(parser.parseData(whole), parser.parseData(whole, true));
    EXPECT_TRUE(parser.translateFileHeaderToDictionary(nullptr).empty());
}

// Hostile records put NaN T-stops, negative tenths and huge floats into answers; reading them back
// is defined: truncated, saturated, NaN as 0, beyond float's range infinite.
TEST(ArriParser, NumberConversionsOfHostileValuesAreDefined) {
    const struct {
        Number n;
        std::int64_t i;
        std::uint64_t u;
    } cases[] = {{Number::doubleNumber(std::numeric_limits<double>::quiet_NaN()), 0, 0},
                 {Number::doubleNumber(-3276.8), -3276, 0},
                 {Number::doubleNumber(-1.023e26), INT64_MIN, 0},
                 {Number::floatNumber(1e30f), INT64_MAX, UINT64_MAX}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.n.int64Value(), c.i) << c.n.doubleValue();
        EXPECT_EQ(c.n.uint64Value(), c.u) << c.n.doubleValue();
    }
    EXPECT_EQ(Number::doubleNumber(1e300).floatValue(), std::numeric_limits<float>::infinity());
}

}  // namespace
