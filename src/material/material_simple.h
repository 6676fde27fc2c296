// The fixed-function material.
#pragma once

#include <string>
#include <vector>

#include "controller/controller.h"
#include "io/slot.h"
#include "material/material.h"
#include "material/texture_stage.h"
#include "platform/d3d9/d3d9.h"
#include "render/state_block.h"

namespace osm3d {

/// One pass: a device material out of five controllers, one block of render state and up to eight texture
/// stages. Stored as chunk MTSM. All five controllers and every stage must be there before Prepare.
class MaterialSimple : public Material {
  public:
    using ColorController = controller::ControllerBase<color>;
    using FloatController = controller::ControllerBase<f32>;

    /// The colour controllers, in stored order.
    enum ColorChannel : u32 { kDiffuse, kAmbient, kSpecular, kEmissive, kColorCount };

    /// The device has this many texture stages.
    static constexpr u32 kMaxStages = 8;

    MaterialSimple();

    MaterialSimple(const MaterialSimple&) = delete;
    MaterialSimple& operator=(const MaterialSimple&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    void Update(f32 time) override;
    u32 GetBlendClass() const override { return blendClass; }
    bool IsComposite() const override { return false; }
    u32 Begin(u32 index) override;
    void Pass(u32 pass) override;
    void End() override;
    void Prepare() override;
    void Load() override;
    bool Validate(std::string& reason) const override;

    virtual void SetBlendClass(u32 value) { blendClass = value; }

    /// Copies every field and the mask.
    virtual void SetRenderState(const RenderStateBlock& block) { renderState = block; }
    virtual RenderStateBlock* GetRenderState() { return &renderState; }

    /// Puts `stage` at `index` and takes ownership; the list grows with nulls as needed. A stage that stood
    /// there goes back to the caller, undeleted.
    virtual void SetStage(u32 index, TextureStage* stage);

    /// Null when out of range.
    virtual TextureStage* GetStage(u32 index) const;

    /// The texture of a stage; null when the index is out of range.
    virtual Texture* GetStageTexture(u32 index) const;

    u32 StageCount() const { return static_cast<u32>(stages.size()); }

    ColorController* GetColorController(ColorChannel channel) const { return colors[channel].Get(); }
    FloatController* GetPowerController() const { return power.Get(); }

    /// Each replaces a controller and takes ownership of `value`.
    void SetColorController(ColorChannel channel, ColorController* value);
    void SetPowerController(FloatController* value);

    /// Sets five constants in place of the controllers.
    void SetConstants(const color& diffuse, const color& ambient, const color& specular,
                      const color& emissive, f32 specularPower);

    /// The device material as the last Prepare or Update left it.
    const D3DMATERIAL9& GetDeviceMaterial() const { return material; }

    /// Whether Prepare found all five controllers constant.
    bool IsStatic() const { return isStatic; }

  private:
    void CopyValues();

    osmio::Slot<ColorController> colors[kColorCount];
    osmio::Slot<FloatController> power;
    RenderStateBlock renderState;
    u32 blendClass = 0;
    D3DMATERIAL9 material;
    bool isStatic = false;
    std::vector<osmio::Slot<TextureStage>> stages;
};

}  // namespace osm3d
