// Several materials for the parts of one mesh.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "material/material.h"

namespace osm3d {

/// A list of materials and a map from a part's attribute to an index into it. Towards other code it behaves
/// like the sub-material chosen last. Stored as chunk MTCP. The sub-materials are not owned, and are updated,
/// prepared and loaded by the scene's own list.
class MaterialComposite : public Material {
  public:
    MaterialComposite() = default;

    MaterialComposite(const MaterialComposite&) = delete;
    MaterialComposite& operator=(const MaterialComposite&) = delete;

    /// Reads versions 1 (no map) and 2.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    void Update(f32 time) override;
    u32 GetBlendClass() const override;
    bool IsComposite() const override { return true; }

    /// Chooses sub-material number `index` of the list; the attribute map plays no part.
    u32 Begin(u32 index) override;
    void Pass(u32 pass) override;
    void End() override;
    void PrepareDraw() override;
    void Prepare() override;
    void Load() override;
    bool Validate(std::string& reason) const override;
    void References(std::vector<const Material*>& out) const override;

    /// Chooses the sub-material of `attribute` and begins it. An attribute that the map does not hold chooses
    /// the first.
    virtual u32 BeginAttribute(u32 attribute);

    /// The sub-material of `attribute`; this object itself when the map does not hold it.
    Material* GetSubMaterial(u32 attribute);

    u32 MaterialCount() const { return static_cast<u32>(materials.size()); }

    /// Sub-material number `index`, which must be below MaterialCount(); may be null.
    Material* GetMaterial(u32 index) const { return materials[index]; }

    /// Appends `material`, not owned, and gives its index.
    u32 AddMaterial(Material* material);

    /// Lets `attribute` stand for sub-material number `index`.
    void MapAttribute(u32 attribute, u32 index) { attributeMap[attribute] = index; }
    const std::map<u32, u32>& AttributeMap() const { return attributeMap; }

  private:
    /// The sub-material chosen last; null where there is none.
    Material* Current() const;

    std::vector<Material*> materials;
    std::map<u32, u32> attributeMap;
    u32 current = 0;
};

}  // namespace osm3d
