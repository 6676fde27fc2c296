// What the adapter answers, how devices begin and end, and who holds whom.
#include <algorithm>

#include "platform/device_fixture.h"
#include "platform/system/window.h"

namespace {

class Device : public DeviceTest {
  protected:
    static ULONG Count(IUnknown* object) {
        object->AddRef();
        return object->Release();
    }
};

TEST_F(Device, CapsTellWhatTheSystemAsksFor) {
    D3DCAPS9 caps;
    ASSERT_EQ(D3D_OK, device->GetDeviceCaps(&caps));
    EXPECT_EQ(8u, caps.MaxActiveLights);
    EXPECT_EQ(8u, caps.MaxTextureBlendStages);
    EXPECT_GE(caps.MaxUserClipPlanes, 6u);
    EXPECT_EQ(0x1ffu, caps.StencilCaps & 0x1ff);
    EXPECT_TRUE(caps.TextureCaps & D3DPTEXTURECAPS_CUBEMAP);
    EXPECT_TRUE(caps.Caps2 & D3DCAPS2_CANAUTOGENMIPMAP);
    EXPECT_TRUE(caps.RasterCaps & D3DPRASTERCAPS_FOGRANGE);
    EXPECT_GE(caps.MaxTextureWidth, 2048u);
}

TEST_F(Device, FormatsAreOfferedByUse) {
    const auto check = [&](DWORD usage, D3DRESOURCETYPE type, D3DFORMAT format) {
        return d3d->CheckDeviceFormat(0, D3DDEVTYPE_HAL, D3DFMT_X8R8G8B8, usage, type, format);
    };
    EXPECT_EQ(D3D_OK, check(0, D3DRTYPE_TEXTURE, D3DFMT_A8R8G8B8));
    EXPECT_EQ(D3D_OK, check(D3DUSAGE_RENDERTARGET, D3DRTYPE_CUBETEXTURE, D3DFMT_R5G6B5));
    EXPECT_EQ(D3D_OK, check(D3DUSAGE_DEPTHSTENCIL, D3DRTYPE_SURFACE, D3DFMT_D24S8));
    EXPECT_EQ(D3DERR_NOTAVAILABLE, check(D3DUSAGE_DEPTHSTENCIL, D3DRTYPE_SURFACE, D3DFMT_A8R8G8B8));
    EXPECT_EQ(D3DERR_NOTAVAILABLE, check(0, D3DRTYPE_TEXTURE, D3DFMT_D24S8));
    EXPECT_EQ(D3DERR_NOTAVAILABLE, check(D3DUSAGE_RENDERTARGET, D3DRTYPE_TEXTURE, D3DFMT_A8L8));
    EXPECT_EQ(D3DERR_NOTAVAILABLE, check(0, D3DRTYPE_TEXTURE, D3DFMT_P8));
    EXPECT_EQ(D3DERR_NOTAVAILABLE, check(0, D3DRTYPE_TEXTURE, D3DFMT_R8G8B8));
    EXPECT_EQ(D3DERR_INVALIDCALL, d3d->CheckDeviceFormat(1, D3DDEVTYPE_HAL, D3DFMT_X8R8G8B8, 0,
                                                         D3DRTYPE_TEXTURE, D3DFMT_A8R8G8B8));
    EXPECT_EQ(D3D_OK,
              d3d->CheckDepthStencilMatch(0, D3DDEVTYPE_HAL, D3DFMT_X8R8G8B8, D3DFMT_R5G6B5, D3DFMT_D16));
    DWORD levels = 7;
    EXPECT_EQ(D3D_OK, d3d->CheckDeviceMultiSampleType(0, D3DDEVTYPE_HAL, D3DFMT_X8R8G8B8, TRUE,
                                                      D3DMULTISAMPLE_NONE, &levels));
    EXPECT_EQ(1u, levels);
    EXPECT_EQ(D3DERR_NOTAVAILABLE, d3d->CheckDeviceMultiSampleType(0, D3DDEVTYPE_HAL, D3DFMT_X8R8G8B8, TRUE,
                                                                   D3DMULTISAMPLE_3_SAMPLES, nullptr));
}

TEST_F(Device, ModesIncludeTheUsualSizes) {
    const UINT count = d3d->GetAdapterModeCount(0, D3DFMT_X8R8G8B8);
    ASSERT_GT(count, 0u);
    bool found = false;
    for (UINT i = 0; i < count; ++i) {
        D3DDISPLAYMODE mode;
        ASSERT_EQ(D3D_OK, d3d->EnumAdapterModes(0, D3DFMT_X8R8G8B8, i, &mode));
        found |= mode.Width == 640 && mode.Height == 480 && mode.RefreshRate > 0;
    }
    EXPECT_TRUE(found);
    D3DDISPLAYMODE mode;
    EXPECT_EQ(D3DERR_INVALIDCALL, d3d->EnumAdapterModes(0, D3DFMT_X8R8G8B8, count, &mode));
    EXPECT_EQ(0u, d3d->GetAdapterModeCount(0, D3DFMT_DXT1));
}

TEST_F(Device, CreationRefusesWhatItCannotGive) {
    const auto attempt = [&](const std::function<void(D3DPRESENT_PARAMETERS&)>& change, DWORD behaviour) {
        D3DPRESENT_PARAMETERS p = Parameters();
        change(p);
        ComPtr<IDirect3DDevice9> made;
        const HRESULT result = d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, behaviour, &p, made.Put());
        EXPECT_EQ(SUCCEEDED(result), static_cast<bool>(made));
        return result;
    };
    const DWORD mixed = D3DCREATE_MIXED_VERTEXPROCESSING;
    EXPECT_EQ(D3DERR_INVALIDCALL, attempt([](auto&) {}, 0));
    EXPECT_EQ(D3DERR_INVALIDCALL, attempt([](auto&) {}, mixed | D3DCREATE_SOFTWARE_VERTEXPROCESSING));
    EXPECT_EQ(D3DERR_INVALIDCALL, attempt([](auto& p) { p.BackBufferFormat = D3DFMT_DXT1; }, mixed));
    EXPECT_EQ(D3DERR_INVALIDCALL, attempt([](auto& p) { p.AutoDepthStencilFormat = D3DFMT_UNKNOWN; }, mixed));
    EXPECT_EQ(D3DERR_INVALIDCALL, attempt([](auto& p) { p.BackBufferWidth = 1u << 20; }, mixed));
    EXPECT_EQ(D3DERR_INVALIDCALL,
              attempt([](auto& p) { p.MultiSampleType = D3DMULTISAMPLE_7_SAMPLES; }, mixed));
    EXPECT_EQ(D3D_OK, attempt([](auto& p) { p.BackBufferFormat = D3DFMT_R5G6B5; }, mixed));
    EXPECT_EQ(D3DERR_INVALIDCALL, d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, mixed, nullptr,
                                                    ComPtr<IDirect3DDevice9>().Put()));
}

