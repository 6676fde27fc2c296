// The sources: a bitmap, a flat colour, a scene. They paint into the current target.
#pragma once

#include <array>
#include <optional>

#include "effects/data_object.h"
#include "effects/effect.h"
#include "render/state_block.h"

namespace osm3d {

class Camera;
class Context;

/// What the quad-drawing effects have in common: blending as the user chose, and a quad.
// The host knows these classes by their type names.
// NOLINTBEGIN(readability-identifier-naming)
class EffectQuad : public EffectBase {
  public:
    EffectQuad() = default;
    EffectQuad(const EffectDefinition& effect, const std::string& clipName, HostControllerFactory* factory)
        : EffectBase(effect, clipName, factory) {}

  protected:
    /// Unculled, untested, unlit, with the chosen blending; the parts of Init that all share.
    void InitQuad();
    void ApplyChoices();

    Context* context = nullptr;
    std::array<EffectVertex, 4> vertices{};
    RenderStateBlock renderBlock{RenderStateBlock::kComplete};
    TextureStageStateBlock stageBlock;
    u32 destChoice = 0;
    u32 srcChoice = 1;
};

/// A bitmap on a rectangle. Parameters: 0 bitmap, 1 top, 2 left, 3 bottom, 4 right (thousands of pixels of
/// the 640 x 480 picture), 5 alpha, 6 and 7 blend choices of destination and source.
class fx_simple_bmp : public EffectQuad {
  public:
    fx_simple_bmp() = default;
    fx_simple_bmp(const EffectDefinition& effect, const std::string& clipName,
                  HostControllerFactory* factory);

    void OnFloatChanged(u32 index, f32 value) override;
    void OnIntChanged(u32 index, i32 value) override;
    void OnObjectChanged(u32 index, DataObject* value) override;
    void Update(u32 word, f32 time) override;
    void Init() override;
    void Shutdown() override;
    void Draw() override;

  private:
    void Place();

    f32 left = 0;
    f32 top = 0;
    f32 right = 0;
    f32 bottom = 0;
    f32 alpha = 0;
    TextureData* data = nullptr;
};

/// One colour over the whole picture. Parameters: 0 to 3 red, green, blue, alpha, 4 and 5 blend choices of
/// destination and source.
class fx_simple_color : public EffectQuad {
  public:
    fx_simple_color() = default;
    fx_simple_color(const EffectDefinition& effect, const std::string& clipName,
                    HostControllerFactory* factory);

    void OnFloatChanged(u32 index, f32 value) override;
    void OnIntChanged(u32 index, i32 value) override;
    void Update(u32 word, f32 time) override;
    void Init() override;
    void Shutdown() override;
    void Draw() override;

  private:
    color value{0, 0, 0, 0};
};

/// A scene. Parameters: 0 scene, 1 index of the camera (past the end: the first), 2 time in hundreds of key
/// units.
class fx_simple_scene : public EffectBase {
  public:
    fx_simple_scene() = default;
    fx_simple_scene(const EffectDefinition& effect, const std::string& clipName,
                    HostControllerFactory* factory);

    void OnFloatChanged(u32 index, f32 value) override;
    void OnIntChanged(u32 index, i32 value) override;
    void OnObjectChanged(u32 index, DataObject* value) override;
    void Init() override;
    void Shutdown() override;
    /// Brings the scene to its time and clears to its background.
    void ClearTarget() override;
    void Draw() override;

  private:
    SceneHierarchy* LoadedScene() const;
    /// The chosen camera, or null for the scene's own.
    Camera* ChosenCamera() const;

    Context* context = nullptr;
    SceneData* data = nullptr;
    /// Kept as an index, since the scene may be loaded anew.
    std::optional<u32> cameraIndex;
    f32 sceneTime = 0;
    bool updated = false;
};
// NOLINTEND(readability-identifier-naming)

}  // namespace osm3d
