#include "stage.h"

#include <cmath>
#include <unordered_map>

#include "cli/error.h"
#include "cli/whole_file.h"
#include "io/open.h"
#include "scene/scene_validation.h"

namespace demo {

using namespace osm3d;
using controller::Const;
using controller::Linear;

namespace {

constexpr u32 kClassOpaque = 1, kClassBlended = 4;
// Longer than any scene is played.
constexpr float kForever = 60;

}  // namespace

Stage::Stage() { scene_->root = Make<HierarchyNode>(); }

Texture* Stage::Picture(const Picture32& picture) {
    auto* texture = Make<TextureBitmapFile>();
    texture->SetFileData(EncodePng(picture));
    scene_->textures.push_back(texture);
    return texture;
}

MaterialSimple* Stage::Material(const Look& look) {
    auto* material = Make<MaterialSimple>();
    material->SetConstants(look.diffuse, look.ambient, look.specular, look.emissive, look.power);
    RenderStateBlock& state = *material->GetRenderState();
    state.lighting = look.lit;
    state.normalizeNormals = look.lit;
    state.specularEnable = state.localViewer = look.power > 0;
    if (look.two_sided) state.cullMode = 2;
    material->SetBlendClass(look.blend == Blend::None || look.behind_all ? kClassOpaque : kClassBlended);
    if (look.blend != Blend::None) {
        state.blendEnable = true;
        state.SetBlendPreset(look.blend == Blend::Alpha ? 2 : 3);
        state.depthMode = 1;
    }
    if (look.behind_all) {
        state.depthEnable = false;
        state.depthMode = 1;
    }
    for (u32 i = 0; i < look.layers.size(); ++i) {
        const Layer& layer = look.layers[i];
        auto* stage = new TextureStage();
        stage->SetTexture(layer.texture);
        stage->FillWithNeutralControllers();
        TextureStageStateBlock& block = stage->State();
        block.colorOp = layer.color_op;
        block.colorArg1 = layer.color_arg1;
        block.colorArg2 = layer.color_arg2;
        block.alphaOp = layer.alpha_op;
        block.alphaArg1 = layer.alpha_arg1;
        block.alphaArg2 = layer.alpha_arg2;
        block.addressU = block.addressV = layer.address;
        block.magFilter = block.minFilter = block.mipFilter = 2;
        if (layer.reflection) {
            block.texCoordIndex = 19;
            block.transformCount = 2;
            stage->SetTransformMode(TextureStage::kTransformCameraReflection);
        }
        stage->SetController(TextureStage::kUTiling, Still(layer.tiling_u));
        stage->SetController(TextureStage::kVTiling, Still(layer.tiling_v));
        const auto scroll = [&](TextureStage::Channel channel, float speed) {
            if (speed == 0) return;
            auto* offset = new Linear<f32>();
            offset->keys.emplace_back(0.0f, 0.0f);
            offset->keys.emplace_back(kForever * kUnits, kForever * speed);
            stage->SetController(channel, offset);
        };
        scroll(TextureStage::kUOffset, layer.speed_u);
        scroll(TextureStage::kVOffset, layer.speed_v);
        material->SetStage(i, stage);
    }
    scene_->materials.push_back(material);
    return material;
}

HierarchyNode* Stage::Node(HierarchyNode* parent, const vect3& position, const quat& rotation,
                           const vect3& scale) {
    return Moving(parent, Still(position), Still(rotation), Still(scale));
}

HierarchyNode* Stage::Moving(HierarchyNode* parent, ControllerBase<vect3>* position,
                             ControllerBase<quat>* rotation, ControllerBase<vect3>* scale) {
    auto* transform = Make<ControllerTransformation>();
    transform->SetPosition(position ? position : Still(vect3{0, 0, 0}));
    transform->SetRotation(rotation ? rotation : Still(kQuatIdentity));
    transform->SetScale(scale ? scale : Still(vect3{1, 1, 1}));
    auto* node = Make<HierarchyNode>();
    node->transform = transform;
    parent->AddChild(node);
    return node;
}

ControllerBase<quat>* Stage::Turning(const vect3& axis, float turns, float seconds, float first) {
    // Four keys a turn at least: slerp goes the shorter way.
    const int count = std::max(1, static_cast<int>(std::ceil(std::abs(turns) * seconds * 4)));
    auto* track = new Linear<quat>();
    for (int i = 0; i <= count; ++i) {
        const float time = seconds * F(i) / F(count);
        track->keys.emplace_back(time * kUnits, QuatFromAxisAngle(axis, first + 2 * kPi * turns * time));
    }
    return track;
}

void Stage::Mesh(const Shape& shape, MaterialSimple* material, HierarchyNode* node) {
    constexpr std::size_t kMost = 65000;
    for (std::size_t next = 0; next < shape.indices.size();) {
        auto* geometry = new GeometrySimple();
        geometry->uvSets.resize(1);
        std::unordered_map<std::uint32_t, u16> known;
        while (next < shape.indices.size() && known.size() + 3 <= kMost) {
            osm3d::Triangle triangle{};
            for (u16& corner : triangle.index) {
                const std::uint32_t index = shape.indices[next++];
                const auto [place, isNew] = known.try_emplace(index, static_cast<u16>(known.size()));
                corner = place->second;
                if (!isNew) continue;
                geometry->positions.push_back(shape.positions[index]);
                if (!shape.normals.empty()) geometry->normals.push_back(shape.normals[index]);
                if (!shape.colors.empty()) geometry->colors.push_back(shape.colors[index]);
                geometry->uvSets[0].push_back(shape.uvs[index]);
            }
            geometry->triangles.push_back(triangle);
        }
        auto* mesh = Make<MeshSimple>();
        mesh->SetGeometry(geometry);
        mesh->SetMaterial(material);
        mesh->transformation = node;
        scene_->meshes.push_back(mesh);
    }
}

void Stage::Light(HierarchyNode* node, ControllerBase<color>* diffuse, const color& specular, float range,
                  float fall) {
    auto* light = Make<LightOmni>();
    light->transformation = node;
    light->SetDiffuse(diffuse);
    light->SetSpecular(Still(specular));
    light->SetAmbient(Still(color{0, 0, 0, 1}));
    light->SetRange(Still(range));
    light->SetAttenuation(0, Still(1.0f));
    light->SetAttenuation(1, Still(0.0f));
    light->SetAttenuation(2, Still(fall > 0 ? 1 / (fall * fall) : 0.0f));
    scene_->lights.push_back(light);
}

void Stage::Camera(HierarchyNode* node, ControllerBase<f32>* fov, float near_clip, float far_clip,
                   float fog_far) {
    auto* camera = Make<CameraSimple>();
    camera->transformation = node;
    camera->SetFov(fov);
    camera->SetNearControl(Still(near_clip));
    camera->SetFarControl(Still(far_clip));
    camera->SetRangeNearControl(Still(near_clip));
    camera->SetFogFarControl(Still(fog_far));
    scene_->cameras.push_back(camera);
    if (!scene_->currentCamera) scene_->currentCamera = camera;
}

void Stage::Ambient(const color& c) {
    auto* ambient = Make<AtmosphericAmbient>();
    ambient->SetAmbient(Still(c));
    scene_->atmosphericsBefore.push_back(ambient);
}

void Stage::Fog(ControllerBase<color>* c, float start, float fog_near, float fog_far) {
    auto* fog = Make<AtmosphericFog>();
    fog->SetColor(c);
    // Less than none at the near distance puts the start where it is wanted.
    fog->SetIntensityNear(Still(-(start - fog_near) / (fog_far - start)));
    fog->SetIntensityFar(Still(1.0f));
    scene_->atmosphericsBefore.push_back(fog);
}

void Stage::BackgroundColor(const color& c) {
    auto* background = Make<AtmosphericBackground>();
    background->UseColor(Still(c));
    scene_->background = background;
}

void Stage::BackgroundPicture(Texture* picture) {
    auto* background = Make<AtmosphericBackground>();
    background->UseBitmap(picture);
    scene_->background = background;
}

void Stage::Save(const std::string& path) {
    std::string reason;
    if (!ValidateScene(*scene_, reason)) throw cli::Error(path + ": would not play: " + reason);
    cli::WholeFile file(path);
    file.CloseHandle();
    std::unique_ptr<osmio::OutStream> out(osmio::OpenChunkedOutput(file.Beside(), osmio::kCompressionNone));
    if (!out) throw cli::Error(path + ": cannot be written");
    out->WriteObject(scene_.get());
    const bool written = out->Flush();
    out.reset();
    if (!written) throw cli::Error(path + ": cannot be written: the disk did not take it");
    file.Commit();
}

}  // namespace demo
