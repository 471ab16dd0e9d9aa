// The frame source: every form a frame's ancillary data comes in (packet buffers, hex text, 10-bit
// words, VANC lines, RFC 8331 payloads, ST 436M elements, clips) read into one kind of value, the
// packet buffer the parsers read with what the conversion dropped and where the frame stands;
// and ARRIRAW frame files, whose value is the file header record itself.
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rdd18/host/st436m.h"
#include "rdd18/transport/fault.h"
#include "rdd18/transport/rtmd_sample.h"

namespace rdd18::dump {

enum class InputForm {
    Auto,     ///< a capture when the name ends in .pcap or .pcapng, a clip when it ends in .mxf,
              ///< .mp4 or .mov or the content is one, an ARRIRAW frame when it ends in .ari or
              ///< the file starts with "ARRI", else a packet buffer
    Packets,  ///< 8-bit packet buffer, as the parsers read it
    Words10,  ///< 10-bit words: hex text of words, or 16-bit little-endian values
    V210,     ///< VANC lines, v210
    Uyvy,     ///< VANC lines, UYVY
    Rfc8331,  ///< one RFC 8331 RTP payload
    St436m,   ///< ST 436M ANC elements back to back, one per frame
    Clip,     ///< a clip: MXF with an ST 436M ANC track, MP4 or MOV with an rtmd track
    Ari,      ///< an ARRIRAW frame file: `Frame::bytes` is its first 4096 bytes, the record
    Rtmd,     ///< rtmd samples back to back, one per frame, as an rtmd track's raw values
    Pcap,     ///< a capture (pcap, pcapng) of ST 2110-40 flows: RTP packets of RFC 8331 payloads
    Rtp,      ///< an ST 2110-40 flow received live (the input's name is udp://ADDR:PORT)
};

/// Whether `name` ends in .mxf, .mp4 or .mov (in any case): the names read as clips.
bool hasClipName(std::string_view name) noexcept;

/// Whether `name` ends in `extension` (lower case, with its dot), in any case: "A.MXF" is an
/// ".mxf" name.
bool hasExtension(std::string_view name, std::string_view extension) noexcept;

/// The --input names and their forms.
const std::map<std::string, InputForm>& inputForms();

/// The frames to report, by number from 0: first <= n < last.
struct FrameRange {
    std::int64_t first = 0;
    std::int64_t last = std::numeric_limits<std::int64_t>::max();

