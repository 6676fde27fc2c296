// Textures and buffers: locks, uploads, formats.
#include <algorithm>

#include "platform/device_fixture.h"

namespace {

class DeviceResource : public DeviceTest {
  protected:
    // What a one-pixel texture of a format reads as when drawn.
    u32 Sampled(D3DFORMAT format, const std::vector<u8>& texel, UINT edge = 1) {
        const auto texture = Texture(edge, edge, 1, 0, format, D3DPOOL_MANAGED);
        D3DLOCKED_RECT lock;
        EXPECT_EQ(D3D_OK, texture->LockRect(0, &lock, nullptr, 0));
        std::memcpy(lock.pBits, texel.data(), texel.size());
        EXPECT_EQ(D3D_OK, texture->UnlockRect(0));
        const auto target = NewTarget(edge, edge);
        DrawTexture(texture.Get(), static_cast<float>(edge), static_cast<float>(edge));
        return Read(target)[0];
    }
};

TEST_F(DeviceResource, CreationRefusesBadArguments) {
    const auto make = [&](UINT w, UINT h, UINT levels, DWORD usage, D3DFORMAT format, D3DPOOL pool) {
        ComPtr<IDirect3DTexture9> texture;
        const HRESULT result =
            device->CreateTexture(w, h, levels, usage, format, pool, texture.Put(), nullptr);
        EXPECT_EQ(SUCCEEDED(result), static_cast<bool>(texture));
        return result;
    };
    const auto argb = D3DFMT_A8R8G8B8;
    EXPECT_EQ(D3DERR_INVALIDCALL, make(0, 4, 1, 0, argb, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(1u << 20, 4, 1, 0, argb, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(4, 4, 4, 0, argb, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(4, 4, 1, 0, D3DFMT_P8, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(6, 4, 1, 0, D3DFMT_DXT1, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(4, 4, 1, D3DUSAGE_RENDERTARGET, argb, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(4, 4, 1, D3DUSAGE_RENDERTARGET, D3DFMT_DXT1, D3DPOOL_DEFAULT));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(4, 4, 1, D3DUSAGE_DYNAMIC, argb, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(4, 4, 2, D3DUSAGE_AUTOGENMIPMAP, argb, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, make(4, 4, 1, 0, argb, static_cast<D3DPOOL>(9)));
    EXPECT_EQ(D3D_OK, make(5, 3, 0, 0, argb, D3DPOOL_MANAGED));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->CreateTexture(4, 4, 1, 0, argb, D3DPOOL_MANAGED, nullptr, nullptr));

    ComPtr<IDirect3DVertexBuffer9> vertices;
    EXPECT_EQ(D3DERR_INVALIDCALL,
              device->CreateVertexBuffer(0, 0, 0, D3DPOOL_DEFAULT, vertices.Put(), nullptr));
    EXPECT_EQ(D3DERR_INVALIDCALL,
              device->CreateVertexBuffer(16, D3DUSAGE_DYNAMIC, 0, D3DPOOL_MANAGED, vertices.Put(), nullptr));
    ComPtr<IDirect3DIndexBuffer9> indices;
    EXPECT_EQ(D3DERR_INVALIDCALL,
              device->CreateIndexBuffer(16, 0, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, indices.Put(), nullptr));
    ComPtr<IDirect3DSurface9> surface;
    EXPECT_EQ(D3DERR_INVALIDCALL,
              device->CreateOffscreenPlainSurface(4, 4, argb, D3DPOOL_MANAGED, surface.Put(), nullptr));
}

TEST_F(DeviceResource, LocksGiveTheirPartAndRefuseTheRest) {
    const auto texture = Texture(16, 8, 0, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED);
    Fill(Level(texture), [](u32 x, u32 y) { return y << 16 | x; });
    const RECT part = {5, 3, 9, 7};
    D3DLOCKED_RECT lock;
    ASSERT_EQ(D3D_OK, texture->LockRect(0, &lock, &part, 0));
    u32 first = 0;
    std::memcpy(&first, lock.pBits, 4);
    EXPECT_EQ(3u << 16 | 5u, first);
    D3DLOCKED_RECT second;
    EXPECT_EQ(D3DERR_INVALIDCALL, texture->LockRect(0, &second, nullptr, 0));
    EXPECT_EQ(D3D_OK, texture->UnlockRect(0));
    EXPECT_EQ(D3DERR_INVALIDCALL, texture->UnlockRect(0));

    for (const RECT bad : {RECT{0, 0, 17, 8}, RECT{-1, 0, 4, 4}, RECT{4, 4, 4, 8}, RECT{8, 4, 4, 8}}) {
        EXPECT_EQ(D3DERR_INVALIDCALL, texture->LockRect(0, &lock, &bad, 0));
    }
    EXPECT_EQ(D3DERR_INVALIDCALL, texture->LockRect(5, &lock, nullptr, 0));
    EXPECT_EQ(D3DERR_INVALIDCALL, texture->LockRect(0, nullptr, nullptr, 0));
    const auto fixed = Texture(16, 8, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT);
    EXPECT_EQ(D3DERR_INVALIDCALL, fixed->LockRect(0, &lock, nullptr, 0));

    const auto blocks = Texture(16, 8, 0, 0, D3DFMT_DXT1, D3DPOOL_MANAGED);
    const RECT on_grid = {4, 4, 12, 8}, off_grid = {2, 4, 12, 8};
    ASSERT_EQ(D3D_OK, blocks->LockRect(0, &lock, &on_grid, 0));
    EXPECT_EQ(32, lock.Pitch);
    blocks->UnlockRect(0);
    EXPECT_EQ(D3DERR_INVALIDCALL, blocks->LockRect(0, &lock, &off_grid, 0));
    EXPECT_EQ(D3D_OK, blocks->LockRect(4, &lock, nullptr, 0));
    EXPECT_EQ(8, lock.Pitch);
}

TEST_F(DeviceResource, FormatsReadAsPublished) {
    struct Sample {
        D3DFORMAT format;
        std::vector<u8> texel;
        u32 expected;
    };
    const Sample samples[] = {
        {D3DFMT_A8R8G8B8, {0x10, 0x20, 0x30, 0x40}, 0x40302010},
        {D3DFMT_X8R8G8B8, {0x10, 0x20, 0x30, 0x40}, 0xff302010},
        {D3DFMT_A8B8G8R8, {0x10, 0x20, 0x30, 0x40}, 0x40102030},
        {D3DFMT_R5G6B5, {0x1f, 0x80}, 0xff8400ff},  // 16/31, 0, 31/31
        {D3DFMT_X1R5G5B5, {0xe0, 0x03}, 0xff00ff00},
        {D3DFMT_A1R5G5B5, {0x00, 0x7c}, 0x00ff0000},
        {D3DFMT_A4R4G4B4, {0x48, 0x2f}, 0x22ff4488},
        {D3DFMT_A8, {0x37}, 0x37000000},
        {D3DFMT_L8, {0x37}, 0xff373737},
        {D3DFMT_A8L8, {0x37, 0x91}, 0x91373737},
    };
    for (const Sample& sample : samples) {
        EXPECT_EQ(sample.expected, Sampled(sample.format, sample.texel)) << "format " << sample.format;
    }
}

TEST_F(DeviceResource, CompressedBlocksDecode) {
    // One block: colour 0 red (f800), colour 1 blue (001f), all indices 0.
    const std::vector<u8> opaque = {0x00, 0xf8, 0x1f, 0x00, 0, 0, 0, 0};
    EXPECT_EQ(0xffff0000u, Sampled(D3DFMT_DXT1, opaque, 4));
    // Colour 0 below colour 1 makes index 3 transparent black.
    EXPECT_EQ(0x00000000u, Sampled(D3DFMT_DXT1, {0x1f, 0x00, 0x00, 0xf8, 0xff, 0xff, 0xff, 0xff}, 4));
    std::vector<u8> explicit_alpha = {0x88, 0x88, 0x88, 0x88, 0x88, 0x88, 0x88, 0x88};
    explicit_alpha.insert(explicit_alpha.end(), opaque.begin(), opaque.end());
    EXPECT_EQ(0x88ff0000u, Sampled(D3DFMT_DXT3, explicit_alpha, 4));
    EXPECT_EQ(0x88ff0000u, Sampled(D3DFMT_DXT2, explicit_alpha, 4));
    std::vector<u8> ramp_alpha = {0x40, 0xc0, 0, 0, 0, 0, 0, 0};
    ramp_alpha.insert(ramp_alpha.end(), opaque.begin(), opaque.end());
    EXPECT_EQ(0x40ff0000u, Sampled(D3DFMT_DXT5, ramp_alpha, 4));
    EXPECT_EQ(0x40ff0000u, Sampled(D3DFMT_DXT4, ramp_alpha, 4));
}

TEST_F(DeviceResource, LaterLocksReachTheNextDraw) {
    const auto texture = Texture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED);
    Fill(Level(texture), [](u32 x, u32 y) { return 0xff000000 | x << 16 | y; });
    const auto target = NewTarget(4, 4);
    DrawTexture(texture.Get(), 4, 4);
    EXPECT_EQ(0xff030002u, Read(target)[2 * 4 + 3]);
    const RECT part = {3, 2, 4, 3};
    D3DLOCKED_RECT lock;
    ASSERT_EQ(D3D_OK, texture->LockRect(0, &lock, &part, D3DLOCK_NO_DIRTY_UPDATE));
    const u32 value = 0xff123456;
    std::memcpy(lock.pBits, &value, 4);
    texture->UnlockRect(0);
    DrawTexture(texture.Get(), 4, 4);
    EXPECT_EQ(0xff030002u, Read(target)[2 * 4 + 3]) << "nobody said that it changed";
    texture->AddDirtyRect(&part);
    DrawTexture(texture.Get(), 4, 4);
    EXPECT_EQ(value, Read(target)[2 * 4 + 3]);
    EXPECT_EQ(0xff000000u, Read(target)[0]);
}

TEST_F(DeviceResource, UpdateSurfaceCopiesAPart) {
    const auto memory = Plain(8, 8, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM);
    Fill(memory, [](u32 x, u32 y) { return 0xff000000 | x << 8 | y; });
    const auto target = NewTarget(16, 16);
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff777777, 1, 0);
    const RECT part = {2, 3, 6, 8};
    const POINT point = {10, 11};
    ASSERT_EQ(D3D_OK, device->UpdateSurface(memory.Get(), &part, target.Get(), &point));
    const auto pixels = Read(target);
    EXPECT_EQ(0xff000203u, pixels[11 * 16 + 10]);
    EXPECT_EQ(0xff000507u, pixels[15 * 16 + 13]);
    EXPECT_EQ(0xff777777u, pixels[15 * 16 + 14]);
    const POINT outside = {13, 11};
    EXPECT_EQ(D3DERR_INVALIDCALL, device->UpdateSurface(memory.Get(), &part, target.Get(), &outside));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->UpdateSurface(target.Get(), nullptr, memory.Get(), nullptr));
    const auto other = Plain(8, 8, D3DFMT_X8R8G8B8, D3DPOOL_SYSTEMMEM);
    EXPECT_EQ(D3DERR_INVALIDCALL, device->UpdateSurface(other.Get(), nullptr, target.Get(), nullptr));
}

TEST_F(DeviceResource, UpdateTextureCarriesLevelsAndFaces) {
    const auto memory = Texture(8, 8, 0, 0, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM);
    for (u32 level = 0; level < 4; ++level)
        Fill(Level(memory, level), [&](u32, u32) { return 0xff000000 | level; });
    // A target with fewer and smaller levels takes those of its own sizes.
    const auto half = Texture(4, 4, 0, 0, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT);
    ASSERT_EQ(D3D_OK, device->UpdateTexture(memory.Get(), half.Get()));
    const auto target = NewTarget(4, 4);
    DrawTexture(half.Get(), 4, 4);
    EXPECT_EQ(0xff000001u, Read(target)[0]);
    const auto wrong = Texture(16, 16, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT);
    EXPECT_EQ(D3DERR_INVALIDCALL, device->UpdateTexture(memory.Get(), wrong.Get()));

    ComPtr<IDirect3DCubeTexture9> cube;
    ASSERT_EQ(D3D_OK, device->CreateCubeTexture(4, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT,
                                                cube.Put(), nullptr));
    for (u32 face = 0; face < 6; ++face) {
        const auto plain = Plain(4, 4, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM);
        Fill(plain, [&](u32 x, u32) { return 0xff000000 | face << 8 | x; });
        ComPtr<IDirect3DSurface9> surface;
        ASSERT_EQ(D3D_OK, cube->GetCubeMapSurface(static_cast<D3DCUBEMAP_FACES>(face), 0, surface.Put()));
        ASSERT_EQ(D3D_OK, device->UpdateSurface(plain.Get(), nullptr, surface.Get(), nullptr));
    }
    for (u32 face = 0; face < 6; ++face) {
        ComPtr<IDirect3DSurface9> surface;
        cube->GetCubeMapSurface(static_cast<D3DCUBEMAP_FACES>(face), 0, surface.Put());
        EXPECT_EQ(0xff000003u | face << 8, Read(surface)[3]);
    }
    ComPtr<IDirect3DSurface9> none;
    EXPECT_EQ(D3DERR_INVALIDCALL, cube->GetCubeMapSurface(static_cast<D3DCUBEMAP_FACES>(6), 0, none.Put()));
}

TEST_F(DeviceResource, GeneratedLevelsFollowTheFirst) {
    const auto texture =
        Texture(16, 16, 0, D3DUSAGE_AUTOGENMIPMAP | D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT);
    EXPECT_EQ(1u, texture->GetLevelCount());
    const auto surface = Level(texture);
    const auto target = NewTarget(2, 2);
    device->SetSamplerState(0, D3DSAMP_MIPFILTER, D3DTEXF_POINT);
    device->SetSamplerState(0, D3DSAMP_MINFILTER, D3DTEXF_LINEAR);
    // Half black, half white in columns one texel wide: the small picture is grey only through the levels.
    for (const u32 light : {0xffu, 0x81u}) {
        const auto memory = Plain(16, 16, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM);
        Fill(memory, [&](u32 x, u32) { return x % 2 ? 0xff000000 | light * 0x010101 : 0xff000000; });
        ASSERT_EQ(D3D_OK, device->UpdateSurface(memory.Get(), nullptr, surface.Get(), nullptr));
        DrawTexture(texture.Get(), 2, 2);
        EXPECT_NEAR(light / 2.0, Read(target)[3] & 0xff, 1.01);
    }
    // Rendering to the first level counts as a change too.
    device->SetTexture(0, nullptr);
    device->SetRenderTarget(0, surface.Get());
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff0000c0, 1, 0);
    device->SetRenderTarget(0, target.Get());
    DrawTexture(texture.Get(), 2, 2);
    EXPECT_EQ(0xff0000c0u, Read(target)[0]);
}

TEST_F(DeviceResource, LodSkipsLevels) {
    const auto texture = Texture(4, 4, 0, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED);
    for (u32 level = 0; level < 3; ++level)
        Fill(Level(texture, level), [&](u32, u32) { return 0xff000010 + level; });
    const auto target = NewTarget(4, 4);
    device->SetSamplerState(0, D3DSAMP_MIPFILTER, D3DTEXF_POINT);
    DrawTexture(texture.Get(), 4, 4);
    EXPECT_EQ(0xff000010u, Read(target)[0]);
    EXPECT_EQ(0u, texture->SetLOD(1));
    DrawTexture(texture.Get(), 4, 4);
    EXPECT_EQ(0xff000011u, Read(target)[0]);
    EXPECT_EQ(1u, texture->SetLOD(99));
    EXPECT_EQ(2u, texture->GetLOD());
}

TEST_F(DeviceResource, BuffersLockWithinTheirBounds) {
    ComPtr<IDirect3DVertexBuffer9> buffer;
    ASSERT_EQ(D3D_OK, device->CreateVertexBuffer(64, D3DUSAGE_WRITEONLY, D3DFVF_XYZ, D3DPOOL_MANAGED,
                                                 buffer.Put(), nullptr));
    void* data = nullptr;
    EXPECT_EQ(D3DERR_INVALIDCALL, buffer->Lock(60, 8, &data, 0));
    EXPECT_EQ(D3DERR_INVALIDCALL, buffer->Lock(65, 0, &data, 0));
    EXPECT_EQ(D3DERR_INVALIDCALL, buffer->Lock(8, 0xffffffff, &data, 0));
    EXPECT_EQ(D3DERR_INVALIDCALL, buffer->Lock(0, 0, nullptr, 0));
    EXPECT_EQ(D3DERR_INVALIDCALL, buffer->Unlock());
    ASSERT_EQ(D3D_OK, buffer->Lock(16, 4, &data, 0));
    std::memset(data, 0x5a, 4);
    EXPECT_EQ(D3D_OK, buffer->Unlock());
    ASSERT_EQ(D3D_OK, buffer->Lock(0, 0, &data, D3DLOCK_READONLY));
    EXPECT_EQ(0, static_cast<u8*>(data)[15]);
    EXPECT_EQ(0x5a, static_cast<u8*>(data)[16]);
    buffer->Unlock();
    D3DVERTEXBUFFER_DESC desc;
    ASSERT_EQ(D3D_OK, buffer->GetDesc(&desc));
    EXPECT_EQ(64u, desc.Size);
    EXPECT_EQ(DWORD{D3DFVF_XYZ}, desc.FVF);
}

// Quads written one after the other into a dynamic buffer, drawn as they come: a discard must not disturb
// what was drawn before, a promise not to overwrite must keep it.
TEST_F(DeviceResource, DynamicBuffersStream) {
    struct Vertex {
        float x, y, z, rhw;
        u32 color;
    };
    for (const UINT quads_in_buffer : {1u, 3u, 64u}) {
        const UINT quad_bytes = 4 * sizeof(Vertex);
        ComPtr<IDirect3DVertexBuffer9> buffer;
        ASSERT_EQ(D3D_OK, device->CreateVertexBuffer(quad_bytes * quads_in_buffer,
                                                     D3DUSAGE_WRITEONLY | D3DUSAGE_DYNAMIC, 0,
                                                     D3DPOOL_DEFAULT, buffer.Put(), nullptr));
        const auto target = NewTarget(64, 64);
        device->Clear(0, nullptr, D3DCLEAR_TARGET, 0, 1, 0);
        device->SetTexture(0, nullptr);
        device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
        device->SetTextureStageState(0, D3DTSS_COLORARG1, D3DTA_DIFFUSE);
        device->SetRenderState(D3DRS_LIGHTING, FALSE);
        device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
        device->SetFVF(D3DFVF_XYZRHW | D3DFVF_DIFFUSE);
        device->BeginScene();
        for (u32 i = 0; i < 4096; ++i) {
            const UINT place = i % quads_in_buffer * quad_bytes;
            void* data = nullptr;
            const DWORD flags = place == 0 ? D3DLOCK_DISCARD : D3DLOCK_NOOVERWRITE;
            ASSERT_EQ(D3D_OK, buffer->Lock(place, quad_bytes, &data, flags));
            const float x = static_cast<float>(i % 64), y = static_cast<float>(i / 64);
            const u32 color = 0xff000000 | i;
            const Vertex quad[4] = {{x - 0.5f, y - 0.5f, 0, 1, color},
                                    {x + 0.5f, y - 0.5f, 0, 1, color},
                                    {x - 0.5f, y + 0.5f, 0, 1, color},
                                    {x + 0.5f, y + 0.5f, 0, 1, color}};
            std::memcpy(data, quad, sizeof(quad));
            buffer->Unlock();
            device->SetStreamSource(0, buffer.Get(), place, sizeof(Vertex));
            ASSERT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2));
        }
        device->EndScene();
        const auto pixels = Read(target);
        for (u32 i = 0; i < 4096; ++i) ASSERT_EQ((0xff000000 | i) & 0xffffff, pixels[i] & 0xffffff) << i;
    }
}

}  // namespace
