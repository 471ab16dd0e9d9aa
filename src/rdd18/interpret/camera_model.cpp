#include "rdd18/interpret/camera_model.h"

#include <array>
#include <cmath>

namespace rdd18::interpret {

namespace {

using M = CameraModel;

constexpr std::array kNumberFields{
    NumberField{"irisFNumber", &M::irisFNumber, Unit::FNumber},
    NumberField{"irisTNumber", &M::irisTNumber, Unit::TNumber},
    NumberField{"irisRingPositionPercent", &M::irisRingPositionPercent, Unit::Percent},
    NumberField{"focusDistanceM", &M::focusDistanceM, Unit::Metre},
    NumberField{"focusDistanceFromFrontVertexM", &M::focusDistanceFromFrontVertexM, Unit::Metre},
    NumberField{"focalLengthMm", &M::focalLengthMm, Unit::Millimetre},
    NumberField{"focalLength35mmEquivalentMm", &M::focalLength35mmEquivalentMm, Unit::Millimetre},
    NumberField{"zoomRingPositionPercent", &M::zoomRingPositionPercent, Unit::Percent},
    NumberField{"opticalExtenderMagnificationPercent", &M::opticalExtenderMagnificationPercent,
                Unit::Percent},
    NumberField{"sensorWidthMm", &M::sensorWidthMm, Unit::Millimetre},
    NumberField{"sensorHeightMm", &M::sensorHeightMm, Unit::Millimetre},
    NumberField{"captureFrameRateHz", &M::captureFrameRateHz, Unit::Hertz},
    NumberField{"projectFrameRateHz", &M::projectFrameRateHz, Unit::Hertz},
    NumberField{"shutterAngleDeg", &M::shutterAngleDeg, Unit::Degree},
    NumberField{"shutterTimeS", &M::shutterTimeS, Unit::Second},
    NumberField{"masterGainDb", &M::masterGainDb, Unit::Decibel},
    NumberField{"iso", &M::iso, Unit::None},
    NumberField{"exposureIndex", &M::exposureIndex, Unit::None},
    NumberField{"electricalExtenderMagnificationPercent",
                &M::electricalExtenderMagnificationPercent, Unit::Percent},
    NumberField{"whiteBalanceK", &M::whiteBalanceK, Unit::Kelvin},
    NumberField{"blackLevelPercent", &M::blackLevelPercent, Unit::Percent},
    NumberField{"kneePointPercent", &M::kneePointPercent, Unit::Percent},
    NumberField{"dynamicRangePercent", &M::dynamicRangePercent, Unit::Percent},
    NumberField{"ndDensity", &M::ndDensity, Unit::Density},
    NumberField{"pixelAspectRatio", &M::pixelAspectRatio, Unit::None},
    NumberField{"activeImageWidthPx", &M::activeImageWidthPx, Unit::Pixel},
    NumberField{"activeImageHeightPx", &M::activeImageHeightPx, Unit::Pixel},
    NumberField{"sonyGpsLatitudeDeg", &M::sonyGpsLatitudeDeg, Unit::Coordinate},
    NumberField{"sonyGpsLongitudeDeg", &M::sonyGpsLongitudeDeg, Unit::Coordinate},
};

constexpr std::array kTextFields{
    TextField{"whiteBalanceMode", &M::whiteBalanceMode},
    TextField{"timecode", &M::timecode},
    TextField{"clipName", &M::clipName},
    TextField{"cameraMake", &M::cameraMake},
    TextField{"cameraModelName", &M::cameraModelName},
    TextField{"cameraSerialNumber", &M::cameraSerialNumber},
    TextField{"cameraFirmwareVersion", &M::cameraFirmwareVersion},
    TextField{"lensModelName", &M::lensModelName},
    TextField{"sonyWhiteBalance", &M::sonyWhiteBalance},
    TextField{"sonyDateTime", &M::sonyDateTime},
};

}  // namespace

std::span<const NumberField> numberFields() noexcept {
    return kNumberFields;
}

std::span<const TextField> textFields() noexcept {
    return kTextFields;
}

Dictionary toDictionary(const CameraModel& model) {
    Dictionary d;
    for (const auto& f : kNumberFields) {
        if (const auto& v = model.*f.member) d.set(std::string(f.key), Number::doubleNumber(*v));
    }
    for (const auto& f : kTextFields) {
        if (const auto& v = model.*f.member) d.set(std::string(f.key), *v);
    }
    return d;
}

CameraModel fromDictionary(const Dictionary& dictionary) {
    CameraModel m;
    for (const auto& f : kNumberFields) {
        const Value* v = dictionary.find(f.key);
        if (v && v->isNumber() && std::isfinite(v->number().doubleValue())) {
            m.*f.member = v->number().doubleValue();
        }
    }
    for (const auto& f : kTextFields) {
        const Value* v = dictionary.find(f.key);
        if (v && v->isString()) m.*f.member = v->string();
    }
    return m;
}

CameraModel merged(const CameraModel& first, const CameraModel& second) {
    CameraModel m = first;
    for (const auto& f : kNumberFields) {
        if (!(m.*f.member)) m.*f.member = second.*f.member;
    }
    for (const auto& f : kTextFields) {
        if (!(m.*f.member)) m.*f.member = second.*f.member;
    }
    return m;
}

}  // namespace rdd18::interpret
