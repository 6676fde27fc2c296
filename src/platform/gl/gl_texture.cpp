#include "platform/gl/gl_texture.h"

#include <algorithm>
#include <bit>

#include "platform/gl/gl_device.h"

namespace platform::gl {
namespace {

GlImage::Desc ImageOf(const GlTexture::Desc& desc) {
    GlImage::Desc image;
    image.format = desc.format;
    image.width = desc.width;
    image.height = desc.height;
    image.levels = desc.levels;
    image.faces = desc.cube ? 6 : 1;
    image.in_gl = desc.pool == D3DPOOL_DEFAULT || desc.pool == D3DPOOL_MANAGED;
    image.in_memory = desc.pool != D3DPOOL_DEFAULT || (desc.usage & D3DUSAGE_DYNAMIC);
    image.target = (desc.usage & D3DUSAGE_RENDERTARGET) != 0;
    image.generate = (desc.usage & D3DUSAGE_AUTOGENMIPMAP) && !desc.format->Compressed();
    if (image.generate) image.gl_levels = static_cast<u32>(std::bit_width(std::max(desc.width, desc.height)));
    return image;
}

}  // namespace

GlTexture* GlTexture::From(IDirect3DBaseTexture9* texture) {
    if (!texture) return nullptr;
    if (texture->GetType() == D3DRTYPE_CUBETEXTURE) return static_cast<GlTextureCube*>(texture);
    return static_cast<GlTexture2D*>(texture);
}

GlTexture::GlTexture(GlDevice& device, const Desc& desc)
    : GlObject(device), usage_(desc.usage), pool_(desc.pool), image_(device.Context(), ImageOf(desc)) {
    const u32 faces = desc.cube ? 6 : 1;
    surfaces_.reserve(std::size_t{faces} * desc.levels);
    for (u32 face = 0; face < faces; ++face) {
        for (u32 level = 0; level < desc.levels; ++level) {
            surfaces_.push_back(std::make_unique<GlSurface>(*this, face, level, usage_, pool_));
        }
    }
}

GlTexture::~GlTexture() = default;

HRESULT GlTexture::Query(REFIID riid, REFIID own, void* self, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!(riid == own || riid == IID_IDirect3DBaseTexture9 || riid == IID_IDirect3DResource9 ||
          riid == IID_IUnknown)) {
        return E_NOINTERFACE;
    }
    AddPublic();
    *object = self;
    return S_OK;
}

HRESULT GlTexture::LevelDesc(u32 level, D3DSURFACE_DESC* desc) {
    return level < Levels() ? SurfaceAt(0, level).GetDesc(desc) : D3DERR_INVALIDCALL;
}

HRESULT GlTexture::LevelSurface(u32 face, u32 level, IDirect3DSurface9** surface) {
    if (!surface) return D3DERR_INVALIDCALL;
    *surface = nullptr;
    if (face >= image_.Description().faces || level >= Levels()) return D3DERR_INVALIDCALL;
    *surface = &SurfaceAt(face, level);
    (*surface)->AddRef();
    return D3D_OK;
}

HRESULT GlTexture::LockLevel(u32 face, u32 level, D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) {
    if (face >= image_.Description().faces || level >= Levels()) return D3DERR_INVALIDCALL;
    return SurfaceAt(face, level).LockRect(locked, rect, flags);
}

HRESULT GlTexture::UnlockLevel(u32 face, u32 level) {
    if (face >= image_.Description().faces || level >= Levels()) return D3DERR_INVALIDCALL;
    return SurfaceAt(face, level).UnlockRect();
}

HRESULT GlTexture::AddDirty(u32 face, const RECT* rect) {
    if (face >= image_.Description().faces) return D3DERR_INVALIDCALL;
    const PixelRect whole = image_.Whole(0);
    PixelRect part = whole;
    if (rect) {
        if (rect->left < 0 || rect->top < 0 || rect->right <= rect->left || rect->bottom <= rect->top ||
            rect->right > static_cast<LONG>(whole.right) || rect->bottom > static_cast<LONG>(whole.bottom)) {
            return D3DERR_INVALIDCALL;
        }
        part = {static_cast<u32>(rect->left), static_cast<u32>(rect->top), static_cast<u32>(rect->right),
                static_cast<u32>(rect->bottom)};
    }
    dirty_for_update = true;
    if (pool_ != D3DPOOL_MANAGED) return D3D_OK;
    // A rectangle of the first level stands for its like in every level.
    for (u32 level = 0; level < Levels(); ++level) {
        PixelRect scaled = {part.left >> level, part.top >> level, std::max(part.right >> level, 1u),
                            std::max(part.bottom >> level, 1u)};
        scaled.right = std::min(scaled.right + 1, image_.Width(level));
        scaled.bottom = std::min(scaled.bottom + 1, image_.Height(level));
        if (image_.Memory(face, level)) image_.MarkMemoryWritten(face, level, scaled);
    }
    return D3D_OK;
}

DWORD GlTexture::ChangeLod(DWORD lod) {
    const DWORD old = lod_;
    if (pool_ == D3DPOOL_MANAGED) {
        lod_ = std::min(lod, Levels() - 1);
        if (lod_ != old) Device().MarkTextureChanged(this);
    }
    return old;
}

HRESULT GlTexture::ChangeAutoGenFilter(D3DTEXTUREFILTERTYPE filter) {
    if (filter == D3DTEXF_NONE) return D3DERR_INVALIDCALL;
    auto_gen_filter = filter;
    return D3D_OK;
}

DWORD GlTexture::ChangePriority(DWORD priority) {
    const DWORD old = priority_;
    if (pool_ == D3DPOOL_MANAGED) priority_ = priority;
    return old;
}

}  // namespace platform::gl
