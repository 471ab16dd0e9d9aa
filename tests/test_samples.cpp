// The bundled samples: every sample in every output format against samples/expected/ (the
// golden files), and the expected answers of the samples checked against values worked out by
// hand from the wire format.
//
// When an output changes on purpose, rewrite the expectations with
//   cmake --build <build-dir> --target regenerate-expected
// and review the diff before committing it.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "dump/dump.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

const fs::path kSamples = VELMORA_SAMPLES_DIR;
const char* const kFormats[] = {"json", "jsonl", "plist", "table"};

struct IndexEntry {
    std::string file;
    std::vector<std::string> options;
};

std::vector<IndexEntry> sampleIndex() {
    std::ifstream in(kSamples / "index.txt");
    std::vector<IndexEntry> entries;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line);
        IndexEntry e;
        words >> e.file;
        for (std::string w; words >> w;) e.options.push_back(w);
        entries.push_back(e);
    }
    return entries;
}

std::string fileText(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The reports name the files as given; the expectations were made in the samples folder.
class InSamplesFolder {
  public:
    InSamplesFolder() : previous_(fs::current_path()) { fs::current_path(kSamples); }
    ~InSamplesFolder() { fs::current_path(previous_); }

  private:
    fs::path previous_;
};

std::string firstDifference(const std::string& a, const std::string& b) {
    std::istringstream x(a), y(b);
    std::string lx, ly;
    for (int line = 1;; ++line) {
        const bool gx = static_cast<bool>(std::getline(x, lx));
        const bool gy = static_cast<bool>(std::getline(y, ly));
        if (!gx && !gy) return "no difference";
        if (lx != ly || gx != gy) {
            return "line " + std::to_string(line) + ": expected [" + ly + "], got [" + lx + "]";
        }
    }
}

TEST(Samples, IndexCoversEveryFrameAndExpectation) {
    const auto index = sampleIndex();
    ASSERT_GE(index.size(), 20u);
    std::set<std::string> listed, expected, onDisk, expectedOnDisk;
    for (const auto& e : index) {
        EXPECT_TRUE(listed.insert(e.file).second) << e.file << " listed twice";
        for (const char* f : kFormats) expected.insert(fs::path(e.file).stem().string() + "." + f);
    }
    for (const auto& d : fs::directory_iterator(kSamples)) {
        const auto ext = d.path().extension();
        if (ext == ".anc" || ext == ".hex") onDisk.insert(d.path().filename().string());
    }
    for (const auto& d : fs::directory_iterator(kSamples / "expected")) {
        expectedOnDisk.insert(d.path().filename().string());
    }
    EXPECT_EQ(onDisk, listed);
    EXPECT_EQ(expectedOnDisk, expected) << "one stem per sample, four formats each";
}

TEST(Samples, EveryFormatMatchesItsGoldenFile) {
    const InSamplesFolder here;
    for (const auto& entry : sampleIndex()) {
        for (const char* format : kFormats) {
            std::vector<std::string> args = entry.options;
            args.insert(args.end(), {"--format", format, entry.file});
            std::istringstream in;
            std::ostringstream out, err;
            ASSERT_EQ(rdd18::dump::run(args, in, out, err), 0) << entry.file << ": " << err.str();
            const fs::path golden =
                fs::path("expected") / (fs::path(entry.file).stem().string() + "." + format);
            const std::string want = fileText(golden);
            EXPECT_TRUE(out.str() == want) << golden << " " << firstDifference(out.str(), want);
        }
    }
}

json expectedJson(const std::string& stem) {
    return json::parse(fileText(kSamples / "expected" / (stem + ".json"))).at(0);
}

// The standard frame's items: raw values as the camera sends them, decoded by hand.
TEST(Samples, StandardFrameHoldsTheCameraValues) {
    const json rdd18 = expectedJson("standard").at("rdd18");
    EXPECT_EQ(rdd18.size(), 37u);
    const json expected = json::parse(R"({
      "CameraISOSensitivityItem": 800,
      "CameraExposureIndexOfPhotoMeterItem": 800,
      "CameraCaptureFrameRateItem": {"den": 1001, "num": 24000},
      "CameraShutterSpeedAngleItem": 10800,
      "CameraShutterSpeedTimeItem": {"den": 48000, "num": 1001},
      "CameraWhiteBalanceItem": 5600,
      "CameraMasterBlackLevelItem": -3,
      "CameraAutoExposureModeItem": {"value0": 1, "value1": 1},
      "CameraCaptureGammaEquationItem": {"value0": 14, "value1": 6},
      "LensIrisFNumberItem": 53367,
      "LensMacroSettingItem": false,
      "LensFocusPositionFromImagePlaneItem": 3.5,
      "LensFocusPositionFromFrontLensVertexItem": 3.32,
      "LensZoom35mmStillCameraEquivalentItem": 0.071,
      "LensZoomActualFocalLengthItem": 0.05,
      "CameraASCCDLV12Item": [1.05, 1, 0.97, 0.01, 0, -0.02, 1, 1, 1.1, 0.95],
      "CameraSettingFileURIItem": "file:///CARD_A/SETUP/DAY_EXT_01.cfg",
      "LensAttributesItem": "50mm T1.5 S35 prime, serial 2241"})");
    for (const auto& [key, value] : expected.items()) EXPECT_EQ(rdd18.at(key), value) << key;
    EXPECT_TRUE(rdd18.at("CameraISOSensitivityItem").is_number_integer());
    const json& matrix = rdd18.at("CameraColorMatrixItem");
    ASSERT_EQ(matrix.size(), 9u);
    EXPECT_EQ(matrix.at(0), json({{"den", 10000}, {"num", 4124}}));
    EXPECT_EQ(matrix.at(8), json({{"den", 10000}, {"num", 9505}}));
    // The same frame as hexadecimal text and without flags answers the same.
    EXPECT_EQ(expectedJson("standard-log").at("rdd18"), rdd18);
    EXPECT_EQ(expectedJson("standard-noflags").at("rdd18"), rdd18);
}

