#include "dump/frames.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "dump/ari_frames.h"
#include "dump/input.h"
#include "rdd18/host/packet.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"

namespace rdd18::dump {

namespace {

std::optional<std::int64_t> number(std::string_view text) {
    std::int64_t n = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), n);
    if (ec != std::errc() || end != text.data() + text.size() || n < 0) return std::nullopt;
    return n;
}

// A capture by its name (.pcap, .pcapng in any case).
bool looksLikeCapture(std::string_view name) noexcept {
    return hasExtension(name, ".pcap") || hasExtension(name, ".pcapng");
}

// A clip by its name (.mxf, .mp4, .mov in any case), or, for a file whose name says nothing, by
// its first bytes: the start of an MXF partition pack key (11 bytes, an RDD 18 pack key differs
// from the fifth on), or an ISO BMFF box type at 4.
bool looksLikeClip(const std::string& name) {
    if (name == "-") return false;
    if (hasClipName(name)) return true;
    std::ifstream file;
    file.rdbuf()->pubsetbuf(nullptr, 0);  // 12 bytes, not a buffer's worth of a large file
    file.open(name, std::ios::binary);
    char head[12] = {};
    if (!file.read(head, sizeof head)) return false;
    const std::string_view box(head + 4, 4);
    return std::string_view(head, 11) == "\x06\x0e\x2b\x34\x02\x05\x01\x01\x0d\x01\x02" ||
           box == "ftyp" || box == "moov" || box == "mdat" || box == "wide" || box == "free";
}

// --- Forms of one frame per input (or per line of hex text) ------------------------------------

// The frame of one input's bytes (or words, for words10) in a host form.
Frame hostFrame(std::string name, std::span<const unsigned char> bytes,
                std::span<const std::uint16_t> words, const SourceOptions& o) {
    Frame frame;
    frame.name = std::move(name);
    frame.form = o.form;
    if (o.form == InputForm::Packets) {
        frame.bytes.assign(bytes.begin(), bytes.end());
        frame.flags = o.flags;
        return frame;
    }
    FaultList faults;
    const host::ConvertOptions convert{o.keepDamaged};
    std::vector<host::Packet> packets;
    if (o.form == InputForm::Words10) {
        const auto layout = o.flags ? host::WordLayout::Flagged : host::WordLayout::Bare;
        packets = host::packetsFromWords10(words, layout, convert, &faults);
    } else if (o.form == InputForm::Rfc8331) {
        packets = host::packetsFromRfc8331(bytes, convert, &faults);
    } else {
        const auto format =
            o.form == InputForm::V210 ? host::VancFormat::V210 : host::VancFormat::Uyvy;
        packets = host::packetsFromVancLines(bytes, {format, o.width}, convert, &faults);
    }
    frame.bytes = host::ancillaryBufferFromPackets(packets, &faults);
    frame.faults = faults.take();
    return frame;
}

void readHostFrames(const std::string& name, const SourceOptions& o, std::istream& in,
                    const FrameVisitor& visit) {
    const Input raw = readInput(name, false, in);
    const bool wordForm = o.form == InputForm::Words10;
    std::vector<std::uint16_t> words;
    if (!o.hex) {
        if (wordForm) {
            if (raw.bytes.size() % 2)
                throw InputError(name + ": odd size for 16-bit words (" +
                                 std::to_string(raw.bytes.size()) + " bytes)");
            for (std::size_t i = 0; i + 1 < raw.bytes.size(); i += 2)
                words.push_back(static_cast<std::uint16_t>(raw.bytes[i] | raw.bytes[i + 1] << 8));
        }
        return visit(hostFrame(name, raw.bytes, words, o));
    }
    // Hex text: the whole input is checked before the first frame is visited, so that malformed
    // text gives its error line and no frame.
    const std::string_view text(reinterpret_cast<const char*>(raw.bytes.data()), raw.bytes.size());
    std::vector<Frame> frames;
    std::vector<unsigned char> bytes;
    std::size_t frameLine = 0;
    auto flush = [&] {
        frames.push_back(hostFrame(o.framePerLine ? name + ":" + std::to_string(frameLine) : name,
                                   bytes, words, o));
        bytes.clear();
        words.clear();
    };
    for (const HexRun& run : analyserHexRuns(text, name)) {
        if (o.framePerLine && run.line != frameLine) {
            if (frameLine) flush();
            frameLine = run.line;
        }
        if (!wordForm) {
            appendHexBytes(run, name, bytes);
            continue;
        }
        if (run.digits.size() > 4)
            failAt(name, run.line, run.column,
                   "more than 4 hexadecimal digits (" + std::to_string(run.digits.size()) +
                       ") in a word");
        words.push_back(static_cast<std::uint16_t>(hexValue(run.digits)));
    }
    if (!o.framePerLine || frameLine) flush();
    for (const Frame& f : frames) visit(f);
}

