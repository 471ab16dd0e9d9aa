// Built when libpcap isn't found: captures can't be read, everything else works.
#include "dump/frames.h"
#include "dump/input.h"

namespace rdd18::dump {

void readPcap(const std::string& path, const SourceOptions&, const FrameVisitor&) {
    throw InputError(path +
                     ": reading captures needs libpcap, and this velmora-dump was built without "
                     "it (install libpcap-dev and rebuild)");
}

}  // namespace rdd18::dump
