// The interfaces of Direct3D 9 that the engine uses, with the published names, arguments and identifiers.
// Included through "platform/d3d9/d3d9.h" where the system has no header of its own.
#pragma once

#include "platform/d3d9/d3d9_caps.h"
#include "platform/d3d9/d3d9_types.h"

inline constexpr GUID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID IID_IDirect3D9 = {
    0x81bdcbca, 0x64d4, 0x426d, {0xae, 0x8d, 0xad, 0x1, 0x47, 0xf4, 0x27, 0x5c}};
inline constexpr GUID IID_IDirect3DDevice9 = {
    0xd0223b96, 0xbf7a, 0x43fd, {0x92, 0xbd, 0xa4, 0x3b, 0xd, 0x82, 0xb9, 0xeb}};
inline constexpr GUID IID_IDirect3DResource9 = {
    0x5eec05d, 0x8f7d, 0x4362, {0xb9, 0x99, 0xd1, 0xba, 0xf3, 0x57, 0xc7, 0x4}};
inline constexpr GUID IID_IDirect3DBaseTexture9 = {
    0x580ca87e, 0x1d3c, 0x4d54, {0x99, 0x1d, 0xb7, 0xd3, 0xe3, 0xc2, 0x98, 0xce}};
inline constexpr GUID IID_IDirect3DTexture9 = {
    0x85c31227, 0x3de5, 0x4f00, {0x9b, 0x3a, 0xf1, 0x1a, 0xc3, 0x8c, 0x18, 0xb5}};
inline constexpr GUID IID_IDirect3DCubeTexture9 = {
    0xfff32f81, 0xd953, 0x473a, {0x92, 0x23, 0x93, 0xd6, 0x52, 0xab, 0xa9, 0x3f}};
inline constexpr GUID IID_IDirect3DSurface9 = {
    0xcfbaf3a, 0x9ff6, 0x429a, {0x99, 0xb3, 0xa2, 0x79, 0x6a, 0xf8, 0xb8, 0x9b}};
inline constexpr GUID IID_IDirect3DVertexBuffer9 = {
    0xb64bb1b5, 0xfd70, 0x4df6, {0xbf, 0x91, 0x19, 0xd0, 0xa1, 0x24, 0x55, 0xe3}};
inline constexpr GUID IID_IDirect3DIndexBuffer9 = {
    0x7c9dd65e, 0xd3f7, 0x4529, {0xac, 0xee, 0x78, 0x58, 0x30, 0xac, 0xde, 0x35}};
inline constexpr GUID IID_IDirect3DVertexDeclaration9 = {
    0xdd13c59c, 0x36fa, 0x4098, {0xa8, 0xfb, 0xc7, 0xed, 0x39, 0xdc, 0x85, 0x46}};
inline constexpr GUID IID_IDirect3DVertexShader9 = {
    0xefc5557e, 0x6265, 0x4613, {0x8a, 0x94, 0x43, 0x85, 0x78, 0x89, 0xeb, 0x36}};
inline constexpr GUID IID_IDirect3DPixelShader9 = {
    0x6d3bdbdc, 0x5b02, 0x4415, {0xb8, 0x52, 0xce, 0x5e, 0x8b, 0xcc, 0xb2, 0x89}};

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

  protected:
    // Objects end through Release alone.
    ~IUnknown() = default;
};

struct IDirect3DDevice9;
struct IDirect3DSurface9;
struct IDirect3DBaseTexture9;
struct IDirect3DTexture9;
struct IDirect3DCubeTexture9;
struct IDirect3DVertexBuffer9;
struct IDirect3DIndexBuffer9;
struct IDirect3DVertexDeclaration9;
struct IDirect3DVertexShader9;
struct IDirect3DPixelShader9;

