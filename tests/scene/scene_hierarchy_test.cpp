// The order of a scene's work: loading, updating, the chain of renderers, the queue.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "controller/constant.h"
#include "geometry/logged.h"
#include "geometry/mesh_simple.h"
#include "material/material_composite.h"
#include "material/texture_bitmap_file.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_renderer.h"
#include "scene/transformation_prs.h"
#include "scene/value_operations.h"
#include "support/allocations.h"
#include "support/engine_device.h"

using namespace osm3d;
using Log = std::vector<std::string>;

namespace {

using controller::Const;

class LoggedTexture : public TextureBitmapFile {
  public:
    explicit LoggedTexture(Log& to) : log(to) {}
    void Update(f32) override { log.push_back("update texture"); }
    void Load() override { log.push_back("load texture"); }
    Log& log;
};

class LoggedMesh : public MeshSimple {
  public:
    explicit LoggedMesh(Log& to) : log(to) {}
    void Update(f32) override { log.push_back("update mesh"); }
    void Initialize() override { log.push_back("initialize mesh"); }
    void Prepare() override { log.push_back("prepare mesh"); }
    Log& log;
};

class LoggedController : public Controller {
  public:
    LoggedController(std::string label, Log& to) : name(std::move(label)), log(to) {}
    bool IsConstant() override { return false; }
    void Update(f32) override { log.push_back("update " + name); }
    std::string name;
    Log& log;
};

class LoggedNode : public HierarchyNode {
  public:
    LoggedNode(std::string label, Log& to) : name(std::move(label)), log(to) {}
    void Update(f32) override { log.push_back("update " + name); }
    std::string name;
    Log& log;
};

class LoggedRenderer : public SceneRenderer {
  public:
    LoggedRenderer(std::string label, bool goesOn, Log& to)
        : name(std::move(label)), chain(goesOn), log(to) {}
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Update(f32) override { log.push_back("update " + name); }
    void Initialize() override { log.push_back("initialize " + name); }
    void Render(SceneHierarchy* scene, Camera* camera) override {
        log.push_back("enter " + name + (camera == scene->currentCamera ? "" : " with another camera"));
        if (chain) scene->Render();
        log.push_back("leave " + name);
    }
    std::string name;
    bool chain;
    Log& log;
};

class LoggedAtmospheric : public Atmospheric {
  public:
    LoggedAtmospheric(std::string label, Log& to) : name(std::move(label)), log(to) {}
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Update(f32) override { log.push_back("update " + name); }
    void Apply(Camera*) override { log.push_back("apply " + name); }
    void Unapply() override { log.push_back("unapply " + name); }
    void Clear(Camera*, u32 flags, bool useDevice) override {
        log.push_back("clear " + name + " " + std::to_string(flags) + (useDevice ? " device" : " quad"));
    }
    std::string name;
    Log& log;
};

struct SceneOrder : testing::Test {
    support::EngineDevice engine;
    Log log;
    SceneHierarchy scene;

