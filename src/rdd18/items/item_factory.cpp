#include "rdd18/items/item_factory.h"

#include <algorithm>
#include <cstring>

#include "rdd18/internal/byte_order.h"
#include "rdd18/internal/klv.h"
#include "rdd18/transport/parse_observer.h"

namespace rdd18 {

namespace {

using internal::kKlvKeySize;
using internal::kKlvLengthFieldSize;
using internal::readOrThrow;
constexpr unsigned long kItemTagSize = 2;     // tag bytes
constexpr unsigned long kItemHeaderSize = 4;  // tag bytes, then 2 length bytes
constexpr std::size_t kReservedItems = 128;   // the most item slots a pack reserves at once (1 KiB)

/// The builder of `itemTag` in `builders`, or null. Out of line: the tables serve every parse.
[[gnu::noinline]] const ItemBuilder* builderInMap(
    const std::map<rdd18::tag, std::unique_ptr<ItemBuilder>>& builders, rdd18::tag itemTag) {
    const auto it = builders.find(itemTag);
    return it == builders.end() ? nullptr : it->second.get();
}

bool startsPack(const unsigned char* key) noexcept {
    return std::memcmp(key, internal::kUniversalLabelHeader,
                       sizeof internal::kUniversalLabelHeader) == 0;
}

}  // namespace

template <class Reader>
void ItemFactory::parsePacks(Reader& reader, ItemList& items, ParseObserver* observer) const {
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
        const unsigned long length = internal::klvLength(lengthField);
        const unsigned long end = reader.position() + length;
        // Room for the items of a pack of the usual sizes (8 bytes or more each), within a bound
        // that keeps the list among the allocator's small blocks, which it reuses at once: a
        // pack of smaller items, or a long pack, grows the list as it goes.
        const std::size_t most = std::min<unsigned long>(length / 8, kReservedItems);
        if (items.capacity() - items.size() < most)
            items.reserve(std::max(items.size() + most, 2 * items.capacity()));
        while (reader.position() < end) items.push_back(buildFrom(reader, observer));
    }
}

std::unique_ptr<Item> ItemFactory::build(RDD18StreamReader& reader, ParseObserver* observer) const {
    return buildFrom(reader, observer);
}

template <class Reader>
std::unique_ptr<Item> ItemFactory::buildFrom(Reader& reader, ParseObserver* observer) const {
    // Tag and length in one read. The stream ends inside the tag or inside the length: the
    // truncated field starts where that part does.
    unsigned char header[kItemHeaderSize];
    const unsigned long headerStart = reader.position();
    const unsigned long got = reader.read(header, kItemHeaderSize);
    if (got < kItemHeaderSize) {
        if (observer) {
            observer->truncated(TruncatedField::ItemHeader,
                                got < kItemTagSize ? headerStart : headerStart + kItemTagSize);
        }
        throw ParsingError();
    }
    const rdd18::tag itemTag = make_tag(header[0], header[1]);
    const unsigned long length = internal::loadBigEndian16(header + kItemTagSize);

    const unsigned long start = headerStart + kItemHeaderSize;
    const ItemBuilder* const builder = findBuilder(itemTag);
    std::unique_ptr<Item> item;
    if (builder == nullptr) {
        item = std::make_unique<UnsupportedItem>(itemTag, reader, length);
    } else {
        try {
            item = builder->build(itemTag, reader, length);
        } catch (const ParsingError&) {
            if (observer)
                observer->payloadRejected(itemTag, length, start, builder->whyRejected(length));
            throw;
        }
    }
    const unsigned long consumed = reader.position() - start;
    if (consumed < length && reader.skip(length - consumed) < length - consumed && observer &&
        (builder == nullptr || builder->zeroFillsShortPayload())) {
        // A read that comes up short leaves the position: the raw payload kept its zero tail.
        observer->payloadZeroFilled(itemTag, length, start);
    }
    return item;
}

void ItemFactory::indexBuilder(rdd18::tag itemTag, const ItemBuilder* builder) {
    constexpr std::size_t kMost = 255;  // places and groups are bytes
    if (indexBuilders_.size() >= kMost) {
        indexBuilders_.push_back(builder);  // too many for the tables: only the map will serve
        return;
    }
    std::uint8_t& group = groupOfFirstByte_[itemTag.first];
    if (group == 0) {
        builderBySecondByte_.emplace_back();
        group = static_cast<std::uint8_t>(builderBySecondByte_.size());
    }
    indexBuilders_.push_back(builder);
    builderBySecondByte_[group - 1u][itemTag.second] =
        static_cast<std::uint8_t>(indexBuilders_.size());
}

const ItemBuilder* ItemFactory::findBuilder(rdd18::tag itemTag) const noexcept {
    // The map changed directly, or more builders than the tables hold: ask the map.
    if (indexBuilders_.size() != builders.size() || indexBuilders_.size() > 255) {
        return builderInMap(builders, itemTag);
    }
    const std::uint8_t group = groupOfFirstByte_[itemTag.first];
    if (group == 0) return nullptr;
    const std::uint8_t place = builderBySecondByte_[group - 1u][itemTag.second];
    return place == 0 ? nullptr : indexBuilders_[place - 1u];
}

std::string ItemFactory::itemName(const rdd18::tag& itemTag) const {
    const auto it = tagsToNames.find(itemTag);
    return it == tagsToNames.end() ? std::string() : it->second;
}

ItemList parseDataForItems(RDD18StreamReader& reader, const ItemFactory& factory,
                           ParseObserver* observer) {
    ItemList items;
    try {
        // The facade's packet stream is read through its own class, without dispatch.
        if (auto* packets = dynamic_cast<RDD18AncillaryDataStreamReader*>(&reader)) {
            factory.parsePacks(*packets, items, observer);
        } else {
            factory.parsePacks(reader, items, observer);
        }
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
