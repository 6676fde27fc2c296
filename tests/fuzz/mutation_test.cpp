// Broken files through loading, one update and one frame: nothing but a clean answer may come of them. The
// sanitizer build is where this says most.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "fuzz/mutations.h"
#include "fuzz/play_bytes.h"
#include "fuzz/seeds.h"
#include "tools/envelope.h"

#ifndef OSM_MUTATIONS
#define OSM_MUTATIONS 20000
#endif

namespace {

using fuzz::Bytes;

TEST(SceneMutations, TheSeedsThemselvesPlay) {
    fuzz::Playground playground;
    for (const fuzz::Seed& seed : fuzz::SceneSeeds())
        EXPECT_TRUE(playground.Scene(seed.bytes.data(), seed.bytes.size())) << seed.name;
    EXPECT_EQ(playground.Faults(), "");
}

TEST(SceneMutations, EveryPrefixEndsWell) {
    fuzz::Playground playground;
    for (const fuzz::Seed& seed : fuzz::SceneSeeds()) {
        for (std::size_t size = 0; size < seed.bytes.size(); ++size)
            playground.Scene(seed.bytes.data(), size);
        const Bytes packed =
            tools::MakeEnvelope(tools::Form::Packed, Bytes(seed.bytes.begin() + 4, seed.bytes.end()));
        // The packed form cannot carry the name of a file.
        const bool named = seed.name == "rich" || seed.name == "focused" || seed.name == "crowded";
        EXPECT_EQ(playground.Scene(packed.data(), packed.size()), !named);
        for (std::size_t size = 0; size < packed.size(); ++size) playground.Scene(packed.data(), size);
    }
    EXPECT_EQ(playground.Faults(), "");
}

// Every object of a scene under every other tag and other versions, and every reference to every other
// object: whatever stands in a slot is of a class that nobody expected there.
TEST(SceneMutations, EveryClassInEverySlotEndsWell) {
    fuzz::Playground playground;
    const om2::File file = fuzz::CrowdedFile();
    std::set<std::string> tags;
    for (const std::size_t at : file.chunks) tags.emplace(&file.bytes[at], &file.bytes[at] + 4);
    Bytes bytes = file.bytes;
    int loaded = 0, refused = 0;
    const auto play = [&] { ++(playground.Scene(bytes.data(), bytes.size()) ? loaded : refused); };
    for (const std::size_t at : file.chunks) {
        for (const std::string& tag : tags) {
            std::copy(tag.begin(), tag.end(), &bytes[at]);
            play();
        }
        std::copy_n(&file.bytes[at], 4, &bytes[at]);
        for (std::uint8_t version = 0; version < 4; ++version) {
            bytes[at + 4] = version;
            play();
        }
        bytes[at + 4] = file.bytes[at + 4];
    }
    for (const std::size_t at : file.refs) {
        for (std::size_t id = 0; id <= file.chunks.size(); ++id) {
            bytes[at] = static_cast<std::uint8_t>(id);
            play();
        }
        std::fill_n(&bytes[at], 4, std::uint8_t{0});
        play();
        std::copy_n(&file.bytes[at], 4, &bytes[at]);
    }
    ASSERT_EQ(bytes, file.bytes);
    EXPECT_EQ(playground.Faults(), "");
    EXPECT_GT(refused, loaded);
    EXPECT_GT(loaded, static_cast<int>(file.chunks.size()));
}

TEST(SceneMutations, DamagedScenesEndWell) {
    fuzz::Playground playground;
    const std::vector<fuzz::Seed> seeds = fuzz::SceneSeeds();
    fuzz::Mutator mutator(20031105);
    int loaded = 0;
    constexpr int kCount = OSM_MUTATIONS * 7 / 10;
    for (int i = 0; i < kCount; ++i) {
        // The last two read effect texts, which takes most of the time.
        std::size_t pick = mutator.Below(seeds.size());
        if (pick + 2 >= seeds.size() && mutator.Below(3) > 0) pick = mutator.Below(seeds.size() - 2);
        Bytes bytes = mutator.Damage(seeds[pick].bytes);
        // Now and then the damage lies inside, or on, the packed form.
        if (i % 20 == 0 && bytes.size() > 4)
            bytes = tools::MakeEnvelope(tools::Form::Packed, Bytes(bytes.begin() + 4, bytes.end()));
        if (i % 40 == 0) bytes = mutator.Damage(bytes);
        loaded += playground.Scene(bytes.data(), bytes.size(), static_cast<float>(i % 120)) ? 1 : 0;
    }
    EXPECT_EQ(playground.Faults(), "");
    // Damage that is always refused would test the refusing alone.
    EXPECT_GT(loaded, kCount / 20);
    EXPECT_LT(loaded, kCount);
}

TEST(ImageMutations, TheSeedsThemselvesShow) {
    fuzz::Playground playground;
    const std::vector<fuzz::Seed> seeds = fuzz::ImageSeeds();
    ASSERT_GE(seeds.size(), 12u);
    int shown = 0;
    for (const fuzz::Seed& seed : seeds)
        shown += playground.Image(seed.bytes.data(), seed.bytes.size(), seed.extension) ? 1 : 0;
    EXPECT_GT(shown, static_cast<int>(seeds.size()) / 2);
}

TEST(ImageMutations, DamagedImagesEndWell) {
    fuzz::Playground playground;
    const std::vector<fuzz::Seed> seeds = fuzz::ImageSeeds();
    fuzz::Mutator mutator(19870623);
    int shown = 0;
    constexpr int kCount = OSM_MUTATIONS * 3 / 10;
    for (int i = 0; i < kCount; ++i) {
        const fuzz::Seed& seed = seeds[mutator.Below(seeds.size())];
        const Bytes bytes = mutator.Damage(seed.bytes);
        shown += playground.Image(bytes.data(), bytes.size(), seed.extension) ? 1 : 0;
    }
    EXPECT_EQ(playground.Faults(), "");
    EXPECT_GT(shown, kCount / 20);
    EXPECT_LT(shown, kCount);
}

}  // namespace
