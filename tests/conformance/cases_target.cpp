// Drawing into textures and back, copies between surfaces.
#include "conformance/canvas.h"

namespace conformance {
namespace {

// A picture in which up, down, left and right can be told apart.
void Scene(Canvas& c, float w, float h) {
    Mesh mesh(D3DFVF_XYZRHW | D3DFVF_DIFFUSE);
    AddRect(mesh, {0, 0, w, h}, 0.9f, {0xffff0000, 0xff00ff00, 0xff0000ff, 0x40ffffff});
    AddRect(mesh, {2, 2, 8, 6}, 0.5f, Rgba{0xffffffff});
    AddRect(mesh, {w - 6, h - 4, w - 2, h - 1}, 0.5f, Rgba{0xff000000});
    c.Draw(D3DPT_TRIANGLELIST, mesh);
}

void ShowTexture(Canvas& c, IDirect3DTexture9* texture, Area area, Coords coords = {},
                 DWORD filter = D3DTEXF_POINT) {
    c.Bind(0, texture);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.Filter(0, filter, filter, D3DTEXF_NONE);
    c.Rs(D3DRS_ZENABLE, D3DZB_FALSE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.TexturedRect({area.left - 0.5f, area.top - 0.5f, area.right - 0.5f, area.bottom - 0.5f}, coords);
    c.Rs(D3DRS_ZENABLE, D3DZB_TRUE);
    c.Bind(0, nullptr);
    c.ColorOp(0, D3DTOP_MODULATE, D3DTA_TEXTURE);
}

// A target of odd size, drawn into and shown one to one; the first row is the top in both.
void OddTarget(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* texture = c.TargetTexture(37, 23);
    c.Target(c.Level(texture), c.DepthSurface(37, 23));
    c.Fill(0xff406080);
    Scene(c, 37, 23);
    c.Rect({20, -4, 60, 7}, 0.4f, 0xffffff00);  // cut at the target's own edge
    c.Target(c.BackBuffer(), c.AutoDepth());
    ShowTexture(c, texture, {3, 5, 40, 28});
    ShowTexture(c, texture, {4, 30, 60, 62}, {}, D3DTEXF_LINEAR);
}

// Transformed drawing into a target, with culling: neither the picture nor the faces turn round.
void TransformedTarget(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* texture = c.TargetTexture(40, 30);
    for (int pass = 0; pass < 2; ++pass) {
        if (pass == 0) {
            c.Target(c.Level(texture), c.DepthSurface(40, 30));
            c.Fill(0xff406080);
        }
        c.Viewport(pass == 0 ? 0 : 12, pass == 0 ? 0 : 32, 40, 30);
        c.Camera();
        c.Rs(D3DRS_LIGHTING, FALSE);
        c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 4.0f / 3.0f, 1, 20));
        Mesh mesh(D3DFVF_XYZ | D3DFVF_DIFFUSE);
        mesh.V(-1, 0, -1, Rgba{0xffff4040}).V(1.6, 0, -1, Rgba{0xff40ff40}).V(-1, 0, 1.2, Rgba{0xff4040ff});
        mesh.V(-1.6, 0, -1, Rgba{0xffffffff})
            .V(-1.6, 0, 1, Rgba{0xffffffff})
            .V(-1.2, 0, -1, Rgba{0xffffffff});
        c.Draw(D3DPT_TRIANGLELIST, mesh);
        if (pass == 0) {
            c.Target(c.BackBuffer(), c.AutoDepth());
            ShowTexture(c, texture, {2, 1, 42, 31});
        }
    }
}

// Setting a target makes the whole of it the viewport; the used part of a larger texture is shown.
void PartOfTarget(Canvas& c) {
    c.Fill(0xff202020);
    c.Viewport(5, 5, 10, 10);
    IDirect3DTexture9* texture = c.TargetTexture(64, 32);
    c.Target(c.Level(texture), c.DepthSurface(64, 32));
    c.Fill(0xff000000);
    Scene(c, 64, 32);
    c.Viewport(0, 0, 40, 24);
    c.Check(c.device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0xff406080, 1, 0));
    Scene(c, 40, 24);
    c.Target(c.BackBuffer(), c.AutoDepth());
    ShowTexture(c, texture, {2, 2, 42, 26}, {0, 0, 40.0f / 64, 24.0f / 32});
    ShowTexture(c, texture, {0, 30, 64, 62});
}

