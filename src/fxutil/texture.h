// Textures out of image files, memory and functions, under the published D3DX names, arguments and results.
//
// Decoding and filtering run on the processor; the device only receives finished levels. A surface that
// cannot be locked is filled by way of a system memory copy and IDirect3DDevice9::UpdateSurface. Every
// operation that fails leaves the out pointer null.
#pragma once

#include "fxutil/image.h"
#include "fxutil/math.h"
#include "platform/d3d9/d3d9.h"

#ifndef _WIN32
struct PALETTEENTRY {
    BYTE peRed, peGreen, peBlue, peFlags;
};
#endif

inline constexpr UINT D3DX_DEFAULT = 0xffffffffu;
inline constexpr UINT D3DX_DEFAULT_NONPOW2 = 0xfffffffeu;
inline constexpr UINT D3DX_FROM_FILE = 0xfffffffdu;

inline constexpr DWORD D3DX_FILTER_NONE = 0x00000001;
inline constexpr DWORD D3DX_FILTER_POINT = 0x00000002;
inline constexpr DWORD D3DX_FILTER_LINEAR = 0x00000003;
inline constexpr DWORD D3DX_FILTER_TRIANGLE = 0x00000004;
inline constexpr DWORD D3DX_FILTER_BOX = 0x00000005;
inline constexpr DWORD D3DX_FILTER_MIRROR_U = 0x00010000;
inline constexpr DWORD D3DX_FILTER_MIRROR_V = 0x00020000;
inline constexpr DWORD D3DX_FILTER_MIRROR_W = 0x00040000;
inline constexpr DWORD D3DX_FILTER_MIRROR = 0x00070000;
inline constexpr DWORD D3DX_FILTER_DITHER = 0x00080000;

inline constexpr DWORD D3DX_NORMALMAP_MIRROR_U = 0x00010000;
inline constexpr DWORD D3DX_NORMALMAP_MIRROR_V = 0x00020000;
inline constexpr DWORD D3DX_NORMALMAP_MIRROR = 0x00030000;
inline constexpr DWORD D3DX_NORMALMAP_INVERTSIGN = 0x00080000;
inline constexpr DWORD D3DX_NORMALMAP_COMPUTE_OCCLUSION = 0x00100000;

inline constexpr DWORD D3DX_CHANNEL_RED = 1;
inline constexpr DWORD D3DX_CHANNEL_BLUE = 2;
inline constexpr DWORD D3DX_CHANNEL_GREEN = 4;
inline constexpr DWORD D3DX_CHANNEL_ALPHA = 8;
inline constexpr DWORD D3DX_CHANNEL_LUMINANCE = 16;

inline constexpr HRESULT D3DXERR_INVALIDDATA = static_cast<HRESULT>(0x88760b59u);

/// Gives the colour of one texel: its centre and the size of a texel, both in 0 to 1.
using LPD3DXFILL2D = void(WINAPI*)(D3DXVECTOR4* out, const D3DXVECTOR2* tex_coord,
                                   const D3DXVECTOR2* texel_size, void* data);

/// D3DXERR_INVALIDDATA for bytes that are no image. `info` may be null.
HRESULT D3DXGetImageInfoFromFileInMemory(const void* data, UINT size, D3DXIMAGE_INFO* info);
HRESULT D3DXGetImageInfoFromFileA(const char* file, D3DXIMAGE_INFO* info);

/// Bends the wishes to what the device can make: a D3DX_DEFAULT size becomes the other one, or 256 when both
/// are; sizes are cut to the device's largest, rounded up to whole blocks of a DXT format and, on a device
/// that needs it, to powers of two; `levels` 0, D3DX_DEFAULT or too many become the full chain (with
/// D3DUSAGE_AUTOGENMIPMAP 0, unless they are 1); an unknown format becomes D3DFMT_A8R8G8B8, an unsupported
/// one the nearest supported. Any pointer but `device` may be null.
HRESULT D3DXCheckTextureRequirements(IDirect3DDevice9* device, UINT* width, UINT* height, UINT* levels,
                                     DWORD usage, D3DFORMAT* format, D3DPOOL pool);
HRESULT D3DXCheckCubeTextureRequirements(IDirect3DDevice9* device, UINT* size, UINT* levels, DWORD usage,
                                         D3DFORMAT* format, D3DPOOL pool);

/// An empty texture of the sizes and format that D3DXCheckTextureRequirements makes of the wishes.
HRESULT D3DXCreateTexture(IDirect3DDevice9* device, UINT width, UINT height, UINT levels, DWORD usage,
                          D3DFORMAT format, D3DPOOL pool, IDirect3DTexture9** texture);
HRESULT D3DXCreateCubeTexture(IDirect3DDevice9* device, UINT size, UINT levels, DWORD usage, D3DFORMAT format,
                              D3DPOOL pool, IDirect3DCubeTexture9** texture);

