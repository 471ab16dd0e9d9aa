// velmora-dump's output layer: exact number text, and the JSON, plist and table forms of values
// that plain JSON can't hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "dump/value_text.h"
#include "dump/writers.h"

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
        {Number::floatNumber(16777216.0f), "16777216"},
        {Number::doubleNumber(0.1), "0.1"},
        {Number::doubleNumber(1.0 / 3.0), "0.3333333333333333"},
        {Number::doubleNumber(0.1 + 0.2), "0.30000000000000004"},
        {Number::doubleNumber(1e23), "1e+23"},
        {Number::doubleNumber(-0.0), "-0"},
        {Number::floatNumber(-0.0f), "-0"},
        {Number::doubleNumber(nan), "NaN"},
        {Number::floatNumber(std::numeric_limits<float>::quiet_NaN()), "NaN"},
        {Number::doubleNumber(inf), "Infinity"},
        {Number::floatNumber(-std::numeric_limits<float>::infinity()), "-Infinity"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(numberText(c.number), c.text) << numberKindName(c.number.kind());
    }
}

TEST(ToolNumberText, ReadsBackToTheSameBits) {
    const float floats[] = {std::numeric_limits<float>::denorm_min(),
                            std::numeric_limits<float>::max(),
                            1.35f,
                            172.8f,
                            -4.5e-30f,
                            8388609.0f};
    for (float f : floats) {
        const std::string text = numberText(Number::floatNumber(f));
        EXPECT_EQ(std::strtof(text.c_str(), nullptr), f) << text;
    }
    const double doubles[] = {std::numeric_limits<double>::denorm_min(), 4.095e10, 1.023e18, 0.3,
                              -2.2250738585072014e-308};
    for (double d : doubles) {
        const std::string text = numberText(Number::doubleNumber(d));
        EXPECT_EQ(std::strtod(text.c_str(), nullptr), d) << text;
    }
}

TEST(ToolValueText, Base64AndUtf8) {
    // RFC 4648 test vectors.
    const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foob", "Zm9vYg=="},
                                                           {"fooba", "Zm9vYmE="},
                                                           {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, encoded] : vectors) {
        const std::string s(plain);
        EXPECT_EQ(base64Text(Data(reinterpret_cast<const unsigned char*>(s.data()), s.size())),
                  encoded);
    }
    EXPECT_EQ(hexText(Data(std::vector<unsigned char>{0x00, 0xAB, 0x0F})), "00ab0f");
    EXPECT_EQ(validUtf8("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(validUtf8("a\xE9z"), "a\xEF\xBF\xBDz");              // Latin-1 byte, not UTF-8
    EXPECT_EQ(validUtf8("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");  // overlong '/'
    EXPECT_EQ(validUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");  // surrogate
    EXPECT_EQ(validUtf8("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");                  // cut short
    EXPECT_EQ(displayWidth("caf\xC3\xA9"), 4u);
}

// A frame whose answer holds every value the formats must take care of.
std::vector<FrameReport> awkwardFrame() {
    Dictionary d;
    d.set("nan", Number::floatNumber(std::numeric_limits<float>::quiet_NaN()));
    d.set("negInf", Number::doubleNumber(-std::numeric_limits<double>::infinity()));
    d.set("negZero", Number::doubleNumber(-0.0));
    d.set("data", Data(std::vector<unsigned char>{0x00, 0xFF}));
    d.set("text", std::string("a\"<&>\x01", 6));
    d.set("nested", Dictionary{{"density", Number::doubleNumber(0.6)}});
    d.set("list", Array{Number::unsignedInt(7), Array{}});
    return {FrameReport{"f.anc", {{"arri", Value(d)}}}};
}

std::string written(Format format, bool types) {
    std::ostringstream out;
    writeReports(out, awkwardFrame(), {format, types});
    return out.str();
}

TEST(ToolWriters, JsonHoldsWhatJsonCannot) {
    for (Format format : {Format::Json, Format::JsonLines}) {
        const auto j = nlohmann::json::parse(written(format, false));
        const auto& arri = (format == Format::Json ? j.at(0) : j).at("arri");
        EXPECT_EQ(arri.at("nan"), nlohmann::json({{"$number", "NaN"}}));
        EXPECT_EQ(arri.at("negInf"), nlohmann::json({{"$number", "-Infinity"}}));
        // Parsers read "-0" as the integer 0, so the sign is checked in the text.
        EXPECT_NE(written(format, false)
                      .find(format == Format::Json ? "\"negZero\": -0," : "\"negZero\":-0,"),
                  std::string::npos);
        EXPECT_EQ(arri.at("data"), nlohmann::json({{"$data", "00ff"}}));
        EXPECT_EQ(arri.at("text"), std::string("a\"<&>\x01", 6));
        EXPECT_EQ(arri.at("nested").at("density"), 0.6);
        EXPECT_EQ(arri.at("list"), nlohmann::json::parse("[7, []]"));
    }
    const std::string lines = written(Format::JsonLines, false);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1);
    const auto typed = nlohmann::json::parse(written(Format::Json, true)).at(0).at("arri");
    EXPECT_EQ(typed.at("list").at(0), nlohmann::json({{"$kind", "unsigned int"}, {"$value", 7}}));
    EXPECT_EQ(typed.at("nan"),
              nlohmann::json({{"$kind", "float"}, {"$value", {{"$number", "NaN"}}}}));
}

TEST(ToolWriters, PlistElements) {
    const std::string plist = written(Format::Plist, false);
    for (const char* fragment :
         {"<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\"", "<key>file</key>",
          "<string>f.anc</string>", "<real>nan</real>", "<real>-infinity</real>", "<real>-0</real>",
          "<data>AP8=</data>", "<string>a\"&lt;&amp;&gt;\xEF\xBF\xBD</string>",
          "<integer>7</integer>", "<array/>", "<real>0.6</real>"}) {
        EXPECT_NE(plist.find(fragment), std::string::npos) << fragment;
    }
    EXPECT_NE(
        written(Format::Plist, true).find("<key>$kind</key>\n\t\t\t\t<string>double</string>"),
        std::string::npos);
}

TEST(ToolWriters, TableFlattensKeysAndAligns) {
    std::istringstream table(written(Format::Table, true));
    std::string line;
    std::getline(table, line);
    EXPECT_EQ(line, "f.anc");
    std::vector<std::vector<std::string>> rows;
    std::set<std::size_t> valueColumns;
    while (std::getline(table, line)) {
        std::istringstream words(line);
        rows.emplace_back(std::istream_iterator<std::string>(words),
                          std::istream_iterator<std::string>());
        valueColumns.insert(line.find(' ', 2) +
                            line.substr(line.find(' ', 2)).find_first_not_of(' '));
    }
    const std::vector<std::vector<std::string>> expected[] = {
        {{"arri.nested.density", "0.6", "double"}}, {{"arri.list[0]", "7", "unsigned", "int"}},
        {{"arri.list[1]", "[]", "array"}},          {{"arri.data", "<00ff>", "data"}},
        {{"arri.negZero", "-0", "double"}},         {{"arri.nan", "NaN", "float"}},
    };
    for (const auto& e : expected) {
        EXPECT_NE(std::find(rows.begin(), rows.end(), e[0]), rows.end()) << e[0][0];
    }
    EXPECT_EQ(rows.size(), 8u);
    EXPECT_EQ(valueColumns.size(), 1u) << "values start in one column";
}

}  // namespace
