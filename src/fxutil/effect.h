// Effects: shaders, states and parameters out of one text, under the published D3DX names.
//
//     ID3DXEffect* effect = nullptr;
//     if (FAILED(D3DXCreateEffectFromFileA(device, "glow.fx", nullptr, nullptr, 0, nullptr, &effect,
//     nullptr))) ... D3DXHANDLE technique = nullptr; effect->FindNextValidTechnique(nullptr, &technique);
//     effect->SetTechnique(technique);
//     UINT passes = 0;
//     effect->Begin(&passes, 0);
//     for (UINT pass = 0; pass < passes; ++pass) {
//         effect->Pass(pass);
//         effect->SetMatrix("World", &world);  // reaches the device at once
//         ... draw
//     }
//     effect->End();
//
// The text is that of Direct3D 9 effect files: parameters with semantics, annotations and default values,
// textures, samplers with `sampler_state`, functions, techniques of passes with render, texture stage and
// sampler states and shaders compiled for vs_1_1, vs_2_0, vs_2_a, ps_1_1 to ps_1_4, ps_2_0, ps_2_a, ps_2_b.
// Refused with a message: #include, asm blocks, states computed from parameters, other profiles.
#pragma once

#include "fxutil/math.h"
#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

#ifndef MAKEINTRESOURCEA
#define MAKEINTRESOURCEA(id) (reinterpret_cast<LPCSTR>(static_cast<std::uintptr_t>(static_cast<WORD>(id))))
#endif

/// Names a parameter, annotation, technique or pass of one effect, or nothing (null). Where an operation
/// takes a parameter, technique or pass it also takes its name as a string. Valid as long as the effect
/// lives.
using D3DXHANDLE = LPCSTR;

/// A macro for the text. An array of them ends with one whose Name is null.
struct D3DXMACRO {
    LPCSTR Name;
    LPCSTR Definition;
};

/// Begin: nothing is saved and nothing is restored.
inline constexpr DWORD D3DXFX_DONOTSAVESTATE = 1;
/// Begin: shaders and their constants are not saved.
inline constexpr DWORD D3DXFX_DONOTSAVESHADERSTATE = 2;
/// Begin: textures and sampler states are not saved.
inline constexpr DWORD D3DXFX_DONOTSAVESAMPLERSTATE = 4;

enum D3DXPARAMETER_CLASS {
    D3DXPC_SCALAR = 0,
    D3DXPC_VECTOR = 1,
    D3DXPC_MATRIX_ROWS = 2,
    D3DXPC_MATRIX_COLUMNS = 3,
    D3DXPC_OBJECT = 4,
    D3DXPC_STRUCT = 5,
    D3DXPC_FORCE_DWORD = 0x7fffffff
};

enum D3DXPARAMETER_TYPE {
    D3DXPT_VOID = 0,
    D3DXPT_BOOL = 1,
    D3DXPT_INT = 2,
    D3DXPT_FLOAT = 3,
    D3DXPT_STRING = 4,
    D3DXPT_TEXTURE = 5,
    D3DXPT_TEXTURE1D = 6,
    D3DXPT_TEXTURE2D = 7,
    D3DXPT_TEXTURE3D = 8,
    D3DXPT_TEXTURECUBE = 9,
    D3DXPT_SAMPLER = 10,
    D3DXPT_SAMPLER1D = 11,
    D3DXPT_SAMPLER2D = 12,
    D3DXPT_SAMPLER3D = 13,
    D3DXPT_SAMPLERCUBE = 14,
    D3DXPT_PIXELSHADER = 15,
    D3DXPT_VERTEXSHADER = 16,
    D3DXPT_FORCE_DWORD = 0x7fffffff
};

struct D3DXEFFECT_DESC {
    LPCSTR Creator;
    UINT Parameters;
    UINT Techniques;
    UINT Functions;
};

/// The strings live as long as the effect. Elements is 0 for what is no array. Bytes: of the value as
/// SetValue and GetValue take it, four for each component.
struct D3DXPARAMETER_DESC {
    LPCSTR Name;
    LPCSTR Semantic;
    D3DXPARAMETER_CLASS Class;
    D3DXPARAMETER_TYPE Type;
    UINT Rows;
    UINT Columns;
    UINT Elements;
    UINT Annotations;
    UINT StructMembers;
    DWORD Flags;
    UINT Bytes;
};

struct D3DXTECHNIQUE_DESC {
    LPCSTR Name;
    UINT Passes;
    UINT Annotations;
};

