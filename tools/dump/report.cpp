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
    if (options_.rdd18) r.sections.push_back({"rdd18", rdd18_->parseData(bytes, flags)});
    if (options_.arri) r.sections.push_back({"arri", arri_.parseData(bytes, flags)});
    if (options_.packets) {
        r.sections.push_back({"packets", Array{}, [bytes, flags, element](const auto& visit) {
                                  walkPackets(bytes, flags,
                                              element ? std::span(element->packets)
                                                      : std::span<const host::St436mPacket>(),
                                              visit);
                              }});
    }
    if (options_.explain) {
        Dictionary faults;
        if (options_.rdd18) {
            const auto type = static_cast<std::int32_t>(options_.flavour);
            faults.set("rdd18", textArray(explainRDD18Frame(bytes, flags, type)));
        }
        if (options_.arri) faults.set("arri", textArray(explainArriFrame(bytes, flags)));
        if (element) {
            Array drops;
            for (const auto& d : element->drops) drops.emplace_back(host::describe(d));
            faults.set("st436m", std::move(drops));
        }
        r.sections.push_back({"faults", std::move(faults)});
    }
}

}  // namespace rdd18::dump
