// What a view can see.
#pragma once

#include <array>

#include "platform/types.h"
#include "scene/oriented_box.h"
#include "scene/value_types.h"

namespace osm3d {

/// The planes of a view, each with the inside on its positive side.
class Frustum {
  public:
    /// The six planes (left, right, bottom, top, near, far) of `m` = view x projection.
    explicit Frustum(const matrix& m);

    /// One more plane that a box must reach across or stand inside of. A plane too many is left out: there is
    /// room for as many as the device has clip planes, and the frustum of a frame does not allocate.
    void AddPlane(const plane& p);

    /// False when all eight corners of `box` lie outside one of the planes; so some boxes pass that are not
    /// in view.
    bool Intersects(const OrientedBox& box) const;

    u32 PlaneCount() const { return count; }

    /// Plane number `index`, below PlaneCount(): the six, then the added ones.
    const plane& Plane(u32 index) const { return planes[index]; }

  private:
    static constexpr u32 kOwnPlanes = 6;
    static constexpr u32 kMaxPlanes = kOwnPlanes + 6;

    std::array<plane, kMaxPlanes> planes;
    u32 count = kOwnPlanes;
};

}  // namespace osm3d
