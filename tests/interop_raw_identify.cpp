// raw-identify (LibRaw) takes the ARRIRAW files we write for ARRI frames of the records' camera
// family and image size, and refuses them with another magic, as we do.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>

#include "frame_builder.h"
#include "rdd18/arri/VLArriANCParser.h"
#include "rdd18/arri/arri_ancillary_parser.h"

using namespace rdd18;
using namespace rdd18::testsupport;

// What `raw-identify -v` says of `bytes` as a file: "ARRI <family> <width> x <height>", or
// "refused" when it names no camera or no image size.
static std::string identify(const Bytes& bytes) {
    const std::string path = std::filesystem::temp_directory_path().string() + "/velmora-" +
                             std::to_string(getpid()) + ".ari";
    std::ofstream(path, std::ios::binary) << std::string(bytes.begin(), bytes.end());
    std::string out;
    FILE* pipe = popen((VELMORA_RAW_IDENTIFY " -v '" + path + "' 2>&1").c_str(), "r");
    for (char line[512]; pipe && std::fgets(line, sizeof line, pipe);) out += line;
    if (pipe) pclose(pipe);
    std::filesystem::remove(path);
    std::smatch m;
    const std::regex seen("Camera: (.*) ID:[^]*Image size: +([0-9]+ x [0-9]+)");
    return std::regex_search(out, m, seen) ? m[1].str() + " " + m[2].str() : "refused";
}

// The record of the first metadata item in a frame's packets.
static Bytes recordOf(const Bytes& frame) {
    AncillaryDataBufferReader walk(frame.data(), frame.size(), AncillaryDataBufferWithFlags);
    const auto blobs = arri::parseAncillaryData(
        walk, [](const arri::ArriAncKey& key) { return key == arri::ArriAncMetadataKey; });
    return Bytes(blobs.at(0).data(), blobs.at(0).data() + arri::ArriFileHeader::kSize);
}

// The bundled records (a camera's; edge values, no image size) and a generated one.
TEST(RawIdentify, TakesOurArriRawFramesAndRefusesAnotherMagic) {
    const Bytes record =
        ArriHeaderBuilder().u32(0x14, 4448).u32(0x18, 3096).textField(0x29C, 8, "ALEXA LF").bytes();
    const std::pair<Bytes, const char*> cases[] = {
        {fileBytes(VELMORA_SAMPLES_DIR "/arri.anc"), "ARRI CAM-S35 3424 x 2202"},
        {fileBytes(VELMORA_SAMPLES_DIR "/extreme-values.anc"), "refused"},  // 0 x 0 is no image
        {FrameBuilder().arriStream(arriItem(kArriMetadataKey, record)).bytes(),
         "ARRI ALEXA LF 4448 x 3096"},
    };
    const VLArriANCParser parser;
    for (const auto& [frame, seen] : cases) {
        Bytes file = ariFile(recordOf(frame), 512);
        EXPECT_EQ(identify(file), seen);
        EXPECT_EQ(parser.parseFile(file), parser.parseData(frame)) << seen;
        EXPECT_FALSE(parser.parseFile(file).empty()) << seen;
        file[3] = 'J';
        EXPECT_EQ(identify(file), "refused") << seen;
        EXPECT_TRUE(parser.parseFile(file).empty()) << seen;
    }
}
