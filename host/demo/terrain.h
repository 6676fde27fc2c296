// The ground of the island.
#pragma once

#include "picture.h"
#include "shape.h"

namespace demo {

// The island lies within this distance of the origin, both ways; units are metres.
inline constexpr float kIslandHalf = 84;
inline constexpr vect3 kTowerFoot{16, 12, 17};

// Height over the sea, below 0 outside the shore.
float GroundHeight(float x, float y);
// Metres to the middle of the path from the jetty to the tower.
float DistanceToPath(float x, float y);
vect3 GroundPoint(float x, float y);
float GroundSlope(float x, float y);

// What is above the sea, with its colours laid over it from (-half, -half) to (half, half).
Shape GroundShape(int cells);
Picture32 GroundPicture(unsigned size);

}  // namespace demo
