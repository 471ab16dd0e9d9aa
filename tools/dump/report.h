// What the tool reports for one frame: the answers of the parsers it runs, and on request the
// packet walk and the faults that made the parsers or the input conversion drop data.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dump/frames.h"
#include "dump/units_view.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/interpret/camera_model.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/platform/value.h"

namespace rdd18::dump {

struct ReportOptions {
    Flavour flavour = Flavour::Standard;
    Flavour rtmdFlavour = Flavour::Sony;  ///< the flavour rtmd samples are read with
    bool rdd18 = true;                    ///< run the RDD 18 parser
    bool arri = true;                     ///< run the ARRI parser
    bool packets = false;                 ///< list the packet walk
    bool explain = false;                 ///< list the faults that made the parsers drop data
    UnitsView units = UnitsView::Off;     ///< add the "units" section; Only drops the raw answers
    bool camera = false;                  ///< keep each frame's interpreted model (for the plot)
};

/// Name of the section that holds the packet walk.
inline constexpr const char* kPacketsSection = "packets";

/// A section of a report: its name and value.
struct Section {
    std::string name;
    Value value;
};

/// One frame's report: its name, then its sections in output order ("frame", then for a frame of
/// an RTP flow "flow", "rtpTimestamp", "field" (1 or 2, for a field) and "arrival", "time",
/// "timecode" where the frame has them, "rdd18", "arri", "units", "packets", "faults", "input";
/// only those that apply), and the frame's interpreted model when asked for.
struct FrameReport {
    std::string source;
    std::vector<Section> sections;
    std::optional<interpret::CameraModel> camera = std::nullopt;
};

/// Makes the reports; the parsers are made once and serve every frame.
class Reporter {
  public:
    explicit Reporter(const ReportOptions& options);

    /// The report of `frame`: the answers for its packet buffer, read with its flag setting.
    /// With the explanation, "faults" holds the lines of each parser's faults and, for a frame
    /// of an ST 436M element, "st436m", the packets the element dropped; a frame converted from
    /// another form (words10, v210, uyvy, rfc8331) gets "input", what the conversion dropped.
    /// The packet walk of an element's frame adds where each packet was stored. An ARRIRAW
    /// file's frame has the ARRI answer of its record (`parseFile`), an empty RDD 18 answer and
    /// packet walk, and the record's timecode as "timecode".
    /// An rtmd sample's
    /// packs are read in place, with the rtmd flavour; it holds no ARRI metadata and no packets,
    /// so its "arri" is empty, its packet walk lists its packs (see `packList`), and its framing
    /// faults stand under "rdd18" before those of the item walk.
    FrameReport report(const Frame& frame) const;

  private:
    ReportOptions options_;
    VLRDD18Parser rdd18_;
    VLRDD18Parser rtmd_;
    VLArriANCParser arri_;
};

}  // namespace rdd18::dump
