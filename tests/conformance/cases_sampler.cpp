// Address modes, filters, mip levels.
#include <initializer_list>

#include "conformance/canvas.h"

namespace conformance {
namespace {

IDirect3DTexture9* Marked(Canvas& c, UINT size = 8) {
    return c.Texture(size, size, 1, D3DFMT_A8R8G8B8, [size](UINT x, UINT y, UINT) -> D3DCOLOR {
        const UINT step = 255 / (size - 1);
        return ((x == 0 || y == 0) ? 0x80000000 : 0xff000000) | (x * step << 16) | (y * step << 8) |
               (x == y ? 0xff : 0x20);
    });
}

// Levels of one colour each, so that what is seen is the level that was taken.
IDirect3DTexture9* ColoredLevels(Canvas& c, UINT size, UINT levels) {
    return c.Texture(size, size, levels, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT level) -> D3DCOLOR {
        const D3DCOLOR colors[8] = {0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffff00,
                                    0xffff00ff, 0xff00ffff, 0xffffffff, 0xff808080};
        const D3DCOLOR darker = (x + y) % 2 == 0 ? 0 : 0x00303030;
        return colors[level % 8] & ~darker;
    });
}

constexpr DWORD kModes[] = {D3DTADDRESS_WRAP, D3DTADDRESS_MIRROR, D3DTADDRESS_CLAMP, D3DTADDRESS_BORDER,
                            D3DTADDRESS_MIRRORONCE};

// Each mode in u (across) with each in v (down).
void AddressModes(Canvas& c, DWORD filter) {
    c.Fill(0xff202020);
    c.Bind(0, Marked(c));
    c.Filter(0, filter, filter, D3DTEXF_NONE);
    c.Samp(0, D3DSAMP_BORDERCOLOR, 0x60ff8000);
    for (int row = 0; row < 5; ++row) {
        for (int column = 0; column < 5; ++column) {
            c.Samp(0, D3DSAMP_ADDRESSU, kModes[column]);
            c.Samp(0, D3DSAMP_ADDRESSV, kModes[row]);
            const float x = F(column * 30 + 1);
            const float y = F(row * 30 + 1);
            // An eighth of a pixel off, so that no sample lies on the line between two texels.
            c.TexturedRect({x, y, x + 28, y + 28}, {-1.51f, -1.51f, 2.49f, 2.49f});
        }
    }
}

void AddressPoint(Canvas& c) { AddressModes(c, D3DTEXF_POINT); }
void AddressLinear(Canvas& c) { AddressModes(c, D3DTEXF_LINEAR); }

// A quad from whole to whole coordinates samples half a texel off; moved by half a pixel it meets the texels.
void TexelAlignment(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, Marked(c, 16));
    c.Samp(0, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP);
    c.Samp(0, D3DSAMP_ADDRESSV, D3DTADDRESS_CLAMP);
    c.Filter(0, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.TexturedRect({4, 4, 20, 20});
    c.TexturedRect({27.5f, 3.5f, 43.5f, 19.5f});
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.TexturedRect({27.5f, 27.5f, 43.5f, 43.5f});
    c.TexturedRect({4.25f, 28.25f, 20.25f, 44.25f});
    c.Filter(0, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.TexturedRect({48, 4, 64, 60}, {0, 0, 1, 1});
}

void Magnification(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, Marked(c, 4));
    const DWORD filters[2] = {D3DTEXF_POINT, D3DTEXF_LINEAR};
    for (int i = 0; i < 2; ++i) {
        c.Filter(0, D3DTEXF_POINT, filters[i], D3DTEXF_NONE);
        c.TexturedRect({F(i * 48 + 2), 2, F(i * 48 + 46), 46}, {0.03f, 0.03f, 1.03f, 1.03f});
    }
}

// Minification 1, 2, 3, 4, 6 and 8 times (across), with each mip filter and each min filter (down).
void Minification(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, ColoredLevels(c, 64, 0));
    const DWORD mins[2] = {D3DTEXF_POINT, D3DTEXF_LINEAR};
    const DWORD mips[3] = {D3DTEXF_NONE, D3DTEXF_POINT, D3DTEXF_LINEAR};
    const float scales[6] = {0.5f, 1.2f, 2.2f, 3.3f, 6.0f, 9.5f};
    for (int row = 0; row < 6; ++row) {
        c.Filter(0, mins[row % 2], D3DTEXF_LINEAR, mips[row / 2]);
        for (int column = 0; column < 6; ++column) {
            const float x = F(column * 16 + 1);
            const float y = F(row * 16 + 1);
            const float extent = 14.0f * scales[column] / 64.0f;
            c.TexturedRect({x, y, x + 14, y + 14}, {0.01f, 0.01f, 0.01f + extent, 0.01f + extent});
        }
    }
}

