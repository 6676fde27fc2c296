#include "fxutil/effect_object.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace fxutil {
namespace {

using platform::ShaderConstantClass;
using platform::ShaderRegisterSet;

// Constant registers that Direct3D 9 numbers at most.
constexpr u32 kMaxRegisters = 8192;

// "ps_1_4" as the capabilities say it.
DWORD VersionOf(const std::string& profile) {
    const auto major = static_cast<DWORD>(profile[3] - '0');
    // 2_a and 2_b are 2_0 and more instructions.
    const DWORD minor = profile[5] >= '0' && profile[5] <= '9' ? static_cast<DWORD>(profile[5] - '0') : 0;
    return (profile[0] == 'v' ? 0xfffe0000u : 0xffff0000u) | major << 8 | minor;
}

}  // namespace

// ---------------------------------------------------------------------------------------------- creation

EffectObject::EffectObject(IDirect3DDevice9* device, EffectDocument document)
    : device_(device), document_(std::move(document)) {}

EffectObject* EffectObject::Create(IDirect3DDevice9* device, EffectDocument document,
                                   EffectMessages& messages) {
    auto* effect = new EffectObject(device, std::move(document));
    if (effect->Build(messages)) return effect;
    effect->Release();
    return nullptr;
}

ULONG EffectObject::Release() {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
}

bool EffectObject::Build(EffectMessages& messages) {
    bool fits = values_.Build(document_);
    techniques_.resize(document_.techniques.size());
    for (std::size_t i = 0; fits && i < techniques_.size(); ++i)
        fits = values_.AddAnnotations(document_.techniques[i].annotations, techniques_[i].first_annotation,
                                      techniques_[i].annotation_count);
    if (!fits) {
        messages.Error({}, "the effect has too many parameters");
        return false;
    }
    shaders_.reserve(document_.shaders.size());
    for (const EffectShader& shader : document_.shaders)
        if (!BuildShader(shader, messages)) return false;
    u32 registers = 0;
    for (const EffectShaderObject& shader : shaders_)
        for (const EffectConstant& constant : shader.constants)
            registers = std::max(registers, constant.info.register_count);
    sender_.Reserve(registers);

    std::size_t actions = 0;
    for (std::size_t i = 0; i < techniques_.size(); ++i) {
        EffectTechniqueObject& technique = techniques_[i];
        technique.text = &document_.techniques[i];
        technique.first_pass = static_cast<u32>(passes_.size());
        technique.pass_count = static_cast<u32>(technique.text->passes.size());
        std::vector<const EffectShaderObject*> used;
        for (const EffectPass& text : technique.text->passes) {
            if (!BuildPass(text, messages)) return false;
            const EffectPassObject& pass = passes_.back();
            actions += pass.actions.size();
            if (actions > kMaxEffectCells * std::size_t{2}) {
                messages.Error({}, "the passes and their samplers set too many states");
                return false;
            }
            technique.valid &= pass.valid;
            for (const EffectAction& action : pass.actions) technique.saved.Add(action);
            for (const u32 shader : {pass.vertex_shader, pass.pixel_shader})
                if (shader < kMaxEffectShaders) used.push_back(&shaders_[shader]);
        }
        std::sort(used.begin(), used.end());
        used.erase(std::unique(used.begin(), used.end()), used.end());
        technique.saved.AddRegisters(used);
    }
    if (!techniques_.empty()) technique_ = 0;
    handles_ = std::make_unique<char[]>(values_.Count() + techniques_.size() + passes_.size() + 1);
    return true;
}

