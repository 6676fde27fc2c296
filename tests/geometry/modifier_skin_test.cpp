// Skins: their record, what they do to a shape, what reaches the device, and which files are refused.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>

#include "fxutil/math.h"
#include "geometry/geometry_composite.h"
#include "geometry/geometry_weighted.h"
#include "geometry/mesh_simple.h"
#include "geometry/modifier_skin.h"
#include "io/open.h"
#include "scene/hierarchy_node.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "support/allocations.h"
#include "support/engine_device.h"
#include "support/om2_scene.h"
#include "support/round_trip.h"

using namespace osm3d;
using test_support::Load;
using test_support::Save;

namespace {

constexpr f32 kHalfPi = 1.57079632679f;

void ExpectNear(const vect3& actual, const vect3& expected) {
    EXPECT_NEAR(actual.x, expected.x, 1e-6f);
    EXPECT_NEAR(actual.y, expected.y, 1e-6f);
    EXPECT_NEAR(actual.z, expected.z, 1e-6f);
}

matrix Turned(const vect3& position, f32 about_z) {
    return MatrixCompose(position, QuatFromAxisAngle({0, 0, 1}, about_z), {1, 1, 1});
}

matrix Inverse(const matrix& m) {
    matrix out;
    D3DXMatrixInverse(&out, nullptr, &m);
    return out;
}

matrix Times(const matrix& a, const matrix& b) {
    matrix out;
    D3DXMatrixMultiply(&out, &a, &b);
    return out;
}

// An upper arm from the origin up to (0, 1, 0), a forearm on from there, and a skin around both.
struct Arm {
    Arm() {
        forearm.worldMatrix = Turned({0, 1, 0}, 0);
        skin.bones = {&upper, &forearm};
        skin.offsets = {kMatrixIdentity, Inverse(forearm.worldMatrix)};
    }
    static void Fill(GeometryWeighted& g) {
        g.positions = {{0, 0.5f, 0}, {0, 1, 0}, {0, 2, 0}, {0.5f, 2, 0}};
        g.normals = {{1, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 0, 0}};
        g.uvSets = {{{1, 2}, {3, 4}, {5, 6}, {7, 8}}};
        g.triangles = {{{0, 1, 2}}, {{1, 2, 3}}};
        // The upper arm; both halves; the forearm as the fourth bone; both, the upper one turning the normal.
        g.weights = {{{0, 1, 1, 1}, {1, 0, 0}},
                     {{1, 0, 0, 0}, {0.5f, 0.5f, 0}},
                     {{1, 0, 0, 1}, {0, 0, 0}},
                     {{0, 1, 255, 255}, {0.5f, 0.5f, 0}}};
    }
    void Bend() { forearm.worldMatrix = Turned({0, 1, 0}, kHalfPi); }
    static void ExpectBent(const GeometrySimple& g) {
        ASSERT_EQ(g.positions.size(), 4u);
        ExpectNear(g.positions[0], {0, 0.5f, 0});
        ExpectNear(g.positions[1], {0, 1, 0});
        ExpectNear(g.positions[2], {-1, 1, 0});
        ExpectNear(g.positions[3], {(0.5f - 1) / 2, (2 + 1.5f) / 2, 0});
        ExpectNear(g.normals[0], {1, 0, 0});
        ExpectNear(g.normals[1], {0, 1, 0});
        ExpectNear(g.normals[2], {-1, 0, 0});
        ExpectNear(g.normals[3], {1, 0, 0});
    }

    HierarchyNode upper, forearm;
    ModifierSkin skin;
};

std::unique_ptr<GeometrySimple> Result(ModifierSkin& skin, Geometry& input) {
    std::unique_ptr<Geometry> result(skin.CreateResult(&input));
    skin.Apply(result.get(), &input);
    return std::unique_ptr<GeometrySimple>(dynamic_cast<GeometrySimple*>(result.release()));
}

}  // namespace

