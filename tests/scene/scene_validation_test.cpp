// Which scene files load, and what is said of those that do not.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "io/object_graph.h"
#include "scene/camera.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_validation.h"
#include "support/om2_bytes.h"
#include "support/round_trip.h"
#include "trace/test_messages.h"

using namespace osm3d;
using om2::File;
using test_support::TempFile;

namespace {

// A scene with one of everything, of which a case replaces a part. The bodies below write one thing each.
struct Whole {
    File f;
    File::SceneParts parts;
    unsigned version = 2;

    Whole() {
        parts.materials = List({[this] { f.Material({}); }});
        parts.tree = Tree(Node(), {Node()});
        parts.meshes = List({Mesh(om2::Quad(0, 0, 1, 1))});
        parts.cameras = List({Camera(Number(1.5f))});
        parts.current_camera = [this] { f.Ref(camera); };
        parts.lights = List({Light(Color())});
        parts.shadow_light = [this] { f.Ref(light); };
        parts.background = Chunk("ATBG", {Byte(1), Color()});
    }
    Whole(const Whole&) = delete;

    using Body = om2::Body;
    using Bodies = std::vector<Body>;

    Body Chunk(const char* tag, const Bodies& bodies) {
        return [this, tag, bodies] {
            f.Chunk(tag, 1, [&] {
                open.push_back(f.bytes[f.bytes.size() - 6] | f.bytes[f.bytes.size() - 5] << 8);
                for (const Body& body : bodies) body();
                open.pop_back();
            });
        };
    }
    // A reference to the chunk that stands `up` levels around.
    Body Around(std::size_t up) {
        return [this, up] { f.Ref(open[open.size() - 1 - up]); };
    }
    Body Null() {
        return [this] { f.Null(); };
    }
    Body LastMesh() {
        return [this] { f.Ref(mesh); };
    }
    Body Byte(unsigned v) {
        return [this, v] { f.U8(v); };
    }
    Body Word(i32 v) {
        return [this, v] { f.I32(v); };
    }
    Body Number(float v = 1) {
        return [this, v] { f.ConstFloat(v); };
    }
    Body Color(const om2::Vec4& c = {1, 1, 1, 1}) {
        return [this, c] { f.ConstColor(c); };
    }
    Body List(const Bodies& bodies) {
        return [this, bodies] {
            f.I32(static_cast<i32>(bodies.size()));
            for (const Body& body : bodies) body();
        };
    }
    // The same object twice; `write` gives its id.
    Body Twice(const std::function<int()>& write) {
        return [this, write] {
            f.I32(2);
            f.Ref(write());
        };
    }
    Body Node() {
        return [this] { f.Node({1, 0, 0}); };
    }
    Body Tree(const Body& node, const Bodies& leaves = {}) {
        return [this, node, leaves] {
            node();
            f.I32(static_cast<i32>(leaves.size()));
            for (const Body& leaf : leaves) {
                leaf();
                f.I32(0);
            }
        };
    }
    // Nodes, each a child of the one before.
    Body Chain(u32 levels) {
        return [this, levels] {
            for (u32 i = 0; i < levels; ++i) {
                f.PlainNode();
                f.I32(i + 1 < levels ? 1 : 0);
            }
        };
    }
    Body Placement(const Body& position) {
        return Chunk("CPRS", {position,
                              [this] {
                                  f.ConstQuat({0, 0, 0, 1});
                              },
                              [this] {
                                  f.ConstVec3({1, 1, 1});
                              }});
    }
    Body Mesh(const File::Shape& shape) {
        return [this, shape] { mesh = f.Mesh([&] { f.Geometry(shape); }, Null(), Null()); };
    }
    Body Mesh(const Body& geometry, const Body& material) {
        return [this, geometry, material] { f.Mesh(geometry, material, Null(), false, {0, 0}); };
    }
    Body Camera(const Body& fov) {
        return [this, fov] {
            camera = f.Chunk("cASM", 1, [&] {
                f.Null();
                fov();
                for (int i = 0; i < 4; ++i) f.Null();
            });
        };
    }
    Body Light(const Body& ambient, const Body& casters = nullptr) {
        return [this, ambient, casters] {
            light = f.Chunk("LTOM", 1, [&] {
                f.Null();
                ambient();
                f.ConstColor({1, 1, 1, 1});
                f.ConstColor({1, 1, 1, 1});
                for (int i = 0; i < 4; ++i) f.ConstFloat(1);
                f.I32(0);
                if (casters) {
                    casters();
                } else {
                    f.I32(0);
                }
            });
        };
    }
    Body Sprite() { return f.Sprite({0, 0, 0}, 1); }
    Body Sprites(const Bodies& elements) { return Sprites(elements, Null()); }
    Body Sprites(const Bodies& elements, const Body& material) {
        return [this, elements, material] { f.Billboards(material, elements); };
    }
    // Without the power of its highlights.
    Body BadMaterial() {
        const Body state = [this] { f.RenderState(); };
        return Chunk("MTSM", {Color(), Color(), Color(), Color(), Null(), state, Byte(1), Word(0)});
    }

