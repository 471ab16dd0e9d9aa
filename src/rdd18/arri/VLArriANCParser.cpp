#include "rdd18/arri/VLArriANCParser.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rdd18/arri/arri_ancillary_parser.h"
#include "rdd18/arri/arri_blob.h"
#include "rdd18/arri/arri_stream_reader.h"
#include "rdd18/platform/internal_key_order_writer.h"
#include "rdd18/transport/ancillary_packet.h"
#include "rdd18/transport/fault.h"

namespace {

using namespace rdd18;
using namespace rdd18::arri;
namespace fh = rdd18::arri::file_header;

// --- Conversions -------------------------------------------------------------------------------

/// Unsigned 32-bit numbers, as stored.
template <fh::U32 F>
Value unsignedInt(const ArriFileHeader& h) {
    return Number::unsignedInt(h.load(F));
}

/// Single-precision floats, as stored, NaN and infinity included.
template <fh::F32 F>
Value asStored(const ArriFileHeader& h) {
    return Number::floatNumber(h.load(F));
}

/// Unsigned thousandths to a float, divided in single precision with no double step.
template <fh::U32 F>
Value thousandths(const ArriFileHeader& h) {
    return Number::floatNumber(static_cast<float>(h.load(F)) / 1000.0f);
}

/// The text rule: unset (empty) when the first byte is the sentinel, else up to the first NUL or
/// the field's width. 8-bit characters are Latin-1.
template <fh::TextField F>
Value text(const ArriFileHeader& h) {
    const unsigned char* first = h.bytes + F.offset;
    if (*first == fh::kUnsetText) return std::string();
    const unsigned char* end = std::find(first, first + F.width, 0);
    return stringFromLatin1(reinterpret_cast<const char*>(first),
                            static_cast<std::size_t>(end - first));
}

Value colorMatrix(const ArriFileHeader& h) {
    Array matrix;
    matrix.reserve(fh::kColorMatrix.count);
    for (std::size_t i = 0; i < fh::kColorMatrix.count; ++i)
        matrix.emplace_back(Number::floatNumber(h.load(fh::kColorMatrix, i)));
    return matrix;
}

Value firmwareVersion(const ArriFileHeader& h) {
    return std::to_string(h.load(fh::kFirmwareVersion));
}

Value serialNumber(const ArriFileHeader& h) {
    return std::to_string(static_cast<std::int32_t>(h.load(fh::kSerialNumber)));
}

/// The four camera ID characters, from the most significant byte of the word to the least. Each
/// byte is one Latin-1 character, a NUL included.
Value cameraId(const ArriFileHeader& h) {
    const std::uint32_t word = h.load(fh::kCameraId);
    const char chars[4] = {static_cast<char>(word >> 24), static_cast<char>(word >> 16),
                           static_cast<char>(word >> 8), static_cast<char>(word)};
    return stringFromLatin1(chars, sizeof chars);
}

/// Two BCD digits of the timecode byte at `Shift`: 10 x high nibble + low nibble; nibbles above
/// 9 are taken as they are (0xFF gives 165).
template <unsigned Shift>
Value timecodeDigits(const ArriFileHeader& h) {
    const std::uint32_t byte = h.load(fh::kTimecode) >> Shift;
    return Number::intNumber(static_cast<std::int32_t>(10 * ((byte >> 4) & 0xF) + (byte & 0xF)));
}

Value dropFrame(const ArriFileHeader& h) {
    return Number::boolean((h.load(fh::kTimecodeFlags) & fh::kDropFrameBit) != 0);
}

Value ndFilter(const ArriFileHeader& h) {
    Dictionary d;
    d.reserve(2);
    KeyOrderWriter w(d);
    w.append("density",
             Number::doubleNumber(static_cast<double>(h.load(fh::kNdFilterDensity)) / 1000.0));
    w.append("type", Number::unsignedShort(h.load(fh::kNdFilterType)));
    return d;
}

/// Focus distance in metres. From thousandths of an inch: x 2.54, / 1000, / 100 in double
/// precision in this order; otherwise / 1000 in double precision. Rounded once to float.
Value focusDistance(const ArriFileHeader& h) {
    const std::uint32_t v = h.load(fh::kFocusDistance);
    if (v == fh::kInfiniteFocusDistance) {
        return Number::floatNumber(std::numeric_limits<float>::infinity());
    }
    if (h.load(fh::kFocusDistanceUnit) == fh::kFocusInThousandthsOfInch) {
        double metres = static_cast<double>(v) * 2.54;
        metres = metres / 1000.0;
        metres = metres / 100.0;
        return Number::floatNumber(static_cast<float>(metres));
    }
    return Number::floatNumber(static_cast<float>(static_cast<double>(v) / 1000.0));
}

Value focalLength(const ArriFileHeader& h) {
    const double millimetres = static_cast<double>(h.load(fh::kFocalLength)) / 1000.0;
    return Number::doubleNumber(millimetres / 1000.0);
}

/// T-stops by stop index. Index 3 is 2.2.
constexpr double kTStops[] = {0.7, 1.0, 1.4, 2.2, 2.8, 4.0, 5.6, 8.0, 11.0, 16.0, 22.0};

Value apertureTStop(const ArriFileHeader& h) {
    const std::uint32_t index = h.load(fh::kIris) / 1000;
    if (index >= std::size(kTStops)) {
        return Number::doubleNumber(std::numeric_limits<double>::quiet_NaN());
    }
    return Number::doubleNumber(kTStops[index]);
}

/// The remainder below 1000 in hundreds, rounded half away from zero: 0 to 10.
Value apertureSecondValue(const ArriFileHeader& h) {
    const std::uint32_t iris = h.load(fh::kIris);
    return Number::unsignedLong(
        static_cast<std::uint64_t>(std::round(static_cast<double>(iris % 1000) / 100.0)));
}

/// The low 16 bits as a signed number of tenths.
template <fh::U32 F>
Value vfx(const ArriFileHeader& h) {
    const std::uint32_t word = h.load(F);
    return Number::doubleNumber(static_cast<double>(static_cast<std::int16_t>(word & 0xFFFF)) /
                                10.0);
}

// --- The answer's rows, in the order of their keys ----------------------------------------------

/// Whether a record gives the row's key; null for the keys every record gives.
using Presence = bool (*)(const ArriFileHeader&);

/// Lens keys: only with lens data (focus distance not 0 and iris word not 0xFFFFFFFF).
bool hasLensData(const ArriFileHeader& header) {
    return header.load(fh::kFocusDistance) != fh::kNoFocusDistance &&
           header.load(fh::kIris) != fh::kNoIris;
}

/// A VFX key: unless its own word is the absent sentinel.
template <fh::U32 F>
bool vfxPresent(const ArriFileHeader& h) {
    return h.load(F) != fh::kAbsentVfx;
}

struct Row {
    std::string_view key;
    Presence present;
    Value (*make)(const ArriFileHeader&);
};

// One row per key the record can give, sorted by key bytes, so that the answer is written by
// appending (see the static_assert below).
constexpr Row kRows[] = {
    {"ASA", nullptr, &unsignedInt<fh::kAsa>},
    {"DoP", nullptr, &text<fh::kDoP>},
    {"NDFilter", nullptr, &ndFilter},
    {"activeImageHeight", nullptr, &unsignedInt<fh::kActiveImageHeight>},
    {"activeImageLeft", nullptr, &unsignedInt<fh::kActiveImageLeft>},
    {"activeImageTop", nullptr, &unsignedInt<fh::kActiveImageTop>},
    {"activeImageWidth", nullptr, &unsignedInt<fh::kActiveImageWidth>},
    {"blackLevel", nullptr, &unsignedInt<fh::kBlackLevel>},
    {"cameraID", nullptr, &cameraId},
    {"cameraInfoMainVoltage", nullptr, &unsignedInt<fh::kCameraInfoMainVoltage>},
    {"cameraInfoOnBoardVoltage", nullptr, &unsignedInt<fh::kCameraInfoOnBoardVoltage>},
    {"cameraModel", nullptr, &text<fh::kCameraModel>},
    {"cdlOffsetB", nullptr, &asStored<fh::kCdlOffsetB>},
    {"cdlOffsetG", nullptr, &asStored<fh::kCdlOffsetG>},
    {"cdlOffsetR", nullptr, &asStored<fh::kCdlOffsetR>},
    {"cdlPowerB", nullptr, &asStored<fh::kCdlPowerB>},
    {"cdlPowerG", nullptr, &asStored<fh::kCdlPowerG>},
    {"cdlPowerR", nullptr, &asStored<fh::kCdlPowerR>},
    {"cdlSlopeB", nullptr, &asStored<fh::kCdlSlopeB>},
    {"cdlSlopeG", nullptr, &asStored<fh::kCdlSlopeG>},
    {"cdlSlopeR", nullptr, &asStored<fh::kCdlSlopeR>},
    {"clipName", nullptr, &text<fh::kClipName>},
    {"clipNotes", nullptr, &text<fh::kClipNotes>},
    {"colorMatrix", nullptr, &colorMatrix},
    {"company", nullptr, &text<fh::kCompany>},
    {"director", nullptr, &text<fh::kDirector>},
    {"firmwareVersion", nullptr, &firmwareVersion},
    {"flip", nullptr, &unsignedInt<fh::kFlip>},
    {"greenTintFactor", nullptr, &asStored<fh::kGreenTintFactor>},
    {"lensDataApertureSecondValue", &hasLensData, &apertureSecondValue},
    {"lensDataApertureTstop", &hasLensData, &apertureTStop},
    {"lensDataFocalLength", &hasLensData, &focalLength},
    {"lensDataFocusDistance", &hasLensData, &focusDistance},
    {"lensModel", &hasLensData, &text<fh::kLensModel>},
    {"lookFile", nullptr, &text<fh::kLookFile>},
    {"pixelAspectRatio", nullptr, &asStored<fh::kPixelAspectRatio>},
    {"production", nullptr, &text<fh::kProduction>},
    {"projectFps", nullptr, &thousandths<fh::kProjectFps>},
    {"rawImageHeight", nullptr, &unsignedInt<fh::kRawImageHeight>},
    {"rawImageWidth", nullptr, &unsignedInt<fh::kRawImageWidth>},
    {"recorderType", nullptr, &text<fh::kRecorderType>},
    {"reelName", nullptr, &text<fh::kReelName>},
    {"sceneName", nullptr, &text<fh::kSceneName>},
    {"sensorFps", nullptr, &thousandths<fh::kSensorFps>},
    {"serialNumber", nullptr, &serialNumber},
    {"shutterAngle", nullptr, &thousandths<fh::kShutterAngle>},
    {"supName", nullptr, &text<fh::kSupName>},
    {"takeName", nullptr, &text<fh::kTakeName>},
    {"tcDropFrame", nullptr, &dropFrame},
    {"tcFrames", nullptr, &timecodeDigits<0>},
    {"tcHours", nullptr, &timecodeDigits<24>},
    {"tcMinutes", nullptr, &timecodeDigits<16>},
    {"tcSeconds", nullptr, &timecodeDigits<8>},
    {"vfxInfoPan", &vfxPresent<fh::kVfxPan>, &vfx<fh::kVfxPan>},
    {"vfxInfoRoll", &vfxPresent<fh::kVfxRoll>, &vfx<fh::kVfxRoll>},
    {"vfxInfoTilt", &vfxPresent<fh::kVfxTilt>, &vfx<fh::kVfxTilt>},
    {"wbAppliedInCamera", nullptr, &unsignedInt<fh::kWbAppliedInCamera>},
    {"whiteBalance", nullptr, &unsignedInt<fh::kWhiteBalance>},
    {"whiteBalanceFactorB", nullptr, &asStored<fh::kWhiteBalanceFactorB>},
    {"whiteBalanceFactorG", nullptr, &asStored<fh::kWhiteBalanceFactorG>},
    {"whiteBalanceFactorR", nullptr, &asStored<fh::kWhiteBalanceFactorR>},
    {"whiteLevel", nullptr, &unsignedInt<fh::kWhiteLevel>},
};

constexpr bool sortedByKey() {
    for (std::size_t i = 1; i < std::size(kRows); ++i)
        if (!(kRows[i - 1].key < kRows[i].key)) return false;
    return true;
}
static_assert(sortedByKey(), "the answer's rows must stand in ascending key order");

}  // namespace

