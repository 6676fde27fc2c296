// What a device can make of a wished texture.
#include <algorithm>
#include <bit>
#include <cstdlib>

#include "fxutil/pixel_format.h"
#include "fxutil/texture.h"
#include "platform/d3d9/com_ptr.h"

namespace {

using fxutil::FindTexelFormat;
using fxutil::TexelFormat;
using fxutil::TexelKind;

/// Asks the device's adapter which formats it has.
class FormatSupport {
  public:
    FormatSupport(IDirect3DDevice9* device, DWORD usage, D3DRESOURCETYPE resource)
        : usage_(usage & (D3DUSAGE_RENDERTARGET | D3DUSAGE_AUTOGENMIPMAP | D3DUSAGE_DYNAMIC)),
          resource_(resource) {
        known_ = SUCCEEDED(device->GetDirect3D(d3d_.Put())) && d3d_ &&
                 SUCCEEDED(device->GetCreationParameters(&parameters_)) &&
                 SUCCEEDED(device->GetDisplayMode(0, &mode_));
    }

    bool Has(D3DFORMAT format) const {
        if (!known_) return format != D3DFMT_R8G8B8 && format != D3DFMT_P8 && format != D3DFMT_A8P8;
        return SUCCEEDED(d3d_->CheckDeviceFormat(parameters_.AdapterOrdinal, parameters_.DeviceType,
                                                 mode_.Format, usage_, resource_, format));
    }

  private:
    ComPtr<IDirect3D9> d3d_;
    D3DDEVICE_CREATION_PARAMETERS parameters_{};
    D3DDISPLAYMODE mode_{};
    DWORD usage_;
    D3DRESOURCETYPE resource_;
    bool known_ = false;
};

/// Bits that each of red, green, blue, alpha is told with.
struct Depth {
    int r, g, b, a;
};

Depth DepthOf(const TexelFormat& f) {
    switch (f.kind) {
        case TexelKind::kLuminance:
            return {f.r.width, f.r.width, f.r.width, f.a.width};
        case TexelKind::kPalette:
            return {8, 8, 8, 8};
        case TexelKind::kBlock:
            return {8, 8, 8, f.format == D3DFMT_DXT1 ? 1 : 8};
        default:
            return {f.r.width, f.g.width, f.b.width, f.a.width};
    }
}

/// How badly `candidate` serves in place of `wish`: lacking channels first, then lacking bits, then bits to
/// spare.
int Distance(const TexelFormat& wish, const TexelFormat& candidate) {
    const Depth from = DepthOf(wish), to = DepthOf(candidate);
    int distance = 0;
    const auto channel = [&](int want, int have) {
        if (want && !have) distance += 10000;
        distance += have < want ? (want - have) * 100 : have - want;
    };
    channel(from.r, to.r);
    channel(from.g, to.g);
    channel(from.b, to.b);
    channel(from.a, to.a);
    if (wish.kind != TexelKind::kLuminance && candidate.kind == TexelKind::kLuminance) distance += 10000;
    if ((wish.kind == TexelKind::kSigned) != (candidate.kind == TexelKind::kSigned)) distance += 20000;
    if ((wish.kind == TexelKind::kFloat) != (candidate.kind == TexelKind::kFloat)) distance += 50;
    return distance;
}

constexpr D3DFORMAT kCandidates[] = {
    D3DFMT_A8R8G8B8,     D3DFMT_X8R8G8B8,     D3DFMT_R5G6B5,        D3DFMT_A1R5G5B5,    D3DFMT_X1R5G5B5,
    D3DFMT_A4R4G4B4,     D3DFMT_X4R4G4B4,     D3DFMT_A8B8G8R8,      D3DFMT_X8B8G8R8,    D3DFMT_L8,
    D3DFMT_A8L8,         D3DFMT_A8,           D3DFMT_L16,           D3DFMT_A2R10G10B10, D3DFMT_A2B10G10R10,
    D3DFMT_G16R16,       D3DFMT_A16B16G16R16, D3DFMT_V8U8,          D3DFMT_Q8W8V8U8,    D3DFMT_V16U16,
    D3DFMT_R16F,         D3DFMT_G16R16F,      D3DFMT_A16B16G16R16F, D3DFMT_R32F,        D3DFMT_G32R32F,
    D3DFMT_A32B32G32R32F};

D3DFORMAT NearestFormat(const FormatSupport& support, D3DFORMAT wish) {
    if (support.Has(wish)) return wish;
    const TexelFormat* wished = FindTexelFormat(wish);
    D3DFORMAT nearest = D3DFMT_UNKNOWN;
    int least = 0;
    for (D3DFORMAT format : kCandidates) {
        if (!wished) break;
        const int distance = Distance(*wished, *FindTexelFormat(format));
        if ((nearest == D3DFMT_UNKNOWN || distance < least) && support.Has(format)) {
            nearest = format;
            least = distance;
        }
    }
    return nearest;
}

bool IsWish(UINT value) { return value == D3DX_DEFAULT; }

HRESULT Check(IDirect3DDevice9* device, UINT* width, UINT* height, UINT* levels, DWORD usage,
              D3DFORMAT* format, D3DRESOURCETYPE resource) {
    if (!device) return D3DERR_INVALIDCALL;
    D3DCAPS9 caps;
    if (const HRESULT hr = device->GetDeviceCaps(&caps); FAILED(hr)) return hr;
    if (usage == D3DX_DEFAULT) usage = 0;

    const D3DFORMAT wish = format && *format != D3DFMT_UNKNOWN && static_cast<UINT>(*format) != D3DX_DEFAULT
                               ? *format
                               : D3DFMT_A8R8G8B8;
    const D3DFORMAT nearest = NearestFormat(FormatSupport(device, usage, resource), wish);
    if (nearest == D3DFMT_UNKNOWN) return D3DERR_NOTAVAILABLE;
    if (format) *format = nearest;

    UINT w = width ? *width : D3DX_DEFAULT, h = height ? *height : D3DX_DEFAULT;
    if (IsWish(w) && IsWish(h)) w = h = 256;
    if (IsWish(w)) w = h;
    if (IsWish(h)) h = w;
    const TexelFormat* texel_format = FindTexelFormat(nearest);
    const DWORD pow2_flag =
        resource == D3DRTYPE_CUBETEXTURE ? D3DPTEXTURECAPS_CUBEMAP_POW2 : D3DPTEXTURECAPS_POW2;
    const bool pow2 =
        (caps.TextureCaps & pow2_flag) && !(caps.TextureCaps & D3DPTEXTURECAPS_NONPOW2CONDITIONAL);
    const auto bend = [&](UINT size, UINT largest) {
        size = std::clamp(size, 1u, std::max<UINT>(largest, 1));
        if (pow2) size = std::bit_ceil(size);
        if (texel_format && texel_format->kind == TexelKind::kBlock) size = (size + 3) & ~3u;
        return size;
    };
    w = bend(w, caps.MaxTextureWidth);
    h = bend(h, caps.MaxTextureHeight);
    if (width) *width = w;
    if (height) *height = h;
    if (levels) {
        const UINT full = static_cast<UINT>(std::bit_width(std::max(w, h)));
        if (usage & D3DUSAGE_AUTOGENMIPMAP) {
            *levels = *levels == 1 ? 1 : 0;
        } else if (*levels == 0 || *levels > full) {
            *levels = full;
        }
    }
    return D3D_OK;
}

}  // namespace

