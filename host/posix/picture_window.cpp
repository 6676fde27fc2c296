#include "picture_window.h"

#include <utility>

#include "posix/platform_window.h"

namespace host {
namespace {

class PlatformWindow final : public PictureWindow {
  public:
    explicit PlatformWindow(std::unique_ptr<platform::Window> window) : window_(std::move(window)) {}
    HWND Handle() override { return window_->Handle(); }
    unsigned Width() const override { return window_->Width(); }
    unsigned Height() const override { return window_->Height(); }

  private:
    std::unique_ptr<platform::Window> window_;
};

}  // namespace

std::unique_ptr<PictureWindow> Take(std::unique_ptr<platform::Window> window) {
    return std::make_unique<PlatformWindow>(std::move(window));
}

std::unique_ptr<PictureWindow> MakeHiddenWindow(unsigned width, unsigned height) {
    return Take(platform::MakeOffscreenWindow(width, height));
}

}  // namespace host
