#include "render/context.h"

#include <bit>
#include <iterator>
#include <new>
#include <utility>

#include "fxutil/font.h"
#include "platform/d3d9/factory.h"
#include "platform/system/system.h"
#include "platform/system/window.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

constexpr UINT kSdkVersion = 31;

Context* g_context = nullptr;

// What Present counts: presents since the last mark, marked anew every second.
struct FrameCounter {
    u32 lastMark = 0;  // milliseconds
    u32 lastTick = 0;
    u32 count = 0;
};
FrameCounter g_frames;
// Loaded for a display that tools may lay over the picture.
ComPtr<ID3DXFont> g_font;

D3DMATRIX ToDevice(const matrix& m) { return std::bit_cast<D3DMATRIX>(m); }

// ---------------------------------------------------------------------------------- making the device

D3DFORMAT FormatOfBits(i32 bits) {
    if (bits == 32) return D3DFMT_X8R8G8B8;
    if (bits == 16) return D3DFMT_R5G6B5;
    return D3DFMT_UNKNOWN;
}

D3DFORMAT ChooseBackBuffer(IDirect3D9& d3d, DisplaySettings& settings) {
    if (settings.fullscreen) return FormatOfBits(settings.colorBits);
    D3DDISPLAYMODE desktop{};
    d3d.GetAdapterDisplayMode(0, &desktop);
    D3DADAPTER_IDENTIFIER9 identifier{};
    d3d.GetAdapterIdentifier(0, 0, &identifier);
    if (settings.colorBits != -1) return FormatOfBits(settings.colorBits);
    switch (desktop.Format) {
        case D3DFMT_X8R8G8B8:
            settings.colorBits = 32;
            settings.depthBits = 24;
            return desktop.Format;
        case D3DFMT_R5G6B5:
            settings.colorBits = 16;
            settings.depthBits = 16;
            return desktop.Format;
        default:
            settings.colorBits = 0;
            settings.depthBits = 0;
            return D3DFMT_UNKNOWN;
    }
}

D3DFORMAT ChooseDepth(IDirect3D9& d3d, DisplaySettings& settings, D3DFORMAT back_buffer) {
    D3DFORMAT depth = DepthFormat(settings);
    const auto check = [&] {
        return d3d.CheckDeviceFormat(0, D3DDEVTYPE_HAL, back_buffer, D3DUSAGE_DEPTHSTENCIL, D3DRTYPE_SURFACE,
                                     depth);
    };
    if (FAILED(check()) && settings.depthBits == 24) {
        depth = D3DFMT_D16;
        settings.depthBits = 16;
        check();
    }
    d3d.CheckDepthStencilMatch(0, D3DDEVTYPE_HAL, back_buffer, back_buffer, depth);
    return depth;
}

D3DFORMAT TextureFormat(const DisplaySettings& settings) {
    if (settings.textureBits == 32) return settings.compressTextures ? D3DFMT_DXT5 : D3DFMT_A8R8G8B8;
    if (settings.textureBits == 16) return settings.compressTextures ? D3DFMT_DXT3 : D3DFMT_R5G6B5;
    return D3DFMT_UNKNOWN;
}

D3DFORMAT ChooseTexture(IDirect3D9& d3d, DisplaySettings& settings, D3DFORMAT back_buffer) {
    const auto check = [&] {
        return d3d.CheckDeviceFormat(0, D3DDEVTYPE_HAL, back_buffer, 0, D3DRTYPE_TEXTURE,
                                     TextureFormat(settings));
    };
    if (FAILED(check()) && settings.compressTextures) {
        settings.compressTextures = false;
        check();
    }
    return TextureFormat(settings);
}

UINT BestRefreshRate(IDirect3D9& d3d, const DisplaySettings& settings, D3DFORMAT back_buffer) {
    const UINT count = d3d.GetAdapterModeCount(0, back_buffer);
    UINT best = 0;
    for (UINT i = 0; i < count; ++i) {
        D3DDISPLAYMODE mode{};
        d3d.EnumAdapterModes(0, back_buffer, i, &mode);
        if (mode.Width == settings.right - settings.left && mode.Height == settings.bottom - settings.top &&
            mode.RefreshRate > best)
            best = mode.RefreshRate;
    }
    if (best == 0) Fatal("Display Mode Requested Not Found.");
    return best;
}

void ChooseMultisample(IDirect3D9& d3d, DisplaySettings& settings, D3DFORMAT back_buffer) {
    DWORD levels = 0;
    const HRESULT result =
        d3d.CheckDeviceMultiSampleType(0, D3DDEVTYPE_HAL, back_buffer, settings.fullscreen ? FALSE : TRUE,
                                       static_cast<D3DMULTISAMPLE_TYPE>(settings.multisampleType), &levels);
    if (FAILED(result)) settings.multisampleType = 0;
    if (FAILED(result) || settings.multisampleQuality >= levels) settings.multisampleQuality = 0;
}

}  // namespace

