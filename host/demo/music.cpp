#include "music.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <utility>

namespace demo {
namespace {

using Keys = std::vector<float>;

// --- The harmony, by beats ---------------------------------------------------------------------------------

struct Chord {
    float beats;
    float bass;
    Keys pad;
};
const std::vector<Chord> kChords{
    {4, 38, {50, 57, 64, 66}},      // the sea: D with its ninth
    {4, 43, {55, 59, 62, 66, 69}},  // colour: G
    {4, 35, {54, 59, 62, 69}},      // up the tower: B minor
    {4, 42, {57, 62, 64, 66}},      // the clockwork: D over F sharp
    {2, 43, {59, 62, 66, 69}},      // G
    {2, 45, {57, 61, 64, 69}},      // A
    {4, 40, {55, 59, 62, 66}},      // the hall: E minor
    {2, 42, {57, 61, 64, 66}},      // its floor: F sharp minor
    {2, 35, {57, 61, 62, 66}},      // B minor
    {2, 43, {59, 62, 66, 69}},      // glass: G
    {2, 45, {57, 62, 64, 69}},      // A, waiting
    {4, 34, {58, 62, 65, 69, 72}},  // the whale: B flat
    {4, 36, {60, 64, 67, 74}},      // C
    {4, 38, {57, 62, 64, 66}},      // fireflies: D
    {2, 40, {59, 62, 64, 67}},      // the jetty: E minor
    {2, 45, {57, 61, 64, 69, 76}},  // A
    {2, 38, {57, 62, 66, 69, 74}},  // the lanterns: D
    {2, 43, {59, 62, 67, 69, 74}},  // G
    {4, 38, {57, 62, 64, 66, 69}},  // home
};

const Chord& ChordAt(float beat) {
    for (const Chord& chord : kChords) {
        if (beat < chord.beats) return chord;
        beat -= chord.beats;
    }
    return kChords.back();
}

// --- The instruments ---------------------------------------------------------------------------------------

const std::vector<Partial> kBoxPartials{{1, 1, 0.75f},
                                        {2.003f, 0.12f, 0.45f},
                                        {3.01f, 0.05f, 0.25f},
                                        {6.27f, 0.20f, 0.07f},
                                        {11.6f, 0.05f, 0.02f}};
const std::vector<Partial> kBellPartials{{0.5f, 0.30f, 2.4f},  {1, 1, 2.0f},          {1.003f, 0.5f, 1.9f},
                                         {2, 0.55f, 1.3f},     {2.74f, 0.24f, 0.8f},  {3.0f, 0.20f, 0.7f},
                                         {4.07f, 0.20f, 0.5f}, {5.43f, 0.10f, 0.28f}, {6.8f, 0.06f, 0.18f}};
const std::vector<Partial> kGlassPartials{
    {1, 1, 1.1f}, {1.004f, 0.6f, 1.0f}, {2.01f, 0.10f, 0.6f}, {4.2f, 0.03f, 0.3f}};
const std::vector<Partial> kTickPartials{{1, 0.7f, 0.010f}, {1.62f, 0.5f, 0.007f}, {2.71f, 0.4f, 0.005f}};

// A string plucked a little off its third; high strings die sooner.
std::vector<Partial> HarpPartials(float hertz) {
    std::vector<Partial> out;
    const float life = 1.15f * std::pow(220 / hertz, 0.35f);
    for (int n = 1; n <= 10; ++n) {
        const float f = F(n);
        const float level = std::abs(std::sin(f * kPi * 0.29f)) / std::pow(f, 1.35f);
        if (level > 0.004f)
            out.push_back({f * std::sqrt(1 + 0.00012f * f * f), level, life / (1 + 0.42f * (f - 1))});
    }
    return out;
}

// --- The score ---------------------------------------------------------------------------------------------

class Score {
  public:
    Track Play() {
        Pads();
        Bass();
        Sea();
        Opening();
        Tower();
        ClockworkPart();
        Hall();
        Water();
        Whale();
        Meadow();
        Jetty();
        Lanterns();
        return mixer_.Finished(kBeat * 0.75f, 0.118f, 1.1f);
    }