// Each target has its own depth; a depth surface larger than the target serves it too.
void TargetDepth(Canvas& c) {
    c.Fill(0xff202020);
    c.Rect({0, 0, 64, 64}, 0.5f, 0xff404060);
    IDirect3DTexture9* texture = c.TargetTexture(32, 32);
    IDirect3DSurface9* depth = c.DepthSurface(48, 40);
    c.Target(c.Level(texture), depth);
    c.Fill(0xff606040);
    c.Rect({0, 0, 16, 32}, 0.3f, 0xffff8080);
    c.Rect({8, 8, 28, 24}, 0.6f, 0xff80ff80);
    c.Check(c.device->SetDepthStencilSurface(nullptr));  // without a depth surface nothing is tested
    c.Rect({4, 26, 28, 30}, 0.9f, 0xffffffff);
    c.Target(c.BackBuffer(), c.AutoDepth());
    c.Rect({30, 2, 62, 30}, 0.6f, 0xffffffff);  // the first target's depth is what it was: hidden
    c.Rect({40, 10, 62, 30}, 0.4f, 0xffffff00);
    ShowTexture(c, texture, {2, 31, 34, 63});
}

void Target565(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* texture = c.TargetTexture(48, 28, D3DFMT_R5G6B5);
    c.Target(c.Level(texture), c.DepthSurface(48, 28));
    c.Fill(0xff406080);
    Mesh mesh(D3DFVF_XYZRHW | D3DFVF_DIFFUSE);
    AddRect(mesh, {4, 4, 44, 24}, 0.9f, {0xff000000, 0xffff0000, 0xff0000ff, 0xff00ff00});
    c.Draw(D3DPT_TRIANGLELIST, mesh);
    c.Target(c.BackBuffer(), c.AutoDepth());
    ShowTexture(c, texture, {8, 2, 56, 30});
}

// A target without alpha reads opaque, whatever was drawn.
void TargetX8(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* texture = c.TargetTexture(28, 28, D3DFMT_X8R8G8B8);
    c.Target(c.Level(texture), c.DepthSurface(28, 28));
    c.Fill(0x00406080);
    c.Rect({4, 4, 20, 20}, 0.5f, 0x40ff8040);
    c.Rs(D3DRS_ALPHABLENDENABLE, TRUE);
    c.Rs(D3DRS_SRCBLEND, D3DBLEND_DESTALPHA);
    c.Rs(D3DRS_DESTBLEND, D3DBLEND_ZERO);
    c.Rect({12, 12, 26, 26}, 0.4f, 0x4080ff40);
    c.Rs(D3DRS_ALPHABLENDENABLE, FALSE);
    c.Target(c.BackBuffer(), c.AutoDepth());
    ShowTexture(c, texture, {2, 2, 30, 30});
}

// Levels of a target's chain made by the device after drawing.
void TargetAutoLevels(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* texture = nullptr;
    c.Check(c.device->CreateTexture(32, 32, 0, D3DUSAGE_RENDERTARGET | D3DUSAGE_AUTOGENMIPMAP,
                                    D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &texture, nullptr));
    if (c.Keep(texture) == nullptr) {
        return;
    }
    c.Target(c.Level(texture), c.DepthSurface(32, 32));
    c.Fill(0xff2040c0);
    c.Rect({0, 0, 16, 16}, 0.5f, 0xffff4040);
    c.Rect({16, 16, 32, 32}, 0.5f, 0xffffff40);
    c.Target(c.BackBuffer(), c.AutoDepth());
    c.Bind(0, texture);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_POINT);
    c.TexturedRect({1.5f, 1.5f, 33.5f, 33.5f});
    c.TexturedRect({35.5f, 1.5f, 43.5f, 9.5f});
    c.Samp(0, D3DSAMP_MIPMAPLODBIAS, Bits(2.0f));
    c.TexturedRect({35.5f, 12.5f, 43.5f, 20.5f});  // two levels further: almost one colour
}

