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

/// The bytes of hexadecimal text: pairs of digits (either case), with any white space between
/// bytes. Each run of digits between white space must have an even number of digits, so that a
/// byte can't be split ("4 3" is an error, not 0x43). Throws `InputError` naming `name`, the line
/// and the column of the first character that is neither a digit nor white space, or of an odd run.
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
