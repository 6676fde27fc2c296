#include "scene/scene_hierarchy.h"

#include <algorithm>
#include <functional>
#include <unordered_set>

#include "fxutil/math.h"
#include "geometry/geometry.h"
#include "geometry/mesh.h"
#include "geometry/modifier_stack.h"
#include "io/stream.h"
#include "material/material.h"
#include "material/material_composite.h"
#include "material/material_simple.h"
#include "material/texture.h"
#include "render/context.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/object_list.h"
#include "scene/scene_renderer.h"
#include "scene/value_operations.h"
#include "trace/profiler.h"

namespace osm3d {

namespace {

constexpr u32 kVersion = 2;

void WriteNode(osmio::OutStream* out, HierarchyNode* node) {
    out->WriteObject(node);
    if (node == nullptr) {
        return;
    }
    out->WriteI32(static_cast<i32>(node->children.size()));
    for (HierarchyNode* child : node->children) {
        WriteNode(out, child);
    }
}

}  // namespace

SceneHierarchy::~SceneHierarchy() = default;

// ---- storage

bool SceneHierarchy::Read(osmio::InStream* in) {
    const u32 version = in->GetChunkVersion();
    if (in->IsChunked() && version > kVersion) {
        return false;
    }
    if (!ReadObjectList(in, textures, "textures") || !ReadObjectList(in, materials, "materials") ||
        !ReadTree(in) || !ReadObjectList(in, meshes, "meshes") || !ReadObjectList(in, cameras, "cameras")) {
        return false;
    }
    currentCamera = osmio::ReadSlot<Camera>(in);
    if (!ReadObjectList(in, lights, "lights")) {
        return false;
    }
    if (version == 2) {
        shadowLight = osmio::ReadSlot<Light>(in);
    }
    if (!ReadObjectList(in, atmosphericsBefore, "atmospherics") ||
        !ReadObjectList(in, atmosphericsAfter, "atmospherics")) {
        return false;
    }
    background = osmio::ReadSlot<Atmospheric>(in);
    return ReadObjectList(in, renderers, "scene renderers");
}

// Written by a recursive walk, read without recursion. A node that something else referred to first has been
// read already, but no part of any tree has touched it then.
bool SceneHierarchy::ReadTree(osmio::InStream* in) {
    struct Level {
        HierarchyNode* node;
        i32 left;
    };
    std::vector<Level> levels;

    const auto enter = [&](HierarchyNode* node) {
        i32 count = 0;
        in->ReadI32(&count);
        if (!in->CanHold(count, sizeof(u32), "child nodes")) {
            return false;
        }
        levels.push_back({node, count});
        return true;
    };

    HierarchyNode* top = osmio::ReadSlot<HierarchyNode>(in);
    if (top == nullptr) {
        return true;
    }
    if (top->parent != nullptr || !top->children.empty()) {
        in->Fail("a node stands in two trees");
        return false;
    }
    root = top;
    if (!enter(root)) {
        return false;
    }
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.left == 0) {
            levels.pop_back();
            continue;
        }
        --level.left;
        HierarchyNode* child = osmio::ReadSlot<HierarchyNode>(in);
        if (child == nullptr) {
            in->Fail("a node of the tree is missing");
            return false;
        }
        if (child == root || child->parent != nullptr || !child->children.empty()) {
            in->Fail("a node stands twice in the tree");
            return false;
        }
        if (levels.size() > HierarchyNode::kMaxTreeDepth) {
            in->Fail("the tree is too deep");
            return false;
        }
        level.node->AddChild(child);
        if (!enter(child)) {
            return false;
        }
    }
    return true;
}

void SceneHierarchy::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("SCHE"), kVersion);
    WriteObjectList(out, textures);
    WriteObjectList(out, materials);
    WriteNode(out, root);
    WriteObjectList(out, meshes);
    WriteObjectList(out, cameras);
    out->WriteObject(currentCamera);
    WriteObjectList(out, lights);
    out->WriteObject(shadowLight);
    WriteObjectList(out, atmosphericsBefore);
    WriteObjectList(out, atmosphericsAfter);
    out->WriteObject(background);
    WriteObjectList(out, renderers);
}

// ---- loading

bool SceneHierarchy::FollowsView() const {
    // A cube is drawn about the camera of the picture before.
    const auto* clear = dynamic_cast<const AtmosphericBackground*>(background);
    const bool oneCamera = cameras.size() == 1 && cameras.front() == currentCamera;
    if (clear != nullptr && clear->GetClearMode() == AtmosphericBackground::kCube && !oneCamera) {
        return true;
    }
    std::unordered_set<const Material*> seen;
    std::vector<const Material*> pending(materials.begin(), materials.end());
    while (!pending.empty()) {
        const Material* material = pending.back();
        pending.pop_back();
        if (material == nullptr || !seen.insert(material).second) {
            continue;
        }
        material->References(pending);
        const auto* simple = dynamic_cast<const MaterialSimple*>(material);
        for (u32 i = 0; simple != nullptr && i < simple->StageCount(); ++i) {
            const TextureStage* stage = simple->GetStage(i);
            if (stage != nullptr && stage->GetTransformMode() == TextureStage::kTransformCameraReflection) {
                return true;
            }
        }
    }
    return false;
}

