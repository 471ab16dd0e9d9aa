// What the tool reports for one frame: the answers of the parsers it runs, and on request the
// packet walk and the explanation of dropped data.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "dump/units_view.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/interpret/camera_model.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/platform/value.h"

namespace rdd18::dump {

struct ReportOptions {
    Flavour flavour = Flavour::Standard;
    bool flags = true;     ///< packets carry the 3-byte ancillary data flag
    bool rdd18 = true;     ///< run the RDD 18 parser
    bool arri = true;      ///< run the ARRI parser
    bool packets = false;  ///< list the packet walk
    bool explain = false;  ///< list the faults that made the parsers drop data
    UnitsView units = UnitsView::Off;  ///< add the "units" section; Only drops the raw answers
    bool camera = false;               ///< keep each frame's interpreted model (for the plot)
};

/// One frame's report: its name, then its sections in output order ("rdd18", "arri", "units",
/// "packets", "faults"; only those asked for), and the frame's interpreted model when asked for.
struct FrameReport {
    std::string source;
    std::vector<std::pair<std::string, Value>> sections;
    std::optional<interpret::CameraModel> camera = std::nullopt;
};

/// Makes the reports; the parsers are made once and serve every frame.
class Reporter {
  public:
    explicit Reporter(const ReportOptions& options);

    FrameReport report(std::string source, std::span<const unsigned char> bytes) const;

  private:
    ReportOptions options_;
    VLRDD18Parser rdd18_;
    VLArriANCParser arri_;
};

}  // namespace rdd18::dump
