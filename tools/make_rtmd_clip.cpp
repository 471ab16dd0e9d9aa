// make-rtmd-clip: writes an MP4 clip whose rtmd track carries one sample per picture, each a
// 0x1C-byte header, the RDD 18 packs of a frame and zero padding to a multiple of 512 bytes.
//
//   make-rtmd-clip OUT.mp4 SONY.anc [FRAMES]
//
// Frames come in fives (FRAMES, 5 by default): the packs of the flagged packet buffer SONY.anc,
// then four frames of a lens pack and a camera pack whose iris, focus, focal length, shutter,
// gain, ISO, white balance, date and GPS position change from frame to frame. Every header carries
// the timecode from 10:00:00:00 at 25 frames a second, but the fourth of each five, whose timecode
// bytes are 0xFF (no timecode).
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

#include "frame_builder.h"
#include "iso_bmff_writer.h"
#include "rdd18/host/packet.h"
#include "rdd18/transport/rtmd_sample.h"

namespace {

using namespace rdd18::testsupport;

constexpr std::size_t kSampleUnit = 512;

unsigned char bcd(unsigned v) {
    return static_cast<unsigned char>(v / 10 << 4 | v % 10);
}

// Frame `k` (1-4) of a five: F2.8 to F8, focus 1 m to 4 m, 24 mm to 96 mm, 1/50 s to 1/200 s,
// gain 0 to 9 dB, ISO 800 to 6400, daylight or cloudy, one second apart, a tenth of a second of
// longitude apart.
Bytes changingPacks(unsigned k) {
    const double f = std::pow(std::sqrt(2.0), k + 2);  // 2.8, 4, 5.6, 8
    const auto iris = static_cast<std::uint16_t>(std::lround(65536 * (1 - std::log2(f) / 8)));
    const Bytes lens = rdd18Item(0x80, 0x00, be16(iris)) +
                       rdd18Item(0x80, 0x01, halfFloatLensSerial(0xF, 10 * k)) +
                       rdd18Item(0x80, 0x05, halfFloatLensSerial(0xD, 24 * k));
    const Bytes camera =
        rdd18Item(0x81, 0x09, rationalPayload(1, 50 * k)) +
        rdd18Item(0x81, 0x0A, be16(static_cast<std::uint16_t>(300 * (k - 1)))) +
        rdd18Item(0x81, 0x0B, be16(static_cast<std::uint16_t>(800 << (k - 1)))) +
        rdd18Item(0xE3, 0x03, {static_cast<unsigned char>(k % 2 ? 4 : 5)}) +
        rdd18Item(0xE3, 0x04, {0x00, 0x20, 0x26, 0x11, 0x25, 0x10, 0x00, bcd(k)}) +
        rdd18Item(0x85, 0x01, text({"N", 2})) +  // 48 deg 51' 29.5" N, 2 deg 17' 40.3" E on
        rdd18Item(0x85, 0x02,
                  rationalPayload(48, 1) + rationalPayload(51, 1) + rationalPayload(295, 10)) +
        rdd18Item(0x85, 0x03, text({"E", 2})) +
        rdd18Item(0x85, 0x04,
                  rationalPayload(2, 1) + rationalPayload(17, 1) + rationalPayload(402 + k, 10));
    auto cameraKey = rdd18PackKey();
    cameraKey[12] = 0x02;  // the camera pack
    return rdd18Pack(lens) + rdd18Pack(camera, cameraKey);
}

Bytes sample(std::size_t frame, const Bytes& sonyStream) {
    const auto k = static_cast<unsigned>(frame % 5);
    std::optional<rdd18::RtmdTimecode> timecode;
    if (k != 3) {
        const auto s = frame / 25;
        timecode = {static_cast<std::uint8_t>(10 + s / 3600 % 14),
                    static_cast<std::uint8_t>(s / 60 % 60), static_cast<std::uint8_t>(s % 60),
                    static_cast<std::uint8_t>(frame % 25), false};
    }
    return rdd18::writeRtmdSample(k == 0 ? sonyStream : changingPacks(k), timecode, kSampleUnit);
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t frames = 5;
    if (argc < 3 || argc > 4 ||
        (argc == 4 &&
         std::from_chars(argv[3], argv[3] + std::strlen(argv[3]), frames).ec != std::errc())) {
        std::cerr << "usage: make-rtmd-clip OUT.mp4 SONY.anc [FRAMES]\n";
        return 2;
    }
    const Bytes sony =
        rdd18::host::rdd18Stream(rdd18::host::packetsFromAncillaryBuffer(fileBytes(argv[2]), true));
    if (sony.empty()) {
        std::cerr << "make-rtmd-clip: " << argv[2] << ": no RDD 18 packets\n";
        return 1;
    }
    Mp4Clip clip;
    for (std::size_t i = 0; i < frames; ++i) clip.samples.push_back(sample(i, sony));
    const Bytes file = mp4Clip(clip);
    std::ofstream out(argv[1], std::ios::binary);
    out.write(reinterpret_cast<const char*>(file.data()),
              static_cast<std::streamsize>(file.size()));
    if (!out) {
        std::cerr << "make-rtmd-clip: cannot write " << argv[1] << '\n';
        return 1;
    }
    return 0;
}
