// The command line of velmora-dump: arguments in, reports out.
#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace rdd18::dump {

/// Exit status of a run.
enum ExitStatus : int {
    kExitOk = 0,           ///< every input was read and reported (an empty answer is an answer)
    kExitBadInput = 1,     ///< an input couldn't be read, or its hexadecimal text is malformed
                           ///< (the other inputs were still decoded)
    kExitBadArguments = 2  ///< the command line is wrong
};

/// Runs the tool with `args` (without the program name): decodes the inputs in order and writes
/// each frame's report to `out` as soon as it is decoded. Help and version go to `out`. A bad
/// command line is one line on `err` and nothing on `out`; an input that can't be read is one line
/// on `err`, and the other inputs are still decoded. Returns an `ExitStatus`.
int run(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
        std::ostream& err);

}  // namespace rdd18::dump
