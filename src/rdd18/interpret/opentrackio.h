// The camera model as an OpenTrackIO sample (protocol 1.0.1): the per-frame lens and camera
// values a virtual-production render engine reads, in the protocol's names and units. The sample
// is a plain value; writing it as JSON or CBOR is the host's business (the tool uses a JSON
// library), framing it for UDP is `rdd18/transport/otrk.h`'s.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "rdd18/export.h"
#include "rdd18/interpret/camera_model.h"
#include "rdd18/platform/value.h"

namespace rdd18::interpret::opentrackio {

/// The protocol's name and version, written into every sample exactly so: strict readers refuse
/// any other version.
inline constexpr std::string_view kProtocolName = "OpenTrackIO";
inline constexpr std::array<std::uint32_t, 3> kProtocolVersion{1, 0, 1};

/// A ratio of whole numbers, as the protocol writes rates and squeezes: num from 1 to 2^31 - 1,
/// denom from 1 to 2^32 - 1.
struct Rational {
    std::uint32_t num = 1;
    std::uint32_t denom = 1;
    friend bool operator==(const Rational&, const Rational&) = default;
};

struct Timecode {
    int hours = 0;    ///< 0 to 23
    int minutes = 0;  ///< 0 to 59
    int seconds = 0;  ///< 0 to 59
    int frames = 0;   ///< 0 to 119
    Rational frameRate;
    bool dropFrame = false;
    friend bool operator==(const Timecode&, const Timecode&) = default;
};

struct Timing {
    std::optional<Rational> sampleRate;
    std::uint32_t sequenceNumber = 0;
    std::optional<Timecode> timecode;
    friend bool operator==(const Timing&, const Timing&) = default;
};

/// Normalised positions, 0 to 1: focus 0 is infinity, iris 0 open, zoom 0 wide.
struct Encoders {
    std::optional<double> focus, iris, zoom;
    friend bool operator==(const Encoders&, const Encoders&) = default;
};

/// The encoders' codes as the lens sent them.
struct RawEncoders {
    std::optional<std::uint32_t> focus, iris, zoom;
    friend bool operator==(const RawEncoders&, const RawEncoders&) = default;
};

struct Lens {
    std::optional<double> focusDistance;       ///< metres, above 0
    std::optional<double> fStop;               ///< above 0
    std::optional<double> tStop;               ///< above 0
    std::optional<double> pinholeFocalLength;  ///< millimetres, above 0
    Encoders encoders;
    RawEncoders rawEncoders;
    friend bool operator==(const Lens&, const Lens&) = default;
};

struct Dimensions {
    double width = 0;
    double height = 0;
    friend bool operator==(const Dimensions&, const Dimensions&) = default;
};

struct StaticCamera {
    std::optional<Rational> captureFrameRate;
    std::optional<Dimensions> activeSensorPhysicalDimensions;  ///< millimetres
    std::optional<Dimensions> activeSensorResolution;          ///< whole pixels
    std::optional<std::string> make, model, serialNumber, firmwareVersion;
    std::optional<std::uint32_t> isoSpeed;  ///< 1 and above
    std::optional<double> shutterAngle;     ///< degrees, 0 to 360
    std::optional<Rational> anamorphicSqueeze;
    friend bool operator==(const StaticCamera&, const StaticCamera&) = default;
};

struct StaticLens {
    std::optional<std::string> make, model, serialNumber, firmwareVersion;
    std::optional<double> nominalFocalLength;  ///< millimetres
    friend bool operator==(const StaticLens&, const StaticLens&) = default;
};

/// The block the protocol calls "static": what changes seldom, sent every few samples.
struct Static {
    StaticCamera camera;
    StaticLens lens;
    friend bool operator==(const Static&, const Static&) = default;
};

/// One sample. `protocol` is always `kProtocolName` / `kProtocolVersion`. Each optional field is
/// absent when the frame doesn't give it, never zero; `lens` is absent when the frame gives no
/// lens value at all, `staticData` (written "static") when the sample doesn't carry the block or
/// the frame gives none of its values.
struct Sample {
    std::string sampleId;  ///< "urn:uuid:..."
    std::string sourceId;  ///< "urn:uuid:..."
    std::uint32_t sourceNumber = 1;
    Timing timing;
    std::optional<Lens> lens;
    std::optional<Static> staticData;
    friend bool operator==(const Sample&, const Sample&) = default;
};

/// What the model of one frame can't say: where the sample stands in its stream.
struct SampleContext {
    std::string sourceId;                 ///< of the input, see `sourceIdFor`
    std::uint32_t sourceNumber = 1;       ///< the source's number (1 to 200 for a multicast group)
    std::uint64_t index = 0;              ///< the sample's place among its source's, from 0
    std::optional<Rational> rate;         ///< the container's frame rate (a clip's edit rate)
    std::optional<std::string> timecode;  ///< the container's "HH:MM:SS:FF" ("HH:MM:SS;FF")
    bool withStatic = false;              ///< carry the static block
};

/// The sample of one frame's model:
/// - lens: focusDistance = focusDistanceM, fStop = irisFNumber, tStop = irisTNumber,
///   pinholeFocalLength = focalLengthMm, encoders and rawEncoders iris and zoom from the ring
///   positions (0 is the open and the wide end; the raw code is the 16-bit ring position);
///   a value outside the protocol's range (a distance of 0, say) is left out;
/// - timing: sampleRate from `context.rate`, else the project rate, else the capture rate (see
///   `rateOf`); sequenceNumber the low 32 bits of `context.index`; timecode from
///   `context.timecode`, else the model's, with the sample rate as its frame rate (none without
///   a rate, or when a part is out of range);
/// - static (with `context.withStatic`): camera make, model, serial number, firmware version,
///   isoSpeed, shutterAngle, anamorphicSqueeze (the pixel aspect ratio), captureFrameRate,
///   active sensor size in mm and pixels (both sides or none); lens model; texts only when
///   they hold 1 to 1023 characters.
/// The model holds no NaN or infinity, so neither does the sample. The front-vertex focus
/// distance and the focal lengths other than the actual one have no slot and are left out.
/// sampleId is `uuidFromName` of the decimal index under the source's id. Never throws but for
/// memory.
VELMORA_RDD18_EXPORT Sample makeSample(const CameraModel& model, const SampleContext& context);

/// The sample as the protocol's document, in the value model: keys as the protocol names them
/// ("protocol", "sampleId", "timing", "lens", "static", ...; rationals as {"num", "denom"}), a
/// key for each field the sample holds and none for the others. Integers are unsigned ints
/// (timecode parts ints), the others doubles, dropFrame a bool. A host writes it as JSON or CBOR
/// with the library of its choice.
VELMORA_RDD18_EXPORT Dictionary sampleDictionary(const Sample& sample);

/// A rate in hertz as a ratio: whole rates over 1 (25 is 25/1); rates within 0.0005 Hz of
/// n x 1000/1001 as that (23.976 is 24000/1001, 29.97 30000/1001); others in thousandths,
/// reduced (12.5 is 25/2). Nothing for a rate that isn't above 0 and finite, or beyond 2^31 - 1.
VELMORA_RDD18_EXPORT std::optional<Rational> rateOf(double hertz);

/// Samples between two static blocks so that one comes about every 2 seconds: twice the rate,
/// rounded, at least 1; 48 without a rate.
VELMORA_RDD18_EXPORT std::uint32_t staticPeriod(std::optional<Rational> rate) noexcept;

/// A name-based UUID (version 5: SHA-1 of the namespace's 16 bytes and the name) as lower-case
/// text "xxxxxxxx-xxxx-5xxx-yxxx-xxxxxxxxxxxx".
VELMORA_RDD18_EXPORT std::string uuidFromName(const std::array<unsigned char, 16>& space,
                                              std::string_view name);

/// The sourceId of an input: "urn:uuid:" and the name-based UUID of `inputName` in this
/// library's namespace, so that the same input gets the same id on every run.
VELMORA_RDD18_EXPORT std::string sourceIdFor(std::string_view inputName);

}  // namespace rdd18::interpret::opentrackio
