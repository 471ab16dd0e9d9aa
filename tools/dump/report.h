// What the tool reports for one frame: the answers of the parsers it runs, and on request the
// packet walk and the explanation of dropped data.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "dump/clip_input.h"
#include "dump/units_view.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/host/st436m.h"
#include "rdd18/interpret/camera_model.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/platform/value.h"

namespace rdd18::dump {

struct ReportOptions {
    Flavour flavour = Flavour::Standard;
    bool flags = true;                 ///< packets carry the 3-byte ancillary data flag
    bool rdd18 = true;                 ///< run the RDD 18 parser
    bool arri = true;                  ///< run the ARRI parser
    bool packets = false;              ///< list the packet walk
    bool explain = false;              ///< list the faults that made the parsers drop data
    UnitsView units = UnitsView::Off;  ///< add the "units" section; Only drops the raw answers
    bool camera = false;               ///< keep each frame's interpreted model (for the plot)
};

/// Walks the elements of a section that is too long to hold: calls `visit` once per element, in
/// order, and may be called more than once (a writer that aligns columns walks twice).
using ElementWalk = std::function<void(const std::function<void(const Value&)>& visit)>;

/// A section of a report: a value, or (when `walk` is set) an array whose elements are made on
/// demand, while the section is written; `value` is then unused.
struct Section {
    std::string name;
    Value value;
    ElementWalk walk = {};
};

/// One frame's report: its name, then its sections in output order ("frame", "time", "timecode"
/// for a frame of a clip, "rdd18", "arri", "units", "packets", "faults", "input"; only those that
/// apply), and the frame's interpreted model when asked for. A streamed section borrows the
/// frame's bytes: write the report before they go.
struct FrameReport {
    std::string source;
    std::vector<Section> sections;
    std::optional<interpret::CameraModel> camera = std::nullopt;
};

/// Makes the reports; the parsers are made once and serve every frame.
class Reporter {
  public:
    explicit Reporter(const ReportOptions& options);

    /// The report of a packet buffer. The packet walk is streamed: it reads `bytes` while the
    /// report is written.
    FrameReport report(std::string source, std::span<const unsigned char> bytes) const;

    /// The report of a frame given as an ST 436M element: "frame", then "time" and "timecode"
    /// where known, then the answers for the element's packets as a flagged buffer (so the flags
    /// option doesn't apply). The packet walk adds where each packet was stored; the explanation
    /// adds "st436m", the packets the element dropped. The report owns what it streams.
    FrameReport report(std::string source, const ClipFrame& frame) const;

  private:
    void addSections(FrameReport& r, std::span<const unsigned char> bytes, bool flags,
                     std::shared_ptr<const host::St436mElement> element) const;

    ReportOptions options_;
    VLRDD18Parser rdd18_;
    VLArriANCParser arri_;
};

}  // namespace rdd18::dump
