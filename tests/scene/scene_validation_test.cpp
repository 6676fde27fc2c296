// Which scene files load, and what is said of those that do not.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "io/object_graph.h"
#include "scene/camera.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_validation.h"
#include "support/engine_device.h"
#include "support/om2_bytes.h"
#include "support/round_trip.h"
#include "trace/tracer.h"

using namespace osm3d;
using om2::File;
using test_support::TempFile;

namespace {

class QuietTracer : public trace::Tracer {
  public:
    QuietTracer() : previous(trace::SetTracer(this)) {}
    ~QuietTracer() override { trace::SetTracer(previous); }
    void Box(const char*, std::va_list) override {}
    void Warn(const char*, std::va_list) override {}
    void Trace(const char*, std::va_list) override {}

  private:
    Tracer* previous;
};

// A scene with one of everything, of which a case replaces a part.
struct Whole {
    File f;
    int camera = -1;
    int light = -1;
    File::SceneParts parts;
    unsigned version = 2;

    Whole() {
        parts.materials = [this] { f.List(1, [this] { f.Material({}); }); };
        parts.tree = [this] {
            f.Node({0, 0, 0});
            f.I32(1);
            f.Node({1, 0, 0});
            f.I32(0);
        };
        parts.meshes = [this] { f.List(1, [this] { QuadMesh(); }); };
        parts.cameras = [this] {
            f.List(1, [this] { camera = f.Camera([this] { f.Placement({0, 0, 5}); }, 1.5f, 1, 100); });
        };
        parts.current_camera = [this] { f.Ref(camera); };
        parts.lights = [this] { f.List(1, [this] { light = Light(); }); };
        parts.shadow_light = [this] { f.Ref(light); };
        parts.background = [this] { f.ColorBackground({0, 0, 0, 1}); };
    }

