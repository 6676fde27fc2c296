// IDirect3DDevice9 over an OpenGL context of its own.
//
// The device writes what it is told into its DeviceState, makes resources, clears and copies; drawing is the
// Pipeline's. It serves one thread. Device loss does not happen: TestCooperativeLevel always answers D3D_OK.
#pragma once

#include <memory>

#include "platform/gl/device_state.h"
#include "platform/gl/gl_context.h"
#include "platform/gl/gl_image.h"
#include "platform/gl/gl_object.h"
#include "platform/gl/pipeline.h"

namespace platform::gl {

class GlDirect3D9;

class GlDevice final : public IDirect3DDevice9 {
  public:
    // Makes a device as IDirect3D9::CreateDevice says; fills in the sizes and formats left open in
    // `parameters`.
    static HRESULT Create(GlDirect3D9& d3d, D3DDEVTYPE type, HWND focus, DWORD behaviour,
                          D3DPRESENT_PARAMETERS& parameters, IDirect3DDevice9** device);

    GlContext& Context() { return *context_; }
    DeviceState& State() { return state_; }
    Pipeline& DrawPipeline() { return *pipeline_; }
    // A texture's level of detail changed while it may be bound.
    void MarkTextureChanged(GlTexture* texture);
    // A buffer's OpenGL name goes away.
    void ForgetBuffer(GLuint name);

    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT TestCooperativeLevel() override { return D3D_OK; }
    UINT GetAvailableTextureMem() override;
    HRESULT EvictManagedResources() override { return D3D_OK; }
    HRESULT GetDirect3D(IDirect3D9** d3d) override;
    HRESULT GetDeviceCaps(D3DCAPS9* caps) override;
    HRESULT GetDisplayMode(UINT swap_chain, D3DDISPLAYMODE* mode) override;
    HRESULT GetCreationParameters(D3DDEVICE_CREATION_PARAMETERS* parameters) override;
    UINT GetNumberOfSwapChains() override { return 1; }
    // Sizes and formats of the back buffer anew. INVALIDCALL while the application holds the back buffer, the
    // depth surface or a target of its own is set.
    HRESULT Reset(D3DPRESENT_PARAMETERS* parameters) override;
    HRESULT Present(const RECT* source, const RECT* dest, HWND window, const RGNDATA* dirty) override;
    HRESULT GetBackBuffer(UINT swap_chain, UINT index, D3DBACKBUFFER_TYPE type,
                          IDirect3DSurface9** surface) override;

    HRESULT CreateTexture(UINT width, UINT height, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                          IDirect3DTexture9** texture, HANDLE* shared) override;
    HRESULT CreateCubeTexture(UINT edge, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                              IDirect3DCubeTexture9** texture, HANDLE* shared) override;
    HRESULT CreateVertexBuffer(UINT length, DWORD usage, DWORD fvf, D3DPOOL pool,
                               IDirect3DVertexBuffer9** buffer, HANDLE* shared) override;
    HRESULT CreateIndexBuffer(UINT length, DWORD usage, D3DFORMAT format, D3DPOOL pool,
                              IDirect3DIndexBuffer9** buffer, HANDLE* shared) override;
    HRESULT CreateRenderTarget(UINT width, UINT height, D3DFORMAT format, D3DMULTISAMPLE_TYPE samples,
                               DWORD quality, BOOL lockable, IDirect3DSurface9** surface,
                               HANDLE* shared) override;
    HRESULT CreateDepthStencilSurface(UINT width, UINT height, D3DFORMAT format, D3DMULTISAMPLE_TYPE samples,
                                      DWORD quality, BOOL discard, IDirect3DSurface9** surface,
                                      HANDLE* shared) override;
    HRESULT CreateOffscreenPlainSurface(UINT width, UINT height, D3DFORMAT format, D3DPOOL pool,
                                        IDirect3DSurface9** surface, HANDLE* shared) override;

    HRESULT UpdateSurface(IDirect3DSurface9* source, const RECT* source_rect, IDirect3DSurface9* dest,
                          const POINT* dest_point) override;
    HRESULT UpdateTexture(IDirect3DBaseTexture9* source, IDirect3DBaseTexture9* dest) override;
    HRESULT GetRenderTargetData(IDirect3DSurface9* target, IDirect3DSurface9* dest) override;
    HRESULT GetFrontBufferData(UINT, IDirect3DSurface9*) override { return E_NOTIMPL; }
    HRESULT StretchRect(IDirect3DSurface9* source, const RECT* source_rect, IDirect3DSurface9* dest,
                        const RECT* dest_rect, D3DTEXTUREFILTERTYPE filter) override;
    HRESULT ColorFill(IDirect3DSurface9* surface, const RECT* rect, D3DCOLOR color) override;

