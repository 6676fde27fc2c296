// OpenGL on a window of SDL's.
#pragma once

#include "platform/gl/gl_context.h"

namespace platform::gl {

// A 3.3 core context on a window made with SDL_WINDOW_OPENGL. Null when SDL cannot make one.
std::unique_ptr<GlContext> MakeSdlContext(SDL_Window* window);

}  // namespace platform::gl