TEST(ModifierSkin, RecordNamesBonesThenOffsetsThenTheMeshMatrix) {
    om2::Mat a = om2::kIdentity, b = om2::kIdentity, mesh = om2::kIdentity;
    a[12] = 1, b[13] = 2, mesh[14] = 3;
    const auto file = [&](unsigned version) {
        om2::File f;
        f.Stack(1, [&] {
            f.Skin(
                [&] {
                    const int node = f.PlainNode();
                    f.Ref(node);
                },
                {a, b}, mesh, version);
        });
        return f.bytes;
    };
    const auto loaded = Load(file(1));
    auto* stack = loaded.As<ModifierStack>();
    ASSERT_NE(stack, nullptr);
    auto* skin = dynamic_cast<ModifierSkin*>(stack->GetModifier(0));
    ASSERT_NE(skin, nullptr);
    ASSERT_EQ(skin->bones.size(), 2u);
    EXPECT_NE(skin->bones[0], nullptr);
    EXPECT_EQ(skin->bones[1], skin->bones[0]);
    EXPECT_EQ(skin->offsets[1].m[3][1], 2.0f);
    EXPECT_EQ(skin->meshMatrix.m[3][2], 3.0f);
    EXPECT_EQ(Save(stack), file(1));

    const auto future = Load(file(2));
    EXPECT_TRUE(dynamic_cast<ModifierSkin*>(future.As<ModifierStack>()->GetModifier(0))->bones.empty());
    om2::File lying;
    lying.Chunk("MDSK", 1, [&] { lying.I32(0x01000000); });
    EXPECT_TRUE(Load(lying.bytes).failed);
}

TEST(ModifierSkin, BendsPointsByAllBonesAndNormalsByTheFirst) {
    Arm arm;
    GeometryWeighted g;
    Arm::Fill(g);
    arm.Bend();
    const auto bent = Result(arm.skin, g);
    Arm::ExpectBent(*bent);
    EXPECT_EQ(bent->uvSets, g.uvSets);
    EXPECT_EQ(bent->triangles, g.triangles);
    EXPECT_TRUE(bent->dynamicVertices);
    EXPECT_EQ(g.positions[2], (vect3{0, 2, 0})) << "the rest pose stays";
}

TEST(ModifierSkin, NothingMovesAtBindTimeWhereverTheMeshStands) {
    Arm arm;
    GeometryWeighted g;
    Arm::Fill(g);
    arm.skin.meshMatrix = MatrixCompose({3, -2, 7}, QuatFromEuler(0.3f, 0.8f, -1.2f), {2, 2, 2});
    arm.forearm.worldMatrix = MatrixCompose({-1, 4, 2}, QuatFromEuler(1, 2, 3), {1, 0.5f, 3});
    for (u32 i = 0; i < 2; ++i) {
        arm.skin.offsets[i] = Times(arm.skin.meshMatrix, Inverse(arm.skin.bones[i]->worldMatrix));
    }
    const auto rest = Result(arm.skin, g);
    for (u32 v = 0; v < 4; ++v) {
        EXPECT_NEAR(rest->positions[v].x, g.positions[v].x, 2e-5f);
        EXPECT_NEAR(rest->positions[v].y, g.positions[v].y, 2e-5f);
        EXPECT_NEAR(rest->normals[v].y, g.normals[v].y, 2e-5f);
    }
    // One unit of the world up is half a unit of the mesh, in the directions that the mesh had at bind time.
    arm.upper.worldMatrix = MatrixTranslation({0, 1, 0});
    const auto moved = Result(arm.skin, g);
    vect3 up{0, 1, 0};
    const matrix back = Inverse(arm.skin.meshMatrix);
    D3DXVec3TransformNormal(&up, &up, &back);
    EXPECT_NEAR(Dot(up, up), 0.25f, 1e-5f);
    EXPECT_NEAR(moved->positions[0].y - rest->positions[0].y, up.y, 2e-5f);
}

TEST(ModifierSkin, StretchedBonesTiltNormalsAsTheirSurfacesTilt) {
    Arm arm;
    GeometryWeighted g;
    Arm::Fill(g);
    g.normals[0] = {0.6f, 0.8f, 0};
    arm.upper.worldMatrix = MatrixCompose({5, 5, 5}, kQuatIdentity, {2, 1, 1});
    const f32 length = std::sqrt(0.3f * 0.3f + 0.8f * 0.8f);
    ExpectNear(Result(arm.skin, g)->normals[0], {0.3f / length, 0.8f / length, 0});
}

