// The root of a scene file: flat lists of what a scene is made of, and the tree that places it.
#pragma once

#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "io/serializable.h"
#include "platform/types.h"
#include "render/draw_queue.h"
#include "scene/frustum.h"
#include "scene/scene.h"

namespace osm3d {

class Atmospheric;
class Camera;
class HierarchyNode;
class Light;
class Material;
class Mesh;
class SceneRenderer;
class Texture;

/// The one scene. Stored as chunk SCHE.
///
/// Everything that a file made belongs to the file's object graph, the scene itself included. What is put
/// into a scene in code is handed over with Own; the lists themselves are plain references.
///
///     auto mesh = std::make_unique<MeshSimple>();
///     scene.meshes.push_back(scene.Own(std::move(mesh)));
class SceneHierarchy : public Scene {
  public:
    SceneHierarchy() = default;
    SceneHierarchy(const SceneHierarchy&) = delete;
    SceneHierarchy& operator=(const SceneHierarchy&) = delete;
    /// Deletes what Own took.
    ~SceneHierarchy() override;

    /// Versions 1 and 2. A tree that is none (a node missing, twice or too deep) fails the stream.
    bool Read(osmio::InStream* in) override;
    /// Writes version 2.
    void Write(osmio::OutStream* out) override;

    /// Brings everything to `time`, in key units. Needs a root.
    void Update(f32 time) override;
    void OnHierarchyUpdated() override;
    void PrepareResources() override;
    void LoadResources() override;
    /// Through the chain of renderers, the last one first. Needs a current camera.
    void Render() override;
    void DrawBounds() override;
    Mesh* Pick(const Ray& ray) override;

    /// Clears colour, depth and stencil of the current target to the background as of `time`.
    void ClearBackground(f32 time);
    /// The same for a renderer, which chooses what is cleared and how; the background is not updated.
    /// `camera` may be null.
    void ClearBackgroundFor(Camera* camera, u32 flags, bool useDevice);

    /// Draws the scene with the view and projection as they stand on the device, past the renderers.
    void RenderContents();
    /// The same for a renderer that brings its own frustum; the atmospherics that come after are left out.
    void RenderContentsWith(const Frustum& frustum);
    void RenderMeshes(const Frustum& frustum);
    /// Appends the records of the meshes whose boxes `frustum` reaches.
    void CollectVisible(const Frustum& frustum, DrawQueue& queue);
    /// A new queue of what the current camera sees.
    std::unique_ptr<DrawQueue> BuildDrawQueue();
    /// Draws the records material by material, kind 1 before 2 before 3. Materials of one kind come in the
    /// order of the scene's list, those not in it behind.
    void DrawQueued(DrawQueue& queue);

    /// Whether a texture stage of the scene's materials, or of those that they draw through, follows the
    /// view, or a cube background does, having more than one camera to stand around. Both take what the
    /// picture before left: a stage the view on the device at Update, a background the current camera.
    bool FollowsView() const;

    /// Takes `object` over for the scene's life and gives the plain pointer.
    template <class T>
    T* Own(std::unique_ptr<T> object) {
        T* pointer = object.get();
        owned.emplace_back(std::move(object));
        return pointer;
    }

    /// The chain of renderers, and how many of them are active in the current Render.
    std::vector<SceneRenderer*> renderers;
    u32 rendererDepth = 0;
    /// What clears the picture; may be null, may also stand in a list below.
    Atmospheric* background = nullptr;
    /// Applied before the meshes and taken back after them.
    std::vector<Atmospheric*> atmosphericsBefore;
    /// Applied after the meshes.
    std::vector<Atmospheric*> atmosphericsAfter;
    std::vector<Texture*> textures;
    std::vector<Material*> materials;
    std::vector<Camera*> cameras;
    Camera* currentCamera = nullptr;
    /// The first caps.maxLights of them are lit.
    std::vector<Light*> lights;
    /// The light that casts shadows; may be null.
    Light* shadowLight = nullptr;
    std::vector<Mesh*> meshes;
    /// Top of the tree.
    HierarchyNode* root = nullptr;

  private:
    /// Where a record stands among all: by its material, then by its place in the queue.
    struct Place {
        u32 rank;
        const Material* material;
        u32 index;
    };
    struct Group {
        u32 kind;
        u32 first;
        u32 count;
    };

    bool ReadTree(osmio::InStream* in);
    void RankMaterials();
    void GroupByMaterial(const std::vector<DrawRecord>& records);
    void BeginContents();
    void EndContents();
    void RenderVisibleMeshes();
    void DrawGroup(const std::vector<DrawRecord>& records, const Group& group);

    std::vector<std::unique_ptr<osmio::Serializable>> owned;
    std::unordered_map<const Material*, u32> materialRanks;
    // Storage of a frame, kept from frame to frame.
    std::vector<HierarchyNode*> nodeStack;
    std::vector<std::unique_ptr<DrawQueue>> spareQueues;
    std::vector<Place> places;
    std::vector<Group> groups;
};

}  // namespace osm3d
