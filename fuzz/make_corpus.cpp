// Writes the seed corpus of every fuzz target, built with the test frame builder:
//
//   velmora_make_corpus <output directory> [samples directory]
//
// creates <output directory>/<target>/<seed name> for each target, and adds the sample frames
// (*.anc) of the samples directory, when given, to every target that reads frames. The RDD 18 seeds
// hold an item of every row of the three flavour tables, with payloads made from each row's payload
// type, so a new row is seeded without a change here.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "frame_builder.h"
#include "rdd18/items/internal_sony_items.h"
#include "rdd18/items/internal_standard_items.h"
#include "rdd18/items/internal_varicam_items.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

namespace fs = std::filesystem;

// --- payloads by payload type --------------------------------------------------------------------

template <class T>
Bytes samplePayload(unsigned n);

template <>
Bytes samplePayload<Uint16>(unsigned n) {
    return be16(static_cast<std::uint16_t>(0x1234 + n));
}
template <>
Bytes samplePayload<Int16>(unsigned n) {
    return be16(static_cast<std::uint16_t>(0xFFF0 + n));
}
template <>
Bytes samplePayload<Uint32>(unsigned n) {
    return be32(0x80010000u + n);
}
template <>
Bytes samplePayload<unsigned char>(unsigned n) {
    return {static_cast<unsigned char>(0xF0 + n)};
}
template <>
Bytes samplePayload<Boolean>(unsigned n) {
    return {static_cast<unsigned char>(n % 3)};
}
template <>
Bytes samplePayload<Label>(unsigned n) {
    return {0x12, static_cast<unsigned char>(n)};
}
template <>
Bytes samplePayload<Rational>(unsigned n) {
    return rationalPayload(24000 + n, 1001);
}
template <>
Bytes samplePayload<HalfFloatLensSerial>(unsigned n) {
    return halfFloatLensSerial(0xE, 123 + n);
}
template <>
Bytes samplePayload<std::string>(unsigned n) {
    return text("item " + std::to_string(n)) + Bytes{0x00, 'x'};
}
template <>
Bytes samplePayload<ByteVector>(unsigned n) {
    return {0x00, 0x01, static_cast<unsigned char>(n), 0xFF};
}
template <>
Bytes samplePayload<std::vector<Rational>>(unsigned n) {
    return countedVector(3, 8,
                         rationalPayload(1, 2) + rationalPayload(n, 0) + rationalPayload(7, 9));
}
template <>
Bytes samplePayload<std::vector<HalfFloat>>(unsigned n) {
    return countedVector(3, 2,
                         halfFloat(false, 15, 3) + halfFloat(true, 23, 1) + halfFloat(false, 1, n));
}
template <>
Bytes samplePayload<VaricamExtendedMetadata>(unsigned n) {
    return {0x01, 0x05, 0x12, 0x34, 0x00, 0x2A, static_cast<unsigned char>(n % 3)};
}

/// One item of every row of a table, in table order.
template <class Table>
struct TableItems;
template <class... Rows>
struct TableItems<ItemTable<Rows...>> {
    static Bytes all() {
        Bytes out;
        unsigned n = 0;
        ((out = out + rdd18Item(Rows::ItemType::Tag().first, Rows::ItemType::Tag().second,
                                samplePayload<typename Rows::ItemType::PayloadType>(n++))),
         ...);
        return out;
    }
};

// --- seeds ---------------------------------------------------------------------------------------

struct Seed {
    std::string name;
    Bytes bytes;
};

