// Materials out of effect texts: what they load and refuse, and what they draw.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "fxutil/math.h"
#include "geometry/geometry_simple.h"
#include "geometry/mesh_simple.h"
#include "geometry/modifier.h"
#include "material/material_composite.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "platform/system/system.h"
#include "render/material_fx.h"
#include "render/material_fx_modifier.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"
#include "support/om2_scene.h"
#include "support/picture_device.h"
#include "support/round_trip.h"

using namespace osm3d;
using test_support::TempFile;

namespace {

constexpr u32 kSize = 64;

/// Hears the debug strings while it lives.
class DebugStrings {
  public:
    DebugStrings() {
        previous = platform::SetDebugStringHandler([this](const std::string& text) { heard += text; });
    }
    ~DebugStrings() { platform::SetDebugStringHandler(previous); }

    std::string heard;

  private:
    platform::DebugStringHandler previous;
};

/// An effect's text in a file.
class EffectFile {
  public:
    explicit EffectFile(const std::string& text) : file(".fx") {
        file.Fill(std::vector<u8>(text.begin(), text.end()));
    }
    const std::string& Path() const { return file.path; }

  private:
    TempFile file;
};

/// The fixed vertices, and a pixel shader that gives `expression`; `head` stands before it.
std::string PixelEffect(const std::string& head, const std::string& expression,
                        const std::string& states = "") {
    return head + "float4 P(float2 uv : TEXCOORD0) : COLOR { return " + expression +
           "; }\n"
           "technique t { pass p { " +
           states + " PixelShader = compile ps_2_0 P(); } }\n";
}

/// A rectangle in the plane z with texture coordinates, (0, 0) at the upper left.
std::unique_ptr<GeometrySimple> Rectangle(f32 x0, f32 y0, f32 x1, f32 y1, f32 z = 0) {
    auto shape = std::make_unique<GeometrySimple>();
    shape->positions = {{x0, y0, z}, {x1, y0, z}, {x1, y1, z}, {x0, y1, z}};
    shape->normals.assign(4, {0, 0, 1});
    shape->uvSets = {{{0, 1}, {1, 1}, {1, 0}, {0, 0}}};
    shape->triangles = {{{0, 1, 2}}, {{0, 2, 3}}};
    shape->Initialize();
    return shape;
}

/// A material that shows `c` whatever the light.
std::unique_ptr<MaterialSimple> Glowing(const color& c) {
    auto material = std::make_unique<MaterialSimple>();
    material->SetConstants({0, 0, 0, 1}, {0, 0, 0, 0}, {0, 0, 0, 0}, c, 0);
    material->Prepare();
    return material;
}

class MaterialFXPicture : public testing::Test {
  protected:
    void SetUp() override {
        context.SetClearColor({0, 0, 0, 1});
        context.SetWorld(kMatrixIdentity);
        context.SetView(kMatrixIdentity);
        context.SetProjection(kMatrixIdentity);
    }

    /// Clears, draws, takes the picture.
    template <class Draw>
    void Frame(const Draw& draw) {
        device.Frame([&] {
            context.Clear(7, true);
            draw();
        });
    }
    void DrawWith(Material& material, Geometry& shape) {
        const u32 passes = material.Begin(0);
        for (u32 pass = 0; pass < passes; ++pass) {
            material.Pass(pass);
            material.PrepareDraw();
            shape.Draw();
        }
        material.End();
    }

