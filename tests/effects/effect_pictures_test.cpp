// What stands in the picture after transitions and filters, worked out from what each is to do.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "effects/blur_radial.h"
#include "effects/show.h"
#include "effects/simple_effects.h"
#include "scene/small_scene.h"
#include "support/allocations.h"
#include "support/picture_device.h"

using namespace osm3d;
using show::Clip;
using show::EffectPointer;
using show::Painted;

namespace {

constexpr u32 kWidth = 640, kHeight = 480;
constexpr u32 kFirst = 0xffc82800, kSecond = 0xff1e5ad2;

u32 Channel(u32 pixel, u32 channel) { return pixel >> (16 - 8 * channel) & 255; }

/// `level` in all channels, rounded.
u32 Grey(f64 level) { return static_cast<u32>(std::lround(std::clamp(level, 0.0, 255.0))) * 0x010101u; }

/// `weight` of `a`, the rest of `b`.
u32 Mix(u32 a, u32 b, f64 weight) {
    u32 out = 0;
    for (u32 i = 0; i < 3; ++i)
        out = out << 8 | static_cast<u32>(std::lround(Channel(a, i) * weight + Channel(b, i) * (1 - weight)));
    return out;
}

/// Columns, or rows, of their own colour each, which tell a picture that is a texel off.
u32 Column(u32 x) { return (x * 7 % 256) << 16 | (255 - x * 7 % 256) << 8 | x * 101 % 256; }

EffectPointer Lines(bool columns) {
    return EffectPointer(new Painted([columns](Painted&) {
        for (i32 i = 0; i < static_cast<i32>(columns ? kWidth : kHeight); ++i)
            Painted::Fill(columns ? i : 0, columns ? 0 : i, columns ? i + 1 : 0xffff,
                          columns ? 0xffff : i + 1, 0xff000000 | Column(static_cast<u32>(i)));
    }));
}

struct EffectPictures : testing::Test {
    support::PictureDevice device{kWidth, kHeight};
    RenderTargetPool pool;

