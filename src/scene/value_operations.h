// Operations on the value types.
#pragma once

#include <limits>

#include "scene/value_types.h"

namespace osm3d {

inline constexpr matrix kMatrixIdentity{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
inline constexpr quat kQuatIdentity{0, 0, 0, 1};
/// The box of no points: its minimum lies above its maximum.
inline constexpr box kBoxEmpty{
    {std::numeric_limits<f32>::max(), std::numeric_limits<f32>::max(), std::numeric_limits<f32>::max()},
    {-std::numeric_limits<f32>::max(), -std::numeric_limits<f32>::max(), -std::numeric_limits<f32>::max()}};
/// Of debug boxes and points.
inline constexpr color kDebugColor{1, 1, 0, 1};

/// Scale, then rotation, then translation.
matrix MatrixCompose(const vect3& position, const quat& rotation, const vect3& scale);
matrix MatrixTranslation(const vect3& v);
vect3 MatrixGetTranslation(const matrix& m);
/// Whether every element differs by less than `eps`.
bool MatrixNearlyEqual(const matrix& a, const matrix& b, f32 eps);
/// Right-handed; `fovY` in radians, depth 0 at `nearZ` and 1 at `farZ`.
matrix MatrixPerspective(f32 fovY, f32 aspect, f32 nearZ, f32 farZ);
/// The right-handed view from `eye` towards `at`.
matrix MatrixLookAt(const vect3& eye, const vect3& at, const vect3& up);

quat QuatFromAxisAngle(const vect3& axis, f32 angle);
quat QuatSlerp(const quat& a, const quat& b, f32 t);
/// Radians about x, y and z.
quat QuatFromEuler(f32 pitch, f32 yaw, f32 roll);
quat QuatFromMatrix(const matrix& m);

/// `normal` as given, not normalised.
plane PlaneFromPointNormal(const vect3& point, const vect3& normal);
/// Whether `v` lies on the side that the normal points to, not on the plane itself.
bool PlaneSide(const plane& p, const vect3& v);
/// The mirror at the plane.
matrix PlaneReflection(const plane& p);

/// A sphere around two. Unless one holds the other, its centre goes from a's towards b's by the whole new
/// radius, so it may miss part of both; bounds are made this way throughout.
sphere SphereMerge(const sphere& a, const sphere& b);

/// kBoxEmpty for a count below 1.
box BoxFromPoints(const vect3* points, i32 count);

/// Whether the ray from `origin` along `dir` meets the box. `hit` is where it enters, or `origin` itself
/// inside the box; it may be written to even when the answer is no.
bool BoxRayIntersect(const box& b, const vect3& origin, const vect3& dir, vect3& hit);

/// 0xAARRGGBB; each channel is held within 0 to 1 and rounded.
u32 ColorToARGB(const color& c);

}  // namespace osm3d
