// The rtmd sample reader through the RDD 18 facade (Sony flavour). The input's last byte counts
// the zero bytes of padding; the bytes before it are the packs P. Invariants: a sample of the
// 0x1C-byte header and P answers as P carried in 8-bit ANC packets, whenever P ends in a non-zero
// byte (zeros at the end of a sample are padding) and holds no 16 bytes read as a key that aren't
// one (behind those a packet stream gives up the rest of its packet, a sample goes on at once);
// and when the framing finds P whole (no pack cut off), the padding changes nothing.
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/transport/rtmd_sample.h"

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

constexpr std::size_t kStreamPerPacket = 254;
constexpr std::size_t kLongestStream = 255 * kStreamPerPacket;

const VLRDD18Parser& parser() {
    static const VLRDD18Parser instance(Flavour::Sony);
    return instance;
}

// P as RDD 18 packets numbered from 1, each behind the flag 00 FF FF.
Bytes ancillaryPackets(std::span<const unsigned char> stream) {
    Bytes out;
    for (std::size_t at = 0, n = 1; at < stream.size(); at += kStreamPerPacket, ++n) {
        const std::size_t size = std::min(kStreamPerPacket, stream.size() - at);
        out.insert(out.end(), kFlagStandard, kFlagStandard + 3);
        const Bytes head{0x43, 0x05, static_cast<unsigned char>(size + 1),
                         static_cast<unsigned char>(n)};
        out.insert(out.end(), head.begin(), head.end());
        out.insert(out.end(), stream.begin() + static_cast<std::ptrdiff_t>(at),
                   stream.begin() + static_cast<std::ptrdiff_t>(at + size));
        out.push_back(0);  // the checksum, which no parser checks
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size - 1 > kLongestStream) return 0;
    const std::span<const unsigned char> packs(data, size - 1);
    Bytes header(kRtmdHeaderSize, 0);
    header[1] = kRtmdHeaderSize;
    Bytes sample = header;
    sample.insert(sample.end(), packs.begin(), packs.end());
    const InputCopy bare(sample.data(), sample.size());
    FaultList faults;
    const Dictionary answer = parser().parseRtmdSample(bare.span(), faults);
    checkConversions(answer);
    if (packs.empty() || packs.back() == 0) return 0;
    bool cut = false;
    for (const Fault& f : faults.faults()) {
        if (f.code == FaultCode::KeyRejected) return 0;
        cut = cut || f.code == FaultCode::RtmdPackCutOff;
    }
    VELMORA_FUZZ_CHECK(answer == parser().parseData(ancillaryPackets(packs), true));
    if (cut) return 0;
    sample.resize(sample.size() + data[size - 1], 0);
    const InputCopy padded(sample.data(), sample.size());
    VELMORA_FUZZ_CHECK(parser().parseRtmdSample(padded.span()) == answer);
    return 0;
}
