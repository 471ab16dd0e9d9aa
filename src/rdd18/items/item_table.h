// A flavour's item table as data: rows of (item class, name), written once. The factory
// registration and the translator's dispatch list are both generated from the same rows, so the
// two sides of a flavour can't drift apart.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "rdd18/items/item_factory.h"
#include "rdd18/items/rdd18_items.h"

namespace rdd18 {

/// A string literal usable as a template argument.
template <std::size_t N>
struct FixedString {
    char chars[N];
    constexpr FixedString(const char (&s)[N]) {
        for (std::size_t i = 0; i < N; ++i) chars[i] = s[i];
    }
    constexpr std::string_view view() const { return {chars, N - 1}; }
};

/// One row: a `TaggedItem<T, Tag1, Tag2>` and its item name.
template <class ItemT, FixedString Name>
struct ItemRow {
    using ItemType = ItemT;
    static constexpr std::string_view name() { return Name.view(); }
};

/// A table of rows in registration (and dispatch) order.
template <class... Rows>
struct ItemTable {
    static constexpr std::size_t size = sizeof...(Rows);

    /// Registers every row, in order, with insert-if-absent semantics.
    static void registerInto(ItemFactory& factory) {
        (factory.registerItem<typename Rows::ItemType>(std::string(Rows::name())), ...);
    }

    static constexpr std::array<rdd18::tag, size> tags() { return {Rows::ItemType::Tag()...}; }
    static constexpr std::array<std::string_view, size> names() { return {Rows::name()...}; }

    /// This table with the rows of `Other` behind its own.
    template <class Other>
    struct Append;
    template <class... More>
    struct Append<ItemTable<More...>> {
        using type = ItemTable<Rows..., More...>;
    };

    /// True when no tag and no name occurs twice.
    static constexpr bool isUnique() {
        constexpr auto t = tags();
        constexpr auto n = names();
        for (std::size_t i = 0; i < size; ++i)
            for (std::size_t j = i + 1; j < size; ++j)
                if (t[i] == t[j] || n[i] == n[j]) return false;
        return true;
    }
};

}  // namespace rdd18
