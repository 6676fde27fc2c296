// The sky of the island's evening.
#pragma once

#include "stage.h"

namespace demo {

// The sky over the direction of `azimuth` (radians from +x) at `elevation` (degrees), early in the evening.
color SkyColor(float azimuth, float elevation);

// How far the evening has come: 0 at the start of the demo, 1 at its end.
float Dusk(float time);

// All that is so far away that it goes with the eye, on `node`: stars, moon, clouds and mountains, and their
// images in the water. `glow` is a soft round light.
void MakeEveningSky(Stage& stage, HierarchyNode* node, Texture* glow);

}  // namespace demo