// --- Runs of ST 436M elements ------------------------------------------------------------------

// Reads `count` more bytes onto `element`, in steps, so that a count that the input can't back
// (a broken array count) fails at the end of the input, not in one huge allocation.
bool readMore(std::istream& in, std::vector<unsigned char>& element, std::uint64_t count) {
    constexpr std::uint64_t kStep = 1 << 20;
    while (count > 0) {
        const auto n = static_cast<std::size_t>(std::min(count, kStep));
        const std::size_t at = element.size();
        element.resize(at + n);
        in.read(reinterpret_cast<char*>(element.data() + at), static_cast<std::streamsize>(n));
        if (static_cast<std::size_t>(in.gcount()) != n) return false;
        count -= n;
    }
    return true;
}

[[noreturn]] void cutOff(const std::string& name, std::int64_t frame) {
    throw InputError(name + ": element " + std::to_string(frame) +
                     " is cut off by the end of the input");
}

// Elements back to back on a stream, one in memory at a time; each of `size` bytes where it is
// given (an element padded with zeros to one size), else as long as its packets make it.
void readElementRun(std::istream& in, const std::string& name, const FrameRange& range,
                    std::size_t size, const FrameVisitor& visit) {
    std::vector<unsigned char> element;
    for (std::int64_t frame = 0; frame < range.last; ++frame) {
        element.clear();
        if (size) {
            if (in.peek() == std::char_traits<char>::eof()) break;  // between elements
            if (!readMore(in, element, size)) cutOff(name, frame);
        } else if (!readMore(in, element, host::kSt436mCountSize)) {
            if (in.gcount() == 0) break;  // the input ends between elements
            cutOff(name, frame);
        }
        const std::size_t count = size ? 0 : std::size_t{element[0]} << 8 | element[1];
        for (std::size_t i = 0; i < count; ++i) {
            if (!readMore(in, element, host::kSt436mPacketHeaderSize)) cutOff(name, frame);
            const auto payload = host::st436mPayloadSize(element.data() + element.size() -
                                                         host::kSt436mPacketHeaderSize);
            if (!readMore(in, element, payload)) cutOff(name, frame);
        }
        if (range.contains(frame)) visit(elementFrame(name, frame, element));
    }
    if (in.bad()) throw InputError(name + ": cannot read");
}

// Elements back to back in memory (hex text).
void readElementRun(std::span<const unsigned char> bytes, const std::string& name,
                    const FrameRange& range, std::size_t fixedSize, const FrameVisitor& visit) {
    for (std::int64_t frame = 0; !bytes.empty() && frame < range.last; ++frame) {
        const auto size =
            fixedSize ? std::optional<std::size_t>(fixedSize) : host::st436mElementSize(bytes);
        if (!size || *size > bytes.size()) cutOff(name, frame);
        if (range.contains(frame)) visit(elementFrame(name, frame, bytes.first(*size)));
        bytes = bytes.subspan(*size);
    }
}

// --- Runs of rtmd samples ---------------------------------------------------------------------

