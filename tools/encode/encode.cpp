#include "encode/encode.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <string_view>

#include "dump/arguments.h"
#include "rdd18/arri/arri_encoder.h"
#include "rdd18/host/packet.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/st436m.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rdd18/interpret/interpret.h"
#include "rdd18/output/rdd18_encoder.h"
#include "rdd18/transport/encode_error.h"
#include "rdd18/transport/rtmd_sample.h"

namespace rdd18::encode {

namespace {

using nlohmann::json;

constexpr const char* kProgram = "velmora-encode";

[[noreturn]] void notAnAnswer(const std::string& key, const std::string& why) {
    throw EncodeError(FaultCode::NotAnAnswer, key, why);
}

/// The double of a JSON number, or of {"$number": "NaN" | "Infinity" | "-Infinity"}.
double doubleOf(const json& j, const std::string& key) {
    if (j.is_number()) return j.get<double>();
    if (j.is_object() && j.size() == 1 && j.contains("$number") && j["$number"].is_string()) {
        const std::string& text = j["$number"].get_ref<const std::string&>();
        if (text == "NaN") return std::numeric_limits<double>::quiet_NaN();
        if (text == "Infinity") return std::numeric_limits<double>::infinity();
        if (text == "-Infinity") return -std::numeric_limits<double>::infinity();
    }
    notAnAnswer(key, "needs a number");
}

/// The float whose shortest text reads as `d`: the float the dump wrote, found without a second
/// rounding of the text.
float floatOf(double d) {
    const auto f = static_cast<float>(d);
    if (!std::isfinite(f)) return f;
    for (const float g : {f, std::nextafter(f, -INFINITY), std::nextafter(f, INFINITY)})
        if (decimalWidened(g) == d) return g;
    return f;
}

/// A number of the kind named `kind` from the JSON value `v`.
Number numberOfKind(const std::string& kind, const json& v, const std::string& key) {
    if (kind == "bool") {
        if (!v.is_boolean()) notAnAnswer(key, "a bool needs true or false");
        return Number::boolean(v.get<bool>());
    }
    if (kind == "double") return Number::doubleNumber(doubleOf(v, key));
    if (kind == "float") return Number::floatNumber(floatOf(doubleOf(v, key)));
    if (!v.is_number_integer()) notAnAnswer(key, "a number of kind " + kind + " needs an integer");
    const bool negative =
        v.is_number_integer() && !v.is_number_unsigned() && v.get<std::int64_t>() < 0;
    const auto in = [&](std::int64_t low, std::uint64_t high) {
        if (negative ? v.get<std::int64_t>() < low : v.get<std::uint64_t>() > high)
            notAnAnswer(key, v.dump() + " is outside the kind " + kind);
    };
    if (kind == "integer") {
        in(INT64_MIN, INT64_MAX);
        return Number::integer(v.get<std::int64_t>());
    }
    if (kind == "short") {
        in(INT16_MIN, INT16_MAX);
        return Number::shortNumber(static_cast<std::int16_t>(v.get<std::int64_t>()));
    }
    if (kind == "int") {
        in(INT32_MIN, INT32_MAX);
        return Number::intNumber(static_cast<std::int32_t>(v.get<std::int64_t>()));
    }
    in(0, UINT64_MAX);
    if (kind == "unsigned char") {
        in(0, UINT8_MAX);
        return Number::unsignedChar(static_cast<std::uint8_t>(v.get<std::uint64_t>()));
    }
    if (kind == "unsigned short") {
        in(0, UINT16_MAX);
        return Number::unsignedShort(static_cast<std::uint16_t>(v.get<std::uint64_t>()));
    }
    if (kind == "unsigned int") {
        in(0, UINT32_MAX);
        return Number::unsignedInt(static_cast<std::uint32_t>(v.get<std::uint64_t>()));
    }
    if (kind == "unsigned long") return Number::unsignedLong(v.get<std::uint64_t>());
    notAnAnswer(key, "\"" + kind + "\" is no kind of number");
}

Data dataOfHex(const json& hex, const std::string& key) {
    if (!hex.is_string()) notAnAnswer(key, "$data needs hexadecimal text");
    const std::string& text = hex.get_ref<const std::string&>();
    if (text.size() % 2) notAnAnswer(key, "$data needs two hexadecimal digits per byte");
    Data data;
    data.bytes.resize(text.size() / 2);
    for (std::size_t i = 0; i < data.bytes.size(); ++i) {
        const auto [end, ec] =
            std::from_chars(text.data() + 2 * i, text.data() + 2 * i + 2, data.bytes[i], 16);
        if (ec != std::errc() || end != text.data() + 2 * i + 2)
            notAnAnswer(key, "$data needs two hexadecimal digits per byte");
    }
    return data;
}

// --- Frames ------------------------------------------------------------------------------------

enum class Form { Packets, Words10, V210, Uyvy, Rfc8331, St436m, Rtmd };

struct Options {
    Form form = Form::Packets;
    std::uint32_t width = 1920;
    bool flags = true;
    bool round = false;
    std::optional<Flavour> flavour;  // none: the first flavour that knows every key
    bool fromUnits = false;          // write the "units" section as RDD 18 items
    std::size_t elementSize = 0;     // st436m, rtmd: each frame zero-padded to this size
};

/// The model of a report's "units" section: as velmora-dump writes it ("rdd18" and "arri"
/// models, merged in that order) or one model's dictionary form.
interpret::CameraModel unitsModel(const json& units) {
    const Value v = valueFromJson(units, "units");
    if (!v.isDictionary()) notAnAnswer("units", "needs to be an object");
    const Dictionary& d = v.dictionary();
    if (!d.contains("rdd18") && !d.contains("arri")) return interpret::fromDictionary(d);
    const auto part = [&d](const char* name) {
        const Value* p = d.find(name);
        return p && p->isDictionary() ? interpret::fromDictionary(p->dictionary())
                                      : interpret::CameraModel{};
    };
    return interpret::merged(part("rdd18"), part("arri"));
}

/// The packet buffer (with flags) of one report: its RDD 18 packets, then its ARRI packets.
std::vector<unsigned char> frameBuffer(const json& report, const Options& o,
                                       const std::string& name) {
    if (!report.is_object()) notAnAnswer(name, "a report needs to be an object");
    if (o.fromUnits) {
        if (!report.contains("units")) notAnAnswer(name, "a report needs a \"units\" section");
        return encodeRDD18(interpret::toRDD18(unitsModel(report["units"])), Flavour::Standard);
    }
    if (!report.contains("rdd18") && !report.contains("arri"))
        notAnAnswer(name, "a report needs an \"rdd18\" or an \"arri\" section");
    std::vector<unsigned char> buffer;
    if (const auto it = report.find("rdd18"); it != report.end()) {
        const Value answer = valueFromJson(*it, "rdd18");
        if (!answer.isDictionary()) notAnAnswer("rdd18", "an answer needs to be an object");
        const RDD18EncodeOptions options{.flags = true, .roundDecimalFloats = o.round};
        std::vector<unsigned char> packets;
        if (o.flavour) {
            packets = encodeRDD18(answer.dictionary(), *o.flavour, options);
        } else {
            // The flavours in turn: the first that knows every key writes the answer.
            for (const Flavour f : {Flavour::Standard, Flavour::Sony, Flavour::Varicam}) {
                try {
                    packets = encodeRDD18(answer.dictionary(), f, options);
                    break;
                } catch (const EncodeError& e) {
                    if (e.code() != FaultCode::UnknownKey || f == Flavour::Varicam) {
                        // Refused for its value, or by every flavour: say why under standard.
                        if (e.code() != FaultCode::UnknownKey) throw;
                        packets = encodeRDD18(answer.dictionary(), Flavour::Standard, options);
                    }
                }
            }
        }
        buffer.insert(buffer.end(), packets.begin(), packets.end());
    }
    if (const auto it = report.find("arri"); it != report.end()) {
        const Value answer = valueFromJson(*it, "arri");
        if (!answer.isDictionary()) notAnAnswer("arri", "an answer needs to be an object");
        const auto packets = arri::encodeArri(answer.dictionary());
        buffer.insert(buffer.end(), packets.begin(), packets.end());
    }
    return buffer;
}

/// The bytes of a frame's buffer in the chosen form, converted by the host writers, which leave
/// out and report a packet their form can't hold (one longer than a VANC line, for one).
std::vector<unsigned char> hostForm(const std::vector<host::Packet>& packets, const Options& o,
                                    FaultSink& faults) {
    switch (o.form) {
        case Form::Words10: {
            std::vector<unsigned char> bytes;
            for (const std::uint16_t w : host::words10FromPackets(packets, &faults)) {
                bytes.push_back(static_cast<unsigned char>(w));
                bytes.push_back(static_cast<unsigned char>(w >> 8));
            }
            return bytes;
        }
        case Form::V210:
        case Form::Uyvy:
            return host::vancLinesFromPackets(
                packets,
                {o.form == Form::V210 ? host::VancFormat::V210 : host::VancFormat::Uyvy, o.width},
                &faults);
        case Form::Rfc8331:
            return host::rfc8331FromPackets(packets, 0, &faults);
        case Form::St436m: {
            // Each packet on VANC line 9 of a progressive frame, 8-bit luma samples.
            std::vector<host::St436mPacket> stored;
            for (const host::Packet& p : packets) {
                host::St436mPacket s;
                static_cast<host::Packet&>(s) = p;
                s.line = 9;
                s.wrapping = 1;
                s.coding = 4;
                stored.push_back(std::move(s));
            }
            return host::st436mElement(stored, {}, &faults);
        }
        case Form::Rtmd:  // inForm writes it: its header carries the report's timecode
        case Form::Packets:
            break;
    }
    std::vector<unsigned char> bare;  // packets without flags
    for (const host::Packet& p : packets)
        appendAncillaryPacket(bare, p.did, p.sdid, p.udw, AncillaryDataBufferWithoutFlags);
    return bare;
}

/// The timecode of a report as the dump writes it ("10:00:00:00", ";" before the frames when
/// drop-frame), for an rtmd sample's header; none where the report has none.
std::optional<RtmdTimecode> reportTimecode(const json& report) {
    const auto it = report.find("timecode");
    if (it == report.end() || !it->is_string()) return std::nullopt;
    const std::string& text = it->get_ref<const std::string&>();
    unsigned fields[4] = {};
    const char* at = text.data();
    const char* const end = text.data() + text.size();
    for (int i = 0; i < 4; ++i) {
        const auto [next, ec] = std::from_chars(at, end, fields[i]);
        const bool last = i == 3;
        if (ec != std::errc() || next - at != 2 || fields[i] > 59 ||
            (last ? next != end : next == end || (*next != ':' && (i != 2 || *next != ';'))))
            notAnAnswer("timecode", "needs HH:MM:SS:FF, not \"" + text + "\"");
        at = last ? next : next + 1;
    }
    if (fields[0] > 23) notAnAnswer("timecode", "needs hours below 24");
    return RtmdTimecode{static_cast<std::uint8_t>(fields[0]), static_cast<std::uint8_t>(fields[1]),
                        static_cast<std::uint8_t>(fields[2]), static_cast<std::uint8_t>(fields[3]),
                        text[8] == ';'};
}

/// The bytes of a frame's buffer in the chosen form; a frame the form can't hold whole is
/// refused.
std::vector<unsigned char> inForm(const std::vector<unsigned char>& buffer, const json& report,
                                  const Options& o) {
    if (o.form == Form::Packets && o.flags) return buffer;
    FaultList faults;
    const std::vector<host::Packet> packets = host::packetsFromAncillaryBuffer(buffer, true);
    std::vector<unsigned char> bytes;
    if (o.form == Form::Rtmd) {
        // A sample carries the RDD 18 packs alone, joined as the packets carried them.
        if (const auto it = report.find("arri"); it != report.end() && !it->empty())
            notAnAnswer("arri", "an rtmd sample carries RDD 18 alone");
        bytes = writeRtmdSample(host::rdd18Stream(packets), reportTimecode(report));
    } else {
        bytes = hostForm(packets, o, faults);
    }
    if (!faults.empty()) {
        throw EncodeError(faults.faults().front(), "",
                          "the frame doesn't fit its form: " + describe(faults.faults().front()));
    }
    if (o.elementSize) {
        if (bytes.size() > o.elementSize) {
            throw EncodeError(Fault{.code = FaultCode::StreamTooLarge,
                                    .expected = o.elementSize,
                                    .found = bytes.size()},
                              "",
                              "the frame takes " + std::to_string(bytes.size()) +
                                  " bytes, more than --element-size " +
                                  std::to_string(o.elementSize));
        }
        bytes.resize(o.elementSize, 0);  // readers of both forms pass over trailing zeros
    }
    return bytes;
}

/// JSON text with each number token -0 written -0.0: the JSON library reads -0 as the integer 0,
/// and the dump writes a negative zero (of a float or a double) as -0.
std::string withNegativeZeros(std::string text) {
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') ++i;
            inString = c != '"';
        } else if (c == '"') {
            inString = true;
        } else if (c == '-' && i + 1 < text.size() && text[i + 1] == '0' &&
                   (i + 2 == text.size() ||
                    std::string_view(",]} \t\r\n").find(text[i + 2]) != std::string_view::npos)) {
            text.insert(i + 2, ".0");
        }
    }
    return text;
}

