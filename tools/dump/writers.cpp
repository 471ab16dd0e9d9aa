#include "dump/writers.h"

namespace rdd18::dump {

void writeReports(std::ostream& out, const std::vector<FrameReport>& frames,
                  const WriteOptions& options) {
    switch (options.format) {
        case Format::Json:
            return writeJson(out, frames, false, options.types);
        case Format::JsonLines:
            return writeJson(out, frames, true, options.types);
        case Format::Plist:
            return writePlist(out, frames, options.types);
        case Format::Table:
            return writeTable(out, frames, options.types);
    }
}

}  // namespace rdd18::dump
