// What a view can see.
#pragma once

#include <array>
#include <vector>

#include "platform/types.h"
#include "scene/oriented_box.h"
#include "scene/value_types.h"

namespace osm3d {

/// The planes of a view, each with the inside on its positive side.
class Frustum {
  public:
    /// The six planes (left, right, bottom, top, near, far) of `m` = view x projection.
    explicit Frustum(const matrix& m);

    /// One more plane that a box must reach across or stand inside of.
    void AddPlane(const plane& p);

    /// False when all eight corners of `box` lie outside one of the planes; so some boxes pass that are not
    /// in view.
    bool Intersects(const OrientedBox& box) const;

    u32 PlaneCount() const { return static_cast<u32>(planes.size() + extra.size()); }

    /// Plane number `index`, below PlaneCount(): the six, then the added ones.
    const plane& Plane(u32 index) const {
        return index < planes.size() ? planes[index] : extra[index - planes.size()];
    }

  private:
    std::array<plane, 6> planes;
    std::vector<plane> extra;
};

}  // namespace osm3d
