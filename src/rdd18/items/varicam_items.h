// The Varicam items added to the standard table: clip information and clip name, tag group 225.
#pragma once

#include <string>

#include "rdd18/items/item_table.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/items/standard_items.h"

namespace rdd18 {

/// Payload of the clip information item (225, 34): exactly its first 7 wire bytes, with the
/// `Uint16` fields kept in wire (big-endian) order.
///   [clipNameValid][cameraId][reelCounter, 2][clipCounter, 2][filenameStyle]
/// filenameStyle: 0 is "P2", 1 is "CINE"; any other code is legal.
struct VaricamExtendedMetadata {
    unsigned char clipNameValid;
    unsigned char cameraId;
    Uint16 reelCounter;
    Uint16 clipCounter;
    unsigned char filenameStyle;
};
static_assert(sizeof(VaricamExtendedMetadata) == 7);

/// Reads min(7, length) bytes; fewer than 7 delivered (so any length under 7) is a ParsingError.
template <>
struct make_type_from_reader<VaricamExtendedMetadata>
    : detail::FixedSizeDecoder<VaricamExtendedMetadata> {};

using VaricamOwnItemTable =
    ItemTable<ItemRow<TaggedItem<std::string, 0xE1, 0x21>, "VaricamClipInfoHeaderItem">,
              ItemRow<TaggedItem<VaricamExtendedMetadata, 0xE1, 0x22>, "VaricamClipInfoValueItem">,
              ItemRow<TaggedItem<std::string, 0xE1, 0x23>, "VaricamClipNameHeaderItem">,
              ItemRow<TaggedItem<std::string, 0xE1, 0x24>, "VaricamClipNameValueItem">>;

/// The whole Varicam flavour: the standard rows, then the Varicam rows.
using VaricamItemTable = StandardItemTable::Append<VaricamOwnItemTable>::type;

static_assert(VaricamItemTable::size == 41 && VaricamItemTable::isUnique());

}  // namespace rdd18
