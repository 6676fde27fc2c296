// The plain value types of the engine. Row vectors, right-handed; a matrix holds its translation in row 3.
#pragma once

#include <type_traits>

#include "platform/types.h"

namespace osm3d {

/// A point or direction. Left undefined until assigned, like every type here.
struct vect3 {
    f32 x, y, z;

    friend constexpr bool operator==(const vect3&, const vect3&) = default;
};

/// A rotation, (0, 0, 0, 1) being none.
struct quat {
    f32 x, y, z, w;

    friend constexpr bool operator==(const quat&, const quat&) = default;
};

/// Linear red, green, blue and alpha, nominally 0 to 1.
struct color {
    f32 r, g, b, a;

    friend constexpr bool operator==(const color&, const color&) = default;
};

/// 16 floats, `m[row][column]`.
struct matrix {
    f32 m[4][4];

    /// The 16 elements in memory order, element 4 * row + column.
    f32* Data() { return &m[0][0]; }
    const f32* Data() const { return &m[0][0]; }

    friend bool operator==(const matrix&, const matrix&) = default;
};

/// All points p with dot(normal, p) = d; the sign of `d` is the opposite of a D3DX plane's.
struct plane {
    vect3 normal;
    f32 d;

    friend constexpr bool operator==(const plane&, const plane&) = default;
};

struct sphere {
    vect3 center;
    f32 radius;

    friend constexpr bool operator==(const sphere&, const sphere&) = default;
};

/// Axis-aligned; empty when `min` lies above `max`.
struct box {
    vect3 min;
    vect3 max;

    friend constexpr bool operator==(const box&, const box&) = default;
};

constexpr vect3 operator+(const vect3& a, const vect3& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
constexpr vect3 operator-(const vect3& a, const vect3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
constexpr vect3 operator-(const vect3& a) { return {-a.x, -a.y, -a.z}; }
constexpr vect3 operator*(const vect3& a, f32 s) { return {a.x * s, a.y * s, a.z * s}; }
constexpr f32 Dot(const vect3& a, const vect3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr vect3 Cross(const vect3& a, const vect3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

static_assert(sizeof(vect3) == 12 && sizeof(quat) == 16 && sizeof(color) == 16 && sizeof(matrix) == 64);
static_assert(sizeof(plane) == 16 && sizeof(sphere) == 16 && sizeof(box) == 24);
static_assert(std::is_trivial_v<vect3> && std::is_trivial_v<quat> && std::is_trivial_v<color> &&
              std::is_trivial_v<matrix> && std::is_trivial_v<plane> && std::is_trivial_v<box>);

}  // namespace osm3d
