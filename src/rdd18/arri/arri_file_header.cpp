#include "rdd18/arri/arri_file_header.h"

#include <bit>
#include <limits>

#include "rdd18/internal/byte_order.h"

namespace rdd18::arri {

template <>
std::uint16_t ArriFileHeader::loadAt<std::uint16_t>(std::size_t offset) const noexcept {
    return internal::loadLittleEndian16(bytes + offset);
}

template <>
std::uint32_t ArriFileHeader::loadAt<std::uint32_t>(std::size_t offset) const noexcept {
    return internal::loadLittleEndian32(bytes + offset);
}

template <>
float ArriFileHeader::loadAt<float>(std::size_t offset) const noexcept {
    static_assert(sizeof(float) == 4 && std::numeric_limits<float>::is_iec559);
    return std::bit_cast<float>(internal::loadLittleEndian32(bytes + offset));
}

template <>
void ArriFileHeader::storeAt<std::uint16_t>(std::size_t offset, std::uint16_t value) noexcept {
    internal::storeLittleEndian16(bytes + offset, value);
}

template <>
void ArriFileHeader::storeAt<std::uint32_t>(std::size_t offset, std::uint32_t value) noexcept {
    internal::storeLittleEndian32(bytes + offset, value);
}

template <>
void ArriFileHeader::storeAt<float>(std::size_t offset, float value) noexcept {
    internal::storeLittleEndian32(bytes + offset, std::bit_cast<std::uint32_t>(value));
}

// --- Compile-time checks of the layout ---------------------------------------------------------
// The sections tile the record without gap or overlap, and each field the library reads lies
// inside its section, the fields in ascending order without overlap. A mistyped offset or width
// in the header fails the build here.
namespace {

using namespace file_header;

struct Span {
    std::size_t offset;
    std::size_t width;
};

template <class T, std::size_t Count>
constexpr Span span(Field<T, Count> field) {
    return {field.offset, field.width};
}
constexpr Span span(TextField field) {
    return {field.offset, field.width};
}

constexpr Section kSections[] = {
    kLeadingSection, kImageSection,      kColourSection,  kCameraSection,     kLensSection,
    kVfxSection,     kProductionSection, kFurtherSection, kCameraInfoSection, kTailSection,
};

constexpr bool sectionsTileTheRecord() {
    std::size_t at = 0;
    for (const Section& section : kSections) {
        if (section.offset != at || section.size == 0) return false;
        at = section.end();
    }
    return at == ArriFileHeader::kSize;
}
static_assert(sectionsTileTheRecord());

template <std::size_t N>
constexpr bool fieldsFit(Section section, const Span (&fields)[N]) {
    std::size_t at = section.offset;
    for (const Span& field : fields) {
        if (field.width == 0 || field.offset < at || field.offset + field.width > section.end())
            return false;
        at = field.offset + field.width;
    }
    return true;
}

constexpr Span kImageFields[] = {
    span(kRawImageWidth),  span(kRawImageHeight),   span(kActiveImageLeft),
    span(kActiveImageTop), span(kActiveImageWidth), span(kActiveImageHeight),
};
static_assert(fieldsFit(kImageSection, kImageFields));

constexpr Span kColourFields[] = {
    span(kWhiteBalance),
    span(kGreenTintFactor),
    span(kWhiteBalanceFactorR),
    span(kWhiteBalanceFactorG),
    span(kWhiteBalanceFactorB),
    span(kWbAppliedInCamera),
    span(kAsa),
    span(kBlackLevel),
    span(kWhiteLevel),
    span(kColorMatrix),
    span(kPixelAspectRatio),
    span(kFlip),
    span(kLookFile),
    span(kCdlSlopeR),
    span(kCdlSlopeG),
    span(kCdlSlopeB),
    span(kCdlOffsetR),
    span(kCdlOffsetG),
    span(kCdlOffsetB),
    span(kCdlPowerR),
    span(kCdlPowerG),
    span(kCdlPowerB),
};
static_assert(fieldsFit(kColourSection, kColourFields));

constexpr Span kCameraFields[] = {
    span(kFirmwareVersion), span(kSerialNumber), span(kCameraId), span(kShutterAngle),
    span(kSensorFps),       span(kProjectFps),   span(kTimecode), span(kTimecodeFlags),
    span(kCameraModel),     span(kRecorderType), span(kSupName),
};
static_assert(fieldsFit(kCameraSection, kCameraFields));

constexpr Span kLensFields[] = {
    span(kFocusDistanceUnit), span(kFocusDistance),   span(kFocalLength), span(kIris),
    span(kNdFilterType),      span(kNdFilterDensity), span(kLensModel),
};
static_assert(fieldsFit(kLensSection, kLensFields));

constexpr Span kVfxFields[] = {span(kVfxPan), span(kVfxTilt), span(kVfxRoll)};
static_assert(fieldsFit(kVfxSection, kVfxFields));

constexpr Span kProductionFields[] = {
    span(kReelName),   span(kSceneName), span(kTakeName),  span(kDirector), span(kDoP),
    span(kProduction), span(kCompany),   span(kClipNotes), span(kClipName),
};
static_assert(fieldsFit(kProductionSection, kProductionFields));

constexpr Span kCameraInfoFields[] = {span(kCameraInfoMainVoltage),
                                      span(kCameraInfoOnBoardVoltage)};
static_assert(fieldsFit(kCameraInfoSection, kCameraInfoFields));

// The drop-frame flag is the top bit of its word, above the 31-bit field.
static_assert(kDropFrameBit == std::uint32_t{1} << 31);

}  // namespace

}  // namespace rdd18::arri
