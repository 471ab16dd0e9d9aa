// The Sony items added to the standard table: 16 opaque byte vectors in tag groups 224 to 226,
// in registration order (which is not numeric order).
#pragma once

#include "rdd18/items/internal_item_table.h"
#include "rdd18/items/internal_standard_items.h"
#include "rdd18/items/rdd18_items.h"

namespace rdd18 {

using SonyOwnItemTable = ItemTable<
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x01>, "SonyEffectiveMarkerCoverageItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x02>, "SonyEffectiveMarkerAspectRatioItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x03>, "SonyCameraProcessDiscriminationCodeItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x04>, "SonyRotaryShutterModeItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x0A>, "SonyImageOrientationItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x05>, "SonyRawBlackCodeValueItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x06>, "SonyGrayCodeValueItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x07>, "SonyWhiteCodeValueItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x0B>, "SonyBaseCurveItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x08>, "SonyMonitoringCharacteristicsItem">,
    ItemRow<TaggedItem<ByteVector, 0xE1, 0x09>, "SonyMonitoringDescriptionsItem">,
    ItemRow<TaggedItem<ByteVector, 0xE0, 0x11>, "SonyFlashBandDetectionItem">,
    ItemRow<TaggedItem<ByteVector, 0xE0, 0x12>, "SonyFlashBandCompensationItem">,
    ItemRow<TaggedItem<ByteVector, 0xE2, 0x03>, "SonyCookeProtocolCalibrationTypeItem">,
    ItemRow<TaggedItem<ByteVector, 0xE2, 0x01>, "SonyCookeProtocolBinaryMetadataItem">,
    ItemRow<TaggedItem<ByteVector, 0xE2, 0x02>, "SonyCookeProtocolUserMetadataItem">>;

/// The whole Sony flavour: the standard rows, then the Sony rows.
using SonyItemTable = StandardItemTable::Append<SonyOwnItemTable>::type;

static_assert(SonyItemTable::size == 53 && SonyItemTable::isUnique());

}  // namespace rdd18
