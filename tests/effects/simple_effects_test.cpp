// The three sources: what they send, and what stands in the picture then.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <memory>

#include "driver/data_object.h"
#include "effects/effect.h"
#include "effects/fake_host.h"
#include "material/texture_bitmap_file.h"
#include "render/context.h"
#include "render/display.h"
#include "scene/camera.h"
#include "scene/scene_hierarchy.h"
#include "support/engine_device.h"
#include "support/om2_scene.h"
#include "support/round_trip.h"

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
    return EffectPointer(CreateEffectByDefinition(fake_host::Definition(type, parameters), "clip", &factory));
}

fake_host::Controller& At(Effect& effect, u32 index) {
    return static_cast<fake_host::Controller&>(*effect.GetController(index));
}

// ---- what is sent

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
        EXPECT_EQ(quad[i].x, expected[i][0]);
        EXPECT_EQ(quad[i].y, expected[i][1]);
        EXPECT_EQ(quad[i].z, 1.0f);
        EXPECT_EQ(quad[i].rhw, 1.0f);
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
        EXPECT_EQ(quad[i].u, expected[i][2]);
        EXPECT_EQ(quad[i].v, expected[i][3]);
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

    // Shut down it draws nothing; started again it has kept its parameters.
    effect->Shutdown();
    recorded.Clear();
    effect->Draw();
    EXPECT_TRUE(recorded.Calls().empty());
    effect->Init();
    effect->Draw();
    EXPECT_NEAR(Drawn()[0].x, 500, 1e-3f);
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

    // Without a choice the scene's own camera stays.
    const EffectPointer bare = Make("fx_simple_scene", {"object"}, factory);
    bare->Init();
    scene->currentCamera = &own;
    bare->Draw();
    EXPECT_EQ(scene->renderedWith.back(), &own);

    // An empty list of cameras leaves it too.
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

// ---- what is seen

// The machine's own device, without a window.
struct EffectPicture : testing::Test {
    EffectPicture() : window(640, 480) {
        support::ResetDisplaySettings();
        SetWindow(window.Handle());
        SetDisplaySize(640, 480, -1);
        context = Context::Create();
        context->SetClearColor({0, 0, 1, 1});
        context->Clear(7, true);
    }
    ~EffectPicture() override {
        Context::Destroy();
        support::ResetDisplaySettings();
    }

    // 640 x 480 words 0xAARRGGBB.
    std::vector<u32> Grab() {
        IDirect3DDevice9* device = context->device.Get();
        ComPtr<IDirect3DSurface9> target;
        ComPtr<IDirect3DSurface9> copy;
        D3DSURFACE_DESC desc{};
        D3DLOCKED_RECT locked{};
        std::vector<u32> pixels(640 * 480, 0);
        EXPECT_TRUE(SUCCEEDED(device->GetRenderTarget(0, target.Put())) &&
                    SUCCEEDED(target->GetDesc(&desc)) &&
                    SUCCEEDED(device->CreateOffscreenPlainSurface(desc.Width, desc.Height, desc.Format,
                                                                  D3DPOOL_SYSTEMMEM, copy.Put(), nullptr)) &&
                    SUCCEEDED(device->GetRenderTargetData(target.Get(), copy.Get())) &&
                    SUCCEEDED(copy->LockRect(&locked, nullptr, D3DLOCK_READONLY)));
        for (i32 y = 0; y < 480 && locked.pBits != nullptr; ++y)
            std::memcpy(&pixels[static_cast<std::size_t>(y) * 640],
                        static_cast<const u8*>(locked.pBits) + std::ptrdiff_t{y} * locked.Pitch, 640 * 4);
        copy->UnlockRect();
        return pixels;
    }

    static testing::AssertionResult Shows(const std::vector<u32>& picture, u32 x, u32 y, u32 rgb) {
        const u32 is = picture[static_cast<std::size_t>(y) * 640 + x];
        for (const u32 shift : {0u, 8u, 16u}) {
            const int difference =
                static_cast<int>(is >> shift & 0xff) - static_cast<int>(rgb >> shift & 0xff);
            if (std::abs(difference) > 1) {
                return testing::AssertionFailure() << "(" << x << ", " << y << ") is " << std::hex
                                                   << (is & 0xffffff) << ", expected " << rgb;
            }
        }
        return testing::AssertionSuccess();
    }

    void Show(Effect& effect) {
        effect.Init();
        effect.Update(0, 0);
        effect.Draw();
        effect.Shutdown();
    }

    support::TestWindow window;
    Context* context;
    fake_host::Factory factory;
};

