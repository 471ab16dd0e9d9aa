#include <sstream>
#include <string_view>

#include "dump/value_text.h"
#include "dump/writers.h"

namespace rdd18::dump {

namespace {

using Entries = std::vector<std::pair<std::string_view, const Value*>>;

Entries entriesOf(const Dictionary& d) {
    Entries e;
    e.reserve(d.size());
    for (const auto& [key, value] : d) e.emplace_back(key, &value);
    return e;
}

// Pretty output puts a container of scalars on one line when it fits in this many columns.
constexpr std::size_t kInlineWidth = 100;

bool isScalar(const Value& v, bool types) {
    return v.isString() || v.isData() || (v.isNumber() && !types);
}

enum class Layout {
    Pretty,  // one entry a line, two-space indents
    Inline,  // one line, a space behind each comma and colon
    Compact  // one line, no spaces
};

class JsonWriter {
  public:
    JsonWriter(std::ostream& out, Layout layout, bool types)
        : out_(out), layout_(layout), pretty_(layout != Layout::Compact), types_(types) {}

    // A frame's object is never short enough to stand on one line: it holds dictionaries.
    void frame(const FrameReport& f, int depth) {
        out_ << '{';
        newline(depth + 1);
        out_ << "\"file\"" << (pretty_ ? ": " : ":") << jsonQuoted(f.source);
        for (const auto& s : f.sections) {
            separator(1, depth + 1);
            out_ << jsonQuoted(s.name) << (pretty_ ? ": " : ":");
            value(s.value, depth + 1);
        }
        newline(depth);
        out_ << '}';
    }

    // What comes before element `index` of a container whose elements stand at `depth`.
    void separator(std::size_t index, int depth) {
        if (index > 0) out_ << (layout_ == Layout::Inline ? ", " : ",");
        newline(depth);
    }

    void newline(int depth) {
        if (layout_ != Layout::Pretty) return;
        out_ << '\n';
        for (int i = 0; i < depth; ++i) out_ << "  ";
    }

  private:
    // Writes a container of scalars on one line when that fits; false when it doesn't.
    template <class Container>
    bool writtenInline(const Container& c,
                       bool (*scalar)(const typename Container::value_type&, bool), int depth) {
        if (layout_ != Layout::Pretty) return false;
        for (const auto& element : c) {
            if (!scalar(element, types_)) return false;
        }
        std::ostringstream line;
        JsonWriter(line, Layout::Inline, types_).container(c, 0);
        if (line.str().size() + 2 * static_cast<std::size_t>(depth) > kInlineWidth) return false;
        out_ << line.str();
        return true;
    }

    void container(const Entries& entries, int depth) {
        auto scalar = [](const Entries::value_type& e, bool types) {
            return isScalar(*e.second, types);
        };
        if (entries.empty()) {
            out_ << "{}";
            return;
        }
        if (writtenInline(entries, +scalar, depth)) return;
        out_ << '{';
        for (std::size_t i = 0; i < entries.size(); ++i) {
            separator(i, depth + 1);
            out_ << jsonQuoted(entries[i].first) << (pretty_ ? ": " : ":");
            value(*entries[i].second, depth + 1);
        }
        newline(depth);
        out_ << '}';
    }

    void container(const Array& a, int depth) {
        if (a.empty()) {
            out_ << "[]";
            return;
        }
        if (writtenInline(a, &isScalar, depth)) return;
        out_ << '[';
        for (std::size_t i = 0; i < a.size(); ++i) {
            separator(i, depth + 1);
            value(a[i], depth + 1);
        }
        newline(depth);
        out_ << ']';
    }

    void number(const Number& n) {
        if (isFiniteOrInteger(n)) {
            out_ << numberText(n);
        } else {
            out_ << "{\"$number\":" << (pretty_ ? " " : "") << jsonQuoted(numberText(n)) << '}';
        }
    }

    void value(const Value& v, int depth) {
        if (v.isNumber()) {
            if (!types_) return number(v.number());
            const char* sep = pretty_ ? ", " : ",";
            const char* colon = pretty_ ? ": " : ":";
            out_ << "{\"$kind\"" << colon << jsonQuoted(numberKindName(v.number().kind())) << sep
                 << "\"$value\"" << colon;
            number(v.number());
            out_ << '}';
        } else if (v.isString()) {
            out_ << jsonQuoted(v.string());
        } else if (v.isData()) {
            out_ << "{\"$data\":" << (pretty_ ? " " : "") << '"' << hexText(v.data()) << "\"}";
        } else if (v.isArray()) {
            container(v.array(), depth);
        } else {
            container(entriesOf(v.dictionary()), depth);
        }
    }

    std::ostream& out_;
    Layout layout_;
    bool pretty_;  // spaces behind colons
    bool types_;
};

class JsonReportWriter : public ReportWriter {
  public:
    JsonReportWriter(std::ostream& out, bool lines, bool types)
        : out_(out), lines_(lines), writer_(out, lines ? Layout::Compact : Layout::Pretty, types) {}

    void frame(const FrameReport& f) override {
        if (lines_) {
            writer_.frame(f, 0);
            out_ << '\n';
            return;
        }
        if (count_ == 0) out_ << '[';
        writer_.separator(count_++, 1);
        writer_.frame(f, 1);
    }

    void finish() override {
        if (lines_) return;
        if (count_ == 0) out_ << '[';
        writer_.newline(0);
        out_ << "]\n";
    }

  private:
    std::ostream& out_;
    bool lines_;
    JsonWriter writer_;
    std::size_t count_ = 0;
};

}  // namespace

std::unique_ptr<ReportWriter> jsonWriter(std::ostream& out, bool lines, bool types) {
    return std::make_unique<JsonReportWriter>(out, lines, types);
}

}  // namespace rdd18::dump
