#include "render/material_fx.h"

#include <cstddef>

#include "io/stream.h"
#include "material/texture.h"
#include "platform/system/system.h"
#include "render/context.h"
#include "render/material_fx_modifier.h"

namespace osm3d {

namespace {

/// The semantics that BindTransforms serves. PROJECTION takes the inverse: that is what effects written for
/// this engine find there.
struct TransformBinding {
    const char* semantic;
    const matrix& (*value)(TransformCache& transforms);
};
constexpr TransformBinding kTransformBindings[] = {
    {"WORLD", [](TransformCache& t) -> const matrix& { return t.GetWorld(); }},
    {"VIEW", [](TransformCache& t) -> const matrix& { return t.GetView(); }},
    {"VIEWI", [](TransformCache& t) -> const matrix& { return t.GetViewInverse(); }},
    {"PROJECTION", [](TransformCache& t) -> const matrix& { return t.GetProjectionInverse(); }},
    {"WORLDVIEW", [](TransformCache& t) -> const matrix& { return t.GetWorldView(); }},
    {"WORLDVIEWI", [](TransformCache& t) -> const matrix& { return t.GetWorldViewInverse(); }},
    {"WORLDVIEWPROJECTION", [](TransformCache& t) -> const matrix& { return t.GetWorldViewProjection(); }},
};

}  // namespace

MaterialFX::MaterialFX(const std::string& fileName, Material* innerMaterial)
    : file(fileName), inner(innerMaterial) {}

std::unique_ptr<MaterialFX> MaterialFX::FromResource(u32 id) {
    auto material = std::make_unique<MaterialFX>();
    material->resourceId = id;
    return material;
}

// ---- storage

bool MaterialFX::Read(osmio::InStream* in) {
    in->ReadString(file);
    inner = osmio::ReadSlot<Material>(in);
    return true;
}

void MaterialFX::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("MTFX"), 1);
    out->WriteString(file);
    out->WriteObject(inner);
}

void MaterialFX::References(std::vector<const Material*>& out) const { out.push_back(inner); }

// ---- loading

std::string MaterialFX::SourceName() const {
    return resourceId != 0 ? "resource " + std::to_string(resourceId & 0xffff) : file;
}

void MaterialFX::Complain(const char* what) {
    loadError = SourceName() + ": " + what;
    platform::DebugString(loadError + "\n");
}

HRESULT MaterialFX::Compile(ComPtr<ID3DXBuffer>& errors) {
    std::vector<D3DXMACRO> defines;
    for (const auto& [name, definition] : macros) defines.push_back({name.c_str(), definition.c_str()});
    defines.push_back({nullptr, nullptr});
    IDirect3DDevice9* device = GetContext()->device.Get();
    if (resourceId != 0) {
        const auto resource = MAKEINTRESOURCEA(static_cast<u16>(resourceId));
        return D3DXCreateEffectFromResourceA(device, GetDisplaySettings().instance, resource, defines.data(),
                                             nullptr, 0, nullptr, effect.Put(), errors.Put());
    }
    return D3DXCreateEffectFromFileA(device, file.c_str(), defines.data(), nullptr, 0, nullptr, effect.Put(),
                                     errors.Put());
}

void MaterialFX::Load() {
    if (begun) End();
    technique = nullptr;
    ready = false;
    begun = false;
    loadError.clear();
    ComPtr<ID3DXBuffer> errors;
    const HRESULT compiled = Compile(errors);

    // Handles belong to one effect.
    FindParameters(textures);
    FindParameters(deviceTextures);
    FindParameters(vectors);
    for (std::size_t i = 0; i < kTransforms; ++i) {
        transformHandles[i] =
            effect ? effect->GetParameterBySemantic(nullptr, kTransformBindings[i].semantic) : nullptr;
    }

    if (FAILED(compiled) || !effect) {
        if (errors) loadError = static_cast<const char*>(errors->GetBufferPointer());
        loadError.resize(loadError.find_last_not_of('\n') + 1);
        if (loadError.empty()) Complain("the effect's text cannot be read");
        return;
    }
    if (FAILED(effect->FindNextValidTechnique(nullptr, &technique)) || technique == nullptr) {
        technique = nullptr;
        Complain("the device can draw none of the effect's techniques");
        return;
    }
    effect->ValidateTechnique(technique);
    if (inner != nullptr) inner->Load();
    ready = true;
}

