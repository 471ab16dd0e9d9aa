#include "rdd18/items/item_factory.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "rdd18/internal/byte_order.h"
#include "rdd18/items/internal_item_arena.h"
#include "rdd18/items/internal_item_table.h"
#include "rdd18/transport/encode_error.h"
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

namespace {

/// The pack sets, in stream order, and the byte of each key that tells them apart.
enum PackSet : std::size_t { kLensPack, kCameraPack, kUserPack, kPackSets };
constexpr unsigned char kPackSetByte[kPackSets] = {0x01, 0x02, 0x7F};
constexpr std::size_t kPackSetByteIndex = 12;
constexpr unsigned char kPackKey[kKlvKeySize] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01,
                                                 0x0C, 0x02, 0x01, 0x01, 0x00, 0x01, 0x00, 0x00};
constexpr unsigned long kMaxPayload = 0xFFFF;  // the item's 16-bit length field

PackSet packSetOf(rdd18::tag t) noexcept {
    if (t.first == 0x80) return kLensPack;
    if (t.first == 0x81 || t == make_tag(0x32, 0x10)) return kCameraPack;
    return kUserPack;
}

}  // namespace

std::vector<unsigned char> streamFromItems(const ItemList& items) {
    std::array<std::size_t, kPackSets> sizes{};
    for (const auto& item : items) {
        const std::size_t size = item->payloadSize();
        if (size > kMaxPayload) {
            Fault fault{.code = FaultCode::TextTooLong, .expected = kMaxPayload, .found = size};
            fault.tag[0] = item->tag().first;
            fault.tag[1] = item->tag().second;
            throw EncodeError(fault, "",
                              "a payload of " + std::to_string(size) +
                                  " bytes, more than an item's length field holds (65535)");
        }
        sizes[packSetOf(item->tag())] += kItemHeaderSize + size;
    }
    constexpr std::size_t kMaxPack = 0xFFFFFF;  // the pack's 24-bit length
    for (const std::size_t size : sizes) {
        if (size > kMaxPack) {
            throw EncodeError(
                Fault{.code = FaultCode::StreamTooLarge, .expected = kMaxPack, .found = size}, "",
                "a pack of " + std::to_string(size) + " bytes, more than its length field holds");
        }
    }
    std::vector<unsigned char> stream;
    for (std::size_t set = 0; set < kPackSets; ++set) {
        if (sizes[set] == 0) continue;
        stream.insert(stream.end(), std::begin(kPackKey), std::end(kPackKey));
        stream[stream.size() - kKlvKeySize + kPackSetByteIndex] = kPackSetByte[set];
        const auto length = static_cast<std::uint32_t>(sizes[set]);
        stream.insert(
            stream.end(),
            {internal::kKlvLengthMarker, static_cast<unsigned char>(length >> 16),
             static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length)});
        for (const auto& item : items) {
            if (packSetOf(item->tag()) != set) continue;
            const auto size = static_cast<std::uint16_t>(item->payloadSize());
            stream.insert(stream.end(), {item->tag().first, item->tag().second,
                                         static_cast<unsigned char>(size >> 8),
                                         static_cast<unsigned char>(size)});
            item->appendPayload(stream);
        }
    }
    return stream;
}

}  // namespace rdd18
