// The effect behind ID3DXEffect.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fxutil/effect.h"
#include "fxutil/effect_document.h"
#include "fxutil/effect_pass.h"
#include "fxutil/effect_values.h"
#include "platform/d3d9/com_ptr.h"

namespace fxutil {

class EffectObject final : public ID3DXEffect {
  public:
    /// Null, with messages, when something does not compile or fit.
    static EffectObject* Create(IDirect3DDevice9* device, EffectDocument document, EffectMessages& messages);

    EffectObject(const EffectObject&) = delete;
    EffectObject& operator=(const EffectObject&) = delete;

    ULONG AddRef() override { return ++references_; }
    ULONG Release() override;

    HRESULT GetDesc(D3DXEFFECT_DESC* desc) override;
    HRESULT GetParameterDesc(D3DXHANDLE parameter, D3DXPARAMETER_DESC* desc) override;
    HRESULT GetTechniqueDesc(D3DXHANDLE technique, D3DXTECHNIQUE_DESC* desc) override;
    HRESULT GetPassDesc(D3DXHANDLE pass, D3DXPASS_DESC* desc) override;
    D3DXHANDLE GetParameter(D3DXHANDLE parent, UINT index) override;
    D3DXHANDLE GetParameterByName(D3DXHANDLE parent, LPCSTR name) override;
    D3DXHANDLE GetParameterBySemantic(D3DXHANDLE parent, LPCSTR semantic) override;
    D3DXHANDLE GetParameterElement(D3DXHANDLE parameter, UINT index) override;
    D3DXHANDLE GetTechnique(UINT index) override;
    D3DXHANDLE GetTechniqueByName(LPCSTR name) override;
    D3DXHANDLE GetPass(D3DXHANDLE technique, UINT index) override;
    D3DXHANDLE GetPassByName(D3DXHANDLE technique, LPCSTR name) override;
    D3DXHANDLE GetAnnotation(D3DXHANDLE object, UINT index) override;
    D3DXHANDLE GetAnnotationByName(D3DXHANDLE object, LPCSTR name) override;

    HRESULT SetValue(D3DXHANDLE parameter, const void* data, UINT bytes) override;
    HRESULT GetValue(D3DXHANDLE parameter, void* data, UINT bytes) override;
    HRESULT SetBool(D3DXHANDLE parameter, BOOL value) override;
    HRESULT GetBool(D3DXHANDLE parameter, BOOL* value) override;
    HRESULT SetInt(D3DXHANDLE parameter, INT value) override;
    HRESULT GetInt(D3DXHANDLE parameter, INT* value) override;
    HRESULT SetFloat(D3DXHANDLE parameter, FLOAT value) override;
    HRESULT GetFloat(D3DXHANDLE parameter, FLOAT* value) override;
    HRESULT SetFloatArray(D3DXHANDLE parameter, const FLOAT* values, UINT count) override;
    HRESULT GetFloatArray(D3DXHANDLE parameter, FLOAT* values, UINT count) override;
    HRESULT SetVector(D3DXHANDLE parameter, const D3DXVECTOR4* vector) override;
    HRESULT GetVector(D3DXHANDLE parameter, D3DXVECTOR4* vector) override;
    HRESULT SetVectorArray(D3DXHANDLE parameter, const D3DXVECTOR4* vectors, UINT count) override;
    HRESULT GetVectorArray(D3DXHANDLE parameter, D3DXVECTOR4* vectors, UINT count) override;
    HRESULT SetMatrix(D3DXHANDLE parameter, const D3DXMATRIX* matrix) override;
    HRESULT GetMatrix(D3DXHANDLE parameter, D3DXMATRIX* matrix) override;
    HRESULT SetMatrixArray(D3DXHANDLE parameter, const D3DXMATRIX* matrices, UINT count) override;
    HRESULT GetMatrixArray(D3DXHANDLE parameter, D3DXMATRIX* matrices, UINT count) override;
    HRESULT SetMatrixTranspose(D3DXHANDLE parameter, const D3DXMATRIX* matrix) override;
    HRESULT GetMatrixTranspose(D3DXHANDLE parameter, D3DXMATRIX* matrix) override;
    HRESULT SetTexture(D3DXHANDLE parameter, IDirect3DBaseTexture9* texture) override;
    HRESULT GetTexture(D3DXHANDLE parameter, IDirect3DBaseTexture9** texture) override;
    HRESULT GetString(D3DXHANDLE parameter, LPCSTR* string) override;

    HRESULT SetTechnique(D3DXHANDLE technique) override;
    D3DXHANDLE GetCurrentTechnique() override;
    HRESULT ValidateTechnique(D3DXHANDLE technique) override;
    HRESULT FindNextValidTechnique(D3DXHANDLE technique, D3DXHANDLE* next) override;

    HRESULT Begin(UINT* passes, DWORD flags) override;
    HRESULT Pass(UINT pass) override;
    HRESULT BeginPass(UINT pass) override { return Pass(pass); }
    HRESULT EndPass() override;
    HRESULT CommitChanges() override;
    HRESULT End() override;

    HRESULT GetDevice(IDirect3DDevice9** device) override;
    HRESULT OnLostDevice() override { return D3D_OK; }
    HRESULT OnResetDevice() override { return D3D_OK; }

  private:
    EffectObject(IDirect3DDevice9* device, EffectDocument document);
    ~EffectObject() = default;

    bool Build(EffectMessages& messages);
    bool BuildShader(const EffectShader& text, EffectMessages& messages);
    bool BuildConstants(const EffectShader& text, EffectShaderObject& shader, EffectMessages& messages);
    bool BuildPass(const EffectPass& text, EffectMessages& messages);
    void AddAction(EffectPassObject& pass, const EffectAssignment& text, u32 index) const;

    // Numbers of what a handle names; kNoNode for anything else. A handle is the address of a byte of its
    // own, so that it is told from the address of a name.
    u32 HandleIndex(D3DXHANDLE handle) const;
    D3DXHANDLE NodeHandle(u32 node) const;
    D3DXHANDLE TechniqueHandle(u32 technique) const;
    D3DXHANDLE PassHandle(u32 pass) const;
    u32 NodeOf(D3DXHANDLE parameter) const;
    u32 TechniqueOf(D3DXHANDLE technique) const;
    u32 PassOf(D3DXHANDLE pass) const;
    bool AnnotationsOf(D3DXHANDLE object, u32& first, u32& count) const;

    // The parameter when it is one of numbers that may be read, or written as well; null otherwise.
    const EffectNode* Numbers(D3DXHANDLE parameter) const;
    const EffectNode* Writable(D3DXHANDLE parameter) const;
    const EffectNode* Scalar(const EffectNode* node) const;
    HRESULT WriteMatrices(D3DXHANDLE parameter, const D3DXMATRIX* matrices, UINT count, bool array,
                          bool transpose);
    HRESULT ReadMatrices(D3DXHANDLE parameter, D3DXMATRIX* matrices, UINT count, bool array,
                         bool transpose) const;
    /// Brings a changed parameter to the device when a pass is on.
    HRESULT Changed(const EffectNode& node, bool changed);

    ULONG references_ = 1;
    ComPtr<IDirect3DDevice9> device_;
    EffectDocument document_;
    EffectValues values_;
    std::vector<EffectShaderObject> shaders_;
    std::vector<EffectPassObject> passes_;
    std::vector<EffectTechniqueObject> techniques_;
    std::unique_ptr<char[]> handles_;
    EffectSender sender_;

    u32 technique_ = kNoNode;
    bool begun_ = false;
    const EffectPassObject* pass_ = nullptr;
};

}  // namespace fxutil
