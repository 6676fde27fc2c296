#include "scene/frustum.h"

#include <cmath>

#include "fxutil/math.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

// The plane ax + by + cz + e > 0, scaled to a normal of length 1.
plane MakePlane(f32 a, f32 b, f32 c, f32 e) {
    const f32 scale = 1.0f / std::sqrt(a * a + b * b + c * c);
    return {{a * scale, b * scale, c * scale}, -e * scale};
}

}  // namespace

Frustum::Frustum(const matrix& m) {
    // factor * column i + base * column 3
    const auto combine = [&m](f32 base, f32 factor, int i) {
        return MakePlane(base * m.m[0][3] + factor * m.m[0][i], base * m.m[1][3] + factor * m.m[1][i],
                         base * m.m[2][3] + factor * m.m[2][i], base * m.m[3][3] + factor * m.m[3][i]);
    };
    planes = {combine(1, 1, 0),  combine(1, -1, 0), combine(1, 1, 1),
              combine(1, -1, 1), combine(0, 1, 2),  combine(1, -1, 2)};
}

void Frustum::AddPlane(const plane& p) {
    if (count < kMaxPlanes) planes[count++] = p;
}

bool Frustum::Intersects(const OrientedBox& box) const {
    std::array<vect3, 8> corners;
    for (u32 i = 0; i < 8; ++i) {
        const vect3 corner{(i & 1) != 0 ? box.half.x : -box.half.x, (i & 2) != 0 ? box.half.y : -box.half.y,
                           (i & 4) != 0 ? box.half.z : -box.half.z};
        D3DXVec3TransformCoord(&corners[i], &corner, &box.transform);
    }
    const auto reaches = [&corners](const plane& p) {
        for (const vect3& corner : corners) {
            if (PlaneSide(p, corner)) {
                return true;
            }
        }
        return false;
    };
    for (u32 i = 0; i < count; ++i) {
        if (!reaches(planes[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace osm3d
