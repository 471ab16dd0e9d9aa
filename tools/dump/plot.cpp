#include "dump/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

namespace rdd18::dump {

namespace {

// Page geometry, in SVG user units (pixels).
constexpr double kWidth = 960;
constexpr double kLeft = 78;  // room for the value labels
constexpr double kRight = 28;
constexpr double kTop = 64;  // title
constexpr double kPanelHeight = 170;
constexpr double kPanelGap = 46;  // room for each panel's caption
constexpr double kBottom = 56;    // frame numbers and axis caption
constexpr double kPlotWidth = kWidth - kLeft - kRight;

constexpr const char* kFont = "font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\"";

struct Line {
    const std::vector<std::optional<double>>* values;
    const char* name;
    const char* colour;
    bool dashed;
};

struct Panel {
    const char* caption;
    std::vector<Line> lines;
};

std::string num(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", v);
    return text;
}

// A tick label: as few decimals as the step needs.
std::string tickText(double v, double step) {
    int decimals = 0;
    while (decimals < 6 && std::fabs(step * std::pow(10.0, decimals) -
                                     std::round(step * std::pow(10.0, decimals))) > 1e-6) {
        ++decimals;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, std::fabs(v) < step * 1e-9 ? 0.0 : v);
    return text;
}

// A step of 1, 2 or 5 times a power of ten that cuts `span` into about `count` parts.
double niceStep(double span, int count) {
    const double raw = span / count;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : {1.0, 2.0, 5.0}) {
        if (raw <= m * power) return m * power;
    }
    return 10 * power;
}

struct Range {
    double low, high, step;
};

// The value range of a panel, widened to whole steps; a flat line gets room around it.
std::optional<Range> valueRange(const Panel& p) {
    double low = INFINITY, high = -INFINITY;
    for (const auto& line : p.lines) {
        for (const auto& v : *line.values) {
            if (!v) continue;
            low = std::min(low, *v);
            high = std::max(high, *v);
        }
    }
    if (low > high) return std::nullopt;
    if (high - low < 1e-9 * std::max(1.0, std::fabs(high))) {
        const double pad = std::max(std::fabs(high) * 0.1, 0.1);
        low -= pad;
        high += pad;
    }
    // A little room, so that no line runs along the frame.
    const double margin = (high - low) * 0.04;
    low -= margin;
    high += margin;
    const double step = niceStep(high - low, 4);
    return Range{std::floor(low / step) * step, std::ceil(high / step) * step, step};
}

// The shared axis: where each frame stands on it, in the order added, and the tick step.
struct FrameAxis {
    std::vector<double> at;
    const char* caption;
    double low = 0, high = 0, step = 1;
};

// The frames' times when every frame has one, else their numbers.
FrameAxis frameAxis(const std::vector<double>& numbers,
                    const std::vector<std::optional<double>>& times) {
    FrameAxis axis{numbers, "Frame"};
    const bool timed =
        !times.empty() && std::all_of(times.begin(), times.end(), [](auto t) { return t; });
    if (timed) {
        axis = {{}, "Time (s)", 0, 0, 0.001};  // a lone frame's time in milliseconds
        for (const auto& t : times) axis.at.push_back(*t);
    }
    if (axis.at.empty()) return axis;
    axis.low = *std::min_element(axis.at.begin(), axis.at.end());
    axis.high = *std::max_element(axis.at.begin(), axis.at.end());
    if (axis.high > axis.low) axis.step = niceStep(axis.high - axis.low, 10);
    if (!timed) axis.step = std::max(axis.step, 1.0);  // whole frames
    return axis;
}

class Svg {
  public:
    Svg(std::ostream& out, const FrameAxis& axis) : out_(out), axis_(axis) {}

    double x(double at) const {
        if (axis_.high <= axis_.low) return kLeft + kPlotWidth / 2;
        return kLeft + kPlotWidth * (at - axis_.low) / (axis_.high - axis_.low);
    }

