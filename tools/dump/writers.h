// The output formats: each writes the reports of all frames of one run.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "dump/report.h"

namespace rdd18::dump {

/// OpenTrackIO: one sample a line, written by the sample output (dump/opentrackio_out.h), which
/// sees each frame; the report writer of this format writes nothing.
enum class Format { Json, JsonLines, Plist, Table, Csv, OpenTrackIO };

struct WriteOptions {
    Format format = Format::Json;
    bool types = false;  ///< show the kind of every number
};

/// Writes reports one at a time, as they are made, so that memory doesn't grow with their number.
class ReportWriter {
  public:
    virtual ~ReportWriter() = default;
    /// Writes one frame's report.
    virtual void frame(const FrameReport& report) = 0;
    /// Closes the document (the JSON array, the property list); call once, after the last frame.
    virtual void finish() = 0;
};

/// JSON: an array of one object per frame, pretty-printed with two-space indents. JSON Lines: one
/// compact object per frame and line. A frame's object holds "file" and its sections; dictionary
/// keys come in ascending order. Numbers are exact (see `numberText`); NaN and the infinities,
/// which JSON can't hold, are {"$number": "NaN"} / "Infinity" / "-Infinity"; data is
/// {"$data": "<lower-case hex>"}. With `types` every number is {"$kind": "<kind>", "$value": n}.
std::unique_ptr<ReportWriter> jsonWriter(std::ostream& out, bool lines, bool types);

/// An XML property list (Apple plist 1.0 DTD): an array of one dict per frame. Integer kinds are
/// <integer>, bool <true/> or <false/>, float and double <real> ("nan", "+infinity",
/// "-infinity" for the values without digits), strings <string>, data <data> in base64. Control
/// characters that XML 1.0 can't hold, and bytes that aren't UTF-8, become U+FFFD. With `types`
/// every number is a dict of "$kind" and "$value".
std::unique_ptr<ReportWriter> plistWriter(std::ostream& out, bool types);

/// An aligned text table for people: per frame its name, then one row per value with nested keys
/// flattened ("arri.NDFilter.density", "rdd18.CameraColorMatrixItem[0].num"). Strings are quoted,
/// data is <hex>, an empty dictionary or array is {} or []. The packet walk is a table of its
/// own, one column per field. With `types` a third column gives each value's kind.
std::unique_ptr<ReportWriter> tableWriter(std::ostream& out, bool types);

/// The flattened cells of a report for CSV: "file", then per section its scalars under keys
/// joined as in the table ("rdd18.LensZoom35mmStillCameraEquivalent", "arri.NDFilter.density");
/// the packet walk is left out. Calls `cell` once per key, in section order.
void csvCells(const FrameReport& report,
              const std::function<void(const std::string& key, std::string text)>& cell);

/// The columns of a CSV output: every key that `csvCells` gives for the frames added, "file" and
/// the frame's place first, then each section's keys in ascending order.
class CsvColumns {
  public:
    void add(const FrameReport& report);
    std::vector<std::string> columns() const;

  private:
    std::vector<std::string> columns_;  // in the order met
    std::set<std::string> known_;
};

/// CSV (RFC 4180, CRLF line ends): a header row of `columns`, then one row per frame with the
/// cells of `csvCells` in those columns, empty where a frame has no such key. Numbers are exact as
/// in the other formats, strings as they stand, data as lower-case hex.
std::unique_ptr<ReportWriter> csvWriter(std::ostream& out, std::vector<std::string> columns);

/// The writer of `options.format`; for CSV `csvColumns` are the columns.
std::unique_ptr<ReportWriter> makeReportWriter(std::ostream& out, const WriteOptions& options,
                                               std::vector<std::string> csvColumns = {});

}  // namespace rdd18::dump
