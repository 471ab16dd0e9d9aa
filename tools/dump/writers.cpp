#include "dump/writers.h"

namespace rdd18::dump {

namespace {

// The reports of a run whose output is made elsewhere from the same frames.
class SilentWriter : public ReportWriter {
  public:
    void frame(const FrameReport&) override {}
    void finish() override {}
};

}  // namespace

std::unique_ptr<ReportWriter> makeReportWriter(std::ostream& out, const WriteOptions& options,
                                               std::vector<std::string> csvColumns) {
    switch (options.format) {
        case Format::Json:
            return jsonWriter(out, false, options.types);
        case Format::JsonLines:
            return jsonWriter(out, true, options.types);
        case Format::Plist:
            return plistWriter(out, options.types);
        case Format::Table:
            return tableWriter(out, options.types);
        case Format::Csv:
            return csvWriter(out, std::move(csvColumns));
        case Format::OpenTrackIO:
            return std::make_unique<SilentWriter>();
    }
    return nullptr;
}

}  // namespace rdd18::dump
