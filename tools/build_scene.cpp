#include "build_scene.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "cli/error.h"
#include "controller/constant.h"
#include "controller/key_framed.h"
#include "cube_files.h"
#include "geometry/geometry_weighted.h"
#include "geometry/mesh_simple.h"
#include "geometry/modifier_skin.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "material/texture_cubemap_file.h"
#include "render/scene_renderer_shadow.h"
#include "scene/atmospheric.h"
#include "scene/camera.h"
#include "scene/controller_transformation.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/value_operations.h"
#include "shadow_bodies.h"

namespace tools {
namespace {

using namespace osm3d;
using controller::Const;
using controller::Linear;

// Blend classes, which are the order of drawing.
constexpr u32 kClassOpaque = 1, kClassCutOut = 3, kClassBlended = 4;
// Directional light comes from so many times the model's size away.
constexpr float kFarAway = 1000;
// The farthest that a device light reaches: the root of the greatest float.
constexpr float kUnlimitedRange = 1.8e19f;
// At so many times of the motion, and at its start, the model is measured.
constexpr int kMeasurings = 24;

struct Placement {
    vect3 position, scale;
    quat rotation;
};

// Takes a matrix apart; false when it holds more than scale, rotation and translation.
bool TakeApart(const matrix& m, Placement& out) {
    float scale[3];
    matrix rotation = kMatrixIdentity;
    for (unsigned r = 0; r < 3; ++r) {
        scale[r] = std::sqrt(m.m[r][0] * m.m[r][0] + m.m[r][1] * m.m[r][1] + m.m[r][2] * m.m[r][2]);
        if (!(scale[r] > 1e-12f)) return false;
    }
    const float determinant = m.m[0][0] * (m.m[1][1] * m.m[2][2] - m.m[1][2] * m.m[2][1]) -
                              m.m[0][1] * (m.m[1][0] * m.m[2][2] - m.m[1][2] * m.m[2][0]) +
                              m.m[0][2] * (m.m[1][0] * m.m[2][1] - m.m[1][1] * m.m[2][0]);
    if (determinant < 0) scale[0] = -scale[0];
    for (unsigned r = 0; r < 3; ++r)
        for (unsigned c = 0; c < 3; ++c) rotation.m[r][c] = m.m[r][c] / scale[r];
    out.position = MatrixGetTranslation(m);
    out.scale = {scale[0], scale[1], scale[2]};
    out.rotation = QuatFromMatrix(rotation);
    const float size = std::max({std::abs(scale[0]), std::abs(scale[1]), std::abs(scale[2]), 1e-6f});
    return MatrixNearlyEqual(
        MatrixCompose(out.position, out.rotation, out.scale), m,
        1e-4f * std::max(size, std::abs(m.m[3][0]) + std::abs(m.m[3][1]) + std::abs(m.m[3][2])));
}

template <class T>
ControllerBase<T>* Keyed(const std::vector<ModelKey<T>>& keys) {
    const bool still = std::all_of(keys.begin(), keys.end(), [&](const ModelKey<T>& k) {
        return std::equal(reinterpret_cast<const float*>(&k.value),
                          reinterpret_cast<const float*>(&k.value + 1),
                          reinterpret_cast<const float*>(&keys.front().value));
    });
    if (still) return new Const<T>(keys.front().value);
    auto* linear = new Linear<T>();
    linear->keys.reserve(keys.size());
    for (const ModelKey<T>& key : keys) linear->keys.emplace_back(key.time, key.value);
    return linear;
}

// The keys' value at evenly spaced times, as the engine would show it.
template <class T>
std::vector<ModelKey<T>> Sampled(const std::vector<ModelKey<T>>& keys, float length,
                                 double frames_per_second) {
    if (keys.size() < 2) return keys;
    Linear<T> source;
    for (const ModelKey<T>& key : keys) source.keys.emplace_back(key.time, key.value);
    std::vector<ModelKey<T>> out;
    const double step = kKeyUnitsPerSecond / frames_per_second;
    for (double frame = 0;; ++frame) {
        const float time = std::min(static_cast<float>(frame * step), length);
        source.Update(time);
        out.push_back({time, source.value});
        if (time >= length) return out;
    }
}

vect3 Normalized(const vect3& v) {
    const float length = std::sqrt(Dot(v, v));
    return {v.x / length, v.y / length, v.z / length};
}

class Builder {
  public:
    Builder(const Model& model, const BuildOptions& options, std::vector<std::string>& notes)
        : model_(model), options_(options), notes_(notes) {}