  private:
    enum Instrument { kBox, kBell, kGlass, kHarp, kTick };

    // The first note of a pitch is worked out, the others are copies.
    const Samples& Note(Instrument instrument, float key) {
        Samples& note = notes_[{instrument, key}];
        if (note.empty()) {
            const float hertz = Pitch(key);
            switch (instrument) {
                case kBox:
                    note = Struck(hertz, kBoxPartials, 0.002f);
                    break;
                case kBell:
                    note = Struck(hertz, kBellPartials, 0.003f);
                    break;
                case kGlass:
                    note = Struck(hertz, kGlassPartials, 0.09f);
                    break;
                case kHarp:
                    note = Struck(hertz, HarpPartials(hertz), 0.003f);
                    break;
                case kTick:
                    note = Struck(hertz, kTickPartials, 0.0005f);
                    break;
            }
        }
        return note;
    }
    void Hit(Instrument instrument, float beat, float key, const Mixer::Place& place) {
        mixer_.Add(Note(instrument, key), beat * kBeat, place);
    }
    // A player is never quite on the beat, and never twice as loud.
    void Box(float beat, float key, float gain = 1) {
        const float pan = 0.35f * std::sin(key * 1.7f);
        Hit(kBox, beat + random_.Between(0, 0.012f), key,
            {0.36f * gain * random_.Between(0.88f, 1.06f), pan, 0.34f, 0.30f});
    }
    void Harp(float beat, float key, float gain = 1) {
        const float pan = std::clamp((key - 66) / 30, -0.6f, 0.6f);
        Hit(kHarp, beat + random_.Between(0, 0.014f), key,
            {0.46f * gain * random_.Between(0.86f, 1.06f), pan, 0.30f, 0.16f});
    }
    void Bell(float beat, float key, float gain = 1) { Hit(kBell, beat, key, {0.30f * gain, 0, 0.5f, 0.2f}); }
    void Glass(float beat, float key, float gain = 1) {
        Hit(kGlass, beat, key, {0.30f * gain, 0.4f * std::sin(key), 0.55f, 0.25f});
    }
    // Tones of the chord at `beat`, from `low` upwards.
    Keys Tones(float beat, float low, std::size_t count) const {
        Keys out;
        const Keys& pad = ChordAt(beat).pad;
        for (float key = low; out.size() < count; ++key)
            if (std::any_of(pad.begin(), pad.end(),
                            [&](float p) { return std::fmod(key - p + 120, 12.0f) < 0.5f; }))
                out.push_back(key);
        return out;
    }
    void HarpWaves(float from, float to, float step, float low, float gain_from, float gain_to) {
        constexpr int kWave[] = {0, 1, 2, 3, 4, 3, 2, 1};
        int i = 0;
        for (float beat = from; beat < to - 0.01f; beat += step, ++i) {
            const float gain = Mix(gain_from, gain_to, (beat - from) / (to - from));
            Harp(beat, Tones(beat, low, 5)[static_cast<std::size_t>(kWave[i % 8])],
                 gain * (i % 4 == 0 ? 1.15f : 0.85f));
        }
    }
    struct Held {
        float beat, key, beats;
    };
    void Strings(const std::vector<Held>& line, float gain, float bright, float pan) {
        for (const Held& note : line) {
            const Bow bow{note.beats * kBeat + 0.5f, 0.20f, 0.55f, 1100, bright, 9, 9};
            mixer_.Add(Bowed(Pitch(note.key), bow, Seed()), note.beat * kBeat, {gain, pan, 0.5f, 0});
        }
    }
    // Towards an accent on `beat`.
    void Rise(float beat, float beats, float gain) {
        mixer_.Add(Wind(350, 5200, 0.5f, beats * kBeat, 1, Seed()), (beat - beats) * kBeat,
                   {gain, 0, 0.35f, 0});
    }
    void Boom(float beat, float gain) {
        mixer_.Add(Thud(43, 1.5f), beat * kBeat, {gain, 0, 0.25f, 0});
        mixer_.Add(Wind(1400, 300, 0.9f, 1.1f, 0, Seed()), beat * kBeat - 0.14f, {0.10f * gain, 0, 0.6f, 0});
    }
    void Heart(float from, float to, float gain_from, float gain_to) {
        for (float beat = from; beat < to - 0.01f; beat += 2) {
            const float gain = Mix(gain_from, gain_to, (beat - from) / (to - from));
            mixer_.Add(Thud(49, 0.5f), beat * kBeat, {gain, 0, 0.08f, 0});
            mixer_.Add(Thud(46, 0.4f), (beat + 0.5f) * kBeat, {0.55f * gain, 0, 0.08f, 0});
        }
    }
    std::uint32_t Seed() { return ++seed_; }

