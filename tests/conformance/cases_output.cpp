// What happens to a pixel's colour and depth on its way into the target: tests, blending, masks, clears.
#include <initializer_list>

#include "conformance/canvas.h"

namespace conformance {
namespace {

constexpr DWORD kScreen = D3DFVF_XYZRHW | D3DFVF_DIFFUSE;

// Every source factor (across) with every destination factor (down). Colours and alphas differ in all
// channels.
void BlendFactors(Canvas& c) {
    c.Fill(0x60a05020);
    c.Rs(D3DRS_ALPHABLENDENABLE, TRUE);
    c.Rs(D3DRS_BLENDFACTOR, 0xc0306090);
    for (DWORD dst = D3DBLEND_ZERO; dst <= D3DBLEND_INVBLENDFACTOR; ++dst) {
        if (dst == D3DBLEND_BOTHSRCALPHA || dst == D3DBLEND_BOTHINVSRCALPHA) {
            continue;  // source factors only
        }
        for (DWORD src = D3DBLEND_ZERO; src <= D3DBLEND_INVBLENDFACTOR; ++src) {
            c.Rs(D3DRS_SRCBLEND, src);
            c.Rs(D3DRS_DESTBLEND, dst);
            const float x = F((src - 1) * 8);
            const float y = F((dst - 1) * 8);
            Mesh mesh(kScreen);
            AddRect(mesh, {x, y, x + 7, y + 7}, 0.5f, {0xc0204080, 0x40ff8040, 0x8080ff20, 0xff60a0e0});
            c.Draw(D3DPT_TRIANGLELIST, mesh);
        }
    }
}

void BlendOperations(Canvas& c) {
    c.Fill(0x60a05020);
    c.Rs(D3DRS_ALPHABLENDENABLE, TRUE);
    const DWORD pairs[4][2] = {{D3DBLEND_ONE, D3DBLEND_ONE},
                               {D3DBLEND_SRCALPHA, D3DBLEND_INVSRCALPHA},
                               {D3DBLEND_DESTCOLOR, D3DBLEND_ZERO},
                               {D3DBLEND_ZERO, D3DBLEND_SRCCOLOR}};
    for (DWORD op = D3DBLENDOP_ADD; op <= D3DBLENDOP_MAX; ++op) {
        for (int pair = 0; pair < 4; ++pair) {
            c.Rs(D3DRS_BLENDOP, op);
            c.Rs(D3DRS_SRCBLEND, pairs[pair][0]);
            c.Rs(D3DRS_DESTBLEND, pairs[pair][1]);
            const float x = F((op - 1) * 16 + 1);
            const float y = F(pair * 16 + 1);
            Mesh mesh(kScreen);
            AddRect(mesh, {x, y, x + 14, y + 14}, 0.5f, {0xc0204080, 0x40ff8040, 0x8080ff20, 0xff60a0e0});
            c.Draw(D3DPT_TRIANGLELIST, mesh);
        }
    }
}

void SeparateAlpha(Canvas& c) {
    c.Fill(0x60a05020);
    c.Rs(D3DRS_ALPHABLENDENABLE, TRUE);
    c.Rs(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA);
    c.Rs(D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA);
    const DWORD factors[6] = {D3DBLEND_ZERO,        D3DBLEND_ONE,       D3DBLEND_SRCALPHA,
                              D3DBLEND_INVSRCALPHA, D3DBLEND_DESTALPHA, D3DBLEND_INVDESTALPHA};
    for (int dst = 0; dst < 6; ++dst) {
        for (int src = 0; src < 6; ++src) {
            c.Rs(D3DRS_SEPARATEALPHABLENDENABLE, dst == 5 && src == 5 ? FALSE : TRUE);
            c.Rs(D3DRS_SRCBLENDALPHA, factors[src]);
            c.Rs(D3DRS_DESTBLENDALPHA, factors[dst]);
            c.Rs(D3DRS_BLENDOPALPHA, static_cast<DWORD>(D3DBLENDOP_ADD + (src + dst) % 3));
            const float x = F(src * 12 + 1);
            const float y = F(dst * 12 + 1);
            c.Rect({x, y, x + 10, y + 10}, 0.5f, 0xa0f06030);
        }
    }
}

void WriteMasks(Canvas& c) {
    c.Fill(0x80608040);
    for (DWORD mask = 0; mask < 16; ++mask) {
        c.Rs(D3DRS_COLORWRITEENABLE, mask);
        const float x = F((mask % 4) * 16 + 1);
        const float y = F((mask / 4) * 16 + 1);
        c.Rect({x, y, x + 14, y + 14}, 0.5f, 0xffe0f0ff);
    }
}

// A masked clear: the mask holds for draws only.
void WriteMaskAndClear(Canvas& c) {
    c.Fill(0xff204060);
    c.Rs(D3DRS_COLORWRITEENABLE, D3DCOLORWRITEENABLE_RED);
    const D3DRECT rect = {8, 8, 40, 40};
    c.Check(c.device->Clear(1, &rect, D3DCLEAR_TARGET, 0x80f0c0a0, 1.0f, 0));
    c.Rect({24, 24, 60, 60}, 0.5f, 0xffffffff);
}

// Each function (down) with four references (across) over a ramp of alpha from 0 to 255.
void AlphaTest(Canvas& c) {
    c.Fill(0xff202020);
    c.Rs(D3DRS_ALPHATESTENABLE, TRUE);
    const DWORD references[4] = {0, 0x40, 0x80, 0xff};
    for (DWORD function = D3DCMP_NEVER; function <= D3DCMP_ALWAYS; ++function) {
        for (int i = 0; i < 4; ++i) {
            c.Rs(D3DRS_ALPHAFUNC, function);
            c.Rs(D3DRS_ALPHAREF, references[i]);
            const float x = F(i * 34 + 1);
            const float y = F((function - 1) * 12 + 1);
            for (int step = 0; step < 16; ++step) {
                // 0x00, 0x11, ... and the reference itself at the ends' neighbours
                const D3DCOLOR alpha = step == 5   ? 0x40u
                                       : step == 9 ? 0x80u
                                                   : static_cast<D3DCOLOR>(step) * 0x11u;
                c.Rect({x + F(step * 2), y, x + F(step * 2 + 2), y + 10}, 0.5f, (alpha << 24) | 0x00ffc080);
            }
        }
    }
}

// The test looks at what the stages give, before blending, and keeps depth from being written.
void AlphaTestAndDepth(Canvas& c) {
    c.Fill(0xff202020);
    c.Rs(D3DRS_ALPHATESTENABLE, TRUE);
    c.Rs(D3DRS_ALPHAFUNC, D3DCMP_GREATEREQUAL);
    c.Rs(D3DRS_ALPHAREF, 0x83);
    Mesh mesh(kScreen);
    AddRect(mesh, {4, 4, 60, 60}, 0.3f, {0x00ff0000, 0xffff0000, 0x00ff0000, 0xffff0000});
    c.Draw(D3DPT_TRIANGLELIST, mesh);
    c.Rs(D3DRS_ALPHATESTENABLE, FALSE);
    c.Rect({10, 20, 64, 44}, 0.6f, 0xff00ff00);
}

// Each function (across), with depths before, at and behind what is there.
void DepthFunctions(Canvas& c) {
    c.Fill(0xff202020);
    c.Rs(D3DRS_ZFUNC, D3DCMP_ALWAYS);
    c.Rect({0, 4, 96, 60}, 0.5f, 0xff405060);
    for (DWORD function = D3DCMP_NEVER; function <= D3DCMP_ALWAYS; ++function) {
        c.Rs(D3DRS_ZFUNC, function);
        const float x = F((function - 1) * 12 + 1);
        c.Rect({x, 8, x + 10, 20}, 0.25f, 0xffff4040);
        c.Rect({x, 24, x + 10, 36}, 0.5f, 0xff40ff40);
        c.Rect({x, 40, x + 10, 52}, 0.75f, 0xff4040ff);
    }
}

void DepthWriteAndEnable(Canvas& c) {
    c.Fill(0xff202020);
    c.Rs(D3DRS_ZWRITEENABLE, FALSE);
    c.Rect({4, 4, 28, 40}, 0.2f, 0xffff4040);  // leaves no depth
    c.Rs(D3DRS_ZWRITEENABLE, TRUE);
    c.Rect({10, 10, 40, 30}, 0.5f, 0xff40ff40);
    c.Rect({16, 16, 60, 26}, 0.7f, 0xff4040ff);  // behind the green
    c.Rs(D3DRS_ZENABLE, D3DZB_FALSE);
    c.Rect({20, 20, 30, 60}, 0.9f, 0xffffff40);  // no test, and no depth written
    c.Rs(D3DRS_ZENABLE, D3DZB_TRUE);
    c.Rect({14, 44, 50, 50}, 0.95f, 0xffff40ff);
}

// Two tilted planes that run through each other, and depths far beyond the range.
void DepthInterpenetration(Canvas& c) {
    c.Fill(0xff202020);
    Mesh mesh(kScreen);
    mesh.V(4, 4, 0.1, 1, Rgba{0xffff4040})
        .V(60, 4, 0.9, 1, Rgba{0xffff4040})
        .V(4, 40, 0.1, 1, Rgba{0xffff4040});
    mesh.V(60, 4, 0.9, 1, Rgba{0xffff4040})
        .V(60, 40, 0.9, 1, Rgba{0xffff4040})
        .V(4, 40, 0.1, 1, Rgba{0xffff4040});
    mesh.V(4, 20, 0.8, 1, Rgba{0xff40ff40})
        .V(60, 20, 0.3, 1, Rgba{0xff40ff40})
        .V(4, 60, 0.8, 1, Rgba{0xff40ff40});
    mesh.V(60, 20, 0.3, 1, Rgba{0xff40ff40})
        .V(60, 60, 0.3, 1, Rgba{0xff40ff40})
        .V(4, 60, 0.8, 1, Rgba{0xff40ff40});
    c.Draw(D3DPT_TRIANGLELIST, mesh);
}

void ClearViewport(Canvas& c) {
    c.Fill(0xff202020);
    c.Viewport(10, 6, 40, 30);
    c.Check(c.device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0x80ff8040, 0.25f, 0));
    c.Viewport(0, 0, 64, 64);
    c.Rect({4, 20, 60, 50}, 0.5f, 0xff4080ff);  // behind the depth of the cleared part
}

void ClearRects(Canvas& c) {
    c.Fill(0xff202020);
    const D3DRECT rects[3] = {{2, 2, 20, 30}, {24, 10, 60, 20}, {40, 40, 200, 200}};
    c.Check(c.device->Clear(3, rects, D3DCLEAR_TARGET, 0xffc0d040, 1.0f, 0));
    c.Viewport(0, 0, 32, 64);  // rectangles are cut by the viewport
    const D3DRECT wide = {8, 44, 60, 58};
    c.Check(c.device->Clear(1, &wide, D3DCLEAR_TARGET, 0x00ff00ff, 1.0f, 0));
}

void ClearPartly(Canvas& c) {
    c.Fill(0xff202020);
    c.Rect({0, 0, 64, 64}, 0.3f, 0xff405060);
    const D3DRECT left = {4, 4, 24, 60};
    c.Check(c.device->Clear(1, &left, D3DCLEAR_ZBUFFER, 0xffffffff, 0.8f, 0));  // depth only
    const D3DRECT right = {34, 4, 60, 60};
    c.Check(c.device->Clear(1, &right, D3DCLEAR_STENCIL, 0xffffffff, 0.8f, 5));  // stencil only
    c.Rect({8, 10, 50, 24}, 0.5f, 0xff40ff40);
    c.Rs(D3DRS_STENCILENABLE, TRUE);
    c.Rs(D3DRS_STENCILFUNC, D3DCMP_EQUAL);
    c.Rs(D3DRS_STENCILREF, 5);
    c.Rect({8, 34, 56, 48}, 0.1f, 0xffff40ff);
}

void ClearAndScissor(Canvas& c) {
    c.Fill(0xff202020);
    c.Rs(D3DRS_SCISSORTESTENABLE, TRUE);
    const RECT rect = {12, 20, 50, 44};
    c.Check(c.device->SetScissorRect(&rect));
    c.Check(c.device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff40c0ff, 1.0f, 0));
}

