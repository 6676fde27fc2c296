#include "effects/simple_effects.h"

#include "effects/effect_drawing.h"
#include "material/texture.h"
#include "render/context.h"
#include "scene/camera.h"
#include "scene/scene_hierarchy.h"
#include "scene/value_operations.h"
#include "trace/tracer.h"

namespace osm3d {

// ---- quads

void EffectQuad::InitQuad() {
    context = GetContext();
    SetQuadStates(renderBlock, true);
    ApplyChoices();

    stageBlock = TextureStageStateBlock::Standard();
    stageBlock.alphaArg1 = 1;
    stageBlock.alphaArg2 = 2;
    stageBlock.magFilter = 2;
    stageBlock.minFilter = 2;
    stageBlock.mipFilter = 2;
}

void EffectQuad::ApplyChoices() {
    renderBlock.destBlend = BlendOfChoice(destChoice);
    renderBlock.srcBlend = BlendOfChoice(srcChoice);
}

// ---- bitmap

fx_simple_bmp::fx_simple_bmp(const EffectDefinition& effect, const std::string& clipName,
                             HostControllerFactory* factory)
    : EffectQuad(effect, clipName, factory) {
    fx_simple_bmp::ApplyAll();
}

void fx_simple_bmp::OnFloatChanged(u32 index, f32 value) {
    switch (index) {
        case 1:
            top = value * 1000.0f;
            break;
        case 2:
            left = value * 1000.0f;
            break;
        case 3:
            bottom = value * 1000.0f;
            break;
        case 4:
            right = value * 1000.0f;
            break;
        case 5:
            alpha = value;
            break;
        default:
            break;
    }
}

void fx_simple_bmp::OnIntChanged(u32 index, i32 value) {
    if (index == 6) {
        destChoice = static_cast<u32>(value);
    } else if (index == 7) {
        srcChoice = static_cast<u32>(value);
    }
    ApplyChoices();
}

void fx_simple_bmp::OnObjectChanged(u32 index, DataObject* value) {
    if (index == 0) {
        const bool fits = value != nullptr && value->GetType() == kDataTexture;
        data = fits ? static_cast<TextureData*>(value) : nullptr;
    }
}

void fx_simple_bmp::Place() {
    const f32 x[2] = {left, right};
    const f32 y[2] = {top, bottom};
    const u32 diffuse = ColorToARGB({1, 1, 1, alpha});
    for (u32 i = 0; i < 4; ++i) {
        vertices[i].x = x[i >> 1];
        vertices[i].y = y[i & 1];
        vertices[i].diffuse = diffuse;
    }
}

void fx_simple_bmp::Init() {
    InitQuad();
    stageBlock.alphaOp = 3;
    for (u32 i = 0; i < 4; ++i) {
        vertices[i].z = 1.0f;
        vertices[i].rhw = 1.0f;
        vertices[i].u = static_cast<f32>(i >> 1);
        vertices[i].v = static_cast<f32>(i & 1);
    }
    Place();
    if (data == nullptr) {
        trace::Box("No texture data for effect.");
    }
}

void fx_simple_bmp::Shutdown() { context = nullptr; }

void fx_simple_bmp::Update(u32 word, f32 time) {
    EffectBase::Update(word, time);
    Place();
}

void fx_simple_bmp::Draw() {
    if (!IsCurrent(context)) {
        return;
    }
    context->BeginScene();
    context->ResetStages();
    if (data != nullptr && data->texture != nullptr) {
        context->ApplyRenderState(renderBlock);
        data->texture->SetToStage(0);
        context->ApplyStage(0, stageBlock);
    }
    DrawStrip(*context, vertices.data());
    context->EndScene();
}

// ---- colour

fx_simple_color::fx_simple_color(const EffectDefinition& effect, const std::string& clipName,
                                 HostControllerFactory* factory)
    : EffectQuad(effect, clipName, factory) {
    fx_simple_color::ApplyAll();
}

void fx_simple_color::OnFloatChanged(u32 index, f32 channel) {
    switch (index) {
        case 0:
            value.r = channel;
            break;
        case 1:
            value.g = channel;
            break;
        case 2:
            value.b = channel;
            break;
        case 3:
            value.a = channel;
            break;
        default:
            break;
    }
}

void fx_simple_color::OnIntChanged(u32 index, i32 choice) {
    if (index == 4) {
        destChoice = static_cast<u32>(choice);
    } else if (index == 5) {
        srcChoice = static_cast<u32>(choice);
    }
    ApplyChoices();
}

void fx_simple_color::Init() {
    InitQuad();
    stageBlock.alphaOp = 1;
}

void fx_simple_color::Shutdown() { context = nullptr; }

void fx_simple_color::Update(u32 word, f32 time) {
    EffectBase::Update(word, time);
    const u32 diffuse = ColorToARGB(value);
    for (u32 i = 0; i < 4; ++i) {
        vertices[i] = {(i >> 1) != 0 ? kDesignWidth : 0.0f,
                       (i & 1) != 0 ? kDesignHeight : 0.0f,
                       1.0f,
                       1.0f,
                       diffuse,
                       0.0f,
                       0.0f};
    }
}

void fx_simple_color::Draw() {
    if (!IsCurrent(context)) {
        return;
    }
    context->BeginScene();
    context->ApplyRenderState(renderBlock);
    context->ResetStages();
    context->ApplyStage(0, stageBlock);
    DrawStrip(*context, vertices.data());
    context->EndScene();
}

// ---- scene

fx_simple_scene::fx_simple_scene(const EffectDefinition& effect, const std::string& clipName,
                                 HostControllerFactory* factory)
    : EffectBase(effect, clipName, factory) {
    fx_simple_scene::ApplyAll();
}

void fx_simple_scene::OnFloatChanged(u32 index, f32 value) {
    if (index == 2) {
        sceneTime = value * 100.0f;
    }
}

void fx_simple_scene::OnIntChanged(u32 index, i32 value) {
    if (index != 1) {
        return;
    }
    if (data == nullptr) {
        cameraIndex.reset();
    } else {
        cameraIndex = static_cast<u32>(value);
    }
}

void fx_simple_scene::OnObjectChanged(u32 index, DataObject* value) {
    if (index == 0) {
        const bool fits = value != nullptr && value->GetType() == kDataScene;
        data = fits ? static_cast<SceneData*>(value) : nullptr;
    }
}

void fx_simple_scene::Init() {
    context = GetContext();
    if (data == nullptr) {
        trace::Box("No scene data for effect.");
    }
}

void fx_simple_scene::Shutdown() { context = nullptr; }

SceneHierarchy* fx_simple_scene::LoadedScene() const { return data != nullptr ? data->scene : nullptr; }

Camera* fx_simple_scene::ChosenCamera() const {
    const std::vector<Camera*>& cameras = data->scene->cameras;
    if (!cameraIndex.has_value() || cameras.empty()) {
        return nullptr;
    }
    return *cameraIndex < cameras.size() ? cameras[*cameraIndex] : cameras.front();
}

void fx_simple_scene::ClearTarget() {
    SceneHierarchy* scene = LoadedScene();
    if (scene == nullptr || !IsCurrent(context)) {
        return;
    }
    updated = true;
    scene->Update(sceneTime);
    context->BeginScene();
    scene->ClearBackground(sceneTime);
    context->EndScene();
}

void fx_simple_scene::Draw() {
    SceneHierarchy* scene = LoadedScene();
    if (scene == nullptr || !IsCurrent(context)) {
        return;
    }
    context->BeginScene();
    if (!updated) {
        scene->Update(sceneTime);
    }
    if (Camera* camera = ChosenCamera()) {
        scene->currentCamera = camera;
    }
    scene->Render();
    context->EndScene();
    updated = false;
}

}  // namespace osm3d
