#include "platform/gl/gl_device.h"

#include <SDL.h>

#include <algorithm>

#include "platform/gl/gl_buffer.h"
#include "platform/gl/gl_direct3d9.h"
#include "platform/gl/gl_surface.h"
#include "platform/gl/gl_texture.h"
#include "platform/gl/pipeline_objects.h"

namespace platform::gl {

HRESULT GlDevice::Create(GlDirect3D9& d3d, D3DDEVTYPE type, HWND focus, DWORD behaviour,
                         D3DPRESENT_PARAMETERS& parameters, IDirect3DDevice9** device) {
    const HWND handle = parameters.hDeviceWindow ? parameters.hDeviceWindow : focus;
    std::unique_ptr<GlContext> context = GlContext::Create(Window::FromHandle(handle));
    if (!context) return D3DERR_NOTAVAILABLE;
    auto* made = new GlDevice(d3d, std::move(context), type, focus, behaviour);
    made->AddRef();
    HRESULT result = made->Complete(parameters);
    if (SUCCEEDED(result)) result = made->StartTargets(parameters);
    if (FAILED(result)) {
        made->Release();
        return result;
    }
    *device = made;
    return D3D_OK;
}

GlDevice::GlDevice(GlDirect3D9& d3d, std::unique_ptr<GlContext> context, D3DDEVTYPE type, HWND focus,
                   DWORD behaviour)
    : d3d_(&d3d), context_(std::move(context)) {
    d3d_->AddRef();
    creation_ = {0, type, focus, behaviour};
    pipeline_ = std::make_unique<Pipeline>(*this, *context_, state_);
}

GlDevice::~GlDevice() {
    context_->Activate();
    UnbindAll();
    pipeline_.reset();
    context_.reset();
    d3d_->Release();
}

HRESULT GlDevice::QueryInterface(REFIID riid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!(riid == IID_IDirect3DDevice9 || riid == IID_IUnknown)) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<IDirect3DDevice9*>(this);
    return S_OK;
}

ULONG GlDevice::AddRef() { return ++references_; }

ULONG GlDevice::Release() {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
}

int GlDevice::SamplesOf(D3DMULTISAMPLE_TYPE type, DWORD quality) const {
    return SampleCount(type, quality, context_->Features().max_samples);
}

HRESULT GlDevice::Complete(D3DPRESENT_PARAMETERS& p) const {
    Window* window = Window::FromHandle(p.hDeviceWindow ? p.hDeviceWindow : creation_.hFocusWindow);
    if (p.Windowed) {
        if (window && p.BackBufferWidth == 0) p.BackBufferWidth = window->Width();
        if (window && p.BackBufferHeight == 0) p.BackBufferHeight = window->Height();
        if (p.BackBufferFormat == D3DFMT_UNKNOWN) p.BackBufferFormat = d3d_->DesktopMode().Format;
    }
    const u32 limit = context_->Features().max_texture_size;
    if (p.BackBufferWidth == 0 || p.BackBufferHeight == 0 || p.BackBufferWidth > limit ||
        p.BackBufferHeight > limit) {
        return D3DERR_INVALIDCALL;
    }
    if (!IsBackBufferFormat(p.BackBufferFormat)) return D3DERR_INVALIDCALL;
    if (p.BackBufferCount == 0) p.BackBufferCount = 1;
    if (p.BackBufferCount > D3DPRESENT_BACK_BUFFERS_MAX) return D3DERR_INVALIDCALL;
    if (p.SwapEffect != D3DSWAPEFFECT_DISCARD && p.SwapEffect != D3DSWAPEFFECT_FLIP &&
        p.SwapEffect != D3DSWAPEFFECT_COPY) {
        return D3DERR_INVALIDCALL;
    }
    if (SamplesOf(p.MultiSampleType, p.MultiSampleQuality) < 0) return D3DERR_INVALIDCALL;
    if (p.MultiSampleType != D3DMULTISAMPLE_NONE && p.SwapEffect != D3DSWAPEFFECT_DISCARD)
        return D3DERR_INVALIDCALL;
    if (p.EnableAutoDepthStencil) {
        const FormatTraits* depth = FindFormat(p.AutoDepthStencilFormat);
        if (!depth || !depth->depth) return D3DERR_INVALIDCALL;
    }
    return D3D_OK;
}

