#include "dump/opentrackio_out.h"

#include <thread>

namespace rdd18::dump {

namespace {

namespace otio = interpret::opentrackio;
using nlohmann::json;

json rational(const otio::Rational& r) {
    return {{"num", r.num}, {"denom", r.denom}};
}

// Sets `key` to the value of `v`, if it holds one.
template <class T>
void put(json& object, const char* key, const std::optional<T>& v) {
    if (v) object[key] = *v;
}

void put(json& object, const char* key, const std::optional<otio::Rational>& v) {
    if (v) object[key] = rational(*v);
}

void put(json& object, const char* key, const std::optional<otio::Dimensions>& v) {
    if (v) object[key] = {{"width", v->width}, {"height", v->height}};
}

template <class Encoders>
json encoders(const Encoders& e) {
    json j = json::object();
    put(j, "focus", e.focus);
    put(j, "iris", e.iris);
    put(j, "zoom", e.zoom);
    return j;
}

json staticJson(const otio::Static& s) {
    json camera = json::object(), lens = json::object();
    const otio::StaticCamera& c = s.camera;
    put(camera, "captureFrameRate", c.captureFrameRate);
    put(camera, "activeSensorPhysicalDimensions", c.activeSensorPhysicalDimensions);
    if (c.activeSensorResolution)
        camera["activeSensorResolution"] = {
            {"width", static_cast<std::int64_t>(c.activeSensorResolution->width)},
            {"height", static_cast<std::int64_t>(c.activeSensorResolution->height)}};
    put(camera, "make", c.make);
    put(camera, "model", c.model);
    put(camera, "serialNumber", c.serialNumber);
    put(camera, "firmwareVersion", c.firmwareVersion);
    put(camera, "isoSpeed", c.isoSpeed);
    put(camera, "shutterAngle", c.shutterAngle);
    put(camera, "anamorphicSqueeze", c.anamorphicSqueeze);
    put(lens, "make", s.lens.make);
    put(lens, "model", s.lens.model);
    put(lens, "serialNumber", s.lens.serialNumber);
    put(lens, "firmwareVersion", s.lens.firmwareVersion);
    put(lens, "nominalFocalLength", s.lens.nominalFocalLength);
    json block = json::object();
    if (!camera.empty()) block["camera"] = camera;
    if (!lens.empty()) block["lens"] = lens;
    return block;
}

}  // namespace

json sampleJson(const otio::Sample& s) {
    json j = {{"protocol",
               {{"name", std::string(otio::kProtocolName)}, {"version", otio::kProtocolVersion}}},
              {"sampleId", s.sampleId},
              {"sourceId", s.sourceId},
              {"sourceNumber", s.sourceNumber}};
    json timing = {{"sequenceNumber", s.timing.sequenceNumber}};
    put(timing, "sampleRate", s.timing.sampleRate);
    if (const auto& tc = s.timing.timecode)
        timing["timecode"] = {{"hours", tc->hours},
                              {"minutes", tc->minutes},
                              {"seconds", tc->seconds},
                              {"frames", tc->frames},
                              {"frameRate", rational(tc->frameRate)},
                              {"dropFrame", tc->dropFrame}};
    j["timing"] = timing;
    if (const auto& l = s.lens) {
        json lens = json::object();
        put(lens, "focusDistance", l->focusDistance);
        put(lens, "fStop", l->fStop);
        put(lens, "tStop", l->tStop);
        put(lens, "pinholeFocalLength", l->pinholeFocalLength);
        if (const json e = encoders(l->encoders); !e.empty()) lens["encoders"] = e;
        if (const json e = encoders(l->rawEncoders); !e.empty()) lens["rawEncoders"] = e;
        j["lens"] = lens;
    }
    if (s.staticData) j["static"] = staticJson(*s.staticData);
    return j;
}

SampleOutput::SampleOutput(const SampleOptions& options, std::ostream& out, std::ostream& err)
    : options_(options), out_(out), err_(err) {
    if (options_.send) sender_ = std::make_unique<UdpSender>(*options_.send);
}

void SampleOutput::frame(const Frame& frame, const interpret::CameraModel& model) {
    auto [at, added] = sources_.try_emplace(frame.name);
    Source& source = at->second;
    if (added) source.id = otio::sourceIdFor(frame.name);
    otio::SampleContext context;
    context.sourceId = source.id;
    context.sourceNumber = options_.sourceNumber;
    context.index = source.samples;
    if (frame.editRate) context.rate = otio::Rational{frame.editRate->num, frame.editRate->den};
    context.timecode = frame.timecode;
    // A source's first sample carries the static block, and sets how often it comes back.
    context.withStatic = source.samples % source.staticPeriod == 0;
    const otio::Sample sample = otio::makeSample(model, context);
    if (source.samples++ == 0) source.staticPeriod = otio::staticPeriod(sample.timing.sampleRate);
    const json document = sampleJson(sample);
    if (options_.realtime) pace(sample.timing.sampleRate);
    if (options_.print) out_ << document.dump() << '\n';
    if (sender_) send(document);
}

void SampleOutput::pace(const std::optional<otio::Rational>& rate) {
    using namespace std::chrono;
    if (!due_) due_ = steady_clock::now();
    std::this_thread::sleep_until(*due_);
    // Without a rate the sample goes now, and the next one is due at once too.
    if (rate)
        *due_ +=
            duration_cast<steady_clock::duration>(duration<double>(1.0 * rate->denom / rate->num));
}

void SampleOutput::send(const json& sample) {
    std::vector<std::uint8_t> bytes;
    if (options_.encoding == otrk::Encoding::Cbor) {
        json::to_cbor(sample, bytes);
    } else {
        const std::string text = sample.dump();
        bytes.assign(text.begin(), text.end());
    }
    sequence_ = otrk::segment(
        bytes, options_.encoding, sequence_,
        [this](std::span<const unsigned char> datagram) {
            const auto failure = sender_->send(datagram);
            if (!failure || sendFailed_) return;
            sendFailed_ = true;
            err_ << "velmora-dump: --send to " << targetText(*options_.send) << ": " << *failure
                 << " (further failures are not reported)\n";
        },
        options_.segmentSize);
}

}  // namespace rdd18::dump
