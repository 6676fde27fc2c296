#include "support/recording_resources.h"

#include <algorithm>
#include <cstring>

#include "platform/gl/shader_container.h"
#include "support/recording_device_impl.h"

namespace support {

u32 UnitBytes(D3DFORMAT format) {
    switch (format) {
        case D3DFMT_A8R8G8B8:
        case D3DFMT_X8R8G8B8:
        case D3DFMT_A8B8G8R8:
        case D3DFMT_X8B8G8R8:
        case D3DFMT_A2B10G10R10:
        case D3DFMT_A2R10G10B10:
        case D3DFMT_G16R16:
        case D3DFMT_Q8W8V8U8:
        case D3DFMT_D24S8:
        case D3DFMT_D24X8:
        case D3DFMT_D24X4S4:
        case D3DFMT_D32:
        case D3DFMT_R32F:
            return 4;
        case D3DFMT_R8G8B8:
            return 3;
        case D3DFMT_R5G6B5:
        case D3DFMT_X1R5G5B5:
        case D3DFMT_A1R5G5B5:
        case D3DFMT_A4R4G4B4:
        case D3DFMT_X4R4G4B4:
        case D3DFMT_A8R3G3B2:
        case D3DFMT_A8L8:
        case D3DFMT_V8U8:
        case D3DFMT_D16:
        case D3DFMT_D16_LOCKABLE:
        case D3DFMT_D15S1:
        case D3DFMT_L16:
            return 2;
        case D3DFMT_R3G3B2:
        case D3DFMT_A8:
        case D3DFMT_L8:
        case D3DFMT_A4L4:
            return 1;
        case D3DFMT_A16B16G16R16:
        case D3DFMT_A16B16G16R16F:
        case D3DFMT_DXT1:
            return 8;
        case D3DFMT_A32B32G32R32F:
        case D3DFMT_DXT2:
        case D3DFMT_DXT3:
        case D3DFMT_DXT4:
        case D3DFMT_DXT5:
            return 16;
        default:
            return 0;
    }
}

bool IsBlockFormat(D3DFORMAT format) {
    return format == D3DFMT_DXT1 || format == D3DFMT_DXT2 || format == D3DFMT_DXT3 || format == D3DFMT_DXT4 ||
           format == D3DFMT_DXT5;
}

namespace {

u32 UnitEdge(D3DFORMAT format) { return IsBlockFormat(format) ? 4 : 1; }
u32 Units(u32 pixels, D3DFORMAT format) { return (pixels + UnitEdge(format) - 1) / UnitEdge(format); }

}  // namespace

DeviceShare::DeviceShare(RecordingDevice* shared) : device(shared) { device->AddRef(); }
DeviceShare::~DeviceShare() { device->Release(); }

template <class Interface>
HRESULT Object<Interface>::GetDevice(IDirect3DDevice9** device) {
    *device = device_;
    device_->AddRef();
    return D3D_OK;
}

// ----------------------------------------------------------------------------------------------- storage

void* Storage::Lock(Recorder& recorder, u32 offset, u32 size, DWORD flags) {
    if (locked_) {
        recorder.Fault("lock of a locked resource");
        return nullptr;
    }
    if (size == 0 && offset <= bytes.size()) size = static_cast<u32>(bytes.size()) - offset;
    if (u64{offset} + size > bytes.size()) {
        // Refused like on any device, and no end to a fuzzing run: a weighted geometry asks for more indices
        // than it made room for.
        if (!recorder.options.abort_on_fault) {
            recorder.Fault("lock of bytes " + std::to_string(offset) + " to " +
                           std::to_string(u64{offset} + size) + " of " + std::to_string(bytes.size()));
        }
        return nullptr;
    }
    ++recorder.totals.locks;
    locked_ = true;
    read_only_ = (flags & D3DLOCK_READONLY) != 0;
    offset_ = offset;
    size_ = size;
    if (!recorder.options.exact_locks) return bytes.data() + offset;
    if (flags & D3DLOCK_DISCARD) std::ranges::fill(bytes, u8{0xcd});
    exact_ = std::make_unique_for_overwrite<u8[]>(size);
    std::copy_n(bytes.begin() + offset, size, exact_.get());
    return exact_.get();
}

bool Storage::Unlock(Recorder& recorder) {
    if (!locked_) {
        recorder.Fault("unlock without a lock");
        return false;
    }
    locked_ = false;
    if (exact_ && !read_only_) std::copy_n(exact_.get(), size_, bytes.begin() + offset_);
    exact_.reset();
    return true;
}

// ----------------------------------------------------------------------------------------------- buffers

VertexBuffer::VertexBuffer(RecordingDevice* device, std::shared_ptr<Recorder> recorder,
                           const D3DVERTEXBUFFER_DESC& desc)
    : Resource(device, std::move(recorder)), desc_(desc) {
    storage.bytes.resize(desc.Size);
    recorder_->RegisterContents(static_cast<IDirect3DVertexBuffer9*>(this), &storage.bytes);
}

HRESULT VertexBuffer::Lock(UINT offset, UINT size, void** data, DWORD flags) {
    recorder_->Add("VertexBuffer.Lock", {recorder_->IdOf(this), offset, size, flags});
    *data = storage.Lock(*recorder_, offset, size, flags);
    return *data || size == 0 ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT VertexBuffer::Unlock() {
    recorder_->Add("VertexBuffer.Unlock", {recorder_->IdOf(this)});
    return storage.Unlock(*recorder_) ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT VertexBuffer::GetDesc(D3DVERTEXBUFFER_DESC* desc) {
    *desc = desc_;
    return D3D_OK;
}

IndexBuffer::IndexBuffer(RecordingDevice* device, std::shared_ptr<Recorder> recorder,
                         const D3DINDEXBUFFER_DESC& desc)
    : Resource(device, std::move(recorder)), desc_(desc) {
    storage.bytes.resize(desc.Size);
    recorder_->RegisterContents(static_cast<IDirect3DIndexBuffer9*>(this), &storage.bytes);
}

HRESULT IndexBuffer::Lock(UINT offset, UINT size, void** data, DWORD flags) {
    recorder_->Add("IndexBuffer.Lock", {recorder_->IdOf(this), offset, size, flags});
    *data = storage.Lock(*recorder_, offset, size, flags);
    return *data || size == 0 ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT IndexBuffer::Unlock() {
    recorder_->Add("IndexBuffer.Unlock", {recorder_->IdOf(this)});
    return storage.Unlock(*recorder_) ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT IndexBuffer::GetDesc(D3DINDEXBUFFER_DESC* desc) {
    *desc = desc_;
    return D3D_OK;
}

// ---------------------------------------------------------------------------------------------- surfaces

Surface::Surface(RecordingDevice* device, std::shared_ptr<Recorder> recorder, const D3DSURFACE_DESC& desc,
                 IDirect3DBaseTexture9* container, Bindable* container_binds)
    : Resource(device, std::move(recorder), container != nullptr),
      desc_(desc),
      container_(container),
      container_binds_(container_binds) {}

ULONG Surface::AddRef() { return container_ ? container_->AddRef() : Resource::AddRef(); }
ULONG Surface::Release() { return container_ ? container_->Release() : Resource::Release(); }
void Surface::Bind() { container_ ? container_binds_->Bind() : Resource::Bind(); }
void Surface::Unbind() { container_ ? container_binds_->Unbind() : Resource::Unbind(); }

HRESULT Surface::GetContainer(REFIID, void** container) {
    *container = container_;
    if (!container_) return E_NOINTERFACE;
    container_->AddRef();
    return D3D_OK;
}

HRESULT Surface::GetDesc(D3DSURFACE_DESC* desc) {
    *desc = desc_;
    return D3D_OK;
}

u32 Surface::Pitch() const { return Units(desc_.Width, desc_.Format) * UnitBytes(desc_.Format); }

// Most targets are never read, so the memory waits for the first who looks.
void Surface::Allocate() {
    if (storage.bytes.empty()) storage.bytes.resize(std::size_t{Pitch()} * Units(desc_.Height, desc_.Format));
}

bool Surface::RectFits(const RECT& rect) const {
    return rect.left >= 0 && rect.top >= 0 && rect.left < rect.right && rect.top < rect.bottom &&
           static_cast<u32>(rect.right) <= desc_.Width && static_cast<u32>(rect.bottom) <= desc_.Height;
}

HRESULT Surface::LockRect(D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) {
    const RECT all{0, 0, static_cast<LONG>(desc_.Width), static_cast<LONG>(desc_.Height)};
    const RECT& r = rect ? *rect : all;
    recorder_->Add("Surface.LockRect", {recorder_->IdOf(this), r.left, r.top, r.right, r.bottom, flags});
    *locked = {};
    if (!RectFits(r)) {
        recorder_->Fault("lock of a rectangle outside its surface");
        return D3DERR_INVALIDCALL;
    }
    Allocate();
    const u32 edge = UnitEdge(desc_.Format), unit = UnitBytes(desc_.Format);
    const u32 left = static_cast<u32>(r.left) / edge, top = static_cast<u32>(r.top) / edge;
    const u32 right = Units(static_cast<u32>(r.right), desc_.Format);
    const u32 bottom = Units(static_cast<u32>(r.bottom), desc_.Format);
    const u32 size = (bottom - top - 1) * Pitch() + (right - left) * unit;
    locked->pBits = storage.Lock(*recorder_, top * Pitch() + left * unit, size, flags);
    locked->Pitch = static_cast<INT>(Pitch());
    return locked->pBits ? D3D_OK : D3DERR_INVALIDCALL;
}

HRESULT Surface::UnlockRect() {
    recorder_->Add("Surface.UnlockRect", {recorder_->IdOf(this)});
    return storage.Unlock(*recorder_) ? D3D_OK : D3DERR_INVALIDCALL;
}

bool Surface::CopyFrom(Surface& source, const RECT* rect, const POINT* point) {
    const RECT all{0, 0, static_cast<LONG>(source.desc_.Width), static_cast<LONG>(source.desc_.Height)};
    const RECT& from = rect ? *rect : all;
    const POINT to = point ? *point : POINT{0, 0};
    const RECT target{to.x, to.y, to.x + from.right - from.left, to.y + from.bottom - from.top};
    if (source.desc_.Format != desc_.Format || !source.RectFits(from) || !RectFits(target)) return false;
    if (storage.Locked() || source.storage.Locked()) return false;
    source.Allocate();
    Allocate();
    const u32 edge = UnitEdge(desc_.Format), unit = UnitBytes(desc_.Format);
    const u32 width = Units(static_cast<u32>(from.right), desc_.Format) - static_cast<u32>(from.left) / edge;
    const u32 height = Units(static_cast<u32>(from.bottom), desc_.Format) - static_cast<u32>(from.top) / edge;
    for (u32 row = 0; row < height; ++row) {
        const u32 in = (static_cast<u32>(from.top) / edge + row) * source.Pitch() +
                       static_cast<u32>(from.left) / edge * unit;
        const u32 out =
            (static_cast<u32>(to.y) / edge + row) * Pitch() + static_cast<u32>(to.x) / edge * unit;
        std::memcpy(storage.bytes.data() + out, source.storage.bytes.data() + in, width * unit);
    }
    return true;
}

// ---------------------------------------------------------------------------------------------- textures

template <class Interface, u32 kFaces>
TextureOf<Interface, kFaces>::TextureOf(RecordingDevice* device, std::shared_ptr<Recorder> recorder,
                                        const D3DSURFACE_DESC& top, u32 levels)
    : Resource<Interface>(device, recorder), levels_(levels) {
    for (u32 face = 0; face < kFaces; ++face) {
        D3DSURFACE_DESC desc = top;
        for (u32 level = 0; level < levels; ++level) {
            surfaces_.push_back(new Surface(device, recorder, desc, this, this));
            desc.Width = std::max(desc.Width / 2, 1u);
            desc.Height = std::max(desc.Height / 2, 1u);
        }
    }
}

template <class Interface, u32 kFaces>
TextureOf<Interface, kFaces>::~TextureOf() {
    for (Surface* surface : surfaces_) {
        if (surface->storage.Locked()) this->recorder_->Fault("texture ended while locked");
        delete surface;
    }
}

template <class Interface, u32 kFaces>
HRESULT TextureOf<Interface, kFaces>::GetLevelDesc(UINT level, D3DSURFACE_DESC* desc) {
    if (level >= levels_) return D3DERR_INVALIDCALL;
    *desc = surfaces_[level]->Desc();
    return D3D_OK;
}

template <class Interface, u32 kFaces>
HRESULT TextureOf<Interface, kFaces>::Give(u32 face, u32 level, IDirect3DSurface9** out) {
    *out = At(face, level);
    if (!*out) return D3DERR_INVALIDCALL;
    (*out)->AddRef();
    return D3D_OK;
}

template class TextureOf<IDirect3DTexture9, 1>;
template class TextureOf<IDirect3DCubeTexture9, 6>;

HRESULT Texture::GetSurfaceLevel(UINT level, IDirect3DSurface9** surface) { return Give(0, level, surface); }

HRESULT Texture::LockRect(UINT level, D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) {
    Surface* surface = At(0, level);
    return surface ? surface->LockRect(locked, rect, flags) : D3DERR_INVALIDCALL;
}

HRESULT Texture::UnlockRect(UINT level) {
    Surface* surface = At(0, level);
    return surface ? surface->UnlockRect() : D3DERR_INVALIDCALL;
}

HRESULT CubeTexture::GetCubeMapSurface(D3DCUBEMAP_FACES face, UINT level, IDirect3DSurface9** surface) {
    return Give(static_cast<u32>(face), level, surface);
}

HRESULT CubeTexture::LockRect(D3DCUBEMAP_FACES face, UINT level, D3DLOCKED_RECT* locked, const RECT* rect,
                              DWORD flags) {
    Surface* surface = At(static_cast<u32>(face), level);
    return surface ? surface->LockRect(locked, rect, flags) : D3DERR_INVALIDCALL;
}

HRESULT CubeTexture::UnlockRect(D3DCUBEMAP_FACES face, UINT level) {
    Surface* surface = At(static_cast<u32>(face), level);
    return surface ? surface->UnlockRect() : D3DERR_INVALIDCALL;
}

// --------------------------------------------------------------------------- declarations and shaders

VertexDeclaration::VertexDeclaration(RecordingDevice* device, std::shared_ptr<Recorder> recorder,
                                     const D3DVERTEXELEMENT9* elements)
    : Object(device, std::move(recorder)) {
    do {
        elements_.push_back(*elements);
    } while (elements++->Stream != 0xff && elements_.size() <= MAXD3DDECLLENGTH);
}

HRESULT VertexDeclaration::GetDeclaration(D3DVERTEXELEMENT9* elements, UINT* count) {
    *count = static_cast<UINT>(elements_.size());
    if (elements) std::ranges::copy(elements_, elements);
    return D3D_OK;
}

template <class Interface>
Shader<Interface>::Shader(RecordingDevice* device, std::shared_ptr<Recorder> recorder, const DWORD* function)
    : Object<Interface>(device, std::move(recorder)) {
    // What this machine's own compiler makes says how long it is; byte code ends with a token.
    if (*function == platform::gl::kShaderContainerMagic) {
        words_.assign(function, function + function[1] / sizeof(DWORD));
        return;
    }
    do {
        words_.push_back(*function);
    } while (*function++ != 0x0000ffff);
}

template <class Interface>
HRESULT Shader<Interface>::GetFunction(void* data, UINT* size) {
    *size = static_cast<UINT>(words_.size() * sizeof(DWORD));
    if (data) std::memcpy(data, words_.data(), *size);
    return D3D_OK;
}

template class Shader<IDirect3DVertexShader9>;
template class Shader<IDirect3DPixelShader9>;

}  // namespace support