    void text(double x, double y, const std::string& s, const char* anchor, int size,
              const char* colour = "#333", const char* weight = "normal") {
        out_ << "<text x=\"" << num(x) << "\" y=\"" << num(y) << "\" text-anchor=\"" << anchor
             << "\" font-size=\"" << size << "\" font-weight=\"" << weight << "\" fill=\"" << colour
             << "\" " << kFont << ">" << s << "</text>\n";
    }

    void line(double x1, double y1, double x2, double y2, const char* colour, double width = 1) {
        out_ << "<line x1=\"" << num(x1) << "\" y1=\"" << num(y1) << "\" x2=\"" << num(x2)
             << "\" y2=\"" << num(y2) << "\" stroke=\"" << colour << "\" stroke-width=\"" << width
             << "\"/>\n";
    }

    // The ticks of the shared axis: whole steps from its low end to its high end; a lone
    // frame's place.
    std::vector<double> frameTicks() const {
        if (axis_.at.empty() || axis_.high <= axis_.low) return axis_.at;
        std::vector<double> ticks;
        for (auto k = std::ceil(axis_.low / axis_.step - 1e-9);
             k * axis_.step <= axis_.high + axis_.step * 1e-9; ++k) {
            ticks.push_back(k * axis_.step);
        }
        return ticks;
    }

    void panel(const Panel& p, double top) {
        const double bottom = top + kPanelHeight;
        text(kLeft, top - 12, p.caption, "start", 14, "#222", "bold");
        // Legend, right-aligned, for panels of more than one line: the lines that have values.
        if (p.lines.size() > 1) {
            double right = kLeft + kPlotWidth;
            for (auto it = p.lines.rbegin(); it != p.lines.rend(); ++it) {
                const auto& v = *it->values;
                if (std::none_of(v.begin(), v.end(), [](const auto& x) { return x.has_value(); })) {
                    continue;
                }
                text(right, top - 12, it->name, "end", 12);
                const double w = 8.0 * static_cast<double>(std::string(it->name).size()) + 6;
                out_ << "<line x1=\"" << num(right - w - 22) << "\" y1=\"" << num(top - 16)
                     << "\" x2=\"" << num(right - w - 4) << "\" y2=\"" << num(top - 16)
                     << "\" stroke=\"" << it->colour << "\" stroke-width=\"2.5\""
                     << (it->dashed ? " stroke-dasharray=\"6 4\"" : "") << "/>\n";
                right -= w + 40;
            }
        }
        out_ << "<rect x=\"" << num(kLeft) << "\" y=\"" << num(top) << "\" width=\""
             << num(kPlotWidth) << "\" height=\"" << num(kPanelHeight)
             << "\" fill=\"#fbfbfb\" stroke=\"#bbb\"/>\n";
        for (double t : frameTicks()) line(x(t), top, x(t), bottom, "#ececec");
        const auto range = valueRange(p);
        if (!range) {
            text(kLeft + kPlotWidth / 2, top + kPanelHeight / 2 + 5, "no values in these frames",
                 "middle", 13, "#999");
            return;
        }
        auto y = [&](double v) {
            return bottom - (v - range->low) / (range->high - range->low) * kPanelHeight;
        };
        for (double v = range->low; v <= range->high + range->step / 2; v += range->step) {
            if (v > range->low + range->step / 2 && v < range->high - range->step / 2) {
                line(kLeft, y(v), kLeft + kPlotWidth, y(v), "#e2e2e2");
            }
            line(kLeft - 5, y(v), kLeft, y(v), "#888");
            text(kLeft - 9, y(v) + 4, tickText(v, range->step), "end", 12);
        }
        for (const auto& l : p.lines) series(l, y);
    }

