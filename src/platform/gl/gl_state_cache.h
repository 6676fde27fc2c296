// The OpenGL state that the device sets, kept so that nothing redundant reaches OpenGL. All of the device and
// the pipeline set these things here alone; the values start unknown and are sent at the first call.
#pragma once

#include <epoxy/gl.h>

#include <array>

#include "platform/types.h"

namespace platform::gl {

class GlStateCache {
  public:
    static constexpr u32 kUnits = 17;  // 16 samplers and one for the device's own uploads
    static constexpr u32 kUploadUnit = 16;

    // Everything unknown again.
    void Invalidate();

    void BindDrawFramebuffer(GLuint name) {
        if (Change(draw_framebuffer_, name)) glBindFramebuffer(GL_DRAW_FRAMEBUFFER, name);
    }
    void BindReadFramebuffer(GLuint name) {
        if (Change(read_framebuffer_, name)) glBindFramebuffer(GL_READ_FRAMEBUFFER, name);
    }
    void UseProgram(GLuint name) {
        if (Change(program_, name)) glUseProgram(name);
    }
    void BindVertexArray(GLuint name) {
        if (Change(vertex_array_, name)) glBindVertexArray(name);
    }
    void BindArrayBuffer(GLuint name) {
        if (Change(array_buffer_, name)) glBindBuffer(GL_ARRAY_BUFFER, name);
    }
    // Buffer uploads go through this binding: it is part of no vertex array.
    void BindCopyWriteBuffer(GLuint name) {
        if (Change(copy_write_buffer_, name)) glBindBuffer(GL_COPY_WRITE_BUFFER, name);
    }
    void BindUniformBuffer(GLuint name) {
        if (Change(uniform_buffer_, name)) glBindBuffer(GL_UNIFORM_BUFFER, name);
    }
    void ActiveTexture(u32 unit) {
        if (Change(active_unit_, unit)) glActiveTexture(GL_TEXTURE0 + unit);
    }
    // `target` is GL_TEXTURE_2D or GL_TEXTURE_CUBE_MAP; each unit keeps one of both.
    void BindTexture(u32 unit, GLenum target, GLuint name) {
        GLuint& known = textures_[unit][target == GL_TEXTURE_CUBE_MAP ? 1 : 0];
        if (known == name) return;
        ActiveTexture(unit);
        known = name;
        glBindTexture(target, name);
    }
    void BindSampler(u32 unit, GLuint name) {
        if (Change(samplers_[unit], name)) glBindSampler(unit, name);
    }

    // Capabilities that the device switches.
    enum Capability : u32 {
        kBlend,
        kDepthTest,
        kStencilTest,
        kScissorTest,
        kCullFace,
        kPolygonOffsetFill,
        kPolygonOffsetLine,
        kPolygonOffsetPoint,
        kMultisample,
        kProgramPointSize,
        kDither,
        kSampleMask,
        kFramebufferSrgb,
        kClipDistance0,
        kCapabilities = kClipDistance0 + 8
    };
    void Enable(u32 capability, bool on) {
        const u8 value = on ? 1 : 0;
        if (!Change(capabilities_[capability], value)) return;
        if (on) {
            glEnable(Name(capability));
        } else {
            glDisable(Name(capability));
        }
    }
    void EnableClipDistance(u32 index, bool on) { Enable(kClipDistance0 + index, on); }

