#include "controller/value_traits.h"

#include "scene/value_operations.h"

namespace osm3d::controller {

f32 Blend(f32 a, f32 b, f32 u) { return (1.0f - u) * a + b * u; }

vect3 Blend(const vect3& a, const vect3& b, f32 u) {
    const f32 v = 1.0f - u;
    return {a.x * v + b.x * u, a.y * v + b.y * u, a.z * v + b.z * u};
}

quat Blend(const quat& a, const quat& b, f32 u) { return QuatSlerp(a, b, u); }

color Blend(const color& a, const color& b, f32 u) {
    const f32 v = 1.0f - u;
    return {a.r * v + b.r * u, a.g * v + b.g * u, a.b * v + b.b * u, a.a * v + b.a * u};
}

matrix Blend(const matrix& a, const matrix& b, f32 u) { return 0.5f >= u ? a : b; }

f32 Scaled(f32 value, f32 factor) { return value * factor; }

vect3 Scaled(const vect3& value, f32 factor) { return value * factor; }

quat Scaled(const quat& value, f32 factor) { return QuatSlerp(kQuatIdentity, value, factor); }

color Scaled(const color& value, f32 factor) {
    return {value.r * factor, value.g * factor, value.b * factor, value.a * factor};
}

matrix Scaled(const matrix& value, f32 factor) {
    matrix result;
    for (int i = 0; i < 16; ++i) result.Data()[i] = value.Data()[i] * factor;
    return result;
}

}  // namespace osm3d::controller
