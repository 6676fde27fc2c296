#include "scene/atmospheric.h"

#include <algorithm>
#include <array>

#include "io/stream.h"
#include "material/texture_cubemap_file.h"
#include "scene/camera.h"
#include "scene/value_operations.h"
#include "trace/tracer.h"

namespace osm3d {

namespace {

struct QuadVertex {
    f32 x, y, z, rhw;
    u32 diffuse;
    f32 u, v;
};
static_assert(sizeof(QuadVertex) == 28);

constexpr u32 kQuadFvf = D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1;

struct CubeVertex {
    f32 x, y, z;
    u32 diffuse;
    f32 u, v;
};
static_assert(sizeof(CubeVertex) == 24);

constexpr u32 kCubeFvf = D3DFVF_XYZ | D3DFVF_DIFFUSE | D3DFVF_TEX1;

// Which end of the image's width and height a corner of a face shows.
enum class Edge : u8 { kLow, kHigh };
constexpr Edge kLow = Edge::kLow;
constexpr Edge kHigh = Edge::kHigh;

struct CubeCorner {
    f32 x, y, z;
    Edge u, v;
};

// Faces 1 to 6, each as a strip.
using CubeFace = std::array<CubeCorner, 4>;
constexpr std::array<CubeFace, 6> kCubeFaces{{
    {{{1, 1, 1, kHigh, kHigh}, {-1, 1, 1, kLow, kHigh}, {1, -1, 1, kHigh, kLow}, {-1, -1, 1, kLow, kLow}}},
    {{{1, 1, -1, kHigh, kLow},
      {-1, 1, -1, kLow, kLow},
      {1, -1, -1, kHigh, kHigh},
      {-1, -1, -1, kLow, kHigh}}},
    {{{-1, -1, 1, kLow, kLow},
      {-1, 1, 1, kHigh, kLow},
      {-1, -1, -1, kLow, kHigh},
      {-1, 1, -1, kHigh, kHigh}}},
    {{{1, 1, 1, kLow, kLow}, {1, -1, 1, kHigh, kLow}, {1, 1, -1, kLow, kHigh}, {1, -1, -1, kHigh, kHigh}}},
    {{{1, -1, 1, kLow, kLow},
      {-1, -1, 1, kHigh, kLow},
      {1, -1, -1, kLow, kHigh},
      {-1, -1, -1, kHigh, kHigh}}},
    {{{1, 1, 1, kHigh, kLow}, {-1, 1, 1, kLow, kLow}, {1, 1, -1, kHigh, kHigh}, {-1, 1, -1, kLow, kHigh}}},
}};

void ClearTo(const color& c, u32 flags, bool useDevice) {
    Context* context = GetContext();
    const color saved = context->clearColor;
    context->SetClearColor(c);
    context->Clear(flags, useDevice);
    context->SetClearColor(saved);
}

TextureStageStateBlock BackgroundStage() {
    TextureStageStateBlock block = TextureStageStateBlock::Standard();
    block.colorOp = 2;
    block.colorArg1 = 1;
    block.colorArg2 = 2;
    block.magFilter = 2;
    block.minFilter = 2;
    block.mipFilter = 0;
    return block;
}

// Untested, unculled, the texture alone.
void ApplyBackgroundState() {
    RenderStateBlock state(RenderStateBlock::kComplete);
    state.cullMode = 2;
    state.depthEnable = false;
    Context* context = GetContext();
    context->ApplyRenderState(state);
    context->ApplyStage(0, BackgroundStage());
    context->ApplyStage(1, TextureStageStateBlock());
}

}  // namespace

void Atmospheric::Clear(Camera*, u32, bool) {}

// ---- ambient

bool AtmosphericAmbient::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) {
        return false;
    }
    ReadController(in, ambient);
    return true;
}

void AtmosphericAmbient::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("ATAM"), 1);
    out->WriteObject(ambient.Get());
}

void AtmosphericAmbient::Update(f32 time) { UpdateControllers(time); }

void AtmosphericAmbient::Apply(Camera*) {
    if (!ambient) {
        return;
    }
    Context* context = GetContext();
    savedAmbient = context->ambient;
    context->SetAmbient(ambient->value);
}

