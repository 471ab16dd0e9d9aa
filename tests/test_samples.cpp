// The bundled samples against their golden files in samples/expected/: JSON for every sample,
// every output format for two.
//
// When an output changes on purpose, rewrite the expectations with
//   cmake --build <build-dir> --target regenerate-expected
// and review the diff before committing it.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "dump/dump.h"
#include "frame_builder.h"
#include "sample_index.h"

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
            std::istringstream in;
            std::ostringstream out, err;
            ASSERT_EQ(rdd18::dump::run(args, in, out, err), 0) << entry.file << ": " << err.str();
            const fs::path golden = fs::path("expected") / (entry.stem() + "." + format);
            const std::string want = fileText(golden);
            EXPECT_EQ(out.str(), want) << golden;
        }
    }
    // expected/<stem>.units.<format>: the values in units of two samples.
    for (const auto& [stem, format] : {std::pair{"standard", "table"}, std::pair{"arri", "json"}}) {
        std::istringstream in;
        std::ostringstream out, err;
        rdd18::dump::run({"--units=only", "--format", format, std::string(stem) + ".anc"}, in, out,
                         err);
        EXPECT_EQ(out.str(),
                  fileText(fs::path("expected") / (std::string(stem) + ".units." + format)));
    }
}

}  // namespace
