// Depth of field: what stays sharp, what is blurred and by how much, and what stands around it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "geometry/geometry_simple.h"
#include "geometry/mesh_simple.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "render/scene_renderer_dof.h"
#include "scene/camera.h"
#include "scene/hierarchy_node.h"
#include "scene/scene_hierarchy.h"
#include "support/allocations.h"
#include "support/engine_device.h"
#include "support/om2_bytes.h"
#include "support/om2_scene.h"
#include "support/picture_device.h"
#include "support/round_trip.h"

using namespace osm3d;

namespace {

using controller::Const;

constexpr f32 kNear = 1, kFar = 100;
constexpr u32 kWidth = 640, kHeight = 480;

/// Distance from the eye at which the clip-space depth is `z`: the projection gives far / (far - near) x
/// (distance - near).
f32 DistanceOf(f32 z) { return kNear + z * (kFar - kNear) / kFar; }

/// What the lookup map holds at `u`, and what is read beyond its ends.
f32 Lookup(f32 u) {
    return std::max(0.0f, std::fabs(1.25f - 2.5f * std::clamp(u, 0.5f / 256, 255.5f / 256)) - 0.25f);
}

/// A scene before a camera that looks from the origin down -z over 90 degrees: at distance D it sees y from
/// -D to D and x from -4/3 D to 4/3 D.
class DepthScene {
  public:
    DepthScene() {
        scene.root = scene.Own(std::make_unique<HierarchyNode>());
        camera = scene.Own(std::make_unique<CameraSimple>());
        camera->SetFov(new Const<f32>(om2::kHalfPi));
        camera->SetNearControl(new Const<f32>(kNear));
        camera->SetFarControl(new Const<f32>(kFar));
        scene.cameras.push_back(camera);
        scene.currentCamera = camera;
    }

    MaterialSimple* Glowing(const color& c) {
        auto* material = scene.Own(std::make_unique<MaterialSimple>());
        material->SetConstants({0, 0, 0, 1}, {0, 0, 0, 0}, {0, 0, 0, 0}, c, 0);
        material->SetBlendClass(1);
        scene.materials.push_back(material);
        return material;
    }

    /// A rectangle across the view at `distance`: x and y of the picture, -1 to 1.
    GeometrySimple* Add(f32 x0, f32 y0, f32 x1, f32 y1, f32 distance, MaterialSimple* material) {
        auto* shape = new GeometrySimple;
        const f32 w = distance * 4 / 3, h = distance;
        shape->positions = {{x0 * w, y0 * h, -distance},
                            {x1 * w, y0 * h, -distance},
                            {x1 * w, y1 * h, -distance},
                            {x0 * w, y1 * h, -distance}};
        shape->triangles = {{{0, 1, 2}}, {{0, 2, 3}}};
        auto* mesh = scene.Own(std::make_unique<MeshSimple>());
        mesh->SetGeometry(shape);
        mesh->SetMaterial(material);
        scene.meshes.push_back(mesh);
        return shape;
    }

    SceneRendererDOF* AddFocus(Const<f32>* scale, Const<f32>* distance) {
        auto* renderer = scene.Own(std::make_unique<SceneRendererDOF>());
        renderer->SetFocus(camera, scale, distance);
        scene.renderers.push_back(renderer);
        return renderer;
    }

    void Load() {
        scene.LoadResources();
        scene.Update(0);
    }

