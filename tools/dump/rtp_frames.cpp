#include "dump/rtp_frames.h"

#include <cstdio>
#include <ctime>

#include "rdd18/host/rfc8331.h"

namespace rdd18::dump {

std::string isoTime(const Moment& when) {
    const auto seconds = static_cast<std::time_t>(when.seconds);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%09uZ", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                  static_cast<unsigned>(when.nanoseconds));
    return text;
}

bool carriesRfc8331(std::span<const unsigned char> datagram) {
    const auto rtp = host::readRtpHeader(datagram);
    if (!rtp) return false;
    const auto payload = datagram.subspan(rtp->payloadOffset, rtp->payloadSize);
    const auto header = host::readRfc8331Header(payload);
    return header && header->length == payload.size() - 8;
}

FlowFrames::FlowFrames(std::string name, std::string flow, const SourceOptions& options,
                       const FrameVisitor& visit)
    : name_(std::move(name)),
      flow_(std::move(flow)),
      range_(options.frames),
      visit_(visit),
      depacketiser_(host::RtpOptions{{options.keepDamaged}}) {}

void FlowFrames::push(std::span<const unsigned char> datagram, const Moment& when) {
    arrival_ = when;
    depacketiser_.push(datagram, *this);
}

void FlowFrames::finish() {
    depacketiser_.finish(*this);
}

void FlowFrames::frame(const host::RtpFrame& rtp) {
    const std::int64_t number = next_++;
    if (!range_.contains(number)) return;
    Frame frame;
    frame.name = name_;
    frame.form = InputForm::Rtp;
    frame.number = number;
    frame.faults.assign(rtp.faults.begin(), rtp.faults.end());
    FaultList faults;
    frame.bytes = host::ancillaryBufferFromPackets(rtp.packets, &faults);
    for (const Fault& f : faults.faults()) frame.faults.push_back(f);
    frame.rtp = RtpPlace{flow_, rtp.timestamp, rtp.field, isoTime(arrival_)};
    visit_(frame);
}

}  // namespace rdd18::dump
