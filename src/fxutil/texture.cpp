#include "fxutil/texture.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "fxutil/raster.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/system/file_path.h"

namespace {

using fxutil::FindTexelFormat;
using fxutil::Image;
using fxutil::ImageLevel;
using fxutil::Raster;
using fxutil::ResampleFilter;
using fxutil::ResampleKernel;
using fxutil::Rgba;
using fxutil::TexelFormat;
using fxutil::TexelKind;

/// The flags of a D3DX filter argument taken apart.
struct Filter {
    ResampleFilter resample;
    bool dither;

    Filter(DWORD flags, DWORD otherwise) {
        if (flags == D3DX_DEFAULT) flags = otherwise;
        resample.kernel =
            static_cast<ResampleKernel>(std::clamp(flags & 0xff, D3DX_FILTER_NONE, D3DX_FILTER_BOX) - 1);
        resample.mirror_u = (flags & D3DX_FILTER_MIRROR_U) != 0;
        resample.mirror_v = (flags & D3DX_FILTER_MIRROR_V) != 0;
        dither = (flags & D3DX_FILTER_DITHER) != 0;
    }
};
static_assert(static_cast<DWORD>(ResampleKernel::kNone) + 1 == D3DX_FILTER_NONE &&
              static_cast<DWORD>(ResampleKernel::kBox) + 1 == D3DX_FILTER_BOX);

constexpr DWORD kDefaultFilter = D3DX_FILTER_TRIANGLE | D3DX_FILTER_DITHER;

/// The whole of a surface, open for writing. One that cannot be locked is written in a copy, which Finish
/// sends.
class SurfaceWriter {
  public:
    HRESULT Open(IDirect3DSurface9* surface) {
        target_ = surface;
        HRESULT hr = surface->GetDesc(&desc_);
        if (FAILED(hr)) return hr;
        if (SUCCEEDED(surface->LockRect(&locked_, nullptr, 0))) {
            open_ = surface;
            return D3D_OK;
        }
        hr = surface->GetDevice(device_.Put());
        if (FAILED(hr)) return hr;
        hr = device_->CreateOffscreenPlainSurface(desc_.Width, desc_.Height, desc_.Format, D3DPOOL_SYSTEMMEM,
                                                  staging_.Put(), nullptr);
        if (FAILED(hr)) return hr;
        hr = staging_->LockRect(&locked_, nullptr, 0);
        if (SUCCEEDED(hr)) open_ = staging_.Get();
        return hr;
    }
    ~SurfaceWriter() {
        if (open_) open_->UnlockRect();
    }
    HRESULT Finish(const RECT* rect) {
        const HRESULT hr = open_->UnlockRect();
        open_ = nullptr;
        if (FAILED(hr) || !staging_) return hr;
        const POINT at = {rect ? rect->left : 0, rect ? rect->top : 0};
        return device_->UpdateSurface(staging_.Get(), rect, target_, rect ? &at : nullptr);
    }

    const D3DSURFACE_DESC& Desc() const { return desc_; }
    u8* Data() const { return static_cast<u8*>(locked_.pBits); }
    u32 Pitch() const { return static_cast<u32>(locked_.Pitch); }

  private:
    IDirect3DSurface9* target_ = nullptr;
    IDirect3DSurface9* open_ = nullptr;
    ComPtr<IDirect3DSurface9> staging_;
    ComPtr<IDirect3DDevice9> device_;
    D3DSURFACE_DESC desc_{};
    D3DLOCKED_RECT locked_{};
};

/// The whole of a surface, open for reading.
class SurfaceReader {
  public:
    HRESULT Open(IDirect3DSurface9* surface) {
        HRESULT hr = surface->GetDesc(&desc_);
        if (SUCCEEDED(hr)) hr = surface->LockRect(&locked_, nullptr, D3DLOCK_READONLY);
        if (SUCCEEDED(hr)) surface_ = surface;
        return hr;
    }
    ~SurfaceReader() {
        if (surface_) surface_->UnlockRect();
    }
    D3DFORMAT Format() const { return desc_.Format; }
    ImageLevel Level() const {
        return {static_cast<const u8*>(locked_.pBits), desc_.Width, desc_.Height,
                static_cast<u32>(locked_.Pitch)};
    }