// A stream read through a window, so that the bytes ahead can be looked at before they are taken.
class Lookahead {
  public:
    explicit Lookahead(std::istream& in) : in_(in) {}

    // The next `n` bytes, or null when the input ends before them.
    const unsigned char* peek(std::size_t n) {
        if (end_ - at_ < n) {
            buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(at_));
            end_ -= at_;
            at_ = 0;
            buffer_.resize(std::max(n, std::size_t{1} << 16));
            while (end_ < n && in_) {
                in_.read(reinterpret_cast<char*>(buffer_.data() + end_),
                         static_cast<std::streamsize>(buffer_.size() - end_));
                end_ += static_cast<std::size_t>(in_.gcount());
            }
        }
        return end_ - at_ >= n ? buffer_.data() + at_ : nullptr;
    }
    // Moves `n` bytes onto `out`, a window at a time, so that a length the input can't back
    // ends at the end of the input, not in one huge allocation; false when fewer were left.
    bool take(std::size_t n, std::vector<unsigned char>& out) {
        while (n > 0) {
            if (at_ == end_ && !peek(1)) return false;
            const std::size_t have = std::min(n, end_ - at_);
            out.insert(out.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(at_),
                       buffer_.begin() + static_cast<std::ptrdiff_t>(at_ + have));
            at_ += have;
            n -= have;
        }
        return true;
    }
    bool atEnd() { return peek(1) == nullptr; }

  private:
    std::istream& in_;
    std::vector<unsigned char> buffer_;
    std::size_t at_ = 0, end_ = 0;
};

// Samples back to back, one in memory at a time. A sample is its header (as long as its first two
// bytes say), the packs behind it (each a key starting 06 0E 2B 34 and as long as its length
// field says), then zero padding: every zero byte that another zero byte or the end of the input
// follows, so that the next header's length (0x001C) starts the next sample.
void readRtmdRun(std::istream& in, const std::string& name, const FrameRange& range,
                 const FrameVisitor& visit) {
    Lookahead ahead(in);
    std::vector<unsigned char> sample;
    constexpr std::size_t kPackHeader = 20;
    for (std::int64_t frame = 0; frame < range.last && !ahead.atEnd(); ++frame) {
        sample.clear();
        const unsigned char* length = ahead.peek(2);
        const std::size_t header = length ? std::size_t{length[0]} << 8 | length[1] : 1;
        bool whole = ahead.take(std::max<std::size_t>(header, 1), sample);
        while (whole) {
            const unsigned char* key = ahead.peek(kPackHeader);
            if (!key || std::memcmp(key, "\x06\x0e\x2b\x34", 4) != 0) break;
            const std::size_t size =
                kPackHeader + (std::size_t{key[17]} << 16 | std::size_t{key[18]} << 8 | key[19]);
            whole = ahead.take(size, sample);
        }
        while (whole) {
            const unsigned char* two = ahead.peek(2);
            const unsigned char* one = two ? two : ahead.peek(1);
            if (!one || one[0] != 0 || (two && two[1] != 0)) break;
            ahead.take(1, sample);
        }
        if (range.contains(frame)) visit(rtmdFrame(name, frame, sample));
    }
    if (in.bad()) throw InputError(name + ": cannot read");
}

}  // namespace

