#include "rdd18/output/VLRDD18Parser.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "rdd18/items/sony_items.h"
#include "rdd18/items/standard_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/output/item_translator.h"

namespace {

using namespace rdd18;

std::string unknownItemKey(rdd18::tag tag) {
    char key[32];
    std::snprintf(key, sizeof key, "Unknown_0x%02x_0x%02x", tag.first, tag.second);
    return key;
}

/// The parse closure of a flavour: items of the stream, each written into the answer.
template <class Table>
std::function<Dictionary(RDD18StreamReader&)> makeBuilder(const ItemFactory* factory) {
    return [factory](RDD18StreamReader& reader) -> Dictionary {
        try {
            const ItemList items = parseDataForItems(reader, *factory);
            Dictionary result;
            // One entry per item in a frame without repeats; never more than the flavour has
            // names for when a frame repeats its items, so a long frame holds no idle room.
            result.reserve(std::min(items.size(), factory->tagsToNames.size()));
            ItemTranslator<Table> translator(*factory, result);
            for (const auto& item : items) {
                const rdd18::tag tag = item->tag();
                if (item->isSupported()) {
                    translator.dispatch(*item, tag);
                } else {
                    result.set(unknownItemKey(tag), Data(item->payloadAs<ByteVector>()));
                }
            }
            return result;
        } catch (const AncillaryDataBuildingError&) {
            return Dictionary();
        }
    };
}

}  // namespace

VLRDD18Parser::VLRDD18Parser(std::int32_t type) {
    switch (type) {
        case 1:
            _factory = varicamItemFactory();
            _builder = makeBuilder<VaricamItemTable>(&_factory);
            break;
        case 2:
            _factory = sonyItemFactory();
            _builder = makeBuilder<SonyItemTable>(&_factory);
            break;
        default:
            _factory = standardItemFactory();
            _builder = makeBuilder<StandardItemTable>(&_factory);
            break;
    }
}

rdd18::Dictionary VLRDD18Parser::parseData(std::span<const unsigned char> bytes) const {
    return parseData(bytes, true);
}

rdd18::Dictionary VLRDD18Parser::parseData(std::span<const unsigned char> bytes, bool flags) const {
    AncillaryDataBufferReader packets(bytes.data(), bytes.size(),
                                      flags ? AncillaryDataBufferWithFlags
                                            : AncillaryDataBufferWithoutFlags);
    RDD18AncillaryDataStreamReader stream(packets);
    return _builder(stream);
}