/// A texture of an image. `width`, `height`: 0 or D3DX_DEFAULT take the file's size rounded up to a power of
/// two, D3DX_DEFAULT_NONPOW2 and D3DX_FROM_FILE the size itself. `levels`: 0 or D3DX_DEFAULT make the full
/// chain, D3DX_FROM_FILE takes the file's count. `format`: D3DFMT_UNKNOWN takes the file's, or the nearest
/// that the device has. `filter` D3DX_DEFAULT is triangle with dithering, `mip_filter` D3DX_DEFAULT is box.
/// Pixels equal to a `color_key` other than 0 become transparent black. `info` and `palette` (256 entries)
/// may be null.
HRESULT D3DXCreateTextureFromFileInMemoryEx(IDirect3DDevice9* device, const void* data, UINT size, UINT width,
                                            UINT height, UINT levels, DWORD usage, D3DFORMAT format,
                                            D3DPOOL pool, DWORD filter, DWORD mip_filter, D3DCOLOR color_key,
                                            D3DXIMAGE_INFO* info, PALETTEENTRY* palette,
                                            IDirect3DTexture9** texture);
HRESULT D3DXCreateTextureFromFileExA(IDirect3DDevice9* device, const char* file, UINT width, UINT height,
                                     UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool, DWORD filter,
                                     DWORD mip_filter, D3DCOLOR color_key, D3DXIMAGE_INFO* info,
                                     PALETTEENTRY* palette, IDirect3DTexture9** texture);
/// All defaults, in the managed pool.
HRESULT D3DXCreateTextureFromFileInMemory(IDirect3DDevice9* device, const void* data, UINT size,
                                          IDirect3DTexture9** texture);
HRESULT D3DXCreateTextureFromFileA(IDirect3DDevice9* device, const char* file, IDirect3DTexture9** texture);

/// A cube texture of a .dds cube map; any other image is refused.
HRESULT D3DXCreateCubeTextureFromFileInMemoryEx(IDirect3DDevice9* device, const void* data, UINT data_size,
                                                UINT size, UINT levels, DWORD usage, D3DFORMAT format,
                                                D3DPOOL pool, DWORD filter, DWORD mip_filter,
                                                D3DCOLOR color_key, D3DXIMAGE_INFO* info,
                                                PALETTEENTRY* palette, IDirect3DCubeTexture9** texture);
HRESULT D3DXCreateCubeTextureFromFileExA(IDirect3DDevice9* device, const char* file, UINT size, UINT levels,
                                         DWORD usage, D3DFORMAT format, D3DPOOL pool, DWORD filter,
                                         DWORD mip_filter, D3DCOLOR color_key, D3DXIMAGE_INFO* info,
                                         PALETTEENTRY* palette, IDirect3DCubeTexture9** texture);
HRESULT D3DXCreateCubeTextureFromFileInMemory(IDirect3DDevice9* device, const void* data, UINT data_size,
                                              IDirect3DCubeTexture9** texture);
HRESULT D3DXCreateCubeTextureFromFileA(IDirect3DDevice9* device, const char* file,
                                       IDirect3DCubeTexture9** texture);

/// Copies pixels into (a rectangle of) a surface, converting and filtering as needed. `source` holds rows of
/// `source_format` that lie `source_pitch` bytes apart; `source_rect` is required, `dest_rect` null is the
/// whole.
HRESULT D3DXLoadSurfaceFromMemory(IDirect3DSurface9* dest, const PALETTEENTRY* dest_palette,
                                  const RECT* dest_rect, const void* source, D3DFORMAT source_format,
                                  UINT source_pitch, const PALETTEENTRY* source_palette,
                                  const RECT* source_rect, DWORD filter, D3DCOLOR color_key);
HRESULT D3DXLoadSurfaceFromSurface(IDirect3DSurface9* dest, const PALETTEENTRY* dest_palette,
                                   const RECT* dest_rect, IDirect3DSurface9* source,
                                   const PALETTEENTRY* source_palette, const RECT* source_rect, DWORD filter,
                                   D3DCOLOR color_key);

/// Makes the levels below `source_level` (D3DX_DEFAULT: 0), each from the one above. Takes 2D and cube
/// textures.
HRESULT D3DXFilterTexture(IDirect3DBaseTexture9* texture, const PALETTEENTRY* palette, UINT source_level,
                          DWORD filter);

/// Calls `function` for every texel of every level.
HRESULT D3DXFillTexture(IDirect3DTexture9* texture, LPD3DXFILL2D function, void* data);

/// Turns a height map into a normal map. Central differences over 3 x 3 texels with a denominator of 2,
/// heights in 0 to 1 times `amplitude`; x, y, z in -1 to 1 become red, green, blue in 0 to 1. Alpha is 1, or
/// with D3DX_NORMALMAP_COMPUTE_OCCLUSION the share of light that the eight neighbours leave. Texels off the
/// edge wrap, or mirror with the flags. Level 0 is computed, the levels below are filtered from it.
HRESULT D3DXComputeNormalMap(IDirect3DTexture9* texture, IDirect3DTexture9* source,
                             const PALETTEENTRY* source_palette, DWORD flags, DWORD channel, f32 amplitude);