/// RDD 18 streams (pack level, no packets).
std::vector<Seed> rdd18Streams() {
    const Bytes standard = TableItems<StandardItemTable>::all();
    const Bytes sony = TableItems<SonyOwnItemTable>::all();
    const Bytes varicam = TableItems<VaricamOwnItemTable>::all();
    const Bytes unknown = rdd18Item(0xF0, 0x01, {0xAA}) + rdd18Item(0x80, 0x0A, {}) +
                          rdd18Item(0x81, 0x19, Bytes(300, 0x5A));
    auto otherKey = rdd18PackKey();
    otherKey[3] = 0x35;
    Bytes lengthAbove16Bits = rdd18Pack(unknown);
    lengthAbove16Bits[17] = 0x01;  // the items end 64 KiB before the pack does
    return {
        {"standard-items", rdd18Pack(standard)},
        {"sony-items", rdd18Pack(sony)},
        {"varicam-items", rdd18Pack(varicam)},
        {"all-flavours", rdd18Pack(standard + sony + varicam + unknown)},
        {"two-packs", rdd18Pack(sony) + rdd18Pack(varicam, rdd18PackKey(), 0x00)},
        {"empty-pack", rdd18Pack({}) + rdd18Pack(unknown)},
        {"rubbish-before-pack", Bytes(16, 0x11) + rdd18Pack(unknown)},
        {"key-of-another-label", rdd18Pack(unknown, otherKey) + rdd18Pack(varicam)},
        {"item-past-pack-end",
         rdd18Pack(rdd18ItemWithLength(0xE1, 0x01, 8, {})) + Bytes(8, 0x22) + rdd18Pack(unknown)},
        {"long-uint16", rdd18Pack(rdd18Item(0x81, 0x0B, {1, 2, 3, 4, 5, 6}) + unknown)},
        {"short-uint16", rdd18Pack(rdd18Item(0x81, 0x0B, {1}))},
        {"bad-counted-vector", rdd18Pack(rdd18Item(0x81, 0x17, countedVector(3, 2, Bytes(7, 0))))},
        {"counted-vector-element-size-4",
         rdd18Pack(rdd18Item(0x81, 0x17, countedVector(2, 4, Bytes(4, 1))))},
        {"varicam-short-extended", rdd18Pack(rdd18Item(0xE1, 0x22, Bytes(6, 1)))},
        {"byte-vector-cut-short", rdd18Pack(rdd18ItemWithLength(0xE2, 0x02, 1000, Bytes(10, 3)))},
        {"padding-behind-pack", rdd18Pack(unknown) + Bytes(12, 0)},
        {"pack-length-above-16-bits", lengthAbove16Bits},
    };
}

