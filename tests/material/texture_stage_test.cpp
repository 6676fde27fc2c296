// Texture stages: their record and their matrices.
#include <gtest/gtest.h>

#include <cmath>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "fxutil/math.h"
#include "material/texture_stage.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"
#include "support/round_trip.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;

namespace {

void SetConstant(TextureStage& stage, TextureStage::Channel channel, f32 value) {
    stage.SetController(channel, new controller::Const<f32>(value));
}

struct Uv {
    f32 u, v;
};

// Where a texture matrix takes (u, v).
Uv Apply(const matrix& m, f32 u, f32 v) {
    return {u * m.m[0][0] + v * m.m[1][0] + m.m[2][0], u * m.m[0][1] + v * m.m[1][1] + m.m[2][1]};
}

}  // namespace

TEST(TextureStageRecord, TheNewerVersionAddsTheTransformMode) {
    const auto write = [](om2::File& f, unsigned version) {
        f.Chunk("TS__", version, [&] {
            f.Null();
            f.Stage({});
            for (float v : {0.25f, 1.0f, 2.0f, 3.0f, 0.5f, 0.75f}) f.ConstFloat(v);
            f.LinearFloat({{0, 0}, {100, 6}});
            if (version == 2) f.U8(1);
        });
    };
    for (const unsigned version : {1u, 2u}) {
        om2::File f;
        write(f, version);
        const auto loaded = Load(f.bytes);
        auto* stage = loaded.As<TextureStage>();
        ASSERT_NE(stage, nullptr);
        EXPECT_EQ(stage->GetTransformMode(),
                  version == 2 ? u32{TextureStage::kTransformCameraReflection} : 0u);
        EXPECT_EQ(stage->GetController(TextureStage::kVTiling)->value, 3.0f);
        EXPECT_EQ(stage->Controllers().size(), 7u);
    }
    om2::File newer;
    write(newer, 3);
    std::string reason;
    EXPECT_FALSE(Load(newer.bytes).As<TextureStage>()->Validate(reason));
}

TEST(TextureStageRecord, RunningMatricesStayOutOfTheFile) {
    om2::File f;
    om2::File::StageState fixed;
    fixed.matrix[8] = 3;
    fixed.transform_count = 2;
    f.TextureStage([&] { f.Null(); }, fixed, 2, 0.25f);
    const auto loaded = Load(f.bytes);
    auto* stage = loaded.As<TextureStage>();
    stage->Prepare();
    EXPECT_NE(stage->State().matrix, stage->GetFixedTransform());
    EXPECT_EQ(Save(stage), f.bytes);

    // A matrix next to the identity counts as none and is written as the identity.
    om2::File near;
    om2::File::StageState almost;
    almost.matrix[4] = 0.00005f;
    near.TextureStage([&] { near.Null(); }, almost);
    om2::File none;
    none.TextureStage([&] { none.Null(); }, {});
    EXPECT_EQ(Save(Load(near.bytes).root), none.bytes);
}

TEST(TextureStage, ConstantsActAboutTheMiddleAndTheOffsetIsMirrored) {
    // The middle that the matrix works about is (0.5, -0.5). A turn is negated, and taken about the axis out
    // of the image: +u goes to -v.
    struct Row {
        TextureStage::Channel channel;
        f32 value;
        Uv from, to;
    };
    for (const Row& row : {Row{TextureStage::kUOffset, 0.25f, {0, 0}, {-0.25f, 0}},
                           {TextureStage::kVOffset, 0.5f, {0, 0}, {0, 0.5f}},
                           {TextureStage::kUTiling, 4, {0.75f, 0}, {1.5f, 0}},
                           {TextureStage::kVTiling, 2, {0, -0.25f}, {0, 0}},
                           {TextureStage::kWAngle, D3DX_PI / 2, {1.5f, -0.5f}, {0.5f, -1.5f}}}) {
        TextureStage stage;
        SetConstant(stage, row.channel, row.value);
        stage.FillWithNeutralControllers();
        stage.Prepare();
        EXPECT_EQ(stage.State().transformCount, 2u);
        const Uv uv = Apply(stage.State().matrix, row.from.u, row.from.v);
        EXPECT_NEAR(uv.u, row.to.u, 1e-6f) << row.channel;
        EXPECT_NEAR(uv.v, row.to.v, 1e-6f) << row.channel;
    }
    TextureStage neutral;
    neutral.FillWithNeutralControllers();
    neutral.Prepare();
    EXPECT_TRUE(neutral.IsStatic());
    EXPECT_EQ(neutral.State().transformCount, 0u);
}

TEST(TextureStage, FixedTransformActsFirstAndKeepsItsCount) {
    TextureStage stage;
    matrix fixed = kMatrixIdentity;
    fixed.m[0][0] = 2;
    stage.SetFixedTransform(fixed);
    stage.FillWithNeutralControllers();
    stage.Prepare();
    EXPECT_EQ(stage.State().matrix, fixed);
    EXPECT_EQ(stage.State().transformCount, 0u);
    SetConstant(stage, TextureStage::kUOffset, 1);
    stage.Prepare();
    EXPECT_NEAR(Apply(stage.State().matrix, 3, 0).u, 5.0f, 1e-6f);
    EXPECT_EQ(stage.State().transformCount, 0u);
}

TEST(TextureStage, AnyAnimatedControllerRunsTheMatrix) {
    TextureStage stage;
    auto* slide = new controller::Linear<f32>;
    slide->AddKey(controller::LinearKey<f32>(0, 0));
    slide->AddKey(controller::LinearKey<f32>(10, 1));
    stage.SetController(TextureStage::kUOffset, slide);
    stage.FillWithNeutralControllers();
    stage.Prepare();
    EXPECT_FALSE(stage.IsStatic());
    stage.Update(0);
    EXPECT_EQ(stage.State().transformCount, 2u) << "even where the matrix is the identity";
    stage.Update(5);
    EXPECT_NEAR(stage.State().matrix.m[2][0], -0.5f, 1e-6f);
}

TEST(TextureStage, ReflectionFollowsTheCamera) {
    support::EngineDevice engine;
    matrix view;
    D3DXMatrixRotationY(&view, 0.5f);
    view.m[3][0] = 7;
    engine.context().SetView(view);
    matrix inverse;
    D3DXMatrixInverse(&inverse, nullptr, &view);
    TextureStage stage;
    stage.SetTransformMode(TextureStage::kTransformCameraReflection);
    stage.FillWithNeutralControllers();
    stage.State().transformCount = 3;
    stage.Prepare();
    stage.Update(0);
    const matrix& m = stage.State().matrix;
    EXPECT_NEAR(m.m[0][2], -inverse.m[0][2], 1e-6f);
    EXPECT_EQ(m.m[3][3], -1.0f);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m.m[3][i], 0.0f);
        EXPECT_TRUE(std::signbit(m.m[3][i]));
    }
    EXPECT_EQ(stage.State().transformCount, 3u);
    stage.Apply(1);
    EXPECT_EQ(engine.recorded().Count("SetTransform", {D3DTS_TEXTURE1}), 1u);
}