void AtmosphericAmbient::Unapply() {
    if (ambient) {
        GetContext()->SetAmbient(savedAmbient);
    }
}

void AtmosphericAmbient::SetAmbient(ColorController* value) { ReplaceController(ambient, value); }

// ---- fog

bool AtmosphericFog::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) {
        return false;
    }
    in->ReadBool(&canClear);
    ReadController(in, fogColor);
    ReadController(in, intensityNear);
    ReadController(in, intensityFar);
    return true;
}

void AtmosphericFog::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("ATFG"), 1);
    out->WriteBool(canClear);
    out->WriteObject(fogColor.Get());
    out->WriteObject(intensityNear.Get());
    out->WriteObject(intensityFar.Get());
}

void AtmosphericFog::Update(f32 time) { UpdateControllers(time); }

void AtmosphericFog::Apply(Camera* camera) {
    if (!fogColor || camera == nullptr) {
        return;
    }
    Context* context = GetContext();
    if (deviceFogKind == 0) {
        const DeviceCaps& caps = context->caps;
        deviceFogKind = caps.fogTable ? 2u : caps.fogRange ? 3u : caps.fogVertex ? 1u : 0u;
    }
    params.colorARGB = ColorToARGB(fogColor->value);
    params.formula = 1;
    params.method = 1;
    // The line through (near, a) and (far, b): fog starts where it is 0 and is full where it is 1.
    const f32 near_ = camera->GetFogNear();
    const f32 range = camera->GetFogFar() - near_;
    const f32 a = intensityNear->value;
    const f32 b = intensityFar->value;
    params.start = (0.0f - a) * range / (b - a) + near_;
    if (params.start < 0.0f) {
        params.start = 0.0f;
    }
    params.end = (1.0f - a) * range / (b - a) + near_;
    context->SetFog(true, params);
}

void AtmosphericFog::Unapply() {
    if (fogColor) {
        GetContext()->SetFog(false, FogParams{});
    }
}

void AtmosphericFog::Clear(Camera*, u32 flags, bool useDevice) {
    if (fogColor) {
        ClearTo(fogColor->value, flags, useDevice);
    }
}

void AtmosphericFog::SetColor(ColorController* value) { ReplaceController(fogColor, value); }
void AtmosphericFog::SetIntensityNear(FloatController* value) { ReplaceController(intensityNear, value); }
void AtmosphericFog::SetIntensityFar(FloatController* value) { ReplaceController(intensityFar, value); }

// ---- background

bool AtmosphericBackground::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) {
        return false;
    }
    u8 mode = 0;
    in->ReadU8(&mode);
    clearMode = mode;
    if (clearMode == kColor) {
        ReadController(in, clearColor);
    } else if (clearMode == kBitmap || clearMode == kCube) {
        texture = osmio::ReadSlot<Texture>(in);
        cube = clearMode == kCube ? dynamic_cast<TextureCubemapFile*>(texture) : nullptr;
    }
    return true;
}

void AtmosphericBackground::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("ATBG"), 1);
    out->WriteU8(static_cast<u8>(clearMode));
    if (clearMode == kColor) {
        out->WriteObject(clearColor.Get());
    } else if (clearMode == kBitmap || clearMode == kCube) {
        out->WriteObject(texture);
    }
}

void AtmosphericBackground::Update(f32 time) { UpdateControllers(time); }

void AtmosphericBackground::Apply(Camera*) {}

void AtmosphericBackground::Unapply() {}

void AtmosphericBackground::Clear(Camera* camera, u32 flags, bool useDevice) {
    switch (clearMode) {
        case kColor:
            ClearTo(clearColor->value, flags, useDevice);
            break;
        case kBitmap:
            GetContext()->Clear(flags & ~u32{Context::kClearColor}, useDevice);
            if ((flags & Context::kClearColor) != 0) {
                DrawBitmap();
            }
            break;
        case kCube:
            GetContext()->Clear(flags & ~u32{Context::kClearColor}, useDevice);
            if ((flags & Context::kClearColor) != 0) {
                if (camera != nullptr) {
                    camera->Apply();
                }
                DrawCube(0.5f * (camera != nullptr ? camera->GetFar() : GetContext()->projectionParams.farZ));
            }
            break;
        default:
            trace::Box("Invalid clear function");
            break;
    }
}

