#include "render/transform_cache.h"

#include <gtest/gtest.h>

#include "fxutil/math.h"
#include "scene/value_operations.h"

namespace osm3d {
namespace {

matrix Product(const matrix& a, const matrix& b) {
    matrix out;
    for (u32 i = 0; i < 4; ++i) {
        for (u32 j = 0; j < 4; ++j) {
            f64 sum = 0;
            for (u32 k = 0; k < 4; ++k) sum += static_cast<f64>(a.m[i][k]) * static_cast<f64>(b.m[k][j]);
            out.m[i][j] = static_cast<f32>(sum);
        }
    }
    return out;
}

class TransformCacheTest : public testing::Test {
  protected:
    TransformCacheTest() {
        cache.SetWorld(world);
        cache.SetView(view);
        cache.SetProjection(projection);
    }
    void ExpectAll() {
        const matrix wv = Product(world, view), vp = Product(view, projection), wvp = Product(wv, projection);
        const std::pair<const matrix*, const matrix*> products[] = {{&cache.GetWorldViewProjection(), &wvp},
                                                                    {&cache.GetWorldView(), &wv},
                                                                    {&cache.GetViewProjection(), &vp}};
        for (const auto& [is, expected] : products) EXPECT_TRUE(MatrixNearlyEqual(*is, *expected, 1e-4f));
        const std::pair<const matrix*, const matrix*> inverses[] = {
            {&cache.GetWorldInverse(), &world},           {&cache.GetViewInverse(), &view},
            {&cache.GetProjectionInverse(), &projection}, {&cache.GetWorldViewInverse(), &wv},
            {&cache.GetViewProjectionInverse(), &vp},     {&cache.GetWorldViewProjectionInverse(), &wvp}};
        for (const auto& [is, of] : inverses)
            EXPECT_TRUE(MatrixNearlyEqual(Product(*is, *of), kMatrixIdentity, 1e-4f));
        EXPECT_EQ(cache.GetFlags(), 0xfffu);
    }

    matrix world = MatrixCompose({1, 2, 3}, QuatFromEuler(0.3f, 0.2f, 0.1f), {1, 2, 1});
    matrix view = MatrixLookAt({0, -5, 2}, {0, 0, 0}, {0, 0, 1});
    matrix projection = MatrixPerspective(1.0f, 1.5f, 1.0f, 50.0f);
    TransformCache cache;
};

TEST_F(TransformCacheTest, MakesEveryProductAfterEveryChange) {
    EXPECT_EQ(cache.GetFlags(), 7u);
    ExpectAll();
    world = MatrixTranslation({4, 0, -1});
    cache.SetWorld(world);
    EXPECT_EQ(cache.GetFlags(), 0xfffu & ~0xb48u);
    ExpectAll();
    view = MatrixLookAt({3, 3, 3}, {0, 0, 1}, {0, 0, 1});
    cache.SetView(view);
    EXPECT_EQ(cache.GetFlags(), 0xfffu & ~0xfd0u);
    ExpectAll();
    projection = MatrixPerspective(0.5f, 1.0f, 2.0f, 20.0f);
    cache.SetProjection(projection);
    EXPECT_EQ(cache.GetFlags(), 0xfffu & ~0xda0u);
    ExpectAll();
}

TEST_F(TransformCacheTest, BuildsTheWholeChainOutOfTheValidHalf) {
    cache.GetWorldViewProjection();
    EXPECT_EQ(cache.GetFlags(), 7u | TransformCache::kWorldView | TransformCache::kWorldViewProjection);
    cache.SetWorld(world);
    cache.GetViewProjection();
    cache.GetWorldViewProjection();
    EXPECT_EQ(cache.GetFlags(), 7u | TransformCache::kViewProjection | TransformCache::kWorldViewProjection);
}

TEST_F(TransformCacheTest, GivesTheIdentityWhereThereIsNoInverse) {
    cache.GetWorldInverse();
    cache.SetWorld(matrix{});
    EXPECT_EQ(cache.GetWorldInverse(), kMatrixIdentity);
}

}  // namespace
}  // namespace osm3d
