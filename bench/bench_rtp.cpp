// ST 2110-40 flows: a typical RDD 18 frame (the 37 standard items in one pack, cut into packets
// of 254 stream bytes, sent two ANC packets to an RTP packet) frame after frame through the
// depacketiser, and on to the RDD 18 facade, at the frame rates of 1080p59.94 and 2160p119.88.
// Figures: frames/s on one core (CPU time), beside the rate the flow needs; the latency from
// the last RTP packet of a frame to its answer, 99th percentile ("p99_us"); the allocations per
// frame (none for the depacketiser in the steady state; the facade's answer is a dictionary).
// The loopback variant sends each frame's datagrams through a UDP socket on 127.0.0.1 and
// receives them on the same thread, so the latency includes the kernel's path.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "bench_support.h"
#include "rdd18/host/rtp.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18_frames.h"
#include "rtp_sender.h"

namespace velmora::bench {
namespace {

using namespace rdd18::host;
using Clock = std::chrono::steady_clock;

constexpr double kRates[] = {60000.0 / 1001, 120000.0 / 1001};  // 1080p59.94, 2160p119.88

/// Answers each frame (or only counts it, without `parser`) and notes when.
struct Answering final : RtpFrameSink {
    const VLRDD18Parser* parser = nullptr;
    std::size_t frames = 0, items = 0;
    Clock::time_point answered;
    void frame(const RtpFrame& f) override {
        ++frames;
        if (parser) {
            PacketListReader reader(f.packets);
            items += parser->parseData(reader).size();
        }
        answered = Clock::now();
    }
};

/// The datagrams of one typical frame, and the means to renumber them frame after frame.
struct TypicalFlow {
    explicit TypicalFlow(double rate)
        : step(static_cast<std::uint32_t>(90000 / rate)),
          datagrams(rdd18::testsupport::rtpFlow(
              {packetsFromAncillaryBuffer(frameOf(typicalItems(kStandard)).bytes, true)},
              {.perRtpPacket = 2})) {}
    /// Datagram `k` of frame `n`: its sequence number and timestamp written into its header.
    std::span<const unsigned char> datagram(std::size_t n, std::size_t k) {
        Bytes& d = datagrams[k];
        scratch.clear();
        appendRtpHeader(
            {k + 1 == datagrams.size(), 100, static_cast<std::uint16_t>(n * datagrams.size() + k),
             static_cast<std::uint32_t>(n * step), 0x90},
            scratch);
        std::copy(scratch.begin(), scratch.end(), d.begin());
        return d;
    }
    std::uint32_t step;
    std::vector<Bytes> datagrams;
    std::vector<unsigned char> scratch;
};

void reportLatency(benchmark::State& state, std::vector<double>& latencies, double rate,
                   std::size_t frames, std::size_t answered) {
    if (answered != frames) state.SkipWithError("frames were lost");
    std::sort(latencies.begin(), latencies.end());
    if (!latencies.empty()) state.counters["p99_us"] = latencies[latencies.size() * 99 / 100];
    state.counters["frames/s"] =
        benchmark::Counter(static_cast<double>(frames), benchmark::Counter::kIsRate);
    state.counters["rate_hz"] = rate;  // the frames/s the flow needs
}

double microseconds(Clock::duration d) {
    return std::chrono::duration<double, std::micro>(d).count();
}

/// range(0): the rate; range(1): 1 to answer each frame with the RDD 18 facade.
void BM_RtpFrames(benchmark::State& state) {
    const double rate = kRates[state.range(0)];
    TypicalFlow flow(rate);
    const VLRDD18Parser parser(rdd18::Flavour::Standard);
    Answering sink;
    if (state.range(1)) sink.parser = &parser;
    RtpDepacketiser depacketiser;
    std::vector<double> latencies;
    latencies.reserve(1 << 20);
    std::size_t n = 0;
    for (std::size_t k = 0; k < flow.datagrams.size(); ++k)
        depacketiser.push(flow.datagram(n, k), sink);
    ++n;  // the first frame has grown the depacketiser's storage
    AllocationTally allocations;
    const std::size_t before = sink.frames;
    for (auto _ : state) {
        allocations.begin();
        for (std::size_t k = 0; k + 1 < flow.datagrams.size(); ++k)
            depacketiser.push(flow.datagram(n, k), sink);
        const auto last = flow.datagram(n, flow.datagrams.size() - 1);
        const auto t0 = Clock::now();
        depacketiser.push(last, sink);
        allocations.end();
        if (latencies.size() < latencies.capacity())
            latencies.push_back(microseconds(sink.answered - t0));
        ++n;
    }
    reportLatency(state, latencies, rate, static_cast<std::size_t>(state.iterations()),
                  sink.frames - before);
    if (state.range(1))
        allocations.report(state);
    else
        allocations.requireNone(state, "the depacketiser");
}

/// The same through a UDP socket on the loopback: sent, received and answered on one thread.
void BM_RtpLoopback(benchmark::State& state) {
    const double rate = kRates[state.range(0)];
    TypicalFlow flow(rate);
    const int rx = socket(AF_INET, SOCK_DGRAM, 0), tx = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof at;
    if (bind(rx, reinterpret_cast<sockaddr*>(&at), length) != 0 ||
        getsockname(rx, reinterpret_cast<sockaddr*>(&at), &length) != 0 ||
        connect(tx, reinterpret_cast<sockaddr*>(&at), length) != 0) {
        state.SkipWithError("no loopback socket");
        return;
    }
    const VLRDD18Parser parser(rdd18::Flavour::Standard);
    Answering sink;
    sink.parser = &parser;
    RtpDepacketiser depacketiser;
    std::vector<unsigned char> buffer(65536);
    std::vector<double> latencies;
    latencies.reserve(1 << 20);
    std::size_t n = 0;
    for (auto _ : state) {
        Clock::time_point t0;
        for (std::size_t k = 0; k < flow.datagrams.size(); ++k) {
            const auto d = flow.datagram(n, k);
            if (k + 1 == flow.datagrams.size()) t0 = Clock::now();
            send(tx, d.data(), d.size(), 0);
        }
        for (std::size_t k = 0; k < flow.datagrams.size(); ++k) {
            const ssize_t got = recv(rx, buffer.data(), buffer.size(), 0);
            if (got > 0) depacketiser.push({buffer.data(), static_cast<std::size_t>(got)}, sink);
        }
        if (latencies.size() < latencies.capacity())
            latencies.push_back(microseconds(sink.answered - t0));
        ++n;
    }
    reportLatency(state, latencies, rate, static_cast<std::size_t>(state.iterations()),
                  sink.frames);
    close(rx);
    close(tx);
}

BENCHMARK(BM_RtpFrames)->ArgsProduct({{0, 1}, {0, 1}})->ArgNames({"rate", "answer"});
BENCHMARK(BM_RtpLoopback)->Arg(0)->Arg(1)->ArgName("rate");

}  // namespace
}  // namespace velmora::bench