    SceneHierarchy scene;
    CameraSimple* camera;
};

/// Black and white, alternating with every pixel of a 640 x 480 picture.
void AddChecks(DepthScene& s, f32 distance) {
    std::vector<om2::Rgb> texels;
    for (int i = 0; i < 64 * 64; ++i) {
        const int level = ((i ^ i / 64) & 1) * 255;
        texels.push_back({level, level, level});
    }
    auto* texture = s.scene.Own(std::make_unique<TextureBitmapFile>());
    texture->SetFileData(om2::Tga(64, 64, texels));
    s.scene.textures.push_back(texture);
    auto* stage = new TextureStage;
    stage->FillWithNeutralControllers();
    stage->State() = TextureStageStateBlock::Standard();
    stage->SetTexture(texture);
    MaterialSimple* material = s.Glowing({1, 1, 1, 1});
    material->SetStage(0, stage);
    GeometrySimple* shape = s.Add(-1, -1, 1, 1, distance, material);
    // Pixel i of the 640 looks at the middle of texel i.
    const f32 half = 0.5f / 64, u = half + 10, v = half + 7.5f;
    shape->uvSets = {{{half, v}, {u, v}, {u, half}, {half, half}}};
}

class SceneRendererDOFPicture : public testing::Test {
  protected:
    void Frame(DepthScene& s) {
        device.Frame([&] {
            device.context().SetClearColor({0, 0, 0, 0});
            s.scene.ClearBackground(0);
            s.scene.Render();
        });
    }

    support::PictureDevice device{kWidth, kHeight};
};

TEST_F(SceneRendererDOFPicture, AtTheFocusEveryPixelIsTheScenes) {
    DepthScene s;
    AddChecks(s, DistanceOf(10));
    const SceneRendererDOF* renderer = s.AddFocus(nullptr, new Const<f32>(10.0f));
    s.Load();
    ASSERT_TRUE(renderer->IsReady());
    Frame(s);
    u32 wrong = 0;
    for (u32 y = 0; y < kHeight; ++y) {
        for (u32 x = 0; x < kWidth; ++x) {
            if (device.At(x, y) != ((x ^ y) & 1) * 0xffffffu) ++wrong;
        }
    }
    EXPECT_EQ(wrong, 0u);
    const color& clear = device.context().clearColor;
    EXPECT_EQ(clear, (color{1, 0, 1, 0}));
}

constexpr f32 kGrey = 0.6f;  // leaves room above: what is too bright shows

/// What the picture shows at pixel `i` across an edge at pixel `edge`: black before it, grey from it on, all
/// of it too far away to be sharp at all. `strong` is how much of the grey the strongly blurred copy has at
/// its pixel k.
template <class Strong>
f32 AcrossEdge(int i, int edge, const Strong& strong) {
    const auto copied = [&](int k) { return std::round(strong(k) * kGrey * 255) / 255; };
    const f32 blurred = (copied(i / 2) + copied((i + 1) / 2)) / 2;
    // Half a texel beside the pixel.
    const f32 shifted = (static_cast<f32>(i >= edge) + static_cast<f32>(i + 1 >= edge)) * kGrey / 2;
    // Before the edge is nothing, whose alpha is 1; behind it the end of the lookup map.
    const f32 alpha = i < edge ? 1 : std::round(Lookup(2) * 255) / 255;
    const f32 share = (alpha - 0.5f) * 1.75f;
    return shifted + (blurred - shifted) * share;
}

/// The weights 0.1, 0.4, 0.4, 0.1 at -1.5, -0.5, 0.5, 1.5 `step`s beside `t`, where texels from `edge` on are
/// 1; the middle of texel k stands at k + 0.5.
f32 FourTaps(f32 t, f32 step, int edge) {
    const f32 weights[] = {0.1f, 0.4f, 0.4f, 0.1f};
    f32 sum = 0;
    for (int k = 0; k < 4; ++k) {
        const f32 at = t + (static_cast<f32>(k) - 1.5f) * step;
        sum += weights[k] * std::clamp(at - (static_cast<f32>(edge) - 0.5f), 0.0f, 1.0f);
    }
    return sum;
}

TEST_F(SceneRendererDOFPicture, OffTheFocusEdgesAreAsWideAsTheFourTapsMakeThem) {
    const auto across = [](int k) {
        // 640 texels less three at each end in 320 pixels, taps two texels apart.
        return FourTaps(3.5f + static_cast<f32>(k) * 634 / 320, 2, 320);
    };
    const auto down = [](int k) {
        // Half of the rows, 240 less one and a half at each end, taps one row apart.
        return FourTaps(2.0f + static_cast<f32>(k) * 237 / 240, 1, 120);
    };
    for (const bool vertical : {true, false}) {
        DepthScene s;
        MaterialSimple* grey = s.Glowing({kGrey, kGrey, kGrey, 1});
        if (vertical) {
            s.Add(0, -1, 1, 1, DistanceOf(60), grey);
        } else {
            s.Add(-1, -1, 1, 0, DistanceOf(60), grey);
        }
        s.AddFocus(nullptr, new Const<f32>(2.0f));
        s.Load();
        Frame(s);
        const int edge = vertical ? 320 : 240;
        int between = 0;
        for (int i = edge - 20; i < edge + 20; ++i) {
            const f32 expected = vertical ? AcrossEdge(i, edge, across) : AcrossEdge(i, edge, down);
            const auto at = static_cast<u32>(i);
            const u32 pixel = vertical ? device.At(at, 200) : device.At(300, at);
            EXPECT_NEAR(static_cast<f32>(pixel & 0xff), expected * 255, 2) << vertical << " " << i;
            between += expected > 0.02f && expected < kGrey - 0.02f;
        }
        EXPECT_GE(between, 6);  // a step would be none
    }
}

/// The alpha of the current target's pixel.
class Alphas {
  public:
    explicit Alphas(RenderTarget& target) {
        D3DSURFACE_DESC desc{};
        D3DLOCKED_RECT locked{};
        ComPtr<IDirect3DSurface9> copy;
        IDirect3DDevice9* device = GetContext()->device.Get();
        target.surface->GetDesc(&desc);
        width = desc.Width;
        device->CreateOffscreenPlainSurface(desc.Width, desc.Height, desc.Format, D3DPOOL_SYSTEMMEM,
                                            copy.Put(), nullptr);
        device->GetRenderTargetData(target.surface.Get(), copy.Get());
        copy->LockRect(&locked, nullptr, D3DLOCK_READONLY);
        for (u32 y = 0; y < desc.Height; ++y) {
            const u8* row = static_cast<const u8*>(locked.pBits) + static_cast<std::size_t>(locked.Pitch) * y;
            for (u32 x = 0; x < width; ++x) values.push_back(row[4 * x + 3]);
        }
        copy->UnlockRect();
    }
    f32 At(u32 x, u32 y) const { return static_cast<f32>(values.at(width * y + x)); }

