// Start and end of the render device.
#pragma once

#include <functional>

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace osm3d {

class Context;

/// Makes the one Context out of a window, a size and a colour depth, and shows its pictures. The order of the
/// operations is part of the module's interface.
class PlaybackHost {
  public:
    PlaybackHost() = default;
    PlaybackHost(const PlaybackHost&) = delete;
    PlaybackHost& operator=(const PlaybackHost&) = delete;
    /// Not virtual: the Driver holds the one object by value, and stops it.
    ~PlaybackHost() = default;

    /// Sizes in pixels; `colorBits` 16 or 32, not used when `windowed`; `antialias` 1 asks for two samples, 2
    /// for four, anything else for none. Always true: a device that cannot be had ends the process.
    virtual bool Start(HWND window, HINSTANCE instance, u32 pixelWidth, u32 pixelHeight, i32 colorBits,
                       bool windowed, u32 antialias);
    virtual void Stop();

    /// A red cross on the clear colour, for a time with nothing to show. Needs Start.
    virtual void DrawEmptyFrame();
    /// Ends the frame.
    virtual void Present();

    /// Where the time between the last two Presents went, one line per section of the frame, each begun by a
    /// line feed. Good until the next call.
    virtual const char* GetProfile();

    /// Runs at the start of Stop, while the device is still there; may be empty.
    std::function<void()> beforeStop;

    bool IsStarted() const { return started; }

    /// The render device between Start and Stop, for a host that reads pictures back.
    Context* GetContext() const { return context; }

  private:
    u32 width = 0;
    u32 height = 0;
    bool started = false;
    Context* context = nullptr;
};

}  // namespace osm3d
