#include "geometry/skin_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
#define OSM_SKIN_X86
#include <immintrin.h>
#endif

namespace osm3d {

namespace {

// Vertices that go through positions and then normals together, so that their weights are read once.
constexpr u32 kBlock = 512;

// The blend of four affine matrices, then one transform: the same sum as four transforms, then the blend.
// SSE2 adds in this order too, and so gives the same bits.
vect3 BlendedPoint(const SkinJob& job, u32 v) {
    const VertexWeights& w = job.weights[v];
    const f32 rest = 1.0f - w.blend[0] - w.blend[1] - w.blend[2];
    const f32* a = job.palette[w.bones[0]].Data();
    const f32* b = job.palette[w.bones[1]].Data();
    const f32* c = job.palette[w.bones[2]].Data();
    const f32* d = job.palette[w.bones[3]].Data();
    const vect3 p = job.positions[v];
    f32 out[3];
    for (u32 i = 0; i < 3; ++i) {
        f32 row[4];
        for (u32 r = 0; r < 4; ++r) {
            const u32 e = 4 * r + i;
            row[r] = w.blend[0] * a[e] + w.blend[1] * b[e] + w.blend[2] * c[e] + rest * d[e];
        }
        out[i] = (p.x * row[0] + p.z * row[2]) + (p.y * row[1] + row[3]);
    }
    return {out[0], out[1], out[2]};
}

vect3 TurnedNormal(const SkinJob& job, u32 v) {
    const f32* m = job.normalPalette[job.weights[v].bones[0]].Data();
    const vect3 n = job.normals[v];
    f32 out[3];
    for (u32 i = 0; i < 3; ++i) out[i] = (n.x * m[i] + n.z * m[8 + i]) + n.y * m[4 + i];
    const vect3 turned{out[0], out[1], out[2]};
    return turned * (1.0f / std::sqrt(Dot(turned, turned)));
}

void PointsPlain(const SkinJob& job, u32 first, u32 last) {
    for (u32 v = first; v < last; ++v) job.outPositions[v] = BlendedPoint(job, v);
}

void NormalsPlain(const SkinJob& job, u32 first, u32 last) {
    for (u32 v = first; v < last; ++v) job.outNormals[v] = TurnedNormal(job, v);
}

// ---- matrices that are not affine: w varies from point to point, and nothing can be taken together

vect3 Projected(const vect3& p, const matrix& matrix) {
    const auto& m = matrix.m;
    const f32 w = p.x * m[0][3] + p.y * m[1][3] + p.z * m[2][3] + m[3][3];
    return {(p.x * m[0][0] + p.y * m[1][0] + p.z * m[2][0] + m[3][0]) / w,
            (p.x * m[0][1] + p.y * m[1][1] + p.z * m[2][1] + m[3][1]) / w,
            (p.x * m[0][2] + p.y * m[1][2] + p.z * m[2][2] + m[3][2]) / w};
}

void RunProjective(const SkinJob& job) {
    for (u32 v = 0; v < job.vertexCount; ++v) {
        const VertexWeights& w = job.weights[v];
        const vect3& p = job.positions[v];
        vect3 sum{0.0f, 0.0f, 0.0f};
        f32 rest = 1.0f;
        for (u32 k = 0; k < 3; ++k) {
            sum = sum + Projected(p, job.palette[w.bones[k]]) * w.blend[k];
            rest -= w.blend[k];
        }
        job.outPositions[v] = sum + Projected(p, job.palette[w.bones[3]]) * rest;
    }
    for (u32 v = 0; v < job.normalCount; ++v) {
        const vect3 n = Projected(job.normals[v], job.normalPalette[job.weights[v].bones[0]]);
        job.outNormals[v] = n * (1.0f / std::sqrt(Dot(n, n)));
    }
}

#ifdef OSM_SKIN_X86

// A host may call from a stack that is aligned to four bytes only.
#ifdef __i386__
#define OSM_SKIN_TARGET(features) __attribute__((target(features), force_align_arg_pointer))
#else
#define OSM_SKIN_TARGET(features) __attribute__((target(features)))
#endif
#define OSM_SKIN_INLINE(features) __attribute__((target(features), always_inline)) inline

// Vectors of three floats are written as four: what goes past one is the next one's first number, before its
// own turn comes. So the last one of an array goes another way. That way has the same arithmetic: vertices of
// one place on both sides of a seam must end in one place.

// ---- SSE2

OSM_SKIN_TARGET("sse2") void PointsSse2(const SkinJob& job, u32 first, u32 last) {
    const u32 safe = std::min(last, job.vertexCount - 1);
    const __m128 one = _mm_set1_ps(1.0f);
    for (u32 v = first; v < safe; ++v) {
        const VertexWeights& w = job.weights[v];
        const f32* a = job.palette[w.bones[0]].Data();
        const f32* b = job.palette[w.bones[1]].Data();
        const f32* c = job.palette[w.bones[2]].Data();
        const f32* d = job.palette[w.bones[3]].Data();
        const __m128 w0 = _mm_set1_ps(w.blend[0]);
        const __m128 w1 = _mm_set1_ps(w.blend[1]);
        const __m128 w2 = _mm_set1_ps(w.blend[2]);
        const __m128 w3 = _mm_sub_ps(_mm_sub_ps(_mm_sub_ps(one, w0), w1), w2);
        __m128 row[4];
        for (u32 r = 0; r < 4; ++r) {
            __m128 sum = _mm_mul_ps(w0, _mm_loadu_ps(a + 4 * r));
            sum = _mm_add_ps(sum, _mm_mul_ps(w1, _mm_loadu_ps(b + 4 * r)));
            sum = _mm_add_ps(sum, _mm_mul_ps(w2, _mm_loadu_ps(c + 4 * r)));
            row[r] = _mm_add_ps(sum, _mm_mul_ps(w3, _mm_loadu_ps(d + 4 * r)));
        }
        const vect3& p = job.positions[v];
        const __m128 xz =
            _mm_add_ps(_mm_mul_ps(_mm_set1_ps(p.x), row[0]), _mm_mul_ps(_mm_set1_ps(p.z), row[2]));
        const __m128 y1 = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(p.y), row[1]), row[3]);
        _mm_storeu_ps(&job.outPositions[v].x, _mm_add_ps(xz, y1));
    }
    PointsPlain(job, std::max(first, safe), last);
}