    std::unique_ptr<SceneHierarchy> Build() {
        Nodes();
        Measure();
        centre_ = {(low_.x + high_.x) / 2, (low_.y + high_.y) / 2, (low_.z + high_.z) / 2};
        const vect3 half{high_.x - centre_.x, high_.y - centre_.y, high_.z - centre_.z};
        radius_ = std::max(std::sqrt(Dot(half, half)), 1e-4f);
        for (const ModelImage& image : model_.images) Image(image);
        for (const ModelMaterial& material : model_.materials) Material(material);
        for (const ModelMesh& mesh : model_.meshes) Mesh(mesh);
        for (const ModelCamera& camera : model_.cameras) Camera(camera);
        if (model_.cameras.empty()) FittingCamera();
        scene_->currentCamera = scene_->cameras.front();
        for (const ModelLight& light : model_.lights) Light(light);
        if (model_.lights.empty()) FittingLights();
        Surroundings();
        if (options_.shadows) Shadows();
        return std::move(scene_);
    }

  private:
    template <class T, class... Arguments>
    T* Make(Arguments&&... arguments) {
        return scene_->Own(std::make_unique<T>(std::forward<Arguments>(arguments)...));
    }

    void Image(const ModelImage& image) {
        auto* texture = Make<TextureBitmapFile>(image.path);
        if (!image.bytes.empty())
            texture->SetFileData(image.bytes);
        else if (options_.embed && !texture->Embed())
            throw cli::Error(fmt::format("{}: the image cannot be read to be embedded", image.path));
        scene_->textures.push_back(texture);
    }

    void Material(const ModelMaterial& in) {
        auto* material = Make<MaterialSimple>();
        material->SetConstants(in.diffuse, in.ambient, in.specular, in.emissive, in.power);
        RenderStateBlock& state = *material->GetRenderState();
        state.specularEnable = in.power > 0;
        state.localViewer = in.power > 0;
        state.normalizeNormals = true;
        if (in.two_sided) state.cullMode = 2;
        material->SetBlendClass(kClassOpaque);
        if (in.blended) {
            material->SetBlendClass(kClassBlended);
            state.blendEnable = true;
            state.SetBlendPreset(2);
            state.depthMode = 1;
        } else if (in.alpha_cutoff) {
            material->SetBlendClass(kClassCutOut);
            state.alphaTestEnable = true;
            state.alphaFunc = 6;
            state.alphaRef = static_cast<u8>(std::clamp(*in.alpha_cutoff, 0.0f, 1.0f) * 255);
        }
        if (in.image >= 0) {
            auto* stage = new TextureStage();
            stage->SetTexture(scene_->textures[static_cast<std::size_t>(in.image)]);
            stage->State() = TextureStageStateBlock::Standard();
            stage->State().alphaOp = 3;
            stage->State().magFilter = stage->State().minFilter = stage->State().mipFilter = 2;
            if (in.clamp_u) stage->State().addressU = 2;
            if (in.clamp_v) stage->State().addressV = 2;
            stage->FillWithNeutralControllers();
            material->SetStage(0, stage);
        }
        scene_->materials.push_back(material);
    }

    HierarchyNode* Node(HierarchyNode* parent, ControllerTransformation* transform) {
        auto* node = Make<HierarchyNode>();
        node->transform = transform;
        if (parent) parent->AddChild(node);
        return node;
    }
    ControllerTransformation* Still(const Placement& p) {
        auto* transform = Make<ControllerTransformation>();
        transform->SetPosition(new Const<vect3>(p.position));
        transform->SetRotation(new Const<quat>(p.rotation));
        transform->SetScale(new Const<vect3>(p.scale));
        return transform;
    }
    HierarchyNode* StillNode(HierarchyNode* parent, const vect3& position) {
        return Node(parent, Still({position, {1, 1, 1}, kQuatIdentity}));
    }

