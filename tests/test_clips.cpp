// Clips, runs of ST 436M elements and folders of ARRIRAW frames through velmora-dump: one answer
// per frame, equal to the answer of the same packets (or record) as a flagged 8-bit buffer.
#ifdef VELMORA_HAVE_DUMP_TOOL
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <regex>
#include <sstream>

#include "dump/ari_frames.h"
#include "dump/dump.h"
#include "frame_builder.h"
#include "iso_bmff_writer.h"
#include "rdd18/host/st436m.h"
#include "tool_run.h"

namespace fs = std::filesystem;
using nlohmann::json;
namespace host = rdd18::host;

namespace {

const fs::path kSamples = VELMORA_SAMPLES_DIR;

using rdd18::testsupport::fileBytes;
using rdd18::testsupport::lines;
using rdd18::testsupport::tool;
using rdd18::testsupport::ToolRun;
[[maybe_unused]] std::string fileText(const fs::path& p) {
    const auto bytes = fileBytes(p);
    return {bytes.begin(), bytes.end()};
}

// The element of the packets of a flagged buffer, each on line 9 of a VANC frame in `coding`.
[[maybe_unused]] std::vector<unsigned char> elementOf(const std::vector<unsigned char>& frame,
                                                      std::uint8_t coding, bool checksumByte) {
    std::vector<host::St436mPacket> packets;
    for (host::Packet& p : host::packetsFromAncillaryBuffer(frame, true))
        packets.push_back({{p.did, p.sdid, 9, 0, std::move(p.udw)}, 1, coding});
    return host::st436mElement(packets, {checksumByte});
}

json answerOf(const std::string& sample) {
    const auto r =
        lines(tool({"--flavour", "sony", "-f", "jsonl", (kSamples / sample).string()}).out);
    return {{"rdd18", r.at(0).at("rdd18")}, {"arri", r.at(0).at("arri")}};
}

// A run of elements as an MXF track's raw values: the bundled frames in each coding, then an
// element cut off by the end of the file.
TEST(Clips, ElementRunGivesTheFramesAnswersInOrder) {
    const char* const frames[] = {"standard.anc", "sony.anc", "mixed.anc"};
    const fs::path run = fs::temp_directory_path() / "velmora_elements.bin";
    std::vector<json> expected;
    {
        std::ofstream out(run, std::ios::binary);
        for (auto [coding, checksumByte] :
             {std::pair<std::uint8_t, bool>{4, false}, {4, true}, {7, false}}) {
            for (const char* f : frames) {
                const auto e = elementOf(fileBytes(kSamples / f), coding, checksumByte);
                out.write(reinterpret_cast<const char*>(e.data()),
                          static_cast<std::streamsize>(e.size()));
                expected.push_back(answerOf(f));
            }
        }
        out << std::string("\x00\x01\x00\x09", 4);
    }
    const ToolRun r = tool({"--input", "st436m", "--flavour", "sony", "-f", "jsonl", run.string()});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err,
              "velmora-dump: " + run.string() + ": element 9 is cut off by the end of the input\n");
    const auto got = lines(r.out);
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].at("frame"), i);
        EXPECT_EQ(json({{"rdd18", got[i].at("rdd18")}, {"arri", got[i].at("arri")}}), expected[i])
            << i;
    }
    // The packet walk tells where each packet was stored; the explanation adds the element's own.
    const ToolRun some = tool({"--input", "st436m", "--frames", "4:6", "--packets", "--explain",
                               "-f", "jsonl", run.string()});
    ASSERT_EQ(lines(some.out).size(), 2u);
    const json frame4 = lines(some.out).at(0);
    EXPECT_EQ(frame4.at("frame"), 4);
    EXPECT_EQ(frame4.at("packets").at(0).at("coding"), 4);
    EXPECT_EQ(frame4.at("faults").at("st436m"), json::array());
    fs::remove(run);
}

