// The host converters, each beside a memcpy of the bytes it reads: the 8-bit buffer built from a
// packet list, and packets read from 10-bit words, v210 and UYVY VANC lines (1920 wide) and an
// RFC 8331 payload. The load is one large RDD 18 frame: 64 packets of 255 user data words. Each
// converter runs in the form a capture host uses frame after frame: into the packet list (or
// buffer) of the previous frame, whose storage it reuses; the work is the whole conversion (every
// packet found, parity and checksums checked, every word copied), and it must not allocate.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "bench_support.h"
#include "rdd18/host/packet.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"

namespace velmora::bench {
namespace {

using namespace rdd18::host;

enum Form : int { kPacketList, kWords10, kV210, kUyvy, kRfc8331 };

std::vector<Packet> framePackets() {
    std::vector<Packet> packets(64);
    for (std::size_t n = 0; n < packets.size(); ++n) {
        Packet& p = packets[n];
        p.did = 0x43;
        p.sdid = 0x05;
        p.udw.resize(255);
        for (std::size_t i = 0; i < p.udw.size(); ++i)
            p.udw[i] = static_cast<unsigned char>(i * 7 + n);
        p.udw[0] = static_cast<unsigned char>(n + 1);
    }
    return packets;
}

/// The bytes of the frame in one form.
struct Workload {
    std::vector<unsigned char> bytes;
    std::vector<std::uint16_t> words;
    std::size_t inputBytes() const { return words.empty() ? bytes.size() : words.size() * 2; }
};

Workload workload(Form form, const std::vector<Packet>& packets) {
    Workload w;
    switch (form) {
        case kPacketList:
            w.bytes = ancillaryBufferFromPackets(packets);
            break;
        case kWords10:
            w.words = words10FromPackets(packets);
            break;
        case kV210:
            w.bytes = vancLinesFromPackets(packets, {VancFormat::V210, 1920});
            break;
        case kUyvy:
            w.bytes = vancLinesFromPackets(packets, {VancFormat::Uyvy, 1920});
            break;
        case kRfc8331:
            w.bytes = rfc8331FromPackets(packets);
            break;
    }
    return w;
}

/// The conversion of one form in the steady state of a capture host: into a packet list (or, for
/// form 0, a buffer) that the previous frame left behind, so its storage is reused.
struct Conversion {
    explicit Conversion(Form f) : form(f), packets(framePackets()), w(workload(f, packets)) {}

    /// One conversion: the number of packets it found or wrote.
    std::size_t run() {
        switch (form) {
            case kPacketList:
                ancillaryBufferFromPackets(packets, buffer);
                return buffer.size() / (7 + 255);
            case kWords10:
                packetsFromWords10(w.words, out);
                break;
            case kV210:
                packetsFromVancLines(w.bytes, {VancFormat::V210, 1920}, out);
                break;
            case kUyvy:
                packetsFromVancLines(w.bytes, {VancFormat::Uyvy, 1920}, out);
                break;
            case kRfc8331:
                packetsFromRfc8331(w.bytes, out);
                break;
        }
        return out.size();
    }

    Form form;
    std::vector<Packet> packets;
    Workload w;
    std::vector<Packet> out;
    std::vector<unsigned char> buffer;
};

/// The same packet, wherever it travelled (an RFC 8331 payload gives line 0 as "no line", 0x7FF).
bool sameWords(const Packet& a, const Packet& b) {
    return a.did == b.did && a.sdid == b.sdid && a.udw == b.udw;
}

void BM_HostConvert(benchmark::State& state) {
    Conversion c(static_cast<Form>(state.range(0)));
    // Every packet found, with its words, in the first conversion and the last.
    auto whole = [&] {
        return c.run() == c.packets.size() &&
               (c.form == kPacketList
                    ? c.buffer == ancillaryBufferFromPackets(c.packets)
                    : std::equal(c.out.begin(), c.out.end(), c.packets.begin(), sameWords));
    };
    if (!whole()) {
        state.SkipWithError("the conversion lost packets");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        benchmark::DoNotOptimize(c.run());
        allocations.end();
    }
    if (!whole()) state.SkipWithError("the conversion lost packets");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * c.w.inputBytes()));
    allocations.requireNone(state, "the steady-state conversion");
}

void BM_HostMemcpy(benchmark::State& state) {
    const std::size_t size =
        workload(static_cast<Form>(state.range(0)), framePackets()).inputBytes();
    std::vector<unsigned char> from(size, 0x5A), to(size);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), size);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

// The conversion and the memcpy in alternating batches: their ratio, free of the machine's drift.
void BM_HostPaired(benchmark::State& state) {
    Conversion c(static_cast<Form>(state.range(0)));
    if (c.run() != c.packets.size()) {
        state.SkipWithError("the conversion lost packets");
        return;
    }
    std::vector<unsigned char> from(c.w.inputBytes(), 0x5A), to(c.w.inputBytes());
    pairedCost(
        state, [&] { benchmark::DoNotOptimize(c.run()); },
        [&] {
            std::memcpy(to.data(), from.data(), from.size());
            benchmark::ClobberMemory();
        });
}

void forms(benchmark::internal::Benchmark* b) {
    b->ArgName("form");
    for (int f = kPacketList; f <= kRfc8331; ++f) b->Arg(f);
}
BENCHMARK(BM_HostConvert)->Apply(forms);
BENCHMARK(BM_HostMemcpy)->Apply(forms);
BENCHMARK(BM_HostPaired)->Apply(forms);

}  // namespace
}  // namespace velmora::bench
