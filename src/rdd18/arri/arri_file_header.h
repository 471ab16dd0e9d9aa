// The ARRI file header record: 4096 bytes of per-frame metadata, the value of the item under
// ArriAncMetadataKey and the start of every ARRIRAW frame file (`.ari`), where the picture follows
// it. Every number in it is little-endian and the fields follow one another without padding.
// The translation reads no magic number or version; a frame file's record starts with the magic
// "ARRI" (`file_header::kFileMagic`), which the reader of files checks. Absence is told by
// sentinels.
//
// The layout below names the fields the library reads, once, with their offsets; everything
// between them is part of the format but never looked at.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "rdd18/export.h"

namespace rdd18::arri {

namespace file_header {

/// `Count` consecutive little-endian numbers of type `T` (std::uint16_t, std::uint32_t or an
/// IEEE 754 single-precision float) starting `offset` bytes into the record.
template <class T, std::size_t Count = 1>
struct Field {
    std::size_t offset;

    static constexpr std::size_t count = Count;
    static constexpr std::size_t width = sizeof(T) * Count;
    constexpr std::size_t elementOffset(std::size_t index) const noexcept {
        return offset + index * sizeof(T);
    }
};

/// A text field of `width` 8-bit characters: unset when its first byte is `kUnsetText`, else
/// ended by the first NUL or by its width, whichever comes first.
struct TextField {
    std::size_t offset;
    std::size_t width;
};

/// A section of the record: bytes [offset, offset + size).
struct Section {
    std::size_t offset;
    std::size_t size;
    constexpr std::size_t end() const noexcept { return offset + size; }
};

}  // namespace file_header

/// The 4096-byte record. It is a plain byte image: a record may start at any address, and the
/// typed loads read it byte by byte, whatever the host's byte order and alignment rules.
struct VELMORA_RDD18_EXPORT ArriFileHeader {
    static constexpr std::size_t kSize = 4096;

    unsigned char bytes[kSize];

    /// The `index`-th number of `field` (0 for a single number), little-endian. `index` must be
    /// below `Count`.
    template <class T, std::size_t Count>
    T load(file_header::Field<T, Count> field, std::size_t index = 0) const noexcept {
        return loadAt<T>(field.elementOffset(index));
    }

    /// Stores `value` as the `index`-th number of `field`, little-endian, as `load` reads it.
    template <class T, std::size_t Count>
    void store(file_header::Field<T, Count> field, T value, std::size_t index = 0) noexcept {
        storeAt<T>(field.elementOffset(index), value);
    }

