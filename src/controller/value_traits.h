// What the controllers do with each type of value.
#pragma once

#include "platform/types.h"
#include "scene/value_types.h"

namespace osm3d::controller {

/// Between `a` at u = 0 and `b` at u = 1. Matrices do not blend: `a` up to and with half way, then `b`.
f32 Blend(f32 a, f32 b, f32 u);
vect3 Blend(const vect3& a, const vect3& b, f32 u);
quat Blend(const quat& a, const quat& b, f32 u);
color Blend(const color& a, const color& b, f32 u);
matrix Blend(const matrix& a, const matrix& b, f32 u);

/// Every component times `factor`; of a rotation that fraction of the way from none.
f32 Scaled(f32 value, f32 factor);
vect3 Scaled(const vect3& value, f32 factor);
quat Scaled(const quat& value, f32 factor);
color Scaled(const color& value, f32 factor);
matrix Scaled(const matrix& value, f32 factor);

}  // namespace osm3d::controller
