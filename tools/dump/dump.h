// The command line of velmora-dump: arguments in, reports out.
#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace rdd18::dump {

/// Exit status of a run.
enum ExitStatus : int {
    kExitOk = 0,            ///< every input was read and reported (an empty answer is an answer)
    kExitBadInput = 1,      ///< an input couldn't be read, or its hexadecimal text is malformed
                            ///< (the other inputs were still decoded)
    kExitBadArguments = 2,  ///< the command line is wrong, or names no input on a terminal
    kExitWriteFailed = 3    ///< the output couldn't be written (a closed pipe isn't a failure)
};

/// Runs the tool with `args` (without the program name): decodes the inputs in order and writes
/// each frame's report to `out` as soon as it is decoded. Help and version go to `out`. A bad
/// command line is one line on `err` and nothing on `out`; an input that can't be read is one line
/// on `err`, and the other inputs are still decoded. A frame with no metadata packet that looks
/// read the wrong way (hexadecimal text without --hex, the wrong flag setting) gets one hint line
/// on `err`. With no input named and `inputIsTerminal`, `in` isn't read: a usage line goes to
/// `err`. A failed write to `out` is one line on `err` and `kExitWriteFailed`, except a closed
/// pipe (EPIPE), which ends the run quietly. Returns an `ExitStatus`.
int run(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
        std::ostream& err, bool inputIsTerminal = false);

}  // namespace rdd18::dump
