#include <string_view>

#include "dump/value_text.h"
#include "dump/writers.h"

namespace rdd18::dump {

namespace {

// Text as XML character data: markup characters escaped, and what XML 1.0 can't hold at all
// (bytes that aren't UTF-8, C0 controls but tab, line feed and carriage return) as U+FFFD.
std::string xmlText(std::string_view s) {
    std::string out;
    for (char c : validUtf8(s)) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (u < 0x20 && c != '\t' && c != '\n' && c != '\r') {
            out += "\xEF\xBF\xBD";
        } else {
            out += c;
        }
    }
    return out;
}

class PlistWriter {
  public:
    PlistWriter(std::ostream& out, bool types) : out_(out), types_(types) {}

    void frame(const FrameReport& f, int depth) {
        line(depth, "<dict>");
        key(depth + 1, "file");
        line(depth + 1, "<string>" + xmlText(f.source) + "</string>");
        for (const auto& s : f.sections) {
            key(depth + 1, s.name);
            value(s.value, depth + 1);
        }
        line(depth, "</dict>");
    }

    void line(int depth, std::string_view text) {
        for (int i = 0; i < depth; ++i) out_ << '\t';
        out_ << text << '\n';
    }

  private:
    void key(int depth, std::string_view k) { line(depth, "<key>" + xmlText(k) + "</key>"); }

    void number(const Number& n, int depth) {
        if (n.kind() == NumberKind::Bool)
            return line(depth, n.boolValue() ? "<true/>" : "<false/>");
        if (!n.isFloating()) return line(depth, "<integer>" + numberText(n) + "</integer>");
        std::string text = numberText(n);
        if (text == "NaN") text = "nan";
        if (text == "Infinity") text = "+infinity";
        if (text == "-Infinity") text = "-infinity";
        line(depth, "<real>" + text + "</real>");
    }

    void value(const Value& v, int depth) {
        if (v.isNumber()) {
            if (!types_) return number(v.number(), depth);
            line(depth, "<dict>");
            key(depth + 1, "$kind");
            line(depth + 1,
                 "<string>" + std::string(numberKindName(v.number().kind())) + "</string>");
            key(depth + 1, "$value");
            number(v.number(), depth + 1);
            line(depth, "</dict>");
        } else if (v.isString()) {
            line(depth, "<string>" + xmlText(v.string()) + "</string>");
        } else if (v.isData()) {
            line(depth, "<data>" + base64Text(v.data()) + "</data>");
        } else if (v.isArray()) {
            if (v.array().empty()) return line(depth, "<array/>");
            line(depth, "<array>");
            for (const auto& element : v.array()) value(element, depth + 1);
            line(depth, "</array>");
        } else {
            if (v.dictionary().empty()) return line(depth, "<dict/>");
            line(depth, "<dict>");
            for (const auto& [k, element] : v.dictionary()) {
                key(depth + 1, k);
                value(element, depth + 1);
            }
            line(depth, "</dict>");
        }
    }

    std::ostream& out_;
    bool types_;
};

class PlistReportWriter : public ReportWriter {
  public:
    PlistReportWriter(std::ostream& out, bool types) : writer_(out, types) {
        writer_.line(0, R"(<?xml version="1.0" encoding="UTF-8"?>)");
        writer_.line(0, R"(<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" )"
                        R"("http://www.apple.com/DTDs/PropertyList-1.0.dtd">)");
        writer_.line(0, R"(<plist version="1.0">)");
        writer_.line(0, "<array>");
    }

    void frame(const FrameReport& f) override { writer_.frame(f, 1); }

    void finish() override {
        writer_.line(0, "</array>");
        writer_.line(0, "</plist>");
    }

  private:
    PlistWriter writer_;
};

}  // namespace

std::unique_ptr<ReportWriter> plistWriter(std::ostream& out, bool types) {
    return std::make_unique<PlistReportWriter>(out, types);
}

}  // namespace rdd18::dump
