// velmora-dump: decodes the camera metadata of ancillary frame buffers (see --help).
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "dump/dump.h"

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    // A closed output pipe shows as EPIPE on the write, which the run ends quietly on, instead of
    // a signal that ends the process in the middle of a report.
    std::signal(SIGPIPE, SIG_IGN);
    const std::vector<std::string> args(argv + 1, argv + argc);
    return rdd18::dump::run(args, std::cin, std::cout, std::cerr, isatty(STDIN_FILENO) == 1);
}
