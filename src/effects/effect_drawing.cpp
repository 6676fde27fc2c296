#include "effects/effect_drawing.h"

#include <utility>

#include "render/context.h"

namespace osm3d {

bool IsCurrent(const Context* context) { return context != nullptr && context == GetContext(); }

void SetQuadStates(RenderStateBlock& block, bool blend) {
    block.cullMode = 2;
    block.depthEnable = false;
    block.lighting = false;
    block.blendEnable = blend;
}

void UseEffectVertices(Context& context, u32 fvf) {
    if (!context.effectActive) {
        context.device->SetVertexShader(nullptr);
    }
    context.device->SetFVF(fvf);
}

std::array<EffectVertex, 4> PictureStrip(f32 u, f32 v, u32 diffuse) {
    return {{{0.0f, 0.0f, 1.0f, 1.0f, diffuse, 0.0f, 0.0f},
             {kDesignWidth, 0.0f, 1.0f, 1.0f, diffuse, u, 0.0f},
             {0.0f, kDesignHeight, 1.0f, 1.0f, diffuse, 0.0f, v},
             {kDesignWidth, kDesignHeight, 1.0f, 1.0f, diffuse, u, v}}};
}

void DrawStrip(Context& context, const EffectVertex* strip) {
    UseEffectVertices(context, kEffectFvf);
    context.device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, strip, sizeof(EffectVertex));
}

void CapturedPicture::WarmUp() { pool_->Release(pool_->Acquire(kScreen)); }

void CapturedPicture::Take() {
    GiveBack();
    target_ = pool_->Acquire(kind_);
}

void CapturedPicture::GiveBack() {
    End();
    pool_->Release(target_);
    target_ = nullptr;
}

void CapturedPicture::Begin() {
    if (savedTarget_ != nullptr || Texture() == nullptr || GetContext() == nullptr) {
        return;
    }
    context_ = GetContext();
    savedTarget_ = context_->GetRenderTarget();
    context_->SetRenderTarget(target_);
}

bool CapturedPicture::End() {
    RenderTarget* saved = std::exchange(savedTarget_, nullptr);
    // The saved target may be gone with its Context.
    if (saved == nullptr || !IsCurrent(context_)) {
        return false;
    }
    context_->SetRenderTarget(saved);
    return true;
}

IDirect3DTexture9* CapturedPicture::Texture() const {
    return target_ != nullptr && target_->surface ? target_->texture.Get() : nullptr;
}

f32 CapturedPicture::Right() const {
    return target_ != nullptr ? static_cast<f32>(target_->viewport.Width) * target_->invWidth : 0.0f;
}

f32 CapturedPicture::Bottom() const {
    return target_ != nullptr ? static_cast<f32>(target_->viewport.Height) * target_->invHeight : 0.0f;
}

}  // namespace osm3d
