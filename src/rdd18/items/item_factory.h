// The registry of one flavour, and the parse of an RDD 18 stream into items.
//
// Stream wire format: packs back to back. A pack is
//   [key, 16 bytes: 06 0E 2B 34 + 12 bytes not examined][length field, 4 bytes: 1 byte not
//   examined,
//    then L as 24-bit big-endian][value, L bytes: items back to back]
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/items/rdd18_items.h"

namespace rdd18 {

class ParseObserver;

class ItemFactory;

/// The items of all packs of the stream, in stream order. All or nothing: a broken stream or a
/// payload its type can't hold gives the empty list, also losing the items that were good. A
/// stream that simply ends behind a complete pack is no failure. Never throws ParsingError.
/// `observer`, when given, hears of every key passed over and of the fault that ended a parse.
VELMORA_RDD18_EXPORT ItemList parseDataForItems(RDD18StreamReader& reader,
                                                const ItemFactory& factory,
                                                ParseObserver* observer = nullptr);

/// Which tags a flavour builds as typed items, and under which names. Filled once, then only
/// read: one factory can serve parses on several threads at once.
class VELMORA_RDD18_EXPORT ItemFactory {
  public:
    std::map<std::string, rdd18::tag, std::less<>> namesToTags;
    std::map<rdd18::tag, std::string> tagsToNames;
    std::map<rdd18::tag, std::unique_ptr<ItemBuilder>> builders;

    ItemFactory() = default;
    ItemFactory(ItemFactory&&) = default;
    ItemFactory& operator=(ItemFactory&&) = default;
    ItemFactory(const ItemFactory&) = delete;
    ItemFactory& operator=(const ItemFactory&) = delete;

    /// Registers `ItemType` (a `TaggedItem`) under `name`. Each of the three inserts adds only a
    /// missing key: the first registration of a tag or a name wins.
    /// Builders registered here are also found by `build` without a map lookup; a builder put
    /// into `builders` directly is found through the map.
    template <class ItemType>
    void registerItem(const std::string& name) {
        const auto added =
            builders.try_emplace(ItemType::Tag(), std::make_unique<typename ItemType::Builder>());
        if (added.second) indexBuilder(ItemType::Tag(), added.first->second.get());
        namesToTags.try_emplace(name, ItemType::Tag());
        tagsToNames.try_emplace(ItemType::Tag(), name);
    }

    /// Reads one item at the stream's position and leaves the stream behind its payload (the
    /// unread rest of a known item's payload is skipped). A tag without a builder gives an
    /// `UnsupportedItem`. Throws ParsingError when the tag or length can't be read, or when a known
    /// item's payload can't be decoded. `observer`, when given, hears why before the throw.
    std::unique_ptr<Item> build(RDD18StreamReader& reader, ParseObserver* observer = nullptr) const;

    /// The registered name of `tag`, or the empty string.
    std::string itemName(const rdd18::tag& itemTag) const;

  private:
    friend ItemList parseDataForItems(RDD18StreamReader&, const ItemFactory&, ParseObserver*);

    // `build` and the pack loop over the stream class itself: over a final class, the stream
    // calls of every item need no dispatch.
    template <class Reader>
    std::unique_ptr<Item> buildFrom(Reader& reader, ParseObserver* observer) const;
    template <class Reader>
    void parsePacks(Reader& reader, ItemList& items, ParseObserver* observer) const;

    void indexBuilder(rdd18::tag itemTag, const ItemBuilder* builder);
    const ItemBuilder* findBuilder(rdd18::tag itemTag) const noexcept;

    // The builders of `builders` for the lookup of every item, in two steps of a byte each: the
    // group of the first tag byte (1 + its place among the first bytes seen, 0 for none), then
    // by the second byte 1 + the place of the builder in `indexBuilders_` (0 for none). The
    // builders are owned by the map and don't move. Past 255 builders or groups, the map serves.
    std::array<std::uint8_t, 256> groupOfFirstByte_{};
    std::vector<std::array<std::uint8_t, 256>> builderBySecondByte_;
    std::vector<const ItemBuilder*> indexBuilders_;
};

/// The same over a memory block that holds the stream itself, without packets. Bytes that don't
/// start a pack key are passed over 16 at a time.
VELMORA_RDD18_EXPORT ItemList parseDataForItems(const unsigned char* data, unsigned long size,
                                                const ItemFactory& factory);

/// The standard table: the 37 lens and camera items.
VELMORA_RDD18_EXPORT ItemFactory standardItemFactory();
/// The standard table and the 16 items of the Sony flavour (53).
VELMORA_RDD18_EXPORT ItemFactory sonyItemFactory();
/// The standard table and the 4 items of the Varicam flavour (41).
VELMORA_RDD18_EXPORT ItemFactory varicamItemFactory();

}  // namespace rdd18
