// Simple and composite materials: what a surface's own states do.
#include <cmath>

#include "conformance/engine_scenes.h"
#include "controller/operators.h"
#include "geometry/geometry_composite.h"
#include "material/material_composite.h"

namespace conformance {

using namespace osm3d;
using demo::F;

namespace {

// Bars from black to white, so that what lies behind a blended surface tells in it.
void Bars(SceneMaker& maker, int count) {
    for (int i = 0; i < count; ++i) {
        const float g = F(i) / F(count - 1), w = 8.2f / F(count);
        maker.Mesh(Board(-4.1f + w * F(i), -3.1f, -4.1f + w * F(i + 1), 3.1f, -0.1f),
                   maker.Glow({g, 1 - g, 0.5f * g, 1}));
    }
}

// Every source factor over every target factor that a target may have.
void BlendFactors(SceneMaker& maker) {
    Bars(maker, 26);
    for (int source = 0; source < 13; ++source)
        for (int target = 0; target < (source < 11 ? 10 : 1); ++target) {
            MaterialSimple* material = maker.Glow({0.9f, 0.5f, 0.2f, 0.65f});
            SceneMaker::Blend(material, 0);
            material->GetRenderState()->srcBlend = static_cast<u32>(source);
            material->GetRenderState()->destBlend = static_cast<u32>(target);
            maker.Mesh(Cell(source, target, 13, 10), material);
        }
}

// The presets, and which of the classes come first. The nearest is made first: were it drawn first as well,
// it would hide what it covers.
void BlendClasses(SceneMaker& maker) {
    for (int cls = 5; cls >= 0; --cls)
        for (int preset = 0; preset < 4; ++preset) {
            MaterialSimple* material =
                maker.Glow({0.2f + 0.15f * F(cls), 0.8f - 0.2f * F(preset), 0.4f, 0.5f});
            SceneMaker::Blend(material, preset, static_cast<u32>(cls));
            const float x = -3.7f + 1.25f * F(cls), y = 2 - 1.4f * F(preset);
            maker.Mesh(Board(x, y - 0.6f, x + 1.6f, y + 0.5f, 0.01f * F(cls)), material);
        }
}

// Alpha grows in steps along each bar, and the references lie on steps: what is cut tells function and
// reference. Steps that a float says exactly: the driver of the references compares without rounding.
void AlphaTest(SceneMaker& maker) {
    constexpr int kReferences[3] = {0, 170, 255};
    Texture* steps = maker.Picture(demo::Painted(8, 1, [](float u, float v) {
        constexpr float kSteps[8] = {0, 20, 60, 110, 170, 200, 230, 255};
        return color{u, v, 1 - u, kSteps[static_cast<int>(u * 8)] / 255};
    }));
    for (int func = 0; func < 8; ++func)
        for (int ref = 0; ref < 3; ++ref) {
            MaterialSimple* material = maker.Poster(steps);
            TextureStageStateBlock& state = material->GetStage(0)->State();
            state.alphaOp = state.magFilter = state.minFilter = 1;
            state.mipFilter = 0;
            material->SetBlendClass(3);
            material->GetRenderState()->alphaTestEnable = true;
            material->GetRenderState()->alphaFunc = static_cast<u32>(func);
            material->GetRenderState()->alphaRef = static_cast<u8>(kReferences[ref]);
            maker.Mesh(Cell(ref, func, 3, 8), material);
        }
}

// Both sides of a surface, also where a negative scale turns them round, for the three kinds of culling.
void Culling(SceneMaker& maker) {
    Texture* pattern = maker.Picture(Pattern(32, 32));
    for (u32 cull = 0; cull < 3; ++cull)
        for (int turned = 0; turned < 4; ++turned) {
            MaterialSimple* material = maker.Poster(pattern);
            material->GetRenderState()->cullMode = cull;
            const quat rotation = QuatFromAxisAngle({0, 1, 0}, turned % 2 != 0 ? 2.8f : 0.3f);
            maker.Mesh(Board(-0.8f, -0.8f, 0.8f, 0.8f), material,
                       maker.Node({-3 + 2 * F(turned), 2 - 2 * F(cull), 0}, rotation,
                                  {turned < 2 ? 1.0f : -1.0f, 1, 1}));
        }
}

// Three tilted boards through one another, with each way of using depth.
void DepthModes(SceneMaker& maker) {
    for (u32 mode = 0; mode < 3; ++mode)
        for (int enabled = 0; enabled < 2; ++enabled)
            for (int i = 0; i < 3; ++i) {
                MaterialSimple* material =
                    maker.Glow({i == 0 ? 1.0f : 0.2f, i == 1 ? 1.0f : 0.2f, i == 2 ? 1.0f : 0.2f, 1});
                material->GetRenderState()->depthMode = mode;
                material->GetRenderState()->depthEnable = enabled != 0;
                maker.Mesh(Board(-1, -0.25f, 1, 0.25f), material,
                           maker.Node({-2.6f + 2.6f * F(mode), 1.5f - 3 * F(enabled), 0},
                                      demo::Then(QuatFromAxisAngle({0, 1, 0}, 0.6f),
                                                 QuatFromAxisAngle({0, 0, 1}, 1.047f * F(i) + 0.2f))));
            }
}

void ColorWrites(SceneMaker& maker) {
    Bars(maker, 9);
    for (u32 writes = 0; writes < 16; ++writes) {
        MaterialSimple* material = maker.Glow({0.9f, 0.6f, 0.3f, 0.5f});
        material->GetRenderState()->colorWriteMask = writes;
        maker.Mesh(Cell(static_cast<int>(writes % 4), static_cast<int>(writes / 4), 4, 4), material);
    }
}

void FillModes(SceneMaker& maker) {
    for (u32 fill = 0; fill < 3; ++fill) {
        MaterialSimple* material = maker.Glow({1, 0.8f, 0.3f, 1});
        material->GetRenderState()->fillMode = fill;
        material->GetRenderState()->cullMode = fill == 2 ? 0 : 2;
        maker.Mesh(demo::Box({-0.8f, -0.8f, -0.8f}, {0.8f, 0.8f, 0.8f}), material,
                   maker.Node({-2.6f + 2.6f * F(fill), 0, 0}, QuatFromEuler(0.5f, 0.7f, 0.3f)));
    }
}

// Highlights for four powers, with the eye where it is and with the eye far away; the last row without.
void Specular(SceneMaker& maker) {
    LightOmni* light = maker.Light(maker.Node({2, 3, 5}), Still(color{0.6f, 0.6f, 0.6f, 1}));
    light->SetSpecular(Still(color{1, 0.9f, 0.6f, 1}));
    const float powers[4] = {1, 5, 20, 90};
    for (int row = 0; row < 3; ++row)
        for (int i = 0; i < 4; ++i) {
            MaterialSimple* material = maker.Matt({0.3f, 0.1f, 0.4f, 1});
            material->SetConstants({0.3f, 0.1f, 0.4f, 1}, kNone, kWhite, kNone,
                                   row == 1 ? 0.25f * powers[i] : powers[i]);
            material->GetRenderState()->specularEnable = row < 2;
            material->GetRenderState()->localViewer = row == 0;
            maker.Mesh(demo::Sphere(0.85f, 24, 16), material, maker.Node({-3 + 2 * F(i), 2 - 2 * F(row), 0}));
        }
}

// Normals that scaling has made shorter, as they come and made one long again.
void Normals(SceneMaker& maker) {
    maker.Light(maker.Node({3, 4, 6}), Still(kWhite));
    const vect3 scales[4] = {{1.5f, 1.5f, 1.5f}, {1.9f, 1, 1.2f}, {1, 2, 1.4f}, {-1.3f, 1.7f, 1}};
    for (int row = 0; row < 2; ++row)
        for (int i = 0; i < 4; ++i) {
            MaterialSimple* material = maker.Matt({0.9f, 0.7f, 0.5f, 1});
            material->GetRenderState()->normalizeNormals = row != 0;
            material->GetRenderState()->cullMode = i == 3 ? 1 : 0;
            maker.Mesh(demo::Sphere(0.5f, 24, 16), material,
                       maker.Node({-3 + 2 * F(i), 1.5f - 3 * F(row), 0}, QuatFromAxisAngle({0, 0, 1}, 0.5f),
                                  scales[i]));
        }
}

// Colours of vertices go unlit, through alpha blending and a texture too.
void VertexColors(SceneMaker& maker) {
    maker.Light(maker.Node({0, 0, 5}), Still(kWhite));
    const auto colored = [](float x, float y) {
        return demo::ColoredSurface(
            3, 3,
            [=](float u, float v) {
                return vect3{x + 1.7f * u, y + 2.3f * v, 0};
            },
            [](float u, float v) {
                return color{u, v, 1 - u, 0.2f + 0.8f * v};
            });
    };
    Bars(maker, 12);
    maker.Mesh(colored(-3.8f, 0.3f), maker.Matt({1, 0, 0, 1}));
    MaterialSimple* blended = maker.Matt({1, 0, 0, 0.1f});
    SceneMaker::Blend(blended, 2);
    maker.Mesh(colored(-1.8f, 0.3f), blended);
    MaterialSimple* textured = maker.Matt(kWhite);
    maker.Layer(textured, maker.Picture(Pattern(32, 32)));
    maker.Mesh(colored(0.2f, 0.3f), textured);
    maker.Mesh(colored(2.2f, 0.3f), nullptr);
    // The lit surface behind them tells whether lighting is back again.
    maker.Mesh(demo::Sphere(1.2f, 20, 14), maker.Matt({0.9f, 0.9f, 0.6f, 1}), maker.Node({0, -1.5f, 0}));
}

// Every colour of a material, and its power, from keys, and a product of two controllers.
void AnimatedMaterial(SceneMaker& maker) {
    maker.Ambient({0.5f, 0.5f, 0.5f, 1});
    LightOmni* light = maker.Light(maker.Node({2, 2, 4}), Still(color{0.8f, 0.8f, 0.8f, 1}));
    light->SetSpecular(Still(kWhite));
    for (u32 i = 0; i < 6; ++i) {
        MaterialSimple* material = maker.Matt({0.5f, 0.5f, 0.5f, 1});
        material->GetRenderState()->specularEnable = true;
        material->GetRenderState()->localViewer = true;
        if (i < MaterialSimple::kColorCount) {
            material->SetColorController(
                static_cast<MaterialSimple::ColorChannel>(i),
                Keyed<color>(
                    {{0, {1, 0, 0, 1}}, {50, {0, 1, 0.3f, 1}}, {50, {0.2f, 0.2f, 1, 1}}, {100, kBlack}}));
            if (i == MaterialSimple::kSpecular) material->SetPowerController(Still(12.0f));
        } else if (i == 4) {
            material->SetColorController(MaterialSimple::kSpecular, Still(kWhite));
            material->SetPowerController(Keyed<f32>({{0, 2}, {100, 60}}));
        } else {
            auto* product = new controller::Op<color, color, f32>();
            product->a.Own(Keyed<color>({{0, {1, 0.5f, 0, 1}}, {100, {0, 0.5f, 1, 1}}}));
            product->b.Own(Keyed<f32>({{0, 0.2f}, {100, 1}}));
            product->op = 5;
            material->SetColorController(MaterialSimple::kEmissive, product);
        }
        maker.Mesh(demo::Sphere(1.1f, 24, 16), material,
                   maker.Node({-2.6f + 2.6f * F(i % 3), 1.4f - 2.8f * F(i / 3), 0}));
    }
}

// A box whose sides have attributes; one of them the composite does not know.
void CompositeMaterial(SceneMaker& maker) {
    maker.Light(maker.Node({3, 3, 5}), Still(kWhite));
    auto* composite = maker.Make<MaterialComposite>();
    MaterialSimple* glass = maker.Matt({0.2f, 0.9f, 0.9f, 0.5f});
    SceneMaker::Blend(glass, 2);
    const u32 parts[3] = {composite->AddMaterial(maker.Matt({0.9f, 0.3f, 0.2f, 1})),
                          composite->AddMaterial(maker.Poster(maker.Picture(Pattern(32, 32)))),
                          composite->AddMaterial(glass)};
    const u32 attributes[6] = {7, 3, 9, 7, 3, 1};  // 1 is not in the map
    composite->MapAttribute(7, parts[1]);
    composite->MapAttribute(3, parts[2]);
    composite->MapAttribute(9, parts[0]);
    maker.scene.materials.push_back(composite);
    for (int i = 0; i < 2; ++i) {
        const std::unique_ptr<GeometrySimple> whole(Solid(demo::Box({-1, -1, -1}, {1, 1, 1})));
        std::vector<u32> faces;
        for (u32 t = 0; t < whole->TriangleCount(); ++t) faces.push_back(t / 2);
        auto* mesh = maker.Make<MeshSimple>();
        mesh->SetGeometryParts(whole->SplitByAttribute(faces, 6), {attributes, attributes + 6});
        mesh->SetMaterial(composite);
        mesh->transformation =
            maker.Node({-1.9f + 3.8f * F(i), 0, 0}, QuatFromEuler(i == 0 ? 0.5f : 2.5f, 0.7f, 0.2f));
        maker.scene.meshes.push_back(mesh);
    }
}

}  // namespace

std::vector<EngineCase> MaterialScenes() {
    std::vector<EngineCase> out = {
        SceneCase("scene_blend_factors", BlendFactors),
        SceneCase("scene_blend_classes", BlendClasses),
        SceneCase("scene_alpha_test", AlphaTest),
        SceneCase("scene_culling", Culling),
        SceneCase("scene_depth_modes", DepthModes),
        SceneCase("scene_color_writes", ColorWrites),
        SceneCase("scene_fill_modes", FillModes),
        SceneCase("scene_specular", Specular),
        SceneCase("scene_normals", Normals),
        SceneCase("scene_vertex_colors", VertexColors),
        SceneCase("scene_animated_material", AnimatedMaterial, {0, 50, 80}),
        SceneCase("scene_composite_material", CompositeMaterial),
    };
    out[0].width = 320, out[0].height = 240;
    return out;
}

}  // namespace conformance
