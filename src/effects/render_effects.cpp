#include "effects/render_effects.h"

#include "render/context.h"
#include "scene/value_operations.h"

namespace osm3d {

void CapturingEffect::Init() {
    context = GetContext();
    picture.Take();
    SetQuadStates(renderBlock, false);
}

void CapturingEffect::Shutdown() {
    picture.GiveBack();
    context = nullptr;
}

// ---- grey

fx_render_bw::fx_render_bw(const EffectDefinition& effect, const std::string& clipName,
                           HostControllerFactory* factory, RenderTargetPool& pool)
    : CapturingEffect(effect, clipName, factory, pool) {
    fx_render_bw::ApplyAll();
    picture.WarmUp();
}

void fx_render_bw::OnFloatChanged(u32 index, f32 value) {
    if (index == 0) {
        const f32 weight = (value + 1.0f) * 0.5f;
        grey = {weight, weight, weight, 1.0f};
    }
}

void fx_render_bw::Init() {
    CapturingEffect::Init();
    vertices = PictureStrip(picture.Right(), picture.Bottom(), ColorToARGB(grey));

    stage0 = TextureStageStateBlock::Standard();
    stage0.colorOp = 11;
    stage0.colorArg1 = 2;
    stage0.colorArg2 = 3;
    stage0.alphaOp = 0;
    stage0.alphaArg1 = 2;
    stage0.alphaArg2 = 2;
    stage0.magFilter = 2;
    stage0.minFilter = 2;
    stage0.mipFilter = 2;

    stage1 = stage0;
    stage1.colorOp = 10;
    stage1.colorArg1 = 1;
    stage1.colorArg2 = 0;
}

void fx_render_bw::Update(u32 word, f32 time) {
    CapturingEffect::Update(word, time);
    const u32 diffuse = ColorToARGB(grey);
    for (EffectVertex& vertex : vertices) {
        vertex.diffuse = diffuse;
    }
}

// A dot product counts its arguments from a half: the first stage moves the picture to 0.5 + picture / 2, the
// second multiplies that by the weights in the vertices.
void fx_render_bw::Draw() {
    if (!IsCurrent(context) || picture.Texture() == nullptr) {
        return;
    }
    constexpr D3DCOLOR kHalf = 0x808080;
    IDirect3DDevice9& device = *context->device;
    context->BeginScene();
    context->ApplyRenderState(renderBlock);
    context->ResetStages();
    context->ApplyStage(0, stage0);
    device.SetRenderState(D3DRS_TEXTUREFACTOR, kHalf);
    device.SetTextureStageState(0, D3DTSS_COLORARG0, D3DTA_TFACTOR);
    context->ApplyStage(1, stage1);
    // A material of three stages that was followed by smaller ones leaves its third on, behind stage 1.
    static const TextureStageStateBlock disabled;
    context->ApplyStage(2, disabled);
    context->SetTexture(0, picture.Texture());
    DrawStrip(*context, vertices.data());
    context->EndScene();
    device.SetTextureStageState(0, D3DTSS_COLORARG0, D3DTA_TFACTOR);
    context->ResetStages();
}

// ---- channels apart

fx_render_rgb::fx_render_rgb(const EffectDefinition& effect, const std::string& clipName,
                             HostControllerFactory* factory, RenderTargetPool& pool)
    : CapturingEffect(effect, clipName, factory, pool) {
    fx_render_rgb::ApplyAll();
    picture.WarmUp();
}

void fx_render_rgb::OnFloatChanged(u32 index, f32 value) {
    if (index == 0) {
        shift = value;
    }
}

void fx_render_rgb::Place() {
    for (u32 channel = 0; channel < 3; ++channel) {
        // White, since it is modulated with the picture.
        vertices[channel] = PictureStrip(picture.Right(), picture.Bottom(), 0xffffffff);
        vertices[channel][0].u = vertices[channel][2].u = static_cast<f32>(channel) * shift;
    }
}

void fx_render_rgb::Init() {
    CapturingEffect::Init();
    stageBlock = TextureStageStateBlock::Standard();
    Place();
}

void fx_render_rgb::Update(u32 word, f32 time) {
    CapturingEffect::Update(word, time);
    Place();
}

void fx_render_rgb::Draw() {
    if (!IsCurrent(context) || picture.Texture() == nullptr) {
        return;
    }
    context->BeginScene();
    context->ResetStages();
    context->ApplyStage(0, stageBlock);
    context->SetTexture(0, picture.Texture());
    for (u32 channel = 0; channel < 3; ++channel) {
        renderBlock.colorWriteMask = 1u << channel;
        context->ApplyRenderState(renderBlock);
        DrawStrip(*context, vertices[channel].data());
    }
    context->EndScene();
    context->ResetStages();
}

}  // namespace osm3d