// A frame number is the digits right before ".ari", in any case: up to 18 of them (an int64).
TEST(Clips, AriFrameNumbersFromTheName) {
    const struct {
        std::string name;
        bool ari;
        std::optional<std::int64_t> number;
    } rows[] = {{"A.0000123.ari", true, 123},
                {"A.7.ARI", true, 7},
                {"B" + std::string(18, '9') + ".Ari", true, 999999999999999999},
                {"B" + std::string(19, '1') + ".ari", true, std::nullopt},
                {"C.ari", true, std::nullopt},
                {"12.arj", false, std::nullopt},
                {".ari", false, std::nullopt}};
    for (const auto& r : rows) {
        EXPECT_EQ(rdd18::dump::hasAriName(r.name), r.ari) << r.name;
        EXPECT_EQ(rdd18::dump::ariFrameNumber(r.name), r.number) << r.name;
    }
}

// A folder of ARRIRAW frames with a gap, a frame of another clip, a frame cut short, one of
// another magic and one that can't be opened, beside entries the folder reading passes over.
TEST(Clips, AriFolderAnswersEachFrameInOrderAndReportsTheBadOnes) {
    const fs::path dir =
        fs::temp_directory_path() / ("velmora-ari-" + std::to_string(std::random_device{}()));
    const fs::path take = kSamples / "arriraw" / "A012C003_230517_R1AB.000000";
    fs::create_directories(dir / "sub.ari");
    for (const char* to : {"T.0.ari", "U.3.ari", "T.4.ari", "T.5.ari", "frame.bin"})
        fs::copy_file(take.string() + "0.ari", dir / to);
    fs::copy_file(take.string() + "2.ari", dir / "T.2.ARI");  // the extension in any case
    fs::resize_file(dir / "T.4.ari", 4095);
    std::fstream(dir / "T.5.ari", std::ios::in | std::ios::out | std::ios::binary).put('B');
    // A dangling link can't be opened; where links can't be made (Wine), the row is left out.
    std::error_code noLinks;
    fs::create_symlink(dir / "missing", dir / "T.6.ari", noLinks);
    const ToolRun run = tool({"-f", "jsonl", dir.string()});
    const ToolRun csv = tool({"-f", "csv", "--frames", "2:5", dir.string()});
    const ToolRun byMagic = tool({"-f", "jsonl", (dir / "frame.bin").string()});
    fs::remove_all(dir);
    EXPECT_EQ(run.status, noLinks ? 0 : 1);
    std::vector<std::string> got;  // number, keys and timecode of each frame, in order
    for (const json& f : lines(run.out))
        got.push_back(f.at("frame").dump() + " " + std::to_string(f.at("arri").size()) + " " +
                      f.value("timecode", ""));
    EXPECT_EQ(got, (std::vector<std::string>{"0 62 01:23:45:12", "2 62 01:23:45:14",
                                             "3 62 01:23:45:12", "4 0 ", "5 0 "}));
    const json arri = answerOf("arri.anc").at("arri");
    EXPECT_EQ(lines(run.out).at(2).at("arri"), arri);
    // gap, clips, 2 bad, 1 lost
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), noLinks ? 4 : 5);
    const std::regex rows("file,.*\r?\n.*T.2.ARI,2,.*\r?\n.*U.3.ari,3,.*\r?\n.*T.4.ari,4,.*\r?\n");
    EXPECT_TRUE(std::regex_match(csv.out, rows)) << csv.out;  // frames 2 to 4, in order
    EXPECT_EQ(lines(byMagic.out).at(0).at("arri"), arri);
}

