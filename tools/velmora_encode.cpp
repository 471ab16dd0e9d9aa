// velmora-encode: writes camera metadata answers back into ancillary data (see --help).
#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "encode/encode.h"

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    std::signal(SIGPIPE, SIG_IGN);
    const std::vector<std::string> args(argv + 1, argv + argc);
    return rdd18::encode::run(args, std::cin, std::cout, std::cerr);
}