    void Pads() {
        // How loud and how bright, by bars.
        constexpr float kGain[kBars] = {0.62f, 0.85f, 0.70f, 0.50f, 0.56f, 0.72f, 0.62f,
                                        0.70f, 0.78f, 0.84f, 0.60f, 0.62f, 0.95f, 0.90f};
        constexpr float kBright[kBars] = {700,  1300, 1100, 1000, 1200, 900,  900,
                                          1300, 1900, 2300, 1200, 1700, 2600, 1500};
        float beat = 0;
        for (const Chord& chord : kChords) {
            const auto bar = static_cast<std::size_t>(beat / 4);
            const float first = beat == 0 ? 1.6f : 0.55f;
            const Bow bow{chord.beats * kBeat + 0.9f, first, 0.95f, 300, kBright[bar], 7, 3};
            for (const float key : chord.pad)
                mixer_.Add(Bowed(Pitch(key), bow, Seed()), std::max(0.0f, beat * kBeat - 0.12f),
                           {0.17f * kGain[bar], 0, 0.4f, 0});
            beat += chord.beats;
        }
    }
    void Bass() {
        float beat = 0;
        for (const Chord& chord : kChords) {
            const float gain = beat < 4 ? 0.35f : beat >= 32 && beat < 40 ? 0.85f : beat >= 48 ? 0.8f : 0.6f;
            const Bow bow{chord.beats * kBeat + 0.25f, 0.12f, 0.3f, 140, 260, 3, 0};
            mixer_.Add(Bowed(Pitch(chord.bass < 36 ? chord.bass + 12 : chord.bass), bow, Seed()),
                       beat * kBeat, {0.50f * gain, 0, 0.08f, 0});
            beat += chord.beats;
        }
    }
    void Sea() {
        for (int wave = 0; wave < 5; ++wave)
            mixer_.Add(Wind(420, 900, 1.1f, 4.2f, 0, Seed()), 2.1f * F(wave), {0.05f, 0, 0.2f, 0});
        for (int wave = 0; wave < 3; ++wave)
            mixer_.Add(Wind(380, 700, 1.1f, 4.0f, 0, Seed()), 34.2f + 2 * F(wave), {0.04f, 0, 0.2f, 0});
    }

