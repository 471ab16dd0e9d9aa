// Interoperability with GStreamer's VBI encoder and parser (libgstvideo): the packets of every
// bundled sample frame, written into v210 and UYVY lines by GstVideoVBIEncoder, read back by our
// line reader to the same packets and the same answers as the sample's own bytes; and lines that
// our writer makes, read back by GstVideoVBIParser to the same packets; and the frames the
// answer writers make, read through GStreamer both ways.
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_encoder.h"
#include "rdd18/host/packet.h"
#include "rdd18/host/vanc.h"
#include "rdd18/output/VLRDD18Parser.h"
#include "rdd18/output/rdd18_encoder.h"

using namespace rdd18;
using namespace rdd18::host;

namespace {

struct Sample {
    std::string name;
    std::vector<unsigned char> bytes;
    bool flags;
};

std::vector<Sample> samples() {
    std::vector<Sample> out;
    for (const auto& e : std::filesystem::directory_iterator(VELMORA_SAMPLES_DIR)) {
        if (e.path().extension() != ".anc") continue;
        std::ifstream in(e.path(), std::ios::binary);
        const std::string name = e.path().filename().string();
        out.push_back({name,
                       {std::istreambuf_iterator<char>(in), {}},
                       name.find("noflags") == std::string::npos});
    }
    return out;
}

/// The answers of every parser: three RDD 18 flavours and ARRI.
std::vector<Dictionary> answers(std::span<const Packet> packets) {
    std::vector<Dictionary> out;
    for (int type : {0, 1, 2}) {
        PacketListReader reader(packets);
        out.push_back(VLRDD18Parser(type).parseData(reader));
    }
    PacketListReader reader(packets);
    out.push_back(VLArriANCParser().parseData(reader));
    return out;
}

std::vector<Dictionary> answers(const Sample& s) {
    std::vector<Dictionary> out;
    for (int type : {0, 1, 2}) out.push_back(VLRDD18Parser(type).parseData(s.bytes, s.flags));
    out.push_back(VLArriANCParser().parseData(s.bytes, s.flags));
    return out;
}

GstVideoFormat gstFormat(VancFormat f) {
    return f == VancFormat::V210 ? GST_VIDEO_FORMAT_v210 : GST_VIDEO_FORMAT_UYVY;
}

/// Words of the encoder's work line that reach the video line: all of them for v210; for UYVY
/// it writes only the first `width` bytes of the line, i.e. luma samples below width / 2 on HD
/// lines and the first `width` samples on SD lines.
std::size_t encoderReach(VancFormat f, std::uint32_t width) {
    if (f == VancFormat::V210) return 2 * std::size_t{width};
    return width >= 1280 ? width / 2 : width;
}

std::vector<unsigned char> encodeWithGStreamer(std::span<const Packet> packets, VancFormat f,
                                               std::uint32_t width) {
    GstVideoVBIEncoder* encoder = gst_video_vbi_encoder_new(gstFormat(f), width);
    EXPECT_NE(encoder, nullptr);
    const std::size_t stride = vancStride(f, width), reach = encoderReach(f, width);
    std::vector<unsigned char> lines;
    std::size_t used = 0;
    auto newLine = [&] {
        lines.resize(lines.size() + stride);
        gst_video_vbi_encoder_write_line(encoder, lines.data() + lines.size() - stride);
        used = 0;
    };
    const unsigned char none = 0;
    for (const Packet& p : packets) {
        const std::size_t words = 7 + p.udw.size();
        if (used + words > reach) newLine();
        EXPECT_TRUE(gst_video_vbi_encoder_add_ancillary(encoder, FALSE, p.did, p.sdid,
                                                        p.udw.empty() ? &none : p.udw.data(),
                                                        static_cast<guint>(p.udw.size())));
        used += words;
    }
    newLine();
    gst_video_vbi_encoder_free(encoder);
    return lines;
}

std::vector<Packet> parseWithGStreamer(std::span<const unsigned char> lines, VancFormat f,
                                       std::uint32_t width) {
    GstVideoVBIParser* parser = gst_video_vbi_parser_new(gstFormat(f), width);
    EXPECT_NE(parser, nullptr);
    std::vector<Packet> out;
    const std::size_t stride = vancStride(f, width);
    for (std::size_t at = 0; at + stride <= lines.size(); at += stride) {
        gst_video_vbi_parser_add_line(parser, lines.data() + at);
        GstVideoAncillary anc;
        while (gst_video_vbi_parser_get_ancillary(parser, &anc) == GST_VIDEO_VBI_PARSER_RESULT_OK)
            out.push_back(
                {anc.DID, anc.SDID_block_number, 0, 0, {anc.data, anc.data + anc.data_count}});
    }
    gst_video_vbi_parser_free(parser);
    return out;
}

struct Form {
    VancFormat format;
    std::uint32_t width;
};
constexpr Form kForms[] = {{VancFormat::V210, 1920},
                           {VancFormat::V210, 720},
                           {VancFormat::Uyvy, 1920},
                           {VancFormat::Uyvy, 720}};

}  // namespace

