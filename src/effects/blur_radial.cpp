#include "effects/blur_radial.h"

#include <algorithm>

#include "render/context.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

constexpr u32 kVerticesPerCopy = 6;

struct Corner {
    f32 x, y;
    bool right, bottom;
};
// Two triangles of a quad.
constexpr Corner kTopLeft{0, 0, false, false};
constexpr Corner kTopRight{kDesignWidth, 0, true, false};
constexpr Corner kBottomLeft{0, kDesignHeight, false, true};
constexpr Corner kBottomRight{kDesignWidth, kDesignHeight, true, true};
constexpr Corner kQuad[kVerticesPerCopy] = {kTopLeft,  kTopRight,   kBottomLeft,
                                            kTopRight, kBottomLeft, kBottomRight};

}  // namespace

fx_blur_radial::fx_blur_radial(const EffectDefinition& effect, const std::string& clipName,
                               HostControllerFactory* factory, RenderTargetPool& pool)
    : EffectBase(effect, clipName, factory), picture(pool, CapturedPicture::kSmall) {
    fx_blur_radial::ApplyAll();
    picture.WarmUp();
}

void fx_blur_radial::OnFloatChanged(u32 index, f32 value) {
    switch (index) {
        case 1:
            centerX = value * 1000.0f;
            break;
        case 2:
            centerY = value * 1000.0f;
            break;
        case 3:
            scale = value * 2.0f;
            break;
        case 4:
            alpha = value;
            break;
        default:
            break;
    }
}

void fx_blur_radial::OnIntChanged(u32 index, i32 value) {
    if (index == 0) {
        steps = std::min(static_cast<u32>(std::max(value, 0)), kMaxSteps);
        ReserveVertices();
    } else if (index == 5) {
        destChoice = static_cast<u32>(value);
    } else if (index == 6) {
        srcChoice = static_cast<u32>(value);
    }
    renderBlock.destBlend = BlendOfChoice(destChoice);
    renderBlock.srcBlend = BlendOfChoice(srcChoice);
}

void fx_blur_radial::ReserveVertices() {
    vertices.resize(std::max(vertices.size(), std::size_t{steps + 1} * kVerticesPerCopy));
}

void fx_blur_radial::Init() {
    context = GetContext();
    picture.Take();
    ReserveVertices();
    SetQuadStates(renderBlock, true);
    SetQuadStates(baseRenderBlock, false);

    stageBlock = TextureStageStateBlock::Standard();
    stageBlock.alphaOp = 3;
    stageBlock.alphaArg1 = 0;
    stageBlock.alphaArg2 = 2;
    stageBlock.magFilter = 2;
    stageBlock.minFilter = 2;
    stageBlock.mipFilter = 0;

    baseStageBlock = TextureStageStateBlock();
    baseStageBlock.colorOp = 1;
    baseStageBlock.colorArg1 = 2;
    baseStageBlock.colorArg2 = 0;
    baseStageBlock.magFilter = 2;
    baseStageBlock.minFilter = 2;
    baseStageBlock.mipFilter = 0;
}

void fx_blur_radial::Shutdown() {
    picture.GiveBack();
    context = nullptr;
    vertices = {};
}

void fx_blur_radial::EndRender() {
    if (!picture.End()) {
        return;
    }
    const color before = context->clearColor;
    context->SetClearColor({0, 0, 0, 0});
    context->Clear(Context::kClearColor | Context::kClearDepth | Context::kClearStencil, true);
    context->SetClearColor(before);
}

void fx_blur_radial::FillVertices() {
    const f32 n = static_cast<f32>(steps + 1);
    const f32 u = picture.Right();
    const f32 v = picture.Bottom();
    const u32 copyDiffuse = ColorToARGB({1, 1, 1, 1.0f / n * alpha});
    EffectVertex* out = vertices.data();
    for (u32 i = 0; i <= steps; ++i) {
        const f32 t = static_cast<f32>(i) * scale / n;
        const u32 diffuse = i == 0 ? 0xffffffff : copyDiffuse;
        for (const Corner& corner : kQuad) {
            *out++ = {t * (corner.x - centerX) + corner.x,
                      t * (corner.y - centerY) + corner.y,
                      1.0f,
                      1.0f,
                      diffuse,
                      corner.right ? u : 0.0f,
                      corner.bottom ? v : 0.0f};
        }
    }
}

void fx_blur_radial::Draw() {
    if (!IsCurrent(context) || picture.Texture() == nullptr) {
        return;
    }
    FillVertices();
    context->BeginScene();
    context->ResetStages();

    context->ApplyRenderState(baseRenderBlock);
    context->ApplyStage(0, baseStageBlock);
    context->SetTexture(0, picture.Texture());
    UseEffectVertices(*context, kEffectFvf);
    context->device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 2, vertices.data(), sizeof(EffectVertex));

    context->ResetStages();
    context->ApplyRenderState(renderBlock);
    context->SetTexture(0, picture.Texture());
    context->ApplyStage(0, stageBlock);
    UseEffectVertices(*context, kEffectFvf);
    // Without copies the device gets a draw of nothing, which it refuses.
    context->device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 2 * steps, vertices.data() + kVerticesPerCopy,
                                     sizeof(EffectVertex));
    context->EndScene();
}

void fx_blur_radial::DrawMarker() {
    if (!IsCurrent(context)) {
        return;
    }
    constexpr f32 kArm = 10.0f;
    constexpr color kYellow{1, 1, 0, 1};
    context->BeginScene();
    context->DrawLine2D({centerX - kArm, centerY, 0}, {centerX + kArm, centerY, 0}, kYellow);
    context->DrawLine2D({centerX, centerY - kArm, 0}, {centerX, centerY + kArm, 0}, kYellow);
    context->EndScene();
}

}  // namespace osm3d
