#include "rdd18/host/packet.h"

#include <cstring>

#include "rdd18/host/internal_word_scan.h"
#include "rdd18/transport/rdd18_stream_reader.h"

namespace rdd18::host {

namespace {

constexpr unsigned char kFlag[3] = {0x00, 0xFF, 0xFF};

}  // namespace

std::uint8_t checksum8(const Packet& packet) noexcept {
    return checksum8(packet.did, packet.sdid, packet.udw);
}

namespace detail {

void reportListFault(FaultSink* faults, FaultCode code, const Packet& packet, std::size_t index,
                     std::uint64_t found) {
    if (!faults) return;
    Fault f = packetFault(code, index, packet.line, packet.did, packet.sdid);
    f.found = found;
    faults->report(f);
}

}  // namespace detail

namespace {

/// Bytes the buffer of `packets` takes.
std::size_t bufferBytes(std::span<const Packet> packets) noexcept {
    std::size_t total = 0;
    for (const Packet& p : packets)
        if (detail::hasDataCount(p)) total += 7 + p.udw.size();
    return total;
}

/// Writes the buffer of `packets` at `at` (`bufferBytes` of room).
void writeBuffer(std::span<const Packet> packets, unsigned char* at, FaultSink* faults) {
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const Packet& p = packets[i];
        if (detail::tooManyWords(p, i, faults)) continue;
        const std::size_t count = p.udw.size();
        std::memcpy(at, kFlag, 3);
        at[3] = p.did;
        at[4] = p.sdid;
        at[5] = static_cast<unsigned char>(count);
        if (count) std::memcpy(at + 6, p.udw.data(), count);
        at[6 + count] = checksum8(p);
        at += 7 + count;
    }
}

}  // namespace

void appendAncillaryBuffer(std::span<const Packet> packets, std::vector<unsigned char>& out,
                           FaultSink* faults) {
    const std::size_t start = out.size();
    out.resize(start + bufferBytes(packets));
    writeBuffer(packets, out.data() + start, faults);
}

void ancillaryBufferFromPackets(std::span<const Packet> packets, std::vector<unsigned char>& out,
                                FaultSink* faults) {
    // Resizing to the size the last frame had writes nothing; the bytes are all overwritten.
    out.resize(bufferBytes(packets));
    writeBuffer(packets, out.data(), faults);
}

std::vector<unsigned char> ancillaryBufferFromPackets(std::span<const Packet> packets,
                                                      FaultSink* faults) {
    std::vector<unsigned char> out;
    appendAncillaryBuffer(packets, out, faults);
    return out;
}

std::vector<Packet> packetsFromAncillaryBuffer(std::span<const unsigned char> bytes, bool flags) {
    std::vector<Packet> packets;
    for (const auto& p :
         packetsFromData(bytes.data(), bytes.size(),
                         flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags)) {
        packets.push_back({p.did, p.sdid, 0, 0, {p.payload, p.payload + p.size}});
    }
    return packets;
}

PacketListReader::PacketListReader(std::span<const Packet> packets, FaultSink* faults) noexcept
    : packets_(packets), faults_(faults) {}

bool PacketListReader::hasNextPacket() {
    return next_ < packets_.size();
}

std::optional<utils::AncillaryPacket> PacketListReader::readNextPacket() {
    if (next_ >= packets_.size()) return std::nullopt;
    const std::size_t index = next_++;
    const Packet& p = packets_[index];
    if (detail::tooManyWords(p, index, faults_)) return std::nullopt;
    return utils::AncillaryPacket{p.did, p.sdid, static_cast<std::uint8_t>(p.udw.size()),
                                  p.udw.data(), checksum8(p)};
}

std::vector<unsigned char> rdd18Stream(std::span<const Packet> packets) {
    std::vector<unsigned char> stream;
    for (const Packet& p : packets) {
        if (p.did == RDD18AncillaryDataStreamReader::kDid &&
            p.sdid == RDD18AncillaryDataStreamReader::kSdid && !p.udw.empty())
            stream.insert(stream.end(), p.udw.begin() + 1, p.udw.end());
    }
    return stream;
}

}  // namespace rdd18::host
