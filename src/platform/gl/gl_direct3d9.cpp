#include "platform/gl/gl_direct3d9.h"

#include <SDL.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "platform/gl/gl_device.h"
#include "platform/gl/gl_format.h"

namespace platform::gl {
namespace {

struct Size {
    UINT width, height;
};
constexpr Size kModes[] = {{640, 480},   {720, 576},   {800, 600},   {1024, 768}, {1280, 720},  {1280, 800},
                           {1280, 960},  {1280, 1024}, {1366, 768},  {1600, 900}, {1600, 1200}, {1680, 1050},
                           {1920, 1080}, {1920, 1200}, {2560, 1440}, {3840, 2160}};
constexpr UINT kModeCount = sizeof(kModes) / sizeof(kModes[0]);

bool IsDisplayFormat(D3DFORMAT format) { return format == D3DFMT_X8R8G8B8 || format == D3DFMT_R5G6B5; }

// HAL and the reference device are the same device here.
bool IsDeviceType(D3DDEVTYPE type) { return type == D3DDEVTYPE_HAL || type == D3DDEVTYPE_REF; }

// What the machine's OpenGL offers, asked once from a context made for the question. Null when there is none.
const GlFeatures* ProbeFeatures() {
    static const std::unique_ptr<const GlFeatures> features = [] {
        const std::unique_ptr<GlContext> context = GlContext::Create(nullptr);
        return context ? std::make_unique<const GlFeatures>(context->Features()) : nullptr;
    }();
    return features.get();
}

}  // namespace

IDirect3D9* GlDirect3D9::Create() {
    const GlFeatures* features = ProbeFeatures();
    return features ? new GlDirect3D9(*features) : nullptr;
}

HRESULT GlDirect3D9::QueryInterface(REFIID riid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!(riid == IID_IDirect3D9 || riid == IID_IUnknown)) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IDirect3D9*>(this);
    return S_OK;
}

ULONG GlDirect3D9::Release() {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
}

D3DDISPLAYMODE GlDirect3D9::DesktopMode() const {
    D3DDISPLAYMODE mode = {1280, 1024, 60, D3DFMT_X8R8G8B8};
    SDL_DisplayMode desktop;
    if (SDL_WasInit(SDL_INIT_VIDEO) && SDL_GetDesktopDisplayMode(0, &desktop) == 0 && desktop.w > 0 &&
        desktop.h > 0) {
        mode.Width = static_cast<UINT>(desktop.w);
        mode.Height = static_cast<UINT>(desktop.h);
        if (desktop.refresh_rate > 0) mode.RefreshRate = static_cast<UINT>(desktop.refresh_rate);
    }
    return mode;
}

HRESULT GlDirect3D9::GetAdapterIdentifier(UINT adapter, DWORD, D3DADAPTER_IDENTIFIER9* identifier) {
    if (adapter != 0 || !identifier) return D3DERR_INVALIDCALL;
    *identifier = {};
    std::snprintf(identifier->Driver, sizeof(identifier->Driver), "opengl");
    std::snprintf(identifier->Description, sizeof(identifier->Description), "%s", features_.renderer.c_str());
    std::snprintf(identifier->DeviceName, sizeof(identifier->DeviceName), "display");
    identifier->WHQLLevel = 1;
    return D3D_OK;
}

UINT GlDirect3D9::GetAdapterModeCount(UINT adapter, D3DFORMAT format) {
    return adapter == 0 && IsDisplayFormat(format) ? kModeCount : 0;
}

HRESULT GlDirect3D9::EnumAdapterModes(UINT adapter, D3DFORMAT format, UINT mode, D3DDISPLAYMODE* out) {
    if (adapter != 0 || !out || mode >= kModeCount) return D3DERR_INVALIDCALL;
    if (!IsDisplayFormat(format)) return D3DERR_NOTAVAILABLE;
    *out = {kModes[mode].width, kModes[mode].height, 60, format};
    return D3D_OK;
}

HRESULT GlDirect3D9::GetAdapterDisplayMode(UINT adapter, D3DDISPLAYMODE* mode) {
    if (adapter != 0 || !mode) return D3DERR_INVALIDCALL;
    *mode = DesktopMode();
    return D3D_OK;
}

HRESULT GlDirect3D9::CheckDeviceType(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                     D3DFORMAT back_buffer_format, BOOL windowed) {
    if (adapter != 0) return D3DERR_INVALIDCALL;
    if (!IsDeviceType(type) || !IsDisplayFormat(adapter_format)) return D3DERR_NOTAVAILABLE;
    if (windowed && back_buffer_format == D3DFMT_UNKNOWN) return D3D_OK;
    return IsBackBufferFormat(back_buffer_format) ? D3D_OK : D3DERR_NOTAVAILABLE;
}

