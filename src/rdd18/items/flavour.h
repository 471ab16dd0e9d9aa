// The RDD 18 flavours: which item set a parse reads.
#pragma once

#include <cstdint>

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

}  // namespace rdd18
