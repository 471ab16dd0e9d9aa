#include "iso_bmff_writer.h"

#include <string_view>
#include <utility>

namespace rdd18::testsupport {

namespace {

constexpr std::uint32_t kSide = 8;                         // pixels of a picture's side
constexpr std::uint32_t kPictureSize = kSide * kSide * 3;  // RGB, 8 bits a sample

Bytes box(std::string_view type, const Bytes& payload) {
    return be32(static_cast<std::uint32_t>(8 + payload.size())) + text(type) + payload;
}

Bytes fullBox(std::string_view type, std::uint32_t versionAndFlags, const Bytes& payload) {
    return box(type, be32(versionAndFlags) + payload);
}

Bytes zeros(std::size_t n) {
    return Bytes(n, 0);
}

Bytes matrix() {  // the identity, 16.16 and 2.30 fixed point
    return be32(0x10000) + zeros(12) + be32(0x10000) + zeros(12) + be32(0x40000000);
}

struct Track {
    std::uint32_t id;
    std::string_view handler;
    Bytes mediaHeader;  // vmhd or nmhd
    Bytes sampleEntry;
    std::vector<std::uint32_t> sizes, offsets;
};

Bytes trak(const Track& t, const Mp4Clip& c) {
    const auto count = static_cast<std::uint32_t>(t.sizes.size());
    const std::uint32_t duration = count * c.frameTicks;
    const bool video = t.handler == "vide";
    Bytes stsz = be32(0) + be32(count), stco = be32(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        stsz = std::move(stsz) + be32(t.sizes[i]);
        stco = std::move(stco) + be32(t.offsets[i]);
    }
    const Bytes stbl =
        box("stbl",
            fullBox("stsd", 0, be32(1) + t.sampleEntry) +
                fullBox("stts", 0, count ? be32(1) + be32(count) + be32(c.frameTicks) : be32(0)) +
                fullBox("stsc", 0, count ? be32(1) + be32(1) + be32(1) + be32(1) : be32(0)) +
                fullBox("stsz", 0, stsz) + fullBox("stco", 0, stco));
    const Bytes dinf = box("dinf", fullBox("dref", 0, be32(1) + fullBox("url ", 1, {})));
    const Bytes mdia = box(
        "mdia", fullBox("mdhd", 0,
                        zeros(8) + be32(c.timescale) + be32(duration) + be16(0x55C4) + zeros(2)) +
                    fullBox("hdlr", 0,
                            zeros(4) + text(t.handler) + zeros(12) +
                                text(video ? "Video" : "Timed Metadata") + zeros(1)) +
                    box("minf", t.mediaHeader + dinf + stbl));
    const Bytes tkhd =
        fullBox("tkhd", 7,
                zeros(8) + be32(t.id) + zeros(4) + be32(duration) + zeros(16) + matrix() +
                    be32(video ? kSide << 16 : 0) + be32(video ? kSide << 16 : 0));
    return box("trak", tkhd + mdia);
}

}  // namespace

Bytes rtmdHeader(std::optional<std::array<std::uint8_t, 5>> timecode) {
    Bytes header = be16(0x1C) + zeros(0x1A);
    for (std::size_t i = 0; i < 5; ++i) header[0x0D + i] = timecode ? (*timecode)[i] : 0xFF;
    return header;
}

Bytes mp4Clip(const Mp4Clip& c) {
    const std::size_t frames = c.samples.empty() ? c.pictures : c.samples.size();
    Track video{1, "vide", fullBox("vmhd", 1, zeros(8)), {}, {}, {}};
    video.sampleEntry =
        box("raw ", zeros(6) + be16(1) + zeros(16) + be16(kSide) + be16(kSide) + be32(0x480000) +
                        be32(0x480000) + zeros(4) + be16(1) + zeros(32) + be16(24) + be16(0xFFFF));
    Track meta{2, "meta", fullBox("nmhd", 0, {}), box("rtmd", zeros(6) + be16(1)), {}, {}};
    const Bytes ftyp = box("ftyp", text("mp42") + be32(0) + text("mp42isom"));
    // The offsets are 32-bit: the moov has the same size whatever they hold, so it is written
    // once to learn where the mdat's bytes start.
    Bytes moov;
    for (int pass = 0; pass < 2; ++pass) {
        auto at = static_cast<std::uint32_t>(ftyp.size() + moov.size() + 8);
        video.sizes.clear(), video.offsets.clear(), meta.sizes.clear(), meta.offsets.clear();
        for (std::size_t i = 0; i < frames; ++i) {
            video.sizes.push_back(kPictureSize), video.offsets.push_back(at);
            at += kPictureSize;
            if (i >= c.samples.size()) continue;
            meta.sizes.push_back(static_cast<std::uint32_t>(c.samples[i].size()));
            meta.offsets.push_back(at);
            at += meta.sizes.back();
        }
        const auto duration = static_cast<std::uint32_t>(frames) * c.frameTicks;
        const Bytes mvhd = fullBox("mvhd", 0,
                                   zeros(8) + be32(c.timescale) + be32(duration) + be32(0x10000) +
                                       be16(0x100) + zeros(10) + matrix() + zeros(24) + be32(3));
        moov = box("moov", mvhd + trak(video, c) + (c.rtmdTrack ? trak(meta, c) : Bytes{}));
    }
    Bytes mdat;
    for (std::size_t i = 0; i < frames; ++i) {
        mdat.insert(mdat.end(), kPictureSize, static_cast<unsigned char>(0x40 + i % 128));
        if (i < c.samples.size()) mdat = std::move(mdat) + c.samples[i];
    }
    return ftyp + moov + box("mdat", mdat);
}

}  // namespace rdd18::testsupport
