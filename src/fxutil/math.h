// Vectors, matrices, quaternions and planes under the published D3DX names.
//
// Row vectors: p' = p x M, translation stands in the fourth row, a chain applies from left to right. Angles
// are radians. Every operation takes the place for its result first and returns that pointer; the result may
// be one of the arguments. No pointer may be null unless its comment says so. Nothing allocates and nothing
// fails, D3DXMatrixInverse and D3DXMatrixDecompose apart.
#pragma once

#include "platform/types.h"
#include "scene/value_types.h"

/// Texture coordinates and other pairs.
struct D3DXVECTOR2 {
    f32 x, y;
};

/// Homogeneous points and shader constants.
struct D3DXVECTOR4 {
    f32 x, y, z, w;
};

/// All points with a x + b y + c z + d = 0. The sign of d is the opposite of that in osm3d::plane.
struct D3DXPLANE {
    f32 a, b, c, d;
};

using D3DXVECTOR3 = osm3d::vect3;
using D3DXQUATERNION = osm3d::quat;
using D3DXMATRIX = osm3d::matrix;
using D3DXCOLOR = osm3d::color;

inline constexpr f32 D3DX_PI = 3.141592654f;

// ---------------------------------------------------------------------------------------------- vectors

f32 D3DXVec2Dot(const D3DXVECTOR2* a, const D3DXVECTOR2* b);
f32 D3DXVec2Length(const D3DXVECTOR2* v);

f32 D3DXVec3Dot(const D3DXVECTOR3* a, const D3DXVECTOR3* b);
f32 D3DXVec3Length(const D3DXVECTOR3* v);
f32 D3DXVec3LengthSq(const D3DXVECTOR3* v);
D3DXVECTOR3* D3DXVec3Add(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b);
D3DXVECTOR3* D3DXVec3Subtract(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b);
D3DXVECTOR3* D3DXVec3Scale(D3DXVECTOR3* out, const D3DXVECTOR3* v, f32 s);
D3DXVECTOR3* D3DXVec3Minimize(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b);
D3DXVECTOR3* D3DXVec3Maximize(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b);
/// a + s (b - a); s is not clamped.
D3DXVECTOR3* D3DXVec3Lerp(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b, f32 s);
/// a x b, right-handed: x cross y is z.
D3DXVECTOR3* D3DXVec3Cross(D3DXVECTOR3* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b);
/// The zero vector stays zero.
D3DXVECTOR3* D3DXVec3Normalize(D3DXVECTOR3* out, const D3DXVECTOR3* v);
/// (v, 1) x m, all four components.
D3DXVECTOR4* D3DXVec3Transform(D3DXVECTOR4* out, const D3DXVECTOR3* v, const D3DXMATRIX* m);
/// (v, 1) x m, divided by the resulting w. A w of zero gives infinities or NaN, as the division does.
D3DXVECTOR3* D3DXVec3TransformCoord(D3DXVECTOR3* out, const D3DXVECTOR3* v, const D3DXMATRIX* m);
/// (v, 0) x m: rotation and scale alone. For normals under uneven scale give the inverse transpose as `m`.
D3DXVECTOR3* D3DXVec3TransformNormal(D3DXVECTOR3* out, const D3DXVECTOR3* v, const D3DXMATRIX* m);
/// TransformCoord over `count` vectors that lie `out_stride` and `in_stride` bytes apart. Returns `out`. The
/// two arrays may be the same when the strides are equal.
D3DXVECTOR3* D3DXVec3TransformCoordArray(D3DXVECTOR3* out, u32 out_stride, const D3DXVECTOR3* in,
                                         u32 in_stride, const D3DXMATRIX* m, u32 count);
/// TransformNormal over an array, likewise.
D3DXVECTOR3* D3DXVec3TransformNormalArray(D3DXVECTOR3* out, u32 out_stride, const D3DXVECTOR3* in,
                                          u32 in_stride, const D3DXMATRIX* m, u32 count);

f32 D3DXVec4Dot(const D3DXVECTOR4* a, const D3DXVECTOR4* b);
D3DXVECTOR4* D3DXVec4Transform(D3DXVECTOR4* out, const D3DXVECTOR4* v, const D3DXMATRIX* m);