/// The file of frame `n` where `pattern` holds one "%d" (or "%0Nd", zero-padded to N digits, N
/// up to 9; "%%" is a percent sign); nothing for a pattern without one, which names one file for
/// every frame. Throws `std::invalid_argument` for any other use of '%'.
std::optional<std::string> frameFile(const std::string& pattern, std::uint64_t n) {
    std::string name;
    bool numbered = false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            name += pattern[i];
            continue;
        }
        if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
            name += '%';
            ++i;
            continue;
        }
        std::size_t width = 0;
        std::size_t at = i + 1;
        if (at + 1 < pattern.size() && pattern[at] == '0' && pattern[at + 1] >= '1' &&
            pattern[at + 1] <= '9') {
            width = static_cast<std::size_t>(pattern[at + 1] - '0');
            at += 2;
        }
        if (numbered || at >= pattern.size() || pattern[at] != 'd')
            throw std::invalid_argument("one %d or %0Nd (N from 1 to 9) numbers the frames");
        const std::string digits = std::to_string(n);
        name += std::string(width > digits.size() ? width - digits.size() : 0, '0') + digits;
        numbered = true;
        i = at;
    }
    if (!numbered) return std::nullopt;
    return name;
}

/// The number of a report's frame: its "frame" (a plain or a typed number, as velmora-dump
/// writes it), else `index`, its place among the reports.
std::uint64_t frameNumber(const json& report, std::uint64_t index) {
    if (!report.is_object() || !report.contains("frame")) return index;
    const json& frame = report["frame"];
    const json& number = frame.is_object() ? frame.value("$value", json()) : frame;
    return number.is_number_unsigned() ? number.get<std::uint64_t>() : index;
}

