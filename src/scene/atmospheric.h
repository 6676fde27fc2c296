// Scene-wide effects without a place: ambient light, fog, backgrounds.
#pragma once

#include "controller/controller.h"
#include "io/serializable.h"
#include "io/slot.h"
#include "platform/types.h"
#include "render/context.h"
#include "scene/animatable.h"
#include "scene/value_types.h"

namespace osm3d {

class Camera;
class Texture;
class TextureCubemapFile;

/// Applied before the meshes and taken back after them, or applied after them, or clearing the picture as the
/// scene's background.
class Atmospheric : public Animatable, public osmio::Serializable {
  public:
    using ColorController = controller::ControllerBase<color>;
    using FloatController = controller::ControllerBase<f32>;

    /// `camera` may be null.
    virtual void Apply(Camera* camera) = 0;
    /// Takes Apply back.
    virtual void Unapply() = 0;
    /// Whether this object can be a background.
    virtual bool CanClear() const { return false; }
    /// Clears the picture; arguments as Context::Clear has them. `camera` may be null.
    virtual void Clear(Camera* camera, u32 flags, bool useDevice);
    ~Atmospheric() override = default;
};

/// Ambient light. Stored as chunk ATAM.
class AtmosphericAmbient : public Atmospheric {
  public:
    AtmosphericAmbient() = default;
    AtmosphericAmbient(const AtmosphericAmbient&) = delete;
    AtmosphericAmbient& operator=(const AtmosphericAmbient&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
    void Update(f32 time) override;
    void Apply(Camera* camera) override;
    void Unapply() override;

    /// Missing: nothing happens.
    ColorController* GetAmbient() const { return ambient.Get(); }
    /// Takes `value` over.
    void SetAmbient(ColorController* value);

  private:
    osmio::Slot<ColorController> ambient;
    color savedAmbient{};
};

/// Linear vertex fog over the camera's fog range. Stored as chunk ATFG.
class AtmosphericFog : public Atmospheric {
  public:
    AtmosphericFog() = default;
    AtmosphericFog(const AtmosphericFog&) = delete;
    AtmosphericFog& operator=(const AtmosphericFog&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
    void Update(f32 time) override;
    void Apply(Camera* camera) override;
    void Unapply() override;
    bool CanClear() const override { return canClear; }
    /// Clears to the fog's colour.
    void Clear(Camera* camera, u32 flags, bool useDevice) override;

    void SetCanClear(bool value) { canClear = value; }
    /// Without a colour there is no fog.
    ColorController* GetColor() const { return fogColor.Get(); }
    /// Strength of the fog, 0 to 1, at the camera's near and far fog distances. Both needed with a colour.
    FloatController* GetIntensityNear() const { return intensityNear.Get(); }
    FloatController* GetIntensityFar() const { return intensityFar.Get(); }
    /// Each takes `value` over.
    void SetColor(ColorController* value);
    void SetIntensityNear(FloatController* value);
    void SetIntensityFar(FloatController* value);

    /// What the last Apply sent.
    const FogParams& GetParams() const { return params; }

  private:
    FogParams params;
    u32 deviceFogKind = 0;
    bool canClear = false;
    osmio::Slot<ColorController> fogColor;
    osmio::Slot<FloatController> intensityNear;
    osmio::Slot<FloatController> intensityFar;
};

/// Clears to a colour, a bitmap or a cube around the eye. Stored as chunk ATBG.
class AtmosphericBackground : public Atmospheric {
  public:
    /// Values of the clear mode.
    static constexpr u32 kColor = 1;
    static constexpr u32 kBitmap = 2;
    static constexpr u32 kCube = 3;

    AtmosphericBackground() = default;
    AtmosphericBackground(const AtmosphericBackground&) = delete;
    AtmosphericBackground& operator=(const AtmosphericBackground&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
    void Update(f32 time) override;
    void Apply(Camera* camera) override;
    void Unapply() override;
    bool CanClear() const override { return true; }
    void Clear(Camera* camera, u32 flags, bool useDevice) override;

    u32 GetClearMode() const { return clearMode; }
    ColorController* GetColor() const { return clearColor.Get(); }
    Texture* GetTexture() const { return texture; }
    /// The texture of mode 3; null when the texture is of another class.
    TextureCubemapFile* GetCube() const { return cube; }

    /// Clears to a colour; takes `value` over.
    void UseColor(ColorController* value);
    /// Clears to a picture, which is not owned.
    void UseBitmap(Texture* picture);
    /// Clears to an environment of six separate images, which is not owned: around the eye of the camera that
    /// Clear gets, or of the view as it stands where Clear gets none.
    void UseCube(TextureCubemapFile* environment);

  private:
    void DrawBitmap();
    void DrawCube(f32 half);

    u32 clearMode = 0;
    osmio::Slot<ColorController> clearColor;
    Texture* texture = nullptr;
    TextureCubemapFile* cube = nullptr;
};

}  // namespace osm3d
