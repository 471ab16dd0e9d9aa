// The standard RDD 18 items: lens items of tag group 128, camera items of tag group 129, and
// 50, 16. Names are the dictionary keys, spelt as the format's tables spell them.
#pragma once

#include <string>
#include <vector>

#include "rdd18/items/internal_item_table.h"
#include "rdd18/items/rdd18_items.h"

namespace rdd18 {

using StandardItemTable = ItemTable<
    ItemRow<TaggedItem<Uint16, 0x80, 0x00>, "LensIrisFNumberItem">,
    ItemRow<TaggedItem<Uint16, 0x80, 0x08>, "LensIrisTNumberItem">,
    ItemRow<TaggedItem<Uint16, 0x80, 0x09>, "LensIrisRingPositionItem">,
    ItemRow<TaggedItem<HalfFloatLensSerial, 0x80, 0x01>, "LensFocusPositionFromImagePlaneItem">,
    ItemRow<TaggedItem<HalfFloatLensSerial, 0x80, 0x02>,
            "LensFocusPositionFromFrontLensVertexItem">,
    ItemRow<TaggedItem<Boolean, 0x80, 0x03>, "LensMacroSettingItem">,
    ItemRow<TaggedItem<HalfFloatLensSerial, 0x80, 0x04>, "LensZoom35mmStillCameraEquivalentItem">,
    ItemRow<TaggedItem<HalfFloatLensSerial, 0x80, 0x05>, "LensZoomActualFocalLengthItem">,
    ItemRow<TaggedItem<Uint16, 0x80, 0x0B>, "LensZoomRingPositionItem">,
    ItemRow<TaggedItem<Uint16, 0x80, 0x06>, "LensOpticalExtenderMagnificationItem">,
    ItemRow<TaggedItem<std::string, 0x80, 0x07>, "LensAttributesItem">,
    ItemRow<TaggedItem<Label, 0x81, 0x00>, "CameraAutoExposureModeItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x15>, "CameraExposureIndexOfPhotoMeterItem">,
    ItemRow<TaggedItem<unsigned char, 0x81, 0x01>, "CameraAutoFocusSensingAreaSettingItem">,
    ItemRow<TaggedItem<unsigned char, 0x81, 0x02>, "CameraCorectionFilterWheelSettingItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x03>, "CameraNeutralDensityFilterWheelSettingItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x04>, "CameraImageSensorDimensionEffectiveWidthItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x05>, "CameraImageSensorDimensionEffectiveHeightItem">,
    ItemRow<TaggedItem<Rational, 0x81, 0x06>, "CameraCaptureFrameRateItem">,
    ItemRow<TaggedItem<unsigned char, 0x81, 0x07>, "CameraImageSensorReadoutModeItem">,
    ItemRow<TaggedItem<Uint32, 0x81, 0x08>, "CameraShutterSpeedAngleItem">,
    ItemRow<TaggedItem<Rational, 0x81, 0x09>, "CameraShutterSpeedTimeItem">,
    ItemRow<TaggedItem<Int16, 0x81, 0x0A>, "CameraMasterGainAdjustmentItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x0B>, "CameraISOSensitivityItem">,
    ItemRow<TaggedItem<std::vector<Rational>, 0x81, 0x18>, "CameraColorMatrixItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x0C>, "CameraElectricalExtenderMagnificationItem">,
    ItemRow<TaggedItem<unsigned char, 0x81, 0x0D>, "CameraWhiteBalanceModeItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x0E>, "CameraWhiteBalanceItem">,
    ItemRow<TaggedItem<Int16, 0x81, 0x0F>, "CameraMasterBlackLevelItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x10>, "CameraKneePointItem">,
    ItemRow<TaggedItem<Rational, 0x81, 0x11>, "CameraKneeSlopeItem">,
    ItemRow<TaggedItem<Uint16, 0x81, 0x12>, "CameraLuminanceDynamicRangeItem">,
    ItemRow<TaggedItem<Label, 0x32, 0x10>, "CameraCaptureGammaEquationItem">,
    ItemRow<TaggedItem<unsigned char, 0x81, 0x16>, "CameraGammaForCDLItem">,
    ItemRow<TaggedItem<std::vector<HalfFloat>, 0x81, 0x17>, "CameraASCCDLV12Item">,
    ItemRow<TaggedItem<std::string, 0x81, 0x13>, "CameraSettingFileURIItem">,
    ItemRow<TaggedItem<std::string, 0x81, 0x14>, "CameraAttributesItem">>;

static_assert(StandardItemTable::size == 37 && StandardItemTable::isUnique());

}  // namespace rdd18
