// A flavour's item table as data: rows of (item class, name), written once. The factory
// registration, the builder lookup of the flavour's shared factory and the translator's dispatch
// list are all generated from the same rows, so the sides of a flavour can't drift apart.
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

namespace detail {

/// The row of a tag in a table of at most 254 rows, in two steps of a byte each: the group of
/// its first byte (1 + the number of the table's first bytes below it; 0 for a first byte no tag
/// has), then, among the group's 256 entries by second byte, 1 + the row (0 for no tag).
struct TagRows {
    static constexpr std::size_t kNone = ~std::size_t{0};

    const std::array<std::uint8_t, 256>* groupOfFirstByte;
    const std::array<std::uint8_t, 256>* rowBySecondByte;  // one array per group

    /// The row of `t`, or `kNone`.
    constexpr std::size_t row(rdd18::tag t) const noexcept {
        const std::uint8_t group = (*groupOfFirstByte)[t.first];
        if (group == 0) return kNone;
        const std::uint8_t rowPlusOne = rowBySecondByte[group - 1u][t.second];
        return rowPlusOne == 0 ? kNone : rowPlusOne - 1u;
    }
};

/// The builders of a table's rows, found by tag: the lookup of a factory that was filled from
/// the table and is never changed afterwards.
struct BuilderTable {
    TagRows rows;
    const ItemBuilder* const* builders;  // one per row

    /// The builder of `t`, or null for a tag outside the table.
    const ItemBuilder* find(rdd18::tag t) const noexcept {
        const std::size_t row = rows.row(t);
        return row == TagRows::kNone ? nullptr : builders[row];
    }
};

}  // namespace detail

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
        const std::size_t row = kTagRows.row(t);
        // A tag outside the table reaches no producer as registered; it goes last.
        return (row != detail::TagRows::kNone ? kPlaceOfRow[row]
                                              : static_cast<std::uint32_t>(size + 1))
               << 16;
    }

    /// The row whose key has the rank `rank` (of `keyRank`), or `size` for the rank of an
    /// unregistered tag's key or of a tag outside the table.
    static constexpr std::size_t rowOfRank(std::uint32_t rank) noexcept {
        const std::uint32_t place = rank >> 16;
        return place < kRowAtPlace.size() ? kRowAtPlace[place] : size;
    }

    /// The row of the item named `name`, or `size` when the table names no item so.
    static constexpr std::size_t rowOfName(std::string_view name) noexcept {
        constexpr auto all = names();
        for (std::size_t i = 0; i < size; ++i)
            if (all[i] == name) return i;
        return size;
    }

    /// True when the table has a row for `t`.
    static constexpr bool hasTag(rdd18::tag t) noexcept {
        return kTagRows.row(t) != detail::TagRows::kNone;
    }

    /// True when every name is 7-bit text, which is the same in Latin-1 and in UTF-8: a name
    /// becomes its key without conversion.
    static constexpr bool namesAreAscii() {
        for (std::string_view name : names())
            for (char c : name)
                if (static_cast<unsigned char>(c) > 0x7F) return false;
        return true;
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
    static_assert(size < 255, "places and groups are bytes");

    static constexpr std::uint32_t countNamesBelow(std::string_view key) {
        std::uint32_t n = 0;
        for (std::string_view name : names()) n += name < key ? 1 : 0;
        return n;
    }
    static constexpr std::uint32_t kUnknownPlace = countNamesBelow("Unknown_");
    static constexpr std::uint32_t placeOfRow(std::size_t row) {
        const std::uint32_t below = countNamesBelow(names()[row]);
        return below + (below >= kUnknownPlace ? 1 : 0);  // the unknown keys' place left free
    }
    // The two steps of `TagRows` for the table's tags.
    static constexpr std::array<std::uint8_t, 256> kGroupOfFirstByte = [] {
        std::array<std::uint8_t, 256> groups{};
        for (const rdd18::tag& t : tags()) groups[t.first] = 1;
        std::uint8_t next = 0;
        for (std::uint8_t& g : groups) g = g != 0 ? ++next : 0;
        return groups;
    }();
    static constexpr std::size_t kGroups = [] {
        std::size_t n = 0;
        for (const std::uint8_t g : kGroupOfFirstByte) n = g > n ? g : n;
        return n;
    }();
    static constexpr std::array<std::array<std::uint8_t, 256>, kGroups> kRowBySecondByte = [] {
        std::array<std::array<std::uint8_t, 256>, kGroups> rows{};
        for (std::size_t i = 0; i < size; ++i) {
            const rdd18::tag t = tags()[i];
            rows[kGroupOfFirstByte[t.first] - 1u][t.second] = static_cast<std::uint8_t>(i + 1);
        }
        return rows;
    }();
    static constexpr detail::TagRows kTagRows{&kGroupOfFirstByte, kRowBySecondByte.data()};

    static constexpr std::array<std::uint32_t, size> kPlaceOfRow = [] {
        std::array<std::uint32_t, size> places{};
        for (std::size_t i = 0; i < size; ++i) places[i] = placeOfRow(i);
        return places;
    }();
    // The row of each place: `size` at the unknown keys' place.
    static constexpr std::array<std::size_t, size + 1> kRowAtPlace = [] {
        std::array<std::size_t, size + 1> rows{};
        rows[kUnknownPlace] = size;
        for (std::size_t i = 0; i < size; ++i) rows[placeOfRow(i)] = i;
        return rows;
    }();

    // One constant builder per row.
    template <class Row>
    static constexpr typename Row::ItemType::Builder kBuilderOf{};
    static constexpr std::array<const ItemBuilder*, size> kBuilders{&kBuilderOf<Rows>...};

  public:
    /// The builders of the rows by tag, for a factory filled by `registerInto` alone.
    static constexpr detail::BuilderTable kBuilderTable{kTagRows, kBuilders.data()};
};

}  // namespace rdd18
