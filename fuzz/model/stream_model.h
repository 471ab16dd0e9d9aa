// The harness's own reading of a packet buffer, written from the wire format alone (nothing of the
// library is called): the packet walk, and the two packet streams with their numbering rules.
// The fuzz targets compare the library's answers with what these functions and the item and
// record models built on them say.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace rdd18::fuzz::model {

using ByteVec = std::vector<unsigned char>;

struct Packet {
    unsigned char did, sdid;
    std::span<const unsigned char> payload;
};

/// Packets back to back: [flag] DID SDID DC payload checksum. A 3-byte group that isn't one of
/// the two flags is passed over; a packet the buffer can't hold whole ends the walk.
inline std::vector<Packet> walk(std::span<const unsigned char> b, bool flags) {
    std::vector<Packet> out;
    std::size_t i = 0;
    const std::size_t minimum = flags ? 7 : 4;
    while (i < b.size() && b.size() - i >= minimum) {
        if (flags) {
            const bool standard = b[i] == 0x00 && b[i + 1] == 0xFF && b[i + 2] == 0xFF;
            const bool alternate = b[i] == 0x04 && b[i + 1] == 0xFB && b[i + 2] == 0xFB;
            i += 3;
            if (!standard && !alternate) continue;
        }
        const unsigned char did = b[i], sdid = b[i + 1], dc = b[i + 2];
        i += 3;
        if (b.size() - i < std::size_t{dc} + 1) break;
        out.push_back({did, sdid, b.subspan(i, dc)});
        i += dc + 1u;
    }
    return out;
}

/// The joined stream bytes of one packet kind, and where each packet's stream bytes end (what
/// giving up "the rest of the packet" jumps to).
struct Stream {
    ByteVec bytes;
    std::vector<std::size_t> packetEnds;

    /// The end of the packet that holds the byte before `pos` (or `pos` itself at a boundary).
    std::size_t restOfPacket(std::size_t pos) const {
        const auto it = std::lower_bound(packetEnds.begin(), packetEnds.end(), pos);
        return it == packetEnds.end() ? pos : *it;
    }
};

/// RDD 18: DID 0x43, SDID 0x05, a payload of at least the 1-byte number; numbered 1, 2, ... 255
/// with no gap; the first number out of step ends the stream.
inline Stream rdd18Stream(const std::vector<Packet>& packets) {
    Stream s;
    unsigned last = 0;
    for (const Packet& p : packets) {
        if (p.did != 0x43 || p.sdid != 0x05 || p.payload.empty()) continue;
        if (p.payload[0] != last + 1) break;
        last = p.payload[0];
        s.bytes.insert(s.bytes.end(), p.payload.begin() + 1, p.payload.end());
        s.packetEnds.push_back(s.bytes.size());
    }
    return s;
}

/// ARRI: DID 0x44, SDID 0x04, a payload of at least the 3-byte header (stream id, little-endian
/// number); a new stream id starts the numbering again at 1.
inline Stream arriStream(const std::vector<Packet>& packets) {
    Stream s;
    unsigned last = 0;
    int streamId = 0;
    for (const Packet& p : packets) {
        if (p.did != 0x44 || p.sdid != 0x04 || p.payload.size() < 3) continue;
        if (p.payload[0] != streamId) {
            streamId = p.payload[0];
            last = 0;
        }
        const unsigned number = p.payload[1] + 256u * p.payload[2];
        if (number != last + 1) break;
        last = number;
        s.bytes.insert(s.bytes.end(), p.payload.begin() + 3, p.payload.end());
        s.packetEnds.push_back(s.bytes.size());
    }
    return s;
}

inline std::uint32_t bigEndian(const unsigned char* p, int n) {
    std::uint32_t v = 0;
    for (int i = 0; i < n; ++i) v = (v << 8) | p[i];
    return v;
}

inline std::uint32_t littleEndian(const unsigned char* p, int n) {
    std::uint32_t v = 0;
    for (int i = n - 1; i >= 0; --i) v = (v << 8) | p[i];
    return v;
}

/// Latin-1 bytes as UTF-8 text.
inline std::string latin1(const unsigned char* p, std::size_t n) {
    std::string out;
    for (std::size_t i = 0; i < n; ++i) {
        if (p[i] < 0x80) {
            out += static_cast<char>(p[i]);
        } else {
            out += static_cast<char>(0xC0 | (p[i] >> 6));
            out += static_cast<char>(0x80 | (p[i] & 0x3F));
        }
    }
    return out;
}

}  // namespace rdd18::fuzz::model
