#include "platform/gl/gl_context.h"

#include <algorithm>
#include <cstring>

#include "platform/gl/egl_context.h"
#include "platform/gl/sdl_context.h"

namespace platform::gl {

thread_local GlContext* GlContext::current_ = nullptr;

std::unique_ptr<GlContext> GlContext::Create(Window* window) {
    std::unique_ptr<GlContext> context;
    if (window && window->Sdl()) {
        context = MakeSdlContext(window->Sdl());
    } else {
        context = MakeEglContext();
    }
    if (!context || !context->Start()) return nullptr;
    return context;
}

void GlContext::Switch() {
    // A context that cannot be bound any more (its window is gone) leaves the calls without effect.
    current_ = Bind() ? this : nullptr;
}

void GlContext::Recheck() {
    if (!IsBound()) Switch();
}

bool GlContext::Start() {
    Switch();
    if (current_ != this || epoxy_gl_version() < 33) return false;

    const bool anisotropy = epoxy_has_gl_extension("GL_EXT_texture_filter_anisotropic") ||
                            epoxy_has_gl_extension("GL_ARB_texture_filter_anisotropic");
    features_.s3tc = epoxy_has_gl_extension("GL_EXT_texture_compression_s3tc");
    features_.anisotropy = anisotropy;
    if (anisotropy) glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &features_.max_anisotropy);
    features_.buffer_storage = epoxy_gl_version() >= 44 || epoxy_has_gl_extension("GL_ARB_buffer_storage");
    features_.texture_storage = epoxy_gl_version() >= 42 || epoxy_has_gl_extension("GL_ARB_texture_storage");
    features_.mirror_once = epoxy_gl_version() >= 44 ||
                            epoxy_has_gl_extension("GL_ARB_texture_mirror_clamp_to_edge") ||
                            epoxy_has_gl_extension("GL_EXT_texture_mirror_clamp") ||
                            epoxy_has_gl_extension("GL_ATI_texture_mirror_once");
    const auto integer = [](GLenum what) {
        GLint value = 0;
        glGetIntegerv(what, &value);
        return static_cast<u32>(std::max(value, 0));
    };
    features_.max_texture_size = integer(GL_MAX_TEXTURE_SIZE);
    features_.max_cube_size = integer(GL_MAX_CUBE_MAP_TEXTURE_SIZE);
    features_.max_clip_distances = integer(GL_MAX_CLIP_DISTANCES);
    features_.max_samples = std::min(integer(GL_MAX_SAMPLES), integer(GL_MAX_COLOR_TEXTURE_SAMPLES));
    features_.max_vertex_uniform_vectors = integer(GL_MAX_VERTEX_UNIFORM_COMPONENTS) / 4;
    features_.max_uniform_block_bytes = integer(GL_MAX_UNIFORM_BLOCK_SIZE);
    GLfloat sizes[2] = {1, 1};
    glGetFloatv(GL_POINT_SIZE_RANGE, sizes);
    features_.max_point_size = sizes[1];
    if (const GLubyte* name = glGetString(GL_RENDERER)) {
        features_.renderer = reinterpret_cast<const char*>(name);
    }

    // Set once and left alone.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glProvokingVertex(GL_FIRST_VERTEX_CONVENTION);
    state_.Enable(GlStateCache::kDither, false);
    state_.Enable(GlStateCache::kMultisample, true);
    state_.Enable(GlStateCache::kFramebufferSrgb, false);
    return true;
}

void GlContext::Stop() {
    Activate();
    for (const CachedFramebuffer& entry : framebuffers_) glDeleteFramebuffers(1, &entry.name);
    framebuffers_.clear();
    if (current_ == this) current_ = nullptr;
}

GLuint GlContext::Framebuffer(const Attachment& color, const Attachment& depth) {
    for (const CachedFramebuffer& entry : framebuffers_) {
        if (entry.color == color && entry.depth == depth) return entry.name;
    }
    GLuint name = 0;
    glGenFramebuffers(1, &name);
    state_.BindDrawFramebuffer(name);
    const auto attach = [](GLenum point, const Attachment& image) {
        if (image.target == GL_RENDERBUFFER) {
            glFramebufferRenderbuffer(GL_DRAW_FRAMEBUFFER, point, GL_RENDERBUFFER, image.name);
        } else {
            glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, point, image.target, image.name, image.level);
        }
    };
    if (color.image) {
        attach(GL_COLOR_ATTACHMENT0, color);
    } else {
        const GLenum none = GL_NONE;
        glDrawBuffers(1, &none);
        state_.BindReadFramebuffer(name);
        glReadBuffer(GL_NONE);
    }
    if (depth.image) {
        attach(depth.stencil ? GL_DEPTH_STENCIL_ATTACHMENT : GL_DEPTH_ATTACHMENT, depth);
    }
    framebuffers_.push_back({color, depth, name});
    return name;
}

void GlContext::ForgetImage(u64 image) {
    std::erase_if(framebuffers_, [&](const CachedFramebuffer& entry) {
        if (entry.color.image != image && entry.depth.image != image) return false;
        glDeleteFramebuffers(1, &entry.name);
        state_.ForgetFramebuffer(entry.name);
        return true;
    });
}

}  // namespace platform::gl
