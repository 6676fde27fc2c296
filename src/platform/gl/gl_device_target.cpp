// Targets, the viewport, and clears.
#include <algorithm>
#include <cmath>

#include "platform/gl/gl_device.h"
#include "platform/gl/gl_surface.h"
#include "platform/gl/gl_texture.h"

namespace platform::gl {
namespace {

// The part of `rect` within `bounds`.
PixelRect Clip(const PixelRect& bounds, i64 left, i64 top, i64 right, i64 bottom) {
    const auto x = [&](i64 v) { return static_cast<u32>(std::clamp<i64>(v, bounds.left, bounds.right)); };
    const auto y = [&](i64 v) { return static_cast<u32>(std::clamp<i64>(v, bounds.top, bounds.bottom)); };
    return {x(left), y(top), x(right), y(bottom)};
}

}  // namespace

void GlDevice::ResetViewport() {
    const u32 width = state_.target->Width(), height = state_.target->Height();
    state_.viewport = {0, 0, width, height, 0.0f, 1.0f};
    state_.scissor = {0, 0, static_cast<LONG>(width), static_cast<LONG>(height)};
    state_.dirty |= kDirtyViewport | kDirtyScissor | kDirtyTarget | kDirtyBlend;
}

HRESULT GlDevice::SetRenderTarget(DWORD index, IDirect3DSurface9* surface) {
    if (index != 0) return surface || index > 3 ? D3DERR_INVALIDCALL : D3D_OK;
    auto* target = static_cast<GlSurface*>(surface);
    if (!target || !(target->Usage() & D3DUSAGE_RENDERTARGET)) return D3DERR_INVALIDCALL;
    if (target != state_.target) {
        Bind(state_.target, target);
        framebuffer_ = 0;
    }
    ResetViewport();
    return D3D_OK;
}

HRESULT GlDevice::GetRenderTarget(DWORD index, IDirect3DSurface9** surface) {
    if (!surface) return D3DERR_INVALIDCALL;
    *surface = nullptr;
    if (index > 3) return D3DERR_INVALIDCALL;
    if (index != 0) return D3DERR_NOTFOUND;
    state_.target->AddRef();
    *surface = state_.target;
    return D3D_OK;
}

HRESULT GlDevice::SetDepthStencilSurface(IDirect3DSurface9* surface) {
    auto* depth = static_cast<GlSurface*>(surface);
    if (depth && !(depth->Usage() & D3DUSAGE_DEPTHSTENCIL)) return D3DERR_INVALIDCALL;
    if (depth == state_.depth) return D3D_OK;
    Bind(state_.depth, depth);
    framebuffer_ = 0;
    state_.dirty |= kDirtyTarget | kDirtyDepth | kDirtyStencil | kDirtyRaster;
    return D3D_OK;
}

HRESULT GlDevice::GetDepthStencilSurface(IDirect3DSurface9** surface) {
    if (!surface) return D3DERR_INVALIDCALL;
    *surface = state_.depth;
    if (!state_.depth) return D3DERR_NOTFOUND;
    state_.depth->AddRef();
    return D3D_OK;
}

HRESULT GlDevice::SetViewport(const D3DVIEWPORT9* viewport) {
    if (!viewport) return D3DERR_INVALIDCALL;
    const u64 width = state_.target->Width(), height = state_.target->Height();
    if (u64{viewport->X} + viewport->Width > width || u64{viewport->Y} + viewport->Height > height) {
        return D3DERR_INVALIDCALL;
    }
    D3DVIEWPORT9& now = state_.viewport;
    if (now.X == viewport->X && now.Y == viewport->Y && now.Width == viewport->Width &&
        now.Height == viewport->Height && now.MinZ == viewport->MinZ && now.MaxZ == viewport->MaxZ) {
        return D3D_OK;
    }
    now = *viewport;
    state_.dirty |= kDirtyViewport;
    return D3D_OK;
}

HRESULT GlDevice::GetViewport(D3DVIEWPORT9* viewport) {
    if (!viewport) return D3DERR_INVALIDCALL;
    *viewport = state_.viewport;
    return D3D_OK;
}

HRESULT GlDevice::SetScissorRect(const RECT* rect) {
    if (!rect) return D3DERR_INVALIDCALL;
    RECT& now = state_.scissor;
    if (now.left == rect->left && now.top == rect->top && now.right == rect->right &&
        now.bottom == rect->bottom) {
        return D3D_OK;
    }
    now = *rect;
    state_.dirty |= kDirtyScissor;
    return D3D_OK;
}

HRESULT GlDevice::GetScissorRect(RECT* rect) {
    if (!rect) return D3DERR_INVALIDCALL;
    *rect = state_.scissor;
    return D3D_OK;
}

HRESULT GlDevice::Clear(DWORD count, const D3DRECT* rects, DWORD flags, D3DCOLOR color, float z,
                        DWORD stencil) {
    if (count > 0 && !rects) return D3DERR_INVALIDCALL;
    if (flags == 0 || (flags & ~(D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL)))
        return D3DERR_INVALIDCALL;
    if ((flags & (D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL)) && !state_.depth) return D3DERR_INVALIDCALL;
    if ((flags & D3DCLEAR_STENCIL) && !state_.depth->Format().stencil) return D3DERR_INVALIDCALL;
    context_->Recheck();
    BindTargets();
    context_->MarkTouched();

    const u32 width = state_.target->Width(), height = state_.target->Height();
    const D3DVIEWPORT9& v = state_.viewport;
    PixelRect bounds = Clip({0, 0, width, height}, v.X, v.Y, i64{v.X} + v.Width, i64{v.Y} + v.Height);
    if (state_.render[D3DRS_SCISSORTESTENABLE]) {
        const RECT& s = state_.scissor;
        bounds = Clip(bounds, s.left, s.top, s.right, s.bottom);
    }
    if (count == 0) ClearRect(bounds, flags, color, z, stencil);
    for (DWORD i = 0; i < count; ++i) {
        ClearRect(Clip(bounds, rects[i].x1, rects[i].y1, rects[i].x2, rects[i].y2), flags, color, z, stencil);
    }
    if (flags & D3DCLEAR_TARGET) state_.target->MarkDrawn();
    return D3D_OK;
}

// Clears a part of the framebuffer that is bound for drawing.
void GlDevice::ClearRect(const PixelRect& rect, DWORD flags, D3DCOLOR color, float z, DWORD stencil) {
    if (rect.Empty()) return;
    GlStateCache& gl = context_->State();
    gl.Enable(GlStateCache::kScissorTest, true);
    gl.Scissor(static_cast<GLint>(rect.left), static_cast<GLint>(rect.top),
               static_cast<GLsizei>(rect.right - rect.left), static_cast<GLsizei>(rect.bottom - rect.top));
    if (flags & D3DCLEAR_TARGET) {
        gl.ColorMask(true, true, true, true);
        const auto channel = [&](int shift) { return static_cast<float>((color >> shift) & 0xff) / 255.0f; };
        const GLfloat value[4] = {channel(16), channel(8), channel(0), channel(24)};
        glClearBufferfv(GL_COLOR, 0, value);
    }
    const GLfloat depth = std::isnan(z) ? 0.0f : std::clamp(z, 0.0f, 1.0f);
    const auto mask = static_cast<GLint>(stencil & 0xff);
    if (flags & D3DCLEAR_ZBUFFER) gl.DepthMask(true);
    if (flags & D3DCLEAR_STENCIL) gl.StencilMask(0xffffffffu);
    if ((flags & D3DCLEAR_ZBUFFER) && (flags & D3DCLEAR_STENCIL)) {
        glClearBufferfi(GL_DEPTH_STENCIL, 0, depth, mask);
    } else if (flags & D3DCLEAR_ZBUFFER) {
        glClearBufferfv(GL_DEPTH, 0, &depth);
    } else if (flags & D3DCLEAR_STENCIL) {
        glClearBufferiv(GL_STENCIL, 0, &mask);
    }
}

HRESULT GlDevice::ColorFill(IDirect3DSurface9* surface, const RECT* rect, D3DCOLOR color) {
    auto* target = static_cast<GlSurface*>(surface);
    if (!target || target->Pool() != D3DPOOL_DEFAULT || !target->Format().target) return D3DERR_INVALIDCALL;
    if (!(target->Usage() & D3DUSAGE_RENDERTARGET) && target->InTexture()) return D3DERR_INVALIDCALL;
    PixelRect part = target->Image().Whole(target->Level());
    if (rect) {
        if (rect->left < 0 || rect->top < 0 || rect->right <= rect->left || rect->bottom <= rect->top ||
            rect->right > static_cast<LONG>(part.right) || rect->bottom > static_cast<LONG>(part.bottom)) {
            return D3DERR_INVALIDCALL;
        }
        part = {static_cast<u32>(rect->left), static_cast<u32>(rect->top), static_cast<u32>(rect->right),
                static_cast<u32>(rect->bottom)};
    }
    context_->Recheck();
    context_->MarkTouched();
    if (target->Image().NeedsUpload()) target->Image().Upload();
    const GLuint framebuffer = context_->Framebuffer(target->Attachment(), {});
    context_->State().BindDrawFramebuffer(framebuffer);
    ClearRect(part, D3DCLEAR_TARGET, color, 1.0f, 0);
    target->MarkDrawn();
    return D3D_OK;
}

}  // namespace platform::gl
