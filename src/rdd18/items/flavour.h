// The RDD 18 flavours: which item set a parse reads.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "rdd18/export.h"

namespace rdd18 {

/// The item set of an RDD 18 parse. The values are those of the facade's integer.
enum class Flavour : std::uint8_t {
    Standard = 0,  ///< the 37 standard items
    Varicam = 1,   ///< standard and the 4 Varicam items
    Sony = 2,      ///< standard and the 16 Sony items
};

/// The flavour of the integer the RDD 18 facade takes: 1 Varicam, 2 Sony, any other value
/// standard.
constexpr Flavour flavourOf(std::int32_t type) noexcept {
    return type == 1 ? Flavour::Varicam : type == 2 ? Flavour::Sony : Flavour::Standard;
}

/// The flavour of a name that `flavourName` gives: "standard", "sony" or "varicam", in lower case
/// exactly; no flavour for any other text.
VELMORA_RDD18_EXPORT std::optional<Flavour> flavourFromName(std::string_view name) noexcept;

/// The name of `flavour` ("standard", "sony", "varicam"). A value outside the enumeration is
/// named "standard", the flavour the facade reads it as.
VELMORA_RDD18_EXPORT std::string_view flavourName(Flavour flavour) noexcept;

}  // namespace rdd18