struct IDirect3D9 : IUnknown {
    virtual UINT STDMETHODCALLTYPE GetAdapterCount() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAdapterIdentifier(UINT adapter, DWORD flags,
                                                           D3DADAPTER_IDENTIFIER9* identifier) = 0;
    virtual UINT STDMETHODCALLTYPE GetAdapterModeCount(UINT adapter, D3DFORMAT format) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumAdapterModes(UINT adapter, D3DFORMAT format, UINT mode,
                                                       D3DDISPLAYMODE* out) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAdapterDisplayMode(UINT adapter, D3DDISPLAYMODE* mode) = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckDeviceType(UINT adapter, D3DDEVTYPE type, D3DFORMAT adapter_format,
                                                      D3DFORMAT back_buffer_format, BOOL windowed) = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckDeviceFormat(UINT adapter, D3DDEVTYPE type,
                                                        D3DFORMAT adapter_format, DWORD usage,
                                                        D3DRESOURCETYPE resource, D3DFORMAT format) = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckDeviceMultiSampleType(UINT adapter, D3DDEVTYPE type,
                                                                 D3DFORMAT format, BOOL windowed,
                                                                 D3DMULTISAMPLE_TYPE samples,
                                                                 DWORD* quality_levels) = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckDepthStencilMatch(UINT adapter, D3DDEVTYPE type,
                                                             D3DFORMAT adapter_format,
                                                             D3DFORMAT target_format,
                                                             D3DFORMAT depth_format) = 0;
    virtual HRESULT STDMETHODCALLTYPE CheckDeviceFormatConversion(UINT adapter, D3DDEVTYPE type,
                                                                  D3DFORMAT source, D3DFORMAT target) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDeviceCaps(UINT adapter, D3DDEVTYPE type, D3DCAPS9* caps) = 0;
    virtual HMONITOR STDMETHODCALLTYPE GetAdapterMonitor(UINT adapter) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateDevice(UINT adapter, D3DDEVTYPE type, HWND focus, DWORD behaviour,
                                                   D3DPRESENT_PARAMETERS* parameters,
                                                   IDirect3DDevice9** device) = 0;

  protected:
    ~IDirect3D9() = default;
};

struct IDirect3DResource9 : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDevice(IDirect3DDevice9** device) = 0;
    virtual DWORD STDMETHODCALLTYPE SetPriority(DWORD priority) = 0;
    virtual DWORD STDMETHODCALLTYPE GetPriority() = 0;
    virtual void STDMETHODCALLTYPE PreLoad() = 0;
    virtual D3DRESOURCETYPE STDMETHODCALLTYPE GetType() = 0;

  protected:
    ~IDirect3DResource9() = default;
};

struct IDirect3DSurface9 : IDirect3DResource9 {
    virtual HRESULT STDMETHODCALLTYPE GetContainer(REFIID riid, void** container) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDesc(D3DSURFACE_DESC* desc) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRect(D3DLOCKED_RECT* locked, const RECT* rect, DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRect() = 0;

  protected:
    ~IDirect3DSurface9() = default;
};

struct IDirect3DBaseTexture9 : IDirect3DResource9 {
    virtual DWORD STDMETHODCALLTYPE SetLOD(DWORD lod) = 0;
    virtual DWORD STDMETHODCALLTYPE GetLOD() = 0;
    virtual DWORD STDMETHODCALLTYPE GetLevelCount() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetAutoGenFilterType(D3DTEXTUREFILTERTYPE filter) = 0;
    virtual D3DTEXTUREFILTERTYPE STDMETHODCALLTYPE GetAutoGenFilterType() = 0;
    virtual void STDMETHODCALLTYPE GenerateMipSubLevels() = 0;

  protected:
    ~IDirect3DBaseTexture9() = default;
};

struct IDirect3DTexture9 : IDirect3DBaseTexture9 {
    virtual HRESULT STDMETHODCALLTYPE GetLevelDesc(UINT level, D3DSURFACE_DESC* desc) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSurfaceLevel(UINT level, IDirect3DSurface9** surface) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRect(UINT level, D3DLOCKED_RECT* locked, const RECT* rect,
                                               DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRect(UINT level) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddDirtyRect(const RECT* rect) = 0;

  protected:
    ~IDirect3DTexture9() = default;
};

struct IDirect3DCubeTexture9 : IDirect3DBaseTexture9 {
    virtual HRESULT STDMETHODCALLTYPE GetLevelDesc(UINT level, D3DSURFACE_DESC* desc) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCubeMapSurface(D3DCUBEMAP_FACES face, UINT level,
                                                        IDirect3DSurface9** surface) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockRect(D3DCUBEMAP_FACES face, UINT level, D3DLOCKED_RECT* locked,
                                               const RECT* rect, DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnlockRect(D3DCUBEMAP_FACES face, UINT level) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddDirtyRect(D3DCUBEMAP_FACES face, const RECT* rect) = 0;

  protected:
    ~IDirect3DCubeTexture9() = default;
};

struct IDirect3DVertexBuffer9 : IDirect3DResource9 {
    virtual HRESULT STDMETHODCALLTYPE Lock(UINT offset, UINT size, void** data, DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unlock() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDesc(D3DVERTEXBUFFER_DESC* desc) = 0;

  protected:
    ~IDirect3DVertexBuffer9() = default;
};

struct IDirect3DIndexBuffer9 : IDirect3DResource9 {
    virtual HRESULT STDMETHODCALLTYPE Lock(UINT offset, UINT size, void** data, DWORD flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unlock() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDesc(D3DINDEXBUFFER_DESC* desc) = 0;

  protected:
    ~IDirect3DIndexBuffer9() = default;
};

struct IDirect3DVertexDeclaration9 : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDevice(IDirect3DDevice9** device) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDeclaration(D3DVERTEXELEMENT9* elements, UINT* count) = 0;

