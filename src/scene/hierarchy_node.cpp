#include "scene/hierarchy_node.h"

#include <unordered_set>
#include <utility>

#include "controller/validation.h"
#include "fxutil/math.h"
#include "io/slot.h"
#include "io/stream.h"

namespace osm3d {
namespace {

constexpr vect3 kOrigin{0, 0, 0};
constexpr vect3 kOne{1, 1, 1};
constexpr vect3 kUp{0, 0, 1};

}  // namespace

void HierarchyNode::Update(f32 time) {
    if (!transform) return;
    transform->Update(time);
    if (!target) {
        localMatrix = transform->GetMatrix();
        return;
    }
    target->Update(time);
    if (roll) roll->Update(time);

    // Copied: a matrix placement answers in storage that the target's may share.
    const vect3 eye = transform->GetPosition();
    const vect3 at = target->GetPosition();
    quat facing = QuatFromMatrix(MatrixLookAt(eye, at, kUp));
    // The look-at matrix is a view; the placement is its inverse.
    facing = {-facing.x, -facing.y, -facing.z, facing.w};
    const quat turn = roll ? QuatFromAxisAngle({0, 0, 1}, roll->value) : kQuatIdentity;
    quat final;
    D3DXQuaternionMultiply(&final, &turn, &facing);
    localMatrix = MatrixCompose(eye, final, transform->GetScale());
}

void HierarchyNode::UpdateWorld(const matrix& parentWorld) {
    D3DXMatrixMultiply(&worldMatrix, &localMatrix, &parentWorld);
    for (HierarchyNode* child : children) child->UpdateWorld(worldMatrix);
}

bool HierarchyNode::Read(osmio::InStream* in) {
    i32 hasTarget = 0;
    in->ReadI32(&hasTarget);
    if (hasTarget & 1) {
        target = osmio::ReadSlot<HierarchyNode>(in);
        roll = osmio::ReadSlot<ControllerBase<f32>>(in);
    }
    transform = osmio::ReadSlot<ControllerTransformation>(in);
    return true;
}

void HierarchyNode::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("HINO"), 1);
    out->WriteI32(target ? 1 : 0);
    if (target) {
        out->WriteObject(target);
        out->WriteObject(roll);
    }
    out->WriteObject(transform);
}

const vect3& HierarchyNode::GetPosition() { return transform ? transform->GetPosition() : kOrigin; }

const quat& HierarchyNode::GetRotation() {
    if (target || !transform || !transform->rotation) return kQuatIdentity;
    return transform->rotation->value;
}

const vect3& HierarchyNode::GetScale() { return transform ? transform->GetScale() : kOne; }

void HierarchyNode::AddChild(HierarchyNode* node) {
    node->parent = this;
    children.push_back(node);
}

bool HierarchyNode::ValidateOwn(std::string& reason) const {
    if (!transform) return true;
    if (!transform->Validate(reason)) return false;
    return !target || controller::Validate(roll, reason);
}

bool HierarchyNode::ValidateTargets(std::string& reason) const {
    if (!transform) return true;
    u32 depth = 0;
    for (const HierarchyNode* node = target; node; node = node->target) {
        if (!node->transform) {
            reason = "a node aims at a node without a placement";
            return false;
        }
        if (++depth > kMaxTargetDepth) {
            reason = "nodes aim at each other in a circle or over more than " +
                     std::to_string(kMaxTargetDepth) + " nodes";
            return false;
        }
    }
    return true;
}

bool HierarchyNode::Validate(std::string& reason) const {
    if (!ValidateTargets(reason) || !ValidateOwn(reason)) return false;
    for (const HierarchyNode* node = transform ? target : nullptr; node; node = node->target) {
        if (!node->ValidateOwn(reason)) return false;
    }
    return true;
}

bool ValidateTree(const HierarchyNode* root, std::string& reason) {
    std::unordered_set<const HierarchyNode*> inTree;
    std::unordered_set<const HierarchyNode*> valid;
    std::vector<std::pair<const HierarchyNode*, u32>> open{{root, 0}};
    while (!open.empty()) {
        const auto [node, depth] = open.back();
        open.pop_back();
        if (!node) {
            reason = depth == 0 ? "there is no root node" : "a node of the tree is missing";
            return false;
        }
        if (depth > HierarchyNode::kMaxTreeDepth) {
            reason = "the tree is more than " + std::to_string(HierarchyNode::kMaxTreeDepth) + " deep";
            return false;
        }
        if (!inTree.insert(node).second) {
            reason = "a node stands in the tree twice";
            return false;
        }
        if (!node->ValidateTargets(reason)) return false;
        for (const HierarchyNode* aimed = node; aimed && valid.insert(aimed).second; aimed = aimed->target) {
            if (!aimed->ValidateOwn(reason)) return false;
        }
        for (const HierarchyNode* child : node->children) open.emplace_back(child, depth + 1);
    }
    return true;
}

}  // namespace osm3d
