// A picture of the lens over a run of frames: focus distance, focal length and iris per frame,
// one panel each over a shared frame axis, as a self-contained SVG file.
#pragma once

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "dump/report.h"
#include "rdd18/interpret/camera_model.h"

namespace rdd18::dump {

/// Collects frames one at a time, in frame order, from any frame source, and draws them.
class LensPlot {
  public:
    /// Adds the next frame. Focus distance is taken from the image plane, or from the front lens
    /// vertex when that is all the frame has; empty fields are gaps in the lines, not zeros.
    void add(const interpret::CameraModel& frame);

    std::size_t frames() const noexcept { return focus_.size(); }

    /// Writes the SVG document: a title, three panels with the unit on each value axis, frame
    /// numbers (from 1) on the shared axis below. A panel without any value says so; zero frames
    /// give a picture that says so.
    void writeSvg(std::ostream& out) const;

  private:
    using Series = std::vector<std::optional<double>>;
    Series focus_, focalLength_, tNumber_, fNumber_;
};

/// Writes `plot` to the SVG file `path`. False when the file can't be written.
bool writeLensPlot(const std::string& path, const LensPlot& plot);

}  // namespace rdd18::dump
