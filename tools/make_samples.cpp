// make-samples: writes the bundled sample frames, their index and the expected outputs of
// velmora-dump for them.
//
//   make-samples <samples-dir>                  frames, index.txt and expected/ from scratch
//   make-samples --expected-only <samples-dir>  expected/ only, from the frames and index.txt
//                                               that are there (for example after editing a .hex)
//
// index.txt has one line per sample: its file name and the velmora-dump options it is decoded
// with. The golden-file test reads the same index.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "dump/dump.h"
#include "frame_builder.h"
#include "sample_index.h"

namespace fs = std::filesystem;
using namespace rdd18::testsupport;

namespace {

struct Sample {
    std::string file;
    std::string options;  // velmora-dump options, space-separated
    std::string about;    // one line for the index
    std::string content;  // the file's bytes
};

std::string binary(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

// The values in units of two samples, as velmora-dump --units=only prints them:
// expected/<stem>.units.<format>.
struct UnitsExpectation {
    const char* file;
    const char* format;
};
const UnitsExpectation kUnitsExpectations[] = {{"standard.anc", "table"}, {"arri.anc", "json"}};

// --- RDD 18 items of a camera in use: ISO 800, 23.976 fps, 180 degrees, 50 mm at 3.5 m ---

Bytes u16Item(unsigned char t1, unsigned char t2, std::uint16_t v) {
    return rdd18Item(t1, t2, be16(v));
}
Bytes u8Item(unsigned char t1, unsigned char t2, unsigned char v) {
    return rdd18Item(t1, t2, {v});
}
Bytes textItem(unsigned char t1, unsigned char t2, std::string_view s) {
    return rdd18Item(t1, t2, text(s));
}

// The lens items (tag group 128). Distances and focal lengths in metres as decimal floats of the
// lens format: 35 x 10^-1 = 3.5 m.
Bytes lensItems() {
    return u16Item(0x80, 0x00, 53367)                              // F2.8: 65536 (1 - log2 F / 8)
           + u16Item(0x80, 0x08, 52552)                            // T3.0, the same encoding
           + u16Item(0x80, 0x09, 31457)                            // iris ring position
           + rdd18Item(0x80, 0x01, halfFloatLensSerial(0xF, 35))   // 3.5 m from the image plane
           + rdd18Item(0x80, 0x02, halfFloatLensSerial(0xE, 332))  // 3.32 m from the front vertex
           + rdd18Item(0x80, 0x03, {0x00})                         // no macro
           + rdd18Item(0x80, 0x04, halfFloatLensSerial(0xD, 71))   // 0.071 m, 35 mm equivalent
           + rdd18Item(0x80, 0x05, halfFloatLensSerial(0xD, 50))   // 0.05 m focal length
           + u16Item(0x80, 0x0B, 0)                                // zoom ring: a prime
           + u16Item(0x80, 0x06, 1)                                // no optical extender
           + textItem(0x80, 0x07, "50mm T1.5 S35 prime, serial 2241");
}

// The camera items (tag groups 129 and 50).
Bytes cameraItems(std::string_view attributes) {
    // An RGB to XYZ matrix, row by row, in ten-thousandths.
    const std::uint32_t matrix[9] = {4124, 3576, 1805, 2126, 7152, 722, 193, 1192, 9505};
    Bytes matrixElements;
    for (std::uint32_t m : matrix) matrixElements = matrixElements + rationalPayload(m, 10000);
    // ASC CDL: slope R G B, offset R G B, power R G B, saturation; decimal floats, e.g. 105 x
    // 10^-2. Exponent field 14 is -2, 15 is -1, 0 is 0.
    const Bytes cdl = halfFloat(false, 14, 105) + halfFloat(false, 0, 1) +
                      halfFloat(false, 14, 97) + halfFloat(false, 14, 1) + halfFloat(false, 0, 0) +
                      halfFloat(true, 14, 2) + halfFloat(false, 0, 1) + halfFloat(false, 0, 1) +
                      halfFloat(false, 15, 11) + halfFloat(false, 14, 95);
    return rdd18Item(0x81, 0x00, {0x01, 0x01})                    // auto exposure mode: manual
           + u16Item(0x81, 0x15, 800)                             // exposure index of the meter
           + u8Item(0x81, 0x01, 0)                                // auto focus area: manual
           + u8Item(0x81, 0x02, 0)                                // correction filter: none
           + u16Item(0x81, 0x03, 1)                               // ND wheel: clear
           + u16Item(0x81, 0x04, 24890)                           // sensor width, micrometres
           + u16Item(0x81, 0x05, 14000)                           // sensor height, micrometres
           + rdd18Item(0x81, 0x06, rationalPayload(24000, 1001))  // 23.976 fps
           + u8Item(0x81, 0x07, 0)                                // readout mode
           + rdd18Item(0x81, 0x08, be32(10800))                   // 180 degrees in 1/60 degree
           + rdd18Item(0x81, 0x09, rationalPayload(1001, 48000))  // 1/47.952 s
           + rdd18Item(0x81, 0x0A, be16(0))                       // master gain 0
           + u16Item(0x81, 0x0B, 800)                             // ISO 800
           + rdd18Item(0x81, 0x18, countedVector(9, 8, matrixElements)) +
           u16Item(0x81, 0x0C, 1)                                         // no electrical extender
           + u8Item(0x81, 0x0D, 1)                                        // white balance: preset
           + u16Item(0x81, 0x0E, 5600)                                    // 5600 K
           + rdd18Item(0x81, 0x0F, be16(static_cast<std::uint16_t>(-3)))  // master black -3
           + u16Item(0x81, 0x10, 9500)                                    // knee point
           + rdd18Item(0x81, 0x11, rationalPayload(1, 4))                 // knee slope
           + u16Item(0x81, 0x12, 1300)                                    // dynamic range, percent
           + rdd18Item(0x32, 0x10, {0x0E, 0x06})                          // capture gamma
           + u8Item(0x81, 0x16, 1)                                        // gamma for CDL
           + rdd18Item(0x81, 0x17, countedVector(10, 2, cdl)) +
           textItem(0x81, 0x13, "file:///CARD_A/SETUP/DAY_EXT_01.cfg") +
           textItem(0x81, 0x14, attributes);
}

const char* const kStandardAttributes = "S35 digital cinema camera, SN 100234, FW 4.2.1";

// The stream of the standard frame: a lens pack and a camera pack.
Bytes standardStream() {
    return rdd18Pack(lensItems()) + rdd18Pack(cameraItems(kStandardAttributes));
}

Bytes standardFrame(Flags flags = Flags::Standard) {
    return FrameBuilder(flags).rdd18Stream(standardStream()).bytes();
}

Bytes sonyItems() {
    const Bytes baseCurve = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D,
                             0x04, 0x01, 0x01, 0x01, 0x01, 0x0A, 0x00, 0x00};
    const Bytes monitoring = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D,
                              0x04, 0x01, 0x01, 0x01, 0x01, 0x01, 0x00, 0x00};
    const Bytes cookeBinary = {0x10, 0x32, 0x00, 0x0D, 0xAC, 0x00, 0x00, 0x32, 0x01, 0x2C,
                               0x00, 0x00, 0x0D, 0xAC, 0x02, 0x00, 0x41, 0x31, 0x00, 0x00};
    return rdd18Item(0xE1, 0x01, {0x5A})                       // marker coverage 90 %
           + rdd18Item(0xE1, 0x02, rationalPayload(239, 100))  // marker aspect 2.39
           + rdd18Item(0xE1, 0x03, {0x01, 0x01}) + rdd18Item(0xE1, 0x04, {0x00}) +
           rdd18Item(0xE1, 0x0A, {0x00}) + rdd18Item(0xE1, 0x05, be16(64))  // raw black code value
           + rdd18Item(0xE1, 0x06, be16(414))                               // grey code value
           + rdd18Item(0xE1, 0x07, be16(940))                               // white code value
           + rdd18Item(0xE1, 0x0B, baseCurve) + rdd18Item(0xE1, 0x08, monitoring) +
           rdd18Item(0xE1, 0x09, text("709(800%)")) + rdd18Item(0xE0, 0x11, {0x00}) +
           rdd18Item(0xE0, 0x12, {0x01}) + rdd18Item(0xE2, 0x03, {0x01}) +
           rdd18Item(0xE2, 0x01, cookeBinary) + rdd18Item(0xE2, 0x02, text("CAM A / LENS 3"));
}

