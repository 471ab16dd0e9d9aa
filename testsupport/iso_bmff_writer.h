// Writes small ISO BMFF (MP4) files for tests and the sample clip: a video track of tiny raw
// pictures and, when given, a timed-metadata track whose sample entry is `rtmd`, one sample per
// picture, interleaved in one mdat behind the moov.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "frame_builder.h"

namespace rdd18::testsupport {

/// The 0x1C-byte header of an rtmd sample: its length at 0, the timecode bytes (hours, minutes,
/// seconds, drop frame, frames) at 0x0D when given, else 0xFF there.
Bytes rtmdHeader(std::optional<std::array<std::uint8_t, 5>> timecode);

struct Mp4Clip {
    std::vector<Bytes> samples;       ///< the rtmd samples; one picture each
    std::size_t pictures = 0;         ///< pictures without an rtmd track (when `samples` is empty)
    bool rtmdTrack = true;            ///< write the rtmd track (it may have no samples)
    std::uint32_t timescale = 25000;  ///< both tracks' time scale
    std::uint32_t frameTicks = 1000;  ///< the duration of a frame in ticks
};

/// The file: ftyp, moov (mvhd; a video track of 8x8 raw RGB pictures: hdlr `vide`, vmhd; the
/// rtmd track: hdlr `meta`, nmhd, stsd entry `rtmd`; each with stts, stsc, stsz and stco of one
/// chunk per sample), mdat (per frame the picture, then its sample).
Bytes mp4Clip(const Mp4Clip& clip);

}  // namespace rdd18::testsupport
