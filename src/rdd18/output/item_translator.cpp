#include "rdd18/output/item_translator.h"

#include <string_view>

namespace rdd18 {

namespace {
Value rationalValue(const Rational& r) {
    Dictionary d;
    d.reserve(2);
    d.set("den", Number::unsignedInt(r.denominator.value()));
    d.set("num", Number::unsignedInt(r.numerator.value()));
    return d;
}

std::string filenameStyleName(unsigned char code) {
    switch (code) {
        case 0:
            return "P2";
        case 1:
            return "CINE";
        default:
            return "UNKNOWN";
    }
}
}  // namespace

void ItemTranslatorBase::write(rdd18::tag itemTag, Value value) {
    // The key is converted straight from the factory's name (what itemName would copy out, the
    // empty text for an unnamed tag), so each entry costs one key string and not two.
    const auto name = factory_.tagsToNames.find(itemTag);
    const std::string_view text =
        name == factory_.tagsToNames.end() ? std::string_view() : std::string_view(name->second);
    result_.set(stringFromLatin1(text), std::move(value));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const Uint16& v) {
    write(itemTag, Number::integer(v.value()));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const unsigned char& v) {
    write(itemTag, Number::integer(v));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const Int16& v) {
    write(itemTag, Number::shortNumber(v.value()));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const Uint32& v) {
    write(itemTag, Number::unsignedInt(v.value()));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const Boolean& v) {
    write(itemTag, Number::boolean(v.value()));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const HalfFloatLensSerial& v) {
    write(itemTag, Number::doubleNumber(v.value()));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const std::string& v) {
    write(itemTag, stringFromLatin1(v));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const Label& v) {
    Dictionary d;
    d.reserve(2);
    d.set("value0", Number::unsignedChar(v.value0));
    d.set("value1", Number::unsignedChar(v.value1));
    write(itemTag, std::move(d));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const Rational& v) {
    write(itemTag, rationalValue(v));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const std::vector<Rational>& v) {
    Array array;
    array.reserve(v.size());
    for (const Rational& r : v) array.push_back(rationalValue(r));
    write(itemTag, std::move(array));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const std::vector<HalfFloat>& v) {
    Array array;
    array.reserve(v.size());
    for (const HalfFloat& h : v) array.push_back(Number::doubleNumber(h.value()));
    write(itemTag, std::move(array));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const ByteVector& v) {
    write(itemTag, Data(v));
}

void ItemTranslatorBase::translate(rdd18::tag itemTag, const VaricamExtendedMetadata& v) {
    Dictionary d;
    d.reserve(5);
    d.set("clipNameValid", Number::unsignedChar(v.clipNameValid));
    d.set("cameraId", Number::unsignedChar(v.cameraId));
    d.set("reelCounter", Number::unsignedShort(v.reelCounter.value()));
    d.set("clipCounter", Number::unsignedShort(v.clipCounter.value()));
    d.set("filenameStyle", filenameStyleName(v.filenameStyle));
    write(itemTag, std::move(d));
}

}  // namespace rdd18