// A floor that runs away from the eye goes through the levels, in steps and smoothly.
void FloorLevels(Canvas& c) {
    c.Fill(0xff000020);
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Bind(0, ColoredLevels(c, 64, 0));
    const DWORD mips[2] = {D3DTEXF_POINT, D3DTEXF_LINEAR};
    for (int i = 0; i < 2; ++i) {
        c.Camera();
        c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
        c.Viewport(static_cast<DWORD>(i) * 64, 0, 64, 64);
        c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 1.0f, 0.5f, 100.0f));
        c.Filter(0, D3DTEXF_LINEAR, D3DTEXF_LINEAR, mips[i]);
        Mesh mesh(D3DFVF_XYZ | D3DFVF_TEX1);
        mesh.V(-6, -3, -1, 0, 0).V(6, -3, -1, 6, 0).V(-6, 40, -1, 0, 21.5).V(6, 40, -1, 6, 21.5);
        c.Draw(D3DPT_TRIANGLESTRIP, mesh);
    }
}

void LodBias(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, ColoredLevels(c, 64, 0));
    const float biases[6] = {-3.0f, -1.0f, 0.0f, 0.5f, 1.0f, 2.0f};
    for (int row = 0; row < 2; ++row) {
        c.Filter(0, D3DTEXF_LINEAR, D3DTEXF_LINEAR, row == 0 ? D3DTEXF_POINT : D3DTEXF_LINEAR);
        for (int i = 0; i < 6; ++i) {
            c.Samp(0, D3DSAMP_MIPMAPLODBIAS, Bits(biases[i]));
            const float x = F(i * 16 + 1);
            const float y = F(row * 16 + 1);
            c.TexturedRect({x, y, x + 14, y + 14}, {0.01f, 0.01f, 0.51f, 0.51f});
        }
    }
}

void MaxMipLevel(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, ColoredLevels(c, 64, 0));
    for (int row = 0; row < 2; ++row) {
        c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, row == 0 ? D3DTEXF_POINT : D3DTEXF_NONE);
        for (int i = 0; i < 6; ++i) {
            c.Samp(0, D3DSAMP_MAXMIPLEVEL, static_cast<DWORD>(i));
            const float x = F(i * 16 + 1);
            const float y = F(row * 16 + 1);
            c.TexturedRect({x, y, x + 14, y + 14}, {0.01f, 0.01f, 0.51f, 0.51f});
        }
    }
}

// A chain that stops early: the smallest level there is serves for all that are smaller.
void ShortChain(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, ColoredLevels(c, 64, 3));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_LINEAR);
    const float scales[4] = {1.2f, 2.2f, 4.4f, 14.0f};
    for (int i = 0; i < 4; ++i) {
        const float extent = 14.0f * scales[i] / 64.0f;
        c.TexturedRect({F(i * 16 + 1), 1, F(i * 16 + 15), 15},
                       {0.01f, 0.01f, 0.01f + extent, 0.01f + extent});
    }
}

void LinearBorder(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, Marked(c, 4));
    c.Filter(0, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.Samp(0, D3DSAMP_ADDRESSU, D3DTADDRESS_BORDER);
    c.Samp(0, D3DSAMP_ADDRESSV, D3DTADDRESS_BORDER);
    const D3DCOLOR borders[2] = {0x00000000, 0xc040ff80};
    for (int i = 0; i < 2; ++i) {
        c.Samp(0, D3DSAMP_BORDERCOLOR, borders[i]);
        c.TexturedRect({F(i * 48 + 2), 2, F(i * 48 + 46), 46}, {-0.5f, -0.5f, 1.5f, 1.5f});
    }
}