bool EffectObject::BuildShader(const EffectShader& text, EffectMessages& messages) {
    EffectShaderObject& shader = shaders_.emplace_back();
    shader.vertex = text.IsVertex();
    std::vector<platform::CompileMessage> faults;
    const platform::ShaderRequest request{document_.hlsl, text.entry, text.profile};
    if (!platform::CompileShader(request, shader.compiled, faults)) {
        for (const platform::CompileMessage& fault : faults)
            messages.Error(fault.line > 0 ? TextPosition{fault.line, fault.column} : text.at, fault.text);
        if (faults.empty()) messages.Error(text.at, "'" + text.entry + "' does not compile");
        return false;
    }
    if (!BuildConstants(text, shader, messages)) return false;
    D3DCAPS9 caps{};
    if (FAILED(device_->GetDeviceCaps(&caps))) return true;
    const DWORD* tokens = shader.compiled.tokens.data();
    if (shader.vertex && VersionOf(text.profile) <= caps.VertexShaderVersion) {
        if (FAILED(device_->CreateVertexShader(tokens, shader.vertex_shader.Put())))
            shader.vertex_shader.Reset();
    }
    if (!shader.vertex && VersionOf(text.profile) <= caps.PixelShaderVersion) {
        if (FAILED(device_->CreatePixelShader(tokens, shader.pixel_shader.Put())))
            shader.pixel_shader.Reset();
    }
    return true;
}

bool EffectObject::BuildConstants(const EffectShader& text, EffectShaderObject& shader,
                                  EffectMessages& messages) {
    for (const platform::ShaderConstantInfo& info : shader.compiled.constants) {
        EffectConstant constant;
        constant.info = info;
        constant.node = values_.Find(kNoNode, info.name);
        if (constant.node == kNoNode || !values_.Node(constant.node).type.IsNumeric() ||
            info.first_register > kMaxRegisters || info.register_count > kMaxRegisters) {
            messages.Error(text.at, "'" + text.entry + "' takes a constant '" + info.name +
                                        "' that is no parameter of numbers");
            return false;
        }
        const EffectNode& node = values_.Node(constant.node);
        const bool rows = !node.IsMatrix() || info.type != ShaderConstantClass::kMatrixColumns;
        constant.direct = rows && info.set == ShaderRegisterSet::kFloat && node.type.type == D3DXPT_FLOAT &&
                          node.type.columns == 4 && info.register_count * 4 <= node.cell_count;
        shader.constants.push_back(std::move(constant));
    }
    return true;
}

void EffectObject::AddAction(EffectPassObject& pass, const EffectAssignment& text, u32 index) const {
    EffectAction action;
    action.info = text.info;
    action.index = index;
    if (text.source == EffectAssignment::Source::kParameter) {
        action.node = text.parameter;
        if (values_.Node(action.node).elements > 0)
            action.node = values_.Node(action.node).first_child + text.element;
    } else if (text.source == EffectAssignment::Source::kShader) {
        action.shader = text.shader;
    }
    action.cell = static_cast<u32>(pass.cells.size());
    action.cell_count = static_cast<u32>(text.cells.size());
    pass.cells.insert(pass.cells.end(), text.cells.begin(), text.cells.end());
    pass.actions.push_back(action);
}

bool EffectObject::BuildPass(const EffectPass& text, EffectMessages& messages) {
    EffectPassObject& pass = passes_.emplace_back();
    pass.text = &text;
    if (!values_.AddAnnotations(text.annotations, pass.first_annotation, pass.annotation_count)) {
        messages.Error({}, "the effect has too many annotations");
        return false;
    }
    for (const EffectAssignment& state : text.states) {
        if (state.source != EffectAssignment::Source::kShader) continue;
        (shaders_[state.shader].vertex ? pass.vertex_shader : pass.pixel_shader) = state.shader;
        pass.valid &= shaders_[state.shader].Made();
    }
    if (pass.pixel_shader < kMaxEffectShaders) {
        for (const platform::ShaderSamplerInfo& sampler : shaders_[pass.pixel_shader].compiled.samplers) {
            const u32 node = values_.Find(kNoNode, sampler.name);
            if (node == kNoNode || node >= values_.ParameterCount()) continue;
            for (const EffectAssignment& state : document_.parameters[node].states)
                AddAction(pass, state, sampler.unit);
        }
    }
    for (const EffectAssignment& state : text.states) AddAction(pass, state, state.index);
    return true;
}

