#include "dump/writers.h"

namespace rdd18::dump {

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
    }
    return nullptr;
}

void writeReports(std::ostream& out, const std::vector<FrameReport>& frames,
                  const WriteOptions& options) {
    CsvColumns columns;
    if (options.format == Format::Csv) {
        for (const auto& f : frames) columns.add(f);
    }
    const auto writer = makeReportWriter(out, options, columns.columns());
    for (const auto& f : frames) writer->frame(f);
    writer->finish();
}

}  // namespace rdd18::dump
