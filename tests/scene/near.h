// Points, compared and taken through matrices.
#pragma once

#include <gtest/gtest.h>

#include "scene/value_operations.h"

namespace osm3d {

inline void ExpectNear(const vect3& a, const vect3& b, f32 by = 1e-5f) {
    EXPECT_NEAR(a.x, b.x, by);
    EXPECT_NEAR(a.y, b.y, by);
    EXPECT_NEAR(a.z, b.z, by);
}

/// A point (w = 1), or a direction (w = 0), as a row before an affine matrix.
inline vect3 Through(const matrix& m, const vect3& p, f32 w = 1) {
    const f32 in[4] = {p.x, p.y, p.z, w};
    f32 out[3] = {0, 0, 0};
    for (int column = 0; column < 3; ++column) {
        for (int row = 0; row < 4; ++row) out[column] += in[row] * m.m[row][column];
    }
    return {out[0], out[1], out[2]};
}

}  // namespace osm3d
