#include "conformance/engine_scenes.h"

#include <cmath>

#include "scene/transformation_prs.h"

namespace conformance {

using namespace osm3d;
using demo::F;
using demo::Painted;
using demo::Picture32;

SceneMaker::SceneMaker() {
    camera = Camera(Node({0, 0, 6}), 2 * std::atan(0.5f), 0.5f, 100, 100);
    Background({0, 0.05f, 0.3f, 1});
}

HierarchyNode* SceneMaker::Node(const vect3& position, const quat& rotation, const vect3& scale,
                                HierarchyNode* parent) {
    return Moving(Still(position), Still(rotation), Still(scale), parent);
}

HierarchyNode* SceneMaker::Moving(ControllerBase<vect3>* position, ControllerBase<quat>* rotation,
                                  ControllerBase<vect3>* scale, HierarchyNode* parent) {
    auto* transform = Make<ControllerTransformation>();
    transform->SetPosition(position ? position : Still(vect3{0, 0, 0}));
    transform->SetRotation(rotation ? rotation : Still(kQuatIdentity));
    transform->SetScale(scale ? scale : Still(vect3{1, 1, 1}));
    auto* node = Make<HierarchyNode>();
    node->transform = transform;
    (parent ? parent : scene.root)->AddChild(node);
    return node;
}

CameraSimple* SceneMaker::Camera(Transformation* place, float fov, float near_clip, float far_clip,
                                 float fog_far) {
    auto* made = Make<CameraSimple>();
    made->transformation = place;
    made->SetFov(Still(fov));
    made->SetNearControl(Still(near_clip));
    made->SetFarControl(Still(far_clip));
    made->SetRangeNearControl(Still(near_clip));
    made->SetFogFarControl(Still(fog_far));
    scene.cameras.push_back(made);
    if (!scene.currentCamera) scene.currentCamera = made;
    return made;
}

void SceneMaker::LookFrom(const vect3& position, float pitch, float yaw) {
    LookFrom(
        Node(position, demo::Then(QuatFromAxisAngle({1, 0, 0}, -pitch), QuatFromAxisAngle({0, 1, 0}, yaw))));
}

TextureCubemapFile* SceneMaker::Cube(const std::array<Picture32, 6>& faces) {
    auto* cube = Make<TextureCubemapFile>();
    for (u32 i = 0; i < faces.size(); ++i) cube->SetFaceData(i + 1, demo::EncodePng(faces[i]));
    scene.textures.push_back(cube);
    return cube;
}

MaterialSimple* SceneMaker::Matt(const color& c) {
    auto* material = Make<MaterialSimple>();
    material->SetConstants(c, c, kNone, kNone, 0);
    material->SetBlendClass(1);
    scene.materials.push_back(material);
    return material;
}

MaterialSimple* SceneMaker::Glow(const color& c) {
    MaterialSimple* material = Matt({0, 0, 0, c.a});
    material->SetConstants({0, 0, 0, c.a}, kNone, kNone, c, 0);
    return material;
}

TextureStage* SceneMaker::Layer(MaterialSimple* material, Texture* texture) {
    auto* layer = new TextureStage();
    layer->SetTexture(texture);
    layer->FillWithNeutralControllers();
    TextureStageStateBlock& state = layer->State();
    state.colorOp = state.alphaOp = 3;
    state.magFilter = state.minFilter = state.mipFilter = 2;
    material->SetStage(material->StageCount(), layer);
    return layer;
}

MaterialSimple* SceneMaker::Poster(Texture* texture) {
    MaterialSimple* material = Glow(kWhite);
    Layer(material, texture);
    return material;
}

void SceneMaker::Blend(MaterialSimple* material, int preset, u32 blend_class) {
    material->GetRenderState()->blendEnable = true;
    material->GetRenderState()->SetBlendPreset(preset);
    material->SetBlendClass(blend_class);
}

MeshSimple* SceneMaker::Mesh(const Shape& shape, Material* material, HierarchyNode* node) {
    return Mesh(Solid(shape), material, node);
}

MeshSimple* SceneMaker::Mesh(Geometry* geometry, Material* material, HierarchyNode* node) {
    auto* mesh = Make<MeshSimple>();
    mesh->SetGeometry(geometry);
    mesh->SetMaterial(material);
    mesh->transformation = node ? node : scene.root;
    scene.meshes.push_back(mesh);
    return mesh;
}

LightOmni* SceneMaker::Light(HierarchyNode* node, ControllerBase<color>* diffuse, float range) {
    auto* light = Make<LightOmni>();
    light->transformation = node;
    light->SetDiffuse(diffuse);
    light->SetSpecular(Still(kNone));
    light->SetAmbient(Still(kNone));
    light->SetRange(Still(range));
    for (u32 i = 0; i < 3; ++i) light->SetAttenuation(i, Still(i == 0 ? 1.0f : 0.0f));
    scene.lights.push_back(light);
    return light;
}

AtmosphericFog* SceneMaker::Fog(const color& c, float near_strength, float far_strength) {
    auto* fog = Make<AtmosphericFog>();
    fog->SetColor(Still(c));
    fog->SetIntensityNear(Still(near_strength));
    fog->SetIntensityFar(Still(far_strength));
    scene.atmosphericsBefore.push_back(fog);
    return fog;
}

Shape Board(float x0, float y0, float x1, float y1, float z) {
    Shape out;
    const vect3 front{0, 0, 1};
    out.Vertex({x0, y0, z}, front, {0, 1});
    out.Vertex({x1, y0, z}, front, {1, 1});
    out.Vertex({x1, y1, z}, front, {1, 0});
    out.Vertex({x0, y1, z}, front, {0, 0});
    out.Quad(0, 1, 2, 3);
    return out;
}

GeometrySimple* Solid(const Shape& shape, GeometrySimple* into) {
    if (!into) into = new GeometrySimple();
    into->positions = shape.positions;
    into->normals = shape.normals;
    into->colors = shape.colors;
    into->uvSets = {shape.uvs};
    for (std::size_t i = 0; i + 2 < shape.indices.size(); i += 3)
        into->triangles.push_back(
            {{static_cast<u16>(shape.indices[i]), static_cast<u16>(shape.indices[i + 1]),
              static_cast<u16>(shape.indices[i + 2])}});
    return into;
}

Shape Cell(int column, int row, int columns, int rows) {
    const float w = 8.0f / F(columns), h = 6.0f / F(rows), gap = 0.06f;
    const float x = -4 + w * F(column), y = 3 - h * F(row);
    return Board(x + gap * w, y - (1 - gap) * h, x + (1 - gap) * w, y - gap * h);
}

Picture32 Pattern(unsigned width, unsigned height, bool alpha) {
    return Painted(width, height, [alpha](float u, float v) {
        const bool odd = (static_cast<int>(u * 4) + static_cast<int>(v * 4)) % 2 != 0;
        color c = odd ? color{u, v, 1 - u, 1} : color{1 - v, u * v, v, 1};
        // An arrow's head that tells which way is up.
        if (v < 0.4f && std::abs(u - 0.5f) < v * 0.5f) c = {1, 1, 0.2f, 1};
        if (alpha) c.a = u;
        return c;
    });
}

Picture32 Checks(unsigned size, int count, const color& a, const color& b) {
    return Painted(size, size, [=](float u, float v) {
        return (static_cast<int>(u * F(count)) + static_cast<int>(v * F(count))) % 2 != 0 ? a : b;
    });
}

std::array<Picture32, 6> Room(unsigned size) {
    const color walls[6] = {{0.9f, 0.2f, 0.2f, 1}, {0.2f, 0.8f, 0.2f, 1}, {0.25f, 0.3f, 1, 1},
                            {0.9f, 0.8f, 0.1f, 1}, {0.1f, 0.8f, 0.8f, 1}, {0.8f, 0.2f, 0.9f, 1}};
    std::array<Picture32, 6> faces;
    for (std::size_t i = 0; i < 6; ++i)
        faces[i] = Painted(size, size, [&](float u, float v) {
            if (v < 0.5f && std::abs(u - 0.5f) < v * 0.5f) return kWhite;
            return demo::Shade(walls[i], 0.4f + 0.6f * u * (1 - 0.5f * v));
        });
    return faces;
}

EngineCase SceneCase(const std::string& name, void (*build)(SceneMaker&), std::vector<double> times) {
    EngineCase out;
    out.name = name;
    out.make = [build](CaseFolder& folder) {
        SceneMaker maker;
        build(maker);
        folder.Save(maker.stage);
    };
    out.times = std::move(times);
    out.is_scene = true;
    return out;
}

std::vector<EngineCase> SceneCases() {
    std::vector<EngineCase> all;
    for (const auto& family :
         {MaterialScenes(), StageScenes(), GeometryScenes(), AirScenes(), LightScenes(), RendererScenes()})
        all.insert(all.end(), family.begin(), family.end());
    return all;
}

}  // namespace conformance
