// velmora-dump: decodes the camera metadata of ancillary frame buffers (see --help).
#include <iostream>
#include <string>
#include <vector>

#include "dump/console.h"
#include "dump/dump.h"

int main(int argc, char** argv) {
    rdd18::dump::prepareStandardStreams();
    std::ios::sync_with_stdio(false);
    const std::vector<std::string> args(argv + 1, argv + argc);
    return rdd18::dump::run(args, std::cin, std::cout, std::cerr,
                            rdd18::dump::standardInputIsTerminal());
}