TEST(Samples, VendorFlavours) {
    const json sony = expectedJson("sony").at("rdd18");
    EXPECT_EQ(sony.size(), 53u);
    EXPECT_EQ(sony.at("SonyEffectiveMarkerAspectRatioItem"), json({{"$data", "000000ef00000064"}}));
    EXPECT_EQ(sony.at("SonyWhiteCodeValueItem"), json({{"$data", "03ac"}}));
    EXPECT_EQ(sony.at("SonyMonitoringDescriptionsItem"), json({{"$data", "373039283830302529"}}));
    const json varicam = expectedJson("varicam").at("rdd18");
    EXPECT_EQ(varicam.size(), 41u);
    // 01 05 00 0C 00 2A 01: valid, camera 5, reel 12, clip 42, style 1.
    EXPECT_EQ(varicam.at("VaricamClipInfoValueItem"),
              json::parse(R"({"cameraId": 5, "clipCounter": 42, "clipNameValid": 1,
                              "filenameStyle": "CINE", "reelCounter": 12})"));
    EXPECT_EQ(varicam.at("VaricamClipNameValueItem"), "A005C042_230517_X7Q2");
}

// The ARRI record: thousandths divided in single precision, BCD timecode, the camera ID word
// read from its top byte, the iris word 4300 (stop index 4: T2.8; 300 / 100 = 3).
TEST(Samples, ArriRecordFields) {
    const json arri = expectedJson("arri").at("arri");
    EXPECT_EQ(arri.size(), 62u);
    const json expected = json::parse(R"({
      "rawImageWidth": 3424, "rawImageHeight": 2202, "ASA": 800, "whiteBalance": 5600,
      "sensorFps": 23.976, "projectFps": 23.976, "shutterAngle": 172.8,
      "tcHours": 1, "tcMinutes": 23, "tcSeconds": 45, "tcFrames": 12, "tcDropFrame": false,
      "cameraID": "A123", "firmwareVersion": "7030", "serialNumber": "21234",
      "NDFilter": {"density": 0.6, "type": 1},
      "lensDataFocusDistance": 3.5, "lensDataFocalLength": 0.05,
      "lensDataApertureTstop": 2.8, "lensDataApertureSecondValue": 3,
      "vfxInfoPan": 12.3, "vfxInfoTilt": -4.5, "vfxInfoRoll": 0.7,
      "whiteBalanceFactorB": 1.35, "reelName": "A012", "clipName": "A012C003_230517_R1AB"})");
    for (const auto& [key, value] : expected.items()) EXPECT_EQ(arri.at(key), value) << key;
    EXPECT_EQ(arri.at("colorMatrix").size(), 12u);
    EXPECT_EQ(expectedJson("arri-noflags").at("arri"), arri);
    // Both kinds of metadata in one frame, between packets of other services.
    const json mixed = expectedJson("mixed");
    EXPECT_EQ(mixed.at("arri"), arri);
    EXPECT_EQ(mixed.at("rdd18"), expectedJson("standard").at("rdd18"));
    std::set<std::string> kinds;
    for (const auto& p : mixed.at("packets")) kinds.insert(p.at("kind").get<std::string>());
    EXPECT_EQ(kinds, (std::set<std::string>{"arri", "other", "rdd18"}));
}

