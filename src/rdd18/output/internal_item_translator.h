// Translation of typed items into the answer dictionary. Each flavour has a compile-time list of
// item classes (its table); an item is written either by its row of the table (the facade, which
// knows the row from the item's key rank) or by a walk of the list head first. The value written
// depends on the payload type alone, never on the tag.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "rdd18/items/internal_item_table.h"
#include "rdd18/items/internal_varicam_items.h"
#include "rdd18/items/item_factory.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/platform/internal_key_order_writer.h"
#include "rdd18/platform/value.h"
#include "rdd18/transport/fault.h"

namespace rdd18 {

/// Value of each payload type, the same in every flavour:
///   Uint16, unsigned char  -> integer number        Int16    -> short number
///   Uint32                 -> unsigned int number   Boolean  -> bool number
///   HalfFloatLensSerial    -> double number         string   -> string (8-bit text, see below)
///   Label    -> {"value0", "value1"} of unsigned char numbers
///   Rational -> {"den", "num"} of unsigned int numbers
///   vector of Rational -> array of such dictionaries; vector of HalfFloat -> array of doubles
///   byte vector -> data;  VaricamExtendedMetadata -> dictionary of five entries
/// String payloads are 8-bit text: bytes 0x80-0xFF are taken as ISO 8859-1. The overloads of an
/// rvalue string or byte vector take its buffer over where the value needs no conversion.
Value answerValue(const Uint16& v);
Value answerValue(const unsigned char& v);
Value answerValue(const Int16& v);
Value answerValue(const Uint32& v);
Value answerValue(const Boolean& v);
Value answerValue(const HalfFloatLensSerial& v);
Value answerValue(const std::string& v);
Value answerValue(std::string&& v);
Value answerValue(const Label& v);
Value answerValue(const Rational& v);
Value answerValue(const std::vector<Rational>& v);
Value answerValue(const std::vector<HalfFloat>& v);
Value answerValue(const ByteVector& v);
Value answerValue(ByteVector&& v);
Value answerValue(const VaricamExtendedMetadata& v);

/// The inverse of `answerValue`: reads a value of an answer back into the payload that gives it,
/// for the writer. Each `read` takes the kinds `answerValue` gives and, for the integer payloads,
/// any integer kind whose value the payload holds; anything else throws `EncodeError` naming
/// the value's key path (`path()`, with the item's `tag`). A reader borrows its key, and the
/// reader of a nested value its parent: both outlive the read (the calls of one expression).
struct AnswerValueReader {
    std::string_view key;  ///< the answer's key, or the field under `parent`
    rdd18::tag tag;
    bool roundDecimalFloats = false;
    const AnswerValueReader* parent = nullptr;

    void read(const Value& v, Uint16& out) const;
    void read(const Value& v, unsigned char& out) const;
    void read(const Value& v, Int16& out) const;
    void read(const Value& v, Uint32& out) const;
    void read(const Value& v, Boolean& out) const;
    /// Exactly, or to the nearer of the two nearest values with `roundDecimalFloats`.
    void read(const Value& v, HalfFloatLensSerial& out) const;
    void read(const Value& v, HalfFloat& out) const;
    /// UTF-8 text to the 8-bit text of the wire (code points up to U+00FF, no NUL).
    void read(const Value& v, std::string& out) const;
    void read(const Value& v, Label& out) const;
    void read(const Value& v, Rational& out) const;
    void read(const Value& v, std::vector<Rational>& out) const;
    void read(const Value& v, std::vector<HalfFloat>& out) const;
    void read(const Value& v, ByteVector& out) const;
    void read(const Value& v, VaricamExtendedMetadata& out) const;

    /// The reader of the value under `field` (a dictionary's key, or "[i]" of an array).
    AnswerValueReader at(std::string_view field) const;
    /// "Key", "Key.field", "Key[2].den": the answer's key and the fields down to this value.
    std::string path() const;
    /// Throws the refusal `code` of this key, saying `why`.
    [[noreturn]] void refuse(FaultCode code, const std::string& why, std::uint64_t expected = 0,
                             std::uint64_t found = 0) const;
};

/// Writes entries of typed items under the names of a factory.
class ItemTranslatorBase {
  public:
    ItemTranslatorBase(const ItemFactory& factory, Dictionary& result) noexcept
        : factory_(factory), result_(result) {}

