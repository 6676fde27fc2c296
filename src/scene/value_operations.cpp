#include "scene/value_operations.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "fxutil/math.h"

namespace osm3d {
namespace {

f32 Length(const vect3& v) { return std::sqrt(Dot(v, v)); }

u32 ColorByte(f32 channel) {
    if (channel >= 1.0f) return 255;
    // Not a number counts as 0.
    if (!(channel > 0.0f)) return 0;
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): this is the rounding that colours have everywhere.
    return static_cast<u32>(channel * 255.0f + 0.5f);
}

}  // namespace

matrix MatrixCompose(const vect3& position, const quat& rotation, const vect3& scale) {
    matrix s;
    matrix r;
    matrix sr;
    matrix result;
    D3DXMatrixScaling(&s, scale.x, scale.y, scale.z);
    D3DXMatrixRotationQuaternion(&r, &rotation);
    D3DXMatrixMultiply(&sr, &s, &r);
    const matrix t = MatrixTranslation(position);
    D3DXMatrixMultiply(&result, &sr, &t);
    return result;
}

matrix MatrixTranslation(const vect3& v) {
    matrix result = kMatrixIdentity;
    result.m[3][0] = v.x;
    result.m[3][1] = v.y;
    result.m[3][2] = v.z;
    return result;
}

vect3 MatrixGetTranslation(const matrix& m) { return {m.m[3][0], m.m[3][1], m.m[3][2]}; }

bool MatrixNearlyEqual(const matrix& a, const matrix& b, f32 eps) {
    for (int i = 0; i < 16; ++i) {
        if (std::abs(f64{a.Data()[i]} - f64{b.Data()[i]}) >= f64{eps}) return false;
    }
    return true;
}

matrix MatrixPerspective(f32 fovY, f32 aspect, f32 nearZ, f32 farZ) {
    matrix result;
    D3DXMatrixPerspectiveFovRH(&result, fovY, aspect, nearZ, farZ);
    return result;
}

matrix MatrixLookAt(const vect3& eye, const vect3& at, const vect3& up) {
    matrix result;
    D3DXMatrixLookAtRH(&result, &eye, &at, &up);
    return result;
}

quat QuatFromAxisAngle(const vect3& axis, f32 angle) {
    quat result;
    D3DXQuaternionRotationAxis(&result, &axis, angle);
    return result;
}

quat QuatSlerp(const quat& a, const quat& b, f32 t) {
    quat result;
    D3DXQuaternionSlerp(&result, &a, &b, t);
    return result;
}

quat QuatFromEuler(f32 pitch, f32 yaw, f32 roll) {
    quat result;
    D3DXQuaternionRotationYawPitchRoll(&result, yaw, pitch, roll);
    return result;
}

quat QuatFromMatrix(const matrix& m) {
    quat result;
    D3DXQuaternionRotationMatrix(&result, &m);
    return result;
}

plane PlaneFromPointNormal(const vect3& point, const vect3& normal) { return {normal, Dot(point, normal)}; }

bool PlaneSide(const plane& p, const vect3& v) { return Dot(p.normal, v) - p.d > 0; }

matrix PlaneReflection(const plane& p) {
    const vect3 point = p.normal * p.d;
    D3DXPLANE mirror;
    D3DXPlaneFromPointNormal(&mirror, &point, &p.normal);
    matrix result;
    D3DXMatrixReflect(&result, &mirror);
    return result;
}

sphere SphereMerge(const sphere& a, const sphere& b) {
    const f32 distance = Length(a.center - b.center);
    if (a.radius > distance + b.radius) return a;
    if (b.radius > distance + a.radius) return b;
    const f32 radius = (distance + a.radius + b.radius) * 0.5f;
    const vect3 towards = b.center - a.center;
    const f32 length = Length(towards);
    const vect3 unit{towards.x / length, towards.y / length, towards.z / length};
    return {a.center + unit * radius, radius};
}

box BoxFromPoints(const vect3* points, i32 count) {
    box result = kBoxEmpty;
    for (i32 i = 0; i < count; ++i) {
        const vect3& p = points[i];
        result.min = {std::min(result.min.x, p.x), std::min(result.min.y, p.y), std::min(result.min.z, p.z)};
        result.max = {std::max(result.max.x, p.x), std::max(result.max.y, p.y), std::max(result.max.z, p.z)};
    }
    return result;
}

bool BoxRayIntersect(const box& b, const vect3& origin, const vect3& dir, vect3& hit) {
    const f32 low[3] = {b.min.x, b.min.y, b.min.z};
    const f32 high[3] = {b.max.x, b.max.y, b.max.z};
    const f32 from[3] = {origin.x, origin.y, origin.z};
    const f32 along[3] = {dir.x, dir.y, dir.z};
    f32 entry[3] = {-1, -1, -1};
    f32 at[3] = {hit.x, hit.y, hit.z};
    bool inside = true;
    for (int axis = 0; axis < 3; ++axis) {
        // As a word: a negative zero counts as a direction.
        const bool moves = std::bit_cast<u32>(along[axis]) != 0;
        f32 side;
        if (from[axis] < low[axis]) {
            side = low[axis];
        } else if (from[axis] > high[axis]) {
            side = high[axis];
        } else {
            continue;
        }
        inside = false;
        at[axis] = side;
        if (moves) entry[axis] = (side - from[axis]) / along[axis];
    }
    if (inside) {
        hit = origin;
        return true;
    }
    int last = 0;
    if (entry[1] > entry[last]) last = 1;
    if (entry[2] > entry[last]) last = 2;
    bool meets = !std::signbit(entry[last]);
    for (int axis = 0; meets && axis < 3; ++axis) {
        if (axis == last) continue;
        constexpr f32 kSlack = 1e-5f;
        at[axis] = along[axis] * entry[last] + from[axis];
        if (at[axis] < low[axis] - kSlack || at[axis] > high[axis] + kSlack) meets = false;
    }
    hit = {at[0], at[1], at[2]};
    return meets;
}

u32 ColorToARGB(const color& c) {
    return ((ColorByte(c.a) * 256 + ColorByte(c.r)) * 256 + ColorByte(c.g)) * 256 + ColorByte(c.b);
}

}  // namespace osm3d
