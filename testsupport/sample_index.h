// samples/index.txt: one line per bundled sample, its file name and the velmora-dump options it
// is decoded with. make-samples writes it and the golden files; the golden-file test reads both.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace rdd18::testsupport {

struct SampleEntry {
    std::string file;
    std::vector<std::string> options;

    std::string stem() const { return std::filesystem::path(file).stem().string(); }

    /// JSON for every sample; every format for the two samples whose answers hold what each
    /// writer must take care of (numbers of every kind, NaN, -0, data, text, packet lists).
    std::vector<std::string> goldenFormats() const {
        if (stem() == "extreme-values" || stem() == "mixed")
            return {"json", "jsonl", "plist", "table"};
        return {"json"};
    }
};

/// The entries of an index file, in file order; throws std::runtime_error if it can't be read.
inline std::vector<SampleEntry> readSampleIndex(const std::filesystem::path& path) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read " + path.string());
    std::vector<SampleEntry> entries;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line);
        SampleEntry e;
        words >> e.file;
        for (std::string w; words >> w;) e.options.push_back(w);
        entries.push_back(std::move(e));
    }
    return entries;
}

}  // namespace rdd18::testsupport