#ifdef VELMORA_HAVE_CLIPS
// The sample clip, read through libavformat: 5 frames carrying standard.anc (8-bit), sony.anc
// (8-bit with checksum bytes), standard.anc (10-bit), an element without packets and an element
// of no bytes.
TEST(Clips, SampleClipMatchesGoldenFilesAndItsSources) {
    const fs::path previous = fs::current_path();
    fs::current_path(kSamples / "clips");
    const ToolRun jsonl = tool({"--flavour", "sony", "-f", "jsonl", "camera.mxf"});
    const ToolRun csv = tool({"--flavour", "sony", "-f", "csv", "camera.mxf"});
    const ToolRun part = tool({"--frames", "1:3", "-f", "jsonl", "camera.mxf"});
    const ToolRun bad = tool({"-f", "jsonl", "camera.csv", "camera.mxf", "--input", "clip"});
    fs::current_path(previous);
    ASSERT_EQ(jsonl.status, 0) << jsonl.err;
    EXPECT_EQ(jsonl.out, fileText(kSamples / "clips" / "camera.jsonl"));
    EXPECT_EQ(csv.out, fileText(kSamples / "clips" / "camera.csv"));
    const auto frames = lines(jsonl.out);
    ASSERT_EQ(frames.size(), 5u);
    const json empty = {{"rdd18", json::object()}, {"arri", json::object()}};
    const json sources[] = {answerOf("standard.anc"), answerOf("sony.anc"),
                            answerOf("standard.anc"), empty, empty};
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].at("frame"), i);
        EXPECT_EQ(frames[i].at("timecode"), "10:00:00:0" + std::to_string(i));
        EXPECT_EQ(json({{"rdd18", frames[i].at("rdd18")}, {"arri", frames[i].at("arri")}}),
                  sources[i])
            << i;
    }
    const auto some = lines(part.out);
    ASSERT_EQ(some.size(), 2u);
    EXPECT_EQ(some[0].at("frame"), 1);
    EXPECT_EQ(some[1].at("frame"), 2);
    // A file that isn't a clip gets its line; the clip behind it is still decoded.
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.err.rfind("velmora-dump: camera.csv: ", 0), 0u) << bad.err;
    EXPECT_EQ(lines(bad.out).size(), 5u);
}

// Content packages without an element (their keys made KLV fill) keep their frame numbers and
// times, with no packets: the elements after a gap, and the packages after the last, stay in step.
TEST(Clips, PackagesWithoutAnElementKeepTheirFrameNumbers) {
    auto clip = fileBytes(kSamples / "clips" / "camera.mxf");
    const unsigned char ancKey[] = {6, 14, 43, 52, 1, 2, 1, 1, 13, 1, 3, 1, 23, 1, 2, 0};
    const unsigned char fill[] = {6, 14, 43, 52, 1, 1, 1, 2, 3, 1, 2, 16, 1, 0, 0, 0};
    std::vector<decltype(clip)::iterator> elements;
    for (auto at = clip.begin();
         (at = std::search(at, clip.end(), std::begin(ancKey), std::end(ancKey))) != clip.end();)
        elements.push_back(at++);
    ASSERT_EQ(elements.size(), 5u);
    for (auto gone : {1u, 3u, 4u}) std::copy(std::begin(fill), std::end(fill), elements[gone]);
    const fs::path path = fs::temp_directory_path() / ("velmora-gaps-" + std::to_string(getpid()));
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(clip.data()),
               static_cast<std::streamsize>(clip.size()));
    const auto got =
        lines(tool({"--input", "clip", "--flavour", "sony", "-f", "jsonl", path.string()}).out);
    const auto golden = lines(fileText(kSamples / "clips" / "camera.jsonl"));
    fs::remove(path);
    ASSERT_EQ(got.size(), 5u);
    for (std::size_t i = 0; i < 5; ++i) {
        for (const char* key : {"frame", "time", "timecode"})
            EXPECT_EQ(got[i].at(key), golden[i].at(key)) << i;
        EXPECT_EQ(got[i].at("rdd18"), i == 1 ? json::object() : golden[i].at("rdd18"));
    }
}