struct D3DXPASS_DESC {
    LPCSTR Name;
    UINT Annotations;
    const DWORD* pVertexShaderFunction;
    const DWORD* pPixelShaderFunction;
};

/// Bytes with a count of references; of errors a text that ends with a zero.
class ID3DXBuffer {
  public:
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
    virtual void* GetBufferPointer() = 0;
    virtual DWORD GetBufferSize() = 0;

  protected:
    ~ID3DXBuffer() = default;
};

/// Arguments of the creation calls that must be null here.
class ID3DXInclude;
class ID3DXEffectPool;

/// Device thread only. Nothing but creation allocates. D3DERR_INVALIDCALL for a handle that is not there, a
/// null pointer, or a value of a kind that the parameter does not take.
class ID3DXEffect {
  public:
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

    // ---- what there is. Indices count in the order of the text; a place that is not there gives null.

    virtual HRESULT GetDesc(D3DXEFFECT_DESC* desc) = 0;
    virtual HRESULT GetParameterDesc(D3DXHANDLE parameter, D3DXPARAMETER_DESC* desc) = 0;
    virtual HRESULT GetTechniqueDesc(D3DXHANDLE technique, D3DXTECHNIQUE_DESC* desc) = 0;
    virtual HRESULT GetPassDesc(D3DXHANDLE pass, D3DXPASS_DESC* desc) = 0;
    /// `parent`: null for the parameters of the effect, a structure for its members.
    virtual D3DXHANDLE GetParameter(D3DXHANDLE parent, UINT index) = 0;
    /// Takes "light.color" and "lights[2].color" too. Case counts.
    virtual D3DXHANDLE GetParameterByName(D3DXHANDLE parent, LPCSTR name) = 0;
    /// The first with that semantic, in any case.
    virtual D3DXHANDLE GetParameterBySemantic(D3DXHANDLE parent, LPCSTR semantic) = 0;
    virtual D3DXHANDLE GetParameterElement(D3DXHANDLE parameter, UINT index) = 0;
    virtual D3DXHANDLE GetTechnique(UINT index) = 0;
    virtual D3DXHANDLE GetTechniqueByName(LPCSTR name) = 0;
    virtual D3DXHANDLE GetPass(D3DXHANDLE technique, UINT index) = 0;
    virtual D3DXHANDLE GetPassByName(D3DXHANDLE technique, LPCSTR name) = 0;
    /// Of a parameter, technique or pass. Annotations are read like parameters and cannot be set.
    virtual D3DXHANDLE GetAnnotation(D3DXHANDLE object, UINT index) = 0;
    virtual D3DXHANDLE GetAnnotationByName(D3DXHANDLE object, LPCSTR name) = 0;

    // ---- values. Numbers are converted to the parameter's type. Between Pass and End a changed value
    // reaches the device before the operation returns.

    /// As many bytes as the parameter has, at most `bytes`; textures as an IDirect3DBaseTexture9*.
    virtual HRESULT SetValue(D3DXHANDLE parameter, const void* data, UINT bytes) = 0;
    /// `bytes` must be at least what the parameter has. Strings give a const char*, textures a reference.
    virtual HRESULT GetValue(D3DXHANDLE parameter, void* data, UINT bytes) = 0;
    virtual HRESULT SetBool(D3DXHANDLE parameter, BOOL value) = 0;
    virtual HRESULT GetBool(D3DXHANDLE parameter, BOOL* value) = 0;
    virtual HRESULT SetInt(D3DXHANDLE parameter, INT value) = 0;
    virtual HRESULT GetInt(D3DXHANDLE parameter, INT* value) = 0;
    virtual HRESULT SetFloat(D3DXHANDLE parameter, FLOAT value) = 0;
    virtual HRESULT GetFloat(D3DXHANDLE parameter, FLOAT* value) = 0;
    /// The first `count` components, of arrays and matrices in row order; what the parameter does not have is
    /// left out.
    virtual HRESULT SetFloatArray(D3DXHANDLE parameter, const FLOAT* values, UINT count) = 0;
    virtual HRESULT GetFloatArray(D3DXHANDLE parameter, FLOAT* values, UINT count) = 0;
    /// A vector takes as many components as it has.
    virtual HRESULT SetVector(D3DXHANDLE parameter, const D3DXVECTOR4* vector) = 0;
    /// Components that the parameter does not have come back as 0.
    virtual HRESULT GetVector(D3DXHANDLE parameter, D3DXVECTOR4* vector) = 0;
    virtual HRESULT SetVectorArray(D3DXHANDLE parameter, const D3DXVECTOR4* vectors, UINT count) = 0;
    virtual HRESULT GetVectorArray(D3DXHANDLE parameter, D3DXVECTOR4* vectors, UINT count) = 0;
    /// For row vectors, so that `mul(v, M)` in the shader is v x matrix. A smaller parameter takes its upper
    /// left part.
    virtual HRESULT SetMatrix(D3DXHANDLE parameter, const D3DXMATRIX* matrix) = 0;
    virtual HRESULT GetMatrix(D3DXHANDLE parameter, D3DXMATRIX* matrix) = 0;
    virtual HRESULT SetMatrixArray(D3DXHANDLE parameter, const D3DXMATRIX* matrices, UINT count) = 0;
    virtual HRESULT GetMatrixArray(D3DXHANDLE parameter, D3DXMATRIX* matrices, UINT count) = 0;
    virtual HRESULT SetMatrixTranspose(D3DXHANDLE parameter, const D3DXMATRIX* matrix) = 0;
    virtual HRESULT GetMatrixTranspose(D3DXHANDLE parameter, D3DXMATRIX* matrix) = 0;
    /// The effect holds a reference. Null is a texture too.
    virtual HRESULT SetTexture(D3DXHANDLE parameter, IDirect3DBaseTexture9* texture) = 0;
    /// Adds a reference for the caller.
    virtual HRESULT GetTexture(D3DXHANDLE parameter, IDirect3DBaseTexture9** texture) = 0;
    /// Lives as long as the effect.
    virtual HRESULT GetString(D3DXHANDLE parameter, LPCSTR* string) = 0;

