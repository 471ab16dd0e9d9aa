#include "dump/report.h"

#include "dump/packets.h"

namespace rdd18::dump {

namespace {

Array faultLines(const std::vector<Fault>& faults) {
    Array lines;
    for (const Fault& f : faults) lines.emplace_back(describe(f));
    return lines;
}

// The answer of `parser` for `frame`; with `lines`, the faults of the same pass set there under
// `name`.
template <class Parser>
Dictionary answer(const Parser& parser, const Frame& frame, Dictionary* lines, const char* name) {
    if (!lines) return parser.parseData(frame.bytes, frame.flags);
    FaultList faults;
    Dictionary d = parser.parseData(frame.bytes, frame.flags, faults);
    lines->set(name, faultLines(faults.faults()));
    return d;
}

}  // namespace

Reporter::Reporter(const ReportOptions& options) : options_(options), rdd18_(options.flavour) {}

FrameReport Reporter::report(const Frame& frame) const {
    FrameReport r{frame.name, {}};
    if (frame.number) r.sections.push_back({"frame", Number::integer(*frame.number)});
    if (frame.rtp) {
        r.sections.push_back({"flow", Value(frame.rtp->flow)});
        r.sections.push_back({"rtpTimestamp", Number::integer(frame.rtp->timestamp)});
        if (frame.rtp->field)
            r.sections.push_back({"field", Number::integer(frame.rtp->field - 1)});
        r.sections.push_back({"arrival", Value(frame.rtp->arrival)});
    }
    if (frame.time) r.sections.push_back({"time", Number::doubleNumber(*frame.time)});
    if (frame.timecode) r.sections.push_back({"timecode", Value(*frame.timecode)});
    Dictionary faults;
    Dictionary* lines = options_.explain ? &faults : nullptr;
    std::optional<Dictionary> rdd18, arri;
    if (options_.rdd18) rdd18 = answer(rdd18_, frame, lines, "rdd18");
    if (options_.arri) arri = answer(arri_, frame, lines, "arri");
    if (options_.camera) r.camera = frameModel(rdd18, arri);
    std::optional<Dictionary> units;
    if (options_.units != UnitsView::Off) units = unitsSection(rdd18, arri);
    const bool raw = options_.units != UnitsView::Only;
    if (rdd18 && raw) r.sections.push_back({"rdd18", std::move(*rdd18)});
    if (arri && raw) r.sections.push_back({"arri", std::move(*arri)});
    if (units) r.sections.push_back({kUnitsSection, std::move(*units)});
    if (options_.packets)
        r.sections.push_back(
            {kPacketsSection, packetList(frame.bytes, frame.flags, frame.origins)});
    if (!options_.explain) return r;
    // What the input's conversion dropped: an element's packets beside the parsers' faults, a
    // host form's in a section of its own.
    const bool element = frame.form == InputForm::St436m;
    if (element) faults.set("st436m", faultLines(frame.faults));
    r.sections.push_back({"faults", std::move(faults)});
    if (!element && frame.form != InputForm::Packets)
        r.sections.push_back({"input", faultLines(frame.faults)});
    return r;
}

}  // namespace rdd18::dump
