// Shapes, skins, the tree and its movement.
#include <algorithm>
#include <cmath>

#include "conformance/engine_scenes.h"
#include "geometry/geometry_composite.h"
#include "geometry/geometry_weighted.h"
#include "geometry/modifier_skin.h"
#include "scene/transformation_prs.h"

namespace conformance {

using namespace osm3d;
using demo::F;

namespace {

void Lit(SceneMaker& maker) {
    maker.Ambient({0.25f, 0.25f, 0.3f, 1});
    maker.Light(maker.Node({3, 4, 6}), Still(color{0.9f, 0.9f, 0.8f, 1}));
}

// An upright tube whose rings belong to three bones, the middle ones to two at a time, and the top's fourth
// share to the fourth bone.
struct Arm {
    Shape shape;
    std::vector<VertexWeights> weights;
};

Arm Tube() {
    Arm arm;
    arm.shape = demo::Surface(16, 18, [](float u, float v) {
        const float a = 2 * demo::kPi * u, r = 0.55f - 0.2f * v;
        return vect3{r * std::cos(a), 4 * v, -r * std::sin(a)};
    });
    for (const vect3& p : arm.shape.positions) {
        const float along = p.y / 4 * 2;  // 0 to 2: between which bones
        const auto first = static_cast<u8>(std::min(along, 1.999f));
        const float second = std::clamp((along - F(first)) * 2 - 0.5f, 0.0f, 1.0f);
        const auto next = static_cast<u8>(first + 1);
        // The heavier one first: the normal follows it.
        if (p.y > 3.6f)
            arm.weights.push_back({{next, first, 0, 3}, {0.6f, 0, 0}});
        else if (second > 0.5f)
            arm.weights.push_back({{next, first, 0, 0}, {second, 1 - second, 0}});
        else
            arm.weights.push_back({{first, next, 0, 0}, {1 - second, second, 0}});
    }
    return arm;
}

MeshSimple* BentArm(SceneMaker& maker, const Arm& arm, const vect3& foot, Material* material) {
    HierarchyNode* place = maker.Node(foot, QuatFromAxisAngle({0, 1, 0}, 0.4f));
    const auto bone = [&](HierarchyNode* parent, float above, const vect3& axis, float angle) {
        return maker.Moving(Still(vect3{0, above, 0}),
                            Keyed<quat>({{0, kQuatIdentity},
                                         {60, QuatFromAxisAngle(axis, angle)},
                                         {100, QuatFromAxisAngle(axis, -angle)}}),
                            nullptr, parent);
    };
    HierarchyNode* low = bone(place, 0, {0, 1, 0}, 0.5f);
    HierarchyNode* middle = bone(low, 2, {0, 0, 1}, 1.1f);
    HierarchyNode* high = bone(middle, 2, {1, 0, 0}, 0.8f);
    HierarchyNode* tip = maker.Moving(Keyed<vect3>({{0, {0, 0, 0}}, {60, {0, 0.8f, 0.6f}}, {100, {0, 0, 0}}}),
                                      nullptr, nullptr, high);
    auto* skin = new ModifierSkin();
    skin->bones = {low, middle, high, tip};
    const float heights[4] = {0, 2, 4, 4};
    for (const float h : heights) skin->offsets.push_back(MatrixTranslation({0, -h, 0}));
    skin->meshMatrix = MatrixCompose(foot, QuatFromAxisAngle({0, 1, 0}, 0.4f), {1, 1, 1});
    auto* geometry = new GeometryWeighted();
    Solid(arm.shape, geometry);
    geometry->weights = arm.weights;
    MeshSimple* mesh = maker.Mesh(geometry, material, place);
    mesh->AddModifier(skin);
    return mesh;
}

// Two bent arms, and one without a skin: the engine asks for too few indices for it, and draws nothing of it.
void Skins(SceneMaker& maker) {
    Lit(maker);
    const Arm arm = Tube();
    MaterialSimple* striped = maker.Matt({0.8f, 0.8f, 0.9f, 1});
    maker.Layer(striped, maker.Picture(Pattern(32, 64)));
    BentArm(maker, arm, {-2.2f, -2.6f, 0}, striped);
    BentArm(maker, arm, {0.6f, -2.6f, 0}, maker.Matt({0.9f, 0.5f, 0.3f, 1}));
    auto* rest = new GeometryWeighted();
    Solid(arm.shape, rest);
    rest->weights = arm.weights;
    maker.Mesh(rest, maker.Matt({0.4f, 0.8f, 0.4f, 1}),
               maker.Node({3.2f, -2.6f, -0.5f}, kQuatIdentity, {0.7f, 1, 0.7f}));
}

// A bent arm throws its own shadow, which bends with it.
void SkinShadow(SceneMaker& maker) {
    Lit(maker);
    maker.LookFrom({0, 3, 6}, 0.45f);
    maker.Mesh(Board(-6, -6, 6, 6), maker.Matt({0.8f, 0.75f, 0.6f, 1}),
               maker.Node({0, -1.5f, 0}, QuatFromAxisAngle({1, 0, 0}, -1.5707963f)));
    LightOmni* light = maker.Light(maker.Node({-2.5f, 6, 2.5f}), Still(color{0.5f, 0.5f, 0.5f, 1}));
    // A closed body: a caster's edges are where triangles share their corners.
    Arm arm;
    for (int ring = 0; ring < 5; ++ring)
        for (int i = 0; i < 8; ++i) {
            const float a = 2 * demo::kPi * F(i) / 8, r = 0.5f - 0.06f * F(ring);
            arm.shape.Vertex({r * std::cos(a), F(ring), -r * std::sin(a)},
                             vect3{std::cos(a), 0, -std::sin(a)}, {0, 0});
            const auto first = static_cast<u8>(ring < 2 ? 0 : ring < 4 ? 1 : 2);
            arm.weights.push_back({{first, first, first, first}, {1, 0, 0}});
        }
    for (std::uint32_t ring = 0; ring < 4; ++ring)
        for (std::uint32_t i = 0; i < 8; ++i) {
            const std::uint32_t a = ring * 8 + i, b = ring * 8 + (i + 1) % 8;
            arm.shape.Quad(a, b, b + 8, a + 8);
        }
    for (std::uint32_t i = 1; i < 7; ++i) {
        arm.shape.Triangle(0, i + 1, i);
        arm.shape.Triangle(32, 32 + i, 32 + i + 1);
    }
    MeshSimple* mesh = BentArm(maker, arm, {0, -1.4f, -0.6f}, maker.Matt({0.9f, 0.5f, 0.3f, 1}));
    mesh->SetCastShadow(true);
    light->GetShadowCasters().push_back(mesh);
    maker.stage.Shadows(light);
}

// Turned and scaled unevenly within one another; a matrix of its own; aimed at what moves, with a roll.
void Tree(SceneMaker& maker) {
    Lit(maker);
    MaterialSimple* stone = maker.Matt({0.8f, 0.6f, 0.5f, 1});
    maker.Layer(stone, maker.Picture(Pattern(32, 32)));
    stone->GetRenderState()->normalizeNormals = true;
    const Shape box = demo::Box({-0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, 0.5f});
    HierarchyNode* parent = nullptr;
    for (int i = 0; i < 4; ++i) {
        parent = maker.Moving(Still(i == 0 ? vect3{-2.8f, -1.8f, 0} : vect3{0, 1.1f, 0}),
                              Keyed<quat>({{0, QuatFromAxisAngle({0, 0, 1}, 0.2f)},
                                           {100, QuatFromAxisAngle({0.6f, 0, 0.8f}, -0.7f)}}),
                              Still(i % 2 == 0 ? vect3{1.4f, 1, 0.8f} : vect3{0.7f, 1.1f, 1.2f}), parent);
        maker.Mesh(box, stone, parent);
    }
    auto* stepping = maker.Make<ControllerTransformationMatrix>();
    matrix sheared = MatrixCompose({1, 1.6f, 0}, QuatFromAxisAngle({0, 0, 1}, 0.3f), {1.2f, 0.8f, 1});
    matrix other = sheared;
    sheared.m[1][0] += 0.6f;
    other.m[3][1] = 0.6f;
    stepping->SetMatrix(Keyed<matrix>({{0, sheared}, {100, other}}));
    auto* by_matrix = maker.Make<HierarchyNode>();
    by_matrix->transform = stepping;
    maker.scene.root->AddChild(by_matrix);
    maker.Mesh(box, stone, by_matrix);
    HierarchyNode* quarry = maker.Moving(Keyed<vect3>({{0, {3, 1.5f, 1}}, {100, {0.5f, -2.2f, 1}}}));
    maker.Mesh(demo::Sphere(0.3f, 14, 10), maker.Matt({1, 0.9f, 0.2f, 1}), quarry);
    for (int i = 0; i < 2; ++i) {
        HierarchyNode* hunter = maker.Node({1.2f + 1.8f * F(i), -1, 0}, kQuatIdentity, {0.7f, 0.7f, 1.8f});
        hunter->target = quarry;
        if (i != 0) hunter->roll = maker.Keep(Keyed<f32>({{0, 0.4f}, {100, 1.4f}}));
        maker.Mesh(demo::Lathe({{0.5f, -0.5f}, {0.05f, 0.5f}}, 4), stone, hunter);
    }
    auto* placed =
        maker.Make<TransformationPRS>(vect3{3, 2.2f, 0}, QuatFromEuler(0.4f, 0.3f, 0.2f), vect3{1, 0.5f, 1});
    maker.Mesh(box, stone)->transformation = placed;
}

// Every kind of key before, on, between and behind its keys, with a jump at 50.
void Keys(SceneMaker& maker) {
    Lit(maker);
    const Shape box = demo::Box({-0.4f, -0.4f, -0.4f}, {0.4f, 0.4f, 0.4f});
    MaterialSimple* material = maker.Matt({0.9f, 0.8f, 0.4f, 1});
    maker.Mesh(
        box, material,
        maker.Moving(Keyed<vect3>({{10, {-3, 2, 0}}, {50, {0, 1, 0}}, {50, {0, 2.4f, 0}}, {90, {3, 2, 0}}})));
    maker.Mesh(box, material,
               maker.Moving(Still(vect3{-2, -0.2f, 0}),
                            Keyed<quat>({{10, kQuatIdentity},
                                         {50, QuatFromAxisAngle({0, 0, 1}, 1.3f)},
                                         {90, QuatFromAxisAngle({0.6f, 0.8f, 0}, -2.2f)}})));
    maker.Mesh(box, material,
               maker.Moving(Still(vect3{1.2f, -0.2f, 0}), nullptr,
                            Keyed<vect3>({{10, {1, 1, 1}}, {50, {3, 0.5f, 1}}, {90, {0.4f, 2, 1}}})));
    MaterialSimple* glow = maker.Glow(kWhite);
    glow->SetColorController(
        MaterialSimple::kEmissive,
        Keyed<color>({{10, {1, 0, 0, 1}}, {50, {0, 1, 0, 1}}, {90, {0.3f, 0.3f, 1, 1}}}));
    maker.Mesh(Board(-3.8f, -2.8f, 3.8f, -1.9f), glow);
    maker.LookFrom(maker.camera->transformation);
    maker.camera->SetFov(Keyed<f32>({{10, 0.8f}, {50, 0.9273f}, {90, 1.15f}}));
}

// Parts as one shape, with one material for all of them; a shape without normals and one without coordinates.
void Shapes(SceneMaker& maker) {
    Lit(maker);
    Texture* pattern = maker.Picture(Pattern(32, 32));
    MaterialSimple* textured = maker.Matt({0.9f, 0.9f, 0.9f, 1});
    maker.Layer(textured, pattern);
    maker.Mesh(
        new GeometryComposite({Solid(demo::Sphere(0.7f, 18, 12)), Solid(Board(0.4f, -1, 1.6f, 0.3f, -0.2f)),
                               Solid(demo::Torus(1, 0.2f, 20, 8))}),
        textured, maker.Node({-2.3f, 1.2f, 0}, QuatFromEuler(-0.5f, 0.3f, 0)));
    GeometrySimple* bare = Solid(demo::Box({-0.8f, -0.8f, -0.8f}, {0.8f, 0.8f, 0.8f}));
    bare->normals.clear();
    maker.Mesh(bare, textured, maker.Node({1.7f, 1.4f, 0}, QuatFromEuler(0.5f, 0.6f, 0)));
    GeometrySimple* plain = Solid(demo::Sphere(1, 18, 12));
    plain->uvSets.clear();
    maker.Mesh(plain, textured, maker.Node({-2.3f, -1.5f, 0}));
    maker.Mesh(demo::Gear(9, 0.4f, 0.9f, 1.25f, 0.5f), nullptr,
               maker.Node({1.7f, -1.5f, 0}, QuatFromEuler(-0.6f, 0.4f, 0)));
}

}  // namespace

std::vector<EngineCase> GeometryScenes() {
    return {
        SceneCase("scene_skins", Skins, {0, 45, 80}),
        SceneCase("scene_skin_shadow", SkinShadow, {0, 60}),
        SceneCase("scene_tree", Tree, {0, 50, 90}),
        SceneCase("scene_keys", Keys, {0, 30, 50, 100}),
        SceneCase("scene_shapes", Shapes),
    };
}

}  // namespace conformance
