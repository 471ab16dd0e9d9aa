// The file header record: every key with its offset, kind and conversion, the sentinels, and the
// records of all zero and all 0xFF bytes.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

Dictionary translate(const ArriHeaderBuilder& record) {
    arri::ArriFileHeader header;
    std::memcpy(header.bytes, record.bytes().data(), sizeof header.bytes);
    return VLArriANCParser().translateFileHeaderToDictionary(&header);
}

constexpr auto u32 = &Number::unsignedInt;
constexpr auto f32 = &Number::floatNumber;
constexpr auto f64 = &Number::doubleNumber;
constexpr auto i32 = &Number::intNumber;
const float kNaNBits = std::bit_cast<float>(0xFFFFFFFFu);  // f32 of four 0xFF bytes
const double kInfinity = std::numeric_limits<float>::infinity();

Dictionary ndFilter(std::uint16_t type, double density) {
    return {{"type", Number::unsignedShort(type)}, {"density", f64(density)}};
}

// Fields that go out unchanged: key and offset.
// clang-format off
const std::vector<std::pair<const char*, std::size_t>> kU32Fields = {
    {"rawImageWidth", 0x14},     {"rawImageHeight", 0x18},    {"activeImageLeft", 0x24},
    {"activeImageTop", 0x28},    {"activeImageWidth", 0x2C},  {"activeImageHeight", 0x30},
    {"whiteBalance", 0x5C},      {"wbAppliedInCamera", 0x70}, {"ASA", 0x74},
    {"blackLevel", 0x78},        {"whiteLevel", 0x7C},        {"flip", 0xC8},
    {"cameraInfoMainVoltage", 0x814}, {"cameraInfoOnBoardVoltage", 0x818}};
// clang-format on
const std::vector<std::pair<const char*, std::size_t>> kF32Fields = {
    {"greenTintFactor", 0x60},     {"whiteBalanceFactorR", 0x64}, {"whiteBalanceFactorG", 0x68},
    {"whiteBalanceFactorB", 0x6C}, {"pixelAspectRatio", 0xC4},    {"cdlSlopeR", 0x100},
    {"cdlSlopeG", 0x104},          {"cdlSlopeB", 0x108},          {"cdlOffsetR", 0x10C},
    {"cdlOffsetG", 0x110},         {"cdlOffsetB", 0x114},         {"cdlPowerR", 0x118},
    {"cdlPowerG", 0x11C},          {"cdlPowerB", 0x120}};
struct TextRow {
    const char* key;
    std::size_t offset, width;
};
const std::vector<TextRow> kTextFields = {
    {"lookFile", 0xCC, 32},    {"cameraModel", 0x29C, 8}, {"recorderType", 0x2A4, 32},
    {"supName", 0x2E0, 24},    {"reelName", 0x4F8, 8},    {"sceneName", 0x500, 16},
    {"takeName", 0x510, 8},    {"director", 0x518, 32},   {"DoP", 0x538, 32},
    {"production", 0x558, 32}, {"company", 0x578, 32},    {"clipNotes", 0x598, 256},
    {"clipName", 0x698, 24}};

// The 54 keys of every record, with their values for all-zero and all-0xFF bytes.
std::vector<std::tuple<std::string, Value, Value>> alwaysPresent() {
    std::vector<std::tuple<std::string, Value, Value>> rows;
    for (const auto& [key, offset] : kU32Fields) rows.emplace_back(key, u32(0), u32(0xFFFFFFFF));
    for (const auto& [key, offset] : kF32Fields) rows.emplace_back(key, f32(0), f32(kNaNBits));
    for (const TextRow& row : kTextFields) rows.emplace_back(row.key, "", "");
    // float(4294967295) is 2^32; 4294967.296 lies nearest to 4294967.5 at a float spacing of 0.5.
    for (const char* key : {"shutterAngle", "sensorFps", "projectFps"})
        rows.emplace_back(key, f32(0.0f), f32(4294967.5f));
    for (const char* key : {"tcHours", "tcMinutes", "tcSeconds", "tcFrames"})
        rows.emplace_back(key, i32(0), i32(165));
    rows.emplace_back("tcDropFrame", Number::boolean(false), Number::boolean(true));
    rows.emplace_back("colorMatrix", Array(12, f32(0)), Array(12, f32(kNaNBits)));
    rows.emplace_back("firmwareVersion", "0", "4294967295");
    rows.emplace_back("serialNumber", "0", "-1");
    rows.emplace_back("cameraID", std::string(4, '\0'), "\xC3\xBF\xC3\xBF\xC3\xBF\xC3\xBF");
    rows.emplace_back("NDFilter", ndFilter(0, 0.0), ndFilter(65535, 65.535));
    return rows;
}

