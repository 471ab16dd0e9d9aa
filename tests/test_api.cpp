// What a C++ host holds: parsers as values with a flavour, typed reads, the faults of a parse in
// the same pass; and what those passes may allocate.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "frame_builder.h"
#include "rdd18/rdd18.h"

// ThreadSanitizer's runtime brings its own operator new and can't have it replaced; there the
// allocation counts aren't taken and their tests are skipped (so too for a Windows DLL, whose
// build says so).
#if defined(VELMORA_COUNTS_ALLOCATIONS)
#elif defined(__SANITIZE_THREAD__)
#define VELMORA_COUNTS_ALLOCATIONS 0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VELMORA_COUNTS_ALLOCATIONS 0
#endif
#endif
#ifndef VELMORA_COUNTS_ALLOCATIONS
#define VELMORA_COUNTS_ALLOCATIONS 1
#endif

namespace {
thread_local bool gCounting = false;
thread_local std::size_t gAllocations = 0;
thread_local std::size_t gBytes = 0;
thread_local std::size_t gReleases = 0;

struct Tally {
    Tally() { gCounting = true, gAllocations = 0, gBytes = 0, gReleases = 0; }
    ~Tally() { gCounting = false; }
};
}  // namespace

#if VELMORA_COUNTS_ALLOCATIONS
namespace {
// Out of line, so that the compiler doesn't pair a `new` of this file with the `free` below.
[[gnu::noinline]] void* countedAllocation(std::size_t n) {
    if (gCounting) ++gAllocations, gBytes += n;
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
[[gnu::noinline]] void release(void* p) noexcept {
    if (gCounting && p) ++gReleases;
    std::free(p);
}
}  // namespace

void* operator new(std::size_t n) {
    return countedAllocation(n);
}
// The standard library's temporary buffers (stable_sort) ask for memory without exceptions; that
// memory comes back through the plain delete below, so it must come from the same place.
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return countedAllocation(n);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* p) noexcept {
    release(p);
}
void operator delete(void* p, std::size_t) noexcept {
    release(p);
}
#endif

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

Bytes frameOf(const Bytes& items) {
    return FrameBuilder().rdd18Stream(rdd18Pack(items)).bytes();
}

TEST(Api, ParsersAreValuesThatOutliveTheirSource) {
    const Bytes frame = frameOf(rdd18Item(0xE1, 0x21, text("HDR")) + rdd18Item(0x81, 0x0B, {0, 9}));
    std::vector<RDD18Parser> parsers;
    {
        VLRDD18Parser made(Flavour::Varicam);
        RDD18Parser copy = made;
        parsers.push_back(std::move(made));
        parsers.push_back(copy);
    }  // the originals are gone; the parsers must not refer to them
    for (const RDD18Parser& p : parsers) {
        EXPECT_EQ(p.flavour(), Flavour::Varicam);
        EXPECT_EQ(p.parseData(frame).at("VaricamClipInfoHeaderItem"), Value("HDR"));
    }
}

