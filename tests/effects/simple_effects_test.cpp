// The three sources: what they send, and what stands in the picture then.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>

#include "driver/data_object.h"
#include "effects/effect.h"
#include "effects/fake_host.h"
#include "material/texture_bitmap_file.h"
#include "scene/camera.h"
#include "scene/scene_hierarchy.h"
#include "support/engine_device.h"

using namespace osm3d;

namespace {

const std::vector<std::string> kBitmapParameters{"object",          "float top",   "float left",
                                                 "float bottom",    "float right", "float alpha",
                                                 "int destination", "int source"};
const std::vector<std::string> kColorParameters{"float red",   "float green",     "float blue",
                                                "float alpha", "int destination", "int source"};
const std::vector<std::string> kSceneParameters{"object", "int camera", "float time"};

struct Deleter {
    void operator()(Effect* effect) const { effect->Release(); }
};
using EffectPointer = std::unique_ptr<Effect, Deleter>;

EffectPointer Make(const std::string& type, const std::vector<std::string>& parameters,
                   fake_host::Factory& factory) {
    static RenderTargetPool pool;
    return EffectPointer(
        CreateEffectByDefinition(fake_host::Definition(type, parameters), "clip", &factory, pool));
}

fake_host::Controller& At(Effect& effect, u32 index) {
    return static_cast<fake_host::Controller&>(*effect.GetController(index));
}

struct EffectCalls : testing::Test {
    support::EngineDevice engine;
    support::Recorder& recorded = engine.recorded();
    fake_host::Factory factory;

