// The Varicam items added to the standard table: clip information and clip name, tag group 225.
// The clip information's payload type, `VaricamExtendedMetadata`, is with the other payload types
// in rdd18_items.h.
#pragma once

#include <string>

#include "rdd18/items/internal_item_table.h"
#include "rdd18/items/internal_standard_items.h"
#include "rdd18/items/rdd18_items.h"

namespace rdd18 {

using VaricamOwnItemTable =
    ItemTable<ItemRow<TaggedItem<std::string, 0xE1, 0x21>, "VaricamClipInfoHeaderItem">,
              ItemRow<TaggedItem<VaricamExtendedMetadata, 0xE1, 0x22>, "VaricamClipInfoValueItem">,
              ItemRow<TaggedItem<std::string, 0xE1, 0x23>, "VaricamClipNameHeaderItem">,
              ItemRow<TaggedItem<std::string, 0xE1, 0x24>, "VaricamClipNameValueItem">>;

/// The whole Varicam flavour: the standard rows, then the Varicam rows.
using VaricamItemTable = StandardItemTable::Append<VaricamOwnItemTable>::type;

static_assert(VaricamItemTable::size == 41 && VaricamItemTable::isUnique());

}  // namespace rdd18
