// Fixed-function lighting: kinds of light, materials, where colours come from.
#include <cmath>

#include "conformance/canvas.h"

namespace conformance {
namespace {

constexpr DWORD kLit = D3DFVF_XYZ | D3DFVF_NORMAL;

D3DCOLORVALUE Color(float r, float g, float b, float a = 1.0f) {
    D3DCOLORVALUE color = {};
    color.r = r;
    color.g = g;
    color.b = b;
    color.a = a;
    return color;
}

D3DVECTOR Vector(float x, float y, float z) {
    D3DVECTOR vector = {};
    vector.x = x;
    vector.y = y;
    vector.z = z;
    return vector;
}

D3DMATERIAL9 Material(D3DCOLORVALUE diffuse, D3DCOLORVALUE ambient = {}, D3DCOLORVALUE specular = {},
                      D3DCOLORVALUE emissive = {}, float power = 0) {
    D3DMATERIAL9 material = {};
    material.Diffuse = diffuse;
    material.Ambient = ambient;
    material.Specular = specular;
    material.Emissive = emissive;
    material.Power = power;
    return material;
}

D3DLIGHT9 Directional(float x, float y, float z, D3DCOLORVALUE diffuse) {
    D3DLIGHT9 light = {};
    light.Type = D3DLIGHT_DIRECTIONAL;
    light.Diffuse = diffuse;
    light.Direction = Vector(x, y, z);
    return light;
}

D3DLIGHT9 Point(float x, float y, float z, D3DCOLORVALUE diffuse, float range = 100) {
    D3DLIGHT9 light = {};
    light.Type = D3DLIGHT_POINT;
    light.Diffuse = diffuse;
    light.Position = Vector(x, y, z);
    light.Range = range;
    light.Attenuation0 = 1;
    return light;
}

void Use(Canvas& c, DWORD index, const D3DLIGHT9& light) {
    c.Check(c.device->SetLight(index, &light));
    c.Check(c.device->LightEnable(index, TRUE));
}

void Use(Canvas& c, const D3DMATERIAL9& material) { c.Check(c.device->SetMaterial(&material)); }

void SetUp(Canvas& c) {
    c.Fill(0x40202020);
    c.Camera();
    Use(c, Material(Color(0.8f, 0.7f, 0.6f, 0.5f)));
}

void Ball(Canvas& c, float x = 0, float z = 0, float radius = 1.8f) {
    Mesh ball(kLit);
    AddSphere(ball, x, 0, z, radius, {0}, {0}, 24, 32);
    c.Draw(D3DPT_TRIANGLELIST, ball);
}

// A fine wall before the eye, so that what a light throws onto it is seen in its whole.
void Wall(Canvas& c) {
    Mesh wall(kLit);
    constexpr int kCells = 32;
    const auto put = [&](int i, int j) {
        wall.V(F(i) / kCells * 6 - 3, 0.5f, F(j) / kCells * 6 - 3, 0, -1, 0);
    };
    for (int j = 0; j < kCells; ++j) {
        for (int i = 0; i < kCells; ++i) {
            put(i, j);
            put(i + 1, j);
            put(i, j + 1);
            put(i, j + 1);
            put(i + 1, j);
            put(i + 1, j + 1);
        }
    }
    c.Draw(D3DPT_TRIANGLELIST, wall);
}

void DirectionalLight(Canvas& c) {
    SetUp(c);
    Use(c, 0, Directional(1, 1, -0.6f, Color(1, 0.9f, 0.5f)));  // not of unit length
    Ball(c);
}

void TwoDirectional(Canvas& c) {
    SetUp(c);
    Use(c, 0, Directional(3, 0.5f, -1, Color(1, 0.2f, 0.2f)));
    Use(c, 5, Directional(-1, 0.3f, 0.4f, Color(0.2f, 0.4f, 1)));
    Ball(c);
}

void PointLight(Canvas& c) {
    SetUp(c);
    Use(c, 0, Point(0.8f, -1.5f, 1.0f, Color(1, 1, 1)));
    Wall(c);
}

// Beyond its range a light gives nothing; within it the range does not weaken it.
void PointRange(Canvas& c) {
    SetUp(c);
    Use(c, 0, Point(0.3f, -0.8f, 0.2f, Color(1, 0.9f, 0.6f), 1.9f));
    Wall(c);
}

void PointAttenuation(Canvas& c) {
    SetUp(c);
    const float factors[4][3] = {{0.5f, 0, 0}, {0, 0.8f, 0}, {0, 0, 0.7f}, {0.3f, 0.2f, 0.3f}};
    for (DWORD i = 0; i < 4; ++i) {
        c.Viewport(i % 2 * 48, i / 2 * 48, 48, 48);
        D3DLIGHT9 light = Point(0.4f, -0.6f, 0.3f, Color(1, 0.9f, 0.6f), 10);
        light.Attenuation0 = factors[i][0];
        light.Attenuation1 = factors[i][1];
        light.Attenuation2 = factors[i][2];
        Use(c, 0, light);
        Wall(c);
    }
}

void SpotLight(Canvas& c) {
    SetUp(c);
    const float falloffs[4] = {1.0f, 0.3f, 4.0f, 1.0f};
    for (DWORD i = 0; i < 4; ++i) {
        c.Viewport(i % 2 * 48, i / 2 * 48, 48, 48);
        D3DLIGHT9 light = Point(-0.5f, -2.2f, 0.5f, Color(1, 0.9f, 0.6f), 10);
        light.Type = D3DLIGHT_SPOT;
        light.Direction = Vector(0.2f, 1, -0.2f);
        light.Falloff = falloffs[i];
        light.Theta = i == 3 ? 0.9f : 0.3f;
        light.Phi = i == 3 ? 0.9f : 1.2f;
        Use(c, 0, light);
        Wall(c);
    }
}

void EightLights(Canvas& c) {
    SetUp(c);
    for (DWORD i = 0; i < 8; ++i) {
        const float angle = F(i) * 0.785398f;
        D3DLIGHT9 light =
            Point(2.5f * std::cos(angle), -0.3f, 2.5f * std::sin(angle),
                  Color(i % 3 == 0 ? 0.9f : 0.1f, i % 3 == 1 ? 0.9f : 0.1f, i % 3 == 2 ? 0.9f : 0.1f), 3);
        light.Attenuation1 = 0.3f;
        Use(c, i, light);
    }
    Wall(c);
}

// Lights lie in world space; the world matrix moves the mesh, the camera moves nothing but the view.
void LightInWorldSpace(Canvas& c) {
    SetUp(c);
    Use(c, 0, Point(1.5f, 0, 2, Color(1, 0.8f, 0.6f)));
    Use(c, 1, Directional(0, 0, 1, Color(0.1f, 0.3f, 0.8f)));
    c.Transform(D3DTS_VIEW, LookAtRH(3, -2, 2, 0, 0, 0));
    c.Transform(D3DTS_WORLD, Multiply(Rotation(0, 0.8f), Translation(-0.3f, 0.2f, 0.3f)));
    Ball(c, 0, 0, 1.2f);
}

// The half vector by the vertex's own direction to the eye, or by one direction for all.
void SpecularViewer(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    Use(c, Material(Color(0.1f, 0.1f, 0.2f), {}, Color(1, 0.9f, 0.7f), {}, 12));
    D3DLIGHT9 light = Point(2, -3, 2, Color(0.5f, 0.5f, 0.5f));
    light.Specular = Color(1, 1, 1);
    Use(c, 0, light);
    D3DLIGHT9 sun = Directional(1, 1, 0.4f, Color(0.2f, 0, 0));
    sun.Specular = Color(0.3f, 0.8f, 0.4f);
    Use(c, 1, sun);
    for (DWORD i = 0; i < 2; ++i) {
        c.Viewport(i * 64, 0, 64, 64);
        c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.4f, 1.0f, 1, 20));
        c.Rs(D3DRS_LOCALVIEWER, i == 0 ? TRUE : FALSE);
        Ball(c, 0.9f, 0.3f, 1.4f);
    }
}

