// What a player's device draws for: a place for pictures that the module is given by its handle.
#pragma once

#include <memory>

#include "platform/d3d9/d3d9.h"

namespace host {

// Kept longer than the device that draws for it. Belongs to the thread that made it.
class PictureWindow {
  public:
    virtual ~PictureWindow() = default;
    // The window as the module takes it; never null.
    virtual HWND Handle() = 0;
    // Of a picture, in pixels.
    virtual unsigned Width() const = 0;
    virtual unsigned Height() const = 0;
    // Lets the system have its say, without waiting. Comes before each frame.
    virtual void Attend() {}
};

// One that nobody sees, `width` x `height` pixels inside. Throws cli::Error when the system has none.
std::unique_ptr<PictureWindow> MakeHiddenWindow(unsigned width, unsigned height);

}  // namespace host
