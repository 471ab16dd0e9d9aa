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

struct Case {
    const char* name;
    Bytes frame;
    std::vector<std::string> mentions;  // each must appear in the explanation
};

TEST(Explain, RDD18FaultsAreNamedWithTheirNumbers) {
    const Bytes pack = rdd18Pack(kIso);
    const Case cases[] = {
        {"key passed over",
         FrameBuilder().rdd18Stream(Bytes(16, 0x11)).rdd18Stream(pack).bytes(),
         {"stream position 0 (11 11 11 11 ...) are no pack key"}},
        {"stream ends in a key",
         FrameBuilder().rdd18Stream(pack + Bytes{0x06, 0x0E}).bytes(),
         {"ends inside the 16-byte key of a pack at stream position 26"}},
        {"no packets",
         FrameBuilder().packet(0x61, 0x01, {1, 2}).bytes(),
         {"none of the 1 packets has DID 0x43 and SDID 0x05"}},
        {"vector header",
         FrameBuilder()
             .rdd18Stream(rdd18Pack(rdd18Item(0x81, 0x18, countedVector(1, 4, Bytes(4)))))
             .bytes(),
         {"item 0x81 0x18", "element size 8 and a count of 0"}},
    };
    for (const Case& c : cases) {
        const std::string text = joined(explainRDD18Frame(c.frame, true, 0));
        for (const std::string& m : c.mentions) {
            EXPECT_NE(text.find(m), std::string::npos) << c.name << ": missing \"" << m << "\" in\n"
                                                       << text;
        }
    }
    EXPECT_TRUE(explainRDD18Frame(FrameBuilder().rdd18Stream(pack).bytes(), true, 0).empty());
}

TEST(Explain, ArriFaultsAreNamedWithTheirNumbers) {
    const Bytes header(4096, 0);
    const Bytes good = arriItem(kArriMetadataKey, header);
    const Case cases[] = {
        {"value cut off",
         FrameBuilder().arriStream(Bytes(good.begin(), good.begin() + 1000)).bytes(),
         {"value of 4096 bytes at stream position 20 ends after 988 bytes"}},
    };
    for (const Case& c : cases) {
        const std::string text = joined(explainArriFrame(c.frame, true));
        for (const std::string& m : c.mentions) {
            EXPECT_NE(text.find(m), std::string::npos) << c.name << ": missing \"" << m << "\" in\n"
                                                       << text;
        }
    }
    EXPECT_TRUE(explainArriFrame(FrameBuilder().arriStream(good).bytes(), true).empty());
}

}  // namespace
