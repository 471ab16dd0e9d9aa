// A folder of 1,000 ARRIRAW frames of a camera's size through the tool's frame source: the folder
// listed in frame order and each frame read, with and without its answer. The frames are sparse
// files of 20.7 MB (a 4448 x 3096 picture of 12-bit samples behind the 4096-byte record), made
// once per run in the temporary folder, so they take almost no disk.
//
// "read_bytes/frame" is what the process read from files during the run (the kernel's rchar in
// /proc/self/io) per frame: the 4096 bytes of the record, not the picture behind it, and the 12
// of the first look at the file.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "dump/ari_frames.h"
#include "dump/frames.h"
#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"

namespace velmora::bench {
namespace {

namespace fs = std::filesystem;
using rdd18::testsupport::ArriHeaderBuilder;

constexpr int kFrames = 1000;
constexpr std::uint32_t kWidth = 4448, kHeight = 3096;
constexpr std::uintmax_t kFrameSize = 4096 + std::uintmax_t{kWidth} * kHeight * 3 / 2;

// The folder of frames, removed when the program ends.
class Take {
  public:
    Take() : path_(fs::temp_directory_path() / ("velmora-bench-ari-" + std::to_string(getpid()))) {
        fs::create_directories(path_);
        ArriHeaderBuilder h;
        h.u32(0x14, kWidth).u32(0x18, kHeight).textField(0x29C, 8, "ALEXA LF");
        h.u32(0x0374, 1).u32(0x0378, 3250).u32(0x037C, 50000).u32(0x0384, 4300);  // lens
        const auto record = rdd18::testsupport::ariFile(h.bytes(), 0);
        for (int frame = 0; frame < kFrames; ++frame) {
            char name[64];
            std::snprintf(name, sizeof name, "A001C003_250922_R1ZA.%07d.ari", frame);
            const fs::path file = path_ / name;
            std::ofstream(file, std::ios::binary)
                .write(reinterpret_cast<const char*>(record.data()),
                       static_cast<std::streamsize>(record.size()));
            fs::resize_file(file, kFrameSize);  // the picture: a hole, not written blocks
        }
    }
    ~Take() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    std::string path() const { return path_.string(); }

  private:
    fs::path path_;
};

const Take& take() {
    static const Take t;
    return t;
}

// Bytes this process has read from files so far (0 where /proc/self/io isn't there).
std::uint64_t bytesRead() {
    std::ifstream io("/proc/self/io");
    std::string key;
    std::uint64_t value = 0;
    while (io >> key >> value)
        if (key == "rchar:") return value;
    return 0;
}

// range(0): 1 also answers each frame (parseFile), 0 only reads it.
void BM_AriFolder(benchmark::State& state) {
    const std::string folder = take().path();
    const bool answers = state.range(0) != 0;
    const VLArriANCParser parser;
    rdd18::dump::SourceOptions options;
    std::istringstream none;
    std::uint64_t frames = 0, keys = 0;
    const std::uint64_t before = bytesRead();
    for (auto _ : state) {
        for (const auto& file : rdd18::dump::listAriFolder(folder).files) {
            rdd18::dump::readFrames(file, options, none, [&](const rdd18::dump::Frame& f) {
                ++frames;
                if (answers) keys += parser.parseFile(f.bytes).size();
                benchmark::DoNotOptimize(f.bytes.data());
            });
        }
    }
    const std::uint64_t read = bytesRead() - before;
    if (frames != static_cast<std::uint64_t>(state.iterations()) * kFrames ||
        (answers && keys != frames * 62)) {
        state.SkipWithError("a frame was not read, or not answered in full");
        return;
    }
    // The record and the 12 bytes of the first look at a file (whether it is a clip): a buffered
    // look reads a buffer's worth of the picture too.
    if (read > frames * (4096 + 64)) {
        state.SkipWithError("a frame read more than its record and the first look at it");
        return;
    }
    state.counters["frames/s"] =
        benchmark::Counter(static_cast<double>(frames), benchmark::Counter::kIsRate);
    state.counters["read_bytes/frame"] = static_cast<double>(read) / static_cast<double>(frames);
    state.counters["file_bytes/frame"] = static_cast<double>(kFrameSize);
}
BENCHMARK(BM_AriFolder)->ArgName("answers")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velmora::bench