  private:
    template <class T>
    T loadAt(std::size_t offset) const noexcept;
    template <class T>
    void storeAt(std::size_t offset, T value) noexcept;
};
static_assert(sizeof(ArriFileHeader) == ArriFileHeader::kSize);
static_assert(alignof(ArriFileHeader) == 1, "a record may start at any byte");

template <>
std::uint16_t ArriFileHeader::loadAt<std::uint16_t>(std::size_t offset) const noexcept;
template <>
std::uint32_t ArriFileHeader::loadAt<std::uint32_t>(std::size_t offset) const noexcept;
template <>
float ArriFileHeader::loadAt<float>(std::size_t offset) const noexcept;
template <>
void ArriFileHeader::storeAt<std::uint16_t>(std::size_t offset, std::uint16_t value) noexcept;
template <>
void ArriFileHeader::storeAt<std::uint32_t>(std::size_t offset, std::uint32_t value) noexcept;
template <>
void ArriFileHeader::storeAt<float>(std::size_t offset, float value) noexcept;

namespace file_header {

using U16 = Field<std::uint16_t>;
using U32 = Field<std::uint32_t>;
using F32 = Field<float>;

// --- Sections, back to back from 0 to 4096 ---------------------------------------------------
inline constexpr Section kLeadingSection{0x0000, 16};
inline constexpr Section kImageSection{0x0010, 68};
inline constexpr Section kColourSection{0x0054, 268};
inline constexpr Section kCameraSection{0x0160, 528};  ///< camera and recording
inline constexpr Section kLensSection{0x0370, 200};
inline constexpr Section kVfxSection{0x0438, 184};
inline constexpr Section kProductionSection{0x04F0, 552};
inline constexpr Section kFurtherSection{0x0718, 220};
inline constexpr Section kCameraInfoSection{0x07F4, 84};
inline constexpr Section kTailSection{0x0848, 1976};

// --- Leading section ---------------------------------------------------------------------------
/// The first four bytes of the record of an ARRIRAW frame file.
inline constexpr std::array<unsigned char, 4> kFileMagic = {'A', 'R', 'R', 'I'};

/// Whether `bytes` starts with `kFileMagic` (false for fewer than four bytes).
constexpr bool startsWithFileMagic(std::span<const unsigned char> bytes) noexcept {
    return bytes.size() >= kFileMagic.size() &&
           std::equal(kFileMagic.begin(), kFileMagic.end(), bytes.begin());
}

// --- Image -----------------------------------------------------------------------------------
inline constexpr U32 kRawImageWidth{0x0014};
inline constexpr U32 kRawImageHeight{0x0018};
inline constexpr U32 kActiveImageLeft{0x0024};
inline constexpr U32 kActiveImageTop{0x0028};
inline constexpr U32 kActiveImageWidth{0x002C};
inline constexpr U32 kActiveImageHeight{0x0030};

// --- Colour ----------------------------------------------------------------------------------
inline constexpr U32 kWhiteBalance{0x005C};
inline constexpr F32 kGreenTintFactor{0x0060};
inline constexpr F32 kWhiteBalanceFactorR{0x0064};
inline constexpr F32 kWhiteBalanceFactorG{0x0068};
inline constexpr F32 kWhiteBalanceFactorB{0x006C};
inline constexpr U32 kWbAppliedInCamera{0x0070};
inline constexpr U32 kAsa{0x0074};
inline constexpr U32 kBlackLevel{0x0078};
inline constexpr U32 kWhiteLevel{0x007C};
inline constexpr Field<float, 12> kColorMatrix{0x0080};  ///< flat, in offset order
inline constexpr F32 kPixelAspectRatio{0x00C4};
inline constexpr U32 kFlip{0x00C8};
inline constexpr TextField kLookFile{0x00CC, 32};
inline constexpr F32 kCdlSlopeR{0x0100};
inline constexpr F32 kCdlSlopeG{0x0104};
inline constexpr F32 kCdlSlopeB{0x0108};
inline constexpr F32 kCdlOffsetR{0x010C};
inline constexpr F32 kCdlOffsetG{0x0110};
inline constexpr F32 kCdlOffsetB{0x0114};
inline constexpr F32 kCdlPowerR{0x0118};
inline constexpr F32 kCdlPowerG{0x011C};
inline constexpr F32 kCdlPowerB{0x0120};

// --- Camera and recording --------------------------------------------------------------------
inline constexpr U32 kFirmwareVersion{0x016C};
inline constexpr U32 kSerialNumber{0x0170};  ///< a signed 32-bit number in an unsigned word
inline constexpr U32 kCameraId{0x0174};      ///< four characters, the last one at the top
inline constexpr U32 kShutterAngle{0x0190};  ///< thousandths of a degree
inline constexpr U32 kSensorFps{0x01A0};     ///< thousandths of a frame per second
inline constexpr U32 kProjectFps{0x01A4};    ///< thousandths of a frame per second
/// Word 0 of the first timecode record: BCD bytes, frames in the lowest, hours in the highest.
inline constexpr U32 kTimecode{0x01A8};
/// Word 2 of the first timecode record: a 31-bit field and, in bit 31, the drop-frame flag.
inline constexpr U32 kTimecodeFlags{0x01B0};
inline constexpr TextField kCameraModel{0x029C, 8};
inline constexpr TextField kRecorderType{0x02A4, 32};
inline constexpr TextField kSupName{0x02E0, 24};

// --- Lens ------------------------------------------------------------------------------------
inline constexpr U32 kFocusDistanceUnit{0x0374};  ///< unit of kFocusDistance, see below
inline constexpr U32 kFocusDistance{0x0378};
inline constexpr U32 kFocalLength{0x037C};
inline constexpr U32 kIris{0x0384};  ///< stop index x 1000 + a remainder below 1000
inline constexpr U16 kNdFilterType{0x0388};
inline constexpr U16 kNdFilterDensity{0x038A};  ///< thousandths
inline constexpr TextField kLensModel{0x0398, 32};

// --- VFX -------------------------------------------------------------------------------------
// Low 16 bits: a signed number of tenths; the upper 16 bits carry no value.
inline constexpr U32 kVfxPan{0x0458};
inline constexpr U32 kVfxTilt{0x045C};
inline constexpr U32 kVfxRoll{0x0460};

// --- Production ------------------------------------------------------------------------------
inline constexpr TextField kReelName{0x04F8, 8};
inline constexpr TextField kSceneName{0x0500, 16};
inline constexpr TextField kTakeName{0x0510, 8};
inline constexpr TextField kDirector{0x0518, 32};
inline constexpr TextField kDoP{0x0538, 32};
inline constexpr TextField kProduction{0x0558, 32};
inline constexpr TextField kCompany{0x0578, 32};
inline constexpr TextField kClipNotes{0x0598, 256};
inline constexpr TextField kClipName{0x0698, 24};

// --- Camera info -----------------------------------------------------------------------------
inline constexpr U32 kCameraInfoMainVoltage{0x0814};
inline constexpr U32 kCameraInfoOnBoardVoltage{0x0818};

// --- Sentinels and flags ---------------------------------------------------------------------
/// First byte of a text field that is unset.
inline constexpr unsigned char kUnsetText = 0xFF;
/// Focus distance of a frame without lens data.
inline constexpr std::uint32_t kNoFocusDistance = 0;
/// Focus distance at infinity.
inline constexpr std::uint32_t kInfiniteFocusDistance = 0xFFFFFFFF;
/// Focus distance unit flag for thousandths of an inch; any other value means thousandths of a
/// metre.
inline constexpr std::uint32_t kFocusInThousandthsOfInch = 0;
/// Iris word of a frame without lens data.
inline constexpr std::uint32_t kNoIris = 0xFFFFFFFF;
/// VFX word of an absent value.
inline constexpr std::uint32_t kAbsentVfx = 0xFFFFFFFF;
/// Drop-frame flag in `kTimecodeFlags`.
inline constexpr std::uint32_t kDropFrameBit = 0x80000000;

}  // namespace file_header

}  // namespace rdd18::arri
