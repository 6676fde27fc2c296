// The picture comes from the device's OpenGL context; what lies over it is drawn by a second one into the
// same framebuffer.
#include "play_surface.h"

#include <SDL.h>
#include <epoxy/gl.h>
#include <fmt/format.h>
#include <imgui.h>

#include "backends/imgui_impl_opengl3.h"
#include "cli/error.h"
#include "posix/platform_window.h"

namespace host {
namespace {

class GlSurface final : public PlaySurface {
  public:
    GlSurface(SDL_Window* window, Module& module, bool waits, const SurfaceParts& parts)
        : window_(window), module_(module), waits_(waits), parts_(parts) {
        context_ = SDL_GL_CreateContext(window_);
        if (!context_ || epoxy_gl_version() < 33) {
            const std::string why = SDL_GetError();
            SDL_GL_DeleteContext(context_);
            throw cli::Error(fmt::format("play needs a display with OpenGL 3.3: {}", why));
        }
        ImGui_ImplOpenGL3_Init("#version 330 core");
    }
    ~GlSurface() override {
        SDL_GL_MakeCurrent(window_, context_);
        ImGui_ImplOpenGL3_Shutdown();
        SDL_GL_DeleteContext(context_);
    }
    GlSurface(const GlSurface&) = delete;
    GlSurface& operator=(const GlSurface&) = delete;

    std::unique_ptr<PictureWindow> MakePictureWindow(unsigned width, unsigned height) override {
        // The device first asks an offscreen context what the machine can do, and beside a window's there is
        // none.
        SDL_GL_MakeCurrent(window_, nullptr);
        is_new_ = true;
        return Take(std::make_unique<DeviceWindow>(*this, width, height));
    }

    DeviceState Device() override { return DeviceState::kReady; }

    void Show() override {
        osm3d::PlaybackHost& playback = *module_.Driver().GetPlayback();
        if (playback.IsStarted()) {
            // The device's context is current now. A display that cannot wait for its retrace goes without.
            if (is_new_) SDL_GL_SetSwapInterval(waits_ ? 1 : 0);
            is_new_ = false;
            playback.Present();
            return;
        }
        const OwnContext context(*this);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT);
        DrawOverlay();
        SDL_GL_SwapWindow(window_);
    }

  private:
    // Makes the surface's own context current while it lives, and then what was current before.
    class OwnContext {
      public:
        explicit OwnContext(const GlSurface& owner)
            : window_(SDL_GL_GetCurrentWindow()), context_(SDL_GL_GetCurrentContext()) {
            SDL_GL_MakeCurrent(owner.window_, owner.context_);
        }
        ~OwnContext() { SDL_GL_MakeCurrent(window_, context_); }
        OwnContext(const OwnContext&) = delete;
        OwnContext& operator=(const OwnContext&) = delete;

      private:
        SDL_Window* window_;
        SDL_GLContext context_;
    };

    // A picture of the project's size, somewhere in the window.
    class DeviceWindow final : public platform::Window {
      public:
        DeviceWindow(GlSurface& owner, UINT width, UINT height)
            : owner_(owner), width_(width), height_(height) {}
        UINT Width() const override { return width_; }
        UINT Height() const override { return height_; }
        // The window's size is the person's affair.
        void Resize(UINT, UINT) override {}
        SDL_Window* Sdl() const override { return owner_.window_; }
        RECT PictureArea(UINT width, UINT height) const override {
            const Box box = owner_.parts_.picture_area(static_cast<int>(width), static_cast<int>(height));
            return {box.left, box.top, box.right, box.bottom};
        }
        void BeforeShow() override { owner_.DrawOverlay(); }

      private:
        GlSurface& owner_;
        UINT width_, height_;
    };

    void DrawOverlay() {
        const OwnContext context(*this);
        ImGui_ImplOpenGL3_NewFrame();
        ImDrawData* data = parts_.overlay();
        if (data) ImGui_ImplOpenGL3_RenderDrawData(data);
    }

    SDL_Window* window_;
    Module& module_;
    bool waits_;
    SurfaceParts parts_;
    SDL_GLContext context_ = nullptr;
    bool is_new_ = false;  // the device's context
};

}  // namespace

unsigned SurfaceWindowFlags() {
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 3);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 3);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_CORE);
    return SDL_WINDOW_OPENGL;
}

std::unique_ptr<PlaySurface> MakePlaySurface(SDL_Window* window, Module& module, bool waits,
                                             const SurfaceParts& parts) {
    return std::make_unique<GlSurface>(window, module, waits, parts);
}

}  // namespace host
