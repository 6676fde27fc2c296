// Broken effect texts: an effect or a message may come of them, nothing else.
#include <gtest/gtest.h>

#include <algorithm>

#include "fuzz/effect_seeds.h"
#include "fuzz/mutations.h"
#include "fuzz/play_effect.h"

#ifndef OSM_MUTATIONS
#define OSM_MUTATIONS 20000
#endif

namespace {

using fuzz::Bytes;

// Puts a word of a text in place of another, takes one out, or doubles one.
Bytes DamageWords(fuzz::Mutator& mutator, Bytes bytes) {
    const auto word = [&](std::size_t& start, std::size_t& end) {
        start = mutator.Below(bytes.size());
        const auto part = [](std::uint8_t c) { return c > ' '; };
        while (start < bytes.size() && !part(bytes[start])) ++start;
        end = start;
        while (end < bytes.size() && part(bytes[end])) ++end;
    };
    for (std::size_t i = 0, count = 1 + mutator.Below(3); i < count && !bytes.empty(); ++i) {
        std::size_t from = 0, from_end = 0, to = 0, to_end = 0;
        word(from, from_end);
        word(to, to_end);
        Bytes taken(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                    bytes.begin() + static_cast<std::ptrdiff_t>(from_end));
        taken.push_back(' ');
        const auto place = bytes.begin() + static_cast<std::ptrdiff_t>(to);
        const auto kind = mutator.Below(3);
        const auto after =
            kind == 2 ? place : bytes.erase(place, bytes.begin() + static_cast<std::ptrdiff_t>(to_end));
        if (kind != 1) bytes.insert(after, taken.begin(), taken.end());
    }
    return bytes;
}

void Damage(bool real_compiler, int count, unsigned seed) {
    fuzz::EffectPlayground playground(real_compiler);
    const std::vector<Bytes> seeds = fuzz::EffectSeeds();
    fuzz::Mutator mutator(seed);
    int made = 0;
    for (int i = 0; i < count; ++i) {
        const Bytes& text = seeds[mutator.Below(seeds.size())];
        const Bytes bytes = i % 3 == 0 ? mutator.Damage(text) : DamageWords(mutator, text);
        made += playground.Play(bytes.data(), bytes.size()) ? 1 : 0;
    }
    // Damage that is always refused would test the refusing alone.
    EXPECT_GT(made, count / 50);
    EXPECT_LT(made, count);
}

TEST(EffectMutations, TheSeedsThemselvesDraw) {
    for (const bool real : {false, true}) {
        fuzz::EffectPlayground playground(real);
        for (const Bytes& seed : fuzz::EffectSeeds()) EXPECT_TRUE(playground.Play(seed.data(), seed.size()));
    }
}

TEST(EffectMutations, PrefixesEndWell) {
    fuzz::EffectPlayground playground(false);
    for (const Bytes& seed : fuzz::EffectSeeds())
        for (std::size_t size = 0; size < seed.size(); size += 3) playground.Play(seed.data(), size);
}

TEST(EffectMutations, DamagedTextsEndWell) { Damage(false, OSM_MUTATIONS / 4, 20030701); }

TEST(EffectMutations, DamagedTextsEndWellInTheCompiler) { Damage(true, OSM_MUTATIONS / 50, 19991231); }

}  // namespace