TEST(Samples, ExtremeValuesKeepTheirExactForm) {
    const json frame = expectedJson("extreme-values");
    const json& rdd18 = frame.at("rdd18");
    EXPECT_EQ(rdd18.at("CameraASCCDLV12Item"), json::parse("[-0, 0, 1e23, 1e16, 1.023e18, -0.3]"));
    EXPECT_EQ(rdd18.at("LensFocusPositionFromImagePlaneItem"), 40950000000.0);
    EXPECT_EQ(rdd18.at("LensFocusPositionFromFrontLensVertexItem"), 1e-08);
    EXPECT_EQ(rdd18.at("CameraShutterSpeedAngleItem"), 4294967295u);
    EXPECT_EQ(rdd18.at("CameraMasterGainAdjustmentItem"), -32768);
    EXPECT_EQ(rdd18.at("CameraAttributesItem"), "Caf\xC3\xA9 \"quoted\" <&> tab\there");
    EXPECT_EQ(rdd18.at("Unknown_0xf0_0x01"), json({{"$data", "00ff10"}}));
    const json& arri = frame.at("arri");
    EXPECT_EQ(arri.at("greenTintFactor"), json({{"$number", "NaN"}}));
    EXPECT_EQ(arri.at("lensDataApertureTstop"), json({{"$number", "NaN"}}));
    EXPECT_EQ(arri.at("lensDataFocusDistance"), json({{"$number", "Infinity"}}));
    EXPECT_EQ(arri.at("whiteBalanceFactorG"), json({{"$number", "-Infinity"}}));
    EXPECT_EQ(arri.at("cameraID"), std::string("A\0\xC3\xA9Z", 5));
    EXPECT_EQ(arri.at("serialNumber"), "-2147483648");
    EXPECT_EQ(arri.at("tcHours"), 165);
    EXPECT_EQ(arri.at("vfxInfoTilt"), -0.1);
    EXPECT_FALSE(arri.contains("vfxInfoPan"));
    // The float 0.1f and 1/3f print as the shortest text of the float.
    EXPECT_EQ(arri.at("colorMatrix").at(2), 0.1);
    EXPECT_EQ(arri.at("colorMatrix").at(3), 0.33333334);
    // Negative zero, which parsers read back as the integer 0, is checked in the text.
    const std::string text = fileText(kSamples / "expected" / "extreme-values.json");
    EXPECT_NE(text.find("\"CameraASCCDLV12Item\": [-0, 0,"), std::string::npos);
    EXPECT_NE(text.find("\"whiteBalanceFactorB\": -0,"), std::string::npos);
}

// What each broken frame leaves: how many keys each parser answers.
TEST(Samples, BrokenFramesAnswerWhatTheWireRulesLeave) {
    const struct {
        const char* stem;
        const char* parser;
        std::size_t keys;
    } cases[] = {
        {"sequence-gap", "rdd18", 0},                 // the stream ends inside the camera pack
        {"sequence-gap-between-packs", "rdd18", 11},  // ends behind the lens pack
        {"truncated-pack", "rdd18", 0},
        {"bad-flag-resync", "rdd18", 37},       // 3 bytes cost one flag, the walk goes on
        {"bad-flag-out-of-step", "rdd18", 11},  // 4 bytes: the later packets are lost
        {"short-payload", "rdd18", 0},
        {"pack-padding", "rdd18", 0},   // fewer than 16 bytes behind the last pack
        {"bad-checksum", "rdd18", 37},  // checksums aren't checked
        {"arri-bad-length-marker", "arri", 0},
        {"arri-short-record", "arri", 0},
        {"arri-sequence-break", "arri", 62},
        {"rubbish", "rdd18", 0},
        {"rubbish", "arri", 0},
    };
    for (const auto& c : cases) {
        const json frame = expectedJson(c.stem);
        EXPECT_EQ(frame.at(c.parser).size(), c.keys) << c.stem;
        EXPECT_TRUE(frame.contains("faults")) << c.stem;
    }
    const json badChecksum = expectedJson("bad-checksum");
    for (const auto& p : badChecksum.at("packets")) {
        EXPECT_EQ(p.at("checksumOk"), false);
    }
    EXPECT_EQ(expectedJson("sequence-gap").at("faults").at("rdd18").at(0),
              "RDD 18 stream: the packet at byte 219 breaks the sequence (expected 3, found 4); "
              "the stream ends behind the packet before it");
}

}  // namespace
