// Lights.
#pragma once

#include <vector>

#include "controller/controller.h"
#include "io/serializable.h"
#include "io/slot.h"
#include "platform/d3d9/d3d9.h"
#include "platform/types.h"
#include "scene/animatable.h"
#include "scene/transformation.h"
#include "scene/value_types.h"

namespace osm3d {

class Mesh;

/// A light of the scene, with the meshes that the shadow renderer treats for it. The meshes are not owned.
class Light : public Animatable, public osmio::Serializable, public Transformable {
  public:
    /// Adds the light, as of the last Update, to the device.
    virtual void Apply() = 0;
    virtual std::vector<Mesh*>& GetLinkedMeshes() = 0;
    virtual std::vector<Mesh*>& GetShadowCasters() = 0;
    ~Light() override = default;
};

/// A point light. All seven controllers must be there before Update. Stored as chunk LTOM.
class LightOmni : public Light {
  public:
    using ColorController = controller::ControllerBase<color>;
    using FloatController = controller::ControllerBase<f32>;

    LightOmni() = default;
    LightOmni(const LightOmni&) = delete;
    LightOmni& operator=(const LightOmni&) = delete;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Position is the transformation's own, without its parents'; the origin without one.
    void Update(f32 time) override;
    void Apply() override;
    std::vector<Mesh*>& GetLinkedMeshes() override { return linkedMeshes; }
    std::vector<Mesh*>& GetShadowCasters() override { return shadowCasters; }

    ColorController* GetAmbient() const { return ambient.Get(); }
    ColorController* GetDiffuse() const { return diffuse.Get(); }
    ColorController* GetSpecular() const { return specular.Get(); }
    FloatController* GetRange() const { return range.Get(); }
    /// `power` 0, 1 or 2: the constant, linear and square part.
    FloatController* GetAttenuation(u32 power) const { return attenuation[power].Get(); }

    /// Each takes `value` over and deletes the one before, if that was not a file's.
    void SetAmbient(ColorController* value);
    void SetDiffuse(ColorController* value);
    void SetSpecular(ColorController* value);
    /// World units; nothing beyond is lit.
    void SetRange(FloatController* value);
    void SetAttenuation(u32 power, FloatController* value);

    /// As of the last Update.
    const D3DLIGHT9& GetDeviceLight() const { return light; }

  private:
    osmio::Slot<ColorController> diffuse;
    osmio::Slot<ColorController> specular;
    osmio::Slot<ColorController> ambient;
    osmio::Slot<FloatController> range;
    osmio::Slot<FloatController> attenuation[3];
    D3DLIGHT9 light{};
    std::vector<Mesh*> linkedMeshes;
    std::vector<Mesh*> shadowCasters;
};

}  // namespace osm3d
