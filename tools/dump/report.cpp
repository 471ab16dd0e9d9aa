#include "dump/report.h"

#include "dump/packets.h"

namespace rdd18::dump {

namespace {

Array textArray(const std::vector<std::string>& lines) {
    return Array(lines.begin(), lines.end());
}

}  // namespace

Reporter::Reporter(const ReportOptions& options) : options_(options), rdd18_(options.flavour) {}

FrameReport Reporter::report(std::string source, std::span<const unsigned char> bytes) const {
    FrameReport r{std::move(source), {}};
    addSections(r, bytes, options_.flags, nullptr);
    return r;
}

FrameReport Reporter::report(std::string source, const ClipFrame& frame) const {
    FrameReport r{std::move(source), {}};
    r.sections.push_back({"frame", Number::integer(frame.number)});
    if (frame.time) r.sections.push_back({"time", Number::doubleNumber(*frame.time)});
    if (!frame.timecode.empty()) r.sections.push_back({"timecode", Value(frame.timecode)});
    // The buffer lives in the same block as the packets, for the streamed walk to read later.
    struct Held {
        host::St436mElement element;
        std::vector<unsigned char> buffer;
    };
    auto held = std::make_shared<Held>();
    held->element = host::readSt436mElement(frame.element);
    held->buffer = host::flaggedBuffer(held->element.packets);
    addSections(r, held->buffer, true,
                std::shared_ptr<const host::St436mElement>(held, &held->element));
    return r;
}

void Reporter::addSections(FrameReport& r, std::span<const unsigned char> bytes, bool flags,
                           std::shared_ptr<const host::St436mElement> element) const {
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
    if (rdd18 && raw) r.sections.push_back({"rdd18", std::move(*rdd18)});
    if (arri && raw) r.sections.push_back({"arri", std::move(*arri)});
    if (units) r.sections.push_back({std::string(kUnitsSection), std::move(*units)});
    if (options_.packets) {
        r.sections.push_back({"packets", Array{}, [bytes, flags, element](const auto& visit) {
                                  walkPackets(bytes, flags,
                                              element ? std::span(element->packets)
                                                      : std::span<const host::St436mPacket>(),
                                              visit);
                              }});
    }
    if (options_.explain) {
        if (element) {
            Array drops;
            for (const auto& d : element->drops) drops.emplace_back(host::describe(d));
            faults.set("st436m", std::move(drops));
        }
        r.sections.push_back({"faults", std::move(faults)});
    }
}

}  // namespace rdd18::dump
