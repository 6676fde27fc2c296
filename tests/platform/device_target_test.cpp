// Clears, targets, and copies between surfaces.
#include "platform/device_fixture.h"

namespace {

class DeviceTarget : public DeviceTest {};

TEST_F(DeviceTarget, ClearKeepsToViewportScissorAndRectangles) {
    ASSERT_EQ(D3D_OK, device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff000001, 1, 0));
    const D3DVIEWPORT9 viewport = {10, 5, 20, 30, 0, 1};
    ASSERT_EQ(D3D_OK, device->SetViewport(&viewport));
    ASSERT_EQ(D3D_OK, device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff000002, 1, 0));
    const RECT scissor = {0, 0, 64, 8};
    device->SetScissorRect(&scissor);
    device->SetRenderState(D3DRS_SCISSORTESTENABLE, TRUE);
    ASSERT_EQ(D3D_OK, device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff000003, 1, 0));
    device->SetRenderState(D3DRS_SCISSORTESTENABLE, FALSE);
    const D3DRECT rects[2] = {{12, 20, 15, 22}, {28, 33, 1000, 1000}};
    device->SetRenderState(D3DRS_COLORWRITEENABLE, 0);  // does not hold for clears
    ASSERT_EQ(D3D_OK, device->Clear(2, rects, D3DCLEAR_TARGET, 0xff000004, 1, 0));

    const auto pixels = Read(BackBuffer());
    for (LONG y = 0; y < static_cast<LONG>(kHeight); ++y) {
        for (LONG x = 0; x < static_cast<LONG>(kWidth); ++x) {
            u32 expected = 0xff000001;
            if (x >= 10 && x < 30 && y >= 5 && y < 35) expected = y < 8 ? 0xff000003 : 0xff000002;
            if (x >= 12 && x < 15 && y >= 20 && y < 22) expected = 0xff000004;
            if (x >= 28 && x < 30 && y >= 33 && y < 35) expected = 0xff000004;
            ASSERT_EQ(expected, pixels[static_cast<std::size_t>(y) * kWidth + static_cast<std::size_t>(x)])
                << x << "," << y;
        }
    }
}

TEST_F(DeviceTarget, ClearRefusesWhatIsNotThere) {
    EXPECT_EQ(D3DERR_INVALIDCALL, device->Clear(1, nullptr, D3DCLEAR_TARGET, 0, 1, 0));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->Clear(0, nullptr, 0, 0, 1, 0));
    ComPtr<IDirect3DSurface9> depth;
    ASSERT_EQ(D3D_OK, device->CreateDepthStencilSurface(kWidth, kHeight, D3DFMT_D16, D3DMULTISAMPLE_NONE, 0,
                                                        FALSE, depth.Put(), nullptr));
    device->SetDepthStencilSurface(depth.Get());
    EXPECT_EQ(D3D_OK, device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0, 1, 0));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->Clear(0, nullptr, D3DCLEAR_STENCIL, 0, 1, 0));
    device->SetDepthStencilSurface(nullptr);
    EXPECT_EQ(D3DERR_INVALIDCALL, device->Clear(0, nullptr, D3DCLEAR_ZBUFFER, 0, 1, 0));
}

TEST_F(DeviceTarget, SettingATargetResetsTheViewport) {
    const auto texture = Texture(128, 32, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT);
    const D3DVIEWPORT9 small = {1, 2, 3, 4, 0.25f, 0.5f};
    device->SetViewport(&small);
    ASSERT_EQ(D3D_OK, device->SetRenderTarget(0, Level(texture).Get()));
    D3DVIEWPORT9 viewport;
    device->GetViewport(&viewport);
    EXPECT_EQ(128u, viewport.Width);
    EXPECT_EQ(32u, viewport.Height);
    EXPECT_EQ(0.0f, viewport.MinZ);
    EXPECT_EQ(1.0f, viewport.MaxZ);
    const D3DVIEWPORT9 outside = {100, 0, 29, 10, 0, 1};
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetViewport(&outside));

    const auto plain = Plain(8, 8, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT);
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetRenderTarget(0, plain.Get()));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetRenderTarget(0, nullptr));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetRenderTarget(1, Level(texture).Get()));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->SetDepthStencilSurface(Level(texture).Get()));
}

TEST_F(DeviceTarget, AlphaIsKeptByAlphaFormatsAlone) {
    const auto target = NewTarget(4, 4);
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0x40102030, 1, 0);
    EXPECT_EQ(0x40102030u, Read(target)[5]);
    device->SetRenderTarget(0, BackBuffer().Get());
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0x40102030, 1, 0);
    EXPECT_EQ(0x00102030u, Read(BackBuffer())[5] & 0xffffff);
}

TEST_F(DeviceTarget, ReadsBackOnlyIntoItsLike) {
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff808080, 1, 0);
    const auto back = BackBuffer();
    const auto into = [&](UINT width, D3DFORMAT format, D3DPOOL pool) {
        return device->GetRenderTargetData(back.Get(), Plain(width, kHeight, format, pool).Get());
    };
    EXPECT_EQ(D3D_OK, into(kWidth, D3DFMT_X8R8G8B8, D3DPOOL_SYSTEMMEM));
    EXPECT_EQ(D3DERR_INVALIDCALL, into(kWidth, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM));
    EXPECT_EQ(D3DERR_INVALIDCALL, into(kWidth + 1, D3DFMT_X8R8G8B8, D3DPOOL_SYSTEMMEM));
    EXPECT_EQ(D3DERR_INVALIDCALL, into(kWidth, D3DFMT_X8R8G8B8, D3DPOOL_DEFAULT));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->GetRenderTargetData(nullptr, nullptr));
}

