#include "scene/hierarchy_node.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "io/registry.h"
#include "io/test_bytes.h"

namespace {

using namespace osm3d;
using controller::Const;
using controller::Linear;
using controller::LinearKey;
using osmio::FourCC;
using testing_bytes::Bytes;
using testing_bytes::Source;
using testing_bytes::Stored;

const osmio::ChunkRegistrer<HierarchyNode> kNode(FourCC("HINO"));
const osmio::ChunkRegistrer<ControllerTransformation> kPlacement(FourCC("CPRS"));
const osmio::ChunkRegistrer<Const<f32>> kConstFloat(FourCC("CCFL"));

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

/// Where a direction of the node's own points to.
vect3 Turned(const matrix& m, const vect3& d) {
    return {d.x * m.m[0][0] + d.y * m.m[1][0] + d.z * m.m[2][0],
            d.x * m.m[0][1] + d.y * m.m[1][1] + d.z * m.m[2][1],
            d.x * m.m[0][2] + d.y * m.m[1][2] + d.z * m.m[2][2]};
}

void ExpectNear(const vect3& a, const vect3& b) {
    EXPECT_NEAR(a.x, b.x, 1e-5);
    EXPECT_NEAR(a.y, b.y, 1e-5);
    EXPECT_NEAR(a.z, b.z, 1e-5);
}

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
    EXPECT_EQ(parent.node.GetRotation(), (quat{0, 0, kHalf, kHalf}));
    EXPECT_EQ(parent.node.GetScale(), (vect3{2, 2, 2}));
    EXPECT_EQ(child.node.parent, &parent.node);
}

TEST(HierarchyNode, TurnsItsViewAxisToItsTarget) {
    Placed target({1, 0, 0});
    Placed node({0, 0, 0}, {0, kHalf, 0, kHalf}, {1, 1, 3});
    node.node.target = &target.node;
    node.node.Update(0);
    const matrix& m = node.node.localMatrix;
    ExpectNear(Turned(m, {0, 0, -1}), {3, 0, 0});
    ExpectNear(Turned(m, {0, 1, 0}), {0, 0, 1});
    ExpectNear(Turned(m, {1, 0, 0}), {0, -1, 0});
    EXPECT_EQ(node.node.GetRotation(), kQuatIdentity);

    Const<f32> roll(kPi);
    node.node.roll = &roll;
    node.node.Update(0);
    ExpectNear(Turned(m, {0, 0, -1}), {3, 0, 0});
    ExpectNear(Turned(m, {0, 1, 0}), {0, 0, -1});
    roll.value = kPi / 2;
    node.node.Update(0);
    // A quarter to the left about the axis that points backwards.
    ExpectNear(Turned(m, {1, 0, 0}), {0, 0, 1});
    ExpectNear(Turned(m, {0, 1, 0}), {0, 1, 0});
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
    ExpectNear(Turned(node.node.localMatrix, {0, 0, -1}), {0, 1, 0});
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
    ExpectNear(Turned(node.localMatrix, {0, 0, -1}), {1, 0, 0});
    ExpectNear(MatrixGetTranslation(node.localMatrix), {0, 2, 0});
    node.target = nullptr;
    EXPECT_EQ(node.GetRotation(), kQuatIdentity) << "a matrix has no rotation to give";
}

TEST(HierarchyNode, RoundTrips) {
    // With a target that nothing else holds, and a roll.
    const std::vector<u8> aimed = Bytes()
                                      .Chunk("HINO", 1, 0, 64)
                                      .U32(1)
                                      .Chunk("HINO", 1, 1, 8)
                                      .U32(0)
                                      .U32(0)
                                      .Chunk("CCFL", 1, 2, 4)
                                      .F32(0.5f)
                                      .Chunk("CPRS", 1, 3, 12)
                                      .U32(0)
                                      .U32(0)
                                      .U32(0);
    Source in(aimed);
    auto* node = dynamic_cast<HierarchyNode*>(in->ReadObject());
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(Stored(node), aimed);
    ASSERT_NE(node->target, nullptr);
    ASSERT_NE(node->roll, nullptr);
    EXPECT_NE(node->transform, nullptr);
    EXPECT_TRUE(node->Controllers().empty());

    Source even(Bytes().Chunk("HINO", 1, 0, 8).U32(2).U32(0));
    node = dynamic_cast<HierarchyNode*>(even->ReadObject());
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->target, nullptr);
    EXPECT_EQ(even->Remaining(), 0u) << "only bit 0 counts";
}

TEST(ValidateTree, RefusesWhatIsNoTree) {
    std::string reason;
    EXPECT_FALSE(ValidateTree(nullptr, reason));
    EXPECT_EQ(reason, "there is no root node");

    HierarchyNode a;
    HierarchyNode b;
    HierarchyNode c;
    a.children = {&b, &c};
    EXPECT_TRUE(ValidateTree(&a, reason)) << reason;
    c.children = {&b};
    EXPECT_FALSE(ValidateTree(&a, reason));
    EXPECT_EQ(reason, "a node stands in the tree twice");
    c.children = {&a};
    EXPECT_FALSE(ValidateTree(&a, reason));
    c.children = {nullptr};
    EXPECT_FALSE(ValidateTree(&a, reason));

    const auto chain = [&](u32 levels) {
        std::deque<HierarchyNode> nodes(levels + 1);
        for (u32 i = 0; i < levels; ++i) nodes[i].AddChild(&nodes[i + 1]);
        return ValidateTree(&nodes[0], reason);
    };
    EXPECT_TRUE(chain(HierarchyNode::kMaxTreeDepth)) << reason;
    EXPECT_FALSE(chain(HierarchyNode::kMaxTreeDepth + 1));
}

TEST(ValidateTree, RefusesNodesThatCannotBeUpdated) {
    std::string reason;
    Placed a({0, 0, 0});
    Placed b({1, 0, 0});
    a.node.target = &b.node;
    EXPECT_TRUE(ValidateTree(&a.node, reason)) << reason;
    b.node.target = &a.node;
    EXPECT_FALSE(ValidateTree(&a.node, reason));
    EXPECT_NE(reason.find("circle"), std::string::npos);
    b.node.target = nullptr;

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
