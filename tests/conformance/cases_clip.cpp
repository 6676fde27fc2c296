// Viewport, scissor, clip planes and depth range: what is cut away, and what depth comes out.
#include "conformance/canvas.h"

namespace conformance {
namespace {

constexpr DWORD kScreen = D3DFVF_XYZRHW | D3DFVF_DIFFUSE;
constexpr DWORD kObject = D3DFVF_XYZ | D3DFVF_DIFFUSE;

Mesh CornerRect(DWORD fvf, Area area, float z) {
    Mesh mesh(fvf);
    AddRect(mesh, area, z, {0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffffff});
    return mesh;
}

// Transformed geometry is mapped into the viewport; pre-transformed geometry is only cut by it.
void Viewports(Canvas& c) {
    c.Fill(0xff202020);
    c.Transform(D3DTS_PROJECTION, OrthoRH(2, 2, -1, 1));
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Viewport(4, 6, 40, 24);
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {-0.9f, 0.9f, 1.2f, -0.9f}, 0));
    c.Viewport(52, 2, 31, 45);
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {-0.5f, 1.0f, 0.5f, -2.0f}, 0));
    c.Viewport(10, 40, 30, 20);
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kScreen, {2, 44, 36, 64}, 0.5f));
}

// The same depth in clip space under four depth ranges, tested against a ramp.
void ViewportDepth(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Rs(D3DRS_ZFUNC, D3DCMP_ALWAYS);
    for (int i = 0; i < 32; ++i) {
        const auto x = F(i * 2);
        c.Rect({x, 0, x + 2, 64}, (F(i) + 0.5f) / 32.0f, 0xff304050);
    }
    c.Rs(D3DRS_ZFUNC, D3DCMP_LESSEQUAL);
    const float ranges[4][2] = {{0, 1}, {0.5f, 1}, {0, 0.5f}, {0.25f, 0.75f}};
    for (int i = 0; i < 4; ++i) {
        c.Viewport(0, 0, 64, 64, ranges[i][0], ranges[i][1]);
        c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {2, F(i * 16 + 1), 62, F(i * 16 + 13)}, 0.7f));
        // Left out: pre-transformed vertices under another range than 0 to 1. Their depth is published as
        // final, yet Wine moves it into the range.
    }
}

void ReversedDepthRange(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Rs(D3DRS_ZFUNC, D3DCMP_LESS);
    c.Viewport(0, 0, 64, 64, 0.0f, 0.3f);
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {8, 8, 40, 40}, 1.0f));
    c.Viewport(0, 0, 64, 64, 0.3f, 1.0f);
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {24, 24, 60, 60}, 0.05f));
}

void Scissor(Canvas& c) {
    c.Fill(0xff202020);
    c.Rs(D3DRS_SCISSORTESTENABLE, TRUE);
    const RECT first = {5, 9, 37, 30};
    c.Check(c.device->SetScissorRect(&first));
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kScreen, {0, 0, 64, 64}, 0.5f));
    const RECT second = {40, 20, 60, 61};
    c.Check(c.device->SetScissorRect(&second));
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kScreen, {10, 30, 64, 56}, 0.4f));
    c.Rs(D3DRS_SCISSORTESTENABLE, FALSE);
    c.Rect({2, 50, 12, 60}, 0.3f, 0xffffff00);
}

// Clip planes lie in world space: they stay where they are when the camera or the world matrix moves.
void ClipPlanes(Canvas& c) {
    c.Fill(0xff202020);
    c.Camera();
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Rs(D3DRS_CLIPPLANEENABLE, 3);
    const float right[4] = {-1, 0, 0.25f, 0.2f};
    const float above[4] = {0, 0, 1, 0.5f};
    c.Check(c.device->SetClipPlane(0, right));
    c.Check(c.device->SetClipPlane(1, above));
    Mesh ball(kObject);
    AddSphere(ball, 0, 0, 0, 1, Rgba{0xff40a0ff});
    c.Transform(D3DTS_WORLD, Translation(-0.9f, 0, 0));
    c.Draw(D3DPT_TRIANGLELIST, ball);
    c.Transform(D3DTS_WORLD, Multiply(Rotation(1, 0.6f), Translation(0.9f, 0, 0)));
    Mesh second(kObject);
    AddSphere(second, 0, 0, 0, 1, Rgba{0xffffa040});
    c.Draw(D3DPT_TRIANGLELIST, second);
    c.Transform(D3DTS_VIEW, LookAtRH(1, -5, 2, 0, 0, 1.0f));
    c.Rs(D3DRS_CLIPPLANEENABLE, 2);
    c.Transform(D3DTS_WORLD, Translation(0, 0, -1.0f));
    c.Draw(D3DPT_TRIANGLELIST, second);
}

// Six planes cut a cube out of a sphere; the two planes set but not enabled cut nothing.
void SixClipPlanes(Canvas& c) {
    c.Fill(0xff202020);
    c.Camera(3.5f);
    c.Transform(D3DTS_VIEW, LookAtRH(1.6f, -3, 1.4f, 0, 0, 0));
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Rs(D3DRS_LIGHTING, FALSE);
    for (DWORD i = 0; i < 8; ++i) {
        float plane[4] = {0, 0, 0, i < 6 ? 0.75f : -5.0f};
        plane[i % 6 / 2] = i % 2 == 0 ? 1.0f : -1.0f;
        c.Check(c.device->SetClipPlane(i, plane));
    }
    c.Rs(D3DRS_CLIPPLANEENABLE, 0x3f);
    Mesh outer(kObject);
    AddSphere(outer, 0, 0, 0, 1, Rgba{0xff806040}, {0}, 24, 32);
    c.Draw(D3DPT_TRIANGLELIST, outer);
    c.Rs(D3DRS_CLIPPLANEENABLE, 0);
    Mesh inner(kObject);
    AddSphere(inner, 0, 0, 0, 0.85f, Rgba{0xffe0e040}, {0}, 24, 32);
    c.Draw(D3DPT_TRIANGLELIST, inner);
}

