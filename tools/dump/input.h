// Reading the frames the tool is given: binary packet buffers or hexadecimal text, from files or
// from standard input.
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace rdd18::dump {

/// An input that can't be read; `what()` is one line that names the input.
class InputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One frame's packet buffer and the name it was given by ("-" for standard input).
struct Input {
    std::string name;
    std::vector<unsigned char> bytes;
};

/// Hex text as analysers print it, split into runs of digits with their line and column: white
/// space and commas separate runs, "0x" prefixes are dropped, "#" starts a comment, and an
/// `xxd` line loses its offset ("00000010:") and its text column. Throws `InputError` naming
/// `name`, line and column of a character that is no hexadecimal digit.
struct HexRun {
    std::size_t line, column;
    std::string_view digits;
};
std::vector<HexRun> analyserHexRuns(std::string_view text, std::string_view name);

/// Throws `InputError` with the message "name:line:column: what".
[[noreturn]] void failAt(std::string_view name, std::size_t line, std::size_t column,
                         const std::string& what);

/// The value of a run of hexadecimal digits (as `analyserHexRuns` gives them).
unsigned hexValue(std::string_view digits) noexcept;

/// Appends the bytes of `run`, two digits each. Throws `InputError` naming `name`, the line and
/// the column of a run with an odd number of digits, so that a byte can't be split ("4 3" is an
/// error, not 0x43).
void appendHexBytes(const HexRun& run, std::string_view name, std::vector<unsigned char>& out);

/// The bytes of hex text in any of the spellings of `analyserHexRuns`.
std::vector<unsigned char> parseHexText(std::string_view text, std::string_view name);

/// Opens the input `name` for reading: the file of that name, or `standardInput` when `name` is
/// "-"; `size`, when given, receives the file's size (0 when unknown). Throws `InputError` when
/// the file can't be opened or is a directory.
std::unique_ptr<std::istream> openInput(const std::string& name, std::istream& standardInput,
                                        std::uintmax_t* size = nullptr);

/// Reads the input `name`: the file of that name, or `standardInput` when `name` is "-". With
/// `hex` the content is hexadecimal text (see `parseHexText`), else the raw packet buffer.
/// Throws `InputError` when the file can't be opened or read, or the text isn't hexadecimal.
Input readInput(const std::string& name, bool hex, std::istream& standardInput);

}  // namespace rdd18::dump