Bytes sonyFrame() {
    const Bytes stream =
        rdd18Pack(lensItems()) +
        rdd18Pack(cameraItems("Full-frame cinema camera, SN 300517, FW 3.0") + sonyItems());
    return FrameBuilder().rdd18Stream(stream).bytes();
}

Bytes varicamFrame() {
    const Bytes clip = textItem(0xE1, 0x21, "CLIPINFO") +
                       // valid, camera 5, reel 12, clip 42, file names in the CINE style
                       rdd18Item(0xE1, 0x22, {0x01, 0x05, 0x00, 0x0C, 0x00, 0x2A, 0x01}) +
                       textItem(0xE1, 0x23, "CLIPNAME") +
                       textItem(0xE1, 0x24, "A005C042_230517_X7Q2");
    const Bytes stream =
        rdd18Pack(lensItems()) + rdd18Pack(cameraItems("4K S35 camera, SN 51762, FW 2.10") + clip);
    return FrameBuilder().rdd18Stream(stream).bytes();
}

// --- ARRI ----------------------------------------------------------------------------------------

// A file header record as a camera fills it for a take at 23.976 fps, 172.8 degrees, EI 800.
Bytes arriHeader() {
    ArriHeaderBuilder h;
    h.u32(0x0014, 3424).u32(0x0018, 2202);                                    // raw image
    h.u32(0x0024, 112).u32(0x0028, 201).u32(0x002C, 3200).u32(0x0030, 1800);  // active image
    h.u32(0x005C, 5600).f32(0x0060, 1.0f);                                    // white balance, tint
    h.f32(0x0064, 1.6f).f32(0x0068, 1.0f).f32(0x006C, 1.35f).u32(0x0070, 1);
    h.u32(0x0074, 800).u32(0x0078, 256).u32(0x007C, 4095);  // EI, black, white
    const float matrix[12] = {1.1f,   -0.05f, -0.05f, 0.0f,  -0.02f, 1.08f,
                              -0.06f, 0.0f,   0.01f,  -0.1f, 1.09f,  0.0f};
    for (int i = 0; i < 12; ++i) h.f32(0x0080 + 4 * static_cast<std::size_t>(i), matrix[i]);
    h.f32(0x00C4, 1.0f).u32(0x00C8, 0).textField(0x00CC, 32, "LOOK_DAY_709");
    h.f32(0x0100, 1.0f).f32(0x0104, 1.0f).f32(0x0108, 1.0f);  // CDL slope
    h.f32(0x0118, 1.0f).f32(0x011C, 1.0f).f32(0x0120, 1.0f);  // CDL power
    h.u32(0x016C, 7030).u32(0x0170, 21234);                   // firmware, serial number
    h.u32(0x0174, 0x41313233);                                // camera ID "A123"
    h.u32(0x0190, 172800);                                    // shutter, thousandths
    h.u32(0x01A0, 23976).u32(0x01A4, 23976);                  // sensor and project fps
    h.u32(0x01A8, 0x01234512);                                // timecode 01:23:45:12, BCD
    h.textField(0x029C, 8, "CAM-S35").textField(0x02A4, 32, "Internal SSD");
    h.textField(0x02E0, 24, "7.1.3");
    h.u32(0x0374, 1).u32(0x0378, 3500).u32(0x037C, 50000);  // metric; 3.5 m; 50 mm
    h.u32(0x0384, 4300);                                    // T2.8 and 3/10
    h.u16(0x0388, 1).u16(0x038A, 600);                      // ND 0.6
    h.textField(0x0398, 32, "Prime 50mm T1.5");
    h.u32(0x0458, 123).u32(0x045C, 0xFFD3).u32(0x0460, 7);  // pan 12.3, tilt -4.5, roll 0.7
    h.textField(0x04F8, 8, "A012").textField(0x0500, 16, "12A").textField(0x0510, 8, "3");
    h.textField(0x0518, 32, "J. Doe").textField(0x0538, 32, "R. Roe");
    h.textField(0x0558, 32, "The Long Night").textField(0x0578, 32, "North Light Films");
    h.textField(0x0598, 256, "Exterior dusk, handheld");
    h.textField(0x0698, 24, "A012C003_230517_R1AB");
    h.u32(0x0814, 24100).u32(0x0818, 12050);  // voltages, millivolts
    return h.bytes();
}

