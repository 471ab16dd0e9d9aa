// A hint for a frame that came out empty because it was read the wrong way: hexadecimal text read
// as binary, rtmd samples read as packets, or a buffer read with the wrong flag setting; and why
// an ARRIRAW file gave nothing.
#pragma once

#include <span>
#include <string>

namespace rdd18::dump {

/// When `bytes`, read with `flags` (whether packets carry the 3-byte flag), hold no RDD 18 or ARRI
/// packet but look like hexadecimal text, rtmd samples or a buffer of the other flag setting, the
/// option that reads them (e.g. "--hex"), with the reason; else an empty string. `hex`: the bytes
/// already came from hexadecimal text.
std::string readingHint(std::span<const unsigned char> bytes, bool hex, bool flags);

/// Why the first bytes of an ARRIRAW frame file give no answer: the text of the library's fault
/// ("ARRI file: starts with ..."); an empty string when they hold a whole record.
std::string ariRefusal(std::span<const unsigned char> head);

}  // namespace rdd18::dump
