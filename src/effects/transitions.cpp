#include "effects/transitions.h"

#include <cmath>

#include "render/context.h"
#include "scene/value_operations.h"

namespace osm3d {

// ---- cut

fx_trans_direct::fx_trans_direct(const EffectDefinition& effect, const std::string& clipName,
                                 HostControllerFactory* factory)
    : TransitionEffectBase(effect, clipName, factory) {
    fx_trans_direct::ApplyAll();
}

// ---- flash

fx_trans_white::fx_trans_white(const EffectDefinition& effect, const std::string& clipName,
                               HostControllerFactory* factory)
    : TransitionEffectBase(effect, clipName, factory) {
    fx_trans_white::ApplyAll();
}

void fx_trans_white::Init() {
    context = GetContext();
    SetQuadStates(renderBlock, true);
    renderBlock.SetBlendPreset(1);
    for (u32 i = 0; i < 4; ++i) {
        vertices[i] = {(i >> 1) != 0 ? kDesignWidth : 0.0f, (i & 1) != 0 ? kDesignHeight : 0.0f, 1.0f, 1.0f,
                       0};
    }
}

void fx_trans_white::Shutdown() { context = nullptr; }

void fx_trans_white::Update(u32 word, f32 time) {
    TransitionEffectBase::Update(word, time);
    const f32 white = 1.0f - 2.0f * std::fabs(progress - 0.5f);
    const u32 diffuse = ColorToARGB({white, white, white, white});
    for (FlashVertex& vertex : vertices) {
        vertex.diffuse = diffuse;
    }
}

void fx_trans_white::Draw() {
    if (!IsCurrent(context)) {
        return;
    }
    context->BeginScene();
    context->ResetStages();
    context->ApplyRenderState(renderBlock);
    UseEffectVertices(*context, D3DFVF_XYZRHW | D3DFVF_DIFFUSE);
    context->device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, vertices.data(), sizeof(FlashVertex));
    context->EndScene();
}

// ---- cross-fade

fx_trans_blend::fx_trans_blend(const EffectDefinition& effect, const std::string& clipName,
                               HostControllerFactory* factory, RenderTargetPool& pool)
    : TransitionEffectBase(effect, clipName, factory), picture(pool, CapturedPicture::kScreen) {
    fx_trans_blend::ApplyAll();
    picture.WarmUp();
}

bool fx_trans_blend::IsInputNeeded(i32 input) {
    if (progress == 0.0f) {
        return input == 1;
    }
    if (progress == 1.0f) {
        return input == 2;
    }
    return true;
}

void fx_trans_blend::BeginInput(i32 input) {
    if (input == 1 && progress != 0.0f) {
        picture.Begin();
    }
}

void fx_trans_blend::EndRender() { picture.End(); }

void fx_trans_blend::Init() {
    context = GetContext();
    picture.Take();
    vertices = PictureStrip(picture.Right(), picture.Bottom(), 0);
    SetQuadStates(renderBlock, true);
    renderBlock.SetBlendPreset(2);
    stageBlock = TextureStageStateBlock::Standard();
    stageBlock.colorOp = 2;
    stageBlock.colorArg1 = 0;
    stageBlock.colorArg2 = 2;
    stageBlock.alphaOp = 1;
    stageBlock.alphaArg1 = 0;
    stageBlock.alphaArg2 = 2;
}

void fx_trans_blend::Shutdown() {
    picture.GiveBack();
    context = nullptr;
}

void fx_trans_blend::Update(u32 word, f32 time) {
    TransitionEffectBase::Update(word, time);
    const u32 diffuse = ColorToARGB({1, 1, 1, 1.0f - progress});
    for (EffectVertex& vertex : vertices) {
        vertex.diffuse = diffuse;
    }
}

void fx_trans_blend::Draw() {
    if (!IsCurrent(context) || picture.Texture() == nullptr) {
        return;
    }
    context->BeginScene();
    context->ResetStages();
    context->ApplyRenderState(renderBlock);
    context->ApplyStage(0, stageBlock);
    context->SetTexture(0, picture.Texture());
    DrawStrip(*context, vertices.data());
    context->EndScene();
}

}  // namespace osm3d
