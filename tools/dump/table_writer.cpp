#include <algorithm>
#include <map>
#include <string_view>

#include "dump/value_text.h"
#include "dump/writers.h"

namespace rdd18::dump {

namespace {

using Row = TextRow;

void pad(std::ostream& out, std::string_view text, std::size_t width) {
    out << text;
    for (std::size_t n = displayWidth(text); n < width; ++n) out << ' ';
}

// One row per scalar (and per empty dictionary or array): strings quoted, data as <hex>.
void addRows(const std::string& key, const Value& value, std::vector<Row>& rows) {
    flatten(key, value, [&rows](const std::string& k, const Value& v) {
        if (v.isNumber()) {
            rows.push_back(
                {k, numberText(v.number()), std::string(numberKindName(v.number().kind()))});
        } else if (v.isString()) {
            rows.push_back({k, jsonQuoted(v.string()), "string"});
        } else if (v.isData()) {
            rows.push_back({k, "<" + hexText(v.data()) + ">", "data"});
        } else {
            rows.push_back(v.isArray() ? Row{k, "[]", "array"} : Row{k, "{}", "dictionary"});
        }
    });
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

// One column per key of any record, as wide as its widest cell.
void writeRecordList(std::ostream& out, const Array& records) {
    std::map<std::string, std::size_t> widths;
    for (const Value& r : records) {
        for (const auto& [key, v] : r.dictionary()) {
            auto& w = widths.try_emplace(key, displayWidth(key)).first->second;
            w = std::max(w, displayWidth(cellText(v)));
        }
    }
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
    for (const Value& r : records) {
        writeLine([&](const std::string& key) {
            const Value* v = r.dictionary().find(key);
            return v ? cellText(*v) : std::string();
        });
    }
}

void writeFrame(std::ostream& out, const FrameReport& f, bool types) {
    out << f.source << '\n';
    // The rows of every section first: their keys and values share two column widths.
    std::vector<std::vector<Row>> blocks;
    std::size_t keyWidth = 0, valueWidth = 0;
    for (const auto& s : f.sections) {
        std::vector<Row> rows;
        if (s.name == kUnitsSection) {
            rows = unitsTextRows(s.name, s.value);
        } else if (!isRecordList(s.value)) {
            addRows(s.name, s.value, rows);
        }
        for (const auto& r : rows) {
            keyWidth = std::max(keyWidth, displayWidth(r.key));
            valueWidth = std::max(valueWidth, displayWidth(r.value));
        }
        blocks.push_back(std::move(rows));
    }
    for (std::size_t i = 0; i < f.sections.size(); ++i) {
        if (isRecordList(f.sections[i].value)) {
            out << "  " << f.sections[i].name << '\n';
            writeRecordList(out, f.sections[i].value.array());
            continue;
        }
        for (const auto& r : blocks[i]) {
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
