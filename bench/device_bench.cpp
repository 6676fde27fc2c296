// Our Direct3D 9 against the same work written straight in OpenGL, in the same process and on the same
// driver.
#include <epoxy/egl.h>
#include <epoxy/gl.h>
#include <fmt/format.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench.h"
#include "platform/system/window.h"
#include "render/context.h"
#include "render/display.h"
#include "render/state_block.h"

namespace bench {
namespace {

constexpr int kWidth = 640, kHeight = 480, kTexture = 256;

struct Vertex {
    float x, y, z, rhw;
    u32 color;
    float u, v;
};

void Fail(const char* what) {
    fmt::print(stderr, "bench: {}\n", what);
    std::exit(1);
}

// Makes the OpenGL context that was current before current again.
class CurrentContext {
  public:
    CurrentContext()
        : display_(eglGetCurrentDisplay()),
          draw_(eglGetCurrentSurface(EGL_DRAW)),
          read_(eglGetCurrentSurface(EGL_READ)),
          context_(eglGetCurrentContext()) {}
    void Restore() const { eglMakeCurrent(display_, draw_, read_, context_); }
    EGLDisplay Display() const { return display_; }

  private:
    EGLDisplay display_;
    EGLSurface draw_, read_;
    EGLContext context_;
};

// The reference: one texture, one blended program, one ring of vertices.
class PlainOpenGl {
  public:
    explicit PlainOpenGl(EGLDisplay display) : display_(display) {
        const EGLint config_wanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
        const EGLint context_wanted[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 3,
                                         EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        eglBindAPI(EGL_OPENGL_API);
        eglChooseConfig(display_, config_wanted, &config, 1, &count);
        context_ = eglCreateContext(display_, config, EGL_NO_CONTEXT, context_wanted);
        if (context_ == EGL_NO_CONTEXT) Fail("no OpenGL context for the reference");
        MakeCurrent();
        MakeTarget();
        MakeTexture();
        MakeProgram();
        glGenVertexArrays(1, &array_);
        glBindVertexArray(array_);
        glGenBuffers(1, &ring_);
        glBindBuffer(GL_ARRAY_BUFFER, ring_);
        glBufferData(GL_ARRAY_BUFFER, kRing, nullptr, GL_STREAM_DRAW);
        glVertexAttribPointer(0, 4, GL_FLOAT, GL_FALSE, sizeof(Vertex), reinterpret_cast<void*>(0));
        glVertexAttribPointer(1, GL_BGRA, GL_UNSIGNED_BYTE, GL_TRUE, sizeof(Vertex),
                              reinterpret_cast<void*>(16));
        glVertexAttribPointer(2, 2, GL_FLOAT, GL_FALSE, sizeof(Vertex), reinterpret_cast<void*>(20));
        for (GLuint i = 0; i < 3; ++i) glEnableVertexAttribArray(i);
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glViewport(0, 0, kWidth, kHeight);
    }
    void MakeCurrent() const {
        if (!eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_))
            Fail("the reference has no context");
    }
    void Draw(const Vertex* vertices) {
        constexpr GLsizeiptr size = 4 * sizeof(Vertex);
        GLbitfield access = GL_MAP_WRITE_BIT | GL_MAP_UNSYNCHRONIZED_BIT | GL_MAP_INVALIDATE_RANGE_BIT;
        if (at_ + size > kRing) {
            at_ = 0;
            access = GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT;
        }
        void* to = glMapBufferRange(GL_ARRAY_BUFFER, at_, size, access);
        std::memcpy(to, vertices, size);
        glUnmapBuffer(GL_ARRAY_BUFFER);
        glDrawArrays(GL_TRIANGLE_STRIP, static_cast<GLint>(at_ / static_cast<GLsizeiptr>(sizeof(Vertex))), 4);
        at_ += size;
    }
    static void Finish() { glFinish(); }

  private:
    static constexpr GLsizeiptr kRing = 28 * 8192;