    // One line: a polyline per run of frames with values (a run ends where the axis goes back, at
    // the start of another input), a dot on each value when the frames are few enough to tell
    // apart (and always on a value that stands alone).
    template <class Y>
    void series(const Line& l, const Y& y) {
        const auto& v = *l.values;
        const auto& at = axis_.at;
        const bool dots = v.size() <= 120;
        for (std::size_t i = 0; i < v.size();) {
            if (!v[i]) {
                ++i;
                continue;
            }
            std::size_t end = i + 1;
            while (end < v.size() && v[end] && at[end] > at[end - 1]) ++end;
            if (end - i > 1) {
                out_ << "<polyline fill=\"none\" stroke=\"" << l.colour
                     << "\" stroke-width=\"2\" stroke-linejoin=\"round\""
                     << (l.dashed ? " stroke-dasharray=\"6 4\"" : "") << " points=\"";
                for (std::size_t k = i; k < end; ++k) {
                    out_ << (k > i ? " " : "") << num(x(at[k])) << "," << num(y(*v[k]));
                }
                out_ << "\"/>\n";
            }
            for (std::size_t k = i; k < end; ++k) {
                if (dots || end - i == 1) {
                    out_ << "<circle cx=\"" << num(x(at[k])) << "\" cy=\"" << num(y(*v[k]))
                         << "\" r=\"3\" fill=\"" << l.colour << "\"/>\n";
                }
            }
            i = end;
        }
    }

    void frameAxis(double top) {
        for (double t : frameTicks()) {
            line(x(t), top, x(t), top + 5, "#888");
            text(x(t), top + 19, tickText(t, axis_.step), "middle", 12);
        }
        text(kLeft + kPlotWidth / 2, top + 42, axis_.caption, "middle", 13, "#222");
    }

  private:
    std::ostream& out_;
    const FrameAxis& axis_;
};

}  // namespace

void LensPlot::add(std::optional<std::int64_t> number, std::optional<double> time,
                   const interpret::CameraModel& frame) {
    // Frames without a number are numbered by their place in the run.
    numbers_.push_back(static_cast<double>(number.value_or(std::int64_t(numbers_.size()))));
    times_.push_back(time);
    focus_.push_back(frame.focusDistanceM ? frame.focusDistanceM
                                          : frame.focusDistanceFromFrontVertexM);
    focalLength_.push_back(frame.focalLengthMm);
    tNumber_.push_back(frame.irisTNumber);
    fNumber_.push_back(frame.irisFNumber);
}

void LensPlot::writeSvg(std::ostream& out) const {
    const Panel panels[] = {
        {"Focus distance (m)", {{&focus_, "focus", "#1f6fb4", false}}},
        {"Focal length (mm)", {{&focalLength_, "focal length", "#d95f02", false}}},
        {"Iris (T- and F-number)",
         {{&tNumber_, "T-number", "#1b9e77", false}, {&fNumber_, "F-number", "#7570b3", true}}},
    };
    const std::size_t count = std::size(panels);
    const double firstTop = kTop + kPanelGap - 16;
    const double height =
        firstTop + static_cast<double>(count) * (kPanelHeight + kPanelGap) - kPanelGap + kBottom;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\""
        << height << "\" viewBox=\"0 0 " << kWidth << " " << height << "\">\n";
    out << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    const FrameAxis axis = frameAxis(numbers_, times_);
    Svg svg(out, axis);
    const std::string subtitle = std::to_string(frames()) + (frames() == 1 ? " frame" : " frames");
    svg.text(kLeft, 30, "Lens per frame", "start", 18, "#111", "bold");
    svg.text(kLeft + kPlotWidth, 30, subtitle, "end", 13, "#666");
    double top = firstTop;
    for (const auto& p : panels) {
        svg.panel(p, top);
        top += kPanelHeight + kPanelGap;
    }
    svg.frameAxis(top - kPanelGap);
    out << "</svg>\n";
}

bool writeLensPlot(const std::string& path, const LensPlot& plot) {
    std::ofstream file(path, std::ios::binary);
    plot.writeSvg(file);
    file.close();
    return static_cast<bool>(file);
}

}  // namespace rdd18::dump
