#include "platform/system/window.h"

#ifndef _WIN32

#include <SDL.h>

#include <algorithm>

namespace platform {
namespace {

class OffscreenWindow final : public Window {
  public:
    OffscreenWindow(UINT width, UINT height) : width_(width), height_(height) {}
    UINT Width() const override { return width_; }
    UINT Height() const override { return height_; }
    void Resize(UINT width, UINT height) override { width_ = width, height_ = height; }

  private:
    UINT width_, height_;
};

class SdlWindow final : public Window {
  public:
    explicit SdlWindow(SDL_Window* window) : window_(window) {}
    UINT Width() const override { return Size(0); }
    UINT Height() const override { return Size(1); }
    void Resize(UINT width, UINT height) override {
        SDL_SetWindowSize(window_, static_cast<int>(width), static_cast<int>(height));
    }
    SDL_Window* Sdl() const override { return window_; }

  private:
    UINT Size(int axis) const {
        int size[2] = {0, 0};
        SDL_GetWindowSize(window_, &size[0], &size[1]);
        return static_cast<UINT>(std::max(size[axis], 0));
    }
    SDL_Window* window_;
};

}  // namespace

std::unique_ptr<Window> MakeOffscreenWindow(UINT width, UINT height) {
    return std::make_unique<OffscreenWindow>(width, height);
}

std::unique_ptr<Window> MakeSdlWindow(SDL_Window* window) { return std::make_unique<SdlWindow>(window); }

void ResizeWindow(HWND window, UINT width, UINT height) {
    if (window && width && height) Window::FromHandle(window)->Resize(width, height);
}

}  // namespace platform

#else

namespace platform {

void ResizeWindow(HWND window, UINT width, UINT height) {
    if (!window || !width || !height) return;
    RECT rect = {0, 0, static_cast<LONG>(width), static_cast<LONG>(height)};
    AdjustWindowRect(&rect, WS_OVERLAPPEDWINDOW, FALSE);
    SetWindowPos(window, nullptr, 0, 0, rect.right - rect.left, rect.bottom - rect.top,
                 SWP_NOMOVE | SWP_NOACTIVATE);
}

}  // namespace platform

#endif
