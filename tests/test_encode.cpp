// The writers: every answer the parsers give of the bundled frames, written and parsed again,
// comes back to the last bit; what can't come back is refused with its code and key.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_encoder.h"
#include "rdd18/host/packet.h"
#include "rdd18/interpret/interpret.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/output/rdd18_encoder.h"
#include "rdd18/transport/encode_error.h"
#include "sample_index.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

const std::filesystem::path kSamples = VELMORA_SAMPLES_DIR;

// The packet buffers of the samples, with the flag setting they are read with.
std::vector<std::pair<Bytes, bool>> sampleFrames() {
    std::vector<std::pair<Bytes, bool>> frames;
    for (const auto& e : readSampleIndex(kSamples / "index.txt")) {
        if (!e.file.ends_with(".anc")) continue;
        const bool noFlags = std::count(e.options.begin(), e.options.end(), "--no-flags") > 0;
        frames.emplace_back(fileBytes(kSamples / e.file), !noFlags);
    }
    return frames;
}

TEST(Encode, EverySampleAnswerComesBackInEveryFlavourAndFlagSetting) {
    std::size_t nonEmpty = 0;
    for (const auto& [bytes, flags] : sampleFrames()) {
        for (const Flavour flavour : {Flavour::Standard, Flavour::Sony, Flavour::Varicam}) {
            const VLRDD18Parser parser(flavour);
            const Dictionary answer = parser.parseData(bytes, flags);
            nonEmpty += !answer.empty();
            for (const bool outFlags : {true, false}) {
                const auto written = encodeRDD18(answer, flavour, {.flags = outFlags});
                EXPECT_EQ(parser.parseData(written, outFlags), answer);
            }
        }
        const VLArriANCParser arri;
        const Dictionary header = arri.parseData(bytes, flags);
        nonEmpty += !header.empty();
        EXPECT_EQ(arri.parseData(arri::encodeArri(header)), header);
        EXPECT_EQ(arri.parseData(arri::encodeArri(header, {.flags = false}), false), header);
    }
    EXPECT_GE(nonEmpty, 20u);
}

TEST(Encode, ArriEdgesOfTheLensWordsComeBack) {
    const VLArriANCParser parser;
    Dictionary header = parser.parseData(fileBytes(kSamples / "arri.anc"));
    const std::pair<Value, Value> edges[] = {
        {Number::unsignedLong(10), Number::doubleNumber(std::numeric_limits<double>::quiet_NaN())},
        {Number::unsignedLong(10), Number::doubleNumber(0.7)},
        {Number::unsignedLong(0), Number::doubleNumber(22)}};
    for (const auto& [second, tstop] : edges) {
        header.set("lensDataApertureSecondValue", second);
        header.set("lensDataApertureTstop", tstop);
        header.set("lensDataFocusDistance", Number::floatNumber(INFINITY));
        header.set("vfxInfoPan", Number::doubleNumber(-0.1));
        EXPECT_EQ(parser.parseData(arri::encodeArri(header)), header);
    }
    // A signed kind is taken where its value fits: 0 and the top of the field.
    for (const std::int64_t asa : {0LL, 0xFFFFFFFFLL}) {
        header.set("ASA", Number::integer(asa));
        EXPECT_EQ(parser.parseData(arri::encodeArri(header)).at("ASA"),
                  Value(Number::unsignedInt(static_cast<std::uint32_t>(asa))));
    }
}

// An item that fills its 252-byte packets exactly takes no packet more; a byte more takes one.
TEST(Encode, ArriItemsFillTheirPacketsExactly) {
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{2 * 252 - 20}, std::size_t{2 * 252 - 19}}) {
        std::vector<unsigned char> out;
        arri::appendArriItem(arri::ArriAncMetadataKey, Bytes(size, 7), out);
        EXPECT_EQ(host::packetsFromAncillaryBuffer(out, true).size(), (20 + size + 251) / 252);
    }
}

