// Whole VANC lines as video: v210 (10-bit, 6 pixels in 16 bytes) and UYVY (8-bit, 2 pixels in
// 4 bytes). On HD lines (from 1280 pixels up, unless told otherwise) packets sit in the luma
// samples of the line and continue in its chroma samples; on SD lines luma and chroma are one
// multiplexed run of samples (Cb Y Cr Y ...). 10-bit lines carry parity and the 9-bit checksum;
// 8-bit lines carry the 8-bit values, the 8-bit checksum, and the flags 00 FF FF and FC.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/host/packet.h"

namespace rdd18::host {

enum class VancFormat : std::uint8_t { V210, Uyvy };

enum class VancPlacement : std::uint8_t {
    Auto,  ///< HD from 1280 pixels up, else SD
    Hd,    ///< luma samples first, then chroma samples
    Sd,    ///< the samples in line order
};

/// How the caller's lines are laid out: `lines` hold one line after another, each `stride` bytes
/// apart (0: the format's usual stride, see `vancStride`).
struct VancLayout {
    VancFormat format = VancFormat::V210;
    std::uint32_t width = 1920;  ///< pixels per line
    VancPlacement placement = VancPlacement::Auto;
    std::size_t stride = 0;
    std::uint16_t firstLine = 0;  ///< number of the first line (packets get it + line index);
                                  ///< 0: unknown, packets get line 0
};

/// Bytes that hold `width` pixels: v210 16 bytes per started group of 6, UYVY 2 per pixel.
VELMORA_RDD18_EXPORT std::size_t vancLineBytes(VancFormat format, std::uint32_t width) noexcept;

/// The usual distance between lines: v210 rows padded to 128 bytes per 48 pixels, UYVY 2 bytes a
/// pixel.
VELMORA_RDD18_EXPORT std::size_t vancStride(VancFormat format, std::uint32_t width) noexcept;

/// The packets of every line of `lines`, line after line. Packets behind a component flag
/// (000 3FF 3FF, in 8 bits 00 FF FF) or a composite flag (3FC, in 8 bits FC) are found anywhere
/// in the line's sample run. A last line (or every line, when `stride` is too small) with fewer
/// bytes than `vancLineBytes` is dropped (`ShortLine`, offset 0); damaged packets are dropped
/// unless `options.keepDamaged` (`BadParity`, `BadChecksum`); a packet that runs past the end of
/// its line is dropped (`HeaderCutOff`, `CountBeyondData`). Faults are reported in unit Sample,
/// counting samples in the line's run (HD: luma first) from the packet's flag; `Fault::line` is
/// the line's index in `lines`. Never reads outside `lines`; never throws but for allocation
/// failure.
VELMORA_RDD18_EXPORT std::vector<Packet> packetsFromVancLines(std::span<const unsigned char> lines,
                                                              const VancLayout& layout,
                                                              const ConvertOptions& options = {},
                                                              FaultSink* faults = nullptr);

/// `packetsFromVancLines` into `out`, which ends holding exactly the packets found (the same
/// packets and drops as the call above, on any input). Its elements and their word storage are
/// reused, so a host converting frame after frame into one list allocates nothing once the list
/// has grown to its frames' shape (lines of up to 2048 pixels need no other scratch).
VELMORA_RDD18_EXPORT void packetsFromVancLines(std::span<const unsigned char> lines,
                                               const VancLayout& layout, std::vector<Packet>& out,
                                               const ConvertOptions& options = {},
                                               FaultSink* faults = nullptr);

/// Lines (each `stride` bytes, blank video levels around the packets) that carry `packets`
/// behind component flags, as many lines as they need, a packet never split across lines.
/// A packet of more than `kMaxUserDataWords` words (`TooManyWords`), or longer than a line
/// (`CountBeyondData`), is left out and reported (unit Packet, offset = its index).
VELMORA_RDD18_EXPORT std::vector<unsigned char> vancLinesFromPackets(
    std::span<const Packet> packets, const VancLayout& layout, FaultSink* faults = nullptr);

}  // namespace rdd18::host
