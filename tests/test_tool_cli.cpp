// velmora-dump's command line, run in-process: inputs, hexadecimal text, parser choice, the
// packet walk, exit status and error lines.
#include <gtest/gtest.h>
#ifndef _WIN32
#include <unistd.h>
#endif

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <tuple>

#include "dump/dump.h"
#include "dump/frames.h"
#include "dump/input.h"
#include "frame_builder.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/st436m.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rtp_sender.h"
#include "tool_run.h"
#ifdef VELMORA_HAVE_PCAP
namespace rdd18::testsupport {
void writeCapture(const std::filesystem::path& path, int link, bool vlan,
                  const std::vector<Bytes>& flow);  // test_rtp_tool.cpp
}
#endif

using namespace rdd18::testsupport;
using nlohmann::json;

namespace {

std::string asText(const Bytes& b) {
    return std::string(b.begin(), b.end());
}

// One packet, sequence 1, one pack with one item of tag F0 01 and payload AA.
const char* const kOneItemHex =
    "00 FF FF 43 05 1A 01 06 0E 2B 34 00 00 00 00 00 00 00 00 00 00 00 00 83 00 00 05 F0 01 00 "
    "01 AA 00";
const json kOneItemAnswer = {{"Unknown_0xf0_0x01", {{"$data", "aa"}}}};

TEST(ToolInput, MalformedHexTextIsOneLineNamingThePlace) {
    const struct {
        const char* text;
        const char* error;
    } cases[] = {
        {"43 05 zz", "velmora-dump: -:1:7: 'z' is not a hexadecimal digit\n"},
        {"43 05\n0x4g", "velmora-dump: -:2:4: 'g' is not a hexadecimal digit\n"},
        {"43,0z # zz", "velmora-dump: -:1:5: 'z' is not a hexadecimal digit\n"},
        {"43\n0 5",
         "velmora-dump: -:2:1: odd number of hexadecimal digits (1); write each byte as two "
         "digits\n"},
        {"430",
         "velmora-dump: -:1:1: odd number of hexadecimal digits (3); write each byte as two "
         "digits\n"},
        {"43 \x01", "velmora-dump: -:1:4: byte 0x01 is not a hexadecimal digit\n"},
    };
    for (const auto& c : cases) {
        const ToolRun r = tool({"--hex"}, c.text);
        EXPECT_EQ(r.status, rdd18::dump::kExitBadInput) << c.text;
        EXPECT_EQ(r.err, c.error);
        EXPECT_EQ(r.out, "") << c.text;
    }
}

TEST(ToolInput, AnalyserSpellingsAndOneFramePerLine) {
    using namespace rdd18::dump;
    auto frames = [](const std::string& text, const SourceOptions& o) {
        std::istringstream in(text);
        std::vector<Frame> read;
        readFrames("-", o, in, [&](const Frame& f) { read.push_back(f); });
        return read;
    };
    SourceOptions hex;
    hex.hex = true;
    for (const char* text : {"00 FF FF 43 05 00 48", "0x00,0xFF,0xff, 0x43 0X05 00 48 # c",
                             "00000000: 00ff ff43 0500 48  ...C..H\n"})
        EXPECT_EQ(frames(text, hex).at(0).bytes, (Bytes{0, 0xFF, 0xFF, 0x43, 0x05, 0, 0x48}))
            << text;
    SourceOptions words = hex;
    words.form = InputForm::Words10;
    words.framePerLine = true;
    const auto perLine =
        frames("# a\n000 3FF 3FF 143 205 203 101 102 203 151\n\n3FC 143 205 200 149\n", words);
    ASSERT_EQ(perLine.size(), 2u);
    EXPECT_EQ(perLine[0].name, "-:2");
    EXPECT_EQ(perLine[0].bytes, (Bytes{0, 0xFF, 0xFF, 0x43, 0x05, 3, 1, 2, 3, 0x51}));
    EXPECT_EQ(perLine[1].faults.at(0).code, rdd18::FaultCode::BadChecksum);
    EXPECT_THROW(frames("0001F", words), InputError);
    const std::string bad = "3FC 143 205 200 149";  // the tool lists the frame's fault apart
    const auto report = tool({"--hex", "--input", "words10", "--explain", "-f", "jsonl"}, bad);
    EXPECT_EQ(json::parse(report.out).at("input").size(), 1u);
}

TEST(ToolCommandLine, BadArgumentsAndUnreadableFiles) {
    const struct {
        std::vector<std::string> args;
        int status;
        const char* errorStart;
    } cases[] = {
        {{"--format", "xml"},
         2,
         "velmora-dump: --format: xml not in {csv,json,jsonl,opentrackio,plist,table}"},
        {{"--flavour", "nikon"}, 2, "velmora-dump: --flavour: nikon not in"},
        {{"--parser", "all"}, 2, "velmora-dump: --parser: all not in"},
        {{"--bogus"}, 2, "velmora-dump: The following argument was not expected: --bogus"},
        {{"/nonexistent/frame.anc"},
         1,
         "velmora-dump: /nonexistent/frame.anc: cannot open: No such file or directory"},
        {{"."}, 1, "velmora-dump: .: no .ari frame file in the folder"},
    };
    for (const auto& c : cases) {
        const ToolRun r = tool(c.args);
        EXPECT_EQ(r.status, c.status) << c.args[0];
        EXPECT_EQ(r.err.rfind(c.errorStart, 0), 0u) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_EQ(r.out, "");
    }
}

TEST(ToolCommandLine, StandardInputBinaryAndHex) {
    const Bytes frame = rdd18::dump::parseHexText(kOneItemHex, "frame");
    const ToolRun binary = tool({}, asText(frame));
    ASSERT_EQ(binary.status, 0) << binary.err;
    const json answer = json::parse(binary.out);
    EXPECT_EQ(answer,
              json::array({{{"file", "-"}, {"rdd18", kOneItemAnswer}, {"arri", json::object()}}}));
    EXPECT_EQ(tool({"--hex", "-"}, kOneItemHex).out, binary.out);
    // Without flags the same packet parses with --no-flags, and the flagged bytes give nothing.
    const Bytes bare(frame.begin() + 3, frame.end());
    EXPECT_EQ(json::parse(tool({"--no-flags", "-f", "jsonl"}, asText(bare)).out)["rdd18"],
              kOneItemAnswer);
    EXPECT_EQ(json::parse(tool({"--no-flags", "-f", "jsonl"}, asText(frame)).out)["rdd18"],
              json::object());
    // An empty input is an answer, not an error.
    const ToolRun empty = tool({"-f", "jsonl"}, "");
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "{\"file\":\"-\",\"rdd18\":{},\"arri\":{}}\n");
}