TEST(Encode, PacketsAndPacksAsTheParserReadsThem) {
    // Lens and camera items go to their packs; 300 bytes of text need two numbered packets.
    const Dictionary answer{{"LensIrisFNumberItem", Number::integer(0xC000)},
                            {"CameraAttributesItem", std::string(300, 'x')}};
    const auto buffer = encodeRDD18(answer, Flavour::Standard);
    const auto packets =
        packetsFromData(buffer.data(), buffer.size(), AncillaryDataBufferWithFlags);
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[0].size, 255);
    EXPECT_EQ(packets[0].payload[0], 1);
    EXPECT_EQ(packets[1].payload[0], 2);
    EXPECT_EQ(packets[0].payload[13], 0x01);  // the lens pack's key
    for (const auto& p : packets) {
        unsigned sum = p.did + p.sdid + p.size;
        for (unsigned i = 0; i < p.size; ++i) sum += p.payload[i];
        EXPECT_EQ(p.checksum, sum & 0xFF);
    }
}

TEST(Encode, RefusalsNameTheKeyAndCode) {
    const auto rdd18Code = [](const Dictionary& answer, Flavour flavour = Flavour::Standard) {
        try {
            encodeRDD18(answer, flavour);
        } catch (const EncodeError& e) {
            EXPECT_NE(std::string(e.what()).find(e.key()), std::string::npos);
            return std::pair{e.code(), e.key()};
        }
        return std::pair{FaultCode{}, std::string()};
    };
    using P = std::pair<FaultCode, std::string>;
    EXPECT_EQ(rdd18Code({{"SonyRotaryShutterModeItem", Data()}}),
              P(FaultCode::UnknownKey, "SonyRotaryShutterModeItem"));
    EXPECT_EQ(rdd18Code({{"Unknown_0xe1_0x04", Data()}}, Flavour::Sony),
              P(FaultCode::UnknownKey, "Unknown_0xe1_0x04"));
    for (const char* key : {"Unknown_0xg1_0x01", "Unknown_0xA1_0x01", "Unknown_0x{1_0x01"}) {
        EXPECT_EQ(rdd18Code({{key, Data()}}), P(FaultCode::UnknownKey, key));  // lower-case hex
    }
    EXPECT_EQ(rdd18Code({{"CameraISOSensitivityItem", Number::doubleNumber(800)}}),
              P(FaultCode::WrongKind, "CameraISOSensitivityItem"));
    EXPECT_EQ(rdd18Code({{"CameraISOSensitivityItem", Number::integer(65536)}}),
              P(FaultCode::OutOfRange, "CameraISOSensitivityItem"));
    EXPECT_EQ(rdd18Code({{"CameraMasterGainAdjustmentItem", Number::integer(-32769)}}),
              P(FaultCode::OutOfRange, "CameraMasterGainAdjustmentItem"));
    EXPECT_EQ(rdd18Code({{"LensZoomActualFocalLengthItem", Number::doubleNumber(3.14159)}}),
              P(FaultCode::NoExactCode, "LensZoomActualFocalLengthItem"));
    EXPECT_EQ(rdd18Code({{"LensZoomActualFocalLengthItem", Number::doubleNumber(-1)}}),
              P(FaultCode::OutOfRange, "LensZoomActualFocalLengthItem"));
    EXPECT_EQ(rdd18Code({{"CameraASCCDLV12Item", Array{Number::doubleNumber(1), "x"}}}),
              P(FaultCode::WrongKind, "CameraASCCDLV12Item[1]"));
    EXPECT_EQ(rdd18Code({{"CameraKneeSlopeItem", Dictionary{{"num", Number::unsignedInt(1)}}}}),
              P(FaultCode::KeyMissing, "CameraKneeSlopeItem.den"));
    EXPECT_EQ(rdd18Code({{"LensAttributesItem", "\xE2\x82\xAC"}}),  // the euro sign
              P(FaultCode::UnwritableText, "LensAttributesItem"));
    EXPECT_EQ(rdd18Code({{"LensAttributesItem", std::string(70000, 'a')}}),
              P(FaultCode::TextTooLong, "LensAttributesItem"));
    EXPECT_EQ(rdd18Code({{"CameraAttributesItem", std::string(40000, 'a')},
                         {"LensAttributesItem", std::string(40000, 'a')}}),
              P(FaultCode::StreamTooLarge, ""));

    const auto arriCode = [](const Dictionary& answer) {
        try {
            arri::encodeArri(answer);
        } catch (const EncodeError& e) {
            return std::pair{e.code(), e.key()};
        }
        return std::pair{FaultCode{}, std::string()};
    };
    EXPECT_EQ(arriCode({{"iso", Number::unsignedInt(800)}}), P(FaultCode::UnknownKey, "iso"));
    EXPECT_EQ(arriCode({{"sensorFps", Number::floatNumber(23.9761f)}}),
              P(FaultCode::NoExactCode, "sensorFps"));
    EXPECT_EQ(arriCode({{"lensModel", "x"}}),
              P(FaultCode::KeyMissing, "lensDataApertureSecondValue"));
    EXPECT_EQ(arriCode({{"reelName", "123456789"}}), P(FaultCode::TextTooLong, "reelName"));
    EXPECT_EQ(arriCode({{"cameraID", "ABC"}}), P(FaultCode::UnwritableText, "cameraID"));
    EXPECT_EQ(arriCode({{"tcHours", Number::intNumber(166)}}), P(FaultCode::OutOfRange, "tcHours"));
}