TEST(ModifierSkin, ProjectiveMatricesDivideEachPointByItsOwnW) {
    Arm arm;
    GeometryWeighted g;
    Arm::Fill(g);
    arm.skin.offsets[0].m[1][3] = 1;  // w = 1 + y
    const auto out = Result(arm.skin, g);
    ExpectNear(out->positions[0], {0, 0.5f / 1.5f, 0});
    ExpectNear(out->positions[3], {(0.5f / 3 + 0.5f) / 2, (2.0f / 3 + 2) / 2, 0});
    // The same w everywhere is only a scale.
    arm.skin.offsets[0] = kMatrixIdentity;
    arm.skin.offsets[0].m[3][3] = 2;
    ExpectNear(Result(arm.skin, g)->positions[0], {0, 0.25f, 0});
}

TEST(ModifierSkin, PartsOfACompositeBendAsOne) {
    Arm arm;
    GeometryWeighted g;
    Arm::Fill(g);
    g.positions.resize(4);
    const std::unique_ptr<GeometryComposite> parts(g.SplitByAttribute({0, 1}, 2));
    arm.Bend();
    EXPECT_FALSE(arm.skin.AcceptsGeometry(parts.get()));
    const std::unique_ptr<Geometry> result(arm.skin.CreateResult(parts.get()));
    arm.skin.Apply(result.get(), parts.get());
    auto* composite = dynamic_cast<GeometryComposite*>(result.get());
    ASSERT_NE(composite, nullptr);
    ASSERT_EQ(composite->PartCount(), 2u);
    auto* second = dynamic_cast<GeometrySimple*>(composite->Part(1));
    ASSERT_EQ(second->positions.size(), 3u);
    ExpectNear(second->positions[1], {-1, 1, 0});
    EXPECT_NEAR(result->GetBounds().min.x, -1.0f, 1e-6f);

    // A composite and a shape do not fit: nothing happens, and nothing falls over.
    arm.skin.Apply(result.get(), &g);
    arm.skin.Apply(second, parts.get());
    arm.skin.Apply(nullptr, &g);
    arm.skin.Apply(second, second);
    ExpectNear(second->positions[1], {-1, 1, 0});
}

TEST(ModifierSkin, BadIndicesBonesAndCountsStayInsideTheArrays) {
    Arm arm;
    GeometryWeighted g;
    Arm::Fill(g);
    g.weights[0] = {{255, 255, 255, 255}, {1, 1, 1}};
    arm.skin.bones[1] = nullptr;
    arm.skin.offsets.pop_back();
    arm.skin.meshMatrix = matrix{};
    const std::unique_ptr<GeometrySimple> result = Result(arm.skin, g);
    ExpectNear(result->positions[0], {0, 0.5f, 0});
    g.weights.resize(1);
    arm.Bend();
    const auto fewer = Result(arm.skin, g);
    ExpectNear(fewer->positions[2], {0, 2, 0});
}

