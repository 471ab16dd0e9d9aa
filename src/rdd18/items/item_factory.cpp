#include "rdd18/items/item_factory.h"

#include <cstring>

#include "rdd18/diagnostics/parse_observer.h"
#include "rdd18/internal/byte_order.h"

namespace rdd18 {

namespace {

constexpr unsigned long kKeySize = 16;
constexpr unsigned long kLengthFieldSize = 4;
constexpr unsigned long kItemHeaderSize = 2;  // tag bytes, then 2 length bytes

/// Reads `count` bytes or throws ParsingError, telling the observer which field was cut off.
void readExactly(utils::Reader& reader, unsigned char* buffer, unsigned long count,
                 TruncatedField field, ParseObserver* observer) {
    const unsigned long position = reader.position();
    if (reader.read(buffer, count) < count) {
        if (observer) observer->truncated(field, position);
        throw ParsingError();
    }
}

bool startsPack(const unsigned char* key) noexcept {
    return std::memcmp(key, internal::kUniversalLabelHeader, sizeof internal::kUniversalLabelHeader) ==
           0;
}

void parsePacks(RDD18StreamReader& reader, const ItemFactory& factory, ItemList& items,
                ParseObserver* observer) {
    while (!reader.isAtEnd()) {
        unsigned char key[kKeySize];
        readExactly(reader, key, kKeySize, TruncatedField::PackKey, observer);
        if (!startsPack(key)) {
            if (observer) observer->keyRejected(reader.position() - kKeySize, key);
            reader.resynchronize();
            continue;
        }
        unsigned char lengthField[kLengthFieldSize];
        readExactly(reader, lengthField, kLengthFieldSize, TruncatedField::PackLength, observer);
        // Only the end matters: an item may run past it, and what follows it is read as a key.
        const unsigned long end = reader.position() + internal::klvLength(lengthField);
        while (reader.position() < end) items.push_back(factory.build(reader, observer));
    }
}

}  // namespace

std::unique_ptr<Item> ItemFactory::build(RDD18StreamReader& reader,
                                         ParseObserver* observer) const {
    unsigned char tagBytes[kItemHeaderSize];
    unsigned char lengthBytes[kItemHeaderSize];
    readExactly(reader, tagBytes, kItemHeaderSize, TruncatedField::ItemHeader, observer);
    readExactly(reader, lengthBytes, kItemHeaderSize, TruncatedField::ItemHeader, observer);
    const rdd18::tag tag = make_tag(tagBytes[0], tagBytes[1]);
    const unsigned long length = internal::loadBigEndian16(lengthBytes);

    const auto builder = builders.find(tag);
    if (builder == builders.end()) return std::make_unique<UnsupportedItem>(tag, reader, length);

    const unsigned long start = reader.position();
    std::unique_ptr<Item> item;
    try {
        item = builder->second->build(tag, reader, length);
    } catch (const ParsingError&) {
        if (observer) observer->payloadRejected(tag, length, start);
        throw;
    }
    const unsigned long consumed = reader.position() - start;
    if (consumed < length) reader.skip(length - consumed);
    return item;
}

std::string ItemFactory::itemName(const rdd18::tag& tag) const {
    const auto it = tagsToNames.find(tag);
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
