// The bundled samples: every sample in every output format against samples/expected/ (the
// golden files).
//
// When an output changes on purpose, rewrite the expectations with
//   cmake --build <build-dir> --target regenerate-expected
// and review the diff before committing it.
#ifdef VELMORA_HAVE_DUMP_TOOL

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "dump/dump.h"

namespace fs = std::filesystem;

namespace {

const fs::path kSamples = VELMORA_SAMPLES_DIR;
const char* const kFormats[] = {"json", "jsonl", "plist", "table"};

struct IndexEntry {
    std::string file;
    std::vector<std::string> options;
};

std::vector<IndexEntry> sampleIndex() {
    std::ifstream in(kSamples / "index.txt");
    std::vector<IndexEntry> entries;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line);
        IndexEntry e;
        words >> e.file;
        for (std::string w; words >> w;) e.options.push_back(w);
        entries.push_back(e);
    }
    return entries;
}

std::string fileText(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The reports name the files as given; the expectations were made in the samples folder.
class InSamplesFolder {
  public:
    InSamplesFolder() : previous_(fs::current_path()) { fs::current_path(kSamples); }
    ~InSamplesFolder() { fs::current_path(previous_); }

  private:
    fs::path previous_;
};

std::string firstDifference(const std::string& a, const std::string& b) {
    std::istringstream x(a), y(b);
    std::string lx, ly;
    for (int line = 1;; ++line) {
        const bool gx = static_cast<bool>(std::getline(x, lx));
        const bool gy = static_cast<bool>(std::getline(y, ly));
        if (!gx && !gy) return "no difference";
        if (lx != ly || gx != gy) {
            return "line " + std::to_string(line) + ": expected [" + ly + "], got [" + lx + "]";
        }
    }
}

TEST(Samples, IndexCoversEveryFrameAndExpectation) {
    const auto index = sampleIndex();
    ASSERT_GE(index.size(), 20u);
    std::set<std::string> listed, expected, onDisk, expectedOnDisk;
    for (const auto& e : index) {
        EXPECT_TRUE(listed.insert(e.file).second) << e.file << " listed twice";
        for (const char* f : kFormats) expected.insert(fs::path(e.file).stem().string() + "." + f);
    }
    for (const auto& d : fs::directory_iterator(kSamples)) {
        const auto ext = d.path().extension();
        if (ext == ".anc" || ext == ".hex") onDisk.insert(d.path().filename().string());
    }
    for (const auto& d : fs::directory_iterator(kSamples / "expected")) {
        expectedOnDisk.insert(d.path().filename().string());
    }
    EXPECT_EQ(onDisk, listed);
    EXPECT_EQ(expectedOnDisk, expected) << "one stem per sample, four formats each";
}

TEST(Samples, EveryFormatMatchesItsGoldenFile) {
    const InSamplesFolder here;
    for (const auto& entry : sampleIndex()) {
        for (const char* format : kFormats) {
            std::vector<std::string> args = entry.options;
            args.insert(args.end(), {"--format", format, entry.file});
            std::istringstream in;
            std::ostringstream out, err;
            ASSERT_EQ(rdd18::dump::run(args, in, out, err), 0) << entry.file << ": " << err.str();
            const fs::path golden =
                fs::path("expected") / (fs::path(entry.file).stem().string() + "." + format);
            const std::string want = fileText(golden);
            EXPECT_TRUE(out.str() == want) << golden << " " << firstDifference(out.str(), want);
        }
    }
}

}  // namespace

#endif  // VELMORA_HAVE_DUMP_TOOL