    bool contains(std::int64_t n) const noexcept { return n >= first && n < last; }
};

/// "A:B" (frames A to B-1), "A:" (from A on), ":B" (up to B-1) or "A" (frame A alone), with
/// A and B decimal numbers from 0; nothing when the text is none of these or B < A.
std::optional<FrameRange> parseFrameRange(std::string_view text);

struct SourceOptions {
    InputForm form = InputForm::Auto;
    std::uint32_t width = 1920;        ///< pixels per VANC line
    bool hex = false;                  ///< the content is analyser hex text
    bool framePerLine = false;         ///< each line of hex text is a frame
    bool flags = true;                 ///< packets (and 10-bit words) stand behind flags
    bool keepDamaged = false;          ///< keep packets with a bad parity or checksum
    FrameRange frames;                 ///< the frames of clips and element runs to read
    std::ostream* progress = nullptr;  ///< where long clips keep a progress line, if anywhere
    std::string flow;                  ///< pcap: the one flow to read, "ADDR:PORT"; else all
    std::string interface;             ///< rtp: the interface a multicast group is joined on
    std::size_t elementSize = 0;       ///< st436m: each element padded to this size; 0 none
};

/// Where a frame of an RTP flow came from.
struct RtpPlace {
    std::string flow;  ///< destination "ADDR:PORT"
    std::uint32_t timestamp = 0;
    std::uint8_t field = 0;  ///< RFC 8331 F: 0 progressive, 2 and 3 the fields of a frame
    std::string arrival;     ///< when its last RTP packet arrived, UTC, ISO 8601
};

/// Frames per second as a ratio, num / den.
struct FrameRate {
    std::uint32_t num = 0;
    std::uint32_t den = 1;
};

/// One frame, whatever form it came in.
struct Frame {
    std::string name;                     ///< the input's name; "name:line" under --frame-per-line
    InputForm form = InputForm::Packets;  ///< its data's form: never Auto, Clip (St436m, Rtmd)
                                          ///< nor Pcap (Rtp)
    std::vector<unsigned char> bytes;     ///< the packet buffer the parsers read; Ari: the
                                          ///< record; Rtmd: the sample
    bool flags = true;                    ///< whether `bytes` carries the 3-byte flags
    std::vector<Fault> faults;            ///< what turning the input into `bytes` dropped
    std::optional<std::int64_t> number;   ///< clips and element runs: from 0, in order; ARRIRAW
                                          ///< files: the number in the name
    std::optional<double> time;           ///< presentation time in seconds, where known
    std::optional<std::string> timecode;  ///< source timecode, where known
    std::optional<FrameRate> editRate;    ///< the container's frame rate, where known
    std::vector<host::St436mPacket> origins;  ///< ST 436M: the packets of `bytes`, in order
    std::optional<RtpPlace> rtp;              ///< pcap and rtp: the frame's place in its flow
};

using FrameVisitor = std::function<void(const Frame&)>;

/// Reads the input `name` (a file, or `in` for "-") in `options.form` and visits its frames in
/// order. Throws `InputError` naming the input when it can't be opened or read; for malformed hex
/// text (odd digit runs as bytes, runs of more than 4 digits as words); for a binary 10-bit word
/// file of odd size; when an element is cut off by the end of the input (the frames before it
/// are visited); for an ARRIRAW file, see `ariFrame`, which is visited unless its number is outside
/// `options.frames`; for a clip on standard input, a file that is no clip or has neither an ST 436M
/// ANC nor an rtmd track, or a clip in a build without libavformat. Memory holds one element or
/// rtmd sample of a run, and one packet of a clip's file, at a time.
void readFrames(const std::string& name, const SourceOptions& options, std::istream& in,
                const FrameVisitor& visit);

/// Frame `number` of input `name`, held in the ST 436M element `element`: its packets as a
/// flagged buffer, and the packets the element dropped as faults.
Frame elementFrame(const std::string& name, std::int64_t number,
                   std::span<const unsigned char> element);

/// Frame `number` of input `name`: the rtmd sample `sample`.
Frame rtmdFrame(const std::string& name, std::int64_t number,
                std::span<const unsigned char> sample);

/// "HH:MM:SS:FF" of a sample header's timecode, ";" before the frames when it counts drop frame.
std::string timecodeText(const RtmdTimecode& timecode);

/// Reads the capture `path` (pcap or pcapng, any timestamp precision; Ethernet, VLAN-tagged,
/// Linux cooked or raw IP; IPv4 or IPv6) and visits the frames of each UDP flow that carries
/// RTP packets of RFC 8331 payloads (or of `options.flow` alone), numbered from 0 in each flow,
/// those in `options.frames`, as they close. Throws `InputError` when the file is no capture,
/// of a link type not read, cut off inside a record (after the frames before it, the open ones
/// included), or holds no such flow; in a build without libpcap.
void readPcap(const std::string& path, const SourceOptions& options, const FrameVisitor& visit);

/// Receives the flow `url` ("udp://ADDR:PORT", IPv4, or IPv6 in brackets; a multicast ADDR is
/// joined, on `options.interface` when given) and visits its frames as they close, numbered from 0,
/// until the last of `options.frames` or an interrupt (SIGINT, which hands the open frame first).
/// Throws `InputError` for a malformed address or a socket that can't be opened.
void readLive(const std::string& url, const SourceOptions& options, const FrameVisitor& visit);

/// Opens the clip `path` and visits each frame in `range`, in order, with time and timecode
/// where the file has them: of an MP4 or MOV, each sample of its rtmd track (the timecode of the
/// sample's header, else the file's start timecode counted on); of an MXF, each frame of its
/// ST 436M ANC track (see `elementFrame`), a frame without an element having no packets. When
/// `progress` is given, a progress line is kept up to date on it for long clips. Throws
/// `InputError` as `readFrames` does, and for a file without either track; a read error after
/// some frames throws after they are visited.
void readClip(const std::string& path, const FrameRange& range, const FrameVisitor& visit,
              std::ostream* progress);

}  // namespace rdd18::dump
