#include "render/scene_renderer_multirender.h"

#include "material/material.h"
#include "render/context.h"

namespace osm3d {

namespace {

struct ScreenVertex {
    f32 x, y, z, w;
    u32 diffuse;
    f32 uv[3][2];
};
static_assert(sizeof(ScreenVertex) == 44);

constexpr u32 kScreenFvf = 0x4342;  // D3DFVF_XYZW | D3DFVF_DIFFUSE | D3DFVF_TEX3

}  // namespace

void SceneRendererMultirender::DrawScreenQuad(Material* material, const f32* position, const f32* uv0,
                                              const f32* uv1, const f32* uv2) {
    Context* device = GetContext();
    auto* vertices =
        static_cast<ScreenVertex*>(device->LockScratchVertices(kScreenFvf, sizeof(ScreenVertex), 4));
    if (vertices == nullptr) {
        return;
    }
    const f32* const sets[3] = {uv0, uv1, uv2};
    for (u32 corner = 0; corner < 4; ++corner) {
        const u32 x = (corner & 1) == 0 ? 0 : 2;
        const u32 y = corner < 2 ? 3 : 1;
        ScreenVertex& vertex = vertices[corner];
        vertex.x = position[x];
        vertex.y = position[y];
        vertex.z = 0.0f;
        vertex.w = 1.0f;
        vertex.diffuse = 0xffffffff;
        for (u32 set = 0; set < 3; ++set) {
            if (sets[set] != nullptr) {
                vertex.uv[set][0] = sets[set][x];
                vertex.uv[set][1] = sets[set][y];
            }
        }
    }
    device->UnlockScratchVertices();

    if (material == nullptr) {
        ApplyDefaultMaterial();
        device->DrawScratch(D3DPT_TRIANGLESTRIP, 0, 2);
        return;
    }
    const u32 passes = material->Begin(0);
    for (u32 pass = 0; pass < passes; ++pass) {
        material->Pass(pass);
        device->DrawScratch(D3DPT_TRIANGLESTRIP, 0, 2);
    }
    material->End();
}

}  // namespace osm3d