Bytes lutValue() {
    Bytes lut;
    for (int i = 0; i < 96; ++i) lut.push_back(static_cast<unsigned char>(i * 255 / 95));
    return lut;
}

// ARRI packets carry 255 payload bytes: 3 of header, 252 of stream, the last one padded.
Bytes arriFrame(Flags flags = Flags::Standard) {
    return FrameBuilder(flags)
        .arriStream(arriItem(kArriLUTKey, lutValue()))
        .arriStream(arriItem(kArriMetadataKey, arriHeader()))
        .bytes();
}

// Both kinds of metadata in one frame, with the packets of other services between them.
Bytes mixedFrame() {
    const Bytes stream = standardStream();
    const auto half = static_cast<std::ptrdiff_t>(stream.size() / 2);
    return FrameBuilder()
        .packet(0x41, 0x05, {0x00, 0x20, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00})  // AFD
        .rdd18Stream(Bytes(stream.begin(), stream.begin() + half))
        .packet(0x60, 0x60, Bytes(16, 0x11))  // timecode
        .arriStream(arriItem(kArriMetadataKey, arriHeader()))
        .packet(0x61, 0x01, {0x96, 0x69, 0x10, 0x4F, 0x43, 0x00, 0x01, 0x72, 0xF9, 0x00, 0x00})
        .rdd18Stream(Bytes(stream.begin() + half, stream.end()))
        .bytes();
}