// ----------------------------------------------------------------------------------------------- handles

u32 EffectObject::HandleIndex(D3DXHANDLE handle) const {
    const auto first = reinterpret_cast<std::uintptr_t>(handles_.get());
    const auto at = reinterpret_cast<std::uintptr_t>(handle);
    const std::size_t count = values_.Count() + techniques_.size() + passes_.size();
    return at >= first && at - first < count ? static_cast<u32>(at - first) : kNoNode;
}

D3DXHANDLE EffectObject::NodeHandle(u32 node) const {
    return node == kNoNode ? nullptr : handles_.get() + node;
}
D3DXHANDLE EffectObject::TechniqueHandle(u32 technique) const {
    return technique == kNoNode ? nullptr : handles_.get() + values_.Count() + technique;
}
D3DXHANDLE EffectObject::PassHandle(u32 pass) const {
    return pass == kNoNode ? nullptr : handles_.get() + values_.Count() + techniques_.size() + pass;
}

u32 EffectObject::NodeOf(D3DXHANDLE parameter) const {
    if (!parameter) return kNoNode;
    const u32 index = HandleIndex(parameter);
    if (index == kNoNode) return values_.Find(kNoNode, parameter);
    return index < values_.Count() ? index : kNoNode;
}

u32 EffectObject::TechniqueOf(D3DXHANDLE technique) const {
    if (!technique) return kNoNode;
    const u32 index = HandleIndex(technique);
    if (index != kNoNode) {
        const bool fits = index >= values_.Count() && index - values_.Count() < techniques_.size();
        return fits ? index - values_.Count() : kNoNode;
    }
    for (u32 i = 0; i < techniques_.size(); ++i)
        if (techniques_[i].text->name == technique) return i;
    return kNoNode;
}

u32 EffectObject::PassOf(D3DXHANDLE pass) const {
    const u32 index = pass ? HandleIndex(pass) : kNoNode;
    const auto before = static_cast<u32>(values_.Count() + techniques_.size());
    return index != kNoNode && index >= before ? index - before : kNoNode;
}

bool EffectObject::AnnotationsOf(D3DXHANDLE object, u32& first, u32& count) const {
    if (const u32 node = NodeOf(object); node != kNoNode) {
        first = values_.Node(node).first_annotation;
        count = values_.Node(node).annotation_count;
    } else if (const u32 technique = TechniqueOf(object); technique != kNoNode) {
        first = techniques_[technique].first_annotation;
        count = techniques_[technique].annotation_count;
    } else if (const u32 pass = PassOf(object); pass != kNoNode) {
        first = passes_[pass].first_annotation;
        count = passes_[pass].annotation_count;
    } else {
        return false;
    }
    return true;
}

HRESULT EffectObject::GetDesc(D3DXEFFECT_DESC* desc) {
    if (!desc) return D3DERR_INVALIDCALL;
    *desc = {"", values_.ParameterCount(), static_cast<UINT>(techniques_.size()), document_.functions};
    return D3D_OK;
}

HRESULT EffectObject::GetParameterDesc(D3DXHANDLE parameter, D3DXPARAMETER_DESC* desc) {
    const u32 at = NodeOf(parameter);
    if (at == kNoNode || !desc) return D3DERR_INVALIDCALL;
    const EffectNode& node = values_.Node(at);
    const bool structure = node.type.type_class == D3DXPC_STRUCT;
    desc->Name = node.name;
    desc->Semantic = *node.semantic ? node.semantic : nullptr;
    desc->Class = node.type.type_class;
    desc->Type = node.type.type;
    desc->Rows = node.type.rows;
    desc->Columns = node.type.columns;
    desc->Elements = node.elements;
    desc->Annotations = node.annotation_count;
    desc->StructMembers =
        structure ? static_cast<UINT>(document_.structures[node.type.structure].members.size()) : 0;
    desc->Flags = 0;
    desc->Bytes =
        node.type.type_class == D3DXPC_OBJECT ? static_cast<UINT>(sizeof(void*)) : node.cell_count * 4;
    return D3D_OK;
}