HRESULT D3DXCheckTextureRequirements(IDirect3DDevice9* device, UINT* width, UINT* height, UINT* levels,
                                     DWORD usage, D3DFORMAT* format, D3DPOOL) {
    return Check(device, width, height, levels, usage, format, D3DRTYPE_TEXTURE);
}

HRESULT D3DXCheckCubeTextureRequirements(IDirect3DDevice9* device, UINT* size, UINT* levels, DWORD usage,
                                         D3DFORMAT* format, D3DPOOL) {
    UINT other = size ? *size : D3DX_DEFAULT;
    const HRESULT hr = Check(device, size, &other, levels, usage, format, D3DRTYPE_CUBETEXTURE);
    if (SUCCEEDED(hr) && size) *size = std::min(*size, other);
    return hr;
}

HRESULT D3DXCreateTexture(IDirect3DDevice9* device, UINT width, UINT height, UINT levels, DWORD usage,
                          D3DFORMAT format, D3DPOOL pool, IDirect3DTexture9** texture) {
    if (!device || !texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    const HRESULT hr = D3DXCheckTextureRequirements(device, &width, &height, &levels, usage, &format, pool);
    if (FAILED(hr)) return hr;
    return device->CreateTexture(width, height, levels, usage, format, pool, texture, nullptr);
}

HRESULT D3DXCreateCubeTexture(IDirect3DDevice9* device, UINT size, UINT levels, DWORD usage, D3DFORMAT format,
                              D3DPOOL pool, IDirect3DCubeTexture9** texture) {
    if (!device || !texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    const HRESULT hr = D3DXCheckCubeTextureRequirements(device, &size, &levels, usage, &format, pool);
    if (FAILED(hr)) return hr;
    return device->CreateCubeTexture(size, levels, usage, format, pool, texture, nullptr);
}
