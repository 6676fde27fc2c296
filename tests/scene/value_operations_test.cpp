#include "scene/value_operations.h"

#include <limits>

#include "scene/near.h"

namespace {

using namespace osm3d;

constexpr f32 kPi = 3.14159265f;

TEST(ValueOperations, ColoursBecomeRoundedBytes) {
    EXPECT_EQ(ColorToARGB({1.0f, 0.5f, 0.0f, 2.0f}), 0xFFFF8000u);
    EXPECT_EQ(ColorToARGB({-1, 1.0f / 255, 0.5f / 255, 0.4f / 255}), 0x00000101u);
    EXPECT_EQ(ColorToARGB({0.999f, 0.9979f, 1e30f, 0}), 0x00FFFEFFu);
    EXPECT_EQ(ColorToARGB({std::numeric_limits<f32>::quiet_NaN(), 0, 0, 1}), 0xFF000000u);
}

TEST(ValueOperations, ComposeScalesThenTurnsThenMoves) {
    const quat quarter = QuatFromAxisAngle({0, 0, 1}, kPi / 2);
    const matrix m = MatrixCompose({10, 0, 0}, quarter, {2, 3, 1});
    ExpectNear(Through(m, {1, 0, 0}), {10, 2, 0});
    ExpectNear(Through(m, {0, 1, 0}), {7, 0, 0});
    const quat back = QuatFromMatrix(MatrixCompose({0, 0, 0}, quarter, {1, 1, 1}));
    EXPECT_NEAR(back.z, quarter.z, 1e-6);
    EXPECT_NEAR(back.w, quarter.w, 1e-6);
}

TEST(ValueOperations, EulerAnglesComeInTheOrderOfTheAxes) {
    const auto turned = [](const quat& q, const vect3& v) {
        return Through(MatrixCompose({0, 0, 0}, q, {1, 1, 1}), v);
    };
    ExpectNear(turned(QuatFromEuler(kPi / 2, 0, 0), {0, 1, 0}), {0, 0, 1});
    ExpectNear(turned(QuatFromEuler(0, kPi / 2, 0), {0, 0, 1}), {1, 0, 0});
    ExpectNear(turned(QuatFromEuler(0, 0, kPi / 2), {1, 0, 0}), {0, 1, 0});
}

TEST(ValueOperations, ViewAndProjectionAreRightHanded) {
    const matrix view = MatrixLookAt({0, -5, 0}, {0, 0, 0}, {0, 0, 1});
    ExpectNear(Through(view, {0, 0, 0}), {0, 0, -5});
    ExpectNear(Through(view, {1, 0, 2}), {1, 2, -5});
    const matrix p = MatrixPerspective(kPi / 2, 2, 1, 10);
    EXPECT_NEAR(p.m[1][1], 1, 1e-6);
    EXPECT_NEAR(p.m[0][0], 0.5f, 1e-6);
    EXPECT_EQ(p.m[2][3], -1);
    EXPECT_NEAR(p.m[2][2] * -1 + p.m[3][2], 0, 1e-6) << "0 at the near plane";
    EXPECT_NEAR(p.m[2][2] * -10 + p.m[3][2], 10, 1e-5) << "1 at the far plane";
}

TEST(ValueOperations, NearlyEqualEndsAtTheTolerance) {
    const matrix a = kMatrixIdentity;
    matrix b = a;
    b.m[2][1] = 0.25f;
    EXPECT_FALSE(MatrixNearlyEqual(a, b, 0.25f));
    EXPECT_TRUE(MatrixNearlyEqual(a, b, 0.2500001f));
    EXPECT_FALSE(MatrixNearlyEqual(a, a, 0));
}

TEST(ValueOperations, Planes) {
    const plane p = PlaneFromPointNormal({0, 0, 3}, {0, 0, 2});
    EXPECT_EQ(p, (plane{{0, 0, 2}, 6}));
    EXPECT_TRUE(PlaneSide(p, {0, 0, 3.01f}));
    EXPECT_FALSE(PlaneSide(p, {0, 0, 3}));
    EXPECT_FALSE(PlaneSide(p, {5, 5, 2}));
    const matrix mirror = PlaneReflection(PlaneFromPointNormal({0, 0, 3}, {0, 0, 1}));
    ExpectNear(Through(mirror, {1, 2, 5}), {1, 2, 1});
}

TEST(ValueOperations, SpheresMerge) {
    const sphere big{{0, 0, 0}, 10};
    const sphere small{{1, 0, 0}, 2};
    EXPECT_EQ(SphereMerge(big, small), big);
    EXPECT_EQ(SphereMerge(small, big), big);
    // Side by side: the radius is right, the centre goes by the whole of it.
    EXPECT_EQ(SphereMerge({{0, 0, 0}, 1}, {{4, 0, 0}, 1}), (sphere{{3, 0, 0}, 3}));
}

TEST(ValueOperations, BoxesHoldTheirPoints) {
    const vect3 points[] = {{1, 5, -1}, {-2, 0, 3}, {0, 7, 0}};
    EXPECT_EQ(BoxFromPoints(points, 3), (box{{-2, 0, -1}, {1, 7, 3}}));
    EXPECT_EQ(BoxFromPoints(nullptr, -1), kBoxEmpty);
}

TEST(ValueOperations, RaysMeetBoxes) {
    const box b{{-1, -1, -1}, {1, 1, 1}};
    vect3 hit{};
    EXPECT_TRUE(BoxRayIntersect(b, {0, 0.5f, 0}, {0, 0, 0}, hit));
    EXPECT_EQ(hit, (vect3{0, 0.5f, 0})) << "from inside, whatever the direction";
    EXPECT_TRUE(BoxRayIntersect(b, {-3, 0, 0.5f}, {2, 0, 0}, hit));
    EXPECT_EQ(hit, (vect3{-1, 0, 0.5f}));
    EXPECT_FALSE(BoxRayIntersect(b, {-3, 0, 0}, {-1, 0, 0}, hit)) << "behind";
    EXPECT_FALSE(BoxRayIntersect(b, {-3, 0, 0}, {1, 0.6f, 0}, hit)) << "past the edge";
    EXPECT_TRUE(BoxRayIntersect(b, {-3, 0, 0}, {1, 0.5f, 0}, hit)) << "at the edge";
    // From beyond a corner the entry is on the axis reached last.
    EXPECT_TRUE(BoxRayIntersect(b, {3, 2, 0}, {-1, -0.75f, 0}, hit));
    EXPECT_EQ(hit.x, 1);
    EXPECT_FLOAT_EQ(hit.y, 0.5f);
}

}  // namespace
