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
    EXPECT_EQ(Save(m), f.bytes);

    m->Prepare();
    EXPECT_TRUE(m->IsStatic());
    const D3DMATERIAL9& d = m->GetDeviceMaterial();
    EXPECT_TRUE(d.Diffuse.g == 0.5f && d.Ambient.r == 0.1f && d.Specular.g == 0.2f && d.Emissive.b == 0.3f &&
                d.Power == 12);
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
    gap.SetStage(1, NewStage());
    EXPECT_FALSE(gap.Validate(reason)) << "an empty stage";
    gap.SetStage(0, new TextureStage);
    EXPECT_FALSE(gap.Validate(reason)) << "a stage without controllers";
    gap.GetStage(0)->FillWithNeutralControllers();
    EXPECT_TRUE(gap.Validate(reason)) << reason;
    gap.GetStage(0)->SetController(TextureStage::kUAngle, new controller::Linear<f32>);
    EXPECT_FALSE(gap.Validate(reason)) << "a stage with a controller without keys";
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

TEST(MaterialRecord, CompositeWritesItsAttributesInOrder) {
    const auto write = [](om2::File& f, unsigned version, const std::vector<i32>& map) {
        f.Chunk("MTCP", version, [&] {
            f.I32(3);
            const int first = f.Material({}, 3);
            f.Null();
            f.Ref(first);
            for (const i32 word : map) f.I32(word);
        });
    };
    om2::File f;
    write(f, 2, {2, -7, 0, 4, 2});  // as an unsigned attribute -7 is the highest
    const auto loaded = Load(f.bytes);
    auto* m = loaded.As<MaterialComposite>();
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->GetMaterial(1), nullptr);
    EXPECT_EQ(m->GetSubMaterial(4), m->GetMaterial(0)) << "one object, named twice";
    EXPECT_EQ(m->GetSubMaterial(static_cast<u32>(-7)), m->GetMaterial(0));
    EXPECT_EQ(m->GetSubMaterial(5), m);
    om2::File sorted;
    write(sorted, 2, {2, 4, 2, -7, 0});
    EXPECT_EQ(Save(m), sorted.bytes);

    for (unsigned version : {0u, 1u, 3u}) {
        om2::File other;
        write(other, version, {});
        const auto plain = Load(other.bytes);
        EXPECT_EQ(plain.As<MaterialComposite>()->MaterialCount(), version == 1 ? 3u : 0u);
        EXPECT_TRUE(plain.As<MaterialComposite>()->AttributeMap().empty());
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
    const auto sound = [&](const Material& top) { return MaterialReferences().Validate(top, reason); };
    MaterialComposite a;
    MaterialComposite b;
    MaterialSimple leaf;
    a.AddMaterial(&leaf);
    a.AddMaterial(&b);
    a.AddMaterial(&b);
    b.AddMaterial(&leaf);
    EXPECT_TRUE(sound(a)) << reason;
    b.AddMaterial(&a);
    EXPECT_FALSE(sound(a));

    std::vector<std::unique_ptr<MaterialComposite>> chain;
    for (int i = 0; i < 100000; ++i) {
        chain.push_back(std::make_unique<MaterialComposite>());
        if (i > 0) chain.back()->AddMaterial(chain[chain.size() - 2].get());
    }
    EXPECT_TRUE(sound(*chain[10])) << reason;
    EXPECT_FALSE(sound(*chain.back()));

    MaterialComposite wrong;
    wrong.AddMaterial(&leaf);
    wrong.MapAttribute(2, 1);
    EXPECT_FALSE(wrong.Validate(reason));
    EXPECT_EQ(wrong.GetSubMaterial(2), nullptr);
    EXPECT_EQ(wrong.BeginAttribute(2), 0u);
}
