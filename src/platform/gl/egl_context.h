// OpenGL without a display, through EGL.
#pragma once

#include "platform/gl/gl_context.h"

namespace platform::gl {

// A 3.3 core context that is bound to no surface. Null when the machine has none.
std::unique_ptr<GlContext> MakeEglContext();

}  // namespace platform::gl
