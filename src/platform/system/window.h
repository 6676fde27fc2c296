// The window that a device draws for. On Windows the engine's HWND is the system's own window; elsewhere it
// points to a Window made by the host.
#pragma once

#include <memory>

#include "platform/d3d9/d3d9.h"

struct SDL_Window;

namespace platform {

#ifndef _WIN32

// A place for pictures: a size without anything to see, or a window of SDL's. The host owns it and keeps it
// longer than the device that draws for it.
class Window {
  public:
    virtual ~Window() = default;
    // Width and height in pixels.
    virtual UINT Width() const = 0;
    virtual UINT Height() const = 0;
    virtual void Resize(UINT width, UINT height) = 0;
    // The SDL window; null for an offscreen one. It must have been made with SDL_WINDOW_OPENGL.
    virtual SDL_Window* Sdl() const { return nullptr; }
    // Where the picture goes in an SDL window's framebuffer of `width` x `height` pixels. What it leaves out is
    // cleared to black before the picture is put there.
    virtual RECT PictureArea(UINT width, UINT height) const {
        return {0, 0, static_cast<LONG>(width), static_cast<LONG>(height)};
    }
    // Called for an SDL window with the picture in its framebuffer, right before that is shown. May draw there
    // with another OpenGL context, and leave that bound.
    virtual void BeforeShow() {}

    // The handle that the engine is given, and back. A null handle gives null.
    HWND Handle() { return reinterpret_cast<HWND>(this); }
    static Window* FromHandle(HWND handle) { return reinterpret_cast<Window*>(handle); }
};

// A size and nothing to see: the device draws into its own memory.
std::unique_ptr<Window> MakeOffscreenWindow(UINT width, UINT height);

// A view of a window that the host made through SDL (and still owns).
std::unique_ptr<Window> MakeSdlWindow(SDL_Window* window);

#endif

// Sizes the window so that its inner area has this many pixels, without moving or activating it; on Windows it
// is taken to have a title, a sizing border and no menu. Nothing for a null handle or a size of nothing.
void ResizeWindow(HWND window, UINT width, UINT height);

}  // namespace platform
