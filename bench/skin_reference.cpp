// Compiled at -O2 in every build; see CMakeLists.txt.
#include "skin_reference.h"

#include <cmath>

namespace bench {
namespace {

using namespace osm3d;

template <bool kDivide>
inline vect3 TransformCoord(const vect3& p, const matrix& matrix) {
    const auto& m = matrix.m;
    const vect3 q{p.x * m[0][0] + p.y * m[1][0] + p.z * m[2][0] + m[3][0],
                  p.x * m[0][1] + p.y * m[1][1] + p.z * m[2][1] + m[3][1],
                  p.x * m[0][2] + p.y * m[1][2] + p.z * m[2][2] + m[3][2]};
    if (!kDivide) return q;
    const f32 w = p.x * m[0][3] + p.y * m[1][3] + p.z * m[2][3] + m[3][3];
    return {q.x / w, q.y / w, q.z / w};
}

template <bool kDivide>
inline void Skin(const SkinJob& job) {
    for (u32 v = 0; v < job.vertexCount; ++v) {
        const VertexWeights& w = job.weights[v];
        const vect3 p = job.positions[v];
        vect3 sum{0, 0, 0};
        f32 rest = 1.0f;
        for (u32 k = 0; k < 3; ++k) {
            sum = sum + TransformCoord<kDivide>(p, job.palette[w.bones[k]]) * w.blend[k];
            rest -= w.blend[k];
        }
        job.outPositions[v] = sum + TransformCoord<kDivide>(p, job.palette[w.bones[3]]) * rest;
    }
    for (u32 v = 0; v < job.normalCount; ++v) {
        const vect3 n = TransformCoord<kDivide>(job.normals[v], job.normalPalette[job.weights[v].bones[0]]);
        job.outNormals[v] = n * (1.0f / std::sqrt(Dot(n, n)));
    }
}

}  // namespace

void SkinPlainly(const SkinJob& job) { Skin<true>(job); }
void SkinPlainlyAffine(const SkinJob& job) { Skin<false>(job); }

}  // namespace bench
