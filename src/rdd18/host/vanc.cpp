#include "rdd18/host/vanc.h"

#include <algorithm>

#include "rdd18/internal/anc_words.h"
#include "rdd18/transport/parse_observer.h"

namespace rdd18::host {

namespace {

constexpr std::size_t kV210GroupPixels = 6;
constexpr std::size_t kV210GroupBytes = 16;

bool isHd(const VancLayout& layout) noexcept {
    return layout.placement == VancPlacement::Hd ||
           (layout.placement == VancPlacement::Auto && layout.width >= 1280);
}

std::size_t strideOf(const VancLayout& layout) noexcept {
    return layout.stride ? layout.stride : vancStride(layout.format, layout.width);
}

/// Sample `index` of a line's byte order (Cb Y Cr Y ...) lands at this place of the run that is
/// scanned: SD keeps the order, HD puts luma (odd indexes) first, then chroma.
struct RunPlace {
    bool hd;
    std::size_t width;
    std::size_t operator()(std::size_t index) const noexcept {
        if (!hd) return index;
        return index % 2 ? index / 2 : width + index / 2;
    }
};

std::uint32_t loadLe32(const unsigned char* p) noexcept {
    return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
           std::uint32_t{p[3]} << 24;
}

void storeLe32(unsigned char* p, std::uint32_t v) noexcept {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

/// The samples of one line, in scan order.
void unpackLine(const unsigned char* line, const VancLayout& layout, std::uint16_t* run) {
    const std::size_t samples = 2 * std::size_t{layout.width};
    const RunPlace place{isHd(layout), layout.width};
    if (layout.format == VancFormat::Uyvy) {
        if (!place.hd) {
            std::copy(line, line + samples, run);
        } else {
            std::uint16_t* luma = run;
            std::uint16_t* chroma = run + layout.width;
            for (std::size_t i = 0; i + 1 < samples; i += 2) {
                *chroma++ = line[i];
                *luma++ = line[i + 1];
            }
            if (samples % 2) *chroma = line[samples - 1];
        }
        return;
    }
    std::size_t index = 0;
    const unsigned char* group = line;
    // Whole groups of 12 samples first, without a test per sample.
    std::uint16_t* luma = run;
    std::uint16_t* chroma = run + (place.hd ? layout.width : 0);
    for (; index + 12 <= samples; index += 12, group += kV210GroupBytes) {
        std::uint16_t s[12];
        for (int word = 0; word < 4; ++word) {
            const std::uint32_t packed = loadLe32(group + 4 * word);
            s[3 * word] = static_cast<std::uint16_t>(packed & 0x3FFu);
            s[3 * word + 1] = static_cast<std::uint16_t>(packed >> 10 & 0x3FFu);
            s[3 * word + 2] = static_cast<std::uint16_t>(packed >> 20 & 0x3FFu);
        }
        if (place.hd) {
            for (int k = 0; k < 6; ++k) {
                *chroma++ = s[2 * k];
                *luma++ = s[2 * k + 1];
            }
        } else {
            std::copy(s, s + 12, run + index);
        }
    }
    for (; index < samples; group += kV210GroupBytes) {
        for (int word = 0; word < 4; ++word) {
            const std::uint32_t packed = loadLe32(group + 4 * word);
            for (int k = 0; k < 3 && index < samples; ++k, ++index) {
                run[place(index)] = static_cast<std::uint16_t>(packed >> (10 * k) & 0x3FFu);
            }
        }
    }
}

void packLine(const std::uint16_t* run, const VancLayout& layout, unsigned char* line) {
    const std::size_t samples = 2 * std::size_t{layout.width};
    const RunPlace place{isHd(layout), layout.width};
    if (layout.format == VancFormat::Uyvy) {
        for (std::size_t i = 0; i < samples; ++i)
            line[i] = static_cast<unsigned char>(run[place(i)]);
        return;
    }
    std::size_t index = 0;
    for (unsigned char* group = line; index < samples; group += kV210GroupBytes) {
        for (int word = 0; word < 4; ++word) {
            std::uint32_t packed = 0;
            for (int k = 0; k < 3 && index < samples; ++k, ++index)
                packed |= std::uint32_t{run[place(index)]} << (10 * k);
            storeLe32(group + 4 * word, packed);
        }
    }
}

}  // namespace

std::size_t vancLineBytes(VancFormat format, std::uint32_t width) noexcept {
    if (format == VancFormat::Uyvy) return 2 * std::size_t{width};
    return (width + kV210GroupPixels - 1) / kV210GroupPixels * kV210GroupBytes;
}

std::size_t vancStride(VancFormat format, std::uint32_t width) noexcept {
    if (format == VancFormat::Uyvy) return 2 * std::size_t{width};
    return (std::size_t{width} + 47) / 48 * 128;
}

std::vector<Packet> packetsFromVancLines(std::span<const unsigned char> lines,
                                         const VancLayout& layout, const ConvertOptions& options,
                                         ParseObserver* observer) {
    std::vector<Packet> packets;
    if (layout.width == 0 || lines.empty()) return packets;
    const std::size_t need = vancLineBytes(layout.format, layout.width);
    const std::size_t stride = std::max<std::size_t>(strideOf(layout), 1);
    std::vector<std::uint16_t> run(2 * std::size_t{layout.width});
    std::size_t index = 0;
    for (std::size_t start = 0; start < lines.size(); start += stride, ++index) {
        // Line numbers count from the first line's, when the caller knows it.
        const auto line =
            static_cast<std::uint16_t>(layout.firstLine ? layout.firstLine + index : 0);
        if (lines.size() - start < need || stride < need) {
            if (observer)
                observer->hostInputDropped(
                    {DropReason::ShortLine, start, static_cast<std::uint16_t>(index), 0, 0, false});
            if (stride < need) break;
            continue;
        }
        unpackLine(lines.data() + start, layout, run.data());
        const detail::WordRun where{layout.format == VancFormat::V210, true, line,
                                    static_cast<std::uint16_t>(index), 0};
        detail::scanWords(run, where, options, observer, packets);
    }
    return packets;
}

std::vector<unsigned char> vancLinesFromPackets(std::span<const Packet> packets,
                                                const VancLayout& layout, ParseObserver* observer) {
    std::vector<unsigned char> out;
    if (layout.width == 0) return out;
    const std::size_t samples = 2 * std::size_t{layout.width};
    const std::size_t stride =
        std::max(strideOf(layout), vancLineBytes(layout.format, layout.width));
    const bool tenBit = layout.format == VancFormat::V210;
    const RunPlace place{isHd(layout), layout.width};
    std::vector<std::uint16_t> run;
    run.reserve(samples);

    auto flush = [&] {
        if (run.empty()) return;
        // Blank video around the packets: luma black, chroma mid-scale.
        const std::size_t used = run.size();
        run.resize(samples);
        for (std::size_t i = 0; i < samples; ++i) {
            const std::size_t at = place(i);
            if (at >= used) run[at] = tenBit ? (i % 2 ? 0x040 : 0x200) : (i % 2 ? 0x10 : 0x80);
        }
        const std::size_t start = out.size();
        out.resize(start + stride);
        packLine(run.data(), layout, out.data() + start);
        run.clear();
    };
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const Packet& p = packets[i];
        const std::size_t words = detail::packetWordCount(p);
        if (p.udw.size() > 255 || words > samples) {
            if (observer)
                observer->hostInputDropped(
                    {p.udw.size() > 255 ? DropReason::TooManyWords : DropReason::CountBeyondData, i,
                     p.line, p.did, p.sdid, false});
            continue;
        }
        if (run.size() + words > samples) flush();
        detail::appendPacketWords(p, tenBit, run);
    }
    flush();
    return out;
}

}  // namespace rdd18::host
