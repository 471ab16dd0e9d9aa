// make-clip: writes an MXF clip whose ST 436M ANC track carries given frames, with FFmpeg's MXF
// muxer, taking the pictures from a clip that has a video track (and its start timecode).
//
//   make-clip VIDEO.mxf OUT.mxf FRAME...
//
// One FRAME per picture, in order: FILE:8 (the packets of the flagged packet buffer FILE, 8-bit
// samples without checksum byte), FILE:8cs (with it), FILE:10 (10-bit samples), "zero" (an element
// with packet count 0) or "empty" (an element of no bytes). The muxer pairs each picture with an
// element, so every picture gets one.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "rdd18/host/st436m.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

namespace host = rdd18::host;

void check(int code, const std::string& what) {
    if (code >= 0) return;
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    throw std::runtime_error(what + ": " + text);
}

// The element of one FRAME argument.
std::vector<unsigned char> element(const std::string& spec) {
    if (spec == "empty") return {};
    if (spec == "zero") return std::vector<unsigned char>(2, 0);
    const auto colon = spec.rfind(':');
    const std::string form = colon == std::string::npos ? "" : spec.substr(colon + 1);
    if (form != "8" && form != "8cs" && form != "10")
        throw std::runtime_error(spec + ": not FILE:8|8cs|10");
    std::ifstream file(spec.substr(0, colon), std::ios::binary);
    if (!file) throw std::runtime_error(spec + ": cannot open");
    const std::vector<unsigned char> frame(std::istreambuf_iterator<char>(file), {});
    // Every packet on line 9 of a VANC frame (wrapping type 1), in coding 4 (8-bit luma) or 7
    // (10-bit luma).
    std::vector<host::St436mPacket> packets;
    for (host::Packet& p : host::packetsFromAncillaryBuffer(frame, true)) {
        p.line = 9;
        packets.push_back({std::move(p), 1, static_cast<std::uint8_t>(form == "10" ? 7 : 4)});
    }
    return host::st436mElement(packets, {form == "8cs"});
}

void makeClip(const char* videoPath, const char* outPath, const std::vector<std::string>& specs) {
    AVFormatContext* video = nullptr;
    check(avformat_open_input(&video, videoPath, nullptr, nullptr), videoPath);
    std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> in(
        video, [](AVFormatContext* c) { avformat_close_input(&c); });
    check(avformat_find_stream_info(in.get(), nullptr), videoPath);
    const int v = av_find_best_stream(in.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    check(v, std::string(videoPath) + ": no video track");

    AVFormatContext* made = nullptr;
    check(avformat_alloc_output_context2(&made, nullptr, "mxf", outPath), outPath);
    std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> out(made, [](AVFormatContext* c) {
        if (c->pb) avio_closep(&c->pb);
        avformat_free_context(c);
    });
    AVStream* pictures = avformat_new_stream(out.get(), nullptr);
    check(avcodec_parameters_copy(pictures->codecpar, in->streams[v]->codecpar), "video track");
    pictures->codecpar->codec_tag = 0;
    pictures->time_base = in->streams[v]->time_base;
    pictures->avg_frame_rate = in->streams[v]->avg_frame_rate;
    // The muxer writes an ST 436M track verbatim for a data track of this type behind the video.
    AVStream* anc = avformat_new_stream(out.get(), nullptr);
    anc->codecpar->codec_type = AVMEDIA_TYPE_DATA;
    anc->codecpar->codec_id = AV_CODEC_ID_NONE;
    anc->time_base = pictures->time_base;
    av_dict_set(&anc->metadata, "data_type", "vbi_vanc_smpte_436M", 0);
    if (const auto* tc = av_dict_get(in->metadata, "timecode", nullptr, 0)) {
        av_dict_set(&out->metadata, "timecode", tc->value, 0);
    }
    out->flags |= AVFMT_FLAG_BITEXACT;  // no random identifiers or dates: the same clip each time
    check(avio_open(&out->pb, outPath, AVIO_FLAG_WRITE), outPath);
    check(avformat_write_header(out.get(), nullptr), outPath);

    AVPacket* packet = av_packet_alloc();
    std::size_t frame = 0;
    while (frame < specs.size() && av_read_frame(in.get(), packet) >= 0) {
        if (packet->stream_index != v) {
            av_packet_unref(packet);
            continue;
        }
        const std::int64_t pts = packet->pts;
        const std::int64_t dts = packet->dts;
        const std::int64_t duration = packet->duration;
        av_packet_rescale_ts(packet, in->streams[v]->time_base, pictures->time_base);
        packet->stream_index = pictures->index;
        check(av_interleaved_write_frame(out.get(), packet), "picture");
        const auto bytes = element(specs[frame]);
        check(av_new_packet(packet, static_cast<int>(bytes.size())), "element");
        std::copy(bytes.begin(), bytes.end(), packet->data);
        packet->pts = av_rescale_q(pts, in->streams[v]->time_base, anc->time_base);
        packet->dts = av_rescale_q(dts, in->streams[v]->time_base, anc->time_base);
        packet->duration = av_rescale_q(duration, in->streams[v]->time_base, anc->time_base);
        packet->stream_index = anc->index;
        check(av_interleaved_write_frame(out.get(), packet), "element");
        ++frame;
    }
    av_packet_free(&packet);
    if (frame < specs.size()) throw std::runtime_error("the video has fewer pictures than frames");
    check(av_write_trailer(out.get()), outPath);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::cerr << "usage: make-clip VIDEO.mxf OUT.mxf FILE:8|FILE:8cs|FILE:10|zero|empty...\n";
        return 2;
    }
    try {
        makeClip(argv[1], argv[2], std::vector<std::string>(argv + 3, argv + argc));
    } catch (const std::exception& e) {
        std::cerr << "make-clip: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
