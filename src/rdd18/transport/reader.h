// Byte streams: the abstract reader, a reader over a memory block, and the reader that joins the
// payloads of packets of one kind into a stream.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "rdd18/export.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/fault.h"

namespace rdd18::utils {

/// An abstract byte stream.
class VELMORA_RDD18_EXPORT Reader {
  public:
    /// Copies up to `count` bytes to `buffer`; returns how many it delivered. Fewer than `count`
    /// means the stream has run out.
    virtual unsigned long read(unsigned char* buffer, unsigned long count) = 0;
    /// Stream bytes consumed so far. Only differences of it have meaning.
    virtual unsigned long position() = 0;
    /// Passes over up to `count` bytes; returns how many it passed.
    virtual unsigned long skip(unsigned long count) = 0;
    /// True when no further byte can be delivered. May fetch the next packet of a packet stream.
    virtual bool isAtEnd() = 0;

  protected:
    virtual ~Reader() = default;
};

/// The four stream operations over a memory block that the reader borrows. Reads never go past
/// `data + size`.
template <class T>
class BufferReader : public virtual T {
  public:
    BufferReader(const unsigned char* data, std::size_t size) noexcept
        : data_(data), size_(data ? size : 0) {}

    unsigned long read(unsigned char* buffer, unsigned long count) override {
        const unsigned long n = available(count);
        if (n) std::memcpy(buffer, data_ + position_, n);
        position_ += n;
        return n;
    }
    // Where unsigned long has 32 bits (Windows), the position of a buffer beyond 4 GiB wraps; the
    // reads stay inside the buffer, which is counted in 64 bits.
    unsigned long position() override { return static_cast<unsigned long>(position_); }
    unsigned long skip(unsigned long count) override {
        const unsigned long n = available(count);
        position_ += n;
        return n;
    }
    bool isAtEnd() override { return position_ >= size_; }

  protected:
    ~BufferReader() = default;

  private:
    unsigned long available(unsigned long count) const noexcept {
        return static_cast<unsigned long>(std::min<std::uint64_t>(size_ - position_, count));
    }

    const unsigned char* data_;
    std::uint64_t size_;
    std::uint64_t position_ = 0;
};

/// Joins the packets of one kind into a byte stream. A derived class says which packets belong
/// (`doesAcceptPacket`) and where the stream bytes of a packet start (`readHeaderOfPacket`); the
/// position, skipping, joining and end detection are the same for every kind of stream.
///
/// The stream has two states. It starts valid; `invalidateStream` (called by a derived class that
/// finds the packet sequence broken) ends it for good: no further packet is fetched, `isAtEnd` is
/// true, and `read` delivers only what is left of the current packet.
///
/// `did` and `sdid` name the stream's packets, for its faults: a broken numbering, and a source
/// that ran out without one packet of the stream.
///
/// Nothing here allocates; the only copy of stream bytes is into the caller's destination.
template <class T>
class AncillaryPackagedDataStreamReader : public virtual T {
  public:
    AncillaryPackagedDataStreamReader(AncillaryDataReader& source, std::uint8_t did,
                                      std::uint8_t sdid) noexcept
        : source_(source), did_(did), sdid_(sdid) {}
    /// Over a buffer of packets, which the stream then walks itself, without a call per packet.
    AncillaryPackagedDataStreamReader(AncillaryDataBufferReader& source, std::uint8_t did,
                                      std::uint8_t sdid) noexcept
        : source_(source), buffer_(&source), did_(did), sdid_(sdid) {}

    /// Copies up to `count` bytes, moving on through accepted packets as needed. A read that comes
    /// up short delivers what there was and moves the packet offset, but leaves `position()`.
    unsigned long read(unsigned char* buffer, unsigned long count) override {
        // Most reads (item headers, values) lie inside the current packet.
        if (count != 0 && count <= bytesLeftInPacket()) {
            std::memcpy(buffer, currentPacket_.payload + packetOffset_, count);
            packetOffset_ += count;
            streamPosition_ += count;
            return count;
        }
        return readAcrossPackets(buffer, count);
    }

    unsigned long position() override { return static_cast<unsigned long>(streamPosition_); }

