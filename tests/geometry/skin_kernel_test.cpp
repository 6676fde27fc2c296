// The skinning loop on each of its paths, against the formula in double precision.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "geometry/skin_kernel.h"

using namespace osm3d;

namespace {

using Path = SkinJob::Path;

constexpr vect3 kUntouched{-77, -77, -77};

struct Data {
    explicit Data(u32 count, bool affine = true, u32 seed = 1) : random(seed), matrices(new Matrices) {
        for (u32 i = 0; i < 256; ++i) {
            for (auto* m : {&matrices->points[i], &matrices->normals[i]}) {
                for (u32 e = 0; e < 16; ++e) m->Data()[e] = Number(2);
                for (u32 row = 0; row < 4; ++row) m->m[row][3] = row == 3 ? 1.0f : 0.0f;
            }
            for (u32 axis = 0; axis < 3; ++axis) matrices->normals[i].m[3][axis] = 0;
            if (affine) continue;
            for (u32 row = 0; row < 3; ++row) {
                matrices->points[i].m[row][3] = Number(0.03f);  // w stays well above 0
                matrices->normals[i].m[3][row] = Number(0.2f);
            }
            matrices->points[i].m[3][3] = 1.5f;
        }
        for (u32 v = 0; v < count; ++v) {
            VertexWeights w;
            for (u8& bone : w.bones) bone = static_cast<u8>(random());
            for (f32& share : w.blend) share = Number(1);  // neither within 0 and 1 nor of sum 1
            weights.push_back(w);
            positions.push_back({Number(10), Number(10), Number(10)});
            normals.push_back({Number(1), Number(1), Number(1)});
        }
        // Something behind the end that must stay.
        outPositions.assign(count + 2, kUntouched);
        outNormals.assign(count + 2, kUntouched);
        job.weights = weights.data();
        job.positions = positions.data();
        job.normals = normals.data();
        job.palette = matrices->points.data();
        job.normalPalette = matrices->normals.data();
        job.vertexCount = job.normalCount = count;
        job.affine = affine;
        job.outPositions = outPositions.data();
        job.outNormals = outNormals.data();
    }

    f32 Number(f32 range) { return std::uniform_real_distribution<f32>(-range, range)(random); }

    // Both results for vertex `v` as far as they are off the formula, in units of what was added up.
    f64 PointError(u32 v) const {
        const VertexWeights& w = weights[v];
        const f64 rest = 1.0 - f64{w.blend[0]} - f64{w.blend[1]} - f64{w.blend[2]};
        const f64 share[4] = {w.blend[0], w.blend[1], w.blend[2], rest};
        f64 sum[3] = {}, size = 0;
        for (u32 k = 0; k < 4; ++k) {
            const auto q = Transform(positions[v], matrices->points[w.bones[k]]);
            for (u32 i = 0; i < 3; ++i) {
                sum[i] += q[i] * share[k];
                size += std::abs(q[i] * share[k]);
            }
        }
        return Distance(sum, outPositions[v]) / (size + 40);
    }
    f64 NormalError(u32 v) const {
        auto n = Transform(normals[v], matrices->normals[weights[v].bones[0]]);
        const f64 length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        for (f64& axis : n) axis /= length;
        // Short sums of long terms have lost digits before they are brought to length one.
        return Distance(n.data(), outNormals[v]) * std::min(1.0, length);
    }

    struct Matrices {
        std::array<matrix, 256> points, normals;
    };
    std::mt19937 random;
    std::unique_ptr<Matrices> matrices;
    std::vector<VertexWeights> weights;
    std::vector<vect3> positions, normals, outPositions, outNormals;
    SkinJob job;

