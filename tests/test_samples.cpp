// The bundled samples against their golden files in samples/expected/: JSON for every sample,
// every output format for two.
//
// When an output changes on purpose, rewrite the expectations with
//   cmake --build <build-dir> --target regenerate-expected
// and review the diff before committing it.
#include <gtest/gtest.h>

#include <filesystem>

#include "frame_builder.h"
#include "sample_index.h"
#include "tool_run.h"

namespace fs = std::filesystem;
using namespace rdd18::testsupport;

namespace {

const fs::path kSamples = VELMORA_SAMPLES_DIR;

std::string fileText(const fs::path& p) {
    const Bytes bytes = fileBytes(p);
    return {bytes.begin(), bytes.end()};
}

// The reports name the files as given; the expectations were made in the samples folder.
class InSamplesFolder {
  public:
    InSamplesFolder() : previous_(fs::current_path()) { fs::current_path(kSamples); }
    ~InSamplesFolder() { fs::current_path(previous_); }

  private:
    fs::path previous_;
};

TEST(Samples, EveryFormatMatchesItsGoldenFile) {
    const InSamplesFolder here;
    for (const auto& entry : readSampleIndex(kSamples / "index.txt")) {
        for (const std::string& format : entry.goldenFormats()) {
            std::vector<std::string> args = entry.options;
            args.insert(args.end(), {"--format", format, entry.file});
            const ToolRun r = tool(args);
            ASSERT_EQ(r.status, 0) << entry.file << ": " << r.err;
            const fs::path golden = fs::path("expected") / (entry.stem() + "." + format);
            EXPECT_EQ(r.out, fileText(golden)) << golden;
        }
    }
    // expected/<stem>.units.<format>: the values in units of two samples.
    for (const auto& [stem, format] : {std::pair{"standard", "table"}, std::pair{"arri", "json"}}) {
        EXPECT_EQ(tool({"--units=only", "--format", format, std::string(stem) + ".anc"}).out,
                  fileText(fs::path("expected") / (std::string(stem) + ".units." + format)));
    }
}

}  // namespace
