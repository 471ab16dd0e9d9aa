#include "dump/input.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
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

namespace {

// Reads all of `in` into `into` (a byte or character container), in one copy: a file's size is
// reserved up front, so the container doesn't grow by doubling.
template <class Container>
void readAll(std::istream& in, Container& into, std::uintmax_t sizeHint) {
    into.reserve(static_cast<std::size_t>(sizeHint));
    char block[1 << 16];
    while (in.read(block, sizeof block) || in.gcount() > 0) {
        into.insert(into.end(), block, block + in.gcount());
    }
}

}  // namespace

std::unique_ptr<std::istream> openInput(const std::string& name, std::istream& standardInput,
                                        std::uintmax_t* size) {
    if (size) *size = 0;
    if (name == "-") return std::make_unique<std::istream>(standardInput.rdbuf());
    std::error_code ec;
    if (std::filesystem::is_directory(name, ec)) throw InputError(name + ": is a directory");
    auto file = std::make_unique<std::ifstream>(name, std::ios::binary);
    if (!*file) throw InputError(name + ": cannot open: " + std::strerror(errno));
    if (size) {
        const auto n = std::filesystem::file_size(name, ec);
        *size = ec ? 0 : n;
    }
    return file;
}

Input readInput(const std::string& name, bool hex, std::istream& standardInput) {
    std::uintmax_t size = 0;
    const auto in = openInput(name, standardInput, &size);
    Input input{name, {}};
    if (hex) {
        std::string text;
        readAll(*in, text, size);
        if (in->bad()) throw InputError(name + ": cannot read: " + std::strerror(errno));
        input.bytes = parseHexText(text, name);
    } else {
        readAll(*in, input.bytes, size);
        if (in->bad()) throw InputError(name + ": cannot read: " + std::strerror(errno));
    }
    return input;
}

}  // namespace rdd18::dump
