#include "picture_window.h"

#include <fmt/format.h>

#include "cli/error.h"
#include "platform/system/window.h"

namespace host {
namespace {

constexpr const char* kClass = "osmplay picture";
// The module sizes its window as one of this style.
constexpr DWORD kStyle = WS_OVERLAPPEDWINDOW;

LRESULT CALLBACK Answer(HWND window, UINT message, WPARAM w, LPARAM l) {
    if (message == WM_GETMINMAXINFO) {
        // Pictures may be larger than the screen, or smaller than a title bar.
        constexpr LONG kLargest = 16384;
        auto* sizes = reinterpret_cast<MINMAXINFO*>(l);
        sizes->ptMinTrackSize = {1, 1};
        sizes->ptMaxTrackSize = {kLargest, kLargest};
        return 0;
    }
    // Nobody sees it, and so nobody closes it.
    if (message == WM_CLOSE) return 0;
    return DefWindowProcA(window, message, w, l);
}

ATOM WindowClass() {
    static const ATOM atom = [] {
        WNDCLASSA description{};
        description.lpfnWndProc = Answer;
        description.hInstance = GetModuleHandleA(nullptr);
        description.lpszClassName = kClass;
        return RegisterClassA(&description);
    }();
    return atom;
}

class HiddenWindow final : public PictureWindow {
  public:
    HiddenWindow(unsigned width, unsigned height) : width_(width), height_(height) {
        if (WindowClass())
            window_ = CreateWindowA(kClass, "osmplay", kStyle, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                                    CW_USEDEFAULT, nullptr, nullptr, GetModuleHandleA(nullptr), nullptr);
        if (!window_)
            throw cli::Error(
                fmt::format("no window can be made for the pictures (error {})", GetLastError()));
        platform::ResizeWindow(window_, width, height);
    }
    ~HiddenWindow() override { DestroyWindow(window_); }
    HiddenWindow(const HiddenWindow&) = delete;
    HiddenWindow& operator=(const HiddenWindow&) = delete;

    HWND Handle() override { return window_; }
    unsigned Width() const override { return width_; }
    unsigned Height() const override { return height_; }
    void Attend() override {
        MSG message;
        while (PeekMessageA(&message, window_, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
    }

  private:
    HWND window_ = nullptr;
    unsigned width_, height_;
};

}  // namespace

std::unique_ptr<PictureWindow> MakeHiddenWindow(unsigned width, unsigned height) {
    return std::make_unique<HiddenWindow>(width, height);
}

}  // namespace host