    // ---- techniques

    /// The first technique is the current one until another is set. Not between Begin and End.
    virtual HRESULT SetTechnique(D3DXHANDLE technique) = 0;
    virtual D3DXHANDLE GetCurrentTechnique() = 0;
    /// Fails when the device lacks the technique's shader models or did not take one of its shaders.
    virtual HRESULT ValidateTechnique(D3DXHANDLE technique) = 0;
    /// The next valid technique in the order of the text, from the first on when `technique` is null. Null
    /// and D3DERR_NOTFOUND when there is no more.
    virtual HRESULT FindNextValidTechnique(D3DXHANDLE technique, D3DXHANDLE* next) = 0;

    // ---- drawing

    /// Saves what the passes of the current technique change, constant registers included.
    virtual HRESULT Begin(UINT* passes, DWORD flags) = 0;
    /// Sets the states, textures, shaders and constants of a pass; those of the pass before stay unless this
    /// one sets them too.
    virtual HRESULT Pass(UINT pass) = 0;
    virtual HRESULT BeginPass(UINT pass) = 0;
    virtual HRESULT EndPass() = 0;
    /// Nothing is left to commit: values reach the device as they are set.
    virtual HRESULT CommitChanges() = 0;
    /// Restores what Begin saved.
    virtual HRESULT End() = 0;

    virtual HRESULT GetDevice(IDirect3DDevice9** device) = 0;
    virtual HRESULT OnLostDevice() = 0;
    virtual HRESULT OnResetDevice() = 0;

  protected:
    ~ID3DXEffect() = default;
};

/// Creates an effect; the caller owns its one reference. A text that does not parse or compile fails with
/// D3DXERR_INVALIDDATA; its first messages, "NAME(line,column): what", one a line, go to the debug string and
/// to `errors`. A technique that this device cannot draw is no failure. `defines` and `errors` may be null,
/// `include` and `pool` must be, `flags` are not looked at. On failure `effect` is null; `errors` is null
/// when there is nothing to say, otherwise the caller owns it.
HRESULT D3DXCreateEffect(IDirect3DDevice9* device, const void* data, UINT size, const D3DXMACRO* defines,
                         ID3DXInclude* include, DWORD flags, ID3DXEffectPool* pool, ID3DXEffect** effect,
                         ID3DXBuffer** errors);
HRESULT D3DXCreateEffectFromFileA(IDirect3DDevice9* device, LPCSTR file, const D3DXMACRO* defines,
                                  ID3DXInclude* include, DWORD flags, ID3DXEffectPool* pool,
                                  ID3DXEffect** effect, ID3DXBuffer** errors);
/// `resource`: MAKEINTRESOURCEA(id) of data in the engine's module; `module` is not looked at.
HRESULT D3DXCreateEffectFromResourceA(IDirect3DDevice9* device, HMODULE module, LPCSTR resource,
                                      const D3DXMACRO* defines, ID3DXInclude* include, DWORD flags,
                                      ID3DXEffectPool* pool, ID3DXEffect** effect, ID3DXBuffer** errors);
