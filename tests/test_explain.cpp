// The diagnostic walks name the fault that emptied an answer, with its numbers, and say nothing
// about a frame that parsed whole. The faults of the broken samples (sequence gaps, short payloads,
// bad flags, bad ARRI markers, short records) are in their golden files; these are the others.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/explain/explain.h"

using namespace rdd18;
using namespace rdd18::testsupport;

namespace {

const Bytes kIso = rdd18Item(0x81, 0x0B, be16(800));

std::string joined(const std::vector<std::string>& lines) {
    std::string all;
    for (const auto& line : lines) all += line + "\n";
    return all;
}

// One table for both walks: each frame's explanation names every listed text.
TEST(Explain, FaultsAreNamedWithTheirNumbers) {
    const Bytes pack = rdd18Pack(kIso);
    const Bytes good = arriItem(kArriMetadataKey, Bytes(4096, 0));
    const struct {
        const char* name;
        bool arri;
        Bytes frame;
        std::vector<std::string> mentions;
    } cases[] = {
        {"key passed over",
         false,
         FrameBuilder().rdd18Stream(Bytes(16, 0x11)).rdd18Stream(pack).bytes(),
         {"stream position 0 (11 11 11 11 ...) are no pack key"}},
        {"stream ends in a key",
         false,
         FrameBuilder().rdd18Stream(pack + Bytes{0x06, 0x0E}).bytes(),
         {"ends inside the 16-byte key of a pack at stream position 26"}},
        {"no packets",
         false,
         FrameBuilder().packet(0x61, 0x01, {1, 2}).bytes(),
         {"none of the 1 packets has DID 0x43 and SDID 0x05"}},
        {"vector header",
         false,
         FrameBuilder()
             .rdd18Stream(rdd18Pack(rdd18Item(0x81, 0x18, countedVector(1, 4, Bytes(4)))))
             .bytes(),
         {"item 0x81 0x18", "element size 8 and a count of 0"}},
        {"ARRI value cut off",
         true,
         FrameBuilder().arriStream(Bytes(good.begin(), good.begin() + 1000)).bytes(),
         {"value of 4096 bytes at stream position 20 ends after 988 bytes"}},
    };
    for (const auto& c : cases) {
        const std::string text =
            joined(c.arri ? explainArriFrame(c.frame, true) : explainRDD18Frame(c.frame, true, 0));
        for (const std::string& m : c.mentions)
            EXPECT_NE(text.find(m), std::string::npos) << c.name << ": no \"" << m << "\" in\n"
                                                       << text;
    }
    EXPECT_TRUE(explainRDD18Frame(FrameBuilder().rdd18Stream(pack).bytes(), true, 0).empty());
    EXPECT_TRUE(explainArriFrame(FrameBuilder().arriStream(good).bytes(), true).empty());
}

}  // namespace