HRESULT EffectObject::GetTechniqueDesc(D3DXHANDLE technique, D3DXTECHNIQUE_DESC* desc) {
    const u32 at = TechniqueOf(technique);
    if (at == kNoNode || !desc) return D3DERR_INVALIDCALL;
    *desc = {techniques_[at].text->name.c_str(), techniques_[at].pass_count,
             techniques_[at].annotation_count};
    return D3D_OK;
}

HRESULT EffectObject::GetPassDesc(D3DXHANDLE pass, D3DXPASS_DESC* desc) {
    const u32 at = PassOf(pass);
    if (at == kNoNode || !desc) return D3DERR_INVALIDCALL;
    auto tokens = [&](u32 shader) {
        return shader < kMaxEffectShaders ? shaders_[shader].compiled.tokens.data() : nullptr;
    };
    const EffectPassObject& object = passes_[at];
    *desc = {object.text->name.c_str(), object.annotation_count, tokens(object.vertex_shader),
             tokens(object.pixel_shader)};
    return D3D_OK;
}

D3DXHANDLE EffectObject::GetParameter(D3DXHANDLE parent, UINT index) {
    if (!parent) return index < values_.ParameterCount() ? NodeHandle(index) : nullptr;
    const u32 at = NodeOf(parent);
    if (at == kNoNode || values_.Node(at).elements > 0 || index >= values_.Node(at).child_count)
        return nullptr;
    return NodeHandle(values_.Node(at).first_child + index);
}

D3DXHANDLE EffectObject::GetParameterByName(D3DXHANDLE parent, LPCSTR name) {
    const u32 at = NodeOf(parent);
    if (!name || (parent && at == kNoNode)) return nullptr;
    return NodeHandle(values_.Find(at, name));
}

D3DXHANDLE EffectObject::GetParameterBySemantic(D3DXHANDLE parent, LPCSTR semantic) {
    const u32 at = NodeOf(parent);
    if (!semantic || (parent && at == kNoNode)) return nullptr;
    return NodeHandle(values_.FindSemantic(at, semantic));
}

D3DXHANDLE EffectObject::GetParameterElement(D3DXHANDLE parameter, UINT index) {
    const u32 at = NodeOf(parameter);
    if (at == kNoNode || index >= values_.Node(at).elements) return nullptr;
    return NodeHandle(values_.Node(at).first_child + index);
}

D3DXHANDLE EffectObject::GetTechnique(UINT index) {
    return index < techniques_.size() ? TechniqueHandle(index) : nullptr;
}

D3DXHANDLE EffectObject::GetTechniqueByName(LPCSTR name) {
    return name && HandleIndex(name) == kNoNode ? TechniqueHandle(TechniqueOf(name)) : nullptr;
}

D3DXHANDLE EffectObject::GetPass(D3DXHANDLE technique, UINT index) {
    const u32 at = TechniqueOf(technique);
    if (at == kNoNode || index >= techniques_[at].pass_count) return nullptr;
    return PassHandle(techniques_[at].first_pass + index);
}

D3DXHANDLE EffectObject::GetPassByName(D3DXHANDLE technique, LPCSTR name) {
    const u32 at = TechniqueOf(technique);
    if (at == kNoNode || !name) return nullptr;
    for (u32 i = 0; i < techniques_[at].pass_count; ++i)
        if (passes_[techniques_[at].first_pass + i].text->name == name)
            return PassHandle(techniques_[at].first_pass + i);
    return nullptr;
}

D3DXHANDLE EffectObject::GetAnnotation(D3DXHANDLE object, UINT index) {
    u32 first = 0, count = 0;
    if (!AnnotationsOf(object, first, count) || index >= count) return nullptr;
    return NodeHandle(first + index);
}

