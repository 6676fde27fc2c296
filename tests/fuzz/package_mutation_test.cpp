// Broken animations through loading, one update and one frame of each scene.
#include <gtest/gtest.h>

#include <algorithm>

#include "fuzz/mutations.h"
#include "fuzz/package_seeds.h"
#include "fuzz/play_bytes.h"

#ifndef OSM_MUTATIONS
#define OSM_MUTATIONS 20000
#endif

namespace {

using fuzz::Bytes;

TEST(PackageMutations, TheSeedsPlayAndTheirPrefixesDoNot) {
    fuzz::Playground playground;
    for (const fuzz::Seed& seed : fuzz::PackageSeeds()) {
        EXPECT_TRUE(playground.Package(seed.bytes.data(), seed.bytes.size())) << seed.name;
        for (std::size_t size = 0; size < seed.bytes.size(); ++size)
            ASSERT_FALSE(playground.Package(seed.bytes.data(), size))
                << seed.name << ", " << size << " bytes";
    }
    EXPECT_EQ(playground.Faults(), "");
}

TEST(PackageMutations, DamagedAnimationsEndWell) {
    fuzz::Playground playground;
    const std::vector<fuzz::Seed> seeds = fuzz::PackageSeeds();
    fuzz::Mutator mutator(20040214);
    int loaded = 0;
    constexpr int kCount = OSM_MUTATIONS / 10;
    for (int i = 0; i < kCount; ++i) {
        const Bytes bytes = mutator.Damage(seeds[mutator.Below(seeds.size())].bytes);
        loaded += playground.Package(bytes.data(), bytes.size()) ? 1 : 0;
    }
    EXPECT_EQ(playground.Faults(), "");
    EXPECT_GT(loaded, kCount / 20);
    EXPECT_LT(loaded, kCount);
}

// References between the scenes of one file, of which each alone keeps the rules.
TEST(PackageMutations, EveryReferenceToEveryObjectEndsWell) {
    fuzz::Playground playground;
    Bytes bytes = fuzz::SharingPackage();
    int loaded = 0, refused = 0;
    for (std::size_t at = 0; at + 4 <= bytes.size(); ++at) {
        // The word of a reference, wherever it would stand.
        Bytes changed = bytes;
        changed[at + 1] = 0, changed[at + 2] = 0, changed[at + 3] = 0x80;
        for (std::uint8_t id = 0; id < 60; id = static_cast<std::uint8_t>(id + 7)) {
            changed[at] = id;
            ++(playground.Package(changed.data(), changed.size()) ? loaded : refused);
        }
    }
    EXPECT_EQ(playground.Faults(), "");
    EXPECT_GT(loaded, 0);
    EXPECT_GT(refused, 0);
}

}  // namespace
