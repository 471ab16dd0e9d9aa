// velmora-dump on ST 2110-40 flows: captures written by libpcap's own writer in each link layer,
// cut off or without such a flow; the real captures; a live flow on the loopback.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <pcap/pcap.h>

#include <atomic>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "dump/dump.h"
#include "rtp_sender.h"
#include "tool_run.h"

using namespace rdd18::testsupport;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

/// The tool's JSON lines, with the packet walk, for `args`.
std::vector<json> runTool(std::vector<std::string> args, int status = 0, const Bytes& in = {}) {
    args.insert(args.begin(), {"-f", "jsonl", "--packets"});
    const ToolRun r = tool(args, std::string(in.begin(), in.end()));
    EXPECT_EQ(r.status, status) << r.err;
    return lines(r.out);
}

/// Whether `got`, a frame of a flow, has the answers the tool gives `packets` as an 8-bit buffer.
void expectBufferAnswers(const json& got, const PacketList& packets) {
    const json buffer = runTool({"-"}, 0, rdd18::host::ancillaryBufferFromPackets(packets)).at(0);
    for (const char* section : {"rdd18", "arri", "packets"})
        EXPECT_EQ(got.at(section), buffer.at(section)) << section << " of frame " << got["frame"];
}

}  // namespace

namespace rdd18::testsupport {
/// A capture of `flow` to 239.1.1.1:5000 written by libpcap, in `link`'s framing (VLAN-tagged
/// Ethernet for `vlan`), with a datagram of no RTP to another flow after each, 1 µs apart (also
/// the captures of the tool's form table).
void writeCapture(const fs::path& path, int link, bool vlan, const std::vector<Bytes>& flow) {
    pcap_t* dead = pcap_open_dead_with_tstamp_precision(link, 65535, PCAP_TSTAMP_PRECISION_NANO);
    pcap_dumper_t* dumper = pcap_dump_open(dead, path.c_str());
    for (std::size_t k = 0; k < 2 * flow.size(); ++k) {
        const Bytes payload = k % 2 ? text("no RTP") : flow[k / 2];
        const auto port = static_cast<std::uint16_t>(k % 2 ? 6000 : 5000);
        const Bytes udp = be16(port) + be16(port) +
                          be16(static_cast<std::uint16_t>(8 + payload.size())) + be16(0);
        const Bytes ip = Bytes{0x45, 0} + be16(static_cast<std::uint16_t>(28 + payload.size())) +
                         Bytes{0, 0, 0, 0, 64, 17, 0, 0, 10, 0, 0, 1, 239, 1, 1, 1};
        const Bytes ipv4 = be16(0x0800);  // the protocol type of each link header
        const Bytes head = link == DLT_RAW          ? Bytes{}
                           : link == DLT_LINUX_SLL2 ? ipv4 + Bytes(18, 0)
                           : link == DLT_LINUX_SLL
                               ? Bytes(14, 0) + ipv4
                               : Bytes(12, 0) + (vlan ? be16(0x8100) + be16(7) : Bytes{}) + ipv4;
        const Bytes record = head + ip + udp + payload;
        pcap_pkthdr h{{1700000000, static_cast<suseconds_t>(k * 1000)}, 0, 0};  // ns
        h.caplen = h.len = static_cast<bpf_u_int32>(record.size());
        pcap_dump(reinterpret_cast<u_char*>(dumper), &h, record.data());
    }
    pcap_dump_close(dumper);
    pcap_close(dead);
}
}  // namespace rdd18::testsupport

TEST(RtpTool, CapturesInEachLinkLayerGiveTheBufferAnswersFrameByFrame) {
    const auto frames = sampleFlowFrames(VELMORA_SAMPLES_DIR);
    const auto flow = rtpFlow(frames, {.perRtpPacket = 2, .interlaced = true});
    const fs::path path = fs::temp_directory_path() / "velmora_rtp.pcap";
    for (const auto& [link, vlan] : {std::pair{DLT_EN10MB, false},
                                     {DLT_EN10MB, true},
                                     {DLT_LINUX_SLL, false},
                                     {DLT_LINUX_SLL2, false},
                                     {DLT_RAW, false}}) {
        SCOPED_TRACE(link + vlan);
        writeCapture(path, link, vlan, flow);
        const auto got = runTool({path});
        ASSERT_EQ(got.size(), frames.size());
        for (std::size_t f = 0; f < frames.size(); ++f) {
            EXPECT_EQ(got[f]["flow"], "239.1.1.1:5000");
            EXPECT_EQ(got[f]["field"], 1 + f % 2);
            expectBufferAnswers(got[f], frames[f]);
        }
        EXPECT_EQ(got[1]["arrival"], "2023-11-14T22:13:20.000018000Z");  // its last: record 18
    }
    // Cut inside a record: the frames before it, and an error; no such flow: an error.
    fs::resize_file(path, fs::file_size(path) - 100);  // inside the last frame's marker datagram
    const auto cut = runTool({"--explain", path}, 1);
    ASSERT_EQ(cut.size(), frames.size());
    EXPECT_EQ(cut.back()["input"].size(), 1u);  // the flow ends before the frame's marker
    writeCapture(path, DLT_EN10MB, false, {});
    EXPECT_TRUE(runTool({path}, 1).empty());
    fs::remove(path);
}