rdd18::Dictionary VLArriANCParser::parseData(std::span<const unsigned char> bytes) const {
    return parseData(bytes, true);
}

rdd18::Dictionary VLArriANCParser::parseData(std::span<const unsigned char> bytes,
                                             bool flags) const {
    return parse(bytes, flags, nullptr);
}

rdd18::Dictionary VLArriANCParser::parseData(std::span<const unsigned char> bytes, bool flags,
                                             rdd18::FaultSink& faults) const {
    return parse(bytes, flags, &faults);
}

rdd18::Dictionary VLArriANCParser::parseData(rdd18::AncillaryDataReader& packets,
                                             rdd18::FaultSink* faults) const {
    return parse(packets, faults);
}

rdd18::Dictionary VLArriANCParser::parse(std::span<const unsigned char> bytes, bool flags,
                                         rdd18::FaultSink* faults) const {
    AncillaryDataBufferReader walk(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags, faults);
    return parse(walk, faults);
}

namespace {

/// Passes faults on and notes whether the stream had no packet at all: then the facade's own
/// faults (no metadata item, a short record) would only repeat that.
struct StreamWatch final : FaultSink {
    explicit StreamWatch(FaultSink& next) noexcept : next(next) {}
    void report(const Fault& fault) override {
        noStream = noStream || fault.code == FaultCode::NoStreamPackets;
        next.report(fault);
    }
    FaultSink& next;
    bool noStream = false;
};

}  // namespace

