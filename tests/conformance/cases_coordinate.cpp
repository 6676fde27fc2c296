// Texture coordinates on their way to the sampler: matrices, projection, generated coordinates, cube maps.
#include <cmath>

#include "conformance/canvas.h"

namespace conformance {
namespace {

IDirect3DTexture9* Grid(Canvas& c) {
    return c.Texture(8, 8, 1, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return 0xff000000 | (x * 36 << 16) | (y * 36 << 8) | ((x + y) % 2 == 0 ? 0xff : 0x40);
    });
}

void SetUp(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Bind(0, Grid(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
}

// A matrix whose every element does something different to the coordinates.
D3DMATRIX Skewed() {
    D3DMATRIX m = Identity();
    const float values[4][4] = {{0.9f, 0.2f, 0.1f, 0.15f},
                                {-0.3f, 0.8f, 0.2f, 0.1f},
                                {0.11f, 0.37f, 0.9f, 0.2f},
                                {0.07f, 0.43f, 0.3f, 0.8f}};
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            m.m[row][column] = values[row][column];
        }
    }
    return m;
}

// Input with `size` coordinates, drawn over a square.
void Square(Canvas& c, int size, float x, float y, float extent) {
    const DWORD formats[5] = {0, D3DFVF_TEXCOORDSIZE1(0), D3DFVF_TEXCOORDSIZE2(0), D3DFVF_TEXCOORDSIZE3(0),
                              D3DFVF_TEXCOORDSIZE4(0)};
    Mesh mesh(D3DFVF_XYZ | D3DFVF_TEX1 | formats[size]);
    for (int corner = 0; corner < 4; ++corner) {
        const float u = F(corner % 2);
        const float v = F(corner / 2);
        const float px = x + u * extent - 0.25f;
        const float py = y + v * extent - 0.25f;
        const float s = 0.02f + u * 1.1f;
        const float t = 0.03f + v * 1.3f;
        const float r = 0.2f + u * 0.3f + v * 0.5f;
        const float q = 1.0f + u * 0.5f - v * 0.25f;
        switch (size) {
            case 1:
                mesh.V(px, py, 0.5f, s);
                break;
            case 2:
                mesh.V(px, py, 0.5f, s, t);
                break;
            case 3:
                mesh.V(px, py, 0.5f, s, t, r);
                break;
            default:
                mesh.V(px, py, 0.5f, s, t, r, q);
                break;
        }
    }
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

// Inputs of 1 to 4 coordinates (across) with the matrix off and with counts 2 to 4 (down). Left out: a count
// of 1, which Wine takes for no matrix at all.
void Matrices(Canvas& c) {
    SetUp(c);
    c.Transform(D3DTS_TEXTURE0, Skewed());
    for (int row = 0; row < 4; ++row) {
        c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, static_cast<DWORD>(row == 0 ? 0 : row + 1));
        for (int size = 1; size <= 4; ++size) {
            Square(c, size, F((size - 1) * 24 + 1), F(row * 24 + 1), 22);
        }
    }
}

// The last coordinate that the count names divides the others. Left out: a count of 2, where Wine divides by
// the fourth all the same, and inputs of 2 coordinates, which Wine does not extend as (u, v, 1, 0) here.
void Projected(Canvas& c) {
    SetUp(c);
    c.Transform(D3DTS_TEXTURE0, Skewed());
    for (int count = 3; count <= 4; ++count) {
        c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, static_cast<DWORD>(count) | D3DTTFF_PROJECTED);
        for (int size = 3; size <= 4; ++size) {
            Square(c, size, F((size - 3) * 32 + 1), F((count - 3) * 32 + 1), 30);
        }
    }
}

// Translation of two coordinates stands in the third row.
void Translation2(Canvas& c) {
    SetUp(c);
    c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
    D3DMATRIX m = Identity();
    m.m[2][0] = 0.25f;
    m.m[2][1] = -0.125f;
    c.Transform(D3DTS_TEXTURE0, m);
    Square(c, 2, 1, 1, 30);
    m = Identity();
    m.m[3][0] = 0.25f;  // the fourth row must not move them
    m.m[3][1] = -0.125f;
    c.Transform(D3DTS_TEXTURE0, m);
    Square(c, 2, 33, 1, 30);
    m = Rotation(2, 0.6f);  // turned about the middle
    m.m[2][0] = 0.5f - 0.5f * m.m[0][0] - 0.5f * m.m[1][0];
    m.m[2][1] = 0.5f - 0.5f * m.m[0][1] - 0.5f * m.m[1][1];
    c.Transform(D3DTS_TEXTURE0, m);
    Square(c, 2, 1, 33, 30);
    c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_DISABLE);
    Square(c, 2, 33, 33, 30);
}