// Values at the edges of every kind, for the output formats: negative zero, NaN, infinities,
// the largest integers, Latin-1 text, characters that need escaping, empty values.
Bytes extremeFrame() {
    const Bytes cdl = halfFloat(true, 0, 0) + halfFloat(false, 15, 0) + halfFloat(false, 23, 1) +
                      halfFloat(false, 16, 1) + halfFloat(false, 31, 1023) + halfFloat(true, 15, 3);
    const Bytes items = rdd18Item(0x80, 0x01, {0x7F, 0xFF})    // 4095 x 10^7
                        + rdd18Item(0x80, 0x02, {0x80, 0x01})  // 1 x 10^-8
                        + rdd18Item(0x80, 0x04, {0xF0, 0x03})  // 3 x 10^-1
                        + rdd18Item(0x80, 0x03, {0x02})        // a boolean byte other than 1: false
                        + rdd18Item(0x80, 0x07, text("AB") + Bytes{0x00} + text("CD")) +
                        rdd18Item(0x81, 0x0B, {0xFF, 0xFF})    // 65535
                        + rdd18Item(0x81, 0x0A, {0x80, 0x00})  // -32768
                        + rdd18Item(0x81, 0x0F, {0xFF, 0xFF})  // -1
                        + rdd18Item(0x81, 0x08, {0xFF, 0xFF, 0xFF, 0xFF}) +
                        rdd18Item(0x81, 0x06, rationalPayload(25, 0)) +
                        rdd18Item(0x81, 0x18, countedVector(0, 8, {})) +
                        rdd18Item(0x81, 0x17, countedVector(6, 2, cdl)) +
                        rdd18Item(0x81, 0x13, {}) +
                        rdd18Item(0x81, 0x14, text("Caf\xE9 \"quoted\" <&> tab\there")) +
                        rdd18Item(0xF0, 0x01, {0x00, 0xFF, 0x10})  // a tag no flavour knows
                        + rdd18Item(0xE1, 0x01, {});  // a Sony tag, unknown to the standard set
    ArriHeaderBuilder h;
    h.f32(0x0060, std::numeric_limits<float>::quiet_NaN());
    h.f32(0x0064, std::numeric_limits<float>::infinity());
    h.f32(0x0068, -std::numeric_limits<float>::infinity());
    h.f32(0x006C, -0.0f);
    h.f32(0x0080, std::numeric_limits<float>::denorm_min());
    h.f32(0x0084, std::numeric_limits<float>::max());
    h.f32(0x0088, 0.1f).f32(0x008C, 1.0f / 3.0f).f32(0x0090, 16777216.0f);
    h.u32(0x0074, 0xFFFFFFFF);
    h.u32(0x016C, 0xFFFFFFFF).u32(0x0170, 0x80000000);  // "4294967295", "-2147483648"
    h.u32(0x0174, 0x4100E95A);                          // camera ID: A, NUL, e acute, Z
    h.u32(0x01A8, 0xFFFFFFFF).u32(0x01B0, 0x80000000);  // BCD nibbles above 9; drop
    h.u8(0x029C, 0xFF).textField(0x029D, 7, "hidden");  // unset text field
    h.textField(0x02A4, 32,
                "ctrl\x01"
                "char");
    h.textField(0x04F8, 8, "REEL0001");  // fills its field, no NUL
    h.textField(0x0500, 16, "NEXT FIELD");
    h.u32(0x0374, 0).u32(0x0378, 0xFFFFFFFF).u32(0x037C, 0xFFFFFFFF);  // focus at infinity
    h.u32(0x0384, 11000);                                              // stop index 11: NaN
    h.u16(0x0388, 0xFFFF).u16(0x038A, 0xFFFF);
    h.u32(0x0458, 0xFFFFFFFF).u32(0x045C, 0x0000FFFF).u32(0x0460, 0x12340005);
    return FrameBuilder()
        .rdd18Stream(rdd18Pack(items))
        .arriStream(arriItem(kArriMetadataKey, h.bytes()))
        .bytes();
}

