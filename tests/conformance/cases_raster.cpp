// Which pixels a primitive covers, and what reaches them between its vertices.
#include <cmath>

#include "conformance/canvas.h"

namespace conformance {
namespace {

constexpr DWORD kScreen = D3DFVF_XYZRHW | D3DFVF_DIFFUSE;
constexpr DWORD kObject = D3DFVF_XYZ | D3DFVF_DIFFUSE;

void AddBlend(Canvas& c) {
    c.Rs(D3DRS_ALPHABLENDENABLE, TRUE);
    c.Rs(D3DRS_SRCBLEND, D3DBLEND_ONE);
    c.Rs(D3DRS_DESTBLEND, D3DBLEND_ONE);
}

// Rectangles whose edges lie 0, 1/4, 1/2 and 3/4 of a pixel beside the pixel centres.
Mesh OffsetRects(DWORD fvf) {
    Mesh mesh(fvf);
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            const float x = F(4 + column * 16) + 0.25f * F(column);
            const float y = F(4 + row * 16) + 0.25f * F(row);
            AddRect(mesh, {x, y, x + 9.0f, y + 9.0f}, 0.5f, Rgba{0xff40c0ff});
        }
    }
    return mesh;
}

void ScreenPixelCentres(Canvas& c) {
    c.Fill(0xff201000);
    AddBlend(c);
    c.Draw(D3DPT_TRIANGLELIST, OffsetRects(kScreen));
}

void ObjectPixelCentres(Canvas& c) {
    c.Fill(0xff201000);
    AddBlend(c);
    c.PixelSpace();
    c.Draw(D3DPT_TRIANGLELIST, OffsetRects(kObject));
}

// Triangles that share edges and corners, added up: a pixel drawn twice or left out shows.
Mesh SharedEdges(DWORD fvf) {
    Mesh mesh(fvf);
    const bool screen = fvf == kScreen;
    const auto put = [&](float x, float y) {
        if (screen) {
            mesh.V(x, y, 0.5f, 1.0f, Rgba{0x40404060});
        } else {
            mesh.V(x, y, 0.5f, Rgba{0x40404060});
        }
    };
    for (int i = 0; i < 24; ++i) {
        const float from = F(i) * 0.2617994f;
        const float to = from + 0.2617994f;
        put(32.0f, 32.0f);
        put(32.0f + 30.0f * std::cos(from), 32.0f + 30.0f * std::sin(from));
        put(32.0f + 30.0f * std::cos(to), 32.0f + 30.0f * std::sin(to));
    }
    // A grid of small triangles whose edges run through pixel centres in all eight directions.
    for (int row = 0; row < 6; ++row) {
        for (int column = 0; column < 6; ++column) {
            const float x = F(66 + column * 9);
            const float y = F(4 + row * 9);
            put(x, y);
            put(x + 9, y);
            put((row + column) % 2 == 0 ? x : x + 9, y + 9);
            put((row + column) % 2 == 0 ? x + 9 : x, y);
            put(x + 9, y + 9);
            put(x, y + 9);
        }
    }
    return mesh;
}

void ScreenSharedEdges(Canvas& c) {
    c.Fill(0);
    AddBlend(c);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Draw(D3DPT_TRIANGLELIST, SharedEdges(kScreen));
}

void ObjectSharedEdges(Canvas& c) {
    c.Fill(0);
    AddBlend(c);
    c.PixelSpace();
    c.Draw(D3DPT_TRIANGLELIST, SharedEdges(kObject));
}