    support::PictureDevice device{kSize, kSize};
    Context& context = device.context();
};

TEST_F(MaterialFXPicture, ANamedVectorIsWhatTheNextBeginDrawsWith) {
    const EffectFile file(PixelEffect("float4 Tint;\n", "Tint"));
    MaterialFX material(file.Path());
    EXPECT_EQ(material.GetBlendClass(), 1u);
    EXPECT_FALSE(material.IsComposite());
    material.SetVector("Nobody", {9, 9, 9, 9});  // the effect does not have it
    material.SetVector("Tint", {1, 0, 0, 1});
    material.Load();
    ASSERT_TRUE(material.IsReady()) << material.GetLoadError();
    EXPECT_EQ(material.GetLoadError(), "");
    const auto left = Rectangle(-1, -1, 0, 1), right = Rectangle(0, -1, 1, 1);
    Frame([&] {
        DrawWith(material, *left);
        material.SetVector("Tint", {0, 1.0f, 128 / 255.0f, 1});
        DrawWith(material, *right);
    });
    EXPECT_EQ(device.At(16, 32), 0xff0000u);
    EXPECT_EQ(device.At(48, 32), 0x00ff80u);
}

TEST_F(MaterialFXPicture, TexturesComeThroughTheirObjectsOrAsTheyStand) {
    const EffectFile file(
        PixelEffect("texture A; texture B;\n"
                    "sampler SA = sampler_state { Texture = <A>; MinFilter = POINT; MagFilter = POINT; };\n"
                    "sampler SB = sampler_state { Texture = <B>; MinFilter = POINT; MagFilter = POINT; };\n",
                    "tex2D(SA, uv) + tex2D(SB, uv)"));
    TextureBitmapFile a, b;
    a.SetFileData(om2::Tga(2, 1, {{255, 0, 0}, {0, 255, 0}}));
    b.SetFileData(om2::Tga(1, 2, {{0, 0, 0}, {0, 0, 255}}));
    a.Load();
    b.Load();
    MaterialFX material(file.Path());
    material.Load();
    ASSERT_TRUE(material.IsReady()) << material.GetLoadError();
    material.SetTexture("A", &a);
    material.SetDeviceTexture("B", b.GetDeviceTexture());
    const auto whole = Rectangle(-1, -1, 1, 1);
    Frame([&] { DrawWith(material, *whole); });
    EXPECT_EQ(device.At(16, 16), 0xff0000u);
    EXPECT_EQ(device.At(48, 16), 0x00ff00u);
    EXPECT_EQ(device.At(16, 48), 0xff00ffu);
    EXPECT_EQ(device.At(48, 48), 0x00ffffu);
}

TEST_F(MaterialFXPicture, TransformsArriveBySemantic) {
    const EffectFile file(
        "float4x4 W : WORLD, V : VIEW, Vi : VIEWI, P : PROJECTION;\n"
        "float4x4 WV : WORLDVIEW, WVi : WORLDVIEWI, WVP : WORLDVIEWPROJECTION;\n"
        "float4 VS(float4 p : POSITION) : POSITION { return mul(p, WVP); }\n"
        "float4 PS() : COLOR { return float4(1, 1, 1, 1); }\n"
        "technique t { pass p { VertexShader = compile vs_1_1 VS(); PixelShader = compile ps_1_1 PS(); } "
        "}\n");
    MaterialFX material(file.Path());
    material.Load();
    ASSERT_TRUE(material.IsReady()) << material.GetLoadError();
    const std::unique_ptr<Modifier> modifier = material.CreateModifier();
    EXPECT_TRUE(modifier->NeedsDrawSetup());
    EXPECT_FALSE(modifier->IsDeforming());

    matrix world, view, turn;
    D3DXMatrixRotationYawPitchRoll(&world, 0.4f, 0.3f, 0.5f);
    D3DXMatrixTranslation(&turn, 0.3f, -0.2f, 0.1f);
    D3DXMatrixMultiply(&world, &world, &turn);
    const vect3 eye{0.5f, 0.25f, 3}, at{0, 0, 0}, up{0, 1, 0};
    D3DXMatrixLookAtRH(&view, &eye, &at, &up);
    context.SetWorld(world);
    context.SetView(view);
    const matrix projection = context.SetPerspective(0.9f, 1, 1, 10);

    // Where the fixed function puts a shape the effect puts it too, pixel for pixel.
    const auto shape = Rectangle(-0.6f, -0.4f, 0.7f, 0.5f);
    const auto white = Glowing({1, 1, 1, 1});
    const auto covered = [&] {
        std::vector<u32> pixels;
        for (u32 y = 0; y < kSize; ++y) {
            for (u32 x = 0; x < kSize; ++x) pixels.push_back(device.At(x, y));
        }
        return pixels;
    };
    Frame([&] { DrawWith(*white, *shape); });
    const std::vector<u32> expected = covered();
    const auto lit = std::count(expected.begin(), expected.end(), 0xffffffu);
    EXPECT_GT(lit, 300);
    EXPECT_EQ(lit + std::count(expected.begin(), expected.end(), 0u), kSize * kSize);
    Frame([&] {
        material.Begin(0);
        material.Pass(0);
        modifier->SetupDraw();
        shape->Draw();
        material.End();
    });
    EXPECT_EQ(covered(), expected);

    matrix worldView, all, viewInverse, worldViewInverse, projectionInverse;
    D3DXMatrixMultiply(&worldView, &world, &view);
    D3DXMatrixMultiply(&all, &worldView, &projection);
    D3DXMatrixInverse(&viewInverse, nullptr, &view);
    D3DXMatrixInverse(&worldViewInverse, nullptr, &worldView);
    D3DXMatrixInverse(&projectionInverse, nullptr, &projection);
    const std::pair<const char*, const matrix*> cases[] = {
        {"W", &world},        {"V", &view},
        {"Vi", &viewInverse}, {"P", &projectionInverse},  // the semantic is served twice
        {"WV", &worldView},   {"WVi", &worldViewInverse},
        {"WVP", &all},
    };
    for (const auto& [name, value] : cases) {
        matrix bound{};
        ASSERT_EQ(
            material.GetEffect()->GetMatrix(material.GetEffect()->GetParameterByName(nullptr, name), &bound),
            D3D_OK);
        for (int i = 0; i < 16; ++i)
            EXPECT_NEAR(bound.Data()[i], value->Data()[i], 1e-5f) << name << " " << i;
    }
}

TEST_F(MaterialFXPicture, AnInnerMaterialsStatesLieUnderTheEffect) {
    // Adds what is drawn to what is there: (0, 0.5, 0) over (0.25, 0, 0).
    const EffectFile file(PixelEffect("", "float4(0, 0.5, 0, 1)"));
    const auto inner = Glowing({1, 1, 1, 1});
    inner->GetRenderState()->blendEnable = true;
    inner->GetRenderState()->SetBlendPreset(1);
    MaterialFX adding(file.Path(), inner.get()), plain(file.Path());
    adding.Load();
    plain.Load();
    ASSERT_TRUE(adding.IsReady() && plain.IsReady()) << adding.GetLoadError();
    const auto left = Rectangle(-1, -1, 0, 1), right = Rectangle(0, -1, 1, 1);
    context.SetClearColor({64 / 255.0f, 0, 0, 1});
    Frame([&] {
        DrawWith(adding, *left);
        DrawWith(plain, *right);
    });
    EXPECT_EQ(device.At(16, 32), 0x408000u);
    EXPECT_EQ(device.At(48, 32), 0x008000u);
}

TEST_F(MaterialFXPicture, MacrosCountWhenTheyStandBeforeLoad) {
    const EffectFile file(PixelEffect("#ifndef SHADE\n#define SHADE float4(1, 0, 0, 1)\n#endif\n", "SHADE"));
    MaterialFX material(file.Path());
    const auto whole = Rectangle(-1, -1, 1, 1);
    const auto drawn = [&] {
        Frame([&] { DrawWith(material, *whole); });
        return device.At(32, 32);
    };
    material.Load();
    EXPECT_EQ(drawn(), 0xff0000u);
    material.SetMacro("SHADE", "float4(0, 0, 1, 1)");
    EXPECT_EQ(drawn(), 0xff0000u);
    material.Load();
    EXPECT_EQ(drawn(), 0x0000ffu);
}

TEST_F(MaterialFXPicture, WhatComesAfterAnEffectIsDrawnAsWithoutIt) {
    // Each state here would show: no red, no depth, drawn from behind, a texture in the first stage, points
    // and lines, shaders.
    const EffectFile file(
        "texture T;\n"
        "sampler S = sampler_state { Texture = <T>; AddressU = CLAMP; MagFilter = LINEAR; };\n"
        "float4 VS(float4 p : POSITION) : POSITION { return float4(p.xy, 0, 1); }\n"
        "float4 PS() : COLOR { return tex2D(S, float2(0.5, 0.5)); }\n"
        "technique t {\n"
        "  pass a { VertexShader = compile vs_1_1 VS(); PixelShader = compile ps_1_1 PS();\n"
        "    ColorWriteEnable = GREEN | BLUE; ZEnable = FALSE; CullMode = CCW; FillMode = WIREFRAME;\n"
        "    AlphaBlendEnable = TRUE; SrcBlend = ZERO; DestBlend = ONE; Lighting = FALSE;\n"
        "    ColorOp[0] = SELECTARG1; ColorArg1[0] = TEXTURE; TexCoordIndex[0] = 1; }\n"
        "  pass b { StencilEnable = TRUE; StencilFunc = NEVER; AlphaTestEnable = TRUE; AlphaFunc = NEVER; }\n"
        "}\n");
    TextureBitmapFile texture, checks;
    texture.SetFileData(om2::Tga(1, 1, {{0, 0, 255}}));
    checks.SetFileData(om2::Tga(2, 1, {{255, 255, 0}, {0, 255, 255}}));
    texture.Load();
    checks.Load();
    MaterialFX effect(file.Path());
    effect.SetTexture("T", &texture);
    effect.Load();
    ASSERT_TRUE(effect.IsReady()) << effect.GetLoadError();

    const auto plain = Glowing({1, 0.5f, 0.25f, 1});
    const auto textured = Glowing({1, 1, 1, 1});
    auto* stage = new TextureStage;
    stage->FillWithNeutralControllers();
    stage->State() = TextureStageStateBlock::Standard();
    stage->SetTexture(&checks);
    textured->SetStage(0, stage);
    textured->Prepare();
    const auto near = Rectangle(-0.5f, -0.5f, 1, 1, 0.25f), far = Rectangle(-1, -1, 0.5f, 0.5f, 0.5f);
    const auto scene = [&] {
        DrawWith(*textured, *near);
        DrawWith(*plain, *far);  // behind the other where both are
    };
    const auto picture = [&] {
        std::vector<u32> pixels;
        for (u32 y = 0; y < kSize; y += 3) {
            for (u32 x = 0; x < kSize; x += 3) pixels.push_back(device.At(x, y));
        }
        return pixels;
    };
    Frame(scene);
    const std::vector<u32> expected = picture();
    EXPECT_EQ(device.At(8, 56), 0xff8040u);
    EXPECT_EQ(device.At(20, 20), 0xffff00u);
    EXPECT_EQ(device.At(60, 20), 0x00ffffu);
    Frame([&] {
        DrawWith(effect, *near);
        scene();
    });
    EXPECT_EQ(picture(), expected);
    EXPECT_FALSE(context.effectActive);
}

TEST_F(MaterialFXPicture, AnEffectInsideAnEffectGivesTheDeviceBack) {
    const EffectFile outerFile(PixelEffect("", "float4(0, 1, 0, 1)"));
    const EffectFile innerFile(
        PixelEffect("", "float4(1, 0, 0, 1)", "ColorWriteEnable = GREEN | BLUE; CullMode = NONE;"));
    MaterialFX inner(innerFile.Path());
    MaterialFX outer(outerFile.Path(), &inner);
    outer.Load();
    ASSERT_TRUE(outer.IsReady() && inner.IsReady()) << outer.GetLoadError() << inner.GetLoadError();
    context.SetClearColor({1, 0, 0, 1});
    const auto whole = Rectangle(-1, -1, 1, 1);
    for (int frame = 0; frame < 2; ++frame) {
        Frame([&] { DrawWith(outer, *whole); });
        EXPECT_EQ(device.At(32, 32), 0xffff00u);  // the red of the clear stays under the inner write mask
        const auto white = Glowing({1, 1, 1, 1});
        Frame([&] { DrawWith(*white, *whole); });
        EXPECT_EQ(device.At(32, 32), 0xffffffu);
    }
}

// ------------------------------------------------------------------------------------------------- failures

TEST_F(MaterialFXPicture, WhatCannotBeLoadedSaysWhyAndDrawsNothing) {
    const EffectFile noText("technique t { pass p { VertexShader = compile vs_1_1 Missing(); } }\n");
    const EffectFile badText(
        "float4 Tint;\nfloat4 P() : COLOR { return Tnit; }\n"
        "technique t { pass p { PixelShader = compile ps_2_0 P(); } }\n");
    const EffectFile noTechnique("float4 Tint;\n");
    const std::string absent = "no/such/folder/" + std::string(5000, 'x') + ".fx";
    const std::pair<std::string, std::string> cases[] = {
        {noText.Path(), noText.Path() + "(1,"},
        {badText.Path(), badText.Path() + "(2,"},
        {noTechnique.Path(), noTechnique.Path()},
        {absent, absent},
        {"", ""},
    };
    const auto whole = Rectangle(-1, -1, 1, 1);
    for (const auto& [file, reason] : cases) {
        DebugStrings debug;
        const auto inner = Glowing({1, 1, 1, 1});
        inner->GetRenderState()->fillMode = 1;
        MaterialFX material(file, inner.get());
        material.SetVector("Tint", {1, 1, 1, 1});
        material.Load();
        EXPECT_FALSE(material.IsReady());
        EXPECT_NE(material.GetLoadError(), "");
        EXPECT_NE(material.GetLoadError().back(), '\n');
        EXPECT_EQ(material.GetLoadError().substr(0, reason.size()), reason);
        EXPECT_NE(debug.heard.find(reason), std::string::npos) << debug.heard;
        material.UseTechnique("t");
        Frame([&] {
            EXPECT_EQ(material.Begin(0), 0u);
            EXPECT_EQ(context.renderState.fillMode, 1u);  // the inner material is there all the same
            EXPECT_FALSE(context.effectActive);
            material.Pass(0);
            material.End();
            DrawWith(material, *whole);
        });
        EXPECT_EQ(device.At(32, 32), 0u);
    }
}

TEST_F(MaterialFXPicture, AnUnknownTechniqueDrawsNothing) {
    const EffectFile file(PixelEffect("", "float4(1, 1, 1, 1)"));
    MaterialFX material(file.Path());
    material.Load();
    material.UseTechnique("nobody");
    EXPECT_EQ(material.Begin(0), 0u);
    material.End();
    EXPECT_TRUE(material.IsReady());
    material.UseTechnique("t");
    EXPECT_EQ(material.Begin(0), 1u);
    EXPECT_TRUE(context.effectActive);
    material.End();
    EXPECT_FALSE(context.effectActive);
}

// -------------------------------------------------------------------------------------------------- records

TEST(MaterialFXRecord, HoldsTheFileAndTheInnerMaterial) {
    om2::File f;
    f.Chunk("MTFX", 7, [&] {  // any version
        f.String("glow.fx");
        f.Material({});
    });
    const test_support::Loaded loaded = test_support::Load(f.bytes);
    auto* material = loaded.As<MaterialFX>();
    ASSERT_NE(material, nullptr);
    EXPECT_EQ(material->GetFile(), "glow.fx");
    EXPECT_EQ(material->GetResourceId(), 0u);
    EXPECT_NE(dynamic_cast<MaterialSimple*>(material->GetInner()), nullptr);
    std::string reason;
    EXPECT_TRUE(material->Validate(reason)) << reason;

    // What goes unstored: where the text really comes from, and what is bound.
    const auto resource = MaterialFX::FromResource(101);
    resource->SetMacro("A", "1");
    om2::File expected;
    expected.Chunk("MTFX", 1, [&] {
        expected.String("");
        expected.Null();
    });
    EXPECT_EQ(test_support::Save(resource.get()), expected.bytes);
}

TEST(MaterialFXRecord, WhatLeadsBackToItselfIsFound) {
    std::string reason;
    const auto sound = [&](const Material& top) { return MaterialReferences().Validate(top, reason); };
    MaterialFX a("a.fx"), b("b.fx", &a);
    EXPECT_TRUE(sound(b)) << reason;
    a.SetInner(&b);
    EXPECT_FALSE(sound(a));
    EXPECT_EQ(reason, "a material contains itself");
    a.SetInner(&a);
    EXPECT_FALSE(sound(b));

    // By way of a composite.
    MaterialComposite composite;
    composite.AddMaterial(nullptr);
    composite.AddMaterial(&a);
    a.SetInner(&composite);
    EXPECT_FALSE(sound(a));
    EXPECT_FALSE(sound(composite));
    a.SetInner(nullptr);
    EXPECT_TRUE(sound(composite)) << reason;

    // What one walk has seen counts in the next.
    std::vector<std::unique_ptr<MaterialFX>> chain;
    MaterialReferences references;
    for (u32 i = 0; i < 30; ++i) {
        chain.push_back(std::make_unique<MaterialFX>("", i > 0 ? chain.back().get() : nullptr));
        EXPECT_EQ(sound(*chain[i]), i < 17) << i;
        if (i < 18) {
            EXPECT_EQ(references.Validate(*chain[i], reason), i < 17) << i;
        }
    }
}

}  // namespace