void SpecularPower(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    // From the side: where a face turns away from the light, the highlight ends too.
    D3DLIGHT9 light = Directional(1, 0.4f, -0.5f, Color(0, 0, 0));
    light.Specular = Color(1, 1, 1, 0.6f);
    Use(c, 0, light);
    const float powers[6] = {0, 0.5f, 1, 5, 25, 100};
    for (int i = 0; i < 6; ++i) {
        Use(c, Material(Color(0, 0, 0.1f), {}, Color(0.9f, 0.8f, 0.3f), {}, powers[i]));
        c.Viewport(static_cast<DWORD>(i % 3) * 42, static_cast<DWORD>(i / 3) * 42, 42, 42);
        c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 1.0f, 1, 20));
        Ball(c);
    }
}

// Lit, but with the specular part left out.
void SpecularDisabled(Canvas& c) {
    SetUp(c);
    Use(c, Material(Color(0.3f, 0.1f, 0.1f), {}, Color(1, 1, 1), {}, 8));
    D3DLIGHT9 light = Directional(0.3f, 1, -0.3f, Color(1, 1, 1));
    light.Specular = Color(1, 1, 1);
    Use(c, 0, light);
    Ball(c, -1.6f, 0, 1.0f);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    Ball(c, 1.6f, 0, 1.0f);
}