/// Frames of RDD 18 packets built from the streams above, with both flags, without flags, in
/// packets of several sizes, with foreign packets and sequence faults.
std::vector<Seed> rdd18Frames() {
    std::vector<Seed> seeds;
    const std::vector<Seed> streams = rdd18Streams();
    for (const Seed& s : streams) {
        seeds.push_back({s.name + "-flags", FrameBuilder().rdd18Stream(s.bytes).bytes()});
    }
    const Bytes all = streams[3].bytes;
    seeds.push_back({"all-no-flags", FrameBuilder(Flags::None).rdd18Stream(all).bytes()});
    seeds.push_back(
        {"all-alternate-flags", FrameBuilder(Flags::Alternate).rdd18Stream(all, 40).bytes()});
    seeds.push_back({"all-small-packets", FrameBuilder().rdd18Stream(all, 7).bytes()});
    seeds.push_back(
        {"all-with-foreign-packets", FrameBuilder()
                                         .packet(0x61, 0x01, {1, 2, 3})
                                         .rdd18Stream(Bytes(all.begin(), all.begin() + 100))
                                         .packet(0x44, 0x04, {1, 1, 0, 9})
                                         .packet(0x43, 0x05, {})
                                         .packet(0x43, 0x06, {2, 9, 9})
                                         .rdd18Stream(Bytes(all.begin() + 100, all.end()))
                                         .bytes()});
    seeds.push_back(
        {"rubbish-packet-before-pack",
         FrameBuilder().rdd18Stream(Bytes(16, 0x11)).rdd18Stream(streams[2].bytes).bytes()});
    seeds.push_back({"all-rubbish-between", FrameBuilder()
                                                .rdd18Stream(Bytes(all.begin(), all.begin() + 60))
                                                .raw({0x12, 0x34, 0x56})
                                                .rdd18Stream(Bytes(all.begin() + 60, all.end()))
                                                .bytes()});
    // Four bytes of rubbish put the flag walk out of step: the rest is lost. A mixed flag
    // (00 FB FB) is no flag; a last packet without its checksum byte is no packet.
    seeds.push_back(
        {"all-four-bytes-rubbish-between", FrameBuilder()
                                               .rdd18Stream(Bytes(all.begin(), all.begin() + 60))
                                               .raw({0x12, 0x34, 0x56, 0x78})
                                               .rdd18Stream(Bytes(all.begin() + 60, all.end()))
                                               .bytes()});
    seeds.push_back(
        {"mixed-flag-packet-first", FrameBuilder()
                                        .raw({0x00, 0xFB, 0xFB, 0x43, 0x05, 0x02, 0x01, 0x06, 0x00})
                                        .rdd18Stream(all)
                                        .bytes()});
    seeds.push_back(
        {"last-packet-without-checksum", FrameBuilder()
                                             .rdd18Stream(all)
                                             .raw({0x00, 0xFF, 0xFF, 0x43, 0x05, 0x02, 0x7F, 0x06})
                                             .bytes()});
    seeds.push_back(
        {"sequence-break", FrameBuilder()
                               .rdd18Packet(1, Bytes(all.begin(), all.begin() + 50))
                               .rdd18Packet(3, Bytes(all.begin() + 50, all.begin() + 250))
                               .bytes()});
    // A repeated sequence number exactly between two packs: the first pack stands.
    const Bytes two = streams[4].bytes;
    const auto split =
        static_cast<std::ptrdiff_t>(rdd18Pack(TableItems<SonyOwnItemTable>::all()).size());
    seeds.push_back(
        {"break-between-packs", FrameBuilder()
                                    .rdd18Packet(1, Bytes(two.begin(), two.begin() + split))
                                    .rdd18Packet(1, Bytes(two.begin() + split, two.end()))
                                    .bytes()});
    seeds.push_back(
        {"truncated-last-packet",
         FrameBuilder().rdd18Stream(all).raw({0x00, 0xFF, 0xFF, 0x43, 0x05, 0x30, 0x09}).bytes()});
    // The largest frames: 255 packets of 254 stream bytes. One holds 16,187 items (empty and
    // unregistered, but for a last Uint16), one a CDL vector of 32,369 half floats of every
    // sign, exponent and mantissa; a packet numbered 0 behind the first must end the stream.
    Bytes manyItems;
    for (int i = 0; i <= 16186; ++i) {
        const Bytes item = i < 16186 ? rdd18Item(0xF0, static_cast<unsigned char>(i), {})
                                     : rdd18Item(0x81, 0x0B, {0x12, 0x34});
        manyItems.insert(manyItems.end(), item.begin(), item.end());
    }
    Bytes halves;
    for (std::uint32_t i = 0; i < 32369; ++i) {
        const Bytes half = be16(static_cast<std::uint16_t>(i * 2029u));
        halves.insert(halves.end(), half.begin(), half.end());
    }
    const Bytes largest = rdd18Pack(manyItems);
    seeds.push_back({"largest-stream", FrameBuilder().rdd18Stream(largest).bytes()});
    seeds.push_back({"largest-stream-then-number-0",
                     FrameBuilder().rdd18Stream(largest).rdd18Packet(0, Bytes(10, 0x06)).bytes()});
    seeds.push_back({"largest-cdl-vector", FrameBuilder(Flags::None)
                                               .rdd18Stream(rdd18Pack(rdd18Item(
                                                   0x81, 0x17, countedVector(32369, 2, halves))))
                                               .bytes()});
    // The 33-byte frame of one unregistered item (F0 01, payload AA), and the same without flag.
    const Bytes oneItem = rdd18Pack(rdd18Item(0xF0, 0x01, {0xAA}));
    seeds.push_back({"one-item", FrameBuilder().rdd18Packet(1, oneItem).bytes()});
    seeds.push_back(
        {"one-item-no-flag", FrameBuilder(Flags::None).rdd18Packet(1, oneItem).bytes()});
    return seeds;
}

