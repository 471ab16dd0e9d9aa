#include "dump/report.h"

#include "dump/packets.h"

namespace rdd18::dump {

namespace {

Array textArray(const std::vector<std::string>& lines) {
    return Array(lines.begin(), lines.end());
}

}  // namespace

Reporter::Reporter(const ReportOptions& options)
    : options_(options), rdd18_(options.flavour) {}

FrameReport Reporter::report(std::string source, std::span<const unsigned char> bytes) const {
    FrameReport r{std::move(source), {}};
    const bool flags = options_.flags;
    // With the faults asked for, each parser's one pass gives both its answer and its faults.
    Dictionary faults;
    std::optional<Dictionary> rdd18, arri;
    if (options_.rdd18) {
        ParseResult result = options_.explain ? rdd18_.parseDataWithFaults(bytes, flags)
                                              : ParseResult{rdd18_.parseData(bytes, flags), {}};
        rdd18 = std::move(result.answer);
        if (options_.explain) faults.set("rdd18", textArray(result.faults));
    }
    if (options_.arri) {
        ParseResult result = options_.explain ? arri_.parseDataWithFaults(bytes, flags)
                                              : ParseResult{arri_.parseData(bytes, flags), {}};
        arri = std::move(result.answer);
        if (options_.explain) faults.set("arri", textArray(result.faults));
    }
    if (options_.camera) r.camera = frameModel(rdd18, arri);
    std::optional<Dictionary> units;
    if (options_.units != UnitsView::Off) units = unitsSection(rdd18, arri);
    const bool raw = options_.units != UnitsView::Only;
    if (rdd18 && raw) r.sections.emplace_back("rdd18", std::move(*rdd18));
    if (arri && raw) r.sections.emplace_back("arri", std::move(*arri));
    if (units) r.sections.emplace_back(kUnitsSection, std::move(*units));
    if (options_.packets) r.sections.emplace_back("packets", packetWalk(bytes, flags));
    if (options_.explain) r.sections.emplace_back("faults", std::move(faults));
    return r;
}

}  // namespace rdd18::dump
