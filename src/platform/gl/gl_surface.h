// IDirect3DSurface9 over one image: a level of a texture, a render target, a depth buffer, or plain memory.
#pragma once

#include <memory>

#include "platform/gl/gl_image.h"
#include "platform/gl/gl_object.h"

namespace platform::gl {

class GlTexture;

class GlSurface final : public IDirect3DSurface9, public GlObject {
  public:
    // A level of a texture: counted and kept with it.
    GlSurface(GlTexture& container, u32 face, u32 level, DWORD usage, D3DPOOL pool);
    // A surface of its own.
    GlSurface(GlDevice& device, const GlImage::Desc& image, DWORD usage, D3DPOOL pool,
              D3DMULTISAMPLE_TYPE samples, DWORD quality, bool lockable);
    ~GlSurface() override;

    GlImage& Image() const { return *image_; }
    const FormatTraits& Format() const { return image_->Format(); }
    u32 Width() const { return image_->Width(level_); }
    u32 Height() const { return image_->Height(level_); }
    u32 Face() const { return face_; }
    u32 Level() const { return level_; }
    DWORD Usage() const { return usage_; }
    D3DPOOL Pool() const { return pool_; }
    bool Multisampled() const { return image_->Description().samples > 1; }
    bool InTexture() const { return container_ != nullptr; }
    // The texture that it is a level of, or null.
    GlTexture* Container() const { return container_; }
    GlContext::Attachment Attachment() { return image_->AttachmentOf(face_, level_); }
    // Something was drawn into it.
    void MarkDrawn() { image_->MarkGlWritten(face_, level_); }

    // What the device holds: the container's for a level.
    void Hold();
    void Drop();

    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;
    HRESULT GetDevice(IDirect3DDevice9** device) override;
    DWORD SetPriority(DWORD priority) override;
    DWORD GetPriority() override;
    void PreLoad() override;
    D3DRESOURCETYPE GetType() override { return D3DRTYPE_SURFACE; }
    HRESULT GetContainer(REFIID riid, void** container) override;
    HRESULT GetDesc(D3DSURFACE_DESC* desc) override;
    // INVALIDCALL for surfaces that cannot be locked, rectangles outside or (for DXT) off the block grid, and
    // a second lock.
    HRESULT LockRect(D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) override;
    HRESULT UnlockRect() override;

  private:
    GlTexture* container_ = nullptr;
    std::unique_ptr<GlImage> own_;
    GlImage* image_;
    u32 face_ = 0, level_ = 0;
    DWORD usage_;
    D3DPOOL pool_;
    D3DMULTISAMPLE_TYPE samples_ = D3DMULTISAMPLE_NONE;
    DWORD quality_ = 0;
    bool lockable_;
    bool locked_ = false;
    DWORD lock_flags_ = 0;
    PixelRect lock_rect_;
    DWORD priority_ = 0;
};

}  // namespace platform::gl