// Normals through a scaling world matrix: left as they come out, or brought to unit length.
void NormalisedNormals(Canvas& c) {
    SetUp(c);
    Use(c, 0, Directional(0.5f, 1, -0.5f, Color(0.9f, 0.9f, 0.9f)));
    c.Transform(D3DTS_WORLD, Multiply(Scaling(2, 2, 2), Translation(-1.2f, 0, 0)));
    Ball(c, 0, 0, 0.5f);
    c.Rs(D3DRS_NORMALIZENORMALS, TRUE);
    c.Transform(D3DTS_WORLD, Multiply(Scaling(2, 2, 2), Translation(1.2f, 0, 0)));
    Ball(c, 0, 0, 0.5f);
    c.Transform(D3DTS_WORLD, Multiply(Scaling(0.6f, 0.6f, 2), Translation(0, 0, 0)));
    Ball(c, 0, 0, 0.5f);
}

constexpr DWORD kColored = D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_DIFFUSE | D3DFVF_SPECULAR;

void Sources(Canvas& c, DWORD fvf) {
    SetUp(c);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    c.Rs(D3DRS_AMBIENT, 0xff406040);
    Use(c, Material(Color(0.7f, 0.1f, 0.1f, 0.9f), Color(0.1f, 0.1f, 0.9f), Color(0.1f, 0.7f, 0.1f),
                    Color(0.05f, 0.05f, 0.25f), 10));
    D3DLIGHT9 light = Directional(0.4f, 1, -0.4f, Color(0.7f, 0.7f, 0.7f));
    light.Specular = Color(0.8f, 0.8f, 0.8f);
    light.Ambient = Color(0.2f, 0.2f, 0.2f);
    Use(c, 0, light);
    const D3DRENDERSTATETYPE states[4] = {D3DRS_DIFFUSEMATERIALSOURCE, D3DRS_AMBIENTMATERIALSOURCE,
                                          D3DRS_SPECULARMATERIALSOURCE, D3DRS_EMISSIVEMATERIALSOURCE};
    const DWORD sources[3] = {D3DMCS_MATERIAL, D3DMCS_COLOR1, D3DMCS_COLOR2};
    for (DWORD row = 0; row < 3; ++row) {
        for (DWORD column = 0; column < 4; ++column) {
            for (D3DRENDERSTATETYPE state : states) {
                c.Rs(state, D3DMCS_MATERIAL);
            }
            c.Rs(states[column], sources[row]);
            c.Viewport(column * 32, row * 32, 32, 32);
            c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 1.0f, 1, 20));
            Mesh ball(fvf);
            AddSphere(ball, 0, 0, 0, 1.8f, Rgba{0x60e0a020}, Rgba{0xb02040c0});
            c.Draw(D3DPT_TRIANGLELIST, ball);
        }
    }
}