// --------------------------------------------------------------------------------------------- matrices

D3DXMATRIX* D3DXMatrixIdentity(D3DXMATRIX* out);
/// Exact comparison with the identity.
bool D3DXMatrixIsIdentity(const D3DXMATRIX* m);
f32 D3DXMatrixDeterminant(const D3DXMATRIX* m);
/// Takes m = scale x rotation x translation apart. False, with the results partly written, when a scale is
/// zero.
bool D3DXMatrixDecompose(D3DXVECTOR3* scale, D3DXQUATERNION* rotation, D3DXVECTOR3* translation,
                         const D3DXMATRIX* m);
D3DXMATRIX* D3DXMatrixTranspose(D3DXMATRIX* out, const D3DXMATRIX* m);
/// a x b: a acts first.
D3DXMATRIX* D3DXMatrixMultiply(D3DXMATRIX* out, const D3DXMATRIX* a, const D3DXMATRIX* b);
D3DXMATRIX* D3DXMatrixMultiplyTranspose(D3DXMATRIX* out, const D3DXMATRIX* a, const D3DXMATRIX* b);
/// `determinant` may be null. A matrix of determinant zero gives null and leaves `out` alone; `determinant`
/// is written only on success.
D3DXMATRIX* D3DXMatrixInverse(D3DXMATRIX* out, f32* determinant, const D3DXMATRIX* m);
D3DXMATRIX* D3DXMatrixScaling(D3DXMATRIX* out, f32 x, f32 y, f32 z);
D3DXMATRIX* D3DXMatrixTranslation(D3DXMATRIX* out, f32 x, f32 y, f32 z);
D3DXMATRIX* D3DXMatrixRotationX(D3DXMATRIX* out, f32 angle);
D3DXMATRIX* D3DXMatrixRotationY(D3DXMATRIX* out, f32 angle);
D3DXMATRIX* D3DXMatrixRotationZ(D3DXMATRIX* out, f32 angle);
/// The axis is normalised first. A zero axis gives cos(angle) on the diagonal.
D3DXMATRIX* D3DXMatrixRotationAxis(D3DXMATRIX* out, const D3DXVECTOR3* axis, f32 angle);
/// The quaternion is taken as it stands: one that is not of unit length scales as well.
D3DXMATRIX* D3DXMatrixRotationQuaternion(D3DXMATRIX* out, const D3DXQUATERNION* q);
/// Roll about z first, then pitch about x, then yaw about y.
D3DXMATRIX* D3DXMatrixRotationYawPitchRoll(D3DXMATRIX* out, f32 yaw, f32 pitch, f32 roll);
/// Right-handed view: looks down -z. `up` need not be normal to the view, only not along it.
D3DXMATRIX* D3DXMatrixLookAtRH(D3DXMATRIX* out, const D3DXVECTOR3* eye, const D3DXVECTOR3* at,
                               const D3DXVECTOR3* up);
/// Right-handed projection onto depth 0 to 1. `fov_y` is the whole vertical angle, `aspect` width by height.
D3DXMATRIX* D3DXMatrixPerspectiveFovRH(D3DXMATRIX* out, f32 fov_y, f32 aspect, f32 near_z, f32 far_z);
D3DXMATRIX* D3DXMatrixPerspectiveRH(D3DXMATRIX* out, f32 width, f32 height, f32 near_z, f32 far_z);
D3DXMATRIX* D3DXMatrixOrthoRH(D3DXMATRIX* out, f32 width, f32 height, f32 near_z, f32 far_z);
D3DXMATRIX* D3DXMatrixOrthoOffCenterRH(D3DXMATRIX* out, f32 left, f32 right, f32 bottom, f32 top, f32 near_z,
                                       f32 far_z);
/// Flattens onto `plane` (normalised here) away from `light`: w 0 a direction, w 1 a position.
D3DXMATRIX* D3DXMatrixShadow(D3DXMATRIX* out, const D3DXVECTOR4* light, const D3DXPLANE* plane);
/// Mirrors about `plane`, which is normalised here.
D3DXMATRIX* D3DXMatrixReflect(D3DXMATRIX* out, const D3DXPLANE* plane);

