#include "render/render_target.h"

#include <bit>

#include "render/context.h"

namespace osm3d {

RenderTarget::~RenderTarget() {
    if (owner) owner->DropTarget(this);
}

namespace {

void FillTarget(RenderTarget& target, u32 width, u32 height, bool powerOfTwo, bool keepAspect) {
    Context& context = *GetContext();
    const DisplaySettings& settings = GetDisplaySettings();
    D3DFORMAT format = D3DFMT_UNKNOWN;
    if (settings.colorBits == 16) format = D3DFMT_R5G6B5;
    if (settings.colorBits == 32) format = D3DFMT_A8R8G8B8;

    const u32 w = powerOfTwo ? std::bit_ceil(width) : width;
    const u32 h = powerOfTwo ? std::bit_ceil(height) : height;
    target.surface.Reset();
    target.texture = context.CreateTexture(w, h, 1, D3DUSAGE_RENDERTARGET, format, D3DPOOL_DEFAULT);
    context.device->CreateDepthStencilSurface(w, h, DepthFormat(settings), D3DMULTISAMPLE_NONE, 0, FALSE,
                                              target.depth.Put(), nullptr);
    if (target.texture) target.texture->GetSurfaceLevel(0, target.surface.Put());

    const D3DVIEWPORT9& current = context.GetRenderTarget()->viewport;
    target.viewport = current;
    target.viewport.X = 0;
    target.viewport.Y = 0;
    target.viewport.Width = width;
    target.viewport.Height = height;
    if (keepAspect) {
        const f32 aspect = static_cast<f32>(current.Width) / static_cast<f32>(current.Height);
        if (aspect >= static_cast<f32>(width) / static_cast<f32>(height))
            target.viewport.Height = static_cast<u32>(static_cast<f32>(width) / aspect);
        else
            target.viewport.Width = static_cast<u32>(aspect * static_cast<f32>(height));
    }
    target.invWidth = 1.0f / static_cast<f32>(w);
    target.invHeight = 1.0f / static_cast<f32>(h);
}

// Pool targets outlive every pool and every device; the list keeps them within reach.
RenderTarget* NewPoolTarget() {
    static auto* const all = new std::vector<std::unique_ptr<RenderTarget>>;
    return all->emplace_back(std::make_unique<RenderTarget>()).get();
}

bool IsOfCurrentDevice(const RenderTarget& target) {
    if (!target.texture) return false;
    ComPtr<IDirect3DDevice9> device;
    target.texture->GetDevice(device.Put());
    return device == GetContext()->device;
}

void FillPoolTarget(RenderTarget& target, u32 kind) {
    if (kind == 0)
        FillTarget(target, 640, 480, true, false);
    else
        FillTarget(target, 256, 256, false, true);
}

}  // namespace

std::unique_ptr<RenderTarget> CreateRenderTarget(u32 width, u32 height, bool powerOfTwo, bool keepAspect) {
    auto target = std::make_unique<RenderTarget>();
    FillTarget(*target, width, height, powerOfTwo, keepAspect);
    return target;
}

RenderTarget* RenderTargetPool::Acquire(u32 kind) {
    if (kind > 1 || !GetContext()) return nullptr;
    for (Entry& entry : kinds_[kind]) {
        if (entry.inUse) continue;
        if (!IsOfCurrentDevice(*entry.target)) FillPoolTarget(*entry.target, kind);
        entry.inUse = true;
        return entry.target;
    }
    RenderTarget* target = NewPoolTarget();
    FillPoolTarget(*target, kind);
    kinds_[kind].push_back({true, target});
    return target;
}

void RenderTargetPool::Release(RenderTarget* target) {
    for (std::vector<Entry>& kind : kinds_) {
        for (Entry& entry : kind) {
            if (entry.target != target) continue;
            entry.inUse = false;
            return;
        }
    }
}

}  // namespace osm3d