template <class T>
void MaterialFX::FindParameters(Bindings<T>& bindings) {
    for (auto& [name, binding] : bindings) {
        binding.handle = effect ? effect->GetParameterByName(nullptr, name.c_str()) : nullptr;
    }
}

void MaterialFX::UseTechnique(const char* name) {
    if (!effect) {
        technique = nullptr;
        return;
    }
    const D3DXHANDLE handle = effect->GetTechniqueByName(name);
    effect->ValidateTechnique(handle);
    technique = handle;
}

// ---- what is bound

template <class T>
void MaterialFX::Set(Bindings<T>& bindings, std::string_view name, const T& value) {
    auto found = bindings.find(name);
    if (found == bindings.end()) {
        found = bindings.emplace(std::string(name), Binding<T>{}).first;
        if (effect) found->second.handle = effect->GetParameterByName(nullptr, found->first.c_str());
    }
    found->second.value = value;
}

void MaterialFX::SetTexture(std::string_view name, Texture* texture) { Set(textures, name, texture); }

void MaterialFX::SetDeviceTexture(std::string_view name, IDirect3DBaseTexture9* texture) {
    Set(deviceTextures, name, texture);
}

void MaterialFX::SetVector(std::string_view name, const D3DXVECTOR4& value) { Set(vectors, name, value); }

void MaterialFX::SetMacro(std::string_view name, std::string_view definition) {
    macros[std::string(name)] = std::string(definition);
}

std::unique_ptr<Modifier> MaterialFX::CreateModifier() { return std::make_unique<MaterialFXModifier>(this); }

void MaterialFX::BindTransforms() {
    TransformCache& transforms = GetContext()->transforms;
    for (std::size_t i = 0; i < kTransforms; ++i) {
        if (transformHandles[i] != nullptr) {
            effect->SetMatrix(transformHandles[i], &kTransformBindings[i].value(transforms));
        }
    }
}

// ---- the frame

void MaterialFX::Update(f32 time) {
    if (inner != nullptr) inner->Update(time);
}

void MaterialFX::Prepare() {
    if (inner != nullptr) inner->Prepare();
}

u32 MaterialFX::Begin(u32) {
    if (inner != nullptr) {
        inner->Begin(0);
        inner->Pass(0);
    } else {
        ApplyDefaultMaterial();
    }
    if (technique == nullptr) return 0;
    effect->SetTechnique(technique);
    GetContext()->effectActive = true;
    for (const auto& [name, texture] : textures) {
        if (texture.handle == nullptr) continue;
        effect->SetTexture(texture.handle,
                           texture.value != nullptr ? texture.value->GetDeviceTexture() : nullptr);
    }
    for (const auto& [name, texture] : deviceTextures) {
        if (texture.handle != nullptr) effect->SetTexture(texture.handle, texture.value);
    }
    for (const auto& [name, vector] : vectors) {
        if (vector.handle != nullptr) effect->SetVector(vector.handle, &vector.value);
    }
    passCount = 0;
    begun = SUCCEEDED(effect->Begin(&passCount, 0));
    return begun ? passCount : 0;
}

void MaterialFX::Pass(u32 pass) {
    if (begun) effect->Pass(pass);
}

void MaterialFX::End() {
    if (begun) effect->End();
    begun = false;
    // An inner effect has the device since Begin, and gives it back to what was there before.
    if (inner != nullptr) inner->End();
    GetContext()->effectActive = false;
}

}  // namespace osm3d