  private:
    u32 width;
    std::vector<u8> values;
};

TEST_F(SceneRendererDOFPicture, BlurGrowsWithTheDistanceFromTheFocus) {
    struct Case {
        Const<f32>* scale;
        Const<f32>* distance;
        f32 d, s;  // the focus and the slope that must come of them
        std::array<f32, 8> depths;
    };
    const Case cases[] = {
        {new Const<f32>(0.5f),
         new Const<f32>(10.0f),
         10,
         0.5f / 10 * 0.5f,
         {2, 5, 6.5f, 10, 13.5f, 16, 20, 23}},
        {nullptr, new Const<f32>(20.0f), 20, 0.5f / 20, {9, 13, 15, 17, 20, 23, 26, 27}},
        // Without a distance the middle of the camera's depths.
        {nullptr, nullptr, 49.5f, 0.5f / 49.5f, {20, 30, 35, 38, 49.5f, 61, 65, 75}},
    };
    for (const Case& c : cases) {
        DepthScene s;
        MaterialSimple* material = s.Glowing({0.5f, 0.5f, 0.5f, 1});
        for (std::size_t i = 0; i < 8; ++i) {
            const f32 x = static_cast<f32>(i) / 4 - 1;
            s.Add(x, -1, x + 0.25f, 1, DistanceOf(c.depths[i]), material);
        }
        s.AddFocus(c.scale, c.distance);
        s.Load();
        // The back buffer has no alpha.
        Context& context = device.context();
        RenderTarget* screen = context.GetRenderTarget();
        const std::unique_ptr<RenderTarget> target = CreateRenderTarget(kWidth, kHeight, false, false);
        context.SetRenderTarget(target.get());
        device.context().BeginScene();
        s.scene.Render();
        device.context().EndScene();
        EXPECT_EQ(context.GetRenderTarget(), target.get());
        const Alphas alphas(*target);
        context.SetRenderTarget(screen);
        for (std::size_t i = 0; i < 8; ++i) {
            // The merge leaves 2a x 2a + a (1 - 2a), and 1 from a = 0.5 on.
            const f32 a = Lookup(0.5f + (c.depths[i] - c.d) * c.s);
            const f32 expected = a < 0.5f ? a + 2 * a * a : 1;
            EXPECT_NEAR(alphas.At(static_cast<u32>(i) * 80 + 40, 240), expected * 255, 4) << i;
        }
    }
}

// --------------------------------------------------------------------------------------------- the chain

/// Notes what stood on the device, and goes on.
class Witness : public SceneRenderer {
  public:
    Witness(const char* label, std::vector<std::string>& to) : name(label), log(to) {}
    bool Read(osmio::InStream*) override { return false; }
    void Write(osmio::OutStream*) override {}
    void Update(f32) override {}
    void Render(SceneHierarchy* scene, Camera*) override {
        const D3DVIEWPORT9& view = GetContext()->GetRenderTarget()->viewport;
        log.push_back(name + " " + std::to_string(view.Width) + "x" + std::to_string(view.Height));
        scene->Render();
    }

