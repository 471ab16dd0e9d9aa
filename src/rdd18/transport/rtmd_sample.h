// The samples of an MP4/MOV timed-metadata track whose sample entry is `rtmd`: one sample per
// video frame, a header whose length is the big-endian 16-bit value at offset 0 (0x1C as cameras
// write it), then RDD 18 packs back to back (key, 4-byte length field, local items: the stream an
// ANC carriage joins from its packets), then zero padding to the sample's size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/transport/fault.h"
#include "rdd18/transport/rdd18_stream_reader.h"

namespace rdd18 {

/// The timecode of a sample's header: hours, minutes, seconds, a drop-frame byte and frames at
/// bytes 0x0D-0x11, one binary number each.
struct RtmdTimecode {
    std::uint8_t hours = 0;
    std::uint8_t minutes = 0;
    std::uint8_t seconds = 0;
    std::uint8_t frames = 0;
    bool dropFrame = false;

    friend bool operator==(const RtmdTimecode&, const RtmdTimecode&) = default;
};

/// One sample, framed: views into the caller's bytes, nothing copied.
struct RtmdSample {
    std::span<const unsigned char> header;  ///< the header, its length field included
    std::span<const unsigned char> packs;   ///< the packs, up to the padding
    std::size_t padding = 0;                ///< zero bytes behind the packs
    std::optional<RtmdTimecode> timecode;   ///< the header's, where its bytes are a timecode
};

/// The header length cameras write.
inline constexpr std::size_t kRtmdHeaderSize = 0x1C;

/// Frames `sample`. The packs run from the end of the header to the first pack boundary behind
/// which only zero bytes stand; a pack that runs past the end of the sample keeps the rest of the
/// sample, so the item walk answers it as it answers a cut stream. The pack boundaries are found
/// as the walk finds them: 16 bytes that are no pack key are passed over as one step.
///
/// Bad input, reported to `faults` when given: a sample too short for its header length field
/// or the length it gives (`RtmdHeaderBeyondSample`) or a length below the field's own 2 bytes
/// (`RtmdHeaderTooShort`) give no packs; a pack cut off by the end of the sample
/// (`RtmdPackCutOff`); a sample of header and padding only (`RtmdNoPacks`). The timecode is given
/// only for a header of at least 0x12 bytes whose hours, minutes, seconds and frames lie below
/// 24, 60, 60 and 60 and whose drop-frame byte is 0 or 1. Never reads outside `sample`.
VELMORA_RDD18_EXPORT RtmdSample readRtmdSample(std::span<const unsigned char> sample,
                                               FaultSink* faults = nullptr);

/// The sample of `packs` (an RDD 18 stream, e.g. as `host::rdd18Stream` joins it from packets):
/// the 0x1C-byte header, whose timecode bytes are those of `timecode` (each 0xFF without one, so
/// that no reader takes them for a timecode) and whose other bytes are 0, then the packs, then
/// zero bytes up to a multiple of `unit` bytes (none for 0).
VELMORA_RDD18_EXPORT std::vector<unsigned char> writeRtmdSample(
    std::span<const unsigned char> packs, std::optional<RtmdTimecode> timecode,
    std::size_t unit = 0);

/// A sample's packs as the RDD 18 stream the item walk reads, read as the stream joined from ANC
/// packets that carry the same bytes: a read that comes up short delivers what there was and ends
/// the stream, but leaves `position()`, so a cut pack is answered as a cut packet stream is.
/// `resynchronize` does nothing: a sample has no packets whose rest could be given up.
class VELMORA_RDD18_EXPORT RtmdPackReader final : public virtual RDD18StreamReader {
  public:
    explicit RtmdPackReader(std::span<const unsigned char> packs) noexcept : packs_(packs) {}

    unsigned long read(unsigned char* buffer, unsigned long count) override;
    unsigned long position() override { return position_; }
    unsigned long skip(unsigned long count) override;
    bool isAtEnd() override { return offset_ >= packs_.size(); }
    void resynchronize() override {}

  private:
    std::span<const unsigned char> packs_;
    std::size_t offset_ = 0;      // the next byte to deliver
    unsigned long position_ = 0;  // what `position` reports
};

}  // namespace rdd18
