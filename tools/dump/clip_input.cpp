#include "dump/clip_input.h"

#include <charconv>
#include <vector>

#include "dump/input.h"
#include "rdd18/host/st436m.h"

namespace rdd18::dump {

namespace {

std::optional<std::int64_t> number(std::string_view text) {
    std::int64_t n = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), n);
    if (ec != std::errc() || end != text.data() + text.size() || n < 0) return std::nullopt;
    return n;
}

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

}  // namespace

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

bool looksLikeClip(std::string_view name) noexcept {
    if (name.size() < 4) return false;
    std::string ext(name.substr(name.size() - 4));
    for (auto& c : ext) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return ext == ".mxf";
}

void readElementRun(std::istream& in, const std::string& name, const FrameRange& range,
                    const ClipFrameVisitor& visit) {
    std::vector<unsigned char> element;
    for (std::int64_t frame = 0; frame < range.last; ++frame) {
        element.clear();
        if (!readMore(in, element, host::kSt436mCountSize)) {
            if (in.gcount() == 0) break;  // the input ends between elements
            cutOff(name, frame);
        }
        const std::size_t count = std::size_t{element[0]} << 8 | element[1];
        for (std::size_t i = 0; i < count; ++i) {
            if (!readMore(in, element, host::kSt436mPacketHeaderSize)) cutOff(name, frame);
            const auto payload = host::st436mPayloadSize(element.data() + element.size() -
                                                         host::kSt436mPacketHeaderSize);
            if (!readMore(in, element, payload)) cutOff(name, frame);
        }
        if (range.contains(frame)) visit(ClipFrame{frame, std::nullopt, {}, element});
    }
    if (in.bad()) throw InputError(name + ": cannot read");
}

void readElementRun(std::span<const unsigned char> bytes, const std::string& name,
                    const FrameRange& range, const ClipFrameVisitor& visit) {
    for (std::int64_t frame = 0; !bytes.empty() && frame < range.last; ++frame) {
        const auto size = host::st436mElementSize(bytes);
        if (!size) cutOff(name, frame);
        if (range.contains(frame)) visit(ClipFrame{frame, std::nullopt, {}, bytes.first(*size)});
        bytes = bytes.subspan(*size);
    }
}

}  // namespace rdd18::dump
