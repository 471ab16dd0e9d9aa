#include "rdd18/output/rdd18_encoder.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "rdd18/items/internal_flavour_table.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/output/internal_item_translator.h"
#include "rdd18/transport/encode_error.h"
#include "rdd18/transport/rdd18_stream_reader.h"

namespace rdd18 {

namespace {

std::optional<unsigned> hexDigit(char c) noexcept {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
    return std::nullopt;  // the parser writes lower-case digits only
}

/// The tag of a key "Unknown_0x%02x_0x%02x" exactly as the parser writes it, or nothing.
std::optional<rdd18::tag> unknownItemTag(std::string_view key) noexcept {
    constexpr std::string_view kShape = "Unknown_0x.._0x..";
    if (key.size() != kShape.size() || !key.starts_with("Unknown_0x") ||
        key.substr(12, 3) != "_0x") {
        return std::nullopt;
    }
    const auto a = hexDigit(key[10]), b = hexDigit(key[11]), c = hexDigit(key[15]),
               d = hexDigit(key[16]);
    if (!a || !b || !c || !d) return std::nullopt;
    return make_tag(static_cast<unsigned char>(*a << 4 | *b),
                    static_cast<unsigned char>(*c << 4 | *d));
}

/// The flavour whose table names `key`, for the text of a refusal.
std::optional<Flavour> flavourNaming(std::string_view key) {
    for (const Flavour f : {Flavour::Standard, Flavour::Sony, Flavour::Varicam}) {
        if (withFlavour(f, [key](auto table) {
                return decltype(table)::rowOfName(key) < decltype(table)::size;
            })) {
            return f;
        }
    }
    return std::nullopt;
}

template <class Table>
ItemList itemsOf(const Dictionary& answer, Flavour flavour, bool roundDecimalFloats) {
    std::vector<std::pair<std::uint32_t, std::unique_ptr<Item>>> ranked;  // table row, or tag
    ranked.reserve(answer.size());
    for (const auto& [key, value] : answer) {
        const std::size_t row = Table::rowOfName(key);
        if (row < Table::size) {
            const AnswerValueReader reader{key, Table::tags()[row], roundDecimalFloats};
            ranked.emplace_back(static_cast<std::uint32_t>(row),
                                ItemEncoder<Table>::itemOfRow(row, value, reader));
            continue;
        }
        const AnswerValueReader reader{key, {0, 0}, roundDecimalFloats};
        const std::optional<rdd18::tag> tag = unknownItemTag(key);
        if (!tag) {
            const std::optional<Flavour> other = flavourNaming(key);
            reader.refuse(FaultCode::UnknownKey,
                          other ? "a key of the " + std::string(flavourName(*other)) +
                                      " items, not of the " + std::string(flavourName(flavour))
                                : "no item of the " + std::string(flavourName(flavour)) +
                                      " flavour has this key");
        }
        const AnswerValueReader tagged{key, *tag, roundDecimalFloats};
        if (Table::hasTag(*tag)) {
            tagged.refuse(
                FaultCode::UnknownKey,
                "the tag is a known item of the " + std::string(flavourName(flavour)) + " flavour");
        }
        ByteVector bytes;
        tagged.read(value, bytes);
        const std::uint32_t rank = Table::size + ((std::uint32_t{tag->first} << 8) | tag->second);
        ranked.emplace_back(rank, std::make_unique<UnsupportedItem>(*tag, std::move(bytes)));
    }
    std::sort(ranked.begin(), ranked.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    ItemList items;
    items.reserve(ranked.size());
    for (auto& [rank, item] : ranked) items.push_back(std::move(item));
    return items;
}

}  // namespace

ItemList itemsFromAnswer(const Dictionary& answer, Flavour flavour, bool roundDecimalFloats) {
    return withFlavour(flavour, [&](auto table) {
        return itemsOf<decltype(table)>(answer, flavour, roundDecimalFloats);
    });
}

std::vector<unsigned char> encodeRDD18(const Dictionary& answer, Flavour flavour,
                                       const RDD18EncodeOptions& options) {
    const std::vector<unsigned char> stream =
        streamFromItems(itemsFromAnswer(answer, flavour, options.roundDecimalFloats));
    std::vector<unsigned char> buffer;
    appendRDD18Packets(
        stream, buffer,
        options.flags ? AncillaryDataBufferWithFlags : AncillaryDataBufferWithoutFlags);
    return buffer;
}

}  // namespace rdd18
