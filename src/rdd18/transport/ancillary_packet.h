// One ancillary packet of a frame buffer, and the sources that find packets in a buffer.
//
// Buffer layout (ST 291 reduced to 8-bit bytes), packets back to back:
//   [flag: 00 FF FF or 04 FB FB, only when the buffer carries flags] DID SDID DC payload[DC]
//   checksum
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rdd18/export.h"

namespace rdd18 {

class FaultSink;

/// Whether each packet of a buffer is preceded by the 3-byte ancillary data flag. Only the value 1
/// means "with flags"; every other value reads the buffer as having none.
enum AncillaryDataBufferContainsFlags : unsigned char {
    AncillaryDataBufferWithoutFlags = 0,
    AncillaryDataBufferWithFlags = 1,
};

namespace utils {

/// A packet as found in the caller's buffer. It borrows `payload`; the buffer must outlive it.
/// A zeroed packet (size 0, null payload) stands for "no packet yet".
struct AncillaryPacket {
    std::uint8_t did = 0;
    std::uint8_t sdid = 0;
    std::uint8_t size = 0;  ///< the DC byte: number of payload bytes
    const unsigned char* payload = nullptr;
    std::uint8_t checksum = 0;  ///< the byte behind the payload, stored unchanged, never checked

    unsigned long payloadSize() const noexcept { return size; }
};

}  // namespace utils

/// An abstract source of packets.
class VELMORA_RDD18_EXPORT AncillaryDataReader {
  public:
    /// The next packet, or nothing when this call found none (the walk may still go on while
    /// `hasNextPacket()` is true).
    virtual std::optional<utils::AncillaryPacket> readNextPacket() = 0;
    /// True while there are unread bytes.
    virtual bool hasNextPacket() = 0;

  protected:
    virtual ~AncillaryDataReader() = default;
};

/// Walks a memory buffer of packets. It borrows the buffer, which must outlive the reader and every
/// packet taken from it. The walk allocates nothing and never reads outside [data, data + size).
///
/// Bad input: bytes that don't fit a packet are skipped as the wire rules say. A flag that matches
/// neither pattern costs 3 bytes and the walk goes on 3 bytes further; fewer bytes left than a
/// minimal packet, or a DC that runs past the end, end the walk.
class VELMORA_RDD18_EXPORT AncillaryDataBufferReader final : public virtual AncillaryDataReader {
  public:
    /// `faults`, when given, hears of every byte range the walk drops (see fault.h).
    AncillaryDataBufferReader(const unsigned char* data, std::size_t size,
                              AncillaryDataBufferContainsFlags flags,
                              FaultSink* faults = nullptr) noexcept;

    std::optional<utils::AncillaryPacket> readNextPacket() override {
        utils::AncillaryPacket packet;
        if (nextPacket(packet)) return packet;
        return std::nullopt;
    }
    bool hasNextPacket() override { return cursor_ < start_ + size_; }

    /// `readNextPacket` into `packet`: true when this call found a packet. Defined here, so that
    /// a stream reader that walks the buffer itself does so without a call per packet.
    bool nextPacket(utils::AncillaryPacket& packet) {
        if (!hasNextPacket()) return false;
        const unsigned long minimum =
            (withFlags() ? kFlagSize : 0) + kHeaderSize + kChecksumSize;  // a packet with DC 0
        if (remainingBufferSize() < minimum) {
            endAtShortTail();
            return false;
        }
        if (withFlags()) {
            // Resynchronisation is by whole flag widths: a bad flag costs exactly 3 bytes.
            const bool matched = isAncillaryDataFlag(cursor_);
            cursor_ += kFlagSize;
            if (!matched) {
                if (faults_) reportFlagMismatch();
                return false;
            }
        }
        packet.did = cursor_[0];
        packet.sdid = cursor_[1];
        packet.size = cursor_[2];
        cursor_ += kHeaderSize;
        if (remainingBufferSize() < packet.payloadSize() + kChecksumSize) {
            endAtOverrun(packet.size);  // a packet cut off by the end of the buffer loses the tail
            return false;
        }
        packet.payload = cursor_;
        packet.checksum = cursor_[packet.size];
        cursor_ += packet.payloadSize() + kChecksumSize;
        return true;
    }

    /// Buffer offset of the DID byte of `packet`, a packet this reader found (the DID, SDID and DC
    /// bytes stand right in front of the payload).
    unsigned long offsetOf(const utils::AncillaryPacket& packet) const noexcept {
        return static_cast<unsigned long>(packet.payload - start_) - kHeaderSize;
    }

    /// True when the buffer is read as carrying the 3-byte flag ahead of each packet.
    bool withFlags() const noexcept { return flags_ == AncillaryDataBufferWithFlags; }

    /// Bytes between the cursor and the end of the buffer.
    unsigned long remainingBufferSize() const noexcept {
        return static_cast<unsigned long>(start_ + size_ - cursor_);
    }

  private:
    static constexpr unsigned long kFlagSize = 3;
    static constexpr unsigned long kHeaderSize = 3;  // DID, SDID, DC
    static constexpr unsigned long kChecksumSize = 1;

    static bool isAncillaryDataFlag(const unsigned char* p) noexcept {
        return (p[0] == 0x00 && p[1] == 0xFF && p[2] == 0xFF) ||
               (p[0] == 0x04 && p[1] == 0xFB && p[2] == 0xFB);
    }

    // The rare ends of the walk, out of line: each tells the fault sink (when there is one).
    void endAtShortTail();
    void reportFlagMismatch();
    void endAtOverrun(std::uint8_t dataCount);

    unsigned long offset() const noexcept {  // of the cursor, for the faults
        return static_cast<unsigned long>(cursor_ - start_);
    }

    std::uint64_t size_;
    const unsigned char* cursor_;
    const unsigned char* start_;
    AncillaryDataBufferContainsFlags flags_;
    FaultSink* faults_;
};

/// All packets of a buffer, in buffer order, walked as `AncillaryDataBufferReader` walks them.
/// The packets point into `data`. Never throws but for allocation failure.
VELMORA_RDD18_EXPORT std::vector<utils::AncillaryPacket> packetsFromData(
    const unsigned char* data, std::size_t size, AncillaryDataBufferContainsFlags flags);

/// The 8-bit checksum of a packet: (DID + SDID + DC + every payload byte) mod 256, DC being the
/// number of bytes `payload` holds (at most 255).
VELMORA_RDD18_EXPORT std::uint8_t checksum8(std::uint8_t did, std::uint8_t sdid,
                                            std::span<const unsigned char> payload) noexcept;

/// Appends one packet to `out` as the walk above reads it: with `flags`, the flag 00 FF FF; then
/// DID, SDID, DC, the payload and its `checksum8`. `payload` holds at most 255 bytes (its size
/// is the DC).
VELMORA_RDD18_EXPORT void appendAncillaryPacket(std::vector<unsigned char>& out, std::uint8_t did,
                                                std::uint8_t sdid,
                                                std::span<const unsigned char> payload,
                                                AncillaryDataBufferContainsFlags flags);

}  // namespace rdd18