TEST(ArriFileHeader, RecordsOfAllZeroAndAllOnes) {
    const auto rows = alwaysPresent();
    ASSERT_EQ(rows.size(), 54u);
    const Dictionary zeros = translate(ArriHeaderBuilder(0x00));
    const Dictionary ones = translate(ArriHeaderBuilder(0xFF));
    EXPECT_EQ(zeros.size(), 57u);  // no lens keys (focus distance 0); VFX 0.0
    EXPECT_EQ(ones.size(), 54u);   // no lens keys (iris sentinel), no VFX keys
    for (const auto& [key, zero, one] : rows) {
        EXPECT_EQ(zeros.at(key), zero) << key;
        EXPECT_EQ(ones.at(key), one) << key;
    }
    for (const char* key : {"vfxInfoPan", "vfxInfoTilt", "vfxInfoRoll"})
        EXPECT_EQ(zeros.at(key), Value(f64(0.0))) << key;
}

TEST(ArriFileHeader, UnreadBytesHaveNoEffect) {
    // All 0xFF, then zeros over every byte range that holds a read field.
    ArriHeaderBuilder record(0xFF);
    const std::pair<std::size_t, std::size_t> readRanges[] = {
        {0x14, 0x1C},   {0x24, 0x34},   {0x5C, 0xB0},   {0xC4, 0xEC},   {0x100, 0x124},
        {0x16C, 0x178}, {0x190, 0x194}, {0x1A0, 0x1AC}, {0x1B0, 0x1B4}, {0x29C, 0x2C4},
        {0x2E0, 0x2F8}, {0x374, 0x380}, {0x384, 0x38C}, {0x398, 0x3B8}, {0x458, 0x464},
        {0x4F8, 0x6B0}, {0x814, 0x81C}};
    for (const auto& [from, to] : readRanges)
        for (std::size_t i = from; i < to; ++i) record.u8(i, 0);
    EXPECT_EQ(translate(record), translate(ArriHeaderBuilder(0x00)));
    EXPECT_EQ(translate(record.u32(0x1B0, 0x7FFFFFFF)).at("tcDropFrame"),
              Value(Number::boolean(false)));
}

TEST(ArriFileHeader, FieldsGoOutFromTheirOffsets) {
    ArriHeaderBuilder record;
    std::uint32_t n = 1;
    for (const auto& [key, offset] : kU32Fields) record.u32(offset, 1000003u * n++);
    for (const auto& [key, offset] : kF32Fields)
        record.f32(offset, -0.25f * static_cast<float>(n++));
    char c = 'A';
    for (const TextRow& row : kTextFields)
        record.textField(row.offset, row.width, std::string(row.width, c++));
    for (int i = 0; i < 12; ++i) record.f32(0x80 + 4 * i, static_cast<float>(i) + 0.5f);
    const Dictionary d = translate(record);
    n = 1;
    for (const auto& [key, offset] : kU32Fields)
        EXPECT_EQ(d.at(key), Value(u32(1000003u * n++))) << key;
    for (const auto& [key, offset] : kF32Fields)
        EXPECT_EQ(d.at(key), Value(f32(-0.25f * static_cast<float>(n++)))) << key;
    c = 'A';
    for (const TextRow& row : kTextFields)
        EXPECT_EQ(d.at(row.key), Value(std::string(row.width, c++))) << row.key;
    Array matrix;
    for (int i = 0; i < 12; ++i) matrix.emplace_back(f32(static_cast<float>(i) + 0.5f));
    EXPECT_EQ(d.at("colorMatrix"), Value(matrix));
}

TEST(ArriFileHeader, TextRule) {
    const Dictionary d = translate(ArriHeaderBuilder()
                                       .textField(0x4F8, 8, "A\xE9")  // reelName: Latin-1 é
                                       .textField(0x500, 16, "ab\0cd")
                                       .textField(0x510, 8, "\xFFtake")
                                       .textField(0x29C, 8, std::string_view("\0xyz", 4)));
    EXPECT_EQ(d.at("reelName").string(), "A\xC3\xA9");
    EXPECT_EQ(d.at("sceneName").string(), "ab");
    EXPECT_EQ(d.at("takeName").string(), "");
    EXPECT_EQ(d.at("cameraModel").string(), "");
}

TEST(ArriFileHeader, CameraIdentityAndConversions) {
    const Dictionary d = translate(ArriHeaderBuilder()
                                       .u32(0x174, 0x41424344)  // bytes 44 43 42 41
                                       .u32(0x16C, 0x80000000)
                                       .u32(0x170, 0x80000000)
                                       .u32(0x190, 180000)
                                       .u32(0x1A0, 23976)
                                       .u32(0x1A4, 4000000127)
                                       .u32(0x1A8, 0x23595924)  // bytes 24 59 59 23
                                       .u32(0x1B0, 0x80000000)
                                       .u16(0x388, 3)
                                       .u16(0x38A, 1200));
    EXPECT_EQ(d.at("cameraID").string(), "ABCD");
    EXPECT_EQ(d.at("firmwareVersion").string(), "2147483648");
    EXPECT_EQ(d.at("serialNumber").string(), "-2147483648");
    EXPECT_EQ(d.at("shutterAngle"), Value(f32(180.0f)));
    EXPECT_EQ(d.at("sensorFps"), Value(f32(23.976f)));
    // float(4000000127) is 4e9 (floats are 256 apart there); a double step would give 4000000.25.
    EXPECT_EQ(d.at("projectFps"), Value(f32(4000000.0f)));
    EXPECT_EQ(d.at("tcHours"), Value(i32(23)));
    EXPECT_EQ(d.at("tcMinutes"), Value(i32(59)));
    EXPECT_EQ(d.at("tcSeconds"), Value(i32(59)));
    EXPECT_EQ(d.at("tcFrames"), Value(i32(24)));
    EXPECT_EQ(d.at("tcDropFrame"), Value(Number::boolean(true)));
    EXPECT_EQ(d.at("NDFilter"), Value(ndFilter(3, 1.2)));
    // A NUL among the camera ID bytes stays a character; bytes above 0x7F are Latin-1.
    EXPECT_EQ(translate(ArriHeaderBuilder().u32(0x174, 0x4342E900)).at("cameraID").string(),
              std::string("CB\xC3\xA9\0", 5));
}