  private:
    IDirect3DSurface9* surface_ = nullptr;
    D3DSURFACE_DESC desc_{};
    D3DLOCKED_RECT locked_{};
};

ComPtr<IDirect3DSurface9> SurfaceOf(IDirect3DTexture9* texture, u32, u32 level) {
    ComPtr<IDirect3DSurface9> surface;
    texture->GetSurfaceLevel(level, surface.Put());
    return surface;
}

ComPtr<IDirect3DSurface9> SurfaceOf(IDirect3DCubeTexture9* texture, u32 face, u32 level) {
    ComPtr<IDirect3DSurface9> surface;
    texture->GetCubeMapSurface(static_cast<D3DCUBEMAP_FACES>(face), level, surface.Put());
    return surface;
}

bool IsWritable(D3DFORMAT format) {
    const TexelFormat* f = FindTexelFormat(format);
    return f && f->kind != TexelKind::kPalette;
}

void CopyRows(const ImageLevel& source, D3DFORMAT format, u8* out, u32 pitch) {
    const u32 bytes = fxutil::RowBytes(format, source.width), rows = fxutil::RowCount(format, source.height);
    for (u32 y = 0; y < rows; ++y) {
        std::memcpy(out + std::size_t{y} * pitch, source.data + std::size_t{y} * source.pitch, bytes);
    }
}

/// Runs `work` with an empty texel of the kind that carries both formats without loss.
template <class Work>
HRESULT WithTexelFor(D3DFORMAT a, D3DFORMAT b, Work work) {
    const TexelFormat *fa = FindTexelFormat(a), *fb = FindTexelFormat(b);
    if (!fa || !fb) return D3DERR_INVALIDCALL;
    return fa->IsNarrow() && fb->IsNarrow() ? work(u32{}) : work(Rgba{});
}

template <class Texel>
HRESULT WriteSurface(IDirect3DSurface9* surface, const Raster<Texel>& raster, bool dither) {
    SurfaceWriter writer;
    if (const HRESULT hr = writer.Open(surface); FAILED(hr)) return hr;
    const D3DSURFACE_DESC& desc = writer.Desc();
    if (!IsWritable(desc.Format) || desc.Width != raster.width || desc.Height != raster.height) {
        return D3DERR_INVALIDCALL;
    }
    fxutil::WriteRaster(raster, desc.Format, dither, writer.Data(), writer.Pitch());
    return writer.Finish(nullptr);
}

HRESULT CopySurface(IDirect3DSurface9* surface, const ImageLevel& level) {
    SurfaceWriter writer;
    if (const HRESULT hr = writer.Open(surface); FAILED(hr)) return hr;
    CopyRows(level, writer.Desc().Format, writer.Data(), writer.Pitch());
    return writer.Finish(nullptr);
}

/// How an image becomes the levels of a texture.
struct FillPlan {
    Filter filter, mip_filter;
    D3DCOLOR color_key;
};

template <class Texel, class Texture>
HRESULT FillFace(const Image& image, u32 face, Texture* texture, const D3DSURFACE_DESC& top,
                 const FillPlan& plan, Texel) {
    const u32 levels = texture->GetLevelCount();
    const bool same_size = top.Width == image.info.Width && top.Height == image.info.Height;
    const bool as_is = top.Format == image.info.Format && plan.color_key == 0;
    Raster<Texel> raster;
    for (u32 i = 0; i < levels; ++i) {
        const ComPtr<IDirect3DSurface9> surface = SurfaceOf(texture, face, i);
        if (!surface) return D3DERR_INVALIDCALL;
        const bool stored = i == 0 || (same_size && i < image.info.MipLevels);
        HRESULT hr = D3D_OK;
        if (stored && same_size && as_is) {
            hr = CopySurface(surface.Get(), image.Level(face, i));
            // Levels to come may have to be made out of this one.
            const bool last = i + 1 == std::min(levels, image.info.MipLevels);
            if (SUCCEEDED(hr) && last && i + 1 < levels) {
                raster =
                    fxutil::ReadRaster<Texel>(image.info.Format, image.palette.data(), image.Level(face, i));
            }
        } else {
            if (stored) {
                raster =
                    fxutil::ReadRaster<Texel>(image.info.Format, image.palette.data(), image.Level(face, i));
                if (plan.color_key) fxutil::ApplyColorKey(&raster, plan.color_key);
                if (i == 0)
                    raster = fxutil::Resample(std::move(raster), top.Width, top.Height, plan.filter.resample);
            } else {
                raster = fxutil::Resample(std::move(raster), std::max(top.Width >> i, 1u),
                                          std::max(top.Height >> i, 1u), plan.mip_filter.resample);
            }
            hr = WriteSurface(surface.Get(), raster, plan.filter.dither && top.Format != image.info.Format);
        }
        if (FAILED(hr)) return hr;
    }
    return D3D_OK;
}

template <class Texture>
HRESULT Fill(const Image& image, Texture* texture, const FillPlan& plan) {
    D3DSURFACE_DESC top;
    if (const HRESULT hr = texture->GetLevelDesc(0, &top); FAILED(hr)) return hr;
    const u32 faces = texture->GetType() == D3DRTYPE_CUBETEXTURE ? 6 : 1;
    for (u32 face = 0; face < faces; ++face) {
        const HRESULT hr = WithTexelFor(image.info.Format, top.Format, [&](auto texel) {
            return FillFace(image, std::min(face, image.Faces() - 1), texture, top, plan, texel);
        });
        if (FAILED(hr)) return hr;
    }
    return D3D_OK;
}

HRESULT CreateEmpty(IDirect3DDevice9* device, UINT width, UINT height, UINT levels, DWORD usage,
                    D3DFORMAT format, D3DPOOL pool, IDirect3DTexture9** texture) {
    return device->CreateTexture(width, height, levels, usage, format, pool, texture, nullptr);
}

HRESULT CreateEmpty(IDirect3DDevice9* device, UINT size, UINT, UINT levels, DWORD usage, D3DFORMAT format,
                    D3DPOOL pool, IDirect3DCubeTexture9** texture) {
    return device->CreateCubeTexture(size, levels, usage, format, pool, texture, nullptr);
}

/// The texture of an image: made where the caller wants it, and filled there or through system memory.
template <class Texture>
HRESULT CreateFilled(IDirect3DDevice9* device, const Image& image, UINT width, UINT height, UINT levels,
                     DWORD usage, D3DFORMAT format, D3DPOOL pool, const FillPlan& plan, Texture** out) {
    ComPtr<Texture> texture;
    HRESULT hr = CreateEmpty(device, width, height, levels, usage, format, pool, texture.Put());
    if (FAILED(hr)) return hr;
    if (pool != D3DPOOL_DEFAULT || (usage & D3DUSAGE_DYNAMIC)) {
        hr = Fill(image, texture.Get(), plan);
    } else {
        ComPtr<Texture> staging;
        const UINT staged = usage & D3DUSAGE_AUTOGENMIPMAP ? 1 : texture->GetLevelCount();
        hr = CreateEmpty(device, width, height, staged, 0, format, D3DPOOL_SYSTEMMEM, staging.Put());
        if (SUCCEEDED(hr)) hr = Fill(image, staging.Get(), plan);
        if (SUCCEEDED(hr)) hr = device->UpdateTexture(staging.Get(), texture.Get());
    }
    if (SUCCEEDED(hr)) *out = texture.Detach();
    return hr;
}

UINT WishedSize(UINT wish, UINT stored) {
    if (wish == D3DX_DEFAULT_NONPOW2 || wish == D3DX_FROM_FILE) return stored;
    return wish == 0 || wish == D3DX_DEFAULT ? std::bit_ceil(stored) : wish;
}

UINT WishedLevels(UINT wish, UINT stored) {
    if (wish == D3DX_FROM_FILE) return stored;
    return wish == D3DX_DEFAULT ? 0 : wish;
}

D3DFORMAT WishedFormat(D3DFORMAT wish, const Image& image) {
    const UINT number = static_cast<UINT>(wish);
    return wish == D3DFMT_UNKNOWN || number == D3DX_DEFAULT || number == D3DX_FROM_FILE ? image.info.Format
                                                                                        : wish;
}

void GivePalette(const Image& image, PALETTEENTRY* palette) {
    for (std::size_t i = 0; i < 256; ++i) {
        const u32 c = image.palette.empty() ? 0xffffffffu : image.palette[i];
        palette[i] = {static_cast<BYTE>(c >> 16), static_cast<BYTE>(c >> 8), static_cast<BYTE>(c),
                      static_cast<BYTE>(c >> 24)};
    }
}

std::vector<u32> TakePalette(const PALETTEENTRY* palette) {
    std::vector<u32> colors(palette ? 256 : 0);
    for (std::size_t i = 0; i < colors.size(); ++i) {
        colors[i] = u32{palette[i].peFlags} << 24 | u32{palette[i].peRed} << 16 |
                    u32{palette[i].peGreen} << 8 | palette[i].peBlue;
    }
    return colors;
}

bool ReadWholeFile(const char* path, std::vector<u8>* bytes) {
    std::error_code error;
    // Anything but a plain file may be endless.
    const std::filesystem::path whole = platform::FilePath(path);
    if (!std::filesystem::is_regular_file(whole, error)) return false;
    const auto size = std::filesystem::file_size(whole, error);
    if (error || size == 0 || size > 0x7fffffffu) return false;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path, "rb"), std::fclose);
    if (!file) return false;
    bytes->resize(static_cast<std::size_t>(size));
    return std::fread(bytes->data(), 1, bytes->size(), file.get()) == bytes->size();
}