TEST(ToolCommandLine, SeveralFilesInOrderOrNone) {
    const auto dir = std::filesystem::temp_directory_path();
    const auto a = (dir / "velmora_tool_a.anc").string();
    const auto b = (dir / "velmora_tool_b.hex").string();
    std::ofstream(a) << kOneItemHex;
    std::ofstream(b) << "4x # not hex\n";
    // A bad input gets its error line; the inputs around it are still decoded.
    auto line = [](const std::string& name) {
        return "{\"file\":" + nlohmann::json(name).dump() +
               ",\"rdd18\":{\"Unknown_0xf0_0x01\":{\"$data\":\"aa\"}},\"arri\":{}}\n";
    };
    const ToolRun r =
        tool({"-f", "jsonl", "--hex", b, a, b, "--input", "packets", "-"}, kOneItemHex);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, line(a) + line("-"));
    const std::string badLine = "velmora-dump: " + b + ":1:2: 'x' is not a hexadecimal digit\n";
    EXPECT_EQ(r.err, badLine + badLine);
    // When every input fails, nothing is written.
    const ToolRun bad = tool({"--hex", b, b});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.out, "");
    std::filesystem::remove(a);
    std::filesystem::remove(b);
}

TEST(ToolCommandLine, HintsTerminalWriteFailuresAndClosedPipe) {
    const std::string flagged = asText(rdd18::dump::parseHexText(kOneItemHex, "frame"));
    const std::string none = "velmora-dump: -: no RDD 18 or ARRI packet found; ";
    const struct {
        std::vector<std::string> args;
        std::string input, err;
    } cases[] = {
        {{}, kOneItemHex, none + "it looks like hexadecimal text: try --hex\n"},
        {{},
         flagged.substr(3),
         none + "its packets look like they carry no flag: try --no-flags\n"},
        {{"--no-flags"},
         flagged,
         none + "its packets look like they carry the 3-byte flag: leave out --no-flags\n"},
        {{}, flagged, ""},
        {{"--hex"}, kOneItemHex, ""},
        {{}, "no frame", ""}};
    for (const auto& c : cases) EXPECT_EQ(tool(c.args, c.input).err, c.err) << c.input;
    const ToolRun terminal = tool({}, flagged, true);  // nothing named: a usage line, no wait
    EXPECT_EQ(terminal.status, rdd18::dump::kExitBadArguments);
    EXPECT_EQ(terminal.err.rfind("velmora-dump: no input: ", 0), 0u) << terminal.err;
    EXPECT_EQ(tool({"-"}, flagged, true).err, "");
#ifndef _WIN32                      // a full device and a closed pipe: POSIX facilities
    std::signal(SIGPIPE, SIG_IGN);  // as the tool's main does
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const std::string full = "velmora-dump: can't write the output: No space left on device\n";
    for (const char* format : {"json", "jsonl", "plist", "table"}) {
        for (const auto& [path, status, message] :
             {std::tuple{std::string("/dev/full"), 3, full},
              std::tuple{"/dev/fd/" + std::to_string(ends[1]), 0, std::string()}}) {
            std::istringstream in;
            std::ostringstream err;
            std::ofstream out(path);
            EXPECT_EQ(
                rdd18::dump::run({"-f", format, VELMORA_SAMPLES_DIR "/standard.anc"}, in, out, err),
                status)
                << path << format;
            EXPECT_EQ(err.str(), message);
        }
    }
    close(ends[1]);
#endif
}

