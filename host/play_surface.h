// How a playing window shows the pictures of the module's device, and what lies over them. Each operating
// system has its own way.
#pragma once

#include <functional>
#include <memory>

#include "module.h"
#include "picture_window.h"
#include "timeline_view.h"

struct ImDrawData;
struct SDL_Window;

namespace host {

enum class DeviceState {
    kReady,
    kLost,  // the system has taken the device away
    kBack,  // it is lost, and a new one can be had in its place
};

// The window's parts, as its owner says. Both are called within PlaySurface::Show.
struct SurfaceParts {
    // Where the picture goes, of a window of `width` x `height` pixels. The rest is black.
    std::function<Box(int width, int height)> picture_area;
    // What lies over it all; null for nothing. Good until the next frame of Dear ImGui.
    std::function<ImDrawData*()> overlay;
};

// Draws with Dear ImGui's context that was current when it was made, which must outlive it; so must the SDL
// window and the module.
class PlaySurface {
  public:
    virtual ~PlaySurface() = default;
    // What the next device draws for, in pictures of that size. The surface must outlive it. Comes while the
    // module has no device.
    virtual std::unique_ptr<PictureWindow> MakePictureWindow(unsigned width, unsigned height) = 0;
    // Of the module's device; kReady while it has none.
    virtual DeviceState Device() = 0;
    // Ends the frame that the module has drawn and shows the window: that picture, black while the module has
    // no device, and what lies over it. Nothing where the window cannot be shown now.
    virtual void Show() = 0;
};

// Flags for the window that a surface is made for. Comes after SDL's start and before SDL_CreateWindow.
unsigned SurfaceWindowFlags();

// With `waits` Show goes with the display's retraces. Throws cli::Error when the window cannot be drawn in.
std::unique_ptr<PlaySurface> MakePlaySurface(SDL_Window* window, Module& module, bool waits,
                                             const SurfaceParts& parts);

}  // namespace host
