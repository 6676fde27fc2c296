// Where the device is our own: a window of the platform's, in a player's hands.
#pragma once

#include <memory>

#include "picture_window.h"
#include "platform/system/window.h"

namespace host {

std::unique_ptr<PictureWindow> Take(std::unique_ptr<platform::Window> window);

}  // namespace host
