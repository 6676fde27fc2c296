// Broken sound files: a sound or a message may come of them, nothing else.
#include <gtest/gtest.h>

#include <algorithm>

#include "fuzz/mutations.h"
#include "fuzz/play_sound.h"

namespace {

TEST(SoundMutations, TheSeedsThemselvesSound) {
    fuzz::SoundPlayground playground;
    for (const auto& seed : fuzz::SoundSeeds()) EXPECT_TRUE(playground.Play(seed.data(), seed.size()));
}

TEST(SoundMutations, PrefixesEndWell) {
    fuzz::SoundPlayground playground;
    for (const auto& seed : fuzz::SoundSeeds()) {
        for (std::size_t size = 0; size < seed.size(); size += size < 128 ? 1 : 1013) {
            playground.Play(seed.data(), size);
        }
    }
}

TEST(SoundMutations, DamagedFilesEndWell) {
    fuzz::SoundPlayground playground;
    const auto seeds = fuzz::SoundSeeds();
    fuzz::Mutator mutator(20030701);
    const int count = 3000;
    int sounds = 0;
    for (int i = 0; i < count; ++i) {
        // Most of what a file can get wrong stands at its beginning.
        auto bytes = seeds[mutator.Below(seeds.size())];
        const auto head = static_cast<std::ptrdiff_t>(std::min<std::size_t>(bytes.size(), 200));
        if (i % 2 == 0) {
            auto start = mutator.Damage({bytes.begin(), bytes.begin() + head});
            start.insert(start.end(), bytes.begin() + head, bytes.end());
            bytes = std::move(start);
        } else {
            bytes = mutator.Damage(bytes);
        }
        sounds += playground.Play(bytes.data(), bytes.size()) ? 1 : 0;
    }
    // Damage that is always refused would test the refusing alone.
    EXPECT_GT(sounds, count / 10);
    EXPECT_LT(sounds, count);
}

}  // namespace
