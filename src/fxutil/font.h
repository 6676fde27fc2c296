// A font that is made and released but never drawn with.
#pragma once

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

/// What D3DXCreateFontIndirectA is asked for, with the published members.
struct D3DXFONT_DESCA {
    INT Height;
    UINT Width;
    UINT Weight;
    UINT MipLevels;
    BOOL Italic;
    BYTE CharSet;
    BYTE OutputPrecision;
    BYTE Quality;
    BYTE PitchAndFamily;
    CHAR FaceName[32];
};

/// Holds its description and a reference to its device, and counts its own references. Nothing is rasterised:
/// PreloadCharacters does nothing and succeeds.
class ID3DXFont {
  public:
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
    /// The device with a reference added for the caller.
    virtual HRESULT GetDevice(IDirect3DDevice9** device) = 0;
    virtual HRESULT GetDescA(D3DXFONT_DESCA* desc) = 0;
    virtual HRESULT PreloadCharacters(UINT first, UINT last) = 0;

  protected:
    ~ID3DXFont() = default;
};

/// D3DERR_INVALIDCALL when an argument is null. The caller owns the one reference of the new font.
HRESULT D3DXCreateFontIndirectA(IDirect3DDevice9* device, const D3DXFONT_DESCA* desc, ID3DXFont** font);
