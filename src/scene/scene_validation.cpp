#include "scene/scene_validation.h"

#include <cstddef>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "controller/validation.h"
#include "geometry/geometry_composite.h"
#include "geometry/mesh.h"
#include "geometry/mesh_simple.h"
#include "material/material.h"
#include "material/texture.h"
#include "scene/atmospheric.h"
#include "scene/atmospheric_billboard.h"
#include "scene/billboard.h"
#include "scene/camera.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_renderer.h"

namespace osm3d {

namespace {

/// Walks one scene; the first problem stands in `reason`.
class Validator {
  public:
    Validator(const SceneHierarchy& subject, std::string& out) : scene(subject), reason(out) {}

    bool Run() {
        if (scene.root == nullptr) {
            return Refuse("the scene has no root node");
        }
        return (ValidateTree(scene.root, reason) || Prefix("the tree")) && Lists() && Materials() &&
               Meshes() && Cameras() && Lights() && Atmospherics() && Renderers();
    }

  private:
    bool Refuse(const std::string& text) {
        reason = text;
        return false;
    }

    bool Prefix(const std::string& place) {
        reason = place + ": " + reason;
        return false;
    }

    static std::string Name(const char* what, std::size_t index) {
        return std::string(what) + " " + std::to_string(index);
    }

    // Nothing missing, and nothing twice: each entry is loaded and updated once.
    template <class T>
    bool Entries(const std::vector<T*>& list, const char* what, std::unordered_set<const void*>& seen) {
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (list[i] == nullptr) {
                return Refuse(Name(what, i) + " is missing or of a class that is not known");
            }
            if (!seen.insert(list[i]).second) {
                return Refuse(Name(what, i) + " stands in the scene's lists twice");
            }
        }
        return true;
    }

    bool Lists() {
        std::unordered_set<const void*> textures;
        std::unordered_set<const void*> materials;
        std::unordered_set<const void*> meshes;
        std::unordered_set<const void*> cameras;
        std::unordered_set<const void*> lights;
        std::unordered_set<const void*> atmospherics;
        std::unordered_set<const void*> renderers;
        return Entries(scene.textures, "texture", textures) &&
               Entries(scene.materials, "material", materials) && Entries(scene.meshes, "mesh", meshes) &&
               Entries(scene.cameras, "camera", cameras) && Entries(scene.lights, "light", lights) &&
               Entries(scene.atmosphericsBefore, "atmospheric before the meshes", atmospherics) &&
               Entries(scene.atmosphericsAfter, "atmospheric after the meshes", atmospherics) &&
               Entries(scene.renderers, "scene renderer", renderers);
    }

    bool Controllers(const Animatable& subject) {
        for (const Controller* controller : subject.Controllers()) {
            if (!controller::Validate(controller, reason)) {
                return false;
            }
        }
        return true;
    }

    bool Placement(const Transformable& subject) { return Placement(subject.transformation); }

    bool Placement(const Transformation* transformation) {
        const auto* node = dynamic_cast<const HierarchyNode*>(transformation);
        return node == nullptr || !nodes.insert(node).second || node->Validate(reason) ||
               Prefix("its transformation");
    }

    // With those that it draws through.
    bool OneMaterial(const Material* top, const std::string& place) {
        if (!references.Validate(*top, reason)) {
            return Prefix(place);
        }
        std::vector<const Material*> open{top};
        while (!open.empty()) {
            const Material* material = open.back();
            open.pop_back();
            if (material == nullptr || !checked.insert(material).second) {
                continue;
            }
            if (!material->Validate(reason) || !Controllers(*material)) {
                return Prefix(place);
            }
            material->References(open);
        }
        return true;
    }

    bool Materials() {
        for (std::size_t i = 0; i < scene.materials.size(); ++i) {
            if (!OneMaterial(scene.materials[i], Name("material", i))) {
                return false;
            }
        }
        return true;
    }

    // Each stack and each shape that one deforms belongs to one mesh: results are copies, and a file that
    // names one shape a thousand times would get a thousand of it.
    bool DeformedOnce(const Mesh& mesh) {
        const auto* simple = dynamic_cast<const MeshSimple*>(&mesh);
        if (simple == nullptr || simple->GetStack() == nullptr) {
            return true;
        }
        if (!deformed.insert(simple->GetStack()).second) {
            return Refuse("its modifier stack is another mesh's as well");
        }
        const Geometry* geometry = simple->GetGeometry();
        if (geometry == nullptr) {
            return true;
        }
        if (!geometry->Validate(reason)) {
            return false;
        }
        std::vector<const Geometry*> open{geometry};
        while (!open.empty()) {
            const Geometry* part = open.back();
            open.pop_back();
            if (!deformed.insert(part).second) {
                return Refuse("its geometry is deformed by another mesh as well");
            }
            if (const auto* composite = dynamic_cast<const GeometryComposite*>(part)) {
                for (u32 i = 0; i < composite->PartCount(); ++i) {
                    open.push_back(composite->Part(i));
                }
            }
        }
        return true;
    }

    bool Meshes() {
        for (std::size_t i = 0; i < scene.meshes.size(); ++i) {
            const Mesh& mesh = *scene.meshes[i];
            const std::string name = Name("mesh", i);
            if (!DeformedOnce(mesh) || !mesh.Validate(reason) || !Controllers(mesh) || !Placement(mesh)) {
                return Prefix(name);
            }
            if (mesh.GetMaterial() != nullptr && !OneMaterial(mesh.GetMaterial(), name + ", its material")) {
                return false;
            }
        }
        return true;
    }

