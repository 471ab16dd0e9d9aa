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
    kExitBadArguments = 2  ///< the command line is wrong
};

/// Runs the tool with `args` (without the program name): reads every input first, then writes
/// the reports to `out`. Help and version go to `out`; an error is one line on `err`, and then
/// nothing is written to `out`. Returns an `ExitStatus`.
int run(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
        std::ostream& err);

}  // namespace rdd18::dump
