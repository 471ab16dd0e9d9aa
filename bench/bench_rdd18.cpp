// The RDD 18 facade: a typical frame of each flavour, the same answer built directly from known
// values (the floor of the facade), parser creation, and frames of 1 to 255 packets.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "bench_support.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/output/rdd18_encoder.h"
#include "rdd18/transport/rdd18_stream_reader.h"
#include "rdd18_frames.h"

namespace velmora::bench {
namespace {

using rdd18::Dictionary;

void BM_RDD18Parse(benchmark::State& state, int flavour) {
    const std::vector<ItemSample> items = typicalItems(flavour);
    const RDD18Frame frame = frameOf(items);
    const VLRDD18Parser parser(flavour);
    if (parser.parseData(frame.bytes) != buildAnswer(items)) {
        state.SkipWithError("the parse differs from the expected answer");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            Dictionary answer = parser.parseData(frame.bytes);
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * frame.items));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.bytes.size()));
    state.counters["packets"] = static_cast<double>(frame.packets);
    allocations.report(state);
}
BENCHMARK_CAPTURE(BM_RDD18Parse, standard, kStandard);
BENCHMARK_CAPTURE(BM_RDD18Parse, varicam, kVaricam);
BENCHMARK_CAPTURE(BM_RDD18Parse, sony, kSony);

// The writer beside the parse: the answer of the same frame back into items, packs and packets.
void BM_RDD18Encode(benchmark::State& state, int flavour) {
    const RDD18Frame frame = frameOf(typicalItems(flavour));
    const VLRDD18Parser parser(flavour);
    const Dictionary answer = parser.parseData(frame.bytes);
    const rdd18::Flavour f = rdd18::flavourOf(flavour);
    if (parser.parseData(rdd18::encodeRDD18(answer, f)) != answer) {
        state.SkipWithError("the written frame doesn't give the answer back");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            std::vector<unsigned char> written = rdd18::encodeRDD18(answer, f);
            benchmark::DoNotOptimize(written.data());
        }
        allocations.end();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * frame.items));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.bytes.size()));
    allocations.report(state);
}
BENCHMARK_CAPTURE(BM_RDD18Encode, standard, kStandard);
BENCHMARK_CAPTURE(BM_RDD18Encode, varicam, kVaricam);
BENCHMARK_CAPTURE(BM_RDD18Encode, sony, kSony);

// The first half of a parse: packets, stream and items, without the answer. The rest of
// BM_RDD18Parse is the walk that writes the answer.
void BM_RDD18Items(benchmark::State& state, int flavour) {
    const RDD18Frame frame = frameOf(typicalItems(flavour));
    const rdd18::ItemFactory factory = flavour == kSony      ? rdd18::sonyItemFactory()
                                       : flavour == kVaricam ? rdd18::varicamItemFactory()
                                                             : rdd18::standardItemFactory();
    AllocationTally allocations;
    std::size_t count = 0;
    for (auto _ : state) {
        allocations.begin();
        {
            rdd18::AncillaryDataBufferReader packets(frame.bytes.data(), frame.bytes.size(),
                                                     rdd18::AncillaryDataBufferWithFlags);
            rdd18::RDD18AncillaryDataStreamReader stream(packets);
            const rdd18::ItemList items = rdd18::parseDataForItems(stream, factory);
            count = items.size();
            benchmark::DoNotOptimize(items.data());
        }
        allocations.end();
    }
    if (count != frame.items) state.SkipWithError("the item list misses items");
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * frame.items));
    allocations.report(state);
}
BENCHMARK_CAPTURE(BM_RDD18Items, standard, kStandard);
BENCHMARK_CAPTURE(BM_RDD18Items, varicam, kVaricam);
BENCHMARK_CAPTURE(BM_RDD18Items, sony, kSony);

// The floor: the same dictionary, made with the value model's constructors from the values the
// frame carries. Keys are set in ascending order, the cheapest order for a dictionary that keeps
// its keys sorted: nothing is ever shifted.
void answer(benchmark::State& state, std::vector<ItemSample> items) {
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            Dictionary answer = buildAnswer(items);
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * items.size()));
    allocations.report(state);
}

void BM_RDD18Answer(benchmark::State& state, int flavour) {
    std::vector<ItemSample> items = typicalItems(flavour);
    std::stable_sort(items.begin(), items.end(),
                     [](const ItemSample& a, const ItemSample& b) { return a.name < b.name; });
    answer(state, std::move(items));
}
BENCHMARK_CAPTURE(BM_RDD18Answer, standard, kStandard);
BENCHMARK_CAPTURE(BM_RDD18Answer, varicam, kVaricam);
BENCHMARK_CAPTURE(BM_RDD18Answer, sony, kSony);

