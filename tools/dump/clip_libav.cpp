// Clips through FFmpeg's libavformat. Its MXF demuxer presents an ST 436M ANC track as a data
// stream (codec id none) with the metadata data_type=vbi_vanc_smpte_436M, one packet per frame
// holding the raw element value; the track's time base is the edit rate. Its MP4/MOV demuxer
// presents an rtmd track as a data stream whose codec tag is `rtmd`, one packet per sample.
//
// The libraries are loaded when the first clip is opened, not when the tool starts: linked, they
// (and the codec libraries behind them) cost every run about 25 ms and 29 MB of mappings, a run
// over packet files included. They are opened by the sonames of the headers this file is built
// with, so the structures read here have the layout the headers give them.
//
// Only the metadata track is read: every other stream is discarded at the demuxer, which then
// skips (seeks over) their elements or samples, and the file is read in small blocks, so that the
// bytes read stay near those of the track itself however large the pictures are.

#include <memory>

#include "dump/frames.h"
#include "dump/input.h"
#include "dump/loaded_library.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libavutil/timecode.h>
}

namespace rdd18::dump {

namespace {

constexpr const char* kAncDataType = "vbi_vanc_smpte_436M";
// Clips shorter than this finish before a progress line would be worth reading.
constexpr std::int64_t kProgressFrom = 500, kProgressEvery = 100;
// The largest read of an MXF file: the demuxer reads a key and a length ahead of each element it
// skips, and a larger block would read as much of the skipped element.
constexpr const char* kMxfReadBlock = "2048";
// That of an MP4 or MOV: the demuxer seeks to each rtmd sample and reads it, and a sample is a
// whole number of 512-byte units.
constexpr const char* kRtmdReadBlock = "512";

#define VELMORA_SONAME(lib, major) "lib" #lib ".so." AV_STRINGIFY(major)

// The functions of the three libraries this reader calls, looked up by name.
struct LibAv {
    decltype(&::av_strerror) av_strerror;
    decltype(&::av_dict_get) av_dict_get;
    decltype(&::av_dict_set) av_dict_set;
    decltype(&::av_dict_free) av_dict_free;
    decltype(&::av_log_set_level) av_log_set_level;
    decltype(&::av_opt_set) av_opt_set;
    decltype(&::av_timecode_init_from_string) av_timecode_init_from_string;
    decltype(&::av_timecode_make_string) av_timecode_make_string;
    decltype(&::av_packet_alloc) av_packet_alloc;
    decltype(&::av_packet_free) av_packet_free;
    decltype(&::av_packet_unref) av_packet_unref;
    decltype(&::avformat_open_input) avformat_open_input;
    decltype(&::avformat_close_input) avformat_close_input;
    decltype(&::av_read_frame) av_read_frame;
    decltype(&::av_find_best_stream) av_find_best_stream;
    decltype(&::avio_seek) avio_seek;
};

// One of FFmpeg's libraries, by the soname of the headers this file is built with.
LoadedLibrary libavLibrary(const char* soname) {
    return LoadedLibrary({soname}, std::string("opening clips needs FFmpeg's libraries, and ") +
                                       soname +
                                       " can't be loaded: install FFmpeg's libraries of that "
                                       "version");
}

LibAv load() {
    LibAv l{};
    // Each field is named as the function it holds.
#define VELMORA_BIND(library, function) library.bind(l.function, #function)
    const LoadedLibrary avutil = libavLibrary(VELMORA_SONAME(avutil, LIBAVUTIL_VERSION_MAJOR));
    VELMORA_BIND(avutil, av_strerror);
    VELMORA_BIND(avutil, av_dict_get);
    VELMORA_BIND(avutil, av_dict_set);
    VELMORA_BIND(avutil, av_dict_free);
    VELMORA_BIND(avutil, av_log_set_level);
    VELMORA_BIND(avutil, av_opt_set);
    VELMORA_BIND(avutil, av_timecode_init_from_string);
    VELMORA_BIND(avutil, av_timecode_make_string);
    const LoadedLibrary avcodec = libavLibrary(VELMORA_SONAME(avcodec, LIBAVCODEC_VERSION_MAJOR));
    VELMORA_BIND(avcodec, av_packet_alloc);
    VELMORA_BIND(avcodec, av_packet_free);
    VELMORA_BIND(avcodec, av_packet_unref);
    const LoadedLibrary avformat =
        libavLibrary(VELMORA_SONAME(avformat, LIBAVFORMAT_VERSION_MAJOR));
    VELMORA_BIND(avformat, avformat_open_input);
    VELMORA_BIND(avformat, avformat_close_input);
    VELMORA_BIND(avformat, av_read_frame);
    VELMORA_BIND(avformat, av_find_best_stream);
    VELMORA_BIND(avformat, avio_seek);
#undef VELMORA_BIND
    l.av_log_set_level(AV_LOG_QUIET);
    return l;
}

// The libraries, loaded by the first call; a failed load throws each time it is asked for.
const LibAv& libav() {
    static const LibAv loaded = load();
    return loaded;
}

std::string errorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    libav().av_strerror(code, text, sizeof text);
    return text;
}

struct InputCloser {
    void operator()(AVFormatContext* c) const { libav().avformat_close_input(&c); }
};
struct PacketFreer {
    void operator()(AVPacket* p) const { libav().av_packet_free(&p); }
};
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;

const char* metadataValue(const AVDictionary* d, const char* key) {
    const AVDictionaryEntry* e = libav().av_dict_get(d, key, nullptr, 0);
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

// The start timecode counted on at `rate`, where the clip has one.
struct Timecodes {
    Timecodes(const AVFormatContext& clip, AVRational rate) {
        const char* text = startTimecode(clip);
        known = text && rate.num > 0 && rate.den > 0 &&
                libav().av_timecode_init_from_string(&start, rate, text, nullptr) == 0;
    }
    std::optional<std::string> of(std::int64_t frame) const {
        if (!known) return std::nullopt;
        char text[AV_TIMECODE_STR_SIZE];
        return libav().av_timecode_make_string(&start, text, static_cast<int>(frame));
    }
    AVTimecode start{};
    bool known = false;
};

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

// Reads the next packet of the one stream not discarded; false at the end of the file.
bool nextPacket(AVFormatContext& clip, AVPacket& packet, const std::string& path,
                std::int64_t frame) {
    libav().av_packet_unref(&packet);
    const int e = libav().av_read_frame(&clip, &packet);
    if (e == AVERROR_EOF) return false;
    if (e < 0) {
        throw InputError(path + ": cannot read frame " + std::to_string(frame) + ": " +
                         errorText(e));
    }
    return true;
}

void discardAllBut(AVFormatContext& clip, const AVStream& kept) {
    for (unsigned i = 0; i < clip.nb_streams; ++i) {
        if (clip.streams[i] != &kept) clip.streams[i]->discard = AVDISCARD_ALL;
    }
}

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
// start, is the pictures' where there are some, else the samples'. The demuxer reads the samples
// at the offsets of the track's sample table, seeking over the others' samples.
void readRtmdTrack(AVFormatContext& clip, AVStream& rtmd, const std::string& path,
                   const FrameRange& range, const FrameVisitor& visit, std::ostream* progress) {
    const int v = libav().av_find_best_stream(&clip, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    AVRational rate = v >= 0 ? clip.streams[v]->avg_frame_rate : AVRational{0, 1};
    if (rate.num <= 0 || rate.den <= 0) rate = rtmd.avg_frame_rate;
    discardAllBut(clip, rtmd);
    const Timecodes timecodes(clip, rate);
    Progress bar(progress, path, rtmd.nb_frames > 0 ? rtmd.nb_frames : -1);
    const PacketPtr packet(libav().av_packet_alloc());
    for (std::int64_t frame = 0; frame < range.last && nextPacket(clip, *packet, path, frame);) {
        if (packet->stream_index != rtmd.index) continue;
        bar.at(frame);
        if (range.contains(frame)) {
            Frame f =
                rtmdFrame(path, frame, {packet->data, static_cast<std::size_t>(packet->size)});
            // One division, so that a time of whole ticks is the nearest double to its value.
            if (packet->pts != AV_NOPTS_VALUE)
                f.time = static_cast<double>(packet->pts * rtmd.time_base.num) /
                         static_cast<double>(rtmd.time_base.den);
            if (!f.timecode) f.timecode = timecodes.of(frame);
            visit(f);
        }
        ++frame;
    }
}

// One frame per content package of the MXF: the package's element, or none. The pictures are
// discarded, so the packages are counted by the ANC packets' timestamps: the demuxer stamps each
// element with its edit unit, found by the element's position in the index table when packages
// went by without one (a stamp past the duration the header gives is taken as the next package).
// Packages after the last element are counted by their pictures, read from that element on (from
// the start of the file when there is none): none, as a rule, and in a file cut short only those
// it kept.
void readAncTrack(AVFormatContext& clip, AVStream& anc, const std::string& path,
                  const FrameRange& range, const FrameVisitor& visit, std::ostream* progress) {
    // The track's time base is the edit rate: one tick a frame.
    const AVRational tick = anc.time_base;
    const AVRational rate = av_inv_q(tick);
    const std::int64_t start = anc.start_time == AV_NOPTS_VALUE ? 0 : anc.start_time;
    const int v = libav().av_find_best_stream(&clip, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const AVStream& clock = v >= 0 ? *clip.streams[v] : anc;
    // The clock's duration in edit units, rounded as the ticks of one frame would be.
    const std::int64_t total =
        clock.duration == AV_NOPTS_VALUE || clock.time_base.den <= 0 || tick.num <= 0
            ? -1
            : (clock.duration * clock.time_base.num * tick.den +
               clock.time_base.den * tick.num / 2) /
                  (clock.time_base.den * static_cast<std::int64_t>(tick.num));
    discardAllBut(clip, anc);
    const Timecodes timecodes(clip, rate);
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
        f.timecode = timecodes.of(frame);
        visit(f);
    };
    const PacketPtr packet(libav().av_packet_alloc());
    std::int64_t last = 0;  // where the last element's key stands
    while (next < range.last && nextPacket(clip, *packet, path, next)) {
        if (packet->stream_index != anc.index) continue;
        if (packet->pos >= 0) last = packet->pos;
        if (packet->pts != AV_NOPTS_VALUE && packet->pts - start < total) {
            while (next < packet->pts - start && next < range.last) emit({});
        }
        if (next < range.last) emit({packet->data, static_cast<std::size_t>(packet->size)});
    }
    if (v < 0 || next >= range.last || (total >= 0 && next >= total)) return;
    clip.streams[v]->discard = AVDISCARD_DEFAULT;
    anc.discard = AVDISCARD_ALL;
    if (libav().avio_seek(clip.pb, last, SEEK_SET) < 0) return;
    while (next < range.last && nextPacket(clip, *packet, path, next)) emit({});
}

}  // namespace

void readClip(const std::string& path, const FrameRange& range, const FrameVisitor& visit,
              std::ostream* progress) {
    const LibAv& av = libav();
    AVDictionary* options = nullptr;
    av.av_dict_set(&options, "blocksize", kMxfReadBlock, 0);
    AVFormatContext* opened = nullptr;
    const int e = av.avformat_open_input(&opened, path.c_str(), nullptr, &options);
    av.av_dict_free(&options);
    if (e < 0) throw InputError(path + ": cannot open as a clip: " + errorText(e));
    const std::unique_ptr<AVFormatContext, InputCloser> clip(opened);
    if (AVStream* rtmd = rtmdTrack(*clip)) {
        // The file protocol's option, set through the I/O context that owns it.
        av.av_opt_set(clip->pb, "blocksize", kRtmdReadBlock, AV_OPT_SEARCH_CHILDREN);
        // Each seek to the next sample is made as a seek: buffered, a seek of up to 32 KiB ahead
        // reads the bytes in between, which are the pictures' samples when those are small.
        clip->pb->direct = 1;
        return readRtmdTrack(*clip, *rtmd, path, range, visit, progress);
    }
    if (std::string_view(clip->iformat->name).find("mp4") != std::string_view::npos)
        throw InputError(path + ": the file has no rtmd metadata track");
    for (unsigned i = 0; i < clip->nb_streams; ++i) {
        AVStream* s = clip->streams[i];
        const char* type = metadataValue(s->metadata, "data_type");
        if (s->codecpar->codec_type == AVMEDIA_TYPE_DATA && type &&
            std::string_view(type) == kAncDataType)
            return readAncTrack(*clip, *s, path, range, visit, progress);
    }
    throw InputError(path + ": the clip has no ST 436M ANC track");
}

}  // namespace rdd18::dump