void Primitives(Canvas& c) {
    c.Fill(0xff202020);
    Mesh list(kScreen);
    list.V(4, 4, 0.5, 1, Rgba{0xffff0000})
        .V(40, 8, 0.5, 1, Rgba{0xff00ff00})
        .V(10, 40, 0.5, 1, Rgba{0xff0000ff});
    list.V(20, 40, 0.5, 1, Rgba{0xffffff00}).V(44, 20, 0.5, 1, Rgba{0xff00ffff});
    list.V(44, 44, 0.5, 1, Rgba{0xffff00ff});
    c.Draw(D3DPT_TRIANGLELIST, list);
    Mesh strip(kScreen);
    for (int i = 0; i < 8; ++i) {
        const D3DCOLOR color = 0xff000000u | (static_cast<D3DCOLOR>(i) * 0x24u << (i % 3 * 8));
        strip.V(50 + i * 6, i % 2 == 0 ? 30 : 6, 0.5, 1, Rgba{color | 0xff400040});
    }
    c.Draw(D3DPT_TRIANGLESTRIP, strip);
    Mesh fan(kScreen);
    fan.V(70, 64, 0.5, 1, Rgba{0xffffffff});
    for (int i = 0; i < 9; ++i) {
        const float angle = F(i) * 0.6f;
        fan.V(70 + 26 * std::cos(angle), 64 + 26 * std::sin(angle), 0.5, 1,
              Rgba{i % 2 == 0 ? 0xffff0000 : 0xff0000ff});
    }
    c.Draw(D3DPT_TRIANGLEFAN, fan);
    Mesh cut(
        kScreen);  // a strip that starts counter-clockwise is culled triangle by triangle, in alternation
    cut.V(4, 60, 0.5, 1, Rgba{0xffffff00}).V(4, 88, 0.5, 1, Rgba{0xffffff00});
    cut.V(18, 60, 0.5, 1, Rgba{0xff00ff00}).V(18, 88, 0.5, 1, Rgba{0xff00ff00});
    cut.V(36, 88, 0.5, 1, Rgba{0xff00ffff}).V(36, 60, 0.5, 1, Rgba{0xff0000ff});
    c.Draw(D3DPT_TRIANGLESTRIP, cut);
}

Mesh Star(DWORD fvf) {
    Mesh mesh(fvf);
    const auto put = [&](float x, float y, D3DCOLOR color) {
        if (fvf == kScreen) {
            mesh.V(x, y, 0.5f, 1.0f, Rgba{color});
        } else {
            mesh.V(x, y, 0.5f, Rgba{color});
        }
    };
    for (int i = 0; i < 16; ++i) {
        const float angle = F(i) * 0.3926991f + 0.05f;
        put(32.3f + 8 * std::cos(angle), 32.4f + 8 * std::sin(angle), 0xff00ff00);
        put(32.3f + 29 * std::cos(angle), 32.4f + 29 * std::sin(angle), 0xffff4040);
    }
    for (int i = 0; i < 6; ++i) {
        const auto step = F(i);
        put(66.0f, 4.0f + step * 5.0f, 0xffffffff);  // horizontal, each a quarter pixel further down
        put(92.0f, 4.0f + step * 5.0f, 0xffffffff);
        put(66.0f + step * 5.0f, 36.0f, 0xff40ffff);
        put(66.0f + step * 5.0f, 60.0f, 0xff40ffff);
    }
    return mesh;
}

void ScreenLines(Canvas& c) {
    c.Fill(0xff000000);
    c.Draw(D3DPT_LINELIST, Star(kScreen));
}

void ObjectLines(Canvas& c) {
    c.Fill(0xff000000);
    c.PixelSpace();
    c.Draw(D3DPT_LINELIST, Star(kObject));
}

void LineStrip(Canvas& c) {
    c.Fill(0xff000000);
    AddBlend(c);
    Mesh strip(kScreen);
    for (int i = 0; i < 12; ++i) {
        strip.V(4.3f + F(i) * 5.1f, F(i % 2 == 0 ? 8 + i : 50 - i) + 0.2f, 0.5, 1, Rgba{0xff808080});
    }
    c.Draw(D3DPT_LINESTRIP, strip);
}

void Points(Canvas& c) {
    c.Fill(0xff000000);
    Mesh mesh(kScreen);
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column) {
            mesh.V(4 + F(column) * 4.125f, 4 + F(row) * 4.125f, 0.5, 1, Rgba{0xffffc040});
        }
    }
    c.Draw(D3DPT_POINTLIST, mesh);
    for (int i = 0; i < 5; ++i) {
        c.RsFloat(D3DRS_POINTSIZE, F(i * 2 + 2));
        Mesh one(kScreen);
        one.V(8 + i * 11, 48, 0.5, 1, Rgba{0xff40ff40}).V(8.3f + F(i * 11), 58.6f, 0.5, 1, Rgba{0xff4080ff});
        c.Draw(D3DPT_POINTLIST, one);
    }
}