/// A file header record with plausible values in every translated field.
Bytes arriHeader() {
    ArriHeaderBuilder h;
    h.u32(0x14, 4448).u32(0x18, 3096).u32(0x24, 16).u32(0x28, 8).u32(0x2C, 4096).u32(0x30, 2160);
    h.u32(0x5C, 5600).f32(0x60, 1.0f).f32(0x64, 1.8f).f32(0x68, 1.0f).f32(0x6C, 1.5f);
    h.u32(0x70, 1).u32(0x74, 800).u32(0x78, 256).u32(0x7C, 4095);
    for (int i = 0; i < 12; ++i)
        h.f32(0x80 + 4 * static_cast<std::size_t>(i), i % 4 == 0 ? 1.0f : 0.0f);
    h.f32(0xC4, 1.0f).u32(0xC8, 0).textField(0xCC, 32, "look.xml");
    for (int i = 0; i < 9; ++i) h.f32(0x100 + 4 * static_cast<std::size_t>(i), 1.0f);
    h.u32(0x16C, 0x80000001).u32(0x170, 0x80000000).u32(0x174, 0x41424344);
    h.u32(0x190, 172800).u32(0x1A0, 23976).u32(0x1A4, 24000);
    h.u32(0x1A8, 0x23595924).u32(0x1B0, 0x80000000);
    h.textField(0x29C, 8, "CAMERA")
        .textField(0x2A4, 32, "RECORDER")
        .textField(0x2E0, 24, "SUP 1.0");
    h.u32(0x374, 1).u32(0x378, 2500).u32(0x37C, 50000000).u32(0x384, 4050);
    h.u16(0x388, 1).u16(0x38A, 1200).textField(0x398, 32, "LENS 50");
    h.u32(0x458, 0x00000005).u32(0x45C, 0x0000FFFF).u32(0x460, 0xFFFFFFFF);
    h.textField(0x4F8, 8, "A001").textField(0x500, 16, "SCENE 12").textField(0x510, 8, "TAKE 3");
    h.textField(0x518, 32, "DIRECTOR")
        .textField(0x538, 32, "DOP")
        .textField(0x558, 32, "PRODUCTION");
    h.textField(0x578, 32, "COMPANY")
        .textField(0x598, 256, "notes")
        .textField(0x698, 24, "A001C001");
    h.u32(0x814, 24000).u32(0x818, 12000);
    return h.bytes();
}

std::vector<Seed> arriHeaders() {
    ArriHeaderBuilder noLens(0x00);
    noLens.u32(0x384, 0xFFFFFFFF).u32(0x378, 1000);
    return {
        {"header-plausible", arriHeader()},
        {"header-zero", ArriHeaderBuilder(0x00).bytes()},
        {"header-ff", ArriHeaderBuilder(0xFF).bytes()},
        {"header-iris-sentinel", noLens.bytes()},
    };
}

