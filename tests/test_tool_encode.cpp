// velmora-encode run in-process: velmora-dump --types -f json X | velmora-encode gives frames whose
// dump holds X's answers, for every sample and the clip, in every form; refused frames name
// the key, are left out, and make the exit status 1.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "encode/encode.h"
#include "sample_index.h"
#include "tool_run.h"

using nlohmann::json;

namespace {

const std::filesystem::path kSamples = VELMORA_SAMPLES_DIR;

using rdd18::testsupport::ToolRun;

ToolRun dump(const std::vector<std::string>& args, const std::string& input = "") {
    return rdd18::testsupport::tool(args, input);
}

ToolRun encode(const std::vector<std::string>& args, const std::string& input) {
    std::istringstream in(input);
    std::ostringstream out, err;
    const int status = rdd18::encode::run(args, in, out, err);
    return {status, out.str(), err.str()};
}

// The answers of the reports: each report without its file name, time and packet walk.
json answers(const std::string& text) {
    json reports = json::parse(text);
    if (!reports.is_array()) reports = json::array({reports});
    json kept = json::array();
    for (const json& r : reports) {
        json a = json::object();
        for (const char* section : {"rdd18", "arri"})
            if (r.contains(section)) a[section] = r[section];
        kept.push_back(a);
    }
    return kept;
}

// Dumps `file` with the sample's decoding options, encodes the JSON in `form` (with `sizing`, which
// the second dump is given too) and dumps the result.
void roundTrip(const std::string& file, std::vector<std::string> options, const std::string& form,
               const std::vector<std::string>& sizing = {}) {
    std::erase_if(options,
                  [](const std::string& o) { return o == "--packets" || o == "--explain"; });
    std::vector<std::string> first = options;
    first.insert(first.end(), {"--types", "-f", "json", (kSamples / file).string()});
    const ToolRun x = dump(first);
    ASSERT_EQ(x.status, 0) << x.err;
    std::vector<std::string> to{"--to", form, "-"};
    to.insert(to.end(), sizing.begin(), sizing.end());
    const ToolRun written = encode(to, x.out);
    ASSERT_EQ(written.status, 0) << file << ": " << written.err;
    std::erase_if(options, [](const std::string& o) { return o == "--no-flags" || o == "--hex"; });
    std::vector<std::string> second = options;
    second.insert(second.end(), {"--types", "-f", "json", "--input", form, "-"});
    second.insert(second.end(), sizing.begin(), sizing.end());
    const ToolRun y = dump(second, written.out);
    ASSERT_EQ(y.status, 0) << y.err;
    EXPECT_EQ(answers(y.out), answers(x.out)) << file << " as " << form;
}

TEST(ToolEncode, EverySampleAndTheClipComeBackInEveryForm) {
    // A folder of frame files comes back as a run of elements, one per frame.
    for (const auto& e : rdd18::testsupport::readSampleIndex(kSamples / "index.txt"))
        roundTrip(e.file, e.options,
                  std::filesystem::is_directory(kSamples / e.file) ? "st436m" : "packets");
    for (const char* form : {"words10", "v210", "uyvy", "rfc8331", "st436m"}) {
        roundTrip("sony.anc", {"--flavour", "sony"}, form);
        roundTrip("mixed.anc", {}, form);
    }
    // Elements of one size; rtmd samples, which carry RDD 18 alone, bare and padded.
    roundTrip("mixed.anc", {}, "st436m", {"--element-size", "6000"});
    for (const auto& sizing : {std::vector<std::string>{}, {"--element-size", "2048"}})
        for (const char* file : {"sony.anc", "standard.anc"})
            roundTrip(file, {"--flavour", "sony"}, "rtmd", sizing);
#ifdef VELMORA_HAVE_CLIPS
    roundTrip("clips/camera.mxf", {"--flavour", "sony"}, "st436m");
#endif
}

TEST(ToolEncode, AnArriFrameInUnitsBecomesRdd18) {
    const ToolRun units = dump({"--units", "-f", "json", (kSamples / "arri.anc").string()});
    const ToolRun written = encode({"--from-units"}, units.out);
    ASSERT_EQ(written.status, 0) << written.err;
    const json back =
        json::parse(dump({"--units=only", "--parser", "rdd18", "-f", "json", "-"}, written.out)
                        .out)[0]["units"]["rdd18"];
    const json arri = json::parse(units.out)[0]["units"]["arri"];
    for (const char* field : {"focalLengthMm", "focusDistanceM", "iso", "whiteBalanceK"})
        EXPECT_EQ(back.at(field), arri.at(field)) << field;
    EXPECT_NEAR(back.at("irisTNumber").get<double>(), arri.at("irisTNumber").get<double>(), 1e-3);
}

TEST(ToolEncode, RefusedFramesNameTheKeyAndAreLeftOut) {
    const json good = {{"rdd18", {{"CameraISOSensitivityItem", 800}}}};
    const std::string goodFrame = encode({}, good.dump()).out;
    ASSERT_FALSE(goodFrame.empty());
    const struct {
        json report;
        const char* key;
    } cases[] = {
        {json{{"x", 1}}, "report"},
        {{{"rdd18", {{"CameraISOSensitivityItem", {{"$kind", "float"}, {"$value", 800}}}}}},
         "CameraISOSensitivityItem"},
        {{{"rdd18", {{"SonyGrayCodeValueItem", {{"$data", "0g"}}}}}},
         "rdd18.SonyGrayCodeValueItem"},
        {{{"rdd18",
           {{"VaricamClipNameValueItem", "a"}, {"SonyGrayCodeValueItem", {{"$data", ""}}}}}},
         "SonyGrayCodeValueItem"},  // no flavour has both
        {{{"rdd18", {{"LensIrisFNumberItem", 70000}}}}, "LensIrisFNumberItem"},
        {{{"arri", {{"clipName", std::string(25, 'c')}}}}, "clipName"},
        // Written as an rtmd sample (the options of these rows).
        {{{"rdd18", good["rdd18"]}, {"arri", {{"clipName", "c"}}}}, "arri"},
        {{{"rdd18", good["rdd18"]}, {"timecode", "10:00:60:00"}}, "timecode"},
        {{{"rdd18", good["rdd18"]}, {"timecode", "10:00:00"}}, "timecode"},
    };
    for (const auto& c : cases) {
        const std::vector<std::string> options =
            c.key == std::string("arri") || c.key == std::string("timecode")
                ? std::vector<std::string>{"--to", "rtmd"}
                : std::vector<std::string>{};
        const std::string goodFrame = encode(options, good.dump()).out;
        const ToolRun r = encode(options, json::array({good, c.report, good}).dump());
        EXPECT_EQ(r.status, rdd18::encode::kExitBadInput) << c.report;
        EXPECT_EQ(r.out, goodFrame + goodFrame) << c.report;
        EXPECT_NE(r.err.find(c.key), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("frame 1"), std::string::npos) << r.err;
    }
    EXPECT_EQ(encode({}, "{").status, rdd18::encode::kExitBadInput);
    // A named input is read from its file; a file that can't be read is refused.
    const auto named = std::filesystem::temp_directory_path() / "velmora_encode_input.json";
    std::ofstream(named) << good.dump();
    EXPECT_EQ(encode({named.string()}, "").out, goodFrame);
    std::filesystem::remove(named);
    const ToolRun missing = encode({named.string()}, good.dump());
    EXPECT_EQ(missing.status, rdd18::encode::kExitBadInput);
    EXPECT_EQ(missing.err, "velmora-encode: can't read " + named.string() + "\n");
    // A packet longer than a VANC line of 16 pixels: the frame doesn't fit its form.
    const ToolRun narrow = encode({"--to", "v210", "--width", "16"}, good.dump());
    EXPECT_EQ(narrow.status, rdd18::encode::kExitBadInput);
    EXPECT_EQ(narrow.out, "");
    // An element larger than its fixed size is refused; the size is for elements alone.
    const ToolRun small = encode({"--to", "st436m", "--element-size", "16"}, good.dump());
    EXPECT_EQ(small.status, rdd18::encode::kExitBadInput);
    EXPECT_EQ(small.out, "");
    EXPECT_EQ(encode({"--to", "v210", "--element-size", "16"}, good.dump()).status,
              rdd18::encode::kExitBadArguments);
}

TEST(ToolEncode, ANumberedNameWritesAFilePerFrame) {
    const json good = {{"rdd18", {{"CameraISOSensitivityItem", 800}}}};
    const json other = {{"rdd18", {{"CameraISOSensitivityItem", 1600}}}};
    const auto dir = std::filesystem::temp_directory_path() / "velmora_encode_frames";
    std::filesystem::create_directories(dir);
    // Numbered by each report's frame, typed or plain, else by its place.
    json reports = {good, other, other};
    reports[0]["frame"] = {{"$kind", "integer"}, {"$value", 7}};
    reports[1]["frame"] = 12;
    const ToolRun r = encode({"-o", (dir / "f%03d-100%%.anc").string()}, reports.dump());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");
    const auto contents = [&](const char* name) {
        std::ifstream in(dir / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    EXPECT_EQ(contents("f007-100%.anc"), encode({}, good.dump()).out);
    EXPECT_EQ(contents("f012-100%.anc"), encode({}, other.dump()).out);
    EXPECT_EQ(contents("f002-100%.anc"), encode({}, other.dump()).out);
    std::filesystem::remove_all(dir);
    for (const char* pattern : {"f%s", "f%d%d", "f%", "f%010d"})
        EXPECT_EQ(encode({"-o", pattern}, good.dump()).status, rdd18::encode::kExitBadArguments)
            << pattern;
}

}  // namespace
