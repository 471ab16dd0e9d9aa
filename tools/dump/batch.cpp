#include "dump/batch.h"

#include <algorithm>
#include <filesystem>
#include <map>
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
                                std::ostream* progress = nullptr) {
    std::set<std::string> failed;
    std::size_t index = 0;
    for (const auto& name : files) {
        ++index;
        if (progress)
            *progress << "\r\x1b[K[" << index << "/" << files.size() << "] " << name << std::flush;
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
            if (progress) *progress << "\r\x1b[K";
            err << "velmora-dump: " << e.what() << '\n';
            failed.insert(name);
        }
    }
    return failed;
}

// Appends the ARRIRAW frame files of the folder `path` in frame order and writes its notes to
// `err`; throws `InputError` as `listAriFolder` does.
void appendAriFolder(const std::string& path, std::vector<std::string>& inputs, std::ostream& err) {
    AriFolder folder = listAriFolder(path);
    for (const auto& note : folder.notes) err << "velmora-dump: warning: " << note << '\n';
    inputs.insert(inputs.end(), folder.files.begin(), folder.files.end());
}

// Everything below the folder `dir` that is read as a whole, in name order: its clips and, when
// it holds ARRIRAW frames, those in frame order (its notes written to `err`), then its subfolders'.
void walkFolder(const std::filesystem::path& dir, std::vector<std::string>& inputs,
                std::ostream& err, std::set<std::string>& failed) {
    std::vector<std::filesystem::path> files, folders;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        // A linked folder is left out: a link back up would never end the walk.
        std::error_code typeError;
        const bool folder = it->is_directory(typeError) && !it->is_symlink(typeError);
        (folder ? folders : files).push_back(it->path());
    }
    if (ec) {
        err << "velmora-dump: " << dir.string() << ": cannot list the folder: " << ec.message()
            << '\n';
        failed.insert(dir.string());
        return;
    }
    std::sort(files.begin(), files.end());
    std::sort(folders.begin(), folders.end());
    bool frames = false;
    for (const auto& file : files) {
        const std::string name = file.filename().string();
        if (hasClipName(name)) inputs.push_back(file.string());
        frames = frames || hasAriName(name);
    }
    try {
        if (frames) appendAriFolder(dir.string(), inputs, err);
    } catch (const InputError& e) {  // one folder's error line; the walk goes on
        err << "velmora-dump: " << e.what() << '\n';
        failed.insert(dir.string());
    }
    for (const auto& folder : folders) walkFolder(folder, inputs, err, failed);
}

// The inputs with each folder replaced by its ARRIRAW frame files (forms auto and ari), or with
// `recursive` by everything below it, the folder's notes written once to `err`; a folder that
// can't be read is one error line, in `failed`. `origin` gets the argument each input came from.
std::vector<std::string> expandFolders(const std::vector<std::string>& files, InputForm form,
                                       bool recursive, std::ostream& err,
                                       std::set<std::string>& failed,
                                       std::map<std::string, std::string>& origin) {
    std::vector<std::string> inputs;
    for (const auto& name : files) {
        std::error_code ec;
        const std::size_t first = inputs.size();
        if (name == "-" || (form != InputForm::Auto && form != InputForm::Ari) ||
            !std::filesystem::is_directory(name, ec)) {
            inputs.push_back(name);
        } else {
            try {
                if (recursive)
                    walkFolder(name, inputs, err, failed);
                else
                    appendAriFolder(name, inputs, err);
            } catch (const InputError& e) {
                err << "velmora-dump: " << e.what() << '\n';
                failed.insert(name);
            }
        }
        for (std::size_t i = first; i < inputs.size(); ++i) {
            // An ARRIRAW frame stands for its folder, a clip for itself.
            const std::string parent = std::filesystem::path(inputs[i]).parent_path().string();
            origin.emplace(inputs[i],
                           hasAriName(inputs[i]) && inputs[i] != name ? parent : inputs[i]);
        }
    }
    return inputs;
}

// What --summary says of one input (a clip, or a folder of ARRIRAW frames).
struct InputSummary {
    std::int64_t frames = 0;
    std::string firstTimecode, lastTimecode;
    bool failed = false;
};