// ------------------------------------------------------------------------------------------ quaternions

D3DXQUATERNION* D3DXQuaternionIdentity(D3DXQUATERNION* out);
bool D3DXQuaternionIsIdentity(const D3DXQUATERNION* q);
f32 D3DXQuaternionDot(const D3DXQUATERNION* a, const D3DXQUATERNION* b);
f32 D3DXQuaternionLength(const D3DXQUATERNION* q);
f32 D3DXQuaternionLengthSq(const D3DXQUATERNION* q);
D3DXQUATERNION* D3DXQuaternionConjugate(D3DXQUATERNION* out, const D3DXQUATERNION* q);
/// The zero quaternion stays zero.
D3DXQUATERNION* D3DXQuaternionNormalize(D3DXQUATERNION* out, const D3DXQUATERNION* q);
/// Conjugate over the squared length.
D3DXQUATERNION* D3DXQuaternionInverse(D3DXQUATERNION* out, const D3DXQUATERNION* q);
/// The rotation `a` followed by the rotation `b`.
D3DXQUATERNION* D3DXQuaternionMultiply(D3DXQUATERNION* out, const D3DXQUATERNION* a, const D3DXQUATERNION* b);
/// `m` must be a pure rotation.
D3DXQUATERNION* D3DXQuaternionRotationMatrix(D3DXQUATERNION* out, const D3DXMATRIX* m);
/// The axis is normalised first.
D3DXQUATERNION* D3DXQuaternionRotationAxis(D3DXQUATERNION* out, const D3DXVECTOR3* axis, f32 angle);
/// Roll about z first, then pitch about x, then yaw about y.
D3DXQUATERNION* D3DXQuaternionRotationYawPitchRoll(D3DXQUATERNION* out, f32 yaw, f32 pitch, f32 roll);
/// Axis (not normalised) and angle of a unit quaternion; either result may be null.
void D3DXQuaternionToAxisAngle(const D3DXQUATERNION* q, D3DXVECTOR3* axis, f32* angle);
/// Spherical interpolation along the shorter arc, t = 0 gives `a`. t is not clamped.
D3DXQUATERNION* D3DXQuaternionSlerp(D3DXQUATERNION* out, const D3DXQUATERNION* a, const D3DXQUATERNION* b,
                                    f32 t);

// ----------------------------------------------------------------------------------------------- planes

/// a x + b y + c z + d w.
f32 D3DXPlaneDot(const D3DXPLANE* plane, const D3DXVECTOR4* v);
/// Signed distance of a point from a normalised plane.
f32 D3DXPlaneDotCoord(const D3DXPLANE* plane, const D3DXVECTOR3* v);
f32 D3DXPlaneDotNormal(const D3DXPLANE* plane, const D3DXVECTOR3* v);
/// Scales the plane so that its normal has length one. A zero normal gives the zero plane.
D3DXPLANE* D3DXPlaneNormalize(D3DXPLANE* out, const D3DXPLANE* plane);
/// The normal is taken as it stands.
D3DXPLANE* D3DXPlaneFromPointNormal(D3DXPLANE* out, const D3DXVECTOR3* point, const D3DXVECTOR3* normal);
/// Through three points, with the unit normal of (b - a) x (c - a).
D3DXPLANE* D3DXPlaneFromPoints(D3DXPLANE* out, const D3DXVECTOR3* a, const D3DXVECTOR3* b,
                               const D3DXVECTOR3* c);
/// `m` must be the inverse transpose of the matrix that moves the points.
D3DXPLANE* D3DXPlaneTransform(D3DXPLANE* out, const D3DXPLANE* plane, const D3DXMATRIX* m);
/// Where the line through `a` and `b` meets the plane; null when it runs along it.
D3DXVECTOR3* D3DXPlaneIntersectLine(D3DXVECTOR3* out, const D3DXPLANE* plane, const D3DXVECTOR3* a,
                                    const D3DXVECTOR3* b);