D3DXHANDLE EffectObject::GetAnnotationByName(D3DXHANDLE object, LPCSTR name) {
    u32 first = 0, count = 0;
    if (!name || !AnnotationsOf(object, first, count)) return nullptr;
    return NodeHandle(values_.FindAnnotation(first, count, name));
}

// ------------------------------------------------------------------------------------------------ values

const EffectNode* EffectObject::Numbers(D3DXHANDLE parameter) const {
    const u32 at = NodeOf(parameter);
    return at != kNoNode && values_.Node(at).type.IsNumeric() ? &values_.Node(at) : nullptr;
}

const EffectNode* EffectObject::Writable(D3DXHANDLE parameter) const {
    const EffectNode* node = Numbers(parameter);
    return node && !node->read_only ? node : nullptr;
}

const EffectNode* EffectObject::Scalar(const EffectNode* node) const {
    return node && node->cell_count == 1 ? node : nullptr;
}

HRESULT EffectObject::Changed(const EffectNode& node, bool changed) {
    if (!changed || !pass_) return D3D_OK;
    for (const u32 shader : {pass_->vertex_shader, pass_->pixel_shader}) {
        if (shader >= kMaxEffectShaders) continue;
        for (const EffectConstant& constant : shaders_[shader].constants)
            if (values_.Node(constant.node).root == node.root)
                sender_.Send(device_.Get(), values_, shaders_[shader].vertex, constant);
    }
    for (const EffectAction& action : pass_->actions)
        if (action.node != kNoNode && values_.Node(action.node).root == node.root)
            sender_.Send(device_.Get(), values_, pass_->cells, action);
    return D3D_OK;
}

HRESULT EffectObject::SetValue(D3DXHANDLE parameter, const void* data, UINT bytes) {
    const u32 at = NodeOf(parameter);
    if (at == kNoNode || !data) return D3DERR_INVALIDCALL;
    const EffectNode& node = values_.Node(at);
    if (node.type.IsTexture()) {
        if (bytes < sizeof(void*)) return D3DERR_INVALIDCALL;
        IDirect3DBaseTexture9* texture = nullptr;
        std::memcpy(&texture, data, sizeof(void*));
        return SetTexture(parameter, texture);
    }
    if (node.read_only || node.cell_count == 0) return D3DERR_INVALIDCALL;
    return Changed(node, values_.WriteBytes(node, data, bytes));
}

HRESULT EffectObject::GetValue(D3DXHANDLE parameter, void* data, UINT bytes) {
    const u32 at = NodeOf(parameter);
    if (at == kNoNode || !data) return D3DERR_INVALIDCALL;
    const EffectNode& node = values_.Node(at);
    if (node.type.type_class == D3DXPC_OBJECT) {
        if (bytes < sizeof(void*)) return D3DERR_INVALIDCALL;
        if (node.type.IsTexture()) {
            IDirect3DBaseTexture9* texture = nullptr;
            GetTexture(parameter, &texture);
            std::memcpy(data, &texture, sizeof(void*));
            return D3D_OK;
        }
        if (!node.text) return D3DERR_INVALIDCALL;
        std::memcpy(data, &node.text, sizeof(void*));
        return D3D_OK;
    }
    if (bytes < node.cell_count * 4) return D3DERR_INVALIDCALL;
    std::memcpy(data, values_.Cells(at), std::size_t{node.cell_count} * 4);
    return D3D_OK;
}

HRESULT EffectObject::SetBool(D3DXHANDLE parameter, BOOL value) { return SetInt(parameter, value ? 1 : 0); }

HRESULT EffectObject::GetBool(D3DXHANDLE parameter, BOOL* value) {
    const EffectNode* node = Scalar(Numbers(parameter));
    if (!node || !value) return D3DERR_INVALIDCALL;
    *value = values_.Float(*node, 0) != 0 ? TRUE : FALSE;
    return D3D_OK;
}