/// Writes `bytes` to the file `name`; false where it can't.
bool writeFile(const std::string& name, const std::vector<unsigned char>& bytes) {
    std::ofstream file(name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file);
}

std::string frameName(const std::string& input, const json& report, std::size_t index,
                      bool several) {
    std::string name = input == "-" ? "standard input" : input;
    if (several) name += " frame " + std::to_string(index);
    if (report.is_object() && report.contains("file") && report["file"].is_string())
        name += " (" + report["file"].get<std::string>() + ")";
    return name;
}

}  // namespace

Value valueFromJson(const json& j, const std::string& key) {
    switch (j.type()) {
        case json::value_t::string:
            return j.get<std::string>();
        case json::value_t::boolean:
            return Number::boolean(j.get<bool>());
        case json::value_t::number_integer:
            return Number::integer(j.get<std::int64_t>());
        case json::value_t::number_unsigned:
            if (j.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX))
                return Number::unsignedLong(j.get<std::uint64_t>());
            return Number::integer(j.get<std::int64_t>());
        case json::value_t::number_float:
            return Number::doubleNumber(j.get<double>());
        case json::value_t::array: {
            Array array;
            for (std::size_t i = 0; i < j.size(); ++i)
                array.push_back(valueFromJson(j[i], key + "[" + std::to_string(i) + "]"));
            return array;
        }
        case json::value_t::object: {
            if (j.contains("$kind")) {
                if (j.size() != 2 || !j.contains("$value") || !j["$kind"].is_string())
                    notAnAnswer(key, "a number needs \"$kind\" and \"$value\" alone");
                return numberOfKind(j["$kind"].get<std::string>(), j["$value"], key);
            }
            if (j.contains("$number")) return Number::doubleNumber(doubleOf(j, key));
            if (j.contains("$data")) {
                if (j.size() != 1) notAnAnswer(key, "data needs \"$data\" alone");
                return dataOfHex(j["$data"], key);
            }
            std::vector<Dictionary::Entry> entries;
            for (const auto& [k, v] : j.items()) {
                if (!k.empty() && k[0] == '$') notAnAnswer(key + "." + k, "is no key of an answer");
                entries.emplace_back(k, valueFromJson(v, key + "." + k));
            }
            return Dictionary::fromEntries(std::move(entries));
        }
        default:
            notAnAnswer(key, "null and binary values are no part of an answer");
    }
}

