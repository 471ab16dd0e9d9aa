#include "rdd18/host/packet.h"

#include <cstring>

#include "rdd18/host/word_scan.h"
#include "rdd18/transport/parse_observer.h"

namespace rdd18::host {

namespace {

constexpr unsigned char kFlag[3] = {0x00, 0xFF, 0xFF};
constexpr std::size_t kMaxWords = 255;

void reportTooMany(ParseObserver* observer, const Packet& p, std::size_t index) {
    if (observer)
        observer->hostInputDropped({DropReason::TooManyWords, index, p.line, p.did, p.sdid, false});
}

}  // namespace

std::string_view describe(DropReason reason) noexcept {
    switch (reason) {
        case DropReason::BadParity:
            return "bad parity";
        case DropReason::BadChecksum:
            return "bad checksum";
        case DropReason::Truncated:
            return "data ends inside a packet header";
        case DropReason::CountBeyondData:
            return "count beyond the data";
        case DropReason::ShortLine:
            return "line shorter than its width";
        case DropReason::LengthMismatch:
            return "Length disagrees with the payload size";
        case DropReason::TooManyWords:
            return "more than 255 user data words";
    }
    return "unknown";
}

std::uint8_t checksum8(const Packet& packet) noexcept {
    return static_cast<std::uint8_t>(packet.did + packet.sdid + packet.udw.size() +
                                     detail::sumBytes(packet.udw.data(), packet.udw.size()));
}

namespace {

/// Bytes the buffer of `packets` takes.
std::size_t bufferBytes(std::span<const Packet> packets) noexcept {
    std::size_t total = 0;
    for (const Packet& p : packets)
        if (p.udw.size() <= kMaxWords) total += 7 + p.udw.size();
    return total;
}

/// Writes the buffer of `packets` at `at` (`bufferBytes` of room).
void writeBuffer(std::span<const Packet> packets, unsigned char* at, ParseObserver* observer) {
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const Packet& p = packets[i];
        const std::size_t count = p.udw.size();
        if (count > kMaxWords) {
            reportTooMany(observer, p, i);
            continue;
        }
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
                           ParseObserver* observer) {
    const std::size_t start = out.size();
    out.resize(start + bufferBytes(packets));
    writeBuffer(packets, out.data() + start, observer);
}

void ancillaryBufferFromPackets(std::span<const Packet> packets, std::vector<unsigned char>& out,
                                ParseObserver* observer) {
    // Resizing to the size the last frame had writes nothing; the bytes are all overwritten.
    out.resize(bufferBytes(packets));
    writeBuffer(packets, out.data(), observer);
}

std::vector<unsigned char> ancillaryBufferFromPackets(std::span<const Packet> packets,
                                                      ParseObserver* observer) {
    std::vector<unsigned char> out;
    appendAncillaryBuffer(packets, out, observer);
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

PacketListReader::PacketListReader(std::span<const Packet> packets,
                                   ParseObserver* observer) noexcept
    : packets_(packets), observer_(observer) {}

bool PacketListReader::hasNextPacket() {
    return next_ < packets_.size();
}

std::optional<utils::AncillaryPacket> PacketListReader::readNextPacket() {
    if (next_ >= packets_.size()) return std::nullopt;
    const std::size_t index = next_++;
    const Packet& p = packets_[index];
    if (p.udw.size() > kMaxWords) {
        reportTooMany(observer_, p, index);
        return std::nullopt;
    }
    return utils::AncillaryPacket{p.did, p.sdid, static_cast<std::uint8_t>(p.udw.size()),
                                  p.udw.data(), checksum8(p)};
}

}  // namespace rdd18::host
