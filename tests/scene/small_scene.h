// Scenes of a few glowing quads for tests of what a picture shows.
#pragma once

#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "controller/constant.h"
#include "fxutil/math.h"
#include "geometry/geometry_simple.h"
#include "geometry/mesh_simple.h"
#include "material/material_simple.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/scene_hierarchy.h"
#include "scene/transformation_prs.h"

namespace osm3d {

/// Seen from (0, 0, 4) down -z with 90 degrees in both directions: in a picture of 128 x 128, a point (x, y,
/// z) lies at (64 + 64 x / (4 - z), 64 - 64 y / (4 - z)).
class SmallScene {
  public:
    using Quad = std::array<vect3, 4>;

    SmallScene() {
        scene.root = Make<HierarchyNode>();
        camera = Make<CameraSimple>();
        camera->transformation = Make<TransformationPRS>(vect3{0, 0, 4}, kQuatIdentity, vect3{1, 1, 1});
        camera->SetFov(new controller::Const<f32>(1.5707963f));
        camera->SetNearControl(new controller::Const<f32>(0.5f));
        camera->SetFarControl(new controller::Const<f32>(100.0f));
        scene.cameras.push_back(camera);
        scene.currentCamera = camera;
        auto* background = Make<AtmosphericBackground>();
        background->UseColor(new controller::Const<color>(color{0, 0, 0.5f, 1}));
        scene.background = background;
    }

    template <class T, class... Args>
    T* Make(Args&&... args) {
        return scene.Own(std::make_unique<T>(std::forward<Args>(args)...));
    }

    /// All its light is its own; alpha is that of the surface.
    MaterialSimple* Glow(const color& c) {
        auto* material = Make<MaterialSimple>();
        material->SetConstants({0, 0, 0, c.a}, {0, 0, 0, 0}, {0, 0, 0, 0}, {c.r, c.g, c.b, 0}, 0);
        material->SetBlendClass(1);
        scene.materials.push_back(material);
        return material;
    }

    /// Quads with their corners counter-clockwise as seen from the front, each with the normal of its front.
    MeshSimple* Add(const std::vector<Quad>& quads, const color& c, Transformation* place = nullptr) {
        auto* geometry = new GeometrySimple;
        for (const Quad& q : quads) {
            const auto first = static_cast<u16>(geometry->positions.size());
            const auto at = [first](u32 i) { return static_cast<u16>(first + i); };
            vect3 normal = Cross(q[1] - q[0], q[3] - q[0]);
            D3DXVec3Normalize(&normal, &normal);
            for (const vect3& corner : q) {
                geometry->positions.push_back(corner);
                geometry->normals.push_back(normal);
            }
            geometry->triangles.push_back({{at(0), at(1), at(2)}});
            geometry->triangles.push_back({{at(0), at(2), at(3)}});
        }
        auto* mesh = Make<MeshSimple>();
        mesh->SetGeometry(geometry);
        mesh->SetMaterial(Glow(c));
        mesh->transformation = place;
        scene.meshes.push_back(mesh);
        return mesh;
    }

    /// At depth z, with the front towards the camera or away from it.
    static Quad Facing(f32 x0, f32 y0, f32 x1, f32 y1, f32 z) {
        return {{{x0, y0, z}, {x1, y0, z}, {x1, y1, z}, {x0, y1, z}}};
    }
    static Quad Averted(f32 x0, f32 y0, f32 x1, f32 y1, f32 z) {
        return {{{x1, y0, z}, {x0, y0, z}, {x0, y1, z}, {x1, y1, z}}};
    }

    /// Where the scene refers to lights, they give none.
    LightOmni* Dark(Transformation* place) {
        auto* light = Make<LightOmni>();
        light->transformation = place;
        light->SetAmbient(new controller::Const<color>(color{0, 0, 0, 0}));
        light->SetDiffuse(new controller::Const<color>(color{0, 0, 0, 0}));
        light->SetSpecular(new controller::Const<color>(color{0, 0, 0, 0}));
        light->SetRange(new controller::Const<f32>(1000.0f));
        for (u32 i = 0; i < 3; ++i) light->SetAttenuation(i, new controller::Const<f32>(1.0f));
        scene.lights.push_back(light);
        return light;
    }

    /// A frame of the scene inside an open device scene.
    void Frame(f32 time = 0) {
        if (!loaded) scene.LoadResources();
        loaded = true;
        scene.Update(time);
        scene.ClearBackground(time);
        scene.Render();
    }

    SceneHierarchy scene;
    CameraSimple* camera;

  private:
    bool loaded = false;
};

}  // namespace osm3d
