#include "dump/opentrackio_out.h"

#include <thread>

namespace rdd18::dump {

namespace {

namespace otio = interpret::opentrackio;
using nlohmann::json;

// A value of the sample's document as JSON: numbers keep their kind (bool, whole, real).
json jsonOf(const Value& v) {
    if (v.isString()) return v.string();
    if (v.isArray()) {
        json a = json::array();
        for (const Value& e : v.array()) a.push_back(jsonOf(e));
        return a;
    }
    if (v.isDictionary()) {
        json o = json::object();
        for (const auto& [key, e] : v.dictionary()) o[key] = jsonOf(e);
        return o;
    }
    const Number& n = v.number();
    switch (n.kind()) {
        case NumberKind::Bool:
            return n.boolValue();
        case NumberKind::Float:
        case NumberKind::Double:
            return n.doubleValue();
        case NumberKind::UnsignedChar:
        case NumberKind::UnsignedShort:
        case NumberKind::UnsignedInt:
        case NumberKind::UnsignedLong:
            return n.uint64Value();
        default:
            return n.int64Value();
    }
}

}  // namespace

json sampleJson(const otio::Sample& s) {
    return jsonOf(otio::sampleDictionary(s));
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
