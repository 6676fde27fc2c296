// The objects of the recording device: counted, registered with the recorder, in real memory.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "support/recorder.h"

namespace support {

class RecordingDevice;

/// Bytes of one pixel, or of one 4 x 4 block for DXT; 0 for a format that this device does not have.
u32 UnitBytes(D3DFORMAT format);
bool IsBlockFormat(D3DFORMAT format);

/// Keeps a device alive as long as its objects are held from outside.
struct DeviceShare {
    explicit DeviceShare(RecordingDevice* device);
    ~DeviceShare();
    DeviceShare(const DeviceShare&) = delete;
    DeviceShare& operator=(const DeviceShare&) = delete;
    RecordingDevice* device;
};

/// What the device can hold on to.
struct Bindable {
    virtual void Bind() = 0;
    virtual void Unbind() = 0;

  protected:
    ~Bindable() = default;
};

/// An object with two counts: references from outside, which keep the device alive, and binds by the device,
/// which do not. An object inside another one has no share of its own.
template <class Interface>
class Object : public Interface, public Bindable {
  public:
    Object(RecordingDevice* device, std::shared_ptr<Recorder> recorder, bool inside = false)
        : device_(device),
          recorder_(std::move(recorder)),
          share_(inside ? nullptr : std::make_unique<DeviceShare>(device)) {
        recorder_->Register(static_cast<Interface*>(this));
    }
    virtual ~Object() { recorder_->Unregister(static_cast<Interface*>(this)); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        if (!share_) share_ = std::make_unique<DeviceShare>(device_);
        return ++references_;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left != 0) return left;
        // The last share may take the device along, and with it the binds of this object.
        const std::unique_ptr<DeviceShare> share = std::move(share_);
        if (binds_ == 0) delete this;
        return 0;
    }
    void Bind() override { ++binds_; }
    void Unbind() override {
        if (--binds_ == 0 && references_ == 0) delete this;
    }
    HRESULT STDMETHODCALLTYPE GetDevice(IDirect3DDevice9** device) override;

  protected:
    RecordingDevice* const device_;
    const std::shared_ptr<Recorder> recorder_;

  private:
    std::unique_ptr<DeviceShare> share_;
    ULONG references_ = 1;
    ULONG binds_ = 0;
};

template <class Interface>
class Resource : public Object<Interface> {
  public:
    Resource(RecordingDevice* device, std::shared_ptr<Recorder> recorder, bool inside = false)
        : Object<Interface>(device, std::move(recorder), inside) {}
    DWORD STDMETHODCALLTYPE SetPriority(DWORD priority) override {
        return std::exchange(priority_, priority);
    }
    DWORD STDMETHODCALLTYPE GetPriority() override { return priority_; }
    void STDMETHODCALLTYPE PreLoad() override {}

  private:
    DWORD priority_ = 0;
};

/// Bytes that are locked a range at a time.
class Storage {
  public:
    /// Null, after a fault, for a range outside or a second lock. `size` 0 takes all from `offset` on.
    void* Lock(Recorder& recorder, u32 offset, u32 size, DWORD flags);
    /// False, after a fault, when not locked.
    bool Unlock(Recorder& recorder);
    bool Locked() const { return locked_; }

    std::vector<u8> bytes;

  private:
    std::unique_ptr<u8[]> exact_;
    u32 offset_ = 0, size_ = 0;
    bool locked_ = false, read_only_ = false;
};