  protected:
    ~IDirect3DVertexDeclaration9() = default;
};

struct IDirect3DVertexShader9 : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDevice(IDirect3DDevice9** device) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFunction(void* data, UINT* size) = 0;

  protected:
    ~IDirect3DVertexShader9() = default;
};

struct IDirect3DPixelShader9 : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDevice(IDirect3DDevice9** device) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFunction(void* data, UINT* size) = 0;

  protected:
    ~IDirect3DPixelShader9() = default;
};

struct IDirect3DDevice9 : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE TestCooperativeLevel() = 0;
    virtual UINT STDMETHODCALLTYPE GetAvailableTextureMem() = 0;
    virtual HRESULT STDMETHODCALLTYPE EvictManagedResources() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDirect3D(IDirect3D9** d3d) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDeviceCaps(D3DCAPS9* caps) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDisplayMode(UINT swap_chain, D3DDISPLAYMODE* mode) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCreationParameters(D3DDEVICE_CREATION_PARAMETERS* parameters) = 0;
    virtual UINT STDMETHODCALLTYPE GetNumberOfSwapChains() = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset(D3DPRESENT_PARAMETERS* parameters) = 0;
    virtual HRESULT STDMETHODCALLTYPE Present(const RECT* source, const RECT* dest, HWND window,
                                              const RGNDATA* dirty) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBackBuffer(UINT swap_chain, UINT index, D3DBACKBUFFER_TYPE type,
                                                    IDirect3DSurface9** surface) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateTexture(UINT width, UINT height, UINT levels, DWORD usage,
                                                    D3DFORMAT format, D3DPOOL pool,
                                                    IDirect3DTexture9** texture, HANDLE* shared) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateCubeTexture(UINT edge, UINT levels, DWORD usage, D3DFORMAT format,
                                                        D3DPOOL pool, IDirect3DCubeTexture9** texture,
                                                        HANDLE* shared) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateVertexBuffer(UINT length, DWORD usage, DWORD fvf, D3DPOOL pool,
                                                         IDirect3DVertexBuffer9** buffer, HANDLE* shared) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateIndexBuffer(UINT length, DWORD usage, D3DFORMAT format,
                                                        D3DPOOL pool, IDirect3DIndexBuffer9** buffer,
                                                        HANDLE* shared) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateRenderTarget(UINT width, UINT height, D3DFORMAT format,
                                                         D3DMULTISAMPLE_TYPE samples, DWORD quality,
                                                         BOOL lockable, IDirect3DSurface9** surface,
                                                         HANDLE* shared) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateDepthStencilSurface(UINT width, UINT height, D3DFORMAT format,
                                                                D3DMULTISAMPLE_TYPE samples, DWORD quality,
                                                                BOOL discard, IDirect3DSurface9** surface,
                                                                HANDLE* shared) = 0;
    virtual HRESULT STDMETHODCALLTYPE UpdateSurface(IDirect3DSurface9* source, const RECT* source_rect,
                                                    IDirect3DSurface9* dest, const POINT* dest_point) = 0;
    virtual HRESULT STDMETHODCALLTYPE UpdateTexture(IDirect3DBaseTexture9* source,
                                                    IDirect3DBaseTexture9* dest) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRenderTargetData(IDirect3DSurface9* target,
                                                          IDirect3DSurface9* dest) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFrontBufferData(UINT swap_chain, IDirect3DSurface9* dest) = 0;
    virtual HRESULT STDMETHODCALLTYPE StretchRect(IDirect3DSurface9* source, const RECT* source_rect,
                                                  IDirect3DSurface9* dest, const RECT* dest_rect,
                                                  D3DTEXTUREFILTERTYPE filter) = 0;
    virtual HRESULT STDMETHODCALLTYPE ColorFill(IDirect3DSurface9* surface, const RECT* rect,
                                                D3DCOLOR color) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateOffscreenPlainSurface(UINT width, UINT height, D3DFORMAT format,
                                                                  D3DPOOL pool, IDirect3DSurface9** surface,
                                                                  HANDLE* shared) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetRenderTarget(DWORD index, IDirect3DSurface9* surface) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRenderTarget(DWORD index, IDirect3DSurface9** surface) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDepthStencilSurface(IDirect3DSurface9* surface) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDepthStencilSurface(IDirect3DSurface9** surface) = 0;
    virtual HRESULT STDMETHODCALLTYPE BeginScene() = 0;
    virtual HRESULT STDMETHODCALLTYPE EndScene() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clear(DWORD count, const D3DRECT* rects, DWORD flags, D3DCOLOR color,
                                            float z, DWORD stencil) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTransform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX* matrix) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) = 0;
    virtual HRESULT STDMETHODCALLTYPE MultiplyTransform(D3DTRANSFORMSTATETYPE state,
                                                        const D3DMATRIX* matrix) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetViewport(const D3DVIEWPORT9* viewport) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetViewport(D3DVIEWPORT9* viewport) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMaterial(const D3DMATERIAL9* material) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaterial(D3DMATERIAL9* material) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetLight(DWORD index, const D3DLIGHT9* light) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLight(DWORD index, D3DLIGHT9* light) = 0;
    virtual HRESULT STDMETHODCALLTYPE LightEnable(DWORD index, BOOL enable) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLightEnable(DWORD index, BOOL* enable) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetClipPlane(DWORD index, const float* plane) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetClipPlane(DWORD index, float* plane) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetRenderState(D3DRENDERSTATETYPE state, DWORD value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRenderState(D3DRENDERSTATETYPE state, DWORD* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTexture(DWORD stage, IDirect3DBaseTexture9** texture) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTexture(DWORD stage, IDirect3DBaseTexture9* texture) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type,
                                                           DWORD* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type,
                                                           DWORD value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type,
                                                      DWORD* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type,
                                                      DWORD value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ValidateDevice(DWORD* passes) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetScissorRect(const RECT* rect) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetScissorRect(RECT* rect) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSoftwareVertexProcessing(BOOL software) = 0;
    virtual BOOL STDMETHODCALLTYPE GetSoftwareVertexProcessing() = 0;
    virtual HRESULT STDMETHODCALLTYPE DrawPrimitive(D3DPRIMITIVETYPE type, UINT start, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE DrawIndexedPrimitive(D3DPRIMITIVETYPE type, INT base_vertex,
                                                           UINT min_vertex, UINT vertex_count,
                                                           UINT start_index, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE DrawPrimitiveUP(D3DPRIMITIVETYPE type, UINT count, const void* vertices,
                                                      UINT stride) = 0;
    virtual HRESULT STDMETHODCALLTYPE DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE type, UINT min_vertex,
                                                             UINT vertex_count, UINT count,
                                                             const void* indices, D3DFORMAT index_format,
                                                             const void* vertices, UINT stride) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateVertexDeclaration(const D3DVERTEXELEMENT9* elements,
                                                              IDirect3DVertexDeclaration9** declaration) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetVertexDeclaration(IDirect3DVertexDeclaration9* declaration) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVertexDeclaration(IDirect3DVertexDeclaration9** declaration) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetFVF(DWORD fvf) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFVF(DWORD* fvf) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateVertexShader(const DWORD* function,
                                                         IDirect3DVertexShader9** shader) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetVertexShader(IDirect3DVertexShader9* shader) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVertexShader(IDirect3DVertexShader9** shader) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetVertexShaderConstantF(UINT start, const float* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVertexShaderConstantF(UINT start, float* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetVertexShaderConstantI(UINT start, const int* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVertexShaderConstantI(UINT start, int* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetVertexShaderConstantB(UINT start, const BOOL* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVertexShaderConstantB(UINT start, BOOL* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetStreamSource(UINT stream, IDirect3DVertexBuffer9* buffer,
                                                      UINT offset, UINT stride) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStreamSource(UINT stream, IDirect3DVertexBuffer9** buffer,
                                                      UINT* offset, UINT* stride) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetStreamSourceFreq(UINT stream, UINT setting) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStreamSourceFreq(UINT stream, UINT* setting) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetIndices(IDirect3DIndexBuffer9* buffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIndices(IDirect3DIndexBuffer9** buffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreatePixelShader(const DWORD* function,
                                                        IDirect3DPixelShader9** shader) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPixelShader(IDirect3DPixelShader9* shader) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPixelShader(IDirect3DPixelShader9** shader) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPixelShaderConstantF(UINT start, const float* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPixelShaderConstantF(UINT start, float* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPixelShaderConstantI(UINT start, const int* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPixelShaderConstantI(UINT start, int* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPixelShaderConstantB(UINT start, const BOOL* data, UINT count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPixelShaderConstantB(UINT start, BOOL* data, UINT count) = 0;

  protected:
    ~IDirect3DDevice9() = default;
};

using LPDIRECT3D9 = IDirect3D9*;
using LPDIRECT3DDEVICE9 = IDirect3DDevice9*;
using LPDIRECT3DBASETEXTURE9 = IDirect3DBaseTexture9*;
using LPDIRECT3DTEXTURE9 = IDirect3DTexture9*;
using LPDIRECT3DCUBETEXTURE9 = IDirect3DCubeTexture9*;
using LPDIRECT3DSURFACE9 = IDirect3DSurface9*;
using LPDIRECT3DVERTEXBUFFER9 = IDirect3DVertexBuffer9*;
using LPDIRECT3DINDEXBUFFER9 = IDirect3DIndexBuffer9*;
