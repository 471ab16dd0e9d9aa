// The interpreted view: worked values through the parsers, the rules that leave a field empty,
// the ARRI sample record.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "frame_builder.h"
#include "rdd18/interpret/interpret.h"
#include "rdd18/rdd18.h"

using namespace rdd18;
using namespace rdd18::testsupport;
using interpret::CameraModel;

namespace {

CameraModel fromItems(const Bytes& items, std::int32_t flavour = 0) {
    const VLRDD18Parser parser(flavour);
    return interpret::fromRDD18(
        parser.parseData(FrameBuilder().rdd18Stream(rdd18Pack(items)).bytes()));
}

constexpr double kEmpty = std::numeric_limits<double>::quiet_NaN();

TEST(Interpret, Rdd18ItemsInUnits) {
    const struct {
        Bytes item;
        std::int32_t flavour;
        std::optional<double> CameraModel::*field;
        double want;  // kEmpty: the field stays empty
        double tolerance;
    } cases[] = {
        {rdd18Item(0x80, 0x00, be16(0xC000)), 0, &CameraModel::irisFNumber, 4, 0},
        {rdd18Item(0x80, 0x08, be16(0xC000)), 1, &CameraModel::irisTNumber, 4, 0},
        {rdd18Item(0x80, 0x00, be16(53343)), 2, &CameraModel::irisFNumber, 2.8, 0.01},
        {rdd18Item(0x80, 0x00, be16(0x1FFF)), 0, &CameraModel::irisFNumber, kEmpty, 0},
        {rdd18Item(0x80, 0x05, {0xC7, 0xD0}), 0, &CameraModel::focalLengthMm, 200, 0},
        {rdd18Item(0x80, 0x04, halfFloatLensSerial(0xC, 41)), 0,
         &CameraModel::focalLength35mmEquivalentMm, 4.1, 0},  // not 0.0041 * 1000
        {rdd18Item(0x80, 0x01, halfFloatLensSerial(0xD, 3200)), 0, &CameraModel::focusDistanceM,
         3.2, 0},
        {rdd18Item(0x80, 0x09, be16(0x8000)), 0, &CameraModel::irisRingPositionPercent, 50, 0},
        {rdd18Item(0x81, 0x04, be16(24890)), 0, &CameraModel::sensorWidthMm, 24.89, 0},
        {rdd18Item(0x81, 0x06, rationalPayload(24000, 1001)), 0, &CameraModel::captureFrameRateHz,
         24000.0 / 1001, 0},
        {rdd18Item(0x81, 0x06, rationalPayload(24, 0)), 0, &CameraModel::captureFrameRateHz, kEmpty,
         0},
        {rdd18Item(0x81, 0x09, rationalPayload(1, 0)), 0, &CameraModel::shutterTimeS, kEmpty, 0},
        {rdd18Item(0x81, 0x08, be32(21600)), 0, &CameraModel::shutterAngleDeg, 360, 0},
        {rdd18Item(0x81, 0x08, be32(0xFFFFFFFF)), 0, &CameraModel::shutterAngleDeg, kEmpty, 0},
        {rdd18Item(0x81, 0x0A, be16(0xFED4)), 0, &CameraModel::masterGainDb, -3, 0},
        {rdd18Item(0x81, 0x0F, be16(0xFFFD)), 0, &CameraModel::blackLevelPercent, -0.3, 0},
        {rdd18Item(0x81, 0x0E, be16(0)), 0, &CameraModel::whiteBalanceK, kEmpty, 0},
    };
    for (const auto& c : cases) {
        const auto got = fromItems(c.item, c.flavour).*c.field;
        const std::string name = std::to_string(c.item[0]) + "," + std::to_string(c.item[1]);
        if (std::isnan(c.want)) {
            EXPECT_FALSE(got.has_value()) << name;
        } else {
            ASSERT_TRUE(got.has_value()) << name;
            EXPECT_NEAR(*got, c.want, c.tolerance) << name;
        }
    }
    EXPECT_EQ(fromItems(rdd18Item(0x81, 0x0D, {3})).whiteBalanceMode, "one push");
    EXPECT_FALSE(fromItems(rdd18Item(0x81, 0x0D, {4})).whiteBalanceMode);
}

// Entries a host may hand in that no parser makes: wrong kinds, NaN, infinity, the record's
// unset word. None reaches a field.
TEST(Interpret, SourcesOutOfRangeLeaveFieldsEmpty) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Dictionary rdd18{
        {"LensIrisFNumberItem", "F2.8"},
        {"LensZoomActualFocalLengthItem", Number::doubleNumber(nan)},
        {"LensFocusPositionFromImagePlaneItem", Number::doubleNumber(-1)},
        {"LensZoom35mmStillCameraEquivalentItem", Number::doubleNumber(1e306)},
        {"CameraCaptureFrameRateItem", Dictionary{{"num", Number::integer(25)}}}};
    EXPECT_EQ(interpret::fromRDD18(rdd18), CameraModel{});
    const Dictionary whole{{"CameraCaptureFrameRateItem",
                            Dictionary{{"den", Number::integer(1)}, {"num", Number::integer(25)}}},
                           {"LensFocusPositionFromImagePlaneItem", Number::doubleNumber(0)}};
    EXPECT_EQ(interpret::fromRDD18(whole).captureFrameRateHz, 25.0);  // a denominator of 1
    EXPECT_EQ(interpret::fromRDD18(whole).focusDistanceM, 0.0);       // the lower bound
    const Dictionary arri{{"ASA", Number::unsignedInt(0xFFFFFFFF)},
                          {"lensDataApertureTstop", Number::doubleNumber(nan)},
                          {"lensDataFocusDistance", Number::floatNumber(INFINITY)},
                          {"sensorFps", Number::floatNumber(4294967295.0f / 1000.0f)},
                          {"tcHours", Number::intNumber(24)},
                          {"tcMinutes", Number::intNumber(0)},
                          {"tcSeconds", Number::intNumber(0)},
                          {"tcFrames", Number::intNumber(0)}};
    EXPECT_EQ(interpret::fromArri(arri), CameraModel{});
    EXPECT_TRUE(interpret::toDictionary(CameraModel{}).empty());
}

