// Clips through FFmpeg's libavformat. Its MXF demuxer presents an ST 436M ANC track as a data
// stream (codec id none) with the metadata data_type=vbi_vanc_smpte_436M, one packet per frame
// holding the raw element value; the track's time base is the edit rate. Its MP4/MOV demuxer
// presents an rtmd track as a data stream whose codec tag is `rtmd`, one packet per sample.

#include <memory>

#include "dump/frames.h"
#include "dump/input.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/timecode.h>
}

namespace rdd18::dump {

namespace {

constexpr const char* kAncDataType = "vbi_vanc_smpte_436M";
// Clips shorter than this finish before a progress line would be worth reading.
constexpr std::int64_t kProgressFrom = 500, kProgressEvery = 100;

std::string errorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

struct InputCloser {
    void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
};
struct PacketFreer {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};

const char* metadataValue(const AVDictionary* d, const char* key) {
    const AVDictionaryEntry* e = av_dict_get(d, key, nullptr, 0);
    return e ? e->value : nullptr;
}

// The clip's start timecode: on the file, or on any of its tracks (the demuxer puts the material
// package's timecode on the file and a source package's on the tracks).
const char* startTimecode(const AVFormatContext& c) {
    if (const char* tc = metadataValue(c.metadata, "timecode")) return tc;
    for (unsigned i = 0; i < c.nb_streams; ++i) {
        if (const char* tc = metadataValue(c.streams[i]->metadata, "timecode")) return tc;
    }
    return nullptr;
}

class Progress {
  public:
    Progress(std::ostream* out, const std::string& name, std::int64_t total)
        : out_(out && total >= kProgressFrom ? out : nullptr), name_(name), total_(total) {}
    ~Progress() {
        if (out_) *out_ << "\r\x1b[K" << std::flush;
    }
    void at(std::int64_t frame) {
        if (!out_ || frame % kProgressEvery != 0) return;
        *out_ << '\r' << name_ << ": frame " << frame << " of " << total_ << " ("
              << frame * 100 / total_ << "%)" << std::flush;
    }

