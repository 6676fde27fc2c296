// What the scene cases are built with.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "conformance/engine_cases.h"
#include "controller/constant.h"
#include "controller/key_framed.h"
#include "geometry/mesh_simple.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "material/texture_cubemap_file.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/controller_transformation.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/scene_hierarchy.h"
#include "stage.h"

namespace conformance {

using demo::Shape;
using osm3d::color;
using osm3d::HierarchyNode;
using osm3d::kQuatIdentity;
using osm3d::MaterialSimple;
using osm3d::matrix;
using osm3d::quat;
using osm3d::Texture;
using osm3d::TextureStage;
using osm3d::vect3;

inline constexpr color kWhite{1, 1, 1, 1}, kBlack{0, 0, 0, 1}, kNone{0, 0, 0, 0};

template <class T>
osm3d::ControllerBase<T>* Still(const T& value) {
    return new osm3d::controller::Const<T>(value);
}

template <class T>
osm3d::ControllerBase<T>* Keyed(std::initializer_list<std::pair<float, T>> keys) {
    auto* track = new osm3d::controller::Linear<T>();
    for (const auto& [time, value] : keys) track->keys.emplace_back(time, value);
    return track;
}

/// A scene seen from (0, 0, 6) down -z: the plane z = 0 shows 8 units across and 6 up in a picture of 4 : 3,
/// with the origin in its middle. Dark blue behind all.
class SceneMaker {
  public:
    SceneMaker();

    template <class T, class... Arguments>
    T* Make(Arguments&&... arguments) {
        return scene.Own(std::make_unique<T>(std::forward<Arguments>(arguments)...));
    }
    /// Takes over what the field that points to it does not own.
    template <class T>
    T* Keep(T* object) {
        return scene.Own(std::unique_ptr<T>(object));
    }

    HierarchyNode* Node(const vect3& position, const quat& rotation = kQuatIdentity,
                        const vect3& scale = {1, 1, 1}, HierarchyNode* parent = nullptr);
    /// Takes the controllers over; a null one stands still at nothing special.
    HierarchyNode* Moving(osm3d::ControllerBase<vect3>* position,
                          osm3d::ControllerBase<quat>* rotation = nullptr,
                          osm3d::ControllerBase<vect3>* scale = nullptr, HierarchyNode* parent = nullptr);

    osm3d::CameraSimple* Camera(osm3d::Transformation* place, float fov, float near_clip, float far_clip,
                                float fog_far);
    /// The scene's own camera stands at `place`.
    void LookFrom(osm3d::Transformation* place) { camera->transformation = place; }
    /// The same, at `position`, turned down by `pitch` and to the left by `yaw` radians.
    void LookFrom(const vect3& position, float pitch, float yaw = 0);

    Texture* Picture(const demo::Picture32& picture) { return stage.Picture(picture); }
    osm3d::TextureCubemapFile* Cube(const std::array<demo::Picture32, 6>& faces);

    /// Diffuse and ambient reflection, lit.
    MaterialSimple* Matt(const color& c);
    /// All its light is its own; alpha is that of the surface.
    MaterialSimple* Glow(const color& c);
    /// The next stage of `material`: the texture times what is there, linear filters.
    TextureStage* Layer(MaterialSimple* material, Texture* texture);
    /// Glows with `texture`.
    MaterialSimple* Poster(Texture* texture);
    static void Blend(MaterialSimple* material, int preset, u32 blend_class = 4);

    osm3d::MeshSimple* Mesh(const Shape& shape, osm3d::Material* material, HierarchyNode* node = nullptr);
    osm3d::MeshSimple* Mesh(osm3d::Geometry* geometry, osm3d::Material* material,
                            HierarchyNode* node = nullptr);

    /// Takes the controller over. No ambient, no highlight colour, no fall-off.
    osm3d::LightOmni* Light(HierarchyNode* node, osm3d::ControllerBase<color>* diffuse, float range = 100);
    void Ambient(const color& c) { stage.Ambient(c); }
    void Background(const color& c) { stage.BackgroundColor(c); }
    osm3d::AtmosphericFog* Fog(const color& c, float near_strength, float far_strength);

    demo::Stage stage;
    osm3d::SceneHierarchy& scene = stage.Scene();
    osm3d::CameraSimple* camera;
};

/// A rectangle at depth z that faces the camera, with the whole texture upright on it.
Shape Board(float x0, float y0, float x1, float y1, float z = 0);
/// Its arrays as a geometry of the engine.
osm3d::GeometrySimple* Solid(const Shape& shape, osm3d::GeometrySimple* into = nullptr);

/// Cell (column, row) of `columns` x `rows` over the whole picture at z = 0, with a gap around it.
Shape Cell(int column, int row, int columns, int rows);

/// Something to put on things: no two corners alike, with alpha from 0 at the left to 1 at the right when
/// asked.
demo::Picture32 Pattern(unsigned width, unsigned height, bool alpha = false);
demo::Picture32 Checks(unsigned size, int count, const color& a, const color& b);
/// Six sides that can be told apart and told upright.
std::array<demo::Picture32, 6> Room(unsigned size);

/// A scene case around a function that fills a SceneMaker.
EngineCase SceneCase(const std::string& name, void (*build)(SceneMaker&), std::vector<double> times = {0});

std::vector<EngineCase> MaterialScenes();
std::vector<EngineCase> StageScenes();
std::vector<EngineCase> GeometryScenes();
std::vector<EngineCase> AirScenes();
std::vector<EngineCase> LightScenes();
std::vector<EngineCase> RendererScenes();

}  // namespace conformance
