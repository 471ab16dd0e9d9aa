// From a parser's answer to the camera and lens model in units. The answers hold the wire's codes
// (an iris code 53367, a shutter angle 10800, a focal length 0.05); these functions turn the
// items whose encoding is published into numbers with units. They read the answer and change
// nothing in it.
#pragma once

#include "rdd18/export.h"
#include "rdd18/interpret/camera_model.h"
#include "rdd18/platform/value.h"

namespace rdd18::interpret {

/// The model of an RDD 18 answer, of any flavour (standard, Sony or Varicam items). Each field
/// comes from one item, by the item's name in the answer:
/// - iris F- and T-number: 2^(8 - v / 8192) of the 16-bit code; codes below 0x2000 (beyond F128)
///   give an empty field;
/// - focus positions: the decoded number, in metres, empty when negative; focal lengths: the
///   decoded metres in mm, empty unless above 0;
/// - iris and zoom ring positions: v / 65536 x 100 %;
/// - sensor width and height: v / 1000 mm; gain: v / 100 dB; black level, knee point and
///   dynamic range: v / 10 %; frame rate and shutter time: num / den (empty unless above 0, so
///   also when den is 0);
/// - shutter angle: v / 60 degrees (a scale only one source publishes), empty unless above 0
///   and at most 360;
/// - ISO, exposure index and white balance (K): the number, empty unless above 0;
/// - white balance mode: 0 "preset", 1 "auto", 2 "hold", 3 "one push", other codes empty;
/// - Varicam's clip name value, unless its clip info says the name isn't valid.
/// - Sony's own items of rtmd tracks that the flavour leaves as bytes, by the layout a peer
///   reader publishes: E3 03 (1 byte) the white balance ("incandescent" 1, "fluorescent" 2,
///   "daylight" 4, "cloudy" 5, "custom" 6, "preset" 255), E3 04 (8 bytes: one, then year, month,
///   day, hours, minutes, seconds in BCD) the date "YYYY-MM-DD hh:mm:ss", and the GPS position of
///   85 01-85 04 (reference letter; degrees, minutes, seconds as three 32-bit rationals), north
///   and east positive. Their fields start with "sony".
/// A missing item, an entry of an unexpected kind or size, and a NaN or infinite number leave the
/// field empty. Sony's items E0-E2 carry no published layout and are not read. Never throws.
VELMORA_RDD18_EXPORT CameraModel fromRDD18(const Dictionary& answer);

/// The model of an ARRI answer: focal length in mm from the record's metres, focus distance in
/// metres (an infinite distance leaves the field empty), T-stop, sensor and project frame rates,
/// shutter angle, ASA as ISO, white balance in kelvin, ND density, pixel aspect ratio, active
/// image size in pixels, camera model, serial number and firmware version, lens model (texts
/// only when not empty), "ARRI" as the camera make of every record, clip name and the timecode as
/// "HH:MM:SS:FF" ("HH:MM:SS;FF" when the drop-frame flag is set; empty unless all four parts are
/// in range: hours below 24, minutes and seconds below 60, frames below 100). A word the record
/// marks unset (all bits set) leaves its field empty; the other fields follow the ranges of the
/// RDD 18 fields. Single-precision values of the record widen to the double of their shortest
/// decimal text (23.976, not 23.9759998...). A missing key or an entry of an unexpected kind leaves
/// its field empty; NaN and infinity never reach a field. Never throws.
VELMORA_RDD18_EXPORT CameraModel fromArri(const Dictionary& answer);

/// The other way: a standard RDD 18 answer whose items carry the model's fields, for the writer
/// (`encodeRDD18`), so that `fromRDD18` of it gives each field back as nearly as the wire holds
/// it. Each field goes to the item of the table above, by the inverse of its conversion, rounded
/// to the nearest code: iris F- and T-numbers to 8192 x (8 - log2 N); focus positions and focal
/// lengths to the nearest 16-bit decimal float (in metres); ring positions to 65536ths; sensor
/// dimensions to micrometres; gain to hundredths of a dB; black level, knee point and dynamic
/// range to tenths of a percent; the shutter angle to sixtieths of a degree; a capture frame
/// rate to n/1001 (n a multiple of 1000) when it is one, else to thousandths over 1000; a shutter
/// time to 1/n when it is one, else to microseconds; the white balance mode by name. A field
/// whose rounded code lies outside its item's range is left out, as are the fields no standard
/// item carries (project frame rate, ND density, timecode, clip name). Never throws.
VELMORA_RDD18_EXPORT Dictionary toRDD18(const CameraModel& model);

}  // namespace rdd18::interpret