// Stripes along the way that isotropic filtering would blur away; each level is the average of the one above.
void Anisotropy(Canvas& c) {
    c.Fill(0xff000020);
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Bind(0, c.Texture(64, 64, 0, D3DFMT_A8R8G8B8, [](UINT x, UINT, UINT level) -> D3DCOLOR {
        if (level >= 4) {
            return 0xff808080;
        }
        return ((x << level) / 8) % 2 == 0 ? 0xffe0e0e0 : 0xff202020;
    }));
    c.Camera();
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Transform(D3DTS_PROJECTION, PerspectiveRH(1.0f, 1.0f, 0.5f, 100.0f));
    c.Filter(0, D3DTEXF_ANISOTROPIC, D3DTEXF_LINEAR, D3DTEXF_LINEAR);
    c.Samp(0, D3DSAMP_MAXANISOTROPY, 8);
    Mesh mesh(D3DFVF_XYZ | D3DFVF_TEX1);
    mesh.V(-6, -3, -1, 0, 0).V(6, -3, -1, 6, 0).V(-6, 40, -1, 0, 21.5).V(6, 40, -1, 6, 21.5);
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

// Sizes that are no powers of two, wrapped and mirrored.
void OddSizes(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, c.Texture(13, 7, 1, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return 0xff000000 | (x * 19 << 16) | (y * 40 << 8) | ((x + y) % 2 == 0 ? 0xe0 : 0x20);
    }));
    const DWORD modes[3] = {D3DTADDRESS_WRAP, D3DTADDRESS_MIRROR, D3DTADDRESS_CLAMP};
    for (int i = 0; i < 3; ++i) {
        c.Filter(0, D3DTEXF_POINT, i == 1 ? D3DTEXF_LINEAR : D3DTEXF_POINT, D3DTEXF_NONE);
        c.Samp(0, D3DSAMP_ADDRESSU, modes[i]);
        c.Samp(0, D3DSAMP_ADDRESSV, modes[i]);
        c.TexturedRect({F(i * 42 + 1), 1, F(i * 42 + 41), 47}, {-0.513f, -0.513f, 1.487f, 1.487f});
    }
}

// States belong to the sampler, not to the texture: one texture in two stages with different states.
void PerSampler(Canvas& c) {
    c.Fill(0xff202020);
    IDirect3DTexture9* texture = Marked(c, 4);
    c.Bind(0, texture);
    c.Bind(1, texture);
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.Filter(1, D3DTEXF_LINEAR, D3DTEXF_LINEAR, D3DTEXF_NONE);
    c.Samp(1, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP);
    c.Tss(1, D3DTSS_TEXCOORDINDEX, 0);
    c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
    c.ColorOp(1, D3DTOP_ADDSIGNED, D3DTA_TEXTURE, D3DTA_CURRENT);
    c.TexturedRect({2, 2, 62, 62}, {-0.49f, -0.49f, 1.51f, 1.51f});
}

}  // namespace

void AddSamplerCases(std::vector<Case>& cases) {
    cases.push_back({"sampler_address_point", 150, 150, AddressPoint});
    cases.push_back({"sampler_address_linear", 150, 150, AddressLinear});
    cases.push_back({"sampler_texel_alignment", 68, 64, TexelAlignment});
    cases.push_back({"sampler_magnification", 96, 48, Magnification});
    cases.push_back({"sampler_minification", 96, 96, Minification});
    cases.push_back({"sampler_floor_levels", 128, 64, FloorLevels});
    cases.push_back({"sampler_lod_bias", 96, 32, LodBias});
    cases.push_back({"sampler_max_mip_level", 96, 32, MaxMipLevel});
    cases.push_back({"sampler_short_chain", 64, 16, ShortChain});
    cases.push_back({"sampler_linear_border", 96, 48, LinearBorder});
    cases.push_back(
        {"sampler_anisotropy",
         64,
         64,
         Anisotropy,
         {24, 0.04, 2, 48, "how many samples an anisotropic filter takes, and where, is the driver's own"}});
    cases.push_back({"sampler_odd_sizes", 128, 48, OddSizes});
    cases.push_back({"sampler_two_states", 64, 64, PerSampler});
}

}  // namespace conformance