/// `surface` pixels of a rectangle, as a level of their own. False for a rectangle that is empty, reaches
/// outside, or cuts blocks apart.
bool CutOut(const ImageLevel& level, D3DFORMAT format, const RECT& rect, ImageLevel* out) {
    const TexelFormat* f = FindTexelFormat(format);
    if (!f || rect.left < 0 || rect.top < 0 || rect.right <= rect.left || rect.bottom <= rect.top)
        return false;
    const u32 left = static_cast<u32>(rect.left), top = static_cast<u32>(rect.top);
    const u32 right = static_cast<u32>(rect.right), bottom = static_cast<u32>(rect.bottom);
    if (right > level.width || bottom > level.height) return false;
    const bool block = f->kind == TexelKind::kBlock;
    if (block && ((left | top) & 3)) return false;
    if (block && ((right & 3 && right != level.width) || (bottom & 3 && bottom != level.height)))
        return false;
    const u32 step = block ? 4 : 1;
    *out = {level.data + std::size_t{top / step} * level.pitch + std::size_t{left / step} * (f->bits / 8u),
            right - left, bottom - top, level.pitch};
    return true;
}

RECT Whole(u32 width, u32 height) { return {0, 0, static_cast<LONG>(width), static_cast<LONG>(height)}; }

HRESULT LoadSurface(IDirect3DSurface9* dest, const RECT* dest_rect, const ImageLevel& source,
                    D3DFORMAT source_format, const u32* palette, DWORD filter_flags, D3DCOLOR color_key) {
    const Filter filter(filter_flags, kDefaultFilter);
    SurfaceWriter writer;
    if (const HRESULT hr = writer.Open(dest); FAILED(hr)) return hr;
    const D3DSURFACE_DESC& desc = writer.Desc();
    const RECT rect = dest_rect ? *dest_rect : Whole(desc.Width, desc.Height);
    ImageLevel target;
    if (!CutOut({writer.Data(), desc.Width, desc.Height, writer.Pitch()}, desc.Format, rect, &target)) {
        return D3DERR_INVALIDCALL;
    }
    u8* const out = writer.Data() + (target.data - writer.Data());
    if (source_format == desc.Format && source.width == target.width && source.height == target.height &&
        color_key == 0) {
        CopyRows(source, source_format, out, writer.Pitch());
        return writer.Finish(dest_rect);
    }
    const TexelFormat* from = FindTexelFormat(source_format);
    if (!from || !IsWritable(desc.Format) || (from->kind == TexelKind::kPalette && !palette)) {
        return D3DERR_INVALIDCALL;
    }
    const HRESULT hr = WithTexelFor(source_format, desc.Format, [&](auto texel) {
        auto raster = fxutil::ReadRaster<decltype(texel)>(source_format, palette, source);
        if (color_key) fxutil::ApplyColorKey(&raster, color_key);
        raster = fxutil::Resample(std::move(raster), target.width, target.height, filter.resample);
        fxutil::WriteRaster(raster, desc.Format, filter.dither && source_format != desc.Format, out,
                            writer.Pitch());
        return D3D_OK;
    });
    return FAILED(hr) ? hr : writer.Finish(dest_rect);
}