TEST(GStreamerInterop, EncoderLinesReadBackToTheSampleAnswersAndParserReadsOurLines) {
    for (const Sample& s : samples()) {
        const std::vector<Packet> packets = packetsFromAncillaryBuffer(s.bytes, s.flags);
        const std::vector<Dictionary> expected = answers(s);
        for (const Form& f : kForms) {
            SCOPED_TRACE(s.name + (f.format == VancFormat::V210 ? " v210 " : " uyvy ") +
                         std::to_string(f.width));
            const auto read = packetsFromVancLines(encodeWithGStreamer(packets, f.format, f.width),
                                                   {f.format, f.width});
            EXPECT_EQ(read, packets);
            EXPECT_EQ(answers(read), expected);

            // The parser reads only the first `width` bytes of a UYVY line: there, one packet a
            // line, at its start.
            std::vector<unsigned char> lines = vancLinesFromPackets(packets, {f.format, f.width});
            if (f.format == VancFormat::Uyvy) {
                lines.clear();
                for (const Packet& p : packets) {
                    const auto line = vancLinesFromPackets({&p, 1}, {f.format, f.width});
                    lines.insert(lines.end(), line.begin(), line.end());
                }
            }
            EXPECT_EQ(parseWithGStreamer(lines, f.format, f.width), packets);
        }
    }
}

// Frames our writers make from each sample's answers: GStreamer's parser reads their v210 lines
// to packets whose parse gives the answers back, and its encoder's lines of the same packets read
// back through our line reader to the same answers.
TEST(GStreamerInterop, EncodedFramesReadBackThroughGStreamer) {
    constexpr Form kV210{VancFormat::V210, 1920};
    for (const Sample& s : samples()) {
        const std::vector<Dictionary> expected = answers(s);
        for (int type : {0, 1, 2}) {
            const auto written =
                encodeRDD18(expected[static_cast<std::size_t>(type)], flavourOf(type));
            const auto packets = packetsFromAncillaryBuffer(written, true);
            const auto gst =
                parseWithGStreamer(vancLinesFromPackets(packets, {kV210.format, kV210.width}),
                                   kV210.format, kV210.width);
            EXPECT_EQ(answers(gst)[static_cast<std::size_t>(type)],
                      expected[static_cast<std::size_t>(type)])
                << s.name;
            const auto ours =
                packetsFromVancLines(encodeWithGStreamer(packets, kV210.format, kV210.width),
                                     {kV210.format, kV210.width});
            EXPECT_EQ(answers(ours)[static_cast<std::size_t>(type)],
                      expected[static_cast<std::size_t>(type)])
                << s.name;
        }
        const auto arri = packetsFromAncillaryBuffer(arri::encodeArri(expected[3]), true);
        EXPECT_EQ(
            answers(parseWithGStreamer(vancLinesFromPackets(arri, {kV210.format, kV210.width}),
                                       kV210.format, kV210.width))[3],
            expected[3])
            << s.name;
    }
}
