#include "iso_bmff_writer.h"

#include <optional>
#include <string_view>
#include <utility>

namespace rdd18::testsupport {

namespace {

constexpr std::uint32_t kSide = 16, kPictureSize = kSide * kSide * 3;
constexpr std::uint32_t kTimescale = 25000, kFrameTicks = 1000;

Bytes box(std::string_view type, const Bytes& payload, std::optional<std::uint32_t> flags = {}) {
    const Bytes body = flags ? be32(*flags) + payload : payload;
    return be32(static_cast<std::uint32_t>(8 + body.size())) + text(type) + body;
}

Bytes zeros(std::size_t n) {
    return Bytes(n, 0);
}

const Bytes kMatrix = be32(0x10000) + zeros(12) + be32(0x10000) + zeros(12) + be32(0x40000000);

// A track of `sizes.size()` samples, one chunk each, at `offsets`.
Bytes trak(std::uint32_t id, std::string_view handler, const Bytes& mediaHeader, const Bytes& entry,
           const std::vector<std::uint32_t>& sizes, const std::vector<std::uint32_t>& offsets) {
    const auto n = static_cast<std::uint32_t>(sizes.size());
    const std::uint32_t duration = n * kFrameTicks, side = id == 1 ? kSide << 16 : 0;
    Bytes stsz = be32(0) + be32(n), stco = be32(n);
    for (std::uint32_t i = 0; i < n; ++i)
        stsz = std::move(stsz) + be32(sizes[i]), stco = std::move(stco) + be32(offsets[i]);
    const Bytes stbl = box("stsd", be32(1) + entry, 0) +
                       box("stts", n ? be32(1) + be32(n) + be32(kFrameTicks) : be32(0), 0) +
                       box("stsc", n ? be32(1) + be32(1) + be32(1) + be32(1) : be32(0), 0) +
                       box("stsz", stsz, 0) + box("stco", stco, 0);
    const Bytes minf =
        mediaHeader + box("dinf", box("dref", be32(1) + box("url ", {}, 1), 0)) + box("stbl", stbl);
    const Bytes mdia =
        box("mdhd", zeros(8) + be32(kTimescale) + be32(duration) + be32(0x55C40000), 0) +
        box("hdlr", zeros(4) + text(handler) + zeros(13), 0) + box("minf", minf);
    return box("trak", box("tkhd",
                           zeros(8) + be32(id) + zeros(4) + be32(duration) + zeros(16) + kMatrix +
                               be32(side) + be32(side),
                           7) +
                           box("mdia", mdia));
}

}  // namespace

Bytes mp4Clip(const Mp4Clip& c) {
    const std::size_t frames = c.samples.empty() ? c.pictures : c.samples.size();
    const Bytes raw =
        box("raw ", zeros(6) + be16(1) + zeros(16) + be16(kSide) + be16(kSide) + be32(0x480000) +
                        be32(0x480000) + zeros(4) + be16(1) + zeros(32) + be16(24) + be16(0xFFFF));
    const Bytes ftyp = box("ftyp", text("mp42") + be32(0) + text("mp42isom"));
    // The offsets are 32-bit, so the moov is as long whatever they hold: a first pass finds
    // where the mdat's bytes start.
    Bytes moov, mdat;
    for (int pass = 0; pass < 2; ++pass) {
        const auto start = static_cast<std::uint32_t>(ftyp.size() + moov.size() + 8);
        std::vector<std::uint32_t> pictures, sizes, offsets;
        mdat.clear();
        for (std::size_t i = 0; i < frames; ++i) {
            pictures.push_back(start + static_cast<std::uint32_t>(mdat.size()));
            mdat.insert(mdat.end(), kPictureSize, static_cast<unsigned char>(0x40 + i % 128));
            if (i >= c.samples.size()) continue;
            sizes.push_back(static_cast<std::uint32_t>(c.samples[i].size()));
            offsets.push_back(start + static_cast<std::uint32_t>(mdat.size()));
            mdat.insert(mdat.end(), c.samples[i].begin(), c.samples[i].end());
        }
        const Bytes mvhd = zeros(8) + be32(kTimescale) +
                           be32(static_cast<std::uint32_t>(frames) * kFrameTicks) + be32(0x10000) +
                           be16(0x100) + zeros(10) + kMatrix + zeros(24) + be32(3);
        moov = box("moov", box("mvhd", mvhd, 0) +
                               trak(1, "vide", box("vmhd", zeros(8), 1), raw,
                                    std::vector<std::uint32_t>(frames, kPictureSize), pictures) +
                               (c.rtmdTrack ? trak(2, "meta", box("nmhd", {}, 0),
                                                   box("rtmd", zeros(6) + be16(1)), sizes, offsets)
                                            : Bytes{}));
    }
    return ftyp + moov + box("mdat", mdat);
}

}  // namespace rdd18::testsupport
