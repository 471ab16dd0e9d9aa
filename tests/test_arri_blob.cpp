// ARRI keys and blobs: whole-key comparison, copy versus adoption, ownership across moves.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "frame_builder.h"
#include "rdd18/arri/arri_blob.h"

using namespace rdd18::arri;
using rdd18::testsupport::kArriLUTKey;
using rdd18::testsupport::kArriMetadataKey;

namespace {

TEST(ArriKey, PublishedKeysAndWholeKeyComparison) {
    EXPECT_EQ(ArriAncMetadataKey.bytes, kArriMetadataKey);
    EXPECT_EQ(ArriAncLUTKey.bytes, kArriLUTKey);
    for (std::size_t i = 0; i < 16; ++i) {
        ArriAncKey other = ArriAncMetadataKey;
        other.bytes[i] ^= 0x01;
        EXPECT_FALSE(other == ArriAncMetadataKey) << "byte " << i;
    }
}

TEST(ArriBlob, CopyModeKeepsItsBytesWhenTheSourceChanges) {
    // Any mode value but 1 copies.
    for (auto mode : {ArriAncBlobMemoryCopy, static_cast<ArriAncBlobMemoryManagement>(2)}) {
        auto source = std::make_unique<unsigned char[]>(3);
        std::fill_n(source.get(), 3, 0x07);
        const ArriAncBlob blob(ArriAncLUTKey, source.get(), 3, mode);
        std::fill_n(source.get(), 3, 0xEE);
        source.reset();
        ASSERT_EQ(blob.size(), 3u) << "mode " << mode;
        EXPECT_EQ(std::vector<unsigned char>(blob.data(), blob.data() + 3),
                  (std::vector<unsigned char>{7, 7, 7}))
            << "mode " << mode;
    }
    const ArriAncBlob empty(ArriAncMetadataKey, nullptr, 0, ArriAncBlobMemoryCopy);
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_NE(empty.data(), nullptr);
}

TEST(ArriBlob, AdoptionAndMovesKeepTheBuffer) {
    auto* raw = new unsigned char[4]{9, 8, 7, 6};
    const ArriAncBlob adopted(ArriAncMetadataKey, raw, 4, ArriAncBlobMemoryTakeOwnership);
    EXPECT_EQ(adopted.data(), raw);  // released by the blob; a leak or double free shows in ASan

    std::vector<ArriAncBlob> blobs;
    auto owned = std::make_unique<unsigned char[]>(2);
    const unsigned char* address = owned.get();
    blobs.emplace_back(ArriAncMetadataKey, std::move(owned), 2);
    for (int i = 0; i < 20; ++i)
        blobs.emplace_back(ArriAncLUTKey, nullptr, 0, ArriAncBlobMemoryCopy);
    EXPECT_EQ(blobs[0].data(), address);
    const ArriAncBlob moved = std::move(blobs[0]);
    EXPECT_EQ(moved.data(), address);
    EXPECT_EQ(moved.size(), 2u);
    EXPECT_EQ(blobs[0].data(), nullptr);
}

}  // namespace