// The parse and its floor in alternating batches: their ratio, free of the machine's drift.
void BM_RDD18ParsePaired(benchmark::State& state, int flavour) {
    std::vector<ItemSample> items = typicalItems(flavour);
    const RDD18Frame frame = frameOf(items);
    std::stable_sort(items.begin(), items.end(),
                     [](const ItemSample& a, const ItemSample& b) { return a.name < b.name; });
    const VLRDD18Parser parser(flavour);
    if (parser.parseData(frame.bytes) != buildAnswer(items)) {
        state.SkipWithError("the parse differs from the expected answer");
        return;
    }
    pairedCost(
        state,
        [&] {
            Dictionary answer = parser.parseData(frame.bytes);
            benchmark::DoNotOptimize(answer);
        },
        [&] {
            Dictionary answer = buildAnswer(items);
            benchmark::DoNotOptimize(answer);
        });
}
BENCHMARK_CAPTURE(BM_RDD18ParsePaired, standard, kStandard);
BENCHMARK_CAPTURE(BM_RDD18ParsePaired, varicam, kVaricam);
BENCHMARK_CAPTURE(BM_RDD18ParsePaired, sony, kSony);

// The largest frame of distinct keys: 16,187 items of unregistered tags with empty payloads (one
// pack of 64,768 stream bytes), in ascending, descending and random tag order. The cost per item
// must not depend on the order nor grow with the number of items.
enum class TagOrder { Ascending, Descending, Random };

void BM_RDD18DistinctKeys(benchmark::State& state, TagOrder tagOrder) {
    constexpr std::size_t kItems = 16187;
    std::vector<unsigned> tags(kItems);
    for (std::size_t i = 0; i < kItems; ++i)
        tags[i] = 0x4000u + static_cast<unsigned>(i);  // below every registered tag
    if (tagOrder == TagOrder::Descending) std::reverse(tags.begin(), tags.end());
    if (tagOrder == TagOrder::Random) std::shuffle(tags.begin(), tags.end(), std::mt19937(18));
    Bytes items;
    for (const unsigned t : tags) {
        const Bytes item = rdd18::testsupport::rdd18Item(static_cast<unsigned char>(t >> 8),
                                                         static_cast<unsigned char>(t), {});
        items.insert(items.end(), item.begin(), item.end());
    }
    const Bytes frame = rdd18::testsupport::FrameBuilder()
                            .rdd18Stream(rdd18::testsupport::rdd18Pack(items))
                            .bytes();
    const VLRDD18Parser parser(kStandard);
    if (parser.parseData(frame).size() != kItems) {
        state.SkipWithError("the frame must give one entry per item");
        return;
    }
    for (auto _ : state) {
        Dictionary answer = parser.parseData(frame);
        benchmark::DoNotOptimize(answer);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kItems));
}
BENCHMARK_CAPTURE(BM_RDD18DistinctKeys, ascending, TagOrder::Ascending);
BENCHMARK_CAPTURE(BM_RDD18DistinctKeys, descending, TagOrder::Descending);
BENCHMARK_CAPTURE(BM_RDD18DistinctKeys, random, TagOrder::Random);

// What a parser costs to make: the flavour's factory is built once per program and shared, so
// making a parser allocates nothing.
void BM_RDD18ParserCreate(benchmark::State& state, int flavour) {
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            auto parser = std::make_unique<VLRDD18Parser>(flavour);
            benchmark::DoNotOptimize(parser.get());
        }
        allocations.end();
    }
    allocations.report(state, "allocs/parser");
}
BENCHMARK_CAPTURE(BM_RDD18ParserCreate, standard, kStandard);
BENCHMARK_CAPTURE(BM_RDD18ParserCreate, sony, kSony);

// Frames of 1, 16 and 255 full packets: the cost per stream byte should stay the same.
void BM_RDD18Scaling(benchmark::State& state) {
    const RDD18Frame frame = filledFrame(static_cast<std::size_t>(state.range(0)));
    const VLRDD18Parser parser(kStandard);
    if (parser.parseData(frame.bytes).empty()) {
        state.SkipWithError("the frame gave no answer");
        return;
    }
    AllocationTally allocations;
    for (auto _ : state) {
        allocations.begin();
        {
            Dictionary answer = parser.parseData(frame.bytes);
            benchmark::DoNotOptimize(answer);
        }
        allocations.end();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.streamBytes));
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * frame.items));
    state.counters["items"] = static_cast<double>(frame.items);
    allocations.report(state);
}
BENCHMARK(BM_RDD18Scaling)->ArgName("packets")->Arg(1)->Arg(16)->Arg(255);

}  // namespace
}  // namespace velmora::bench
