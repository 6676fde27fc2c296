#include "render/render_target.h"

#include <gtest/gtest.h>

#include "support/engine_device.h"

namespace osm3d {
namespace {

struct Extent {
    u32 texture_width, texture_height, view_width, view_height;
    bool operator==(const Extent&) const = default;
};
void PrintTo(const Extent& e, std::ostream* out) {
    *out << e.texture_width << 'x' << e.texture_height << " showing " << e.view_width << 'x' << e.view_height;
}

Extent ExtentOf(const RenderTarget& target) {
    D3DSURFACE_DESC desc{};
    target.surface->GetDesc(&desc);
    EXPECT_EQ(target.invWidth, 1.0f / static_cast<f32>(desc.Width));
    EXPECT_EQ(target.invHeight, 1.0f / static_cast<f32>(desc.Height));
    EXPECT_EQ(desc.Format, D3DFMT_A8R8G8B8);
    EXPECT_EQ(desc.Usage, D3DUSAGE_RENDERTARGET);
    D3DSURFACE_DESC depth{};
    target.depth->GetDesc(&depth);
    EXPECT_EQ(depth.Width, desc.Width);
    EXPECT_EQ(depth.Height, desc.Height);
    EXPECT_EQ(depth.Format, D3DFMT_D24S8);
    EXPECT_EQ(target.viewport.X, 0u);
    EXPECT_EQ(target.viewport.Y, 0u);
    return {desc.Width, desc.Height, target.viewport.Width, target.viewport.Height};
}

TEST(RenderTargetSize, RoundsTheTextureAndKeepsTheAspect) {
    support::EngineDevice engine;
    D3DVIEWPORT9 view{10, 20, 600, 400, 0.25f, 0.75f};
    engine.context().SetViewport(view);
    EXPECT_EQ(ExtentOf(*CreateRenderTarget(640, 480, true, false)), (Extent{1024, 512, 640, 480}));
    EXPECT_EQ(ExtentOf(*CreateRenderTarget(512, 64, true, false)), (Extent{512, 64, 512, 64}));
    EXPECT_EQ(ExtentOf(*CreateRenderTarget(300, 100, false, false)), (Extent{300, 100, 300, 100}));
    // 600 x 400: wider than 256 x 256, so the width stands; narrower than 512 x 256.
    EXPECT_EQ(ExtentOf(*CreateRenderTarget(256, 256, false, true)), (Extent{256, 256, 256, 170}));
    EXPECT_EQ(ExtentOf(*CreateRenderTarget(512, 256, true, true)), (Extent{512, 256, 384, 256}));
    const auto target = CreateRenderTarget(64, 64, true, true);
    EXPECT_EQ(target->viewport.MinZ, 0.25f);
    EXPECT_EQ(target->viewport.MaxZ, 0.75f);
    EXPECT_EQ(engine.recorded().faults, std::vector<std::string>());
}

TEST(RenderTargetChange, SendsSurfaceDepthAndViewport) {
    support::EngineDevice engine;
    Context& context = engine.context();
    RenderTarget* back = context.GetRenderTarget();
    EXPECT_EQ(back->owner, &context);
    EXPECT_FALSE(back->texture);
    EXPECT_EQ(back->invWidth, 0.0f);
    {
        const auto target = CreateRenderTarget(100, 50, true, false);
        engine.recorded().Clear();
        context.SetRenderTarget(target.get());
        const std::string surface = std::to_string(engine.recorded().IdOf(target->surface.Get()));
        const std::string depth = std::to_string(engine.recorded().IdOf(target->depth.Get()));
        EXPECT_EQ(engine.recorded().Texts(),
                  (std::vector<std::string>{"SetRenderTarget(0, " + surface + ")",
                                            "SetDepthStencilSurface(" + depth + ")",
                                            "SetViewport(0, 0, 100, 50, 0, 1)"}));
        EXPECT_EQ(target->owner, &context);
        EXPECT_EQ(back->owner, nullptr);
        context.SetViewport({5, 6, 20, 30, 0.0f, 1.0f});
        EXPECT_EQ(target->viewport.Width, 20u);
        EXPECT_EQ(back->viewport.Width, 640u);
        context.SetRenderTarget(nullptr);
        EXPECT_EQ(context.GetRenderTarget(), target.get());
    }
    EXPECT_EQ(context.GetRenderTarget(), back);
    EXPECT_EQ(back->owner, &context);
    EXPECT_EQ(engine.recorded().Count("SetViewport", {0, 0, 640, 480}), 1u);
}

TEST(RenderTargetPool, LendsEachTargetToOneUserAtATime) {
    support::EngineDevice engine;
    RenderTargetPool pool;
    RenderTarget* first = pool.Acquire(0);
    RenderTarget* second = pool.Acquire(0);
    RenderTarget* small = pool.Acquire(1);
    EXPECT_NE(first, second);
    EXPECT_EQ(ExtentOf(*first), (Extent{1024, 512, 640, 480}));
    EXPECT_EQ(ExtentOf(*small), (Extent{256, 256, 256, 192}));
    EXPECT_EQ(pool.Acquire(2), nullptr);

    const auto stranger = CreateRenderTarget(16, 16, false, false);
    engine.recorded().Clear();
    pool.Release(stranger.get());
    pool.Release(nullptr);
    pool.Release(second);
    pool.Release(small);
    EXPECT_EQ(pool.Acquire(0), second);
    EXPECT_EQ(pool.Acquire(1), small);
    EXPECT_EQ(engine.recorded().Calls().size(), 0u);
}

TEST(RenderTargetPool, GivesAnEarlierDevicesTargetNewSurfaces) {
    RenderTargetPool pool;
    RenderTarget* target = nullptr;
    {
        support::EngineDevice engine;
        target = pool.Acquire(0);
        engine.context().SetRenderTarget(target);
        pool.Release(target);
    }
    EXPECT_EQ(target->owner, nullptr);
    support::EngineDevice engine;
    EXPECT_EQ(pool.Acquire(0), target);
    engine.context().SetRenderTarget(target);
    EXPECT_EQ(engine.recorded().Count("CreateTexture", {1024, 512, 1, D3DUSAGE_RENDERTARGET}), 1u);
    EXPECT_EQ(engine.recorded().faults, std::vector<std::string>());
}

}  // namespace
}  // namespace osm3d
