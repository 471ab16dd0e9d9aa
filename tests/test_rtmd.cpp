// rtmd samples: a header, RDD 18 packs, zero padding. The packs answer as the same packs carried
// in ANC packets; a header that can't be framed, or padding alone, gives nothing and its fault.
#include <gtest/gtest.h>

#include "frame_builder.h"
#include "rdd18/host/packet.h"
#include "rdd18/rdd18.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

const VLRDD18Parser kSony(Flavour::Sony);

const Bytes kPacks = host::rdd18Stream(
    host::packetsFromAncillaryBuffer(fileBytes(VELMORA_SAMPLES_DIR "/sony.anc"), true));
const Bytes kHeader = writeRtmdSample({}, RtmdTimecode{10, 59, 58, 29, true});

TEST(Rtmd, HeaderGivesItsTimecodeWhereItsBytesAreOne) {
    EXPECT_EQ(readRtmdSample(kHeader + kPacks).timecode, (RtmdTimecode{10, 59, 58, 29, true}));
    for (const std::optional<RtmdTimecode> none :
         {std::optional<RtmdTimecode>(), {{24, 0, 0, 0, false}}})
        EXPECT_EQ(readRtmdSample(writeRtmdSample(kPacks, none)).timecode, std::nullopt);
}

// Hours, minutes, seconds, drop frame and frames (bytes 0x0D-0x11), each at its largest and one
// beyond; a header that ends before the frames byte has no timecode.
TEST(Rtmd, TimecodeFieldsAtTheirLimits) {
    const RtmdTimecode top{23, 59, 59, 59, true};
    const Bytes header = writeRtmdSample({}, top);
    const unsigned char beyond[] = {24, 60, 60, 2, 60};
    for (std::size_t field = 0; field < 5; ++field) {
        Bytes bad = header;
        bad[0x0D + field] = beyond[field];
        EXPECT_EQ(readRtmdSample(bad + kPacks).timecode, std::nullopt) << field;
    }
    for (const std::size_t size : {std::size_t{0x12}, std::size_t{0x11}}) {
        Bytes cut(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(size));
        cut[1] = static_cast<unsigned char>(size);
        EXPECT_EQ(readRtmdSample(cut + kPacks).timecode,
                  size == 0x12 ? std::optional(top) : std::nullopt);
    }
}

// 16 bytes that are no key are passed over; the packs behind them answer whole.
TEST(Rtmd, PacksBehindBytesThatAreNoKey) {
    const Dictionary whole = kSony.parseRtmdSample(kHeader + kPacks);
    ASSERT_FALSE(whole.empty());
    EXPECT_EQ(kSony.parseRtmdSample(kHeader + Bytes(16, 0xEE) + kPacks), whole);
}

TEST(Rtmd, BadSamplesGiveNoItemsAndTheirFault) {
    const std::pair<Bytes, FaultCode> cases[] = {
        {be16(0x40) + Bytes(10, 0), FaultCode::RtmdHeaderBeyondSample},
        {be16(0) + kPacks, FaultCode::RtmdHeaderTooShort},
        {be16(1) + kPacks, FaultCode::RtmdHeaderTooShort},
        {kHeader + Bytes(100, 0), FaultCode::RtmdNoPacks},
        {kHeader, FaultCode::RtmdNoPacks}};
    for (const auto& [sample, code] : cases) {
        FaultList faults;
        EXPECT_EQ(kSony.parseRtmdSample(sample, faults), Dictionary());
        ASSERT_EQ(faults.faults().size(), 1u);
        EXPECT_EQ(faults.faults()[0].code, code);
    }
}

// Cut at every byte, a sample answers as the cut packet stream; only a cut inside a pack is the
// framing's fault. Padding behind whole packs changes nothing.
TEST(Rtmd, PacksCutAtEveryByteAnswerAsTheCutPacketStream) {
    const std::size_t firstPackEnd = 20 + (std::size_t{kPacks[18]} << 8 | kPacks[19]);
    for (std::size_t n = 1; n <= kPacks.size(); ++n) {
        const Bytes cut(kPacks.begin(), kPacks.begin() + static_cast<std::ptrdiff_t>(n));
        const bool whole = n == firstPackEnd || n == kPacks.size();
        FaultList faults;
        const Dictionary answer =
            kSony.parseRtmdSample(kHeader + cut + Bytes(whole ? 301 : 0, 0), faults);
        ASSERT_EQ(answer, kSony.parseData(FrameBuilder().rdd18Stream(cut).bytes())) << n;
        EXPECT_EQ(faults.empty() ? FaultCode{} : faults.faults()[0].code,
                  whole ? FaultCode{} : FaultCode::RtmdPackCutOff);
    }
}

}  // namespace
