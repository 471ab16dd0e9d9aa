// The byte dump to a file.
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "frame_builder.h"
#include "rdd18/diagnostics/diagnostics.h"
#include "rdd18/version.h"

namespace fs = std::filesystem;

namespace {

TEST(BinaryDump, WritesEveryByteIntoAFreshFile) {
    const fs::path dir =
        fs::temp_directory_path() / ("velmora-dump-" + std::to_string(std::random_device{}()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    const fs::path file = dir / "frame.bin";
    std::vector<unsigned char> data = {0x00, 0x0A, 0x0D, 0x0A, 0xFF, 0x00, 0x1A, 0x80};
    for (int i = 0; i < 256; ++i) data.push_back(static_cast<unsigned char>(i));
    rdd18::saveBinaryDataToDisk(std::vector<unsigned char>(1000, 0x55), file.string());
    rdd18::saveBinaryDataToDisk(data, file.string());  // an existing file is cut first
    EXPECT_EQ(rdd18::testsupport::fileBytes(file), data);
    rdd18::saveBinaryDataToDisk({}, file.string());
    EXPECT_TRUE(fs::exists(file));
    EXPECT_EQ(fs::file_size(file), 0u);
    rdd18::saveBinaryDataToDisk({}, (dir / "new.bin").string());
    EXPECT_TRUE(fs::exists(dir / "new.bin"));
    // A missing directory is not made: no file, and the call returns.
    EXPECT_NO_THROW(rdd18::saveBinaryDataToDisk({0x01}, (dir / "missing" / "f.bin").string()));
    EXPECT_FALSE(fs::exists(dir / "missing"));
    fs::remove_all(dir);
}

}  // namespace