  private:
    std::string name;
    std::vector<std::string>& log;
};

TEST_F(SceneRendererDOFPicture, WrapsTheRenderersThatStandBeforeIt) {
    DepthScene s;
    std::vector<std::string> log;
    s.Add(-1, -1, 1, 1, DistanceOf(10), s.Glowing({0, 1, 0, 1}));
    s.scene.renderers.push_back(s.scene.Own(std::make_unique<Witness>("inside", log)));
    s.AddFocus(nullptr, new Const<f32>(10.0f));
    s.scene.renderers.push_back(s.scene.Own(std::make_unique<Witness>("outside", log)));
    s.Load();
    Context& context = device.context();
    // A target of another size is filled all the same.
    const std::unique_ptr<RenderTarget> target = CreateRenderTarget(200, 100, false, false);
    RenderTarget* screen = context.GetRenderTarget();
    context.SetRenderTarget(target.get());
    context.BeginScene();
    s.scene.Render();
    context.EndScene();
    EXPECT_EQ(log, (std::vector<std::string>{"outside 200x100", "inside 640x480"}));
    EXPECT_EQ(target->viewport.Width, 200u);
    EXPECT_FLOAT_EQ(context.projectionParams.aspect, 4.0f / 3);
    D3DVIEWPORT9 view{};
    context.device->GetViewport(&view);
    EXPECT_EQ(view.Width, 200u);
    context.SetRenderTarget(screen);
}

TEST_F(SceneRendererDOFPicture, WithoutAFocusTheCamerasPictureIsThePlainOne) {
    DepthScene s;
    AddChecks(s, DistanceOf(60));
    auto* renderer = s.scene.Own(std::make_unique<SceneRendererDOF>());
    CameraSimple other;
    renderer->SetFocus(&other, nullptr, new Const<f32>(1.0f));
    s.scene.renderers.push_back(renderer);
    s.Load();
    Frame(s);
    EXPECT_EQ(device.At(100, 100), 0u);
    EXPECT_EQ(device.At(101, 100), 0xffffffu);
    EXPECT_EQ(device.context().clearColor, (color{0, 0, 0, 0}));

    // No camera at all is out of the ordinary and does nothing.
    device.Frame([&] { renderer->Render(&s.scene, nullptr); });
}

TEST_F(SceneRendererDOFPicture, AForeignStateBeforeTheBlurAmountDoesNotReachIt) {
    // The last thing drawn is turned away, textured and blended: the alpha of the rest is 1 all the same, so
    // that nothing, which is everywhere else, is as blurred as can be.
    DepthScene s;
    MaterialSimple* last = s.Glowing({1, 1, 1, 1});
    last->GetRenderState()->cullMode = 1;
    last->GetRenderState()->blendEnable = true;
    last->GetRenderState()->SetBlendPreset(2);
    last->SetBlendClass(5);
    auto* texture = s.scene.Own(std::make_unique<TextureBitmapFile>());
    texture->SetFileData(om2::Tga(1, 1, {{255, 255, 255}}, 0));
    s.scene.textures.push_back(texture);
    auto* stage = new TextureStage;
    stage->FillWithNeutralControllers();
    stage->State() = TextureStageStateBlock::Standard();
    stage->SetTexture(texture);
    last->SetStage(0, stage);
    s.Add(-0.9f, -0.9f, -0.8f, -0.8f, DistanceOf(10), last);
    s.Add(-0.5f, -1, 0, 1, DistanceOf(60), s.Glowing({1, 1, 1, 1}));
    s.AddFocus(nullptr, new Const<f32>(60.0f));
    s.Load();
    Frame(s);
    // Sharp up to its last pixel, and beside it a halo of the blurred copy.
    EXPECT_EQ(device.At(319, 240), 0xffffffu);
    EXPECT_GT(device.At(321, 240) & 0xff, 30u);
}

TEST_F(SceneRendererDOFPicture, NumbersThatDivideByNothingAreDrawn) {
    for (const f32 distance : {0.0f, -5.0f, std::nanf(""), INFINITY}) {
        DepthScene s;
        s.Add(-1, -1, 1, 1, DistanceOf(10), s.Glowing({1, 1, 1, 1}));
        s.camera->SetFarControl(new Const<f32>(distance == 0 ? kNear : kFar));  // far = near
        s.AddFocus(new Const<f32>(INFINITY), new Const<f32>(distance));
        s.Load();
        Frame(s);
        Frame(s);
    }
}

TEST_F(SceneRendererDOFPicture, LeavesTheNextScenesPictureAlone) {
    DepthScene blurred, next;
    blurred.Add(-1, -1, 1, 1, DistanceOf(60), blurred.Glowing({1, 1, 1, 1}));
    blurred.AddFocus(nullptr, new Const<f32>(2.0f));
    blurred.Load();
    AddChecks(next, 20);
    next.Add(0, 0, 0.5f, 0.5f, 10, next.Glowing({0, 0, 1, 1}));
    next.Load();
    const auto picture = [&] {
        std::vector<u32> pixels;
        for (u32 y = 0; y < kHeight; y += 7) {
            for (u32 x = 0; x < kWidth; x += 7) pixels.push_back(device.At(x, y));
        }
        return pixels;
    };
    Frame(next);
    const std::vector<u32> alone = picture();
    device.Frame([&] {
        blurred.scene.Render();
        device.context().SetClearColor({0, 0, 0, 0});
        next.scene.ClearBackground(0);
        next.scene.Render();
    });
    EXPECT_EQ(picture(), alone);
}

TEST(SceneRendererDOFFrame, DoesNotAllocate) {
    const support::EngineDevice engine(support::DeviceOptions{false, false, true});
    DepthScene s;
    for (int i = 0; i < 20; ++i) s.Add(-1, -1, 1, 1, 5.0f + static_cast<f32>(i), s.Glowing({1, 1, 1, 1}));
    const SceneRendererDOF* renderer = s.AddFocus(nullptr, new Const<f32>(2.0f));
    s.Load();
    ASSERT_TRUE(renderer->IsReady());
    const auto frame = [&] {
        GetContext()->BeginScene();
        s.scene.Update(1);
        s.scene.Render();
        GetContext()->EndScene();
    };
    frame();
    frame();
    const long long before = support::Allocations();
    frame();
    EXPECT_EQ(support::Allocations(), before);
    if (!support::kCountsAllocations) GTEST_SKIP() << "a sanitizer counts for itself";
}

TEST(SceneRendererDOFFrame, IsThePlainOneOnADeviceWithoutShaders) {
    support::EngineDevice engine;
    engine.recorded().adapter.caps.PixelShaderVersion = D3DPS_VERSION(0, 0);
    DepthScene s;
    s.Add(-1, -1, 1, 1, 5, s.Glowing({1, 1, 1, 1}));
    const SceneRendererDOF* renderer = s.AddFocus(nullptr, new Const<f32>(2.0f));
    s.Load();
    EXPECT_FALSE(renderer->IsReady());
    engine.recorded().Clear();
    GetContext()->BeginScene();
    s.scene.Render();
    GetContext()->EndScene();
    EXPECT_EQ(engine.recorded().totals.draws, 1u);
    EXPECT_EQ(engine.recorded().Count("SetRenderTarget"), 0u);
    // The colour alone is cleared.
    ASSERT_EQ(engine.recorded().Count("Clear"), 1u);
    EXPECT_EQ(engine.recorded().Named("Clear")[0].args.at(1), D3DCLEAR_TARGET);
}

// -------------------------------------------------------------------------------------------------- records

TEST(SceneRendererDOFRecord, IsReadAndWrittenInTheOrderOfTheFile) {
    om2::File f;
    const auto write = [&](om2::File& to, unsigned version, bool twice) {
        to.Chunk("SRDF", version, [&] {
            to.I32(twice ? 3 : 2);
            const int camera = to.Camera([&] { to.Null(); }, 1, 1, 100);
            to.ConstFloat(2);
            to.Null();
            to.Null();  // a focus for no camera
            to.Null();
            to.ConstFloat(3);
            if (!twice) return;
            to.Ref(camera);
            to.Null();
            to.ConstFloat(4);
        });
    };
    write(f, 1, true);
    const test_support::Loaded loaded = test_support::Load(f.bytes);
    auto* renderer = loaded.As<SceneRendererDOF>();
    ASSERT_NE(renderer, nullptr);
    ASSERT_EQ(renderer->FocusCount(), 2u);
    EXPECT_NE(renderer->GetFocusCamera(0), nullptr);
    EXPECT_EQ(renderer->GetFocusScale(0), nullptr);  // the later entry of the same camera
    EXPECT_EQ(renderer->GetFocusDistance(0)->value, 4);
    EXPECT_EQ(renderer->GetFocusCamera(1), nullptr);
    EXPECT_EQ(renderer->GetFocusDistance(1)->value, 3);

    om2::File once;
    write(once, 1, false);
    const test_support::Loaded plain = test_support::Load(once.bytes);
    EXPECT_EQ(test_support::Save(plain.root), once.bytes);

    om2::File other;
    write(other, 2, false);
    const test_support::Loaded refused = test_support::Load(other.bytes);
    EXPECT_EQ(refused.As<SceneRendererDOF>()->FocusCount(), 0u);
}

TEST(SceneRendererDOFRecord, HostileOnesAreRefused) {
    for (const i32 count : {-1, 0x7fffffff}) {
        om2::File f;
        f.Chunk("SRDF", 1, [&] { f.I32(count); });
        EXPECT_TRUE(test_support::Load(f.bytes).failed) << count;
    }
    SceneHierarchy scene;
    SceneRendererDOF renderer;
    std::string reason;
    CameraSimple camera;
    renderer.SetFocus(&camera, new Const<f32>(1.0f), nullptr);
    EXPECT_TRUE(renderer.Validate(scene, reason)) << reason;
    renderer.SetFocus(&camera, nullptr, new controller::Linear<f32>);  // without keys
    EXPECT_FALSE(renderer.Validate(scene, reason));
    EXPECT_NE(reason, "");
}

}  // namespace
