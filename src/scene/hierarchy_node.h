// The tree of placements.
#pragma once

#include <string>
#include <vector>

#include "scene/animatable.h"
#include "scene/controller_transformation.h"
#include "scene/transformation.h"
#include "scene/value_operations.h"

namespace osm3d {

/// A node of the tree. It holds nothing visible: things point at it through Transformable. Each frame Update
/// makes the local matrices of all nodes, then UpdateWorld of the root the world matrices. Stored as chunk
/// HINO, without its children.
///
/// A node with a target turns its view axis, -z, to it and its up axis to world z, going by the local
/// positions of both.
class HierarchyNode : public Animatable, public Transformation {
  public:
    /// Nodes that aim at nodes that aim at nodes, at most.
    static constexpr u32 kMaxTargetDepth = 64;
    /// Levels of the tree below the root, at most; UpdateWorld goes down as deep.
    static constexpr u32 kMaxTreeDepth = 512;

    /// Updates `transform`, and ahead of the tree's order `target`, then `localMatrix`. Does nothing without
    /// a `transform`. Targets must not aim in a circle.
    void Update(f32 time) override;

    /// `worldMatrix` of this node and all below it. Needs a tree: no node twice.
    void UpdateWorld(const matrix& parentWorld);

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Local values. They need a `transform`; without one they are those of no placement at all.
    const vect3& GetPosition() override;
    /// No rotation when there is a target, however the node is turned.
    const quat& GetRotation() override;
    const vect3& GetScale() override;
    const matrix& GetWorldMatrix() override { return worldMatrix; }

    /// Whether Update may be called: valid controllers, and targets that have placements and end after at
    /// most kMaxTargetDepth. Otherwise `reason` says why not. Says nothing about the tree; see ValidateTree.
    bool Validate(std::string& reason) const;

    /// Appends `node`, not owned, and makes this its parent.
    void AddChild(HierarchyNode* node);

    /// None of these is owned.
    HierarchyNode* parent = nullptr;
    HierarchyNode* target = nullptr;
    std::vector<HierarchyNode*> children;
    /// Radians about the view axis, used with a target; may be null.
    ControllerBase<f32>* roll = nullptr;
    ControllerTransformation* transform = nullptr;
    matrix localMatrix = kMatrixIdentity;
    matrix worldMatrix = kMatrixIdentity;

  private:
    friend bool ValidateTree(const HierarchyNode* root, std::string& reason);
    bool ValidateOwn(std::string& reason) const;
    bool ValidateTargets(std::string& reason) const;
};

/// Whether the nodes below `root` make a tree (no node null, none twice, none deeper than kMaxTreeDepth) and
/// each is valid. Otherwise `reason` says why not. Goes through any graph of nodes without recursion, in time
/// proportional to its size.
bool ValidateTree(const HierarchyNode* root, std::string& reason);

}  // namespace osm3d
