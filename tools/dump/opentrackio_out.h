// OpenTrackIO output: each frame's camera model as an OpenTrackIO sample, printed as JSON Lines
// (-f opentrackio) and sent as OTrk datagrams (--send), as the frames are decoded.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "dump/frames.h"
#include "dump/udp_sender.h"
#include "rdd18/interpret/opentrackio.h"
#include "rdd18/transport/otrk.h"

namespace rdd18::dump {

/// The sample as the protocol's JSON document: keys as the protocol names them (the static block
/// under "static"), fields the sample lacks left out.
nlohmann::json sampleJson(const interpret::opentrackio::Sample& sample);

struct SampleOptions {
    bool print = false;              ///< one sample a line on the output
    std::optional<SendTarget> send;  ///< where datagrams go, if anywhere
    otrk::Encoding encoding = otrk::Encoding::Json;
    std::uint32_t sourceNumber = 1;
    std::size_t segmentSize = otrk::kDefaultSegment;
    bool realtime = false;  ///< pace the samples at their sample rate
};

/// Makes, prints and sends the samples of a run. Each input name is a source: its sourceId is
/// `sourceIdFor` the name, its samples are numbered from 0, and its first sample, then one
/// every `staticPeriod` samples, carry the static block. Datagrams are numbered across the run.
class SampleOutput {
  public:
    /// Opens the socket when sending; throws `SendError` when it can't.
    SampleOutput(const SampleOptions& options, std::ostream& out, std::ostream& err);

    /// The sample of `frame`, whose model is `model`: printed, then sent. A send that fails is
    /// reported once on `err` (with the first reason) and the run goes on.
    void frame(const Frame& frame, const interpret::CameraModel& model);

  private:
    struct Source {
        std::string id;
        std::uint64_t samples = 0;
        std::uint32_t staticPeriod = 1;
    };
    void pace(const std::optional<interpret::opentrackio::Rational>& rate);
    void send(const nlohmann::json& sample);

    SampleOptions options_;
    std::ostream& out_;
    std::ostream& err_;
    std::unique_ptr<UdpSender> sender_;
    std::map<std::string, Source> sources_;
    std::uint16_t sequence_ = 0;
    bool sendFailed_ = false;
    std::optional<std::chrono::steady_clock::time_point> due_;  // of the next paced sample
};

}  // namespace rdd18::dump