    // The theme is D major's: third, ninth, root, and up to the fifth.
    void Opening() {
        HarpWaves(0.5f, 2, 0.5f, 57, 0.25f, 0.5f);
        Bell(2, 74);
        Bell(2, 81, 0.4f);
        Box(3, 81, 0.6f);
        Box(3.5f, 78, 0.55f);
        // The evening takes its colours.
        Bell(4, 78, 0.55f);
        const std::vector<std::pair<float, float>> theme{{4, 78}, {5, 81}, {5.5f, 78},
                                                         {6, 76}, {7, 74}, {7.5f, 69}};
        for (const auto& [beat, key] : theme) Box(beat, key);
        HarpWaves(4, 8, 0.5f, 55, 0.5f, 0.75f);
    }
    void Tower() {
        Boom(8, 0.5f);
        const std::vector<std::pair<float, float>> theme{{8, 74},  {9, 78},  {9.5f, 76},
                                                         {10, 81}, {11, 83}, {11.5f, 86}};
        for (const auto& [beat, key] : theme) Box(beat, key);
        HarpWaves(8, 12, 0.5f, 54, 0.7f, 1);
        Heart(8, 12, 0.45f, 0.55f);
        Rise(12, 2, 0.30f);
    }
    void ClockworkPart() {
        Boom(12, 0.9f);
        Bell(12, 86, 0.5f);
        constexpr int kTurns[] = {0, 2, 4, 3, 5, 4, 2, 3};
        for (int i = 0; i < 32; ++i) {
            const float beat = 12 + 0.25f * F(i);
            Box(beat, Tones(beat, 74, 6)[static_cast<std::size_t>(kTurns[i % 8])],
                (i % 4 == 0 ? 0.85f : 0.5f) * (beat >= 16 ? 1.1f : 1));
            if (i % 2 == 0)
                Hit(kTick, beat, i % 4 == 0 ? 104.0f : 99.0f,
                    {i % 4 == 0 ? 0.22f : 0.15f, i % 4 == 0 ? -0.4f : 0.4f, 0.18f, 0.1f});
        }
        for (const float beat : {12.0f, 14.0f, 16.0f, 18.0f}) Harp(beat, ChordAt(beat).bass + 12, 0.9f);
        // Every second time a bell answers the planets.
        for (const auto& [beat, key] : std::vector<std::pair<float, float>>{{14, 81}, {16, 83}, {18, 85}})
            Bell(beat, key, 0.32f);
        Heart(12, 20, 0.5f, 0.5f);
        Rise(20, 1, 0.16f);
    }
    void Hall() {
        Boom(20, 0.75f);
        Strings({{20, 52, 1}, {21, 59, 1}, {22, 57, 0.5f}, {22.5f, 55, 0.5f}, {23, 54, 1}}, 0.34f, 1300,
                -0.15f);
        for (const auto& [beat, key] : std::vector<std::pair<float, float>>{
                 {20, 64}, {20.5f, 71}, {21, 74}, {22, 66}, {22.5f, 71}, {23, 78}, {23.5f, 74}})
            Harp(beat, key, 0.7f);
        // The floor mirrors: the theme upside down, and its image below it.
        const std::vector<std::pair<float, float>> mirrored{{24, 73}, {25, 69}, {25.5f, 73},
                                                            {26, 74}, {27, 78}, {27.5f, 81}};
        for (const auto& [beat, key] : mirrored) {
            Box(beat, key, 0.9f);
            Glass(beat + 0.25f, key - 12, 0.30f);
        }
        HarpWaves(24, 28, 0.5f, 54, 0.4f, 0.55f);
    }
    void Water() {
        for (const auto& [beat, key] : std::vector<std::pair<float, float>>{
                 {28, 78}, {29, 74}, {30, 76}, {30.5f, 81}, {31, 86}, {31.5f, 88}})
            Glass(beat, key, 0.85f);
        Glass(28, 66, 0.5f);
        Glass(30, 69, 0.5f);
        HarpWaves(28, 32, 0.5f, 55, 0.6f, 0.9f);
        Heart(28, 32, 0.35f, 0.5f);
        Rise(32, 3, 0.14f);
    }
    void Whale() {
        Boom(32, 0.8f);
        Strings({{32, 74, 2},
                 {34, 72, 1},
                 {35, 70, 1},
                 {36, 72, 1.5f},
                 {37.5f, 74, 0.5f},
                 {38, 76, 1},
                 {39, 79, 1}},
                0.50f, 3600, 0.2f);
        Strings({{32, 65, 4}, {36, 67, 4}}, 0.20f, 2600, -0.3f);
        Strings({{32, 46, 4}, {36, 48, 4}}, 0.16f, 1200, 0);
        const auto call = [&](float beat, const Keys& keys, float seconds, float pan, float gain) {
            mixer_.Add(Sung(keys, seconds), beat * kBeat, {gain, pan, 1.0f, 0.5f});
        };
        call(33, {53, 58, 57.6f, 50}, 2.2f, -0.25f, 0.12f);
        call(36.6f, {55, 60, 64, 62}, 2.0f, 0.2f, 0.115f);
        call(38.6f, {72, 76, 74}, 1.3f, 0.5f, 0.05f);
        HarpWaves(32, 40, 0.5f, 53, 0.75f, 1.05f);
        Heart(32, 40, 0.55f, 0.65f);
        Rise(40, 2, 0.14f);
    }
    void Meadow() {
        Bell(40, 78, 0.5f);
        Box(40, 90, 0.7f);
        // Fireflies: they light up where they like.
        constexpr float kLights[] = {74, 76, 78, 81, 83, 86, 88, 90, 93};
        for (int i = 1; i < 22; ++i) {
            if (random_.Next() < 0.3f) continue;
            const auto which = static_cast<std::size_t>(random_.Next() * 9);
            Box(40 + 0.25f * F(i - i % 2) + (i % 2 == 0 ? 0 : 0.125f * (1 + F(i % 3))), kLights[which],
                random_.Between(0.25f, 0.6f) * (i < 16 ? 1 : 0.6f));
        }
        const std::vector<std::pair<float, float>> slow{{40, 62}, {41, 69}, {42, 74}, {43, 69}};
        for (const auto& [beat, key] : slow) Harp(beat, key, 0.7f);
    }
    void Jetty() {
        HarpWaves(44, 48, 0.25f, 52, 0.5f, 1.1f);
        Strings({{44, 76, 1}, {45, 78, 1}, {46, 79, 1}, {47, 81, 1}}, 0.36f, 3000, 0.2f);
        Strings({{44, 64, 2}, {46, 69, 2}}, 0.18f, 1600, -0.2f);
        Heart(44, 48, 0.45f, 0.7f);
        for (int i = 0; i < 4; ++i)
            mixer_.Add(Thud(58, 0.3f), (46 + 0.5f * F(i)) * kBeat, {0.25f + 0.07f * F(i), 0, 0.1f, 0});
        Rise(48, 3, 0.42f);
    }
    void Lanterns() {
        Boom(48, 1.1f);
        Bell(48, 74, 1.0f);
        Bell(48, 81, 0.55f);
        Bell(48, 86, 0.35f);
        const std::vector<std::pair<float, float>> theme{{48, 78}, {49, 81}, {49.5f, 78},
                                                         {50, 76}, {51, 74}, {51.5f, 71}};
        for (const auto& [beat, key] : theme) {
            Box(beat, key + 12, 0.8f);
            Bell(beat, key, beat == 48 ? 0 : 0.3f);
        }
        Strings({{48, 78, 1}, {49, 81, 1}, {50, 79, 1}, {51, 74, 1}, {52, 74, 3.4f}}, 0.36f, 3600, 0.2f);
        Strings({{48, 69, 2}, {50, 67, 2}, {52, 66, 3.4f}}, 0.22f, 2400, -0.25f);
        Strings({{48, 50, 2}, {50, 55, 2}, {52, 50, 3.4f}}, 0.18f, 1200, 0);
        HarpWaves(48, 52, 0.25f, 57, 1.0f, 0.8f);
        Heart(48, 52, 0.65f, 0.5f);
        // Home, and the last light.
        Bell(52, 74, 0.8f);
        Bell(52, 62, 0.5f);
        const std::vector<float> down{86, 81, 78, 74, 69, 66, 62};
        for (std::size_t i = 0; i < down.size(); ++i) Harp(52 + 0.25f * F(i), down[i], 0.8f - 0.06f * F(i));
        Box(53, 81, 0.6f);
        Box(53.5f, 78, 0.5f);
        Box(54, 86, 0.6f);
    }

    Mixer mixer_{kMusicSeconds};
    Random random_{75};
    std::uint32_t seed_ = 100;
    std::map<std::pair<Instrument, float>, Samples> notes_;
};

}  // namespace

Track Music() { return Score().Play(); }

}  // namespace demo