TEST(ArriFileHeader, LensKeysAndTheirArithmetic) {
    const auto lens = [](std::uint32_t focus, std::uint32_t unit, std::uint32_t iris) {
        return translate(ArriHeaderBuilder()
                             .u32(0x374, unit)
                             .u32(0x378, focus)
                             .u32(0x37C, 50000)
                             .u32(0x384, iris)
                             .textField(0x398, 32, "Prime 50"));
    };
    const Dictionary d = lens(1000, 1, 3999);
    EXPECT_EQ(d.size(), 62u);
    EXPECT_EQ(d.at("lensDataFocusDistance"), Value(f32(1.0f)));
    EXPECT_EQ(d.at("lensDataFocalLength"), Value(f64(0.05)));
    EXPECT_EQ(d.at("lensDataApertureTstop"), Value(f64(2.2)));
    EXPECT_EQ(d.at("lensDataApertureSecondValue"), Value(Number::unsignedLong(10)));
    EXPECT_EQ(d.at("lensModel").string(), "Prime 50");
    EXPECT_EQ(lens(0, 1, 3999).size(), 57u);           // no focus distance: no lens key at all
    EXPECT_EQ(lens(1000, 1, 0xFFFFFFFF).size(), 57u);  // no iris

    // Focus distance: thousandths of an inch under unit 0, else thousandths of a metre.
    const std::tuple<std::uint32_t, std::uint32_t, float> focus[] = {
        {1000, 0, 0.0254f},
        {1000, 1, 1.0f},
        {1500, 7, 1.5f},
        {0xFFFFFFFF, 0, static_cast<float>(kInfinity)},
        {0xFFFFFFFF, 1, static_cast<float>(kInfinity)}};
    for (const auto& [v, unit, metres] : focus)
        EXPECT_EQ(lens(v, unit, 0).at("lensDataFocusDistance"), Value(f32(metres)))
            << v << " " << unit;

    const double stops[] = {0.7, 1.0, 1.4, 2.2, 2.8, 4.0, 5.6, 8.0, 11.0, 16.0, 22.0};
    for (std::uint32_t i = 0; i < 11; ++i)
        EXPECT_EQ(lens(1, 1, i * 1000).at("lensDataApertureTstop"), Value(f64(stops[i]))) << i;
    const std::tuple<std::uint32_t, double, std::uint64_t> iris[] = {
        {1050, 1.0, 1},
        {1049, 1.0, 0},
        {0, 0.7, 0},
        {10999, 22.0, 10},
        {11000, std::numeric_limits<double>::quiet_NaN(), 0}};
    for (const auto& [v, tstop, second] : iris) {
        const Dictionary r = lens(1, 1, v);
        EXPECT_EQ(r.at("lensDataApertureTstop"), Value(f64(tstop))) << v;
        EXPECT_EQ(r.at("lensDataApertureSecondValue"), Value(Number::unsignedLong(second))) << v;
    }
}

TEST(ArriFileHeader, VfxValues) {
    // The signed low half of the word in tenths; the word 0xFFFFFFFF leaves the key out.
    const std::pair<std::uint32_t, std::optional<double>> cases[] = {
        {0x00000005, 0.5},     {0xABCD0005, 0.5}, {0x0000FFFF, -0.1},        {0x7FFFFFFF, -0.1},
        {0x00008000, -3276.8}, {0xFFFF0001, 0.1}, {0xFFFFFFFF, std::nullopt}};
    const std::pair<const char*, std::size_t> keys[] = {
        {"vfxInfoPan", 0x458}, {"vfxInfoTilt", 0x45C}, {"vfxInfoRoll", 0x460}};
    for (const auto& [word, expected] : cases) {
        for (const auto& [key, offset] : keys) {
            ArriHeaderBuilder record(0x00);
            for (const auto& other : keys) record.u32(other.second, 0xFFFFFFFF);
            const Dictionary d = translate(record.u32(offset, word));
            EXPECT_EQ(d.size(), expected ? 55u : 54u) << key << " " << word;
            if (expected) {
                EXPECT_EQ(d.at(key), Value(f64(*expected))) << key << " " << word;
            }
        }
    }
}

}  // namespace