TEST(ModifierSkin, AMeshIsBoxedDrawnAndSentAsItsSkinHasIt) {
    support::EngineDevice engine;
    Arm arm;
    MeshSimple mesh;
    auto* g = new GeometryWeighted;
    Arm::Fill(*g);
    mesh.SetGeometry(g);
    auto* skin = new ModifierSkin;
    skin->bones = arm.skin.bones;
    skin->offsets = arm.skin.offsets;
    mesh.AddModifier(skin);
    mesh.Initialize();
    EXPECT_EQ(g->VertexBuffer(), nullptr);
    const auto row = [&](u32 v) {
        auto* drawn = dynamic_cast<GeometrySimple*>(mesh.GetStack()->GetResult());
        std::array<f32, 8> floats;
        std::memcpy(floats.data(), &engine.recorded().Contents(drawn->VertexBuffer())[32 * v], 32);
        return floats;
    };
    mesh.Update(0);
    EXPECT_EQ(mesh.GetBounds()->half, (vect3{0.25f, 0.75f, 0}));
    EXPECT_EQ(row(2), (std::array<f32, 8>{0, 2, 0, 0, 1, 0, 5, 6}));

    arm.Bend();
    engine.recorded().Clear();
    mesh.Update(1);
    EXPECT_NEAR(mesh.GetBounds()->transform.m[3][0], -0.5f, 1e-6f) << "from -1 to 0";
    EXPECT_NEAR(mesh.GetBounds()->half.x, 0.5f, 1e-6f);
    ExpectNear({row(2)[0], row(2)[1], row(2)[2]}, {-1, 1, 0});
    ExpectNear({row(2)[3], row(2)[4], row(2)[5]}, {-1, 0, 0});
    EXPECT_EQ(row(2)[7], 6.0f);
    EXPECT_EQ(engine.recorded().Calls().size(), 2u) << "one lock of the vertices and its end";
    EXPECT_EQ(engine.recorded().Named("VertexBuffer.Lock").at(0).args.at(3), 0)
        << "bytes that are not written must stay";
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(ModifierSkin, UpdatesAllocateNothing) {
    if (!support::kCountsAllocations) GTEST_SKIP() << "the sanitizer has its own allocation functions";
    support::DeviceOptions options;
    options.keep_calls = false;
    support::EngineDevice engine(options);
    Arm arm;
    GeometryWeighted g;
    Arm::Fill(g);
    ModifierStack stack;
    auto* skin = new ModifierSkin;
    skin->bones = arm.skin.bones;
    skin->offsets = arm.skin.offsets;
    stack.SetGeometry(&g);
    stack.AddModifier(skin);
    stack.InitializeResult();
    const long long before = support::Allocations();
    for (int frame = 0; frame < 5; ++frame) stack.Update(static_cast<f32>(frame));
    EXPECT_EQ(support::Allocations(), before);
}

TEST(ModifierSkin, TheDeviceCanBlendInstead) {
    support::EngineDevice engine;
    Arm arm;
    ModifierSkin skin(false);
    skin.bones = arm.skin.bones;
    skin.offsets = arm.skin.offsets;
    GeometryWeighted g;
    Arm::Fill(g);
    EXPECT_FALSE(skin.IsDeforming());
    EXPECT_TRUE(skin.NeedsDrawSetup());
    EXPECT_EQ(skin.CreateResult(&g), &g);
    arm.Bend();
    engine.recorded().Clear();
    skin.SetupDraw();
    EXPECT_EQ(engine.recorded().Count("SetRenderState", {D3DRS_VERTEXBLEND, D3DVBF_3WEIGHTS}), 1u);
    EXPECT_EQ(engine.recorded().Count("SetRenderState", {D3DRS_INDEXEDVERTEXBLENDENABLE, TRUE}), 1u);
    const auto sent = engine.recorded().Named("SetTransform");
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].args.at(0), 257);
    // (0, 2, 0) by the second matrix lands on (-1, 1, 0).
    EXPECT_NEAR(sent[1].floats.at(4) * 2 + sent[1].floats.at(12), -1, 1e-6f);

    engine.recorded().Clear();
    EXPECT_FALSE(arm.skin.NeedsDrawSetup());
    arm.skin.SetupDraw();
    EXPECT_EQ(engine.recorded().Named("SetTransform").at(0).floats.at(0), 1.0f);
}

namespace {

// A scene of one skinned quad, of which a case replaces a part.
struct SkinnedScene {
    SkinnedScene() {
        scene.tree = [this] {
            bone = scene.file.Node({0, 0, 0});
            scene.file.I32(0);
        };
        geometry = [this] {
            shape = scene.file.WeightedGeometry(quad, std::vector<om2::File::Weight>(4, weight));
        };
        skin = [this] { modifier = scene.file.Skin(Ref(bone), {om2::kIdentity}, mesh); };
        stack = [this] { chain = scene.file.Stack(1, skin); };
        scene.meshes.push_back(
            [this] { scene.file.DeformedMesh(geometry, stack, scene.Null(), scene.Null()); });
    }
    om2::Body Ref(int& id) { return scene.Ref(id); }
    void AnotherMesh(const om2::Body& shape_slot, const om2::Body& stack_slot) {
        scene.meshes.push_back(
            [=, this] { scene.file.DeformedMesh(shape_slot, stack_slot, scene.Null(), scene.Null()); });
    }
    // Why it does not load; empty when it does.
    std::string Refusal() {
        const test_support::TempFile file;
        file.Fill(scene.Bytes());
        osmio::ObjectGraph graph;
        SceneHierarchy* loaded = nullptr;
        std::string reason;
        return LoadSceneFile(file.path, graph, loaded, reason) ? "" : reason;
    }

