#include "platform/gl/gl_surface.h"

#include "platform/gl/gl_device.h"
#include "platform/gl/gl_texture.h"

namespace platform::gl {

GlSurface::GlSurface(GlTexture& container, u32 face, u32 level, DWORD usage, D3DPOOL pool)
    : GlObject(container.Device()),
      container_(&container),
      image_(&container.Image()),
      face_(face),
      level_(level),
      usage_(usage),
      pool_(pool),
      lockable_(pool != D3DPOOL_DEFAULT || (usage & D3DUSAGE_DYNAMIC)) {}

GlSurface::GlSurface(GlDevice& device, const GlImage::Desc& image, DWORD usage, D3DPOOL pool,
                     D3DMULTISAMPLE_TYPE samples, DWORD quality, bool lockable)
    : GlObject(device),
      own_(std::make_unique<GlImage>(device.Context(), image)),
      image_(own_.get()),
      usage_(usage),
      pool_(pool),
      samples_(samples),
      quality_(quality),
      lockable_(lockable) {}

GlSurface::~GlSurface() = default;

void GlSurface::Hold() {
    if (container_) {
        container_->Hold();
    } else {
        GlObject::Hold();
    }
}

void GlSurface::Drop() {
    if (container_) {
        container_->Drop();
    } else {
        GlObject::Drop();
    }
}

ULONG GlSurface::AddRef() { return container_ ? container_->AddPublic() : AddPublic(); }

ULONG GlSurface::Release() { return container_ ? container_->ReleasePublic() : ReleasePublic(); }

HRESULT GlSurface::QueryInterface(REFIID riid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!(riid == IID_IDirect3DSurface9 || riid == IID_IDirect3DResource9 || riid == IID_IUnknown)) {
        return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IDirect3DSurface9*>(this);
    return S_OK;
}

HRESULT GlSurface::GetDevice(IDirect3DDevice9** device) { return DeviceOut(device); }

DWORD GlSurface::SetPriority(DWORD priority) {
    const DWORD old = priority_;
    if (pool_ == D3DPOOL_MANAGED) priority_ = priority;
    return old;
}

DWORD GlSurface::GetPriority() { return priority_; }

void GlSurface::PreLoad() {
    if (image_->NeedsPrepare()) image_->Prepare();
}

HRESULT GlSurface::GetContainer(REFIID riid, void** container) {
    if (!container) return D3DERR_INVALIDCALL;
    if (container_) return container_->Interface()->QueryInterface(riid, container);
    return Device().QueryInterface(riid, container);
}

HRESULT GlSurface::GetDesc(D3DSURFACE_DESC* desc) {
    if (!desc) return D3DERR_INVALIDCALL;
    *desc = {Format().d3d, D3DRTYPE_SURFACE, usage_, pool_, samples_, quality_, Width(), Height()};
    return D3D_OK;
}

HRESULT GlSurface::LockRect(D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) {
    if (!locked) return D3DERR_INVALIDCALL;
    locked->pBits = nullptr;
    locked->Pitch = 0;
    if (!lockable_ || locked_) return D3DERR_INVALIDCALL;
    if ((flags & D3DLOCK_DISCARD) && (flags & D3DLOCK_READONLY)) return D3DERR_INVALIDCALL;

    PixelRect part = image_->Whole(level_);
    const u32 block = Format().block_size;
    if (rect) {
        if (rect->left < 0 || rect->top < 0 || rect->right <= rect->left || rect->bottom <= rect->top ||
            rect->right > static_cast<LONG>(part.right) || rect->bottom > static_cast<LONG>(part.bottom)) {
            return D3DERR_INVALIDCALL;
        }
        const PixelRect wanted = {static_cast<u32>(rect->left), static_cast<u32>(rect->top),
                                  static_cast<u32>(rect->right), static_cast<u32>(rect->bottom)};
        if (wanted.left % block || wanted.top % block ||
            (wanted.right % block && wanted.right != part.right) ||
            (wanted.bottom % block && wanted.bottom != part.bottom)) {
            return D3DERR_INVALIDCALL;
        }
        part = wanted;
    }
    const bool overwrite = (flags & D3DLOCK_DISCARD) && !rect;
    u8* memory = overwrite ? image_->MemoryForOverwrite(face_, level_) : image_->Memory(face_, level_);
    if (!memory) return E_OUTOFMEMORY;
    const u32 pitch = image_->Pitch(level_);
    locked->Pitch = static_cast<INT>(pitch);
    locked->pBits = memory + std::size_t{part.top / block} * pitch +
                    std::size_t{part.left / block} * Format().block_bytes;
    locked_ = true;
    lock_flags_ = flags;
    lock_rect_ = part;
    return D3D_OK;
}

HRESULT GlSurface::UnlockRect() {
    if (!locked_) return D3DERR_INVALIDCALL;
    locked_ = false;
    if (lock_flags_ & D3DLOCK_READONLY) return D3D_OK;
    // Without a dirty update the change waits for AddDirtyRect; outside textures there is none to wait for.
    if (container_ && (lock_flags_ & D3DLOCK_NO_DIRTY_UPDATE)) return D3D_OK;
    image_->MarkMemoryWritten(face_, level_, lock_rect_);
    if (container_) container_->dirty_for_update = true;
    return D3D_OK;
}

}  // namespace platform::gl
