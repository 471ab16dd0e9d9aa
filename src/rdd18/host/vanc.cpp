#include "rdd18/host/vanc.h"

#include <algorithm>
#include <memory>

#include "rdd18/host/internal_word_scan.h"
#include "rdd18/internal/byte_order.h"

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

/// Scratch for one line's run of samples: on the stack up to 2048 pixels, else on the heap, so
/// that HD and 2K lines cost no allocation.
template <class Sample>
class LineRun {
  public:
    explicit LineRun(std::size_t samples)
        : heap_(samples > kLocal ? std::make_unique_for_overwrite<Sample[]>(samples) : nullptr),
          data_(heap_ ? heap_.get() : local_) {}
    Sample* data() noexcept { return data_; }

  private:
    static constexpr std::size_t kLocal = 2 * 2048;
    Sample local_[kLocal];
    std::unique_ptr<Sample[]> heap_;
    Sample* data_;
};

/// Splits `pixels` UYVY pixels (Cb Y Cr Y ...) into their luma and chroma bytes.
void splitUyvy(const unsigned char* VELMORA_RDD18_RESTRICT line, std::size_t pixels,
               unsigned char* VELMORA_RDD18_RESTRICT luma,
               unsigned char* VELMORA_RDD18_RESTRICT chroma) noexcept {
    for (std::size_t i = 0; i < pixels; ++i) {
        chroma[i] = line[2 * i];
        luma[i] = line[2 * i + 1];
    }
}

/// The samples of a UYVY line in scan order: SD lines are their own run (no copy), HD lines are
/// split into luma, then chroma.
std::span<const unsigned char> uyvyRun(const unsigned char* line, const VancLayout& layout,
                                       unsigned char* run) {
    const std::size_t width = layout.width;
    if (!isHd(layout)) return {line, 2 * width};
    // Whole blocks of a fixed count (vectorised at -O2 as well), then the rest.
    constexpr std::size_t kBlock = detail::kWordBlock;
    std::size_t i = 0;
    for (; i + kBlock <= width; i += kBlock)
        splitUyvy(line + 2 * i, kBlock, run + i, run + width + i);
    splitUyvy(line + 2 * i, width - i, run + i, run + width + i);
    return {run, 2 * width};
}

/// The samples of a v210 line in scan order. Three 10-bit samples sit in each little-endian
/// 32-bit word, four words (12 samples: Cb Y Cr Y Cb Y Cr Y Cb Y Cr Y) in each 16-byte group.
std::span<const std::uint16_t> v210Run(const unsigned char* line, const VancLayout& layout,
                                       std::uint16_t* run) {
    using internal::loadLittleEndian32;
    const std::size_t samples = 2 * std::size_t{layout.width};
    const RunPlace place{isHd(layout), layout.width};
    auto sample = [](std::uint32_t word, int k) {
        return static_cast<std::uint16_t>(word >> (10 * k) & 0x3FFu);
    };
    std::size_t index = 0;
    const unsigned char* group = line;
    // Whole groups first, each sample to its place without a test.
    if (place.hd) {
        std::uint16_t* luma = run;
        std::uint16_t* chroma = run + layout.width;
        for (; index + 12 <= samples; index += 12, group += kV210GroupBytes) {
            const std::uint32_t w0 = loadLittleEndian32(group), w1 = loadLittleEndian32(group + 4),
                                w2 = loadLittleEndian32(group + 8),
                                w3 = loadLittleEndian32(group + 12);
            // Cb Y Cr | Y Cb Y | Cr Y Cb | Y Cr Y: even samples are chroma, odd ones luma.
            std::uint16_t* c = chroma + index / 2;
            std::uint16_t* y = luma + index / 2;
            c[0] = sample(w0, 0);
            y[0] = sample(w0, 1);
            c[1] = sample(w0, 2);
            y[1] = sample(w1, 0);
            c[2] = sample(w1, 1);
            y[2] = sample(w1, 2);
            c[3] = sample(w2, 0);
            y[3] = sample(w2, 1);
            c[4] = sample(w2, 2);
            y[4] = sample(w3, 0);
            c[5] = sample(w3, 1);
            y[5] = sample(w3, 2);
        }
    } else {
        for (; index + 12 <= samples; index += 12, group += kV210GroupBytes) {
            for (int word = 0; word < 4; ++word) {
                const std::uint32_t packed = loadLittleEndian32(group + 4 * word);
                for (int k = 0; k < 3; ++k) run[index + 3 * word + k] = sample(packed, k);
            }
        }
    }
    for (; index < samples; group += kV210GroupBytes) {
        for (int word = 0; word < 4; ++word) {
            const std::uint32_t packed = loadLittleEndian32(group + 4 * word);
            for (int k = 0; k < 3 && index < samples; ++k, ++index)
                run[place(index)] = sample(packed, k);
        }
    }
    return {run, samples};
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
            internal::storeLittleEndian32(group + 4 * word, packed);
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

void packetsFromVancLines(std::span<const unsigned char> lines, const VancLayout& layout,
                          std::vector<Packet>& out, const ConvertOptions& options,
                          FaultSink* faults) {
    detail::PacketSink sink(out);
    if (layout.width == 0 || lines.empty()) return sink.finish();
    const std::size_t need = vancLineBytes(layout.format, layout.width);
    const std::size_t stride = std::max<std::size_t>(strideOf(layout), 1);
    const bool v210 = layout.format == VancFormat::V210;
    const std::size_t samples = 2 * std::size_t{layout.width};
    // 8-bit lines are scanned as bytes, 10-bit ones as 16-bit words.
    LineRun<std::uint16_t> words(v210 ? samples : 0);
    LineRun<unsigned char> bytes(v210 ? 0 : samples);
    std::size_t index = 0;
    for (std::size_t start = 0; start < lines.size(); start += stride, ++index) {
        // Line numbers count from the first line's, when the caller knows it.
        const auto line =
            static_cast<std::uint16_t>(layout.firstLine ? layout.firstLine + index : 0);
        const auto lineIndex = static_cast<std::uint16_t>(index);
        if (lines.size() - start < need || stride < need) {
            if (faults)
                faults->report(
                    detail::hostFault(FaultCode::ShortLine, FaultUnit::Sample, 0, lineIndex));
            if (stride < need) break;
            continue;
        }
        const detail::WordRun where{true, line, lineIndex, FaultUnit::Sample};
        if (v210) {
            detail::scanWords(v210Run(lines.data() + start, layout, words.data()), where, options,
                              faults, sink);
        } else {
            detail::scanWords(uyvyRun(lines.data() + start, layout, bytes.data()), where, options,
                              faults, sink);
        }
    }
    sink.finish();
}

std::vector<Packet> packetsFromVancLines(std::span<const unsigned char> lines,
                                         const VancLayout& layout, const ConvertOptions& options,
                                         FaultSink* faults) {
    std::vector<Packet> packets;
    packetsFromVancLines(lines, layout, packets, options, faults);
    return packets;
}

std::vector<unsigned char> vancLinesFromPackets(std::span<const Packet> packets,
                                                const VancLayout& layout, FaultSink* faults) {
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
        if (detail::tooManyWords(p, i, faults)) continue;
        const std::size_t words = detail::packetWordCount(p);
        if (words > samples) {
            detail::reportListFault(faults, FaultCode::CountBeyondData, p, i);
            continue;
        }
        if (run.size() + words > samples) flush();
        detail::appendPacketWords(p, tenBit, run);
    }
    flush();
    return out;
}

}  // namespace rdd18::host
