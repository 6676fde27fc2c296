// Clears, the scratch rings and debug drawing of Context.
#include <array>
#include <cstring>

#include "render/context.h"
#include "scene/oriented_box.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

struct ScreenVertex {
    f32 x, y, z, rhw;
    D3DCOLOR diffuse;
};
constexpr u32 kScreenFvf = D3DFVF_XYZRHW | D3DFVF_DIFFUSE;
static_assert(sizeof(ScreenVertex) == 20);

struct WorldVertex {
    f32 x, y, z;
    D3DCOLOR diffuse;
};
constexpr u32 kWorldFvf = D3DFVF_XYZ | D3DFVF_DIFFUSE;
static_assert(sizeof(WorldVertex) == 16);

}  // namespace

// ------------------------------------------------------------------------------------------------ clears

void Context::Clear(u32 flags, bool useDevice) {
    if (flags == 0) return;
    const D3DCOLOR packed = ColorToARGB(clearColor);
    if (useDevice) {
        DWORD mask = 0;
        if (flags & kClearColor) mask |= D3DCLEAR_TARGET;
        if (flags & kClearDepth) mask |= D3DCLEAR_ZBUFFER;
        if ((flags & kClearStencil) && caps.stencilBits > 0) mask |= D3DCLEAR_STENCIL;
        device->Clear(0, nullptr, mask, packed, 1.0f, 0);
        return;
    }

    // Counter-clockwise on the screen: the default culling keeps it.
    const D3DVIEWPORT9& v = renderTarget->viewport;
    const f32 left = static_cast<f32>(v.X), right = static_cast<f32>(v.X + v.Width);
    const f32 top = static_cast<f32>(v.Y), bottom = static_cast<f32>(v.Y + v.Height);
    const ScreenVertex quad[4] = {{left, top, 1.0f, 0.0f, packed},
                                  {left, bottom, 1.0f, 0.0f, packed},
                                  {right, top, 1.0f, 0.0f, packed},
                                  {right, bottom, 1.0f, 0.0f, packed}};
    void* out = LockScratchVertices(kScreenFvf, sizeof(ScreenVertex), 4);
    if (!out) return;
    std::memcpy(out, quad, sizeof quad);
    UnlockScratchVertices();

    RenderStateBlock block(RenderStateBlock::kColorOutput | RenderStateBlock::kDepth);
    if (flags & kClearAlpha)
        block.colorWriteMask = D3DCOLORWRITEENABLE_ALPHA;
    else if (!(flags & kClearColor))
        block.colorWriteMask = 0;
    if (flags & kClearDepth)
        block.depthMode = 2;
    else
        block.depthEnable = false;
    ApplyRenderState(block);
    DrawScratch(D3DPT_TRIANGLESTRIP, 0, 2);
}

// ----------------------------------------------------------------------------------------- scratch rings

void* Context::LockScratchVertices(u32 fvf, u32 stride, u32 count) {
    ScratchVertices& ring = scratchVertices_;
    ring.usable = false;
    const u64 bytes = u64{stride} * count;
    if (bytes == 0 || bytes > kScratchBytes) return nullptr;
    if (!ring.buffer) {
        device->CreateVertexBuffer(kScratchBytes, D3DUSAGE_DYNAMIC | D3DUSAGE_WRITEONLY, 0, D3DPOOL_DEFAULT,
                                   ring.buffer.Put(), nullptr);
        if (!ring.buffer) return nullptr;
        ring.offset = 0;
    } else {
        // One stride is added before rounding down: the start lies on a multiple of the new stride, past all
        // that the last lock wrote.
        ring.offset = (ring.offset + ring.bytes + stride) / stride * stride;
        if (ring.offset + bytes > kScratchBytes) ring.offset = 0;
    }
    ring.fvf = fvf;
    ring.stride = stride;
    ring.bytes = static_cast<u32>(bytes);
    void* data = nullptr;
    const DWORD flags = ring.offset == 0 ? D3DLOCK_DISCARD : D3DLOCK_NOOVERWRITE;
    if (FAILED(ring.buffer->Lock(ring.offset, ring.bytes, &data, flags))) return nullptr;
    ring.usable = data != nullptr;
    return data;
}

void Context::UnlockScratchVertices() {
    if (scratchVertices_.usable) scratchVertices_.buffer->Unlock();
}

