// The forms a frame's ancillary data comes in (--input), analyser hexadecimal text (--hex), files
// of one hex frame per line (--frame-per-line), and the conversion of each to the packet buffer
// the parsers read, with what the conversion dropped.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "dump/input.h"

namespace rdd18::dump {

enum class InputForm {
    Auto,     ///< a clip when the name ends in .mxf, else a packet buffer
    Packets,  ///< 8-bit packet buffer, as the parsers read it
    Words10,  ///< 10-bit words: hex text of words, or 16-bit little-endian values
    V210,     ///< VANC lines, v210
    Uyvy,     ///< VANC lines, UYVY
    Rfc8331,  ///< one RFC 8331 RTP payload
    St436m,   ///< ST 436M ANC elements back to back, one per frame
    Clip,     ///< a clip (MXF) with an ST 436M ANC track
};

/// The --input names and their forms.
const std::map<std::string, InputForm>& inputForms();

struct HostInputOptions {
    InputForm form = InputForm::Packets;
    std::uint32_t width = 1920;  ///< pixels per VANC line
    bool hex = false;            ///< the content is analyser hex text
    bool framePerLine = false;   ///< each line of hex text is a frame
    bool flags = true;           ///< packets (and 10-bit words) stand behind flags
    bool keepDamaged = false;    ///< keep packets with a bad parity or checksum
};

/// One frame for the parsers: its name ("file" or "file:line"), its packet buffer, whether the
/// buffer carries flags, and one line per packet or byte range the conversion dropped.
struct Frame {
    std::string name;
    std::vector<unsigned char> bytes;
    bool flags = true;
    std::vector<std::string> faults;
};

/// The frames of one input whose content is in `raw.bytes` (unconverted, as read), for the forms
/// of one frame per input (packets, words10, v210, uyvy, rfc8331; --frame-per-line: one per line).
/// Throws `InputError` for malformed hex text (odd digit runs as bytes, runs of more than 4 digits
/// as words) and for a binary 10-bit word file of odd size.
std::vector<Frame> framesOf(const Input& raw, const HostInputOptions& options);

}  // namespace rdd18::dump
