// Built when libavformat isn't found: clips can't be opened, everything else works.
#include "dump/clip_input.h"
#include "dump/input.h"

namespace rdd18::dump {

bool clipsSupported() noexcept {
    return false;
}

void readClip(const std::string& path, const FrameRange&, const ClipFrameVisitor&, std::ostream*) {
    throw InputError(path +
                     ": opening clips needs libavformat, and this velmora-dump was built "
                     "without it (install libavformat-dev and rebuild)");
}

}  // namespace rdd18::dump