// --- Broken frames -------------------------------------------------------------------------------

// The standard stream in packets of 100 stream bytes, the third packet left out.
Bytes sequenceGapFrame() {
    const Bytes stream = standardStream();
    FrameBuilder fb;
    std::uint8_t sequence = 1;
    for (std::size_t at = 0; at < stream.size(); at += 100, ++sequence) {
        const auto first = stream.begin() + static_cast<std::ptrdiff_t>(at);
        const auto last =
            first + static_cast<std::ptrdiff_t>(std::min<std::size_t>(100, stream.size() - at));
        if (sequence != 3) fb.rdd18Packet(sequence, Bytes(first, last));
    }
    return fb.bytes();
}

// Lens pack in packets 1 and 2, camera pack in packets 4 and 5: the stream ends between the packs.
Bytes sequenceGapBetweenPacksFrame() {
    const Bytes lens = rdd18Pack(lensItems());
    const Bytes camera = rdd18Pack(cameraItems(kStandardAttributes));
    const auto lensHalf = static_cast<std::ptrdiff_t>(lens.size() / 2);
    const auto cameraHalf = static_cast<std::ptrdiff_t>(camera.size() / 2);
    return FrameBuilder()
        .rdd18Packet(1, Bytes(lens.begin(), lens.begin() + lensHalf))
        .rdd18Packet(2, Bytes(lens.begin() + lensHalf, lens.end()))
        .rdd18Packet(4, Bytes(camera.begin(), camera.begin() + cameraHalf))
        .rdd18Packet(5, Bytes(camera.begin() + cameraHalf, camera.end()))
        .bytes();
}

// The camera pack's length field promises 40 bytes more than its items hold.
Bytes truncatedPackFrame() {
    const Bytes items = cameraItems(kStandardAttributes);
    Bytes pack = rdd18Pack(items);
    const auto claimed = static_cast<std::uint32_t>(items.size() + 40);
    pack[17] = static_cast<unsigned char>(claimed >> 16);
    pack[18] = static_cast<unsigned char>(claimed >> 8);
    pack[19] = static_cast<unsigned char>(claimed);
    return FrameBuilder().rdd18Stream(rdd18Pack(lensItems()) + pack).bytes();
}

// Lens pack in packet 1, camera pack in packets 2 and 3; `rubbish` bytes stand in front of
// packet 2's flag.
Bytes rubbishBetweenPacketsFrame(const Bytes& rubbish) {
    const Bytes lens = rdd18Pack(lensItems());
    const Bytes camera = rdd18Pack(cameraItems(kStandardAttributes));
    FrameBuilder fb;
    fb.rdd18Packet(1, lens).raw(rubbish);
    fb.rdd18Stream(camera);
    return fb.bytes();
}

// The ISO item with a length of 1: a 16-bit number can't be read from one byte.
Bytes shortPayloadFrame() {
    const Bytes items =
        u16Item(0x81, 0x0E, 5600) + rdd18Item(0x81, 0x0B, {0x03}) + u16Item(0x81, 0x15, 800);
    return FrameBuilder().rdd18Stream(rdd18Pack(items)).bytes();
}

// The last packet padded with zeros behind the pack, as a sender with fixed packet sizes does.
Bytes packPaddingFrame() {
    return FrameBuilder().rdd18Stream(standardStream() + Bytes(10, 0x00)).bytes();
}