Context* GetContext() { return g_context; }

void Fatal(const char* message) {
    platform::ShowMessageBox(message, "osm3d::Context");
    platform::FatalAbort();
}

Context* Context::Create() {
    DisplaySettings& settings = GetDisplaySettings();
    ComPtr<IDirect3D9> d3d = platform::CreateDirect3D9(kSdkVersion);
    if (!d3d) Fatal("Cannot Get Direct3D Interface.");

    const BOOL windowed = settings.fullscreen ? FALSE : TRUE;
    const D3DFORMAT back_buffer = ChooseBackBuffer(*d3d, settings);
    d3d->CheckDeviceType(0, D3DDEVTYPE_HAL, back_buffer, back_buffer, windowed);
    const D3DFORMAT depth = ChooseDepth(*d3d, settings, back_buffer);
    const D3DFORMAT texture = ChooseTexture(*d3d, settings, back_buffer);
    const UINT rate = settings.searchRefreshRate ? BestRefreshRate(*d3d, settings, back_buffer) : 0;
    ChooseMultisample(*d3d, settings, back_buffer);

    D3DPRESENT_PARAMETERS present{};
    present.BackBufferWidth = settings.right - settings.left;
    present.BackBufferHeight = settings.bottom - settings.top;
    present.BackBufferFormat = back_buffer;
    present.BackBufferCount = 1;
    present.MultiSampleType = static_cast<D3DMULTISAMPLE_TYPE>(settings.multisampleType);
    present.MultiSampleQuality = settings.multisampleQuality;
    present.SwapEffect = D3DSWAPEFFECT_DISCARD;
    present.hDeviceWindow = settings.window;
    present.Windowed = windowed;
    present.EnableAutoDepthStencil = TRUE;
    present.AutoDepthStencilFormat = depth;
    present.FullScreen_RefreshRateInHz = settings.fullscreen ? rate : 0;
    present.PresentationInterval =
        windowed || settings.presentImmediate ? D3DPRESENT_INTERVAL_IMMEDIATE : D3DPRESENT_INTERVAL_DEFAULT;
    if (!settings.window) Fatal("Not attached to a window.");

    const D3DDEVTYPE type = settings.deviceType == 0 ? D3DDEVTYPE_REF : D3DDEVTYPE_HAL;
    const DWORD pure = settings.pureDevice ? D3DCREATE_PUREDEVICE : 0;
    ComPtr<IDirect3DDevice9> device;
    if (FAILED(d3d->CreateDevice(0, type, settings.window, D3DCREATE_MIXED_VERTEXPROCESSING | pure, &present,
                                 device.Put())))
        d3d->CreateDevice(0, type, settings.window, D3DCREATE_SOFTWARE_VERTEXPROCESSING | pure, &present,
                          device.Put());
    if (!device) Fatal("Cannot Create Direct3D Device.");

    Context* context = new (std::nothrow) Context(std::move(d3d), std::move(device));
    g_context = context;
    if (!context) return nullptr;
    context->textureFormat = texture;
    context->Initialize();
    if (windowed) platform::ResizeWindow(settings.window, present.BackBufferWidth, present.BackBufferHeight);
    return context;
}

void Context::Destroy() { delete std::exchange(g_context, nullptr); }

Context::Context(ComPtr<IDirect3D9> d3d_, ComPtr<IDirect3DDevice9> device_)
    : d3d(std::move(d3d_)), device(std::move(device_)) {}

void Context::MakeDebugFont() {
    if (g_font) return;
    g_frames = {};
    const D3DXFONT_DESCA desc{16, 0, 0, 1, FALSE, 1, 0, 4, 2, "Verdana"};
    if (SUCCEEDED(D3DXCreateFontIndirectA(device.Get(), &desc, g_font.Put())))
        g_font->PreloadCharacters(0, 127);
}

Context::~Context() {
    g_font.Reset();
    if (renderTarget) renderTarget->owner = nullptr;
    scratchIndices_.buffer.Reset();
    scratchVertices_.buffer.Reset();
    backBuffer_.reset();
    device.Reset();
    d3d.Reset();
}