void AtmosphericBackground::DrawBitmap() {
    ApplyBackgroundState();
    Context* context = GetContext();
    auto* vertices = static_cast<QuadVertex*>(context->LockScratchVertices(kQuadFvf, sizeof(QuadVertex), 4));
    if (vertices == nullptr) {
        return;
    }
    const D3DVIEWPORT9& viewport = context->GetRenderTarget()->viewport;
    const f32 left = static_cast<f32>(viewport.X);
    const f32 top = static_cast<f32>(viewport.Y);
    const f32 right = static_cast<f32>(viewport.X + viewport.Width);
    const f32 bottom = static_cast<f32>(viewport.Y + viewport.Height);
    constexpr u32 kUnused = 0xffff0000;
    vertices[0] = {left, top, 1.0f, 1.0f, kUnused, 0.0f, 0.0f};
    vertices[1] = {right, top, 1.0f, 1.0f, kUnused, 1.0f, 0.0f};
    vertices[2] = {left, bottom, 1.0f, 1.0f, kUnused, 0.0f, 1.0f};
    vertices[3] = {right, bottom, 1.0f, 1.0f, kUnused, 1.0f, 1.0f};
    context->UnlockScratchVertices();

    texture->SetToStage(0);
    if (!context->effectActive) {
        context->device->SetVertexShader(nullptr);
    }
    context->DrawScratch(D3DPT_TRIANGLESTRIP, 0, 2);
}

// `half` of the view's depth: no corner reaches the far plane.
void AtmosphericBackground::DrawCube(f32 half) {
    if (cube == nullptr) {
        return;
    }
    ApplyBackgroundState();
    Context* context = GetContext();
    IDirect3DDevice9* device = context->device.Get();
    context->SetTexture(1, nullptr);
    device->SetVertexShader(nullptr);
    device->SetFVF(kCubeFvf);
    DWORD passes = 0;
    device->ValidateDevice(&passes);

    const vect3 eye = MatrixGetTranslation(context->transforms.GetViewInverse());
    context->SetWorld(MatrixCompose(eye, quat{0.0f, 0.0f, 0.0f, 1.0f}, {half, half, half}));

    // One texel short of the edges, so that the faces meet without a seam. Sizes of 0 give no coordinates.
    const f32 stepU = 1.0f / cube->GetFaceWidth();
    const f32 stepV = 1.0f / cube->GetFaceHeight();
    u32 number = 0;
    for (const CubeFace& face : kCubeFaces) {
        ++number;
        auto* vertices =
            static_cast<CubeVertex*>(context->LockScratchVertices(kCubeFvf, sizeof(CubeVertex), 4));
        if (vertices == nullptr) {
            return;
        }
        std::transform(face.begin(), face.end(), vertices, [&](const CubeCorner& corner) -> CubeVertex {
            return {corner.x,
                    corner.y,
                    corner.z,
                    0xffffffff,
                    corner.u == kHigh ? 1.0f - stepU : stepU,
                    corner.v == kHigh ? 1.0f - stepV : stepV};
        });
        context->UnlockScratchVertices();
        context->SetTexture(0, cube->GetFace(number));
        context->DrawScratch(D3DPT_TRIANGLESTRIP, 0, 2);
    }
}

void AtmosphericBackground::UseColor(ColorController* value) {
    clearMode = kColor;
    texture = nullptr;
    cube = nullptr;
    ReplaceController(clearColor, value);
}

void AtmosphericBackground::UseBitmap(Texture* picture) {
    clearMode = kBitmap;
    ReplaceController<color>(clearColor, nullptr);
    texture = picture;
    cube = nullptr;
}

void AtmosphericBackground::UseCube(TextureCubemapFile* environment) {
    clearMode = kCube;
    ReplaceController<color>(clearColor, nullptr);
    texture = environment;
    cube = environment;
}

}  // namespace osm3d
