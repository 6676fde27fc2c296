#include "render/scene_renderer_mirror.h"

#include "fxutil/math.h"
#include "geometry/geometry.h"
#include "geometry/mesh.h"
#include "io/stream.h"
#include "render/context.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/frustum.h"
#include "scene/object_list.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_validation.h"
#include "scene/value_operations.h"
#include "trace/tracer.h"

namespace osm3d {

namespace {

enum StencilFunction : u32 { kEqual = 2, kAlways = 7 };
enum StencilOperation : u32 { kKeep = 0, kReplace = 2 };
enum Blend : u32 { kZero = 0, kOne = 1 };

// What the mark leaves in stencil, and what the reflection is drawn for.
constexpr u32 kMarked = 1;

// Draws pass only in the marked pixels and leave the mark.
void OnlyMarked(RenderStateBlock& block) {
    block.stencilEnable = true;
    block.stencilFunc = kEqual;
    block.stencilRef = kMarked;
    block.stencilMask = 0xffffffff;
    block.stencilWriteMask = 0xffffffff;
    block.stencilFail = kKeep;
    block.stencilDepthFail = kKeep;
    block.stencilPass = kKeep;
}

// The plane that `p` becomes through `m`, by way of its point next to the origin and the tip of its normal.
plane Transformed(const plane& p, const matrix& m) {
    vect3 foot = p.normal * p.d;
    vect3 tip = foot + p.normal;
    D3DXVec3TransformCoord(&foot, &foot, &m);
    D3DXVec3TransformCoord(&tip, &tip, &m);
    vect3 normal = tip - foot;
    D3DXVec3Normalize(&normal, &normal);
    return {normal, Dot(normal, foot)};
}

// All zero for a mesh without a shape, as for a shape without a plane: nothing is reflected then.
plane MirrorPlane(const Mesh& mirror) {
    Geometry* geometry = mirror.GetGeometry();
    const plane local = geometry != nullptr ? geometry->GetPlane() : plane{{0.0f, 0.0f, 0.0f}, 0.0f};
    return Transformed(
        local, mirror.transformation != nullptr ? mirror.transformation->GetWorldMatrix() : kMatrixIdentity);
}

}  // namespace

bool SceneRendererMirror::stencilChecked = false;
bool SceneRendererMirror::stencilUsable = false;

bool SceneRendererMirror::Read(osmio::InStream* in) {
    return osmio::VersionIs(in, 1) && ReadObjectList(in, mirrors, "mirrors");
}

void SceneRendererMirror::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("SRMR"), 1);
    WriteObjectList(out, mirrors);
}

bool SceneRendererMirror::Validate(const SceneHierarchy& scene, std::string& reason) const {
    return ValidateMeshReferences(scene, mirrors, "mirror", reason);
}

bool SceneRendererMirror::CanStencil() {
    if (!stencilChecked) {
        const DeviceCaps& caps = context->caps;
        stencilUsable = caps.stencilBits >= 1 && caps.stencilReplace && caps.stencilKeep;
        trace::BoxIf(!stencilUsable,
                     "Stencil Mirror needs stencil buffer capabilities, the current device does not have it, "
                     "try changing resolution and pixel format.");
        stencilChecked = true;
    }
    return stencilUsable;
}

void SceneRendererMirror::Exclude(bool excluded) {
    for (Mesh* mirror : mirrors) mirror->SetExcluded(excluded);
}

void SceneRendererMirror::Render(SceneHierarchy* scene, Camera* camera) {
    context = GetContext();
    if (camera == nullptr || !CanStencil()) {
        if (camera != nullptr) camera->Apply();
        scene->RenderContents();
        context = nullptr;
        return;
    }
    Exclude(true);
    camera->Apply();
    scene->RenderContents();
    Exclude(false);
    for (std::size_t i = 0; i < mirrors.size(); ++i) {
        Mesh& mirror = *mirrors[i];
        Mark(mirror, i > 0);
        const plane surface = MirrorPlane(mirror);
        matrix reflectedView = PlaneReflection(surface);
        D3DXMatrixMultiply(&reflectedView, &reflectedView, &camera->GetView());
        // A sky is reflected like all else. Other backgrounds do not look at the view.
        const auto* background = dynamic_cast<const AtmosphericBackground*>(scene->background);
        if (background != nullptr && background->GetClearMode() == AtmosphericBackground::kCube) {
            context->SetView(reflectedView);
        }
        ClearMarked(*scene);
        DrawReflected(*scene, mirror, surface, reflectedView, camera->GetProjection());
        context->SetView(camera->GetView());
        DrawOverlay(mirror);
    }
    context = nullptr;
}

void SceneRendererMirror::Mark(Mesh& mirror, bool clearFirst) {
    if (clearFirst) context->Clear(Context::kClearStencil, true);
    RenderStateBlock block(RenderStateBlock::kColorOutput | RenderStateBlock::kDepth |
                           RenderStateBlock::kStencil);
    block.depthEnable = true;
    block.blendEnable = true;
    block.destBlend = kOne;
    block.srcBlend = kZero;
    block.stencilEnable = true;
    block.stencilFunc = kAlways;
    block.stencilRef = kMarked;
    block.stencilFail = kKeep;
    block.stencilDepthFail = kKeep;
    block.stencilPass = kReplace;
    context->SetForcedRenderState(block);
    mirror.Draw();
    context->ClearForcedRenderState();
}

void SceneRendererMirror::ClearMarked(SceneHierarchy& scene) {
    RenderStateBlock block(RenderStateBlock::kStencil);
    OnlyMarked(block);
    context->SetForcedRenderState(block);
    // By a quad: a clear by the device would not stop at the mirror's edge.
    scene.ClearBackgroundFor(nullptr, Context::kClearColor | Context::kClearDepth, false);
    context->ClearForcedRenderState();
}

void SceneRendererMirror::DrawReflected(SceneHierarchy& scene, Mesh& mirror, const plane& surface,
                                        const matrix& reflectedView, const matrix& projection) {
    context->SetView(reflectedView);
    matrix seen;
    D3DXMatrixMultiply(&seen, &reflectedView, &projection);
    Frustum frustum(seen);
    frustum.AddPlane(surface);

    RenderStateBlock block(RenderStateBlock::kStencil | RenderStateBlock::kRasterizer);
    OnlyMarked(block);
    // The reflection turns every front into a back.
    block.cullMode = 1;
    context->SetForcedRenderState(block);
    const bool clips = context->caps.maxClipPlanes > 0;
    if (clips) context->AddClipPlane(surface);
    mirror.SetExcluded(true);
    scene.RenderContentsWith(frustum);
    mirror.SetExcluded(false);
    if (clips) context->ClearClipPlanes();
    context->ClearForcedRenderState();
}

void SceneRendererMirror::DrawOverlay(Mesh& mirror) {
    RenderStateBlock block(RenderStateBlock::kColorOutput);
    block.blendEnable = true;
    block.SetBlendPreset(2);
    context->SetForcedRenderState(block);
    mirror.Draw();
    context->ClearForcedRenderState();
}

}  // namespace osm3d
