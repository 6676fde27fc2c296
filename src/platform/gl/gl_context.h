// One OpenGL 3.3 core context: without a display through EGL, or on a window through SDL.
#pragma once

#include <epoxy/gl.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/gl/gl_state_cache.h"
#include "platform/system/window.h"

namespace platform::gl {

// What the context offers beyond OpenGL 3.3.
struct GlFeatures {
    bool s3tc = false;  // DXT1 to DXT5
    bool anisotropy = false;
    float max_anisotropy = 1;
    bool buffer_storage = false;  // persistent maps
    bool texture_storage = false;
    bool mirror_once = false;  // D3DTADDRESS_MIRRORONCE
    u32 max_texture_size = 1024, max_cube_size = 1024;
    u32 max_clip_distances = 6;
    u32 max_samples = 0;
    u32 max_vertex_uniform_vectors = 256;
    u32 max_uniform_block_bytes = 16384;
    float max_point_size = 1;
    std::string renderer;
};

class GlContext {
  public:
    // For an offscreen window or none: a surfaceless context. For a window of SDL's: one on that window. Null
    // when the machine has no OpenGL 3.3 core. The window must outlive the context.
    static std::unique_ptr<GlContext> Create(Window* window);
    virtual ~GlContext() = default;
    GlContext(const GlContext&) = delete;
    GlContext& operator=(const GlContext&) = delete;

    // Makes this context the thread's current one; cheap when it is already.
    void Activate() {
        if (current_ != this) Switch();
    }
    // The same when code outside may have bound a context of its own since.
    void Recheck();
    // Shows what the default framebuffer holds; nothing without a window.
    virtual void SwapBuffers() {}
    // Size of the window's default framebuffer in pixels; false without a window.
    virtual bool DrawableSize(u32&, u32&) { return false; }
    // Waits for the retrace in SwapBuffers or not.
    virtual void SetSwapInterval(int) {}

    const GlFeatures& Features() const { return features_; }
    GlStateCache& State() { return state_; }

    // Clears and copies change masks, tests and the scissor behind the pipeline's back: they mark it, and the
    // next draw asks (and unmarks) before it trusts what it has set.
    void MarkTouched() { touched_ = true; }
    bool TakeTouched() { return std::exchange(touched_, false); }

    // A framebuffer object for a colour and a depth attachment, made once per pair and kept until one of them
    // is forgotten. Ids are those of GlImage; 0 for no attachment.
    struct Attachment {
        u64 image = 0;      // id; 0 for none
        GLuint name = 0;    // texture or renderbuffer
        GLenum target = 0;  // GL_TEXTURE_2D, a cube face, or GL_RENDERBUFFER
        GLint level = 0;
        bool depth = false, stencil = false;  // which attachment points a depth image serves
        friend bool operator==(const Attachment& a, const Attachment& b) {
            return a.image == b.image && a.target == b.target && a.level == b.level;
        }
    };
    GLuint Framebuffer(const Attachment& color, const Attachment& depth);
    // Drops every framebuffer object that an image is attached to.
    void ForgetImage(u64 image);

  protected:
    GlContext() = default;
    // Binds this context in the window system; false when that failed.
    virtual bool Bind() = 0;
    // Whether the window system has it bound now.
    virtual bool IsBound() const = 0;
    // After the context is bound for the first time: version check, features. False when it is below 3.3.
    bool Start();
    // Before the context goes: current nowhere.
    void Stop();

  private:
    void Switch();
    struct CachedFramebuffer {
        Attachment color, depth;
        GLuint name;
    };
    static thread_local GlContext* current_;
    GlFeatures features_;
    GlStateCache state_;
    bool touched_ = false;
    std::vector<CachedFramebuffer> framebuffers_;
};

}  // namespace platform::gl
