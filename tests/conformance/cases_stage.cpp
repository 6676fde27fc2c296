// The texture stage cascade: operations, arguments, results.
#include <initializer_list>

#include "conformance/canvas.h"

namespace conformance {
namespace {

constexpr DWORD kTextured = D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1;
constexpr DWORD kWithSpecular = D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_SPECULAR | D3DFVF_TEX1;

constexpr std::array<D3DCOLOR, 4> kDiffuse = {0xc0204080, 0x40ff8040, 0x8080ff20, 0xff60a0e0};
constexpr std::array<D3DCOLOR, 4> kSpecular = {0x30400010, 0x90004020, 0xd0102040, 0x60303000};

// Four by four texels that differ in every channel.
IDirect3DTexture9* Patches(Canvas& c) {
    return c.Texture(4, 4, 1, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return ((x * 70 + y * 15) << 24) | ((255 - x * 60) << 16) | ((y * 75 + 20) << 8) |
               (((x + y) * 37 + 10) & 0xff);
    });
}

void SetUp(Canvas& c) {
    c.Fill(0x80303030);
    c.Bind(0, Patches(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.Rs(D3DRS_TEXTUREFACTOR, 0xa0c06040);
}

void Cell(Canvas& c, float x, float y, float size, DWORD fvf = kTextured) {
    Mesh mesh(fvf);
    // A quarter of a pixel off, so that no sample lies on the line between two texels.
    AddRect(mesh, {x - 0.25f, y - 0.25f, x + size - 0.25f, y + size - 0.25f}, 0.5f, kDiffuse, {}, kSpecular);
    c.Draw(D3DPT_TRIANGLELIST, mesh);
}

constexpr DWORD kOperations[] = {
    D3DTOP_SELECTARG1,       D3DTOP_SELECTARG2,          D3DTOP_MODULATE,
    D3DTOP_MODULATE2X,       D3DTOP_MODULATE4X,          D3DTOP_ADD,
    D3DTOP_ADDSIGNED,        D3DTOP_ADDSIGNED2X,         D3DTOP_SUBTRACT,
    D3DTOP_ADDSMOOTH,        D3DTOP_BLENDDIFFUSEALPHA,   D3DTOP_BLENDTEXTUREALPHA,
    D3DTOP_BLENDFACTORALPHA, D3DTOP_BLENDTEXTUREALPHAPM, D3DTOP_BLENDCURRENTALPHA,
    D3DTOP_DOTPRODUCT3,      D3DTOP_MULTIPLYADD,         D3DTOP_LERP};
constexpr DWORD kColorOnly[] = {D3DTOP_MODULATEALPHA_ADDCOLOR, D3DTOP_MODULATECOLOR_ADDALPHA,
                                D3DTOP_MODULATEINVALPHA_ADDCOLOR, D3DTOP_MODULATEINVCOLOR_ADDALPHA};

void ColorOperations(Canvas& c) {
    SetUp(c);
    c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.Tss(0, D3DTSS_COLORARG0, D3DTA_TFACTOR);
    int i = 0;
    const auto draw = [&](DWORD op) {
        c.ColorOp(0, op, D3DTA_TEXTURE, D3DTA_DIFFUSE);
        Cell(c, F(i % 6 * 20 + 1), F(i / 6 * 20 + 1), 18);
        ++i;
    };
    for (DWORD op : kOperations) {
        draw(op);
    }
    for (DWORD op : kColorOnly) {
        draw(op);
    }
}

void AlphaOperations(Canvas& c) {
    SetUp(c);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.Tss(0, D3DTSS_ALPHAARG0, D3DTA_TFACTOR);
    int i = 0;
    for (DWORD op : kOperations) {
        if (op == D3DTOP_DOTPRODUCT3) {
            continue;  // colour only; it sets the alpha as well
        }
        if (op == D3DTOP_BLENDFACTORALPHA) {
            continue;  // Wine blends by the texture's alpha when only the alpha operation names the factor
        }
        c.AlphaOp(0, op, D3DTA_TEXTURE, D3DTA_DIFFUSE);
        Cell(c, F(i % 6 * 20 + 1), F(i / 6 * 20 + 1), 18);
        ++i;
    }
}

// The same operations in the second stage, on what the first has left (clamped to 0..1 in between).
void SecondStageOperations(Canvas& c) {
    SetUp(c);
    c.Bind(1, Patches(c));
    c.Filter(1, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.ColorOp(0, D3DTOP_MODULATE2X, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    c.AlphaOp(0, D3DTOP_MODULATE4X, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    c.Tss(1, D3DTSS_TEXCOORDINDEX, 0);
    c.Tss(1, D3DTSS_COLORARG0, D3DTA_DIFFUSE);
    c.Tss(1, D3DTSS_ALPHAARG0, D3DTA_DIFFUSE);
    int i = 0;
    for (DWORD op : kOperations) {
        c.ColorOp(1, op, D3DTA_TEXTURE, D3DTA_CURRENT);
        c.AlphaOp(1, op == D3DTOP_DOTPRODUCT3 ? static_cast<DWORD>(D3DTOP_MODULATE) : op, D3DTA_CURRENT,
                  D3DTA_TEXTURE);
        Cell(c, F(i % 6 * 20 + 1), F(i / 6 * 20 + 1), 18);
        ++i;
    }
}

constexpr DWORD kArguments[] = {D3DTA_DIFFUSE, D3DTA_CURRENT, D3DTA_TEXTURE, D3DTA_TFACTOR, D3DTA_SPECULAR};
constexpr DWORD kModifiers[] = {0, D3DTA_COMPLEMENT, D3DTA_ALPHAREPLICATE,
                                D3DTA_COMPLEMENT | D3DTA_ALPHAREPLICATE};

// Each argument (across) with each modifier (down), as the first and as the second argument.
void Arguments(Canvas& c) {
    SetUp(c);
    for (int column = 0; column < 5; ++column) {
        for (int row = 0; row < 4; ++row) {
            const DWORD argument = kArguments[column] | kModifiers[row];
            c.ColorOp(0, D3DTOP_SELECTARG1, argument, D3DTA_TFACTOR);
            c.AlphaOp(0, D3DTOP_SELECTARG1, argument, D3DTA_TFACTOR);
            Cell(c, F(column * 24 + 1), F(row * 20 + 1), 10, kWithSpecular);
            c.ColorOp(0, D3DTOP_SUBTRACT, D3DTA_TFACTOR, argument);
            c.AlphaOp(0, D3DTOP_ADDSIGNED, D3DTA_TFACTOR, argument);
            Cell(c, F(column * 24 + 12), F(row * 20 + 1), 10, kWithSpecular);
        }
    }
}

void ThirdArguments(Canvas& c) {
    SetUp(c);
    for (int column = 0; column < 5; ++column) {
        for (int row = 0; row < 4; ++row) {
            const DWORD argument = kArguments[column] | kModifiers[row];
            for (int op = 0; op < 2; ++op) {
                const auto operation = static_cast<DWORD>(op == 0 ? D3DTOP_MULTIPLYADD : D3DTOP_LERP);
                c.ColorOp(0, operation, D3DTA_TEXTURE, D3DTA_DIFFUSE);
                c.AlphaOp(0, operation, D3DTA_TFACTOR, D3DTA_DIFFUSE);
                c.Tss(0, D3DTSS_COLORARG0, argument);
                c.Tss(0, D3DTSS_ALPHAARG0, argument);
                Cell(c, F(column * 24 + op * 11 + 1), F(row * 20 + 1), 10, kWithSpecular);
            }
        }
    }
}

// A result put aside in TEMP, and taken up two stages later; TEMP reads 0 before anything is in it.
void TemporaryRegister(Canvas& c) {
    SetUp(c);
    c.Bind(1, Patches(c));
    c.Tss(1, D3DTSS_TEXCOORDINDEX, 0);
    c.ColorOp(0, D3DTOP_ADD, D3DTA_TEXTURE, D3DTA_TEMP);
    c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.Tss(0, D3DTSS_RESULTARG, D3DTA_TEMP);
    c.ColorOp(1, D3DTOP_MODULATE, D3DTA_CURRENT, D3DTA_TFACTOR);  // CURRENT is still the diffuse colour
    c.AlphaOp(1, D3DTOP_SELECTARG1, D3DTA_CURRENT);
    Cell(c, 2, 2, 28);
    c.ColorOp(2, D3DTOP_ADD, D3DTA_CURRENT, D3DTA_TEMP);
    c.AlphaOp(2, D3DTOP_SELECTARG2, D3DTA_CURRENT, D3DTA_TEMP);
    Cell(c, 34, 2, 28);
    c.ColorOp(2, D3DTOP_SUBTRACT, D3DTA_TEMP | D3DTA_COMPLEMENT, D3DTA_CURRENT | D3DTA_ALPHAREPLICATE);
    Cell(c, 2, 34, 28);
    c.ColorOp(2, D3DTOP_LERP, D3DTA_TEMP, D3DTA_DIFFUSE);
    c.Tss(2, D3DTSS_COLORARG0, D3DTA_TEMP | D3DTA_ALPHAREPLICATE);
    Cell(c, 34, 34, 28);
}

// All eight stages add a little of their own texture.
void EightStages(Canvas& c) {
    SetUp(c);
    for (DWORD stage = 0; stage < 8; ++stage) {
        c.Bind(stage, c.Texture(8, 8, 1, D3DFMT_A8R8G8B8, [stage](UINT x, UINT y, UINT) -> D3DCOLOR {
            const bool lit = x == stage || y == (stage + 3) % 8;
            return lit ? 0xff000000 | (0x40u << (stage % 3 * 8)) | 0x101010 : 0;
        }));
        c.Filter(stage, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
        c.Tss(stage, D3DTSS_TEXCOORDINDEX, 0);
        c.ColorOp(stage, D3DTOP_ADD, D3DTA_TEXTURE, D3DTA_CURRENT);
        c.AlphaOp(stage, D3DTOP_SELECTARG1, D3DTA_CURRENT);
    }
    Cell(c, 0, 0, 64);
}

// The cascade ends at the first stage whose colour is disabled, whatever stands behind it.
void EndsAtFirstDisabled(Canvas& c) {
    SetUp(c);
    c.Bind(2, Patches(c));
    c.Tss(2, D3DTSS_TEXCOORDINDEX, 0);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_DIFFUSE);
    c.ColorOp(2, D3DTOP_SELECTARG1, D3DTA_TEXTURE | D3DTA_COMPLEMENT);
    c.AlphaOp(2, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    Cell(c, 2, 2, 28);
    c.AlphaOp(1, D3DTOP_SELECTARG1, D3DTA_TFACTOR);  // an alpha operation alone keeps nothing alive
    Cell(c, 34, 2, 28);
    c.ColorOp(1, D3DTOP_SELECTARG1, D3DTA_CURRENT);
    Cell(c, 2, 34, 28);
    c.ColorOp(0, D3DTOP_DISABLE, D3DTA_TEXTURE);  // nothing at all: the diffuse colour
    Cell(c, 34, 34, 28);
}

// Colour on, alpha off: the alpha passes through.
void AlphaDisabled(Canvas& c) {
    SetUp(c);
    c.Bind(1, Patches(c));
    c.Tss(1, D3DTSS_TEXCOORDINDEX, 0);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.AlphaOp(0, D3DTOP_DISABLE, D3DTA_TEXTURE);
    Cell(c, 2, 2, 28);
    c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.ColorOp(1, D3DTOP_MODULATE, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    c.AlphaOp(1, D3DTOP_DISABLE, D3DTA_DIFFUSE);
    Cell(c, 34, 2, 28);
}

// The defaults of a fresh device: the texture times the diffuse colour, the texture's alpha.
void Defaults(Canvas& c) {
    c.Fill(0x80303030);
    Cell(c, 2, 2, 28);
    c.Bind(0, Patches(c));
    Cell(c, 34, 2, 28);
}

// A stage whose texture is not there, kept to where white and CURRENT give the same: a missing texture is
// published as opaque white, but Wine gives CURRENT for the whole stage (the native rule is tested in
// conformance_test.cpp).
void UnboundTexture(Canvas& c) {
    SetUp(c);
    c.Bind(0, nullptr);
    c.ColorOp(0, D3DTOP_MODULATE, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    c.AlphaOp(0, D3DTOP_SELECTARG2, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    Cell(c, 2, 2, 28);
    c.ColorOp(0, D3DTOP_SELECTARG2, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    Cell(c, 34, 2, 28);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_DIFFUSE);
    c.ColorOp(1, D3DTOP_MODULATE, D3DTA_CURRENT, D3DTA_TFACTOR);
    c.AlphaOp(1, D3DTOP_SELECTARG1, D3DTA_CURRENT);
    Cell(c, 2, 34, 28);
}

// Two coordinate sets, taken crosswise.
void CoordinateIndex(Canvas& c) {
    SetUp(c);
    c.Bind(1, Patches(c));
    c.Filter(1, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.ColorOp(1, D3DTOP_ADDSIGNED, D3DTA_TEXTURE, D3DTA_CURRENT);
    c.AlphaOp(1, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    for (int i = 0; i < 4; ++i) {
        c.Tss(0, D3DTSS_TEXCOORDINDEX, static_cast<DWORD>(i % 2));
        c.Tss(1, D3DTSS_TEXCOORDINDEX, static_cast<DWORD>(i / 2));
        const float x = F(i % 2 * 32) + 1.75f;
        const float y = F(i / 2 * 32) + 1.75f;
        Mesh mesh(D3DFVF_XYZRHW | D3DFVF_TEX2);
        mesh.V(x, y, 0.5, 1, 0, 0, 1, 0).V(x + 28, y, 0.5, 1, 1, 0, 1, 1);
        mesh.V(x, y + 28, 0.5, 1, 0, 1, 0, 0).V(x + 28, y + 28, 0.5, 1, 1, 1, 0, 1);
        c.Draw(D3DPT_TRIANGLESTRIP, mesh);
    }
}

// Directions as colours, against a light in the texture factor.
void DotProduct(Canvas& c) {
    c.Fill(0x80303030);
    c.Bind(0, c.Texture(32, 32, 1, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return 0x40000000 | ((x * 8 + 4) << 16) | ((y * 8 + 4) << 8) | 0xd0;
    }));
    c.Filter(0, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TFACTOR);
    const DWORD lights[4] = {0x208080ff, 0x60ff8080, 0xa000ff80, 0xe04060e0};
    for (int i = 0; i < 4; ++i) {
        c.Rs(D3DRS_TEXTUREFACTOR, lights[i]);
        c.ColorOp(0, D3DTOP_DOTPRODUCT3, D3DTA_TEXTURE, D3DTA_TFACTOR);
        Cell(c, F(i % 2 * 32 + 2), F(i / 2 * 32 + 2), 28);
    }
}

// The specular colour is added behind the cascade, without touching the alpha.
void SpecularAdd(Canvas& c) {
    SetUp(c);
    c.ColorOp(0, D3DTOP_MODULATE, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    Cell(c, 2, 2, 28, kWithSpecular);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    Cell(c, 34, 2, 28, kWithSpecular);
    c.ColorOp(0, D3DTOP_DISABLE, D3DTA_TEXTURE);
    Cell(c, 2, 34, 28, kWithSpecular);
    Cell(c, 34, 34, 28);  // no specular in the vertex: nothing is added
}

// Vertices without a diffuse colour read white.
void WithoutDiffuse(Canvas& c) {
    SetUp(c);
    for (int i = 0; i < 2; ++i) {
        c.ColorOp(0, i == 0 ? D3DTOP_MODULATE : D3DTOP_SELECTARG2, D3DTA_TEXTURE, D3DTA_DIFFUSE);
        c.AlphaOp(0, D3DTOP_MODULATE, D3DTA_TEXTURE, D3DTA_DIFFUSE);
        Mesh mesh(D3DFVF_XYZRHW | D3DFVF_TEX1);
        AddRect(mesh, {F(i * 32) + 1.75f, 1.75f, F(i * 32) + 29.75f, 29.75f}, 0.5f, Rgba{0});
        c.Draw(D3DPT_TRIANGLELIST, mesh);
    }
}

// One texture as a shadow or light map over another, as materials with two stages do it.
void LightMap(Canvas& c) {
    SetUp(c);
    c.Bind(1, c.Texture(16, 16, 1, D3DFMT_L8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return 0xff000000 | (((x - 8) * (x - 8) + (y - 8) * (y - 8) < 40 ? 255u : 60u) << 16);
    }));
    c.Tss(1, D3DTSS_TEXCOORDINDEX, 0);
    c.Filter(1, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.ColorOp(0, D3DTOP_MODULATE, D3DTA_TEXTURE, D3DTA_DIFFUSE);
    c.ColorOp(1, D3DTOP_MODULATE, D3DTA_TEXTURE, D3DTA_CURRENT);
    c.AlphaOp(1, D3DTOP_SELECTARG2, D3DTA_TEXTURE, D3DTA_CURRENT);
    Cell(c, 0, 0, 64);
}

}  // namespace

void AddStageCases(std::vector<Case>& cases) {
    cases.push_back({"stage_color_operations", 120, 80, ColorOperations});
    cases.push_back({"stage_alpha_operations", 120, 60, AlphaOperations});
    cases.push_back({"stage_second_operations", 120, 60, SecondStageOperations});
    cases.push_back({"stage_arguments", 120, 80, Arguments});
    cases.push_back({"stage_third_arguments", 120, 80, ThirdArguments});
    cases.push_back({"stage_temporary", 64, 64, TemporaryRegister});
    cases.push_back({"stage_eight", 64, 64, EightStages});
    cases.push_back({"stage_first_disabled", 64, 64, EndsAtFirstDisabled});
    cases.push_back({"stage_alpha_disabled", 64, 32, AlphaDisabled});
    cases.push_back({"stage_defaults", 64, 32, Defaults});
    cases.push_back({"stage_unbound_texture", 64, 64, UnboundTexture});
    cases.push_back({"stage_coordinate_index", 64, 64, CoordinateIndex});
    cases.push_back({"stage_dot_product", 64, 64, DotProduct});
    cases.push_back({"stage_specular_add", 64, 64, SpecularAdd});
    cases.push_back({"stage_without_diffuse", 64, 32, WithoutDiffuse});
    cases.push_back({"stage_light_map", 64, 64, LightMap});
}

}  // namespace conformance