    /// Passes over up to `count` bytes without touching them; `position()` grows by what was
    /// really passed, which is also the result.
    unsigned long skip(unsigned long count) override {
        unsigned long total = 0;
        while (total < count) {
            const unsigned long n = std::min(bytesLeftInPacket(), count - total);
            packetOffset_ += n;
            total += n;
            if (total < count && !readNextMatchingPacket()) break;
        }
        streamPosition_ += total;
        return total;
    }

    bool isAtEnd() override {
        if (!valid_) return true;
        if (packetOffset_ < currentPacket_.payloadSize()) return false;
        return !readNextMatchingPacket();
    }

    /// Passes over the rest of the current packet's stream bytes, and never beyond it. Does
    /// nothing before the first packet has been fetched.
    virtual void discardRestOfPacket() {
        if (packetOffset_ > 0) this->skip(bytesLeftInPacket());
    }

    /// True when the packet belongs to this stream. Must not change the stream.
    virtual bool doesAcceptPacket(const AncillaryPacket& packet) = 0;

    /// Interprets the header of an accepted packet: the payload offset of its first stream byte,
    /// or a negative number when the packet contributes nothing.
    virtual std::int64_t readHeaderOfPacket(const AncillaryPacket& packet) = 0;

    /// Copies up to `count` bytes from the current packet, fetching the next accepted packet first
    /// when the current one is used up. Returns 0 when there is nothing more.
    unsigned long readFromCurrentPacket(unsigned char* buffer, unsigned long count) {
        if (packetOffset_ >= currentPacket_.payloadSize() && !readNextMatchingPacket()) return 0;
        const unsigned long n = std::min(bytesLeftInPacket(), count);
        prefetchNextPacket(currentPacket_.payload);
        std::memcpy(buffer, currentPacket_.payload + packetOffset_, n);
        packetOffset_ += n;
        return n;
    }

    /// Moves on to the next accepted packet that holds stream bytes. A packet whose header is
    /// accepted but that holds no stream bytes is taken up on the way.
    bool readNextMatchingPacket() {
        if (buffer_) {
            AncillaryPacket packet;
            while (valid_ && buffer_->hasNextPacket()) {
                if (buffer_->nextPacket(packet) && takePacket(packet)) return true;
            }
        } else {
            while (valid_ && source_.hasNextPacket()) {
                const std::optional<AncillaryPacket> packet = source_.readNextPacket();
                if (packet && takePacket(*packet)) return true;
            }
        }
        if (faults_ && streamPackets_ == 0) reportNoStreamPackets();
        return false;
    }

    /// Ends the stream for good; called by a derived class from `readHeaderOfPacket`.
    void invalidateStream() noexcept { valid_ = false; }

    /// Opt-in: `faults` hears of a broken packet numbering, and of a source that ran out without a
    /// packet of the stream (see fault.h).
    void setFaultSink(FaultSink* faults) noexcept { faults_ = faults; }

  protected:
    ~AncillaryPackagedDataStreamReader() = default;

    /// The numbering rule of every packet stream, for `readHeaderOfPacket`: `found` must be
    /// `last` + 1, the sum formed in 32 bits, so the numbering never wraps (after the largest
    /// number `N` can hold, no packet can follow). True and `last` updated when it is; otherwise
    /// the observer hears of the break and the stream ends for good, `last` unchanged.
    template <class N>
    bool continuesSequence(const AncillaryPacket& packet, N& last, N found) {
        const std::uint32_t expected = std::uint32_t{last} + 1;
        if (std::uint32_t{found} != expected) {
            if (faults_) {
                // A copy: the packet of the walk itself never has its address taken, so it can
                // live in registers (a packet in memory, stored byte by byte and compared in wider
                // loads, stalls every packet).
                const AncillaryPacket broken = packet;
                reportSequenceBroken(broken, expected, found);
            }
            invalidateStream();
            return false;
        }
        last = found;
        return true;
    }

