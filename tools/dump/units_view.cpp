#include "dump/units_view.h"

#include <cmath>
#include <cstdio>

#include "dump/value_text.h"
#include "rdd18/interpret/interpret.h"

namespace rdd18::dump {

namespace {

using interpret::Unit;

// `v` with at most `decimals` decimals, trailing zeros and a bare point dropped, never "-0".
std::string decimalText(double v, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, v);
    std::string s = text;
    if (s.find('.') != std::string::npos) {
        s.erase(s.find_last_not_of('0') + 1);
        if (s.back() == '.') s.pop_back();
    }
    if (s == "-0") s = "0";
    return s;
}

const interpret::NumberField* numberField(std::string_view key) {
    for (const auto& f : interpret::numberFields()) {
        if (f.key == key) return &f;
    }
    return nullptr;
}

}  // namespace

Dictionary unitsSection(const std::optional<Dictionary>& rdd18,
                        const std::optional<Dictionary>& arri) {
    Dictionary section;
    if (rdd18) section.set("rdd18", interpret::toDictionary(interpret::fromRDD18(*rdd18)));
    if (arri) section.set("arri", interpret::toDictionary(interpret::fromArri(*arri)));
    return section;
}

interpret::CameraModel frameModel(const std::optional<Dictionary>& rdd18,
                                  const std::optional<Dictionary>& arri) {
    return interpret::merged(rdd18 ? interpret::fromRDD18(*rdd18) : interpret::CameraModel{},
                             arri ? interpret::fromArri(*arri) : interpret::CameraModel{});
}

std::string unitText(Unit unit, double v) {
    switch (unit) {
        case Unit::FNumber:
            return "F" + decimalText(v, 1);
        case Unit::TNumber:
            return "T" + decimalText(v, 1);
        case Unit::Percent:
            return decimalText(v, 1) + " %";
        case Unit::Metre:
            return decimalText(v, 2) + " m";
        case Unit::Millimetre:
            return decimalText(v, 2) + " mm";
        case Unit::Hertz:
            return decimalText(v, 3) + " Hz";
        case Unit::Degree:
            return decimalText(v, 1) + " deg";
        case Unit::Second:
            // Exposure times read as fractions, the way cameras show them.
            if (v > 0 && v < 1) return "1/" + decimalText(1.0 / v, 2) + " s";
            return decimalText(v, 3) + " s";
        case Unit::Decibel:
            return decimalText(v, 1) + " dB";
        case Unit::Kelvin:
            return decimalText(v, 0) + " K";
        case Unit::Density:
            return "ND" + decimalText(v, 2);
        case Unit::Pixel:
            return decimalText(v, 0) + " px";
        case Unit::Coordinate:  // 0.000001 degree is about 0.1 m
            return decimalText(v, 6) + " deg";
        case Unit::None:
            break;
    }
    return decimalText(v, 2);
}

std::vector<TextRow> unitsTextRows(const std::string& prefix, const Value& section) {
    std::vector<TextRow> rows;
    flatten(prefix, section, [&rows](const std::string& key, const Value& v) {
        if (v.isString()) return rows.push_back({key, validUtf8(v.string()), "string"});
        if (!v.isNumber()) return rows.push_back({key, "{}", "dictionary"});
        const auto* f = numberField(std::string_view(key).substr(key.rfind('.') + 1));
        rows.push_back({key,
                        f ? unitText(f->unit, v.number().doubleValue()) : numberText(v.number()),
                        std::string(numberKindName(v.number().kind()))});
    });
    return rows;
}

}  // namespace rdd18::dump
