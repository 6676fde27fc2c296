#include <bit>

#include "render/context.h"

namespace osm3d {

void Context::AddLight(const D3DLIGHT9& light) {
    device->SetLight(lightCount, &light);
    device->LightEnable(lightCount, TRUE);
    ++lightCount;
}

void Context::ResetLights() {
    for (u32 i = 0; i < lightCount; ++i) {
        device->LightEnable(i, FALSE);
    }
    lightCount = 0;
}

void Context::SetFog(bool enable, const FogParams& params) {
    if (!enable || params.formula == 0) {
        device->SetRenderState(D3DRS_FOGENABLE, FALSE);
        return;
    }
    device->SetRenderState(D3DRS_FOGENABLE, TRUE);
    device->SetRenderState(D3DRS_FOGCOLOR, params.colorARGB);

    const bool table = params.method == 2;
    if (params.method >= 1 && params.method <= 3) {
        device->SetRenderState(table ? D3DRS_FOGVERTEXMODE : D3DRS_FOGTABLEMODE, D3DFOG_NONE);
        device->SetRenderState(D3DRS_RANGEFOGENABLE, params.method == 3 ? TRUE : FALSE);
    }
    const D3DRENDERSTATETYPE mode = table ? D3DRS_FOGTABLEMODE : D3DRS_FOGVERTEXMODE;
    switch (params.formula) {
        case 1:
            device->SetRenderState(mode, D3DFOG_LINEAR);
            device->SetRenderState(D3DRS_FOGSTART, std::bit_cast<DWORD>(params.start));
            device->SetRenderState(D3DRS_FOGEND, std::bit_cast<DWORD>(params.end));
            break;
        case 2:
            device->SetRenderState(mode, D3DFOG_EXP);
            device->SetRenderState(D3DRS_FOGDENSITY, std::bit_cast<DWORD>(params.density));
            break;
        case 3:
            device->SetRenderState(mode, D3DFOG_EXP2);
            device->SetRenderState(D3DRS_FOGDENSITY, std::bit_cast<DWORD>(params.density));
            break;
        default:
            break;
    }
}

}  // namespace osm3d
