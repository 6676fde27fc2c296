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

// Vectors of three floats are read and written as four. What is read past one, or written there before its
// own turn comes, is the next one's first number, so the last one of an array goes the plain way.

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

// ---- AVX2 with fused multiply-add: two rows of a matrix, or two normals, in one register

#define OSM_SKIN_AVX2 "avx2,fma"

OSM_SKIN_INLINE(OSM_SKIN_AVX2) __m128 BlendedAvx2(const matrix* palette, const VertexWeights& w, __m256 p) {
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
    const __m256 xy = _mm256_permutevar_ps(p, _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1));
    const __m256 z1 = _mm256_blend_ps(_mm256_permute_ps(p, 0xaa), one, 0xf0);
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
        const __m256 p = _mm256_broadcast_ps(reinterpret_cast<const __m128*>(&positions[v]));
        _mm_storeu_ps(&out[v].x, BlendedAvx2(palette, weights[v], p));
    }
    if (safe == last) return;
    const vect3& p = positions[safe];
    const __m128 loaded = _mm_setr_ps(p.x, p.y, p.z, 0.0f);
    const __m128 blended = BlendedAvx2(palette, weights[safe], _mm256_set_m128(loaded, loaded));
    std::memcpy(&out[safe], &blended, sizeof(vect3));
}

OSM_SKIN_INLINE(OSM_SKIN_AVX2) __m256 PairAvx2(const f32* low, const f32* high) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
}

// The first normal and the fifth.
OSM_SKIN_INLINE(OSM_SKIN_AVX2)
__m256 TurnedAvx2(const matrix* palette, const VertexWeights* weights, const vect3* normals) {
    const f32* low = palette[weights[0].bones[0]].Data();
    const f32* high = palette[weights[4].bones[0]].Data();
    const __m256 n = PairAvx2(&normals[0].x, &normals[4].x);
    __m256 turned = _mm256_mul_ps(_mm256_permute_ps(n, 0x00), PairAvx2(low, high));
    turned = _mm256_fmadd_ps(_mm256_permute_ps(n, 0x55), PairAvx2(low + 4, high + 4), turned);
    return _mm256_fmadd_ps(_mm256_permute_ps(n, 0xaa), PairAvx2(low + 8, high + 8), turned);
}

// Eight normals; reads and writes a ninth's first number.
OSM_SKIN_INLINE(OSM_SKIN_AVX2)
void EightNormalsAvx2(const matrix* palette, const VertexWeights* weights, const vect3* normals,
                      vect3* outNormals) {
    const __m256 n0 = TurnedAvx2(palette, weights, normals);
    const __m256 n1 = TurnedAvx2(palette, weights + 1, normals + 1);
    const __m256 n2 = TurnedAvx2(palette, weights + 2, normals + 2);
    const __m256 n3 = TurnedAvx2(palette, weights + 3, normals + 3);
    const __m256 xy01 = _mm256_unpacklo_ps(n0, n1);
    const __m256 xy23 = _mm256_unpacklo_ps(n2, n3);
    const __m256 x = _mm256_shuffle_ps(xy01, xy23, 0x44);
    const __m256 y = _mm256_shuffle_ps(xy01, xy23, 0xee);
    const __m256 z = _mm256_shuffle_ps(_mm256_unpackhi_ps(n0, n1), _mm256_unpackhi_ps(n2, n3), 0x44);
    const __m256 dot = _mm256_fmadd_ps(z, z, _mm256_fmadd_ps(y, y, _mm256_mul_ps(x, x)));
    const __m256 s = _mm256_div_ps(_mm256_set1_ps(1.0f), _mm256_sqrt_ps(dot));
    const __m256 out0 = _mm256_mul_ps(n0, _mm256_permute_ps(s, 0x00));
    const __m256 out1 = _mm256_mul_ps(n1, _mm256_permute_ps(s, 0x55));
    const __m256 out2 = _mm256_mul_ps(n2, _mm256_permute_ps(s, 0xaa));
    const __m256 out3 = _mm256_mul_ps(n3, _mm256_permute_ps(s, 0xff));
    f32* out = &outNormals->x;
    _mm_storeu_ps(out, _mm256_castps256_ps128(out0));
    _mm_storeu_ps(out + 3, _mm256_castps256_ps128(out1));
    _mm_storeu_ps(out + 6, _mm256_castps256_ps128(out2));
    _mm_storeu_ps(out + 9, _mm256_castps256_ps128(out3));
    _mm_storeu_ps(out + 12, _mm256_extractf128_ps(out0, 1));
    _mm_storeu_ps(out + 15, _mm256_extractf128_ps(out1, 1));
    _mm_storeu_ps(out + 18, _mm256_extractf128_ps(out2, 1));
    _mm_storeu_ps(out + 21, _mm256_extractf128_ps(out3, 1));
}

OSM_SKIN_TARGET(OSM_SKIN_AVX2) void NormalsAvx2(const SkinJob& job, u32 first, u32 last) {
    const matrix* const palette = job.normalPalette;
    const VertexWeights* weights = job.weights + first;
    const vect3* normals = job.normals + first;
    vect3* out = job.outNormals + first;
    u32 v = first;
    for (; v + 8 <= last && v + 8 < job.normalCount; v += 8, weights += 8, normals += 8, out += 8) {
        EightNormalsAvx2(palette, weights, normals, out);
    }
    if (v == last) return;
    // What is left goes the same way out of arrays that have room for eight and a ninth.
    VertexWeights lastWeights[8] = {};
    vect3 lastNormals[9] = {};
    vect3 lastOut[9];
    const u32 left = last - v;
    std::copy_n(weights, left, lastWeights);
    std::copy_n(normals, left, lastNormals);
    EightNormalsAvx2(palette, lastWeights, lastNormals, lastOut);
    std::copy_n(lastOut, left, out);
}

#endif

struct Loops {
    void (*points)(const SkinJob& job, u32 first, u32 last);
    void (*normals)(const SkinJob& job, u32 first, u32 last);
};

Loops LoopsOf(SkinJob::Path path) {
#ifdef OSM_SKIN_X86
    if (path == SkinJob::Path::kAvx2) return {PointsAvx2, NormalsAvx2};
    if (path == SkinJob::Path::kSse2) return {PointsSse2, NormalsSse2};
#else
    static_cast<void>(path);
#endif
    return {PointsPlain, NormalsPlain};
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
    const Loops loops = LoopsOf(path);
    const u32 all = std::max(vertexCount, normalCount);
    for (u32 first = 0; first < all; first += kBlock) {
        const u32 next = first + std::min(kBlock, all - first);
        if (first < vertexCount) loops.points(*this, first, std::min(next, vertexCount));
        if (first < normalCount) loops.normals(*this, first, std::min(next, normalCount));
    }
}

}  // namespace osm3d
