#include "platform/gl/gl_state_cache.h"

namespace platform::gl {

void GlStateCache::Invalidate() { *this = GlStateCache(); }

GLenum GlStateCache::Name(u32 capability) {
    static constexpr GLenum kNames[] = {GL_BLEND,
                                        GL_DEPTH_TEST,
                                        GL_STENCIL_TEST,
                                        GL_SCISSOR_TEST,
                                        GL_CULL_FACE,
                                        GL_POLYGON_OFFSET_FILL,
                                        GL_POLYGON_OFFSET_LINE,
                                        GL_POLYGON_OFFSET_POINT,
                                        GL_MULTISAMPLE,
                                        GL_PROGRAM_POINT_SIZE,
                                        GL_DITHER,
                                        GL_SAMPLE_MASK,
                                        GL_FRAMEBUFFER_SRGB};
    static_assert(sizeof(kNames) / sizeof(kNames[0]) == kClipDistance0);
    return capability < kClipDistance0 ? kNames[capability]
                                       : GL_CLIP_DISTANCE0 + (capability - kClipDistance0);
}

void GlStateCache::ForgetTexture(GLuint name) {
    for (auto& unit : textures_) {
        for (GLuint& known : unit) {
            if (known == name) known = 0;
        }
    }
}

void GlStateCache::ForgetFramebuffer(GLuint name) {
    if (draw_framebuffer_ == name) draw_framebuffer_ = 0;
    if (read_framebuffer_ == name) read_framebuffer_ = 0;
}

void GlStateCache::ForgetBuffer(GLuint name) {
    if (array_buffer_ == name) array_buffer_ = 0;
    if (copy_write_buffer_ == name) copy_write_buffer_ = 0;
    if (uniform_buffer_ == name) uniform_buffer_ = 0;
}

void GlStateCache::ForgetSampler(GLuint name) {
    for (GLuint& known : samplers_) {
        if (known == name) known = 0;
    }
}

}  // namespace platform::gl