    std::array<EffectVertex, 4> Drawn() {
        const auto draws = recorded.Named("DrawPrimitiveUP");
        EXPECT_EQ(draws.size(), 1u);
        std::array<EffectVertex, 4> quad{};
        if (draws.size() == 1 && draws[0].vertices.size() == sizeof(quad)) {
            std::memcpy(quad.data(), draws[0].vertices.data(), sizeof(quad));
        } else {
            ADD_FAILURE() << "not a strip of four effect vertices";
        }
        return quad;
    }
};

TEST_F(EffectCalls, BlendChoicesNameFactors) {
    factory.values = {{"float red", 1}, {"int destination", 2}, {"int source", 3}};
    const EffectPointer effect = Make("fx_simple_color", kColorParameters, factory);
    effect->Init();
    effect->Update(0, 0);
    recorded.Clear();
    effect->Draw();
    for (const auto& [state, value] : {std::pair{D3DRS_DESTBLEND, u32{D3DBLEND_INVSRCALPHA}},
                                       {D3DRS_SRCBLEND, D3DBLEND_SRCALPHA},
                                       {D3DRS_ALPHABLENDENABLE, 1},
                                       {D3DRS_ZENABLE, 0},
                                       {D3DRS_LIGHTING, 0},
                                       {D3DRS_CULLMODE, D3DCULL_NONE}})
        EXPECT_EQ(recorded.Count("SetRenderState", {state, value}), 1u) << state;
    EXPECT_EQ(recorded.Calls().front().name, "BeginScene");
    EXPECT_EQ(recorded.Calls().back().name, "EndScene");

    // A second frame knows that all of this stands.
    recorded.Clear();
    effect->Draw();
    EXPECT_EQ(recorded.Named("SetRenderState").size(), 0u);
    EXPECT_TRUE(recorded.faults.empty());
}

TEST_F(EffectCalls, ColourCoversTheDesignSpaceAndFollowsItsParameters) {
    factory.values = {{"float red", 1}, {"float green", 0.5}, {"float blue", -3}, {"float alpha", 2}};
    const EffectPointer effect = Make("fx_simple_color", kColorParameters, factory);
    effect->SetStart(0);
    effect->SetLength(2);
    At(*effect, 1).fixed = false;
    effect->Init();
    effect->Update(0, 1);
    effect->Draw();
    const auto quad = Drawn();
    const f32 expected[4][2] = {{0, 0}, {0, 480}, {640, 0}, {640, 480}};
    for (u32 i = 0; i < 4; ++i) {
        EXPECT_TRUE(quad[i].x == expected[i][0] && quad[i].y == expected[i][1]);
        EXPECT_TRUE(quad[i].z == 1 && quad[i].rhw == 1);
        EXPECT_EQ(quad[i].diffuse, 0xffff4000u);  // green 0.5 x half way = 0.25
    }
}

TEST_F(EffectCalls, BitmapLiesInThousandsOfPixels) {
    const fake_host::Listener listener;
    factory.values = {{"float left", 0.1},
                      {"float top", 0.02},
                      {"float right", 0.3},
                      {"float bottom", 0.4},
                      {"float alpha", 0.5}};
    const EffectPointer effect = Make("fx_simple_bmp", kBitmapParameters, factory);
    effect->Init();
    EXPECT_EQ(listener.boxes, (std::vector<std::string>{"No texture data for effect."}));
    effect->Draw();
    auto quad = Drawn();
    const f32 expected[4][4] = {{100, 20, 0, 0}, {100, 400, 0, 1}, {300, 20, 1, 0}, {300, 400, 1, 1}};
    for (u32 i = 0; i < 4; ++i) {
        EXPECT_NEAR(quad[i].x, expected[i][0], 1e-3f);
        EXPECT_NEAR(quad[i].y, expected[i][1], 1e-3f);
        EXPECT_TRUE(quad[i].u == expected[i][2] && quad[i].v == expected[i][3]);
        EXPECT_EQ(quad[i].diffuse, 0x80ffffffu);
    }
    // Without a bitmap no blending block goes out.
    EXPECT_EQ(recorded.Count("SetRenderState", {D3DRS_ALPHABLENDENABLE}), 0u);

    At(*effect, 2).number = 0.5f;
    At(*effect, 5).number = 0;
    effect->ApplyAll();
    effect->Update(0, 0);
    recorded.Clear();
    effect->Draw();
    quad = Drawn();
    EXPECT_NEAR(quad[0].x, 500, 1e-3f);
    EXPECT_EQ(quad[3].diffuse, 0x00ffffffu);
    EXPECT_EQ(quad[3].u, 1.0f);

    effect->Shutdown();
    recorded.Clear();
    effect->Draw();
    EXPECT_TRUE(recorded.Calls().empty());
    EXPECT_TRUE(recorded.faults.empty());
}

// A scene whose every call is kept.
class WatchedScene : public SceneHierarchy {
  public:
    void Update(f32 time) override { times.push_back(time); }
    void Render() override { renderedWith.push_back(currentCamera); }
    std::vector<f32> times;
    std::vector<Camera*> renderedWith;
};

TEST_F(EffectCalls, SceneIsUpdatedOnceAFrameAndSeenFromTheChosenCamera) {
    auto* scene = new WatchedScene;
    data_scene data(scene);
    for (int i = 0; i < 3; ++i) scene->cameras.push_back(scene->Own(std::make_unique<CameraSimple>()));
    CameraSimple own;
    scene->currentCamera = &own;

    factory.object = &data;
    factory.values = {{"float time", 0.25}, {"int camera", 1}};
    const EffectPointer effect = Make("fx_simple_scene", kSceneParameters, factory);
    effect->Init();
    effect->ClearTarget();
    EXPECT_EQ(scene->times, (std::vector<f32>{25}));
    EXPECT_EQ(recorded.Named("Clear").size(), 1u);
    effect->Draw();
    EXPECT_EQ(scene->times.size(), 1u);
    effect->Draw();
    EXPECT_EQ(scene->times.size(), 2u);
    EXPECT_EQ(scene->renderedWith, (std::vector<Camera*>{scene->cameras[1], scene->cameras[1]}));

    // A clear without a draw lets the next draw skip its update.
    effect->ClearTarget();
    effect->Draw();
    EXPECT_EQ(scene->times.size(), 3u);

    for (const i32 past : {3, 100, -1}) {
        At(*effect, 1).integer = past;
        effect->ApplyAll();
        effect->Draw();
        EXPECT_EQ(scene->renderedWith.back(), scene->cameras[0]) << past;
    }
    EXPECT_TRUE(recorded.faults.empty());

    // Without cameras the scene's own stays.
    scene->cameras.clear();
    scene->currentCamera = &own;
    effect->Draw();
    EXPECT_EQ(scene->renderedWith.back(), &own);
}

TEST_F(EffectCalls, SceneEffectWithoutASceneDoesNothing) {
    data_texture wrong(new TextureBitmapFile);
    data_scene empty;
    for (DataObject* object : {static_cast<DataObject*>(nullptr), static_cast<DataObject*>(&wrong),
                               static_cast<DataObject*>(&empty)}) {
        const fake_host::Listener listener;
        factory.object = object;
        const EffectPointer effect = Make("fx_simple_scene", kSceneParameters, factory);
        effect->Init();
        EXPECT_EQ(listener.boxes.size(), object == &empty ? 0u : 1u);
        effect->Update(0, 0);
        effect->ClearTarget();
        effect->Draw();
        EXPECT_TRUE(recorded.Calls().empty());
    }
}

}  // namespace