TEST(RtpTool, TheRealCapturesGiveTheirPacketsAndNoMetadata) {
    const fs::path dir = VELMORA_PCAPS_DIR;
    if (!fs::is_directory(dir)) GTEST_SKIP() << dir << " is absent";
    using Counts = std::map<std::string, int>;  // packets per "DID/SDID"
                                                // clang-format off
    for (const auto& [file, fields, counts] : {
             std::tuple{"2110-40_5994i.pcap", 31u, Counts{{"60/60", 45}, {"61/01", 15}}},
             {"anc_with_1of4_invalid_DID_SDID.pcap", 26u, {{"01/01", 37}, {"41/05", 24}, {"41/07", 1}, {"61/01", 13}}},
             {"anc_with_timecode+CC+AFD.pcap", 50u, {{"41/05", 49}, {"41/07", 1}, {"60/60", 74}, {"61/01", 25}}}}) {
        // clang-format on
        SCOPED_TRACE(file);
        const auto got = runTool({"--keep-damaged", dir / file});
        EXPECT_EQ(got.size(), fields);
        Counts packets;
        for (const json& field : got) {
            EXPECT_EQ(field["rdd18"].size() + field["arri"].size(), 0u);
            for (const json& p : field["packets"])
                ++packets[std::string(p["did"]).substr(2) + "/" + std::string(p["sdid"]).substr(2)];
        }
        EXPECT_EQ(packets, counts);
    }
}

#ifdef VELMORA_DUMP_PROGRAM
TEST(RtpTool, ALiveFlowOnTheLoopbackEndsAfterItsFramesOrOnAnInterrupt) {
    const auto frames = sampleFlowFrames(VELMORA_SAMPLES_DIR);
    const int out = socket(AF_INET, SOCK_DGRAM, 0), probe = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof to;
    bind(probe, reinterpret_cast<sockaddr*>(&to), length);  // a free port, for the tool
    getsockname(probe, reinterpret_cast<sockaddr*>(&to), &length);
    close(probe);
    // Up to 3 s under --frames 1:4 (frame 0 may have begun before the tool listened), or an
    // interrupt after 3 s: time enough for a slow start (a sanitizer's, on a busy machine) to
    // have its handler in place.
    for (const char* end : {"3 " VELMORA_DUMP_PROGRAM " --frames 1:4", "3 " VELMORA_DUMP_PROGRAM}) {
        SCOPED_TRACE(end);
        std::atomic<bool> done = false;
        std::thread sender([&] {
            for (std::uint32_t round = 0; round < 100 && !done; ++round) {
                for (const Bytes& d : rtpFlow(frames, {.firstSequence = round * 100}))
                    sendto(out, d.data(), d.size(), 0, reinterpret_cast<sockaddr*>(&to), length);
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
        const std::string command =
            std::string("timeout -s INT --preserve-status ") + end +
            " -f jsonl --packets --listen udp://127.0.0.1:" + std::to_string(ntohs(to.sin_port));
        FILE* tool = popen(command.c_str(), "r");
        std::string text;
        for (int c; (c = std::fgetc(tool)) != EOF;) text.push_back(static_cast<char>(c));
        EXPECT_EQ(pclose(tool), 0);
        done = true;
        sender.join();
        const auto got = lines(text);
        ASSERT_GE(got.size(), 3u);
        // Whole frames: all under --frames; else after the first, before the interrupt.
        const bool interrupted = got[0]["frame"] == 0;
        EXPECT_TRUE(interrupted || got.size() == 3);
        for (std::size_t k = interrupted; k < 3; ++k)
            expectBufferAnswers(got[k],
                                frames.at(got[k]["rtpTimestamp"].get<std::size_t>() / 1501));
    }
    close(out);
}
#endif
