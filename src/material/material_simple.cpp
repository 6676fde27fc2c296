#include "material/material_simple.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "controller/constant.h"
#include "io/stream.h"
#include "render/context.h"

namespace osm3d {

namespace {

D3DCOLORVALUE ToDevice(const color& c) { return D3DCOLORVALUE{c.r, c.g, c.b, c.a}; }

}  // namespace

void ApplyDefaultMaterial() {
    static const D3DMATERIAL9 white = [] {
        D3DMATERIAL9 m{};
        m.Diffuse = D3DCOLORVALUE{1.0f, 1.0f, 1.0f, 0.0f};
        return m;
    }();
    Context* context = GetContext();
    context->device->SetMaterial(&white);
    context->ApplyDefaultRenderState();
    context->ResetStages();
}

MaterialSimple::MaterialSimple() : renderState(RenderStateBlock::kComplete), material{} {}

bool MaterialSimple::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) return false;
    for (auto& slot : colors) ReadController(in, slot);
    ReadController(in, power);
    if (!renderState.Read(in)) return false;
    u8 storedClass = 0;
    in->ReadU8(&storedClass);
    blendClass = storedClass;
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, sizeof(i32), "texture stages")) return false;
    stages.reserve(stages.size() + static_cast<std::size_t>(count));
    for (i32 i = 0; i < count; ++i) {
        stages.emplace_back();
        stages.back().Refer(osmio::ReadSlot<TextureStage>(in));
    }
    return true;
}

void MaterialSimple::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("MTSM"), 1);
    for (auto& slot : colors) out->WriteObject(slot.Get());
    out->WriteObject(power.Get());
    renderState.Write(out);
    out->WriteU8(static_cast<u8>(blendClass));
    out->WriteI32(static_cast<i32>(stages.size()));
    for (auto& stage : stages) out->WriteObject(stage.Get());
}

void MaterialSimple::CopyValues() {
    material.Diffuse = ToDevice(colors[kDiffuse].Get()->value);
    material.Ambient = ToDevice(colors[kAmbient].Get()->value);
    material.Specular = ToDevice(colors[kSpecular].Get()->value);
    material.Emissive = ToDevice(colors[kEmissive].Get()->value);
    material.Power = power->value;
}

void MaterialSimple::Prepare() {
    bool constant = power->IsConstant();
    for (auto& slot : colors) constant = constant && slot->IsConstant();
    if (constant) {
        UpdateControllers(0.0f);
        CopyValues();
        isStatic = true;
    }
    for (auto& stage : stages) stage->Prepare();
}

void MaterialSimple::Update(f32 time) {
    if (!isStatic) {
        UpdateControllers(time);
        CopyValues();
    }
    for (auto& stage : stages) stage->Update(time);
}

u32 MaterialSimple::Begin(u32) { return 1; }

void MaterialSimple::Pass(u32) {
    Context* context = GetContext();
    context->ApplyRenderState(renderState);
    context->device->SetMaterial(&material);
    if (stages.empty()) {
        context->ResetStages();
        return;
    }
    const u32 count = std::min(StageCount(), kMaxStages);
    for (u32 i = 0; i < count; ++i) {
        if (TextureStage* stage = stages[i].Get()) stage->Apply(i);
    }
    static const TextureStageStateBlock disabled;
    if (count < kMaxStages) context->ApplyStage(count, disabled);
}

void MaterialSimple::End() {}

void MaterialSimple::Load() {}

void MaterialSimple::SetStage(u32 index, TextureStage* stage) {
    if (index >= stages.size()) stages.resize(std::size_t{index} + 1);
    stages[index].Release();
    stages[index].Own(stage);
}

TextureStage* MaterialSimple::GetStage(u32 index) const {
    return index < stages.size() ? stages[index].Get() : nullptr;
}

Texture* MaterialSimple::GetStageTexture(u32 index) const {
    const TextureStage* stage = GetStage(index);
    return stage != nullptr ? stage->GetTexture() : nullptr;
}

void MaterialSimple::SetColorController(ColorChannel channel, ColorController* value) {
    ReplaceController(colors[channel], value);
}

void MaterialSimple::SetPowerController(FloatController* value) { ReplaceController(power, value); }

void MaterialSimple::SetConstants(const color& diffuse, const color& ambient, const color& specular,
                                  const color& emissive, f32 specularPower) {
    const color* values[kColorCount] = {&diffuse, &ambient, &specular, &emissive};
    for (u32 i = 0; i < kColorCount; ++i) {
        SetColorController(static_cast<ColorChannel>(i), new controller::Const<color>(*values[i]));
    }
    SetPowerController(new controller::Const<f32>(specularPower));
}

bool MaterialSimple::Validate(std::string& reason) const {
    bool complete = power.Get() != nullptr;
    for (const auto& slot : colors) complete = complete && slot.Get() != nullptr;
    if (!complete) {
        reason = "a material lacks one of its five controllers";
        return false;
    }
    if (stages.size() > kMaxStages) {
        reason = "a material has " + std::to_string(stages.size()) + " texture stages; " +
                 std::to_string(kMaxStages) + " is the most";
        return false;
    }
    for (const auto& stage : stages) {
        if (stage.Get() == nullptr) {
            reason = "a material has an empty texture stage";
            return false;
        }
        if (!stage->Validate(reason)) return false;
    }
    return true;
}

}  // namespace osm3d