// rtmd samples of the packs of bundled frames answer as those frames (Sony flavour by default), in
// an MP4 and back to back; an MP4 without the track fails alone, cut it answers up to the cut.
TEST(Clips, Mp4RtmdTrackAnswersAsTheSamePacksInAncPackets) {
    using namespace rdd18::testsupport;
    const char* const frames[] = {"sony.anc", "standard.anc", "mixed.anc"};
    Mp4Clip clip, none{{}, 3, false}, empty{{}, 3, true};
    Bytes run;
    for (std::uint8_t i = 0; i < 3; ++i) {
        const auto packets =
            host::packetsFromAncillaryBuffer(fileBytes(kSamples / frames[i]), true);
        clip.samples.push_back(rdd18::writeRtmdSample(host::rdd18Stream(packets),
                                                      rdd18::RtmdTimecode{1, 2, 3, i, false}) +
                               Bytes(17 * i, 0));
        run = run + clip.samples.back();
    }
    // The packs of the first frame behind 16 bytes that are no key: read, and listed, all the same.
    const auto packsAt = clip.samples[0].begin() + rdd18::kRtmdHeaderSize;
    const Mp4Clip junk{{Bytes(clip.samples[0].begin(), packsAt) + Bytes(16, 0xEE) +
                        Bytes(packsAt, clip.samples[0].end())}};
    const fs::path dir = fs::temp_directory_path();
    const Bytes file = mp4Clip(clip);
    const std::map<std::string, Bytes> files{{"velmora.mp4", file},
                                             {"velmora-cut", Bytes(file.begin(), file.end() - 100)},
                                             {"velmora.rtmd", run},
                                             {"velmora-none.mp4", mp4Clip(none)},
                                             {"velmora-empty.mp4", mp4Clip(empty)},
                                             {"velmora-junk.mp4", mp4Clip(junk)}};
    for (const auto& [name, bytes] : files)
        std::ofstream(dir / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    const auto path = [&](const char* name) { return (dir / name).string(); };
    const ToolRun whole = tool({"-f", "jsonl", path("velmora.mp4"), path("velmora-empty.mp4")});
    const ToolRun samples = tool({"--input", "rtmd", "-f", "jsonl", path("velmora.rtmd")});
    const ToolRun cut = tool({"-f", "jsonl", path("velmora-cut")});
    const ToolRun bad =
        tool({"-f", "jsonl", path("velmora-none.mp4"), path("velmora.mp4"), path("velmora.rtmd")});
    ASSERT_EQ(whole.status, 0) << whole.err;
    const auto got = lines(whole.out), extracted = lines(samples.out), before = lines(cut.out);
    for (const auto* frames : {&got, &extracted, &before}) ASSERT_EQ(frames->size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(got[i].at("rdd18"), answerOf(frames[i]).at("rdd18")) << i;
        EXPECT_EQ(got[i].at("timecode"), "01:02:03:0" + std::to_string(i));
        EXPECT_EQ(got[i].at("time"), 0.04 * static_cast<double>(i));
        EXPECT_EQ(extracted[i].at("rdd18"), got[i].at("rdd18"));
        EXPECT_EQ(before[i].at("rdd18"), i < 2 ? got[i].at("rdd18") : json::object());  // cut
    }
    const auto skipped = lines(tool({"--packets", "-f", "jsonl", path("velmora-junk.mp4")}).out);
    EXPECT_EQ(skipped.at(0).at("rdd18"), got[0].at("rdd18"));
    EXPECT_EQ(skipped.at(0).at("packets").at(0).at("offset"), rdd18::kRtmdHeaderSize + 16);
    EXPECT_GT(skipped.at(0).at("packets").at(0).at("items"), 0);
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.err,
              "velmora-dump: " + path("velmora-none.mp4") +
                  ": the file has no rtmd metadata track\nvelmora-dump: " + path("velmora.rtmd") +
                  ": no RDD 18 or ARRI packet found; it looks like rtmd samples (an MP4 "
                  "rtmd track's raw values): try --input rtmd\n");
    EXPECT_EQ(lines(bad.out).size(), 4u);
    for (const auto& f : files) fs::remove(dir / f.first);
}

#endif

}  // namespace

#endif  // VELMORA_HAVE_DUMP_TOOL
