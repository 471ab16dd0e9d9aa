// velmora-dump's output layer: exact number text, base64, hex and UTF-8 repair. How the formats
// write values plain JSON can't hold is checked by the golden files of extreme-values.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
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

}  // namespace
