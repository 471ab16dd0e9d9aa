// A host hands one frame's ancillary data to the parser and reads typed values from the answer.
#include <rdd18/interpret/interpret.h>
#include <rdd18/rdd18.h>

#include <cstdio>
#include <vector>

int main() {
    // One packet (flag, DID 0x43, SDID 0x05, DC 0x1B: 27 payload bytes, the sequence number 1 and
    // 26 stream bytes; then the checksum) carrying one pack with one item:
    // CameraISOSensitivityItem (tag 0x81 0x0B), a 16-bit value of 800.
    const std::vector<unsigned char> frame = {0x00, 0xFF, 0xFF, 0x43, 0x05, 0x1B, 0x01, 0x06, 0x0E,
                                              0x2B, 0x34, 0x02, 0x53, 0x01, 0x01, 0x0C, 0x02, 0x01,
                                              0x01, 0x01, 0x01, 0x00, 0x00, 0x83, 0x00, 0x00, 0x06,
                                              0x81, 0x0B, 0x00, 0x02, 0x03, 0x20, 0x00};

    const VLRDD18Parser parser(0);  // 0: the standard item set
    const rdd18::Dictionary metadata = parser.parseData(frame);

    const rdd18::Value* iso = metadata.find("CameraISOSensitivityItem");
    if (!iso || !iso->isNumber() || iso->number().kind() != rdd18::NumberKind::Integer) {
        std::fprintf(stderr, "no ISO in this frame\n");
        return 1;
    }
    std::printf("ISO %lld (%zu entries)\n", static_cast<long long>(iso->number().int64Value()),
                metadata.size());

    // The same answer as a camera model in units: every field optional, the unit in its name.
    const rdd18::interpret::CameraModel camera = rdd18::interpret::fromRDD18(metadata);
    if (camera.focalLengthMm) std::printf("focal length %.0f mm\n", *camera.focalLengthMm);
    return iso->number().int64Value() == 800 && camera.iso == 800.0 ? 0 : 1;
}