void writeSummary(const std::vector<std::string>& order,
                  const std::map<std::string, InputSummary>& summaries, std::ostream& err) {
    std::size_t failed = 0;
    std::int64_t frames = 0;
    for (const auto& [name, s] : summaries) {
        failed += s.failed;
        frames += s.frames;
    }
    err << "velmora-dump: summary: " << summaries.size() << " inputs, " << summaries.size() - failed
        << " read, " << failed << " failed, " << frames << " frames\n";
    for (const auto& name : order) {
        const InputSummary& s = summaries.at(name);
        err << "  " << name << ": " << s.frames << (s.frames == 1 ? " frame" : " frames");
        if (!s.firstTimecode.empty())
            err << ", timecode " << s.firstTimecode << " to " << s.lastTimecode;
        err << (s.failed ? ", FAILED" : "") << '\n';
    }
}

}  // namespace

int decodeBatch(const std::vector<std::string>& arguments, const BatchOptions& options,
                const Reporter& reporter, std::istream& in, std::ostream& out, std::ostream& err) {
    std::unique_ptr<ReportWriter> writer;
    std::vector<std::string> columns;
    std::set<std::string> failed;
    std::map<std::string, std::string> origin;
    const std::vector<std::string> files =
        expandFolders(arguments, options.source.form, options.recursive, err, failed, origin);
    std::istream* source = &in;
    std::istringstream heldInput;
    if (options.write.format == Format::Csv) {
        // First pass: the columns. Standard input can be read once only, so it is held.
        if (std::count(files.begin(), files.end(), "-") > 0) {
            heldInput.str(std::string(std::istreambuf_iterator<char>(in), {}));
            source = &heldInput;
        }
        // The second pass reads every input again and writes the error lines: an input that
        // fails after some frames (an element or a capture cut off) still gives those frames.
        CsvColumns collect;
        std::ostringstream errorsOfFirstPass;
        decodeAll(files, options, reporter, *source, errorsOfFirstPass, false,
                  [&](const Frame&, const FrameReport& r) { collect.add(r); });
        columns = collect.columns();
        heldInput.clear();
        heldInput.seekg(0);
    }
    // The summary's inputs in the order met: folders and clips, each once.
    std::vector<std::string> summaryOrder;
    std::map<std::string, InputSummary> summaries;
    for (const auto& name : arguments) {
        if (failed.count(name) && summaries.try_emplace(name).second) summaryOrder.push_back(name);
    }
    for (const auto& name : files) {
        if (summaries.try_emplace(origin.at(name)).second) summaryOrder.push_back(origin.at(name));
    }
    std::ostream* progress = files.size() > 1 ? options.source.progress : nullptr;
    const auto failedNow = decodeAll(
        files, options, reporter, *source, err, true,
        [&](const Frame& frame, const FrameReport& r) {
            InputSummary& s =
                summaries[origin.count(frame.name) ? origin.at(frame.name) : frame.name];
            ++s.frames;
            for (const auto& section : r.sections) {
                if (section.name != "timecode") continue;
                if (s.firstTimecode.empty()) s.firstTimecode = section.value.string();
                s.lastTimecode = section.value.string();
            }
            if (!writer) writer = makeReportWriter(out, options.write, columns);
            writer->frame(r);
            // A live flow's frames are read as they come, so each goes out at once.
            if (options.source.form == InputForm::Rtp) out.flush();
            if (options.written) options.written(frame, r);
        },
        progress);
    failed.insert(failedNow.begin(), failedNow.end());
    if (progress) *progress << "\r\x1b[K" << std::flush;
    if (!writer && failed.empty()) writer = makeReportWriter(out, options.write, columns);
    if (writer) writer->finish();
    if (options.summary) {
        for (const auto& name : failed) {
            const std::string& of = origin.count(name) ? origin.at(name) : name;
            if (summaries.try_emplace(of).second) summaryOrder.push_back(of);
            summaries[of].failed = true;
        }
        writeSummary(summaryOrder, summaries, err);
    }
    return failed.empty() ? kExitOk : kExitBadInput;
}

}  // namespace rdd18::dump
