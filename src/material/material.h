// The appearance of a mesh.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "io/serializable.h"
#include "platform/types.h"
#include "scene/animatable.h"

namespace osm3d {

/// An appearance. To draw with it: n = Begin(0); for each pass below n: Pass(pass), then the geometry; End().
/// The scene that lists a material owns it.
class Material : public Animatable, public osmio::Serializable {
  public:
    /// Blend classes are 0 to kBlendClassCount - 1; they decide when a mesh is drawn among the others.
    static constexpr u32 kBlendClassCount = 6;

    ~Material() override = default;

    virtual u32 GetBlendClass() const = 0;

    /// True only for MaterialComposite.
    virtual bool IsComposite() const = 0;

    /// Gives the number of passes. `index` chooses among the sub-materials of a composite.
    virtual u32 Begin(u32 index) = 0;

    /// Sends the state of pass `pass` to the device.
    virtual void Pass(u32 pass) = 0;
    virtual void End() = 0;

    /// Takes over the transforms of the draw to come, between Begin and End, after the world matrix is set.
    /// Not needed where a modifier of what is drawn has done it.
    virtual void PrepareDraw() {}

    /// To be called once after Load, before the first Update.
    virtual void Prepare() = 0;
    virtual void Load() = 0;

    /// Whether the material can be prepared, updated and drawn with, as far as it is its own affair;
    /// otherwise `reason` says why not.
    virtual bool Validate(std::string& reason) const = 0;

    /// Appends the materials that this one draws through, nulls included.
    virtual void References(std::vector<const Material*>& /*out*/) const {}
};

/// Looks at which materials draw through which. Walks through each material once, however many lead to it.
class MaterialReferences {
  public:
    /// Whether no material that `top` draws through, at any depth, leads back to itself, and none lies too
    /// deep to be reached by calls within calls; otherwise `reason` says what is wrong, and nothing more can
    /// be asked of this object.
    bool Validate(const Material& top, std::string& reason);

  private:
    /// Levels of what has been walked through, itself included.
    std::unordered_map<const Material*, u32> levels;
};

/// Sends the material of a mesh without one: white, lit, untextured, default states.
void ApplyDefaultMaterial();

}  // namespace osm3d