// Every checksum byte one off; checksums aren't checked, the metadata is all there.
Bytes badChecksumFrame() {
    const Bytes stream = standardStream();
    FrameBuilder fb;
    std::uint8_t sequence = 1;
    for (std::size_t at = 0; at < stream.size(); at += 254, ++sequence) {
        const auto first = stream.begin() + static_cast<std::ptrdiff_t>(at);
        const auto last =
            first + static_cast<std::ptrdiff_t>(std::min<std::size_t>(254, stream.size() - at));
        const Bytes payload = Bytes{sequence} + Bytes(first, last);
        fb.packetWithChecksum(0x43, 0x05, payload,
                              static_cast<std::uint8_t>(packetChecksum(0x43, 0x05, payload) + 1));
    }
    return fb.bytes();
}

// A complete metadata record, then a look-up table item whose length field starts with 0x82.
Bytes arriBadLengthMarkerFrame() {
    return FrameBuilder()
        .arriStream(arriItem(kArriMetadataKey, arriHeader()))
        .arriStream(arriItem(kArriLUTKey, lutValue(), 0x82))
        .bytes();
}

// A metadata value one byte short of a record.
Bytes arriShortRecordFrame() {
    Bytes record = arriHeader();
    record.pop_back();
    return FrameBuilder().arriStream(arriItem(kArriMetadataKey, record)).bytes();
}

// A complete record, then a packet that repeats the last sequence number: the stream ends there,
// and the record stands.
Bytes arriSequenceBreakFrame() {
    const Bytes item = arriItem(kArriMetadataKey, arriHeader());
    const auto lastSequence = static_cast<std::uint16_t>((item.size() + 251) / 252);
    return FrameBuilder()
        .arriStream(item)
        .arriPacket(1, lastSequence, arriItem(kArriLUTKey, {0x01}))
        .bytes();
}

// Bytes of no packet structure (a fixed pseudo-random sequence).
Bytes rubbishFrame() {
    Bytes out;
    std::uint32_t state = 0x2545F491;
    for (int i = 0; i < 60; ++i) {
        state = state * 1664525u + 1013904223u;
        out.push_back(static_cast<unsigned char>(state >> 24));
    }
    return out;
}

// Hexadecimal text as an analyser shows it: 16 bytes a line.
std::string hexLines(const Bytes& bytes) {
    std::string out;
    char buf[4];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(buf, sizeof buf, "%02X", bytes[i]);
        out += buf;
        out += (i % 16 == 15 || i + 1 == bytes.size()) ? '\n' : ' ';
    }
    return out;
}

std::vector<Sample> allSamples() {
    const std::string rdd18Fault = "--parser rdd18 --packets --explain";
    const std::string arriFault = "--parser arri --packets --explain";
    return {
        {"standard.anc", "--flavour standard", "all 37 standard items, lens and camera pack",
         binary(standardFrame())},
        {"sony.anc", "--flavour sony", "standard items and the 16 Sony items", binary(sonyFrame())},
        {"varicam.anc", "--flavour varicam", "standard items and the 4 Varicam clip items",
         binary(varicamFrame())},
        {"arri.anc", "--parser arri", "ARRI file header behind a look-up table item",
         binary(arriFrame())},
        {"mixed.anc", "--packets", "RDD 18 and ARRI packets with packets of other services",
         binary(mixedFrame())},
        {"standard-log.hex", "--hex --flavour standard", "standard.anc as hexadecimal text",
         hexLines(standardFrame())},
        {"standard-noflags.anc", "--no-flags --flavour standard", "standard.anc without flags",
         binary(standardFrame(Flags::None))},
        {"arri-noflags.anc", "--no-flags --parser arri", "arri.anc without flags",
         binary(arriFrame(Flags::None))},
        {"extreme-values.anc", "", "edge values of every kind, both parsers",
         binary(extremeFrame())},
        {"sequence-gap.anc", rdd18Fault, "RDD 18 packet 3 missing inside a pack",
         binary(sequenceGapFrame())},
        {"sequence-gap-between-packs.anc", rdd18Fault, "RDD 18 packet 3 missing between two packs",
         binary(sequenceGapBetweenPacksFrame())},
        {"truncated-pack.anc", rdd18Fault, "a pack length beyond the end of the stream",
         binary(truncatedPackFrame())},
        {"bad-flag-resync.anc", rdd18Fault, "3 bytes of rubbish between packets: the walk resyncs",
         binary(rubbishBetweenPacketsFrame({0xDE, 0xAD, 0x01}))},
        {"bad-flag-out-of-step.anc", rdd18Fault,
         "4 bytes of rubbish between packets: the walk is out of step",
         binary(rubbishBetweenPacketsFrame({0xDE, 0xAD, 0x01, 0x02}))},
        {"short-payload.anc", rdd18Fault, "an ISO item of length 1", binary(shortPayloadFrame())},
        {"pack-padding.anc", rdd18Fault, "zero padding behind the last pack",
         binary(packPaddingFrame())},
        {"bad-checksum.anc", rdd18Fault, "wrong checksum bytes, which aren't checked",
         binary(badChecksumFrame())},
        {"arri-bad-length-marker.anc", arriFault, "a length marker 0x82 behind a complete record",
         binary(arriBadLengthMarkerFrame())},
        {"arri-short-record.anc", arriFault, "a metadata value of 4095 bytes",
         binary(arriShortRecordFrame())},
        {"arri-sequence-break.anc", arriFault,
         "a repeated sequence number behind a complete record", binary(arriSequenceBreakFrame())},
        {"rubbish.anc", "--packets --explain", "bytes without packet structure",
         binary(rubbishFrame())},
    };
}

