// The host converters, one target per form (VELMORA_FUZZ_HOST_FORM: 0 packet list, 1 10-bit
// words, 2 VANC lines, 3 RFC 8331). Each input is read twice:
// - as the form itself (raw words, lines or payload): the converter must stay inside the bytes,
//   report every drop at a place inside them, and, when nothing is damaged, deliver the same
//   with and without keepDamaged; converting into a list left over from another conversion
//   gives the same packets as a new list;
// - as an 8-bit packet buffer: its packets, written in the form and read back, are the same
//   packets, and the parsers give the answers they give for the buffer itself.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_support.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/transport/fault.h"

using namespace rdd18;
using namespace rdd18::host;
using namespace rdd18::fuzz;

namespace {

struct DropCheck final : FaultSink {
    explicit DropCheck(std::size_t offsetLimit) : limit(offsetLimit) {}
    std::size_t limit;  // offsets lie below it (a report on empty input is at 0)
    std::size_t drops = 0, kept = 0;
    void report(const Fault& f) override {
        VELMORA_FUZZ_CHECK(f.layer() == FaultLayer::Host);
        VELMORA_FUZZ_CHECK(f.offset < std::max<std::size_t>(limit, 1));
        ++drops;
        kept += f.kept ? 1 : 0;
    }
};

/// The answer `parser` gives for a packet list, read where the list holds the words.
template <class Parser>
Dictionary answerOf(const Parser& parser, std::span<const Packet> packets) {
    PacketListReader reader(packets);
    return parser.parseData(reader);
}

template <class Convert, class ConvertInto>
void checkRaw(std::size_t limit, Convert convert, ConvertInto convertInto) {
    DropCheck strictDrops(limit), looseDrops(limit);
    const std::vector<Packet> strict = convert(ConvertOptions{false}, &strictDrops);
    const std::vector<Packet> loose = convert(ConvertOptions{true}, &looseDrops);
    VELMORA_FUZZ_CHECK(strictDrops.kept == 0);
    // Kept damaged packets come out; a dropped one may let the scan find packets inside it, so
    // the two walks agree exactly when nothing was damaged.
    VELMORA_FUZZ_CHECK(loose.size() >= looseDrops.kept);
    if (looseDrops.kept == 0)
        VELMORA_FUZZ_CHECK(strict == loose && strictDrops.drops == looseDrops.drops);
    for (const Packet& p : loose) VELMORA_FUZZ_CHECK(p.udw.size() <= 255);
    // Into a list another conversion left behind: its storage is reused, the answer is the same.
    std::vector<Packet> reused = loose;
    if (!reused.empty()) reused.front().line = 1000;
    convertInto(ConvertOptions{false}, reused);
    VELMORA_FUZZ_CHECK(reused == strict);
}

std::vector<Packet> withoutPlace(std::vector<Packet> packets) {
    for (Packet& p : packets) p.line = p.stream = 0;
    return packets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    const std::span<const unsigned char> bytes = input.span();
    const bool flags = input.fromEnd(0) & 1;
    const std::vector<Packet> packets = packetsFromAncillaryBuffer(bytes, flags);
    std::vector<Packet> back;
    const int form = VELMORA_FUZZ_HOST_FORM;
    if (form == 0) {
        back = packetsFromAncillaryBuffer(ancillaryBufferFromPackets(packets), true);
    } else if (form == 1) {
        std::vector<std::uint16_t> words(size / 2);
        if (!words.empty()) std::memcpy(words.data(), input.data(), words.size() * 2);
        const auto layout = flags ? WordLayout::Flagged : WordLayout::Bare;
        checkRaw(
            words.size(),
            [&](ConvertOptions o, FaultSink* obs) {
                return packetsFromWords10(words, layout, o, obs);
            },
            [&](ConvertOptions o, std::vector<Packet>& out) {
                packetsFromWords10(words, out, layout, o);
            });
        back = packetsFromWords10(words10FromPackets(packets));
    } else if (form == 2) {
        // Width and format from the last bytes, so that short lines, odd widths and both
        // placements come up.
        const VancLayout raw{input.fromEnd(1) & 1 ? VancFormat::Uyvy : VancFormat::V210,
                             1u + input.fromEnd(2) * 8u + input.fromEnd(3) % 8u,
                             static_cast<VancPlacement>(input.fromEnd(4) % 3)};
        checkRaw(
            size,
            [&](ConvertOptions o, FaultSink* obs) {
                return packetsFromVancLines(bytes, raw, o, obs);
            },
            [&](ConvertOptions o, std::vector<Packet>& out) {
                packetsFromVancLines(bytes, raw, out, o);
            });
        const VancLayout written{raw.format, 12 + input.fromEnd(2) * 8u, raw.placement};
        back = packetsFromVancLines(vancLinesFromPackets(packets, written), written);
        // Packets longer than a line of this width are left out by the writer.
        std::vector<Packet> fit;
        for (const Packet& p : packets)
            if (7 + p.udw.size() <= 2 * std::size_t{written.width}) fit.push_back(p);
        VELMORA_FUZZ_CHECK(back == fit);
        if (fit.size() != packets.size()) return 0;
    } else {
        checkRaw(
            size,
            [&](ConvertOptions o, FaultSink* obs) { return packetsFromRfc8331(bytes, o, obs); },
            [&](ConvertOptions o, std::vector<Packet>& out) { packetsFromRfc8331(bytes, out, o); });
        // One payload holds at most 255 packets in 65,535 bytes; the writer says what it left out.
        DropCheck leftOut(packets.size());
        const auto payload = rfc8331FromPackets(packets, 0, &leftOut);
        VELMORA_FUZZ_CHECK(payload.size() - 8 <= 0xFFFF);
        if (leftOut.drops) return 0;
        back = withoutPlace(packetsFromRfc8331(payload));
    }
    VELMORA_FUZZ_CHECK(back == packets);
    const VLRDD18Parser standard(0);
    VELMORA_FUZZ_CHECK(answerOf(standard, back) == standard.parseData(bytes, flags));
    const VLArriANCParser arri;
    VELMORA_FUZZ_CHECK(answerOf(arri, back) == arri.parseData(bytes, flags));
    return 0;
}
