// The one scan that finds ST 291 packets in a run of words, shared by the 10-bit word, v210 and
// UYVY converters, the word checks and sums every converter uses, and the report of a packet a
// converter leaves out of a caller's list. Private to the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "rdd18/host/packet.h"
#include "rdd18/host/words10.h"
#include "rdd18/internal/byte_order.h"
#include "rdd18/internal/byte_sum.h"

namespace rdd18::host::detail {

/// Where a run of words sits, for the packets found and the faults reported.
struct WordRun {
    bool flagged = true;     ///< packets stand behind a flag (000 3FF 3FF or 3FC) with anything
                             ///< between them; else back to back, each starting with its DID
    std::uint16_t line = 0;  ///< given to the packets found
    std::uint16_t faultLine = 0;       ///< given to the faults reported
    FaultUnit unit = FaultUnit::Word;  ///< what a word index counts in the faults reported
};

/// A converter's fault: `code` at `offset` in `unit`, on `line`, of the packet with `did` and
/// `sdid` (0 while its header is unread), `kept` when the packet is delivered anyway.
inline Fault hostFault(FaultCode code, FaultUnit unit, std::uint64_t offset, unsigned line = 0,
                       unsigned did = 0, unsigned sdid = 0, bool kept = false) noexcept {
    return {.code = code,
            .unit = unit,
            .offset = offset,
            .line = static_cast<std::uint16_t>(line),
            .did = static_cast<std::uint8_t>(did),
            .sdid = static_cast<std::uint8_t>(sdid),
            .kept = kept};
}

/// A fault of the packet at `index` of a caller's list or of an ST 436M element (unit Packet).
inline Fault packetFault(FaultCode code, std::size_t index, unsigned line, unsigned did = 0,
                         unsigned sdid = 0) noexcept {
    Fault f = hostFault(code, FaultUnit::Packet, index, line, did, sdid);
    f.packet = static_cast<std::uint32_t>(index);
    return f;
}

/// Reports `code` for the packet at `index` of a caller's packet list (unit Packet), with the
/// packet's line and identifiers; `found` as the code defines it.
void reportListFault(FaultSink* faults, FaultCode code, const Packet& packet, std::size_t index,
                     std::uint64_t found = 0);

/// Whether a DC counts the user data words of `packet` (at most `kMaxUserDataWords`): whether
/// the packet has an 8-bit and a 10-bit form.
inline bool hasDataCount(const Packet& packet) noexcept {
    return packet.udw.size() <= kMaxUserDataWords;
}

/// Whether `packet` holds more user data words than a DC counts; such a packet is reported
/// (`TooManyWords`, `found` its word count) for the caller to leave out.
inline bool tooManyWords(const Packet& packet, std::size_t index, FaultSink* faults) {
    if (hasDataCount(packet)) return false;
    reportListFault(faults, FaultCode::TooManyWords, packet, index, packet.udw.size());
    return true;
}

/// The packets a converter finds, written over the elements of a caller's list (their word
/// storage reused) and appended past its end; `finish` drops the elements left over. A sink
/// started at `used` keeps the list's first `used` packets.
class PacketSink {
  public:
    explicit PacketSink(std::vector<Packet>& out, std::size_t used = 0) noexcept
        : out_(out), used_(used) {}
    /// Packets kept: the first `used` given and those kept since.
    std::size_t used() const noexcept { return used_; }
    /// The element the next packet is built in; it counts only once `keep` is called.
    Packet& next() {
        if (used_ == out_.size()) out_.emplace_back();
        return out_[used_];
    }
    void keep() noexcept { ++used_; }
    void finish() { out_.resize(used_); }

  private:
    std::vector<Packet>& out_;
    std::size_t used_;
};

/// Adds to `out` the packets of `words`, checking parity and checksum; reports every drop to
/// `faults`. 16-bit words are 10-bit words (bits above b9 ignored; parity, 9-bit checksum,
/// flags 000 3FF 3FF and 3FC); bytes are 8-bit words (8-bit checksum, flags 00 FF FF and FC).
void scanWords(std::span<const std::uint16_t> words, const WordRun& run,
               const ConvertOptions& options, FaultSink* faults, PacketSink& out);
void scanWords(std::span<const unsigned char> words, const WordRun& run,
               const ConvertOptions& options, FaultSink* faults, PacketSink& out);

/// Appends the words of `packet` behind a component flag (000 3FF 3FF), parity and checksum
/// set (10-bit) or 8-bit values and 8-bit checksum. The packet must hold at most
/// `kMaxUserDataWords` words.
void appendPacketWords(const Packet& packet, bool tenBit, std::vector<std::uint16_t>& out);

/// Words `packet` takes behind a component flag: 3 + 3 + its words + 1.
inline std::size_t packetWordCount(const Packet& packet) noexcept {
    return 7 + packet.udw.size();
}

/// The checksum word of words that add up to `sum`: its low 9 bits, b9 = not b8.
constexpr std::uint16_t checksumFromSum(unsigned sum) noexcept {
    const unsigned nine = sum & 0x1FFu;
    return static_cast<std::uint16_t>(nine | ((~nine >> 8 & 1u) << 9));
}

/// Words (or bytes) handled as one block by the loops below: a fixed count, so that compilers
/// run each block on whole vectors at -O2 as well as at -O3.
inline constexpr std::size_t kWordBlock = 16;

/// The parity bits a 10-bit word breaks, from its low byte `low` (b0-b7) and its high byte `high`
/// (b8-b15): 0 in b0 and b1 of the result when b8 is the even parity of b0-b7 and b9 = not b8
/// (bits above b9 are ignored: mask the result with 3). The parity is folded with shifts and xor
/// in bytes rather than looked up, so that loops over words run on whole vectors of bytes.
constexpr std::uint8_t brokenParity(std::uint8_t low, std::uint8_t high) noexcept {
    auto v = static_cast<std::uint8_t>(low ^ (low >> 4));  // b0 of the folds: parity of b0-b7
    v = static_cast<std::uint8_t>(v ^ (v >> 2));
    v = static_cast<std::uint8_t>(v ^ (v >> 1));
    // The high byte a parity p asks for: b8 = p, b9 = not p, so 1 for p = 1 and 2 for p = 0.
    return static_cast<std::uint8_t>(high ^ ((v & 1u) * 3u) ^ 2u);
}

/// The parity bits 10-bit word `w` breaks, in b8 and b9 (see above).
constexpr std::uint16_t brokenParity(std::uint16_t w) noexcept {
    const auto broken =
        brokenParity(static_cast<std::uint8_t>(w), static_cast<std::uint8_t>(w >> 8));
    return static_cast<std::uint16_t>((broken & 3u) << 8);
}

/// What `takeWords10` gathers, lane by lane.
struct Words10Lanes {
    std::uint8_t broken[kWordBlock] = {};
    std::uint16_t sum[kWordBlock] = {};

