// Simple and composite materials: records, and what each pass sends.
#include <gtest/gtest.h>

#include <memory>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "material/material_composite.h"
#include "material/material_simple.h"
#include "support/engine_device.h"
#include "support/round_trip.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;

namespace {

void WriteMaterial(om2::File& f, unsigned blendClass, int stages) {
    f.Material(
        {{1, 0.5f, 0.25f, 1}, {0.1f, 0, 0, 0}, {0, 0.2f, 0, 0}, {0, 0, 0.3f, 0}, 12}, blendClass,
        [&] { f.RenderState(true, 2, false, 1); },
        [&] {
            f.I32(stages);
            for (int i = 0; i < stages; ++i) f.TextureStage([&] { f.Null(); }, {});
        });
}

struct MaterialDevice : testing::Test {
    support::EngineDevice engine;

    // Calls of Pass apart from the render states.
    std::vector<std::string_view> NamesOfPass(Material& material) {
        engine.recorded().Clear();
        material.Pass(0);
        std::vector<std::string_view> names;
        for (const auto& call : engine.recorded().Calls()) names.push_back(call.name);
        return names;
    }
};

TextureStage* NewStage() {
    auto* stage = new TextureStage;
    stage->FillWithNeutralControllers();
    return stage;
}

}  // namespace

TEST(MaterialRecord, SimpleComesBackAndIsWrittenAlike) {
    om2::File f;
    WriteMaterial(f, 4, 2);
    const auto loaded = Load(f.bytes);
    auto* m = loaded.As<MaterialSimple>();
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->GetBlendClass(), 4u);
    EXPECT_EQ(m->StageCount(), 2u);
    EXPECT_EQ(m->GetRenderState()->cullMode, 2u);
    EXPECT_TRUE(m->GetRenderState()->blendEnable);
    EXPECT_FALSE(m->GetRenderState()->lighting);
    std::string reason;
    EXPECT_TRUE(m->Validate(reason)) << reason;
    EXPECT_EQ(Save(m), f.bytes);

    m->Prepare();
    EXPECT_TRUE(m->IsStatic());
    const D3DMATERIAL9& d = m->GetDeviceMaterial();
    EXPECT_EQ(d.Diffuse.g, 0.5f);
    EXPECT_EQ(d.Ambient.r, 0.1f);
    EXPECT_EQ(d.Specular.g, 0.2f);
    EXPECT_EQ(d.Emissive.b, 0.3f);
    EXPECT_EQ(d.Power, 12.0f);
}

TEST(MaterialRecord, IncompleteMaterialsAreRefused) {
    std::string reason;
    om2::File newer;
    newer.Chunk("MTSM", 2, [&] { newer.I32(0); });
    EXPECT_FALSE(Load(newer.bytes).As<MaterialSimple>()->Validate(reason)) << "no controllers";

    om2::File nine;
    WriteMaterial(nine, 0, 9);
    EXPECT_FALSE(Load(nine.bytes).As<MaterialSimple>()->Validate(reason)) << "the device has eight stages";

    MaterialSimple gap;
    gap.SetConstants({}, {}, {}, {}, 0);
    EXPECT_TRUE(gap.Validate(reason)) << reason;
    gap.SetStage(1, NewStage());
    EXPECT_EQ(gap.StageCount(), 2u);
    EXPECT_FALSE(gap.Validate(reason)) << "an empty stage";
    gap.SetStage(0, new TextureStage);
    EXPECT_FALSE(gap.Validate(reason)) << "a stage without controllers";
    gap.GetStage(0)->FillWithNeutralControllers();
    EXPECT_TRUE(gap.Validate(reason)) << reason;
    gap.GetStage(0)->SetController(TextureStage::kUAngle, new controller::Linear<f32>);
    EXPECT_FALSE(gap.Validate(reason)) << "a stage with a controller without keys";
    EXPECT_EQ(gap.GetStage(2), nullptr);
    EXPECT_EQ(gap.GetStageTexture(7), nullptr);

    om2::File many;
    many.Material(
        {}, 1, [&] { many.RenderState(); }, [&] { many.I32(0x7fffffff); });
    EXPECT_TRUE(Load(many.bytes).failed);
}

