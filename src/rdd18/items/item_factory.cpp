#include "rdd18/items/item_factory.h"

#include <algorithm>
#include <cstring>

#include "rdd18/internal/byte_order.h"
#include "rdd18/items/internal_item_arena.h"
#include "rdd18/items/internal_item_table.h"
#include "rdd18/transport/internal_klv.h"

namespace rdd18 {

namespace {

using internal::kKlvKeySize;
using internal::kKlvLengthFieldSize;
using internal::readOrThrow;
constexpr unsigned long kItemTagSize = 2;     // tag bytes
constexpr unsigned long kItemHeaderSize = 4;  // tag bytes, then 2 length bytes
constexpr std::size_t kReservedItems = 128;   // the most item slots a pack reserves at once (1 KiB)

/// The builder of `itemTag` in `builders`, or null. Out of line: the shared factories' lookup
/// serves every parse of the facade.
VELMORA_RDD18_NOINLINE const ItemBuilder* builderInMap(
    const std::map<rdd18::tag, std::unique_ptr<ItemBuilder>>& builders, rdd18::tag itemTag) {
    const auto it = builders.find(itemTag);
    return it == builders.end() ? nullptr : it->second.get();
}

bool startsPack(const unsigned char* key) noexcept {
    return std::memcmp(key, internal::kUniversalLabelHeader,
                       sizeof internal::kUniversalLabelHeader) == 0;
}

/// Reports `fault` (its code, `expected` and `found`) of the item `itemTag` whose payload starts
/// at stream position `start`.
void reportItemFault(FaultSink& faults, Fault fault, rdd18::tag itemTag, unsigned long start) {
    fault.unit = FaultUnit::StreamPosition;
    fault.offset = start;
    fault.tag[0] = itemTag.first;
    fault.tag[1] = itemTag.second;
    faults.report(fault);
}

}  // namespace

/// The pack loop and the item build of a factory. Both over the stream class itself: over a final
/// class, the stream calls of every item need no dispatch. With an arena, the items are made in
/// it.
struct ItemWalk {
    template <class Reader>
    static void parsePacks(const ItemFactory& factory, Reader& reader, ItemList& items,
                           ItemArena& arena, FaultSink* faults);
    template <class Reader>
    static std::unique_ptr<Item> buildFrom(const ItemFactory& factory, Reader& reader,
                                           FaultSink* faults, ItemArena* arena);

    static const ItemBuilder* findBuilder(const ItemFactory& factory, rdd18::tag itemTag) noexcept {
        return factory.table_ ? factory.table_->find(itemTag)
                              : builderInMap(factory.builders, itemTag);
    }
};

template <class Reader>
void ItemWalk::parsePacks(const ItemFactory& factory, Reader& reader, ItemList& items,
                          ItemArena& arena, FaultSink* faults) {
    while (!reader.isAtEnd()) {
        unsigned char key[kKlvKeySize];
        readOrThrow(reader, key, kKlvKeySize, FaultCode::PackKeyCutOff, faults);
        if (!startsPack(key)) {
            if (faults) {
                faults->report({.code = FaultCode::KeyRejected,
                                .unit = FaultUnit::StreamPosition,
                                .offset = reader.position() - kKlvKeySize,
                                .found = internal::loadBigEndian32(key)});
            }
            reader.resynchronize();
            continue;
        }
        unsigned char lengthField[kKlvLengthFieldSize];
        readOrThrow(reader, lengthField, kKlvLengthFieldSize, FaultCode::PackLengthCutOff, faults);
        // Only the end matters: an item may run past it, and what follows it is read as a key.
        const unsigned long length = internal::klvLength(lengthField);
        const unsigned long end = reader.position() + length;
        // Room for the items of a pack of the usual sizes (8 bytes or more each), within a bound
        // that keeps the list among the allocator's small blocks, which it reuses at once: a
        // pack of smaller items, or a long pack, grows the list as it goes.
        const std::size_t most = std::min<unsigned long>(length / 8, kReservedItems);
        if (items.capacity() - items.size() < most)
            items.reserve(std::max(items.size() + most, 2 * items.capacity()));
        while (reader.position() < end) items.push_back(buildFrom(factory, reader, faults, &arena));
    }
}

template <class Reader>
std::unique_ptr<Item> ItemWalk::buildFrom(const ItemFactory& factory, Reader& reader,
                                          FaultSink* faults, ItemArena* arena) {
    // Tag and length in one read. The stream ends inside the tag or inside the length: the
    // cut-off field starts where that part does.
    unsigned char header[kItemHeaderSize];
    const unsigned long headerStart = reader.position();
    const unsigned long got = reader.read(header, kItemHeaderSize);
    if (got < kItemHeaderSize) {
        if (faults) {
            Fault fault{.code = FaultCode::ItemHeaderCutOff,
                        .unit = FaultUnit::StreamPosition,
                        .offset = headerStart};
            if (got >= kItemTagSize) {
                fault.offset += kItemTagSize;
                std::memcpy(fault.tag, header, kItemTagSize);
            }
            faults->report(fault);
        }
        throw ParsingError();
    }
    const rdd18::tag itemTag = make_tag(header[0], header[1]);
    const unsigned long length = internal::loadBigEndian16(header + kItemTagSize);

    const unsigned long start = headerStart + kItemHeaderSize;
    const ItemBuilder* const builder = findBuilder(factory, itemTag);
    std::unique_ptr<Item> item;
    if (builder == nullptr) {
        item.reset(arena ? new (*arena) UnsupportedItem(itemTag, reader, length)
                         : new UnsupportedItem(itemTag, reader, length));
    } else {
        try {
            item = arena ? builder->buildIn(*arena, itemTag, reader, length)
                         : builder->build(itemTag, reader, length);
        } catch (const ParsingError&) {
            if (faults) reportItemFault(*faults, builder->refusal(length), itemTag, start);
            throw;
        }
    }
    const unsigned long consumed = reader.position() - start;
    if (consumed < length && reader.skip(length - consumed) < length - consumed && faults &&
        (builder == nullptr || builder->zeroFillsShortPayload())) {
        // A read that comes up short leaves the position: the raw payload kept its zero tail.
        reportItemFault(*faults, {.code = FaultCode::PayloadZeroFilled, .expected = length},
                        itemTag, start);
    }
    return item;
}

std::unique_ptr<Item> ItemFactory::build(RDD18StreamReader& reader, FaultSink* faults) const {
    return ItemWalk::buildFrom(*this, reader, faults, nullptr);
}

std::string ItemFactory::itemName(const rdd18::tag& itemTag) const {
    const auto it = tagsToNames.find(itemTag);
    return it == tagsToNames.end() ? std::string() : it->second;
}

ItemList parseDataForItems(RDD18StreamReader& reader, const ItemFactory& factory,
                           FaultSink* faults) {
    ItemList items;
    ItemArena arena;
    try {
        // The facade's packet stream is read through its own class, without dispatch.
        if (auto* packets = dynamic_cast<RDD18AncillaryDataStreamReader*>(&reader)) {
            ItemWalk::parsePacks(factory, *packets, items, arena, faults);
        } else {
            ItemWalk::parsePacks(factory, reader, items, arena, faults);
        }
    } catch (const ParsingError&) {
        if (faults) faults->report({.code = FaultCode::ItemsLost});
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
