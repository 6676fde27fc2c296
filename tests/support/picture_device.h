// A Context on the machine's own Direct3D, without a display, for tests of what a picture shows.
#pragma once

#include <memory>
#include <vector>

#include "platform/system/window.h"
#include "render/context.h"

namespace support {

/// Makes the Context for a picture of this size; the destructor ends it. One at a time, and none beside an
/// EngineDevice.
///
///     support::PictureDevice device(128, 128);
///     device.Frame([&] { scene.Render(); });
///     EXPECT_EQ(device.At(64, 64), 0xff0000u);
class PictureDevice {
  public:
    PictureDevice(u32 width, u32 height);
    ~PictureDevice();
    PictureDevice(const PictureDevice&) = delete;
    PictureDevice& operator=(const PictureDevice&) = delete;

    osm3d::Context& context() { return *context_; }

    /// Runs `draw` inside a scene and takes the picture.
    template <class Draw>
    void Frame(const Draw& draw) {
        context_->BeginScene();
        draw();
        context_->EndScene();
        Take();
    }

    /// Of the picture taken last, 0xRRGGBB; rows count from the top. Throws when none could be taken.
    u32 At(u32 x, u32 y) const { return pixels_.at(width_ * y + x); }
    u32 Width() const { return width_; }
    u32 Height() const { return height_; }

  private:
    void Take();

    u32 width_, height_;
    std::unique_ptr<platform::Window> window_;
    osm3d::Context* context_;
    std::vector<u32> pixels_;
};

/// Whether the channels of two such pixels differ by no more than `by`.
bool Alike(u32 a, u32 b, int by = 1);

}  // namespace support