    EffectPointer Make(const std::string& type, const std::map<std::string, f64>& values = {}) {
        EffectPointer effect = show::Make(type, values, pool);
        effect->Init();
        return effect;
    }
    void Show(const Clip& clip) {
        show::Play(clip);
        device.Frame([] {});
    }
    /// Sets parameter `index` of an effect made here.
    static void Set(Effect& effect, u32 index, f64 value) {
        auto& controller = static_cast<fake_host::Controller&>(*effect.GetController(index));
        controller.number = static_cast<f32>(value);
        controller.integer = static_cast<i32>(value);
        effect.ApplyAll();
    }
    void ExpectAll(u32 colour, const std::string& what) {
        for (const auto& [x, y] : {std::pair{0u, 0u}, {639u, 0u}, {0u, 479u}, {639u, 479u}, {320u, 240u}})
            EXPECT_TRUE(support::Alike(device.At(x, y), colour))
                << what << " at " << x << ", " << y << ": " << std::hex << device.At(x, y) << " for "
                << colour;
    }
};

TEST_F(EffectPictures, CrossFadeMixesByItsProgress) {
    const EffectPointer fade = Make("fx_trans_blend"), first = show::Flat(kFirst),
                        second = show::Flat(kSecond);
    for (const f64 progress : {0.25, 0.0, 0.5, 1.0, 0.75}) {
        Set(*fade, 0, progress);
        Show({fade.get(), {{first.get(), {}}, {second.get(), {}}}});
        // The weight is one of 256 bytes.
        const f64 weight = std::floor((1 - progress) * 255 + 0.5) / 255;
        ExpectAll(Mix(kFirst, kSecond, weight), "progress " + std::to_string(progress));
    }
}

TEST_F(EffectPictures, CrossFadeLaysEveryTexelOnItsPixel) {
    const EffectPointer fade = Make("fx_trans_blend"), columns = Lines(true), rows = Lines(false);
    Set(*fade, 0, 0.5);
    Show({fade.get(), {{columns.get(), {}}, {rows.get(), {}}}});
    u32 wrong = 0;
    for (u32 y = 0; y < kHeight; ++y)
        for (u32 x = 0; x < kWidth; ++x)
            wrong += !support::Alike(device.At(x, y), Mix(Column(x), Column(y), 128 / 255.0));
    EXPECT_EQ(wrong, 0u);
}

TEST_F(EffectPictures, CutsChangeHalfWayAndTheFlashHidesIt) {
    const EffectPointer first = show::Flat(kFirst), second = show::Flat(kSecond);
    for (const char* type : {"fx_trans_direct", "fx_trans_white"}) {
        const EffectPointer cut = Make(type);
        const bool white = type == std::string("fx_trans_white");
        // Added to every channel: 1 - 2 |progress - 0.5|, as a byte.
        for (const auto& [progress, added] : {std::pair{0.0, 0u},
                                              {0.25, 128u},
                                              {0.4375, 223u},
                                              {0.5, 255u},
                                              {0.875, 64u},
                                              {1.0, 0u},
                                              {-1.0, 0u},
                                              {3.0, 0u}}) {
            Set(*cut, 0, progress);
            Show({cut.get(), {{first.get(), {}}, {second.get(), {}}}});
            u32 expected = 0;
            for (u32 i = 0; i < 3; ++i)
                expected = expected << 8 | std::min(255u, Channel(progress < 0.5 ? kFirst : kSecond, i) +
                                                              (white ? added : 0));
            ExpectAll(expected, type + std::string(" ") + std::to_string(progress));
        }
    }
}

/// The two stages of the grey filter on 0 to 1: half + half x picture, then the dot product with the weights.
f64 GreyOf(u32 colour, f64 value) {
    const f64 half = 128 / 255.0, weight = std::floor((value + 1) * 0.5 * 255 + 0.5) / 255;
    f64 sum = 0;
    for (u32 i = 0; i < 3; ++i)
        sum += (std::min(1.0, half + half * Channel(colour, i) / 255) - 0.5) * (weight - 0.5);
    return 255 * 4 * sum;
}

TEST_F(EffectPictures, GreyIsTheWeightedSum) {
    const EffectPointer grey = Make("fx_render_bw");
    for (const u32 colour : {kFirst, kSecond, 0xff000000u, 0xffffffffu, 0xff404040u}) {
        const EffectPointer content = show::Flat(colour);
        for (const f64 value : {1 / 3.0, 1.0, 0.1, -0.5}) {
            Set(*grey, 0, value);
            Show({grey.get(), {{content.get(), {}}}});
            EXPECT_TRUE(support::Alike(device.At(320, 240), Grey(GreyOf(colour, value))))
                << std::hex << device.At(320, 240) << " of " << colour << " at " << value;
            // Which is, but for the rounding of the halves: value x (r + g + b).
            const f64 plain = value * (Channel(colour, 0) + Channel(colour, 1) + Channel(colour, 2));
            EXPECT_TRUE(support::Alike(device.At(639, 479), Grey(plain), 5)) << colour << " " << value;
        }
    }
    // Half a texel off: each pixel is the mean of its own and of the one before, in both directions.
    Set(*grey, 0, 1 / 3.0);
    const EffectPointer edges =
        EffectPointer(new Painted([](Painted&) { Painted::Fill(320, 240, kWidth, kHeight, 0xffffffff); }));
    Show({grey.get(), {{edges.get(), {}}}});
    EXPECT_TRUE(support::Alike(device.At(319, 400), Grey(GreyOf(0, 1 / 3.0))));
    EXPECT_TRUE(support::Alike(device.At(320, 400), Grey(GreyOf(0x808080, 1 / 3.0)), 2));
    EXPECT_TRUE(support::Alike(device.At(500, 240), Grey(GreyOf(0x808080, 1 / 3.0)), 2));
    EXPECT_TRUE(support::Alike(device.At(321, 241), 0xffffff));
    // Before the first column lies the target's last, which nothing ever paints.
    const EffectPointer white = show::Flat(0xffffffff);
    Show({grey.get(), {{white.get(), {}}}});
    EXPECT_TRUE(support::Alike(device.At(0, 240), Grey(GreyOf(0x808080, 1 / 3.0)), 2));
    // A material of many stages may stand behind the two.
    const EffectPointer deep(new Painted([this](Painted&) {
        Painted::Fill(0, 0, kWidth, kHeight, kSecond);
        TextureStageStateBlock block = TextureStageStateBlock::Standard();
        block.colorOp = 2;
        block.colorArg2 = 3;
        device.context().ApplyStage(2, block);
    }));
    Show({grey.get(), {{deep.get(), {}}}});
    EXPECT_TRUE(support::Alike(device.At(320, 240), Grey(GreyOf(kSecond, 1 / 3.0))));
}

/// The column of the captured picture that `channel` shows in column x; -1 where it lies on a texel's edge.
i32 ShiftedColumn(u32 x, u32 channel, f64 shift) {
    const f64 left = channel * shift * 1024, texel = left + (640 - left) * x / 640;
    const f64 part = texel - std::floor(texel);
    if (left != 0 && (part < 0.01 || part > 0.99)) return -1;
    return static_cast<i32>(texel);
}

TEST_F(EffectPictures, ColourShiftStretchesEachChannelFromItsOwnStart) {
    const EffectPointer split = Make("fx_render_rgb"), columns = Lines(true);
    for (const f64 shift : {0.0, 0.0402, 0.171}) {
        Set(*split, 0, shift);
        Show({split.get(), {{columns.get(), {}}}});
        u32 looked = 0, wrong = 0;
        for (u32 x = 0; x < kWidth; ++x) {
            for (u32 channel = 0; channel < 3; ++channel) {
                const i32 column = ShiftedColumn(x, channel, shift);
                if (column < 0) continue;
                ++looked;
                wrong += Channel(device.At(x, x % kHeight), channel) !=
                         Channel(Column(static_cast<u32>(column)), channel);
            }
        }
        EXPECT_EQ(wrong, 0u) << shift;
        EXPECT_GT(looked, 1800u) << shift;
    }
    // Without a shift the picture is itself, rows too.
    const EffectPointer rows = Lines(false);
    Set(*split, 0, 0);
    Show({split.get(), {{rows.get(), {}}}});
    for (u32 y = 0; y < kHeight; ++y) EXPECT_EQ(device.At(y, y), Column(y)) << y;
}

TEST_F(EffectPictures, BlurLaysGrowingCopiesOverItsBase) {
    // Around the middle: in the target of 256 x 192 a box from 96, 72 to 160, 120, so that it covers 240 to
    // 400 and 180 to 300 of the picture.
    const EffectPointer box =
        EffectPointer(new Painted([](Painted&) { Painted::Fill(96, 72, 160, 120, 0xff646464); }));
    const EffectPointer blur = Make("fx_blur_radial", {{"choice steps", 1},
                                                       {"float x", 0.32},
                                                       {"float y", 0.24},
                                                       {"float scale", 1},
                                                       {"float alpha", 1},
                                                       {"choice destination", 1},
                                                       {"choice source", 3}});
    // One copy: t = scale 2 x 1 / 2 = 1, twice as large, at half the alpha.
    Show({blur.get(), {{box.get(), {}}}});
    EXPECT_TRUE(support::Alike(device.At(320, 240), 0x969696)) << std::hex << device.At(320, 240);
    EXPECT_TRUE(support::Alike(device.At(200, 240), 0x323232)) << std::hex << device.At(200, 240);
    EXPECT_TRUE(support::Alike(device.At(320, 135), 0x323232));
    EXPECT_EQ(device.At(150, 240), 0u);
    EXPECT_EQ(device.At(320, 370), 0u);

    // About the left upper corner the copy's box lies from 480 to 800 and 360 to 600; a negative growth
    // shrinks it to a half.
    Set(*blur, 1, 0);
    Set(*blur, 2, 0);
    Show({blur.get(), {{box.get(), {}}}});
    EXPECT_TRUE(support::Alike(device.At(320, 240), 0x646464));
    EXPECT_TRUE(support::Alike(device.At(600, 420), 0x323232));
    Set(*blur, 3, -0.5);
    Show({blur.get(), {{box.get(), {}}}});
    EXPECT_TRUE(support::Alike(device.At(160, 120), 0x323232));
    EXPECT_TRUE(support::Alike(device.At(600, 420), 0));

    // No copies: the base alone.
    Set(*blur, 0, 0);
    Show({blur.get(), {{box.get(), {}}}});
    EXPECT_TRUE(support::Alike(device.At(320, 240), 0x646464));
    EXPECT_EQ(device.At(160, 120), 0u);

    // The cross at the centre, ten pixels each way.
    Set(*blur, 1, 0.1);
    Set(*blur, 2, 0.4);
    static_cast<fx_blur_radial&>(*blur).DrawMarker();
    device.Frame([] {});
    for (const auto& [x, y] : {std::pair{100u, 400u}, {92u, 400u}, {108u, 400u}, {100u, 392u}, {100u, 408u}})
        EXPECT_EQ(device.At(x, y), 0xffff00u) << x << ", " << y;
    for (const auto& [x, y] : {std::pair{88u, 400u}, {112u, 400u}, {100u, 388u}, {98u, 398u}})
        EXPECT_EQ(device.At(x, y), 0u) << x << ", " << y;
}

TEST_F(EffectPictures, FilterInTransitionInFilter) {
    const EffectPointer split = Make("fx_render_rgb", {{"float shift", 0.0402}}), columns = Lines(true);
    const EffectPointer fade = Make("fx_trans_blend", {{"float progress", 0.25}});
    const EffectPointer grey = Make("fx_render_bw", {{"float brightness", 1 / 3.0}});
    const EffectPointer second = show::Flat(kSecond);
    for (int round = 0; round < 2; ++round) {
        Show({grey.get(), {{fade.get(), {{split.get(), {{columns.get(), {}}}}, {second.get(), {}}}}}});
        u32 looked = 0, wrong = 0;
        for (u32 x = 1; x < kWidth; ++x) {
            std::array<f64, 3> mean{};
            bool sure = true;
            for (const u32 at : {x - 1, x}) {
                for (u32 i = 0; i < 3; ++i) {
                    const i32 column = ShiftedColumn(at, i, 0.0402);
                    sure = sure && column >= 0;
                    mean[i] += (Channel(Column(static_cast<u32>(std::max(column, 0))), i) * 191 / 255.0 +
                                Channel(kSecond, i) * 64 / 255.0) /
                               2;
                }
            }
            if (!sure) continue;
            ++looked;
            wrong += !support::Alike(device.At(x, 300), Grey((mean[0] + mean[1] + mean[2]) / 3), 3);
        }
        EXPECT_EQ(wrong, 0u);
        EXPECT_GT(looked, 550u);
    }
    // Cut off at its second input, the fade leaves the grey of that alone.
    Set(*fade, 0, 1);
    Show({grey.get(), {{fade.get(), {{split.get(), {{columns.get(), {}}}}, {second.get(), {}}}}}});
    EXPECT_TRUE(support::Alike(device.At(300, 300), Grey(GreyOf(kSecond, 1 / 3.0))));
}

class ShownScene : public SceneData {
  public:
    bool Reload() override { return true; }
};

// Each effect leaves states behind; none may reach what is drawn after it.
TEST_F(EffectPictures, ASceneAfterAnEffectIsUnchanged) {
    SmallScene small;
    small.Add({SmallScene::Facing(-2, -1, 1, 2, 0)}, {0.9f, 0.5f, 0.1f, 1});
    small.Add({SmallScene::Facing(-1, -2, 2, 1, 1), SmallScene::Averted(1, 1, 2, 2, 1)}, {0, 0.6f, 1, 1});
    small.scene.LoadResources();
    ShownScene data;
    data.scene = &small.scene;
    fx_simple_scene scene;
    scene.SetStart(0);
    scene.SetLength(1);
    scene.OnObjectChanged(0, &data);
    scene.Init();
    const auto picture = [&] {
        Show({&scene, {}});
        std::vector<u32> pixels;
        for (u32 i = 0; i < kWidth * kHeight; ++i) pixels.push_back(device.At(i % kWidth, i / kWidth));
        return pixels;
    };
    const std::vector<u32> alone = picture();
    EXPECT_NE(alone[kWidth * 240 + 320], alone[0]);
    const EffectPointer other = show::Flat(kSecond);
    for (const auto& [type, parameters] : show::kParameters) {
        const EffectPointer effect = Make(type, {{"float progress", 0.4},
                                                 {"float shift", 0.1},
                                                 {"choice steps", 3},
                                                 {"float scale", 0.5},
                                                 {"float alpha", 1},
                                                 {"choice destination", 1},
                                                 {"choice source", 3}});
        if (effect->IsTransition())
            Show({effect.get(), {{&scene, {}}, {other.get(), {}}}});
        else
            Show({effect.get(), {{&scene, {}}}});
        EXPECT_TRUE(picture() == alone) << type;
        // And the scene is what the effect worked on.
        EXPECT_NE(device.At(320, 240), 0u);
    }
}

TEST_F(EffectPictures, FramesAllocateNothing) {
    if (!support::kCountsAllocations) GTEST_SKIP() << "allocations are the sanitizer's";
    const EffectPointer first = show::Flat(kFirst), second = show::Flat(kSecond);
    for (const auto& [type, parameters] : show::kParameters) {
        const EffectPointer effect = Make(type, {{"float progress", 0.4}, {"choice steps", 40}});
        const bool inputs = effect->IsTransition();
        const Clip clip{effect.get(), inputs ? std::vector<Clip>{{first.get(), {}}, {second.get(), {}}}
                                             : std::vector<Clip>{{first.get(), {}}}};
        for (int i = 0; i < 3; ++i) show::Play(clip);
        const long long before = support::Allocations();
        for (int i = 0; i < 3; ++i) show::Play(clip);
        EXPECT_EQ(support::Allocations(), before) << type;
    }
}

}  // namespace