class VertexBuffer final : public Resource<IDirect3DVertexBuffer9> {
  public:
    VertexBuffer(RecordingDevice* device, std::shared_ptr<Recorder> recorder,
                 const D3DVERTEXBUFFER_DESC& desc);
    D3DRESOURCETYPE STDMETHODCALLTYPE GetType() override { return D3DRTYPE_VERTEXBUFFER; }
    HRESULT STDMETHODCALLTYPE Lock(UINT offset, UINT size, void** data, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Unlock() override;
    HRESULT STDMETHODCALLTYPE GetDesc(D3DVERTEXBUFFER_DESC* desc) override;

    Storage storage;

  private:
    const D3DVERTEXBUFFER_DESC desc_;
};

class IndexBuffer final : public Resource<IDirect3DIndexBuffer9> {
  public:
    IndexBuffer(RecordingDevice* device, std::shared_ptr<Recorder> recorder, const D3DINDEXBUFFER_DESC& desc);
    D3DRESOURCETYPE STDMETHODCALLTYPE GetType() override { return D3DRTYPE_INDEXBUFFER; }
    HRESULT STDMETHODCALLTYPE Lock(UINT offset, UINT size, void** data, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Unlock() override;
    HRESULT STDMETHODCALLTYPE GetDesc(D3DINDEXBUFFER_DESC* desc) override;
    u32 IndexBytes() const { return desc_.Format == D3DFMT_INDEX32 ? 4 : 2; }

    Storage storage;

  private:
    const D3DINDEXBUFFER_DESC desc_;
};

/// A surface of its own, or one of a texture: then its references count as the texture's.
class Surface final : public Resource<IDirect3DSurface9> {
  public:
    Surface(RecordingDevice* device, std::shared_ptr<Recorder> recorder, const D3DSURFACE_DESC& desc,
            IDirect3DBaseTexture9* container = nullptr, Bindable* container_binds = nullptr);
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    void Bind() override;
    void Unbind() override;
    D3DRESOURCETYPE STDMETHODCALLTYPE GetType() override { return D3DRTYPE_SURFACE; }
    HRESULT STDMETHODCALLTYPE GetContainer(REFIID riid, void** container) override;
    HRESULT STDMETHODCALLTYPE GetDesc(D3DSURFACE_DESC* desc) override;
    HRESULT STDMETHODCALLTYPE LockRect(D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE UnlockRect() override;

    /// Copies `rect` (null: all) of `source` here, blocks as wholes; false when it does not fit.
    bool CopyFrom(Surface& source, const RECT* rect, const POINT* point);
    const D3DSURFACE_DESC& Desc() const { return desc_; }
    u32 Pitch() const;

    Storage storage;

  private:
    void Allocate();
    bool RectFits(const RECT& rect) const;
    const D3DSURFACE_DESC desc_;
    IDirect3DBaseTexture9* const container_;
    Bindable* const container_binds_;
};

/// What the two kinds of texture share: faces of levels of surfaces.
template <class Interface, u32 kFaces>
class TextureOf : public Resource<Interface> {
  public:
    TextureOf(RecordingDevice* device, std::shared_ptr<Recorder> recorder, const D3DSURFACE_DESC& top,
              u32 levels);
    ~TextureOf() override;
    DWORD STDMETHODCALLTYPE SetLOD(DWORD lod) override { return std::exchange(lod_, lod); }
    DWORD STDMETHODCALLTYPE GetLOD() override { return lod_; }
    DWORD STDMETHODCALLTYPE GetLevelCount() override { return levels_; }
    HRESULT STDMETHODCALLTYPE SetAutoGenFilterType(D3DTEXTUREFILTERTYPE filter) override {
        filter_ = filter;
        return D3D_OK;
    }
    D3DTEXTUREFILTERTYPE STDMETHODCALLTYPE GetAutoGenFilterType() override { return filter_; }
    void STDMETHODCALLTYPE GenerateMipSubLevels() override {}
    HRESULT STDMETHODCALLTYPE GetLevelDesc(UINT level, D3DSURFACE_DESC* desc) override;

    /// Null when there is no such surface.
    Surface* At(u32 face, u32 level) {
        return face < kFaces && level < levels_ ? surfaces_[face * levels_ + level] : nullptr;
    }
    HRESULT Give(u32 face, u32 level, IDirect3DSurface9** out);

  private:
    const u32 levels_;
    std::vector<Surface*> surfaces_;
    DWORD lod_ = 0;
    D3DTEXTUREFILTERTYPE filter_ = D3DTEXF_LINEAR;
};

class Texture final : public TextureOf<IDirect3DTexture9, 1> {
  public:
    using TextureOf::TextureOf;
    D3DRESOURCETYPE STDMETHODCALLTYPE GetType() override { return D3DRTYPE_TEXTURE; }
    HRESULT STDMETHODCALLTYPE GetSurfaceLevel(UINT level, IDirect3DSurface9** surface) override;
    HRESULT STDMETHODCALLTYPE LockRect(UINT level, D3DLOCKED_RECT* locked, const RECT* rect,
                                       DWORD flags) override;
    HRESULT STDMETHODCALLTYPE UnlockRect(UINT level) override;
    HRESULT STDMETHODCALLTYPE AddDirtyRect(const RECT*) override { return D3D_OK; }
};

class CubeTexture final : public TextureOf<IDirect3DCubeTexture9, 6> {
  public:
    using TextureOf::TextureOf;
    D3DRESOURCETYPE STDMETHODCALLTYPE GetType() override { return D3DRTYPE_CUBETEXTURE; }
    HRESULT STDMETHODCALLTYPE GetCubeMapSurface(D3DCUBEMAP_FACES face, UINT level,
                                                IDirect3DSurface9** surface) override;
    HRESULT STDMETHODCALLTYPE LockRect(D3DCUBEMAP_FACES face, UINT level, D3DLOCKED_RECT* locked,
                                       const RECT* rect, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE UnlockRect(D3DCUBEMAP_FACES face, UINT level) override;
    HRESULT STDMETHODCALLTYPE AddDirtyRect(D3DCUBEMAP_FACES, const RECT*) override { return D3D_OK; }
};

class VertexDeclaration final : public Object<IDirect3DVertexDeclaration9> {
  public:
    VertexDeclaration(RecordingDevice* device, std::shared_ptr<Recorder> recorder,
                      const D3DVERTEXELEMENT9* elements);
    HRESULT STDMETHODCALLTYPE GetDeclaration(D3DVERTEXELEMENT9* elements, UINT* count) override;

  private:
    std::vector<D3DVERTEXELEMENT9> elements_;
};

/// A vertex or pixel shader: its words, up to the end word.
template <class Interface>
class Shader final : public Object<Interface> {
  public:
    Shader(RecordingDevice* device, std::shared_ptr<Recorder> recorder, const DWORD* function);
    HRESULT STDMETHODCALLTYPE GetFunction(void* data, UINT* size) override;

  private:
    std::vector<DWORD> words_;
};

extern template class Shader<IDirect3DVertexShader9>;
extern template class Shader<IDirect3DPixelShader9>;
extern template class TextureOf<IDirect3DTexture9, 1>;
extern template class TextureOf<IDirect3DCubeTexture9, 6>;

}  // namespace support
