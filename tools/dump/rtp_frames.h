// The frames of one RTP flow, for the pcap and live inputs: datagrams go into the library's
// depacketiser, and each frame it hands back becomes the tool's frame, visited at once.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "dump/frames.h"
#include "rdd18/host/rtp.h"

namespace rdd18::dump {

/// A moment as seconds and nanoseconds since 1970 (UTC).
struct Moment {
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;
};

/// `when` as ISO 8601 UTC text with nanoseconds: "2018-02-16T14:33:14.882444675Z".
std::string isoTime(const Moment& when);

/// Whether `datagram` looks like an RTP packet of an RFC 8331 payload: version 2, and a Length
/// field that counts the bytes behind the payload header.
bool carriesRfc8331(std::span<const unsigned char> datagram);

class FlowFrames final : host::RtpFrameSink {
  public:
    /// Frames of `name` (the input), flow `flow`, visited when in `options.frames`.
    FlowFrames(std::string name, std::string flow, const SourceOptions& options,
               const FrameVisitor& visit);

    /// One datagram of the flow, arrived at `when`.
    void push(std::span<const unsigned char> datagram, const Moment& when);
    /// The flow has ended: the open frame is handed.
    void finish();
    /// Whether every frame in range has been visited.
    bool done() const noexcept { return next_ >= range_.last; }

  private:
    void frame(const host::RtpFrame& frame) override;

    std::string name_, flow_;
    FrameRange range_;
    const FrameVisitor& visit_;
    host::RtpDepacketiser depacketiser_;
    std::int64_t next_ = 0;
    Moment arrival_;
};

}  // namespace rdd18::dump
