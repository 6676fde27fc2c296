// Texture stages: their record and their matrices.
#include <gtest/gtest.h>

#include <cmath>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "fxutil/math.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "material/texture_stage.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"
#include "support/round_trip.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;

namespace {

om2::File::StageState OddState() {
    om2::File::StageState s;
    s.color_op = 9;
    s.address_u = 2;
    s.mip = 2;
    s.coord_index = 18;
    s.transform_count = 3;
    s.projected = true;
    s.matrix[1] = 0.5f;
    return s;
}

void SetConstant(TextureStage& stage, TextureStage::Channel channel, f32 value) {
    stage.SetController(channel, new controller::Const<f32>(value));
}

void ExpectNear(const matrix& a, const matrix& b) {
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(a.Data()[i], b.Data()[i], 1e-5f) << "element " << i;
}

struct Uv {
    f32 u, v;
};

// Where a texture matrix takes (u, v).
Uv Apply(const matrix& m, f32 u, f32 v) {
    return {u * m.m[0][0] + v * m.m[1][0] + m.m[2][0], u * m.m[0][1] + v * m.m[1][1] + m.m[2][1]};
}

}  // namespace

TEST(TextureStageRecord, BothVersions) {
    om2::File f;
    f.Chunk("TS__", 2, [&] {
        f.NamedTexture("stone.png");
        f.Stage(OddState());
        for (float v : {0.25f, 1.0f, 2.0f, 3.0f, 0.5f, 0.75f}) f.ConstFloat(v);
        f.LinearFloat({{0, 0}, {100, 6}});
        f.U8(1);
    });
    const auto loaded = Load(f.bytes);
    auto* stage = loaded.As<TextureStage>();
    ASSERT_NE(stage, nullptr);
    EXPECT_EQ(stage->GetTransformMode(), TextureStage::kTransformCameraReflection);
    EXPECT_EQ(stage->State().colorOp, 9u);
    EXPECT_EQ(stage->State().texCoordIndex, 18u);
    EXPECT_TRUE(stage->HasFixedTransform());
    EXPECT_EQ(stage->GetController(TextureStage::kVTiling)->value, 3.0f);
    EXPECT_EQ(stage->Controllers().size(), 7u);
    auto* image = dynamic_cast<TextureBitmapFile*>(stage->GetTexture());
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->GetFileName(), "stone.png");
    EXPECT_EQ(Save(stage), f.bytes);

    om2::File old;
    old.Chunk("MTSM", 1, [&] {
        for (int i = 0; i < 4; ++i) old.ConstColor({});
        old.ConstFloat(0);
        old.I32(0);
        old.U8(5);
        old.I32(2);
        old.TextureStage([&] { old.Null(); }, OddState(), 1);
        old.TextureStage([&] { old.Null(); }, {}, 1);
    });
    const auto before = Load(old.bytes);
    auto* material = before.As<MaterialSimple>();
    ASSERT_EQ(material->StageCount(), 2u);
    EXPECT_EQ(material->GetStage(0)->GetTransformMode(), 0u);
    ASSERT_NE(material->GetStage(1), nullptr)
        << "the second stage follows the seventh controller of the first";
    EXPECT_FALSE(material->GetStage(1)->HasFixedTransform());

    om2::File newer;
    newer.Chunk("TS__", 3, [&] { newer.Null(); });
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

TEST(TextureStage, NeutralConstantsLeaveTheTransformOff) {
    TextureStage stage;
    stage.FillWithNeutralControllers();
    stage.Prepare();
    EXPECT_TRUE(stage.IsStatic());
    EXPECT_EQ(stage.State().transformCount, 0u);
    EXPECT_EQ(stage.State().matrix, kMatrixIdentity);
}

TEST(TextureStage, ConstantOffsetMovesRowTwo) {
    TextureStage stage;
    SetConstant(stage, TextureStage::kUOffset, 0.25f);
    SetConstant(stage, TextureStage::kVOffset, 0.5f);
    stage.FillWithNeutralControllers();
    stage.Prepare();
    EXPECT_EQ(stage.State().transformCount, 2u);
    matrix expected = kMatrixIdentity;
    expected.m[2][0] = -0.25f;
    expected.m[2][1] = 0.5f;
    ExpectNear(stage.State().matrix, expected);
}

TEST(TextureStage, TilingAndTurningWorkAboutTheMiddle) {
    TextureStage stage;
    SetConstant(stage, TextureStage::kUTiling, 4);
    SetConstant(stage, TextureStage::kVTiling, 2);
    stage.FillWithNeutralControllers();
    stage.Prepare();
    // The middle that the matrix works about is (0.5, -0.5).
    Uv uv = Apply(stage.State().matrix, 0.5f, -0.5f);
    EXPECT_NEAR(uv.u, 0.5f, 1e-6f);
    EXPECT_NEAR(uv.v, -0.5f, 1e-6f);
    uv = Apply(stage.State().matrix, 0.75f, -0.25f);
    EXPECT_NEAR(uv.u, 1.5f, 1e-6f);
    EXPECT_NEAR(uv.v, 0.0f, 1e-6f);

    TextureStage turned;
    SetConstant(turned, TextureStage::kWAngle, D3DX_PI / 2);
    turned.FillWithNeutralControllers();
    turned.Prepare();
    // The angle is negated, and taken as a turn about the axis out of the image: +u goes to -v.
    uv = Apply(turned.State().matrix, 1.5f, -0.5f);
    EXPECT_NEAR(uv.u, 0.5f, 1e-6f);
    EXPECT_NEAR(uv.v, -1.5f, 1e-6f);
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
    controller::LinearKey<f32> key;
    key.time = 0;
    key.value = 0;
    slide->AddKey(key);
    key.time = 10;
    key.value = 1;
    slide->AddKey(key);
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