TEST_F(MaterialDevice, PassWithoutStagesLetsTheVertexColourThrough) {
    MaterialSimple m;
    m.SetConstants({0.5f, 0, 0, 1}, {}, {}, {}, 3);
    m.Prepare();
    engine.recorded().Clear();
    EXPECT_EQ(m.Begin(5), 1u);
    m.Pass(0);
    m.End();
    const auto materials = engine.recorded().Named("SetMaterial");
    ASSERT_EQ(materials.size(), 1u);
    EXPECT_EQ(materials[0].floats.front(), 0.5f);
    EXPECT_EQ(engine.recorded().Count("SetTexture", {0, 0}), 1u);
    EXPECT_EQ(engine.context().stageState[0].colorOp, 1u);
    EXPECT_EQ(engine.context().stageState[0].colorArg1, 1u);
}

TEST_F(MaterialDevice, PassWithStagesClosesTheChainBehindTheLast) {
    MaterialSimple m;
    m.SetConstants({1, 1, 1, 1}, {}, {}, {}, 0);
    for (u32 i = 0; i < 2; ++i) {
        m.SetStage(i, NewStage());
        m.GetStage(i)->State() = TextureStageStateBlock::Standard();
    }
    engine.context().ApplyStage(2, TextureStageStateBlock::Standard());
    engine.context().ApplyStage(3, TextureStageStateBlock::Standard());
    m.GetRenderState()->cullMode = 2;
    m.Prepare();
    const auto names = NamesOfPass(m);
    ASSERT_GE(names.size(), 2u);
    EXPECT_EQ(names[0], "SetRenderState");
    EXPECT_EQ(names[1], "SetMaterial");
    EXPECT_EQ(engine.recorded().Count("SetTexture"), 0u) << "a stage without a texture leaves the bound one";
    EXPECT_EQ(engine.context().stageState[1].colorOp, 3u);
    EXPECT_EQ(engine.context().stageState[2].colorOp, 0u);
    EXPECT_EQ(engine.context().stageState[3].colorOp, 3u);
    // The same again changes nothing on the device.
    EXPECT_EQ(NamesOfPass(m), (std::vector<std::string_view>{"SetMaterial"}));
}

TEST_F(MaterialDevice, EightStagesFillTheDevice) {
    MaterialSimple m;
    m.SetConstants({}, {}, {}, {}, 0);
    for (u32 i = 0; i < 8; ++i) {
        m.SetStage(i, NewStage());
        m.GetStage(i)->State() = TextureStageStateBlock::Standard();
    }
    m.Prepare();
    m.Pass(0);
    EXPECT_EQ(engine.context().stageState[7].colorOp, 3u);
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST_F(MaterialDevice, OneAnimatedControllerKeepsTheMaterialMoving) {
    MaterialSimple m;
    m.SetConstants({0, 0, 0, 0}, {1, 0, 0, 0}, {}, {}, 2);
    auto* fade = new controller::Linear<f32>;
    controller::LinearKey<f32> key;
    key.time = 0;
    key.value = 0;
    fade->AddKey(key);
    key.time = 10;
    key.value = 100;
    fade->AddKey(key);
    m.SetPowerController(fade);
    m.Prepare();
    EXPECT_FALSE(m.IsStatic());
    m.Update(5);
    EXPECT_EQ(m.GetDeviceMaterial().Power, 50.0f);
    EXPECT_EQ(m.GetDeviceMaterial().Ambient.r, 1.0f);
    m.Update(20);
    EXPECT_EQ(m.GetDeviceMaterial().Power, 100.0f);
}

TEST_F(MaterialDevice, DefaultMaterialIsWhiteWithDefaultStates) {
    RenderStateBlock block(RenderStateBlock::kRasterizer);
    block.cullMode = 2;
    engine.context().ApplyRenderState(block);
    engine.recorded().Clear();
    ApplyDefaultMaterial();
    const auto materials = engine.recorded().Named("SetMaterial");
    ASSERT_EQ(materials.size(), 1u);
    std::vector<f32> white(17, 0.0f);
    white[0] = white[1] = white[2] = 1;
    EXPECT_EQ(materials[0].floats, white);
    EXPECT_EQ(engine.recorded().Count("SetRenderState", {D3DRS_CULLMODE, D3DCULL_CW}), 1u);
    EXPECT_EQ(engine.recorded().Count("SetTexture", {0, 0}), 1u);
}

// ---------------------------------------------------------------------------------------------- composite

TEST(MaterialRecord, CompositeVersions) {
    om2::File f;
    f.Chunk("MTCP", 2, [&] {
        f.I32(3);
        const int first = f.Material({}, 1);
        f.Null();
        f.Ref(first);
        f.I32(2);
        f.I32(-7);  // as an unsigned attribute the highest
        f.I32(0);
        f.I32(4);
        f.I32(2);
    });
    const auto loaded = Load(f.bytes);
    auto* m = loaded.As<MaterialComposite>();
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->MaterialCount(), 3u);
    EXPECT_EQ(m->GetMaterial(1), nullptr);
    EXPECT_EQ(m->GetSubMaterial(4), m->GetMaterial(0)) << "one object, named twice";
    EXPECT_EQ(m->GetSubMaterial(static_cast<u32>(-7)), m->GetMaterial(0));
    EXPECT_EQ(m->GetSubMaterial(5), m);
    // Written in ascending order of attributes.
    om2::File sorted;
    sorted.Chunk("MTCP", 2, [&] {
        sorted.I32(3);
        const int first = sorted.Material({}, 1);
        sorted.Null();
        sorted.Ref(first);
        sorted.I32(2);
        sorted.I32(4);
        sorted.I32(2);
        sorted.I32(-7);
        sorted.I32(0);
    });
    EXPECT_EQ(Save(m), sorted.bytes);

    om2::File old;
    old.Chunk("MTCP", 1, [&] {
        old.I32(1);
        old.Material({}, 3);
    });
    const auto first = Load(old.bytes);
    auto* plain = first.As<MaterialComposite>();
    EXPECT_TRUE(plain->AttributeMap().empty());
    EXPECT_EQ(plain->GetSubMaterial(0), plain);
    EXPECT_EQ(plain->GetBlendClass(), 3u);

    for (unsigned version : {0u, 3u}) {
        om2::File refused;
        refused.Chunk("MTCP", version, [&] { refused.I32(0); });
        EXPECT_EQ(Load(refused.bytes).As<MaterialComposite>()->MaterialCount(), 0u);
    }
}

