// The device itself; tests see it through IDirect3DDevice9 only.
#pragma once

#include <array>
#include <memory>
#include <type_traits>
#include <unordered_map>

#include "support/recording_resources.h"

namespace support {

inline Bindable* AsBindable(IDirect3DBaseTexture9* texture) {
    if (texture->GetType() == D3DRTYPE_CUBETEXTURE) return static_cast<CubeTexture*>(texture);
    return static_cast<Texture*>(texture);
}
inline Bindable* AsBindable(IDirect3DSurface9* surface) { return static_cast<Surface*>(surface); }
inline Bindable* AsBindable(IDirect3DVertexBuffer9* buffer) { return static_cast<VertexBuffer*>(buffer); }
inline Bindable* AsBindable(IDirect3DIndexBuffer9* buffer) { return static_cast<IndexBuffer*>(buffer); }
inline Bindable* AsBindable(IDirect3DVertexDeclaration9* d) { return static_cast<VertexDeclaration*>(d); }
inline Bindable* AsBindable(IDirect3DVertexShader9* s) {
    return static_cast<Shader<IDirect3DVertexShader9>*>(s);
}
inline Bindable* AsBindable(IDirect3DPixelShader9* s) {
    return static_cast<Shader<IDirect3DPixelShader9>*>(s);
}

/// Puts `value` in place of the object in `slot`, either of which may be null.
template <class Interface>
void Hold(Interface*& slot, std::type_identity_t<Interface>* value) {
    if (value) AsBindable(value)->Bind();
    if (Interface* old = std::exchange(slot, value)) AsBindable(old)->Unbind();
}

/// Gives another reference to what is held, or null.
template <class Interface>
HRESULT Give(Interface* from, Interface** to) {
    *to = from;
    if (from) from->AddRef();
    return D3D_OK;
}

class RecordingDirect3D final : public IDirect3D9 {
  public:
    explicit RecordingDirect3D(std::shared_ptr<Recorder> recorder);
    virtual ~RecordingDirect3D();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override;
    UINT STDMETHODCALLTYPE GetAdapterCount() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetAdapterIdentifier(UINT, DWORD, D3DADAPTER_IDENTIFIER9* identifier) override;
    UINT STDMETHODCALLTYPE GetAdapterModeCount(UINT adapter, D3DFORMAT format) override;
    HRESULT STDMETHODCALLTYPE EnumAdapterModes(UINT adapter, D3DFORMAT format, UINT mode,
                                               D3DDISPLAYMODE* out) override;
    HRESULT STDMETHODCALLTYPE GetAdapterDisplayMode(UINT adapter, D3DDISPLAYMODE* mode) override;
    HRESULT STDMETHODCALLTYPE CheckDeviceType(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                              D3DFORMAT back_buffer_format, BOOL windowed) override;
    HRESULT STDMETHODCALLTYPE CheckDeviceFormat(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                                DWORD usage, D3DRESOURCETYPE resource,
                                                D3DFORMAT format) override;
    HRESULT STDMETHODCALLTYPE CheckDeviceMultiSampleType(UINT adapter, D3DDEVTYPE type, D3DFORMAT format,
                                                         BOOL windowed, D3DMULTISAMPLE_TYPE samples,
                                                         DWORD* quality_levels) override;
    HRESULT STDMETHODCALLTYPE CheckDepthStencilMatch(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                                     D3DFORMAT target_format,
                                                     D3DFORMAT depth_format) override;
    HRESULT STDMETHODCALLTYPE CheckDeviceFormatConversion(UINT, D3DDEVTYPE, D3DFORMAT, D3DFORMAT) override {
        return D3D_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDeviceCaps(UINT adapter, D3DDEVTYPE type, D3DCAPS9* caps) override;
    HMONITOR STDMETHODCALLTYPE GetAdapterMonitor(UINT) override { return nullptr; }
    HRESULT STDMETHODCALLTYPE CreateDevice(UINT adapter, D3DDEVTYPE type, HWND focus, DWORD behaviour,
                                           D3DPRESENT_PARAMETERS* parameters,
                                           IDirect3DDevice9** device) override;

  private:
    const std::shared_ptr<Recorder> recorder_;
    ULONG references_ = 1;
};

class RecordingDevice final : public IDirect3DDevice9 {
  public:
    RecordingDevice(std::shared_ptr<Recorder> recorder, IDirect3D9* d3d,
                    const D3DDEVICE_CREATION_PARAMETERS& creation, const D3DPRESENT_PARAMETERS& present);
    virtual ~RecordingDevice();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE TestCooperativeLevel() override { return D3D_OK; }
    UINT STDMETHODCALLTYPE GetAvailableTextureMem() override { return 256u << 20; }
    HRESULT STDMETHODCALLTYPE EvictManagedResources() override { return D3D_OK; }
    HRESULT STDMETHODCALLTYPE GetDirect3D(IDirect3D9** d3d) override;
    HRESULT STDMETHODCALLTYPE GetDeviceCaps(D3DCAPS9* caps) override;
    HRESULT STDMETHODCALLTYPE GetDisplayMode(UINT swap_chain, D3DDISPLAYMODE* mode) override;
    HRESULT STDMETHODCALLTYPE GetCreationParameters(D3DDEVICE_CREATION_PARAMETERS* parameters) override;
    UINT STDMETHODCALLTYPE GetNumberOfSwapChains() override { return 1; }
    HRESULT STDMETHODCALLTYPE Reset(D3DPRESENT_PARAMETERS* parameters) override;
    HRESULT STDMETHODCALLTYPE Present(const RECT* source, const RECT* dest, HWND window,
                                      const RGNDATA* dirty) override;
    HRESULT STDMETHODCALLTYPE GetBackBuffer(UINT swap_chain, UINT index, D3DBACKBUFFER_TYPE type,
                                            IDirect3DSurface9** surface) override;
    HRESULT STDMETHODCALLTYPE CreateTexture(UINT width, UINT height, UINT levels, DWORD usage,
                                            D3DFORMAT format, D3DPOOL pool, IDirect3DTexture9** texture,
                                            HANDLE* shared) override;
    HRESULT STDMETHODCALLTYPE CreateCubeTexture(UINT edge, UINT levels, DWORD usage, D3DFORMAT format,
                                                D3DPOOL pool, IDirect3DCubeTexture9** texture,
                                                HANDLE* shared) override;
    HRESULT STDMETHODCALLTYPE CreateVertexBuffer(UINT length, DWORD usage, DWORD fvf, D3DPOOL pool,
                                                 IDirect3DVertexBuffer9** buffer, HANDLE* shared) override;
    HRESULT STDMETHODCALLTYPE CreateIndexBuffer(UINT length, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                                                IDirect3DIndexBuffer9** buffer, HANDLE* shared) override;
    HRESULT STDMETHODCALLTYPE CreateRenderTarget(UINT width, UINT height, D3DFORMAT format,
                                                 D3DMULTISAMPLE_TYPE samples, DWORD quality, BOOL lockable,
                                                 IDirect3DSurface9** surface, HANDLE* shared) override;
    HRESULT STDMETHODCALLTYPE CreateDepthStencilSurface(UINT width, UINT height, D3DFORMAT format,
                                                        D3DMULTISAMPLE_TYPE samples, DWORD quality,
                                                        BOOL discard, IDirect3DSurface9** surface,
                                                        HANDLE* shared) override;
    HRESULT STDMETHODCALLTYPE UpdateSurface(IDirect3DSurface9* source, const RECT* source_rect,
                                            IDirect3DSurface9* dest, const POINT* dest_point) override;
    HRESULT STDMETHODCALLTYPE UpdateTexture(IDirect3DBaseTexture9* source,
                                            IDirect3DBaseTexture9* dest) override;
    HRESULT STDMETHODCALLTYPE GetRenderTargetData(IDirect3DSurface9* target,
                                                  IDirect3DSurface9* dest) override;
    HRESULT STDMETHODCALLTYPE GetFrontBufferData(UINT, IDirect3DSurface9*) override { return D3D_OK; }
    HRESULT STDMETHODCALLTYPE StretchRect(IDirect3DSurface9* source, const RECT* source_rect,
                                          IDirect3DSurface9* dest, const RECT* dest_rect,
                                          D3DTEXTUREFILTERTYPE filter) override;
    HRESULT STDMETHODCALLTYPE ColorFill(IDirect3DSurface9* surface, const RECT* rect,
                                        D3DCOLOR color) override;
    HRESULT STDMETHODCALLTYPE CreateOffscreenPlainSurface(UINT width, UINT height, D3DFORMAT format,
                                                          D3DPOOL pool, IDirect3DSurface9** surface,
                                                          HANDLE* shared) override;
    HRESULT STDMETHODCALLTYPE SetRenderTarget(DWORD index, IDirect3DSurface9* surface) override;
    HRESULT STDMETHODCALLTYPE GetRenderTarget(DWORD index, IDirect3DSurface9** surface) override;
    HRESULT STDMETHODCALLTYPE SetDepthStencilSurface(IDirect3DSurface9* surface) override;
    HRESULT STDMETHODCALLTYPE GetDepthStencilSurface(IDirect3DSurface9** surface) override;
    HRESULT STDMETHODCALLTYPE BeginScene() override;
    HRESULT STDMETHODCALLTYPE EndScene() override;
    HRESULT STDMETHODCALLTYPE Clear(DWORD count, const D3DRECT* rects, DWORD flags, D3DCOLOR color, float z,
                                    DWORD stencil) override;
    HRESULT STDMETHODCALLTYPE SetTransform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX* matrix) override;
    HRESULT STDMETHODCALLTYPE GetTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) override;
    HRESULT STDMETHODCALLTYPE MultiplyTransform(D3DTRANSFORMSTATETYPE state,
                                                const D3DMATRIX* matrix) override;
    HRESULT STDMETHODCALLTYPE SetViewport(const D3DVIEWPORT9* viewport) override;
    HRESULT STDMETHODCALLTYPE GetViewport(D3DVIEWPORT9* viewport) override;
    HRESULT STDMETHODCALLTYPE SetMaterial(const D3DMATERIAL9* material) override;
    HRESULT STDMETHODCALLTYPE GetMaterial(D3DMATERIAL9* material) override;
    HRESULT STDMETHODCALLTYPE SetLight(DWORD index, const D3DLIGHT9* light) override;
    HRESULT STDMETHODCALLTYPE GetLight(DWORD index, D3DLIGHT9* light) override;
    HRESULT STDMETHODCALLTYPE LightEnable(DWORD index, BOOL enable) override;
    HRESULT STDMETHODCALLTYPE GetLightEnable(DWORD index, BOOL* enable) override;
    HRESULT STDMETHODCALLTYPE SetClipPlane(DWORD index, const float* plane) override;
    HRESULT STDMETHODCALLTYPE GetClipPlane(DWORD index, float* plane) override;
    HRESULT STDMETHODCALLTYPE SetRenderState(D3DRENDERSTATETYPE state, DWORD value) override;
    HRESULT STDMETHODCALLTYPE GetRenderState(D3DRENDERSTATETYPE state, DWORD* value) override;
    HRESULT STDMETHODCALLTYPE GetTexture(DWORD stage, IDirect3DBaseTexture9** texture) override;
    HRESULT STDMETHODCALLTYPE SetTexture(DWORD stage, IDirect3DBaseTexture9* texture) override;
    HRESULT STDMETHODCALLTYPE GetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type,
                                                   DWORD* value) override;
    HRESULT STDMETHODCALLTYPE SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type,
                                                   DWORD value) override;
    HRESULT STDMETHODCALLTYPE GetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD* value) override;
    HRESULT STDMETHODCALLTYPE SetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD value) override;
    HRESULT STDMETHODCALLTYPE ValidateDevice(DWORD* passes) override;
    HRESULT STDMETHODCALLTYPE SetScissorRect(const RECT* rect) override;
    HRESULT STDMETHODCALLTYPE GetScissorRect(RECT* rect) override;
    HRESULT STDMETHODCALLTYPE SetSoftwareVertexProcessing(BOOL software) override;
    BOOL STDMETHODCALLTYPE GetSoftwareVertexProcessing() override { return software_vertices_; }
    HRESULT STDMETHODCALLTYPE DrawPrimitive(D3DPRIMITIVETYPE type, UINT start, UINT count) override;
    HRESULT STDMETHODCALLTYPE DrawIndexedPrimitive(D3DPRIMITIVETYPE type, INT base_vertex, UINT min_vertex,
                                                   UINT vertex_count, UINT start_index, UINT count) override;
    HRESULT STDMETHODCALLTYPE DrawPrimitiveUP(D3DPRIMITIVETYPE type, UINT count, const void* vertices,
                                              UINT stride) override;
    HRESULT STDMETHODCALLTYPE DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE type, UINT min_vertex,
                                                     UINT vertex_count, UINT count, const void* indices,
                                                     D3DFORMAT index_format, const void* vertices,
                                                     UINT stride) override;
    HRESULT STDMETHODCALLTYPE CreateVertexDeclaration(const D3DVERTEXELEMENT9* elements,
                                                      IDirect3DVertexDeclaration9** declaration) override;
    HRESULT STDMETHODCALLTYPE SetVertexDeclaration(IDirect3DVertexDeclaration9* declaration) override;
    HRESULT STDMETHODCALLTYPE GetVertexDeclaration(IDirect3DVertexDeclaration9** declaration) override;
    HRESULT STDMETHODCALLTYPE SetFVF(DWORD fvf) override;
    HRESULT STDMETHODCALLTYPE GetFVF(DWORD* fvf) override;
    HRESULT STDMETHODCALLTYPE CreateVertexShader(const DWORD* function,
                                                 IDirect3DVertexShader9** shader) override;
    HRESULT STDMETHODCALLTYPE SetVertexShader(IDirect3DVertexShader9* shader) override;
    HRESULT STDMETHODCALLTYPE GetVertexShader(IDirect3DVertexShader9** shader) override;
    HRESULT STDMETHODCALLTYPE SetVertexShaderConstantF(UINT start, const float* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE GetVertexShaderConstantF(UINT start, float* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE SetVertexShaderConstantI(UINT start, const int* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE GetVertexShaderConstantI(UINT start, int* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE SetVertexShaderConstantB(UINT start, const BOOL* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE GetVertexShaderConstantB(UINT start, BOOL* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE SetStreamSource(UINT stream, IDirect3DVertexBuffer9* buffer, UINT offset,
                                              UINT stride) override;
    HRESULT STDMETHODCALLTYPE GetStreamSource(UINT stream, IDirect3DVertexBuffer9** buffer, UINT* offset,
                                              UINT* stride) override;
    HRESULT STDMETHODCALLTYPE SetStreamSourceFreq(UINT stream, UINT setting) override;
    HRESULT STDMETHODCALLTYPE GetStreamSourceFreq(UINT stream, UINT* setting) override;
    HRESULT STDMETHODCALLTYPE SetIndices(IDirect3DIndexBuffer9* buffer) override;
    HRESULT STDMETHODCALLTYPE GetIndices(IDirect3DIndexBuffer9** buffer) override;
    HRESULT STDMETHODCALLTYPE CreatePixelShader(const DWORD* function,
                                                IDirect3DPixelShader9** shader) override;
    HRESULT STDMETHODCALLTYPE SetPixelShader(IDirect3DPixelShader9* shader) override;
    HRESULT STDMETHODCALLTYPE GetPixelShader(IDirect3DPixelShader9** shader) override;
    HRESULT STDMETHODCALLTYPE SetPixelShaderConstantF(UINT start, const float* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE GetPixelShaderConstantF(UINT start, float* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE SetPixelShaderConstantI(UINT start, const int* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE GetPixelShaderConstantI(UINT start, int* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE SetPixelShaderConstantB(UINT start, const BOOL* data, UINT count) override;
    HRESULT STDMETHODCALLTYPE GetPixelShaderConstantB(UINT start, BOOL* data, UINT count) override;

  private:
    static constexpr u32 kStages = 8, kSamplers = 16, kStreams = 16, kClipPlanes = 32, kConstants = 256;

    struct Stream {
        IDirect3DVertexBuffer9* buffer = nullptr;
        u32 offset = 0, stride = 0;
    };
    struct Light {
        D3DLIGHT9 light{};
        bool set = false, on = false;
    };
    struct Constants {
        std::array<float, kConstants * 4> floats{};
        std::array<int, 16 * 4> integers{};
        std::array<BOOL, 16> booleans{};
    };

    i64 Id(const void* interface) const { return recorder_->IdOf(interface); }
    // Records a set call; `same` when the device held that value already.
    Call* Set(std::string_view name, std::initializer_list<i64> args, bool same, bool is_state = false);
    bool CanCreate(UINT width, UINT height, D3DFORMAT format) const;
    HRESULT NewSurface(std::string_view name, UINT width, UINT height, D3DFORMAT format, DWORD usage,
                       D3DPOOL pool, IDirect3DSurface9** out);
    void CheckState(D3DRENDERSTATETYPE state, DWORD value);
    void CheckStageState(D3DTEXTURESTAGESTATETYPE type, DWORD value);
    void CheckSamplerState(D3DSAMPLERSTATETYPE type, DWORD value);
    bool CanDraw(D3DPRIMITIVETYPE type, UINT count);
    // Bytes that a draw reads of each vertex; 0 when the vertices are described by a declaration.
    u32 VertexBytes() const;
    // The vertices of stream 0 from `first` to `first + count`; empty after a fault.
    std::span<const u8> StreamVertices(i64 first, u64 count);
    void CountDraw(UINT primitives);

    const std::shared_ptr<Recorder> recorder_;
    IDirect3D9* const d3d_;
    const D3DDEVICE_CREATION_PARAMETERS creation_;
    D3DPRESENT_PARAMETERS present_;
    ULONG references_ = 1;
    bool in_scene_ = false;

    IDirect3DSurface9* back_buffer_ = nullptr;
    IDirect3DSurface9* depth_buffer_ = nullptr;
    IDirect3DSurface9* target_ = nullptr;
    IDirect3DSurface9* depth_ = nullptr;
    std::array<IDirect3DBaseTexture9*, kSamplers> textures_{};
    std::array<Stream, kStreams> streams_{};
    IDirect3DIndexBuffer9* indices_ = nullptr;
    IDirect3DVertexDeclaration9* declaration_ = nullptr;
    IDirect3DVertexShader9* vertex_shader_ = nullptr;
    IDirect3DPixelShader9* pixel_shader_ = nullptr;

    std::array<DWORD, 256> render_states_{};
    std::array<std::array<DWORD, 33>, kStages> stage_states_{};
    std::array<std::array<DWORD, 14>, kSamplers> sampler_states_{};
    std::unordered_map<u32, D3DMATRIX> transforms_;
    std::unordered_map<u32, Light> lights_;
    std::array<std::array<float, 4>, kClipPlanes> clip_planes_{};
    D3DVIEWPORT9 viewport_{};
    D3DMATERIAL9 material_{};
    RECT scissor_{};
    DWORD fvf_ = 0;
    BOOL software_vertices_ = FALSE;
    Constants vertex_constants_, pixel_constants_;
};

}  // namespace support
