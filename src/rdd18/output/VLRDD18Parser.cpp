#include "rdd18/output/VLRDD18Parser.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/output/item_translator.h"

namespace {

using namespace rdd18;

std::string unknownItemKey(rdd18::tag tag) {
    char key[32];
    std::snprintf(key, sizeof key, "Unknown_0x%02x_0x%02x", tag.first, tag.second);
    return key;
}

/// The answer keeps its keys in ascending order, and a key set behind the last one is appended
/// without moving the others. The walk therefore writes the items in the order of their keys:
/// the flavour's names by their place among the table's names, and the "Unknown_0x%02x_0x%02x"
/// keys together where that prefix falls among the names, by tag (two lower-case hexadecimal
/// digits each sort as the numbers do). Items of one key keep their stream order, so the later
/// still replaces the earlier and the answer is the same as that of a walk in stream order.
template <class Table>
class KeyOrder {
public:
    /// Sort key of the item at `index` of the list: the place of its key, then its index.
    static std::uint64_t of(rdd18::tag tag, bool supported, std::size_t index) noexcept {
        const std::uint64_t tagBits = (unsigned{tag.first} << 8) | tag.second;
        const std::uint64_t place =
            supported ? std::uint64_t{namedPlace(tagBits)} << 16 : (kUnknownPlace << 16) | tagBits;
        return (place << 32) | index;
    }

private:
    struct Row {
        std::uint16_t tag;
        std::uint16_t place;
    };

    static constexpr std::size_t countNamesBelow(std::string_view key) {
        std::size_t n = 0;
        for (std::string_view name : Table::names()) n += name < key ? 1 : 0;
        return n;
    }
    static constexpr std::uint64_t kUnknownPlace = countNamesBelow("Unknown_");

    // The table's tags in ascending order, each with the place of its name.
    static constexpr std::array<Row, Table::size> kRows = [] {
        constexpr auto names = Table::names();
        constexpr auto tags = Table::tags();
        std::array<Row, Table::size> rows{};
        for (std::size_t i = 0; i < Table::size; ++i) {
            const std::size_t below = countNamesBelow(names[i]);
            rows[i] = {static_cast<std::uint16_t>((tags[i].first << 8) | tags[i].second),
                       static_cast<std::uint16_t>(below + (below >= kUnknownPlace ? 1 : 0))};
        }
        std::sort(rows.begin(), rows.end(), [](Row a, Row b) { return a.tag < b.tag; });
        return rows;
    }();

    static std::uint16_t namedPlace(std::uint64_t tag) noexcept {
        const auto it = std::lower_bound(kRows.begin(), kRows.end(), tag,
                                         [](Row row, std::uint64_t t) { return row.tag < t; });
        // A tag outside the table (no such item reaches the walk) is written last; the order
        // only saves work, the answer doesn't depend on it.
        return it != kRows.end() && it->tag == tag ? it->place : Table::size + 1;
    }
};

/// The parse closure of a flavour: items of the stream, each written into the answer.
template <class Table>
std::function<Dictionary(RDD18StreamReader&)> makeBuilder(const ItemFactory* factory) {
    return [factory](RDD18StreamReader& reader) -> Dictionary {
        try {
            const ItemList items = parseDataForItems(reader, *factory);
            Dictionary result;
            // One entry per item in a frame without repeats; never more than the flavour has
            // names for when a frame repeats its items, so a long frame holds no idle room.
            result.reserve(std::min(items.size(), factory->tagsToNames.size()));
            ItemTranslator<Table> translator(*factory, result);

            // A frame of up to kOrdered items (every frame of distinct items: the largest
            // flavour has 53 names) is written in key order. A longer list repeats its keys, its
            // answer stays small and cheap to insert into, and it is walked in stream order.
            constexpr std::size_t kOrdered = 64;
            std::array<std::uint64_t, kOrdered> order;
            const std::size_t ordered = items.size() <= kOrdered ? items.size() : 0;
            for (std::size_t i = 0; i < ordered; ++i) {
                order[i] = KeyOrder<Table>::of(items[i]->tag(), items[i]->isSupported(), i);
            }
            std::sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(ordered));

            for (std::size_t n = 0; n < items.size(); ++n) {
                const auto& item = items[ordered ? static_cast<std::uint32_t>(order[n]) : n];
                const rdd18::tag tag = item->tag();
                if (item->isSupported()) {
                    translator.dispatch(*item, tag);
                } else {
                    result.set(unknownItemKey(tag), Data(item->payloadAs<ByteVector>()));
                }
            }
            return result;
        } catch (const AncillaryDataBuildingError&) {
            return Dictionary();
        }
    };
}

}  // namespace

VLRDD18Parser::VLRDD18Parser(std::int32_t type) {
    switch (type) {
        case 1:
            _factory = varicamItemFactory();
            _builder = makeBuilder<VaricamItemTable>(&_factory);
            break;
        case 2:
            _factory = sonyItemFactory();
            _builder = makeBuilder<SonyItemTable>(&_factory);
            break;
        default:
            _factory = standardItemFactory();
            _builder = makeBuilder<StandardItemTable>(&_factory);
            break;
    }
}

rdd18::Dictionary VLRDD18Parser::parseData(std::span<const unsigned char> bytes) const {
    return parseData(bytes, true);
}

rdd18::Dictionary VLRDD18Parser::parseData(std::span<const unsigned char> bytes, bool flags) const {
    AncillaryDataBufferReader packets(bytes.data(), bytes.size(),
                                      flags ? AncillaryDataBufferWithFlags
                                            : AncillaryDataBufferWithoutFlags);
    RDD18AncillaryDataStreamReader stream(packets);
    return _builder(stream);
}

rdd18::Dictionary VLRDD18Parser::parseData(rdd18::AncillaryDataReader& packets) const {
    RDD18AncillaryDataStreamReader stream(packets);
    return _builder(stream);
}
