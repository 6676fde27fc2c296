// Texture stages: operations, coordinates, sampling, and cube maps.
#include <cmath>

#include "conformance/engine_scenes.h"

namespace conformance {

using namespace osm3d;
using demo::F;

namespace {

// One more coordinate set, turned by a quarter.
GeometrySimple* WithSecondSet(const Shape& shape) {
    GeometrySimple* geometry = Solid(shape);
    geometry->uvSets.push_back(geometry->uvSets[0]);
    for (UV& uv : geometry->uvSets[1]) uv = {1 - uv.v, uv.u};
    return geometry;
}

// A lit surface with a colour, an alpha and a highlight of its own: what diffuse, specular and current are
// differs. The Direct3D 9 of the references loses highlights where no stage reads the surface's colour; the
// cases go without them there.
MaterialSimple* Surface(SceneMaker& maker, bool highlight = true) {
    MaterialSimple* material = maker.Glow({0.8f, 0.45f, 0.2f, 0.6f});
    material->SetConstants({0, 0, 0, 0.6f}, kNone, {0.1f, 0.25f, 0.4f, 0.3f}, {0.8f, 0.45f, 0.2f, 0.6f}, 2);
    material->GetRenderState()->specularEnable = material->GetRenderState()->localViewer = highlight;
    return material;
}

void HighlightLight(SceneMaker& maker) {
    maker.Light(maker.Node({1, 1, 5}), Still(kWhite))->SetSpecular(Still(kWhite));
}

// Every colour operation over every argument that it can take beside the texture.
void ColorOperations(SceneMaker& maker) {
    HighlightLight(maker);
    Texture* pattern = maker.Picture(Pattern(32, 32, true));
    for (u32 op = 1; op <= 11; ++op)
        for (u32 arg = 0; arg < 8; ++arg) {
            const bool surface = arg < 2 || arg == 6, specular = arg == 4;
            MaterialSimple* material = Surface(maker, surface ? op != 1 : specular && op != 2);
            TextureStageStateBlock& state = maker.Layer(material, pattern)->State();
            state.colorOp = op;
            if (specular) state.colorArg1 = 1;
            state.colorArg2 = arg;
            state.alphaOp = 1;
            if (op == 10 || op == 2) state.alphaOp = 2;
            maker.Mesh(Cell(static_cast<int>(op) - 1, static_cast<int>(arg), 11, 8), material);
        }
}

// What alpha comes out, seen by blending over black and white.
void AlphaOperations(SceneMaker& maker) {
    HighlightLight(maker);
    maker.Mesh(Board(-4.1f, -3.1f, 0, 3.1f, -0.1f), maker.Glow(kBlack));
    maker.Mesh(Board(0, -3.1f, 4.1f, 3.1f, -0.1f), maker.Glow(kWhite));
    Texture* ramp = maker.Picture(Pattern(32, 32, true));
    for (u32 op = 1; op <= 11; ++op)
        for (u32 arg = 0; arg < 8; ++arg) {
            if (arg == 4) continue;  // nothing says what a highlight's alpha is
            MaterialSimple* material = Surface(maker);
            SceneMaker::Blend(material, 2);
            TextureStageStateBlock& state = maker.Layer(material, ramp)->State();
            state.colorOp = 2;
            state.alphaOp = op == 10 ? 3 : op;
            state.alphaArg2 = arg;
            maker.Mesh(Cell(static_cast<int>(arg), static_cast<int>(op) - 1, 8, 11), material);
        }
}

// A second stage over the first, with each operation, on a set of its own.
void TwoStages(SceneMaker& maker) {
    HighlightLight(maker);
    Texture* pattern = maker.Picture(Pattern(32, 32));
    Texture* checks = maker.Picture(Checks(32, 4, {0.9f, 0.8f, 0.2f, 1}, {0.2f, 0.3f, 0.7f, 0.3f}));
    for (u32 op = 1; op <= 11; ++op) {
        MaterialSimple* material = Surface(maker, op != 1);
        maker.Layer(material, pattern);
        TextureStageStateBlock& state = maker.Layer(material, checks)->State();
        state.colorOp = op;
        state.texCoordIndex = 1;
        const auto i = static_cast<int>(op) - 1;
        maker.Mesh(WithSecondSet(Cell(i % 4, i / 4, 4, 3)), material);
    }
    // A stage that does nothing ends the row, whatever stands behind it.
    MaterialSimple* ended = Surface(maker);
    maker.Layer(ended, pattern);
    maker.Layer(ended, checks)->State().colorOp = 0;
    maker.Layer(ended, pattern)->State().colorOp = 6;
    maker.Mesh(WithSecondSet(Cell(3, 2, 4, 3)), ended);
}

void ThreeStages(SceneMaker& maker) {
    HighlightLight(maker);
    Texture* pattern = maker.Picture(Pattern(32, 32));
    Texture* checks = maker.Picture(Checks(32, 4, {0.9f, 0.8f, 0.2f, 1}, {0.2f, 0.3f, 0.7f, 0.3f}));
    Texture* spot = maker.Picture(demo::Painted(32, 32, [](float u, float v) {
        const float r = std::hypot(u - 0.5f, v - 0.5f) * 2;
        return color{1 - 0.5f * r, 0.9f - 0.6f * r, 0.4f + 0.4f * u, 1 - 0.6f * r};
    }));
    const u32 rows[12][3] = {{3, 3, 3}, {3, 6, 3},  {1, 7, 4}, {3, 8, 9}, {1, 10, 3}, {5, 9, 6},
                             {2, 3, 7}, {3, 11, 3}, {4, 4, 9}, {1, 1, 1}, {3, 2, 6},  {7, 7, 7}};
    for (int i = 0; i < 12; ++i) {
        MaterialSimple* material = Surface(maker, rows[i][0] != 1);
        Texture* const textures[3] = {pattern, checks, spot};
        for (u32 k = 0; k < 3; ++k) {
            TextureStageStateBlock& state = maker.Layer(material, textures[k])->State();
            state.colorOp = rows[i][k];
            state.texCoordIndex = k == 1 ? 1 : 0;
            if (k == 2 && i % 2 != 0) state.colorArg1 = 4;  // the highlight
            if (k == 2 && i % 3 == 0) state.colorArg2 = 0;  // the surface again
        }
        if (i >= 8) SceneMaker::Blend(material, 2);
        maker.Mesh(WithSecondSet(Cell(i % 4, i / 4, 4, 3)), material);
    }
}

// Over its edges in both directions; the last row has the two modes apart.
void Addressing(SceneMaker& maker) {
    Texture* pattern = maker.Picture(Pattern(16, 16));
    for (int i = 0; i < 10; ++i) {
        MaterialSimple* material = maker.Poster(pattern);
        TextureStageStateBlock& state = material->GetStage(0)->State();
        state.addressU = static_cast<u32>(i % 5);
        state.addressV = static_cast<u32>(i < 5 ? i : (i + 2) % 5);
        state.magFilter = i % 2 != 0 ? 1 : 2;
        Shape shape = Cell(i % 5, i / 5, 5, 2);
        for (UV& uv : shape.uvs) uv = {uv.u * 3.6f - 1.7f, uv.v * 5 - 2.4f};
        maker.Mesh(shape, material);
    }
}

// Larger than its texels above, smaller below, and a floor that goes from the one to the other.
void Filters(SceneMaker& maker) {
    Texture* fine = maker.Picture(Checks(128, 32, {1, 0.9f, 0.6f, 1}, {0.1f, 0.1f, 0.4f, 1}));
    Texture* coarse = maker.Picture(Pattern(8, 8));
    const u32 modes[7][2] = {{1, 0}, {2, 0}, {1, 1}, {2, 1}, {1, 2}, {2, 2}, {3, 2}};
    for (int i = 0; i < 7; ++i)
        for (int row = 0; row < 3; ++row) {
            MaterialSimple* material = maker.Poster(row == 0 ? coarse : fine);
            TextureStageStateBlock& state = material->GetStage(0)->State();
            state.magFilter = state.minFilter = modes[i][0];
            state.mipFilter = modes[i][1];
            if (row < 2) {
                maker.Mesh(Cell(i, row, 7, 4), material);
                continue;
            }
            Shape floor = Board(-0.52f, 0, 0.52f, 14);
            for (UV& uv : floor.uvs) uv.v *= 10;
            maker.Mesh(
                floor, material,
                maker.Node({-3.42f + 1.14f * F(i), -2.9f, 0.2f}, QuatFromAxisAngle({1, 0, 0}, -1.25f)));
        }
}

// Offsets, tilings and the three angles from keys, together with a matrix of the file's own.
void TextureMatrices(SceneMaker& maker) {
    Texture* pattern = maker.Picture(Pattern(32, 32));
    matrix sheared = kMatrixIdentity;
    sheared.m[0][1] = 0.4f;
    sheared.m[2][0] = 0.15f;
    for (u32 i = 0; i < 12; ++i) {
        MaterialSimple* material = maker.Poster(pattern);
        TextureStage* stage = material->GetStage(0);
        const bool tiling = i == TextureStage::kUTiling || i == TextureStage::kVTiling;
        if (i < TextureStage::kChannelCount)
            stage->SetController(static_cast<TextureStage::Channel>(i),
                                 Keyed<f32>({{0, tiling ? 1.0f : 0.0f}, {100, tiling ? 3.0f : 1.3f}}));
        if (i >= 7) {
            stage->SetController(TextureStage::kWAngle, Keyed<f32>({{0, 0}, {100, 3}}));
            stage->SetController(TextureStage::kVTiling, Still(2.0f));
        }
        if (i == 8 || i == 9) stage->SetFixedTransform(sheared);
        if (i == 9 || i == 10) stage->State().transformCount = 2;
        if (i == 11) stage->SetController(TextureStage::kUOffset, Still(0.25f));
        maker.Mesh(Cell(static_cast<int>(i % 4), static_cast<int>(i / 4), 4, 3), material);
    }
}

// From the half of the direction in camera space to the middle of the image.
matrix SphereMatrix() {
    matrix m = kMatrixIdentity;
    m.m[0][0] = 0.5f;
    m.m[1][1] = -0.5f;
    m.m[3][0] = m.m[3][1] = 0.5f;
    return m;
}

// The three generated kinds, plain and through a matrix, from two cameras: they stay with the camera.
void Generated(SceneMaker& maker) {
    Texture* pattern = maker.Picture(Pattern(32, 32));
    matrix projected = kMatrixIdentity;
    projected.m[0][0] = 1;
    projected.m[1][1] = -1;
    projected.m[2][0] = projected.m[2][1] = -0.5f;
    projected.m[2][2] = -1;
    for (u32 kind = 0; kind < 3; ++kind)
        for (int row = 0; row < 2; ++row) {
            MaterialSimple* material = maker.Poster(pattern);
            TextureStage* stage = material->GetStage(0);
            stage->State().texCoordIndex = 17 + kind;
            if (row != 0) {
                const bool position = kind == 1;
                stage->SetFixedTransform(position ? projected : SphereMatrix());
                stage->State().transformCount = position ? 3 : 2;
                stage->State().transformProjected = position;
            }
            maker.Mesh(kind == 1 ? demo::Torus(0.9f, 0.45f, 24, 14) : demo::Sphere(1.2f, 24, 16), material,
                       maker.Node({-2.6f + 2.6f * F(kind), 1.4f - 2.8f * F(row), 0},
                                  QuatFromEuler(-1.1f, 0.3f, 0), {1, row != 0 ? 0.8f : 1, 1}));
        }
    maker.LookFrom(
        maker.Moving(Keyed<vect3>({{0, {0, 0, 6}}, {100, {3, 2, 5}}}),
                     Keyed<quat>({{0, kQuatIdentity}, {100, QuatFromEuler(-0.35f, 0.55f, 0.3f)}})));
}

// Surroundings on what shines: the six faces through the reflected view, turned back into the world, and
// through the normal in camera space.
void CubeMaps(SceneMaker& maker) {
    TextureCubemapFile* room = maker.Cube(Room(32));
    const auto shiny = [&](u32 generated, bool world) {
        MaterialSimple* material = maker.Poster(room);
        TextureStage* stage = material->GetStage(0);
        stage->State().texCoordIndex = generated;
        stage->State().transformCount = world ? 3 : 0;
        if (world) stage->SetTransformMode(TextureStage::kTransformCameraReflection);
        return material;
    };
    maker.Mesh(demo::Sphere(1.3f, 32, 20), shiny(19, true), maker.Node({-2.4f, 1.4f, 0}));
    maker.Mesh(demo::Torus(0.9f, 0.45f, 28, 16), shiny(19, true),
               maker.Node({2.2f, 1.4f, 0}, QuatFromEuler(-0.8f, 0.4f, 0)));
    maker.Mesh(demo::Sphere(1.3f, 32, 20), shiny(17, false), maker.Node({-2.4f, -1.5f, 0}));
    maker.Mesh(demo::Box({-0.9f, -0.9f, -0.9f}, {0.9f, 0.9f, 0.9f}), shiny(19, true),
               maker.Node({2.2f, -1.5f, 0}, QuatFromEuler(0.5f, 0.6f, 0)));
    maker.LookFrom(maker.Moving(Keyed<vect3>({{0, {0, 0, 6}}, {100, {5, 1, 2}}}),
                                Keyed<quat>({{0, kQuatIdentity}, {100, QuatFromEuler(-0.2f, 1.2f, 0.2f)}})));
}

// Relief by the dot product of a normal map out of a height picture and the light's direction as a colour.
void NormalMap(SceneMaker& maker) {
    auto* relief = static_cast<TextureBitmapFile*>(maker.Picture(demo::Painted(64, 64, [](float u, float v) {
        const float h = 0.5f + 0.5f * std::sin(u * 19) * std::sin(v * 13);
        return color{h, h, h, 1};
    })));
    relief->SetNormalMap(true);
    Texture* pattern = maker.Picture(Pattern(32, 32));
    for (int i = 0; i < 2; ++i) {
        MaterialSimple* material = maker.Glow({i == 0 ? 0.8f : 0.2f, 0.7f, 0.85f, 1});
        maker.Layer(material, relief)->State().colorOp = 10;
        if (i == 1) maker.Layer(material, pattern);
        maker.Mesh(Cell(i, 0, 2, 1), material);
    }
}

// Four sets and tangents behind them in one vertex; each cell shows another set.
void CoordinateSets(SceneMaker& maker) {
    Texture* pattern = maker.Picture(Pattern(32, 32));
    for (u32 set = 0; set < 6; ++set) {
        GeometrySimple* geometry = Solid(Cell(static_cast<int>(set % 3), static_cast<int>(set / 3), 3, 2));
        for (int k = 1; k < 4; ++k) {
            geometry->uvSets.push_back(geometry->uvSets[0]);
            for (UV& uv : geometry->uvSets.back()) uv = {uv.u * F(k + 1), uv.v + 0.2f * F(k)};
        }
        geometry->hasTangents = set >= 4;
        MaterialSimple* material = maker.Poster(pattern);
        material->GetStage(0)->State().texCoordIndex = set < 4 ? set : 1;
        maker.Mesh(geometry, material);
    }
}

}  // namespace

std::vector<EngineCase> StageScenes() {
    std::vector<EngineCase> out = {
        SceneCase("scene_color_operations", ColorOperations),
        SceneCase("scene_alpha_operations", AlphaOperations),
        SceneCase("scene_two_stages", TwoStages),
        SceneCase("scene_three_stages", ThreeStages),
        SceneCase("scene_addressing", Addressing),
        SceneCase("scene_filters", Filters),
        SceneCase("scene_texture_matrices", TextureMatrices, {0, 40}),
        SceneCase("scene_generated", Generated, {0, 100}),
        SceneCase("scene_cube_maps", CubeMaps, {0, 100}),
        SceneCase("scene_normal_map", NormalMap),
        SceneCase("scene_coordinate_sets", CoordinateSets),
    };
    for (EngineCase& entry : out)
        if (entry.name == "scene_color_operations" || entry.name == "scene_filters")
            entry.width = 320, entry.height = 240;
    return out;
}

}  // namespace conformance
