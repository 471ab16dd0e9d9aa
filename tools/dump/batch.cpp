#include "dump/batch.h"

#include <set>
#include <sstream>

#include "dump/dump.h"
#include "dump/hints.h"
#include "dump/input.h"

namespace rdd18::dump {

namespace {

using FrameSink = std::function<void(const FrameReport&)>;

// `hints`: where a frame that looks read the wrong way gets its hint line, if anywhere.
void decodeInput(const std::string& name, const BatchOptions& options, const Reporter& reporter,
                 std::istream& in, std::ostream* hints, const FrameSink& sink) {
    InputForm form = options.form;
    if (form == InputForm::Auto) form = looksLikeClip(name) ? InputForm::Clip : InputForm::Packets;
    const ClipFrameVisitor visit = [&](const ClipFrame& f) { sink(reporter.report(name, f)); };
    switch (form) {
        case InputForm::Auto:
        case InputForm::Packets:
        case InputForm::Words10:
        case InputForm::V210:
        case InputForm::Uyvy:
        case InputForm::Rfc8331: {
            HostInputOptions host = options.host;
            host.form = form == InputForm::Auto ? InputForm::Packets : form;
            for (const Frame& frame : framesOf(readInput(name, false, in), host)) {
                FrameReport r = reporter.report(frame.name, frame.bytes);
                if (hints && host.form == InputForm::Packets) {
                    const std::string hint = readingHint(frame.bytes, host.hex, frame.flags);
                    if (!hint.empty())
                        *hints << "velmora-dump: " << frame.name
                               << ": no RDD 18 or ARRI packet found; " << hint << '\n';
                }
                if (options.explainInput && host.form != InputForm::Packets)
                    r.sections.push_back(
                        {"input", Array(frame.faults.begin(), frame.faults.end())});
                sink(r);
            }
            return;
        }
        case InputForm::St436m:
            if (options.host.hex) {
                const Input input = readInput(name, true, in);
                return readElementRun(input.bytes, name, options.frames, visit);
            }
            return readElementRun(*openInput(name, in), name, options.frames, visit);
        case InputForm::Clip:
            if (name == "-") throw InputError("-: a clip is read from a file, not standard input");
            return readClip(name, options.frames, visit, options.progress);
    }
}

// One pass over every input; returns the names of those that failed, after their error lines.
std::set<std::string> decodeAll(const std::vector<std::string>& files, const BatchOptions& options,
                                const Reporter& reporter, std::istream& in, std::ostream& err,
                                bool hints, const FrameSink& sink,
                                const std::set<std::string>& skip = {}) {
    std::set<std::string> failed;
    for (const auto& name : files) {
        if (skip.count(name)) continue;
        try {
            decodeInput(name, options, reporter, in, hints ? &err : nullptr, sink);
        } catch (const InputError& e) {
            err << "velmora-dump: " << e.what() << '\n';
            failed.insert(name);
        }
    }
    return failed;
}

}  // namespace

int decodeBatch(const std::vector<std::string>& files, const BatchOptions& options,
                const Reporter& reporter, std::istream& in, std::ostream& out, std::ostream& err) {
    std::unique_ptr<ReportWriter> writer;
    std::vector<std::string> columns;
    std::set<std::string> failed;
    std::istream* source = &in;
    std::istringstream heldInput;
    if (options.write.format == Format::Csv) {
        // First pass: the columns. Standard input can be read once only, so it is held.
        if (std::count(files.begin(), files.end(), "-") > 0) {
            heldInput.str(std::string(std::istreambuf_iterator<char>(in), {}));
            source = &heldInput;
        }
        CsvColumns collect;
        failed = decodeAll(files, options, reporter, *source, err, false,
                           [&](const FrameReport& f) { collect.add(f); });
        columns = collect.columns();
        heldInput.clear();
        heldInput.seekg(0);
    }
    const auto failedNow = decodeAll(
        files, options, reporter, *source, err, true,
        [&](const FrameReport& f) {
            if (!writer) writer = makeReportWriter(out, options.write, columns);
            writer->frame(f);
            if (options.written) options.written(f);
        },
        failed);
    failed.insert(failedNow.begin(), failedNow.end());
    if (!writer && failed.empty()) writer = makeReportWriter(out, options.write, columns);
    if (writer) writer->finish();
    return failed.empty() ? kExitOk : kExitBadInput;
}

}  // namespace rdd18::dump
