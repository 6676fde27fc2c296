// Water at rest, which shows what hangs upside down below it.
#pragma once

#include "stage.h"

namespace demo {

// Lies over the images of what stands above. `deep` is its colour seen from above, `far` towards the horizon.
MaterialSimple* SeaLook(Stage& stage, const color& deep, const color& far);

// Three kilometres of it at z = 0, finer towards the middle.
Shape SeaShape();

}  // namespace demo