void PointSprites(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, c.Texture(8, 8, 1, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return 0xff000000 | (x * 36 << 16) | (y * 36 << 8) | (x == y ? 0xffu : 0u);
    }));
    c.ColorOp(0, D3DTOP_MODULATE, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    c.Rs(D3DRS_POINTSPRITEENABLE, TRUE);
    c.RsFloat(D3DRS_POINTSIZE, 16.0f);
    c.PixelSpace();
    Mesh mesh(kObject);
    mesh.V(14, 14, 0.5, Rgba{0xffffffff}).V(44, 14, 0.5, Rgba{0xffff8080}).V(14, 44, 0.5, Rgba{0xff80ff80});
    c.Draw(D3DPT_POINTLIST, mesh);
    // Size by distance: size * height * sqrt(1 / (a + b d + c d d)).
    c.Camera();
    c.Rs(D3DRS_POINTSCALEENABLE, TRUE);
    c.RsFloat(D3DRS_POINTSIZE, 0.6f);
    c.RsFloat(D3DRS_POINTSCALE_A, 0.0f);
    c.RsFloat(D3DRS_POINTSCALE_C, 1.0f);
    Mesh distant(kObject);
    distant.V(0.6, -1, -0.4, Rgba{0xffffffff}).V(1.2, 2, -0.4, Rgba{0xffffff00});
    c.Draw(D3DPT_POINTLIST, distant);
}

void TrianglePair(Mesh& mesh, float x, float y) {
    const bool screen = mesh.fvf == kScreen;
    const auto put = [&](float dx, float dy, D3DCOLOR color) {
        if (screen) {
            mesh.V(x + dx, y + dy, 0.5f, 1.0f, Rgba{color});
        } else {
            mesh.V(x + dx, y + dy, 0.5f, Rgba{color});
        }
    };
    put(2, 2, 0xffff4040);  // clockwise on the screen
    put(14, 2, 0xffff4040);
    put(2, 18, 0xffff4040);
    put(18, 6, 0xff40ff40);  // counter-clockwise on the screen
    put(6, 22, 0xff40ff40);
    put(18, 22, 0xff40ff40);
}

void CullModes(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    const DWORD modes[3] = {D3DCULL_NONE, D3DCULL_CW, D3DCULL_CCW};
    for (int i = 0; i < 3; ++i) {
        c.Rs(D3DRS_CULLMODE, modes[i]);
        Mesh screen(kScreen);
        TrianglePair(screen, F(i * 21), 4);
        c.Draw(D3DPT_TRIANGLELIST, screen);
        Mesh object(kObject);
        TrianglePair(object, F(i * 21), 34);
        c.Draw(D3DPT_TRIANGLELIST, object);
    }
}

// A world matrix that mirrors turns the faces round with it.
void CullMirrored(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Rs(D3DRS_CULLMODE, D3DCULL_CCW);
    Mesh object(kObject);
    TrianglePair(object, 4, 20);
    c.Draw(D3DPT_TRIANGLELIST, object);
    c.Transform(D3DTS_WORLD, Multiply(Scaling(-1, 1, 1), Translation(64, 0, 0)));
    c.Draw(D3DPT_TRIANGLELIST, object);
}

void FillModes(Canvas& c) {
    c.Fill(0xff000000);
    c.PixelSpace();
    const DWORD modes[3] = {D3DFILL_POINT, D3DFILL_WIREFRAME, D3DFILL_SOLID};
    for (int i = 0; i < 3; ++i) {
        c.Rs(D3DRS_FILLMODE, modes[i]);
        Mesh mesh(kObject);
        const auto x = F(i * 30);
        mesh.V(x + 4.3f, 4.3f, 0.5, Rgba{0xffff4040}).V(x + 28.3f, 8.3f, 0.5, Rgba{0xffff4040});
        mesh.V(x + 8.3f, 40.3f, 0.5, Rgba{0xff40ff40});
        c.Draw(D3DPT_TRIANGLELIST, mesh);
    }
}

