#include "material/texture_stage.h"

#include <utility>

#include "controller/constant.h"
#include "controller/validation.h"
#include "fxutil/math.h"
#include "io/stream.h"
#include "render/context.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

constexpr f32 kEpsilon = 0.0001f;

bool IsNearIdentity(const matrix& m) { return MatrixNearlyEqual(m, kMatrixIdentity, kEpsilon); }

// Row 2 is the translation row of a texture matrix with two coordinates.
matrix Shift(f32 u, f32 v) {
    matrix m = kMatrixIdentity;
    m.m[2][0] = u;
    m.m[2][1] = v;
    return m;
}

}  // namespace

TextureStage::TextureStage() : fixedTransform(kMatrixIdentity), animatedTransform(kMatrixIdentity) {}

bool TextureStage::Read(osmio::InStream* in) {
    const u32 version = in->GetChunkVersion();
    if (in->IsChunked() && version > 2) return false;
    texture = osmio::ReadSlot<Texture>(in);
    if (!state.Read(in)) return false;
    SetFixedTransform(state.matrix);
    for (auto& slot : channels) ReadController(in, slot);
    if (version >= 2) {
        u8 mode = 0;
        in->ReadU8(&mode);
        transformMode = mode;
    }
    return true;
}

void TextureStage::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("TS__"), 2);
    out->WriteObject(texture);
    std::swap(state.matrix, fixedTransform);
    state.Write(out);
    std::swap(state.matrix, fixedTransform);
    for (auto& slot : channels) out->WriteObject(slot.Get());
    out->WriteU8(static_cast<u8>(transformMode));
}

void TextureStage::SetFixedTransform(const matrix& value) {
    state.matrix = value;
    hasFixedTransform = !IsNearIdentity(value);
    fixedTransform = hasFixedTransform ? value : kMatrixIdentity;
}

void TextureStage::SetController(Channel channel, FloatController* value) {
    ReplaceController(channels[channel], value);
}

void TextureStage::FillWithNeutralControllers() {
    for (u32 channel = 0; channel < kChannelCount; ++channel) {
        if (channels[channel].Get() != nullptr) continue;
        const f32 neutral = channel == kUTiling || channel == kVTiling ? 1.0f : 0.0f;
        SetController(static_cast<Channel>(channel), new controller::Const<f32>(neutral));
    }
}

void TextureStage::Prepare() {
    isStatic = true;
    for (auto& slot : channels) isStatic = isStatic && slot->IsConstant();
    if (isStatic) ComputeTransform();
}

void TextureStage::Update(f32 time) {
    UpdateControllers(time);
    if (!isStatic) ComputeTransform();
    if (transformMode == kTransformCameraReflection) {
        matrix m = GetContext()->transforms.GetViewInverse();
        for (auto& row : m.m) {
            for (f32& element : row) element *= -1.0f;
        }
        m.m[3][0] = m.m[3][1] = m.m[3][2] = -0.0f;
        state.matrix = m;
    }
}

void TextureStage::ComputeTransform() {
    const auto value = [this](Channel channel) { return channels[channel].Get()->value; };
    const matrix centre = Shift(0.5f, -0.5f);
    const matrix shift = Shift(-value(kUOffset), value(kVOffset));
    matrix scale = kMatrixIdentity;
    scale.m[0][0] = value(kUTiling);
    scale.m[1][1] = value(kVTiling);
    const quat turn = QuatFromEuler(value(kUAngle), value(kVAngle), -value(kWAngle));
    matrix rotate;
    D3DXMatrixRotationQuaternion(&rotate, &turn);
    matrix m;
    D3DXMatrixInverse(&m, nullptr, &centre);
    D3DXMatrixMultiply(&m, &m, &shift);
    D3DXMatrixMultiply(&m, &m, &scale);
    D3DXMatrixMultiply(&m, &m, &rotate);
    D3DXMatrixMultiply(&animatedTransform, &m, &centre);

    const bool useAnimated = !isStatic || !IsNearIdentity(animatedTransform);
    if (hasFixedTransform) {
        if (useAnimated) {
            D3DXMatrixMultiply(&state.matrix, &fixedTransform, &animatedTransform);
        } else {
            state.matrix = fixedTransform;
        }
    } else if (useAnimated) {
        state.transformCount = 2;
        state.matrix = animatedTransform;
    }
}

void TextureStage::Apply(u32 stage) {
    if (texture != nullptr) texture->SetToStage(stage);
    GetContext()->ApplyStage(stage, state);
}

bool TextureStage::Validate(std::string& reason) const {
    for (const auto& slot : channels) {
        if (slot.Get() == nullptr) {
            reason = "a texture stage lacks one of its seven controllers";
            return false;
        }
        if (!controller::Validate(slot.Get(), reason)) return false;
    }
    return true;
}

}  // namespace osm3d