HRESULT EffectObject::SetInt(D3DXHANDLE parameter, INT value) {
    const EffectNode* node = Scalar(Writable(parameter));
    if (!node) return D3DERR_INVALIDCALL;
    const i32 number = value;
    return Changed(*node, values_.Write(*node, 0, &number, 1));
}

HRESULT EffectObject::GetInt(D3DXHANDLE parameter, INT* value) {
    const EffectNode* node = Scalar(Numbers(parameter));
    if (!node || !value) return D3DERR_INVALIDCALL;
    *value = values_.Int(*node, 0);
    return D3D_OK;
}

HRESULT EffectObject::SetFloat(D3DXHANDLE parameter, FLOAT value) {
    const EffectNode* node = Scalar(Writable(parameter));
    if (!node) return D3DERR_INVALIDCALL;
    return Changed(*node, values_.Write(*node, 0, &value, 1));
}

HRESULT EffectObject::GetFloat(D3DXHANDLE parameter, FLOAT* value) {
    const EffectNode* node = Scalar(Numbers(parameter));
    if (!node || !value) return D3DERR_INVALIDCALL;
    *value = values_.Float(*node, 0);
    return D3D_OK;
}

HRESULT EffectObject::SetFloatArray(D3DXHANDLE parameter, const FLOAT* values, UINT count) {
    const EffectNode* node = Writable(parameter);
    if (!node || !values) return D3DERR_INVALIDCALL;
    return Changed(*node, values_.Write(*node, 0, values, count));
}

HRESULT EffectObject::GetFloatArray(D3DXHANDLE parameter, FLOAT* values, UINT count) {
    const EffectNode* node = Numbers(parameter);
    if (!node || !values) return D3DERR_INVALIDCALL;
    for (u32 i = 0; i < std::min<u32>(count, node->cell_count); ++i) values[i] = values_.Float(*node, i);
    return D3D_OK;
}

HRESULT EffectObject::SetVector(D3DXHANDLE parameter, const D3DXVECTOR4* vector) {
    const EffectNode* node = Writable(parameter);
    if (!node || !vector || node->IsMatrix() || node->elements > 0) return D3DERR_INVALIDCALL;
    return Changed(*node, values_.Write(*node, 0, &vector->x, 4));
}

HRESULT EffectObject::GetVector(D3DXHANDLE parameter, D3DXVECTOR4* vector) {
    const EffectNode* node = Numbers(parameter);
    if (!node || !vector || node->IsMatrix() || node->elements > 0) return D3DERR_INVALIDCALL;
    f32 parts[4] = {};
    for (u32 i = 0; i < node->cell_count; ++i) parts[i] = values_.Float(*node, i);
    *vector = {parts[0], parts[1], parts[2], parts[3]};
    return D3D_OK;
}

HRESULT EffectObject::SetVectorArray(D3DXHANDLE parameter, const D3DXVECTOR4* vectors, UINT count) {
    const EffectNode* node = Writable(parameter);
    if (!node || !vectors || node->IsMatrix() || node->elements == 0) return D3DERR_INVALIDCALL;
    const u32 width = node->type.columns;
    bool changed = false;
    for (u32 i = 0; i < std::min<u32>(count, node->elements); ++i)
        changed |= values_.Write(*node, i * width, &vectors[i].x, width);
    return Changed(*node, changed);
}

HRESULT EffectObject::GetVectorArray(D3DXHANDLE parameter, D3DXVECTOR4* vectors, UINT count) {
    const EffectNode* node = Numbers(parameter);
    if (!node || !vectors || node->IsMatrix() || node->elements == 0) return D3DERR_INVALIDCALL;
    const u32 width = node->type.columns;
    for (u32 i = 0; i < std::min<u32>(count, node->elements); ++i) {
        f32 parts[4] = {};
        for (u32 k = 0; k < width; ++k) parts[k] = values_.Float(*node, i * width + k);
        vectors[i] = {parts[0], parts[1], parts[2], parts[3]};
    }
    return D3D_OK;
}