TEST_F(Device, TakesItsSizeFromTheWindow) {
    const auto window = platform::MakeOffscreenWindow(37, 21);
    D3DPRESENT_PARAMETERS p = Parameters();
    p.BackBufferWidth = p.BackBufferHeight = 0;
    p.BackBufferFormat = D3DFMT_UNKNOWN;
    p.hDeviceWindow = window->Handle();
    device = Open(p);
    ASSERT_TRUE(device);
    D3DVIEWPORT9 viewport;
    device->GetViewport(&viewport);
    EXPECT_EQ(37u, viewport.Width);
    EXPECT_EQ(21u, viewport.Height);
    EXPECT_EQ(D3D_OK, device->Present(nullptr, nullptr, nullptr, nullptr));
    platform::ResizeWindow(window->Handle(), 50, 60);
    EXPECT_EQ(50u, window->Width());
    EXPECT_EQ(60u, window->Height());
}

TEST_F(Device, ResourcesHoldTheDeviceAndBindingsAreNotTheApplications) {
    const ULONG before = Count(device.Get());
    auto texture = Texture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED);
    EXPECT_EQ(before + 1, Count(device.Get()));
    device->SetTexture(3, texture.Get());
    EXPECT_EQ(1u, Count(texture.Get()));

    // The texture outlives its last outside reference in its binding, and comes back whole.
    IDirect3DTexture9* raw = texture.Get();
    texture.Reset();
    EXPECT_EQ(before, Count(device.Get()));
    ComPtr<IDirect3DBaseTexture9> again;
    ASSERT_EQ(D3D_OK, device->GetTexture(3, again.Put()));
    EXPECT_EQ(raw, again.Get());
    device->SetTexture(3, nullptr);
    EXPECT_EQ(1u, Count(again.Get()));
}

TEST_F(Device, SurfacesCountWithTheirTexture) {
    const auto texture = Texture(8, 8, 0, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED);
    {
        const auto level = Level(texture, 1);
        EXPECT_EQ(2u, Count(texture.Get()));
        ComPtr<IDirect3DTexture9> container;
        ASSERT_EQ(D3D_OK,
                  level->GetContainer(IID_IDirect3DTexture9, reinterpret_cast<void**>(container.Put())));
        EXPECT_EQ(texture.Get(), container.Get());
        EXPECT_EQ(level.Get(), Level(texture, 1).Get());
    }
    EXPECT_EQ(1u, Count(texture.Get()));
    EXPECT_EQ(4u, texture->GetLevelCount());
}

