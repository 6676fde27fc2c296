// The light that a shadow volume is made for.
#pragma once

#include "scene/value_types.h"

namespace osm3d {

/// Where the light stands and which way it shines; the direction's length is how far a shadow reaches. World
/// or local space, as the operation that takes it says.
struct ShadowLight {
    vect3 origin;
    vect3 direction;
};

}  // namespace osm3d
