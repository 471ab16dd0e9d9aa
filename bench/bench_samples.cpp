// The facades on the bundled sample frames, as they are on disk: the C++ side of the comparison
// with the Python module (python/bench_parse.py times the same files through it).
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench_support.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/host/packet.h"
#include "rdd18/output/VLRDD18Parser.h"

namespace velmora::bench {
namespace {

std::vector<unsigned char> sampleBytes(const char* name) {
    std::ifstream in(std::string(VELMORA_SAMPLES_DIR) + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

template <class Parser>
void parseSample(benchmark::State& state, const Parser& parser, const char* name) {
    const std::vector<unsigned char> frame = sampleBytes(name);
    if (parser.parseData(frame).empty()) {
        state.SkipWithError("the sample is missing or gives an empty answer");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            rdd18::Dictionary answer = parser.parseData(frame);
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.size()));
    allocations.report(state);
}

void BM_SampleRDD18Parse(benchmark::State& state) {
    const VLRDD18Parser parser(0);
    parseSample(state, parser, "standard.anc");
}
BENCHMARK(BM_SampleRDD18Parse)->Name("BM_SampleParse/standard.anc");

void BM_SampleArriParse(benchmark::State& state) {
    parseSample(state, VLArriANCParser(), "arri.anc");
}
BENCHMARK(BM_SampleArriParse)->Name("BM_SampleParse/arri.anc");

// The packs of sony.anc as an rtmd sample (header, packs, padding to 512 bytes) beside the same
// packs in their ANC packets: reading a sample in place should cost no more than the packets.
void BM_SampleRtmdParse(benchmark::State& state) {
    const VLRDD18Parser parser(rdd18::Flavour::Sony);
    const auto packets = rdd18::host::packetsFromAncillaryBuffer(sampleBytes("sony.anc"), true);
    const auto sample =
        rdd18::writeRtmdSample(rdd18::host::rdd18Stream(packets), std::nullopt, 512);
    if (parser.parseRtmdSample(sample).empty()) {
        state.SkipWithError("the sample is missing or gives an empty answer");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            rdd18::Dictionary answer = parser.parseRtmdSample(sample);
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * sample.size()));
    allocations.report(state);
}
BENCHMARK(BM_SampleRtmdParse)->Name("BM_SampleParse/sony.anc as an rtmd sample");

void BM_SampleSonyParse(benchmark::State& state) {
    const VLRDD18Parser parser(rdd18::Flavour::Sony);
    parseSample(state, parser, "sony.anc");
}
BENCHMARK(BM_SampleSonyParse)->Name("BM_SampleParse/sony.anc");

}  // namespace
}  // namespace velmora::bench
