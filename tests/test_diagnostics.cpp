// The byte dump to a file and the version symbols.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "rdd18/diagnostics/diagnostics.h"

namespace fs = std::filesystem;

namespace {

class BinaryDump : public testing::Test {
  protected:
    void SetUp() override {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        dir_ = fs::temp_directory_path() /
               (std::string("velmora-dump-") + info->name() + "-" + std::to_string(::getpid()));
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    static std::vector<unsigned char> contents(const fs::path& p) {
        std::ifstream in(p, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    fs::path dir_;
};

TEST_F(BinaryDump, WritesEveryByteZerosAndLineFeedsIncluded) {
    const fs::path file = dir_ / "frame.bin";
    std::vector<unsigned char> data = {0x00, 0x0A, 0x0D, 0x0A, 0xFF, 0x00, 0x1A, 0x80};
    for (int i = 0; i < 256; ++i) data.push_back(static_cast<unsigned char>(i));
    rdd18::saveBinaryDataToDisk(data, file.string());
    EXPECT_EQ(contents(file), data);
}

TEST_F(BinaryDump, ExistingFileIsCutFirst) {
    const fs::path file = dir_ / "frame.bin";
    rdd18::saveBinaryDataToDisk(std::vector<unsigned char>(100, 0x55), file.string());
    rdd18::saveBinaryDataToDisk({0x01, 0x02}, file.string());
    EXPECT_EQ(contents(file), (std::vector<unsigned char>{0x01, 0x02}));
    rdd18::saveBinaryDataToDisk({}, file.string());
    ASSERT_TRUE(fs::exists(file));
    EXPECT_EQ(fs::file_size(file), 0u);
}

TEST_F(BinaryDump, EmptyDataCreatesAnEmptyFile) {
    const fs::path file = dir_ / "empty.bin";
    rdd18::saveBinaryDataToDisk({}, file.string());
    ASSERT_TRUE(fs::exists(file));
    EXPECT_EQ(fs::file_size(file), 0u);
}

TEST_F(BinaryDump, MissingDirectoryLeavesNoFileAndReturns) {
    const fs::path file = dir_ / "missing" / "frame.bin";
    EXPECT_NO_THROW(rdd18::saveBinaryDataToDisk({0x01}, file.string()));
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(fs::exists(dir_ / "missing"));
}

TEST(VersionSymbols, ExactValues) {
    EXPECT_EQ(VelmoraRDD18VersionNumber, 1.0);
    const char* text = reinterpret_cast<const char*>(VelmoraRDD18VersionString);
    const char expected[] = "@(#)PROGRAM:VelmoraRDD18  PROJECT:VelmoraRDD18-1\n";
    ASSERT_EQ(std::strlen(text), sizeof expected - 1);
    EXPECT_EQ(std::memcmp(text, expected, sizeof expected), 0);  // terminator included
    EXPECT_EQ(std::string(text).find("@(#)"), 0u);
    EXPECT_NE(std::string(text).find("VelmoraRDD18  PROJECT:"), std::string::npos);
    EXPECT_EQ(text[sizeof expected - 2], '\n');
}

}  // namespace
