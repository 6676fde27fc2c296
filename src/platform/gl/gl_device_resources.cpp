// Creation of textures, surfaces and buffers.
#include <algorithm>
#include <bit>

#include "platform/gl/gl_buffer.h"
#include "platform/gl/gl_device.h"
#include "platform/gl/gl_texture.h"

namespace platform::gl {
namespace {

constexpr UINT kMaxBufferBytes = 1u << 30;

bool IsPool(D3DPOOL pool) { return pool >= D3DPOOL_DEFAULT && pool <= D3DPOOL_SCRATCH; }

}  // namespace

HRESULT GlDevice::CheckTexture(UINT width, UINT height, UINT& levels, DWORD& usage, D3DFORMAT format,
                               D3DPOOL pool, bool cube) const {
    const GlFeatures& features = context_->Features();
    const u32 limit = cube ? features.max_cube_size : features.max_texture_size;
    if (width == 0 || height == 0 || width > limit || height > limit || !IsPool(pool))
        return D3DERR_INVALIDCALL;

    const FormatTraits* traits = FindFormat(format);
    if (!traits || traits->depth) return D3DERR_INVALIDCALL;
    const bool plain = pool == D3DPOOL_SYSTEMMEM || pool == D3DPOOL_SCRATCH;
    if (!plain && (!traits->texture || (traits->Compressed() && !features.s3tc))) return D3DERR_INVALIDCALL;
    if (traits->Compressed() && pool != D3DPOOL_SCRATCH && (width % 4 != 0 || height % 4 != 0)) {
        return D3DERR_INVALIDCALL;
    }

    if (usage & ~(D3DUSAGE_RENDERTARGET | D3DUSAGE_DYNAMIC | D3DUSAGE_AUTOGENMIPMAP))
        return D3DERR_INVALIDCALL;
    if (usage & D3DUSAGE_RENDERTARGET) {
        if (pool != D3DPOOL_DEFAULT || !traits->target || (usage & D3DUSAGE_DYNAMIC))
            return D3DERR_INVALIDCALL;
    }
    if ((usage & D3DUSAGE_DYNAMIC) && (pool == D3DPOOL_MANAGED || pool == D3DPOOL_SCRATCH))
        return D3DERR_INVALIDCALL;

    const u32 chain = static_cast<u32>(std::bit_width(std::max(width, height)));
    if (usage & D3DUSAGE_AUTOGENMIPMAP) {
        if (plain || levels > 1) return D3DERR_INVALIDCALL;
        levels = 1;
    }
    if (levels == 0) levels = chain;
    return levels <= chain ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT GlDevice::CreateTexture(UINT width, UINT height, UINT levels, DWORD usage, D3DFORMAT format,
                                D3DPOOL pool, IDirect3DTexture9** texture, HANDLE*) {
    if (!texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    const HRESULT result = CheckTexture(width, height, levels, usage, format, pool, false);
    if (FAILED(result)) return result;
    *texture = new GlTexture2D(*this, {width, height, levels, usage, FindFormat(format), pool, false});
    (*texture)->AddRef();
    return D3D_OK;
}

HRESULT GlDevice::CreateCubeTexture(UINT edge, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                                    IDirect3DCubeTexture9** texture, HANDLE*) {
    if (!texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    const HRESULT result = CheckTexture(edge, edge, levels, usage, format, pool, true);
    if (FAILED(result)) return result;
    *texture = new GlTextureCube(*this, {edge, edge, levels, usage, FindFormat(format), pool, true});
    (*texture)->AddRef();
    return D3D_OK;
}

HRESULT GlDevice::CreateVertexBuffer(UINT length, DWORD usage, DWORD fvf, D3DPOOL pool,
                                     IDirect3DVertexBuffer9** buffer, HANDLE*) {
    if (!buffer) return D3DERR_INVALIDCALL;
    *buffer = nullptr;
    if (length == 0 || length > kMaxBufferBytes || !IsPool(pool) || pool == D3DPOOL_SCRATCH)
        return D3DERR_INVALIDCALL;
    if (usage & (D3DUSAGE_RENDERTARGET | D3DUSAGE_DEPTHSTENCIL | D3DUSAGE_AUTOGENMIPMAP))
        return D3DERR_INVALIDCALL;
    if ((usage & D3DUSAGE_DYNAMIC) && pool == D3DPOOL_MANAGED) return D3DERR_INVALIDCALL;
    *buffer = new GlVertexBuffer(*this, length, usage, fvf, pool);
    (*buffer)->AddRef();
    return D3D_OK;
}

HRESULT GlDevice::CreateIndexBuffer(UINT length, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                                    IDirect3DIndexBuffer9** buffer, HANDLE*) {
    if (!buffer) return D3DERR_INVALIDCALL;
    *buffer = nullptr;
    if (length == 0 || length > kMaxBufferBytes || !IsPool(pool) || pool == D3DPOOL_SCRATCH)
        return D3DERR_INVALIDCALL;
    if (format != D3DFMT_INDEX16 && format != D3DFMT_INDEX32) return D3DERR_INVALIDCALL;
    if (usage & (D3DUSAGE_RENDERTARGET | D3DUSAGE_DEPTHSTENCIL | D3DUSAGE_AUTOGENMIPMAP))
        return D3DERR_INVALIDCALL;
    if ((usage & D3DUSAGE_DYNAMIC) && pool == D3DPOOL_MANAGED) return D3DERR_INVALIDCALL;
    *buffer = new GlIndexBuffer(*this, length, usage, format, pool);
    (*buffer)->AddRef();
    return D3D_OK;
}

HRESULT GlDevice::CreateRenderTarget(UINT width, UINT height, D3DFORMAT format, D3DMULTISAMPLE_TYPE samples,
                                     DWORD quality, BOOL lockable, IDirect3DSurface9** surface, HANDLE*) {
    if (!surface) return D3DERR_INVALIDCALL;
    *surface = nullptr;
    const u32 limit = context_->Features().max_texture_size;
    GlImage::Desc image;
    image.format = FindFormat(format);
    const int count = SamplesOf(samples, quality);
    if (width == 0 || height == 0 || width > limit || height > limit || count < 0 || !image.format ||
        !image.format->target || (lockable && count > 0)) {
        return D3DERR_INVALIDCALL;
    }
    image.samples = static_cast<u32>(count);
    *surface = OwnSurface(width, height, image, D3DUSAGE_RENDERTARGET, D3DPOOL_DEFAULT, samples, quality,
                          lockable != FALSE);
    (*surface)->AddRef();
    return D3D_OK;
}

HRESULT GlDevice::CreateDepthStencilSurface(UINT width, UINT height, D3DFORMAT format,
                                            D3DMULTISAMPLE_TYPE samples, DWORD quality, BOOL,
                                            IDirect3DSurface9** surface, HANDLE*) {
    if (!surface) return D3DERR_INVALIDCALL;
    *surface = nullptr;
    const u32 limit = context_->Features().max_texture_size;
    GlImage::Desc image;
    image.format = FindFormat(format);
    const int count = SamplesOf(samples, quality);
    if (width == 0 || height == 0 || width > limit || height > limit || count < 0 || !image.format ||
        !image.format->depth) {
        return D3DERR_INVALIDCALL;
    }
    image.samples = static_cast<u32>(count);
    *surface =
        OwnSurface(width, height, image, D3DUSAGE_DEPTHSTENCIL, D3DPOOL_DEFAULT, samples, quality, false);
    (*surface)->AddRef();
    return D3D_OK;
}

HRESULT GlDevice::CreateOffscreenPlainSurface(UINT width, UINT height, D3DFORMAT format, D3DPOOL pool,
                                              IDirect3DSurface9** surface, HANDLE*) {
    if (!surface) return D3DERR_INVALIDCALL;
    *surface = nullptr;
    const u32 limit = context_->Features().max_texture_size;
    GlImage::Desc image;
    image.format = FindFormat(format);
    if (width == 0 || height == 0 || width > limit || height > limit || !IsPool(pool) ||
        pool == D3DPOOL_MANAGED || !image.format || image.format->depth) {
        return D3DERR_INVALIDCALL;
    }
    image.in_gl = pool == D3DPOOL_DEFAULT;
    if (image.in_gl &&
        (!image.format->texture || (image.format->Compressed() && !context_->Features().s3tc))) {
        return D3DERR_INVALIDCALL;
    }
    *surface = OwnSurface(width, height, image, 0, pool, D3DMULTISAMPLE_NONE, 0, true);
    (*surface)->AddRef();
    return D3D_OK;
}

}  // namespace platform::gl