    /// Writes the value of `v` under the factory's name of `itemTag` (the empty key for a tag the
    /// factory doesn't name).
    template <class T>
    void translate(rdd18::tag itemTag, const T& v) {
        write(itemTag, answerValue(v));
    }

  protected:
    Dictionary& result() noexcept { return result_; }

  private:
    void write(rdd18::tag itemTag, Value value);

    const ItemFactory& factory_;
    Dictionary& result_;
};

template <class Table>
class ItemTranslator;

/// The translator of one flavour, over the rows of its item table.
template <class... Rows>
class ItemTranslator<ItemTable<Rows...>> : public ItemTranslatorBase {
  public:
    using ItemTranslatorBase::ItemTranslatorBase;

    /// Writes the entry of `item` if a link of the list takes its tag; false if none does (then
    /// nothing is written).
    bool dispatch(const Item& item, rdd18::tag itemTag) {
        return dispatchFrom<Rows...>(item, itemTag);
    }

    /// Writes the entry of `item` under the name of the table's row `row`, taking its payload
    /// over. The item must be the row's item class, as every item of a row's tag is that the
    /// table's own factory builds (the flavour's shared factory).
    void translateRow(std::size_t row, Item& item) { kRowSetters[row](result(), item); }

    /// The same for an entry whose key sorts after every key of the answer: appended at once.
    void appendRow(std::size_t row, Item& item) { kRowAppenders[row](result(), item); }

  private:
    static_assert(ItemTable<Rows...>::namesAreAscii(), "a key is its name without conversion");

    using RowWriter = void (*)(Dictionary&, Item&);

    template <class Row, bool InKeyOrder>
    static void writeRow(Dictionary& result, Item& item) {
        auto& payload = static_cast<typename Row::ItemType&>(item).value();
        if constexpr (InKeyOrder) {
            KeyOrderWriter(result).append(std::string(Row::name()),
                                          answerValue(std::move(payload)));
        } else {
            result.set(std::string(Row::name()), answerValue(std::move(payload)));
        }
    }

    static constexpr std::array<RowWriter, sizeof...(Rows)> kRowSetters = {
        &writeRow<Rows, false>...};
    static constexpr std::array<RowWriter, sizeof...(Rows)> kRowAppenders = {
        &writeRow<Rows, true>...};

    template <class Head, class... Rest>
    bool dispatchFrom(const Item& item, rdd18::tag itemTag) {
        if (link<typename Head::ItemType>(item, itemTag)) return true;
        if constexpr (sizeof...(Rest) > 0) {
            return dispatchFrom<Rest...>(item, itemTag);
        } else {
            return false;
        }
    }

    template <class ItemType>
    bool link(const Item& item, rdd18::tag itemTag) {
        if (itemTag.first != ItemType::Tag().first || itemTag.second != ItemType::Tag().second)
            return false;
        translate(ItemType::Tag(), item.template payloadAs<typename ItemType::PayloadType>());
        return true;
    }
};

template <class Table>
class ItemEncoder;

/// The writer's side of a flavour's table: the item of a row from its value in an answer.
template <class... Rows>
class ItemEncoder<ItemTable<Rows...>> {
  public:
    /// The item of row `row` whose payload gives `value`; throws `EncodeError` as `reader` reads.
    static std::unique_ptr<Item> itemOfRow(std::size_t row, const Value& value,
                                           const AnswerValueReader& reader) {
        return kRowMakers[row](value, reader);
    }

  private:
    using RowMaker = std::unique_ptr<Item> (*)(const Value&, const AnswerValueReader&);

    template <class Row>
    static std::unique_ptr<Item> makeRow(const Value& value, const AnswerValueReader& reader) {
        typename Row::ItemType::PayloadType payload{};
        reader.read(value, payload);
        return std::make_unique<typename Row::ItemType>(std::move(payload));
    }

    static constexpr std::array<RowMaker, sizeof...(Rows)> kRowMakers = {&makeRow<Rows>...};
};

}  // namespace rdd18
