// Translation of typed items into the answer dictionary. Each flavour has a compile-time list of
// item classes (its table); dispatch walks the list head first, with no run-time table. The value
// written depends on the payload type alone, never on the tag.
#pragma once

#include <string>
#include <vector>

#include "rdd18/items/item_factory.h"
#include "rdd18/items/item_table.h"
#include "rdd18/items/rdd18_items.h"
#include "rdd18/items/varicam_items.h"
#include "rdd18/platform/value.h"

namespace rdd18 {

/// Value of each payload type, the same in every flavour:
///   Uint16, unsigned char  -> integer number        Int16    -> short number
///   Uint32                 -> unsigned int number   Boolean  -> bool number
///   HalfFloatLensSerial    -> double number         string   -> string (8-bit text, see below)
///   Label    -> {"value0", "value1"} of unsigned char numbers
///   Rational -> {"den", "num"} of unsigned int numbers
///   vector of Rational -> array of such dictionaries; vector of HalfFloat -> array of doubles
///   byte vector -> data;  VaricamExtendedMetadata -> dictionary of five entries
/// String payloads are 8-bit text: bytes 0x80-0xFF are taken as ISO 8859-1.
class ItemTranslatorBase {
  public:
    ItemTranslatorBase(const ItemFactory& factory, Dictionary& result) noexcept
        : factory_(factory), result_(result) {}

    void translate(rdd18::tag itemTag, const Uint16& v);
    void translate(rdd18::tag itemTag, const unsigned char& v);
    void translate(rdd18::tag itemTag, const Int16& v);
    void translate(rdd18::tag itemTag, const Uint32& v);
    void translate(rdd18::tag itemTag, const Boolean& v);
    void translate(rdd18::tag itemTag, const HalfFloatLensSerial& v);
    void translate(rdd18::tag itemTag, const std::string& v);
    void translate(rdd18::tag itemTag, const Label& v);
    void translate(rdd18::tag itemTag, const Rational& v);
    void translate(rdd18::tag itemTag, const std::vector<Rational>& v);
    void translate(rdd18::tag itemTag, const std::vector<HalfFloat>& v);
    void translate(rdd18::tag itemTag, const ByteVector& v);
    void translate(rdd18::tag itemTag, const VaricamExtendedMetadata& v);

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

  private:
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

}  // namespace rdd18