bool hasExtension(std::string_view name, std::string_view extension) noexcept {
    if (name.size() < extension.size()) return false;
    const std::string_view end = name.substr(name.size() - extension.size());
    return std::equal(end.begin(), end.end(), extension.begin(), [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
}

bool hasClipName(std::string_view name) noexcept {
    return hasExtension(name, ".mxf") || hasExtension(name, ".mp4") || hasExtension(name, ".mov");
}

const std::map<std::string, InputForm>& inputForms() {
    static const std::map<std::string, InputForm> forms{
        {"auto", InputForm::Auto}, {"packets", InputForm::Packets}, {"st436m", InputForm::St436m},
        {"clip", InputForm::Clip}, {"words10", InputForm::Words10}, {"v210", InputForm::V210},
        {"uyvy", InputForm::Uyvy}, {"rfc8331", InputForm::Rfc8331}, {"rtmd", InputForm::Rtmd},
        {"ari", InputForm::Ari},   {"pcap", InputForm::Pcap},       {"rtp", InputForm::Rtp}};
    return forms;
}

std::optional<FrameRange> parseFrameRange(std::string_view text) {
    const auto colon = text.find(':');
    FrameRange range;
    const std::string_view a = text.substr(0, colon);
    if (!a.empty() || colon == std::string_view::npos) {
        const auto n = number(a);
        if (!n) return std::nullopt;
        range.first = *n;
        if (colon == std::string_view::npos) range.last = *n + 1;
    }
    if (colon != std::string_view::npos && colon + 1 < text.size()) {
        const auto n = number(text.substr(colon + 1));
        if (!n || *n < range.first) return std::nullopt;
        range.last = *n;
    }
    return range;
}

Frame elementFrame(const std::string& name, std::int64_t number,
                   std::span<const unsigned char> element) {
    Frame frame;
    frame.name = name;
    frame.form = InputForm::St436m;
    FaultList faults;
    frame.origins = host::readSt436mElement(element, &faults).packets;
    frame.bytes = host::flaggedBuffer(frame.origins, &faults);
    frame.faults = faults.take();
    frame.number = number;
    return frame;
}

Frame rtmdFrame(const std::string& name, std::int64_t number,
                std::span<const unsigned char> sample) {
    Frame frame;
    frame.name = name;
    frame.form = InputForm::Rtmd;
    frame.bytes.assign(sample.begin(), sample.end());
    frame.number = number;
    if (const auto tc = readRtmdSample(sample).timecode) frame.timecode = timecodeText(*tc);
    return frame;
}

std::string timecodeText(const RtmdTimecode& tc) {
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u%c%02u", unsigned{tc.hours},
                  unsigned{tc.minutes}, unsigned{tc.seconds}, tc.dropFrame ? ';' : ':',
                  unsigned{tc.frames});
    return text;
}

void readFrames(const std::string& name, const SourceOptions& options, std::istream& in,
                const FrameVisitor& visit) {
    SourceOptions o = options;
    if (o.form == InputForm::Auto) {
        const bool ari = !o.hex && (hasAriName(name) || (name != "-" && startsWithAriMagic(name)));
        o.form = looksLikeCapture(name) ? InputForm::Pcap
                 : looksLikeClip(name)  ? InputForm::Clip
                 : ari                  ? InputForm::Ari
                                        : InputForm::Packets;
    }
    if (o.form == InputForm::Pcap || o.form == InputForm::Rtp) {
        if (name == "-") throw InputError("-: captures and flows are not read from standard input");
        return o.form == InputForm::Pcap ? readPcap(name, o, visit) : readLive(name, o, visit);
    }
    if (o.form == InputForm::Ari) {
        // The number comes from the name, so a frame outside the range isn't opened.
        const auto number = ariFrameNumber(std::filesystem::path(name).filename().string());
        if (!number || o.frames.contains(*number)) visit(ariFrame(name, in));
        return;
    }
    if (o.form == InputForm::Clip) {
        if (name == "-") throw InputError("-: a clip is read from a file, not standard input");
        return readClip(name, o.frames, visit, o.progress);
    }
    if (o.form == InputForm::Rtmd) {
        if (!o.hex) return readRtmdRun(*openInput(name, in), name, o.frames, visit);
        const auto bytes = readInput(name, true, in).bytes;
        std::istringstream samples(std::string(bytes.begin(), bytes.end()));
        return readRtmdRun(samples, name, o.frames, visit);
    }
    if (o.form != InputForm::St436m) return readHostFrames(name, o, in, visit);
    if (o.hex)
        return readElementRun(readInput(name, true, in).bytes, name, o.frames, o.elementSize,
                              visit);
    readElementRun(*openInput(name, in), name, o.frames, o.elementSize, visit);
}

}  // namespace rdd18::dump
