#include <algorithm>
#include <map>
#include <string_view>

#include "dump/value_text.h"
#include "dump/writers.h"

namespace rdd18::dump {

namespace {

using CellVisitor = std::function<void(const std::string& key, std::string text)>;

// A field quoted when it holds a comma, a quote or a line break; quotes inside are doubled.
std::string csvField(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string out = "\"";
    for (char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + '"';
}

class CsvReportWriter : public ReportWriter {
  public:
    CsvReportWriter(std::ostream& out, std::vector<std::string> columns) : out_(out) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            out_ << (i ? "," : "") << csvField(columns[i]);
            index_.emplace(std::move(columns[i]), i);
        }
        out_ << "\r\n";
        row_.resize(index_.size());
    }

    void frame(const FrameReport& f) override {
        std::fill(row_.begin(), row_.end(), std::string());
        csvCells(f, [&](const std::string& key, std::string text) {
            if (const auto it = index_.find(key); it != index_.end()) row_[it->second] = text;
        });
        for (std::size_t i = 0; i < row_.size(); ++i) out_ << (i ? "," : "") << csvField(row_[i]);
        out_ << "\r\n";
    }

    void finish() override {}

  private:
    std::ostream& out_;
    std::map<std::string, std::size_t> index_;
    std::vector<std::string> row_;
};

}  // namespace

void csvCells(const FrameReport& report, const CellVisitor& cell) {
    cell("file", report.source);
    for (const auto& s : report.sections) {
        if (s.name == kPacketsSection) continue;
        flatten(s.name, s.value, [&cell](const std::string& key, const Value& v) {
            if (v.isNumber()) cell(key, numberText(v.number()));
            if (v.isString()) cell(key, validUtf8(v.string()));
            if (v.isData()) cell(key, hexText(v.data()));
        });
    }
}

void CsvColumns::add(const FrameReport& report) {
    csvCells(report, [&](const std::string& key, const std::string&) {
        if (known_.insert(key).second) columns_.push_back(key);
    });
}

std::vector<std::string> CsvColumns::columns() const {
    // Sections in the order met ("file", "frame", ..., "rdd18", "arri"), keys sorted inside each.
    const auto section = [](const std::string& k) { return k.substr(0, k.find_first_of(".[")); };
    std::map<std::string, std::size_t> rank;
    for (const auto& k : columns_) rank.try_emplace(section(k), rank.size());
    std::vector<std::string> sorted = columns_;
    std::sort(sorted.begin(), sorted.end(), [&](const std::string& a, const std::string& b) {
        return std::pair(rank.at(section(a)), std::string_view(a)) <
               std::pair(rank.at(section(b)), std::string_view(b));
    });
    return sorted;
}

std::unique_ptr<ReportWriter> csvWriter(std::ostream& out, std::vector<std::string> columns) {
    return std::make_unique<CsvReportWriter>(out, std::move(columns));
}

}  // namespace rdd18::dump