/// Makes the levels below `source_level` of one face.
template <class Texture>
HRESULT FilterFace(Texture* texture, u32 face, u32 source_level, const Filter& filter, const u32* palette) {
    const u32 levels = texture->GetLevelCount();
    const ComPtr<IDirect3DSurface9> source = SurfaceOf(texture, face, source_level);
    if (!source) return D3DERR_INVALIDCALL;
    D3DSURFACE_DESC desc;
    source->GetDesc(&desc);
    const TexelFormat* format = FindTexelFormat(desc.Format);
    if (!format || (format->kind == TexelKind::kPalette && !palette)) return D3DERR_INVALIDCALL;
    return WithTexelFor(desc.Format, desc.Format, [&](auto texel) -> HRESULT {
        Raster<decltype(texel)> raster;
        {
            SurfaceReader reader;
            if (const HRESULT hr = reader.Open(source.Get()); FAILED(hr)) return hr;
            raster = fxutil::ReadRaster<decltype(texel)>(reader.Format(), palette, reader.Level());
        }
        for (u32 i = source_level + 1; i < levels; ++i) {
            const ComPtr<IDirect3DSurface9> surface = SurfaceOf(texture, face, i);
            if (!surface) return D3DERR_INVALIDCALL;
            const u32 width = std::max(raster.width / 2, 1u);
            const u32 height = std::max(raster.height / 2, 1u);
            raster = fxutil::Resample(std::move(raster), width, height, filter.resample);
            if (const HRESULT hr = WriteSurface(surface.Get(), raster, filter.dither); FAILED(hr)) return hr;
        }
        return D3D_OK;
    });
}

