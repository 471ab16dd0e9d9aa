#include "dump/rtp_frames.h"

#include <chrono>
#include <cstdio>

#include "rdd18/host/rfc8331.h"

namespace rdd18::dump {

std::string isoTime(const Moment& when) {
    // The calendar of the proleptic Gregorian days since 1970, without the C library's
    // thread-unsafe or platform-named time conversions.
    using namespace std::chrono;
    const sys_seconds at{seconds{when.seconds}};
    const auto day = floor<days>(at);
    const year_month_day date{day};
    const hh_mm_ss time{at - day};
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%09uZ", int{date.year()},
                  unsigned{date.month()}, unsigned{date.day()},
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()),
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