TEST(MaterialComposite, StandsForTheSubMaterialChosenLast) {
    MaterialSimple opaque;
    opaque.SetBlendClass(1);
    MaterialSimple blended;
    blended.SetBlendClass(4);
    MaterialComposite m;
    EXPECT_EQ(m.GetBlendClass(), 0u);
    EXPECT_EQ(m.Begin(0), 0u) << "nothing to draw with";
    m.AddMaterial(&opaque);
    m.MapAttribute(30, m.AddMaterial(&blended));
    EXPECT_EQ(m.GetBlendClass(), 1u);
    EXPECT_EQ(m.BeginAttribute(30), 1u);
    EXPECT_EQ(m.GetBlendClass(), 4u);
    EXPECT_EQ(m.BeginAttribute(31), 1u);
    EXPECT_EQ(m.GetBlendClass(), 1u) << "an unknown attribute takes the first";
    m.Begin(1);
    EXPECT_EQ(m.GetBlendClass(), 4u) << "Begin goes by index";
}

TEST(MaterialComposite, CirclesDeepNestingAndBadIndicesAreRefused) {
    std::string reason;
    MaterialComposite a;
    MaterialComposite b;
    MaterialSimple leaf;
    a.AddMaterial(&leaf);
    a.AddMaterial(&b);
    a.AddMaterial(&b);
    b.AddMaterial(&leaf);
    EXPECT_TRUE(a.Validate(reason)) << reason;
    b.AddMaterial(&a);
    EXPECT_FALSE(a.Validate(reason));
    EXPECT_FALSE(b.Validate(reason));

    std::vector<std::unique_ptr<MaterialComposite>> chain;
    for (int i = 0; i < 100000; ++i) {
        chain.push_back(std::make_unique<MaterialComposite>());
        if (i > 0) chain.back()->AddMaterial(chain[chain.size() - 2].get());
    }
    EXPECT_TRUE(chain[10]->Validate(reason)) << reason;
    EXPECT_FALSE(chain.back()->Validate(reason));

    MaterialComposite wrong;
    wrong.AddMaterial(&leaf);
    wrong.MapAttribute(2, 1);
    EXPECT_FALSE(wrong.Validate(reason));
    EXPECT_EQ(wrong.GetSubMaterial(2), nullptr);
    EXPECT_EQ(wrong.BeginAttribute(2), 0u);
}
