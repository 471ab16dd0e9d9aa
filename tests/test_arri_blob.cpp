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

TEST(ArriKey, PublishedKeysHaveTheirWireBytes) {
    EXPECT_EQ(ArriAncMetadataKey.bytes, kArriMetadataKey);
    EXPECT_EQ(ArriAncLUTKey.bytes, kArriLUTKey);
    EXPECT_FALSE(ArriAncMetadataKey == ArriAncLUTKey);
}

TEST(ArriKey, EveryByteTakesPartInTheComparison) {
    for (std::size_t i = 0; i < 16; ++i) {
        ArriAncKey other = ArriAncMetadataKey;
        other.bytes[i] ^= 0x01;
        EXPECT_FALSE(other == ArriAncMetadataKey) << "byte " << i;
        other.bytes[i] ^= 0x01;
        EXPECT_TRUE(other == ArriAncMetadataKey) << "byte " << i;
    }
}

TEST(ArriBlob, CopyModeKeepsItsBytesWhenTheSourceChanges) {
    // Any mode value but 1 copies.
    for (auto mode : {ArriAncBlobMemoryCopy, static_cast<ArriAncBlobMemoryManagement>(2)}) {
        auto source = std::make_unique<unsigned char[]>(3);
        std::copy_n(std::vector<unsigned char>{1, 2, 3}.begin(), 3, source.get());
        const ArriAncBlob blob(ArriAncLUTKey, source.get(), 3, mode);
        std::fill_n(source.get(), 3, 0xEE);
        source.reset();
        ASSERT_EQ(blob.size(), 3u) << "mode " << mode;
        EXPECT_EQ(std::vector<unsigned char>(blob.data(), blob.data() + 3),
                  (std::vector<unsigned char>{1, 2, 3}))
            << "mode " << mode;
    }
}

TEST(ArriBlob, EmptyCopyHasAValidBuffer) {
    const ArriAncBlob blob(ArriAncMetadataKey, nullptr, 0, ArriAncBlobMemoryCopy);
    EXPECT_EQ(blob.size(), 0u);
    EXPECT_NE(blob.data(), nullptr);
}

TEST(ArriBlob, AdoptingConstructorsTakeThePointerOver) {
    auto* raw = new unsigned char[4]{9, 8, 7, 6};
    const ArriAncBlob adopted(ArriAncMetadataKey, raw, 4, ArriAncBlobMemoryTakeOwnership);
    EXPECT_EQ(adopted.data(), raw);  // released by the blob; a leak or double free shows in ASan

    auto owned = std::make_unique<unsigned char[]>(2);
    const unsigned char* address = owned.get();
    const ArriAncBlob taken(ArriAncMetadataKey, std::move(owned), 2);
    EXPECT_EQ(owned, nullptr);
    EXPECT_EQ(taken.data(), address);
    EXPECT_EQ(taken.size(), 2u);
}

TEST(ArriBlob, MovingIntoAGrowingListKeepsEveryBuffer) {
    std::vector<ArriAncBlob> blobs;
    std::vector<const unsigned char*> addresses;
    for (unsigned char i = 0; i < 20; ++i) {
        unsigned char value[] = {i, i};
        blobs.emplace_back(ArriAncMetadataKey, value, i % 3, ArriAncBlobMemoryCopy);
        addresses.push_back(blobs.back().data());
    }
    for (std::size_t i = 0; i < blobs.size(); ++i) {
        EXPECT_EQ(blobs[i].data(), addresses[i]);
        EXPECT_EQ(blobs[i].size(), i % 3);
    }
    ArriAncBlob moved = std::move(blobs[1]);
    EXPECT_EQ(moved.data(), addresses[1]);
    EXPECT_EQ(blobs[1].data(), nullptr);
}

}  // namespace
