// What stands in files of finished work may come from anywhere: it is read as what it was, or refused.
#include "gathering/found_points.h"
#include "saving/picture_plan.h"
#include "saving/share.h"
#include "saving/tile_record.h"
#include "saving/identity.h"

#include <gtest/gtest.h>

#include <random>

namespace lumorender {
namespace {

/// Changes bytes, takes some away or adds some; none of that may do more than be refused.
template <class Read>
void expectNoHarm(const std::vector<std::byte>& bytes, Read read) {
    std::mt19937 random(4);
    for (int i = 0; i < 20'000; ++i) {
        std::vector<std::byte> changed = bytes;
        for (int change = 0; change < 1 + i % 3; ++change) {
            const std::size_t at = random() % changed.size();
            const auto value = static_cast<std::byte>(random() % 4 == 0 ? 0xff : random());
            if (random() % 8 == 0) changed.resize(at + 1);
            changed[at] = value;
        }
        try {
            read(changed);
        } catch (const Failure&) {
        }
    }
}

const DataWindow kWindow{3, 5, 70, 40, 90, 60};

PicturePlan plan() {
    PicturePlan plan;
    plan.share = {2, 5};
    plan.tileSize = 16;
    plan.window = kWindow;
    plan.layers = {{"", miIMG_TYPE_RGBA_FP, true}, {"depth", miIMG_TYPE_Z, false}, {"label", miIMG_TYPE_TAG, false}};
    plan.files.resize(2);
    plan.files[0].file.path = "a.exr";
    plan.files[0].layers = {0, 1};
    plan.files[0].types = {miIMG_TYPE_RGBA_H, miIMG_TYPE_Z};
    plan.files[0].names = {"", "depth"};
    plan.files[1].file.path = "folder/b.tif";
    plan.files[1].file.quality = 80;
    plan.files[1].file.colors.clip = ColorClip::Raw;
    plan.files[1].layers = {2};
    plan.files[1].types = {miIMG_TYPE_TAG};
    plan.files[1].names = {""};
    plan.metadata = {{"frame", 7}, {"scene", std::string("x.mi:3")}, {"m", std::vector<float>{1, 2}}, {"s", .5F}};
    return plan;
}

std::vector<LayerImage> images(bool filled) {
    const auto pixels = static_cast<std::size_t>(kWindow.width * kWindow.height);
    std::vector<LayerImage> result;
    for (const PicturePlan::Layer& layer : plan().layers) {
        LayerImage& image =
            result.emplace_back(LayerImage{layer.name, layer.type, kWindow.width, kWindow.height, {}, {}});
        const PixelFormat format = pixelFormat(layer.type);
        if (format.integer)
            image.labels.assign(pixels, filled ? 0x80000001U : 0);
        else
            image.pixels.assign(pixels * static_cast<std::size_t>(format.channels), filled ? -.25F : 0);
        if (layer.isShown) image.shown.assign(image.pixels.size(), 0);
    }
    return result;
}

TEST(Records, PlansAndIdentitiesComeBack) {
    const PicturePlan read = PicturePlan::fromBytes(plan().bytes());
    EXPECT_EQ(read.bytes(), plan().bytes());
    EXPECT_EQ(read.files[1].file.quality, 80);
    EXPECT_TRUE(read.files[1].file.colors.clip == ColorClip::Raw && read.files[1].file.colors.premultiplied);
    EXPECT_EQ(std::get<std::vector<float>>(read.metadata.at("m"))[1], 2);
    expectNoHarm(plan().bytes(), [](const auto& bytes) { PicturePlan::fromBytes(bytes); });

    Identity identity;
    identity.add("size", "1 x 2");
    identity.addDigest("file \"a\"", "12");
    identity.addDigest("file \"a\"", "34");
    EXPECT_EQ(differences(Identity::fromBytes(identity.bytes()), identity), "");
    Identity other;
    other.add("size", "1 x 3");
    other.addDigest("file \"a\"", "12");
    EXPECT_EQ(differences(other, identity), "size is 1 x 3, was 1 x 2; file \"a\" (2) is gone");
    EXPECT_EQ(differences(identity, other), "size is 1 x 2, was 1 x 3; file \"a\" (2) is new");
    expectNoHarm(identity.bytes(), [](const auto& bytes) { Identity::fromBytes(bytes); });
}

TEST(Records, TilesComeBackAndTouchNothingElse) {
    const std::vector<Tile> tiles = tilesOf(kWindow, 16);
    const auto full = images(true);
    auto joined = images(false);
    std::size_t tile = 0;
    for (; tile < tiles.size(); ++tile) {
        const TileCost cost =
            unpackTile(packTile(full, kWindow, tiles[tile], {1, 2, 3, 4, 5, 6}), kWindow, tiles[tile], joined);
        EXPECT_EQ(cost.droppedSamples, 5U);
        // Tiles that overlap, or that are missing, would be seen in the number of pixels so far.
        std::size_t area = 0;
        for (std::size_t i = 0; i <= tile; ++i) area += static_cast<std::size_t>(tiles[i].width * tiles[i].height);
        EXPECT_EQ(static_cast<std::size_t>(std::count(joined[2].labels.begin(), joined[2].labels.end(), 0x80000001U)),
                  area);
    }
    for (std::size_t i = 0; i < full.size(); ++i) {
        EXPECT_EQ(joined[i].pixels, full[i].pixels);
        EXPECT_EQ(joined[i].labels, full[i].labels);
    }
    expectNoHarm(packTile(full, kWindow, tiles[4], {}),
                 [&](const auto& bytes) { unpackTile(bytes, kWindow, tiles[4], joined); });
}

TEST(Records, BlocksOfPointsComeBack) {
    FoundPoints found;
    found.entries.resize(5, {{1, 2, 3}, {0, 0, 1}, {.5F, .5F, .5F, 0}, 2, 9});
    found.runs = {{40, 0, 1}, {64, 1, 2}, {67, 3, 2}};
    const auto bytes = packBlock(found, 1, 64);
    FoundPoints read;
    ASSERT_TRUE(unpackBlock(bytes, 64, read));
    EXPECT_EQ(read.entries.size(), 4U);
    EXPECT_EQ(read.runs[1].number, 67U);
    EXPECT_EQ(read.runs[1].first, 2U);
    expectNoHarm(bytes, [&](const auto& changed) {
        FoundPoints points;
        EXPECT_TRUE(unpackBlock(changed, 64, points) || (points.entries.empty() && points.runs.empty()));
    });
}

TEST(Shares, AreAllTilesOnceAndEvenlySpread) {
    const DataWindow window{0, 0, 16 * 24, 16 * 18, 16 * 24, 16 * 18};
    for (const int count : {1, 2, 3, 4, 7, 16, 500}) {
        std::vector<int> seen(24 * 18, 0);
        for (int number = 1; number <= count; ++number) {
            const std::vector<int> share = tilesOfShare(window, 16, {number, count});
            EXPECT_LE(share.size(),
                      (seen.size() + static_cast<std::size_t>(count) - 1) / static_cast<std::size_t>(count));
            int left = 0;
            for (const int tile : share) {
                ++seen[static_cast<std::size_t>(tile)];
                left += tile % 24 < 12;
            }
            // What costs much stands together: no share may have more of one half than of the other.
            if (count <= 16) {
                EXPECT_NEAR(left, static_cast<double>(share.size()) / 2, .15 * static_cast<double>(share.size()))
                    << count;
            }
        }
        EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), 24 * 18) << count;
        EXPECT_TRUE(tilesOfShare(window, 16, {0, count}).empty());
    }
}

}  // namespace
}  // namespace lumorender