    ControllerTransformation* Transform(const ModelNode& in) {
        if (in.motion) {
            ModelMotion motion = *in.motion;
            if (options_.frames_per_second > 0) {
                motion.positions = Sampled(motion.positions, model_.length, options_.frames_per_second);
                motion.rotations = Sampled(motion.rotations, model_.length, options_.frames_per_second);
                motion.scales = Sampled(motion.scales, model_.length, options_.frames_per_second);
            }
            auto* transform = Make<ControllerTransformation>();
            transform->SetPosition(Keyed(motion.positions));
            transform->SetRotation(Keyed(motion.rotations));
            transform->SetScale(Keyed(motion.scales));
            return transform;
        }
        if (Placement placement; TakeApart(in.local, placement)) return Still(placement);
        auto* matrices = new Linear<matrix>();
        matrices->keys.emplace_back(0.0f, in.local);
        auto* transform = Make<ControllerTransformationMatrix>();
        transform->SetMatrix(matrices);
        return transform;
    }

    void Nodes() {
        // The top is left unturned, so that what stands in world coordinates can hang on it.
        top_ = Node(nullptr, nullptr);
        scene_->root = top_;
        for (const ModelNode& node : model_.nodes) {
            HierarchyNode* parent = node.parent < 0 ? top_ : nodes_[static_cast<std::size_t>(node.parent)];
            nodes_.push_back(Node(parent, Transform(node)));
        }
    }

    // The smallest box around all that the model's motion reaches.
    void Measure() {
        constexpr float kMax = std::numeric_limits<float>::max();
        low_ = {kMax, kMax, kMax};
        high_ = {-kMax, -kMax, -kMax};
        const int count = model_.length > 0 ? kMeasurings : 0;
        for (int i = 0; i <= count; ++i) {
            const float time = model_.length * static_cast<float>(i) / static_cast<float>(kMeasurings);
            AddBounds(model_, WorldsAt(time), low_, high_);
        }
    }

    MeshSimple* Mesh(const ModelMesh& in) {
        auto* mesh = Make<MeshSimple>();
        auto* weighted = in.skin ? new GeometryWeighted() : nullptr;
        GeometrySimple* geometry = weighted ? weighted : new GeometrySimple();
        geometry->positions = in.positions;
        geometry->normals = in.normals;
        geometry->uvSets = in.uv_sets;
        geometry->triangles = in.triangles;
        geometry->colors = in.colors;
        if (weighted) weighted->weights = in.skin->weights;
        mesh->SetGeometry(geometry);
        if (in.material >= 0 && static_cast<std::size_t>(in.material) < scene_->materials.size())
            mesh->SetMaterial(scene_->materials[static_cast<std::size_t>(in.material)]);
        if (in.skin) {
            // Bones say where a skin is in the world. The top never moves, so that the mesh's matrix, which
            // the skin takes back out, stays the one that it is drawn with.
            auto* skin = new ModifierSkin();
            for (const int bone : in.skin->bones)
                skin->bones.push_back(nodes_[static_cast<std::size_t>(bone)]);
            skin->offsets = in.skin->offsets;
            skin->meshMatrix = kMatrixIdentity;
            mesh->AddModifier(skin);
            mesh->transformation = top_;
        } else {
            mesh->transformation = nodes_[static_cast<std::size_t>(in.node)];
        }
        scene_->meshes.push_back(mesh);
        return mesh;
    }