TEST_F(EffectPicture, ColoursBlendAsChosen) {
    const auto draw = [this](f64 r, f64 g, f64 b, f64 a, int destination, int source) {
        factory.values = {{"float red", r},
                          {"float green", g},
                          {"float blue", b},
                          {"float alpha", a},
                          {"int destination", destination},
                          {"int source", source}};
        const EffectPointer effect = Make("fx_simple_color", kColorParameters, factory);
        Show(*effect);
    };
    draw(1, 0.5, 0, 1, 0, 1);  // replaces
    const auto replaced = Grab();
    for (const auto& [x, y] : {std::pair{0u, 0u}, {639u, 0u}, {0u, 479u}, {639u, 479u}, {320u, 240u}}) {
        EXPECT_TRUE(Shows(replaced, x, y, 0xff8000));
    }
    draw(0, 0, 1, 0.25, 2, 3);  // a quarter of blue over it
    EXPECT_TRUE(Shows(Grab(), 320, 240, 0xbf6040));
    draw(0.25, 0, 0.5, 0, 1, 1);  // adds
    EXPECT_TRUE(Shows(Grab(), 320, 240, 0xff60c0));
    draw(1, 1, 1, 1, 1, 0);  // nothing of it
    EXPECT_TRUE(Shows(Grab(), 320, 240, 0xff60c0));
}

TEST_F(EffectPicture, BitmapStandsOnItsRectangle) {
    auto* texture = new TextureBitmapFile;
    texture->SetFileData(om2::Tga(4, 1, {{255, 0, 0}, {0, 255, 0}, {255, 255, 0}, {255, 255, 255}}, 128));
    texture->Load();
    data_texture data(texture);
    factory.object = &data;
    // 400 pixels wide, a texel every hundred, half over blue; then with its left and right edges changed
    // over.
    for (const bool turned : {false, true}) {
        context->Clear(7, true);
        factory.values = {{"float left", turned ? 0.5 : 0.1},
                          {"float top", 0.1},
                          {"float right", turned ? 0.1 : 0.5},
                          {"float bottom", 0.3},
                          {"float alpha", 1},
                          {"int destination", 2},
                          {"int source", 3}};
        const EffectPointer effect = Make("fx_simple_bmp", kBitmapParameters, factory);
        Show(*effect);
        const auto picture = Grab();
        EXPECT_TRUE(Shows(picture, turned ? 450 : 150, 200, 0x80007f));
        EXPECT_TRUE(Shows(picture, turned ? 350 : 250, 100, 0x00807f));
        EXPECT_TRUE(Shows(picture, turned ? 250 : 350, 299, 0x80807f));
        EXPECT_TRUE(Shows(picture, turned ? 150 : 450, 200, 0x8080ff));
        for (const auto& [x, y] : {std::pair{99u, 200u}, {500u, 200u}, {250u, 99u}, {250u, 300u}})
            EXPECT_TRUE(Shows(picture, x, y, 0x0000ff));
    }
}

// Fog from the camera's near at 1 to its fog far at 9, none to all of it: a quad at depth 5 is half in it.
// The camera stands at (0, 0, 5) with 90 degrees of height: at z = 0 a unit is 48 pixels.
TEST_F(EffectPicture, FogIsHalfInTheMiddleOfItsRange) {
    om2::SceneFile s;
    om2::File& f = s.file;
    s.cameras = [&] {
        f.I32(1);
        s.camera = f.Chunk("cASM", 1, [&] {
            f.Placement({0, 0, 5});
            for (const float v : {om2::kHalfPi, 1.0f, 100.0f}) f.ConstFloat(v);
            f.Null();
            f.ConstFloat(9);
        });
    };
    const auto quad = [&](float x0, float x1, float z) {
        s.Mesh(om2::Colored(om2::Quad(x0, -1, x1, 1, z), {1, 0, 0, 1}), s.Null(), s.Null());
    };
    quad(-3, -1, 0);   // depth 5
    quad(1, 3, 2);     // depth 3
    quad(-3, 3, -90);  // all fog
    s.before.push_back([&] {
        f.Chunk("ATFG", 1, [&] {
            f.U8(0);
            f.ConstColor({0, 1, 0, 1});
            f.ConstFloat(0);
            f.ConstFloat(1);
        });
    });
    s.background = [&] { f.ColorBackground({0.2f, 0.4f, 0.6f, 1}); };
    const test_support::TempFile file;
    file.Fill(s.Bytes());
    data_scene data;
    ASSERT_TRUE(data.Load(file.path)) << data.GetLoadError();
    factory.object = &data;
    const EffectPointer effect = Make("fx_simple_scene", kSceneParameters, factory);
    effect->Init();
    effect->Update(0, 0);
    effect->ClearTarget();
    effect->Draw();
    const auto picture = Grab();
    EXPECT_TRUE(Shows(picture, 320 - 96, 240, 0x808000));
    EXPECT_TRUE(Shows(picture, 320 + 200, 240, 0xbf4000));
    EXPECT_TRUE(Shows(picture, 320, 240, 0x00ff00));
    EXPECT_TRUE(Shows(picture, 10, 10, 0x336699)) << "fog does not reach what the clear left";
}

}  // namespace