TEST(Encode, DecimalFloatsRoundOnRequestAndKeepTheirBits) {
    const Dictionary lens{{"LensZoomActualFocalLengthItem", Number::doubleNumber(3.14159)}};
    const Dictionary got =
        VLRDD18Parser(Flavour::Standard)
            .parseData(encodeRDD18(lens, Flavour::Standard, {.roundDecimalFloats = true}));
    EXPECT_EQ(got.get<double>("LensZoomActualFocalLengthItem"), 3.142);
    // Every one of the 65,536 codes of each format, decoded and encoded, decodes to the same bits.
    for (unsigned record = 0; record < 0x10000; ++record) {
        const auto b0 = static_cast<unsigned char>(record >> 8);
        const auto b1 = static_cast<unsigned char>(record);
        for (const bool lensSerial : {true, false}) {
            const double v =
                lensSerial ? HalfFloatLensSerial{{b0, b1}}.value() : HalfFloat{{b0, b1}}.value();
            const auto codes = detail::decimalCodes(v, lensSerial);
            ASSERT_TRUE(codes.exact) << record;
            const auto c0 = static_cast<unsigned char>(*codes.exact >> 8);
            const auto c1 = static_cast<unsigned char>(*codes.exact);
            const double back =
                lensSerial ? HalfFloatLensSerial{{c0, c1}}.value() : HalfFloat{{c0, c1}}.value();
            ASSERT_EQ(std::bit_cast<std::uint64_t>(back), std::bit_cast<std::uint64_t>(v));
        }
    }
    // Below the finest step (10^-8) the code above is that step, from any decade.
    for (const double tiny : {4e-9, 4e-12}) {
        const auto above = detail::decimalCodes(tiny, false).above;
        ASSERT_TRUE(above) << tiny;
        const HalfFloat step{
            {static_cast<unsigned char>(*above >> 8), static_cast<unsigned char>(*above)}};
        EXPECT_EQ(step.value(), 1e-8) << tiny;
    }
}

