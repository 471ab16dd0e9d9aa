// parseDataForItems with each of the three factories, over a memory block that holds an RDD 18
// stream itself, and over the same stream sent in packets of one stream byte each (up to 255
// bytes, where a key that isn't one gives up nothing but itself). Invariant: the item list is the
// model's (fuzz/model/rdd18_model.h): the same tags in order, typed exactly where the flavour's
// table has the tag, each translated to the model's name and value, raw bytes otherwise.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "model/rdd18_model.h"
#include "mutator.h"
#include "rdd18/items/internal_sony_items.h"
#include "rdd18/items/internal_standard_items.h"
#include "rdd18/items/internal_varicam_items.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/output/internal_item_translator.h"
#include "rdd18/transport/rdd18_stream_reader.h"

using namespace rdd18;
using namespace rdd18::fuzz;

namespace {

/// One item as the answer shows it: its tag, its name (empty when untyped) and its value.
struct Seen {
    unsigned char first, second;
    std::string name;
    Value value;
    friend bool operator==(const Seen&, const Seen&) = default;
};

template <class Table>
std::vector<Seen> see(const ItemList& items, const ItemFactory& factory) {
    std::vector<Seen> out;
    for (const auto& item : items) {
        const rdd18::tag t = item->tag();
        if (!item->isSupported()) {
            out.push_back({t.first, t.second, "", Data(item->payloadAs<ByteVector>())});
            continue;
        }
        Dictionary one;
        ItemTranslator<Table> translator(factory, one);
        VELMORA_FUZZ_CHECK(translator.dispatch(*item, t) && one.size() == 1);
        out.push_back({t.first, t.second, one.begin()->first, one.begin()->second});
    }
    return out;
}

std::vector<Seen> expected(const model::Stream& stream, int flavour, bool packetStream) {
    std::vector<Seen> out;
    const auto list = model::items(stream, flavour, packetStream);
    if (!list) return out;
    for (const model::ModelItem& item : *list)
        out.push_back({item.first, item.second, item.row ? item.row->name : "", item.value});
    return out;
}

template <class Table>
void check(const InputCopy& input, int flavour, const ItemFactory& factory) {
    const model::Stream block{{input.data(), input.data() + input.size()}, {}};
    VELMORA_FUZZ_CHECK(see<Table>(parseDataForItems(input.data(), input.size(), factory),
                                  factory) == expected(block, flavour, false));
    if (input.size() > 255) return;
    Bytes frame;
    model::Stream stream{block.bytes, {}};
    for (std::size_t i = 0; i < input.size(); ++i) {
        frame.insert(frame.end(),
                     {0x43, 0x05, 0x02, static_cast<unsigned char>(i + 1), input.data()[i], 0x00});
        stream.packetEnds.push_back(i + 1);
    }
    AncillaryDataBufferReader packets(frame.data(), frame.size(), AncillaryDataBufferWithoutFlags);
    RDD18AncillaryDataStreamReader reader(packets);
    VELMORA_FUZZ_CHECK(see<Table>(parseDataForItems(reader, factory), factory) ==
                       expected(stream, flavour, true));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ItemFactory standard = standardItemFactory();
    static const ItemFactory varicam = varicamItemFactory();
    static const ItemFactory sony = sonyItemFactory();
    const InputCopy input(data, size);
    check<StandardItemTable>(input, 0, standard);
    check<VaricamItemTable>(input, 1, varicam);
    check<SonyItemTable>(input, 2, sony);
    return 0;
}

VELMORA_FUZZ_STREAM_MUTATOR()