    // The lanes are folded eight or four at a time in 64-bit words rather than one by one; every
    // step works on whole lanes alike, so the byte order of the words doesn't matter.
    static constexpr std::uint64_t kLaneLow9 = 0x01FF01FF01FF01FFu;
    static constexpr std::uint64_t kLaneParity = 0x0303030303030303u;
    static_assert(kWordBlock % 8 == 0);

    /// The parity bits broken in any lane, in b8 and b9.
    std::uint16_t foldedBroken() const noexcept {
        std::uint64_t any = 0;
        for (std::size_t q = 0; q < kWordBlock; q += 8) any |= load(broken + q);
        return (any & kLaneParity) ? 0x300u : 0u;
    }
    /// The sum of the lanes, mod 512: each lane cut to its low 9 bits, four words added (no lane
    /// passes 4 x 511), the four lanes of the result added by one multiplication into the top.
    std::uint16_t foldedSum() const noexcept {
        std::uint64_t lanes4 = 0;
        for (std::size_t q = 0; q < kWordBlock; q += 4) lanes4 += load(sum + q) & kLaneLow9;
        return static_cast<std::uint16_t>(lanes4 * 0x0001000100010001u >> 48);
    }

  private:
    template <class Lane>
    static std::uint64_t load(const Lane* lanes) noexcept {
        std::uint64_t v;
        std::memcpy(&v, lanes, sizeof v);
        return v;
    }
};

/// One block of `takeWords10`.
inline void takeBlock10(const std::uint16_t* VELMORA_RDD18_RESTRICT words,
                        unsigned char* VELMORA_RDD18_RESTRICT values,
                        Words10Lanes& VELMORA_RDD18_RESTRICT lanes) noexcept {
    for (std::size_t j = 0; j < kWordBlock; ++j) {
        const std::uint16_t w = words[j];
        const auto low = static_cast<std::uint8_t>(w);
        lanes.broken[j] = static_cast<std::uint8_t>(
            lanes.broken[j] | brokenParity(low, static_cast<std::uint8_t>(w >> 8)));
        lanes.sum[j] = static_cast<std::uint16_t>(lanes.sum[j] + w);
        values[j] = low;
    }
}

/// Stores the 8-bit values (b0-b7) of `count` 10-bit words into `values`, adds the words to
/// `sum` (only its low 9 bits count, so 16-bit lanes do) and returns whether every word carries
/// its parity bits (see `brokenParity`). `values` must not overlap `words`.
inline bool takeWords10(const std::uint16_t* words, std::size_t count, unsigned char* values,
                        std::uint16_t& sum) noexcept {
    Words10Lanes lanes;
    std::size_t k = 0;
    for (; k + kWordBlock <= count; k += kWordBlock) takeBlock10(words + k, values + k, lanes);
    std::uint16_t total = static_cast<std::uint16_t>(sum + lanes.foldedSum());
    std::uint16_t broken = lanes.foldedBroken();
    if (k < count && count >= kWordBlock) {
        // The last 16 words once more (checking and storing a word twice changes nothing) rather
        // than a word-by-word tail; only the sum must not see a word twice.
        Words10Lanes last;
        takeBlock10(words + count - kWordBlock, values + count - kWordBlock, last);
        broken = static_cast<std::uint16_t>(broken | last.foldedBroken());
        for (; k < count; ++k) total = static_cast<std::uint16_t>(total + words[k]);
    }
    for (; k < count; ++k) {
        broken = static_cast<std::uint16_t>(broken | brokenParity(words[k]));
        total = static_cast<std::uint16_t>(total + words[k]);
        values[k] = static_cast<unsigned char>(words[k]);
    }
    sum = total;
    return (broken & 0x300u) == 0;
}

}  // namespace rdd18::host::detail
