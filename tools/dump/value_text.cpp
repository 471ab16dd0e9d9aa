#include "dump/value_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <system_error>

namespace rdd18::dump {

namespace {

template <class T>
std::string shortestText(T v) {
    if (std::isnan(v)) return "NaN";
    if (std::isinf(v)) return v < 0 ? "-Infinity" : "Infinity";
    // The plain (format-less) overload gives the shortest text that reads back to the same value
    // of T; the float overload matters: widening to double first would print the float's binary
    // expansion (23.976f would become 23.97599983215332).
    char buf[64];
    const auto result = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, result.ptr);
}

}  // namespace

std::string numberText(const Number& n) {
    switch (n.kind()) {
        case NumberKind::Bool:
            return n.boolValue() ? "true" : "false";
        case NumberKind::Float:
            return shortestText(n.floatValue());
        case NumberKind::Double:
            return shortestText(n.doubleValue());
        default:
            break;
    }
    return n.isSigned() ? std::to_string(n.int64Value()) : std::to_string(n.uint64Value());
}

bool isFiniteOrInteger(const Number& n) noexcept {
    if (n.kind() == NumberKind::Float) return std::isfinite(n.floatValue());
    if (n.kind() == NumberKind::Double) return std::isfinite(n.doubleValue());
    return true;
}

std::string hexText(const Data& data) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(data.size() * 2);
    for (unsigned char b : data.bytes) {
        out.push_back(kDigits[b >> 4]);
        out.push_back(kDigits[b & 0xF]);
    }
    return out;
}

std::string base64Text(const Data& data) {
    static constexpr char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto& b = data.bytes;
    std::string out;
    out.reserve((b.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < b.size(); i += 3) {
        const std::size_t n = std::min<std::size_t>(3, b.size() - i);
        std::uint32_t group = std::uint32_t{b[i]} << 16;
        if (n > 1) group |= std::uint32_t{b[i + 1]} << 8;
        if (n > 2) group |= b[i + 2];
        for (std::size_t k = 0; k < 4; ++k) {
            out.push_back(k <= n ? kAlphabet[(group >> (18 - 6 * k)) & 0x3F] : '=');
        }
    }
    return out;
}

std::string jsonQuoted(std::string_view s) {
    std::string out = "\"";
    for (const char c : validUtf8(s)) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escape[8];
                    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
                    out += escape;
                } else {
                    out += c;
                }
        }
    }
    return out += '"';
}

std::string validUtf8(std::string_view s) {
    static constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string out;
    out.reserve(s.size());
    std::size_t i = 0;
    while (i < s.size()) {
        const auto c = static_cast<unsigned char>(s[i]);
        // Length of the sequence a lead byte announces, and the smallest code point it may hold
        // (anything below is an overlong form).
        std::size_t n = 0;
        std::uint32_t cp = 0, least = 0;
        if (c < 0x80) {
            n = 1, cp = c;
        } else if ((c & 0xE0) == 0xC0) {
            n = 2, cp = c & 0x1F, least = 0x80;
        } else if ((c & 0xF0) == 0xE0) {
            n = 3, cp = c & 0x0F, least = 0x800;
        } else if ((c & 0xF8) == 0xF0) {
            n = 4, cp = c & 0x07, least = 0x10000;
        }
        bool ok = n > 0 && i + n <= s.size();
        for (std::size_t k = 1; ok && k < n; ++k) {
            const auto cc = static_cast<unsigned char>(s[i + k]);
            ok = (cc & 0xC0) == 0x80;
            cp = cp << 6 | (cc & 0x3F);
        }
        ok = ok && cp >= least && cp <= 0x10FFFF && !(cp >= 0xD800 && cp <= 0xDFFF);
        if (ok) {
            out.append(s.substr(i, n));
            i += n;
        } else {
            out.append(kReplacement);
            ++i;
        }
    }
    return out;
}

void flatten(const std::string& key, const Value& v,
             const std::function<void(const std::string& key, const Value& leaf)>& leaf) {
    if (v.isArray() && !v.array().empty()) {
        for (std::size_t i = 0; i < v.array().size(); ++i)
            flatten(key + "[" + std::to_string(i) + "]", v.array()[i], leaf);
    } else if (v.isDictionary() && !v.dictionary().empty()) {
        for (const auto& [k, element] : v.dictionary()) flatten(key + "." + k, element, leaf);
    } else {
        leaf(key, v);
    }
}

std::size_t displayWidth(std::string_view s) noexcept {
    std::size_t n = 0;
    for (char c : s) n += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return n;
}

}  // namespace rdd18::dump
