// An OpenTrackIO sample of a parsed frame, beside the parse: the camera model of the answer, the
// sample, its JSON or CBOR bytes (as the tool writes them) and the OTrk datagrams that carry it.
// The goal: less than the parse of the same frame (BM_SampleParse/standard.anc, arri.anc).
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "dump/opentrackio_out.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/interpret/interpret.h"
#include "rdd18/output/VLRDD18Parser.h"

namespace velmora::bench {
namespace {

namespace otio = rdd18::interpret::opentrackio;

rdd18::Dictionary answerOf(const char* name, bool arri) {
    std::ifstream in(std::string(VELMORA_SAMPLES_DIR) + "/" + name, std::ios::binary);
    const std::vector<unsigned char> frame{std::istreambuf_iterator<char>(in), {}};
    return arri ? VLArriANCParser().parseData(frame) : VLRDD18Parser(0).parseData(frame);
}

// `encoding`: 0 the sample value alone, else the bytes of that encoding framed into datagrams.
void sampleOf(benchmark::State& state, const char* name, bool arri, int encoding) {
    const rdd18::Dictionary answer = answerOf(name, arri);
    if (answer.empty()) {
        state.SkipWithError("the sample is missing or gives an empty answer");
        return;
    }
    otio::SampleContext context{otio::sourceIdFor(name), 1, 0, {}, {}, true};
    std::size_t datagrams = 0;
    std::vector<std::uint8_t> bytes;
    for (auto _ : state) {
        const auto model =
            arri ? rdd18::interpret::fromArri(answer) : rdd18::interpret::fromRDD18(answer);
        const otio::Sample sample = otio::makeSample(model, context);
        ++context.index;
        if (encoding == 0) {
            benchmark::DoNotOptimize(sample);
            continue;
        }
        const nlohmann::json document = rdd18::dump::sampleJson(sample);
        if (encoding == 2) {
            bytes.clear();
            nlohmann::json::to_cbor(document, bytes);
        } else {
            const std::string text = document.dump();
            bytes.assign(text.begin(), text.end());
        }
        rdd18::otrk::segment(bytes, static_cast<rdd18::otrk::Encoding>(encoding), 0,
                             [&](std::span<const unsigned char> d) {
                                 benchmark::DoNotOptimize(d.data());
                                 ++datagrams;
                             });
    }
    state.counters["bytes/sample"] = static_cast<double>(bytes.size());
    state.counters["datagrams/sample"] =
        benchmark::Counter(static_cast<double>(datagrams), benchmark::Counter::kAvgIterations);
}

void BM_OpenTrackIOSample(benchmark::State& state) {
    sampleOf(state, "standard.anc", false, 0);
}
BENCHMARK(BM_OpenTrackIOSample)->Name("BM_OpenTrackIO/standard.anc/sample");

void BM_OpenTrackIOJson(benchmark::State& state) {
    sampleOf(state, "standard.anc", false, 1);
}
BENCHMARK(BM_OpenTrackIOJson)->Name("BM_OpenTrackIO/standard.anc/json+otrk");

void BM_OpenTrackIOCbor(benchmark::State& state) {
    sampleOf(state, "standard.anc", false, 2);
}
BENCHMARK(BM_OpenTrackIOCbor)->Name("BM_OpenTrackIO/standard.anc/cbor+otrk");

void BM_OpenTrackIOArriJson(benchmark::State& state) {
    sampleOf(state, "arri.anc", true, 1);
}
BENCHMARK(BM_OpenTrackIOArriJson)->Name("BM_OpenTrackIO/arri.anc/json+otrk");

}  // namespace
}  // namespace velmora::bench