// --- Files ---------------------------------------------------------------------------------------

void writeFile(const fs::path& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
    if (!out) throw std::runtime_error("cannot write " + path.string());
}

// --- ARRIRAW frame files ------------------------------------------------------------------------

constexpr const char* kAriFolder = "arriraw";

// Three frames of one take as the camera writes them: frame 0 carries the record of arri.anc,
// each frame after it the timecode one frame on; a small picture stands for the tens of megabytes
// behind the record.
void writeAriFrames(const fs::path& folder) {
    fs::remove_all(folder);
    fs::create_directory(folder);
    for (unsigned frame = 0; frame < 3; ++frame) {
        Bytes record = arriHeader();
        record[0x01A8] = static_cast<unsigned char>(0x12 + frame);  // BCD frames 12, 13, 14
        writeFile(folder / ("A012C003_230517_R1AB.000000" + std::to_string(frame) + ".ari"),
                  binary(ariFile(record, 256)));
    }
}

void writeSamples(const fs::path& dir) {
    std::string index =
        "# The bundled samples: file, then the velmora-dump options it is decoded with.\n"
        "# Written by make-samples; the golden-file test and the expectations follow it.\n";
    for (const auto& s : allSamples()) {
        writeFile(dir / s.file, s.content);
        index +=
            "\n# " + s.about + "\n" + s.file + (s.options.empty() ? "" : " ") + s.options + "\n";
    }
    writeAriFrames(dir / kAriFolder);
    index += std::string("\n# a folder of three ARRIRAW frames, read for their records\n") +
             kAriFolder + " --parser arri\n";
    writeFile(dir / "index.txt", index);
}

// The output of velmora-dump for every sample and format, run in the samples folder so that
// the reports name the files as a user there would.
void writeExpected(const fs::path& dir) {
    const fs::path previous = fs::current_path();
    fs::current_path(dir);
    fs::remove_all("expected");
    fs::create_directory("expected");
    auto expect = [](std::vector<std::string> args, const std::string& file,
                     const std::string& name) {
        args.push_back(file);
        std::ostringstream out, err;
        std::istringstream in;
        if (rdd18::dump::run(args, in, out, err) != 0) {
            throw std::runtime_error(file + ": " + err.str());
        }
        writeFile(fs::path("expected") / (fs::path(file).stem().string() + name), out.str());
    };
    for (const auto& entry : readSampleIndex("index.txt")) {
        for (const std::string& format : entry.goldenFormats()) {
            std::vector<std::string> args = entry.options;
            args.insert(args.end(), {"--format", format});
            expect(args, entry.file, "." + format);
        }
    }
    for (const auto& u : kUnitsExpectations) {
        expect({"--units=only", "--format", u.format}, u.file, std::string(".units.") + u.format);
    }
    fs::current_path(previous);
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    const bool expectedOnly = args.size() == 2 && args[0] == "--expected-only";
    if (!(args.size() == 1 || expectedOnly)) {
        std::cerr << "usage: make-samples [--expected-only] <samples-dir>\n";
        return 2;
    }
    try {
        const fs::path dir = fs::absolute(args.back());
        fs::create_directories(dir);
        if (!expectedOnly) writeSamples(dir);
        writeExpected(dir);
    } catch (const std::exception& e) {
        std::cerr << "make-samples: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
