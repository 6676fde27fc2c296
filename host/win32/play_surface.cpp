// The device draws for a window that nobody sees. From there its picture is copied into a swap chain of the
// playing window's own, in the window's size, and what lies over it is drawn in that by the same device.
#include "play_surface.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <imgui.h>

#include <utility>

#include "backends/imgui_impl_dx9.h"
#include "cli/error.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/factory.h"
#include "render/context.h"

namespace host {
namespace {

using Surface = ComPtr<IDirect3DSurface9>;

// What the module's drawing may have left otherwise, and Dear ImGui takes for granted.
void SetPlainStates(IDirect3DDevice9& device) {
    constexpr std::pair<D3DRENDERSTATETYPE, DWORD> kStates[] = {
        {D3DRS_CLIPPLANEENABLE, 0},          {D3DRS_COLORWRITEENABLE, 0xf},
        {D3DRS_VERTEXBLEND, D3DVBF_DISABLE}, {D3DRS_INDEXEDVERTEXBLENDENABLE, FALSE},
        {D3DRS_TWOSIDEDSTENCILMODE, FALSE},  {D3DRS_MULTISAMPLEMASK, 0xffffffff},
        {D3DRS_SRGBWRITEENABLE, FALSE},      {D3DRS_WRAP0, 0}};
    for (const auto& [state, value] : kStates) device.SetRenderState(state, value);
    device.SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);
    device.SetTextureStageState(0, D3DTSS_TEXCOORDINDEX, 0);
    device.SetTextureStageState(0, D3DTSS_RESULTARG, D3DTA_CURRENT);
    device.SetSamplerState(0, D3DSAMP_MIPFILTER, D3DTEXF_NONE);
    device.SetSamplerState(0, D3DSAMP_SRGBTEXTURE, FALSE);
    device.SetSoftwareVertexProcessing(FALSE);
}

// The backend draws in pixels.
void ScaleToPixels(ImDrawData& data) {
    const ImVec2 scale = data.FramebufferScale;
    if (scale.x == 1 && scale.y == 1) return;
    for (int i = 0; i < data.CmdListsCount; ++i)
        for (ImDrawVert& vertex : data.CmdLists[i]->VtxBuffer) {
            vertex.pos.x *= scale.x;
            vertex.pos.y *= scale.y;
        }
    data.ScaleClipRects(scale);
    data.DisplaySize = {data.DisplaySize.x * scale.x, data.DisplaySize.y * scale.y};
}

HWND HandleOf(SDL_Window* window) {
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (!SDL_GetWindowWMInfo(window, &info) || info.subsystem != SDL_SYSWM_WINDOWS)
        throw cli::Error("play needs a window of the system's own to draw in");
    return info.info.win.window;
}

class D3d9Surface final : public PlaySurface {
  public:
    D3d9Surface(SDL_Window* window, Module& module, bool waits, const SurfaceParts& parts)
        : window_(window), handle_(HandleOf(window)), module_(module), waits_(waits), parts_(parts) {}
    ~D3d9Surface() override { Leave(); }
    D3d9Surface(const D3d9Surface&) = delete;
    D3d9Surface& operator=(const D3d9Surface&) = delete;

    std::unique_ptr<PictureWindow> MakePictureWindow(unsigned width, unsigned height) override {
        Leave();
        return std::make_unique<DeviceWindow>(*this, width, height);
    }

    DeviceState Device() override {
        IDirect3DDevice9* device = ModulesDevice();
        if (!device) return DeviceState::kReady;
        const HRESULT result = device->TestCooperativeLevel();
        if (SUCCEEDED(result)) return DeviceState::kReady;
        return result == D3DERR_DEVICELOST ? DeviceState::kLost : DeviceState::kBack;
    }

    void Show() override {
        if (!Enter() || !MakeChain()) return;
        Surface shown, drawn, depth;
        ComPtr<IDirect3DStateBlock9> states;
        if (FAILED(chain_->GetBackBuffer(0, D3DBACKBUFFER_TYPE_MONO, shown.Put())) ||
            FAILED(device_->GetRenderTarget(0, drawn.Put())) ||
            FAILED(device_->CreateStateBlock(D3DSBT_ALL, states.Put())))
            return;
        device_->GetDepthStencilSurface(depth.Put());
        const BOOL in_software = device_->GetSoftwareVertexProcessing();

        device_->SetDepthStencilSurface(nullptr);
        device_->SetRenderTarget(0, shown.Get());
        device_->Clear(0, nullptr, D3DCLEAR_TARGET, D3DCOLOR_XRGB(0, 0, 0), 1, 0);
        if (ModulesDevice()) CopyPicture(*drawn, *shown);
        ImGui_ImplDX9_NewFrame();
        ImDrawData* data = parts_.overlay();
        if (data && SUCCEEDED(device_->BeginScene())) {
            ScaleToPixels(*data);
            SetPlainStates(*device_);
            ImGui_ImplDX9_RenderDrawData(data);
            device_->EndScene();
        }
        device_->SetRenderTarget(0, drawn.Get());
        device_->SetDepthStencilSurface(depth.Get());
        states->Apply();
        device_->SetSoftwareVertexProcessing(in_software);
        chain_->Present(nullptr, nullptr, nullptr, nullptr, 0);
    }

