// A scene in the making.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "geometry/geometry_weighted.h"
#include "geometry/mesh_simple.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "picture.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/controller_transformation.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/scene_hierarchy.h"
#include "shape.h"

namespace demo {

using osm3d::HierarchyNode;
using osm3d::kQuatIdentity;
using osm3d::MaterialSimple;
using osm3d::Texture;

// Key units in a second.
inline constexpr float kUnits = 100;

enum class Blend { None, Alpha, Add };

// One texture stage. Numbers are those of the stage's state block.
struct Layer {
    Texture* texture = nullptr;
    u32 color_op = 3, color_arg1 = 2, color_arg2 = 1;
    u32 alpha_op = 3, alpha_arg1 = 2, alpha_arg2 = 1;
    u32 address = 0;
    float tiling_u = 1, tiling_v = 1;
    float speed_u = 0, speed_v = 0;  // images a second
    bool reflection = false;         // coordinates are the direction in which the camera is mirrored
    u32 generated = 0;               // 17 the normal, 18 the position, both as the camera has them
};

struct Look {
    color diffuse{1, 1, 1, 1}, ambient{1, 1, 1, 1}, specular{0, 0, 0, 1}, emissive{0, 0, 0, 1};
    float power = 0;  // above 0: with highlights
    bool lit = true;
    bool two_sided = false;
    Blend blend = Blend::None;
    bool behind_all = false;  // for what is far away: neither tests nor writes depth, drawn among the opaque
    std::vector<Layer> layers;
};

// Values at even times between two moments, in seconds.
template <class T>
osm3d::ControllerBase<T>* Sampled(float from, float to, float step, const std::function<T(float)>& at) {
    auto* track = new osm3d::controller::Linear<T>();
    const int count = static_cast<int>((to - from) / step + 0.5f);
    for (int i = 0; i <= count; ++i) {
        const float time = from + (to - from) * F(i) / F(count);
        track->keys.emplace_back(time * kUnits, at(time));
    }
    return track;
}

template <class T>
osm3d::ControllerBase<T>* Still(const T& value) {
    return new osm3d::controller::Const<T>(value);
}

class Stage {
  public:
    Stage();

    // Textures and materials stand in the scene's lists in the order of these calls, and materials are drawn
    // in that order.
    Texture* Picture(const Picture32& picture);
    MaterialSimple* Material(const Look& look);
    // The same for inside an effect alone.
    MaterialSimple* Within(const Look& look);
    // Drawn by the effect text in `file`, over the state of `inner`.
    osm3d::Material* Effect(const std::string& file, osm3d::Material* inner);

    HierarchyNode* Node(HierarchyNode* parent, const vect3& position, const quat& rotation = kQuatIdentity,
                        const vect3& scale = {1, 1, 1});
    // Takes the controllers over; a null one stands still at nothing special.
    HierarchyNode* Moving(HierarchyNode* parent, osm3d::ControllerBase<vect3>* position,
                          osm3d::ControllerBase<quat>* rotation = nullptr,
                          osm3d::ControllerBase<vect3>* scale = nullptr);
    // A rotation about `axis` that goes on for `seconds`, `turns` a second.
    osm3d::ControllerBase<quat>* Turning(const vect3& axis, float turns, float seconds, float first = 0);
    HierarchyNode* Root() const { return scene_->root; }

    // Shapes of more vertices than an index can tell are cut; the last part comes back.
    osm3d::MeshSimple* Mesh(const Shape& shape, osm3d::Material* material, HierarchyNode* node);
    // Follows `bones`, which stand as they do at bind time; weights as Shape's positions. In world space.
    void Skin(const Shape& shape, const std::vector<osm3d::VertexWeights>& weights,
              const std::vector<HierarchyNode*>& bones, const std::vector<vect3>& joints,
              osm3d::Material* material);

    // Range in world units; `fall` is the distance at which half the light is left, 0 for none.
    osm3d::LightOmni* Light(HierarchyNode* node, osm3d::ControllerBase<color>* diffuse, const color& specular,
                            float range, float fall);
    osm3d::CameraSimple* Camera(HierarchyNode* node, osm3d::ControllerBase<float>* fov, float near_clip,
                                float far_clip, float fog_far);
    void Ambient(const color& c);
    // From `start` on, full at the camera's fog distance.
    void Fog(osm3d::ControllerBase<color>* c, float start, float fog_near, float fog_far);
    void BackgroundColor(const color& c);
    void BackgroundPicture(Texture* picture);
    // Faces in the order of a cube map's keys: +z, -z, -x, +x, -y, +y.
    Texture* BackgroundCube(const std::array<Picture32, 6>& faces);

    // Squares that face the picture, in the order given, drawn over the finished scene.
    struct Spark {
        HierarchyNode* node;
        osm3d::ControllerBase<float>* size;  // taken over
    };
    void Sparks(const std::vector<Spark>& sparks, osm3d::Material* material);

    // `camera` sees sharply at `distance` units; `scale` is how fast the blur grows away from there.
    void Focus(osm3d::CameraSimple* camera, osm3d::ControllerBase<float>* scale,
               osm3d::ControllerBase<float>* distance);
    // The scene is drawn with the shadows that `light` throws off the casters.
    void Shadows(osm3d::LightOmni* light);
    // A shadow of `shape`, which must be closed. What is seen of it is a mesh of its own. `node` must not be
    // where the light is.
    void ShadowOf(const Shape& shape, HierarchyNode* node, osm3d::LightOmni* light);
    // The scene is drawn with `mesh`, a plane, as a mirror; its alpha is what of itself is seen.
    void Mirror(osm3d::MeshSimple* mesh);

    // What has been made so far, to add what Stage has no operation for.
    osm3d::SceneHierarchy& Scene() { return *scene_; }

    // Writes the scene as an .om2 file. Throws cli::Error when it is not playable or cannot be written.
    void Save(const std::string& path);

  private:
    template <class T, class... Arguments>
    T* Make(Arguments&&... arguments) {
        return scene_->Own(std::make_unique<T>(std::forward<Arguments>(arguments)...));
    }

    std::unique_ptr<osm3d::SceneHierarchy> scene_ = std::make_unique<osm3d::SceneHierarchy>();
};

}  // namespace demo
