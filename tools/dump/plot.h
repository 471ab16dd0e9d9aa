// A picture of the lens over a run of frames: focus distance, focal length and iris per frame,
// one panel each over a shared frame axis, as a self-contained SVG file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "rdd18/interpret/camera_model.h"

namespace rdd18::dump {

/// Collects frames one at a time, in frame order, from any frame source, and draws them.
class LensPlot {
  public:
    /// Adds the next frame: its number (as the reports give it; a frame without one is numbered
    /// by its place among the frames added, from 0), its time where known, and its model. Focus
    /// distance is taken from the image plane, or from the front lens vertex when that is all the
    /// frame has; empty fields are gaps in the lines, not zeros.
    void add(std::optional<std::int64_t> number, std::optional<double> time,
             const interpret::CameraModel& frame);

    std::size_t frames() const noexcept { return focus_.size(); }

    /// Writes the SVG document: a title, three panels with the unit on each value axis over a
    /// shared axis below: the frames' times in seconds when every frame has one, else their
    /// numbers. A line breaks where the axis goes back (the next input's frames). A panel without
    /// any value says so; zero frames give a picture that says so.
    void writeSvg(std::ostream& out) const;

  private:
    using Series = std::vector<std::optional<double>>;
    Series focus_, focalLength_, tNumber_, fNumber_, times_;
    std::vector<double> numbers_;
};

/// Writes `plot` to the SVG file `path`. False when the file can't be written.
bool writeLensPlot(const std::string& path, const LensPlot& plot);

}  // namespace rdd18::dump
