// Small MP4 files: 16x16 raw RGB pictures and an rtmd track (hdlr `meta`, nmhd, stsd entry `rtmd`)
// of one sample per picture, each a chunk (stts, stsc, stsz, stco), in one mdat behind the moov.
#pragma once

#include <cstdint>
#include <vector>

#include "frame_builder.h"

namespace rdd18::testsupport {

struct Mp4Clip {
    std::vector<Bytes> samples;  ///< the rtmd samples, one picture each
    std::size_t pictures = 0;    ///< the pictures when there are no samples
    bool rtmdTrack = true;       ///< whether the rtmd track is written, samples or not
};

/// The file of `clip`, at 25 frames a second.
Bytes mp4Clip(const Mp4Clip& clip);

}  // namespace rdd18::testsupport