// Pre-transformed vertices skip the matrix.
void ScreenVertices(Canvas& c) {
    SetUp(c);
    c.Transform(D3DTS_TEXTURE0, Scaling(3, 3, 1));
    c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
    c.TexturedRect({1.3f, 1.3f, 31.3f, 31.3f});
    Square(c, 2, 33, 1, 30);
}

// Each stage has a matrix of its own over one shared coordinate set.
void TwoStages(Canvas& c) {
    SetUp(c);
    c.Bind(1, Grid(c));
    c.Filter(1, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.Tss(1, D3DTSS_TEXCOORDINDEX, 0);
    c.ColorOp(1, D3DTOP_ADDSIGNED, D3DTA_TEXTURE, D3DTA_CURRENT);
    c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
    c.Tss(1, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
    c.Transform(D3DTS_TEXTURE0, Scaling(0.5f, 2, 1));
    c.Transform(D3DTS_TEXTURE1, Rotation(2, 0.5f));
    Square(c, 2, 2, 2, 60);
}

constexpr DWORD kLitTextured = D3DFVF_XYZ | D3DFVF_NORMAL;

void Ball(Canvas& c) {
    Mesh ball(kLitTextured);
    AddSphere(ball, 0, 0, 0, 1.6f, {0}, {0}, 24, 32);
    c.Draw(D3DPT_TRIANGLELIST, ball);
}

void GenerationSetUp(Canvas& c, DWORD kind) {
    c.Fill(0xff202020);
    c.Camera();
    c.Transform(D3DTS_WORLD, Multiply(Scaling(1.0f, 0.8f, 1.1f), Rotation(2, 0.5f)));
    c.Transform(D3DTS_VIEW, LookAtRH(0.8f, -3.6f, 1.2f, 0, 0, 0));
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Bind(0, Grid(c));
    c.Filter(0, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.Samp(0, D3DSAMP_ADDRESSU, D3DTADDRESS_MIRROR);
    c.Samp(0, D3DSAMP_ADDRESSV, D3DTADDRESS_MIRROR);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.Tss(0, D3DTSS_TEXCOORDINDEX, kind);
}

// Generated coordinates as they are, then through a matrix that brings -1..1 to 0..1.
void Generated(Canvas& c, DWORD kind) {
    GenerationSetUp(c, kind);
    c.Viewport(0, 0, 64, 64);
    c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 1.0f, 1, 20));
    Ball(c);
    c.Viewport(64, 0, 64, 64);
    c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
    D3DMATRIX m = Scaling(0.5f, -0.5f, 0.5f);
    m.m[2][0] = 0.2f;
    m.m[3][0] = 0.5f;
    m.m[3][1] = 0.5f;
    c.Transform(D3DTS_TEXTURE0, m);
    Ball(c);
}

void GeneratedNormal(Canvas& c) { Generated(c, D3DTSS_TCI_CAMERASPACENORMAL); }
void GeneratedPosition(Canvas& c) { Generated(c, D3DTSS_TCI_CAMERASPACEPOSITION); }
void GeneratedReflection(Canvas& c) { Generated(c, D3DTSS_TCI_CAMERASPACEREFLECTIONVECTOR); }
void GeneratedSphereMap(Canvas& c) { Generated(c, D3DTSS_TCI_SPHEREMAP); }

// A picture thrown onto the scene by a projector: camera space position, four coordinates, projected.
void ProjectedFromCamera(Canvas& c) {
    GenerationSetUp(c, D3DTSS_TCI_CAMERASPACEPOSITION);
    c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 1.0f, 1, 20));
    c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT4 | D3DTTFF_PROJECTED);
    D3DMATRIX m = Multiply(Translation(0.5f, 0.3f, 0), PerspectiveRH(0.6f, 1.0f, 1, 20));
    m = Multiply(m, Multiply(Scaling(0.5f, -0.5f, 1), Translation(0.5f, 0.5f, 0)));
    c.Transform(D3DTS_TEXTURE0, m);
    Ball(c);
}