    void Camera(const ModelCamera& in) {
        AddCamera(nodes_[static_cast<std::size_t>(in.node)], in.vertical_fov, in.near_clip, in.far_clip);
    }
    void AddCamera(HierarchyNode* node, float fov, float near_clip, float far_clip) {
        auto* camera = Make<CameraSimple>();
        camera->transformation = node;
        camera->SetFov(new Const<f32>(fov));
        camera->SetNearControl(new Const<f32>(near_clip));
        camera->SetFarControl(new Const<f32>(far_clip));
        camera->SetRangeNearControl(new Const<f32>(near_clip));
        camera->SetFogFarControl(new Const<f32>(far_clip));
        scene_->cameras.push_back(camera);
    }
    // From the front, a little from the side and above, as near as the whole model stays in a 4 : 3 picture.
    void FittingCamera() {
        constexpr float kFov = 0.7f, kMargin = 1.1f;
        const vect3 back = Normalized({0.52f, -0.78f, 0.35f});
        const vect3 right = Normalized({-back.y, back.x, 0});
        const vect3 top = Cross(back, right);
        const float up = std::tan(kFov / 2) / kMargin, across = up * 4 / 3;
        float distance = 0;
        for (unsigned corner = 0; corner < 8; ++corner) {
            const vect3 p{(corner & 1 ? high_.x : low_.x) - centre_.x,
                          (corner & 2 ? high_.y : low_.y) - centre_.y,
                          (corner & 4 ? high_.z : low_.z) - centre_.z};
            const float needed = std::max(std::abs(Dot(p, right)) / across, std::abs(Dot(p, top)) / up);
            distance = std::max(distance, needed + Dot(p, back));
        }
        const vect3 eye{centre_.x + back.x * distance, centre_.y + back.y * distance,
                        centre_.z + back.z * distance};
        HierarchyNode* node = StillNode(top_, eye);
        node->target = StillNode(top_, centre_);
        AddCamera(node, kFov, std::max(distance - radius_ * 1.5f, distance * 0.05f), distance + radius_ * 20);
    }

    void AddLight(HierarchyNode* node, const color& diffuse, const color& specular, const color& ambient,
                  const float* attenuation) {
        auto* light = Make<LightOmni>();
        light->transformation = node;
        light->SetDiffuse(new Const<color>(diffuse));
        light->SetSpecular(new Const<color>(specular));
        light->SetAmbient(new Const<color>(ambient));
        light->SetRange(new Const<f32>(kUnlimitedRange));
        for (u32 power = 0; power < 3; ++power)
            light->SetAttenuation(power, new Const<f32>(attenuation[power]));
        scene_->lights.push_back(light);
    }
    // A light stands where its own node says, whatever the node's parents: its way through the world is
    // sampled.
    void Light(const ModelLight& in) {
        const auto place = [&](float time) {
            const matrix world = WorldsAt(time)[static_cast<std::size_t>(in.node)];
            if (!in.distant) return MatrixGetTranslation(world);
            const float reach = kFarAway * radius_;
            return vect3{centre_.x + world.m[2][0] * reach, centre_.y + world.m[2][1] * reach,
                         centre_.z + world.m[2][2] * reach};
        };
        std::vector<ModelKey<vect3>> way;
        if (Moves(in.node)) {
            const double rate = options_.frames_per_second > 0 ? options_.frames_per_second : kDefaultRate;
            const auto frames = static_cast<int>(std::ceil(model_.length / kKeyUnitsPerSecond * rate));
            for (int frame = 0; frame <= frames; ++frame) {
                const float time =
                    std::min(static_cast<float>(frame * kKeyUnitsPerSecond / rate), model_.length);
                way.push_back({time, place(time)});
            }
        } else {
            way.push_back({0, place(0)});
        }
        auto* transform = Make<ControllerTransformation>();
        transform->SetPosition(Keyed(way));
        transform->SetRotation(new Const<quat>(kQuatIdentity));
        transform->SetScale(new Const<vect3>(vect3{1, 1, 1}));
        AddLight(Node(top_, transform), in.diffuse, in.specular, in.ambient, in.attenuation);
    }
    bool Moves(int node) const {
        for (; node >= 0; node = model_.nodes[static_cast<std::size_t>(node)].parent)
            if (model_.nodes[static_cast<std::size_t>(node)].motion) return true;
        return false;
    }
    // The nodes' placements in the scene, as the engine has them.
    std::vector<matrix> WorldsAt(float time) {
        for (HierarchyNode* node : nodes_) node->Update(time);
        scene_->root->UpdateWorld(kMatrixIdentity);
        std::vector<matrix> worlds;
        for (const HierarchyNode* node : nodes_) worlds.push_back(node->worldMatrix);
        return worlds;
    }
    void FittingLights() {
        const float none[3] = {1, 0, 0};
        const float far = radius_ * 8;
        auto at = [&](float x, float y, float z) {
            return StillNode(top_, {centre_.x + x * far, centre_.y + y * far, centre_.z + z * far});
        };
        AddLight(at(-0.6f, -1.0f, 1.2f), {0.8f, 0.78f, 0.74f, 1}, {0.8f, 0.8f, 0.8f, 1}, {0, 0, 0, 1}, none);
        AddLight(at(1.2f, -0.3f, 0.2f), {0.22f, 0.25f, 0.3f, 1}, {0, 0, 0, 1}, {0, 0, 0, 1}, none);
    }