    void ColorMask(bool r, bool g, bool b, bool a) {
        const u8 mask = static_cast<u8>((r ? 1 : 0) | (g ? 2 : 0) | (b ? 4 : 0) | (a ? 8 : 0));
        if (Change(color_mask_, mask)) glColorMask(r, g, b, a);
    }
    void DepthMask(bool on) {
        const u8 value = on ? 1 : 0;
        if (Change(depth_mask_, value)) glDepthMask(on);
    }
    void DepthFunc(GLenum func) {
        if (Change(depth_func_, func)) glDepthFunc(func);
    }
    void StencilMask(GLuint mask) {
        if (!stencil_mask_known_ || stencil_mask_ != mask) {
            stencil_mask_known_ = true;
            stencil_mask_ = mask;
            glStencilMask(mask);
        }
    }
    // `face` is GL_FRONT or GL_BACK.
    void StencilFunc(GLenum face, GLenum func, GLint ref, GLuint mask) {
        StencilFace& known = stencil_[face == GL_BACK ? 1 : 0];
        if (known.func == func && known.ref == ref && known.mask == mask) return;
        known.func = func, known.ref = ref, known.mask = mask;
        glStencilFuncSeparate(face, func, ref, mask);
    }
    void StencilOp(GLenum face, GLenum fail, GLenum depth_fail, GLenum pass) {
        StencilFace& known = stencil_[face == GL_BACK ? 1 : 0];
        if (known.fail == fail && known.depth_fail == depth_fail && known.pass == pass) return;
        known.fail = fail, known.depth_fail = depth_fail, known.pass = pass;
        glStencilOpSeparate(face, fail, depth_fail, pass);
    }
    void BlendFunc(GLenum source, GLenum dest, GLenum source_alpha, GLenum dest_alpha) {
        const std::array<GLenum, 4> value = {source, dest, source_alpha, dest_alpha};
        if (Change(blend_func_, value)) glBlendFuncSeparate(source, dest, source_alpha, dest_alpha);
    }
    void BlendEquation(GLenum color, GLenum alpha) {
        const std::array<GLenum, 2> value = {color, alpha};
        if (Change(blend_equation_, value)) glBlendEquationSeparate(color, alpha);
    }
    void BlendColor(float r, float g, float b, float a) {
        const std::array<float, 4> value = {r, g, b, a};
        if (Change(blend_color_, value)) glBlendColor(r, g, b, a);
    }
    void CullFace(GLenum face) {
        if (Change(cull_face_, face)) glCullFace(face);
    }
    void FrontFace(GLenum mode) {
        if (Change(front_face_, mode)) glFrontFace(mode);
    }
    void PolygonMode(GLenum mode) {
        if (Change(polygon_mode_, mode)) glPolygonMode(GL_FRONT_AND_BACK, mode);
    }
    void PolygonOffset(float factor, float units) {
        const std::array<float, 2> value = {factor, units};
        if (Change(polygon_offset_, value)) glPolygonOffset(factor, units);
    }
    void PointSize(float size) {
        if (Change(point_size_, size)) glPointSize(size);
    }
    void SampleMask(GLbitfield mask) {
        if (!sample_mask_known_ || sample_mask_ != mask) {
            sample_mask_known_ = true;
            sample_mask_ = mask;
            glSampleMaski(0, mask);
        }
    }
    void Viewport(GLint x, GLint y, GLsizei width, GLsizei height) {
        const std::array<GLint, 4> value = {x, y, width, height};
        if (Change(viewport_, value)) glViewport(x, y, width, height);
    }
    void Scissor(GLint x, GLint y, GLsizei width, GLsizei height) {
        const std::array<GLint, 4> value = {x, y, width, height};
        if (Change(scissor_, value)) glScissor(x, y, width, height);
    }
    void DepthRange(float near_z, float far_z) {
        const std::array<float, 2> value = {near_z, far_z};
        if (Change(depth_range_, value)) glDepthRange(near_z, far_z);
    }

    // Deleting an object unbinds it; these keep what is known in step.
    void ForgetTexture(GLuint name);
    void ForgetFramebuffer(GLuint name);
    void ForgetBuffer(GLuint name);
    void ForgetSampler(GLuint name);

  private:
    template <class T>
    static bool Change(T& known, const T& value) {
        if (known == value) return false;
        known = value;
        return true;
    }
    static GLenum Name(u32 capability);

    static constexpr GLuint kUnknown = 0xffffffffu;
    struct StencilFace {
        GLenum func = kUnknown;
        GLint ref = 0;
        GLuint mask = 0;
        GLenum fail = kUnknown, depth_fail = 0, pass = 0;
    };

    GLuint draw_framebuffer_ = kUnknown, read_framebuffer_ = kUnknown, program_ = kUnknown;
    GLuint vertex_array_ = kUnknown, array_buffer_ = kUnknown, copy_write_buffer_ = kUnknown;
    GLuint uniform_buffer_ = kUnknown;
    u32 active_unit_ = kUnknown;
    std::array<std::array<GLuint, 2>, kUnits> textures_ = MakeUnknownTextures();
    std::array<GLuint, kUnits> samplers_ = MakeUnknown<kUnits>();
    std::array<u8, kCapabilities> capabilities_ = MakeUnknownFlags();
    u8 color_mask_ = 0xff, depth_mask_ = 0xff;
    GLenum depth_func_ = kUnknown, cull_face_ = kUnknown, front_face_ = kUnknown, polygon_mode_ = kUnknown;
    bool stencil_mask_known_ = false, sample_mask_known_ = false;
    GLuint stencil_mask_ = 0;
    GLbitfield sample_mask_ = 0;
    StencilFace stencil_[2];
    std::array<GLenum, 4> blend_func_ = MakeUnknown<4>();
    std::array<GLenum, 2> blend_equation_ = MakeUnknown<2>();
    std::array<float, 4> blend_color_ = {-1, -1, -1, -1};
    std::array<float, 2> polygon_offset_ = {1e30f, 1e30f}, depth_range_ = {-1, -1};
    float point_size_ = -1;
    std::array<GLint, 4> viewport_ = {-1, -1, -1, -1}, scissor_ = {-1, -1, -1, -1};

    template <std::size_t N>
    static constexpr std::array<GLuint, N> MakeUnknown() {
        std::array<GLuint, N> a{};
        a.fill(kUnknown);
        return a;
    }
    static constexpr std::array<u8, kCapabilities> MakeUnknownFlags() {
        std::array<u8, kCapabilities> a{};
        a.fill(0xff);
        return a;
    }
    static constexpr std::array<std::array<GLuint, 2>, kUnits> MakeUnknownTextures() {
        std::array<std::array<GLuint, 2>, kUnits> a{};
        for (auto& unit : a) unit.fill(kUnknown);
        return a;
    }
};

}  // namespace platform::gl
