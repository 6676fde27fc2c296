// Fog: per vertex and per pixel, each formula, and what it is applied to.
#include "conformance/canvas.h"

namespace conformance {
namespace {

constexpr DWORD kObject = D3DFVF_XYZ | D3DFVF_DIFFUSE;

void SetUp(Canvas& c) {
    c.Fill(0xff102030);
    c.Camera();
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Rs(D3DRS_FOGENABLE, TRUE);
    c.Rs(D3DRS_FOGCOLOR, 0x00c0d0ff);
    c.RsFloat(D3DRS_FOGSTART, 3);
    c.RsFloat(D3DRS_FOGEND, 12);
    c.RsFloat(D3DRS_FOGDENSITY, 0.15f);
}

// A floor from before the eye to far away: in strips, so that fog by vertex and by pixel can be told apart.
void Floor(Canvas& c, int strips, Rgba color = {0xc0c04020}) {
    Mesh mesh(kObject);
    for (int i = 0; i <= strips; ++i) {
        const float y = -2.8f + 16.0f * F(i) / F(strips);
        mesh.V(-4, y, -1, color).V(4, y, -1, color);
    }
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

// The three formulas side by side.
void Formulas(Canvas& c, D3DRENDERSTATETYPE state, int strips) {
    SetUp(c);
    for (DWORD mode = D3DFOG_EXP; mode <= D3DFOG_LINEAR; ++mode) {
        c.Rs(state, mode);
        c.Viewport((mode - 1) * 48, 0, 48, 48);
        c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.2f, 1.0f, 1, 20));
        Floor(c, strips);
    }
}

// Fine strips, since Wine works the formula out per pixel in this mode too.
void VertexFormulas(Canvas& c) { Formulas(c, D3DRS_FOGVERTEXMODE, 128); }
void TableFormulas(Canvas& c) { Formulas(c, D3DRS_FOGTABLEMODE, 1); }

// Range fog: the distance to the eye instead of the depth. A wall square to the view shows it.
void RangeFog(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    c.RsFloat(D3DRS_FOGSTART, 3.5f);
    c.RsFloat(D3DRS_FOGEND, 7);
    for (DWORD i = 0; i < 2; ++i) {
        c.Rs(D3DRS_RANGEFOGENABLE, i == 0 ? FALSE : TRUE);
        c.Viewport(i * 64, 0, 64, 64);
        c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.4f, 1.0f, 1, 20));
        Mesh wall(kObject);
        for (int row = 0; row < 12; ++row) {
            for (int column = 0; column < 12; ++column) {
                const float x = F(column) - 6;
                const float z = F(row) - 6;
                const Rgba color = {0xffc04020};
                wall.V(x, 0, z, color).V(x + 1, 0, z, color).V(x, 0, z + 1, color);
                wall.V(x, 0, z + 1, color).V(x + 1, 0, z, color).V(x + 1, 0, z + 1, color);
            }
        }
        c.Draw(D3DPT_TRIANGLELIST, wall);
    }
}

// Neither formula: the alpha of the vertex's specular colour is the share of its own colour that is left.
void SpecularAlpha(Canvas& c) {
    SetUp(c);
    Mesh screen(D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_SPECULAR);
    AddRect(screen, {2, 2, 30, 62}, 0.5f, {0xffc04020, 0xffc04020, 0xff20c040, 0xff20c040}, {},
            {0xff000000, 0x00000000, 0xc0ffffff, 0x40ffffff});
    c.Draw(D3DPT_TRIANGLELIST, screen);
    c.PixelSpace();
    Mesh object(kObject | D3DFVF_SPECULAR);
    AddRect(object, {34, 2, 62, 62}, 0.5f, {0xffc04020, 0xffc04020, 0xff20c040, 0xff20c040}, {},
            {0xff000000, 0x00000000, 0xc0ffffff, 0x40ffffff});
    c.Draw(D3DPT_TRIANGLELIST, object);
    Mesh without(D3DFVF_XYZRHW | D3DFVF_DIFFUSE);
    AddRect(without, {66, 2, 94, 62}, 0.5f, Rgba{0xffc04020});
    c.Draw(D3DPT_TRIANGLELIST, without);
}

