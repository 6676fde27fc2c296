// The lamp of the lighthouse as it is seen from far away.
#pragma once

#include "stage.h"

namespace demo {

// Two beams that turn about `at`, from the angle `first` on, and a glow that faces `eye`. `glow` is a soft
// round light. Drawn behind all blended things made before.
void MakeBeacon(Stage& stage, const vect3& at, HierarchyNode* eye, Texture* glow, float first);

// The tower under a beacon, dark: its lamp at `lamp`, its foot at z = `foot`.
Shape TowerOutline(const vect3& lamp, float foot);

}  // namespace demo
