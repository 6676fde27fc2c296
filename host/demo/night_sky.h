// The sky of the demo's night, as a cube around the eye.
#pragma once

#include <array>

#include "picture.h"

namespace demo {

// Where the moon stands; a unit vector.
extern const vect3 kMoonWay;

// Six faces in the order of a cube map's keys: +z, -z, -x, +x, -y, +y. `horizon` colours what is low. Below
// the horizon is the sky's image in the water where `water` is true, and mist elsewhere.
std::array<Picture32, 6> NightSky(unsigned size, const color& horizon, bool water);

}  // namespace demo