void Context::Initialize() {
    FillCaps();
    resourceStats.context = this;
    resourceStats.name = "Context";
    resourceStats.availableTextureMemory = device->GetAvailableTextureMem();

    D3DVIEWPORT9 viewport{};
    device->GetViewport(&viewport);
    projectionParams = {0.0f, static_cast<f32>(viewport.Width) / static_cast<f32>(viewport.Height),
                        viewport.MinZ, viewport.MaxZ};

    const auto held = [this](D3DTRANSFORMSTATETYPE which) {
        D3DMATRIX m{};
        device->GetTransform(which, &m);
        return std::bit_cast<matrix>(m);
    };
    SetProjection(held(D3DTS_PROJECTION));
    SetView(held(D3DTS_VIEW));
    SetWorld(held(D3DTS_WORLD));

    renderState.ApplyAll(*this);
    stageState[0] = TextureStageStateBlock::Standard();
    for (u32 stage = 0; stage < kStages; ++stage) stageState[stage].ApplyAll(stage, *this);

    backBuffer_ = std::make_unique<RenderTarget>();
    device->GetRenderTarget(0, backBuffer_->surface.Put());
    device->GetDepthStencilSurface(backBuffer_->depth.Put());
    backBuffer_->viewport = viewport;
    backBuffer_->owner = this;
    renderTarget = backBuffer_.get();
    device->SetViewport(&renderTarget->viewport);

    if (backBuffer_->depth) {
        D3DSURFACE_DESC desc{};
        backBuffer_->depth->GetDesc(&desc);
        switch (desc.Format) {
            case D3DFMT_D15S1:
                caps.stencilBits = 1;
                break;
            case D3DFMT_D24S8:
                caps.stencilBits = 8;
                break;
            case D3DFMT_D24X4S4:
                caps.stencilBits = 4;
                break;
            default:
                break;
        }
    }
    MakeDebugFont();
}

void Context::FillCaps() {
    D3DCAPS9 device_caps{};
    device->GetDeviceCaps(&device_caps);
    caps.maxPaletteMatrices = (device_caps.MaxVertexBlendMatrixIndex + 1) / 2;
    caps.maxClipPlanes = device_caps.MaxUserClipPlanes;
    caps.maxLights = device_caps.MaxActiveLights;
    caps.fogRange = (device_caps.RasterCaps & D3DPRASTERCAPS_FOGRANGE) != 0;
    caps.fogTable = (device_caps.RasterCaps & D3DPRASTERCAPS_FOGTABLE) != 0;
    caps.fogVertex = (device_caps.RasterCaps & D3DPRASTERCAPS_FOGVERTEX) != 0;
    caps.fogZ = (device_caps.RasterCaps & D3DPRASTERCAPS_ZFOG) != 0;
    caps.fogW = (device_caps.RasterCaps & D3DPRASTERCAPS_WFOG) != 0;
    bool* const stencil[] = {&caps.stencilKeep,    &caps.stencilZero,    &caps.stencilReplace,
                             &caps.stencilIncrSat, &caps.stencilDecrSat, &caps.stencilInvert,
                             &caps.stencilIncr,    &caps.stencilDecr,    &caps.stencilTwoSided};
    for (u32 bit = 0; bit < std::size(stencil); ++bit)
        *stencil[bit] = (device_caps.StencilCaps >> bit & 1) != 0;
    caps.cubeMaps = (device_caps.TextureCaps & D3DPTEXTURECAPS_CUBEMAP) != 0;
    caps.autoGenMipmap = (device_caps.Caps2 & D3DCAPS2_CANAUTOGENMIPMAP) != 0;
}

// --------------------------------------------------------------------------------------- frame, targets

void Context::BeginScene() { device->BeginScene(); }

void Context::EndScene() { device->EndScene(); }

void Context::Present() {
    if (g_frames.lastTick - g_frames.lastMark > 1000) {
        g_frames.lastMark = g_frames.lastTick;
        g_frames.count = 0;
    }
    ++g_frames.count;
    g_frames.lastTick = platform::TickCount();
    device->Present(nullptr, nullptr, nullptr, nullptr);
}

void Context::SetClearColor(const color& c) { clearColor = c; }

void Context::SetRenderTarget(RenderTarget* target) {
    if (!target) return;
    if (renderTarget) renderTarget->owner = nullptr;
    device->SetRenderTarget(0, target->surface.Get());
    device->SetDepthStencilSurface(target->depth.Get());
    renderTarget = target;
    target->owner = this;
    device->SetViewport(&target->viewport);
}

void Context::SetViewport(const D3DVIEWPORT9& viewport) {
    renderTarget->viewport = viewport;
    device->SetViewport(&viewport);
}

void Context::DropTarget(RenderTarget* target) {
    if (renderTarget == target) SetRenderTarget(backBuffer_.get());
}

// ------------------------------------------------------------------------------------------------ states