OSM_SKIN_INLINE("sse2") __m128 TurnedSse2(const SkinJob& job, u32 v) {
    const f32* m = job.normalPalette[job.weights[v].bones[0]].Data();
    const vect3& n = job.normals[v];
    const __m128 x = _mm_mul_ps(_mm_set1_ps(n.x), _mm_loadu_ps(m));
    const __m128 y = _mm_mul_ps(_mm_set1_ps(n.y), _mm_loadu_ps(m + 4));
    const __m128 z = _mm_mul_ps(_mm_set1_ps(n.z), _mm_loadu_ps(m + 8));
    return _mm_add_ps(_mm_add_ps(x, z), y);
}

OSM_SKIN_TARGET("sse2") void NormalsSse2(const SkinJob& job, u32 first, u32 last) {
    const __m128 one = _mm_set1_ps(1.0f);
    u32 v = first;
    for (; v + 4 <= last && v + 4 < job.normalCount; v += 4) {
        const __m128 n0 = TurnedSse2(job, v);
        const __m128 n1 = TurnedSse2(job, v + 1);
        const __m128 n2 = TurnedSse2(job, v + 2);
        const __m128 n3 = TurnedSse2(job, v + 3);
        const __m128 xy01 = _mm_unpacklo_ps(n0, n1);
        const __m128 xy23 = _mm_unpacklo_ps(n2, n3);
        const __m128 x = _mm_movelh_ps(xy01, xy23);
        const __m128 y = _mm_movehl_ps(xy23, xy01);
        const __m128 z = _mm_movelh_ps(_mm_unpackhi_ps(n0, n1), _mm_unpackhi_ps(n2, n3));
        const __m128 dot = _mm_add_ps(_mm_add_ps(_mm_mul_ps(x, x), _mm_mul_ps(y, y)), _mm_mul_ps(z, z));
        const __m128 s = _mm_div_ps(one, _mm_sqrt_ps(dot));
        f32* out = &job.outNormals[v].x;
        _mm_storeu_ps(out, _mm_mul_ps(n0, _mm_shuffle_ps(s, s, 0x00)));
        _mm_storeu_ps(out + 3, _mm_mul_ps(n1, _mm_shuffle_ps(s, s, 0x55)));
        _mm_storeu_ps(out + 6, _mm_mul_ps(n2, _mm_shuffle_ps(s, s, 0xaa)));
        _mm_storeu_ps(out + 9, _mm_mul_ps(n3, _mm_shuffle_ps(s, s, 0xff)));
    }
    NormalsPlain(job, v, last);
}

// ---- AVX2 with fused multiply-add: two rows of a matrix in one register

#define OSM_SKIN_AVX2 "avx2,fma"

