// The transport layer: walking a buffer of packets, and joining RDD 18 packets into a stream,
// beside a plain memcpy of the same stream bytes (the physical floor of the join).
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench_support.h"
#include "frame_builder.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/rdd18_stream_reader.h"

namespace velmora::bench {
namespace {

using rdd18::AncillaryDataBufferContainsFlags;
using rdd18::AncillaryDataBufferReader;
using rdd18::AncillaryDataBufferWithFlags;
using rdd18::AncillaryDataBufferWithoutFlags;
using rdd18::RDD18AncillaryDataStreamReader;
using namespace rdd18::testsupport;

constexpr std::size_t k64KiB = 64 * 1024;

/// As many RDD 18 packets of `payloadSize` bytes as fit in 64 KiB.
Bytes packetBuffer(bool withFlags, std::size_t payloadSize) {
    FrameBuilder frame(withFlags ? Flags::Standard : Flags::None);
    const std::size_t packetSize = payloadSize + (withFlags ? 7 : 4);
    Bytes payload(payloadSize);
    for (std::size_t i = 0; i < payloadSize; ++i) payload[i] = static_cast<unsigned char>(i * 7);
    for (std::size_t n = 0; (n + 1) * packetSize <= k64KiB; ++n) {
        payload[0] = static_cast<unsigned char>(n % 255 + 1);
        frame.packet(0x43, 0x05, payload);
    }
    return frame.bytes();
}

void BM_PacketWalk(benchmark::State& state) {
    const bool withFlags = state.range(0) != 0;
    const auto payloadSize = static_cast<std::size_t>(state.range(1));
    const Bytes buffer = packetBuffer(withFlags, payloadSize);
    const AncillaryDataBufferContainsFlags flags =
        withFlags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags;
    const std::size_t expected = buffer.size() / (payloadSize + (withFlags ? 7 : 4));

    AllocationTally allocations;
    std::size_t packets = 0;
    for (auto _ : state) {
        allocations.begin();
        AncillaryDataBufferReader reader(buffer.data(), buffer.size(), flags);
        packets = 0;
        unsigned long payloadBytes = 0;
        while (reader.hasNextPacket()) {
            if (const auto packet = reader.readNextPacket()) {
                ++packets;
                payloadBytes += packet->payloadSize();
            }
        }
        benchmark::DoNotOptimize(payloadBytes);
        allocations.end();
    }
    if (packets != expected) state.SkipWithError("the walk did not find every packet");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * buffer.size()));
    state.counters["packets"] = static_cast<double>(packets);
    allocations.requireNone(state, "the packet walk");
}
BENCHMARK(BM_PacketWalk)
    ->ArgNames({"flags", "payload"})
    ->Args({1, 255})
    ->Args({0, 255})
    ->Args({1, 32})
    ->Args({0, 32});

/// RDD 18 frames whose streams add up to about 64 KiB: one frame of 255 packets when each packet
/// carries 254 stream bytes (the largest stream there is, 64,770 bytes); several frames of 255
/// packets when the packets are smaller.
struct StreamFrames {
    std::vector<Bytes> frames;
    Bytes stream;  ///< all stream bytes of all frames, back to back
    std::size_t perFrame = 0;
};

StreamFrames streamFrames(std::size_t payloadSize) {
    StreamFrames out;
    const std::size_t perPacket = payloadSize - 1;  // the sequence number takes one byte
    out.perFrame = 255 * perPacket;
    const std::size_t frameCount = std::max<std::size_t>(1, k64KiB / out.perFrame);
    for (std::size_t f = 0; f < frameCount; ++f) {
        Bytes stream(out.perFrame);
        for (std::size_t i = 0; i < stream.size(); ++i) {
            stream[i] = static_cast<unsigned char>((i * 31 + f) & 0xFF);
        }
        out.frames.push_back(FrameBuilder(Flags::Standard).rdd18Stream(stream, perPacket).bytes());
        out.stream.insert(out.stream.end(), stream.begin(), stream.end());
    }
    return out;
}

/// Reads each frame's whole stream through the packet reader, `chunk` bytes per read call (0: the
/// whole stream in one call).
std::size_t joinStreams(const StreamFrames& input, unsigned char* destination, std::size_t chunk) {
    std::size_t total = 0;
    for (const Bytes& frame : input.frames) {
        AncillaryDataBufferReader packets(frame.data(), frame.size(), AncillaryDataBufferWithFlags);
        RDD18AncillaryDataStreamReader stream(packets);
        if (chunk == 0) {
            total += stream.read(destination + total, input.perFrame);
        } else {
            for (std::size_t n; (n = stream.read(destination + total, chunk)) != 0;) total += n;
        }
    }
    return total;
}

void streamJoin(benchmark::State& state, std::size_t chunk) {
    const StreamFrames input = streamFrames(static_cast<std::size_t>(state.range(0)));
    std::vector<unsigned char> destination(input.stream.size() + 256);
    if (joinStreams(input, destination.data(), chunk) != input.stream.size() ||
        std::memcmp(destination.data(), input.stream.data(), input.stream.size()) != 0) {
        state.SkipWithError("the joined stream differs from the stream bytes");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        benchmark::DoNotOptimize(joinStreams(input, destination.data(), chunk));
        benchmark::ClobberMemory();
        allocations.end();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.stream.size()));
    state.counters["frames"] = static_cast<double>(input.frames.size());
    allocations.requireNone(state, "the stream read");
}

void BM_StreamJoin(benchmark::State& state) {
    streamJoin(state, 0);
}
BENCHMARK(BM_StreamJoin)->ArgName("payload")->Arg(255)->Arg(32);

// The item parser reads 2 and 4 bytes at a time; this shows the cost per read call.
void BM_StreamJoinSmallReads(benchmark::State& state) {
    streamJoin(state, 4);
}
BENCHMARK(BM_StreamJoinSmallReads)->ArgName("payload")->Arg(255)->Arg(32);

void BM_StreamMemcpy(benchmark::State& state) {
    const StreamFrames input = streamFrames(static_cast<std::size_t>(state.range(0)));
    std::vector<unsigned char> destination(input.stream.size() + 256);
    for (auto _ : state) {
        benchmark::DoNotOptimize(destination.data());
        std::memcpy(destination.data(), input.stream.data(), input.stream.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.stream.size()));
}
BENCHMARK(BM_StreamMemcpy)->ArgName("payload")->Arg(255)->Arg(32);

// The join and the memcpy in alternating batches: their ratio, free of the machine's drift.
void BM_StreamJoinPaired(benchmark::State& state) {
    const StreamFrames input = streamFrames(static_cast<std::size_t>(state.range(0)));
    std::vector<unsigned char> destination(input.stream.size() + 256);
    pairedCost(
        state,
        [&] {
            benchmark::DoNotOptimize(joinStreams(input, destination.data(), 0));
            benchmark::ClobberMemory();
        },
        [&] {
            benchmark::DoNotOptimize(destination.data());
            std::memcpy(destination.data(), input.stream.data(), input.stream.size());
            benchmark::ClobberMemory();
        });
}
BENCHMARK(BM_StreamJoinPaired)->ArgName("payload")->Arg(255);

}  // namespace
}  // namespace velmora::bench
