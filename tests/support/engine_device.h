// A Context on a recording device, for one test.
#pragma once

#include <optional>

#include "platform/system/window.h"
#include "render/context.h"
#include "support/recording_device.h"

namespace support {

/// A window that is a size and nothing else.
class TestWindow : public platform::Window {
  public:
    TestWindow(UINT width, UINT height) : width_(width), height_(height) {}
    UINT Width() const override { return width_; }
    UINT Height() const override { return height_; }
    void Resize(UINT width, UINT height) override {
        width_ = width;
        height_ = height;
    }

  private:
    UINT width_, height_;
};

/// Sets the display settings (windowed, 32 bits) and makes the Context; the destructor ends it and puts fresh
/// display settings back. One at a time. What making the Context sent is not among the recorded calls.
///
///     support::EngineDevice engine;
///     engine.context().Clear(7, true);
///     EXPECT_EQ(engine.recorded().Calls().size(), 1u);
class EngineDevice {
  public:
    explicit EngineDevice(const DeviceOptions& options = {}, u32 width = 640, u32 height = 480);
    ~EngineDevice();

    osm3d::Context& context() { return *context_; }
    IDirect3DDevice9& device() { return *context_->device.Get(); }
    Recorder& recorded() { return system_.Recorded(); }

  private:
    RecordingSystem system_;
    TestWindow window_;
    osm3d::Context* context_;
};

/// Rewinds the process-wide display settings to their initial values.
void ResetDisplaySettings();

}  // namespace support
