// The stencil buffer: functions, operations, masks, two sides.
#include "conformance/canvas.h"

namespace conformance {
namespace {

constexpr DWORD kScreen = D3DFVF_XYZRHW | D3DFVF_DIFFUSE;

// A rectangle that only touches the stencil buffer.
void SetStencil(Canvas& c, Area area, DWORD value) {
    const D3DRECT rect = {static_cast<LONG>(area.left), static_cast<LONG>(area.top),
                          static_cast<LONG>(area.right), static_cast<LONG>(area.bottom)};
    c.Check(c.device->Clear(1, &rect, D3DCLEAR_STENCIL, 0, 1.0f, value));
}

void ResetStencil(Canvas& c) {
    c.Rs(D3DRS_STENCILENABLE, TRUE);
    c.Rs(D3DRS_TWOSIDEDSTENCILMODE, FALSE);
    c.Rs(D3DRS_STENCILFUNC, D3DCMP_ALWAYS);
    c.Rs(D3DRS_STENCILFAIL, D3DSTENCILOP_KEEP);
    c.Rs(D3DRS_STENCILZFAIL, D3DSTENCILOP_KEEP);
    c.Rs(D3DRS_STENCILPASS, D3DSTENCILOP_KEEP);
    c.Rs(D3DRS_STENCILMASK, 0xffffffff);
    c.Rs(D3DRS_STENCILWRITEMASK, 0xffffffff);
}

// Turns each bit of the stencil buffer into a column two pixels wide (bit 7 first), repeated over the target.
void ShowStencil(Canvas& c) {
    ResetStencil(c);
    c.Rs(D3DRS_ZENABLE, D3DZB_FALSE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Rs(D3DRS_STENCILFUNC, D3DCMP_EQUAL);
    c.Rs(D3DRS_STENCILREF, 0xff);
    for (DWORD bit = 0; bit < 8; ++bit) {
        c.Rs(D3DRS_STENCILMASK, 1u << (7 - bit));
        Mesh mesh(kScreen);
        for (UINT x = bit * 2; x < c.width; x += 16) {
            AddRect(mesh, {F(x), 0, F(x + 2), F(c.height)}, 0.5f,
                    Rgba{bit % 2 == 0 ? 0xffffe080 : 0xff80e0ff});
        }
        c.Draw(D3DPT_TRIANGLELIST, mesh);
    }
}

// Each function (across) with four values in the buffer (down), plain and masked.
void Functions(Canvas& c) {
    c.Fill(0xff202020);
    ResetStencil(c);
    const DWORD values[4] = {0, 0x12, 0x13, 0xf2};
    for (DWORD function = D3DCMP_NEVER; function <= D3DCMP_ALWAYS; ++function) {
        for (int row = 0; row < 8; ++row) {
            const float x = F((function - 1) * 12 + 1);
            const float y = F(row * 8 + 1);
            SetStencil(c, {x, y, x + 10, y + 6}, values[row % 4]);
            c.Rs(D3DRS_STENCILFUNC, function);
            c.Rs(D3DRS_STENCILREF, 0x12);
            c.Rs(D3DRS_STENCILMASK, row < 4 ? 0xff : 0x0f);
            c.Rect({x, y, x + 10, y + 6}, 0.5f, row < 4 ? 0xffffc040 : 0xff40c0ff);
        }
    }
}

// Which of the three operations runs: 0 the test fails, 1 depth fails, 2 both pass.
void Operations(Canvas& c, int which) {
    c.Fill(0xff202020);
    c.Rect({0, 0, F(c.width), F(c.height)}, 0.5f, 0xff203040);
    ResetStencil(c);
    const DWORD values[5] = {0, 1, 0x7f, 0xfe, 0xff};
    for (DWORD op = D3DSTENCILOP_KEEP; op <= D3DSTENCILOP_DECR; ++op) {
        for (int row = 0; row < 5; ++row) {
            const float x = F((op - 1) * 16);
            const float y = F(row * 12 + 1);
            const Area area = {x, y, x + 16, y + 10};
            SetStencil(c, area, values[row]);
            // The operations that must not run would invert.
            c.Rs(D3DRS_STENCILFAIL, which == 0 ? op : static_cast<DWORD>(D3DSTENCILOP_INVERT));
            c.Rs(D3DRS_STENCILZFAIL, which == 1 ? op : static_cast<DWORD>(D3DSTENCILOP_INVERT));
            c.Rs(D3DRS_STENCILPASS, which == 2 ? op : static_cast<DWORD>(D3DSTENCILOP_INVERT));
            c.Rs(D3DRS_STENCILFUNC, which == 0 ? D3DCMP_NEVER : D3DCMP_ALWAYS);
            c.Rs(D3DRS_STENCILREF, 0x35);
            c.Rect(area, which == 1 ? 0.9f : 0.1f, 0xff304050);
        }
    }
    ShowStencil(c);
}

void FailOperations(Canvas& c) { Operations(c, 0); }
void DepthFailOperations(Canvas& c) { Operations(c, 1); }
void PassOperations(Canvas& c) { Operations(c, 2); }

void Masks(Canvas& c) {
    c.Fill(0xff202020);
    ResetStencil(c);
    const DWORD masks[8] = {0xff, 0x0f, 0xf0, 0x81, 0x7e, 0x00, 0xffffff00, 0x155};
    for (int i = 0; i < 8; ++i) {
        const float x = F(i % 4 * 16);
        const float y = F(i / 4 * 30 + 1);
        SetStencil(c, {x, y, x + 16, y + 24}, 0xa5);
        c.Rs(D3DRS_STENCILWRITEMASK, masks[i]);
        c.Rs(D3DRS_STENCILREF, 0x1c3);  // only eight bits of the reference count
        c.Rs(D3DRS_STENCILPASS, D3DSTENCILOP_REPLACE);
        c.Rect({x, y, x + 16, y + 12}, 0.5f, 0xff203040);
        c.Rs(D3DRS_STENCILPASS, D3DSTENCILOP_INVERT);
        c.Rect({x, y + 12, x + 16, y + 24}, 0.5f, 0xff302040);
    }
    ShowStencil(c);
}

void TwoFacedPair(Mesh& mesh, float x, float y) {
    mesh.V(x, y, 0.5, 1, Rgba{0xff203040}).V(x + 16, y, 0.5, 1, Rgba{0xff203040});  // clockwise
    mesh.V(x, y + 10, 0.5, 1, Rgba{0xff203040});
    mesh.V(x + 16, y, 0.5, 1, Rgba{0xff302040}).V(x, y + 10, 0.5, 1, Rgba{0xff302040});  // counter-clockwise
    mesh.V(x + 16, y + 10, 0.5, 1, Rgba{0xff302040});
}

// Clockwise faces take the plain states, counter-clockwise ones the CCW states; without the mode both take
// the plain ones.
void TwoSided(Canvas& c) {
    c.Fill(0xff202020);
    ResetStencil(c);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    for (DWORD op = D3DSTENCILOP_KEEP; op <= D3DSTENCILOP_DECR; ++op) {
        for (int row = 0; row < 5; ++row) {
            const float x = F((op - 1) * 16);
            const float y = F(row * 12 + 1);
            SetStencil(c, {x, y, x + 16, y + 10}, 0x35);
            c.Rs(D3DRS_STENCILREF, 0xc1);
            c.Rs(D3DRS_TWOSIDEDSTENCILMODE, row == 4 ? FALSE : TRUE);
            c.Rs(D3DRS_STENCILFUNC, row == 1 ? D3DCMP_NEVER : D3DCMP_ALWAYS);
            c.Rs(D3DRS_CCW_STENCILFUNC, row == 2 ? D3DCMP_NEVER : D3DCMP_ALWAYS);
            c.Rs(D3DRS_STENCILPASS, op);
            c.Rs(D3DRS_STENCILFAIL, D3DSTENCILOP_ZERO);
            c.Rs(D3DRS_STENCILZFAIL, D3DSTENCILOP_INVERT);
            c.Rs(D3DRS_CCW_STENCILPASS, D3DSTENCILOP_DECR + 1 - op);
            c.Rs(D3DRS_CCW_STENCILFAIL, D3DSTENCILOP_REPLACE);
            c.Rs(D3DRS_CCW_STENCILZFAIL, op);
            c.Rs(D3DRS_ZFUNC, row == 3 ? D3DCMP_NEVER : D3DCMP_ALWAYS);
            Mesh mesh(kScreen);
            TwoFacedPair(mesh, x, y);
            c.Draw(D3DPT_TRIANGLELIST, mesh);
        }
    }
    ShowStencil(c);
}

// Counting a closed volume's faces where depth fails finds what lies within it.
void ShadowVolume(Canvas& c) {
    c.Fill(0xff202020);
    c.Camera();
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    constexpr DWORD kObject = D3DFVF_XYZ | D3DFVF_DIFFUSE;
    Mesh floor(kObject);
    floor.V(-3, -3, -0.8, Rgba{0xff80a0c0}).V(3, -3, -0.8, Rgba{0xff80a0c0});
    floor.V(-3, 4, 0.6, Rgba{0xffc0e0ff}).V(3, 4, 0.6, Rgba{0xffc0e0ff});
    c.Draw(D3DPT_TRIANGLESTRIP, floor);
    ResetStencil(c);
    c.Rs(D3DRS_ZWRITEENABLE, FALSE);
    c.Rs(D3DRS_COLORWRITEENABLE, 0);
    c.Rs(D3DRS_TWOSIDEDSTENCILMODE, TRUE);
    c.Rs(D3DRS_STENCILZFAIL, D3DSTENCILOP_DECR);
    c.Rs(D3DRS_CCW_STENCILZFAIL, D3DSTENCILOP_INCR);
    c.Rs(D3DRS_CCW_STENCILFUNC, D3DCMP_ALWAYS);
    Mesh volume(kObject);
    AddSphere(volume, -0.5f, 0, -0.2f, 0.9f);
    AddSphere(volume, 0.7f, 0.5f, -0.1f, 0.8f);
    c.Draw(D3DPT_TRIANGLELIST, volume);
    c.Rs(D3DRS_TWOSIDEDSTENCILMODE, FALSE);
    c.Rs(D3DRS_COLORWRITEENABLE, 0xf);
    c.Rs(D3DRS_STENCILZFAIL, D3DSTENCILOP_KEEP);
    const D3DCOLOR colors[4] = {0xffff4040, 0xff40ff40, 0xff4040ff, 0xffffff00};
    const DWORD counts[4] = {1, 2, 0xff, 0xfe};
    c.Rs(D3DRS_ZENABLE, D3DZB_FALSE);
    for (int i = 0; i < 4; ++i) {
        c.Rs(D3DRS_STENCILFUNC, D3DCMP_EQUAL);
        c.Rs(D3DRS_STENCILREF, counts[i]);
        c.Rect({0, 0, 96, 64}, 0, colors[i]);
    }
}

// Without a depth test nothing fails by depth; without the stencil's enable nothing changes the buffer.
void WithoutDepth(Canvas& c) {
    c.Fill(0xff202020);
    ResetStencil(c);
    c.Rs(D3DRS_ZENABLE, D3DZB_FALSE);
    c.Rs(D3DRS_ZFUNC, D3DCMP_NEVER);
    c.Rs(D3DRS_STENCILREF, 0x0f);
    c.Rs(D3DRS_STENCILPASS, D3DSTENCILOP_REPLACE);
    c.Rs(D3DRS_STENCILZFAIL, D3DSTENCILOP_INVERT);
    c.Rect({0, 4, 48, 30}, 0.5f, 0xff203040);
    c.Rs(D3DRS_STENCILENABLE, FALSE);
    c.Rs(D3DRS_STENCILREF, 0xf0);
    c.Rect({16, 16, 64, 50}, 0.5f, 0xff302040);
    ShowStencil(c);
}

}  // namespace

void AddStencilCases(std::vector<Case>& cases) {
    cases.push_back({"stencil_functions", 96, 64, Functions});
    cases.push_back({"stencil_fail_operations", 128, 60, FailOperations});
    cases.push_back({"stencil_depth_fail_operations", 128, 60, DepthFailOperations});
    cases.push_back({"stencil_pass_operations", 128, 60, PassOperations});
    cases.push_back({"stencil_masks", 64, 60, Masks});
    cases.push_back({"stencil_two_sided", 128, 60, TwoSided});
    cases.push_back({"stencil_volume", 96, 64, ShadowVolume});
    cases.push_back({"stencil_without_depth", 64, 64, WithoutDepth});
}

}  // namespace conformance