  private:
    // What the module's device draws for. The surface lets go of the device together with its window.
    class DeviceWindow final : public PictureWindow {
      public:
        DeviceWindow(D3d9Surface& owner, unsigned width, unsigned height)
            : owner_(owner), hidden_(MakeHiddenWindow(width, height)) {}
        ~DeviceWindow() override { owner_.Leave(); }
        HWND Handle() override { return hidden_->Handle(); }
        unsigned Width() const override { return hidden_->Width(); }
        unsigned Height() const override { return hidden_->Height(); }

      private:
        D3d9Surface& owner_;
        std::unique_ptr<PictureWindow> hidden_;
    };

    IDirect3DDevice9* ModulesDevice() const {
        const osm3d::PlaybackHost& playback = *module_.Driver().GetPlayback();
        return playback.IsStarted() ? playback.GetContext()->device.Get() : nullptr;
    }

    // Draws with the module's device, or with one of the surface's own while that is not there.
    bool Enter() {
        IDirect3DDevice9* modules = ModulesDevice();
        if (device_ && modules == (is_own_ ? nullptr : device_.Get()) &&
            (!is_own_ || device_->TestCooperativeLevel() == D3D_OK))
            return true;
        Leave();
        is_own_ = !modules;
        device_ = modules ? ComPtr<IDirect3DDevice9>(modules) : OwnDevice();
        if (device_) ImGui_ImplDX9_Init(device_.Get());
        return static_cast<bool>(device_);
    }

    void Leave() {
        if (!device_) return;
        ImGui_ImplDX9_Shutdown();
        resolved_.Reset();
        chain_.Reset();
        device_.Reset();
    }

    ComPtr<IDirect3DDevice9> OwnDevice() const {
        ComPtr<IDirect3DDevice9> device;
        const ComPtr<IDirect3D9> d3d = platform::CreateDirect3D9(D3D_SDK_VERSION);
        D3DPRESENT_PARAMETERS present = Parameters(1, 1);
        if (d3d)
            d3d->CreateDevice(0, D3DDEVTYPE_HAL, handle_, D3DCREATE_SOFTWARE_VERTEXPROCESSING, &present,
                              device.Put());
        return device;
    }

    D3DPRESENT_PARAMETERS Parameters(int width, int height) const {
        D3DPRESENT_PARAMETERS present{};
        present.BackBufferWidth = static_cast<UINT>(width);
        present.BackBufferHeight = static_cast<UINT>(height);
        present.BackBufferFormat = D3DFMT_X8R8G8B8;
        present.BackBufferCount = 1;
        present.SwapEffect = D3DSWAPEFFECT_DISCARD;
        present.hDeviceWindow = handle_;
        present.Windowed = TRUE;
        present.PresentationInterval = waits_ ? D3DPRESENT_INTERVAL_ONE : D3DPRESENT_INTERVAL_IMMEDIATE;
        return present;
    }

    // A chain in the window's size; false while the window has none, or the device refuses.
    bool MakeChain() {
        int width = 0, height = 0;
        SDL_GetWindowSizeInPixels(window_, &width, &height);
        if (width <= 0 || height <= 0 || SDL_GetWindowFlags(window_) & SDL_WINDOW_MINIMIZED) return false;
        if (chain_ && width == width_ && height == height_) return true;
        chain_.Reset();
        width_ = width;
        height_ = height;
        D3DPRESENT_PARAMETERS present = Parameters(width, height);
        return SUCCEEDED(device_->CreateAdditionalSwapChain(&present, chain_.Put()));
    }

    void CopyPicture(IDirect3DSurface9& drawn, IDirect3DSurface9& shown) {
        D3DSURFACE_DESC desc{};
        drawn.GetDesc(&desc);
        IDirect3DSurface9* picture = &drawn;
        // Samples become pixels only in a copy of the same size.
        if (desc.MultiSampleType != D3DMULTISAMPLE_NONE) {
            if (!resolved_ &&
                FAILED(device_->CreateRenderTarget(desc.Width, desc.Height, desc.Format, D3DMULTISAMPLE_NONE,
                                                   0, FALSE, resolved_.Put(), nullptr)))
                return;
            device_->StretchRect(&drawn, nullptr, resolved_.Get(), nullptr, D3DTEXF_NONE);
            picture = resolved_.Get();
        }
        const Box box = parts_.picture_area(width_, height_);
        const RECT area{box.left, box.top, box.right, box.bottom};
        device_->StretchRect(picture, nullptr, &shown, &area, D3DTEXF_LINEAR);
    }

    SDL_Window* window_;
    HWND handle_;
    Module& module_;
    bool waits_;
    SurfaceParts parts_;
    ComPtr<IDirect3DDevice9> device_;
    bool is_own_ = false;
    ComPtr<IDirect3DSwapChain9> chain_;
    int width_ = 0, height_ = 0;  // the chain's
    Surface resolved_;
};

}  // namespace

unsigned SurfaceWindowFlags() { return 0; }

std::unique_ptr<PlaySurface> MakePlaySurface(SDL_Window* window, Module& module, bool waits,
                                             const SurfaceParts& parts) {
    return std::make_unique<D3d9Surface>(window, module, waits, parts);
}

}  // namespace host
