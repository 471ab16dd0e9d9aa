// Frames that come as ST 436M ANC data elements: from clips (MXF files, opened with libavformat
// where the tool is built with it) and from runs of raw element values written back to back.
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <limits>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

namespace rdd18::dump {

/// The frames to report, by number from 0: first <= n < last.
struct FrameRange {
    std::int64_t first = 0;
    std::int64_t last = std::numeric_limits<std::int64_t>::max();

    bool contains(std::int64_t n) const noexcept { return n >= first && n < last; }
};

/// "A:B" (frames A to B-1), "A:" (from A on), ":B" (up to B-1) or "A" (frame A alone), with
/// A and B decimal numbers from 0; nothing when the text is none of these or B < A.
std::optional<FrameRange> parseFrameRange(std::string_view text);

/// One frame of a clip or of a run of elements.
struct ClipFrame {
    std::int64_t number = 0;     ///< from 0, in presentation order
    std::optional<double> time;  ///< presentation time in seconds, where the file has one
    std::string timecode;        ///< source timecode, empty where the file has none
    std::span<const unsigned char> element;  ///< the frame's element; empty when it has none
};

using ClipFrameVisitor = std::function<void(const ClipFrame&)>;

/// Reads elements written back to back (the raw values of an ST 436M track) from `in`, one at a
/// time, and visits those in `range`. Memory holds one element. Throws `InputError` naming `name`
/// when the last element is cut off by the end of the input (the frames before it are visited).
void readElementRun(std::istream& in, const std::string& name, const FrameRange& range,
                    const ClipFrameVisitor& visit);

/// Visits every element of `bytes`, elements back to back, as `readElementRun` does.
void readElementRun(std::span<const unsigned char> bytes, const std::string& name,
                    const FrameRange& range, const ClipFrameVisitor& visit);

/// Whether this build of the tool opens clips (it needs libavformat).
bool clipsSupported() noexcept;

/// Whether `name` looks like a clip by its extension (.mxf, any case).
bool looksLikeClip(std::string_view name) noexcept;

/// Opens the clip `path` and visits each frame of its ST 436M ANC track in `range`, in order,
/// with an empty element for frames that carry none. Memory holds one packet of the file at a
/// time. When `progress` is given, a progress line is kept up to date on it for long clips.
/// Throws `InputError` naming `path` when the file can't be opened or read, has no ST 436M ANC
/// track, or when the tool was built without libavformat.
void readClip(const std::string& path, const FrameRange& range, const ClipFrameVisitor& visit,
              std::ostream* progress);

}  // namespace rdd18::dump