// The set that the generation's lower half names does not matter for what is generated, only for the wrap.
void GeneratedWithIndex(Canvas& c) {
    GenerationSetUp(c, D3DTSS_TCI_CAMERASPACENORMAL | 3);
    c.Bind(1, Grid(c));
    c.Filter(1, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.Tss(1, D3DTSS_TEXCOORDINDEX, D3DTSS_TCI_CAMERASPACEPOSITION | 1);
    c.ColorOp(1, D3DTOP_ADDSIGNED, D3DTA_TEXTURE, D3DTA_CURRENT);
    Ball(c);
}

D3DCOLOR FaceColor(UINT face, UINT x, UINT y, UINT size) {
    const D3DCOLOR colors[6] = {0xff800000, 0xff008000, 0xff000080, 0xff808000, 0xff800080, 0xff008080};
    const UINT step = 120 / size;
    return colors[face] + ((x * step) << 16) + ((y * step) << 8) +
           (x < size / 4 && y < size / 4 ? 0x70u : 0u);
}

IDirect3DCubeTexture9* Cube(Canvas& c, UINT size) {
    IDirect3DCubeTexture9* cube = nullptr;
    c.Check(c.device->CreateCubeTexture(size, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, &cube, nullptr));
    if (c.Keep(cube) == nullptr) {
        return nullptr;
    }
    for (UINT face = 0; face < 6; ++face) {
        D3DLOCKED_RECT locked = {};
        c.Check(cube->LockRect(static_cast<D3DCUBEMAP_FACES>(face), 0, &locked, nullptr, 0));
        for (UINT y = 0; y < size; ++y) {
            for (UINT x = 0; x < size; ++x) {
                EncodeTexel(
                    D3DFMT_A8R8G8B8, FaceColor(face, x, y, size),
                    static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y + x * 4u);
            }
        }
        c.Check(cube->UnlockRect(static_cast<D3DCUBEMAP_FACES>(face), 0));
    }
    return cube;
}

void ClampCube(Canvas& c, DWORD filter) {
    c.Filter(0, filter, filter, D3DTEXF_NONE);
    c.Samp(0, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP);
    c.Samp(0, D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP);
    c.Samp(0, D3DSAMP_ADDRESSW, D3DTADDRESS_CLAMP);
}

// All directions: longitude across, latitude down, as three-coordinate vertices. Every face is seen, up to
// its edges.
void Panorama(Canvas& c, float left, float top, float w, float h) {
    constexpr int kColumns = 24;
    constexpr int kRows = 12;
    Mesh mesh(D3DFVF_XYZRHW | D3DFVF_TEX1 | D3DFVF_TEXCOORDSIZE3(0));
    const auto put = [&](int column, int row) {
        // Turned a little, so that no sample lies on the line between two faces or two texels.
        const float longitude = 6.2831853f * F(column) / F(kColumns) + 0.013f;
        const float latitude = 3.1f * F(row) / F(kRows) + 0.02f;
        mesh.V(left + w * F(column) / F(kColumns), top + h * F(row) / F(kRows), 0.5f, 1.0f,
               std::sin(latitude) * std::sin(longitude), std::cos(latitude),
               std::sin(latitude) * std::cos(longitude));
    };
    for (int row = 0; row < kRows; ++row) {
        for (int column = 0; column < kColumns; ++column) {
            put(column, row);
            put(column + 1, row);
            put(column, row + 1);
            put(column, row + 1);
            put(column + 1, row);
            put(column + 1, row + 1);
        }
    }
    c.Draw(D3DPT_TRIANGLELIST, mesh);
}

void CubeFaces(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, Cube(c, 8));
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    ClampCube(c, D3DTEXF_POINT);
    Panorama(c, 2, 2, 124, 60);
}

void CubeGenerated(Canvas& c, DWORD kind) {
    GenerationSetUp(c, kind);
    c.Bind(0, Cube(c, 16));
    ClampCube(c, D3DTEXF_LINEAR);
    c.Viewport(0, 0, 64, 64);
    c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 1.0f, 1, 20));
    c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT3);
    Ball(c);
    c.Viewport(64, 0, 64, 64);
    D3DMATRIX turn = Multiply(Rotation(0, 0.9f), Rotation(2, 0.4f));
    c.Transform(D3DTS_TEXTURE0, turn);
    Ball(c);
}

void CubeReflection(Canvas& c) { CubeGenerated(c, D3DTSS_TCI_CAMERASPACEREFLECTIONVECTOR); }
void CubeNormal(Canvas& c) { CubeGenerated(c, D3DTSS_TCI_CAMERASPACENORMAL); }