int run(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
        std::ostream& err) {
    CLI::App app(
        "Writes camera metadata back into ancillary data: reads the answers that\n"
        "velmora-dump -f json --types writes (one report or an array of them, each with an\n"
        "\"rdd18\" and/or an \"arri\" section) and writes one frame per report, all frames one\n"
        "after another: each frame's RDD 18 packets, then its ARRI packets.\n",
        kProgram);
    app.allow_windows_style_options(false);  // "/name" is a path on every platform
    app.footer(R"(Examples:
  velmora-dump --types -f json a.anc | velmora-encode - -o b.anc      the same answers again
  velmora-encode --to st436m -o track.bin answers.json                 ST 436M elements
  velmora-encode --to v210 --width 1920 -o vanc.bin answers.json       v210 VANC lines
  velmora-encode --to st436m --element-size 1024 -o track.436 a.json   elements of one size, as
      ffmpeg -f data -raw_packet_size 1024 -i track.436 reads them into an MXF (see README)

Numbers keep the kinds of {"$kind": k, "$value": n}; a plain number is an integer or a double.
RDD 18 answers are written with the first flavour that knows every key unless --flavour names
one. A frame that can't be written so that velmora-dump gives its answers back is one line on
standard error naming the key (the other frames are written) and exit status 1.
)");
    std::string input = "-";
    std::string output = "-";
    std::string form = "packets";
    std::string flavour = "auto";
    Options o;
    bool noFlags = false;
    app.add_option("input", input, "Reports as JSON; \"-\" or none reads standard input")
        ->type_name("FILE");
    app.add_option("-o,--output", output,
                   "Where the frames go; \"-\" is standard output. A name with %d (or %04d) "
                   "writes one file per frame, numbered as the report's \"frame\" (else its "
                   "place among the reports)")
        ->type_name("FILE");
    const std::map<std::string, Form> forms{{"packets", Form::Packets}, {"words10", Form::Words10},
                                            {"v210", Form::V210},       {"uyvy", Form::Uyvy},
                                            {"rfc8331", Form::Rfc8331}, {"st436m", Form::St436m},
                                            {"rtmd", Form::Rtmd}};
    app.add_option("--to", form,
                   "Form of each frame: packets (8-bit packet buffer), words10 (10-bit words as "
                   "16-bit little-endian values), v210 or uyvy (VANC lines, see --width), rfc8331 "
                   "(an RFC 8331 RTP payload), st436m (an ST 436M ANC element) or rtmd (an MP4 "
                   "timed-metadata sample: RDD 18 packs behind a header with the report's "
                   "timecode)")
        ->transform(CLI::IsMember(forms, CLI::ignore_case))
        ->default_str("packets");
    app.add_option("--width", o.width, "Pixels per VANC line (v210, uyvy)")
        ->check(CLI::Range(1u, 65535u))
        ->default_str("1920");
    app.add_option("--element-size", o.elementSize,
                   "st436m, rtmd: every frame padded with zero bytes to this size; a larger "
                   "frame is refused")
        ->check(CLI::Range(std::size_t{1}, tools::kLargestElementSize))
        ->type_name("BYTES");
    app.add_flag("--no-flags", noFlags, "Packets without the 3-byte flag (--to packets)");
    app.add_option("--flavour,--flavor", flavour, "RDD 18 item set: auto, standard, sony, varicam")
        ->transform(CLI::IsMember({"auto", "standard", "sony", "varicam"}, CLI::ignore_case))
        ->default_str("auto");
    app.add_flag("--from-units", o.fromUnits,
                 "Write each report's \"units\" section (as velmora-dump --units writes it, or "
                 "one model: focalLengthMm, irisTNumber, focusDistanceM, ...) as standard RDD 18 "
                 "items, each value rounded to the nearest code its item holds");
    app.add_flag("--round", o.round,
                 "Write a lens value no 16-bit decimal code gives exactly as the nearest one");
    if (const auto status = tools::parseArguments(app, args, out, err, kExitBadArguments))
        return *status;
    o.form = forms.at(form);
    if (o.elementSize && o.form != Form::St436m && o.form != Form::Rtmd) {
        err << kProgram << ": --element-size is for --to st436m and rtmd (see " << kProgram
            << " --help)\n";
        return kExitBadArguments;
    }
    o.flags = !noFlags;
    if (flavour != "auto") o.flavour = flavourFromName(flavour);

    json reports;
    try {
        std::ifstream file;
        if (input != "-") {
            file.open(input, std::ios::binary);
            if (!file) {
                err << kProgram << ": can't read " << input << '\n';
                return kExitBadInput;
            }
        }
        std::istream& source = input == "-" ? in : file;
        reports = json::parse(withNegativeZeros(
            std::string(std::istreambuf_iterator<char>(source), std::istreambuf_iterator<char>())));
    } catch (const json::parse_error& e) {
        err << kProgram << ": " << (input == "-" ? "standard input" : input)
            << " is no JSON: " << e.what() << '\n';
        return kExitBadInput;
    }
    const bool several = reports.is_array();
    if (!several) reports = json::array({reports});

    std::optional<std::string> perFrame;
    try {
        perFrame = frameFile(output, 0);
    } catch (const std::invalid_argument& e) {
        err << kProgram << ": -o " << output << ": " << e.what() << '\n';
        return kExitBadArguments;
    }
    std::ofstream file;
    if (output != "-" && !perFrame) {
        file.open(output, std::ios::binary);
        if (!file) {
            err << kProgram << ": can't write " << output << '\n';
            return kExitWriteFailed;
        }
    }
    std::ostream& sink = output == "-" ? out : file;
    int status = kExitOk;
    for (std::size_t i = 0; i < reports.size(); ++i) {
        std::vector<unsigned char> bytes;
        try {
            bytes = inForm(frameBuffer(reports[i], o, "report"), reports[i], o);
        } catch (const EncodeError& e) {
            err << kProgram << ": " << frameName(input, reports[i], i, several) << ": " << e.what()
                << '\n';
            status = kExitBadInput;
            continue;
        }
        if (perFrame) {
            const std::string name = *frameFile(output, frameNumber(reports[i], i));
            if (!writeFile(name, bytes)) {
                err << kProgram << ": can't write " << name << '\n';
                return kExitWriteFailed;
            }
            continue;
        }
        sink.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    sink.flush();
    if (!sink) {
        err << kProgram << ": can't write the output\n";
        return kExitWriteFailed;
    }
    return status;
}

}  // namespace rdd18::encode