OSM_SKIN_INLINE(OSM_SKIN_AVX2)
__m128 BlendedAvx2(const matrix* palette, const VertexWeights& w, const vect3& p) {
    const f32* a = palette[w.bones[0]].Data();
    const f32* b = palette[w.bones[1]].Data();
    const f32* c = palette[w.bones[2]].Data();
    const f32* d = palette[w.bones[3]].Data();
    const __m256 one = _mm256_set1_ps(1.0f);
    const __m256 w0 = _mm256_broadcast_ss(&w.blend[0]);
    const __m256 w1 = _mm256_broadcast_ss(&w.blend[1]);
    const __m256 w2 = _mm256_broadcast_ss(&w.blend[2]);
    const __m256 w3 = _mm256_sub_ps(_mm256_sub_ps(_mm256_sub_ps(one, w0), w1), w2);
    __m256 row01 = _mm256_mul_ps(w0, _mm256_loadu_ps(a));
    __m256 row23 = _mm256_mul_ps(w0, _mm256_loadu_ps(a + 8));
    row01 = _mm256_fmadd_ps(w1, _mm256_loadu_ps(b), row01);
    row23 = _mm256_fmadd_ps(w1, _mm256_loadu_ps(b + 8), row23);
    row01 = _mm256_fmadd_ps(w2, _mm256_loadu_ps(c), row01);
    row23 = _mm256_fmadd_ps(w2, _mm256_loadu_ps(c + 8), row23);
    row01 = _mm256_fmadd_ps(w3, _mm256_loadu_ps(d), row01);
    row23 = _mm256_fmadd_ps(w3, _mm256_loadu_ps(d + 8), row23);
    const __m256 xy = _mm256_blend_ps(_mm256_broadcast_ss(&p.x), _mm256_broadcast_ss(&p.y), 0xf0);
    const __m256 z1 = _mm256_blend_ps(_mm256_broadcast_ss(&p.z), one, 0xf0);
    const __m256 sum = _mm256_fmadd_ps(z1, row23, _mm256_mul_ps(xy, row01));
    return _mm_add_ps(_mm256_castps256_ps128(sum), _mm256_extractf128_ps(sum, 1));
}

OSM_SKIN_TARGET(OSM_SKIN_AVX2) void PointsAvx2(const SkinJob& job, u32 first, u32 last) {
    const matrix* const palette = job.palette;
    const VertexWeights* const weights = job.weights;
    const vect3* const positions = job.positions;
    vect3* const out = job.outPositions;
    const std::size_t safe = std::min(last, job.vertexCount - 1);
    for (std::size_t v = first; v < safe; ++v) {
        _mm_storeu_ps(&out[v].x, BlendedAvx2(palette, weights[v], positions[v]));
    }
    if (safe == last) return;
    const __m128 blended = BlendedAvx2(palette, weights[safe], positions[safe]);
    std::memcpy(&out[safe], &blended, sizeof(vect3));
}

OSM_SKIN_INLINE(OSM_SKIN_AVX2)
__m128 TurnedAvx2(const matrix* palette, const VertexWeights& w, const vect3& n) {
    const f32* m = palette[w.bones[0]].Data();
    __m128 turned = _mm_mul_ps(_mm_broadcast_ss(&n.x), _mm_loadu_ps(m));
    turned = _mm_fmadd_ps(_mm_broadcast_ss(&n.y), _mm_loadu_ps(m + 4), turned);
    return _mm_fmadd_ps(_mm_broadcast_ss(&n.z), _mm_loadu_ps(m + 8), turned);
}

// Brings four to length one; writes a fifth's first number.
OSM_SKIN_INLINE(OSM_SKIN_AVX2) void StoreNormalsAvx2(const __m128 (&n)[4], vect3* out) {
    const __m128 xy01 = _mm_unpacklo_ps(n[0], n[1]);
    const __m128 xy23 = _mm_unpacklo_ps(n[2], n[3]);
    const __m128 x = _mm_movelh_ps(xy01, xy23);
    const __m128 y = _mm_movehl_ps(xy23, xy01);
    const __m128 z = _mm_movelh_ps(_mm_unpackhi_ps(n[0], n[1]), _mm_unpackhi_ps(n[2], n[3]));
    const __m128 dot = _mm_fmadd_ps(z, z, _mm_fmadd_ps(y, y, _mm_mul_ps(x, x)));
    const __m128 s = _mm_div_ps(_mm_set1_ps(1.0f), _mm_sqrt_ps(dot));
    _mm_storeu_ps(&out[0].x, _mm_mul_ps(n[0], _mm_permute_ps(s, 0x00)));
    _mm_storeu_ps(&out[1].x, _mm_mul_ps(n[1], _mm_permute_ps(s, 0x55)));
    _mm_storeu_ps(&out[2].x, _mm_mul_ps(n[2], _mm_permute_ps(s, 0xaa)));
    _mm_storeu_ps(&out[3].x, _mm_mul_ps(n[3], _mm_permute_ps(s, 0xff)));
}

