#include "render/scene_renderer_shadow.h"

#include <vector>

#include "fxutil/math.h"
#include "geometry/mesh.h"
#include "io/stream.h"
#include "render/context.h"
#include "scene/camera.h"
#include "scene/light.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_validation.h"
#include "scene/value_operations.h"
#include "trace/profiler.h"

namespace osm3d {

namespace {

enum StencilFunction : u32 { kLessEqual = 3, kAlways = 7 };
enum StencilOperation : u32 { kKeep = 0, kIncrement = 6, kDecrement = 7 };
enum Cull : u32 { kCullClockwise = 0, kCullCounterClockwise = 1, kCullNone = 2 };

// Black, with the share of the light that a shadow takes.
constexpr u32 kShadowColor = 0xb2000000;

struct DarkenVertex {
    f32 x, y, z, rhw;
    u32 diffuse;
};
static_assert(sizeof(DarkenVertex) == 20);

vect3 Normalized(const vect3& v) {
    vect3 out;
    D3DXVec3Normalize(&out, &v);
    return out;
}

}  // namespace

SceneRendererShadow::SceneRendererShadow()
    : volumeBlock(RenderStateBlock::kComplete), darkenBlock(RenderStateBlock::kComplete) {
    volumeBlock.lighting = false;
    volumeBlock.cullMode = kCullNone;
    volumeBlock.stencilEnable = true;
    volumeBlock.twoSidedStencil = true;
    volumeBlock.stencilFunc = kAlways;
    volumeBlock.ccwStencilFunc = kAlways;
    volumeBlock.stencilPass = kIncrement;
    volumeBlock.ccwStencilPass = kDecrement;
    volumeBlock.depthMode = 1;
    volumeBlock.colorWriteMask = 0;

    darkenBlock.lighting = false;
    darkenBlock.cullMode = kCullNone;
    darkenBlock.stencilEnable = true;
    darkenBlock.stencilRef = 1;
    darkenBlock.depthEnable = false;
    darkenBlock.stencilFunc = kLessEqual;
    darkenBlock.stencilPass = kKeep;
    darkenBlock.blendEnable = true;
    darkenBlock.SetBlendPreset(2);
}

bool SceneRendererShadow::Read(osmio::InStream* in) { return osmio::VersionIs(in, 1); }

void SceneRendererShadow::Write(osmio::OutStream* out) { out->BeginChunk(osmio::FourCC("SRSW"), 1); }

bool SceneRendererShadow::Validate(const SceneHierarchy& scene, std::string& reason) const {
    return scene.shadowLight == nullptr ||
           ValidateMeshReferences(scene, scene.shadowLight->GetShadowCasters(), "shadow caster", reason);
}

void SceneRendererShadow::Initialize() { twoSided = GetContext()->caps.stencilTwoSided; }

void SceneRendererShadow::Render(SceneHierarchy* scene, Camera* camera) {
    context = GetContext();
    if (camera != nullptr) camera->Apply();
    Light* light = scene->shadowLight;
    const bool casts = camera != nullptr && light != nullptr && !light->GetShadowCasters().empty();
    if (casts) UpdateVolumes(*light, *camera);
    scene->RenderContents();
    if (!casts) return;
    const trace::ProfilerScope scope(trace::shadowsSection);
    CountVolumes(*light);
    Darken();
    context->ApplyRenderState(RenderStateBlock(RenderStateBlock::kStencil));
}

void SceneRendererShadow::UpdateVolumes(Light& light, Camera& camera) {
    const trace::ProfilerScope scope(trace::shadowsSection);
    const vect3 from = light.transformation != nullptr
                           ? MatrixGetTranslation(light.transformation->GetWorldMatrix())
                           : vect3{0.0f, 0.0f, 0.0f};
    for (Mesh* caster : light.GetShadowCasters()) {
        const vect3 at = caster->transformation != nullptr ? caster->transformation->GetPosition()
                                                           : vect3{0.0f, 0.0f, 0.0f};
        const vect3 way = Normalized(Normalized(at - from));
        caster->UpdateShadow({from, way * (2.0f * camera.GetFar())}, 0);
    }
}

void SceneRendererShadow::CountVolumes(Light& light) {
    if (twoSided) {
        context->ApplyRenderState(volumeBlock);
        for (Mesh* caster : light.GetShadowCasters()) caster->DrawShadow();
        return;
    }
    for (Mesh* caster : light.GetShadowCasters()) {
        // The two-sided mode goes out with the first pass of all as it stands; no such device looks at it.
        volumeBlock.cullMode = kCullCounterClockwise;
        volumeBlock.stencilPass = kDecrement;
        context->ApplyRenderState(volumeBlock);
        caster->DrawShadow();
        volumeBlock.twoSidedStencil = false;
        volumeBlock.cullMode = kCullClockwise;
        volumeBlock.stencilPass = kIncrement;
        context->ApplyRenderState(volumeBlock);
        caster->DrawShadow();
    }
}

void SceneRendererShadow::Darken() {
    constexpr u32 kFvf = D3DFVF_XYZRHW | D3DFVF_DIFFUSE;
    auto* corner = static_cast<DarkenVertex*>(context->LockScratchVertices(kFvf, sizeof(DarkenVertex), 4));
    if (corner == nullptr) return;
    const D3DVIEWPORT9& viewport = context->GetRenderTarget()->viewport;
    const auto width = static_cast<f32>(viewport.Width);
    const auto height = static_cast<f32>(viewport.Height);
    *corner++ = {0.0f, 0.0f, 0.0f, 1.0f, kShadowColor};
    *corner++ = {width, 0.0f, 0.0f, 1.0f, kShadowColor};
    *corner++ = {0.0f, height, 0.0f, 1.0f, kShadowColor};
    *corner++ = {width, height, 0.0f, 1.0f, kShadowColor};
    context->UnlockScratchVertices();
    context->ApplyRenderState(darkenBlock);
    context->DrawScratch(D3DPT_TRIANGLESTRIP, 0, 2);
}

}  // namespace osm3d