GlSurface* GlDevice::OwnSurface(UINT width, UINT height, const GlImage::Desc& image, DWORD usage,
                                D3DPOOL pool, D3DMULTISAMPLE_TYPE samples, DWORD quality, bool lockable) {
    GlImage::Desc desc = image;
    desc.width = width;
    desc.height = height;
    desc.in_memory = lockable;
    desc.target = desc.in_gl && (desc.format->target || desc.format->depth);
    return new GlSurface(*this, desc, usage, pool, samples, quality, lockable);
}

HRESULT GlDevice::StartTargets(const D3DPRESENT_PARAMETERS& parameters) {
    context_->Recheck();
    present_ = parameters;
    state_.Reset(parameters.EnableAutoDepthStencil != FALSE);

    GlImage::Desc image;
    image.samples = static_cast<u32>(SamplesOf(parameters.MultiSampleType, parameters.MultiSampleQuality));
    image.format = FindFormat(parameters.BackBufferFormat);
    const bool lockable = (parameters.Flags & D3DPRESENTFLAG_LOCKABLE_BACKBUFFER) &&
                          parameters.MultiSampleType == D3DMULTISAMPLE_NONE;
    const UINT width = parameters.BackBufferWidth, height = parameters.BackBufferHeight;
    Bind(back_buffer_, OwnSurface(width, height, image, D3DUSAGE_RENDERTARGET, D3DPOOL_DEFAULT,
                                  parameters.MultiSampleType, parameters.MultiSampleQuality, lockable));
    if (parameters.EnableAutoDepthStencil) {
        image.format = FindFormat(parameters.AutoDepthStencilFormat);
        Bind(auto_depth_, OwnSurface(width, height, image, D3DUSAGE_DEPTHSTENCIL, D3DPOOL_DEFAULT,
                                     parameters.MultiSampleType, parameters.MultiSampleQuality, false));
    }
    Bind(state_.target, back_buffer_);
    Bind(state_.depth, auto_depth_);
    framebuffer_ = 0;
    ResetViewport();
    BindTargets();

    Window* window = TargetWindow();
    if (window && window->Sdl()) {
        // A host's own full screen is not the device's to end.
        if (!parameters.Windowed || full_screen_)
            SDL_SetWindowFullscreen(window->Sdl(), parameters.Windowed ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
        full_screen_ = !parameters.Windowed;
        context_->SetSwapInterval(parameters.PresentationInterval == D3DPRESENT_INTERVAL_IMMEDIATE ? 0 : 1);
    }
    return D3D_OK;
}

Window* GlDevice::TargetWindow() const {
    return Window::FromHandle(present_.hDeviceWindow ? present_.hDeviceWindow : creation_.hFocusWindow);
}

void GlDevice::UnbindAll() {
    for (GlTexture*& texture : state_.textures) Bind<GlTexture>(texture, nullptr);
    for (StreamBinding& stream : state_.streams) Bind<GlBuffer>(stream.buffer, nullptr);
    Bind<GlBuffer>(state_.indices, nullptr);
    Bind<VertexDeclaration>(state_.declaration, nullptr);
    Bind<VertexShader>(state_.vertex_shader, nullptr);
    Bind<PixelShader>(state_.pixel_shader, nullptr);
    Bind<GlSurface>(state_.target, nullptr);
    Bind<GlSurface>(state_.depth, nullptr);
    Bind<GlSurface>(back_buffer_, nullptr);
    Bind<GlSurface>(auto_depth_, nullptr);
    resolve_.reset();
    framebuffer_ = 0;
}

void GlDevice::MarkTextureChanged(GlTexture* texture) {
    for (u32 i = 0; i < kMaxSamplers; ++i) {
        if (state_.textures[i] != texture) continue;
        state_.dirty |= kDirtyTextures | kDirtySamplers;
        state_.dirty_textures |= 1u << i;
        state_.dirty_samplers |= 1u << i;
    }
}

void GlDevice::ForgetBuffer(GLuint name) {
    if (pipeline_) pipeline_->ForgetBuffer(name);
}

UINT GlDevice::GetAvailableTextureMem() { return 512u << 20; }

HRESULT GlDevice::GetDirect3D(IDirect3D9** d3d) {
    if (!d3d) return D3DERR_INVALIDCALL;
    d3d_->AddRef();
    *d3d = d3d_;
    return D3D_OK;
}

HRESULT GlDevice::GetDeviceCaps(D3DCAPS9* caps) {
    if (!caps) return D3DERR_INVALIDCALL;
    FillCaps(context_->Features(), creation_.DeviceType, *caps);
    return D3D_OK;
}

HRESULT GlDevice::GetDisplayMode(UINT swap_chain, D3DDISPLAYMODE* mode) {
    if (swap_chain != 0 || !mode) return D3DERR_INVALIDCALL;
    *mode = d3d_->DesktopMode();
    return D3D_OK;
}

HRESULT GlDevice::GetCreationParameters(D3DDEVICE_CREATION_PARAMETERS* parameters) {
    if (!parameters) return D3DERR_INVALIDCALL;
    *parameters = creation_;
    return D3D_OK;
}

HRESULT GlDevice::Reset(D3DPRESENT_PARAMETERS* parameters) {
    if (!parameters || in_scene_) return D3DERR_INVALIDCALL;
    if (state_.target != back_buffer_ || state_.depth != auto_depth_) return D3DERR_INVALIDCALL;
    if (back_buffer_->InUse() || (auto_depth_ && auto_depth_->InUse())) return D3DERR_INVALIDCALL;
    const HRESULT result = Complete(*parameters);
    if (FAILED(result)) return result;
    context_->Recheck();
    UnbindAll();
    return StartTargets(*parameters);
}

HRESULT GlDevice::Present(const RECT* source, const RECT* dest, HWND, const RGNDATA*) {
    context_->Recheck();
    BlitToWindow(source, dest);
    return D3D_OK;
}

void GlDevice::BlitToWindow(const RECT* source, const RECT* dest) {
    u32 window_width = 0, window_height = 0;
    if (!context_->DrawableSize(window_width, window_height)) {
        glFlush();
        return;
    }
    const auto width = static_cast<LONG>(back_buffer_->Width()),
               height = static_cast<LONG>(back_buffer_->Height());
    const RECT from = source ? *source : RECT{0, 0, width, height};
    Window* window = TargetWindow();
    const RECT to = dest ? *dest : window->PictureArea(window_width, window_height);

    GlStateCache& gl = context_->State();
    if (back_buffer_->Image().NeedsUpload()) back_buffer_->Image().Upload();
    context_->MarkTouched();
    gl.Enable(GlStateCache::kScissorTest, false);
    gl.ColorMask(true, true, true, true);
    GLuint read = context_->Framebuffer(back_buffer_->Attachment(), {});
    if (back_buffer_->Multisampled()) {
        // A multisampled picture can be neither scaled nor turned while it is resolved.
        if (!resolve_) {
            GlImage::Desc plain;
            plain.format = &back_buffer_->Format();
            plain.width = back_buffer_->Width();
            plain.height = back_buffer_->Height();
            resolve_ = std::make_unique<GlImage>(*context_, plain);
        }
        const GLuint resolved = context_->Framebuffer(resolve_->AttachmentOf(0, 0), {});
        gl.BindReadFramebuffer(read);
        gl.BindDrawFramebuffer(resolved);
        glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
        read = resolved;
    }
    gl.BindReadFramebuffer(read);
    gl.BindDrawFramebuffer(0);
    if (!dest && (to.left > 0 || to.top > 0 || to.right < static_cast<LONG>(window_width) ||
                  to.bottom < static_cast<LONG>(window_height))) {
        constexpr GLfloat kBlack[4] = {0, 0, 0, 1};
        glClearBufferfv(GL_COLOR, 0, kBlack);
    }
    const bool same =
        to.right - to.left == from.right - from.left && to.bottom - to.top == from.bottom - from.top;
    const auto bottom_up = static_cast<LONG>(window_height);
    glBlitFramebuffer(from.left, from.top, from.right, from.bottom, to.left, bottom_up - to.top, to.right,
                      bottom_up - to.bottom, GL_COLOR_BUFFER_BIT, same ? GL_NEAREST : GL_LINEAR);
    window->BeforeShow();
    context_->Recheck();
    context_->SwapBuffers();
}

HRESULT GlDevice::GetBackBuffer(UINT swap_chain, UINT index, D3DBACKBUFFER_TYPE type,
                                IDirect3DSurface9** surface) {
    if (!surface) return D3DERR_INVALIDCALL;
    *surface = nullptr;
    if (swap_chain != 0 || index != 0 || type != D3DBACKBUFFER_TYPE_MONO) return D3DERR_INVALIDCALL;
    back_buffer_->AddRef();
    *surface = back_buffer_;
    return D3D_OK;
}

HRESULT GlDevice::BeginScene() {
    context_->Recheck();
    if (in_scene_) return D3DERR_INVALIDCALL;
    in_scene_ = true;
    return D3D_OK;
}

HRESULT GlDevice::EndScene() {
    if (!in_scene_) return D3DERR_INVALIDCALL;
    in_scene_ = false;
    return D3D_OK;
}

void GlDevice::BindTargets() {
    if (!framebuffer_) {
        framebuffer_ = context_->Framebuffer(
            state_.target->Attachment(), state_.depth ? state_.depth->Attachment() : GlContext::Attachment{});
    }
    if (state_.target->Image().NeedsUpload()) state_.target->Image().Upload();
    context_->State().BindDrawFramebuffer(framebuffer_);
}

void GlDevice::ReadyToDraw() {
    context_->Activate();
    BindTargets();
    if (context_->TakeTouched()) {
        state_.dirty |=
            kDirtyRaster | kDirtyBlend | kDirtyDepth | kDirtyStencil | kDirtyViewport | kDirtyScissor;
    }
    state_.target->MarkDrawn();
}

HRESULT GlDevice::DrawPrimitive(D3DPRIMITIVETYPE type, UINT start, UINT count) {
    ReadyToDraw();
    return pipeline_->Draw(type, start, count);
}

HRESULT GlDevice::DrawIndexedPrimitive(D3DPRIMITIVETYPE type, INT base_vertex, UINT min_vertex,
                                       UINT vertex_count, UINT start_index, UINT count) {
    ReadyToDraw();
    return pipeline_->DrawIndexed(type, base_vertex, min_vertex, vertex_count, start_index, count);
}

HRESULT GlDevice::DrawPrimitiveUP(D3DPRIMITIVETYPE type, UINT count, const void* vertices, UINT stride) {
    ReadyToDraw();
    return pipeline_->DrawUP(type, count, vertices, stride);
}

HRESULT GlDevice::DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE type, UINT min_vertex, UINT vertex_count,
                                         UINT count, const void* indices, D3DFORMAT index_format,
                                         const void* vertices, UINT stride) {
    ReadyToDraw();
    return pipeline_->DrawIndexedUP(type, min_vertex, vertex_count, count, indices, index_format, vertices,
                                    stride);
}

}  // namespace platform::gl