// Feeding a target its own picture by way of a second one, again and again.
void PingPong(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* textures[2] = {c.TargetTexture(32, 32), c.TargetTexture(32, 32)};
    IDirect3DSurface9* depth = c.DepthSurface(32, 32);
    c.Target(c.Level(textures[0]), depth);
    c.Fill(0xff204060);
    Scene(c, 32, 32);
    for (int i = 0; i < 3; ++i) {
        c.Target(c.Level(textures[(i + 1) % 2]), depth);
        c.Fill(0xff000000);
        ShowTexture(c, textures[i % 2], {1, 1, 31, 31}, {0.04f, 0.04f, 0.98f, 0.98f}, D3DTEXF_LINEAR);
    }
    c.Target(c.BackBuffer(), c.AutoDepth());
    ShowTexture(c, textures[1], {0, 0, 64, 64});
}

// Copies between surfaces: whole, parts, stretched with and without a filter.
void Stretch(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* texture = c.TargetTexture(24, 20);
    IDirect3DSurface9* surface = c.Level(texture);
    c.Target(surface, nullptr);
    c.Rs(D3DRS_ZENABLE, D3DZB_FALSE);
    Scene(c, 24, 20);
    c.Target(c.BackBuffer(), c.AutoDepth());
    c.Rs(D3DRS_ZENABLE, D3DZB_TRUE);
    const RECT whole = {2, 2, 26, 22};
    c.Check(c.device->StretchRect(surface, nullptr, c.BackBuffer(), &whole, D3DTEXF_NONE));
    const RECT part = {1, 1, 13, 11};
    const RECT large = {28, 2, 64, 32};
    c.Check(c.device->StretchRect(surface, &part, c.BackBuffer(), &large, D3DTEXF_POINT));
    const RECT wide = {2, 34, 62, 48};
    c.Check(c.device->StretchRect(surface, nullptr, c.BackBuffer(), &wide, D3DTEXF_LINEAR));
    const RECT small = {2, 50, 14, 60};
    c.Check(c.device->StretchRect(surface, nullptr, c.BackBuffer(), &small, D3DTEXF_POINT));
}

// The screen taken into a texture, and shown beside itself.
void CopyOfScreen(Canvas& c) {
    c.Fill(0xff202020);
    Scene(c, 40, 40);
    IDirect3DTexture9* texture = c.TargetTexture(64, 64);
    c.Check(c.device->StretchRect(c.BackBuffer(), nullptr, c.Level(texture), nullptr, D3DTEXF_NONE));
    ShowTexture(c, texture, {30, 30, 62, 62}, {0, 0, 0.6f, 0.6f}, D3DTEXF_LINEAR);
}

void Fills(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* texture = c.TargetTexture(30, 30);
    c.Check(c.device->ColorFill(c.Level(texture), nullptr, 0x80ff8040));
    const RECT rect = {5, 3, 20, 11};
    c.Check(c.device->ColorFill(c.Level(texture), &rect, 0xff40c0ff));
    ShowTexture(c, texture, {2, 2, 32, 32});
    const RECT screen = {40, 8, 60, 50};
    c.Check(c.device->ColorFill(c.BackBuffer(), &screen, 0x20c0c000));
}

