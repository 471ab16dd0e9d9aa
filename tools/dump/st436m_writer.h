// Writing ST 436M ANC data elements from a frame's packet buffer: what MXF writers store per frame.
// Used to make clips with a known ANC track and to check the reader against its own writer.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace rdd18::dump {

/// How the packets' samples are stored in the element.
enum class ElementCoding {
    EightBit,              ///< coding 4: DID SDID DC UDW, no checksum byte
    EightBitWithChecksum,  ///< coding 4: DID SDID DC UDW and the 8-bit checksum
    TenBit,                ///< coding 7: 10-bit words with parity bits and the 9-bit checksum
};

/// The element holding every packet of `frame` (a buffer with the 3-byte flags), each on `line`
/// with wrapping type 1 (VANC frame), its payload padded with zeros to a multiple of 4 bytes.
std::vector<unsigned char> st436mElement(std::span<const unsigned char> frame, ElementCoding coding,
                                         std::uint16_t line = 9);

}  // namespace rdd18::dump