// Pre-transformed vertices know no world, so no plane reaches them.
void ClipPlanesOfScreenVertices(Canvas& c) {
    c.Fill(0xff202020);
    const float plane[4] = {0, 0, 0, -1};
    c.Check(c.device->SetClipPlane(0, plane));
    c.Rs(D3DRS_CLIPPLANEENABLE, 1);
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kScreen, {4, 4, 28, 60}, 0.5f));
    c.PixelSpace();
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {36, 4, 60, 60}, 0.5f));
}

void NearAndFar(Canvas& c) {
    c.Fill(0xff202020);
    c.Camera();
    c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 1.5f, 2.0f, 6.0f));
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    Mesh slab(kObject);  // a slope that starts behind the eye and ends beyond the far plane
    slab.V(-1.5, -6, -0.9, Rgba{0xffff0000}).V(1.5, -6, -0.9, Rgba{0xff00ff00});
    slab.V(-1.5, 6, 0.6, Rgba{0xff0000ff}).V(1.5, 6, 0.6, Rgba{0xffffffff});
    c.Draw(D3DPT_TRIANGLESTRIP, slab);
}

// With D3DRS_CLIPPING off, geometry within the view volume looks the same. Left out: clip planes, which Wine
// switches off with it; the engine draws its mirrors with clipping off and planes set.
void ClippingOff(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Rs(D3DRS_CLIPPING, FALSE);
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {4, 4, 60, 28}, 0.5f));
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {30, 20, 90, 90}, 0.4f));
}

// Pre-transformed depths on and beyond the ends of the range, with clipping on and off.
void ScreenDepthBeyondRange(Canvas& c) {
    c.Fill(0xff202020);
    const float depths[6] = {-0.5f, 0.0f, 0.5f, 1.0f, 1.5f, 7.0f};
    for (int row = 0; row < 2; ++row) {
        c.Rs(D3DRS_CLIPPING, row == 0 ? TRUE : FALSE);
        for (int i = 0; i < 6; ++i) {
            c.Draw(D3DPT_TRIANGLELIST,
                   CornerRect(kScreen, {F(i * 10 + 2), F(row * 30 + 2), F(i * 10 + 10), F(row * 30 + 26)},
                              depths[i]));
        }
    }
}

// The same for transformed vertices.
void ObjectDepthBeyondRange(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    const float depths[6] = {-0.5f, 0.0f, 0.5f, 1.0f, 1.5f, 7.0f};
    for (int row = 0; row < 2; ++row) {
        c.Rs(D3DRS_CLIPPING, row == 0 ? TRUE : FALSE);
        for (int i = 0; i < 6; ++i) {
            c.Draw(D3DPT_TRIANGLELIST,
                   CornerRect(kObject, {F(i * 10 + 2), F(row * 30 + 2), F(i * 10 + 10), F(row * 30 + 26)},
                              depths[i]));
        }
    }
}

void DepthBias(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Draw(D3DPT_TRIANGLELIST, CornerRect(kObject, {4, 4, 60, 60}, 0.5f));
    const float biases[4] = {0.0f, -0.001f, 0.001f, -0.1f};
    c.Rs(D3DRS_ZFUNC, D3DCMP_LESS);
    for (int i = 0; i < 4; ++i) {
        c.RsFloat(D3DRS_DEPTHBIAS, biases[i]);
        c.Rect({F(6 + i * 13), 8, F(16 + i * 13), 20}, 0.5f, 0xff000000);
        Mesh mesh(kObject);
        AddRect(mesh, {F(6 + i * 13), 24, F(16 + i * 13), 36}, 0.5005f, Rgba{0xffffff00});
        c.Draw(D3DPT_TRIANGLELIST, mesh);
    }
    c.RsFloat(D3DRS_DEPTHBIAS, 0);
    c.RsFloat(D3DRS_SLOPESCALEDEPTHBIAS, -1.5f);
    Mesh slope(kObject);  // its right half lies behind; the slope's bias brings some of it to the front
    slope.V(6, 42, 0.4, Rgba{0xff00ffff}).V(58, 42, 0.6, Rgba{0xff00ffff}).V(6, 56, 0.4, Rgba{0xff00ffff});
    slope.V(58, 56, 0.6, Rgba{0xff00ffff});
    c.Draw(D3DPT_TRIANGLESTRIP, slope);
}

}  // namespace

void AddClipCases(std::vector<Case>& cases) {
    cases.push_back({"clip_viewports", 88, 64, Viewports});
    cases.push_back({"clip_viewport_depth", 64, 64, ViewportDepth});
    cases.push_back({"clip_depth_ranges", 64, 64, ReversedDepthRange});
    cases.push_back({"clip_scissor", 64, 64, Scissor});
    cases.push_back({"clip_planes", 96, 64, ClipPlanes});
    cases.push_back({"clip_six_planes", 64, 64, SixClipPlanes});
    cases.push_back({"clip_planes_screen_vertices", 64, 64, ClipPlanesOfScreenVertices});
    cases.push_back({"clip_near_and_far", 96, 64, NearAndFar});
    cases.push_back({"clip_off", 64, 64, ClippingOff});
    cases.push_back({"clip_screen_depth_range", 64, 64, ScreenDepthBeyondRange});
    cases.push_back({"clip_object_depth_range", 64, 64, ObjectDepthBeyondRange});
    cases.push_back({"clip_depth_bias", 64, 64, DepthBias});
}

}  // namespace conformance
