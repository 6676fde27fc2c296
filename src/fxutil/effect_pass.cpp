#include "fxutil/effect_pass.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <set>
#include <tuple>

#include "fxutil/effect_expression.h"

namespace fxutil {
namespace {

using platform::ShaderConstantClass;
using platform::ShaderRegisterSet;

u32 WordsOf(ShaderRegisterSet set) { return set == ShaderRegisterSet::kBool ? 1 : 4; }

void SetRegisters(IDirect3DDevice9* device, bool vertex, ShaderRegisterSet set, UINT first, const u32* words,
                  UINT count) {
    // The three files differ in nothing but how their words are read.
    const void* data = words;
    switch (set) {
        case ShaderRegisterSet::kFloat: {
            const float* floats = static_cast<const float*>(data);
            vertex ? device->SetVertexShaderConstantF(first, floats, count)
                   : device->SetPixelShaderConstantF(first, floats, count);
            break;
        }
        case ShaderRegisterSet::kInt: {
            const int* integers = static_cast<const int*>(data);
            vertex ? device->SetVertexShaderConstantI(first, integers, count)
                   : device->SetPixelShaderConstantI(first, integers, count);
            break;
        }
        case ShaderRegisterSet::kBool: {
            const BOOL* flags = static_cast<const BOOL*>(data);
            vertex ? device->SetVertexShaderConstantB(first, flags, count)
                   : device->SetPixelShaderConstantB(first, flags, count);
            break;
        }
    }
}

bool GetRegisters(IDirect3DDevice9* device, const EffectRegisters& r, u32* words) {
    void* data = words;
    HRESULT result = E_FAIL;
    switch (r.set) {
        case ShaderRegisterSet::kFloat: {
            float* floats = static_cast<float*>(data);
            result = r.vertex ? device->GetVertexShaderConstantF(r.first, floats, r.count)
                              : device->GetPixelShaderConstantF(r.first, floats, r.count);
            break;
        }
        case ShaderRegisterSet::kInt: {
            int* integers = static_cast<int*>(data);
            result = r.vertex ? device->GetVertexShaderConstantI(r.first, integers, r.count)
                              : device->GetPixelShaderConstantI(r.first, integers, r.count);
            break;
        }
        case ShaderRegisterSet::kBool: {
            BOOL* flags = static_cast<BOOL*>(data);
            result = r.vertex ? device->GetVertexShaderConstantB(r.first, flags, r.count)
                              : device->GetPixelShaderConstantB(r.first, flags, r.count);
            break;
        }
    }
    return SUCCEEDED(result);
}

// A number or colour of a parameter as a state takes it.
DWORD WordOf(const EffectValues& values, const EffectNode& node, EffectValueKind kind) {
    switch (kind) {
        case EffectValueKind::kFloat:
            return std::bit_cast<DWORD>(values.Float(node, 0));
        case EffectValueKind::kBool:
            return values.Int(node, 0) != 0 ? 1 : 0;
        case EffectValueKind::kColor:
            if (node.cell_count >= 3) {
                auto byte = [&](u32 i) {
                    const f32 part = values.Float(node, i);
                    return static_cast<DWORD>(std::lround((part > 0 ? std::min(part, 1.0f) : 0.0f) * 255.0f));
                };
                return (node.cell_count > 3 ? byte(3) << 24 : 0xff000000u) | byte(0) << 16 | byte(1) << 8 |
                       byte(2);
            }
            [[fallthrough]];
        default:
            return std::bit_cast<DWORD>(values.Int(node, 0));
    }
}

}  // namespace

// ------------------------------------------------------------------------------------------------ saving

void EffectSavedState::Add(const EffectAction& action) {
    const EffectStateInfo& info = *action.info;
    switch (info.kind) {
        case EffectStateKind::kRender:
        case EffectStateKind::kStage:
        case EffectStateKind::kSampler: {
            const auto same = [&](const Word& w) {
                return w.kind == info.kind && w.index == action.index && w.state == info.state;
            };
            if (std::none_of(words.begin(), words.end(), same))
                words.push_back({info.kind, action.index, info.state});
            break;
        }
        case EffectStateKind::kTexture:
            if (std::none_of(textures.begin(), textures.end(),
                             [&](const Texture& t) { return t.unit == action.index; }))
                textures.push_back({action.index, nullptr});
            break;
        case EffectStateKind::kTransform: {
            const u32 state = info.state + action.index;
            if (std::none_of(transforms.begin(), transforms.end(),
                             [&](const Transform& t) { return t.state == state; }))
                transforms.push_back({state});
            break;
        }
        case EffectStateKind::kVertexShader:
            uses_vertex_shader = true;
            break;
        case EffectStateKind::kPixelShader:
            uses_pixel_shader = true;
            break;
        case EffectStateKind::kMaterial:
            uses_material = true;
            break;
        case EffectStateKind::kVertexConstant:
        case EffectStateKind::kPixelConstant:
            registers.push_back(
                {info.kind == EffectStateKind::kVertexConstant, ShaderRegisterSet::kFloat, action.index, 1});
            break;
        case EffectStateKind::kSamplerObject:
            break;
    }
}

void EffectSavedState::AddRegisters(const std::vector<const EffectShaderObject*>& shaders) {
    std::set<std::tuple<bool, ShaderRegisterSet, u32>> all;
    for (const EffectRegisters& r : registers) all.emplace(r.vertex, r.set, r.first);
    for (const EffectShaderObject* shader : shaders)
        for (const EffectConstant& constant : shader->constants)
            for (u32 i = 0; i < constant.info.register_count; ++i)
                all.emplace(shader->vertex, constant.info.set, constant.info.first_register + i);
    registers.clear();
    u32 cell = 0;
    for (const auto& [vertex, set, at] : all) {
        EffectRegisters* last = registers.empty() ? nullptr : &registers.back();
        if (last && last->vertex == vertex && last->set == set && last->first + last->count == at) {
            ++last->count;
        } else {
            registers.push_back({vertex, set, at, 1, cell});
        }
        cell += WordsOf(set);
    }
    register_cells.assign(cell, 0);
    registers_saved.assign(registers.size(), 0);
}

void EffectSavedState::Save(IDirect3DDevice9* device, DWORD flags) {
    const bool all = !(flags & D3DXFX_DONOTSAVESTATE);
    const bool shaders = all && !(flags & D3DXFX_DONOTSAVESHADERSTATE);
    const bool samplers = all && !(flags & D3DXFX_DONOTSAVESAMPLERSTATE);
    for (Word& w : words) {
        HRESULT result = E_FAIL;
        if (w.kind == EffectStateKind::kRender && all) {
            result = device->GetRenderState(static_cast<D3DRENDERSTATETYPE>(w.state), &w.value);
        } else if (w.kind == EffectStateKind::kStage && all) {
            result = device->GetTextureStageState(w.index, static_cast<D3DTEXTURESTAGESTATETYPE>(w.state),
                                                  &w.value);
        } else if (w.kind == EffectStateKind::kSampler && samplers) {
            result = device->GetSamplerState(w.index, static_cast<D3DSAMPLERSTATETYPE>(w.state), &w.value);
        }
        w.saved = SUCCEEDED(result);
    }
    for (Texture& t : textures) t.saved = samplers && SUCCEEDED(device->GetTexture(t.unit, t.value.Put()));
    for (Transform& t : transforms)
        t.saved =
            all && SUCCEEDED(device->GetTransform(static_cast<D3DTRANSFORMSTATETYPE>(t.state), &t.value));
    for (std::size_t i = 0; i < registers.size(); ++i)
        registers_saved[i] =
            shaders && GetRegisters(device, registers[i], register_cells.data() + registers[i].cell) ? 1 : 0;
    vertex_shader_saved =
        shaders && uses_vertex_shader && SUCCEEDED(device->GetVertexShader(vertex_shader.Put()));
    pixel_shader_saved =
        shaders && uses_pixel_shader && SUCCEEDED(device->GetPixelShader(pixel_shader.Put()));
    material_saved = all && uses_material && SUCCEEDED(device->GetMaterial(&material));
}

void EffectSavedState::Restore(IDirect3DDevice9* device) {
    for (const Word& w : words) {
        if (!w.saved) continue;
        if (w.kind == EffectStateKind::kRender) {
            device->SetRenderState(static_cast<D3DRENDERSTATETYPE>(w.state), w.value);
        } else if (w.kind == EffectStateKind::kStage) {
            device->SetTextureStageState(w.index, static_cast<D3DTEXTURESTAGESTATETYPE>(w.state), w.value);
        } else {
            device->SetSamplerState(w.index, static_cast<D3DSAMPLERSTATETYPE>(w.state), w.value);
        }
    }
    for (Texture& t : textures) {
        if (t.saved) device->SetTexture(t.unit, t.value.Get());
        t.value.Reset();
    }
    for (const Transform& t : transforms)
        if (t.saved) device->SetTransform(static_cast<D3DTRANSFORMSTATETYPE>(t.state), &t.value);
    for (std::size_t i = 0; i < registers.size(); ++i) {
        const EffectRegisters& r = registers[i];
        if (registers_saved[i])
            SetRegisters(device, r.vertex, r.set, r.first, register_cells.data() + r.cell, r.count);
    }
    if (vertex_shader_saved) device->SetVertexShader(vertex_shader.Get());
    if (pixel_shader_saved) device->SetPixelShader(pixel_shader.Get());
    if (material_saved) device->SetMaterial(&material);
    vertex_shader.Reset();
    pixel_shader.Reset();
}

// ----------------------------------------------------------------------------------------------- sending

void EffectSender::Send(IDirect3DDevice9* device, const EffectValues& values, const std::vector<u32>& cells,
                        const EffectAction& action) const {
    const EffectStateInfo& info = *action.info;
    const EffectNode* node = action.node != kNoNode ? &values.Node(action.node) : nullptr;
    auto word = [&] { return node ? WordOf(values, *node, info.value) : DWORD{cells[action.cell]}; };
    auto numbers = [&](f32* out, u32 count) {
        for (u32 i = 0; i < count; ++i) {
            if (node) {
                out[i] = i < node->cell_count ? values.Float(*node, i) : 0;
            } else {
                out[i] = i < action.cell_count ? std::bit_cast<f32>(cells[action.cell + i]) : 0;
            }
        }
    };
    switch (info.kind) {
        case EffectStateKind::kRender:
            device->SetRenderState(static_cast<D3DRENDERSTATETYPE>(info.state), word());
            break;
        case EffectStateKind::kStage:
            device->SetTextureStageState(action.index, static_cast<D3DTEXTURESTAGESTATETYPE>(info.state),
                                         word());
            break;
        case EffectStateKind::kSampler:
            device->SetSamplerState(action.index, static_cast<D3DSAMPLERSTATETYPE>(info.state), word());
            break;
        case EffectStateKind::kTexture:
            device->SetTexture(action.index, node ? values.Texture(node->root) : nullptr);
            break;
        case EffectStateKind::kTransform: {
            D3DMATRIX matrix;
            numbers(&matrix.m[0][0], 16);
            device->SetTransform(static_cast<D3DTRANSFORMSTATETYPE>(info.state + action.index), &matrix);
            break;
        }
        case EffectStateKind::kMaterial: {
            D3DMATERIAL9 material;
            f32 parts[sizeof(D3DMATERIAL9) / sizeof(f32)];
            static_assert(sizeof(parts) == sizeof(material));
            if (FAILED(device->GetMaterial(&material))) break;
            std::memcpy(parts, &material, sizeof(parts));
            numbers(parts + info.state, info.value == EffectValueKind::kVector ? 4 : 1);
            std::memcpy(&material, parts, sizeof(parts));
            device->SetMaterial(&material);
            break;
        }
        case EffectStateKind::kVertexConstant:
        case EffectStateKind::kPixelConstant: {
            f32 row[4];
            numbers(row, 4);
            info.kind == EffectStateKind::kVertexConstant
                ? device->SetVertexShaderConstantF(action.index, row, 1)
                : device->SetPixelShaderConstantF(action.index, row, 1);
            break;
        }
        case EffectStateKind::kVertexShader:
        case EffectStateKind::kPixelShader:
        case EffectStateKind::kSamplerObject:
            break;
    }
}

void EffectSender::Send(IDirect3DDevice9* device, const EffectValues& values, bool vertex,
                        const EffectConstant& constant) {
    const platform::ShaderConstantInfo& info = constant.info;
    const u32* words = scratch_.data();
    if (constant.direct) {
        words = values.Cells(constant.node);
    } else {
        Pack(values, constant);
    }
    SetRegisters(device, vertex, info.set, info.first_register, words, info.register_count);
}

// Each register holds a scalar, a vector, or a row or column of a matrix; of a bool only one component.
void EffectSender::Pack(const EffectValues& values, const EffectConstant& constant) {
    const platform::ShaderConstantInfo& info = constant.info;
    const EffectNode& node = values.Node(constant.node);
    const u32 width = WordsOf(info.set);
    const u32 size = node.type.rows * node.type.columns;
    const bool columns = node.IsMatrix() && info.type == ShaderConstantClass::kMatrixColumns;
    // Of one element: registers, components in each, and the steps from one to the next.
    u32 lines = node.IsMatrix() ? (columns ? node.type.columns : node.type.rows) : 1;
    u32 parts = node.IsMatrix() ? (columns ? node.type.rows : node.type.columns) : node.type.columns;
    u32 line_step = columns ? 1 : node.type.columns, part_step = columns ? node.type.columns : 1;
    if (info.set == ShaderRegisterSet::kBool) {
        lines = size;
        parts = 1;
        line_step = part_step = 1;
    }
    for (u32 r = 0; r < info.register_count; ++r) {
        u32* out = scratch_.data() + std::size_t{r} * width;
        for (u32 part = 0; part < width; ++part) {
            const u32 at = (r / lines) * size + (r % lines) * line_step + part * part_step;
            u32 word = 0;
            if (part < parts && at < node.cell_count) {
                word = info.set == ShaderRegisterSet::kFloat ? std::bit_cast<u32>(values.Float(node, at))
                                                             : std::bit_cast<u32>(values.Int(node, at));
                if (info.set == ShaderRegisterSet::kBool) word = word != 0 ? 1 : 0;
            }
            out[part] = word;
        }
    }
}

}  // namespace fxutil
