#include "fuzz/play_effect.h"

#include <algorithm>
#include <string>

#include "fxutil/effect.h"
#include "platform/d3d9/factory.h"
#include "platform/system/system.h"

namespace fuzz {
namespace {

// A global at the start of each line that looks like one.
bool MadeUp(const platform::ShaderRequest& request, platform::CompiledShader& out,
            std::vector<platform::CompileMessage>&) {
    out.tokens = {request.profile[0] == 'v' ? 0xfffe0101u : 0xffff0101u, 0x0000ffff};
    u32 place = 0;
    for (std::size_t at = 0; at < request.text.size();) {
        const std::size_t end = std::min(request.text.find('\n', at), request.text.size());
        std::string_view line = request.text.substr(at, end - at);
        at = end + 1;
        const std::size_t space = line.find(' ');
        if (space == std::string_view::npos || line.find('(') != std::string_view::npos) continue;
        const std::string_view type = line.substr(0, space);
        line.remove_prefix(std::min(line.find_first_not_of(' ', space), line.size()));
        const std::string name(line.substr(0, line.find_first_of(" ;[:,")));
        if (type.starts_with("sampler")) {
            out.samplers.push_back({name, place++ % 16, false});
        } else if (type.starts_with("float") || type.starts_with("int") || type.starts_with("bool")) {
            const bool matrix = type.find('x') != std::string_view::npos;
            const auto set = type[0] == 'f'   ? platform::ShaderRegisterSet::kFloat
                             : type[0] == 'i' ? platform::ShaderRegisterSet::kInt
                                              : platform::ShaderRegisterSet::kBool;
            out.constants.push_back({name, set, place++ % 12, 4,
                                     matrix ? platform::ShaderConstantClass::kMatrixColumns
                                            : platform::ShaderConstantClass::kVector,
                                     4, 4, 1});
        }
    }
    return true;
}

void SetAndRead(ID3DXEffect& effect, D3DXHANDLE parameter, IDirect3DTexture9* texture, int depth) {
    D3DXPARAMETER_DESC desc{};
    if (!parameter || FAILED(effect.GetParameterDesc(parameter, &desc))) return;
    D3DXMATRIX matrices[2] = {};
    D3DXVECTOR4 vectors[2] = {{1, 2, 3, 4}, {5, 6, 7, 8}};
    f32 floats[4] = {};
    INT integer = 0;
    effect.SetMatrix(parameter, matrices);
    effect.GetMatrix(parameter, matrices);
    effect.SetMatrixArray(parameter, matrices, 2);
    effect.GetMatrixArray(parameter, matrices, 2);
    effect.SetVector(parameter, vectors);
    effect.GetVector(parameter, vectors);
    effect.SetVectorArray(parameter, vectors, 2);
    effect.GetVectorArray(parameter, vectors, 2);
    effect.SetFloatArray(parameter, floats, 4);
    effect.GetFloatArray(parameter, floats, 4);
    effect.SetFloat(parameter, 1e30f);
    effect.GetInt(parameter, &integer);
    effect.SetTexture(parameter, texture);
    if (desc.Class != D3DXPC_OBJECT) {
        std::vector<u8> bytes(desc.Bytes);
        effect.GetValue(parameter, bytes.data(), desc.Bytes);
        effect.SetValue(parameter, bytes.data(), desc.Bytes);
    }
    effect.GetParameterByName(nullptr, desc.Name);
    if (desc.Semantic) effect.GetParameterBySemantic(nullptr, desc.Semantic);
    if (depth == 0) return;
    for (UINT i = 0; i < std::min(desc.Elements, 3u); ++i)
        SetAndRead(effect, effect.GetParameterElement(parameter, i), texture, depth - 1);
    for (UINT i = 0; i < std::min(desc.StructMembers, 3u); ++i)
        SetAndRead(effect, effect.GetParameter(parameter, i), texture, depth - 1);
    SetAndRead(effect, effect.GetAnnotation(parameter, 0), texture, 0);
}

void SetAndReadAll(ID3DXEffect& effect, IDirect3DTexture9* texture) {
    D3DXEFFECT_DESC desc{};
    effect.GetDesc(&desc);
    for (UINT i = 0; i < std::min(desc.Parameters, 32u); ++i)
        SetAndRead(effect, effect.GetParameter(nullptr, i), texture, 4);
}

}  // namespace

platform::ShaderCompiler MadeUpCompiler() { return MadeUp; }

EffectPlayground::EffectPlayground(bool real_compiler) : system_({.keep_calls = false, .exact_locks = true}) {
    platform::SetDebugStringHandler([](const std::string&) {});
    if (!real_compiler) platform::SetShaderCompiler(MadeUp);
    d3d_ = platform::CreateDirect3D9(D3D_SDK_VERSION);
    D3DPRESENT_PARAMETERS parameters{};
    parameters.BackBufferWidth = parameters.BackBufferHeight = 64;
    parameters.BackBufferFormat = D3DFMT_X8R8G8B8;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.Windowed = TRUE;
    d3d_->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_MIXED_VERTEXPROCESSING, &parameters,
                       device_.Put());
    device_->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, texture_.Put(), nullptr);
}

EffectPlayground::~EffectPlayground() {
    platform::SetShaderCompiler(nullptr);
    platform::SetDebugStringHandler(nullptr);
}

bool EffectPlayground::Play(const std::uint8_t* data, std::size_t size) {
    // What states are set to is the text's affair; the recording device minds odd values.
    system_.Recorded().Clear();
    // In a block of its own size, so that a step past the end is seen.
    const std::vector<std::uint8_t> text(data, data + size);
    const D3DXMACRO defines[] = {{"OUTSIDE", "1"}, {"MADE(x)", "(x"}, {nullptr, nullptr}};
    ComPtr<ID3DXEffect> effect;
    ComPtr<ID3DXBuffer> errors;
    const HRESULT made = D3DXCreateEffect(device_.Get(), text.data(), static_cast<UINT>(text.size()), defines,
                                          nullptr, 0, nullptr, effect.Put(), errors.Put());
    if (FAILED(made)) return false;
    SetAndReadAll(*effect.Get(), texture_.Get());
    D3DXHANDLE technique = nullptr;
    for (int i = 0; i < 8 && SUCCEEDED(effect->FindNextValidTechnique(technique, &technique)); ++i) {
        UINT passes = 0;
        effect->SetTechnique(technique);
        if (FAILED(effect->Begin(&passes, 0))) continue;
        for (UINT pass = 0; pass < std::min(passes, 4u); ++pass) {
            effect->Pass(pass);
            SetAndReadAll(*effect.Get(), texture_.Get());
        }
        effect->End();
    }
    return true;
}

}  // namespace fuzz
