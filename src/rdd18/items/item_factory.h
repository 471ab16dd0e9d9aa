// The registry of one flavour, and the parse of an RDD 18 stream into items.
//
// Stream wire format: packs back to back. A pack is
//   [key, 16 bytes: 06 0E 2B 34 + 12 bytes not examined][length field, 4 bytes: 1 byte not
//   examined,
//    then L as 24-bit big-endian][value, L bytes: items back to back]
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "rdd18/export.h"
#include "rdd18/items/flavour.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/transport/fault.h"

namespace rdd18 {

class ItemFactory;
namespace detail {
struct BuilderTable;
}

/// The items of all packs of the stream, in stream order. All or nothing: a broken stream or a
/// payload its type can't hold gives the empty list, also losing the items that were good. A
/// stream that simply ends behind a complete pack is no failure. Never throws ParsingError.
/// `faults`, when given, hears of every key passed over (`KeyRejected`), of every raw payload
/// given a zero tail (`PayloadZeroFilled`), and of the fault that ended a parse (a cut-off field
/// or a refused payload), followed by `ItemsLost`.
VELMORA_RDD18_EXPORT ItemList parseDataForItems(RDD18StreamReader& reader,
                                                const ItemFactory& factory,
                                                FaultSink* faults = nullptr);

/// Which tags a flavour builds as typed items, and under which names. A parse reads the maps as
/// they are when it runs: a builder replaced, erased or added in `builders` serves the next parse.
/// While no one changes it, one factory can serve parses on several threads at once.
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
    template <class ItemType>
    void registerItem(const std::string& name) {
        builders.try_emplace(ItemType::Tag(), std::make_unique<typename ItemType::Builder>());
        namesToTags.try_emplace(name, ItemType::Tag());
        tagsToNames.try_emplace(ItemType::Tag(), name);
    }

    /// Reads one item at the stream's position and leaves the stream behind its payload (the
    /// unread rest of a known item's payload is skipped). A tag without a builder gives an
    /// `UnsupportedItem`. Throws ParsingError when the tag or length can't be read, or when a known
    /// item's payload can't be decoded. `faults`, when given, hears why before the throw, and of
    /// a raw payload given a zero tail.
    std::unique_ptr<Item> build(RDD18StreamReader& reader, FaultSink* faults = nullptr) const;

    /// The registered name of `tag`, or the empty string.
    std::string itemName(const rdd18::tag& itemTag) const;

  private:
    friend struct ItemWalk;  // the pack loop and the item build, the library's own
    friend const ItemFactory& sharedItemFactory(Flavour);

    // The constant lookup of the table that a shared factory of the library was filled from:
    // such a factory is never changed, so the lookup stays true to `builders`. Any other factory
    // (null here) asks `builders` itself for every item and so sees every change made to it.
    const detail::BuilderTable* table_ = nullptr;
};

/// The same over a memory block that holds the stream itself, without packets. Bytes that don't
/// start a pack key are passed over 16 at a time.
VELMORA_RDD18_EXPORT ItemList parseDataForItems(const unsigned char* data, unsigned long size,
                                                const ItemFactory& factory);

/// The stream of packs that gives `items` back to `parseDataForItems`: the items of tag group
/// 0x80 in a lens pack (key 06 0E 2B 34 02 53 01 01 0C 02 01 01 01 01 00 00), those of group 0x81
/// and the tag 0x32 0x10 in a camera pack (... 02 01 00 00), all others in a user pack
/// (... 7F 01 00 00), in that order. Each pack is its key, the length field (0x83, then the
/// 24-bit big-endian length) and its items in list order: tag, 16-bit big-endian payload length,
/// payload. A pack without items is left out. An item whose payload is longer than 65,535 bytes
/// throws `EncodeError` (`TextTooLong`, with its tag).
VELMORA_RDD18_EXPORT std::vector<unsigned char> streamFromItems(const ItemList& items);

/// The standard table: the 37 lens and camera items.
VELMORA_RDD18_EXPORT ItemFactory standardItemFactory();
/// The standard table and the 16 items of the Sony flavour (53).
VELMORA_RDD18_EXPORT ItemFactory sonyItemFactory();
/// The standard table and the 4 items of the Varicam flavour (41).
VELMORA_RDD18_EXPORT ItemFactory varicamItemFactory();

}  // namespace rdd18
