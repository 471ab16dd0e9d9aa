#include <algorithm>
#include <charconv>
#include <cmath>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "rdd18/output/internal_item_translator.h"
#include "rdd18/transport/encode_error.h"

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

// --- The inverse: values of an answer back into payloads ----------------------------------------

namespace rdd18 {

namespace {

std::string shortest(double v) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, v).ptr;
    return std::string(text, end);
}

/// The integer of a number of an integer kind in [low, high]; other kinds and values refused.
std::int64_t integerIn(const Value& v, const AnswerValueReader& r, std::int64_t low,
                       std::int64_t high) {
    if (!v.isNumber() || v.number().isFloating() || v.number().kind() == NumberKind::Bool)
        r.refuse(FaultCode::WrongKind, "needs an integer number");
    const Number& n = v.number();
    const bool negative = n.isSigned() && n.int64Value() < 0;
    if (negative ? n.int64Value() < low
                 : n.uint64Value() > static_cast<std::uint64_t>(high) || high < 0) {
        r.refuse(FaultCode::OutOfRange,
                 (negative ? std::to_string(n.int64Value()) : std::to_string(n.uint64Value())) +
                     " is outside " + std::to_string(low) + ".." + std::to_string(high),
                 0, n.uint64Value());
    }
    return n.int64Value();
}

/// The double of any number but a bool.
double doubleOf(const Value& v, const AnswerValueReader& r) {
    if (!v.isNumber() || v.number().kind() == NumberKind::Bool)
        r.refuse(FaultCode::WrongKind, "needs a number");
    return v.number().doubleValue();
}

/// The 16-bit record of a decimal float format for `v`, as `AnswerValueReader` promises.
std::uint16_t decimalRecord(double v, bool lensSerial, const AnswerValueReader& r) {
    const detail::DecimalCodes codes = detail::decimalCodes(v, lensSerial);
    if (codes.exact) return *codes.exact;
    const auto valueOf = [lensSerial](std::uint16_t record) {
        const auto b0 = static_cast<unsigned char>(record >> 8);
        const auto b1 = static_cast<unsigned char>(record);
        return lensSerial ? HalfFloatLensSerial{{b0, b1}}.value() : HalfFloat{{b0, b1}}.value();
    };
    if (!std::isfinite(v) || !codes.below || !codes.above) {
        const std::string range =
            lensSerial ? "0.." + shortest(valueOf(0xF7FF)) : "a finite number";
        if (!(r.roundDecimalFloats && std::isfinite(v) && (codes.below || codes.above)))
            r.refuse(FaultCode::OutOfRange, shortest(v) + " is outside " + range);
        return codes.below ? *codes.below : *codes.above;
    }
    const double below = valueOf(*codes.below), above = valueOf(*codes.above);
    if (!r.roundDecimalFloats) {
        r.refuse(FaultCode::NoExactCode, "no 16-bit decimal code gives " + shortest(v) +
                                             "; the nearest values are " + shortest(below) +
                                             " and " + shortest(above));
    }
    return v - below <= above - v ? *codes.below : *codes.above;
}

/// The dictionary value with exactly the keys `fields`.
const Dictionary& fieldsOf(const Value& v, const AnswerValueReader& r,
                           std::initializer_list<std::string_view> fields) {
    if (!v.isDictionary()) r.refuse(FaultCode::NotAnAnswer, "needs a dictionary");
    const Dictionary& d = v.dictionary();
    for (const std::string_view field : fields)
        if (!d.contains(field)) r.at(field).refuse(FaultCode::KeyMissing, "is missing");
    for (const auto& [key, value] : d) {
        if (std::find(fields.begin(), fields.end(), key) == fields.end())
            r.at(key).refuse(FaultCode::UnknownKey, "is no field of this value");
    }
    return d;
}

}  // namespace

AnswerValueReader AnswerValueReader::at(std::string_view field) const {
    return {field, tag, roundDecimalFloats, this};
}

std::string AnswerValueReader::path() const {
    if (!parent) return std::string(key);
    return parent->path() + (key.starts_with('[') ? "" : ".") + std::string(key);
}

void AnswerValueReader::refuse(FaultCode code, const std::string& why, std::uint64_t expected,
                               std::uint64_t found) const {
    Fault fault{.code = code, .expected = expected, .found = found};
    fault.tag[0] = tag.first;
    fault.tag[1] = tag.second;
    throw EncodeError(fault, path(), why);
}

void AnswerValueReader::read(const Value& v, Uint16& out) const {
    out = Uint16::of(static_cast<std::uint16_t>(integerIn(v, *this, 0, 0xFFFF)));
}

void AnswerValueReader::read(const Value& v, unsigned char& out) const {
    out = static_cast<unsigned char>(integerIn(v, *this, 0, 0xFF));
}

void AnswerValueReader::read(const Value& v, Int16& out) const {
    out = Int16::of(static_cast<std::int16_t>(integerIn(v, *this, -0x8000, 0x7FFF)));
}

