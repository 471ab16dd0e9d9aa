// Decimal text to double, exactly (the nearest double, as the text's value rounds), whatever the
// process's locale.
#pragma once

#include <charconv>
#include <optional>
#include <system_error>
#if !defined(__cpp_lib_to_chars)
#include <locale>
#include <sstream>
#include <string>
#endif

namespace rdd18::internal {

/// The double nearest the decimal number in [first, last) ("1.5", "-2e-3"); nothing when the text
/// is no number as a whole or its value is beyond the range of a double.
inline std::optional<double> readDecimal(const char* first, const char* last) {
    double out = 0;
#if defined(__cpp_lib_to_chars)
    const auto [end, ec] = std::from_chars(first, last, out);
    if (ec != std::errc{} || end != last) return std::nullopt;
#else
    // A standard library without from_chars for floating point (libc++ before 17): a stream in
    // the classic locale rounds as the C library's strtod does, correctly, and reads '.' as the
    // decimal point whatever the process's locale says.
    std::istringstream in(std::string(first, last));
    in.imbue(std::locale::classic());
    if (!(in >> out) || in.peek() != std::char_traits<char>::eof()) return std::nullopt;
#endif
    return out;
}

}  // namespace rdd18::internal