// Depth writes switched off do not keep a clear from clearing depth.
void ClearWithDepthWritesOff(Canvas& c) {
    c.Fill(0xff202020);
    c.Rect({4, 4, 40, 40}, 0.1f, 0xff405060);
    c.Rs(D3DRS_ZWRITEENABLE, FALSE);
    c.Rs(D3DRS_STENCILWRITEMASK, 0);
    c.Check(c.device->Clear(0, nullptr, D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL, 0, 1.0f, 3));
    c.Rect({20, 20, 60, 60}, 0.5f, 0xffff8040);
    c.Rs(D3DRS_STENCILENABLE, TRUE);
    c.Rs(D3DRS_STENCILFUNC, D3DCMP_EQUAL);
    c.Rs(D3DRS_STENCILREF, 3);
    c.Rect({2, 30, 30, 50}, 0.2f, 0xffffffff);
}

}  // namespace

void AddOutputCases(std::vector<Case>& cases) {
    cases.push_back({"output_blend_factors", 120, 120, BlendFactors});
    cases.push_back({"output_blend_operations", 80, 64, BlendOperations});
    cases.push_back({"output_separate_alpha", 72, 72, SeparateAlpha});
    cases.push_back({"output_write_masks", 64, 64, WriteMasks});
    cases.push_back({"output_write_mask_clear", 64, 64, WriteMaskAndClear});
    cases.push_back({"output_alpha_test", 136, 96, AlphaTest});
    cases.push_back({"output_alpha_test_depth", 64, 64, AlphaTestAndDepth});
    cases.push_back({"output_depth_functions", 96, 64, DepthFunctions});
    cases.push_back({"output_depth_write", 64, 64, DepthWriteAndEnable});
    cases.push_back({"output_depth_interpenetration", 64, 64, DepthInterpenetration});
    cases.push_back({"output_clear_viewport", 64, 64, ClearViewport});
    cases.push_back({"output_clear_rects", 64, 64, ClearRects});
    cases.push_back({"output_clear_partly", 64, 64, ClearPartly});
    cases.push_back({"output_clear_scissor", 64, 64, ClearAndScissor});
    cases.push_back({"output_clear_depth_writes_off", 64, 64, ClearWithDepthWritesOff});
}

}  // namespace conformance