HRESULT EffectObject::WriteMatrices(D3DXHANDLE parameter, const D3DXMATRIX* matrices, UINT count, bool array,
                                    bool transpose) {
    const EffectNode* node = Writable(parameter);
    if (!node || !matrices || !node->IsMatrix() || array != (node->elements > 0)) return D3DERR_INVALIDCALL;
    const u32 rows = node->type.rows, columns = node->type.columns;
    bool changed = false;
    for (u32 i = 0; i < std::min<u32>(count, std::max(node->elements, 1u)); ++i) {
        for (u32 row = 0; row < rows; ++row) {
            f32 numbers[4];
            for (u32 column = 0; column < columns; ++column)
                numbers[column] = transpose ? matrices[i].m[column][row] : matrices[i].m[row][column];
            changed |= values_.Write(*node, (i * rows + row) * columns, numbers, columns);
        }
    }
    return Changed(*node, changed);
}

HRESULT EffectObject::ReadMatrices(D3DXHANDLE parameter, D3DXMATRIX* matrices, UINT count, bool array,
                                   bool transpose) const {
    const EffectNode* node = Numbers(parameter);
    if (!node || !matrices || !node->IsMatrix() || array != (node->elements > 0)) return D3DERR_INVALIDCALL;
    const u32 rows = node->type.rows, columns = node->type.columns;
    for (u32 i = 0; i < std::min<u32>(count, std::max(node->elements, 1u)); ++i) {
        matrices[i] = {};
        for (u32 row = 0; row < rows; ++row)
            for (u32 column = 0; column < columns; ++column)
                (transpose ? matrices[i].m[column][row] : matrices[i].m[row][column]) =
                    values_.Float(*node, (i * rows + row) * columns + column);
    }
    return D3D_OK;
}

HRESULT EffectObject::SetMatrix(D3DXHANDLE parameter, const D3DXMATRIX* matrix) {
    return WriteMatrices(parameter, matrix, 1, false, false);
}
HRESULT EffectObject::GetMatrix(D3DXHANDLE parameter, D3DXMATRIX* matrix) {
    return ReadMatrices(parameter, matrix, 1, false, false);
}
HRESULT EffectObject::SetMatrixArray(D3DXHANDLE parameter, const D3DXMATRIX* matrices, UINT count) {
    return WriteMatrices(parameter, matrices, count, true, false);
}
HRESULT EffectObject::GetMatrixArray(D3DXHANDLE parameter, D3DXMATRIX* matrices, UINT count) {
    return ReadMatrices(parameter, matrices, count, true, false);
}
HRESULT EffectObject::SetMatrixTranspose(D3DXHANDLE parameter, const D3DXMATRIX* matrix) {
    return WriteMatrices(parameter, matrix, 1, false, true);
}
HRESULT EffectObject::GetMatrixTranspose(D3DXHANDLE parameter, D3DXMATRIX* matrix) {
    return ReadMatrices(parameter, matrix, 1, false, true);
}

HRESULT EffectObject::SetTexture(D3DXHANDLE parameter, IDirect3DBaseTexture9* texture) {
    const u32 at = NodeOf(parameter);
    if (at == kNoNode || !values_.Node(at).type.IsTexture()) return D3DERR_INVALIDCALL;
    return Changed(values_.Node(at), values_.SetTexture(values_.Node(at).root, texture));
}

HRESULT EffectObject::GetTexture(D3DXHANDLE parameter, IDirect3DBaseTexture9** texture) {
    const u32 at = NodeOf(parameter);
    if (at == kNoNode || !texture || !values_.Node(at).type.IsTexture()) return D3DERR_INVALIDCALL;
    *texture = ComPtr<IDirect3DBaseTexture9>(values_.Texture(values_.Node(at).root)).Detach();
    return D3D_OK;
}

