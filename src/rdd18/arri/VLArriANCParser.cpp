#include "rdd18/arri/VLArriANCParser.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "rdd18/arri/arri_ancillary_parser.h"
#include "rdd18/arri/arri_blob.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/transport/ancillary_packet.h"

namespace {

using namespace rdd18;
using namespace rdd18::arri;
namespace fh = rdd18::arri::file_header;

// --- Rows of the fields that go out as they are, or by one common rule -------------------------

struct U32Row {
    const char* key;
    fh::U32 field;
};
struct F32Row {
    const char* key;
    fh::F32 field;
};
struct TextRow {
    const char* key;
    fh::TextField field;
};

/// Unsigned 32-bit numbers, as stored.
constexpr U32Row kUnsignedIntFields[] = {
    {"rawImageWidth", fh::kRawImageWidth},
    {"rawImageHeight", fh::kRawImageHeight},
    {"activeImageLeft", fh::kActiveImageLeft},
    {"activeImageTop", fh::kActiveImageTop},
    {"activeImageWidth", fh::kActiveImageWidth},
    {"activeImageHeight", fh::kActiveImageHeight},
    {"whiteBalance", fh::kWhiteBalance},
    {"wbAppliedInCamera", fh::kWbAppliedInCamera},
    {"ASA", fh::kAsa},
    {"blackLevel", fh::kBlackLevel},
    {"whiteLevel", fh::kWhiteLevel},
    {"flip", fh::kFlip},
    {"cameraInfoMainVoltage", fh::kCameraInfoMainVoltage},
    {"cameraInfoOnBoardVoltage", fh::kCameraInfoOnBoardVoltage},
};

/// Single-precision floats, as stored, NaN and infinity included.
constexpr F32Row kFloatFields[] = {
    {"greenTintFactor", fh::kGreenTintFactor},
    {"whiteBalanceFactorR", fh::kWhiteBalanceFactorR},
    {"whiteBalanceFactorG", fh::kWhiteBalanceFactorG},
    {"whiteBalanceFactorB", fh::kWhiteBalanceFactorB},
    {"pixelAspectRatio", fh::kPixelAspectRatio},
    {"cdlSlopeR", fh::kCdlSlopeR},
    {"cdlSlopeG", fh::kCdlSlopeG},
    {"cdlSlopeB", fh::kCdlSlopeB},
    {"cdlOffsetR", fh::kCdlOffsetR},
    {"cdlOffsetG", fh::kCdlOffsetG},
    {"cdlOffsetB", fh::kCdlOffsetB},
    {"cdlPowerR", fh::kCdlPowerR},
    {"cdlPowerG", fh::kCdlPowerG},
    {"cdlPowerB", fh::kCdlPowerB},
};

/// Unsigned thousandths, out as single-precision floats.
constexpr U32Row kThousandthsFields[] = {
    {"shutterAngle", fh::kShutterAngle},
    {"sensorFps", fh::kSensorFps},
    {"projectFps", fh::kProjectFps},
};

/// Text fields that are always present (the lens model is one of the lens keys).
constexpr TextRow kTextFields[] = {
    {"lookFile", fh::kLookFile},
    {"cameraModel", fh::kCameraModel},
    {"recorderType", fh::kRecorderType},
    {"supName", fh::kSupName},
    {"reelName", fh::kReelName},
    {"sceneName", fh::kSceneName},
    {"takeName", fh::kTakeName},
    {"director", fh::kDirector},
    {"DoP", fh::kDoP},
    {"production", fh::kProduction},
    {"company", fh::kCompany},
    {"clipNotes", fh::kClipNotes},
    {"clipName", fh::kClipName},
};

/// VFX values, each present unless its word is the absent sentinel. Written in this order.
constexpr U32Row kVfxFields[] = {
    {"vfxInfoPan", fh::kVfxPan},
    {"vfxInfoTilt", fh::kVfxTilt},
    {"vfxInfoRoll", fh::kVfxRoll},
};

// --- Conversions -------------------------------------------------------------------------------

/// The text rule: unset (empty) when the first byte is the sentinel, else up to the first NUL or
/// the field's width. 8-bit characters are Latin-1.
std::string text(const ArriFileHeader& header, fh::TextField field) {
    const unsigned char* first = header.bytes + field.offset;
    if (*first == fh::kUnsetText) return {};
    const unsigned char* end = std::find(first, first + field.width, 0);
    return stringFromLatin1(reinterpret_cast<const char*>(first),
                            static_cast<std::size_t>(end - first));
}

/// Thousandths to a float, divided in single precision with no double step.
float fromThousandths(std::uint32_t v) {
    return static_cast<float>(v) / 1000.0f;
}

/// Two BCD digits of one byte: 10 x high nibble + low nibble; nibbles above 9 are taken as they
/// are (0xFF gives 165).
std::int32_t fromBcd(std::uint32_t byte) {
    return static_cast<std::int32_t>(10 * ((byte >> 4) & 0xF) + (byte & 0xF));
}

/// The four camera ID characters, from the most significant byte of the word to the least. Each
/// byte is one Latin-1 character, a NUL included.
std::string cameraId(std::uint32_t word) {
    const char chars[4] = {static_cast<char>(word >> 24), static_cast<char>(word >> 16),
                           static_cast<char>(word >> 8), static_cast<char>(word)};
    return stringFromLatin1(chars, sizeof chars);
}

/// Focus distance in metres. From thousandths of an inch: x 2.54, / 1000, / 100 in double
/// precision in this order; otherwise / 1000 in double precision. Rounded once to float.
float focusDistance(std::uint32_t v, std::uint32_t unit) {
    if (v == fh::kInfiniteFocusDistance) return std::numeric_limits<float>::infinity();
    if (unit == fh::kFocusInThousandthsOfInch) {
        double metres = static_cast<double>(v) * 2.54;
        metres = metres / 1000.0;
        metres = metres / 100.0;
        return static_cast<float>(metres);
    }
    return static_cast<float>(static_cast<double>(v) / 1000.0);
}

/// T-stops by stop index. Index 3 is 2.2.
constexpr double kTStops[] = {0.7, 1.0, 1.4, 2.2, 2.8, 4.0, 5.6, 8.0, 11.0, 16.0, 22.0};

double apertureTStop(std::uint32_t iris) {
    const std::uint32_t index = iris / 1000;
    if (index >= std::size(kTStops)) return std::numeric_limits<double>::quiet_NaN();
    return kTStops[index];
}

/// The remainder below 1000 in hundreds, rounded half away from zero: 0 to 10.
std::uint64_t apertureSecondValue(std::uint32_t iris) {
    return static_cast<std::uint64_t>(std::round(static_cast<double>(iris % 1000) / 100.0));
}

/// The low 16 bits as a signed number of tenths.
double vfxValue(std::uint32_t word) {
    return static_cast<double>(static_cast<std::int16_t>(word & 0xFFFF)) / 10.0;
}

bool hasLensData(const ArriFileHeader& header) {
    return header.load(fh::kFocusDistance) != fh::kNoFocusDistance &&
           header.load(fh::kIris) != fh::kNoIris;
}

/// The 54 entries that every record gives.
Dictionary alwaysPresentEntries(const ArriFileHeader& header) {
    Dictionary d;
    d.reserve(62);
    for (const U32Row& row : kUnsignedIntFields)
        d.set(row.key, Number::unsignedInt(header.load(row.field)));
    for (const F32Row& row : kFloatFields)
        d.set(row.key, Number::floatNumber(header.load(row.field)));
    for (const U32Row& row : kThousandthsFields)
        d.set(row.key, Number::floatNumber(fromThousandths(header.load(row.field))));
    for (const TextRow& row : kTextFields) d.set(row.key, text(header, row.field));

    Array matrix;
    matrix.reserve(fh::kColorMatrix.count);
    for (std::size_t i = 0; i < fh::kColorMatrix.count; ++i)
        matrix.emplace_back(Number::floatNumber(header.load(fh::kColorMatrix, i)));
    d.set("colorMatrix", std::move(matrix));

    d.set("firmwareVersion", std::to_string(header.load(fh::kFirmwareVersion)));
    d.set("serialNumber",
          std::to_string(static_cast<std::int32_t>(header.load(fh::kSerialNumber))));
    d.set("cameraID", cameraId(header.load(fh::kCameraId)));

    const std::uint32_t timecode = header.load(fh::kTimecode);
    d.set("tcHours", Number::intNumber(fromBcd(timecode >> 24)));
    d.set("tcMinutes", Number::intNumber(fromBcd(timecode >> 16)));
    d.set("tcSeconds", Number::intNumber(fromBcd(timecode >> 8)));
    d.set("tcFrames", Number::intNumber(fromBcd(timecode)));
    d.set("tcDropFrame",
          Number::boolean((header.load(fh::kTimecodeFlags) & fh::kDropFrameBit) != 0));

    d.set("NDFilter",
          Dictionary{
              {"type", Number::unsignedShort(header.load(fh::kNdFilterType))},
              {"density", Number::doubleNumber(
                              static_cast<double>(header.load(fh::kNdFilterDensity)) / 1000.0)},
          });
    return d;
}

/// The five lens entries, for a record with lens data.
Dictionary lensEntries(const ArriFileHeader& header) {
    const std::uint32_t iris = header.load(fh::kIris);
    const double focalLength = static_cast<double>(header.load(fh::kFocalLength)) / 1000.0;
    return Dictionary{
        {"lensDataFocusDistance",
         Number::floatNumber(
             focusDistance(header.load(fh::kFocusDistance), header.load(fh::kFocusDistanceUnit)))},
        {"lensDataFocalLength", Number::doubleNumber(focalLength / 1000.0)},
        {"lensDataApertureTstop", Number::doubleNumber(apertureTStop(iris))},
        {"lensDataApertureSecondValue", Number::unsignedLong(apertureSecondValue(iris))},
        {"lensModel", text(header, fh::kLensModel)},
    };
}

}  // namespace

