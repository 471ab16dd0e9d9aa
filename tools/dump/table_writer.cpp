#include <algorithm>
#include <map>
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

// Two walks over the records: the first finds the columns and their widths, the second writes.
void writeRecordList(std::ostream& out, const ElementWalk& walk) {
    std::map<std::string, std::size_t> widths;
    walk([&](const Value& r) {
        for (const auto& [key, v] : r.dictionary()) {
            auto& w = widths.try_emplace(key, displayWidth(key)).first->second;
            w = std::max(w, displayWidth(cellText(v)));
        }
    });
    auto writeLine = [&](auto&& cell) {
        std::string text = "    ";
        std::size_t c = 0;
        for (const auto& [key, width] : widths) {
            const std::string t = cell(key);
            text += t;
            if (++c < widths.size()) text.append(width - displayWidth(t) + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    };
    writeLine([](const std::string& key) { return key; });
    walk([&](const Value& r) {
        writeLine([&](const std::string& key) {
            const Value* v = r.dictionary().find(key);
            return v ? cellText(*v) : std::string();
        });
    });
}

ElementWalk walkOf(const Array& a) {
    return [&a](const std::function<void(const Value&)>& visit) {
        for (const auto& e : a) visit(e);
    };
}

void writeFrame(std::ostream& out, const FrameReport& f, bool types) {
    out << f.source << '\n';
    // A streamed section without elements shows as an empty array, like any other.
    const Value emptyArray{Array{}};
    std::vector<const Value*> values;
    std::vector<bool> recordLists;
    for (const auto& s : f.sections) {
        bool any = false;
        if (s.walk) s.walk([&](const Value&) { any = true; });
        values.push_back(s.walk ? &emptyArray : &s.value);
        recordLists.push_back(s.walk ? any : isRecordList(s.value));
    }
    std::vector<std::vector<Row>> blocks;
    std::size_t keyWidth = 0, valueWidth = 0;
    for (std::size_t i = 0; i < f.sections.size(); ++i) {
        std::vector<Row> rows;
        const std::string& name = f.sections[i].name;
        if (name == kUnitsSection) {
            for (auto& t : unitsTextRows(name, *values[i]))
                rows.push_back({t.key, t.value, t.kind});
        } else if (!recordLists[i]) {
            flatten(name, *values[i], rows);
        }
        for (const auto& r : rows) {
            keyWidth = std::max(keyWidth, displayWidth(r.key));
            valueWidth = std::max(valueWidth, displayWidth(r.value));
        }
        blocks.push_back(std::move(rows));
    }
    for (std::size_t s = 0; s < f.sections.size(); ++s) {
        if (recordLists[s]) {
            out << "  " << f.sections[s].name << '\n';
            const auto& section = f.sections[s];
            writeRecordList(out, section.walk ? section.walk : walkOf(section.value.array()));
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

class TableReportWriter : public ReportWriter {
  public:
    TableReportWriter(std::ostream& out, bool types) : out_(out), types_(types) {}

    void frame(const FrameReport& f) override {
        if (count_++ > 0) out_ << '\n';
        writeFrame(out_, f, types_);
    }

    void finish() override {}

  private:
    std::ostream& out_;
    bool types_;
    std::size_t count_ = 0;
};

}  // namespace

std::unique_ptr<ReportWriter> tableWriter(std::ostream& out, bool types) {
    return std::make_unique<TableReportWriter>(out, types);
}

}  // namespace rdd18::dump
