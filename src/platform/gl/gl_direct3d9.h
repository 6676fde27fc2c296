// IDirect3D9 over OpenGL: one adapter, what it can do, and devices on it.
#pragma once

#include "platform/gl/gl_context.h"

namespace platform::gl {

class GlDirect3D9 final : public IDirect3D9 {
  public:
    // With one reference, the caller's. Null when the machine has no usable OpenGL.
    static IDirect3D9* Create();

    const GlFeatures& Features() const { return features_; }
    // What the adapter is set to show.
    D3DDISPLAYMODE DesktopMode() const;

    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override { return ++references_; }
    ULONG Release() override;
    UINT GetAdapterCount() override { return 1; }
    HRESULT GetAdapterIdentifier(UINT adapter, DWORD flags, D3DADAPTER_IDENTIFIER9* identifier) override;
    UINT GetAdapterModeCount(UINT adapter, D3DFORMAT format) override;
    HRESULT EnumAdapterModes(UINT adapter, D3DFORMAT format, UINT mode, D3DDISPLAYMODE* out) override;
    HRESULT GetAdapterDisplayMode(UINT adapter, D3DDISPLAYMODE* mode) override;
    HRESULT CheckDeviceType(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                            D3DFORMAT back_buffer_format, BOOL windowed) override;
    HRESULT CheckDeviceFormat(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format, DWORD usage,
                              D3DRESOURCETYPE resource, D3DFORMAT format) override;
    HRESULT CheckDeviceMultiSampleType(UINT adapter, D3DDEVTYPE type, D3DFORMAT format, BOOL windowed,
                                       D3DMULTISAMPLE_TYPE samples, DWORD* quality_levels) override;
    HRESULT CheckDepthStencilMatch(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                   D3DFORMAT target_format, D3DFORMAT depth_format) override;
    HRESULT CheckDeviceFormatConversion(UINT adapter, D3DDEVTYPE type, D3DFORMAT source,
                                        D3DFORMAT target) override;
    HRESULT GetDeviceCaps(UINT adapter, D3DDEVTYPE type, D3DCAPS9* caps) override;
    HMONITOR GetAdapterMonitor(UINT) override { return nullptr; }
    HRESULT CreateDevice(UINT adapter, D3DDEVTYPE type, HWND focus, DWORD behaviour,
                         D3DPRESENT_PARAMETERS* parameters, IDirect3DDevice9** device) override;

  private:
    explicit GlDirect3D9(const GlFeatures& features) : features_(features) {}
    ~GlDirect3D9() = default;

    GlFeatures features_;
    u32 references_ = 1;
};

// What a device with these features answers to GetDeviceCaps.
void FillCaps(const GlFeatures& features, D3DDEVTYPE type, D3DCAPS9& caps);

// Samples of a multisample type and quality with at most `max_samples`: 0 for none, -1 when it is not
// offered. Types of 2, 4, 8 and 16 samples have one quality level each; the non-maskable type has one for
// each of them.
int SampleCount(D3DMULTISAMPLE_TYPE type, DWORD quality, u32 max_samples);
// Number of quality levels of a type; 0 when it is not offered.
DWORD QualityLevels(D3DMULTISAMPLE_TYPE type, u32 max_samples);

// The least and greatest sizes are checked with the device; these say what the format itself can be.
bool IsBackBufferFormat(D3DFORMAT format);

}  // namespace platform::gl