// The Sony date (E3 04, BCD: a byte, century, year, month, day, hour, minute, second): each
// field at its bounds is a date; one beyond, or a digit above 9, is none.
TEST(Interpret, SonyDateFieldsAtTheirBounds) {
    const auto dateOf = [](std::vector<unsigned char> b) {
        return interpret::fromRDD18(Dictionary{{"Unknown_0xe3_0x04", Data(std::move(b))}})
            .sonyDateTime;
    };
    const std::vector<unsigned char> top{0, 0x20, 0x99, 0x12, 0x31, 0x23, 0x59, 0x59};
    EXPECT_EQ(dateOf(top), "2099-12-31 23:59:59");
    EXPECT_EQ(dateOf({0, 0x20, 0x00, 0x01, 0x01, 0, 0, 0}), "2000-01-01 00:00:00");
    const std::pair<std::size_t, unsigned char> beyond[] = {{3, 0x13}, {3, 0x00}, {4, 0x32},
                                                            {4, 0x00}, {5, 0x24}, {6, 0x60},
                                                            {7, 0x60}, {2, 0x9A}, {2, 0xA0}};
    for (const auto& [at, byte] : beyond) {
        auto b = top;
        b[at] = byte;
        EXPECT_EQ(dateOf(b), std::nullopt) << at << " " << int{byte};
    }
}

TEST(Interpret, ArriSampleRecord) {
    const Dictionary answer = VLArriANCParser().parseData(
        FrameBuilder()
            .arriStream(arriItem(kArriMetadataKey, ArriHeaderBuilder()
                                                       .u32(0x0190, 172800)
                                                       .u32(0x01A0, 23976)
                                                       .u32(0x01A8, 0x01234512)
                                                       .u32(0x01B0, 0x80000000)
                                                       .u32(0x0378, 3500)
                                                       .u32(0x0374, 1)
                                                       .u32(0x037C, 50000)
                                                       .u32(0x0384, 4300)
                                                       .u16(0x038A, 600)
                                                       .u32(0x0074, 800)
                                                       .bytes()))
            .bytes());
    const CameraModel m = interpret::fromArri(answer);
    EXPECT_EQ(m.focalLengthMm, 50);
    EXPECT_EQ(m.focusDistanceM, 3.5);
    EXPECT_EQ(m.irisTNumber, 2.8);
    EXPECT_EQ(m.shutterAngleDeg, 172.8);
    EXPECT_EQ(m.captureFrameRateHz, 23.976);
    EXPECT_EQ(m.iso, 800);
    EXPECT_EQ(m.ndDensity, 0.6);
    EXPECT_EQ(m.timecode, "01:23:45;12");
    // Both views of one frame: RDD 18 first, ARRI where RDD 18 is silent.
    const CameraModel both = interpret::merged(fromItems(rdd18Item(0x81, 0x0B, be16(1600))), m);
    EXPECT_EQ(both.iso, 1600);
    EXPECT_EQ(both.focalLengthMm, 50);
    EXPECT_EQ(interpret::fromDictionary(interpret::toDictionary(both)), both);
}

TEST(Interpret, VaricamClipNameFollowsItsValidFlag) {
    const Bytes name = rdd18Item(0xE1, 0x24, text("A005C042"));
    for (const unsigned char valid : std::initializer_list<unsigned char>{0, 1}) {
        const Bytes info = rdd18Item(0xE1, 0x22, {valid, 5, 0, 12, 0, 42, 1});
        EXPECT_EQ(fromItems(info + name, 1).clipName.has_value(), valid == 1);
    }
    EXPECT_FALSE(fromItems(name, 2).clipName) << "not a Varicam item under the Sony flavour";
}

}  // namespace