    HRESULT SetRenderTarget(DWORD index, IDirect3DSurface9* surface) override;
    HRESULT GetRenderTarget(DWORD index, IDirect3DSurface9** surface) override;
    HRESULT SetDepthStencilSurface(IDirect3DSurface9* surface) override;
    HRESULT GetDepthStencilSurface(IDirect3DSurface9** surface) override;
    HRESULT BeginScene() override;
    HRESULT EndScene() override;
    HRESULT Clear(DWORD count, const D3DRECT* rects, DWORD flags, D3DCOLOR color, float z,
                  DWORD stencil) override;

    HRESULT SetTransform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX* matrix) override;
    HRESULT GetTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) override;
    HRESULT MultiplyTransform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX* matrix) override;
    HRESULT SetViewport(const D3DVIEWPORT9* viewport) override;
    HRESULT GetViewport(D3DVIEWPORT9* viewport) override;
    HRESULT SetMaterial(const D3DMATERIAL9* material) override;
    HRESULT GetMaterial(D3DMATERIAL9* material) override;
    HRESULT SetLight(DWORD index, const D3DLIGHT9* light) override;
    HRESULT GetLight(DWORD index, D3DLIGHT9* light) override;
    HRESULT LightEnable(DWORD index, BOOL enable) override;
    HRESULT GetLightEnable(DWORD index, BOOL* enable) override;
    HRESULT SetClipPlane(DWORD index, const float* plane) override;
    HRESULT GetClipPlane(DWORD index, float* plane) override;
    HRESULT SetRenderState(D3DRENDERSTATETYPE state, DWORD value) override;
    HRESULT GetRenderState(D3DRENDERSTATETYPE state, DWORD* value) override;
    HRESULT GetTexture(DWORD stage, IDirect3DBaseTexture9** texture) override;
    HRESULT SetTexture(DWORD stage, IDirect3DBaseTexture9* texture) override;
    HRESULT GetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD* value) override;
    HRESULT SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value) override;
    HRESULT GetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD* value) override;
    HRESULT SetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD value) override;
    HRESULT ValidateDevice(DWORD* passes) override;
    HRESULT SetScissorRect(const RECT* rect) override;
    HRESULT GetScissorRect(RECT* rect) override;
    HRESULT SetSoftwareVertexProcessing(BOOL software) override;
    BOOL GetSoftwareVertexProcessing() override { return state_.software_vertex_processing ? TRUE : FALSE; }

    HRESULT DrawPrimitive(D3DPRIMITIVETYPE type, UINT start, UINT count) override;
    HRESULT DrawIndexedPrimitive(D3DPRIMITIVETYPE type, INT base_vertex, UINT min_vertex, UINT vertex_count,
                                 UINT start_index, UINT count) override;
    HRESULT DrawPrimitiveUP(D3DPRIMITIVETYPE type, UINT count, const void* vertices, UINT stride) override;
    HRESULT DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE type, UINT min_vertex, UINT vertex_count, UINT count,
                                   const void* indices, D3DFORMAT index_format, const void* vertices,
                                   UINT stride) override;

    HRESULT CreateVertexDeclaration(const D3DVERTEXELEMENT9* elements,
                                    IDirect3DVertexDeclaration9** declaration) override;
    HRESULT SetVertexDeclaration(IDirect3DVertexDeclaration9* declaration) override;
    HRESULT GetVertexDeclaration(IDirect3DVertexDeclaration9** declaration) override;
    HRESULT SetFVF(DWORD fvf) override;
    HRESULT GetFVF(DWORD* fvf) override;
    HRESULT CreateVertexShader(const DWORD* function, IDirect3DVertexShader9** shader) override;
    HRESULT SetVertexShader(IDirect3DVertexShader9* shader) override;
    HRESULT GetVertexShader(IDirect3DVertexShader9** shader) override;
    HRESULT SetVertexShaderConstantF(UINT start, const float* data, UINT count) override;
    HRESULT GetVertexShaderConstantF(UINT start, float* data, UINT count) override;
    HRESULT SetVertexShaderConstantI(UINT start, const int* data, UINT count) override;
    HRESULT GetVertexShaderConstantI(UINT start, int* data, UINT count) override;
    HRESULT SetVertexShaderConstantB(UINT start, const BOOL* data, UINT count) override;
    HRESULT GetVertexShaderConstantB(UINT start, BOOL* data, UINT count) override;
    HRESULT SetStreamSource(UINT stream, IDirect3DVertexBuffer9* buffer, UINT offset, UINT stride) override;
    HRESULT GetStreamSource(UINT stream, IDirect3DVertexBuffer9** buffer, UINT* offset,
                            UINT* stride) override;
    // Instancing is not offered.
    HRESULT SetStreamSourceFreq(UINT, UINT setting) override {
        return setting == 1 ? D3D_OK : D3DERR_INVALIDCALL;
    }
    HRESULT GetStreamSourceFreq(UINT stream, UINT* setting) override;
    HRESULT SetIndices(IDirect3DIndexBuffer9* buffer) override;
    HRESULT GetIndices(IDirect3DIndexBuffer9** buffer) override;
    HRESULT CreatePixelShader(const DWORD* function, IDirect3DPixelShader9** shader) override;
    HRESULT SetPixelShader(IDirect3DPixelShader9* shader) override;
    HRESULT GetPixelShader(IDirect3DPixelShader9** shader) override;
    HRESULT SetPixelShaderConstantF(UINT start, const float* data, UINT count) override;
    HRESULT GetPixelShaderConstantF(UINT start, float* data, UINT count) override;
    HRESULT SetPixelShaderConstantI(UINT start, const int* data, UINT count) override;
    HRESULT GetPixelShaderConstantI(UINT start, int* data, UINT count) override;
    HRESULT SetPixelShaderConstantB(UINT start, const BOOL* data, UINT count) override;
    HRESULT GetPixelShaderConstantB(UINT start, BOOL* data, UINT count) override;

  private:
    GlDevice(GlDirect3D9& d3d, std::unique_ptr<GlContext> context, D3DDEVTYPE type, HWND focus,
             DWORD behaviour);
    ~GlDevice();

    // Checks parameters and fills in what they leave open.
    HRESULT Complete(D3DPRESENT_PARAMETERS& parameters) const;
    // Back buffer and depth surface by `parameters`, set as targets, with the states at their defaults.
    HRESULT StartTargets(const D3DPRESENT_PARAMETERS& parameters);
    void UnbindAll();
    // The framebuffer of the targets in force, bound for drawing, with what memory holds brought in.
    void BindTargets();
    void ReadyToDraw();
    void ResetViewport();
    void RefreshActiveLights();
    Light& LightAt(DWORD index);
    D3DMATRIX* TransformPlace(D3DTRANSFORMSTATETYPE state, u32& groups, u32& stage);
    GlSurface* OwnSurface(UINT width, UINT height, const GlImage::Desc& image, DWORD usage, D3DPOOL pool,
                          D3DMULTISAMPLE_TYPE samples, DWORD quality, bool lockable);
    // Samples of a multisample type and quality; 0 for none; -1 when it is not offered.
    int SamplesOf(D3DMULTISAMPLE_TYPE type, DWORD quality) const;
    HRESULT CheckTexture(UINT width, UINT height, UINT& levels, DWORD& usage, D3DFORMAT format, D3DPOOL pool,
                         bool cube) const;
    void ClearRect(const PixelRect& rect, DWORD flags, D3DCOLOR color, float z, DWORD stencil);
    void BlitToWindow(const RECT* source, const RECT* dest);
    // Null for a device without one.
    Window* TargetWindow() const;

    GlDirect3D9* d3d_;
    std::unique_ptr<GlContext> context_;
    std::unique_ptr<Pipeline> pipeline_;
    DeviceState state_;
    D3DDEVICE_CREATION_PARAMETERS creation_{};
    D3DPRESENT_PARAMETERS present_{};
    GlSurface* back_buffer_ = nullptr;  // held
    GlSurface* auto_depth_ = nullptr;   // held
    std::unique_ptr<GlImage> resolve_;  // a multisampled back buffer on its way to the window
    GLuint framebuffer_ = 0;            // of the targets in force
    u32 references_ = 0;
    bool in_scene_ = false;
    bool full_screen_ = false;  // the device has made the window so
};

}  // namespace platform::gl