// The frames of `out` in `format`, each checked for its form (a JSON value a line, a dict each).
std::size_t framesIn(const std::string& format, const std::string& out) {
    if (format == "json") return json::parse(out).size();
    EXPECT_TRUE(format != "plist" || out.ends_with("</array>\n</plist>\n")) << out;
    EXPECT_TRUE(format != "csv" || out.starts_with("file,")) << out;
    std::size_t n = format == "csv" && !out.empty() ? std::size_t(-1) : 0;  // the header row
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) {
        if (format == "jsonl" || format == "opentrackio") n += json::parse(line).is_object();
        if (format == "plist") n += line == "\t<dict>";
        if (format == "csv") n += line.back() == '\r';
        if (format == "table") n += !line.empty() && line[0] != ' ';
    }
    return n;
}

using Frames = std::vector<PacketList>;

// A form of input: the files of some frames in it, and the exit status of an input cut 5 bytes
// into its last frame (a word file of odd size, an element or a capture cut off fail; the rest
// answer the cut frame).
struct InputForm {
    const char* name;
    std::function<std::vector<Bytes>(const Frames&)> files;
    int cutStatus = 0;
    bool checksums = true;  // its packets carry checksums
};

// Files of one frame each, or of all the frames back to back.
std::function<std::vector<Bytes>(const Frames&)> each(std::function<Bytes(const PacketList&)> one,
                                                      bool joined = false) {
    return [=](const Frames& frames) {
        std::vector<Bytes> files;
        for (const PacketList& f : frames)
            joined && !files.empty() ? void(files[0] = files[0] + one(f)) : files.push_back(one(f));
        return files;
    };
}

