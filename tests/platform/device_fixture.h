// A device without a display, and the small operations that its tests share.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/factory.h"
#include "platform/types.h"

class DeviceTest : public testing::Test {
  protected:
    static constexpr UINT kWidth = 64, kHeight = 48;

    void SetUp() override {
        d3d = platform::CreateDirect3D9(D3D_SDK_VERSION);
        ASSERT_TRUE(d3d);
        device = Open(Parameters());
        ASSERT_TRUE(device);
    }

    static D3DPRESENT_PARAMETERS Parameters() {
        D3DPRESENT_PARAMETERS p{};
        p.BackBufferWidth = kWidth;
        p.BackBufferHeight = kHeight;
        p.BackBufferFormat = D3DFMT_X8R8G8B8;
        p.BackBufferCount = 1;
        p.SwapEffect = D3DSWAPEFFECT_DISCARD;
        p.Windowed = TRUE;
        p.EnableAutoDepthStencil = TRUE;
        p.AutoDepthStencilFormat = D3DFMT_D24S8;
        p.PresentationInterval = D3DPRESENT_INTERVAL_IMMEDIATE;
        return p;
    }

    ComPtr<IDirect3DDevice9> Open(D3DPRESENT_PARAMETERS p) const {
        ComPtr<IDirect3DDevice9> made;
        d3d->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_MIXED_VERTEXPROCESSING, &p, made.Put());
        return made;
    }

    ComPtr<IDirect3DTexture9> Texture(UINT width, UINT height, UINT levels, DWORD usage, D3DFORMAT format,
                                      D3DPOOL pool) const {
        ComPtr<IDirect3DTexture9> texture;
        EXPECT_EQ(D3D_OK,
                  device->CreateTexture(width, height, levels, usage, format, pool, texture.Put(), nullptr));
        return texture;
    }
    static ComPtr<IDirect3DSurface9> Level(const ComPtr<IDirect3DTexture9>& texture, UINT level = 0) {
        ComPtr<IDirect3DSurface9> surface;
        EXPECT_EQ(D3D_OK, texture->GetSurfaceLevel(level, surface.Put()));
        return surface;
    }
    ComPtr<IDirect3DSurface9> Plain(UINT width, UINT height, D3DFORMAT format, D3DPOOL pool) const {
        ComPtr<IDirect3DSurface9> surface;
        EXPECT_EQ(D3D_OK,
                  device->CreateOffscreenPlainSurface(width, height, format, pool, surface.Put(), nullptr));
        return surface;
    }

    // Fills a surface of a 32-bit format through a lock.
    static void Fill(const ComPtr<IDirect3DSurface9>& surface,
                     const std::function<u32(u32 x, u32 y)>& color) {
        D3DSURFACE_DESC desc;
        ASSERT_EQ(D3D_OK, surface->GetDesc(&desc));
        D3DLOCKED_RECT lock;
        ASSERT_EQ(D3D_OK, surface->LockRect(&lock, nullptr, 0));
        for (u32 y = 0; y < desc.Height; ++y) {
            for (u32 x = 0; x < desc.Width; ++x) {
                const u32 value = color(x, y);
                std::memcpy(static_cast<u8*>(lock.pBits) + y * static_cast<u32>(lock.Pitch) + x * 4, &value,
                            4);
            }
        }
        ASSERT_EQ(D3D_OK, surface->UnlockRect());
    }

    // The 32-bit pixels of a target, row by row from the top.
    std::vector<u32> Read(const ComPtr<IDirect3DSurface9>& target) const {
        D3DSURFACE_DESC desc;
        EXPECT_EQ(D3D_OK, target->GetDesc(&desc));
        const auto memory = Plain(desc.Width, desc.Height, desc.Format, D3DPOOL_SYSTEMMEM);
        EXPECT_EQ(D3D_OK, device->GetRenderTargetData(target.Get(), memory.Get()));
        return Pixels(memory);
    }
    static std::vector<u32> Pixels(const ComPtr<IDirect3DSurface9>& surface) {
        D3DSURFACE_DESC desc;
        EXPECT_EQ(D3D_OK, surface->GetDesc(&desc));
        D3DLOCKED_RECT lock;
        EXPECT_EQ(D3D_OK, surface->LockRect(&lock, nullptr, D3DLOCK_READONLY));
        std::vector<u32> pixels(std::size_t{desc.Width} * desc.Height);
        for (u32 y = 0; y < desc.Height && lock.pBits; ++y) {
            std::memcpy(&pixels[std::size_t{y} * desc.Width],
                        static_cast<const u8*>(lock.pBits) + y * static_cast<u32>(lock.Pitch),
                        desc.Width * 4);
        }
        EXPECT_EQ(D3D_OK, surface->UnlockRect());
        return pixels;
    }
    ComPtr<IDirect3DSurface9> BackBuffer() const {
        ComPtr<IDirect3DSurface9> surface;
        EXPECT_EQ(D3D_OK, device->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, surface.Put()));
        return surface;
    }

    // Draws a texture over the whole target: each target pixel reads the texel that lies under it.
    void DrawTexture(IDirect3DBaseTexture9* texture, float width, float height) const {
        struct Vertex {
            float x, y, z, rhw, u, v;
        };
        const Vertex quad[4] = {{-0.5f, -0.5f, 0, 1, 0, 0},
                                {width - 0.5f, -0.5f, 0, 1, 1, 0},
                                {-0.5f, height - 0.5f, 0, 1, 0, 1},
                                {width - 0.5f, height - 0.5f, 0, 1, 1, 1}};
        device->SetTexture(0, texture);
        device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
        device->SetTextureStageState(0, D3DTSS_ALPHAOP, D3DTOP_SELECTARG1);
        device->SetRenderState(D3DRS_ZENABLE, FALSE);
        device->SetRenderState(D3DRS_LIGHTING, FALSE);
        device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
        device->SetFVF(D3DFVF_XYZRHW | D3DFVF_TEX1);
        ASSERT_EQ(D3D_OK, device->BeginScene());
        ASSERT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(Vertex)));
        ASSERT_EQ(D3D_OK, device->EndScene());
    }

    // A texture that can be rendered to, set as the target.
    ComPtr<IDirect3DSurface9> NewTarget(UINT width, UINT height) const {
        ComPtr<IDirect3DSurface9> target;
        EXPECT_EQ(D3D_OK, device->CreateRenderTarget(width, height, D3DFMT_A8R8G8B8, D3DMULTISAMPLE_NONE, 0,
                                                     FALSE, target.Put(), nullptr));
        EXPECT_EQ(D3D_OK, device->SetDepthStencilSurface(nullptr));
        EXPECT_EQ(D3D_OK, device->SetRenderTarget(0, target.Get()));
        return target;
    }

    ComPtr<IDirect3D9> d3d;
    ComPtr<IDirect3DDevice9> device;
};
