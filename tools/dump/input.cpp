#include "dump/input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace rdd18::dump {

namespace {

bool isHex(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
bool isBlank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\r' || c == ',';
}

std::string describeCharacter(char c) {
    const auto u = static_cast<unsigned char>(c);
    if (u >= 0x21 && u < 0x7F) return std::string("'") + c + "'";
    char buf[16];
    std::snprintf(buf, sizeof buf, "byte 0x%02x", u);
    return buf;
}

/// Length of an `xxd` offset ("0000a0:") at the start of `line`, or 0.
std::size_t xxdOffset(std::string_view line) {
    std::size_t i = 0;
    while (i < line.size() && isHex(line[i])) ++i;
    return i >= 4 && i < line.size() && line[i] == ':' ? i + 1 : 0;
}

}  // namespace

void failAt(std::string_view name, std::size_t line, std::size_t column, const std::string& what) {
    std::ostringstream message;
    message << name << ':' << line << ':' << column << ": " << what;
    throw InputError(message.str());
}

unsigned hexValue(std::string_view digits) noexcept {
    unsigned v = 0;
    for (char c : digits)
        v = v * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
    return v;
}

std::vector<HexRun> analyserHexRuns(std::string_view text, std::string_view name) {
    std::vector<HexRun> runs;
    std::size_t lineNumber = 0;
    for (std::size_t start = 0; start <= text.size(); ++lineNumber) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = text.substr(start, end - start);
        const std::size_t base = start;
        start = end + 1;
        if (const auto hash = line.find('#'); hash != std::string_view::npos)
            line = line.substr(0, hash);
        std::size_t i = xxdOffset(line);
        if (i) {
            // xxd: groups of digits up to the two spaces before the text column.
            const auto text = line.find("  ", i + 1);
            if (text != std::string_view::npos) line = line.substr(0, text);
        }
        while (i < line.size()) {
            if (isBlank(line[i])) {
                ++i;
                continue;
            }
            if (line[i] == '0' && i + 1 < line.size() && (line[i + 1] | 0x20) == 'x') i += 2;
            const std::size_t first = i;
            while (i < line.size() && !isBlank(line[i])) {
                if (!isHex(line[i]))
                    failAt(name, lineNumber + 1, i + 1,
                           describeCharacter(line[i]) + " is not a hexadecimal digit");
                ++i;
            }
            if (i > first)
                runs.push_back({lineNumber + 1, first + 1, text.substr(base + first, i - first)});
        }
    }
    return runs;
}

void appendHexBytes(const HexRun& run, std::string_view name, std::vector<unsigned char>& out) {
    if (run.digits.size() % 2)
        failAt(name, run.line, run.column,
               "odd number of hexadecimal digits (" + std::to_string(run.digits.size()) +
                   "); write each byte as two digits");
    for (std::size_t k = 0; k < run.digits.size(); k += 2)
        out.push_back(static_cast<unsigned char>(hexValue(run.digits.substr(k, 2))));
}

std::vector<unsigned char> parseHexText(std::string_view text, std::string_view name) {
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 2);
    for (const HexRun& run : analyserHexRuns(text, name)) appendHexBytes(run, name, bytes);
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