    void MakeTarget() {
        GLuint frame = 0, color = 0, depth = 0;
        glGenFramebuffers(1, &frame);
        glBindFramebuffer(GL_FRAMEBUFFER, frame);
        glGenTextures(1, &color);
        glBindTexture(GL_TEXTURE_2D, color);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kWidth, kHeight, 0, GL_BGRA, GL_UNSIGNED_BYTE, nullptr);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, color, 0);
        glGenRenderbuffers(1, &depth);
        glBindRenderbuffer(GL_RENDERBUFFER, depth);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH24_STENCIL8, kWidth, kHeight);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, depth);
        if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE)
            Fail("incomplete reference target");
    }
    void MakeTexture() {
        GLuint texture = 0;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_2D, texture);
        std::vector<u32> texels(kTexture * kTexture);
        for (std::size_t i = 0; i < texels.size(); ++i)
            texels[i] = 0x80000000u | static_cast<u32>(i * 2654435761u >> 8);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, kTexture, kTexture, 0, GL_BGRA, GL_UNSIGNED_BYTE,
                     texels.data());
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    }
    static GLuint Shader(GLenum type, const char* text) {
        const GLuint shader = glCreateShader(type);
        glShaderSource(shader, 1, &text, nullptr);
        glCompileShader(shader);
        return shader;
    }
    void MakeProgram() {
        const GLuint program = glCreateProgram();
        glAttachShader(program, Shader(GL_VERTEX_SHADER, R"(#version 330 core
layout(location = 0) in vec4 position;
layout(location = 1) in vec4 color;
layout(location = 2) in vec2 coordinate;
out vec4 tint;
out vec2 uv;
void main() {
    gl_Position = vec4((position.x + 0.5) / 320.0 - 1.0, (position.y + 0.5) / 240.0 - 1.0, position.z * 2.0 - 1.0, 1.0);
    tint = color;
    uv = coordinate;
})"));
        glAttachShader(program, Shader(GL_FRAGMENT_SHADER, R"(#version 330 core
uniform sampler2D image;
in vec4 tint;
in vec2 uv;
out vec4 result;
void main() { result = texture(image, uv) * tint; })"));
        glLinkProgram(program);
        GLint linked = 0;
        glGetProgramiv(program, GL_LINK_STATUS, &linked);
        if (!linked) Fail("the reference's program does not link");
        glUseProgram(program);
    }

    EGLDisplay display_;
    EGLContext context_ = EGL_NO_CONTEXT;
    GLuint array_ = 0, ring_ = 0;
    GLsizeiptr at_ = 0;
};

// Ours: the same quads through the engine's Context.
class OurDevice {
  public:
    OurDevice() : window_(platform::MakeOffscreenWindow(kWidth, kHeight)) {
        osm3d::SetWindow(window_->Handle());
        osm3d::SetDisplaySize(kWidth, kHeight, -1);
        context_ = osm3d::Context::Create();
        context_->device->CreateTexture(kTexture, kTexture, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED,
                                        texture_.Put(), nullptr);
        D3DLOCKED_RECT locked{};
        if (!texture_ || FAILED(texture_->LockRect(0, &locked, nullptr, 0))) Fail("no texture");
        for (unsigned y = 0; y < kTexture; ++y) {
            auto* row = reinterpret_cast<u32*>(static_cast<u8*>(locked.pBits) +
                                               y * static_cast<unsigned>(locked.Pitch));
            for (unsigned x = 0; x < kTexture; ++x)
                row[x] = 0x80000000u | ((y * kTexture + x) * 2654435761u >> 8);
        }
        texture_->UnlockRect(0);
        block_.blendEnable = true;
        block_.SetBlendPreset(2);
        block_.cullMode = 2;
        block_.depthEnable = false;
        block_.lighting = false;
        stage_ = osm3d::TextureStageStateBlock::Standard();
        stage_.alphaOp = 3;
        stage_.magFilter = stage_.minFilter = 2;
        // The copy that a read-back needs, so that the end of the work can be waited for.
        context_->device->CreateOffscreenPlainSurface(kWidth, kHeight, D3DFMT_X8R8G8B8, D3DPOOL_SYSTEMMEM,
                                                      copy_.Put(), nullptr);
    }
    ~OurDevice() {
        texture_.Reset();
        copy_.Reset();
        osm3d::Context::Destroy();
    }
    void Begin() {
        context_->BeginScene();
        context_->ApplyRenderState(block_);
        context_->SetTexture(0, texture_.Get());
        context_->ApplyStage(0, stage_);
    }
    void Draw(const Vertex* vertices) {
        void* to =
            context_->LockScratchVertices(D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1, sizeof(Vertex), 4);
        std::memcpy(to, vertices, 4 * sizeof(Vertex));
        context_->UnlockScratchVertices();
        context_->device->SetFVF(D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1);
        context_->DrawScratch(D3DPT_TRIANGLESTRIP, 0, 2);
    }
    void End() { context_->EndScene(); }
    // The colour in the middle of the picture, without alpha.
    u32 Middle() {
        ComPtr<IDirect3DSurface9> target;
        D3DLOCKED_RECT locked{};
        context_->device->GetRenderTarget(0, target.Put());
        if (FAILED(context_->device->GetRenderTargetData(target.Get(), copy_.Get())) ||
            FAILED(copy_->LockRect(&locked, nullptr, D3DLOCK_READONLY)))
            Fail("the picture cannot be read back");
        u32 color = 0;
        std::memcpy(&color, static_cast<u8*>(locked.pBits) + kHeight / 2 * locked.Pitch + kWidth / 2 * 4, 4);
        copy_->UnlockRect();
        return color & 0xffffff;
    }

  private:
    std::unique_ptr<platform::Window> window_;
    osm3d::Context* context_ = nullptr;
    ComPtr<IDirect3DTexture9> texture_;
    ComPtr<IDirect3DSurface9> copy_;
    osm3d::RenderStateBlock block_{0xffff};
    osm3d::TextureStageStateBlock stage_;
};

// A quad over left..right, top..bottom.
void Quad(Vertex* v, float left, float top, float right, float bottom) {
    v[0] = {left, top, 0.5f, 1, 0x80ffffff, 0, 0};
    v[1] = {right, top, 0.5f, 1, 0x80ffffff, 1, 0};
    v[2] = {left, bottom, 0.5f, 1, 0x80ffffff, 0, 1};
    v[3] = {right, bottom, 0.5f, 1, 0x80ffffff, 1, 1};
}

}  // namespace

