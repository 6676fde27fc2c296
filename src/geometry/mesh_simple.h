// The stored mesh.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "geometry/geometry.h"
#include "geometry/mesh.h"
#include "geometry/modifier_stack.h"
#include "geometry/shadow_volume.h"
#include "io/slot.h"

namespace osm3d {

/// The only Mesh. Stored as chunk MESM.
class MeshSimple : public Mesh {
  public:
    MeshSimple();

    /// Deletes what is owned: modifier stack, geometry, shadow volume.
    ~MeshSimple() override;

    MeshSimple(const MeshSimple&) = delete;
    MeshSimple& operator=(const MeshSimple&) = delete;

    /// Reads versions 0 and 1 (no castShadow) and 2.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    void Update(f32 time) override;

    /// Takes ownership of `value`. An earlier one goes back to the caller, undeleted; an existing modifier
    /// stack is not told.
    void SetGeometry(Geometry* value) override;
    Geometry* GetGeometry() const override { return geometry.Get(); }
    void SetMaterial(Material* value) override { material = value; }
    Material* GetMaterial() const override { return material; }
    void SetCastShadow(bool value) override { castShadow = value; }
    bool GetCastShadow() const override { return castShadow; }
    void UpdateShadow(const ShadowLight& light, u32 mode) override;
    void DrawShadow() override;
    void Prepare() override;

    /// Shows a message when the mesh has neither a geometry nor a modifier's result, and goes on.
    void Initialize() override;
    void Enqueue(DrawQueue* queue) override;
    void Draw() override;
    void SetHidden(bool value) override { hidden = value; }
    bool IsHidden() const override { return hidden; }
    void SetExcluded(bool value) override { excluded = value; }
    const OrientedBox* GetBounds() const override { return &bounds; }
    bool Validate(std::string& reason) const override;

    /// As SetGeometry, with one attribute per part of a composite geometry, the key into a MaterialComposite.
    virtual void SetGeometryParts(Geometry* value, std::vector<u32> attributes);

    /// Appends `modifier`, with a new stack if there is none, and takes ownership. False, and nothing taken,
    /// without a geometry.
    virtual bool AddModifier(Modifier* modifier);

    ModifierStack* GetStack() const { return stack.Get(); }
    const std::vector<u32>& GetPartAttributes() const { return partAttributes; }

  private:
    /// What is drawn: the stack's result, or the geometry. May be null.
    Geometry* DrawnGeometry() const;
    const matrix& World() const;

    std::vector<u32> partAttributes;
    Material* material = nullptr;
    osmio::Slot<Geometry> geometry;
    osmio::Slot<ModifierStack> stack;
    bool castShadow = false;
    std::unique_ptr<ShadowVolume> shadow;
    bool excluded = false;
    bool hidden = false;
    OrientedBox bounds;
};

}  // namespace osm3d