  private:
    /// `read` of bytes that cross into later packets, or of none. Kept out of `read`, so that
    /// the short path of `read` stays small enough to be inlined into its callers.
    VELMORA_RDD18_NOINLINE unsigned long readAcrossPackets(unsigned char* buffer,
                                                           unsigned long count) {
        unsigned long total = 0;
        while (total < count) {
            const unsigned long n = readFromCurrentPacket(buffer + total, count - total);
            if (n == 0) return total;
            total += n;
        }
        streamPosition_ += total;
        return total;
    }

    /// Asks for the two cache lines 256 bytes past `payload`: where the next packet's header
    /// lies when packets are full. The walk to it after the copy would otherwise wait for its
    /// line from the next cache level, every packet. A hint only: it never faults, whatever the
    /// address, and does nothing where the compiler has no prefetch.
    static void prefetchNextPacket(const unsigned char* payload) noexcept {
#if defined(__GNUC__) || defined(__clang__)
        const std::uintptr_t next = reinterpret_cast<std::uintptr_t>(payload) + 256;
        VELMORA_RDD18_PREFETCH(reinterpret_cast<const void*>(next));
        VELMORA_RDD18_PREFETCH(reinterpret_cast<const void*>(next + 64));
#else
        (void)payload;
#endif
    }

    VELMORA_RDD18_NOINLINE void reportSequenceBroken(const AncillaryPacket& packet,
                                                     std::uint32_t expected, std::uint32_t found) {
        Fault fault{.code = FaultCode::SequenceBroken,
                    .did = did_,
                    .sdid = sdid_,
                    .expected = expected,
                    .found = found};
        if (buffer_) {
            fault.offset = buffer_->offsetOf(packet);
        } else {
            fault.unit = FaultUnit::Packet;
            fault.offset = packets_ - 1;  // the packet just counted
        }
        faults_->report(fault);
    }

    /// Counts a packet met, for the fault of a source without a packet of the stream. Only a
    /// stream that reports its faults counts.
    void countPacket(const AncillaryPacket& packet) noexcept {
        ++packets_;
        streamPackets_ += packet.did == did_ && packet.sdid == sdid_;
    }

    VELMORA_RDD18_NOINLINE void reportNoStreamPackets() {
        if (noStreamReported_) return;  // the end of the source may be asked for again
        noStreamReported_ = true;
        faults_->report({.code = FaultCode::NoStreamPackets,
                         .did = did_,
                         .sdid = sdid_,
                         .withoutFlags = buffer_ && !buffer_->withFlags(),
                         .found = packets_});
    }

    /// Makes `packet` the current packet when the stream accepts it and it holds stream bytes.
    bool takePacket(const AncillaryPacket& packet) {
        if (faults_) countPacket(packet);
        if (!doesAcceptPacket(packet)) return false;
        const std::int64_t offset = readHeaderOfPacket(packet);
        if (offset < 0) return false;
        // Field by field: a packet walk that has just stored the packet field by field would
        // make one wide load of it wait for those stores to drain, on every packet.
        currentPacket_.did = packet.did;
        currentPacket_.sdid = packet.sdid;
        currentPacket_.size = packet.size;
        currentPacket_.payload = packet.payload;
        currentPacket_.checksum = packet.checksum;
        packetOffset_ = static_cast<std::uint64_t>(offset);
        return currentPacket_.payloadSize() > packetOffset_;
    }

    unsigned long bytesLeftInPacket() const noexcept {
        const std::uint64_t size = currentPacket_.payloadSize();
        return packetOffset_ < size ? static_cast<unsigned long>(size - packetOffset_) : 0;
    }

    AncillaryDataReader& source_;
    AncillaryDataBufferReader* buffer_ = nullptr;  // the same source, when it is a buffer
    AncillaryPacket currentPacket_{};
    std::uint64_t streamPosition_ = 0;
    std::uint64_t packetOffset_ = 0;
    std::uint64_t packets_ = 0;        // packets met so far
    std::uint64_t streamPackets_ = 0;  // of them, those with the stream's DID and SDID
    std::uint8_t did_;
    std::uint8_t sdid_;
    bool valid_ = true;
    bool noStreamReported_ = false;
    FaultSink* faults_ = nullptr;
};

}  // namespace rdd18::utils
