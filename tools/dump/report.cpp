#include "dump/report.h"

#include "dump/packets.h"
#include "rdd18/diagnostics/explain.h"

namespace rdd18::dump {

namespace {

Array textArray(const std::vector<std::string>& lines) {
    return Array(lines.begin(), lines.end());
}

}  // namespace

Reporter::Reporter(const ReportOptions& options)
    : options_(options),
      rdd18_(std::make_unique<VLRDD18Parser>(static_cast<std::int32_t>(options.flavour))) {}

FrameReport Reporter::report(std::string source, std::span<const unsigned char> bytes) const {
    FrameReport r{std::move(source), {}};
    const bool flags = options_.flags;
    std::optional<Dictionary> rdd18, arri;
    if (options_.rdd18) rdd18 = rdd18_->parseData(bytes, flags);
    if (options_.arri) arri = arri_.parseData(bytes, flags);
    if (options_.camera) r.camera = frameModel(rdd18, arri);
    std::optional<Dictionary> units;
    if (options_.units != UnitsView::Off) units = unitsSection(rdd18, arri);
    const bool raw = options_.units != UnitsView::Only;
    if (rdd18 && raw) r.sections.emplace_back("rdd18", std::move(*rdd18));
    if (arri && raw) r.sections.emplace_back("arri", std::move(*arri));
    if (units) r.sections.emplace_back(kUnitsSection, std::move(*units));
    if (options_.packets) r.sections.emplace_back("packets", packetWalk(bytes, flags));
    if (options_.explain) {
        Dictionary faults;
        if (options_.rdd18) {
            const auto type = static_cast<std::int32_t>(options_.flavour);
            faults.set("rdd18", textArray(explainRDD18Frame(bytes, flags, type)));
        }
        if (options_.arri) faults.set("arri", textArray(explainArriFrame(bytes, flags)));
        r.sections.emplace_back("faults", std::move(faults));
    }
    return r;
}

}  // namespace rdd18::dump
