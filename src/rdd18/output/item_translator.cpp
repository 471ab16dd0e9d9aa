#include <string_view>

#include "rdd18/output/internal_item_translator.h"

namespace rdd18 {

namespace {
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

Value answerValue(const Uint16& v) {
    return Number::integer(v.value());
}

Value answerValue(const unsigned char& v) {
    return Number::integer(v);
}

Value answerValue(const Int16& v) {
    return Number::shortNumber(v.value());
}

Value answerValue(const Uint32& v) {
    return Number::unsignedInt(v.value());
}

Value answerValue(const Boolean& v) {
    return Number::boolean(v.value());
}

Value answerValue(const HalfFloatLensSerial& v) {
    return Number::doubleNumber(v.value());
}

Value answerValue(const std::string& v) {
    return stringFromLatin1(v);
}

Value answerValue(std::string&& v) {
    // 7-bit text is the same in both encodings: the decoded buffer becomes the value as it is.
    for (const char c : v) {
        if (static_cast<unsigned char>(c) > 0x7F) return stringFromLatin1(v);
    }
    return std::move(v);
}

Value answerValue(const Label& v) {
    Dictionary d;
    d.reserve(2);
    KeyOrderWriter w(d);
    w.append("value0", Number::unsignedChar(v.value0));
    w.append("value1", Number::unsignedChar(v.value1));
    return d;
}

Value answerValue(const Rational& v) {
    Dictionary d;
    d.reserve(2);
    KeyOrderWriter w(d);
    w.append("den", Number::unsignedInt(v.denominator.value()));
    w.append("num", Number::unsignedInt(v.numerator.value()));
    return d;
}

Value answerValue(const std::vector<Rational>& v) {
    Array array;
    array.reserve(v.size());
    for (const Rational& r : v) array.push_back(answerValue(r));
    return array;
}

Value answerValue(const std::vector<HalfFloat>& v) {
    Array array;
    array.reserve(v.size());
    for (const HalfFloat& h : v) array.push_back(Number::doubleNumber(h.value()));
    return array;
}

Value answerValue(const ByteVector& v) {
    return Data(v);
}

Value answerValue(ByteVector&& v) {
    return Data(std::move(v));
}

Value answerValue(const VaricamExtendedMetadata& v) {
    Dictionary d;
    d.reserve(5);
    KeyOrderWriter w(d);
    w.append("cameraId", Number::unsignedChar(v.cameraId));
    w.append("clipCounter", Number::unsignedShort(v.clipCounter.value()));
    w.append("clipNameValid", Number::unsignedChar(v.clipNameValid));
    w.append("filenameStyle", filenameStyleName(v.filenameStyle));
    w.append("reelCounter", Number::unsignedShort(v.reelCounter.value()));
    return d;
}

}  // namespace rdd18
