// velmora-encode: writes camera metadata answers back into ancillary data (see --help).
#include <iostream>
#include <string>
#include <vector>

#include "dump/console.h"
#include "encode/encode.h"

int main(int argc, char** argv) {
    rdd18::dump::prepareStandardStreams();
    std::ios::sync_with_stdio(false);
    const std::vector<std::string> args(argv + 1, argv + argc);
    return rdd18::encode::run(args, std::cin, std::cout, std::cerr);
}