rdd18::Dictionary VLArriANCParser::parseData(std::span<const unsigned char> bytes) const {
    return parseData(bytes, true);
}

rdd18::Dictionary VLArriANCParser::parseData(std::span<const unsigned char> bytes,
                                             bool flags) const {
    AncillaryDataBufferReader packets(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    return parseData(packets);
}

rdd18::Dictionary VLArriANCParser::parseData(rdd18::AncillaryDataReader& packets) const {
    try {
        const std::vector<ArriAncBlob> blobs = parseAncillaryData(
            packets, [](const ArriAncKey& key) { return key == ArriAncMetadataKey; });
        // Only the first metadata item counts, and only when it holds a whole record.
        if (blobs.empty() || blobs.front().size() < ArriFileHeader::kSize) return {};
        // The blob's buffer is a byte array, so a record may be read in place.
        return translateFileHeaderToDictionary(
            reinterpret_cast<const ArriFileHeader*>(blobs.front().data()));
    } catch (const ParsingError&) {
        return {};
    }
}

rdd18::Dictionary VLArriANCParser::translateFileHeaderToDictionary(
    const rdd18::arri::ArriFileHeader* header) const {
    if (header == nullptr) return {};
    Dictionary result = alwaysPresentEntries(*header);
    if (hasLensData(*header)) result.addEntries(lensEntries(*header));
    for (const U32Row& row : kVfxFields) {
        const std::uint32_t word = header->load(row.field);
        if (word != fh::kAbsentVfx) result.set(row.key, Number::doubleNumber(vfxValue(word)));
    }
    return result;
}