TEST(Api, TypedReadsAreExactOrRefused) {
    const Value u7(Number::unsignedInt(7)), minus1(Number::shortNumber(-1)),
        f(Number::floatNumber(1.5f));
    EXPECT_EQ(u7.get<int>() + minus1.get<std::int8_t>() + f.get<double>(), 7.5);
    EXPECT_TRUE(Value(Number::boolean(true)).get<bool>());
    EXPECT_FALSE(Value(Number::unsignedInt(256)).tryGet<std::uint8_t>());
    EXPECT_FALSE(minus1.tryGet<std::uint64_t>());
    EXPECT_FALSE(f.tryGet<long>());
    EXPECT_FALSE(Value(Number::integer(1)).tryGet<bool>());
    EXPECT_THROW(minus1.get<unsigned>(), BadValueAccess);
    EXPECT_EQ(Value("text").value_or(5), 5);
    EXPECT_EQ(u7.value_or(std::string("none")), "none");
    EXPECT_EQ(Number::doubleNumber(0x1p63).uint64Value(), std::uint64_t{1} << 63);
    EXPECT_EQ(Number::doubleNumber(0x1.fffffep127 + 0x1p103).floatValue(), INFINITY);  // a tie
    EXPECT_TRUE(Number::floatNumber(-0.5f).boolValue());
    EXPECT_NE(Number::integer(1), Number::unsignedInt(1));

    const Dictionary d{{"b", Number::integer(2)}, {"a", "x"}};
    EXPECT_EQ(d.get<long>("b"), 2);
    EXPECT_FALSE(d.get<long>("a"));
    EXPECT_FALSE(d.get<Number>("c"));
    // Any order of setting gives one sorted dictionary; of repeated keys the later wins.
    EXPECT_EQ(d, Dictionary::fromEntries(
                     {{"b", Number::integer(1)}, {"a", "x"}, {"b", Number::integer(2)}}));
    EXPECT_EQ(d.begin()->first, "a");
}

TEST(Api, AFaultsTextIsMadeFromItsValue) {
    const Fault cut{.code = FaultCode::PayloadZeroFilled,
                    .unit = FaultUnit::StreamPosition,
                    .offset = 24,
                    .tag = {0xF0, 0x01},
                    .expected = 10};
    EXPECT_EQ(describe(cut),
              "RDD 18 stream: item 0xf0 0x01 at stream position 24: the stream ends inside its 10 "
              "bytes; the missing bytes are given as zeros");
    const Fault checksum{.code = FaultCode::BadChecksum,
                         .unit = FaultUnit::Word,
                         .offset = 10,
                         .did = 0x43,
                         .sdid = 0x05};
    EXPECT_EQ(describe(checksum),
              "input: bad checksum at word 10, line 0, DID 0x43 SDID 0x05, dropped");
}

TEST(Api, FaultsCostAllocationsPerFaultNotPerByte) {
    if (!VELMORA_COUNTS_ALLOCATIONS) GTEST_SKIP() << "allocations aren't counted here";
    const Bytes noFlags(1 << 20, 0x01);
    const VLRDD18Parser parser(Flavour::Standard);
    FaultList faults;
    std::size_t allocations = 0;
    {
        Tally tally;
        parser.parseData(noFlags, true, faults);
        allocations = gAllocations;
    }
    EXPECT_EQ(faults.faults().size(), 3u);  // the bad flags, the last byte, no packet
    EXPECT_LT(allocations, 8u);
}

// Every block a parse takes (items cut from shared slabs among them) is given back with its answer.
TEST(Api, AParseGivesBackWhatItTakes) {
    if (!VELMORA_COUNTS_ALLOCATIONS) GTEST_SKIP() << "allocations aren't counted here";
    const Bytes frame = fileBytes(VELMORA_SAMPLES_DIR "/sony.anc");
    for (int n = 0; n < 3; ++n) {
        Tally tally;
        { EXPECT_FALSE(VLRDD18Parser(Flavour::Sony).parseData(frame).empty()); }
        EXPECT_EQ(gReleases, gAllocations) << n;
    }
}

TEST(Api, ArriValueMemoryFollowsTheBytesPresent) {
    if (!VELMORA_COUNTS_ALLOCATIONS) GTEST_SKIP() << "allocations aren't counted here";
    // A metadata item that promises 16 MiB - 1 but carries 100 bytes.
    Bytes item(kArriMetadataKey.begin(), kArriMetadataKey.end());
    item = item + Bytes{0x83, 0xFF, 0xFF, 0xFF} + Bytes(100, 7);
    const Bytes frame = FrameBuilder().arriStream(item).bytes();
    std::size_t bytes = 0;
    {
        Tally tally;
        EXPECT_TRUE(VLArriANCParser().parseData(frame).empty());
        bytes = gBytes;
    }
    EXPECT_LT(bytes, 1u << 20);
}

}  // namespace
