// OpenTrackIO: the sample of a camera model, the OTrk framing against hand-built datagrams and
// their expected outcomes, and the tool's samples printed and sent to 127.0.0.1.
#ifdef VELMORA_HAVE_DUMP_TOOL
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "dump/dump.h"
#include "dump/udp_sender.h"
#include "frame_builder.h"
#include "otrk_reader.h"
#include "rdd18/interpret/opentrackio.h"
#include "tool_run.h"

namespace fs = std::filesystem;
using nlohmann::json;
using namespace rdd18;
using testsupport::lines;
using testsupport::OtrkOutcome;
using testsupport::tool;

namespace {

using namespace rdd18::interpret::opentrackio;
using rdd18::interpret::opentrackio::Rational;

const fs::path kThirdParty = VELMORA_OPENTRACKIO_DIR;
const fs::path kClip = fs::path(VELMORA_SAMPLES_DIR) / "clips" / "camera.mxf";

SampleContext context(bool withStatic, std::optional<Rational> rate = {},
                      std::optional<std::string> timecode = {}) {
    return {sourceIdFor("take"), 1, 0, rate, std::move(timecode), withStatic};
}

TEST(OpenTrackIO, ModelInTheProtocolsUnits) {
    interpret::CameraModel m;
    for (const double bad : {std::nan(""), HUGE_VAL, -1.0}) {  // no value reaches the sample
        for (const auto& f : interpret::numberFields()) m.*f.member = bad;
        const Sample s = makeSample(m, context(true));
        EXPECT_TRUE(!s.lens && !s.staticData && !s.timing.sampleRate) << bad;
    }
    m.focusDistanceM = 0, m.timecode = "01:00:00:00";  // the protocol's distances are above 0
    EXPECT_FALSE(makeSample(m, context(true)).lens);
    EXPECT_FALSE(makeSample(m, context(true)).timing.timecode) << "a timecode needs a rate";
    m = {};
    m.irisTNumber = 2.8, m.irisFNumber = 2.5, m.focusDistanceM = 3.5, m.focalLengthMm = 50;
    m.zoomRingPositionPercent = 25, m.iso = 800, m.pixelAspectRatio = 1.3;
    m.captureFrameRateHz = 24000.0 / 1001, m.projectFrameRateHz = 25;
    m.sensorWidthMm = 24.89;  // no height: no dimensions
    m.cameraMake = "", m.lensModelName = "Prime 50mm", m.timecode = "01:23:45;12";
    m.cameraModelName = "C1", m.cameraSerialNumber = "42", m.cameraFirmwareVersion = "3.0";
    Sample s = makeSample(m, context(true));
    Lens lens;
    lens.tStop = 2.8, lens.fStop = 2.5, lens.focusDistance = 3.5, lens.pinholeFocalLength = 50;
    lens.encoders.zoom = 0.25, lens.rawEncoders.zoom = 16384;
    EXPECT_EQ(s.lens, lens);
    EXPECT_EQ(s.timing.sampleRate, (Rational{25, 1})) << "the project rate before the capture rate";
    EXPECT_EQ(s.timing.timecode, (Timecode{1, 23, 45, 12, {25, 1}, true}));
    Static block;
    block.camera.captureFrameRate = Rational{24000, 1001}, block.camera.isoSpeed = 800;
    block.camera.anamorphicSqueeze = Rational{13, 10}, block.lens.model = "Prime 50mm";
    block.camera.model = "C1", block.camera.serialNumber = "42",
    block.camera.firmwareVersion = "3.0";
    EXPECT_EQ(s.staticData, block);
    // The container's rate and timecode come first; the sample's id follows its place.
    s = makeSample(m, context(false, Rational{30000, 1001}, "10:00:00:29"));
    EXPECT_EQ(s.timing.timecode, (Timecode{10, 0, 0, 29, {30000, 1001}, false}));
    EXPECT_FALSE(s.staticData);
}

TEST(OpenTrackIO, RatesTimecodesAndIds) {
    const double hertz[] = {25, 23.976, 29.97, 12.5, 0, -25, std::nan(""), 3e9};
    const char* want[] = {"25/1", "24000/1001", "30000/1001", "25/2", "", "", "", ""};
    for (std::size_t i = 0; i < std::size(hertz); ++i) {
        const auto r = rateOf(hertz[i]);
        EXPECT_EQ(r ? std::to_string(r->num) + "/" + std::to_string(r->denom) : "", want[i]);
    }
    EXPECT_TRUE(rateOf(0.5)) << "a rate below 1 Hz";
    EXPECT_EQ(staticPeriod(Rational{24000, 1001}), 48u);
    interpret::CameraModel m;
    for (const char* bad : {"24:00:00:00", "00:00:00:120", "1:2:3", "00:00:00:00x"}) {
        m.timecode = bad;
        EXPECT_FALSE(makeSample(m, context(false, Rational{25, 1})).timing.timecode) << bad;
    }
    // Version 5 UUIDs: the DNS namespace's example, and a name longer than one SHA-1 block.
    const std::array<unsigned char, 16> dns{0x6b, 0xa7, 0xb8, 0x10, 0x9d, 0xad, 0x11, 0xd1,
                                            0x80, 0xb4, 0x00, 0xc0, 0x4f, 0xd4, 0x30, 0xc8};
    EXPECT_EQ(uuidFromName(dns, "www.example.com"), "2ed6657d-e927-568b-95e1-2665a8aea6a2");
    EXPECT_EQ(uuidFromName(dns, std::string(100, 'x')), "897f5b43-a3c8-582d-9c8d-9cfe358a534d");
    // A sample's id is named from its source's id (read back as 16 bytes) and its place.
    SampleContext c = context(false);
    c.sourceId = "urn:uuid:6ba7b810-9dad-11d1-80b4-00c04fd430c8", c.index = 3;
    EXPECT_EQ(makeSample({}, c).sampleId, "urn:uuid:" + uuidFromName(dns, "3"));
}

testsupport::Bytes packet(const std::string& file) {
    return testsupport::fileBytes((kThirdParty / "packets" / file).string());
}

json decoded(const std::vector<unsigned char>& sample, std::uint8_t encoding) {
    return encoding == 0x02 ? json::from_cbor(sample) : json::parse(sample);
}

// All datagrams of `sample` cut into `size`-byte segments, numbered from `sequence` on.
std::vector<testsupport::Bytes> datagrams(std::span<const unsigned char> sample,
                                          std::uint16_t sequence, std::size_t size) {
    std::vector<testsupport::Bytes> out;
    otrk::segment(
        sample, otrk::Encoding::Json, sequence,
        [&](std::span<const unsigned char> d) { out.emplace_back(d.begin(), d.end()); }, size);
    return out;
}

// Segment sizes outside 1 to kMaxSegment are taken as the nearer end of that range.
TEST(OpenTrackIO, SegmentSizesAreClampedToTheirRange) {
    const testsupport::Bytes three{'a', 'b', 'c'}, large(otrk::kMaxSegment + 2, 'x');
    EXPECT_EQ(datagrams(three, 0, 0).size(), 3u);
    EXPECT_EQ(datagrams(three, 0, 0), datagrams(three, 0, 1));
    const auto top = datagrams(large, 0, otrk::kMaxSegment + 1);
    ASSERT_EQ(top.size(), 2u);
    EXPECT_EQ(top, datagrams(large, 0, otrk::kMaxSegment));
    EXPECT_EQ(top[1].size(), otrk::kHeaderSize + 2);
    // The 32-bit offset of a segment, both halves.
    const auto h = otrk::header(1, 2, 0x12345678, true, three);
    EXPECT_EQ(otrk::readHeader(h).value_or(otrk::Header{}).offset, 0x12345678u);
}

// The manifest's datagrams in order, to one reader: our header of each, the reader's outcome.
TEST(OpenTrackIO, HandBuiltDatagrams) {
    if (!fs::exists(kThirdParty)) GTEST_SKIP() << kThirdParty << " is absent";
    std::vector<json> examples;
    for (const auto& e : fs::directory_iterator(kThirdParty / "examples" / "generated-1.0.1"))
        examples.push_back(json::parse(std::ifstream(e.path())));
    const std::pair<const char*, OtrkOutcome> outcomes[] = {
        {"accept", OtrkOutcome::Accepted}, {"buffer", OtrkOutcome::Buffered},
        {"drop", OtrkOutcome::Duplicate},  {"discard", OtrkOutcome::Discarded},
        {"ignore", OtrkOutcome::Ignored},  {"reject", OtrkOutcome::Rejected}};
    std::ifstream manifest(kThirdParty / "packets" / "manifest.tsv");
    std::string file, cell, expectation;
    std::getline(manifest, cell);
    testsupport::OtrkReader reader;
    int rows = 0;
    for (; manifest >> file; ++rows) {
        for (int i = 0; i < 7; ++i) manifest >> cell;
        std::getline(manifest >> std::ws, expectation, '\t');
        std::getline(manifest, cell);
        const auto d = packet(file);
        const auto h = otrk::readHeader(d).value_or(otrk::Header{});
        const auto ours =
            otrk::header(d[5], h.sequence, h.offset, h.last, std::span(d).subspan(16));
        // Built wrong on purpose: 08 a flipped checksum bit, 09 mod 255, 12 the identifier "OTrK".
        const bool tampered = std::set<std::string>{"08", "09", "12"}.count(file.substr(0, 2)) > 0;
        EXPECT_EQ(std::equal(ours.begin(), ours.end(), d.begin()), !tampered) << file;
        OtrkOutcome want = OtrkOutcome::Rejected;
        for (const auto& [text, outcome] : outcomes)
            if (expectation.starts_with(text)) want = outcome;
        if (want == OtrkOutcome::Accepted && !h.last) want = OtrkOutcome::Buffered;
        const OtrkOutcome got = reader.read(d);
        EXPECT_EQ(got, want) << file;
        if (got != OtrkOutcome::Accepted) continue;
        const json sample = decoded(reader.sample(), reader.encoding());
        EXPECT_NE(std::find(examples.begin(), examples.end(), sample), examples.end()) << file;
    }
    EXPECT_EQ(rows, 18);
    // Segmenting: the complete static sample (unsegmented in 14) cut at 1484 and 1000 bytes.
    const auto whole = packet("14-seq12-unsegmented-2929B.bin");
    const auto sample = std::span(whole).subspan(otrk::kHeaderSize);
    EXPECT_EQ(datagrams(sample, 5, otrk::kDefaultSegment),
              (std::vector{packet("06-seq5-json-complete-static-seg0.bin"),
                           packet("07-seq6-json-complete-static-seg1.bin")}));
    const auto at1000 = datagrams(sample, 13, 1000);
    ASSERT_EQ(at1000.size(), 3u);
    EXPECT_EQ(at1000[0], packet("15-seq13-static-seg0-of3.bin"));
    EXPECT_EQ(at1000[2], packet("16-seq15-static-seg2-of3-seg1-lost.bin"));
}

// A UDP socket on 127.0.0.1 and a free port; what the tool sent is queued on it when the run ends.
struct Receiver {
    rdd18::dump::net::UdpSocket socket = rdd18::dump::net::UdpSocket::boundTo("127.0.0.1", 0, "");
    std::string url() const { return "udp://127.0.0.1:" + std::to_string(socket.localPort()); }
    std::vector<testsupport::Bytes> queued() {
        std::vector<testsupport::Bytes> out;
        testsupport::Bytes d(65536);
        rdd18::dump::Moment when;
        while (const auto n = socket.receive(d, when, 0))
            out.emplace_back(d.begin(), d.begin() + static_cast<std::ptrdiff_t>(*n));
        return out;
    }
};

// The clip through the tool, printed and sent: what the reader puts back together from the
// datagrams (whole and cut into 100-byte segments) is what was printed.
TEST(OpenTrackIO, ToolSendsWhatItPrints) {
    if (!fs::exists(kClip) || tool({"-f", "opentrackio", kClip.string()}).status != 0)
        GTEST_SKIP() << "clips need libavformat";
    for (const auto& [encoding, segment] :
         {std::pair{"json", "1484"}, std::pair{"cbor", "1484"}, std::pair{"json", "100"}}) {
        Receiver receiver;
        const auto [status, out, err] =
            tool({"-f", "opentrackio", "--send", receiver.url(), "--encoding", encoding,
                  "--segment-size", segment, kClip.string()});
        const auto printed = lines(out);
        ASSERT_EQ(printed.size(), 5u) << err;
        EXPECT_EQ(status, 0);
        EXPECT_EQ(err, "") << "every datagram went out whole";
        for (std::size_t i = 0; i < printed.size(); ++i) {
            const json& s = printed[i];
            EXPECT_EQ(s.at("sourceId"), sourceIdFor(kClip.string()));
            EXPECT_EQ(s.at("timing").at("timecode").at("frames"), i);
            EXPECT_EQ(s.contains("static"), i == 0) << "about every 2 s: once in 5 frames";
            EXPECT_EQ(s.contains("lens"), i < 3) << "frames 3 and 4 carry no packets";
        }
        testsupport::OtrkReader reader;
        std::vector<json> received;
        const auto queued = receiver.queued();
        for (const auto& d : queued)
            if (reader.read(d) == OtrkOutcome::Accepted)
                received.push_back(decoded(reader.sample(), reader.encoding()));
        EXPECT_EQ(received, printed) << encoding << " " << segment;
        EXPECT_EQ(queued.size() > received.size(), std::string(segment) == "100");
    }
}

TEST(OpenTrackIO, SendTargetsAndFailures) {
    // {url, source number, target ("" refused)}
    const std::tuple<const char*, std::uint32_t, const char*> cases[] = {
        {"", 7, "239.135.1.7:55555"},
        {"", 201, ""},
        {"udp://[::1]:9", 1, "[::1]:9"},
        {"udp://h:0", 1, ""}};
    for (const auto& [url, source, want] : cases) {
        const auto t = dump::parseSendTarget(url, source);
        EXPECT_EQ(t ? dump::targetText(*t) : "", want) << url;
    }
    EXPECT_EQ(tool({"--send", "tcp://x", "x.anc"}).status, dump::kExitBadArguments);
    // Nothing listens on the port: from the second send on, sends meet the refusal of the one
    // before; one line says so, and every frame is still written.
    std::vector<std::string> args(5, (fs::path(VELMORA_SAMPLES_DIR) / "standard.anc").string());
    args.insert(args.begin(), {"-f", "opentrackio", "--send", Receiver().url()});
    const auto [status, out, err] = tool(args);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines(out).size(), 5u);
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
}

}  // namespace
#endif
