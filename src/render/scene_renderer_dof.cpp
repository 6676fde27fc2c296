#include "render/scene_renderer_dof.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "controller/validation.h"
#include "fxutil/texture.h"
#include "io/stream.h"
#include "material/material.h"
#include "render/context.h"
#include "render/material_fx.h"
#include "render/material_fx_modifier.h"
#include "scene/camera.h"
#include "scene/scene_hierarchy.h"

namespace osm3d {

namespace {

constexpr u32 kVersion = 1;
constexpr u32 kEffectResource = 101;
constexpr u32 kLookupWidth = 256;
constexpr u32 kLookupHeight = 4;
constexpr f32 kWholeScreen[4] = {-1.0f, 1.0f, 1.0f, -1.0f};

/// How far out of focus: none in the middle, growing towards both ends.
void WINAPI FillLookup(D3DXVECTOR4* out, const D3DXVECTOR2* at, const D3DXVECTOR2*, void*) {
    const f32 value = std::max(0.0f, std::fabs(1.25f - 2.5f * at->x) - 0.25f);
    *out = {value, value, value, value};
}

struct TexelRect {
    f32 x0, y0, x1, y1;
};

/// Texture coordinates of the middles of the texels that `view` covers, so that it is copied as it stands.
TexelRect RectOf(const D3DVIEWPORT9& view, const RenderTarget& target) {
    const f32 w = target.invWidth;
    const f32 h = target.invHeight;
    const auto middle = [](DWORD texel, f32 size) { return static_cast<f32>(texel) * size + size * 0.5f; };
    return {middle(view.X, w), middle(view.Y, h), middle(view.X + view.Width, w),
            middle(view.Y + view.Height, h)};
}

D3DVIEWPORT9 View(const RenderTarget& target, u32 x, u32 width, u32 height) {
    D3DVIEWPORT9 view = target.viewport;
    view.X = x;
    view.Y = 0;
    view.Width = width;
    view.Height = height;
    return view;
}

}  // namespace

SceneRendererDOF::SceneRendererDOF() = default;
SceneRendererDOF::~SceneRendererDOF() = default;

// ---- storage

bool SceneRendererDOF::Read(osmio::InStream* in) {
    if (in->GetChunkVersion() != kVersion) return false;
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, 3 * sizeof(u32), "cameras with a focus")) return false;
    for (i32 i = 0; i < count; ++i) {
        Focus& entry = FocusOf(osmio::ReadSlot<Camera>(in));
        entry.scale.Refer(osmio::ReadSlot<FloatController>(in));
        entry.distance.Refer(osmio::ReadSlot<FloatController>(in));
    }
    return true;
}

void SceneRendererDOF::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("SRDF"), kVersion);
    out->WriteI32(static_cast<i32>(focus.size()));
    for (Focus& entry : focus) {
        out->WriteObject(entry.camera);
        out->WriteObject(entry.scale.Get());
        out->WriteObject(entry.distance.Get());
    }
}

SceneRendererDOF::Focus& SceneRendererDOF::FocusOf(Camera* camera) {
    const auto [place, fresh] = places.try_emplace(camera, static_cast<u32>(focus.size()));
    if (fresh) {
        focus.emplace_back();
        focus.back().camera = camera;
    }
    return focus[place->second];
}

void SceneRendererDOF::SetFocus(Camera* camera, FloatController* scale, FloatController* distance) {
    Focus& entry = FocusOf(camera);
    entry.scale.Own(scale);
    entry.distance.Own(distance);
}

bool SceneRendererDOF::Validate(const SceneHierarchy&, std::string& reason) const {
    for (const Focus& entry : focus) {
        for (const FloatController* controller : {entry.scale.Get(), entry.distance.Get()}) {
            if (controller != nullptr && !controller::Validate(controller, reason)) return false;
        }
    }
    return true;
}

void SceneRendererDOF::Update(f32 time) {
    for (Focus& entry : focus) {
        if (entry.scale) entry.scale->Update(time);
        if (entry.distance) entry.distance->Update(time);
    }
}

// ---- device resources

void SceneRendererDOF::Initialize() {
    if (!mainTarget) ready = MakeResources();
}

bool SceneRendererDOF::MakeResources() {
    context = GetContext();
    effect = MaterialFX::FromResource(kEffectResource);
    effect->Load();
    if (!effect->IsReady()) {
        effect.reset();
        return false;
    }
    modifiers = std::make_unique<ModifierStack>();
    modifiers->AddModifier(effect->CreateModifier().release());

    D3DXCreateTexture(context->device.Get(), kLookupWidth, kLookupHeight, 0, 0, D3DFMT_A8B8G8R8,
                      D3DPOOL_DEFAULT, lookup.Put());
    if (!lookup || FAILED(D3DXFillTexture(lookup.Get(), FillLookup, nullptr))) return false;

    mainTarget = CreateRenderTarget(1024, 512, true, true);
    smallTarget = CreateRenderTarget(512, 256, true, true);
    fullView = View(*mainTarget, 0, 1024, 512);
    sceneView = View(*mainTarget, 0, 640, 480);
    blurView = View(*mainTarget, 640, 320, 240);
    smallView = View(*smallTarget, 0, 320, 240);
    for (RenderTarget* target : {mainTarget.get(), smallTarget.get()}) {
        if (!target->surface || !target->depth) return false;
        // The last row and column of the merge reach half a texel over what is drawn.
        context->device->ColorFill(target->surface.Get(), nullptr, 0);
    }
    return true;
}

// ---- the frame

