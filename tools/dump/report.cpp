#include "dump/report.h"

#include "dump/packets.h"
#include "rdd18/interpret/interpret.h"

namespace rdd18::dump {

namespace {

Array faultLines(const std::vector<Fault>& faults) {
    Array lines;
    for (const Fault& f : faults) lines.emplace_back(describe(f));
    return lines;
}

// The answer `parse` gives, its faults collected; with `lines`, they are set there under `name`.
template <class Parse>
Dictionary answer(Dictionary* lines, const char* name, Parse parse) {
    FaultList faults;
    Dictionary d = parse(faults);
    if (lines) lines->set(name, faultLines(faults.faults()));
    return d;
}

}  // namespace

Reporter::Reporter(const ReportOptions& options)
    : options_(options), rdd18_(options.flavour), rtmd_(options.rtmdFlavour) {}

FrameReport Reporter::report(const Frame& frame) const {
    FrameReport r{frame.name, {}};
    Dictionary faults;
    Dictionary* lines = options_.explain ? &faults : nullptr;
    std::optional<Dictionary> rdd18, arri;
    std::optional<std::string> timecode = frame.timecode;
    // An ARRIRAW file holds a record and no packets: the RDD 18 answer is empty, and the
    // record's own timecode stands for the frame's. An rtmd sample holds RDD 18 packs and no ARRI
    // metadata.
    const bool file = frame.form == InputForm::Ari;
    const bool sample = frame.form == InputForm::Rtmd;
    if (options_.rdd18) {
        if (file) {
            rdd18.emplace();
            if (lines) lines->set("rdd18", Array{});
        } else {
            rdd18 = answer(lines, "rdd18", [&](FaultSink& f) {
                return sample ? rtmd_.parseRtmdSample(frame.bytes, f)
                              : rdd18_.parseData(frame.bytes, frame.flags, f);
            });
            if (lines && sample) lines->set("arri", Array());
        }
    }
    if (file) {
        arri = answer(options_.arri ? lines : nullptr, "arri",
                      [&](FaultSink& f) { return arri_.parseFile(frame.bytes, f); });
        timecode = interpret::fromArri(*arri).timecode;
        if (!options_.arri) arri.reset();
    } else if (options_.arri) {
        arri = sample ? Dictionary() : answer(lines, "arri", [&](FaultSink& f) {
            return arri_.parseData(frame.bytes, frame.flags, f);
        });
    }
    if (frame.number) r.sections.push_back({"frame", Number::integer(*frame.number)});
    if (frame.rtp) {
        r.sections.push_back({"flow", Value(frame.rtp->flow)});
        r.sections.push_back({"rtpTimestamp", Number::integer(frame.rtp->timestamp)});
        if (frame.rtp->field)
            r.sections.push_back({"field", Number::integer(frame.rtp->field - 1)});
        r.sections.push_back({"arrival", Value(frame.rtp->arrival)});
    }
    if (frame.time) r.sections.push_back({"time", Number::doubleNumber(*frame.time)});
    if (timecode) r.sections.push_back({"timecode", Value(*timecode)});
    if (options_.camera) r.camera = frameModel(rdd18, arri);
    std::optional<Dictionary> units;
    if (options_.units != UnitsView::Off) units = unitsSection(rdd18, arri);
    const bool raw = options_.units != UnitsView::Only;
    if (rdd18 && raw) r.sections.push_back({"rdd18", std::move(*rdd18)});
    if (arri && raw) r.sections.push_back({"arri", std::move(*arri)});
    if (units) r.sections.push_back({kUnitsSection, std::move(*units)});
    if (options_.packets) {
        r.sections.push_back(
            {kPacketsSection, file     ? Value(Array{})
                              : sample ? packList(frame.bytes)
                                       : packetList(frame.bytes, frame.flags, frame.origins)});
    }
    if (!options_.explain) return r;
    // What the input's conversion dropped: an element's packets beside the parsers' faults, a
    // host form's in a section of its own.
    const bool element = frame.form == InputForm::St436m;
    if (element) faults.set("st436m", faultLines(frame.faults));
    r.sections.push_back({"faults", std::move(faults)});
    if (!element && !file && !sample && frame.form != InputForm::Packets)
        r.sections.push_back({"input", faultLines(frame.faults)});
    return r;
}

}  // namespace rdd18::dump
