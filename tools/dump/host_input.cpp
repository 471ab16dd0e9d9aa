#include "dump/host_input.h"

#include <cstdio>

#include "rdd18/host/packet.h"
#include "rdd18/host/rfc8331.h"
#include "rdd18/host/vanc.h"
#include "rdd18/host/words10.h"
#include "rdd18/transport/parse_observer.h"

namespace rdd18::dump {

namespace {

/// Hears the converters' drops as report lines.
struct DropLines : ParseObserver {
    InputForm form;
    std::vector<std::string>* lines;
    void hostInputDropped(const host::Drop& d) override {
        // Where a drop is counted: 10-bit words, video samples, or bytes of the input.
        const char* unit = form == InputForm::Words10                           ? "word"
                           : form == InputForm::V210 || form == InputForm::Uyvy ? "sample"
                                                                                : "byte";
        char buf[160];
        std::snprintf(buf, sizeof buf, "input: %s at %s %zu%s%u, DID 0x%02x SDID 0x%02x%s",
                      std::string(host::describe(d.reason)).c_str(), unit, d.offset,
                      form == InputForm::V210 || form == InputForm::Uyvy ? " of line " : ", line ",
                      unsigned{d.line}, d.did, d.sdid, d.kept ? ", kept" : ", dropped");
        lines->push_back(buf);
    }
};

Frame convert(std::string name, std::span<const unsigned char> bytes,
              std::span<const std::uint16_t> words, const HostInputOptions& o) {
    Frame frame{std::move(name), {}, true, {}};
    if (o.form == InputForm::Packets) {
        frame.bytes.assign(bytes.begin(), bytes.end());
        frame.flags = o.flags;
        return frame;
    }
    DropLines drops;
    drops.form = o.form;
    drops.lines = &frame.faults;
    const host::ConvertOptions convert{o.keepDamaged};
    std::vector<host::Packet> packets;
    switch (o.form) {
        case InputForm::Words10:
            packets = host::packetsFromWords10(
                words, o.flags ? host::WordLayout::Flagged : host::WordLayout::Bare, convert,
                &drops);
            break;
        case InputForm::V210:
        case InputForm::Uyvy:
            packets = host::packetsFromVancLines(
                bytes,
                {o.form == InputForm::V210 ? host::VancFormat::V210 : host::VancFormat::Uyvy,
                 o.width},
                convert, &drops);
            break;
        case InputForm::Rfc8331:
            packets = host::packetsFromRfc8331(bytes, convert, &drops);
            break;
        case InputForm::Auto:
        case InputForm::Packets:
        case InputForm::St436m:
        case InputForm::Clip:
            break;
    }
    frame.bytes = host::ancillaryBufferFromPackets(packets, &drops);
    return frame;
}

}  // namespace

const std::map<std::string, InputForm>& inputForms() {
    static const std::map<std::string, InputForm> forms{
        {"auto", InputForm::Auto}, {"packets", InputForm::Packets}, {"st436m", InputForm::St436m},
        {"clip", InputForm::Clip}, {"words10", InputForm::Words10}, {"v210", InputForm::V210},
        {"uyvy", InputForm::Uyvy}, {"rfc8331", InputForm::Rfc8331}};
    return forms;
}

std::vector<Frame> framesOf(const Input& raw, const HostInputOptions& o) {
    std::vector<Frame> frames;
    const bool wordForm = o.form == InputForm::Words10;
    if (!o.hex) {
        std::vector<std::uint16_t> words;
        if (wordForm) {
            if (raw.bytes.size() % 2)
                throw InputError(raw.name + ": odd size for 16-bit words (" +
                                 std::to_string(raw.bytes.size()) + " bytes)");
            for (std::size_t i = 0; i + 1 < raw.bytes.size(); i += 2)
                words.push_back(static_cast<std::uint16_t>(raw.bytes[i] | raw.bytes[i + 1] << 8));
        }
        frames.push_back(convert(raw.name, raw.bytes, words, o));
        return frames;
    }
    const std::string_view text(reinterpret_cast<const char*>(raw.bytes.data()), raw.bytes.size());
    std::vector<unsigned char> bytes;
    std::vector<std::uint16_t> words;
    std::size_t frameLine = 0;
    auto flush = [&] {
        std::string name = raw.name;
        if (o.framePerLine) name += ":" + std::to_string(frameLine);
        frames.push_back(convert(std::move(name), bytes, words, o));
        bytes.clear();
        words.clear();
    };
    for (const HexRun& run : analyserHexRuns(text, raw.name)) {
        if (o.framePerLine && run.line != frameLine) {
            if (frameLine) flush();
            frameLine = run.line;
        }
        if (wordForm) {
            if (run.digits.size() > 4)
                failAt(raw.name, run.line, run.column,
                       "more than 4 hexadecimal digits (" + std::to_string(run.digits.size()) +
                           ") in a word");
            words.push_back(static_cast<std::uint16_t>(hexValue(run.digits)));
        } else {
            appendHexBytes(run, raw.name, bytes);
        }
    }
    if (!o.framePerLine || frameLine) flush();
    return frames;
}

}  // namespace rdd18::dump