void SceneHierarchy::LoadResources() {
    for (Texture* texture : textures) {
        texture->Load();
    }
    for (Material* material : materials) {
        material->Load();
    }
    for (Mesh* mesh : meshes) {
        mesh->Initialize();
    }
    for (SceneRenderer* renderer : renderers) {
        renderer->Initialize();
    }
    PrepareResources();
}

void SceneHierarchy::PrepareResources() {
    for (Material* material : materials) {
        material->Prepare();
    }
    for (Mesh* mesh : meshes) {
        mesh->Prepare();
    }
    RankMaterials();
}

// Gives each material, those inside composites too, its place among the groups of a queue. Addresses would
// do, but would change the picture of overlapping transparent groups from run to run.
void SceneHierarchy::RankMaterials() {
    materialRanks.clear();
    u32 next = 1;
    std::vector<const Material*> pending(materials.rbegin(), materials.rend());
    while (!pending.empty()) {
        const Material* material = pending.back();
        pending.pop_back();
        if (material == nullptr || !materialRanks.emplace(material, next).second) {
            continue;
        }
        ++next;
        if (const auto* composite = dynamic_cast<const MaterialComposite*>(material)) {
            for (u32 i = composite->MaterialCount(); i > 0; --i) {
                pending.push_back(composite->GetMaterial(i - 1));
            }
        }
    }
}

// ---- the frame

void SceneHierarchy::Update(f32 time) {
    const trace::ProfilerScope scope(trace::sceneUpdateSection);
    if (root != nullptr) {
        nodeStack.clear();
        nodeStack.push_back(root);
        while (!nodeStack.empty()) {
            HierarchyNode* node = nodeStack.back();
            nodeStack.pop_back();
            node->Update(time);
            nodeStack.insert(nodeStack.end(), node->children.begin(), node->children.end());
        }
        root->UpdateWorld(kMatrixIdentity);
    }
    OnHierarchyUpdated();

    const auto updateAll = [time](const auto& list) {
        for (auto* object : list) {
            object->Update(time);
        }
    };
    updateAll(textures);
    updateAll(materials);
    updateAll(meshes);
    updateAll(cameras);
    updateAll(lights);
    updateAll(atmosphericsBefore);
    updateAll(atmosphericsAfter);
    updateAll(renderers);
}

void SceneHierarchy::OnHierarchyUpdated() {}

void SceneHierarchy::ClearBackground(f32 time) {
    const trace::ProfilerScope scope(trace::clearSection);
    constexpr u32 kAll = Context::kClearColor | Context::kClearDepth | Context::kClearStencil;
    if (background != nullptr) {
        background->Update(time);
    }
    ClearBackgroundFor(currentCamera, kAll, true);
}

void SceneHierarchy::ClearBackgroundFor(Camera* camera, u32 flags, bool useDevice) {
    if (background != nullptr) {
        background->Clear(camera, flags, useDevice);
    } else {
        GetContext()->Clear(flags, useDevice);
    }
}

void SceneHierarchy::Render() {
    const trace::ProfilerScope scope(trace::drawSection);
    if (renderers.empty()) {
        if (currentCamera != nullptr) {
            currentCamera->Apply();
        }
        RenderContents();
        return;
    }
    if (rendererDepth >= renderers.size()) {
        RenderContents();
        return;
    }
    ++rendererDepth;
    {
        const trace::ProfilerScope inRenderer(trace::renderersSection);
        renderers[renderers.size() - rendererDepth]->Render(this, currentCamera);
    }
    --rendererDepth;
}

void SceneHierarchy::BeginContents() {
    Context* context = GetContext();
    context->ResetLights();
    for (Atmospheric* atmospheric : atmosphericsBefore) {
        atmospheric->Apply(currentCamera);
    }
    const std::size_t count = std::min<std::size_t>(lights.size(), context->caps.maxLights);
    for (std::size_t i = 0; i < count; ++i) {
        lights[i]->Apply();
    }
}

void SceneHierarchy::EndContents() {
    for (auto it = atmosphericsBefore.rbegin(); it != atmosphericsBefore.rend(); ++it) {
        (*it)->Unapply();
    }
}

void SceneHierarchy::RenderContents() {
    const trace::ProfilerScope scope(trace::meshesSection);
    BeginContents();
    RenderVisibleMeshes();
    EndContents();
    for (Atmospheric* atmospheric : atmosphericsAfter) {
        atmospheric->Apply(currentCamera);
    }
}

void SceneHierarchy::RenderContentsWith(const Frustum& frustum) {
    const trace::ProfilerScope scope(trace::meshesSection);
    BeginContents();
    RenderMeshes(frustum);
    EndContents();
}