OSM_SKIN_TARGET(OSM_SKIN_AVX2) void NormalsAvx2(const SkinJob& job, u32 first, u32 last) {
    const matrix* const palette = job.normalPalette;
    for (u32 v = first; v < last; v += 4) {
        const u32 count = std::min(last - v, 4u);
        __m128 turned[4];
        for (u32 i = 0; i < 4; ++i) {
            const u32 k = v + std::min(i, count - 1);
            turned[i] = TurnedAvx2(palette, job.weights[k], job.normals[k]);
        }
        vect3 out[5];
        StoreNormalsAvx2(turned, out);
        std::copy_n(out, count, job.outNormals + v);
    }
}

// Points and normals of a vertex together, as far as fours go that have another vertex behind them.
OSM_SKIN_TARGET(OSM_SKIN_AVX2) void RunAvx2(const SkinJob& job) {
    const matrix* const palette = job.palette;
    const matrix* const normalPalette = job.normalPalette;
    const VertexWeights* const weights = job.weights;
    const vect3* const positions = job.positions;
    const vect3* const normals = job.normals;
    vect3* const outPositions = job.outPositions;
    vect3* const outNormals = job.outNormals;
    const u32 both = std::min(job.vertexCount, job.normalCount);
    const u32 fours = both == 0 ? 0 : (both - 1) / 4 * 4;
    for (std::size_t v = 0; v < fours; v += 4) {
        const auto* weight = weights + v;
        const auto* position = positions + v;
        const auto* normal = normals + v;
        auto* out = outPositions + v;
        _mm_storeu_ps(&out[0].x, BlendedAvx2(palette, weight[0], position[0]));
        const __m128 n0 = TurnedAvx2(normalPalette, weight[0], normal[0]);
        _mm_storeu_ps(&out[1].x, BlendedAvx2(palette, weight[1], position[1]));
        const __m128 n1 = TurnedAvx2(normalPalette, weight[1], normal[1]);
        _mm_storeu_ps(&out[2].x, BlendedAvx2(palette, weight[2], position[2]));
        const __m128 n2 = TurnedAvx2(normalPalette, weight[2], normal[2]);
        _mm_storeu_ps(&out[3].x, BlendedAvx2(palette, weight[3], position[3]));
        const __m128 n3 = TurnedAvx2(normalPalette, weight[3], normal[3]);
        StoreNormalsAvx2({n0, n1, n2, n3}, &outNormals[v]);
    }
    if (fours < job.vertexCount) PointsAvx2(job, fours, job.vertexCount);
    if (fours < job.normalCount) NormalsAvx2(job, fours, job.normalCount);
}

#endif

using Loop = void (*)(const SkinJob& job, u32 first, u32 last);

void RunInBlocks(const SkinJob& job, Loop points, Loop normals) {
    const u32 all = std::max(job.vertexCount, job.normalCount);
    for (u32 first = 0; first < all; first += kBlock) {
        const u32 next = first + std::min(kBlock, all - first);
        if (first < job.vertexCount) points(job, first, std::min(next, job.vertexCount));
        if (first < job.normalCount) normals(job, first, std::min(next, job.normalCount));
    }
}

}  // namespace

bool SkinJob::IsAvailable(Path path) {
#ifdef OSM_SKIN_X86
    if (path == Path::kAvx2) return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    if (path == Path::kSse2) return __builtin_cpu_supports("sse2") != 0;
#endif
    return path == Path::kPlain;
}

SkinJob::Path SkinJob::BestPath() {
    static const Path best = IsAvailable(Path::kAvx2)   ? Path::kAvx2
                             : IsAvailable(Path::kSse2) ? Path::kSse2
                                                        : Path::kPlain;
    return best;
}

void SkinJob::Run(Path path) const {
    if (!affine) {
        RunProjective(*this);
        return;
    }
#ifdef OSM_SKIN_X86
    if (path == Path::kAvx2) return RunAvx2(*this);
    if (path == Path::kSse2) return RunInBlocks(*this, PointsSse2, NormalsSse2);
#else
    static_cast<void>(path);
#endif
    RunInBlocks(*this, PointsPlain, NormalsPlain);
}

}  // namespace osm3d