// What each colour of the material comes from: diffuse, ambient, specular, emissive (across); the material,
// the first and the second vertex colour (down).
void MaterialSources(Canvas& c) { Sources(c, kColored); }
// The same with vertices that have the first colour only, or none: the material stands in.
void MaterialSourcesOneColor(Canvas& c) { Sources(c, D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_DIFFUSE); }
void MaterialSourcesNoColor(Canvas& c) { Sources(c, kLit); }

// The defaults (diffuse and specular from the vertex), and the switch that turns all vertex colours off.
void ColorVertex(Canvas& c) {
    SetUp(c);
    Use(c, Material(Color(0.2f, 0.3f, 0.9f, 0.7f), Color(0.5f, 0.5f, 0.5f), Color(0, 1, 0), {}, 10));
    c.Rs(D3DRS_AMBIENT, 0xff202020);
    D3DLIGHT9 light = Directional(0.4f, 1, -0.4f, Color(0.7f, 0.7f, 0.7f));
    light.Specular = Color(0.8f, 0.8f, 0.8f);
    Use(c, 0, light);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    for (DWORD i = 0; i < 2; ++i) {
        c.Rs(D3DRS_COLORVERTEX, i == 0 ? TRUE : FALSE);
        Mesh ball(kColored);
        AddSphere(ball, i == 0 ? -1.6f : 1.6f, 0, 0, 1.1f, Rgba{0x60e0a020}, Rgba{0xb0c04040});
        c.Draw(D3DPT_TRIANGLELIST, ball);
    }
}

// Ambient of the scene and of a light, emission; sums beyond one are cut.
void AmbientAndEmissive(Canvas& c) {
    SetUp(c);
    Use(c,
        Material(Color(0.3f, 0.3f, 0.3f, 0.25f), Color(0.5f, 1, 0.2f, 0.1f), {}, Color(0.3f, 0, 0.2f, 0.9f)));
    c.Rs(D3DRS_AMBIENT, 0xff804020);
    Ball(c, -1.8f, 0, 0.8f);
    D3DLIGHT9 light = Directional(0.4f, 1, -0.4f, Color(0, 0, 0));
    light.Ambient = Color(0.6f, 0.1f, 0.3f);
    Use(c, 0, light);
    Ball(c, 0, 0, 0.8f);
    light = Directional(0.2f, 1, -0.4f, Color(4, 4, 1));
    Use(c, 0, light);
    Ball(c, 1.8f, 0, 0.8f);
}

// A light's ambient part weakens with distance and ends with the range, as its diffuse part does.
void AmbientOfPointLight(Canvas& c) {
    SetUp(c);
    Use(c, Material(Color(0, 0, 0), Color(1, 1, 1)));
    D3DLIGHT9 light = Point(0.5f, 0, 0.2f, Color(0, 0, 0), 2.2f);
    light.Ambient = Color(0.9f, 0.6f, 0.3f);
    light.Attenuation0 = 0.8f;
    light.Attenuation1 = 0.9f;
    Use(c, 0, light);
    Wall(c);
}

// Lighting on, but the vertices have no normal: ambient and emission are all that is left.
void MissingNormals(Canvas& c) {
    SetUp(c);
    Use(c, Material(Color(0.8f, 0.7f, 0.6f), Color(0.5f, 0.5f, 0.5f), {}, Color(0, 0.1f, 0.2f)));
    c.Rs(D3DRS_AMBIENT, 0xff804040);
    Use(c, 0, Directional(0.4f, 1, -0.4f, Color(1, 1, 1)));
    Mesh plain(D3DFVF_XYZ);
    AddSphere(plain, -1.4f, 0, 0, 1);
    c.Draw(D3DPT_TRIANGLELIST, plain);
    Mesh colored(D3DFVF_XYZ | D3DFVF_DIFFUSE);
    AddSphere(colored, 1.4f, 0, 0, 1, Rgba{0xff20c080});
    c.Draw(D3DPT_TRIANGLELIST, colored);
}

