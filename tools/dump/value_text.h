// Text forms of the scalar values of an answer, shared by the output formats.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "rdd18/platform/value.h"

namespace rdd18::dump {

/// The text of a number, exact for every kind:
/// - integer kinds: the decimal value (unsigned kinds never turn negative);
/// - bool: "true" or "false";
/// - float: the shortest decimal text that reads back to the same float (not the same double);
/// - double: the shortest decimal text that reads back to the same double;
/// - negative zero keeps its sign ("-0"); NaN and the infinities give "NaN", "Infinity" and
///   "-Infinity", which each output format wraps in its own way (see `isFiniteOrInteger`).
std::string numberText(const Number& n);

/// False only for a floating number that is NaN or infinite: the values that JSON can't hold.
bool isFiniteOrInteger(const Number& n) noexcept;

/// Lower-case hexadecimal digits of `data`, two per byte, nothing between them.
std::string hexText(const Data& data);

/// `data` in base64 (RFC 4648, with padding, no line breaks).
std::string base64Text(const Data& data);

/// `s` as a JSON string literal: quoted, escaped, UTF-8 kept; a byte sequence that isn't UTF-8
/// becomes U+FFFD.
std::string jsonQuoted(std::string_view s);

/// `s` with every byte sequence that isn't UTF-8 replaced by U+FFFD.
std::string validUtf8(std::string_view s);

/// Calls `leaf` with each scalar under `v`, and each empty dictionary or array, and its key: `key`
/// followed by the dictionary keys on the way, each behind a dot, and the array indexes as [i]
/// ("rdd18.CameraColorMatrixItem[0].num"). Dictionary entries come in key order.
void flatten(const std::string& key, const Value& v,
             const std::function<void(const std::string& key, const Value& leaf)>& leaf);

/// Number of characters (code points) of UTF-8 text, for aligning columns.
std::size_t displayWidth(std::string_view s) noexcept;

}  // namespace rdd18::dump