  private:
    std::ostream* out_;
    const std::string& name_;
    std::int64_t total_;
};

AVStream* rtmdTrack(AVFormatContext& clip) {
    for (unsigned i = 0; i < clip.nb_streams; ++i) {
        AVStream* s = clip.streams[i];
        if (s->codecpar->codec_type == AVMEDIA_TYPE_DATA &&
            s->codecpar->codec_tag == MKTAG('r', 't', 'm', 'd'))
            return s;
    }
    return nullptr;
}

// One frame per sample of the rtmd track. The frame rate, for a timecode counted on from the
// start, is the pictures' where there are some, else the samples'.
void readRtmdTrack(AVFormatContext& clip, AVStream& rtmd, const std::string& path,
                   const FrameRange& range, const FrameVisitor& visit, std::ostream* progress) {
    const int v = av_find_best_stream(&clip, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    AVRational rate = v >= 0 ? clip.streams[v]->avg_frame_rate : AVRational{0, 1};
    if (rate.num <= 0 || rate.den <= 0) rate = rtmd.avg_frame_rate;
    for (unsigned i = 0; i < clip.nb_streams; ++i) {
        if (clip.streams[i] != &rtmd) clip.streams[i]->discard = AVDISCARD_ALL;
    }
    AVTimecode start{};
    const char* tcText = startTimecode(clip);
    const bool hasStart = tcText && rate.num > 0 && rate.den > 0 &&
                          av_timecode_init_from_string(&start, rate, tcText, nullptr) == 0;
    Progress bar(progress, path, rtmd.nb_frames > 0 ? rtmd.nb_frames : -1);
    const std::unique_ptr<AVPacket, PacketFreer> packet(av_packet_alloc());
    for (std::int64_t frame = 0; frame < range.last; av_packet_unref(packet.get())) {
        const int e = av_read_frame(&clip, packet.get());
        if (e == AVERROR_EOF) break;
        if (e < 0) {
            throw InputError(path + ": cannot read sample " + std::to_string(frame) + ": " +
                             errorText(e));
        }
        if (packet->stream_index != rtmd.index) continue;
        bar.at(frame);
        if (range.contains(frame)) {
            Frame f =
                rtmdFrame(path, frame, {packet->data, static_cast<std::size_t>(packet->size)});
            // One division, so that a time of whole ticks is the nearest double to its value.
            if (packet->pts != AV_NOPTS_VALUE)
                f.time = static_cast<double>(packet->pts * rtmd.time_base.num) /
                         static_cast<double>(rtmd.time_base.den);
            if (!f.timecode && hasStart) {
                char text[AV_TIMECODE_STR_SIZE];
                f.timecode = av_timecode_make_string(&start, text, static_cast<int>(frame));
            }
            visit(f);
        }
        ++frame;
    }
}

}  // namespace

void readClip(const std::string& path, const FrameRange& range, const FrameVisitor& visit,
              std::ostream* progress) {
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* opened = nullptr;
    if (const int e = avformat_open_input(&opened, path.c_str(), nullptr, nullptr); e < 0) {
        throw InputError(path + ": cannot open as a clip: " + errorText(e));
    }
    const std::unique_ptr<AVFormatContext, InputCloser> clip(opened);
    if (AVStream* rtmd = rtmdTrack(*clip))
        return readRtmdTrack(*clip, *rtmd, path, range, visit, progress);
    if (std::string_view(clip->iformat->name).find("mp4") != std::string_view::npos)
        throw InputError(path + ": the file has no rtmd metadata track");
    AVStream* anc = nullptr;
    AVStream* pictures = nullptr;
    for (unsigned i = 0; i < clip->nb_streams; ++i) {
        AVStream* s = clip->streams[i];
        const char* type = metadataValue(s->metadata, "data_type");
        if (!anc && s->codecpar->codec_type == AVMEDIA_TYPE_DATA && type &&
            std::string_view(type) == kAncDataType) {
            anc = s;
        } else if (!pictures && s->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
            pictures = s;
        } else {
            s->discard = AVDISCARD_ALL;  // only the ANC track and the frame clock are read
        }
    }
    if (!anc) throw InputError(path + ": the clip has no ST 436M ANC track");

    // The track's time base is the edit rate: one tick a frame.
    const AVRational tick = anc->time_base;
    const AVRational rate = av_inv_q(tick);
    const std::int64_t start = anc->start_time == AV_NOPTS_VALUE ? 0 : anc->start_time;
    const AVStream* clock = pictures ? pictures : anc;
    const std::int64_t total = clock->duration == AV_NOPTS_VALUE
                                   ? -1
                                   : av_rescale_q(clock->duration, clock->time_base, tick);
    AVTimecode timecode{};
    const char* tcText = startTimecode(*clip);
    const bool hasTimecode =
        tcText && av_timecode_init_from_string(&timecode, rate, tcText, nullptr) == 0;
    Progress bar(progress, path, total);

    std::int64_t next = 0;  // the frame that the next content package holds
    auto emit = [&](std::span<const unsigned char> element) {
        const std::int64_t frame = next++;
        bar.at(frame);
        if (!range.contains(frame)) return;
        Frame f = elementFrame(path, frame, element);
        f.time = av_q2d(tick) * static_cast<double>(frame + start);
        if (rate.num > 0 && rate.den > 0)
            f.editRate = FrameRate{static_cast<std::uint32_t>(rate.num),
                                   static_cast<std::uint32_t>(rate.den)};
        if (hasTimecode) {
            char text[AV_TIMECODE_STR_SIZE];
            f.timecode = av_timecode_make_string(&timecode, text, static_cast<int>(frame));
        }
        visit(f);
    };
    // Frames are content packages, each a picture and, behind it, the frame's element, if any.
    // The demuxer numbers the ANC track's packets by count alone, so a package without an element
    // shows only in the pictures: they are the frame clock. Without pictures, each element is a
    // frame.
    const std::unique_ptr<AVPacket, PacketFreer> packet(av_packet_alloc());
    bool pending = false;  // a picture whose element hasn't come yet
    while (next < range.last) {
        const int e = av_read_frame(clip.get(), packet.get());
        if (e == AVERROR_EOF) break;
        if (e < 0) {
            throw InputError(path + ": cannot read frame " + std::to_string(next) + ": " +
                             errorText(e));
        }
        if (pictures && packet->stream_index == pictures->index) {
            if (pending) emit({});
            pending = true;
        } else if (packet->stream_index == anc->index) {
            emit({packet->data, static_cast<std::size_t>(packet->size)});
            pending = false;
        }
        av_packet_unref(packet.get());
    }
    if (pending && next < range.last) emit({});
}

}  // namespace rdd18::dump
