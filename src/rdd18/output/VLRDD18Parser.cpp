#include "rdd18/output/VLRDD18Parser.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "rdd18/items/flavour_table.h"
#include "rdd18/output/item_translator.h"

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

/// Items of the stream, each written into the answer in the order of its key (the table's key
/// rank, then stream order), so every entry is appended or replaces the one before it: a later
/// item of a key still replaces an earlier, and any number of items in any order costs one sort
/// of small numbers. The items end with the parse, so their decoded payloads are taken over.
template <class Table>
Dictionary buildAnswer(const ItemFactory& factory, RDD18StreamReader& reader,
                       ParseObserver* observer) {
    try {
        ItemList items = parseDataForItems(reader, factory, observer);
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

        Dictionary result;
        // One entry per item in a frame without repeats; never more than the flavour has names
        // for when a frame repeats its items, so a long frame holds no idle room.
        result.reserve(std::min(items.size(), factory.tagsToNames.size()));
        ItemTranslator<Table> translator(factory, result);
        for (std::size_t n = 0; n < items.size(); ++n) {
            Item& item = *items[static_cast<std::uint32_t>(order[n])];
            const std::size_t row = Table::rowOfRank(static_cast<std::uint32_t>(order[n] >> 32));
            if (row < Table::size) {
                translator.translateRow(row, item);
            } else if (!item.isSupported()) {
                result.set(unknownItemKey(item.tag()),
                           Data(std::move(item.payloadAs<ByteVector>())));
            } else {
                translator.dispatch(item, item.tag());
            }
        }
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

rdd18::ParseResult VLRDD18Parser::parseDataWithFaults(std::span<const unsigned char> bytes,
                                                      bool flags) const {
    FaultLines faults(bytes.data(), "RDD 18", RDD18AncillaryDataStreamReader::kDid,
                      RDD18AncillaryDataStreamReader::kSdid);
    AncillaryDataBufferReader walk(
        bytes.data(), bytes.size(),
        flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags, &faults);
    FaultLines::CountingSource packets(walk, faults);
    RDD18AncillaryDataStreamReader stream(packets);
    stream.setObserver(&faults);
    Dictionary answer = _builder(*_factory, stream, &faults);
    faults.close(flags, "RDD 18: the parse failed, so every item of the frame is dropped");
    return {std::move(answer), faults.take()};
}

rdd18::Dictionary VLRDD18Parser::parseData(rdd18::AncillaryDataReader& packets) const {
    RDD18AncillaryDataStreamReader stream(packets);
    return _builder(*_factory, stream, nullptr);
}
