// 10-bit ancillary words, as capture SDKs and analysers hand them over (one 16-bit value per
// word): b0-b7 the value, b8 the even parity of b0-b7, b9 the inverse of b8; the checksum word is
// the 9-bit sum of DID..last UDW with b9 the inverse of b8.
#pragma once

#include <bit>
#include <cstdint>
#include <span>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/host/packet.h"

namespace rdd18::host {

/// `value` with its parity bits: b8 even parity of b0-b7, b9 = not b8.
constexpr std::uint16_t withParity(std::uint8_t value) noexcept {
    const unsigned odd = static_cast<unsigned>(std::popcount(value) & 1);
    return static_cast<std::uint16_t>(value | (odd << 8) | ((odd ^ 1u) << 9));
}

/// The checksum word of DID..last UDW: the 9-bit sum of their b0-b8, b9 = not b8.
VELMORA_RDD18_EXPORT std::uint16_t checksumWord(
    std::span<const std::uint16_t> didToLastUdw) noexcept;

/// How the words stand.
enum class WordLayout : std::uint8_t {
    Flagged,  ///< each packet behind 000 3FF 3FF (component) or 3FC (composite); other words
              ///< between packets are passed over
    Bare,     ///< packets back to back, each DID SDID DC UDW... checksum, no flag
};

/// The packets of `words` (bits above b9 are ignored). A packet with a bad parity or checksum is
/// dropped (`BadParity`, `BadChecksum`; kept under `options.keepDamaged`, with `Fault::kept`);
/// words that end inside a packet's header (`HeaderCutOff`) or its user data words and checksum
/// (`CountBeyondData`) are dropped. Every fault is reported in unit Word, at the index of the
/// packet's first word (its flag, or its DID in the Bare layout), line 0, with the DID and SDID
/// once they were read. Never reads outside `words`; never throws but for allocation failure.
VELMORA_RDD18_EXPORT std::vector<Packet> packetsFromWords10(std::span<const std::uint16_t> words,
                                                            WordLayout layout = WordLayout::Flagged,
                                                            const ConvertOptions& options = {},
                                                            FaultSink* faults = nullptr);

/// `packetsFromWords10` into `out`, which ends holding exactly the packets found (the same
/// packets and drops as the call above, on any input). Its elements and their word storage are
/// reused, so a host converting frame after frame into one list allocates nothing once the list
/// has grown to its frames' shape.
VELMORA_RDD18_EXPORT void packetsFromWords10(std::span<const std::uint16_t> words,
                                             std::vector<Packet>& out,
                                             WordLayout layout = WordLayout::Flagged,
                                             const ConvertOptions& options = {},
                                             FaultSink* faults = nullptr);

/// The words of `packets`, each behind 000 3FF 3FF, parity and checksum set. Packets of more
/// than `kMaxUserDataWords` words are left out and reported (`TooManyWords`, unit Packet, offset
/// = the packet's index).
VELMORA_RDD18_EXPORT std::vector<std::uint16_t> words10FromPackets(std::span<const Packet> packets,
                                                                   FaultSink* faults = nullptr);

}  // namespace rdd18::host