  private:
    static std::array<f64, 3> Transform(const vect3& p, const matrix& matrix) {
        const f64 in[4] = {p.x, p.y, p.z, 1};
        f64 out[4] = {};
        for (u32 column = 0; column < 4; ++column) {
            for (u32 row = 0; row < 4; ++row) out[column] += in[row] * f64{matrix.m[row][column]};
        }
        return {out[0] / out[3], out[1] / out[3], out[2] / out[3]};
    }
    static f64 Distance(const f64* a, const vect3& b) {
        return std::max({std::abs(a[0] - f64{b.x}), std::abs(a[1] - f64{b.y}), std::abs(a[2] - f64{b.z})});
    }
};

class SkinPaths : public testing::TestWithParam<Path> {
  protected:
    void SetUp() override {
        if (!SkinJob::IsAvailable(GetParam())) GTEST_SKIP() << "this processor has no such instructions";
    }
};

}  // namespace

TEST_P(SkinPaths, FollowTheFormulaForEveryCount) {
    // Around the sizes of registers and of blocks.
    std::vector<u32> counts{511, 512, 513, 520, 1031};
    for (u32 count = 0; count <= 26; ++count) counts.push_back(count);
    for (const bool affine : {true, false}) {
        for (const u32 count : counts) {
            Data data(count, affine, count + 1);
            data.job.Run(GetParam());
            for (u32 v = 0; v < count; ++v) {
                ASSERT_LT(data.PointError(v), 1e-6) << "point " << v << " of " << count;
                ASSERT_LT(data.NormalError(v), 2e-6) << "normal " << v << " of " << count;
            }
            for (u32 v : {count, count + 1}) {
                EXPECT_EQ(data.outPositions[v], kUntouched);
                EXPECT_EQ(data.outNormals[v], kUntouched);
            }
        }
    }
}

TEST_P(SkinPaths, TakeFewerNormalsThanPointsAndFewerPointsThanNormals) {
    for (const auto& [points, normals] : {std::pair{700u, 0u}, {0u, 700u}, {13u, 700u}, {700u, 5u}}) {
        Data data(700);
        data.job.vertexCount = points;
        data.job.normalCount = normals;
        if (normals == 0) data.job.normals = nullptr;
        data.job.Run(GetParam());
        for (u32 v = 0; v < points; ++v) ASSERT_LT(data.PointError(v), 1e-6);
        for (u32 v = 0; v < normals; ++v) ASSERT_LT(data.NormalError(v), 2e-6);
        EXPECT_EQ(data.outPositions[points], kUntouched);
        EXPECT_EQ(data.outNormals[normals], kUntouched);
    }
}

TEST_P(SkinPaths, BringEqualVerticesToOnePlaceWhereverTheyStand) {
    // The two sides of a seam: a crack would show between them.
    for (const u32 count : {1u, 3u, 9u, 21u}) {
        Data data(count);
        std::fill(data.weights.begin(), data.weights.end(),
                  VertexWeights{{1, 2, 3, 4}, {0.31f, 0.27f, 0.2f}});
        std::fill(data.positions.begin(), data.positions.end(), vect3{1.1f, 2.3f, 3.7f});
        std::fill(data.normals.begin(), data.normals.end(), vect3{0.6f, 0.3f, 0.7f});
        data.job.Run(GetParam());
        Data more(50);
        more.weights.assign(50, data.weights[0]);
        more.positions.assign(50, data.positions[0]);
        more.normals.assign(50, data.normals[0]);
        *more.matrices = *data.matrices;
        more.job.weights = more.weights.data();
        more.job.positions = more.positions.data();
        more.job.normals = more.normals.data();
        more.job.Run(GetParam());
        for (u32 v = 0; v < 50; ++v) {
            EXPECT_EQ(more.outPositions[v], data.outPositions[v % count]);
            EXPECT_EQ(more.outNormals[v], data.outNormals[v % count]);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, SkinPaths, testing::Values(Path::kPlain, Path::kSse2, Path::kAvx2));

TEST(SkinKernel, TheBestPathIsOneThatThereIs) {
    EXPECT_TRUE(SkinJob::IsAvailable(SkinJob::BestPath()));
    EXPECT_TRUE(SkinJob::IsAvailable(Path::kPlain));
}
