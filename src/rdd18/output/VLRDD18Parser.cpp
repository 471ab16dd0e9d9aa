#include "rdd18/output/VLRDD18Parser.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "rdd18/items/internal_flavour_table.h"
#include "rdd18/output/internal_item_translator.h"

namespace {

using namespace rdd18;

/// "Unknown_0x%02x_0x%02x" of the two tag bytes.
std::string unknownItemKey(rdd18::tag itemTag) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string key = "Unknown_0x00_0x00";
    key[10] = kHex[itemTag.first >> 4];
    key[11] = kHex[itemTag.first & 0xF];
    key[15] = kHex[itemTag.second >> 4];
    key[16] = kHex[itemTag.second & 0xF];
    return key;
}

/// A frame of registered items only, the usual frame: the last item of each key is found by the
/// place of its key, and the places are walked in order, so the entries are appended without a
/// sort, and an item that a later one of its key replaces is not translated at all. False, with
/// nothing written, when an item has no row of the table.
template <class Table>
bool writeByKeyPlace(ItemList& items, ItemTranslator<Table>& translator) {
    constexpr std::uint32_t kNone = ~std::uint32_t{0};
    std::array<std::uint32_t, Table::size + 1> lastOfPlace;  // places 0..size
    lastOfPlace.fill(kNone);
    for (std::size_t i = 0; i < items.size(); ++i) {
        // The table's own factory builds a typed item for every tag of the table and an
        // unsupported one for any other, so the tag alone says which it is.
        const std::uint32_t rank = Table::keyRank(items[i]->tag(), true);
        if (Table::rowOfRank(rank) == Table::size) return false;
        lastOfPlace[rank >> 16] = static_cast<std::uint32_t>(i);
    }
    for (std::uint32_t place = 0; place < lastOfPlace.size(); ++place) {
        if (lastOfPlace[place] == kNone) continue;
        translator.appendRow(Table::rowOfRank(place << 16), *items[lastOfPlace[place]]);
    }
    return true;
}

/// Any frame: the items in the order of their keys (the table's key rank, then stream order), so
/// every entry is appended or replaces the one before it: a later item of a key still replaces an
/// earlier, and any number of items in any order costs one sort of small numbers.
template <class Table>
void writeSorted(ItemList& items, ItemTranslator<Table>& translator, Dictionary& result) {
    // Rank of the key in the high half, index in the low half.
    constexpr std::size_t kInPlace = 64;
    std::array<std::uint64_t, kInPlace> small;
    std::vector<std::uint64_t> large;
    std::uint64_t* order = small.data();
    if (items.size() > kInPlace) {
        large.resize(items.size());
        order = large.data();
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
        const std::uint64_t rank = Table::keyRank(items[i]->tag(), items[i]->isSupported());
        order[i] = (rank << 32) | i;
    }
    std::sort(order, order + items.size());
    for (std::size_t n = 0; n < items.size(); ++n) {
        Item& item = *items[static_cast<std::uint32_t>(order[n])];
        const std::size_t row = Table::rowOfRank(static_cast<std::uint32_t>(order[n] >> 32));
        if (row < Table::size) {
            translator.translateRow(row, item);
        } else if (!item.isSupported()) {
            result.set(unknownItemKey(item.tag()), Data(std::move(item.payloadAs<ByteVector>())));
        } else {
            translator.dispatch(item, item.tag());
        }
    }
}

/// The answer of a frame's items, written in the order of their keys, so that every entry is
/// appended. The items end with the parse, so their decoded payloads are taken over.
template <class Table>
Dictionary buildAnswer(const ItemFactory& factory, RDD18StreamReader& reader, FaultSink* faults) {
    try {
        ItemList items = parseDataForItems(reader, factory, faults);
        Dictionary result;
        // One entry per item in a frame without repeats; never more than the flavour has names
        // for when a frame repeats its items, so a long frame holds no idle room.
        result.reserve(std::min(items.size(), factory.tagsToNames.size()));
        ItemTranslator<Table> translator(factory, result);
        if (!writeByKeyPlace(items, translator)) writeSorted(items, translator, result);
        return result;
    } catch (const AncillaryDataBuildingError&) {
        return Dictionary();
    }
}

}  // namespace

VLRDD18Parser::VLRDD18Parser(std::int32_t type) : VLRDD18Parser(flavourOf(type)) {}

VLRDD18Parser::VLRDD18Parser(Flavour flavour)
    : _factory(&sharedItemFactory(flavour)),
      _builder(withFlavour(flavour,
                           [](auto table) -> Builder { return &buildAnswer<decltype(table)>; })),
      _flavour(flavour) {}

rdd18::Dictionary VLRDD18Parser::parseData(std::span<const unsigned char> bytes) const {
    return parseData(bytes, true);
}

rdd18::Dictionary VLRDD18Parser::parseData(std::span<const unsigned char> bytes, bool flags) const {
    AncillaryDataBufferReader packets(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    RDD18AncillaryDataStreamReader stream(packets);
    return _builder(*_factory, stream, nullptr);
}

rdd18::Dictionary VLRDD18Parser::parseData(std::span<const unsigned char> bytes, bool flags,
                                           rdd18::FaultSink& faults) const {
    AncillaryDataBufferReader packets(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags, &faults);
    RDD18AncillaryDataStreamReader stream(packets);
    stream.setFaultSink(&faults);
    return _builder(*_factory, stream, &faults);
}

rdd18::Dictionary VLRDD18Parser::parseData(rdd18::AncillaryDataReader& packets,
                                           rdd18::FaultSink* faults) const {
    RDD18AncillaryDataStreamReader stream(packets);
    stream.setFaultSink(faults);
    return _builder(*_factory, stream, faults);
}

rdd18::Dictionary VLRDD18Parser::parseRtmdSample(std::span<const unsigned char> sample) const {
    const RtmdSample framed = readRtmdSample(sample);
    RtmdPackReader stream(framed.packs);
    return _builder(*_factory, stream, nullptr);
}

rdd18::Dictionary VLRDD18Parser::parseRtmdSample(std::span<const unsigned char> sample,
                                                 rdd18::FaultSink& faults) const {
    const RtmdSample framed = readRtmdSample(sample, &faults);
    RtmdPackReader stream(framed.packs);
    return _builder(*_factory, stream, &faults);
}