void Device() {
    OurDevice ours;
    const CurrentContext context;
    PlainOpenGl plain(context.Display());
    context.Restore();

    Vertex full[4];
    Quad(full, -0.5f, -0.5f, kWidth - 0.5f, kHeight - 0.5f);
    constexpr int kFills = 200;
    const Pair fill = Compare(
        [&] {
            context.Restore();
            ours.Begin();
            for (int i = 0; i < kFills; ++i) ours.Draw(full);
            ours.End();
            glFinish();
        },
        [&] {
            plain.MakeCurrent();
            for (int i = 0; i < kFills; ++i) plain.Draw(full);
            glFinish();
        },
        15);
    // Both have drawn: the middle is no longer what an untouched target holds.
    plain.MakeCurrent();
    u32 middle = 0;
    glReadPixels(kWidth / 2, kHeight / 2, 1, 1, GL_BGRA, GL_UNSIGNED_BYTE, &middle);
    if ((middle & 0xffffff) == 0) Fail("the reference has drawn nothing");
    context.Restore();
    if (ours.Middle() == 0) Fail("our device has drawn nothing");

    const double pixels = static_cast<double>(kWidth) * kHeight * kFills / 1e6;
    Report("full-screen textured blended quads", fmt::format("{:.0f} Mpixel/s", pixels / fill.ours),
           fmt::format("{:.0f} Mpixel/s", pixels / fill.reference), fill.reference / fill.ours, false, 0.95);

    constexpr int kDraws = 20000;
    std::vector<Vertex> small(4 * 64);
    for (int i = 0; i < 64; ++i)
        Quad(&small[static_cast<std::size_t>(4 * i)], static_cast<float>(i * 9), static_cast<float>(i * 6),
             static_cast<float>(i * 9 + 4), static_cast<float>(i * 6 + 4));
    const Pair draws = Compare(
        [&] {
            context.Restore();
            ours.Begin();
            for (int i = 0; i < kDraws; ++i) ours.Draw(&small[static_cast<std::size_t>(4 * (i & 63))]);
            ours.End();
            glFinish();
        },
        [&] {
            plain.MakeCurrent();
            for (int i = 0; i < kDraws; ++i) plain.Draw(&small[static_cast<std::size_t>(4 * (i & 63))]);
            glFinish();
        },
        15);
    Report("small draws through the scratch ring", fmt::format("{:.2f} M/s", kDraws / draws.ours / 1e6),
           fmt::format("{:.2f} M/s", kDraws / draws.reference / 1e6), draws.reference / draws.ours, false,
           0.6);
    context.Restore();
}

}  // namespace bench
