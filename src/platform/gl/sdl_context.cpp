#include "platform/gl/sdl_context.h"

#include <SDL.h>

#include <algorithm>

namespace platform::gl {
namespace {

class SdlContext final : public GlContext {
  public:
    SdlContext(SDL_Window* window, SDL_GLContext context) : window_(window), context_(context) {}
    ~SdlContext() override {
        Stop();
        SDL_GL_DeleteContext(context_);
    }

    void SwapBuffers() override { SDL_GL_SwapWindow(window_); }
    bool DrawableSize(u32& width, u32& height) override {
        int w = 0, h = 0;
        SDL_GL_GetDrawableSize(window_, &w, &h);
        width = static_cast<u32>(std::max(w, 0));
        height = static_cast<u32>(std::max(h, 0));
        return true;
    }
    void SetSwapInterval(int interval) override { SDL_GL_SetSwapInterval(interval); }

  protected:
    bool Bind() override { return SDL_GL_MakeCurrent(window_, context_) == 0; }
    bool IsBound() const override {
        return SDL_GL_GetCurrentContext() == context_ && SDL_GL_GetCurrentWindow() == window_;
    }

  private:
    SDL_Window* window_;
    SDL_GLContext context_;
};

}  // namespace

std::unique_ptr<GlContext> MakeSdlContext(SDL_Window* window) {
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 3);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 3);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_CORE);
    const SDL_GLContext context = SDL_GL_CreateContext(window);
    if (!context) return nullptr;
    return std::make_unique<SdlContext>(window, context);
}

}  // namespace platform::gl