    template <class T, class... Args>
    T* Make(Args&&... args) {
        return scene.Own(std::make_unique<T>(std::forward<Args>(args)...));
    }
    // A material and its geometry in one record.
    DrawRecord Record(u32 kind, f32 distance, Material* material, const std::string& name) {
        return {kind, distance, material, Make<logged::Geometry>(name, log), nullptr, &kMatrixIdentity};
    }
};

TEST_F(SceneOrder, LoadingGoesKindByKind) {
    for (int i = 0; i < 2; ++i) {
        scene.textures.push_back(Make<LoggedTexture>(log));
        scene.materials.push_back(Make<logged::Material>("material", log));
        scene.meshes.push_back(Make<LoggedMesh>(log));
    }
    scene.renderers.push_back(Make<LoggedRenderer>("renderer", true, log));
    scene.LoadResources();
    EXPECT_EQ(log, (Log{"load texture", "load texture", "load material", "load material", "initialize mesh",
                        "initialize mesh", "initialize renderer", "prepare material", "prepare material",
                        "prepare mesh", "prepare mesh"}));
}

TEST_F(SceneOrder, UpdateTakesTheTreeFirstAndSiblingsLastToFirst) {
    auto* root = Make<LoggedNode>("root", log);
    auto* first = Make<LoggedNode>("first", log);
    auto* below = Make<LoggedNode>("below first", log);
    auto* second = Make<LoggedNode>("second", log);
    root->AddChild(first);
    root->AddChild(second);
    first->AddChild(below);
    root->localMatrix = MatrixTranslation({1, 0, 0});
    below->localMatrix = MatrixTranslation({0, 2, 0});
    scene.root = root;

    LoggedController ofCamera("camera", log);
    LoggedController ofLight("light", log);
    auto* camera = Make<CameraSimple>();
    camera->AddController(&ofCamera);
    auto* light = Make<LightOmni>();
    light->AddController(&ofLight);
    for (const auto set : {&LightOmni::SetAmbient, &LightOmni::SetDiffuse, &LightOmni::SetSpecular})
        (light->*set)(new Const<color>({0, 0, 0, 0}));
    light->SetRange(new Const<f32>(10));
    for (u32 i = 0; i < 3; ++i) light->SetAttenuation(i, new Const<f32>(1));

    scene.renderers.push_back(Make<LoggedRenderer>("renderer", true, log));
    scene.atmosphericsAfter.push_back(Make<LoggedAtmospheric>("after", log));
    scene.atmosphericsBefore.push_back(Make<LoggedAtmospheric>("before", log));
    scene.background = Make<LoggedAtmospheric>("background", log);
    scene.lights.push_back(light);
    scene.cameras.push_back(camera);
    scene.meshes.push_back(Make<LoggedMesh>(log));
    scene.materials.push_back(Make<logged::Material>("material", log));
    scene.textures.push_back(Make<LoggedTexture>(log));

    scene.Update(3);
    EXPECT_EQ(log, (Log{"update root", "update second", "update first", "update below first",
                        "update texture", "update material", "update mesh", "update camera", "update light",
                        "update before", "update after", "update renderer"}));
    EXPECT_EQ(MatrixGetTranslation(below->worldMatrix), (vect3{1, 2, 0}));

    log.clear();
    scene.ClearBackground(3);
    scene.ClearBackgroundFor(nullptr, 3, false);
    EXPECT_EQ(log, (Log{"update background", "clear background 7 device", "clear background 3 quad"}));
}

TEST_F(SceneOrder, RenderersRunFromTheLastToTheFirst) {
    scene.currentCamera = Make<CameraSimple>();
    scene.atmosphericsBefore = {Make<LoggedAtmospheric>("a", log), Make<LoggedAtmospheric>("b", log)};
    scene.atmosphericsAfter = {Make<LoggedAtmospheric>("c", log)};
    for (const char* name : {"one", "two", "three"})
        scene.renderers.push_back(Make<LoggedRenderer>(name, true, log));
    const Log contents{"apply a", "apply b", "unapply b", "unapply a", "apply c"};
    for (int frame = 0; frame < 2; ++frame) {
        log.clear();
        scene.Render();
        Log expected{"enter three", "enter two", "enter one"};
        expected.insert(expected.end(), contents.begin(), contents.end());
        for (const char* leave : {"leave one", "leave two", "leave three"}) expected.emplace_back(leave);
        EXPECT_EQ(log, expected);
        EXPECT_EQ(scene.rendererDepth, 0u);
    }

    // One that does not go on ends the chain.
    static_cast<LoggedRenderer*>(scene.renderers[1])->chain = false;
    log.clear();
    scene.Render();
    EXPECT_EQ(log, (Log{"enter three", "enter two", "leave two", "leave three"}));

    // A renderer's own frustum leaves the last atmospherics out.
    log.clear();
    scene.RenderContentsWith(scene.currentCamera->GetFrustum());
    EXPECT_EQ(log, (Log{"apply a", "apply b", "unapply b", "unapply a"}));
}

TEST_F(SceneOrder, QueueIsAscendingAndKeepsEqualsInOrder) {
    DrawQueue queue;
    constexpr f32 nan = std::numeric_limits<f32>::quiet_NaN();
    const std::vector<f32> distances{5, nan, 1, 5, 3, 1, 0.5f};
    for (std::size_t i = 0; i < distances.size(); ++i) {
        queue.Insert({static_cast<u32>(i), distances[i], nullptr, nullptr, nullptr, &kMatrixIdentity});
    }
    std::vector<u32> order;
    for (const DrawRecord& record : queue.Records()) order.push_back(record.kind);
    EXPECT_EQ(order, (std::vector<u32>{6, 2, 5, 4, 0, 3, 1}));
}

TEST_F(SceneOrder, GroupsAreDrawnByKindThenByTheScenesOrderOfMaterials) {
    auto* glass = Make<logged::Material>("glass", log);
    auto* wood = Make<logged::Material>("wood", log);
    auto* stone = Make<logged::Material>("stone", log);
    auto* inside = Make<logged::Material>("inside", log);
    auto* composite = Make<MaterialComposite>();
    composite->AddMaterial(inside);
    scene.materials = {wood, composite, glass, stone};
    scene.PrepareResources();
    log.clear();
    glass->passes = 2;

    DrawQueue queue;
    queue.Insert(Record(1, 9, glass, "far glass"));
    queue.Insert(Record(3, 2, glass, "near glass"));  // the nearest gives the group its kind
    queue.Insert(Record(1, 7, stone, "far stone"));
    queue.Insert(Record(2, 1, inside, "inside"));
    queue.Insert(Record(1, 8, wood, "wood"));
    queue.Insert(Record(1, 3, stone, "near stone"));
    queue.Insert(Record(1, 4, nullptr, "bare"));
    auto* never = Make<logged::Material>("never", log);
    queue.Insert(Record(0, 4, never, "never"));
    scene.DrawQueued(queue);
    std::string joined;
    for (const std::string& line : log) joined += line + "; ";
    EXPECT_EQ(joined,
              "draw bare; begin wood; pass 0; draw wood; end; "
              "begin stone; pass 0; draw near stone; draw far stone; end; "
              "begin inside; pass 0; draw inside; end; "
              "begin glass; pass 0; draw near glass; draw far glass; pass 1; draw near glass; draw far "
              "glass; end; ");
}

TEST_F(SceneOrder, PickTakesTheNearestBoxAndTheFirstOfEquals) {
    const auto add = [this](const vect3& at, f32 half) {
        auto* geometry = new GeometrySimple;
        geometry->positions = {{-half, -half, -half}, {half, half, half}};
        auto* mesh = Make<MeshSimple>();
        mesh->SetGeometry(geometry);
        mesh->transformation = Make<TransformationPRS>(at, kQuatIdentity, vect3{1, 1, 1});
        mesh->Update(0);
        scene.meshes.push_back(mesh);
        return mesh;
    };
    Mesh* far = add({10, 0, 0}, 1);
    Mesh* near = add({5, 0, 0}, 1);
    add({5, 0, 0}, 1);
    add({0, 8, 0}, 1);
    EXPECT_EQ(scene.Pick({{0, 0, 0}, {2, 0, 0}}), near);
    EXPECT_EQ(scene.Pick({{7.5f, 0, 0}, {0.1f, 0, 0}}), far);
    EXPECT_EQ(scene.Pick({{0, 0, 0}, {0, 0, 1}}), nullptr);

    scene.DrawBounds();
    EXPECT_EQ(engine.recorded().totals.draws, 3u * scene.meshes.size());
}

// A still scene of many meshes in few materials: the second frame takes no memory and tells the device
// nothing that it knows.
TEST(SceneFrame, NeitherAllocatesNorRepeatsItself) {
    constexpr u32 kMaterials = 20;
    constexpr u32 kMeshes = 2000;
    support::DeviceOptions options;
    options.keep_calls = false;
    support::EngineDevice engine(options);
    SceneHierarchy scene;
    scene.root = scene.Own(std::make_unique<HierarchyNode>());
    for (u32 i = 0; i < kMaterials; ++i) {
        auto* material = scene.Own(std::make_unique<MaterialSimple>());
        const f32 shade = static_cast<f32>(i) / kMaterials;
        material->SetConstants({shade, 1, 1, 1}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, 0);
        material->SetBlendClass(1 + i % 3);
        scene.materials.push_back(material);
    }
    for (u32 i = 0; i < kMeshes; ++i) {
        auto* geometry = new GeometrySimple;
        geometry->positions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
        geometry->normals.assign(3, {0, 0, 1});
        geometry->triangles = {{{0, 1, 2}}};
        auto* mesh = scene.Own(std::make_unique<MeshSimple>());
        mesh->SetGeometry(geometry);
        mesh->SetMaterial(scene.materials[i % kMaterials]);
        const f32 depth = -10.0f - static_cast<f32>((i * 37) % 101);
        mesh->transformation = scene.Own(std::make_unique<TransformationPRS>(
            vect3{static_cast<f32>(i % 50) * 0.01f, 0, depth}, kQuatIdentity, vect3{1, 1, 1}));
        scene.meshes.push_back(mesh);
    }
    auto* camera = scene.Own(std::make_unique<CameraSimple>());
    camera->SetFov(new Const<f32>(1.0f));
    scene.cameras.push_back(camera);
    scene.currentCamera = camera;
    scene.LoadResources();

    support::Recorder& recorded = engine.recorded();
    const auto frame = [&] {
        scene.Update(0);
        engine.context().BeginScene();
        scene.ClearBackground(0);
        scene.Render();
        engine.context().EndScene();
    };
    frame();
    frame();
    const u64 draws = recorded.totals.draws;
    const u64 redundant = recorded.totals.redundant_state_sets;
    const long long before = support::Allocations();
    frame();
    const long long made = support::Allocations() - before;
    EXPECT_EQ(recorded.totals.draws - draws, kMeshes);
    if (support::kCountsAllocations) {
        EXPECT_GT(before, 0u);
        EXPECT_EQ(made, 0u);
    }
    EXPECT_EQ(recorded.totals.redundant_state_sets - redundant, 0u);
}

}  // namespace