TEST(Encode, UnitsBecomeTheItemsThatCarryThemAndReadBackToTheirCodes) {
    interpret::CameraModel m;
    m.irisTNumber = 2.8, m.irisFNumber = 4.0, m.focusDistanceM = 3.5, m.focalLengthMm = 50;
    m.focalLength35mmEquivalentMm = 71.5, m.zoomRingPositionPercent = 50;
    m.captureFrameRateHz = 24000.0 / 1001, m.shutterTimeS = 1.0 / 48, m.shutterAngleDeg = 172.8;
    m.masterGainDb = -3, m.iso = 800, m.whiteBalanceK = 5600, m.whiteBalanceMode = "one push";
    m.blackLevelPercent = -0.5, m.kneePointPercent = 95, m.sensorWidthMm = 24.89;
    m.projectFrameRateHz = 25;  // no standard item carries it
    const Dictionary written = interpret::toRDD18(m);
    const interpret::CameraModel back = interpret::fromRDD18(
        VLRDD18Parser(Flavour::Standard).parseData(encodeRDD18(written, Flavour::Standard)));
    for (const auto& field : interpret::numberFields()) {
        const auto& want = m.*field.member;
        const auto& got = back.*field.member;
        if (field.member == &interpret::CameraModel::projectFrameRateHz) {
            EXPECT_FALSE(got);
        } else if (want) {
            ASSERT_TRUE(got) << field.key;
            EXPECT_NEAR(*got, *want, std::fabs(*want) * 1e-4) << field.key;
        }
    }
    EXPECT_EQ(back.whiteBalanceMode, "one push");
    EXPECT_EQ(written.get<std::int64_t>("LensIrisFNumberItem"), 0xC000);  // F4
    EXPECT_EQ(
        written.at("CameraCaptureFrameRateItem"),
        Value(Dictionary{{"den", Number::unsignedInt(1001)}, {"num", Number::unsignedInt(24000)}}));
}

// Each field that becomes an integer code, at the lowest and highest code its item holds and one
// code beyond each: the limits come out exactly, the values beyond give no item.
TEST(Encode, UnitsAtTheLimitsOfTheirCodes) {
    using M = interpret::CameraModel;
    const struct {
        std::optional<double> M::*field;
        const char* key;
        double perCode;
        std::int64_t low, high;
    } rows[] = {
        {&M::masterGainDb, "CameraMasterGainAdjustmentItem", 0.01, -0x8000, 0x7FFF},
        {&M::blackLevelPercent, "CameraMasterBlackLevelItem", 0.1, -0x8000, 0x7FFF},
        {&M::kneePointPercent, "CameraKneePointItem", 0.1, 0, 0xFFFF},
        {&M::dynamicRangePercent, "CameraLuminanceDynamicRangeItem", 0.1, 0, 0xFFFF},
        {&M::iso, "CameraISOSensitivityItem", 1, 0, 0xFFFF},
        {&M::exposureIndex, "CameraExposureIndexOfPhotoMeterItem", 1, 0, 0xFFFF},
        {&M::whiteBalanceK, "CameraWhiteBalanceItem", 1, 0, 0xFFFF},
        {&M::electricalExtenderMagnificationPercent, "CameraElectricalExtenderMagnificationItem", 1,
         0, 0xFFFF},
        {&M::opticalExtenderMagnificationPercent, "LensOpticalExtenderMagnificationItem", 1, 0,
         0xFFFF},
        {&M::sensorWidthMm, "CameraImageSensorDimensionEffectiveWidthItem", 0.001, 0, 0xFFFF},
        {&M::sensorHeightMm, "CameraImageSensorDimensionEffectiveHeightItem", 0.001, 0, 0xFFFF},
        {&M::irisRingPositionPercent, "LensIrisRingPositionItem", 100.0 / 65536, 0, 0xFFFF},
        {&M::zoomRingPositionPercent, "LensZoomRingPositionItem", 100.0 / 65536, 0, 0xFFFF},
        {&M::shutterAngleDeg, "CameraShutterSpeedAngleItem", 1.0 / 60, 1, 0xFFFFFFFF},
    };
    for (const auto& r : rows) {
        for (const std::int64_t code : {r.low - 1, r.low, r.high, r.high + 1}) {
            M m;
            m.*r.field = static_cast<double>(code) * r.perCode;
            const Dictionary d = interpret::toRDD18(m);
            const bool inside = code >= r.low && code <= r.high;
            ASSERT_EQ(d.contains(r.key), inside) << r.key << " " << code;
            if (inside) {
                EXPECT_EQ(d.get<std::int64_t>(r.key), code) << r.key;
            }
        }
    }
}

}  // namespace