void FlatShading(Canvas& c) {
    c.Fill(0xff202020);
    c.Rs(D3DRS_SHADEMODE, D3DSHADE_FLAT);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    const D3DCOLOR colors[6] = {0xffff0000, 0xff00ff00, 0xff0000ff, 0xffc0c000, 0xff00c0c0, 0xffc000c0};
    const D3DCOLOR extra[6] = {0x00400000, 0x00004000, 0x00000040, 0x00404000, 0x00004040, 0x00400040};
    Mesh list(kScreen | D3DFVF_SPECULAR);
    Mesh strip(kScreen | D3DFVF_SPECULAR);
    Mesh fan(kScreen | D3DFVF_SPECULAR);
    Mesh lines(kScreen | D3DFVF_SPECULAR);
    for (int i = 0; i < 6; ++i) {
        const Rgba color = {colors[i]};
        const Rgba add = {extra[(i + 1) % 6]};
        list.V(4 + i / 3 * 14 + i % 3 * 10, i % 3 == 1 ? 26 : 4, 0.5, 1, color, add);
        strip.V(4 + i * 9, i % 2 == 0 ? 60 : 34, 0.5, 1, color, add);
        const float angle = F(i) * 0.7f;
        fan.V(i == 0 ? 66.0f : 66.0f + 24 * std::cos(angle), i == 0 ? 32.0f : 32.0f + 24 * std::sin(angle),
              0.5, 1, color, add);
        lines.V(64 + i * 5, i % 2 == 0 ? 4 : 14, 0.5, 1, color, add);
    }
    c.Draw(D3DPT_TRIANGLELIST, list);
    c.Draw(D3DPT_TRIANGLESTRIP, strip);
    c.Draw(D3DPT_TRIANGLEFAN, fan);
    c.Draw(D3DPT_LINESTRIP, lines);
}

void GouraudShading(Canvas& c) {
    c.Fill(0xff202020);
    Mesh mesh(kScreen);
    AddRect(mesh, {4, 4, 60, 60}, 0.5f, {0xffff0000, 0x8000ff00, 0x400000ff, 0x00ffffff});
    c.Draw(D3DPT_TRIANGLELIST, mesh);
}

Mesh Floor(DWORD fvf) {
    Mesh mesh(fvf);
    mesh.V(-3, -2, -1, Rgba{0xffffffff}, 0.01, 0.01).V(3, -2, -1, Rgba{0xffffffff}, 4.01, 0.01);
    mesh.V(-3, 5, -1, Rgba{0xffff8080}, 0.01, 4.01).V(3, 5, -1, Rgba{0xff8080ff}, 4.01, 4.01);
    return mesh;
}

IDirect3DTexture9* Checker(Canvas& c) {
    return c.Texture(16, 16, 1, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return ((x / 8 + y / 8) & 1) != 0 ? 0xffe0e0e0 : 0xff405060;
    });
}

