// That the recording device sees what tests rely on it to see.
#include <gtest/gtest.h>

#include <cstring>

#include "support/engine_device.h"

namespace support {
namespace {

class Faults : public testing::Test {
  protected:
    Faults() {
        vertices = engine.context().CreateVertexBuffer(D3DFVF_XYZ, 12, 4, false);
        indices = engine.context().CreateIndexBuffer(6, false);
        Fill({0, 1, 2, 0, 2, 3});
        engine.device().SetFVF(D3DFVF_XYZ);
        engine.device().SetStreamSource(0, vertices.Get(), 0, 12);
        engine.device().SetIndices(indices.Get());
        engine.device().BeginScene();
    }
    void Fill(std::initializer_list<u16> values) {
        void* data = nullptr;
        indices->Lock(0, 0, &data, 0);
        std::memcpy(data, values.begin(), values.size() * 2);
        indices->Unlock();
    }
    std::size_t Count() { return engine.recorded().faults.size(); }

    EngineDevice engine;
    ComPtr<IDirect3DVertexBuffer9> vertices;
    ComPtr<IDirect3DIndexBuffer9> indices;
};

TEST_F(Faults, NoneForGoodDraws) {
    engine.device().DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2);
    engine.device().DrawPrimitive(D3DPT_TRIANGLEFAN, 0, 2);
    EXPECT_EQ(Count(), 0u);
    EXPECT_EQ(engine.recorded().totals.draws, 2u);
    EXPECT_EQ(engine.recorded().totals.primitives, 4u);
}

TEST_F(Faults, DrawsBeyondTheirBuffers) {
    IDirect3DDevice9& device = engine.device();
    device.DrawPrimitive(D3DPT_TRIANGLELIST, 2, 1);
    EXPECT_EQ(Count(), 1u);
    device.DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 1, 2);
    EXPECT_EQ(Count(), 2u);
    device.DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 3, 0, 2);  // index 3 of three vertices
    EXPECT_EQ(Count(), 3u);
    device.DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 1, 0, 4, 0, 2);
    EXPECT_EQ(Count(), 4u);
    Fill({0, 1, 200, 0, 0, 0});
    device.DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 1);
    EXPECT_EQ(Count(), 5u);
    device.SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);  // 16 bytes, 12 apart
    device.DrawPrimitive(D3DPT_POINTLIST, 0, 1);
    EXPECT_EQ(Count(), 6u);
    device.EndScene();
    device.SetFVF(D3DFVF_XYZ);
    device.DrawPrimitive(D3DPT_POINTLIST, 0, 1);
    EXPECT_EQ(Count(), 7u);
}

TEST_F(Faults, LocksOutsideAndTwice) {
    void* data = nullptr;
    EXPECT_LT(vertices->Lock(40, 9, &data, 0), 0);
    EXPECT_EQ(Count(), 1u);
    EXPECT_EQ(vertices->Lock(40, 8, &data, 0), D3D_OK);
    vertices->Lock(0, 4, &data, 0);
    EXPECT_EQ(Count(), 2u);
    vertices->Unlock();
    vertices->Unlock();
    EXPECT_EQ(Count(), 3u);
}

TEST(ExactLocks, WriteBackAndGiveUpOldContent) {
    EngineDevice engine({.exact_locks = true});
    const auto buffer = engine.context().CreateVertexBuffer(D3DFVF_XYZ, 4, 2, true);
    void* data = nullptr;
    buffer->Lock(4, 4, &data, D3DLOCK_NOOVERWRITE);
    std::memcpy(data, "abcd", 4);
    buffer->Unlock();
    std::span<const u8> held = engine.recorded().Contents(buffer.Get());
    EXPECT_EQ(held[3], 0);
    EXPECT_EQ(held[7], 'd');
    buffer->Lock(0, 4, &data, D3DLOCK_DISCARD);
    buffer->Unlock();
    held = engine.recorded().Contents(buffer.Get());
    EXPECT_EQ(held[7], 0xcd);
}

TEST(Textures, KeepTheirPixelsAndTheirDevice) {
    RecordingSystem system;
    ComPtr<IDirect3DSurface9> level;
    {
        ComPtr<IDirect3D9> d3d = platform::CreateDirect3D9(31);
        D3DPRESENT_PARAMETERS present{};
        present.BackBufferWidth = present.BackBufferHeight = 8;
        ComPtr<IDirect3DDevice9> device;
        d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_SOFTWARE_VERTEXPROCESSING, &present,
                          device.Put());
        ComPtr<IDirect3DTexture9> texture, copy;
        device->CreateTexture(8, 4, 0, 0, D3DFMT_DXT1, D3DPOOL_DEFAULT, texture.Put(), nullptr);
        device->CreateTexture(8, 4, 0, 0, D3DFMT_DXT1, D3DPOOL_DEFAULT, copy.Put(), nullptr);
        ASSERT_EQ(texture->GetLevelCount(), 4u);
        D3DLOCKED_RECT locked{};
        texture->LockRect(0, &locked, nullptr, 0);
        EXPECT_EQ(locked.Pitch, 16);
        std::memset(locked.pBits, 7, 16);
        texture->UnlockRect(0);
        EXPECT_EQ(device->UpdateTexture(texture.Get(), copy.Get()), D3D_OK);
        device->SetTexture(0, copy.Get());
        copy->GetSurfaceLevel(0, level.Put());
        IDirect3DTexture9* none = nullptr;
        EXPECT_LT(device->CreateTexture(8, 4, 9, 0, D3DFMT_DXT1, D3DPOOL_DEFAULT, &none, nullptr), 0);
        EXPECT_LT(device->CreateTexture(9000, 4, 1, 0, D3DFMT_L8, D3DPOOL_DEFAULT, &none, nullptr), 0);
    }
    D3DLOCKED_RECT locked{};
    ASSERT_EQ(level->LockRect(&locked, nullptr, D3DLOCK_READONLY), D3D_OK);
    EXPECT_EQ(static_cast<u8*>(locked.pBits)[15], 7);
    level->UnlockRect();
    EXPECT_GT(system.Recorded().LiveObjects(), 0u);
    level.Reset();
    EXPECT_EQ(system.Recorded().LiveObjects(), 0u);
    EXPECT_EQ(system.Recorded().faults, std::vector<std::string>());
}

TEST(Totals, CountRedundantSets) {
    EngineDevice engine({.keep_calls = false});
    engine.device().SetRenderState(D3DRS_LIGHTING, FALSE);
    engine.device().SetRenderState(D3DRS_LIGHTING, FALSE);
    engine.device().SetTexture(0, nullptr);
    EXPECT_EQ(engine.recorded().totals.state_sets, 2u);
    EXPECT_EQ(engine.recorded().totals.redundant_state_sets, 1u);
    EXPECT_EQ(engine.recorded().totals.redundant_sets, 2u);
    EXPECT_TRUE(engine.recorded().Calls().empty());
}

TEST(NullDeviceDeathTest, AbortsOnAFault) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            EngineDevice engine(kNullDevice);
            engine.device().EndScene();
        },
        "device fault: EndScene outside a scene");
}

}  // namespace
}  // namespace support