HRESULT GlDirect3D9::CheckDeviceFormat(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format, DWORD usage,
                                       D3DRESOURCETYPE resource, D3DFORMAT format) {
    if (adapter != 0 || adapter_format == D3DFMT_UNKNOWN) return D3DERR_INVALIDCALL;
    if (!IsDeviceType(type)) return D3DERR_NOTAVAILABLE;
    if (resource == D3DRTYPE_INDEXBUFFER) {
        return format == D3DFMT_INDEX16 || format == D3DFMT_INDEX32 ? D3D_OK : D3DERR_NOTAVAILABLE;
    }
    if (resource == D3DRTYPE_VERTEXBUFFER) return format == D3DFMT_VERTEXDATA ? D3D_OK : D3DERR_NOTAVAILABLE;
    const FormatTraits* traits = FindFormat(format);
    if (!traits || (traits->Compressed() && !features_.s3tc)) return D3DERR_NOTAVAILABLE;
    if (usage & (D3DUSAGE_QUERY_SRGBREAD | D3DUSAGE_QUERY_SRGBWRITE | D3DUSAGE_QUERY_VERTEXTEXTURE |
                 D3DUSAGE_QUERY_LEGACYBUMPMAP | D3DUSAGE_DMAP)) {
        return D3DERR_NOTAVAILABLE;
    }
    if (usage & D3DUSAGE_DEPTHSTENCIL) {
        return resource == D3DRTYPE_SURFACE && traits->depth ? D3D_OK : D3DERR_NOTAVAILABLE;
    }
    if ((usage & D3DUSAGE_RENDERTARGET) && !traits->target) return D3DERR_NOTAVAILABLE;
    switch (resource) {
        case D3DRTYPE_SURFACE:
            return traits->texture ? D3D_OK : D3DERR_NOTAVAILABLE;
        case D3DRTYPE_TEXTURE:
        case D3DRTYPE_CUBETEXTURE:
            if (!traits->texture) return D3DERR_NOTAVAILABLE;
            return (usage & D3DUSAGE_AUTOGENMIPMAP) && traits->Compressed() ? D3DOK_NOAUTOGEN : D3D_OK;
        default:
            return D3DERR_NOTAVAILABLE;
    }
}

HRESULT GlDirect3D9::CheckDeviceMultiSampleType(UINT adapter, D3DDEVTYPE type, D3DFORMAT format, BOOL,
                                                D3DMULTISAMPLE_TYPE samples, DWORD* quality_levels) {
    if (adapter != 0) return D3DERR_INVALIDCALL;
    if (samples < D3DMULTISAMPLE_NONE || samples > D3DMULTISAMPLE_16_SAMPLES) return D3DERR_INVALIDCALL;
    const FormatTraits* traits = FindFormat(format);
    if (!IsDeviceType(type) || !traits) return D3DERR_NOTAVAILABLE;
    const DWORD levels = traits->target || traits->depth ? QualityLevels(samples, features_.max_samples)
                                                         : (samples == D3DMULTISAMPLE_NONE ? 1 : 0);
    if (quality_levels) *quality_levels = std::max(levels, 1u);
    return levels > 0 ? D3D_OK : D3DERR_NOTAVAILABLE;
}

HRESULT GlDirect3D9::CheckDepthStencilMatch(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                            D3DFORMAT target_format, D3DFORMAT depth_format) {
    if (adapter != 0) return D3DERR_INVALIDCALL;
    const FormatTraits *target = FindFormat(target_format), *depth = FindFormat(depth_format);
    const bool match = IsDeviceType(type) && IsDisplayFormat(adapter_format) && target && target->target &&
                       depth && depth->depth;
    return match ? D3D_OK : D3DERR_NOTAVAILABLE;
}

HRESULT GlDirect3D9::CheckDeviceFormatConversion(UINT adapter, D3DDEVTYPE type, D3DFORMAT source,
                                                 D3DFORMAT target) {
    if (adapter != 0) return D3DERR_INVALIDCALL;
    const FormatTraits* from = FindFormat(source);
    return IsDeviceType(type) && from && from->target && IsBackBufferFormat(target) ? D3D_OK
                                                                                    : D3DERR_NOTAVAILABLE;
}

HRESULT GlDirect3D9::GetDeviceCaps(UINT adapter, D3DDEVTYPE type, D3DCAPS9* caps) {
    if (adapter != 0 || !caps) return D3DERR_INVALIDCALL;
    if (!IsDeviceType(type)) return D3DERR_NOTAVAILABLE;
    FillCaps(features_, type, *caps);
    return D3D_OK;
}

HRESULT GlDirect3D9::CreateDevice(UINT adapter, D3DDEVTYPE type, HWND focus, DWORD behaviour,
                                  D3DPRESENT_PARAMETERS* parameters, IDirect3DDevice9** device) {
    if (!device) return D3DERR_INVALIDCALL;
    *device = nullptr;
    if (adapter != 0 || !parameters) return D3DERR_INVALIDCALL;
    if (!IsDeviceType(type)) return D3DERR_NOTAVAILABLE;
    const DWORD processing =
        behaviour & (D3DCREATE_HARDWARE_VERTEXPROCESSING | D3DCREATE_MIXED_VERTEXPROCESSING |
                     D3DCREATE_SOFTWARE_VERTEXPROCESSING);
    if (processing == 0 || (processing & (processing - 1)) != 0) return D3DERR_INVALIDCALL;
    return GlDevice::Create(*this, type, focus, behaviour, *parameters, device);
}

}  // namespace platform::gl
