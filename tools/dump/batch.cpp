#include "dump/batch.h"

#include <filesystem>
#include <set>
#include <sstream>

#include "dump/ari_frames.h"
#include "dump/dump.h"
#include "dump/hints.h"
#include "dump/input.h"

namespace rdd18::dump {

namespace {

using FrameSink = std::function<void(const Frame&, const FrameReport&)>;

// One pass over every input; returns the names of those that failed, after their error lines.
// `hints`: whether a frame that looks read the wrong way gets its hint line.
std::set<std::string> decodeAll(const std::vector<std::string>& files, const BatchOptions& options,
                                const Reporter& reporter, std::istream& in, std::ostream& err,
                                bool hints, const FrameSink& sink,
                                const std::set<std::string>& skip = {}) {
    std::set<std::string> failed;
    for (const auto& name : files) {
        if (skip.count(name)) continue;
        try {
            readFrames(name, options.source, in, [&](const Frame& frame) {
                const FrameReport r = reporter.report(frame);
                const std::string hint =
                    hints && frame.form == InputForm::Packets
                        ? readingHint(frame.bytes, options.source.hex, frame.flags)
                        : "";
                if (!hint.empty())
                    err << "velmora-dump: " << frame.name << ": no RDD 18 or ARRI packet found; "
                        << hint << '\n';
                const std::string refusal =
                    hints && frame.form == InputForm::Ari ? ariRefusal(frame.bytes) : "";
                if (!refusal.empty())
                    err << "velmora-dump: " << frame.name << ": " << refusal << '\n';
                sink(frame, r);
            });
        } catch (const InputError& e) {
            err << "velmora-dump: " << e.what() << '\n';
            failed.insert(name);
        }
    }
    return failed;
}

// The inputs with each folder replaced by its ARRIRAW frame files (forms auto and ari), the
// folder's notes written once to `err`; a folder that can't be read is one error line, in
// `failed`.
std::vector<std::string> expandFolders(const std::vector<std::string>& files, InputForm form,
                                       std::ostream& err, std::set<std::string>& failed) {
    std::vector<std::string> inputs;
    for (const auto& name : files) {
        std::error_code ec;
        if (name == "-" || (form != InputForm::Auto && form != InputForm::Ari) ||
            !std::filesystem::is_directory(name, ec)) {
            inputs.push_back(name);
            continue;
        }
        try {
            AriFolder folder = listAriFolder(name);
            for (const auto& note : folder.notes) err << "velmora-dump: warning: " << note << '\n';
            inputs.insert(inputs.end(), folder.files.begin(), folder.files.end());
        } catch (const InputError& e) {
            err << "velmora-dump: " << e.what() << '\n';
            failed.insert(name);
        }
    }
    return inputs;
}

}  // namespace

int decodeBatch(const std::vector<std::string>& arguments, const BatchOptions& options,
                const Reporter& reporter, std::istream& in, std::ostream& out, std::ostream& err) {
    std::unique_ptr<ReportWriter> writer;
    std::vector<std::string> columns;
    std::set<std::string> failed;
    const std::vector<std::string> files =
        expandFolders(arguments, options.source.form, err, failed);
    std::istream* source = &in;
    std::istringstream heldInput;
    if (options.write.format == Format::Csv) {
        // First pass: the columns. Standard input can be read once only, so it is held.
        if (std::count(files.begin(), files.end(), "-") > 0) {
            heldInput.str(std::string(std::istreambuf_iterator<char>(in), {}));
            source = &heldInput;
        }
        CsvColumns collect;
        const auto failedFirst =
            decodeAll(files, options, reporter, *source, err, false,
                      [&](const Frame&, const FrameReport& r) { collect.add(r); });
        failed.insert(failedFirst.begin(), failedFirst.end());
        columns = collect.columns();
        heldInput.clear();
        heldInput.seekg(0);
    }
    const auto failedNow = decodeAll(
        files, options, reporter, *source, err, true,
        [&](const Frame& frame, const FrameReport& r) {
            if (!writer) writer = makeReportWriter(out, options.write, columns);
            writer->frame(r);
            // A live flow's frames are read as they come, so each goes out at once.
            if (options.source.form == InputForm::Rtp) out.flush();
            if (options.written) options.written(frame, r);
        },
        failed);
    failed.insert(failedNow.begin(), failedNow.end());
    if (!writer && failed.empty()) writer = makeReportWriter(out, options.write, columns);
    if (writer) writer->finish();
    return failed.empty() ? kExitOk : kExitBadInput;
}

}  // namespace rdd18::dump