    void QuadMesh() {
        f.Mesh([this] { f.Geometry(om2::Quad(0, 0, 1, 1)); }, [this] { f.Null(); }, [this] { f.Null(); });
    }
    int Light() {
        return f.Light([this] { f.Null(); }, {0, 0, 0, 0}, {1, 1, 1, 1}, {0, 0, 0, 0}, 100, {1, 0, 0});
    }
    std::vector<u8> Bytes() {
        f.Scene(parts, version);
        return f.bytes;
    }
};

struct Outcome {
    bool loaded;
    std::string reason;
    osmio::ObjectGraph graph;
    SceneHierarchy* scene;
};

Outcome LoadBytes(const std::vector<u8>& bytes) {
    const QuietTracer quiet;
    const TempFile file;
    file.Fill(bytes);
    Outcome out{};
    out.loaded = LoadSceneFile(file.path, out.graph, out.scene, out.reason);
    return out;
}

using Change = std::function<void(Whole&)>;

struct RefusedCase {
    const char* name;
    const char* reason;  // a part of it
    Change change;
};

void Material(Whole& w, const om2::Body& body) {
    w.parts.materials = [&w, body] { w.f.List(1, body); };
}

// Without the power of its highlights.
void BadMaterial(Whole& w) {
    w.f.Chunk("MTSM", 1, [&w] {
        for (int i = 0; i < 4; ++i) w.f.ConstColor({1, 1, 1, 1});
        w.f.Null();
        w.f.RenderState();
        w.f.U8(1);
        w.f.I32(0);
    });
}

void Before(Whole& w, const om2::Body& body) {
    w.parts.before = [&w, body] { w.f.List(1, body); };
}

void Fov(Whole& w, const om2::Body& fov) {
    w.parts.cameras = [&w, fov] {
        w.f.List(1, [&w, fov] {
            w.camera = w.f.Chunk("cASM", 1, [&] {
                w.f.Null();
                fov();
                for (int i = 0; i < 4; ++i) w.f.Null();
            });
        });
    };
}

// `ambient` gets the id that the chunk it writes will have.
void LightColor(Whole& w, const std::function<void(int)>& ambient) {
    w.parts.lights = [&w, ambient] {
        w.f.List(1, [&w, ambient] {
            w.light = w.f.Chunk("LTOM", 1, [&] {
                ambient(w.f.Placement({0, 0, 0}) + 1);
                w.f.ConstColor({1, 1, 1, 1});
                w.f.ConstColor({1, 1, 1, 1});
                for (int i = 0; i < 4; ++i) w.f.ConstFloat(1);
                w.f.I32(0);
                w.f.I32(0);
            });
        });
    };
}

// A chain of nodes, each a child of the one before.
void Chain(Whole& w, u32 levels) {
    w.parts.tree = [&w, levels] {
        for (u32 i = 0; i < levels; ++i) {
            w.f.PlainNode();
            w.f.I32(i + 1 < levels ? 1 : 0);
        }
    };
}

const std::vector<RefusedCase>& RefusedCases() {
    static const std::vector<RefusedCase> cases = {
        {"NewerVersion", "no root", [](Whole& w) { w.version = 3; }},
        {"NoRoot", "no root", [](Whole& w) { w.parts.tree = [&w] { w.f.Null(); }; }},
        {"MissingChild", "node of the tree is missing",
         [](Whole& w) {
             w.parts.tree = [&w] {
                 w.f.PlainNode();
                 w.f.I32(1);
                 w.f.Null();
             };
         }},
        {"NodeIsItsOwnChild", "twice in the tree",
         [](Whole& w) {
             w.parts.tree = [&w] {
                 const int node = w.f.PlainNode();
                 w.f.I32(1);
                 w.f.Ref(node);
                 w.f.I32(0);
             };
         }},
        {"NodeUnderTwoParents", "twice in the tree",
         [](Whole& w) {
             w.parts.tree = [&w] {
                 w.f.PlainNode();
                 w.f.I32(2);
                 const int child = w.f.PlainNode();
                 w.f.I32(0);
                 w.f.Ref(child);
                 w.f.I32(0);
             };
         }},
        {"TreeTooDeep", "too deep", [](Whole& w) { Chain(w, HierarchyNode::kMaxTreeDepth + 2); }},
        {"ChildCountBeyondTheFile", "child nodes",
         [](Whole& w) {
             w.parts.tree = [&w] {
                 w.f.PlainNode();
                 w.f.I32(0x7fffffff);
             };
         }},
        {"CountBeyondTheFile", "materials", [](Whole& w) { w.parts.materials = [&w] { w.f.I32(1 << 28); }; }},
        {"NegativeCount", "meshes", [](Whole& w) { w.parts.meshes = [&w] { w.f.I32(-1); }; }},
        {"NodesAimAtEachOther", "the tree",
         [](Whole& w) {
             w.parts.tree = [&w] {
                 const auto place = [&w] {
                     w.f.Chunk("CPRS", 1, [&w] {
                         w.f.ConstVec3({0, 0, 0});
                         w.f.ConstQuat({0, 0, 0, 1});
                         w.f.ConstVec3({1, 1, 1});
                     });
                 };
                 const int first = w.f.PlainNode() + 1;
                 w.f.I32(1);
                 w.f.Chunk("HINO", 1, [&] {
                     w.f.I32(1);
                     w.f.Chunk("HINO", 1, [&] {
                         w.f.I32(1);
                         w.f.Ref(first);
                         w.f.Null();
                         place();
                     });
                     w.f.Null();
                     place();
                 });
                 w.f.I32(0);
             };
         }},
        {"PlacementWithoutPosition", "the tree",
         [](Whole& w) {
             w.parts.tree = [&w] {
                 w.f.Chunk("HINO", 1, [&w] {
                     w.f.I32(0);
                     w.f.Chunk("CPRS", 1, [&w] {
                         w.f.Null();
                         w.f.ConstQuat({0, 0, 0, 1});
                         w.f.ConstVec3({1, 1, 1});
                     });
                 });
                 w.f.I32(0);
             };
         }},
        {"NoKeys", "camera 0", [](Whole& w) { Fov(w, [&w] { w.f.LinearFloat({}); }); }},
        {"LightWithoutController", "light 0", [](Whole& w) { LightColor(w, [&w](int) { w.f.Null(); }); }},
        {"LightWithControllerOfAnotherType", "light 0",
         [](Whole& w) { LightColor(w, [&w](int) { w.f.ConstFloat(1); }); }},
        {"ProductWithoutOperand", "light 0",
         [](Whole& w) {
             LightColor(w, [&w](int) {
                 w.f.Chunk("CoCF", 1, [&w] {
                     w.f.I32(5);
                     w.f.ConstColor({1, 1, 1, 1});
                     w.f.Null();
                 });
             });
         }},
        {"ProductOfItself", "light 0",
         [](Whole& w) {
             LightColor(w, [&w](int self) {
                 w.f.Chunk("CoCF", 1, [&w, self] {
                     w.f.I32(5);
                     w.f.Ref(self);
                     w.f.ConstFloat(1);
                 });
             });
         }},
        {"EmptyMeshSlot", "mesh 0",
         [](Whole& w) { w.parts.meshes = [&w] { w.f.List(1, [&w] { w.f.Null(); }); }; }},
        {"MeshListedTwice", "mesh 1",
         [](Whole& w) {
             w.parts.meshes = [&w] {
                 w.f.I32(2);
                 const int mesh = w.f.Mesh([&w] { w.f.Geometry(om2::Quad(0, 0, 1, 1)); },
                                           [&w] { w.f.Null(); }, [&w] { w.f.Null(); });
                 w.f.Ref(mesh);
             };
         }},
        {"IndexBeyondTheVertices", "mesh 0",
         [](Whole& w) {
             w.parts.meshes = [&w] {
                 w.f.List(1, [&w] {
                     File::Shape shape = om2::Quad(0, 0, 1, 1);
                     shape.triangles[1][2] = 4;
                     w.f.Mesh([&w, shape] { w.f.Geometry(shape); }, [&w] { w.f.Null(); },
                              [&w] { w.f.Null(); });
                 });
             };
         }},
        {"CompositeInItself", "mesh 0",
         [](Whole& w) {
             w.parts.meshes = [&w] {
                 w.f.List(1, [&w] {
                     w.f.Mesh(
                         [&w] {
                             w.f.Chunk("GOCP", 1, [&w] {
                                 w.f.I32(2);
                                 const int part = w.f.Geometry(om2::Quad(0, 0, 1, 1));
                                 w.f.Ref(part - 1);
                             });
                         },
                         [&w] { w.f.Null(); }, [&w] { w.f.Null(); }, false, {0, 0});
                 });
             };
         }},
        {"MaterialWithoutPower", "material 0", [](Whole& w) { Material(w, [&w] { BadMaterial(w); }); }},
        {"MaterialWithoutStage", "material 0",
         [](Whole& w) {
             Material(w, [&w] {
                 w.f.Material(
                     {}, 1, [&w] { w.f.RenderState(); },
                     [&w] {
                         w.f.I32(1);
                         w.f.Null();
                     });
             });
         }},
        {"UnlistedMaterialOfAMesh", "mesh 0, its material",
         [](Whole& w) {
             w.parts.meshes = [&w] {
                 w.f.List(1, [&w] {
                     w.f.Mesh([&w] { w.f.Geometry(om2::Quad(0, 0, 1, 1)); }, [&w] { BadMaterial(w); },
                              [&w] { w.f.Null(); });
                 });
             };
         }},
        {"NoCamera", "no camera",
         [](Whole& w) {
             w.parts.cameras = nullptr;
             w.parts.current_camera = nullptr;
         }},
        {"FogWithoutIntensity", "atmospheric before the meshes 0",
         [](Whole& w) {
             Before(w, [&w] {
                 w.f.Chunk("ATFG", 1, [&w] {
                     w.f.U8(0);
                     w.f.ConstColor({1, 1, 1, 1});
                     w.f.ConstFloat(0);
                     w.f.Null();
                 });
             });
         }},
        {"AtmosphericListedTwice", "twice",
         [](Whole& w) {
             w.parts.after = [&w] {
                 w.f.List(2, [&w] {
                     const int twice = w.f.Chunk("ATAM", 1, [&w] { w.f.Null(); });
                     w.f.Ref(twice);
                 });
             };
         }},
        {"BackgroundWithoutColor", "the background",
         [](Whole& w) {
             w.parts.background = [&w] {
                 w.f.Chunk("ATBG", 1, [&w] {
                     w.f.U8(1);
                     w.f.Null();
                 });
             };
         }},
        {"BackgroundWithoutBitmap", "the background",
         [](Whole& w) {
             w.parts.background = [&w] {
                 w.f.Chunk("ATBG", 1, [&w] {
                     w.f.U8(2);
                     w.f.Null();
                 });
             };
         }},
        {"UnknownRenderer", "scene renderer 0",
         [](Whole& w) { w.parts.renderers = [&w] { w.f.List(1, [&w] { w.f.Chunk("S?RR", 1, [] {}); }); }; }},
    };
    return cases;
}

class RefusedScene : public testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedScene, IsRefusedWithItsReason) {
    Whole whole;
    GetParam().change(whole);
    const Outcome out = LoadBytes(whole.Bytes());
    EXPECT_FALSE(out.loaded);
    EXPECT_EQ(out.scene, nullptr);
    EXPECT_EQ(out.graph.Size(), 0u);
    EXPECT_NE(out.reason.find(GetParam().reason), std::string::npos) << out.reason;
    EXPECT_EQ(out.reason.find('\n'), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(All, RefusedScene, testing::ValuesIn(RefusedCases()),
                         [](const auto& param_info) { return std::string(param_info.param.name); });

TEST(SceneFile, WholeSceneAndItsOddCornersAreAccepted) {
    const std::vector<std::pair<const char*, Change>> accepted = {
        {"as it is", [](Whole&) {}},
        {"version 1", [](Whole& w) { w.version = 1; }},
        {"deepest tree", [](Whole& w) { Chain(w, HierarchyNode::kMaxTreeDepth + 1); }},
        {"no current camera", [](Whole& w) { w.parts.current_camera = nullptr; }},
        {"fog without a colour",
         [](Whole& w) {
             Before(w, [&w] {
                 w.f.Chunk("ATFG", 1, [&w] {
                     w.f.U8(7);
                     for (int i = 0; i < 3; ++i) w.f.Null();
                 });
             });
         }},
        {"background without a mode",
         [](Whole& w) { w.parts.background = [&w] { w.f.Chunk("ATBG", 1, [&w] { w.f.U8(0); }); }; }},
        {"nothing but a root", [](Whole& w) { w.parts = {}; }},
        {"numbers that are none",
         [](Whole& w) {
             constexpr f32 nan = std::numeric_limits<f32>::quiet_NaN();
             constexpr f32 huge = std::numeric_limits<f32>::max();
             w.parts.tree = [&w] {
                 w.f.Node({nan, huge, -huge}, {nan, 0, 0, huge}, {0, huge, nan});
                 w.f.I32(0);
             };
             Fov(w, [&w] { w.f.ConstFloat(nan); });
             LightColor(w, [&w](int) { w.f.ConstColor({nan, huge, -huge, nan}); });
             Before(w, [&w] {
                 w.f.Chunk("ATFG", 1, [&w] {
                     w.f.U8(1);
                     w.f.ConstColor({nan, nan, huge, -huge});
                     w.f.ConstFloat(huge);
                     w.f.ConstFloat(huge);
                 });
             });
         }},
    };
    for (const auto& [name, change] : accepted) {
        Whole whole;
        change(whole);
        const Outcome out = LoadBytes(whole.Bytes());
        EXPECT_TRUE(out.loaded) << name << ": " << out.reason;
        if (!out.loaded) continue;
        const QuietTracer quiet;
        support::EngineDevice engine;
        out.scene->LoadResources();
        out.scene->Update(12.5f);
        engine.context().BeginScene();
        out.scene->ClearBackground(12.5f);
        out.scene->Render();
        engine.context().EndScene();
        EXPECT_TRUE(engine.recorded().faults.empty()) << name;
    }
}

TEST(SceneFile, SaysWhatIsWrongWithTheFile) {
    const auto reason = [](const std::string& path) {
        osmio::ObjectGraph graph;
        SceneHierarchy* scene = nullptr;
        std::string text;
        EXPECT_FALSE(LoadSceneFile(path, graph, scene, text));
        return text;
    };
    const TempFile file;
    EXPECT_NE(reason(file.path).find("cannot be opened"), std::string::npos);
    file.Fill({'R', 'I', 'F', 'F', 0, 0, 0, 0});
    EXPECT_NE(reason(file.path).find("no scene file"), std::string::npos);
    file.Fill({});
    EXPECT_NE(reason(file.path).find("no scene file"), std::string::npos);

    File other;
    other.Placement({0, 0, 0});
    EXPECT_NE(LoadBytes(other.bytes).reason.find("no scene"), std::string::npos);
}

// Every prefix: an object or a clean refusal, never more.
TEST(SceneFile, CutAnywhereItLoadsOrIsRefused) {
    Whole whole;
    const std::vector<u8> bytes = whole.Bytes();
    const QuietTracer quiet;
    support::EngineDevice engine;
    u32 refused = 0;
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        Outcome out = LoadBytes({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)});
        if (!out.loaded) {
            ++refused;
            EXPECT_FALSE(out.reason.empty()) << size;
            continue;
        }
        out.scene->LoadResources();
        out.scene->Update(1);
        engine.context().BeginScene();
        out.scene->Render();
        engine.context().EndScene();
    }
    EXPECT_GT(refused, bytes.size() / 2);
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(SceneFile, VersionsDifferInTheShadowLightAlone) {
    Whole newer;
    const std::vector<u8> newBytes = newer.Bytes();
    const Outcome two = LoadBytes(newBytes);
    ASSERT_TRUE(two.loaded);
    EXPECT_EQ(two.scene->shadowLight, two.scene->lights[0]);
    EXPECT_EQ(two.scene->currentCamera, two.scene->cameras[0]);
    EXPECT_EQ(two.scene->root->children.size(), 1u);
    EXPECT_EQ(two.scene->root->children[0]->parent, two.scene->root);
    EXPECT_EQ(test_support::Save(two.scene), newBytes);

    Whole older;
    older.version = 1;
    const Outcome one = LoadBytes(older.Bytes());
    ASSERT_TRUE(one.loaded);
    EXPECT_EQ(one.scene->shadowLight, nullptr);
    EXPECT_EQ(one.scene->meshes.size(), 1u);
    // Written again it is of version 2, with an empty slot for the shadow light.
    Whole again;
    again.parts.shadow_light = nullptr;
    EXPECT_EQ(test_support::Save(one.scene), again.Bytes());
}

}  // namespace