// Each bad input, written in every input form, through every output format: the exit status, the
// output well formed, and the good frames around the bad one as the clean input gives them.
TEST(ToolInput, BadInputInEveryFormAndFormat) {
    using namespace rdd18::host;
    Frames frames;  // in frame 1, a packet of another service (DID 0x60) between RDD 18 and ARRI
    for (const std::string f : {"standard.anc", "mixed.anc", "sony.anc"})
        frames.push_back(packetsFromAncillaryBuffer(fileBytes(VELMORA_SAMPLES_DIR "/" + f), true));
    Frames other = frames;
    ++other[1].at(2).udw.at(0);
    const auto dir = std::filesystem::temp_directory_path();
    const auto vanc = [](VancFormat f) {
        return each([=](auto& p) { return vancLinesFromPackets(p, {f, 1920}); });
    };
    // clang-format off
    const std::vector<InputForm> forms = {
        {"packets", each([](auto& p) { return ancillaryBufferFromPackets(p); })},
        {"words10", each([](auto& p) {
             Bytes b;
             for (const std::uint16_t w : words10FromPackets(p)) b = b + le16(w);
             return b; }), 1},
        {"v210", vanc(VancFormat::V210)},
        {"uyvy", vanc(VancFormat::Uyvy)},
        {"rfc8331", each([](auto& p) { return rfc8331FromPackets(p); })},
        {"st436m", each([](auto& p) {
             std::vector<St436mPacket> element;
             for (const Packet& k : p) element.push_back({k, 1, 7});
             return st436mElement(element); }, true), 1},
        {"rtmd", each([](auto& p) { return rdd18::writeRtmdSample(rdd18Stream(p), {}); }, true), 0, false},
        {"ari", each([](auto&) { return ariFile(ArriHeaderBuilder().u32(0x14, 3424).bytes(), 8); }), 0, false},
#ifdef VELMORA_HAVE_PCAP
        {"pcap", [&](const Frames& f) -> std::vector<Bytes> {
             writeCapture(dir / "velmora_forms.pcap", 1, false, rtpFlow(f));
             return {fileBytes(dir / "velmora_forms.pcap")}; }, 1},
#endif
    };
    // clang-format on
    auto dump = [&](const InputForm& form, const std::vector<Bytes>& files,
                    const std::string& format, std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--input", form.name, "-f", format});
        for (std::size_t i = 0; i < files.size(); ++i) {
            options.push_back((dir / ("velmora_forms_" + std::to_string(i))).string());
            std::ofstream(options.back(), std::ios::binary) << asText(files[i]);
        }
        return tool(options);
    };
    for (const InputForm& form : forms) {
        const auto clean = form.files(frames), firstTwo = form.files({frames[0], frames[1]});
        // A bad checksum on that packet: the last byte where its files differ from those of
        // `other` belongs to the checksum (behind the first word), and is taken from `other`.
        auto badChecksum = clean;
        const auto others = form.files(other);
        for (std::size_t i = 0; i < clean.size(); ++i) {
            const auto at = std::mismatch(clean[i].rbegin(), clean[i].rend(), others[i].rbegin());
            if (at.first != clean[i].rend())
                badChecksum[i].rbegin()[at.first - clean[i].rbegin()] = *at.second;
        }
        EXPECT_EQ(badChecksum != clean, form.checksums) << form.name;
        auto cut = clean;
        cut.back().resize((clean.size() == 1 ? firstTwo[0].size() : 0) + 5);
        const struct {
            const char* name;
            const std::vector<Bytes>& files;
            int status;
            const std::vector<Bytes>& whole;  // the frames that come out whole, as clean input
        } rows[] = {{"bad checksum", badChecksum, 0, clean},
                    {"cut", cut, form.cutStatus, firstTwo}};
        for (const auto& row : rows) {
            for (const std::string format :
                 {"json", "jsonl", "csv", "table", "plist", "opentrackio"}) {
                SCOPED_TRACE(std::string(row.name) + ", " + form.name + ", " + format);
                const ToolRun good = dump(form, row.whole, format),
                              r = dump(form, row.files, format);
                EXPECT_EQ(r.status, row.status) << r.err;
                EXPECT_EQ(framesIn(format, r.out),
                          row.status == 0 ? 3 : framesIn(format, good.out));
                // The clean frames' output up to its closing bracket starts the output.
                const auto frames =
                    good.out.substr(0, good.out.rfind(format == "json" ? "\n]" : "</array>"));
                EXPECT_TRUE(r.out.starts_with(frames)) << r.out;
            }
        }
        const json all = json::parse(dump(form, clean, "json").out);  // numbered from 0, if at all
        for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(all.at(i).value("frame", i), i) << form.name;
        if (!form.checksums) continue;
        // The damaged packet is left out, but from an 8-bit buffer, whose checksums aren't checked.
        const auto packets = [&](const std::vector<Bytes>& files) {
            return json::parse(dump(form, files, "json", {"--packets"}).out)
                .at(1)
                .at("packets")
                .size();
        };
        EXPECT_EQ(packets(badChecksum) + (form.name != std::string("packets")), packets(clean));
    }
    for (const char* f :
         {"velmora_forms_0", "velmora_forms_1", "velmora_forms_2", "velmora_forms.pcap"})
        std::filesystem::remove(dir / f);
}

}  // namespace
