// One parser object shared by several threads: a parse keeps nothing in the parser, so frames
// parsed at the same time on one object give exactly the answers of a serial run. Run under
// ThreadSanitizer (the "tsan" preset), this also shows that a shared parser is only read.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/output/VLRDD18Parser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kFramesPerThread = 24;
constexpr unsigned kRounds = 3;

/// An RDD 18 frame whose values depend on `n`: standard, Sony and Varicam items, an unregistered
/// item, spread over packets of a size that also depends on `n`. Every fifth frame has a broken
/// packet numbering inside its pack and so answers nothing.
Bytes rdd18Frame(unsigned n) {
    const Bytes items =
        rdd18Item(0x81, 0x0B, be16(static_cast<std::uint16_t>(100 + n))) +
        rdd18Item(0x81, 0x06, rationalPayload(24000 + n, 1001)) +
        rdd18Item(0x80, 0x07, text("lens " + std::to_string(n))) +
        rdd18Item(0x81, 0x17,
                  countedVector(2, 2, halfFloat(n % 2, n % 32, n) + halfFloat(0, 1, 5))) +
        rdd18Item(0xE1, 0x01, Bytes(n % 40, static_cast<unsigned char>(n))) +
        rdd18Item(
            0xE1, 0x22,
            {1, static_cast<unsigned char>(n), 0, 1, 0, 2, static_cast<unsigned char>(n % 3)}) +
        rdd18Item(0xF0, static_cast<unsigned char>(n), Bytes(n % 7, 0xAB));
    FrameBuilder frame(n % 2 ? Flags::Standard : Flags::Alternate);
    const Bytes stream = rdd18Pack(items);
    if (n % 5 == 4) {
        frame.rdd18Packet(1, Bytes(stream.begin(), stream.begin() + 30))
            .rdd18Packet(3, Bytes(stream.begin() + 30, stream.end()));
    } else {
        frame.rdd18Stream(stream, 20 + n % 200);
    }
    return frame.bytes();
}

/// An ARRI frame whose record depends on `n`, behind a look-up table item; every fifth frame has
/// a metadata value one byte short of a record and so answers nothing.
Bytes arriFrame(unsigned n) {
    ArriHeaderBuilder header;
    header.u32(0x14, 1000 + n).u32(0x74, 100 * n).u32(0x1A8, 0x01020304 + n);
    header.u32(0x378, n % 3 == 0 ? 0 : 1500 + n).u32(0x384, 2000 + n);
    // append, not "R" + ...: g++ 12 at -O3 reports a bogus overlap (-Wrestrict) in the latter.
    header.u32(0x458, n % 2 ? 0xFFFFFFFF : n)
        .textField(0x4F8, 8, std::string("R").append(std::to_string(n)));
    Bytes record = header.bytes();
    if (n % 5 == 4) record.pop_back();
    FrameBuilder frame(n % 2 ? Flags::Standard : Flags::None);
    frame.arriStream(arriItem(kArriLUTKey, Bytes(n * 3, 0x11)), 252 - n % 100)
        .arriStream(arriItem(kArriMetadataKey, record), 100 + n % 152);
    return frame.bytes();
}

/// Parses every frame with `parse` on kThreads threads at once, each thread its own share of the
/// frames, kRounds times over; counts the answers that differ from `expected`.
unsigned parseConcurrently(const std::vector<Bytes>& frames,
                           const std::function<Dictionary(const Bytes&)>& parse,
                           const std::vector<Dictionary>& expected) {
    std::vector<unsigned> wrong(kThreads, 0);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (unsigned round = 0; round < kRounds; ++round) {
                for (std::size_t i = t; i < frames.size(); i += kThreads) {
                    if (parse(frames[i]) != expected[i]) ++wrong[t];
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    unsigned mismatches = 0;
    for (unsigned w : wrong) mismatches += w;
    return mismatches;
}

TEST(Concurrency, SharedRdd18ParserGivesTheSerialAnswers) {
    std::vector<Bytes> frames;
    for (unsigned n = 0; n < kThreads * kFramesPerThread; ++n) frames.push_back(rdd18Frame(n));

    for (std::int32_t flavour : {0, 1, 2}) {
        SCOPED_TRACE(flavour);
        const VLRDD18Parser parser(flavour);
        std::vector<Dictionary> serial;
        for (const Bytes& f : frames) serial.push_back(parser.parseData(f));

        // The frames differ, and only the broken ones answer nothing.
        for (std::size_t n = 0; n < frames.size(); ++n) {
            ASSERT_EQ(serial[n].empty(), n % 5 == 4) << "frame " << n;
            if (n > 0 && !serial[n].empty() && !serial[n - 1].empty()) {
                ASSERT_NE(serial[n], serial[n - 1]);
            }
        }

        EXPECT_EQ(parseConcurrently(
                      frames, [&](const Bytes& f) { return parser.parseData(f); }, serial),
                  0u);
    }
}

TEST(Concurrency, SharedArriParserGivesTheSerialAnswers) {
    std::vector<Bytes> frames;
    for (unsigned n = 0; n < kThreads * kFramesPerThread; ++n) frames.push_back(arriFrame(n));

    const VLArriANCParser parser;
    // Odd frames carry flags (00 FF FF ahead of each packet), even ones none.
    auto parse = [&](const Bytes& f) { return parser.parseData(f, f.size() > 2 && f[1] == 0xFF); };
    std::vector<Dictionary> serial;
    for (const Bytes& f : frames) serial.push_back(parse(f));
    for (std::size_t n = 0; n < frames.size(); ++n) {
        ASSERT_EQ(serial[n].empty(), n % 5 == 4) << "frame " << n;
        if (!serial[n].empty()) {
            ASSERT_EQ(serial[n].at("rawImageWidth"),
                      Value(Number::unsignedInt(1000 + static_cast<std::uint32_t>(n))));
        }
    }

    EXPECT_EQ(parseConcurrently(frames, parse, serial), 0u);
}

}  // namespace
