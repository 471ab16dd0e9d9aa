// The output formats: each writes the reports of all frames of one run.
#pragma once

#include <ostream>
#include <vector>

#include "dump/report.h"

namespace rdd18::dump {

enum class Format { Json, JsonLines, Plist, Table };

struct WriteOptions {
    Format format = Format::Json;
    bool types = false;  ///< show the kind of every number
};

/// JSON: an array of one object per frame, pretty-printed with two-space indents. JSON Lines: one
/// compact object per frame and line. A frame's object holds "file" and its sections; dictionary
/// keys come in ascending order. Numbers are exact (see `numberText`); NaN and the infinities,
/// which JSON can't hold, are {"$number": "NaN"} / "Infinity" / "-Infinity"; data is
/// {"$data": "<lower-case hex>"}. With `types` every number is {"$kind": "<kind>", "$value": n}.
void writeJson(std::ostream& out, const std::vector<FrameReport>& frames, bool lines, bool types);

/// An XML property list (Apple plist 1.0 DTD): an array of one dict per frame. Integer kinds are
/// <integer>, bool <true/> or <false/>, float and double <real> ("nan", "+infinity",
/// "-infinity" for the values without digits), strings <string>, data <data> in base64. Control
/// characters that XML 1.0 can't hold, and bytes that aren't UTF-8, become U+FFFD. With `types`
/// every number is a dict of "$kind" and "$value".
void writePlist(std::ostream& out, const std::vector<FrameReport>& frames, bool types);

/// An aligned text table for people: per frame its name, then one row per value with nested keys
/// flattened ("arri.NDFilter.density", "rdd18.CameraColorMatrixItem[0].num"). Strings are quoted,
/// data is <hex>, an empty dictionary or array is {} or []. The packet walk is a table of its
/// own, one column per field. With `types` a third column gives each value's kind.
void writeTable(std::ostream& out, const std::vector<FrameReport>& frames, bool types);

/// The writer of `options.format`.
void writeReports(std::ostream& out, const std::vector<FrameReport>& frames,
                  const WriteOptions& options);

}  // namespace rdd18::dump
