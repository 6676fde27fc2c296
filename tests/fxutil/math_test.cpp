// The math operations against a table that Wine's D3DX made, and what such a table cannot show.
#include "fxutil/math.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>

#include "math_cases.h"
#include "table.h"

namespace {

/// Components are compared in relation to the largest of their result: 1e-6 of it, about eight units in the
/// last place. What cancels out in one order of summing and not in another is noise of that size.
constexpr f32 kTolerance = 1e-6f;

/// Where the published meaning and the table part, with what ours gives instead.
const std::map<std::string, std::vector<f32>> kDepartures = {
    // The table divides by the length of zero. A zero quaternion stays zero, as a zero vector does.
    {"QuaternionNormalize 8", {0, 0, 0, 0}},
};

std::map<std::string, std::vector<f32>> ReadTable() {
    std::map<std::string, std::vector<f32>> table;
    for (const std::string& line : golden::Lines("math.txt")) {
        const std::size_t bar = line.find(" |"), second = line.find(" |", bar + 2);
        std::vector<f32>& result = table[line.substr(0, bar)];
        for (const std::string& word : golden::Words(line.substr(bar + 2, second - bar - 2))) {
            result.push_back(std::bit_cast<f32>(static_cast<u32>(std::stoul(word, nullptr, 16))));
        }
    }
    return table;
}

/// `floor` is the size of what went into sums whose terms may cancel out.
bool Agrees(const std::vector<f32>& a, const std::vector<f32>& b, f32 floor) {
    if (a.size() != b.size()) return false;
    f32 largest = floor;
    for (f32 v : b) {
        if (std::isfinite(v)) largest = std::max(largest, std::abs(v));
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::isnan(a[i]) && std::isnan(b[i])) continue;
        if (a[i] == b[i]) continue;
        if (!(std::abs(a[i] - b[i]) <= kTolerance * largest)) return false;
    }
    return true;
}

}  // namespace

TEST(FxMath, AgreesWithTheTable) {
    const auto table = ReadTable();
    std::size_t compared = 0;
    math_cases::RunAll([&](const std::string& name, const std::vector<f32>& ours) {
        const auto departure = kDepartures.find(name);
        const auto entry = departure != kDepartures.end() ? departure : table.find(name);
        ASSERT_NE(entry, table.end()) << name << " is not in the table: run golden.sh";
        // The points of these planes lie up to 270 from the origin, which the planes themselves may come
        // near.
        const f32 floor = name.starts_with("PlaneFromPoints 4") ? 270.0f : 0.0f;
        EXPECT_TRUE(Agrees(ours, entry->second, floor))
            << name << "\n ours  " << testing::PrintToString(ours) << "\n table "
            << testing::PrintToString(entry->second);
        ++compared;
    });
    EXPECT_EQ(compared, table.size());
}

// The table's results all go to places of their own.
TEST(FxMath, ResultMayBeAnArgument) {
    const D3DXMATRIX a = math_cases::Matrices()[1], b = math_cases::Matrices()[3];
    D3DXMATRIX expected, m;
    const auto same = [&](const char* what) { EXPECT_TRUE(m == expected) << what; };
    D3DXMatrixMultiply(&expected, &a, &b);
    D3DXMatrixMultiply(&(m = a), &m, &b), same("multiply, first");
    D3DXMatrixMultiply(&(m = b), &a, &m), same("multiply, second");
    D3DXMatrixMultiplyTranspose(&expected, &a, &b);
    D3DXMatrixMultiplyTranspose(&(m = b), &a, &m), same("multiply transpose");
    D3DXMatrixTranspose(&expected, &a);
    D3DXMatrixTranspose(&(m = a), &m), same("transpose");
    D3DXMatrixInverse(&expected, nullptr, &b);
    D3DXMatrixInverse(&(m = b), nullptr, &m), same("inverse");

    const D3DXQUATERNION p = math_cases::Quaternions()[3], q = math_cases::Quaternions()[5];
    D3DXQUATERNION wanted, r;
    D3DXQuaternionMultiply(&wanted, &p, &q);
    EXPECT_EQ(*D3DXQuaternionMultiply(&(r = p), &r, &q), wanted);
    EXPECT_EQ(*D3DXQuaternionMultiply(&(r = q), &p, &r), wanted);
    D3DXQuaternionSlerp(&wanted, &p, &q, 0.3f);
    EXPECT_EQ(*D3DXQuaternionSlerp(&(r = q), &p, &r, 0.3f), wanted);

    const D3DXVECTOR3 v = {1, 2, 3}, w = {-4, 5, 0.5f};
    D3DXVECTOR3 moved, u;
    D3DXVec3TransformCoord(&moved, &v, &b);
    EXPECT_EQ(*D3DXVec3TransformCoord(&(u = v), &u, &b), moved);
    D3DXVec3TransformNormal(&moved, &v, &b);
    EXPECT_EQ(*D3DXVec3TransformNormal(&(u = v), &u, &b), moved);
    D3DXVec3Cross(&moved, &v, &w);
    EXPECT_EQ(*D3DXVec3Cross(&(u = w), &v, &u), moved);
}

TEST(FxMath, SingularInverseLeavesItsResultsAlone) {
    D3DXMATRIX out = math_cases::Matrices()[1];
    f32 determinant = 42;
    for (std::size_t i : {5u, 6u, 7u}) {
        const D3DXMATRIX m = math_cases::Matrices()[i];
        EXPECT_EQ(D3DXMatrixInverse(&out, &determinant, &m), nullptr) << i;
    }
    EXPECT_TRUE(out == math_cases::Matrices()[1]);
    EXPECT_EQ(determinant, 42);
}

TEST(FxMath, ArraysStepByTheirStrides) {
    struct Vertex {
        D3DXVECTOR3 position;
        f32 other;
    };
    Vertex vertices[3] = {{{1, 2, 3}, 7}, {{-1, 0, 5}, 8}, {{0.5f, 0.25f, -2}, 9}};
    const D3DXMATRIX m = math_cases::Matrices()[3];
    D3DXVECTOR3 out[3], expected;
    D3DXVec3TransformNormalArray(out, sizeof out[0], &vertices[0].position, sizeof(Vertex), &m, 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(out[i], *D3DXVec3TransformNormal(&expected, &vertices[i].position, &m));
        D3DXVec3TransformCoord(&out[i], &vertices[i].position, &m);
    }
    D3DXVec3TransformCoordArray(&vertices[0].position, sizeof(Vertex), &vertices[0].position, sizeof(Vertex),
                                &m, 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(vertices[i].position, out[i]);
        EXPECT_EQ(vertices[i].other, static_cast<f32>(7 + i));
    }
}
