// The camera and lens model in units: one plain struct that both metadata kinds fill, so that a
// host reads "50 mm" and "F2.8" instead of each item's wire code. The raw answers of the parsers
// are left as they are; this is a view built from them.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "rdd18/export.h"
#include "rdd18/platform/value.h"

namespace rdd18::interpret {

/// One frame's camera and lens values in units. Every field is optional: it is empty when the
/// answer doesn't carry its source, or when the source is out of range (an iris code beyond any
/// lens, a zero denominator, a NaN or an infinity). A field that holds a number never holds a NaN
/// or an infinity. The unit is the end of the field's name.
struct CameraModel {
    // Lens
    std::optional<double> irisFNumber;                    ///< F-number, e.g. 2.8
    std::optional<double> irisTNumber;                    ///< T-number, e.g. 2.8
    std::optional<double> irisRingPositionPercent;        ///< 0 to 100
    std::optional<double> focusDistanceM;                 ///< from the image plane, metres
    std::optional<double> focusDistanceFromFrontVertexM;  ///< from the lens's front vertex
    std::optional<double> focalLengthMm;                  ///< actual focal length
    std::optional<double> focalLength35mmEquivalentMm;    ///< as a 35 mm still camera's
    std::optional<double> zoomRingPositionPercent;        ///< 0 to 100
    std::optional<double> opticalExtenderMagnificationPercent;
    // Camera
    std::optional<double> sensorWidthMm;   ///< effective width
    std::optional<double> sensorHeightMm;  ///< effective height
    std::optional<double> captureFrameRateHz;
    std::optional<double> projectFrameRateHz;
    std::optional<double> shutterAngleDeg;
    std::optional<double> shutterTimeS;
    std::optional<double> masterGainDb;
    std::optional<double> iso;            ///< ISO sensitivity (ASA)
    std::optional<double> exposureIndex;  ///< of the photo meter
    std::optional<double> electricalExtenderMagnificationPercent;
    std::optional<std::string> whiteBalanceMode;  ///< "preset", "auto", "hold", "one push"
    std::optional<double> whiteBalanceK;          ///< colour temperature, kelvin
    std::optional<double> blackLevelPercent;
    std::optional<double> kneePointPercent;
    std::optional<double> dynamicRangePercent;
    std::optional<double> ndDensity;           ///< optical density of the ND filter
    std::optional<double> pixelAspectRatio;    ///< width over height of a pixel (the squeeze)
    std::optional<double> activeImageWidthPx;  ///< the recorded part of the sensor, in pixels
    std::optional<double> activeImageHeightPx;
    // Clip
    std::optional<std::string> timecode;  ///< "HH:MM:SS:FF", "HH:MM:SS;FF" drop frame
    std::optional<std::string> clipName;
    // Identity
    std::optional<std::string> cameraMake;
    std::optional<std::string> cameraModelName;
    std::optional<std::string> cameraSerialNumber;
    std::optional<std::string> cameraFirmwareVersion;
    std::optional<std::string> lensModelName;
    // Sony's own items of an rtmd track, by the layout a peer reader publishes for them
    std::optional<std::string> sonyWhiteBalance;  ///< "incandescent", "daylight", "cloudy", ...
    std::optional<std::string> sonyDateTime;      ///< "YYYY-MM-DD hh:mm:ss"
    std::optional<double> sonyGpsLatitudeDeg;     ///< north positive
    std::optional<double> sonyGpsLongitudeDeg;    ///< east positive

    friend bool operator==(const CameraModel&, const CameraModel&) = default;
};

/// How a number field reads to a person: its unit symbol and how it is written.
enum class Unit {
    None,
    FNumber,
    TNumber,
    Percent,
    Metre,
    Millimetre,
    Hertz,
    Degree,
    Second,
    Decibel,
    Kelvin,
    Density,
    Pixel,
    Coordinate  ///< degrees of latitude or longitude
};

/// One number field of the model: its key in the dictionary form (the member's name), the member,
/// and its unit.
struct NumberField {
    std::string_view key;
    std::optional<double> CameraModel::*member;
    Unit unit;
};

/// One text field of the model.
struct TextField {
    std::string_view key;
    std::optional<std::string> CameraModel::*member;
};

/// Every number field, in the order of the struct.
VELMORA_RDD18_EXPORT std::span<const NumberField> numberFields() noexcept;
/// Every text field, in the order of the struct.
VELMORA_RDD18_EXPORT std::span<const TextField> textFields() noexcept;

/// The dictionary form: one entry per field that holds a value, under the field's name; numbers
/// are doubles, texts strings. An empty model gives an empty dictionary.
VELMORA_RDD18_EXPORT Dictionary toDictionary(const CameraModel& model);

/// The model back from its dictionary form. Entries of another name or kind, and numbers that
/// are NaN or infinite, are left out; nothing throws.
VELMORA_RDD18_EXPORT CameraModel fromDictionary(const Dictionary& dictionary);

/// Each field of `first` that holds a value, and the fields of `second` where `first` has none:
/// one view of a frame that carries both kinds of metadata.
VELMORA_RDD18_EXPORT CameraModel merged(const CameraModel& first, const CameraModel& second);

}  // namespace rdd18::interpret