u16* Context::LockScratchIndices(u32 count) {
    ScratchIndices& ring = scratchIndices_;
    ring.usable = false;
    const u64 bytes = u64{count} * sizeof(u16);
    if (bytes == 0 || bytes > kScratchBytes) return nullptr;
    if (!ring.buffer) {
        device->CreateIndexBuffer(kScratchBytes, D3DUSAGE_DYNAMIC | D3DUSAGE_WRITEONLY, D3DFMT_INDEX16,
                                  D3DPOOL_DEFAULT, ring.buffer.Put(), nullptr);
        if (!ring.buffer) return nullptr;
        ring.offset = 0;
    } else {
        ring.offset += ring.bytes;
        if (ring.offset + bytes > kScratchBytes) ring.offset = 0;
    }
    ring.bytes = static_cast<u32>(bytes);
    void* data = nullptr;
    const DWORD flags = ring.offset == 0 ? D3DLOCK_DISCARD : D3DLOCK_NOOVERWRITE;
    if (FAILED(ring.buffer->Lock(ring.offset, ring.bytes, &data, flags))) return nullptr;
    ring.usable = data != nullptr;
    return static_cast<u16*>(data);
}

void Context::UnlockScratchIndices() {
    if (scratchIndices_.usable) scratchIndices_.buffer->Unlock();
}

void Context::UseFixedVertices() {
    if (!effectActive) device->SetVertexShader(nullptr);
}

void Context::DrawScratch(D3DPRIMITIVETYPE primitive, u32 first, u32 primitiveCount) {
    const ScratchVertices& ring = scratchVertices_;
    if (!ring.usable) return;
    UseFixedVertices();
    device->SetFVF(ring.fvf);
    device->SetStreamSource(0, ring.buffer.Get(), ring.offset, ring.stride);
    device->DrawPrimitive(primitive, first, primitiveCount);
}

void Context::DrawScratchIndexed(D3DPRIMITIVETYPE primitive, u32 first, u32 primitiveCount) {
    const ScratchVertices& ring = scratchVertices_;
    if (!ring.usable || !scratchIndices_.usable) return;
    UseFixedVertices();
    device->SetFVF(ring.fvf);
    device->SetStreamSource(0, ring.buffer.Get(), ring.offset, ring.stride);
    device->SetIndices(scratchIndices_.buffer.Get());
    device->DrawIndexedPrimitive(primitive, 0, 0, ring.bytes / ring.stride,
                                 scratchIndices_.offset / static_cast<u32>(sizeof(u16)) + first,
                                 primitiveCount);
}

// ----------------------------------------------------------------------------------------- debug drawing

void Context::PrepareDebugDraw() {
    static const RenderStateBlock unlit = [] {
        RenderStateBlock block(RenderStateBlock::kComplete);
        block.lighting = false;
        return block;
    }();
    ApplyRenderState(unlit);
    ResetStages();
}

void Context::DrawLine2D(const vect3& p0, const vect3& p1, const color& c) {
    const D3DCOLOR packed = ColorToARGB(c);
    const ScreenVertex line[2] = {{p0.x, p0.y, 1.0f, 1.0f, packed}, {p1.x, p1.y, 1.0f, 1.0f, packed}};
    void* out = LockScratchVertices(kScreenFvf, sizeof(ScreenVertex), 2);
    if (!out) return;
    std::memcpy(out, line, sizeof line);
    UnlockScratchVertices();
    PrepareDebugDraw();
    DrawScratch(D3DPT_LINELIST, 0, 1);
}

void Context::DrawPoint3D(const vect3& position, const color& c) {
    SetWorld(kMatrixIdentity);
    const WorldVertex point = {position.x, position.y, position.z, ColorToARGB(c)};
    void* out = LockScratchVertices(kWorldFvf, sizeof(WorldVertex), 1);
    if (!out) return;
    std::memcpy(out, &point, sizeof point);
    UnlockScratchVertices();
    PrepareDebugDraw();
    DrawScratch(D3DPT_POINTLIST, 0, 1);
}

void Context::DrawBox(const OrientedBox& box, const color& c) {
    const D3DCOLOR packed = ColorToARGB(c);
    const vect3& h = box.half;
    const auto corner = [&](u32 i, f32 z) -> WorldVertex {
        return {i == 1 || i == 2 ? h.x : -h.x, i >= 2 ? h.y : -h.y, z, packed};
    };
    std::array<WorldVertex, 18> vertices;
    for (u32 i = 0; i < 5; ++i) {
        vertices[i] = corner(i % 4, -h.z);
        vertices[5 + i] = corner(i % 4, h.z);
    }
    for (u32 i = 0; i < 4; ++i) {
        vertices[10 + 2 * i] = corner(i, -h.z);
        vertices[11 + 2 * i] = corner(i, h.z);
    }
    void* out = LockScratchVertices(kWorldFvf, sizeof(WorldVertex), static_cast<u32>(vertices.size()));
    if (!out) return;
    std::memcpy(out, vertices.data(), sizeof vertices);
    UnlockScratchVertices();

    const matrix world = transforms.GetWorld();
    SetWorld(box.transform);
    PrepareDebugDraw();
    DrawScratch(D3DPT_LINESTRIP, 0, 4);
    DrawScratch(D3DPT_LINESTRIP, 5, 4);
    DrawScratch(D3DPT_LINELIST, 10, 4);
    SetWorld(world);
}

}  // namespace osm3d
