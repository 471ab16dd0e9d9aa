#include <algorithm>
#include <set>
#include <string_view>

#include "dump/value_text.h"
#include "dump/writers.h"

namespace rdd18::dump {

namespace {

struct Row {
    std::string key;
    std::string value;
    std::string kind;
};

void pad(std::ostream& out, std::string_view text, std::size_t width) {
    out << text;
    for (std::size_t n = displayWidth(text); n < width; ++n) out << ' ';
}

// One row per scalar, nested keys joined with dots and array elements with [index].
void flatten(const std::string& key, const Value& v, std::vector<Row>& rows) {
    if (v.isNumber()) {
        rows.push_back(
            {key, numberText(v.number()), std::string(numberKindName(v.number().kind()))});
    } else if (v.isString()) {
        rows.push_back({key, jsonQuoted(v.string()), "string"});
    } else if (v.isData()) {
        rows.push_back({key, "<" + hexText(v.data()) + ">", "data"});
    } else if (v.isArray()) {
        if (v.array().empty()) rows.push_back({key, "[]", "array"});
        for (std::size_t i = 0; i < v.array().size(); ++i) {
            flatten(key + "[" + std::to_string(i) + "]", v.array()[i], rows);
        }
    } else {
        if (v.dictionary().empty()) rows.push_back({key, "{}", "dictionary"});
        for (const auto& [k, element] : v.dictionary()) flatten(key + "." + k, element, rows);
    }
}

bool isScalar(const Value& v) {
    return v.isNumber() || v.isString() || v.isData();
}

// A list of flat records, like the packet walk, reads best as columns.
bool isRecordList(const Value& v) {
    if (!v.isArray() || v.array().empty()) return false;
    return std::all_of(v.array().begin(), v.array().end(), [](const Value& e) {
        return e.isDictionary() &&
               std::all_of(e.dictionary().begin(), e.dictionary().end(),
                           [](const auto& entry) { return isScalar(entry.second); });
    });
}

std::string cellText(const Value& v) {
    if (v.isNumber()) return numberText(v.number());
    if (v.isData()) return "<" + hexText(v.data()) + ">";
    return v.string();
}

void writeRecordList(std::ostream& out, const Array& records) {
    std::set<std::string> columnSet;
    for (const auto& r : records) {
        for (const auto& entry : r.dictionary()) columnSet.insert(entry.first);
    }
    const std::vector<std::string> columns(columnSet.begin(), columnSet.end());
    std::vector<std::vector<std::string>> cells;
    for (const auto& r : records) {
        std::vector<std::string> line;
        for (const auto& c : columns) {
            const Value* v = r.dictionary().find(c);
            line.push_back(v ? cellText(*v) : "");
        }
        cells.push_back(std::move(line));
    }
    std::vector<std::size_t> widths;
    for (std::size_t c = 0; c < columns.size(); ++c) {
        std::size_t w = displayWidth(columns[c]);
        for (const auto& line : cells) w = std::max(w, displayWidth(line[c]));
        widths.push_back(w);
    }
    auto writeLine = [&](const std::vector<std::string>& line) {
        std::string text = "    ";
        for (std::size_t c = 0; c < line.size(); ++c) {
            text += line[c];
            if (c + 1 < line.size()) text.append(widths[c] - displayWidth(line[c]) + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    };
    writeLine(columns);
    for (const auto& line : cells) writeLine(line);
}

void writeFrame(std::ostream& out, const FrameReport& f, bool types) {
    out << f.source << '\n';
    std::vector<std::vector<Row>> blocks;
    std::size_t keyWidth = 0, valueWidth = 0;
    for (const auto& [name, value] : f.sections) {
        std::vector<Row> rows;
        if (name == kUnitsSection) {
            for (auto& t : unitsTextRows(name, value)) rows.push_back({t.key, t.value, t.kind});
        } else if (!isRecordList(value)) {
            flatten(name, value, rows);
        }
        for (const auto& r : rows) {
            keyWidth = std::max(keyWidth, displayWidth(r.key));
            valueWidth = std::max(valueWidth, displayWidth(r.value));
        }
        blocks.push_back(std::move(rows));
    }
    for (std::size_t s = 0; s < f.sections.size(); ++s) {
        if (isRecordList(f.sections[s].second)) {
            out << "  " << f.sections[s].first << '\n';
            writeRecordList(out, f.sections[s].second.array());
            continue;
        }
        for (const auto& r : blocks[s]) {
            out << "  ";
            pad(out, r.key, keyWidth + 2);
            if (types) {
                pad(out, r.value, valueWidth + 2);
                out << r.kind;
            } else {
                out << r.value;
            }
            out << '\n';
        }
    }
}

}  // namespace

void writeTable(std::ostream& out, const std::vector<FrameReport>& frames, bool types) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (i > 0) out << '\n';
        writeFrame(out, frames[i], types);
    }
}

}  // namespace rdd18::dump
