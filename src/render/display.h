// Process-wide display settings: what the next Context is built with. They outlive every Context.
#pragma once

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace osm3d {

struct DisplaySettings {
    HWND window = nullptr;          ///< target window; null when a Context is created is fatal
    HINSTANCE instance = nullptr;   ///< module whose resources hold effect texts
    bool fullscreen = false;        ///< exclusive mode
    bool presentImmediate = false;  ///< full screen only: present without waiting for the retrace
    bool searchRefreshRate =
        false;                ///< full screen only: take the highest refresh rate of the requested size
    bool pureDevice = false;  ///< add the pure-device flag
    u32 multisampleType = 0;  ///< a D3DMULTISAMPLE_TYPE
    u32 multisampleQuality = 0;
    i32 colorBits = -1;            ///< 32, 16, or -1 to take it from the desktop, which then stands here
    u32 depthBits = 24;            ///< 24 or 16
    u32 stencilBits = 8;           ///< the depth format has stencil only when this is 8
    u32 textureBits = 32;          ///< bits of the texture format
    bool compressTextures = true;  ///< prefer DXT formats; cleared when the device lacks them
    u32 deviceType = 1;            ///< 0 selects the reference device, all else the hardware one
    u32 left = 0, top = 0, right = 640, bottom = 480;  ///< client rectangle of the window
};

/// The settings in force. Creating a Context writes back what it had to fall back on.
DisplaySettings& GetDisplaySettings();

void SetDisplayFlags(bool fullscreen, bool presentImmediate, bool searchRefreshRate);

/// `type` is a D3DMULTISAMPLE_TYPE. What the device lacks falls back to none.
void SetMultisample(u32 type, u32 quality);

void SetWindow(HWND window);
void SetInstance(HINSTANCE instance);

/// Puts the rectangle at (0, 0). Depth takes 24 bits for a `colorBits` of 32, otherwise as many as the
/// colour.
void SetDisplaySize(u32 width, u32 height, i32 colorBits);

/// Depth-stencil format for the settings' depth and stencil bits; D3DFMT_UNKNOWN where none fits.
D3DFORMAT DepthFormat(const DisplaySettings& settings);

}  // namespace osm3d
