// The one scan that finds ST 291 packets in a run of words, shared by the 10-bit word, v210 and
// UYVY converters. Private to the library.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "rdd18/host/packet.h"
#include "rdd18/host/words10.h"

namespace rdd18::host::detail {

/// Every 8-bit value with its parity bits, so that a word is checked with one load.
inline constexpr auto kParityWords = [] {
    std::array<std::uint16_t, 256> words{};
    for (unsigned v = 0; v < 256; ++v) words[v] = withParity(static_cast<std::uint8_t>(v));
    return words;
}();

/// Where a run of words sits, for the packets found and the drops reported.
struct WordRun {
    bool tenBit = true;          ///< 10-bit words (parity, 9-bit checksum); else 8-bit (no parity,
                                 ///< 8-bit checksum, flags 00 FF FF and FC)
    bool flagged = true;         ///< packets stand behind a flag (000 3FF 3FF or 3FC) with anything
                                 ///< between them; else back to back, each starting with its DID
    std::uint16_t line = 0;      ///< given to the packets found
    std::uint16_t dropLine = 0;  ///< given to the drops reported
    std::size_t offsetBase = 0;  ///< added to word indexes in drop reports
};

/// Appends to `out` the packets of `words` (only the low 10 or 8 bits of each word count),
/// checking parity and checksum; reports every drop to `observer`.
void scanWords(std::span<const std::uint16_t> words, const WordRun& run,
               const ConvertOptions& options, ParseObserver* observer, std::vector<Packet>& out);

/// Appends the words of `packet` behind a component flag (000 3FF 3FF), parity and checksum
/// set (10-bit) or 8-bit values and 8-bit checksum. The packet must hold at most 255 words.
void appendPacketWords(const Packet& packet, bool tenBit, std::vector<std::uint16_t>& out);

/// Words `packet` takes behind a component flag: 3 + 3 + its words + 1.
inline std::size_t packetWordCount(const Packet& packet) noexcept {
    return 7 + packet.udw.size();
}

}  // namespace rdd18::host::detail