void AnswerValueReader::read(const Value& v, Uint32& out) const {
    out = Uint32::of(static_cast<std::uint32_t>(integerIn(v, *this, 0, 0xFFFFFFFF)));
}

void AnswerValueReader::read(const Value& v, Boolean& out) const {
    if (!v.isNumber() || v.number().kind() != NumberKind::Bool)
        refuse(FaultCode::WrongKind, "needs a bool");
    out.byte = v.number().boolValue() ? 1 : 0;
}

void AnswerValueReader::read(const Value& v, HalfFloatLensSerial& out) const {
    const std::uint16_t record = decimalRecord(doubleOf(v, *this), true, *this);
    out.bits = {static_cast<unsigned char>(record >> 8), static_cast<unsigned char>(record)};
}

void AnswerValueReader::read(const Value& v, HalfFloat& out) const {
    const std::uint16_t record = decimalRecord(doubleOf(v, *this), false, *this);
    out.bits = {static_cast<unsigned char>(record >> 8), static_cast<unsigned char>(record)};
}

void AnswerValueReader::read(const Value& v, std::string& out) const {
    if (!v.isString()) refuse(FaultCode::WrongKind, "needs text");
    const std::optional<std::string> latin1 = latin1FromString(v.string());
    if (!latin1) refuse(FaultCode::UnwritableText, "holds a character beyond U+00FF");
    if (latin1->find('\0') != std::string::npos)
        refuse(FaultCode::UnwritableText, "holds a NUL, which ends the text on the wire");
    constexpr std::size_t kMost = 0xFFFF;
    if (latin1->size() > kMost) {
        refuse(FaultCode::TextTooLong,
               std::to_string(latin1->size()) + " characters, more than an item holds (65535)",
               kMost, latin1->size());
    }
    out = *latin1;
}

void AnswerValueReader::read(const Value& v, Label& out) const {
    const Dictionary& d = fieldsOf(v, *this, {"value0", "value1"});
    at("value0").read(d.at("value0"), out.value0);
    at("value1").read(d.at("value1"), out.value1);
}

void AnswerValueReader::read(const Value& v, Rational& out) const {
    const Dictionary& d = fieldsOf(v, *this, {"den", "num"});
    at("den").read(d.at("den"), out.denominator);
    at("num").read(d.at("num"), out.numerator);
}

namespace {

/// The elements of an array value, each read by the reader of its index.
template <class E>
void readElements(const Value& v, const AnswerValueReader& r, std::vector<E>& out) {
    if (!v.isArray()) r.refuse(FaultCode::NotAnAnswer, "needs an array");
    constexpr std::size_t kMost = (0xFFFF - 8) / sizeof(E);  // the item's 16-bit length
    if (v.array().size() > kMost) {
        r.refuse(FaultCode::TextTooLong,
                 std::to_string(v.array().size()) + " elements, more than an item holds (" +
                     std::to_string(kMost) + ")",
                 kMost, v.array().size());
    }
    out.resize(v.array().size());
    for (std::size_t i = 0; i < out.size(); ++i)
        r.at("[" + std::to_string(i) + "]").read(v.array()[i], out[i]);
}

}  // namespace

void AnswerValueReader::read(const Value& v, std::vector<Rational>& out) const {
    readElements(v, *this, out);
}

void AnswerValueReader::read(const Value& v, std::vector<HalfFloat>& out) const {
    readElements(v, *this, out);
}

void AnswerValueReader::read(const Value& v, ByteVector& out) const {
    if (!v.isData()) refuse(FaultCode::WrongKind, "needs data");
    constexpr std::size_t kMost = 0xFFFF;
    if (v.data().size() > kMost) {
        refuse(FaultCode::TextTooLong,
               std::to_string(v.data().size()) + " bytes, more than an item holds (65535)", kMost,
               v.data().size());
    }
    out = v.data().bytes;
}

void AnswerValueReader::read(const Value& v, VaricamExtendedMetadata& out) const {
    const Dictionary& d = fieldsOf(
        v, *this, {"cameraId", "clipCounter", "clipNameValid", "filenameStyle", "reelCounter"});
    at("cameraId").read(d.at("cameraId"), out.cameraId);
    at("clipCounter").read(d.at("clipCounter"), out.clipCounter);
    at("clipNameValid").read(d.at("clipNameValid"), out.clipNameValid);
    at("reelCounter").read(d.at("reelCounter"), out.reelCounter);
    const AnswerValueReader style = at("filenameStyle");
    const Value& name = d.at("filenameStyle");
    if (!name.isString()) style.refuse(FaultCode::WrongKind, "needs text");
    // Every code but 0 and 1 reads as UNKNOWN; 2 is the first of them.
    for (unsigned char code = 0; code < 3; ++code) {
        if (filenameStyleName(code) == name.string()) {
            out.filenameStyle = code;
            return;
        }
    }
    style.refuse(FaultCode::OutOfRange, "is P2, CINE or UNKNOWN, not " + name.string());
}

}  // namespace rdd18