// Lighting off: the vertex's colour, or white.
void LightingOff(Canvas& c) {
    SetUp(c);
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    Use(c, 0, Directional(0.4f, 1, -0.4f, Color(1, 1, 1)));
    Ball(c, -1.8f, 0, 0.8f);
    Mesh colored(D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_DIFFUSE);
    AddSphere(colored, 0, 0, 0, 0.8f, Rgba{0x8020c080});
    c.Draw(D3DPT_TRIANGLELIST, colored);
    Mesh both(kColored);
    AddSphere(both, 1.8f, 0, 0, 0.8f, Rgba{0x8020c080}, Rgba{0x80400040});
    c.Draw(D3DPT_TRIANGLELIST, both);
}

// A light that is enabled without ever having been set is a white one along +z; one switched off gives
// nothing.
void LightEnabling(Canvas& c) {
    SetUp(c);
    c.Check(c.device->LightEnable(3, TRUE));
    Ball(c, -1.8f, 0, 0.8f);
    c.Check(c.device->LightEnable(3, FALSE));
    Use(c, 1, Directional(1, 0, 0, Color(1, 0, 0)));
    Use(c, 2, Directional(0, 1, 0, Color(0, 1, 0)));
    c.Check(c.device->LightEnable(2, FALSE));
    Ball(c, 0, 0, 0.8f);
    c.Check(c.device->LightEnable(2, TRUE));
    const D3DLIGHT9 changed = Directional(-1, 0, 0, Color(0, 0, 1));
    c.Check(c.device->SetLight(1, &changed));  // an enabled light set anew stays enabled
    Ball(c, 1.8f, 0, 0.8f);
}

// A texture over lit vertices, the sum of specular behind it.
void LitTexture(Canvas& c) {
    SetUp(c);
    Use(c, Material(Color(1, 1, 1), {}, Color(1, 1, 1), {}, 20));
    D3DLIGHT9 light = Directional(0.4f, 1, -0.4f, Color(0.8f, 0.8f, 0.8f));
    light.Specular = Color(0.8f, 0.8f, 0.8f);
    Use(c, 0, light);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    c.Bind(0, c.Texture(16, 16, 1, D3DFMT_R5G6B5, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return ((x + 2) / 4 + (y + 2) / 4) % 2 == 0 ? 0xff2040c0 : 0xffc0a020;
    }));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    Mesh ball(D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_TEX1);
    AddSphere(ball, 0, 0, 0, 1.8f, {0}, {0}, 24, 32);
    c.Draw(D3DPT_TRIANGLELIST, ball);
}

}  // namespace

void AddLightCases(std::vector<Case>& cases) {
    cases.push_back({"light_directional", 64, 64, DirectionalLight});
    cases.push_back({"light_two_directional", 64, 64, TwoDirectional});
    cases.push_back({"light_point", 64, 64, PointLight});
    cases.push_back({"light_point_range", 64, 64, PointRange});
    cases.push_back({"light_point_attenuation", 96, 96, PointAttenuation});
    cases.push_back({"light_spot", 96, 96, SpotLight});
    cases.push_back({"light_eight", 64, 64, EightLights});
    cases.push_back({"light_world_space", 64, 64, LightInWorldSpace});
    cases.push_back({"light_specular_viewer", 128, 64, SpecularViewer});
    cases.push_back({"light_specular_power", 126, 84, SpecularPower});
    cases.push_back({"light_specular_disabled", 96, 48, SpecularDisabled});
    cases.push_back({"light_normalised_normals", 96, 64, NormalisedNormals});
    cases.push_back({"light_material_sources", 128, 96, MaterialSources});
    cases.push_back({"light_sources_one_color", 128, 96, MaterialSourcesOneColor});
    cases.push_back({"light_sources_no_color", 128, 96, MaterialSourcesNoColor});
    cases.push_back({"light_color_vertex", 96, 48, ColorVertex});
    cases.push_back({"light_ambient_emissive", 96, 48, AmbientAndEmissive});
    cases.push_back({"light_point_ambient", 64, 64, AmbientOfPointLight});
    cases.push_back({"light_missing_normals", 96, 48, MissingNormals});
    cases.push_back({"light_off", 96, 48, LightingOff});
    cases.push_back({"light_enabling", 96, 48, LightEnabling});
    cases.push_back({"light_texture", 64, 64, LitTexture});
}

}  // namespace conformance
