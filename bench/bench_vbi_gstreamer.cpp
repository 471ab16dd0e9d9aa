// VANC lines read by our line reader and by GStreamer's GstVideoVBIParser, paired: 1,000 lines of
// 1920 pixels that GStreamer's own GstVideoVBIEncoder wrote, one after the other, in v210 and
// UYVY. Lines alternate between one long packet and two short ones. Three kinds of blanking
// surround the packets:
// - zeros: the encoder's lines as it leaves them, every unused sample 0;
// - black: the unused samples at video black (luma 0x040, chroma 0x200; in 8 bits 0x10, 0x80);
// - full: the line packed with packets to its end.
// The "ratio" counter is ours over GStreamer's; both check parity and checksums, and both hand
// each packet's user data words to the caller (ours into a reused packet list, GStreamer's copied
// into one).
#include <benchmark/benchmark.h>
#include <gst/video/video.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "bench_support.h"
#include "rdd18/host/vanc.h"

namespace velmora::bench {
namespace {

using namespace rdd18::host;

constexpr std::uint32_t kWidth = 1920;
constexpr std::size_t kLines = 1000;

enum Blank : int { kZeros, kBlack, kFull };

GstVideoFormat gstFormat(VancFormat f) {
    return f == VancFormat::V210 ? GST_VIDEO_FORMAT_v210 : GST_VIDEO_FORMAT_UYVY;
}

/// Words of the encoder's work line that reach an HD line: every luma word of v210; the first
/// half of them for UYVY, whose encoder writes only `width` bytes of the line.
std::size_t encoderReach(VancFormat f) {
    return f == VancFormat::V210 ? kWidth : kWidth / 2;
}

Packet packet(std::size_t words, std::size_t n) {
    Packet p;
    p.did = 0x43;
    p.sdid = 0x05;
    p.udw.resize(words);
    for (std::size_t i = 0; i < words; ++i) p.udw[i] = static_cast<unsigned char>(i * 7 + n);
    return p;
}

/// The packets of line `n`: one long packet, two short ones, or (full) as many long packets as
/// fit, and the last sized to fill the line.
std::vector<Packet> linePackets(Blank blank, VancFormat f, std::size_t n) {
    std::vector<Packet> out;
    if (blank != kFull) {
        if (n % 2 == 0) {
            out.push_back(packet(255, n));
        } else {
            out.push_back(packet(100, n));
            out.push_back(packet(100, n + 1));
        }
        return out;
    }
    std::size_t left = encoderReach(f);
    while (left >= 7) {
        const std::size_t words = std::min<std::size_t>(255, left - 7);
        out.push_back(packet(words, n + out.size()));
        left -= words + 7;
    }
    return out;
}

/// Sets the samples of an HD line from luma word `from` on (and every chroma word) to black.
void blacken(unsigned char* line, VancFormat f, std::size_t from) {
    if (f == VancFormat::Uyvy) {
        for (std::size_t px = 0; px < kWidth; ++px) {
            line[2 * px] = 0x80;  // chroma
            if (px >= from) line[2 * px + 1] = 0x10;
        }
        return;
    }
    // v210: 6 pixels in four 32-bit words of three samples: Cb Y Cr | Y Cb Y | Cr Y Cb | Y Cr Y.
    for (std::size_t group = 0; group < kWidth / 6; ++group) {
        std::uint32_t w[4];
        std::memcpy(w, line + 16 * group, 16);
        for (std::size_t s = 0; s < 12; ++s) {
            const bool luma = s % 2 == 1;
            const std::size_t y = group * 6 + s / 2;
            if (luma && y < from) continue;
            const std::uint32_t level = luma ? 0x040 : 0x200;
            std::uint32_t& word = w[s / 3];
            const unsigned shift = 10 * (s % 3);
            word = (word & ~(0x3FFu << shift)) | (level << shift);
        }
        std::memcpy(line + 16 * group, w, 16);
    }
}

struct Lines {
    VancFormat format;
    std::vector<unsigned char> bytes;
    std::size_t packets = 0;
};

Lines encodedLines(VancFormat f, Blank blank) {
    GstVideoVBIEncoder* encoder = gst_video_vbi_encoder_new(gstFormat(f), kWidth);
    const std::size_t stride = vancStride(f, kWidth);
    Lines lines{f, std::vector<unsigned char>(stride * kLines), 0};
    for (std::size_t n = 0; n < kLines; ++n) {
        std::size_t used = 0;
        for (const Packet& p : linePackets(blank, f, n)) {
            gst_video_vbi_encoder_add_ancillary(encoder, FALSE, p.did, p.sdid, p.udw.data(),
                                                static_cast<guint>(p.udw.size()));
            used += 7 + p.udw.size();
            ++lines.packets;
        }
        unsigned char* line = lines.bytes.data() + n * stride;
        gst_video_vbi_encoder_write_line(encoder, line);
        if (blank == kBlack) blacken(line, f, used);
    }
    gst_video_vbi_encoder_free(encoder);
    return lines;
}

/// GStreamer's parser over the lines, its packets' words copied into `out` as ours are.
std::size_t parseWithGStreamer(GstVideoVBIParser* parser, const Lines& lines,
                               std::vector<Packet>& out) {
    const std::size_t stride = vancStride(lines.format, kWidth);
    std::size_t found = 0;
    for (std::size_t at = 0; at + stride <= lines.bytes.size(); at += stride) {
        gst_video_vbi_parser_add_line(parser, lines.bytes.data() + at);
        GstVideoAncillary anc;
        while (gst_video_vbi_parser_get_ancillary(parser, &anc) == GST_VIDEO_VBI_PARSER_RESULT_OK) {
            if (found == out.size()) out.emplace_back();
            Packet& p = out[found++];
            p.did = anc.DID;
            p.sdid = anc.SDID_block_number;
            p.udw.assign(anc.data, anc.data + anc.data_count);
        }
    }
    return found;
}

void BM_VancVersusGStreamer(benchmark::State& state) {
    const auto format = state.range(0) == 0 ? VancFormat::V210 : VancFormat::Uyvy;
    const Lines lines = encodedLines(format, static_cast<Blank>(state.range(1)));
    GstVideoVBIParser* parser = gst_video_vbi_parser_new(gstFormat(format), kWidth);
    std::vector<Packet> ours, theirs;
    const VancLayout layout{format, kWidth};
    packetsFromVancLines(lines.bytes, layout, ours);
    const std::size_t gstFound = parseWithGStreamer(parser, lines, theirs);
    if (ours.size() != lines.packets || gstFound != lines.packets) {
        const std::string message = "packets written " + std::to_string(lines.packets) +
                                    ", ours found " + std::to_string(ours.size()) +
                                    ", GStreamer's " + std::to_string(gstFound);
        state.SkipWithError(message.c_str());
    } else {
        pairedCost(
            state, [&] { packetsFromVancLines(lines.bytes, layout, ours); },
            [&] { benchmark::DoNotOptimize(parseWithGStreamer(parser, lines, theirs)); });
        state.counters["measured_ns"] = state.counters["measured_ns"] / kLines;
        state.counters["floor_ns"] = state.counters["floor_ns"] / kLines;
        state.SetLabel("ns per line; floor: GStreamer");
    }
    gst_video_vbi_parser_free(parser);
}
BENCHMARK(BM_VancVersusGStreamer)
    ->ArgNames({"uyvy", "blank"})
    ->ArgsProduct({{0, 1}, {kZeros, kBlack, kFull}});

}  // namespace
}  // namespace velmora::bench
