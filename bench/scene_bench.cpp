// A skinned, shadowed and mirrored picture: where its frame goes. Shadows and mirrors each end a scene's
// chain of renderers, so the picture is made of two scenes, as a project makes it of two clips.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

#include "bench.h"
#include "controller/constant.h"
#include "controller/key_framed.h"
#include "driver/driver.h"
#include "geometry/geometry_weighted.h"
#include "geometry/modifier_skin.h"
#include "platform/system/window.h"
#include "render/context.h"
#include "render/scene_renderer_mirror.h"
#include "render/scene_renderer_shadow.h"
#include "scene/controller_transformation.h"
#include "scene/small_scene.h"
#include "support/allocations.h"
#include "trace/profiler.h"

namespace bench {
namespace {

using namespace osm3d;

constexpr u32 kRings = 200, kSides = 50, kBones = 16;
constexpr f32 kLength = 3.0f, kPi = 3.14159265f;

/// A closed tube of 10,002 vertices and 20,000 triangles that waves on 16 bones, each the parent of the next.
MeshSimple* AddTube(SmallScene& small) {
    auto shape = std::make_unique<GeometryWeighted>();
    const auto add = [&](const vect3& position, const vect3& normal, f32 along) {
        shape->positions.push_back(position);
        shape->normals.push_back(normal);
        const f32 bone = std::min(along * (kBones - 1), static_cast<f32>(kBones) - 1.001f);
        const auto first = static_cast<u8>(bone);
        const f32 second = bone - static_cast<f32>(first);
        shape->weights.push_back(
            {{first, static_cast<u8>(first + 1), first, first}, {1 - second, second, 0}});
    };
    for (u32 ring = 0; ring < kRings; ++ring) {
        const f32 along = static_cast<f32>(ring) / (kRings - 1);
        for (u32 side = 0; side < kSides; ++side) {
            const f32 turn = 2 * kPi * static_cast<f32>(side) / kSides;
            const vect3 out{std::cos(turn), 0, std::sin(turn)};
            add({out.x * 0.3f, along * kLength - 1.5f, out.z * 0.3f + 1}, out, along);
        }
    }
    const auto triangle = [&](u32 a, u32 b, u32 c) {
        shape->triangles.push_back({{static_cast<u16>(a), static_cast<u16>(b), static_cast<u16>(c)}});
    };
    for (u32 ring = 0; ring + 1 < kRings; ++ring)
        for (u32 side = 0; side < kSides; ++side) {
            const u32 next = (side + 1) % kSides, low = ring * kSides, high = low + kSides;
            triangle(low + side, high + side, low + next);
            triangle(high + side, high + next, low + next);
        }
    const u32 bottom = kRings * kSides, top = bottom + 1, last = bottom - kSides;
    add({0, -1.5f, 1}, {0, -1, 0}, 0);
    add({0, kLength - 1.5f, 1}, {0, 1, 0}, 1);
    for (u32 side = 0; side < kSides; ++side) {
        const u32 next = (side + 1) % kSides;
        triangle(bottom, side, next);
        triangle(top, last + next, last + side);
    }

    auto skin = std::make_unique<ModifierSkin>();
    HierarchyNode* parent = small.scene.root;
    for (u32 i = 0; i < kBones; ++i) {
        auto* bone = small.Make<HierarchyNode>();
        auto* swing = small.Make<ControllerTransformation>();
        const f32 step = kLength / (kBones - 1);
        swing->SetPosition(new controller::Const<vect3>(i == 0 ? vect3{0, -1.5f, 1} : vect3{0, step, 0}));
        auto* turns = new controller::Linear<quat>;
        turns->AddKey(controller::LinearKey<quat>(0, QuatFromEuler(0, 0, -0.1f)));
        turns->AddKey(controller::LinearKey<quat>(1, QuatFromEuler(0, 0, 0.1f)));
        swing->SetRotation(turns);
        swing->SetScale(new controller::Const<vect3>(vect3{1, 1, 1}));
        bone->transform = swing;
        parent->AddChild(bone);
        skin->bones.push_back(bone);
        skin->offsets.push_back(MatrixTranslation({0, 1.5f - step * static_cast<f32>(i), -1}));
        parent = bone;
    }
    auto* mesh = small.Make<MeshSimple>();
    mesh->SetGeometry(shape.release());
    mesh->AddModifier(skin.release());
    mesh->SetMaterial(small.Glow({0.8f, 0.5f, 0.2f, 1}));
    mesh->transformation = small.Make<TransformationPRS>();
    small.scene.meshes.push_back(mesh);
    return mesh;
}

void MakeShadowed(SmallScene& small) {
    LightOmni* light =
        small.Dark(small.Make<TransformationPRS>(vect3{-3, 2, 5}, kQuatIdentity, vect3{1, 1, 1}));
    MeshSimple* tube = AddTube(small);
    tube->SetCastShadow(true);
    light->GetShadowCasters().push_back(tube);
    small.scene.shadowLight = light;
    small.scene.renderers.push_back(small.Make<SceneRendererShadow>());
    small.Add({SmallScene::Facing(-6, -6, 6, 6, -1)}, {1, 1, 1, 1});
}

void MakeMirrored(SmallScene& small) {
    AddTube(small);
    auto* mirrors = small.Make<SceneRendererMirror>();
    mirrors->mirrors.push_back(small.Add({SmallScene::Facing(-6, -6, 6, 6, -1)}, {0.2f, 0.3f, 0.4f, 0.3f}));
    small.scene.renderers.push_back(mirrors);
}

}  // namespace

void Scenes() {
    PlaybackHost& playback = *GetDriver().GetPlayback();
    const auto window = platform::MakeOffscreenWindow(640, 480);
    playback.Start(window->Handle(), nullptr, 640, 480, 32, true, 0);
    {
        SmallScene shadowed, mirrored;
        MakeShadowed(shadowed);
        MakeMirrored(mirrored);
        Context* context = GetContext();
        f32 time = 0;
        const auto frame = [&] {
            time = time > 0.95f ? 0 : time + 0.05f;
            for (SmallScene* small : {&shadowed, &mirrored}) {
                context->BeginScene();
                small->Frame(time);
                context->EndScene();
            }
            playback.Present();
        };
        for (int i = 0; i < 20; ++i) frame();
        constexpr int kFrames = 40;
        const long long counted = support::Allocations();
        const double seconds = Seconds([&] {
            for (int i = 0; i < kFrames; ++i) frame();
        });
        ReportCount("skins, a shadow, a mirror: allocations", support::Allocations() - counted, 0);
        fmt::print("{:<44} {:.2f} ms, of 2 x 20,000 triangles; the last one:{}\n", "  a frame",
                   seconds / kFrames * 1e3, playback.GetProfile());
    }
    playback.Stop();
}

}  // namespace bench