template <class Work>
HRESULT WithoutThrowing(Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace

HRESULT D3DXGetImageInfoFromFileInMemory(const void* data, UINT size, D3DXIMAGE_INFO* info) {
    if (!data || !size) return D3DERR_INVALIDCALL;
    D3DXIMAGE_INFO read;
    if (!fxutil::ReadImageInfo({static_cast<const u8*>(data), size}, &read)) return D3DXERR_INVALIDDATA;
    if (info) *info = read;
    return D3D_OK;
}

HRESULT D3DXGetImageInfoFromFileA(const char* file, D3DXIMAGE_INFO* info) {
    if (!file) return D3DERR_INVALIDCALL;
    return WithoutThrowing([&] {
        std::vector<u8> bytes;
        if (!ReadWholeFile(file, &bytes)) return D3DXERR_INVALIDDATA;
        return D3DXGetImageInfoFromFileInMemory(bytes.data(), static_cast<UINT>(bytes.size()), info);
    });
}

HRESULT D3DXCreateTextureFromFileInMemoryEx(IDirect3DDevice9* device, const void* data, UINT size, UINT width,
                                            UINT height, UINT levels, DWORD usage, D3DFORMAT format,
                                            D3DPOOL pool, DWORD filter, DWORD mip_filter, D3DCOLOR color_key,
                                            D3DXIMAGE_INFO* info, PALETTEENTRY* palette,
                                            IDirect3DTexture9** texture) {
    if (!texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    if (!device || !data || !size) return D3DERR_INVALIDCALL;
    return WithoutThrowing([&]() -> HRESULT {
        Image image;
        if (!fxutil::DecodeImage({static_cast<const u8*>(data), size}, &image)) return D3DXERR_INVALIDDATA;
        UINT w = WishedSize(width, image.info.Width), h = WishedSize(height, image.info.Height);
        UINT count = WishedLevels(levels, image.info.MipLevels);
        D3DFORMAT wished = WishedFormat(format, image);
        HRESULT hr = D3DXCheckTextureRequirements(device, &w, &h, &count, usage, &wished, pool);
        if (FAILED(hr)) return hr;
        const FillPlan plan{Filter(filter, kDefaultFilter), Filter(mip_filter, D3DX_FILTER_BOX), color_key};
        hr = CreateFilled(device, image, w, h, count, usage, wished, pool, plan, texture);
        if (SUCCEEDED(hr) && info) *info = image.info;
        if (SUCCEEDED(hr) && palette) GivePalette(image, palette);
        return hr;
    });
}

HRESULT D3DXCreateTextureFromFileExA(IDirect3DDevice9* device, const char* file, UINT width, UINT height,
                                     UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool, DWORD filter,
                                     DWORD mip_filter, D3DCOLOR color_key, D3DXIMAGE_INFO* info,
                                     PALETTEENTRY* palette, IDirect3DTexture9** texture) {
    if (!texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    if (!device || !file) return D3DERR_INVALIDCALL;
    return WithoutThrowing([&]() -> HRESULT {
        std::vector<u8> bytes;
        if (!ReadWholeFile(file, &bytes)) return D3DXERR_INVALIDDATA;
        return D3DXCreateTextureFromFileInMemoryEx(device, bytes.data(), static_cast<UINT>(bytes.size()),
                                                   width, height, levels, usage, format, pool, filter,
                                                   mip_filter, color_key, info, palette, texture);
    });
}

HRESULT D3DXCreateTextureFromFileInMemory(IDirect3DDevice9* device, const void* data, UINT size,
                                          IDirect3DTexture9** texture) {
    return D3DXCreateTextureFromFileInMemoryEx(device, data, size, D3DX_DEFAULT, D3DX_DEFAULT, D3DX_DEFAULT,
                                               0, D3DFMT_UNKNOWN, D3DPOOL_MANAGED, D3DX_DEFAULT, D3DX_DEFAULT,
                                               0, nullptr, nullptr, texture);
}

HRESULT D3DXCreateTextureFromFileA(IDirect3DDevice9* device, const char* file, IDirect3DTexture9** texture) {
    return D3DXCreateTextureFromFileExA(device, file, D3DX_DEFAULT, D3DX_DEFAULT, D3DX_DEFAULT, 0,
                                        D3DFMT_UNKNOWN, D3DPOOL_MANAGED, D3DX_DEFAULT, D3DX_DEFAULT, 0,
                                        nullptr, nullptr, texture);
}

HRESULT D3DXCreateCubeTextureFromFileInMemoryEx(IDirect3DDevice9* device, const void* data, UINT data_size,
                                                UINT size, UINT levels, DWORD usage, D3DFORMAT format,
                                                D3DPOOL pool, DWORD filter, DWORD mip_filter,
                                                D3DCOLOR color_key, D3DXIMAGE_INFO* info,
                                                PALETTEENTRY* palette, IDirect3DCubeTexture9** texture) {
    if (!texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    if (!device || !data || !data_size) return D3DERR_INVALIDCALL;
    return WithoutThrowing([&]() -> HRESULT {
        Image image;
        if (!fxutil::DecodeImage({static_cast<const u8*>(data), data_size}, &image))
            return D3DXERR_INVALIDDATA;
        if (image.info.ResourceType != D3DRTYPE_CUBETEXTURE) return E_FAIL;
        UINT edge = WishedSize(size, image.info.Width);
        UINT count = WishedLevels(levels, image.info.MipLevels);
        D3DFORMAT wished = WishedFormat(format, image);
        HRESULT hr = D3DXCheckCubeTextureRequirements(device, &edge, &count, usage, &wished, pool);
        if (FAILED(hr)) return hr;
        const FillPlan plan{Filter(filter, kDefaultFilter), Filter(mip_filter, D3DX_FILTER_BOX), color_key};
        hr = CreateFilled(device, image, edge, edge, count, usage, wished, pool, plan, texture);
        if (SUCCEEDED(hr) && info) *info = image.info;
        if (SUCCEEDED(hr) && palette) GivePalette(image, palette);
        return hr;
    });
}

HRESULT D3DXCreateCubeTextureFromFileExA(IDirect3DDevice9* device, const char* file, UINT size, UINT levels,
                                         DWORD usage, D3DFORMAT format, D3DPOOL pool, DWORD filter,
                                         DWORD mip_filter, D3DCOLOR color_key, D3DXIMAGE_INFO* info,
                                         PALETTEENTRY* palette, IDirect3DCubeTexture9** texture) {
    if (!texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    if (!device || !file) return D3DERR_INVALIDCALL;
    return WithoutThrowing([&]() -> HRESULT {
        std::vector<u8> bytes;
        if (!ReadWholeFile(file, &bytes)) return D3DXERR_INVALIDDATA;
        return D3DXCreateCubeTextureFromFileInMemoryEx(device, bytes.data(), static_cast<UINT>(bytes.size()),
                                                       size, levels, usage, format, pool, filter, mip_filter,
                                                       color_key, info, palette, texture);
    });
}

HRESULT D3DXCreateCubeTextureFromFileInMemory(IDirect3DDevice9* device, const void* data, UINT data_size,
                                              IDirect3DCubeTexture9** texture) {
    return D3DXCreateCubeTextureFromFileInMemoryEx(device, data, data_size, D3DX_DEFAULT, D3DX_DEFAULT, 0,
                                                   D3DFMT_UNKNOWN, D3DPOOL_MANAGED, D3DX_DEFAULT,
                                                   D3DX_DEFAULT, 0, nullptr, nullptr, texture);
}

HRESULT D3DXCreateCubeTextureFromFileA(IDirect3DDevice9* device, const char* file,
                                       IDirect3DCubeTexture9** texture) {
    return D3DXCreateCubeTextureFromFileExA(device, file, D3DX_DEFAULT, D3DX_DEFAULT, 0, D3DFMT_UNKNOWN,
                                            D3DPOOL_MANAGED, D3DX_DEFAULT, D3DX_DEFAULT, 0, nullptr, nullptr,
                                            texture);
}

HRESULT D3DXLoadSurfaceFromMemory(IDirect3DSurface9* dest, const PALETTEENTRY*, const RECT* dest_rect,
                                  const void* source, D3DFORMAT source_format, UINT source_pitch,
                                  const PALETTEENTRY* source_palette, const RECT* source_rect, DWORD filter,
                                  D3DCOLOR color_key) {
    if (!dest || !source || !source_rect) return D3DERR_INVALIDCALL;
    if (source_rect->right <= 0 || source_rect->bottom <= 0) return D3DERR_INVALIDCALL;
    const ImageLevel whole = {static_cast<const u8*>(source), static_cast<u32>(source_rect->right),
                              static_cast<u32>(source_rect->bottom), source_pitch};
    ImageLevel level;
    if (!CutOut(whole, source_format, *source_rect, &level)) return D3DERR_INVALIDCALL;
    return WithoutThrowing([&] {
        const std::vector<u32> palette = TakePalette(source_palette);
        return LoadSurface(dest, dest_rect, level, source_format, palette.empty() ? nullptr : palette.data(),
                           filter, color_key);
    });
}

HRESULT D3DXLoadSurfaceFromSurface(IDirect3DSurface9* dest, const PALETTEENTRY*, const RECT* dest_rect,
                                   IDirect3DSurface9* source, const PALETTEENTRY* source_palette,
                                   const RECT* source_rect, DWORD filter, D3DCOLOR color_key) {
    if (!dest || !source) return D3DERR_INVALIDCALL;
    SurfaceReader reader;
    if (const HRESULT hr = reader.Open(source); FAILED(hr)) return hr;
    const ImageLevel whole = reader.Level();
    const RECT rect = source_rect ? *source_rect : Whole(whole.width, whole.height);
    ImageLevel level;
    if (!CutOut(whole, reader.Format(), rect, &level)) return D3DERR_INVALIDCALL;
    return WithoutThrowing([&] {
        const std::vector<u32> palette = TakePalette(source_palette);
        return LoadSurface(dest, dest_rect, level, reader.Format(),
                           palette.empty() ? nullptr : palette.data(), filter, color_key);
    });
}

HRESULT D3DXFilterTexture(IDirect3DBaseTexture9* texture, const PALETTEENTRY* palette, UINT source_level,
                          DWORD filter_flags) {
    if (!texture) return D3DERR_INVALIDCALL;
    if (source_level == D3DX_DEFAULT) source_level = 0;
    if (source_level >= texture->GetLevelCount()) return D3DERR_INVALIDCALL;
    const Filter filter(filter_flags, D3DX_FILTER_BOX);
    return WithoutThrowing([&]() -> HRESULT {
        const std::vector<u32> colors = TakePalette(palette);
        const u32* table = colors.empty() ? nullptr : colors.data();
        switch (texture->GetType()) {
            case D3DRTYPE_TEXTURE:
                return FilterFace(static_cast<IDirect3DTexture9*>(texture), 0, source_level, filter, table);
            case D3DRTYPE_CUBETEXTURE: {
                HRESULT hr = D3D_OK;
                for (u32 face = 0; face < 6 && SUCCEEDED(hr); ++face) {
                    hr = FilterFace(static_cast<IDirect3DCubeTexture9*>(texture), face, source_level, filter,
                                    table);
                }
                return hr;
            }
            default:
                return D3DERR_INVALIDCALL;
        }
    });
}

HRESULT D3DXFillTexture(IDirect3DTexture9* texture, LPD3DXFILL2D function, void* data) {
    if (!texture || !function) return D3DERR_INVALIDCALL;
    return WithoutThrowing([&]() -> HRESULT {
        for (u32 i = 0; i < texture->GetLevelCount(); ++i) {
            const ComPtr<IDirect3DSurface9> surface = SurfaceOf(texture, 0, i);
            if (!surface) return D3DERR_INVALIDCALL;
            D3DSURFACE_DESC desc;
            surface->GetDesc(&desc);
            const D3DXVECTOR2 texel = {1.0f / static_cast<f32>(desc.Width),
                                       1.0f / static_cast<f32>(desc.Height)};
            Raster<Rgba> raster(desc.Width, desc.Height);
            for (u32 y = 0; y < desc.Height; ++y) {
                for (u32 x = 0; x < desc.Width; ++x) {
                    const D3DXVECTOR2 at = {(static_cast<f32>(x) + 0.5f) * texel.x,
                                            (static_cast<f32>(y) + 0.5f) * texel.y};
                    D3DXVECTOR4 color = {0, 0, 0, 0};
                    function(&color, &at, &texel, data);
                    raster.Row(y)[x] = {color.x, color.y, color.z, color.w};
                }
            }
            if (const HRESULT hr = WriteSurface(surface.Get(), raster, false); FAILED(hr)) return hr;
        }
        return D3D_OK;
    });
}

HRESULT D3DXComputeNormalMap(IDirect3DTexture9* texture, IDirect3DTexture9* source,
                             const PALETTEENTRY* source_palette, DWORD flags, DWORD channel, f32 amplitude) {
    if (!texture || !source) return D3DERR_INVALIDCALL;
    fxutil::NormalMapOptions options;
    switch (channel) {
        case D3DX_CHANNEL_RED:
            options.channel = fxutil::HeightChannel::kRed;
            break;
        case D3DX_CHANNEL_BLUE:
            options.channel = fxutil::HeightChannel::kBlue;
            break;
        case D3DX_CHANNEL_GREEN:
            options.channel = fxutil::HeightChannel::kGreen;
            break;
        case D3DX_CHANNEL_ALPHA:
            options.channel = fxutil::HeightChannel::kAlpha;
            break;
        case D3DX_CHANNEL_LUMINANCE:
            options.channel = fxutil::HeightChannel::kLuminance;
            break;
        default:
            return D3DERR_INVALIDCALL;
    }
    options.amplitude = amplitude;
    options.mirror_u = (flags & D3DX_NORMALMAP_MIRROR_U) != 0;
    options.mirror_v = (flags & D3DX_NORMALMAP_MIRROR_V) != 0;
    options.invert = (flags & D3DX_NORMALMAP_INVERTSIGN) != 0;
    options.occlusion = (flags & D3DX_NORMALMAP_COMPUTE_OCCLUSION) != 0;
    return WithoutThrowing([&]() -> HRESULT {
        const ComPtr<IDirect3DSurface9> from = SurfaceOf(source, 0, 0), to = SurfaceOf(texture, 0, 0);
        if (!from || !to) return D3DERR_INVALIDCALL;
        Raster<Rgba> heights;
        {
            SurfaceReader reader;
            if (const HRESULT hr = reader.Open(from.Get()); FAILED(hr)) return hr;
            const TexelFormat* format = FindTexelFormat(reader.Format());
            const std::vector<u32> palette = TakePalette(source_palette);
            if (!format || (format->kind == TexelKind::kPalette && palette.empty()))
                return D3DERR_INVALIDCALL;
            heights = fxutil::ReadRaster<Rgba>(reader.Format(), palette.data(), reader.Level());
        }
        D3DSURFACE_DESC desc;
        to->GetDesc(&desc);
        Raster<Rgba> normals = fxutil::NormalMap(heights, options);
        normals = fxutil::Resample(std::move(normals), desc.Width, desc.Height, ResampleFilter{});
        if (const HRESULT hr = WriteSurface(to.Get(), normals, false); FAILED(hr)) return hr;
        return D3DXFilterTexture(texture, nullptr, 0, D3DX_FILTER_BOX);
    });
}
