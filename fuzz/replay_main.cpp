// Replay driver for builds without libFuzzer: runs LLVMFuzzerTestOneInput once over every file
// named on the command line, and over every file below each directory named there, so that the
// fuzz targets are built and exercised by every ordinary build and test run.
//
//   fuzz_target [file | directory]...
//
// Fails when an input can't be read, when no input was found, or (by aborting) when a target's
// invariant breaks.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool replayFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.string().c_str());
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    // The target copies the input itself; hand it the bytes with no slack it could rely on.
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg(argv[i]);
        std::error_code ec;
        if (fs::is_directory(arg, ec)) {
            for (const auto& entry : fs::recursive_directory_iterator(arg)) {
                if (entry.is_regular_file()) inputs.push_back(entry.path());
            }
        } else {
            inputs.push_back(arg);
        }
    }
    std::sort(inputs.begin(), inputs.end());
    if (inputs.empty()) {
        std::fprintf(stderr, "usage: %s [file | directory]... (no input found)\n", argv[0]);
        return 2;
    }
    for (const auto& path : inputs) {
        if (!replayFile(path)) return 1;
    }
    std::printf("%s: replayed %zu inputs\n", argv[0], inputs.size());
    return 0;
}
