#include "stage.h"

#include <cmath>
#include <map>
#include <unordered_map>

#include "cli/error.h"
#include "cli/whole_file.h"
#include "geometry/modifier_skin.h"
#include "io/open.h"
#include "material/texture_cubemap_file.h"
#include "render/material_fx.h"
#include "render/scene_renderer_dof.h"
#include "render/scene_renderer_mirror.h"
#include "render/scene_renderer_shadow.h"
#include "scene/atmospheric_billboard.h"
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
    MaterialSimple* material = Within(look);
    scene_->materials.push_back(material);
    return material;
}

MaterialSimple* Stage::Within(const Look& look) {
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
        if (layer.generated != 0) {
            block.texCoordIndex = layer.generated;
            block.transformCount = 3;
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
    return material;
}

osm3d::Material* Stage::Effect(const std::string& file, osm3d::Material* inner) {
    auto* material = Make<MaterialFX>(file, inner);
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

osm3d::MeshSimple* Stage::Mesh(const Shape& shape, osm3d::Material* material, HierarchyNode* node) {
    constexpr std::size_t kMost = 65000;
    MeshSimple* last = nullptr;
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
        last = mesh;
    }
    return last;
}

void Stage::Skin(const Shape& shape, const std::vector<VertexWeights>& weights,
                 const std::vector<HierarchyNode*>& bones, const std::vector<vect3>& joints,
                 osm3d::Material* material) {
    auto* geometry = new GeometryWeighted();
    geometry->positions = shape.positions;
    geometry->normals = shape.normals;
    geometry->colors = shape.colors;
    geometry->uvSets = {shape.uvs};
    geometry->weights = weights;
    for (std::size_t i = 0; i + 2 < shape.indices.size(); i += 3)
        geometry->triangles.push_back(
            {{static_cast<u16>(shape.indices[i]), static_cast<u16>(shape.indices[i + 1]),
              static_cast<u16>(shape.indices[i + 2])}});
    auto* skin = new ModifierSkin();
    skin->bones = bones;
    for (const vect3& joint : joints) skin->offsets.push_back(MatrixTranslation(joint * -1.0f));
    auto* mesh = Make<MeshSimple>();
    mesh->SetGeometry(geometry);
    mesh->SetMaterial(material);
    mesh->transformation = scene_->root;
    mesh->AddModifier(skin);
    scene_->meshes.push_back(mesh);
}

osm3d::LightOmni* Stage::Light(HierarchyNode* node, ControllerBase<color>* diffuse, const color& specular,
                               float range, float fall) {
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
    return light;
}

osm3d::CameraSimple* Stage::Camera(HierarchyNode* node, ControllerBase<f32>* fov, float near_clip,
                                   float far_clip, float fog_far) {
    auto* camera = Make<CameraSimple>();
    camera->transformation = node;
    camera->SetFov(fov);
    camera->SetNearControl(Still(near_clip));
    camera->SetFarControl(Still(far_clip));
    camera->SetRangeNearControl(Still(near_clip));
    camera->SetFogFarControl(Still(fog_far));
    scene_->cameras.push_back(camera);
    if (!scene_->currentCamera) scene_->currentCamera = camera;
    return camera;
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

Texture* Stage::BackgroundCube(const std::array<Picture32, 6>& faces) {
    auto* cube = Make<TextureCubemapFile>();
    for (u32 i = 0; i < faces.size(); ++i) cube->SetFaceData(i + 1, EncodePng(faces[i]));
    scene_->textures.push_back(cube);
    auto* background = Make<AtmosphericBackground>();
    background->UseCube(cube);
    scene_->background = background;
    return cube;
}

void Stage::Sparks(const std::vector<Spark>& sparks, osm3d::Material* material) {
    auto* billboards = Make<AtmosphericBillboard>();
    auto* holder = new particle::Billboard();
    holder->material = material;
    billboards->SetBillboard(holder);
    for (const Spark& spark : sparks) billboards->AddElement(spark.node, spark.size);
    scene_->atmosphericsAfter.push_back(billboards);
}

void Stage::Focus(osm3d::CameraSimple* camera, ControllerBase<f32>* scale, ControllerBase<f32>* distance) {
    auto* renderer = Make<SceneRendererDOF>();
    renderer->SetFocus(camera, scale, distance);
    scene_->renderers.push_back(renderer);
}

void Stage::Shadows(osm3d::LightOmni* light) {
    scene_->shadowLight = light;
    scene_->renderers.push_back(Make<SceneRendererShadow>());
}

void Stage::ShadowOf(const Shape& shape, HierarchyNode* node, osm3d::LightOmni* light) {
    // Corners that lie together become one: an edge is one where two triangles name the same two vertices.
    auto* geometry = new GeometrySimple();
    std::map<std::array<i32, 3>, u16> known;
    const auto place = [](f32 v) { return static_cast<i32>(std::lround(v * 2048)); };
    for (std::size_t i = 0; i + 2 < shape.indices.size(); i += 3) {
        osm3d::Triangle triangle{};
        for (std::size_t k = 0; k < 3; ++k) {
            const vect3& p = shape.positions[shape.indices[i + k]];
            const auto [found, isNew] =
                known.try_emplace({place(p.x), place(p.y), place(p.z)}, static_cast<u16>(known.size()));
            if (isNew) geometry->positions.push_back(p);
            triangle.index[k] = found->second;
        }
        const u16* corner = triangle.index;
        if (corner[0] != corner[1] && corner[1] != corner[2] && corner[2] != corner[0])
            geometry->triangles.push_back(triangle);
    }
    auto* mesh = Make<MeshSimple>();
    mesh->SetGeometry(geometry);
    mesh->transformation = node;
    mesh->SetHidden(true);
    mesh->SetCastShadow(true);
    scene_->meshes.push_back(mesh);
    light->GetShadowCasters().push_back(mesh);
}

void Stage::Mirror(osm3d::MeshSimple* mesh) {
    auto* renderer = Make<SceneRendererMirror>();
    renderer->mirrors.push_back(mesh);
    scene_->renderers.push_back(renderer);
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