TEST_F(DeviceTarget, StretchRectCopiesScalesAndConverts) {
    // Four quadrants, distinct, so that a turned or mirrored copy shows.
    const auto source = NewTarget(8, 8);
    const u32 corner[4] = {0xff0000ff, 0xff00ff00, 0xffff0000, 0xffffffff};
    for (LONG i = 0; i < 4; ++i) {
        const RECT part = {i % 2 * 4, i / 2 * 4, i % 2 * 4 + 4, i / 2 * 4 + 4};
        ASSERT_EQ(D3D_OK, device->ColorFill(source.Get(), &part, corner[i]));
    }
    ComPtr<IDirect3DSurface9> dest;
    device->CreateRenderTarget(16, 4, D3DFMT_X8R8G8B8, D3DMULTISAMPLE_NONE, 0, FALSE, dest.Put(), nullptr);
    ASSERT_EQ(D3D_OK, device->StretchRect(source.Get(), nullptr, dest.Get(), nullptr, D3DTEXF_POINT));
    const auto pixels = Read(dest);
    EXPECT_EQ(corner[0], pixels[0]);
    EXPECT_EQ(corner[0], pixels[16 + 7]);
    EXPECT_EQ(corner[1], pixels[16 + 8]);
    EXPECT_EQ(corner[2], pixels[32]);
    EXPECT_EQ(corner[3], pixels[63]);

    // A part into a part of a plain surface, which can then be locked.
    const auto plain = Plain(8, 8, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT);
    ASSERT_EQ(D3D_OK, device->ColorFill(plain.Get(), nullptr, 0x01020304));
    const RECT from = {3, 3, 5, 5}, to = {6, 0, 8, 2};
    ASSERT_EQ(D3D_OK, device->StretchRect(source.Get(), &from, plain.Get(), &to, D3DTEXF_NONE));
    const auto copied = Pixels(plain);
    EXPECT_EQ(corner[0], copied[6]);
    EXPECT_EQ(corner[3], copied[15]);
    EXPECT_EQ(0x01020304u, copied[5]);

    const RECT bad = {4, 4, 9, 8};
    EXPECT_EQ(D3DERR_INVALIDCALL, device->StretchRect(source.Get(), &bad, dest.Get(), nullptr, D3DTEXF_NONE));
    EXPECT_EQ(D3DERR_INVALIDCALL,
              device->StretchRect(source.Get(), nullptr, source.Get(), nullptr, D3DTEXF_NONE));
    const auto memory = Plain(8, 8, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM);
    EXPECT_EQ(D3DERR_INVALIDCALL,
              device->StretchRect(source.Get(), nullptr, memory.Get(), nullptr, D3DTEXF_NONE));
}

TEST_F(DeviceTarget, MultisampledTargetsResolve) {
    DWORD levels = 0;
    if (FAILED(d3d->CheckDeviceMultiSampleType(0, D3DDEVTYPE_HAL, D3DFMT_A8R8G8B8, TRUE,
                                               D3DMULTISAMPLE_4_SAMPLES, &levels))) {
        GTEST_SKIP() << "no multisampling on this machine";
    }
    ComPtr<IDirect3DSurface9> many;
    ASSERT_EQ(D3D_OK, device->CreateRenderTarget(16, 16, D3DFMT_A8R8G8B8, D3DMULTISAMPLE_4_SAMPLES, 0, FALSE,
                                                 many.Put(), nullptr));
    device->SetDepthStencilSurface(nullptr);
    ASSERT_EQ(D3D_OK, device->SetRenderTarget(0, many.Get()));
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0x80402010, 1, 0);
    const D3DRECT top = {0, 0, 16, 8};
    device->Clear(1, &top, D3DCLEAR_TARGET, 0xff010203, 1, 0);
    const auto memory = Plain(16, 16, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM);
    EXPECT_EQ(D3DERR_INVALIDCALL, device->GetRenderTargetData(many.Get(), memory.Get()));
    const auto half = NewTarget(8, 8);
    ASSERT_EQ(D3D_OK, device->StretchRect(many.Get(), nullptr, half.Get(), nullptr, D3DTEXF_NONE));
    EXPECT_EQ(0xff010203u, Read(half)[0]);
    EXPECT_EQ(0x80402010u, Read(half)[63]);

    D3DPRESENT_PARAMETERS p = Parameters();
    p.MultiSampleType = D3DMULTISAMPLE_4_SAMPLES;
    const auto other = Open(p);
    ASSERT_TRUE(other);
    EXPECT_EQ(D3D_OK, other->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0xff00ff00, 1, 0));
    EXPECT_EQ(D3D_OK, other->Present(nullptr, nullptr, nullptr, nullptr));
}

TEST_F(DeviceTarget, LockableTargetsKeepMemoryAndPictureInStep) {
    ComPtr<IDirect3DSurface9> target;
    ASSERT_EQ(D3D_OK, device->CreateRenderTarget(8, 8, D3DFMT_A8R8G8B8, D3DMULTISAMPLE_NONE, 0, TRUE,
                                                 target.Put(), nullptr));
    Fill(target, [](u32 x, u32 y) { return 0xff000000 | x << 8 | y; });
    device->SetDepthStencilSurface(nullptr);
    device->SetRenderTarget(0, target.Get());
    const D3DRECT corner = {0, 0, 1, 1};
    device->Clear(1, &corner, D3DCLEAR_TARGET, 0xffabcdef, 1, 0);
    const auto pixels = Pixels(target);
    EXPECT_EQ(0xffabcdefu, pixels[0]);
    EXPECT_EQ(0xff000307u, pixels[7 * 8 + 3]);
    D3DLOCKED_RECT lock;
    EXPECT_EQ(D3DERR_INVALIDCALL, NewTarget(8, 8)->LockRect(&lock, nullptr, 0));
}

}  // namespace