void SceneHierarchy::RenderVisibleMeshes() {
    if (currentCamera != nullptr) {
        RenderMeshes(currentCamera->GetFrustum());
    }
}

void SceneHierarchy::RenderMeshes(const Frustum& frustum) {
    std::unique_ptr<DrawQueue> queue;
    if (spareQueues.empty()) {
        queue = std::make_unique<DrawQueue>();
    } else {
        queue = std::move(spareQueues.back());
        spareQueues.pop_back();
    }
    CollectVisible(frustum, *queue);
    DrawQueued(*queue);
    queue->Clear();
    spareQueues.push_back(std::move(queue));
}

void SceneHierarchy::CollectVisible(const Frustum& frustum, DrawQueue& queue) {
    for (Mesh* mesh : meshes) {
        if (frustum.Intersects(*mesh->GetBounds())) {
            mesh->Enqueue(&queue);
        }
    }
}

std::unique_ptr<DrawQueue> SceneHierarchy::BuildDrawQueue() {
    auto queue = std::make_unique<DrawQueue>();
    if (currentCamera != nullptr) {
        CollectVisible(currentCamera->GetFrustum(), *queue);
    }
    return queue;
}

void SceneHierarchy::DrawQueued(DrawQueue& queue) {
    const std::vector<DrawRecord>& records = queue.Records();
    GroupByMaterial(records);
    for (u32 kind = 1; kind <= 3; ++kind) {
        for (const Group& group : groups) {
            if (group.kind == kind) {
                DrawGroup(records, group);
            }
        }
    }
}

void SceneHierarchy::GroupByMaterial(const std::vector<DrawRecord>& records) {
    places.clear();
    for (u32 i = 0; i < records.size(); ++i) {
        const Material* material = records[i].material;
        u32 rank = 0;
        if (material != nullptr) {
            const auto found = materialRanks.find(material);
            rank = found != materialRanks.end() ? found->second : ~0u;
        }
        places.push_back({rank, material, i});
    }
    std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
        if (a.rank != b.rank) {
            return a.rank < b.rank;
        }
        if (a.material != b.material) {
            return std::less<const Material*>()(a.material, b.material);
        }
        return a.index < b.index;
    });
    groups.clear();
    for (u32 i = 0; i < places.size(); ++i) {
        if (i == 0 || places[i].material != places[i - 1].material) {
            groups.push_back({records[places[i].index].kind, i, 0});
        }
        ++groups.back().count;
    }
}

void SceneHierarchy::DrawGroup(const std::vector<DrawRecord>& records, const Group& group) {
    Context* context = GetContext();
    Material* material = records[places[group.first].index].material;
    const auto drawRecords = [&] {
        for (u32 i = group.first; i < group.first + group.count; ++i) {
            const DrawRecord& record = records[places[i].index];
            context->SetWorld(*record.world);
            const bool prepared = record.stack != nullptr && record.stack->PrepareDraw();
            if (!prepared && material != nullptr) {
                material->PrepareDraw();
            }
            record.geometry->Draw();
        }
    };
    if (material == nullptr) {
        ApplyDefaultMaterial();
        drawRecords();
        return;
    }
    const u32 passes = material->Begin(0);
    for (u32 pass = 0; pass < passes; ++pass) {
        material->Pass(pass);
        drawRecords();
    }
    material->End();
}

// ---- tools

void SceneHierarchy::DrawBounds() {
    for (Mesh* mesh : meshes) {
        GetContext()->DrawBox(*mesh->GetBounds(), kDebugColor);
    }
}

Mesh* SceneHierarchy::Pick(const Ray& ray) {
    Mesh* best = nullptr;
    f32 bestDistance = 0.0f;
    for (Mesh* mesh : meshes) {
        const OrientedBox& bounds = *mesh->GetBounds();
        matrix inverse;
        if (D3DXMatrixInverse(&inverse, nullptr, &bounds.transform) == nullptr) {
            continue;  // flat: there is no box space
        }
        const vect3 end = ray.origin + ray.direction;
        vect3 localOrigin;
        vect3 localEnd;
        D3DXVec3TransformCoord(&localOrigin, &ray.origin, &inverse);
        D3DXVec3TransformCoord(&localEnd, &end, &inverse);
        vect3 direction = localEnd - localOrigin;
        D3DXVec3Normalize(&direction, &direction);

        vect3 hit;
        if (!BoxRayIntersect({-bounds.half, bounds.half}, localOrigin, direction, hit)) {
            continue;
        }
        D3DXVec3TransformCoord(&hit, &hit, &bounds.transform);
        const vect3 way = hit - ray.origin;
        const f32 distance = D3DXVec3LengthSq(&way);
        if (best == nullptr || distance < bestDistance) {
            best = mesh;
            bestDistance = distance;
        }
    }
    return best;
}

}  // namespace osm3d