rdd18::Dictionary VLArriANCParser::parse(rdd18::AncillaryDataReader& packets,
                                         rdd18::FaultSink* faults) const {
    std::optional<StreamWatch> watch;
    if (faults) watch.emplace(*faults);
    const auto report = [&](Fault fault) {
        if (watch && !watch->noStream) faults->report(fault);
    };
    std::vector<ArriAncBlob> blobs;
    try {
        blobs = parseAncillaryData(
            packets, [](const ArriAncKey& key) { return key == ArriAncMetadataKey; },
            watch ? &*watch : nullptr);
    } catch (const ParsingError&) {
        report({.code = FaultCode::ArriParseFailed});
        return {};
    }
    // Only the first metadata item counts, and only when it holds a whole record.
    if (blobs.empty()) {
        report({.code = FaultCode::NoMetadataItem});
        return {};
    }
    if (blobs.front().size() < ArriFileHeader::kSize) {
        report({.code = FaultCode::RecordTooShort,
                .expected = ArriFileHeader::kSize,
                .found = blobs.front().size()});
        return {};
    }
    // The blob's buffer is a byte array, so a record may be read in place.
    return translateFileHeaderToDictionary(
        reinterpret_cast<const ArriFileHeader*>(blobs.front().data()));
}

rdd18::Dictionary VLArriANCParser::parseFile(std::span<const unsigned char> file) const {
    return parseFile(file, nullptr);
}

