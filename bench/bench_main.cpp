// The benchmark program: runs the benchmarks and, on the console, closes with each measured
// figure as a ratio to its floor (memcpy for the stream join, the directly built answer for the
// facades), all from the same run. With repetitions the medians are compared.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Pairing {
    const char* measured;
    const char* floor;  ///< null: `measured` times its floor itself and reports the "ratio" counter
    bool throughput;  ///< compare as throughput (floor time / time) rather than cost (time / floor)
    const char* target;
};

// Benchmarks absent from the run (filtered out, or failed) are left out of the table.
const Pairing kPairings[] = {
    {"BM_StreamJoin/payload:255", "BM_StreamMemcpy/payload:255", true, ""},
    {"BM_StreamJoinPaired/payload:255", nullptr, true, ">= 0.5"},
    {"BM_StreamJoin/payload:32", "BM_StreamMemcpy/payload:32", true, ""},
    {"BM_ArriStreamJoin/payload:255", "BM_ArriStreamMemcpy/payload:255", true, ""},
    {"BM_ArriStreamJoinPaired/payload:255", nullptr, true, ">= 0.5"},
    {"BM_StreamJoinSmallReads/payload:255", "BM_StreamMemcpy/payload:255", true, ""},
    {"BM_StreamJoinSmallReads/payload:32", "BM_StreamMemcpy/payload:32", true, ""},
    {"BM_RDD18Parse/standard", "BM_RDD18Answer/standard", false, ""},
    {"BM_RDD18Parse/varicam", "BM_RDD18Answer/varicam", false, ""},
    {"BM_RDD18Parse/sony", "BM_RDD18Answer/sony", false, ""},
    {"BM_RDD18ParsePaired/standard", nullptr, false, "<= 1.5"},
    {"BM_RDD18ParsePaired/varicam", nullptr, false, "<= 1.5"},
    {"BM_RDD18ParsePaired/sony", nullptr, false, "<= 1.5"},
    {"BM_ArriParse/typical", "BM_ArriAnswer/typical", false, "<= 1.5"},
    {"BM_ArriTranslate/typical", "BM_ArriAnswer/typical", false, "<= 1.5"},
    {"BM_ArriParse/typical", "BM_ArriAnswerRecordOrder/typical", false, ""},
    {"BM_ArriTranslate/typical", "BM_ArriAnswerRecordOrder/typical", false, ""},
    {"BM_HostConvert/form:0", "BM_HostMemcpy/form:0", true, ""},  // packet list
    {"BM_HostConvert/form:1", "BM_HostMemcpy/form:1", true, ""},  // words10
    {"BM_HostConvert/form:2", "BM_HostMemcpy/form:2", true, ""},  // v210
    {"BM_HostConvert/form:3", "BM_HostMemcpy/form:3", true, ""},  // uyvy
    {"BM_HostConvert/form:4", "BM_HostMemcpy/form:4", true, ""},  // rfc8331
    {"BM_HostPaired/form:0", nullptr, true, ">= 0.25"},
    {"BM_HostPaired/form:1", nullptr, true, ">= 0.25"},
    {"BM_HostPaired/form:2", nullptr, true, ">= 0.25"},
    {"BM_HostPaired/form:3", nullptr, true, ">= 0.25"},
    {"BM_HostPaired/form:4", nullptr, true, ">= 0.25"},
    // not a floor: the former decode through powl, which the integer decode must not lose to
    {"BM_DecimalFloat<HalfFloatLensSerial>", "BM_DecimalFloatPowl<HalfFloatLensSerial>", false,
     "<= 1.0"},
    {"BM_DecimalFloat<HalfFloat>", "BM_DecimalFloatPowl<HalfFloat>", false, "<= 1.0"},
};

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    using benchmark::ConsoleReporter::ConsoleReporter;

    void ReportRuns(const std::vector<Run>& runs) override {
        benchmark::ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            const std::string name = run.run_name.str();
            const auto ratio = run.counters.find("ratio");
            if (run.run_type == Run::RT_Aggregate) {
                if (run.aggregate_name != "median") continue;
                medians_[name] = run.GetAdjustedCPUTime();
                if (ratio != run.counters.end()) pairedMedians_[name] = ratio->second.value;
            } else {
                singles_[name] = run.GetAdjustedCPUTime();
                if (ratio != run.counters.end()) paired_[name] = ratio->second.value;
            }
        }
    }

    void Finalize() override {
        benchmark::ConsoleReporter::Finalize();
        bool header = false;
        for (const Pairing& p : kPairings) {
            double ratio = 0;
            if (p.floor == nullptr) {
                const double* paired = find(pairedMedians_, paired_, p.measured);
                if (!paired || *paired <= 0) continue;
                ratio = p.throughput ? 1 / *paired : *paired;
            } else {
                const double* measured = find(medians_, singles_, p.measured);
                const double* floor = find(medians_, singles_, p.floor);
                if (!measured || !floor || *measured <= 0 || *floor <= 0) continue;
                ratio = p.throughput ? *floor / *measured : *measured / *floor;
            }
            if (!header) {
                std::printf("\n%-40s %-36s %8s  %s\n", "measured", "floor", "ratio", "target");
                header = true;
            }
            std::printf("%-40s %-36s %7.2fx  %s%s\n", p.measured,
                        p.floor ? p.floor : "(its own, interleaved)", ratio, p.target,
                        p.throughput ? " (throughput)" : " (cost)");
        }
        std::fflush(stdout);
    }

  private:
    using Figures = std::map<std::string, double>;

    /// The median of `name` when the run has repetitions, else its single figure.
    static const double* find(const Figures& medians, const Figures& singles,
                              const std::string& name) {
        if (auto it = medians.find(name); it != medians.end()) return &it->second;
        if (auto it = singles.find(name); it != singles.end()) return &it->second;
        return nullptr;
    }

    Figures medians_, singles_;       // CPU time
    Figures pairedMedians_, paired_;  // the "ratio" counter of paired benchmarks
};

bool consoleFormat(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg.starts_with("--benchmark_format=") && arg != "--benchmark_format=console") {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const bool console = consoleFormat(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
#if defined(__clang__)
    benchmark::AddCustomContext("compiler", "clang " __clang_version__);
#elif defined(__GNUC__)
    benchmark::AddCustomContext("compiler", "g++ " __VERSION__);
#endif
#if defined(NDEBUG)
    benchmark::AddCustomContext("assertions", "off");
#else
    benchmark::AddCustomContext("assertions", "on: not a release build, figures are not final");
#endif
    if (console) {
        RatioReporter reporter(isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_Color
                                                     : benchmark::ConsoleReporter::OO_None);
        benchmark::RunSpecifiedBenchmarks(&reporter);
    } else {
        benchmark::RunSpecifiedBenchmarks();
    }
    benchmark::Shutdown();
    return 0;
}
