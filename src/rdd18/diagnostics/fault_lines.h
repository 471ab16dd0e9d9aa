// The faults of one parse as lines of text: an observer that the facades pass to their own
// parsing code when a caller asks for the faults of a parse.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/parse_observer.h"

namespace rdd18 {

/// Collects one line per fault, in the order met, with numbers: buffer offsets, stream positions,
/// tags, lengths, expected and found sequence numbers. A run of bad flags is one line, and
/// allocations grow with the lines, not with the bytes. `stream` names the stream in the lines.
class VELMORA_RDD18_EXPORT FaultLines final : public ParseObserver {
  public:
    /// `buffer`: the first byte of the caller's buffer; `did`, `sdid`: the stream's packets.
    FaultLines(const unsigned char* buffer, const char* stream, std::uint8_t did,
               std::uint8_t sdid) noexcept
        : buffer_(buffer), stream_(stream), did_(did), sdid_(sdid) {}

    /// The lines so far, the closing ones included once `close` has run.
    std::vector<std::string> take();

    /// True once a fault that empties the answer was met.
    bool failed() const noexcept { return failed_; }
    /// Appends `line` as it stands.
    void add(std::string line);
    /// Appends `line` when a packet of the stream was found so far; without one, `close` says so
    /// instead.
    void addIfStreamFound(std::string line) {
        if (streamPackets_ != 0) add(std::move(line));
    }
    /// Adds the closing line: no packet of the stream in the buffer (`flags`: how it was read),
    /// or else `lostAll` when the parse failed and the answer lost everything.
    void close(bool flags, const char* lostAll);

    void flagMismatch(unsigned long offset) override;
    void shortTail(unsigned long offset, unsigned long remaining) override;
    void packetOverrun(unsigned long offset, unsigned dataCount, unsigned long remaining) override;
    void sequenceBroken(const utils::AncillaryPacket& packet, std::uint32_t expected,
                        std::uint32_t found) override;
    void keyRejected(unsigned long position, const unsigned char* key) override;
    void truncated(TruncatedField field, unsigned long position) override;
    void payloadRejected(std::pair<unsigned char, unsigned char> itemTag, unsigned long length,
                         unsigned long position, std::string_view reason) override;
    void payloadZeroFilled(std::pair<unsigned char, unsigned char> itemTag, unsigned long length,
                           unsigned long position) override;
    void badLengthMarker(unsigned long position, unsigned char marker) override;
    void valueIncomplete(unsigned long position, unsigned long length,
                         unsigned long delivered) override;

    /// A packet source that passes on the packets of `source` and counts them for `close`. Only
    /// a parse with faults puts it between the walk and the stream; a plain parse pays nothing.
    class CountingSource final : public AncillaryDataReader {
      public:
        CountingSource(AncillaryDataReader& source, FaultLines& faults) noexcept
            : source_(source), faults_(faults) {}
        std::optional<utils::AncillaryPacket> readNextPacket() override {
            std::optional<utils::AncillaryPacket> packet = source_.readNextPacket();
            if (packet) {
                ++faults_.packets_;
                faults_.streamPackets_ +=
                    packet->did == faults_.did_ && packet->sdid == faults_.sdid_;
            }
            return packet;
        }
        bool hasNextPacket() override { return source_.hasNextPacket(); }

      private:
        AncillaryDataReader& source_;
        FaultLines& faults_;
    };

  private:
    void flushFlagRun();

    const unsigned char* buffer_;
    const char* stream_;
    std::uint8_t did_;
    std::uint8_t sdid_;
    std::vector<std::string> lines_;
    bool failed_ = false;
    unsigned long packets_ = 0;        // every packet found
    unsigned long streamPackets_ = 0;  // of them, those with the stream's DID and SDID
    unsigned long flagRunStart_ = 0;   // the bad-flag run not yet written, when end > start
    unsigned long flagRunEnd_ = 0;
};

}  // namespace rdd18

namespace rdd18 {

/// A facade's answer together with the faults of the same parse, one line each (see
/// `FaultLines`). An empty `faults` means nothing was dropped: an empty answer then means the
/// frame holds no such metadata, not that its metadata was broken.
struct ParseResult {
    Dictionary answer;
    std::vector<std::string> faults;
};

}  // namespace rdd18