// Faces filled from a surface in system memory, level 0 only; the device makes the levels beneath.
void CubeUpdateAndLevels(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DCubeTexture9* cube = nullptr;
    c.Check(c.device->CreateCubeTexture(16, 0, D3DUSAGE_AUTOGENMIPMAP, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT,
                                        &cube, nullptr));
    IDirect3DSurface9* plain = nullptr;
    c.Check(
        c.device->CreateOffscreenPlainSurface(16, 16, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM, &plain, nullptr));
    if (c.Keep(cube) == nullptr || c.Keep(plain) == nullptr) {
        return;
    }
    for (UINT face = 0; face < 6; ++face) {
        D3DLOCKED_RECT locked = {};
        c.Check(plain->LockRect(&locked, nullptr, 0));
        for (UINT y = 0; y < 16; ++y) {
            for (UINT x = 0; x < 16; ++x) {
                EncodeTexel(
                    D3DFMT_A8R8G8B8, FaceColor(face, x, y, 16),
                    static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y + x * 4u);
            }
        }
        c.Check(plain->UnlockRect());
        IDirect3DSurface9* target = nullptr;
        c.Check(cube->GetCubeMapSurface(static_cast<D3DCUBEMAP_FACES>(face), 0, &target));
        c.Check(c.device->UpdateSurface(plain, nullptr, target, nullptr));
        target->Release();
    }
    cube->GenerateMipSubLevels();
    c.Bind(0, cube);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    ClampCube(c, D3DTEXF_POINT);
    Panorama(c, 2, 2, 124, 40);
    c.Samp(0, D3DSAMP_MIPFILTER, D3DTEXF_POINT);
    c.Samp(0, D3DSAMP_MIPMAPLODBIAS, Bits(4.0f));  // the smallest level: one colour a face
    Panorama(c, 2, 44, 124, 18);
}

// Each face drawn into, then looked at.
void CubeTarget(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DCubeTexture9* cube = nullptr;
    c.Check(c.device->CreateCubeTexture(16, 1, D3DUSAGE_RENDERTARGET, D3DFMT_A8R8G8B8, D3DPOOL_DEFAULT, &cube,
                                        nullptr));
    if (c.Keep(cube) == nullptr) {
        return;
    }
    IDirect3DSurface9* depth = c.DepthSurface(16, 16);
    for (UINT face = 0; face < 6; ++face) {
        IDirect3DSurface9* target = nullptr;
        c.Check(cube->GetCubeMapSurface(static_cast<D3DCUBEMAP_FACES>(face), 0, &target));
        c.Target(target, depth);
        c.Fill(FaceColor(face, 0, 8, 16));
        c.Rect({0, 0, 5, 3}, 0.5f, 0xffffffff);
        c.Rect({10, 4, 16, 16}, 0.5f, FaceColor(face, 15, 2, 16));
        target->Release();
    }
    c.Target(c.BackBuffer(), c.AutoDepth());
    c.Bind(0, cube);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    ClampCube(c, D3DTEXF_POINT);
    Panorama(c, 2, 2, 124, 60);
}

}  // namespace

void AddCoordinateCases(std::vector<Case>& cases) {
    cases.push_back({"coordinate_matrices", 96, 96, Matrices});
    cases.push_back({"coordinate_projected", 64, 64, Projected});
    cases.push_back({"coordinate_translation", 64, 64, Translation2});
    cases.push_back({"coordinate_screen_vertices", 64, 32, ScreenVertices});
    cases.push_back({"coordinate_two_stages", 64, 64, TwoStages});
    cases.push_back({"coordinate_camera_normal", 128, 64, GeneratedNormal});
    cases.push_back({"coordinate_camera_position", 128, 64, GeneratedPosition});
    cases.push_back({"coordinate_reflection", 128, 64, GeneratedReflection});
    cases.push_back({"coordinate_sphere_map", 128, 64, GeneratedSphereMap});
    cases.push_back({"coordinate_projector", 64, 64, ProjectedFromCamera});
    cases.push_back({"coordinate_generated_index", 64, 64, GeneratedWithIndex});
    cases.push_back({"coordinate_cube_faces", 128, 64, CubeFaces});
    cases.push_back({"coordinate_cube_reflection", 128, 64, CubeReflection});
    cases.push_back({"coordinate_cube_normal", 128, 64, CubeNormal});
    cases.push_back({"coordinate_cube_update_levels", 128, 64, CubeUpdateAndLevels});
    cases.push_back({"coordinate_cube_target", 128, 64, CubeTarget});
}

}  // namespace conformance