    std::vector<u8> Bytes() {
        f.Scene(parts, version);
        return f.bytes;
    }

  private:
    int camera = -1;
    int light = -1;
    int mesh = -1;
    std::vector<int> open;
};

struct Outcome {
    bool loaded;
    std::string reason;
    osmio::ObjectGraph graph;
    SceneHierarchy* scene;
};

Outcome LoadBytes(const std::vector<u8>& bytes) {
    const testing_messages::Listener quiet;
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

std::vector<RefusedCase> RefusedCases() {
    return {
        {"NewerVersion", "no root", [](Whole& w) { w.version = 3; }},
        {"NoRoot", "no root", [](Whole& w) { w.parts.tree = w.Null(); }},
        {"MissingChild", "node of the tree is missing",
         [](Whole& w) { w.parts.tree = w.Tree(w.Node(), {w.Null()}); }},
        {"NodeIsItsOwnChild", "twice in the tree",
         [](Whole& w) {
             w.parts.tree = [&w] {
                 const int node = w.f.PlainNode();
                 w.f.I32(1);
                 w.f.Ref(node);
                 w.f.I32(0);
             };
         }},
        {"TreeTooDeep", "too deep",
         [](Whole& w) { w.parts.tree = w.Chain(HierarchyNode::kMaxTreeDepth + 2); }},
        {"ChildCountBeyondTheFile", "child nodes",
         [](Whole& w) {
             w.parts.tree = w.Chunk("HINO", {w.Word(0), w.Null(), w.Word(0x7fffffff)});
         }},
        {"CountBeyondTheFile", "materials", [](Whole& w) { w.parts.materials = w.Word(1 << 28); }},
        {"NodesAimAtEachOther", "the tree",
         [](Whole& w) {
             const om2::Body place = w.Placement([&w] { w.f.ConstVec3({0, 0, 0}); });
             const om2::Body second = w.Chunk("HINO", {w.Word(1), w.Around(1), w.Null(), place});
             w.parts.tree = w.Tree(w.Chunk("HINO", {w.Word(1), second, w.Null(), place}));
         }},
        {"PlacementWithoutPosition", "the tree",
         [](Whole& w) {
             w.parts.tree = w.Tree(w.Chunk("HINO", {w.Word(0), w.Placement(w.Null())}));
         }},
        {"NoKeys", "camera 0",
         [](Whole& w) { w.parts.cameras = w.List({w.Camera([&w] { w.f.LinearFloat({}); })}); }},
        {"LightWithoutController", "light 0", [](Whole& w) { w.parts.lights = w.List({w.Light(w.Null())}); }},
        {"EmptyMeshSlot", "mesh 0", [](Whole& w) { w.parts.meshes = w.List({w.Null()}); }},
        {"MaterialListedTwice", "material 1",
         [](Whole& w) { w.parts.materials = w.Twice([&w] { return w.f.Material({}); }); }},
        {"IndexBeyondTheVertices", "mesh 0",
         [](Whole& w) {
             File::Shape shape = om2::Quad(0, 0, 1, 1);
             shape.triangles[1][2] = 4;
             w.parts.meshes = w.List({w.Mesh(shape)});
         }},
        {"CompositeInItself", "mesh 0",
         [](Whole& w) {
             w.parts.meshes = w.List({w.Mesh(w.Chunk("GOCP", {w.List({w.Around(0)})}), w.Null())});
         }},
        {"MaterialWithoutPower", "material 0",
         [](Whole& w) { w.parts.materials = w.List({w.BadMaterial()}); }},
        {"NoCamera", "no camera",
         [](Whole& w) {
             w.parts.cameras = nullptr;
             w.parts.current_camera = nullptr;
         }},
        {"FogWithoutIntensity", "atmospheric before the meshes 0",
         [](Whole& w) {
             w.parts.before = w.List({w.Chunk("ATFG", {w.Byte(0), w.Color(), w.Number(), w.Null()})});
         }},
        {"AtmosphericListedTwice", "twice",
         [](Whole& w) { w.parts.after = w.Twice([&w] { return w.f.Chunk("ATAM", 1, w.Null()); }); }},
        {"BackgroundWithoutColor", "the background",
         [](Whole& w) {
             w.parts.background = w.Chunk("ATBG", {w.Byte(1), w.Null()});
         }},
        {"CubeBackgroundOfABitmap", "no cube map",
         [](Whole& w) {
             w.parts.background = [&w] { w.f.TextureBackground(3, [&w] { w.f.NamedTexture("sky.png"); }); };
         }},
        {"BillboardMissing", "no billboard",
         [](Whole& w) {
             w.parts.after = w.List({w.Chunk("ATBL", {w.Null(), w.Word(0)})});
         }},
        {"SpriteWithoutAPlace", "sprite 1 has no transformation",
         [](Whole& w) {
             w.parts.after = w.List({w.Sprites({w.Sprite(), [&w] { w.f.Null(), w.f.ConstFloat(1); }})});
         }},
        {"SpriteWithoutASize", "sprite 0 has no size",
         [](Whole& w) {
             w.parts.before = w.List({w.Sprites({[&w] { w.f.Placement({0, 0, 0}), w.f.Null(); }})});
         }},
        {"SpriteWithoutKeys", "sprite 0",
         [](Whole& w) {
             w.parts.after = w.List({w.Sprites({[&w] { w.f.Placement({0, 0, 0}), w.f.LinearFloat({}); }})});
         }},
        {"SpritesBeyondTheFile", "billboard elements",
         [](Whole& w) {
             w.parts.after = w.List({w.Chunk("ATBL", {w.Null(), w.Word(1 << 28)})});
         }},
        {"SpritesBelowNone", "billboard elements",
         [](Whole& w) {
             w.parts.after = w.List({w.Chunk("ATBL", {w.Null(), w.Word(-1)})});
         }},
        {"MoreSpritesThanIndices", "16385 sprites",
         [](Whole& w) {
             w.parts.after = w.List({w.Sprites(Whole::Bodies(16385, [&w] { w.f.Null(), w.f.Null(); }))});
         }},
        {"SpritesOfABadMaterial", "its material",
         [](Whole& w) { w.parts.after = w.List({w.Sprites({w.Sprite()}, w.BadMaterial())}); }},
        {"BillboardSharedByUnequals", "shares its billboard",
         [](Whole& w) {
             w.parts.after = [&w] {
                 int shared = -1;
                 w.f.I32(2);
                 w.f.Chunk("ATBL", 1, [&] {
                     shared = w.f.Chunk("FPRB", 1, w.Null());
                     w.f.I32(0);
                 });
                 w.f.Chunk("ATBL", 1, [&] {
                     w.f.Ref(shared);
                     w.f.I32(1);
                     w.Sprite()();
                 });
             };
         }},
        {"MirrorMissing", "scene renderer 0: mirror 1 is missing",
         [](Whole& w) {
             w.parts.renderers = w.List({w.Chunk("SRMR", {w.Word(2), w.LastMesh(), w.Null()})});
         }},
        {"MirrorOutsideTheScene", "scene renderer 0: mirror 0 is not among",
         [](Whole& w) {
             const om2::Body other = w.Mesh(om2::Quad(0, 0, 1, 1));
             w.parts.renderers = w.List({w.Chunk("SRMR", {w.Word(1), other})});
         }},
        {"MirrorsBeyondTheFile", "mirrors",
         [](Whole& w) { w.parts.renderers = w.List({w.Chunk("SRMR", {w.Word(1 << 28)})}); }},
        {"ShadowCasterMissing", "scene renderer 0: shadow caster 0 is missing",
         [](Whole& w) {
             w.parts.lights = w.List({w.Light(w.Color(), w.List({w.Null()}))});
             w.parts.renderers = w.List({w.Chunk("SRSW", {})});
         }},
        {"EffectInsideItself", "material 0: a material contains itself",
         [](Whole& w) {
             w.parts.materials = w.List({w.Chunk("MTFX", {w.Byte('x'), w.Byte(0), w.Around(0)})});
         }},
        {"EffectAroundABadMaterial", "material 0: a material lacks",
         [](Whole& w) {
             w.parts.materials = w.List({w.Chunk("MTFX", {w.Byte(0), w.BadMaterial()})});
         }},
        {"EffectThroughAComposite", "material 0: a material contains itself",
         [](Whole& w) {
             const om2::Body inner = w.Chunk("MTCP", {w.List({w.Null(), w.Around(1)})});
             w.parts.materials = w.List({w.Chunk("MTFX", {w.Byte(0), inner})});
         }},
        {"FocusWithoutKeys", "scene renderer 0",
         [](Whole& w) {
             const om2::Body keyless = [&w] { w.f.LinearFloat({}); };
             w.parts.renderers = w.List({w.Chunk("SRDF", {w.Word(1), w.Null(), w.Null(), keyless})});
         }},
        {"RenderersWithoutACamera", "no camera",
         [](Whole& w) {
             w.parts = {};
             w.parts.tree = w.Tree(w.Node());
             w.parts.renderers = w.List({w.Chunk("SRSW", {})});
         }},
        {"UnknownRenderer", "scene renderer 0",
         [](Whole& w) { w.parts.renderers = w.List({w.Chunk("S?RR", {})}); }},
    };
}

TEST(SceneFile, IsRefusedWithItsReason) {
    for (const RefusedCase& refused : RefusedCases()) {
        SCOPED_TRACE(refused.name);
        Whole whole;
        refused.change(whole);
        const Outcome out = LoadBytes(whole.Bytes());
        EXPECT_FALSE(out.loaded);
        EXPECT_EQ(out.scene, nullptr);
        EXPECT_EQ(out.graph.Size(), 0u);
        EXPECT_NE(out.reason.find(refused.reason), std::string::npos) << out.reason;
        EXPECT_EQ(out.reason.find('\n'), std::string::npos);
    }
}

TEST(SceneFile, WholeSceneAndItsOddCornersAreAccepted) {
    const std::vector<std::pair<const char*, Change>> accepted = {
        {"as it is", [](Whole&) {}},
        {"version 1", [](Whole& w) { w.version = 1; }},
        {"deepest tree", [](Whole& w) { w.parts.tree = w.Chain(HierarchyNode::kMaxTreeDepth + 1); }},
        {"no current camera", [](Whole& w) { w.parts.current_camera = nullptr; }},
        {"fog without a colour",
         [](Whole& w) {
             w.parts.before = w.List({w.Chunk("ATFG", {w.Byte(7), w.Null(), w.Null(), w.Null()})});
         }},
        {"cube background",
         [](Whole& w) {
             w.parts.background = [&w] { w.f.TextureBackground(3, [&w] { w.f.EmbeddedCube({}); }); };
         }},
        {"sprites",
         [](Whole& w) {
             w.parts.after = w.List({w.Sprites({w.Sprite(), w.Sprite()}), w.Sprites({})});
         }},
        {"mirrors, one of them twice",
         [](Whole& w) {
             const om2::Body twice = w.Chunk("SRMR", {w.Word(2), w.LastMesh(), w.LastMesh()});
             w.parts.renderers = w.List({twice, w.Chunk("SRMR", {w.Word(0)}), w.Chunk("SRSW", {})});
         }},
        {"effects in effects, and a focus for no camera",
         [](Whole& w) {
             const om2::Body inner = w.Chunk("MTFX", {w.Byte(0), [&w] { w.f.Material({}); }});
             w.parts.materials = w.List({w.Chunk("MTFX", {w.Byte(0), inner})});
             w.parts.renderers = w.List({w.Chunk("SRDF", {w.Word(1), w.Null(), w.Null(), w.Null()})});
         }},
        {"background without a mode", [](Whole& w) { w.parts.background = w.Chunk("ATBG", {w.Byte(0)}); }},
        {"nothing but a root", [](Whole& w) { w.parts = {}; }},
    };
    for (const auto& [name, change] : accepted) {
        Whole whole;
        change(whole);
        const Outcome out = LoadBytes(whole.Bytes());
        EXPECT_TRUE(out.loaded) << name << ": " << out.reason;
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

TEST(SceneFile, VersionsDifferInTheShadowLightAlone) {
    Whole newer;
    const Outcome two = LoadBytes(newer.Bytes());
    ASSERT_TRUE(two.loaded);
    EXPECT_EQ(two.scene->shadowLight, two.scene->lights[0]);
    EXPECT_EQ(two.scene->currentCamera, two.scene->cameras[0]);
    EXPECT_EQ(two.scene->root->children[0]->parent, two.scene->root);

    Whole older;
    older.version = 1;
    const Outcome one = LoadBytes(older.Bytes());
    ASSERT_TRUE(one.loaded);
    EXPECT_EQ(one.scene->shadowLight, nullptr);
    // Written again it is of version 2, with an empty slot for the shadow light.
    Whole again;
    again.parts.shadow_light = nullptr;
    EXPECT_EQ(test_support::Save(one.scene), again.Bytes());
}

}  // namespace
