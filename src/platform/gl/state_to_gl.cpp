#include "platform/gl/state_to_gl.h"

#include <algorithm>
#include <bit>

#include "platform/gl/ff_key.h"
#include "platform/gl/gl_surface.h"

namespace platform::gl {

namespace {

GLenum BlendFactor(DWORD factor, bool target_has_alpha) {
    switch (factor) {
        case D3DBLEND_ZERO:
            return GL_ZERO;
        case D3DBLEND_SRCCOLOR:
            return GL_SRC_COLOR;
        case D3DBLEND_INVSRCCOLOR:
            return GL_ONE_MINUS_SRC_COLOR;
        case D3DBLEND_SRCALPHA:
            return GL_SRC_ALPHA;
        case D3DBLEND_INVSRCALPHA:
            return GL_ONE_MINUS_SRC_ALPHA;
        case D3DBLEND_DESTALPHA:
            return target_has_alpha ? GL_DST_ALPHA : GL_ONE;
        case D3DBLEND_INVDESTALPHA:
            return target_has_alpha ? GL_ONE_MINUS_DST_ALPHA : GL_ZERO;
        case D3DBLEND_DESTCOLOR:
            return GL_DST_COLOR;
        case D3DBLEND_INVDESTCOLOR:
            return GL_ONE_MINUS_DST_COLOR;
        case D3DBLEND_SRCALPHASAT:
            return target_has_alpha ? GL_SRC_ALPHA_SATURATE : GL_ZERO;
        case D3DBLEND_BLENDFACTOR:
            return GL_CONSTANT_COLOR;
        case D3DBLEND_INVBLENDFACTOR:
            return GL_ONE_MINUS_CONSTANT_COLOR;
        default:
            return GL_ONE;
    }
}

struct Factors {
    GLenum source, dest;
};

// The two "both" factors stand for a pair and leave the destination's own factor aside.
Factors BlendFactors(DWORD source, DWORD dest, bool target_has_alpha) {
    if (source == D3DBLEND_BOTHSRCALPHA) return {GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA};
    if (source == D3DBLEND_BOTHINVSRCALPHA) return {GL_ONE_MINUS_SRC_ALPHA, GL_SRC_ALPHA};
    return {BlendFactor(source, target_has_alpha), BlendFactor(dest, target_has_alpha)};
}

GLenum BlendEquation(DWORD op) {
    switch (op) {
        case D3DBLENDOP_SUBTRACT:
            return GL_FUNC_SUBTRACT;
        case D3DBLENDOP_REVSUBTRACT:
            return GL_FUNC_REVERSE_SUBTRACT;
        case D3DBLENDOP_MIN:
            return GL_MIN;
        case D3DBLENDOP_MAX:
            return GL_MAX;
        default:
            return GL_FUNC_ADD;
    }
}

GLenum StencilOp(DWORD op) {
    switch (op) {
        case D3DSTENCILOP_ZERO:
            return GL_ZERO;
        case D3DSTENCILOP_REPLACE:
            return GL_REPLACE;
        case D3DSTENCILOP_INCRSAT:
            return GL_INCR;
        case D3DSTENCILOP_DECRSAT:
            return GL_DECR;
        case D3DSTENCILOP_INVERT:
            return GL_INVERT;
        case D3DSTENCILOP_INCR:
            return GL_INCR_WRAP;
        case D3DSTENCILOP_DECR:
            return GL_DECR_WRAP;
        default:
            return GL_KEEP;
    }
}

float Channel(DWORD color, u32 shift) { return static_cast<float>(color >> shift & 0xff) / 255.0f; }

void SendRaster(const DeviceState& state, GlStateCache& gl) {
    const auto& render = state.render;
    // Clockwise on the screen is counter-clockwise as OpenGL sees the picture, and that is its front here.
    gl.FrontFace(GL_CCW);
    const DWORD cull = render[D3DRS_CULLMODE];
    gl.Enable(GlStateCache::kCullFace, cull == D3DCULL_CW || cull == D3DCULL_CCW);
    if (cull == D3DCULL_CW || cull == D3DCULL_CCW) gl.CullFace(cull == D3DCULL_CW ? GL_FRONT : GL_BACK);

    const DWORD fill = render[D3DRS_FILLMODE];
    gl.PolygonMode(fill == D3DFILL_POINT ? GL_POINT : fill == D3DFILL_WIREFRAME ? GL_LINE : GL_FILL);

    const float bias = std::bit_cast<float>(render[D3DRS_DEPTHBIAS]);
    const float slope = std::bit_cast<float>(render[D3DRS_SLOPESCALEDEPTHBIAS]);
    const bool offset = bias != 0.0f || slope != 0.0f;
    gl.Enable(GlStateCache::kPolygonOffsetFill, offset);
    gl.Enable(GlStateCache::kPolygonOffsetLine, offset);
    gl.Enable(GlStateCache::kPolygonOffsetPoint, offset);
    if (offset) {
        // OpenGL counts the constant part in smallest steps of the depth buffer.
        const bool short_depth = state.depth != nullptr && (state.depth->Format().d3d == D3DFMT_D16 ||
                                                            state.depth->Format().d3d == D3DFMT_D16_LOCKABLE);
        gl.PolygonOffset(slope, bias * (short_depth ? 65536.0f : 16777216.0f));
    }

    const bool multisampled = state.target != nullptr && state.target->Multisampled();
    gl.Enable(GlStateCache::kMultisample, render[D3DRS_MULTISAMPLEANTIALIAS] != 0);
    const bool masked = multisampled && render[D3DRS_MULTISAMPLEMASK] != 0xffffffffu;
    gl.Enable(GlStateCache::kSampleMask, masked);
    if (masked) gl.SampleMask(render[D3DRS_MULTISAMPLEMASK]);
    gl.Enable(GlStateCache::kProgramPointSize, true);
}

void SendBlend(const DeviceState& state, GlStateCache& gl) {
    const auto& render = state.render;
    const DWORD write = render[D3DRS_COLORWRITEENABLE];
    gl.ColorMask((write & 1) != 0, (write & 2) != 0, (write & 4) != 0, (write & 8) != 0);
    const bool blend = render[D3DRS_ALPHABLENDENABLE] != 0;
    gl.Enable(GlStateCache::kBlend, blend);
    if (!blend) return;
    const bool alpha = state.target == nullptr || state.target->Format().alpha;
    const Factors color = BlendFactors(render[D3DRS_SRCBLEND], render[D3DRS_DESTBLEND], alpha);
    const GLenum equation = BlendEquation(render[D3DRS_BLENDOP]);
    if (render[D3DRS_SEPARATEALPHABLENDENABLE] != 0) {
        const Factors own = BlendFactors(render[D3DRS_SRCBLENDALPHA], render[D3DRS_DESTBLENDALPHA], alpha);
        gl.BlendFunc(color.source, color.dest, own.source, own.dest);
        gl.BlendEquation(equation, BlendEquation(render[D3DRS_BLENDOPALPHA]));
    } else {
        gl.BlendFunc(color.source, color.dest, color.source, color.dest);
        gl.BlendEquation(equation, equation);
    }
    const DWORD factor = render[D3DRS_BLENDFACTOR];
    gl.BlendColor(Channel(factor, 16), Channel(factor, 8), Channel(factor, 0), Channel(factor, 24));
}

void SendDepth(const DeviceState& state, GlStateCache& gl) {
    const auto& render = state.render;
    const bool test = render[D3DRS_ZENABLE] != D3DZB_FALSE && state.depth != nullptr;
    gl.Enable(GlStateCache::kDepthTest, test);
    if (!test) return;
    gl.DepthMask(render[D3DRS_ZWRITEENABLE] != 0);
    gl.DepthFunc(CompareFunc(render[D3DRS_ZFUNC]));
}

void SendStencil(const DeviceState& state, GlStateCache& gl) {
    const auto& render = state.render;
    const bool test = render[D3DRS_STENCILENABLE] != 0 && state.depth != nullptr;
    gl.Enable(GlStateCache::kStencilTest, test);
    if (!test) return;
    const GLint ref = static_cast<GLint>(render[D3DRS_STENCILREF] & 0xff);
    const GLuint mask = render[D3DRS_STENCILMASK];
    gl.StencilMask(render[D3DRS_STENCILWRITEMASK]);
    // The usual states serve clockwise faces, which are OpenGL's front.
    gl.StencilFunc(GL_FRONT, CompareFunc(render[D3DRS_STENCILFUNC]), ref, mask);
    gl.StencilOp(GL_FRONT, StencilOp(render[D3DRS_STENCILFAIL]), StencilOp(render[D3DRS_STENCILZFAIL]),
                 StencilOp(render[D3DRS_STENCILPASS]));
    const bool two = render[D3DRS_TWOSIDEDSTENCILMODE] != 0;
    gl.StencilFunc(GL_BACK, CompareFunc(render[two ? D3DRS_CCW_STENCILFUNC : D3DRS_STENCILFUNC]), ref, mask);
    gl.StencilOp(GL_BACK, StencilOp(render[two ? D3DRS_CCW_STENCILFAIL : D3DRS_STENCILFAIL]),
                 StencilOp(render[two ? D3DRS_CCW_STENCILZFAIL : D3DRS_STENCILZFAIL]),
                 StencilOp(render[two ? D3DRS_CCW_STENCILPASS : D3DRS_STENCILPASS]));
}

}  // namespace

GLenum CompareFunc(DWORD func) {
    static constexpr GLenum kFuncs[] = {GL_ALWAYS,  GL_NEVER,    GL_LESS,   GL_EQUAL, GL_LEQUAL,
                                        GL_GREATER, GL_NOTEQUAL, GL_GEQUAL, GL_ALWAYS};
    return func < std::size(kFuncs) ? kFuncs[func] : GL_ALWAYS;
}

void SendOutputState(const DeviceState& state, u32 dirty, bool transformed, GlStateCache& gl) {
    // Depth bias and sample mask, destination alpha, and whether depth acts at all go by the targets.
    if ((dirty & (kDirtyRaster | kDirtyTarget)) != 0) SendRaster(state, gl);
    if ((dirty & (kDirtyBlend | kDirtyTarget)) != 0) SendBlend(state, gl);
    if ((dirty & (kDirtyDepth | kDirtyTarget)) != 0) SendDepth(state, gl);
    if ((dirty & (kDirtyStencil | kDirtyTarget)) != 0) SendStencil(state, gl);
    if ((dirty & (kDirtyScissor | kDirtyRaster)) != 0) {
        const bool scissor = state.render[D3DRS_SCISSORTESTENABLE] != 0;
        gl.Enable(GlStateCache::kScissorTest, scissor);
        if (scissor) {
            const RECT& rect = state.scissor;
            gl.Scissor(rect.left, rect.top, std::max(rect.right - rect.left, 0),
                       std::max(rect.bottom - rect.top, 0));
        }
    }
    const D3DVIEWPORT9& viewport = state.viewport;
    gl.Viewport(static_cast<GLint>(viewport.X), static_cast<GLint>(viewport.Y),
                static_cast<GLsizei>(viewport.Width), static_cast<GLsizei>(viewport.Height));
    if (transformed) {
        gl.DepthRange(0.0f, 1.0f);
    } else {
        gl.DepthRange(viewport.MinZ, viewport.MaxZ);
    }
}

u64 VertexCount(D3DPRIMITIVETYPE type, u64 primitive_count) {
    switch (type) {
        case D3DPT_POINTLIST:
            return primitive_count;
        case D3DPT_LINELIST:
            return primitive_count * 2;
        case D3DPT_LINESTRIP:
            return primitive_count + 1;
        case D3DPT_TRIANGLELIST:
            return primitive_count * 3;
        case D3DPT_TRIANGLESTRIP:
        case D3DPT_TRIANGLEFAN:
            return primitive_count + 2;
        default:
            return 0;
    }
}

GLenum PrimitiveMode(D3DPRIMITIVETYPE type) {
    switch (type) {
        case D3DPT_POINTLIST:
            return GL_POINTS;
        case D3DPT_LINELIST:
            return GL_LINES;
        case D3DPT_LINESTRIP:
            return GL_LINE_STRIP;
        case D3DPT_TRIANGLESTRIP:
            return GL_TRIANGLE_STRIP;
        case D3DPT_TRIANGLEFAN:
            return GL_TRIANGLE_FAN;
        default:
            return GL_TRIANGLES;
    }
}

SamplerCache::SamplerCache(GlContext& context)
    : context_(context), mirror_once_(context.Features().mirror_once) {}

SamplerCache::~SamplerCache() {
    for (const auto& [key, name] : samplers_) {
        context_.State().ForgetSampler(name);
        glDeleteSamplers(1, &name);
    }
}

std::size_t SamplerCache::Hash::operator()(const Key& key) const {
    return static_cast<std::size_t>(HashBytes(key.values.data(), sizeof(key.values)));
}

GLuint SamplerCache::Find(const std::array<DWORD, kSamplerStates>& states, bool cube) {
    Key key;
    const bool anisotropic = states[D3DSAMP_MINFILTER] == D3DTEXF_ANISOTROPIC;
    const bool borders = !cube && (states[D3DSAMP_ADDRESSU] == D3DTADDRESS_BORDER ||
                                   states[D3DSAMP_ADDRESSV] == D3DTADDRESS_BORDER);
    // A cube has no outside: faces are clamped at their edges whatever the address modes say.
    key.values = {cube ? DWORD{D3DTADDRESS_CLAMP} : states[D3DSAMP_ADDRESSU],
                  cube ? DWORD{D3DTADDRESS_CLAMP} : states[D3DSAMP_ADDRESSV],
                  cube ? DWORD{D3DTADDRESS_CLAMP} : DWORD{D3DTADDRESS_WRAP},
                  borders ? states[D3DSAMP_BORDERCOLOR] : 0,
                  states[D3DSAMP_MAGFILTER],
                  states[D3DSAMP_MINFILTER],
                  states[D3DSAMP_MIPFILTER],
                  states[D3DSAMP_MIPMAPLODBIAS],
                  anisotropic ? states[D3DSAMP_MAXANISOTROPY] : 1};
    const auto found = samplers_.find(key);
    if (found != samplers_.end()) return found->second;
    const GLuint name = Make(key);
    samplers_.emplace(key, name);
    return name;
}

GLint SamplerCache::Wrap(DWORD mode) const {
    switch (mode) {
        case D3DTADDRESS_MIRROR:
            return GL_MIRRORED_REPEAT;
        case D3DTADDRESS_CLAMP:
            return GL_CLAMP_TO_EDGE;
        case D3DTADDRESS_BORDER:
            return GL_CLAMP_TO_BORDER;
        case D3DTADDRESS_MIRRORONCE:
            return mirror_once_ ? GL_MIRROR_CLAMP_TO_EDGE : GL_MIRRORED_REPEAT;
        default:
            return GL_REPEAT;
    }
}

GLuint SamplerCache::Make(const Key& key) const {
    const auto& [u, v, w, border, mag, min, mip, bias, anisotropy] = key.values;
    GLuint name = 0;
    glGenSamplers(1, &name);
    glSamplerParameteri(name, GL_TEXTURE_WRAP_S, Wrap(u));
    glSamplerParameteri(name, GL_TEXTURE_WRAP_T, Wrap(v));
    glSamplerParameteri(name, GL_TEXTURE_WRAP_R, Wrap(w));
    const float color[4] = {Channel(border, 16), Channel(border, 8), Channel(border, 0), Channel(border, 24)};
    glSamplerParameterfv(name, GL_TEXTURE_BORDER_COLOR, color);
    glSamplerParameteri(name, GL_TEXTURE_MAG_FILTER, mag >= D3DTEXF_LINEAR ? GL_LINEAR : GL_NEAREST);
    const bool linear = min >= D3DTEXF_LINEAR;
    GLint filter = linear ? GL_LINEAR : GL_NEAREST;
    if (mip == D3DTEXF_POINT) {
        filter = linear ? GL_LINEAR_MIPMAP_NEAREST : GL_NEAREST_MIPMAP_NEAREST;
    } else if (mip >= D3DTEXF_LINEAR) {
        filter = linear ? GL_LINEAR_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_LINEAR;
    }
    glSamplerParameteri(name, GL_TEXTURE_MIN_FILTER, filter);
    glSamplerParameterf(name, GL_TEXTURE_LOD_BIAS, std::bit_cast<float>(bias));
    if (context_.Features().anisotropy) {
        const float most =
            std::min(static_cast<float>(std::max<DWORD>(anisotropy, 1)), context_.Features().max_anisotropy);
        glSamplerParameterf(name, GL_TEXTURE_MAX_ANISOTROPY_EXT, most);
    }
    return name;
}

}  // namespace platform::gl
