#include "dump/input.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace rdd18::dump {

namespace {

int hexDigit(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isSpace(char c) noexcept {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string describeCharacter(char c) {
    const auto u = static_cast<unsigned char>(c);
    if (u >= 0x21 && u < 0x7F) return std::string("'") + c + "'";
    char buf[16];
    std::snprintf(buf, sizeof buf, "byte 0x%02x", u);
    return buf;
}

}  // namespace

std::vector<unsigned char> parseHexText(std::string_view text, std::string_view name) {
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 2);
    std::size_t line = 1;
    std::size_t column = 1;
    auto fail = [&](std::size_t failLine, std::size_t failColumn, const std::string& what) {
        std::ostringstream message;
        message << name << ':' << failLine << ':' << failColumn << ": " << what;
        throw InputError(message.str());
    };
    std::size_t i = 0;
    while (i < text.size()) {
        const char c = text[i];
        if (isSpace(c)) {
            if (c == '\n') {
                ++line;
                column = 0;
            }
            ++i;
            ++column;
            continue;
        }
        // A run of digits up to the next white space: every pair of it is a byte.
        const std::size_t runColumn = column;
        std::size_t digits = 0;
        int high = 0;
        for (; i < text.size() && !isSpace(text[i]); ++i, ++column, ++digits) {
            const int d = hexDigit(text[i]);
            if (d < 0) {
                fail(line, column, describeCharacter(text[i]) + " is not a hexadecimal digit");
            }
            if (digits % 2 == 0) {
                high = d;
            } else {
                bytes.push_back(static_cast<unsigned char>(high * 16 + d));
            }
        }
        if (digits % 2 != 0) {
            fail(line, runColumn,
                 "odd number of hexadecimal digits (" + std::to_string(digits) +
                     "); write each byte as two digits");
        }
    }
    return bytes;
}

Input readInput(const std::string& name, bool hex, std::istream& standardInput) {
    std::string content;
    if (name == "-") {
        content.assign(std::istreambuf_iterator<char>(standardInput), {});
        if (standardInput.bad()) throw InputError("-: cannot read standard input");
    } else {
        std::error_code ec;
        if (std::filesystem::is_directory(name, ec)) throw InputError(name + ": is a directory");
        std::ifstream file(name, std::ios::binary);
        if (!file) throw InputError(name + ": cannot open: " + std::strerror(errno));
        content.assign(std::istreambuf_iterator<char>(file), {});
        if (file.bad()) throw InputError(name + ": cannot read: " + std::strerror(errno));
    }
    Input input{name, {}};
    if (hex) {
        input.bytes = parseHexText(content, name);
    } else {
        input.bytes.assign(content.begin(), content.end());
    }
    return input;
}

}  // namespace rdd18::dump
