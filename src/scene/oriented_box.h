// A box that a matrix places.
#pragma once

#include <type_traits>

#include "scene/value_types.h"

namespace osm3d {

/// A box centred on the origin of the space of `transform`, which places it in the world.
struct OrientedBox {
    /// Half extents.
    vect3 half;
    matrix transform;

    friend bool operator==(const OrientedBox&, const OrientedBox&) = default;
};

static_assert(sizeof(OrientedBox) == 76 && std::is_trivial_v<OrientedBox>);

}  // namespace osm3d