    bool Cameras() {
        for (std::size_t i = 0; i < scene.cameras.size(); ++i) {
            if (!Controllers(*scene.cameras[i]) || !Placement(*scene.cameras[i])) {
                return Prefix(Name("camera", i));
            }
        }
        const Camera* current = scene.currentCamera;
        if (current != nullptr && (!Controllers(*current) || !Placement(*current))) {
            return Prefix("the current camera");
        }
        const bool drawn = !scene.meshes.empty() || !scene.renderers.empty();
        if (scene.cameras.empty() && current == nullptr && drawn) {
            return Refuse("the scene has meshes or renderers and no camera");
        }
        return true;
    }

    bool OneLight(const Light& light) {
        if (const auto* omni = dynamic_cast<const LightOmni*>(&light)) {
            const bool complete = omni->GetAmbient() != nullptr && omni->GetDiffuse() != nullptr &&
                                  omni->GetSpecular() != nullptr && omni->GetRange() != nullptr &&
                                  omni->GetAttenuation(0) != nullptr && omni->GetAttenuation(1) != nullptr &&
                                  omni->GetAttenuation(2) != nullptr;
            if (!complete) {
                return Refuse("one of its seven controllers is missing");
            }
        }
        return Controllers(light) && Placement(light);
    }

    bool Lights() {
        for (std::size_t i = 0; i < scene.lights.size(); ++i) {
            if (!OneLight(*scene.lights[i])) {
                return Prefix(Name("light", i));
            }
        }
        return scene.shadowLight == nullptr || OneLight(*scene.shadowLight) || Prefix("the shadow light");
    }

    bool Sprites(const AtmosphericBillboard& subject) {
        if (!subject.Validate(reason)) {
            return false;
        }
        const auto& elements = subject.GetElements();
        for (std::size_t i = 0; i < elements.size(); ++i) {
            if (!Controllers(elements[i]) || !Placement(elements[i].transformation)) {
                return Prefix(Name("sprite", i));
            }
        }
        // Objects that share a billboard share its geometry, which is made once.
        const particle::Billboard* billboard = subject.GetBillboard();
        if (spriteCounts.emplace(billboard, elements.size()).first->second != elements.size()) {
            return Refuse("it shares its billboard with an object of another number of sprites");
        }
        return billboard->material == nullptr || OneMaterial(billboard->material, "its material");
    }

    bool OneAtmospheric(const Atmospheric& atmospheric) {
        if (const auto* fog = dynamic_cast<const AtmosphericFog*>(&atmospheric)) {
            if (fog->GetColor() != nullptr &&
                (fog->GetIntensityNear() == nullptr || fog->GetIntensityFar() == nullptr)) {
                return Refuse("a fog has a colour and lacks an intensity");
            }
        }
        if (const auto* clear = dynamic_cast<const AtmosphericBackground*>(&atmospheric)) {
            if (clear->GetClearMode() == AtmosphericBackground::kColor && clear->GetColor() == nullptr) {
                return Refuse("a colour background has no colour");
            }
            if (clear->GetClearMode() == AtmosphericBackground::kBitmap && clear->GetTexture() == nullptr) {
                return Refuse("a bitmap background has no texture");
            }
            if (clear->GetClearMode() == AtmosphericBackground::kCube && clear->GetCube() == nullptr) {
                return Refuse("a cube background has no cube map texture");
            }
        }
        if (const auto* sprites = dynamic_cast<const AtmosphericBillboard*>(&atmospheric)) {
            if (!Sprites(*sprites)) {
                return false;
            }
        }
        return Controllers(atmospheric);
    }

    bool Atmospherics() {
        for (std::size_t i = 0; i < scene.atmosphericsBefore.size(); ++i) {
            if (!OneAtmospheric(*scene.atmosphericsBefore[i])) {
                return Prefix(Name("atmospheric before the meshes", i));
            }
        }
        for (std::size_t i = 0; i < scene.atmosphericsAfter.size(); ++i) {
            if (!OneAtmospheric(*scene.atmosphericsAfter[i])) {
                return Prefix(Name("atmospheric after the meshes", i));
            }
        }
        return scene.background == nullptr || OneAtmospheric(*scene.background) || Prefix("the background");
    }

    bool Renderers() {
        for (std::size_t i = 0; i < scene.renderers.size(); ++i) {
            if (!Controllers(*scene.renderers[i]) || !scene.renderers[i]->Validate(scene, reason)) {
                return Prefix(Name("scene renderer", i));
            }
        }
        return true;
    }

    const SceneHierarchy& scene;
    std::string& reason;
    std::unordered_set<const HierarchyNode*> nodes;
    std::unordered_set<const void*> deformed;
    std::unordered_set<const Material*> checked;
    MaterialReferences references;
    std::unordered_map<const particle::Billboard*, std::size_t> spriteCounts;
};

}  // namespace

bool ValidateScene(const SceneHierarchy& scene, std::string& reason) {
    return Validator(scene, reason).Run();
}

bool ValidateMeshReferences(const SceneHierarchy& scene, const std::vector<Mesh*>& references,
                            const char* what, std::string& reason) {
    const std::unordered_set<const Mesh*> meshes(scene.meshes.begin(), scene.meshes.end());
    for (std::size_t i = 0; i < references.size(); ++i) {
        if (references[i] == nullptr || meshes.count(references[i]) == 0) {
            reason = std::string(what) + " " + std::to_string(i) +
                     (references[i] == nullptr ? " is missing or of a class that is not known"
                                               : " is not among the scene's meshes");
            return false;
        }
    }
    return true;
}

}  // namespace osm3d