// Vertex formulas do not reach pre-transformed vertices: their specular alpha still holds.
void ScreenVerticesVertexMode(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    Mesh screen(D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_SPECULAR);
    AddRect(screen, {2, 2, 62, 62}, 0.5f, {0xffc04020, 0xffc04020, 0xff20c040, 0xff20c040}, {},
            {0xff000000, 0x00000000, 0xc0ffffff, 0x40ffffff});
    c.Draw(D3DPT_TRIANGLELIST, screen);
}

// Table fog of pre-transformed vertices goes by their z when rhw is 1.
void ScreenVerticesTable(Canvas& c) {
    SetUp(c);
    c.Transform(D3DTS_PROJECTION, Identity());
    c.Rs(D3DRS_FOGTABLEMODE, D3DFOG_LINEAR);
    c.RsFloat(D3DRS_FOGSTART, 0.2f);
    c.RsFloat(D3DRS_FOGEND, 0.8f);
    Mesh mesh(D3DFVF_XYZRHW | D3DFVF_DIFFUSE);
    mesh.V(2, 2, 0, 1, Rgba{0xffc04020}).V(62, 2, 1, 1, Rgba{0xffc04020});
    mesh.V(2, 62, 0, 1, Rgba{0xff20c040}).V(62, 62, 1, 1, Rgba{0xff20c040});
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

// With a projection whose last column is (0, 0, 0, 1), table fog goes by depth from 0 to 1.
void TableByDepth(Canvas& c) {
    SetUp(c);
    c.PixelSpace();
    c.Rs(D3DRS_FOGTABLEMODE, D3DFOG_LINEAR);
    c.RsFloat(D3DRS_FOGSTART, 0.2f);
    c.RsFloat(D3DRS_FOGEND, 0.9f);
    Mesh mesh(kObject);
    mesh.V(2, 2, 0, Rgba{0xffc04020}).V(62, 2, 1, Rgba{0xffc04020});
    mesh.V(2, 62, 0, Rgba{0xff20c040}).V(62, 62, 1, Rgba{0xff20c040});
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

// Both modes set: the table wins.
void TableOverVertex(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    c.Rs(D3DRS_FOGTABLEMODE, D3DFOG_EXP);
    Floor(c, 1);
}

// Fog mixes into what the stages give, before blending, and leaves alpha alone.
void FogAndBlending(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    c.Rs(D3DRS_ALPHABLENDENABLE, TRUE);
    c.Rs(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA);
    c.Rs(D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA);
    Floor(c, 128, {0x80c04020});
    c.Rs(D3DRS_ALPHATESTENABLE, TRUE);
    c.Rs(D3DRS_ALPHAFUNC, D3DCMP_GREATER);
    c.Rs(D3DRS_ALPHAREF, 0x90);
    c.Transform(D3DTS_WORLD, Translation(0, 0, 1.8f));
    Floor(c, 128, {0xa020c040});
    Floor(c, 128, {0x80ffffff});
}

// Specular is added before the fog is mixed in.
void FogAndSpecular(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    Mesh mesh(kObject | D3DFVF_SPECULAR);
    // Sums stay below one: Wine does not cut them before the fog.
    for (int i = 0; i <= 128; ++i) {
        const float y = -2.8f + 16.0f * F(i) / 128.0f;
        mesh.V(-4, y, -1, Rgba{0xc0c04020}, Rgba{0x303000a0}).V(4, y, -1, Rgba{0xc0c04020}, Rgba{0x3000b000});
    }
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

// An end before the start turns the fog round.
void ReversedFog(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    c.RsFloat(D3DRS_FOGSTART, 12);
    c.RsFloat(D3DRS_FOGEND, 3);
    Floor(c, 128);
}

// A fog that starts behind the eye and one that ends before it begins to show anything.
void NegativeStart(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    c.RsFloat(D3DRS_FOGSTART, -6);
    c.RsFloat(D3DRS_FOGEND, 14);
    c.Viewport(0, 0, 48, 48);
    c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.2f, 1.0f, 1, 20));
    Floor(c, 128);
    c.RsFloat(D3DRS_FOGSTART, -2);
    c.RsFloat(D3DRS_FOGEND, -1);
    c.Viewport(48, 0, 48, 48);
    Floor(c, 128);
}

// The default range, 0 to 1, of a device that nobody has told otherwise; fog off beside it.
void DefaultRange(Canvas& c) {
    c.Fill(0xff102030);
    c.PixelSpace();
    c.Rs(D3DRS_FOGENABLE, TRUE);
    c.Rs(D3DRS_FOGCOLOR, 0xff40c0ff);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_LINEAR);
    Mesh mesh(kObject);
    mesh.V(2, 2, 0, Rgba{0xffc04020}).V(30, 2, 1, Rgba{0xffc04020});
    mesh.V(2, 30, 0.5, Rgba{0xff20c040}).V(30, 30, 0.5, Rgba{0xff20c040});
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
    c.Rs(D3DRS_FOGENABLE, FALSE);
    c.Transform(D3DTS_WORLD, Translation(32, 0, 0));
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

void FogAndLight(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_LIGHTING, TRUE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_CW);
    c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_EXP2);
    c.RsFloat(D3DRS_FOGDENSITY, 0.2f);
    D3DMATERIAL9 material = {};
    material.Diffuse.r = material.Diffuse.g = material.Diffuse.b = 1.0f;
    c.Check(c.device->SetMaterial(&material));
    D3DLIGHT9 light = {};
    light.Type = D3DLIGHT_DIRECTIONAL;
    light.Diffuse.r = 1.0f;
    light.Diffuse.g = 0.5f;
    light.Direction.x = 0.5f;
    light.Direction.y = 1.0f;
    c.Check(c.device->SetLight(0, &light));
    c.Check(c.device->LightEnable(0, TRUE));
    Mesh balls(D3DFVF_XYZ | D3DFVF_NORMAL);
    AddSphere(balls, -1.2f, -0.5f, 0, 1);
    AddSphere(balls, 1.4f, 2, 0, 1);
    AddSphere(balls, 2, 6, 1.5f, 1);
    c.Draw(D3DPT_TRIANGLELIST, balls);
}

}  // namespace

void AddFogCases(std::vector<Case>& cases) {
    cases.push_back({"fog_vertex_formulas", 144, 48, VertexFormulas});
    cases.push_back({"fog_table_formulas", 144, 48, TableFormulas});
    cases.push_back({"fog_range", 128, 64, RangeFog});
    cases.push_back({"fog_specular_alpha", 96, 64, SpecularAlpha});
    cases.push_back({"fog_screen_vertex_mode", 64, 64, ScreenVerticesVertexMode});
    cases.push_back({"fog_screen_table", 64, 64, ScreenVerticesTable});
    cases.push_back({"fog_table_by_depth", 64, 64, TableByDepth});
    cases.push_back({"fog_table_over_vertex", 64, 64, TableOverVertex});
    cases.push_back({"fog_blending", 64, 64, FogAndBlending});
    cases.push_back({"fog_specular", 64, 64, FogAndSpecular});
    cases.push_back({"fog_reversed", 64, 64, ReversedFog});
    cases.push_back({"fog_negative_start", 96, 48, NegativeStart});
    cases.push_back({"fog_default_range", 64, 32, DefaultRange});
    cases.push_back({"fog_light", 96, 64, FogAndLight});
}

}  // namespace conformance
