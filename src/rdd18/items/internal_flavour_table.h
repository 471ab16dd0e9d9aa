// The one place where a flavour becomes its item table and its factory.
#pragma once

#include <utility>

#include "rdd18/items/flavour.h"
#include "rdd18/items/internal_sony_items.h"
#include "rdd18/items/internal_standard_items.h"
#include "rdd18/items/internal_varicam_items.h"
#include "rdd18/items/item_factory.h"

namespace rdd18 {

/// Calls `f` with a value of the item table type of `flavour` and returns what it returns.
template <class F>
decltype(auto) withFlavour(Flavour flavour, F&& f) {
    switch (flavour) {
        case Flavour::Varicam:
            return std::forward<F>(f)(VaricamItemTable{});
        case Flavour::Sony:
            return std::forward<F>(f)(SonyItemTable{});
        case Flavour::Standard:
            break;
    }
    return std::forward<F>(f)(StandardItemTable{});
}

/// The factory of `flavour`, built on first use and only read afterwards: it lives as long as the
/// program and serves every parser of the flavour, on any thread.
const ItemFactory& sharedItemFactory(Flavour flavour);

}  // namespace rdd18
