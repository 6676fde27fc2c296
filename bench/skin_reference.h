// What the engine's skinning is measured against.
#pragma once

#include "geometry/skin_kernel.h"

namespace bench {

// The same job one number at a time: four points, each divided by its w, blended; one normal.
void SkinPlainly(const osm3d::SkinJob& job);

// The same without w, which only affine matrices allow.
void SkinPlainlyAffine(const osm3d::SkinJob& job);

}  // namespace bench
