// A flavour's item table as data: rows of (item class, name), written once. The factory
// registration and the translator's dispatch list are both generated from the same rows, so the
// two sides of a flavour can't drift apart.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
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

    /// Place of an item's answer key among the keys a frame of this flavour can have, for a
    /// producer that writes its keys in ascending order. The answer sorts its keys by bytes: the
    /// names by their place among the table's names, and the "Unknown_0x%02x_0x%02x" keys of
    /// unregistered tags together where that prefix falls among the names, by tag (two lower-case
    /// hexadecimal digits each sort as the numbers do). Equal keys give equal ranks.
    static constexpr std::uint32_t keyRank(rdd18::tag t, bool registered) noexcept {
        const std::uint32_t tagBits = (std::uint32_t{t.first} << 8) | t.second;
        if (!registered) return (kUnknownPlace << 16) | tagBits;
        const auto it = std::lower_bound(kRanks.begin(), kRanks.end(), tagBits,
                                         [](RankRow r, std::uint32_t b) { return r.tag < b; });
        // A tag outside the table reaches no producer as registered; it goes last.
        const bool found = it != kRanks.end() && it->tag == tagBits;
        return (found ? it->place : static_cast<std::uint32_t>(size + 1)) << 16;
    }

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

  private:
    struct RankRow {
        std::uint32_t tag;
        std::uint32_t place;
    };
    static constexpr std::uint32_t countNamesBelow(std::string_view key) {
        std::uint32_t n = 0;
        for (std::string_view name : names()) n += name < key ? 1 : 0;
        return n;
    }
    static constexpr std::uint32_t kUnknownPlace = countNamesBelow("Unknown_");
    // The table's tags in ascending order, each with the place of its name (the unknown keys'
    // place left free).
    static constexpr std::array<RankRow, size> kRanks = [] {
        std::array<RankRow, size> rows{};
        for (std::size_t i = 0; i < size; ++i) {
            const std::uint32_t below = countNamesBelow(names()[i]);
            rows[i] = {(std::uint32_t{tags()[i].first} << 8) | tags()[i].second,
                       below + (below >= kUnknownPlace ? 1 : 0)};
        }
        std::sort(rows.begin(), rows.end(), [](RankRow a, RankRow b) { return a.tag < b.tag; });
        return rows;
    }();
};

}  // namespace rdd18
