#include "render/display.h"

namespace osm3d {

DisplaySettings& GetDisplaySettings() {
    static DisplaySettings settings;
    return settings;
}

void SetDisplayFlags(bool fullscreen, bool presentImmediate, bool searchRefreshRate) {
    DisplaySettings& settings = GetDisplaySettings();
    settings.fullscreen = fullscreen;
    settings.presentImmediate = presentImmediate;
    settings.searchRefreshRate = searchRefreshRate;
}

void SetMultisample(u32 type, u32 quality) {
    GetDisplaySettings().multisampleType = type;
    GetDisplaySettings().multisampleQuality = quality;
}

void SetWindow(HWND window) { GetDisplaySettings().window = window; }

void SetInstance(HINSTANCE instance) { GetDisplaySettings().instance = instance; }

void SetDisplaySize(u32 width, u32 height, i32 colorBits) {
    DisplaySettings& settings = GetDisplaySettings();
    settings.left = 0;
    settings.top = 0;
    settings.right = width;
    settings.bottom = height;
    settings.colorBits = colorBits;
    settings.depthBits = colorBits == 32 ? 24 : static_cast<u32>(colorBits);
}

D3DFORMAT DepthFormat(const DisplaySettings& settings) {
    if (settings.depthBits == 24 && settings.stencilBits == 8) return D3DFMT_D24S8;
    if (settings.depthBits == 16) return D3DFMT_D16;
    return D3DFMT_UNKNOWN;
}

}  // namespace osm3d
