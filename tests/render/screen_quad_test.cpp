// The rectangle that composing renderers draw.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "material/material.h"
#include "render/scene_renderer_multirender.h"
#include "support/engine_device.h"

using namespace osm3d;

namespace {

class Composer : public SceneRendererMultirender {
  public:
    bool Read(osmio::InStream*) override { return true; }
    void Write(osmio::OutStream*) override {}
    void Update(f32) override {}
    void Render(SceneHierarchy*, Camera*) override {}
};

class Passes : public Material {
  public:
    explicit Passes(u32 count_) : count(count_) {}
    bool Read(osmio::InStream*) override { return true; }
    void Write(osmio::OutStream*) override {}
    void Update(f32) override {}
    u32 GetBlendClass() const override { return 1; }
    bool IsComposite() const override { return false; }
    u32 Begin(u32) override { return count; }
    void Pass(u32 pass) override { seen.push_back(pass); }
    void End() override { ++ended; }
    void Prepare() override {}
    void Load() override {}
    bool Validate(std::string&) const override { return true; }

    u32 count;
    std::vector<u32> seen;
    int ended = 0;
};

TEST(ScreenQuad, CornersComeInStripOrderWithTheirCoordinates) {
    support::EngineDevice engine;
    engine.context().BeginScene();
    engine.recorded().Clear();
    const f32 position[] = {-1, -0.5f, 0.25f, 1}, first[] = {0, 0.1f, 0.7f, 0.9f}, third[] = {2, 3, 4, 5};
    Composer().DrawScreenQuad(nullptr, position, first, nullptr, third);
    const std::vector<support::Call> draws = engine.recorded().Named("DrawPrimitive");
    ASSERT_EQ(draws.size(), 1u);
    EXPECT_EQ(draws[0].args[0], D3DPT_TRIANGLESTRIP);
    EXPECT_EQ(draws[0].args[2], 2);
    EXPECT_EQ(engine.recorded().Count("SetFVF", {0x4342}), 1u);
    ASSERT_EQ(draws[0].vertices.size(), 4u * 44);
    const f32 x[] = {-1, 0.25f, -1, 0.25f}, y[] = {1, 1, -0.5f, -0.5f};
    const f32 u[] = {0, 0.7f, 0, 0.7f}, v[] = {0.9f, 0.9f, 0.1f, 0.1f};
    const f32 u3[] = {2, 4, 2, 4}, v3[] = {5, 5, 3, 3};
    for (std::size_t i = 0; i < 4; ++i) {
        f32 floats[11];
        std::memcpy(floats, draws[0].vertices.data() + 44 * i, 44);
        u32 diffuse = 0;
        std::memcpy(&diffuse, &floats[4], 4);
        EXPECT_EQ(std::vector<f32>(floats, floats + 4), (std::vector<f32>{x[i], y[i], 0, 1})) << i;
        EXPECT_EQ(diffuse, 0xffffffffu) << i;
        EXPECT_EQ(std::vector<f32>(floats + 5, floats + 7), (std::vector<f32>{u[i], v[i]})) << i;
        EXPECT_EQ(std::vector<f32>(floats + 9, floats + 11), (std::vector<f32>{u3[i], v3[i]})) << i;
    }
}

TEST(ScreenQuad, IsDrawnOncePerPassOfItsMaterial) {
    support::EngineDevice engine;
    engine.context().BeginScene();
    const f32 whole[] = {-1, -1, 1, 1};
    for (u32 count : {0u, 1u, 3u}) {
        engine.recorded().Clear();
        Passes material(count);
        Composer().DrawScreenQuad(&material, whole, whole, nullptr, nullptr);
        EXPECT_EQ(engine.recorded().Count("DrawPrimitive"), count);
        EXPECT_EQ(material.seen.size(), count);
        EXPECT_EQ(material.ended, 1);
    }
}

}  // namespace