HRESULT EffectObject::GetString(D3DXHANDLE parameter, LPCSTR* string) {
    const u32 at = NodeOf(parameter);
    if (at == kNoNode || !string || !values_.Node(at).text) return D3DERR_INVALIDCALL;
    *string = values_.Node(at).text;
    return D3D_OK;
}

// ------------------------------------------------------------------------------------ techniques, drawing

HRESULT EffectObject::SetTechnique(D3DXHANDLE technique) {
    const u32 at = TechniqueOf(technique);
    if (at == kNoNode || begun_) return D3DERR_INVALIDCALL;
    technique_ = at;
    return D3D_OK;
}

D3DXHANDLE EffectObject::GetCurrentTechnique() { return TechniqueHandle(technique_); }

HRESULT EffectObject::ValidateTechnique(D3DXHANDLE technique) {
    const u32 at = TechniqueOf(technique);
    if (at == kNoNode) return D3DERR_INVALIDCALL;
    return techniques_[at].valid ? D3D_OK : D3DERR_NOTAVAILABLE;
}

HRESULT EffectObject::FindNextValidTechnique(D3DXHANDLE technique, D3DXHANDLE* next) {
    if (!next) return D3DERR_INVALIDCALL;
    *next = nullptr;
    u32 at = 0;
    if (technique) {
        at = TechniqueOf(technique);
        if (at == kNoNode) return D3DERR_INVALIDCALL;
        ++at;
    }
    for (; at < techniques_.size(); ++at) {
        if (!techniques_[at].valid) continue;
        *next = TechniqueHandle(at);
        return D3D_OK;
    }
    return D3DERR_NOTFOUND;
}

HRESULT EffectObject::Begin(UINT* passes, DWORD flags) {
    if (passes) *passes = 0;
    if (technique_ == kNoNode || begun_ || !techniques_[technique_].valid) return D3DERR_INVALIDCALL;
    EffectTechniqueObject& technique = techniques_[technique_];
    technique.saved.Save(device_.Get(), flags);
    begun_ = true;
    if (passes) *passes = technique.pass_count;
    return D3D_OK;
}

HRESULT EffectObject::Pass(UINT index) {
    if (!begun_ || index >= techniques_[technique_].pass_count) return D3DERR_INVALIDCALL;
    const EffectPassObject& pass = passes_[techniques_[technique_].first_pass + index];
    pass_ = &pass;
    for (const EffectAction& action : pass.actions) {
        const bool made = action.shader < kMaxEffectShaders;
        if (action.info->kind == EffectStateKind::kVertexShader) {
            device_->SetVertexShader(made ? shaders_[action.shader].vertex_shader.Get() : nullptr);
        } else if (action.info->kind == EffectStateKind::kPixelShader) {
            device_->SetPixelShader(made ? shaders_[action.shader].pixel_shader.Get() : nullptr);
        } else {
            sender_.Send(device_.Get(), values_, pass.cells, action);
        }
    }
    for (const u32 shader : {pass.vertex_shader, pass.pixel_shader}) {
        if (shader >= kMaxEffectShaders) continue;
        for (const EffectConstant& constant : shaders_[shader].constants)
            sender_.Send(device_.Get(), values_, shaders_[shader].vertex, constant);
    }
    return D3D_OK;
}

HRESULT EffectObject::EndPass() {
    if (!pass_) return D3DERR_INVALIDCALL;
    pass_ = nullptr;
    return D3D_OK;
}

HRESULT EffectObject::CommitChanges() { return pass_ ? D3D_OK : D3DERR_INVALIDCALL; }

HRESULT EffectObject::End() {
    if (!begun_) return D3DERR_INVALIDCALL;
    pass_ = nullptr;
    begun_ = false;
    techniques_[technique_].saved.Restore(device_.Get());
    return D3D_OK;
}

HRESULT EffectObject::GetDevice(IDirect3DDevice9** device) {
    if (!device) return D3DERR_INVALIDCALL;
    *device = ComPtr<IDirect3DDevice9>(device_).Detach();
    return D3D_OK;
}

}  // namespace fxutil