rdd18::Dictionary VLArriANCParser::parseFile(std::span<const unsigned char> file,
                                             rdd18::FaultSink& faults) const {
    return parseFile(file, &faults);
}

rdd18::Dictionary VLArriANCParser::parseFile(std::span<const unsigned char> file,
                                             rdd18::FaultSink* faults) const {
    // A file of fewer than four bytes that matches the magic as far as it goes is a frame file
    // cut short; any other mismatch says it is no frame file at all.
    const std::size_t head = std::min(file.size(), fh::kFileMagic.size());
    if (!std::equal(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(head),
                    fh::kFileMagic.begin())) {
        std::uint64_t found = 0;
        for (std::size_t i = 0; i < head; ++i) found = found << 8 | file[i];
        if (faults) faults->report({.code = FaultCode::NotArriRawFile, .found = found});
        return {};
    }
    if (file.size() < ArriFileHeader::kSize) {
        if (faults)
            faults->report({.code = FaultCode::FileCutShort,
                            .expected = ArriFileHeader::kSize,
                            .found = file.size()});
        return {};
    }
    // The record is a byte image without alignment needs, so the file's bytes are read in place.
    return translateFileHeaderToDictionary(reinterpret_cast<const ArriFileHeader*>(file.data()));
}

rdd18::Dictionary VLArriANCParser::translateFileHeaderToDictionary(
    const rdd18::arri::ArriFileHeader* header) const {
    if (header == nullptr) return {};
    Dictionary result;
    result.reserve(std::size(kRows));
    KeyOrderWriter writer(result);
    for (const Row& row : kRows) {
        if (row.present == nullptr || row.present(*header)) {
            writer.append(std::string(row.key), row.make(*header));
        }
    }
    return result;
}