    om2::SceneFile scene;
    om2::File::Shape quad = om2::Quad(0, 0, 1, 1);
    om2::File::Weight weight;
    om2::Mat mesh = om2::kIdentity;
    om2::Body geometry, skin, stack;
    int bone = -1, shape = -1, modifier = -1, chain = -1;
};

}  // namespace

TEST(ModifierSkin, ScenesThatCannotBeBentAreRefusedAndSayWhy) {
    using Change = std::function<void(SkinnedScene&)>;
    const std::vector<std::pair<std::string, Change>> cases = {
        {"", [](SkinnedScene&) {}},
        {"",
         [](SkinnedScene& s) {
             s.weight.bones = {0, 255, 255, 255};
         }},  // bones without weight
        {"mesh 0: vertex 0 of a skin follows bone 1 of 1",
         [](SkinnedScene& s) {
             s.weight = {{0, 1, 0, 0}, {0.5f, 0.5f, 0}};
         }},
        {"mesh 0: vertex 0 of a skin follows bone 7 of 1",
         [](SkinnedScene& s) {
             s.weight = {{0, 0, 0, 7}, {0, 0, 0}};
         }},
        {"mesh 0: vertex 0 of a skin follows bone 9 of 1",  // by its normal
         [](SkinnedScene& s) {
             s.weight = {{9, 0, 0, 0}, {0, 1, 0}};
         }},
        {"mesh 0: bone 0 of a skin is no node", [](SkinnedScene& s) { s.bone = -1, s.scene.tree = nullptr; }},
        {"mesh 0: the mesh matrix of a skin has no inverse", [](SkinnedScene& s) { s.mesh[5] = 0; }},
        {"mesh 0: a skin has weights for 3 of 4 vertices",
         [](SkinnedScene& s) {
             s.geometry = [&s] {
                 s.scene.file.WeightedGeometry(s.quad, std::vector<om2::File::Weight>(3, s.weight));
             };
         }},
        {"mesh 0: a skin is given a geometry without weights",
         [](SkinnedScene& s) { s.geometry = [&s] { s.scene.file.Geometry(s.quad); }; }},
        {"mesh 0: a skin is given a geometry without weights",  // one part of two
         [](SkinnedScene& s) {
             s.geometry = [&s, weighted = s.geometry] {
                 s.scene.file.Chunk("GOCP", 1, [&] {
                     s.scene.file.I32(2);
                     weighted();
                     s.scene.file.Geometry(s.quad);
                 });
             };
         }},
        {"mesh 0: a skin is given a geometry without weights",  // what the first one made
         [](SkinnedScene& s) {
             s.stack = [&s] {
                 s.scene.file.Stack(2, [&s] {
                     s.skin();
                     s.scene.file.Ref(s.modifier);
                 });
             };
         }},
        {"mesh 0: a modifier stack has an empty slot",
         [](SkinnedScene& s) { s.stack = [&s] { s.scene.file.Stack(1, s.scene.Null()); }; }},
        {"mesh 0: a geometry occurs twice in one composite geometry",  // and goes round in a circle
         [](SkinnedScene& s) {
             s.geometry = [&s] {
                 s.scene.file.Chunk("GOCP", 1, [&] {
                     const auto& bytes = s.scene.file.bytes;
                     const int self = bytes[bytes.size() - 6] | bytes[bytes.size() - 5] << 8;
                     s.scene.file.I32(1);
                     s.scene.file.Ref(self);
                 });
             };
         }},
        {"mesh 1: its geometry is deformed by another mesh as well",
         [](SkinnedScene& s) { s.AnotherMesh(s.Ref(s.shape), s.stack); }},
        {"mesh 1: its modifier stack is another mesh's as well",
         [](SkinnedScene& s) { s.AnotherMesh(s.geometry, s.Ref(s.chain)); }},
        {"",
         [](SkinnedScene& s) {  // one skin may bend two shapes
             s.AnotherMesh(s.geometry, [&s] { s.scene.file.Stack(1, s.Ref(s.modifier)); });
         }},
    };
    for (const auto& [expected, change] : cases) {
        SkinnedScene scene;
        change(scene);
        EXPECT_EQ(scene.Refusal(), expected);
    }
}