void SceneRendererDOF::Render(SceneHierarchy* scene, Camera* camera) {
    context = GetContext();
    const auto place = places.find(camera);
    if (!ready || camera == nullptr || place == places.end()) {
        if (camera != nullptr) camera->Apply();
        scene->ClearBackgroundFor(camera, Context::kClearColor, true);
        scene->Render();
        return;
    }
    RenderTarget* before = context->GetRenderTarget();
    context->SetRenderTarget(mainTarget.get());
    context->SetViewport(fullView);
    context->Clear(Context::kClearDepth | Context::kClearStencil, true);

    RenderScene(*scene, *camera);
    WriteBlurAmount(*scene, *camera, focus[place->second]);
    Blur();

    context->SetRenderTarget(before);
    context->SetClearColor({1.0f, 0.0f, 1.0f, 0.0f});
    context->Clear(Context::kClearColor | Context::kClearDepth | Context::kClearStencil, true);
    Merge();
}

void SceneRendererDOF::RenderScene(SceneHierarchy& scene, Camera& camera) {
    context->SetViewport(sceneView);
    camera.Apply();
    scene.ClearBackgroundFor(&camera, Context::kClearColor, true);
    scene.Render();
}

void SceneRendererDOF::WriteBlurAmount(SceneHierarchy& scene, Camera& camera, const Focus& active) {
    context->SetClearColor({0.0f, 0.0f, 0.0f, 1.0f});
    context->Clear(Context::kClearDepth | Context::kClearStencil, true);
    // Whatever was drawn last must not cull the quad or mix a texture into its alpha.
    ApplyDefaultMaterial();
    context->Clear(Context::kClearAlpha, false);

    effect->UseTechnique("depth");
    effect->SetDeviceTexture("LookupMap", lookup.Get());
    effect->SetVector("Clip", {camera.GetNear(), camera.GetFar() - camera.GetNear(), 0.0f, 0.0f});
    const f32 distance = active.distance ? active.distance->value : camera.GetFocalDistance();
    f32 slope = 0.5f / distance;
    if (active.scale) slope *= active.scale->value;
    effect->SetVector("Target", {distance, 0.5f, slope, 0.0f});

    queue.Clear();
    if (scene.currentCamera != nullptr) scene.CollectVisible(scene.currentCamera->GetFrustum(), queue);
    queue.SetStack(modifiers.get());
    queue.SetMaterial(effect.get());
    scene.DrawQueued(queue);
}

void SceneRendererDOF::BlurPass(RenderTarget& to, const D3DVIEWPORT9& view, const RenderTarget& from,
                                const Tap (&taps)[4], const f32* uv) {
    static constexpr const char* kOffsets[4] = {"OffsetTex0", "OffsetTex1", "OffsetTex2", "OffsetTex3"};
    static constexpr const char* kWeights[4] = {"WeightTex0", "WeightTex1", "WeightTex2", "WeightTex3"};
    context->SetRenderTarget(&to);
    context->SetViewport(view);
    effect->UseTechnique("multitap");
    for (std::size_t i = 0; i < 4; ++i) {
        const Tap& tap = taps[i];
        effect->SetVector(kOffsets[i], {tap.x, tap.y, 0.0f, 0.0f});
        effect->SetVector(kWeights[i], {tap.weight, tap.weight, tap.weight, tap.weight});
    }
    effect->SetDeviceTexture("RenderTarget", from.texture.Get());
    DrawScreenQuad(effect.get(), kWholeScreen, uv, nullptr, nullptr);
}

void SceneRendererDOF::Blur() {
    // Two texels of the large target, for every pass.
    const f32 dx = 2.0f * mainTarget->invWidth;
    const f32 dy = 2.0f * mainTarget->invHeight;
    const TexelRect sharp = RectOf(sceneView, *mainTarget);
    const TexelRect half = RectOf(smallView, *smallTarget);

    const Tap across[4] = {
        {-1.5f * dx, 0.0f, 0.1f}, {-0.5f * dx, 0.0f, 0.4f}, {0.5f * dx, 0.0f, 0.4f}, {1.5f * dx, 0.0f, 0.1f}};
    const f32 acrossUv[4] = {sharp.x0 + 1.5f * dx, sharp.y0, sharp.x1 - 1.5f * dx, sharp.y1};
    BlurPass(*smallTarget, smallView, *mainTarget, across, acrossUv);

    const Tap down[4] = {
        {0.0f, -1.5f * dy, 0.1f}, {0.0f, -0.5f * dy, 0.4f}, {0.0f, 0.5f * dy, 0.4f}, {0.0f, 1.5f * dy, 0.1f}};
    const f32 downUv[4] = {half.x0, half.y0 + 1.5f * dy, half.x1, half.y1 - 1.5f * dy};
    BlurPass(*mainTarget, blurView, *smallTarget, down, downUv);

    const Tap around[4] = {{dx, 0.0f, 0.25f}, {-dx, 0.0f, 0.25f}, {0.0f, dy, 0.25f}, {0.0f, -dy, 0.25f}};
    const f32 aroundUv[4] = {sharp.x0 + dx, sharp.y0 + dy, sharp.x1 - dx, sharp.y1 - dy};
    BlurPass(*smallTarget, smallView, *mainTarget, around, aroundUv);
}

void SceneRendererDOF::Merge() {
    effect->SetDeviceTexture("RenderTarget", mainTarget->texture.Get());
    // The effect has no such parameter: the lightly blurred picture is made and not looked at.
    effect->SetDeviceTexture("RenderTargetSBlur", smallTarget->texture.Get());
    effect->UseTechnique("merge");
    const TexelRect sharp = RectOf(sceneView, *mainTarget);
    const TexelRect light = RectOf(smallView, *smallTarget);
    const TexelRect strong = RectOf(blurView, *mainTarget);
    DrawScreenQuad(effect.get(), kWholeScreen, &sharp.x0, &light.x0, &strong.x0);
}

}  // namespace osm3d