    void Surroundings() {
        auto* ambient = Make<AtmosphericAmbient>();
        ambient->SetAmbient(new Const<color>(color{0.28f, 0.28f, 0.3f, 1}));
        scene_->atmosphericsBefore.push_back(ambient);
        auto* background = Make<AtmosphericBackground>();
        if (options_.cube.empty())
            background->UseColor(new Const<color>(color{0.36f, 0.42f, 0.5f, 1}));
        else
            background->UseCube(Cube());
        scene_->background = background;
    }

    TextureCubemapFile* Cube() {
        auto* cube = Make<TextureCubemapFile>();
        if (options_.cube.size() == 1) {
            u32 key = 1;
            for (Bytes& face : CubeFaces(options_.cube.front())) cube->SetFaceData(key++, std::move(face));
            notes_.push_back("the background's six images are taken into the scene");
        } else {
            CheckFaces(options_.cube);
            for (u32 key = 1; key <= options_.cube.size(); ++key)
                cube->SetFace(key,
                              std::filesystem::absolute(options_.cube[key - 1]).lexically_normal().string());
            if (options_.embed && !cube->Embed())
                throw cli::Error("the background's images cannot be read to be embedded");
        }
        scene_->textures.push_back(cube);
        return cube;
    }

    void Shadows() {
        const auto brightness = [](const osm3d::Light* light) {
            const color& c = static_cast<const LightOmni*>(light)->GetDiffuse()->value;
            return 0.3f * c.r + 0.6f * c.g + 0.1f * c.b;
        };
        std::size_t brightest = 0;
        for (std::size_t i = 1; i < scene_->lights.size(); ++i)
            if (brightness(scene_->lights[i]) > brightness(scene_->lights[brightest])) brightest = i;
        osm3d::Light* light = scene_->shadowLight = scene_->lights[brightest];
        const auto cast = [light](osm3d::Mesh* mesh) {
            mesh->SetCastShadow(true);
            light->GetShadowCasters().push_back(mesh);
        };
        std::vector<std::size_t> solid;
        for (std::size_t i = 0; i < model_.meshes.size(); ++i)
            if (scene_->meshes[i]->GetMaterial() == nullptr ||
                scene_->meshes[i]->GetMaterial()->GetBlendClass() != kClassBlended)
                solid.push_back(i);
        for (const ShadowBody& body : ShadowBodies(model_, solid)) {
            if (!body.welded) {
                cast(scene_->meshes[body.meshes.front()]);
                continue;
            }
            MeshSimple* caster = Mesh(*body.welded);
            caster->SetHidden(true);
            cast(caster);
        }
        scene_->renderers.push_back(Make<SceneRendererShadow>());
        const std::size_t without = model_.meshes.size() - solid.size();
        const std::string which = model_.lights.empty()
                                      ? "the main light that was added"
                                      : fmt::format("light {} of {}, \"{}\"", brightest + 1,
                                                    model_.lights.size(), model_.lights[brightest].name);
        notes_.push_back(fmt::format("{} casts the shadows of {} meshes{}", which, solid.size(),
                                     without > 0 ? fmt::format("; {} blended ones cast none", without) : ""));
    }

    const Model& model_;
    const BuildOptions& options_;
    std::vector<std::string>& notes_;
    std::unique_ptr<SceneHierarchy> scene_ = std::make_unique<SceneHierarchy>();
    vect3 low_{}, high_{}, centre_{};
    float radius_ = 1;
    HierarchyNode* top_ = nullptr;
    std::vector<HierarchyNode*> nodes_;
};

}  // namespace

std::unique_ptr<SceneHierarchy> BuildScene(const Model& model, const BuildOptions& options,
                                           std::vector<std::string>& notes) {
    return Builder(model, options, notes).Build();
}

}  // namespace tools
