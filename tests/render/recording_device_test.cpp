// That the recording device sees what tests rely on it to see.
#include <gtest/gtest.h>

#include <cstring>

#include "support/engine_device.h"

namespace support {
namespace {

TEST(RecordingDevice, FindsDrawsAndLocksBeyondTheirBuffers) {
    EngineDevice engine;
    IDirect3DDevice9& device = engine.device();
    const auto vertices = engine.context().CreateVertexBuffer(D3DFVF_XYZ, 12, 4, false);
    const auto indices = engine.context().CreateIndexBuffer(6, false);
    const auto fill = [&](std::initializer_list<u16> values) {
        void* data = nullptr;
        indices->Lock(0, 0, &data, 0);
        std::memcpy(data, values.begin(), values.size() * 2);
        indices->Unlock();
    };
    std::size_t faults = 0;
    const auto expect_fault = [&](const char* what) {
        EXPECT_EQ(engine.recorded().faults.size(), ++faults) << what;
    };
    fill({0, 1, 2, 0, 2, 3});
    device.SetFVF(D3DFVF_XYZ);
    device.SetStreamSource(0, vertices.Get(), 0, 12);
    device.SetIndices(indices.Get());
    device.BeginScene();
    device.DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 2);
    device.DrawPrimitive(D3DPT_TRIANGLEFAN, 0, 2);
    EXPECT_EQ(engine.recorded().faults.size(), 0u);
    EXPECT_EQ(engine.recorded().totals.primitives, 4u);

    device.DrawPrimitive(D3DPT_TRIANGLELIST, 2, 1);
    expect_fault("vertices");
    device.DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 3, 0, 2);
    expect_fault("index 3 of three vertices");
    device.SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);
    device.DrawPrimitive(D3DPT_POINTLIST, 0, 1);
    expect_fault("16 bytes, 12 apart");
    device.SetFVF(D3DFVF_XYZ);
    device.EndScene();
    device.DrawPrimitive(D3DPT_POINTLIST, 0, 1);
    expect_fault("outside a scene");
    void* data = nullptr;
    EXPECT_LT(vertices->Lock(40, 9, &data, 0), 0);
    expect_fault("lock past the end");
}

TEST(RecordingDevice, CountsRedundantSets) {
    EngineDevice engine({.keep_calls = false});
    engine.device().SetRenderState(D3DRS_LIGHTING, FALSE);
    engine.device().SetRenderState(D3DRS_LIGHTING, FALSE);
    EXPECT_EQ(engine.recorded().totals.state_sets, 2u);
    EXPECT_EQ(engine.recorded().totals.redundant_state_sets, 1u);
}

}  // namespace
}  // namespace support
