#include "scene/hierarchy_node.h"

#include <cmath>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "scene/near.h"
#include "support/round_trip.h"

namespace {

using namespace osm3d;
using controller::Const;
using controller::Linear;
using controller::LinearKey;

const f32 kHalf = std::sqrt(0.5f);
constexpr f32 kPi = 3.14159265f;

/// A node at a place, with its placement.
struct Placed {
    explicit Placed(const vect3& position, const quat& rotation = kQuatIdentity,
                    const vect3& scale = {1, 1, 1}) {
        placement.SetPosition(new Const<vect3>(position));
        placement.SetRotation(new Const<quat>(rotation));
        placement.SetScale(new Const<vect3>(scale));
        node.transform = &placement;
    }
    ControllerTransformation placement;
    HierarchyNode node;
};

TEST(HierarchyNode, WorldIsLocalThenParent) {
    Placed parent({0, 0, 0}, {0, 0, kHalf, kHalf}, {2, 2, 2});
    Placed child({1, 0, 0});
    HierarchyNode bare;
    Placed grandchild({0, 0, 1});
    parent.node.AddChild(&child.node);
    child.node.AddChild(&bare);
    bare.AddChild(&grandchild.node);
    for (HierarchyNode* node : {&parent.node, &child.node, &bare, &grandchild.node}) node->Update(0);
    parent.node.UpdateWorld(MatrixTranslation({10, 0, 0}));
    ExpectNear(MatrixGetTranslation(child.node.GetWorldMatrix()), {10, 2, 0});
    EXPECT_EQ(bare.GetWorldMatrix(), child.node.GetWorldMatrix()) << "no placement of its own";
    ExpectNear(MatrixGetTranslation(grandchild.node.GetWorldMatrix()), {10, 2, 2});
    EXPECT_EQ(child.node.GetPosition(), (vect3{1, 0, 0})) << "local";
}

TEST(HierarchyNode, TurnsItsViewAxisToItsTarget) {
    Placed target({1, 0, 0});
    Placed node({0, 0, 0}, {0, kHalf, 0, kHalf}, {1, 1, 3});
    node.node.target = &target.node;
    Const<f32> roll(0);
    node.node.roll = &roll;
    struct Row {
        f32 roll;
        vect3 ahead, up;
    };
    // A quarter turn of roll goes to the left, about the axis that points backwards.
    for (const Row& row :
         {Row{0, {3, 0, 0}, {0, 0, 1}}, {kPi, {3, 0, 0}, {0, 0, -1}}, {kPi / 2, {3, 0, 0}, {0, 1, 0}}}) {
        roll.value = row.roll;
        node.node.Update(0);
        ExpectNear(Through(node.node.localMatrix, {0, 0, -1}, 0), row.ahead);
        ExpectNear(Through(node.node.localMatrix, {0, 1, 0}, 0), row.up);
    }
    EXPECT_EQ(node.node.GetRotation(), kQuatIdentity);
}

TEST(HierarchyNode, BringsItsTargetUpToDateFirst) {
    auto* path = new Linear<vect3>();
    path->AddKey(LinearKey<vect3>(0, {1, 0, 0}));
    path->AddKey(LinearKey<vect3>(10, {0, 5, 0}));
    Placed target({0, 0, 0});
    target.placement.SetPosition(path);
    Placed node({0, 0, 0});
    node.node.target = &target.node;
    node.node.Update(10);
    ExpectNear(Through(node.node.localMatrix, {0, 0, -1}, 0), {0, 1, 0});
}

TEST(HierarchyNode, ByMatricesTheTargetsPlaceIsItsOwn) {
    // Both answer for their place in the same storage.
    const auto at = [](ControllerTransformationMatrix& placement, const vect3& position) {
        auto* track = new Linear<matrix>();
        track->AddKey(LinearKey<matrix>(0, MatrixTranslation(position)));
        placement.SetMatrix(track);
    };
    ControllerTransformationMatrix from;
    ControllerTransformationMatrix to;
    at(from, {0, 2, 0});
    at(to, {3, 2, 0});
    HierarchyNode target;
    target.transform = &to;
    HierarchyNode node;
    node.transform = &from;
    node.target = &target;
    node.Update(0);
    ExpectNear(Through(node.localMatrix, {0, 0, -1}, 0), {1, 0, 0});
    ExpectNear(MatrixGetTranslation(node.localMatrix), {0, 2, 0});
    node.target = nullptr;
    EXPECT_EQ(node.GetRotation(), kQuatIdentity) << "a matrix has no rotation to give";
}

TEST(HierarchyNode, OnlyTheFirstBitOfItsFlagsCounts) {
    om2::File f;
    f.Chunk("HINO", 1, [&] {
        f.U32(2);
        f.Null();
    });
    const test_support::Loaded loaded = test_support::Load(f.bytes);
    EXPECT_EQ(test_support::Save(loaded.root).size(), f.bytes.size());
    EXPECT_EQ(loaded.As<HierarchyNode>()->target, nullptr);
}

TEST(ValidateTree, LooksAtRollsAndAtTargetsOutsideTheTree) {
    std::string reason;
    Placed a({0, 0, 0});
    Placed b({1, 0, 0});
    a.node.target = &b.node;
    EXPECT_TRUE(ValidateTree(&a.node, reason)) << reason;
    Linear<f32> roll;
    a.node.roll = &roll;
    EXPECT_FALSE(ValidateTree(&a.node, reason)) << "no keys";
    roll.SetKeyCount(1);
    EXPECT_TRUE(ValidateTree(&a.node, reason)) << reason;
    b.placement.SetScale(nullptr);
    EXPECT_FALSE(ValidateTree(&a.node, reason)) << "outside the tree, but updated with it";
    b.node.transform = nullptr;
    EXPECT_FALSE(ValidateTree(&a.node, reason));
    EXPECT_NE(reason.find("without a placement"), std::string::npos);
}

}  // namespace
