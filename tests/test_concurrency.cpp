// One parser object shared by several threads: a parse keeps nothing in the parser, so frames
// parsed at the same time on one object give exactly the answers of a serial run. Run under
// ThreadSanitizer (the "tsan" preset), this also shows that a shared parser is only read.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>
#include <vector>

#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/output/VLRDD18Parser.h"

using namespace rdd18;

namespace {

using Bytes = std::vector<unsigned char>;
using Parse = std::function<Dictionary(const Bytes&)>;

/// Every bundled frame (whole, broken, every flavour and ARRI), each also cut at a third.
std::vector<Bytes> sampleFrames() {
    std::vector<Bytes> frames;
    for (const auto& entry : std::filesystem::directory_iterator(VELMORA_SAMPLES_DIR)) {
        if (entry.path().extension() != ".anc") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        frames.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
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

}  // namespace