TEST_F(Device, GoesOnlyWithItsLastResource) {
    auto buffer_holder = [&] {
        ComPtr<IDirect3DVertexBuffer9> buffer;
        device->CreateVertexBuffer(64, 0, 0, D3DPOOL_DEFAULT, buffer.Put(), nullptr);
        device->SetStreamSource(0, buffer.Get(), 0, 16);
        return buffer;
    }();
    const auto target = BackBuffer();
    device.Reset();
    d3d.Reset();
    ComPtr<IDirect3DDevice9> found;
    ASSERT_EQ(D3D_OK, buffer_holder->GetDevice(found.Put()));
    EXPECT_EQ(D3D_OK, found->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff00ff00, 1, 0));
}

TEST_F(Device, SeveralDevicesKeepApart) {
    const auto other = Open(Parameters());
    ASSERT_TRUE(other);
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff112233, 1, 0);
    other->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff445566, 1, 0);
    EXPECT_EQ(0xff112233u, Read(BackBuffer())[0]);
    const ComPtr<IDirect3DDevice9> first = device;
    device = other;
    EXPECT_EQ(0xff445566u, Read(BackBuffer())[0]);
}

TEST_F(Device, ResetChangesTheBackBuffer) {
    device->SetRenderState(D3DRS_LIGHTING, FALSE);
    D3DPRESENT_PARAMETERS p = Parameters();
    p.BackBufferWidth = 32;
    {
        const auto held = BackBuffer();
        EXPECT_EQ(D3DERR_INVALIDCALL, device->Reset(&p));
    }
    ASSERT_EQ(D3D_OK, device->Reset(&p));
    D3DSURFACE_DESC desc;
    BackBuffer()->GetDesc(&desc);
    EXPECT_EQ(32u, desc.Width);
    DWORD lighting = 0;
    device->GetRenderState(D3DRS_LIGHTING, &lighting);
    EXPECT_EQ(DWORD{TRUE}, lighting);
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff778899, 1, 0);
    EXPECT_EQ(0xff778899u, Read(BackBuffer())[31]);
}

TEST_F(Device, StateComesBackAsItWasSet) {
    D3DMATRIX m{}, out{};
    for (int i = 0; i < 16; ++i) m.m[i / 4][i % 4] = static_cast<float>(i) + 0.5f;
    for (const auto state :
         {D3DTS_VIEW, D3DTS_PROJECTION, D3DTS_TEXTURE7, D3DTS_WORLD, D3DTS_WORLDMATRIX(255)}) {
        ASSERT_EQ(D3D_OK, device->SetTransform(state, &m));
        ASSERT_EQ(D3D_OK, device->GetTransform(state, &out));
        EXPECT_EQ(0, std::memcmp(&m, &out, sizeof(m)));
    }
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetTransform(D3DTS_WORLDMATRIX(256), &m));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetTransform(D3DTS_VIEW, nullptr));

    D3DMATRIX twice{};
    for (int i = 0; i < 4; ++i) twice.m[i][i] = 2;
    ASSERT_EQ(D3D_OK, device->MultiplyTransform(D3DTS_VIEW, &twice));
    device->GetTransform(D3DTS_VIEW, &out);
    EXPECT_EQ(m.m[2][1] * 2, out.m[2][1]);

    D3DLIGHT9 light{};
    EXPECT_EQ(D3DERR_INVALIDCALL, device->GetLight(9, &light));
    EXPECT_EQ(D3D_OK, device->LightEnable(9, TRUE));
    ASSERT_EQ(D3D_OK, device->GetLight(9, &light));
    EXPECT_EQ(D3DLIGHT_DIRECTIONAL, light.Type);
    EXPECT_EQ(1.0f, light.Direction.z);
    light.Type = static_cast<D3DLIGHTTYPE>(17);
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetLight(9, &light));

    float constants[8] = {1, 2, 3, 4, 5, 6, 7, 8}, read[8] = {};
    EXPECT_EQ(D3D_OK, device->SetVertexShaderConstantF(254, constants, 2));
    EXPECT_EQ(D3D_OK, device->GetVertexShaderConstantF(254, read, 2));
    EXPECT_EQ(8.0f, read[7]);
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetVertexShaderConstantF(255, constants, 2));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetVertexShaderConstantF(0xffffffff, constants, 2));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetTextureStageState(8, D3DTSS_COLOROP, 1));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetSamplerState(16, D3DSAMP_ADDRESSU, 1));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetTexture(16, nullptr));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetClipPlane(8, constants));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetRenderState(static_cast<D3DRENDERSTATETYPE>(5000), 1));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetStreamSource(16, nullptr, 0, 0));
}

TEST_F(Device, ScenesDoNotNest) {
    EXPECT_EQ(D3DERR_INVALIDCALL, device->EndScene());
    EXPECT_EQ(D3D_OK, device->BeginScene());
    EXPECT_EQ(D3DERR_INVALIDCALL, device->BeginScene());
    EXPECT_EQ(D3D_OK, device->EndScene());
}

}  // namespace