// System memory to a texture: a whole texture, then a part of a surface to a place in it.
void Updates(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* source = nullptr;
    IDirect3DTexture9* target = nullptr;
    IDirect3DSurface9* plain = nullptr;
    c.Check(c.device->CreateTexture(16, 16, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM, &source, nullptr));
    c.Check(c.device->CreateTexture(16, 16, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &target, nullptr));
    c.Check(
        c.device->CreateOffscreenPlainSurface(10, 6, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM, &plain, nullptr));
    if (c.Keep(source) == nullptr || c.Keep(target) == nullptr || c.Keep(plain) == nullptr) {
        return;
    }
    D3DLOCKED_RECT locked = {};
    c.Check(source->LockRect(0, &locked, nullptr, 0));
    for (UINT y = 0; y < 16; ++y) {
        for (UINT x = 0; x < 16; ++x) {
            EncodeTexel(D3DFMT_A8R8G8B8, 0xff000000 | (x * 16 << 16) | (y * 16 << 8) | 0x40,
                        static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y + x * 4u);
        }
    }
    c.Check(source->UnlockRect(0));
    c.Check(plain->LockRect(&locked, nullptr, 0));
    for (UINT y = 0; y < 6; ++y) {
        for (UINT x = 0; x < 10; ++x) {
            EncodeTexel(D3DFMT_A8R8G8B8, 0xffff00ff - x * 0x180000 + y * 0x2800,
                        static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y + x * 4u);
        }
    }
    c.Check(plain->UnlockRect());
    c.Check(c.device->UpdateTexture(source, target));
    ShowTexture(c, target, {0, 0, 32, 32});
    const RECT part = {2, 1, 9, 5};
    const POINT where = {6, 9};
    c.Check(c.device->UpdateSurface(plain, &part, c.Level(target), &where));
    ShowTexture(c, target, {32, 0, 64, 32});
}

// What was drawn, read into system memory and given back as a texture.
void ReadBack(Canvas& c) {
    c.Fill(0xff202020);
    Scene(c, 32, 32);
    IDirect3DTexture9* picture = c.TargetTexture(20, 12);
    c.Target(c.Level(picture), nullptr);
    c.Rs(D3DRS_ZENABLE, D3DZB_FALSE);
    Scene(c, 20, 12);
    c.Target(c.BackBuffer(), c.AutoDepth());
    IDirect3DSurface9* plain = nullptr;
    c.Check(
        c.device->CreateOffscreenPlainSurface(20, 12, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM, &plain, nullptr));
    if (c.Keep(plain) == nullptr) {
        return;
    }
    c.Check(c.device->GetRenderTargetData(c.Level(picture), plain));
    D3DLOCKED_RECT locked = {};
    c.Check(plain->LockRect(&locked, nullptr, D3DLOCK_READONLY));
    IDirect3DTexture9* copy = c.Texture(20, 12, 1, D3DFMT_A8R8G8B8, [&locked](UINT x, UINT y, UINT) {
        D3DCOLOR color = 0;
        std::memcpy(&color,
                    static_cast<const BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y + x * 4u,
                    4);
        return color;
    });
    c.Check(plain->UnlockRect());
    ShowTexture(c, copy, {20, 36, 60, 60});
}

}  // namespace

void AddTargetCases(std::vector<Case>& cases) {
    cases.push_back({"target_odd_size", 64, 64, OddTarget});
    cases.push_back({"target_transformed", 64, 64, TransformedTarget});
    cases.push_back({"target_part", 64, 64, PartOfTarget});
    cases.push_back({"target_depth", 64, 64, TargetDepth});
    const Bounds five_bits = {8, 0.005, 1, 12,
                              "the reference keeps eight bits of each channel in a 16-bit target"};
    cases.push_back({"target_565", 64, 32, Target565, five_bits});
    cases.push_back({"target_x8", 32, 32, TargetX8});
    cases.push_back({"target_auto_levels", 48, 36, TargetAutoLevels});
    cases.push_back({"target_ping_pong", 64, 64, PingPong});
    cases.push_back({"target_stretch", 64, 64, Stretch});
    cases.push_back({"target_copy_of_screen", 64, 64, CopyOfScreen});
    cases.push_back({"target_fills", 64, 64, Fills});
    cases.push_back({"target_updates", 64, 32, Updates});
    cases.push_back({"target_read_back", 64, 64, ReadBack});
}

}  // namespace conformance