void PerspectiveInterpolation(Canvas& c) {
    c.Fill(0xff000020);
    c.Camera();
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Bind(0, Checker(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.Draw(D3DPT_TRIANGLESTRIP, Floor(kObject | D3DFVF_TEX1));
}

// The reciprocal w of a pre-transformed vertex weighs its texture coordinates (and colours).
void ScreenReciprocalW(Canvas& c) {
    c.Fill(0xff000020);
    c.Bind(0, Checker(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    Mesh mesh(kScreen | D3DFVF_TEX1);
    mesh.V(20, 4, 0.9, 0.3, Rgba{0xffff4040}, 0.01, 0.01).V(44, 4, 0.9, 0.3, Rgba{0xff40ff40}, 3.01, 0.01);
    mesh.V(4, 60, 0.1, 1.0, Rgba{0xffffffff}, 0.01, 3.01).V(60, 60, 0.1, 1.0, Rgba{0xff8080ff}, 3.01, 3.01);
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

// A reciprocal w of 0 says nothing about perspective: colours and coordinates run straight over the screen.
void ScreenReciprocalZero(Canvas& c) {
    c.Fill(0xff000020);
    Mesh colored(kScreen);
    colored.V(4, 4, 1, 0, Rgba{0xffff4040}).V(28, 4, 1, 0, Rgba{0xff40ff40});
    colored.V(4, 60, 1, 0, Rgba{0x804040ff}).V(28, 60, 1, 0, Rgba{0x80ffffff});
    c.Draw(D3DPT_TRIANGLESTRIP, colored);
    c.Bind(0, Checker(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    Mesh textured(kScreen | D3DFVF_TEX1);
    textured.V(36, 4, 1, 0, Rgba{0xffff4040}, 0.02, 0.03).V(60, 4, 1, 0, Rgba{0xff40ff40}, 2.02, 0.03);
    textured.V(36, 60, 1, 0, Rgba{0xff4040ff}, 0.02, 3.03).V(60, 60, 1, 0, Rgba{0xffffffff}, 2.02, 3.03);
    c.Draw(D3DPT_TRIANGLESTRIP, textured);
}

void LargeRect(Canvas& c) {
    c.Fill(0xff202020);
    Mesh mesh(kScreen);
    AddRect(mesh, {-3000, -2000, 4000, 3000}, 0.5f, {0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffffff});
    c.Draw(D3DPT_TRIANGLELIST, mesh);
    c.Rect({-20, 40, 20, 90}, 0.2f, 0xff000000);
}

void Multisampled(Canvas& c) {
    c.Fill(0xff000000);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    Mesh fan(kScreen);
    fan.V(32, 32, 0.5, 1, Rgba{0xffffffff});
    for (int i = 0; i < 13; ++i) {
        const float angle = F(i) * 0.5f + 0.1f;
        fan.V(32 + 26 * std::cos(angle), 32 + 26 * std::sin(angle), 0.5, 1,
              Rgba{i % 2 == 0 ? 0xffff4040 : 0xff4040ff});
    }
    c.Draw(D3DPT_TRIANGLEFAN, fan);
    // Without the state, a multisampled target is drawn into as if it were none.
    c.Rs(D3DRS_MULTISAMPLEANTIALIAS, FALSE);
    Mesh triangle(kScreen);
    triangle.V(66, 10, 0.5, 1, Rgba{0xff40ff40}).V(92, 17, 0.5, 1, Rgba{0xff40ff40});
    triangle.V(70, 58, 0.5, 1, Rgba{0xff40ff40});
    c.Draw(D3DPT_TRIANGLELIST, triangle);
}

}  // namespace

void AddRasterCases(std::vector<Case>& cases) {
    cases.push_back({"raster_screen_pixel_centres", 72, 72, ScreenPixelCentres});
    cases.push_back({"raster_object_pixel_centres", 72, 72, ObjectPixelCentres});
    cases.push_back({"raster_screen_shared_edges", 128, 64, ScreenSharedEdges});
    cases.push_back({"raster_object_shared_edges", 128, 64, ObjectSharedEdges});
    cases.push_back({"raster_primitives", 100, 96, Primitives});
    cases.push_back({"raster_screen_lines", 96, 64, ScreenLines});
    cases.push_back({"raster_object_lines", 96, 64, ObjectLines});
    cases.push_back({"raster_line_strip", 64, 64, LineStrip});
    cases.push_back({"raster_points", 64, 64, Points});
    cases.push_back({"raster_point_sprites", 64, 64, PointSprites});
    cases.push_back({"raster_cull_modes", 64, 64, CullModes});
    cases.push_back({"raster_cull_mirrored", 64, 64, CullMirrored});
    cases.push_back({"raster_fill_modes", 96, 48, FillModes});
    cases.push_back({"raster_flat_shading", 96, 64, FlatShading});
    cases.push_back({"raster_gouraud", 64, 64, GouraudShading});
    cases.push_back({"raster_perspective", 96, 64, PerspectiveInterpolation});
    cases.push_back({"raster_screen_rhw", 64, 64, ScreenReciprocalW});
    cases.push_back({"raster_screen_rhw_zero", 64, 64, ScreenReciprocalZero});
    cases.push_back({"raster_large_rect", 64, 64, LargeRect});
    const Bounds edges = {2, 0.05, 2, 96, "sample positions within a pixel are the driver's own"};
    cases.push_back({"raster_multisample_4", 96, 64, Multisampled, edges, D3DMULTISAMPLE_4_SAMPLES});
}

}  // namespace conformance