void Context::SetAmbient(const color& c) {
    device->SetRenderState(D3DRS_AMBIENT, ColorToARGB(c));
    ambient = c;
}

void Context::ApplyRenderState(const RenderStateBlock& block) {
    RenderStateBlock next = renderState;
    next.Merge(block);
    next.Merge(forcedRenderState);
    next.ApplyDifferences(renderState, *this);
    renderState = next;
}

void Context::ApplyDefaultRenderState() { ApplyRenderState(RenderStateBlock::Default()); }

void Context::SetForcedRenderState(const RenderStateBlock& block) {
    RenderStateBlock next = renderState;
    next.Merge(block);
    next.ApplyDifferences(renderState, *this);
    renderState = next;
    forcedRenderState = block;
}

void Context::ClearForcedRenderState() {
    forcedRenderState.mask = 0;
    ApplyDefaultRenderState();
}

void Context::ApplyStage(u32 stage, const TextureStageStateBlock& block) {
    if (stage >= kStages) return;
    block.ApplyDifferences(stageState[stage], stage, *this);
    stageState[stage] = block;
}

void Context::ResetStages() {
    SetTexture(0, nullptr);
    TextureStageStateBlock block = stageState[0];
    block.colorOp = 1;
    block.alphaOp = 1;
    block.colorArg1 = 1;
    block.alphaArg1 = 1;
    block.colorArg2 = 2;
    block.alphaArg2 = 2;
    ApplyStage(0, block);
    block.colorOp = 0;
    block.alphaOp = 0;
    ApplyStage(1, block);
}

void Context::SetTexture(u32 stage, IDirect3DBaseTexture9* texture) { device->SetTexture(stage, texture); }

// -------------------------------------------------------------------------------------------- transforms

void Context::SetWorld(const matrix& m) {
    transforms.SetWorld(m);
    const D3DMATRIX sent = ToDevice(m);
    device->SetTransform(D3DTS_WORLD, &sent);
}

void Context::SetView(const matrix& m) {
    transforms.SetView(m);
    const D3DMATRIX sent = ToDevice(m);
    device->SetTransform(D3DTS_VIEW, &sent);
}

void Context::SetProjection(const matrix& m) {
    transforms.SetProjection(m);
    const D3DMATRIX sent = ToDevice(m);
    device->SetTransform(D3DTS_PROJECTION, &sent);
}

matrix Context::SetPerspective(f32 fov, f32 aspect, f32 nearZ, f32 farZ) {
    projectionParams = {fov, aspect, nearZ, farZ};
    const matrix projection = MatrixPerspective(fov, aspect, nearZ, farZ);
    SetProjection(projection);
    return projection;
}

void Context::AddClipPlane(const plane& p) {
    clipPlanes.push_back(p);
    const u32 count = static_cast<u32>(clipPlanes.size());
    const f32 sent[4] = {p.normal.x, p.normal.y, p.normal.z, -p.d};
    device->SetClipPlane(count - 1, sent);
    device->SetRenderState(D3DRS_CLIPPLANEENABLE, count < 32 ? (1u << count) - 1 : ~0u);
}

void Context::ClearClipPlanes() {
    device->SetRenderState(D3DRS_CLIPPLANEENABLE, 0);
    clipPlanes.clear();
}

// --------------------------------------------------------------------------------------------- resources

ComPtr<IDirect3DTexture9> Context::CreateTexture(u32 width, u32 height, u32 levels, u32 usage,
                                                 D3DFORMAT format, D3DPOOL pool) {
    ComPtr<IDirect3DTexture9> texture;
    device->CreateTexture(width, height, levels, usage, format, pool, texture.Put(), nullptr);
    return texture;
}

ComPtr<IDirect3DVertexBuffer9> Context::CreateVertexBuffer(u32 fvf, u32 stride, u32 count, bool dynamic) {
    ComPtr<IDirect3DVertexBuffer9> buffer;
    const DWORD usage = D3DUSAGE_WRITEONLY | (dynamic ? D3DUSAGE_DYNAMIC : 0);
    device->CreateVertexBuffer(stride * count, usage, fvf, D3DPOOL_DEFAULT, buffer.Put(), nullptr);
    return buffer;
}

ComPtr<IDirect3DIndexBuffer9> Context::CreateIndexBuffer(u32 count, bool dynamic) {
    ComPtr<IDirect3DIndexBuffer9> buffer;
    const DWORD usage = D3DUSAGE_WRITEONLY | (dynamic ? D3DUSAGE_DYNAMIC : 0);
    device->CreateIndexBuffer(count * 2, usage, D3DFMT_INDEX16, D3DPOOL_DEFAULT, buffer.Put(), nullptr);
    return buffer;
}

}  // namespace osm3d
