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

class Svg {
  public:
    explicit Svg(std::ostream& out, std::size_t frames) : out_(out), frames_(frames) {}

    double x(std::size_t frame) const {  // frame counts from 0
        if (frames_ < 2) return kLeft + kPlotWidth / 2;
        return kLeft + kPlotWidth * static_cast<double>(frame) / static_cast<double>(frames_ - 1);
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

    // The frame ticks: whole frame numbers, about ten of them.
    std::vector<std::size_t> frameTicks() const {
        std::vector<std::size_t> ticks;
        if (frames_ == 0) return ticks;
        const auto step = static_cast<std::size_t>(std::max(
            1.0, niceStep(static_cast<double>(std::max<std::size_t>(frames_, 2) - 1), 10)));
        ticks.push_back(0);
        for (std::size_t f = step - 1; f < frames_; f += step) {
            if (f > 0) ticks.push_back(f);
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
        for (std::size_t f : frameTicks()) line(x(f), top, x(f), bottom, "#ececec");
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

    // One line: a polyline per run of frames with values, a dot on each value when the frames
    // are few enough to tell apart (and always on a value that stands alone).
    template <class Y>
    void series(const Line& l, const Y& y) {
        const auto& v = *l.values;
        const bool dots = frames_ <= 120;
        for (std::size_t i = 0; i < v.size();) {
            if (!v[i]) {
                ++i;
                continue;
            }
            std::size_t end = i;
            while (end < v.size() && v[end]) ++end;
            if (end - i > 1) {
                out_ << "<polyline fill=\"none\" stroke=\"" << l.colour
                     << "\" stroke-width=\"2\" stroke-linejoin=\"round\""
                     << (l.dashed ? " stroke-dasharray=\"6 4\"" : "") << " points=\"";
                for (std::size_t k = i; k < end; ++k) {
                    out_ << (k > i ? " " : "") << num(x(k)) << "," << num(y(*v[k]));
                }
                out_ << "\"/>\n";
            }
            for (std::size_t k = i; k < end; ++k) {
                if (dots || end - i == 1) {
                    out_ << "<circle cx=\"" << num(x(k)) << "\" cy=\"" << num(y(*v[k]))
                         << "\" r=\"3\" fill=\"" << l.colour << "\"/>\n";
                }
            }
            i = end;
        }
    }

    void frameAxis(double top) {
        for (std::size_t f : frameTicks()) {
            line(x(f), top, x(f), top + 5, "#888");
            text(x(f), top + 19, std::to_string(f + 1), "middle", 12);
        }
        text(kLeft + kPlotWidth / 2, top + 42, "Frame", "middle", 13, "#222");
    }

  private:
    std::ostream& out_;
    std::size_t frames_;
};

}  // namespace

void LensPlot::add(const interpret::CameraModel& frame) {
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
    Svg svg(out, frames());
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
