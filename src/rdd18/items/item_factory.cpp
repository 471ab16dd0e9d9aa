#include "rdd18/items/item_factory.h"

#include <cstring>

#include "rdd18/internal/byte_order.h"
#include "rdd18/internal/klv.h"
#include "rdd18/transport/parse_observer.h"

namespace rdd18 {

namespace {

using internal::kKlvKeySize;
using internal::kKlvLengthFieldSize;
using internal::readOrThrow;
constexpr unsigned long kItemHeaderSize = 2;  // tag bytes, then 2 length bytes

bool startsPack(const unsigned char* key) noexcept {
    return std::memcmp(key, internal::kUniversalLabelHeader,
                       sizeof internal::kUniversalLabelHeader) == 0;
}

void parsePacks(RDD18StreamReader& reader, const ItemFactory& factory, ItemList& items,
                ParseObserver* observer) {
    while (!reader.isAtEnd()) {
        unsigned char key[kKlvKeySize];
        readOrThrow(reader, key, kKlvKeySize, TruncatedField::PackKey, observer);
        if (!startsPack(key)) {
            if (observer) observer->keyRejected(reader.position() - kKlvKeySize, key);
            reader.resynchronize();
            continue;
        }
        unsigned char lengthField[kKlvLengthFieldSize];
        readOrThrow(reader, lengthField, kKlvLengthFieldSize, TruncatedField::PackLength, observer);
        // Only the end matters: an item may run past it, and what follows it is read as a key.
        const unsigned long end = reader.position() + internal::klvLength(lengthField);
        while (reader.position() < end) items.push_back(factory.build(reader, observer));
    }
}

}  // namespace

std::unique_ptr<Item> ItemFactory::build(RDD18StreamReader& reader, ParseObserver* observer) const {
    unsigned char tagBytes[kItemHeaderSize];
    unsigned char lengthBytes[kItemHeaderSize];
    readOrThrow(reader, tagBytes, kItemHeaderSize, TruncatedField::ItemHeader, observer);
    readOrThrow(reader, lengthBytes, kItemHeaderSize, TruncatedField::ItemHeader, observer);
    const rdd18::tag itemTag = make_tag(tagBytes[0], tagBytes[1]);
    const unsigned long length = internal::loadBigEndian16(lengthBytes);

    const unsigned long start = reader.position();
    const auto builder = builders.find(itemTag);
    std::unique_ptr<Item> item;
    if (builder == builders.end()) {
        item = std::make_unique<UnsupportedItem>(itemTag, reader, length);
    } else {
        try {
            item = builder->second->build(itemTag, reader, length);
        } catch (const ParsingError&) {
            if (observer) {
                observer->payloadRejected(itemTag, length, start,
                                          builder->second->whyRejected(length));
            }
            throw;
        }
    }
    const unsigned long consumed = reader.position() - start;
    if (consumed < length && reader.skip(length - consumed) < length - consumed && observer &&
        (builder == builders.end() || builder->second->zeroFillsShortPayload())) {
        // A read that comes up short leaves the position: the raw payload kept its zero tail.
        observer->payloadZeroFilled(itemTag, length, start);
    }
    return item;
}

std::string ItemFactory::itemName(const rdd18::tag& itemTag) const {
    const auto it = tagsToNames.find(itemTag);
    return it == tagsToNames.end() ? std::string() : it->second;
}

ItemList parseDataForItems(RDD18StreamReader& reader, const ItemFactory& factory,
                           ParseObserver* observer) {
    ItemList items;
    try {
        parsePacks(reader, factory, items, observer);
    } catch (const ParsingError&) {
        return ItemList();
    }
    return items;
}

ItemList parseDataForItems(const unsigned char* data, unsigned long size,
                           const ItemFactory& factory) {
    RDD18BufferReader reader(data, size);
    return parseDataForItems(reader, factory);
}

}  // namespace rdd18
