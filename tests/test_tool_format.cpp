// velmora-dump's output layer: exact number text, base64, hex and UTF-8 repair, values in units
// and the lens plot. How the formats write values plain JSON can't hold is checked by the golden
// files of extreme-values.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "dump/dump.h"
#include "dump/plot.h"
#include "dump/units_view.h"
#include "dump/value_text.h"
#include "dump/writers.h"
#include "rdd18/interpret/interpret.h"
#include "sample_index.h"
#include "tool_run.h"

using namespace rdd18;
using namespace rdd18::dump;

namespace {

TEST(ToolNumberText, ExactForEveryKind) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        Number number;
        const char* text;
    } cases[] = {
        {Number::integer(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808"},
        {Number::shortNumber(-32768), "-32768"},
        {Number::intNumber(-2147483647 - 1), "-2147483648"},
        {Number::unsignedChar(255), "255"},
        {Number::unsignedShort(65535), "65535"},
        {Number::unsignedInt(4294967295u), "4294967295"},
        {Number::unsignedLong(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
        {Number::boolean(true), "true"},
        {Number::boolean(false), "false"},
        // A float prints as the shortest text of the float, not of its widened double.
        {Number::floatNumber(23.976f), "23.976"},
        {Number::floatNumber(0.1f), "0.1"},
        {Number::floatNumber(1.0f / 3.0f), "0.33333334"},
        {Number::doubleNumber(1e23), "1e+23"},
        {Number::doubleNumber(-0.0), "-0"},
        {Number::floatNumber(-0.0f), "-0"},
        {Number::doubleNumber(nan), "NaN"},
        {Number::doubleNumber(inf), "Infinity"},
        {Number::floatNumber(-std::numeric_limits<float>::infinity()), "-Infinity"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(numberText(c.number), c.text) << numberKindName(c.number.kind());
    }
}

TEST(ToolValueText, Base64AndUtf8) {
    // RFC 4648 test vectors: the prefixes of "foobar".
    const char* encoded[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (std::size_t n = 0; n < 7; ++n) {
        const auto* foobar = reinterpret_cast<const unsigned char*>("foobar");
        EXPECT_EQ(base64Text(Data(foobar, n)), encoded[n]) << n;
    }
    EXPECT_EQ(hexText(Data(std::vector<unsigned char>{0x00, 0xAB, 0x0F})), "00ab0f");
    std::ostringstream csv;
    csvWriter(csv, {"a\"b"});  // writes the header row: a quote is doubled inside quotes
    EXPECT_EQ(csv.str() + jsonQuoted("\x1F"), "\"a\"\"b\"\r\n\"\\u001f\"");
    EXPECT_EQ(validUtf8("caf\xC3\xA9\xF0\x9F\x8E\xA5"), "caf\xC3\xA9\xF0\x9F\x8E\xA5");
    EXPECT_EQ(validUtf8("a\xE9z"), "a\xEF\xBF\xBDz");              // Latin-1 byte, not UTF-8
    EXPECT_EQ(validUtf8("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");  // overlong '/'
    EXPECT_EQ(validUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");  // surrogate
    EXPECT_EQ(validUtf8("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");                  // cut short
    EXPECT_EQ(displayWidth("caf\xC3\xA9"), 4u);
}

// Every sample, with its own options: the units section holds only known fields and plain numbers
// (no NaN, no infinity); unit texts at their edges.
TEST(ToolUnits, UnitsOfEverySample) {
    const std::filesystem::path samples = VELMORA_SAMPLES_DIR;
    std::set<std::string> known;
    for (const auto& f : interpret::numberFields()) known.emplace(f.key);
    for (const auto& f : interpret::textFields()) known.emplace(f.key);
    const auto entries = testsupport::readSampleIndex(samples / "index.txt");
    ASSERT_GE(entries.size(), 20u);
    for (const auto& entry : entries) {
        std::vector<std::string> args{(samples / entry.file).string()};
        args.insert(args.end(), entry.options.begin(), entry.options.end());
        args.insert(args.end(), {"--units=only", "--format", "json"});
        const auto r = testsupport::tool(args);
        EXPECT_EQ(r.status, 0) << r.err;
        const auto report = nlohmann::json::parse(r.out).at(0);
        EXPECT_FALSE(report.contains("rdd18")) << entry.file;
        EXPECT_FALSE(report.contains("arri")) << entry.file;
        for (const auto& [parser, model] : report.at("units").items()) {
            for (const auto& [key, v] : model.items()) {
                EXPECT_TRUE(known.count(key)) << entry.file << " " << parser << "." << key;
                EXPECT_TRUE(v.is_number() || v.is_string()) << entry.file << " " << key;
            }
        }
    }
    using U = interpret::Unit;  // 1 s whole, density to 0.01, no "-0"
    EXPECT_EQ(unitText(U::Second, 1) + "|" + unitText(U::Density, 0.45) + "|" +
                  unitText(U::Percent, -0.01),
              "1 s|ND0.45|0 %");
}

// Missing values are gaps: one run of two frames draws one line, a lone value a dot only. The
// shared axis gives the frames' numbers as the reports do, or their times when all have one.
TEST(ToolPlot, GapsAndTheFrameAxis) {
    LensPlot numbered, timed;
    const std::optional<double> focus[] = {3.5, std::nullopt, 4.0, 4.1};
    for (std::int64_t i = 0; i < 4; ++i) {
        interpret::CameraModel m;
        m.focusDistanceM = focus[i];
        numbered.add(100 + i, std::nullopt, m);
        timed.add(100 + i, 0.04 * static_cast<double>(i), m);
    }
    std::ostringstream svg, timedSvg;
    numbered.writeSvg(svg);
    timed.writeSvg(timedSvg);
    const std::string s = svg.str(), t = timedSvg.str();
    // Frame 100 stands at the left end of the axis and is labelled 100; 103 is the last.
    for (const char* part : {"4 frames", "no values in these frames", "<circle cx=\"78.0\"",
                             ">100</text>", ">103</text>", ">Frame</text>"})
        EXPECT_NE(s.find(part), s.npos) << part << " in\n" << s;
    for (const char* part : {"nan", ">104</text>"}) EXPECT_EQ(s.find(part), s.npos) << part;
    EXPECT_EQ(s.find("<polyline"), s.rfind("<polyline"));
    EXPECT_NE(s.find("<polyline"), s.npos);
    for (const char* part : {">Time (s)</text>", ">0.12</text>"})
        EXPECT_NE(t.find(part), t.npos) << part << " in\n" << t;
    EXPECT_EQ(t.find(">100</text>"), t.npos);
}

}  // namespace
