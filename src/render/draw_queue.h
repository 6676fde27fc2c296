// The render list: what the meshes of one view ask to be drawn.
#pragma once

#include <vector>

#include "platform/types.h"
#include "scene/value_types.h"

namespace osm3d {

class Geometry;
class Material;
class ModifierStack;

/// One drawable piece. Nothing here is owned; the pointers hold until the scene changes.
struct DrawRecord {
    /// Sort class: 0 is not drawn, 1 before 2 before 3.
    u32 kind;
    /// Distance of the mesh's origin from the eye, in view space.
    f32 distance;
    /// Null draws with the default material.
    Material* material;
    Geometry* geometry;
    /// Null, or the stack whose PrepareDraw comes before the geometry's Draw.
    ModifierStack* stack;
    /// The world matrix in force; never null.
    const matrix* world;
};

/// Records in ascending order of distance, equal distances in the order in which they came.
///
/// Fill it with Insert, then read Records. Clear keeps the storage, so that a queue which is used again does
/// not allocate.
class DrawQueue {
  public:
    /// Takes a copy of `record`. A distance that is no number counts as the farthest.
    void Insert(const DrawRecord& record);

    /// The records in their order. The reference holds until the next Insert or Clear.
    const std::vector<DrawRecord>& Records();

    u32 Count() const { return static_cast<u32>(records.size()); }

    /// Writes `material`, which may be null, into every record.
    void SetMaterial(Material* material);

    /// Writes `stack`, which may be null, into every record.
    void SetStack(ModifierStack* stack);

    /// Empties the queue and keeps its storage.
    void Clear();

  private:
    void Sort();

    std::vector<DrawRecord> records;
    std::vector<u32> order;
    std::vector<DrawRecord> sorted;
    bool inOrder = true;
};

}  // namespace osm3d
