// One parser object shared by several threads: a parse keeps nothing in the parser, so frames
// parsed at the same time on one object give exactly the answers of a serial run. Run under
// ThreadSanitizer (the "tsan" preset), this also shows that a shared parser is only read, and that
// the items of one parse, which share their memory, may be freed on any thread.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/output/VLRDD18Parser.h"

using namespace rdd18;

namespace {

using testsupport::Bytes;
using testsupport::operator+;
using Parse = std::function<Dictionary(const Bytes&)>;

/// Every bundled frame (whole, broken, every flavour and ARRI), each also cut at a third.
std::vector<Bytes> sampleFrames() {
    std::vector<Bytes> frames;
    for (const auto& entry : std::filesystem::directory_iterator(VELMORA_SAMPLES_DIR)) {
        if (entry.path().extension() != ".anc") continue;
        frames.push_back(testsupport::fileBytes(entry.path()));
        frames.emplace_back(frames.back().begin(),
                            frames.back().begin() + frames.back().size() / 3);
    }
    return frames;
}

/// Parses every frame with each of `parses` on four threads at once, three rounds; counts the
/// answers that differ from the serial ones.
unsigned mismatchesUnderThreads(const std::vector<Bytes>& frames,
                                const std::vector<Parse>& parses) {
    std::vector<std::vector<Dictionary>> serial(parses.size());
    for (std::size_t p = 0; p < parses.size(); ++p)
        for (const Bytes& f : frames) serial[p].push_back(parses[p](f));
    constexpr unsigned kThreads = 4;
    std::vector<unsigned> wrong(kThreads, 0);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (unsigned round = 0; round < 3; ++round)
                for (std::size_t p = 0; p < parses.size(); ++p)
                    for (std::size_t i = t; i < frames.size(); i += kThreads)
                        wrong[t] += parses[p](frames[i]) != serial[p][i];
        });
    }
    for (auto& thread : threads) thread.join();
    unsigned mismatches = 0;
    for (unsigned w : wrong) mismatches += w;
    return mismatches;
}

TEST(Concurrency, SharedParsersGiveTheSerialAnswers) {
    const std::vector<Bytes> frames = sampleFrames();
    ASSERT_GE(frames.size(), 30u);
    const VLRDD18Parser standard(0), varicam(1), sony(2);
    const VLArriANCParser arri;
    std::vector<Parse> parses;
    for (const bool flags : {true, false}) {
        for (const VLRDD18Parser* p : {&standard, &varicam, &sony})
            parses.push_back([p, flags](const Bytes& f) { return p->parseData(f, flags); });
        parses.push_back([&arri, flags](const Bytes& f) { return arri.parseData(f, flags); });
    }
    EXPECT_EQ(mismatchesUnderThreads(frames, parses), 0u);
}

// The items of a parse are cut from a few shared slabs, each counting its live items: here four
// threads read and free the items of one parse at once, each thread every fourth item.
TEST(Concurrency, ItemsOfOneParseAreFreedOnAnyThread) {
    Bytes stream;
    for (unsigned i = 0; i < 1000; ++i)  // more items than one slab holds
        stream = stream + testsupport::rdd18Item(0x81, 0x0B, testsupport::be16(std::uint16_t(i)));
    stream = testsupport::rdd18Pack(stream);
    ItemList items = parseDataForItems(stream.data(), stream.size(), standardItemFactory());
    ASSERT_EQ(items.size(), 1000u);
    std::atomic<unsigned> sum{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&items, &sum, t] {
            for (std::size_t i = t; i < items.size(); i += 4) {
                sum += items[i]->payloadAs<Uint16>().value();
                items[i].reset();
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(sum, 999u * 1000u / 2);
}

}  // namespace
