#include "dump/console.h"

#include <csignal>
#include <cstdio>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace rdd18::dump {

void prepareStandardStreams() {
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
#else
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

#ifdef _WIN32
bool standardInputIsTerminal() {
    return _isatty(_fileno(stdin)) != 0;
}
bool standardErrorIsTerminal() {
    return _isatty(_fileno(stderr)) != 0;
}
#else
bool standardInputIsTerminal() {
    return isatty(STDIN_FILENO) == 1;
}
bool standardErrorIsTerminal() {
    return isatty(STDERR_FILENO) == 1;
}
#endif

}  // namespace rdd18::dump
