// Built when libavformat isn't found: clips can't be opened, everything else works.
#include "dump/frames.h"
#include "dump/input.h"

namespace rdd18::dump {

void readClip(const std::string& path, const FrameRange&, const FrameVisitor&, std::ostream*) {
    throw InputError(path +
                     ": opening clips needs libavformat, and this build (velmora-dump, and the "
                     "Python module beside it) was made without it (install libavformat-dev and "
                     "rebuild)");
}

}  // namespace rdd18::dump