std::vector<Seed> arriFrames() {
    const Bytes header = arriHeader();
    const Bytes metadata = arriItem(kArriMetadataKey, header);
    const Bytes lut = arriItem(kArriLUTKey, Bytes(600, 0x3C));
    // A packet of the header alone (number 2) takes its place in the numbering.
    FrameBuilder headerOnly;
    std::uint16_t number = 0;
    for (std::size_t at = 0; at < metadata.size(); at += 252) {
        const auto end = std::min(at + 252, metadata.size());
        headerOnly.arriPacket(1, ++number,
                              Bytes(metadata.begin() + static_cast<std::ptrdiff_t>(at),
                                    metadata.begin() + static_cast<std::ptrdiff_t>(end)));
        if (number == 1) headerOnly.arriPacket(1, ++number, {});
    }
    const Bytes withHeaderOnlyPacket = headerOnly.bytes();
    return {
        {"metadata", FrameBuilder().arriStream(metadata).bytes()},
        {"metadata-no-flags", FrameBuilder(Flags::None).arriStream(metadata).bytes()},
        {"metadata-small-packets",
         FrameBuilder(Flags::Alternate).arriStream(metadata, 100, false).bytes()},
        {"lut-then-metadata", FrameBuilder().arriStream(lut).arriStream(metadata).bytes()},
        {"metadata-then-bad-marker", FrameBuilder()
                                         .arriStream(metadata)
                                         .arriStream(arriItem(kArriLUTKey, {1, 2}, 0x82))
                                         .bytes()},
        {"metadata-short",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, Bytes(4095, 0))).bytes()},
        {"metadata-long",
         FrameBuilder().arriStream(arriItem(kArriMetadataKey, header + Bytes(904, 7))).bytes()},
        {"metadata-with-foreign-packets",
         FrameBuilder()
             .packet(0x43, 0x05, {1, 0, 0})
             .arriStream(Bytes(metadata.begin(), metadata.begin() + 2000))
             .packet(0x44, 0x04, {1, 0})
             .arriStream(Bytes(metadata.begin() + 2000, metadata.end()))
             .bytes()},
        {"stream-id-change",
         FrameBuilder()
             .arriStream(Bytes(metadata.begin(), metadata.begin() + 1008), 252, true, 1)
             .arriStream(Bytes(metadata.begin() + 1008, metadata.end()), 252, true, 2)
             .bytes()},
        {"sequence-repeat",
         FrameBuilder()
             .arriPacket(1, 1, Bytes(metadata.begin(), metadata.begin() + 252))
             .arriPacket(1, 1, Bytes(metadata.begin() + 252, metadata.begin() + 504))
             .bytes()},
        {"lut-ending-one-byte-into-a-packet",
         FrameBuilder()
             .arriStream(arriItem(kArriLUTKey, Bytes(233, 0x3C)))
             .arriStream(metadata)
             .bytes()},
        {"header-only-packet-inside-metadata", withHeaderOnlyPacket},
        {"two-items-one-packet",
         FrameBuilder()
             .arriPacket(1, 1, arriItem(kArriLUTKey, {1}) + arriItem(kArriMetadataKey, {2}))
             .bytes()},
    };
}

void write(const fs::path& dir, const std::vector<Seed>& seeds) {
    fs::create_directories(dir);
    for (const Seed& s : seeds) {
        std::ofstream out(dir / s.name, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(s.bytes.data()),
                  static_cast<std::streamsize>(s.bytes.size()));
        if (!out) throw std::runtime_error("cannot write " + (dir / s.name).string());
    }
}

/// The sample frames (*.anc) of `dir`, named "sample-<file name>".
std::vector<Seed> sampleFrames(const fs::path& dir) {
    std::vector<Seed> seeds;
    for (const auto& entry : fs::directory_iterator(dir)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".anc") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        if (!in) throw std::runtime_error("cannot read " + entry.path().string());
        Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        seeds.push_back({"sample-" + entry.path().filename().string(), std::move(bytes)});
    }
    return seeds;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: %s <output directory> [samples directory]\n", argv[0]);
        return 2;
    }
    try {
        const fs::path out(argv[1]);
        const std::vector<Seed> samples = argc == 3 ? sampleFrames(argv[2]) : std::vector<Seed>();
        std::vector<Seed> frames = rdd18Frames();
        std::vector<Seed> arri = arriFrames();
        frames.insert(frames.end(), samples.begin(), samples.end());
        arri.insert(arri.end(), samples.begin(), samples.end());
        for (const char* flavour : {"rdd18_standard", "rdd18_sony", "rdd18_varicam"})
            write(out / flavour, frames);
        std::vector<Seed> streams = rdd18Streams();
        streams.insert(streams.end(), samples.begin(), samples.end());
        write(out / "rdd18_items", streams);
        // An rtmd sample's packs are a stream; the last byte counts the zeros of its padding.
        std::vector<Seed> samplePacks = rdd18Streams();
        for (Seed& s : samplePacks) s.bytes.push_back(0x40);
        write(out / "rtmd_sample", samplePacks);
        std::vector<Seed> packets = rdd18Frames();
        packets.insert(packets.end(), arri.begin(), arri.end());
        write(out / "packets", packets);
        for (const char* form : {"packets", "words10", "vanc", "rfc8331"})
            write(out / (std::string("host_") + form), packets);
        write(out / "rtp", packets);
        write(out / "roundtrip_rdd18", frames);
        write(out / "roundtrip_arri", arri);
        write(out / "arri_ancillary", arri);
        write(out / "arri_parser", arri);
        write(out / "arri_file_header", arriHeaders());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
