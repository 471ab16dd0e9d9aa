// parseDataForItems over a memory block that holds an RDD 18 stream itself, with each of the
// three factories. Invariants:
//  - the same bytes give the same items twice;
//  - an item is typed exactly when its flavour's table has its tag, and its translation has the
//    value kind that the payload type demands;
//  - the Sony list is the standard list (Sony byte vectors decode as unregistered items do);
//  - where the Varicam and the standard parse both give items, they are the same items but for
//    the representation of the four Varicam tags;
//  - 16 bytes that don't start a pack key, put in front, are passed over and change nothing;
//  - a stream of at most 255 bytes sent in packets of one stream byte each (where giving up the
//    rest of a packet gives up nothing) gives the same items, or none: a read cut short at the
//    end of the stream moves the position of a memory block, but not of a packet stream.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_support.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/output/item_translator.h"
#include "rdd18/transport/rdd18_stream_reader.h"

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

/// One item as the answer would show it: its tag, whether it is typed, and its value.
struct Seen {
    rdd18::tag tag;
    bool supported;
    Value value;
    friend bool operator==(const Seen&, const Seen&) = default;
};

template <class Table>
struct Flavour {
    ItemFactory factory;

    explicit Flavour(ItemFactory f) : factory(std::move(f)) {
        // The factory and the table are two views of the same rows.
        constexpr auto tags = Table::tags();
        constexpr auto names = Table::names();
        VELMORA_FUZZ_CHECK(factory.builders.size() == Table::size &&
                           factory.tagsToNames.size() == Table::size &&
                           factory.namesToTags.size() == Table::size);
        for (std::size_t i = 0; i < Table::size; ++i)
            VELMORA_FUZZ_CHECK(factory.itemName(tags[i]) == names[i]);
    }

    std::vector<Seen> see(const ItemList& items) const {
        std::vector<Seen> out;
        for (const auto& item : items) {
            const rdd18::tag t = item->tag();
            VELMORA_FUZZ_CHECK(item->isSupported() == TableKinds<Table>::hasTag(t));
            if (!item->isSupported()) {
                out.push_back({t, false, Data(item->payloadAs<ByteVector>())});
                VELMORA_FUZZ_CHECK(DemandedKind<ByteVector>::matches(out.back().value));
                continue;
            }
            Dictionary one;
            ItemTranslator<Table> translator(factory, one);
            VELMORA_FUZZ_CHECK(translator.dispatch(*item, t));
            VELMORA_FUZZ_CHECK(one.size() == 1);
            const auto& [name, value] = *one.begin();
            VELMORA_FUZZ_CHECK(name == factory.itemName(t));
            VELMORA_FUZZ_CHECK(TableKinds<Table>::byName().at(name)(value));
            out.push_back({t, true, value});
        }
        return out;
    }

    std::vector<Seen> parse(const unsigned char* data, std::size_t size) const {
        return see(parseDataForItems(data, size, factory));
    }
};

const Flavour<StandardItemTable>& standard() {
    static const Flavour<StandardItemTable> f(standardItemFactory());
    return f;
}
const Flavour<SonyItemTable>& sony() {
    static const Flavour<SonyItemTable> f(sonyItemFactory());
    return f;
}
const Flavour<VaricamItemTable>& varicam() {
    static const Flavour<VaricamItemTable> f(varicamItemFactory());
    return f;
}

bool isVaricamTag(rdd18::tag t) {
    return TableKinds<VaricamOwnItemTable>::hasTag(t);
}

/// The Sony items as the standard flavour sees them: a Sony item's value is its raw bytes, so
/// only the typed mark goes.
std::vector<Seen> asUnregistered(std::vector<Seen> seen) {
    for (Seen& s : seen) {
        if (s.supported && TableKinds<SonyOwnItemTable>::hasTag(s.tag)) s.supported = false;
    }
    return seen;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const InputCopy input(data, size);
    const std::vector<Seen> items = standard().parse(input.data(), input.size());
    VELMORA_FUZZ_CHECK(standard().parse(input.data(), input.size()) == items);

    VELMORA_FUZZ_CHECK(asUnregistered(sony().parse(input.data(), input.size())) == items);

    const std::vector<Seen> varicamItems = varicam().parse(input.data(), input.size());
    if (!items.empty() && !varicamItems.empty()) {
        VELMORA_FUZZ_CHECK(items.size() == varicamItems.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            VELMORA_FUZZ_CHECK(items[i].tag == varicamItems[i].tag);
            if (!isVaricamTag(items[i].tag)) VELMORA_FUZZ_CHECK(items[i] == varicamItems[i]);
        }
    }

    // 16 bytes of rubbish in front: read as a key, refused, and passed over.
    Bytes prefixed(16, 0);
    std::copy_n(input.data(), std::min<std::size_t>(16, input.size()), prefixed.begin());
    if (prefixed[0] == 0x06 && prefixed[1] == 0x0E && prefixed[2] == 0x2B && prefixed[3] == 0x34)
        prefixed[3] = 0x35;
    prefixed.insert(prefixed.end(), input.data(), input.data() + input.size());
    VELMORA_FUZZ_CHECK(standard().parse(prefixed.data(), prefixed.size()) == items);

    if (input.size() <= 255) {
        Bytes frame;
        for (std::size_t i = 0; i < input.size(); ++i) {
            const unsigned char sequence = static_cast<unsigned char>(i + 1);
            frame.insert(frame.end(), {0x43, 0x05, 0x02, sequence, input.data()[i], 0x00});
        }
        AncillaryDataBufferReader packets(frame.data(), frame.size(),
                                          AncillaryDataBufferWithoutFlags);
        RDD18AncillaryDataStreamReader stream(packets);
        const std::vector<Seen> overPackets =
            standard().see(parseDataForItems(stream, standard().factory));
        VELMORA_FUZZ_CHECK(overPackets == items || overPackets.empty());
    }
    return 0;
}
