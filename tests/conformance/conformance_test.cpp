// The native device against the pictures that another Direct3D 9 drew (tests/golden, made by golden.sh).
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "conformance/picture.h"

namespace conformance {

// What GoogleTest calls a case in its messages.
void PrintTo(const Case& entry, std::ostream* out) { *out << entry.name; }

namespace {

const std::string kGolden = OSM_GOLDEN_DIR;

class Conformance : public testing::TestWithParam<Case> {};

TEST_P(Conformance, DrawsTheGoldenPicture) {
    const Case& entry = GetParam();
    Picture golden;
    ASSERT_TRUE(ReadPng(kGolden + "/" + entry.name + ".png", golden));
    Picture ours;
    std::string reason;
    ASSERT_TRUE(DrawNative(entry, ours, reason)) << reason;
    const Difference difference = Compare(ours, golden, entry.bounds);
    EXPECT_TRUE(difference.Within(entry.bounds))
        << "worst " << difference.worst << ", beyond " << entry.bounds.level << ": " << difference.share * 100
        << " % of the pixels, " << difference.strays << " strays, one at " << difference.stray_x << ","
        << difference.stray_y;
}

INSTANTIATE_TEST_SUITE_P(Cases, Conformance, testing::ValuesIn(AllCases()),
                         [](const testing::TestParamInfo<Case>& entry) {
                             return std::string(entry.param.name);
                         });

// A picture of one colour proves nothing, and a picture without a case is a case that somebody lost.
TEST(ConformanceGoldens, ShowSomethingAndBelongToACase) {
    std::set<std::string> names;
    for (const Case& entry : AllCases()) {
        EXPECT_TRUE(names.insert(entry.name).second) << entry.name << " twice";
        Picture golden;
        ASSERT_TRUE(ReadPng(kGolden + "/" + entry.name + ".png", golden)) << entry.name;
        const std::set<std::uint32_t> colors(golden.pixels.begin(), golden.pixels.end());
        EXPECT_GT(colors.size(), 1u) << entry.name;
    }
    for (const auto& file : std::filesystem::directory_iterator(kGolden)) {
        if (file.path().extension() == ".png") {
            EXPECT_EQ(names.count(file.path().stem().string()), 1u) << file.path();
        }
    }
}

// Published rules that the reference does not keep, so that no golden picture can show them.
std::uint32_t DrawnPixel(void (*draw)(Canvas&)) {
    const Case entry = {"rule", 16, 16, draw};
    Picture picture;
    std::string reason;
    EXPECT_TRUE(DrawNative(entry, picture, reason)) << reason;
    return picture.pixels.size() == 256 ? picture.At(8, 8) : 0;
}

// White, but for an alpha operation that only selects it: there the vertex's own alpha goes on.
TEST(ConformanceRules, MissingTextureReadsWhite) {
    EXPECT_EQ(DrawnPixel([](Canvas& c) {
                  c.Fill(0xff202020);
                  c.ColorOp(0, D3DTOP_SUBTRACT, D3DTA_TEXTURE, D3DTA_TFACTOR);
                  c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
                  c.Rs(D3DRS_TEXTUREFACTOR, 0x40204060);
                  c.Rect({0, 0, 16, 16}, 0.5f, 0x80808080);
              }),
              0x80dfbf9fu);
    EXPECT_EQ(DrawnPixel([](Canvas& c) {
                  c.Fill(0xff202020);
                  c.ColorOp(0, D3DTOP_SELECTARG2, D3DTA_DIFFUSE, D3DTA_TEXTURE);
                  c.AlphaOp(0, D3DTOP_MODULATE, D3DTA_DIFFUSE, D3DTA_TEXTURE);
                  c.Rect({0, 0, 16, 16}, 0.5f, 0x80808080);
              }),
              0x80ffffffu);
}

TEST(ConformanceRules, PreTransformedDepthIgnoresTheDepthRange) {
    EXPECT_EQ(DrawnPixel([](Canvas& c) {
                  c.Fill(0xff202020);
                  c.Rect({0, 0, 16, 16}, 0.7f, 0xff0000ff);
                  c.Viewport(0, 0, 16, 16, 0.5f, 1.0f);
                  c.Rect({0, 0, 16, 16}, 0.6f, 0xffffff00);  // 0.8, were it moved into the range
              }),
              0xffffff00u);
}

TEST(ConformanceRules, ClipPlanesHoldWithClippingOff) {
    EXPECT_EQ(DrawnPixel([](Canvas& c) {
                  c.Fill(0xff202020);
                  c.PixelSpace();
                  c.Rs(D3DRS_CLIPPING, FALSE);
                  const float left[4] = {-1, 0, 0, 4};
                  c.Check(c.device->SetClipPlane(0, left));
                  c.Rs(D3DRS_CLIPPLANEENABLE, 1);
                  Mesh mesh(D3DFVF_XYZ | D3DFVF_DIFFUSE);
                  AddRect(mesh, {0, 0, 16, 16}, 0.5f, Rgba{0xffffffff});
                  c.Draw(D3DPT_TRIANGLELIST, mesh);
              }),
              0xff202020u);
}

// Half fogged at one edge, not at all at the other: a quarter in the middle, whatever the formula gives
// there.
TEST(ConformanceRules, VertexFogIsInterpolated) {
    const std::uint32_t pixel = DrawnPixel([](Canvas& c) {
        c.Fill(0xff202020);
        c.PixelSpace();
        c.Rs(D3DRS_FOGENABLE, TRUE);
        c.Rs(D3DRS_FOGCOLOR, 0x00ffffff);
        c.Rs(D3DRS_FOGVERTEXMODE, D3DFOG_EXP2);
        c.RsFloat(D3DRS_FOGDENSITY, 2.0f);
        Mesh mesh(D3DFVF_XYZ | D3DFVF_DIFFUSE);
        const Rgba black = {0xff000000};
        mesh.V(0, 0, 0, black).V(16, 0, 1, black).V(0, 16, 0, black).V(16, 16, 1, black);
        c.Draw(D3DPT_TRIANGLESTRIP, mesh);
    });
    // Factors 1 and exp(-4) = 0.0183 at the edges: 0.509 in the middle; by the depth there it would be 0.368.
    EXPECT_NEAR(static_cast<double>(pixel & 0xff), 255 * (1 - 0.509), 2);
}

// A 16-texel ramp shown through the coordinate u; the pixel's blue says which u was sampled.
std::uint32_t SampledRamp(DWORD flags, const D3DMATRIX& matrix, float u, float v) {
    static DWORD used_flags;
    static D3DMATRIX used_matrix;
    static float used_u;
    static float used_v;
    used_flags = flags;
    used_matrix = matrix;
    used_u = u;
    used_v = v;
    return DrawnPixel([](Canvas& c) {
               c.Fill(0xff202020);
               c.PixelSpace();
               c.Bind(0, c.Texture(16, 16, 1, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
                   return 0xff000000 | (y << 8) | x;
               }));
               c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
               c.ColorOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
               c.Tss(0, D3DTSS_TEXTURETRANSFORMFLAGS, used_flags);
               c.Transform(D3DTS_TEXTURE0, used_matrix);
               Mesh mesh(D3DFVF_XYZ | D3DFVF_TEX1);
               for (int corner = 0; corner < 4; ++corner) {
                   mesh.V(F(corner % 2) * 16, F(corner / 2) * 16, 0.5f, used_u, used_v);
               }
               c.Draw(D3DPT_TRIANGLESTRIP, mesh);
           }) &
           0xffff;
}

TEST(ConformanceRules, TwoCoordinatesAreExtendedForTheirMatrix) {
    D3DMATRIX matrix = Identity();
    matrix.m[2][2] = 2.0f;  // (u, v, 1, 0) becomes (u, v, 2): halved by projection
    EXPECT_EQ(SampledRamp(D3DTTFF_COUNT3 | D3DTTFF_PROJECTED, matrix, 0.78f, 0.41f), 0x0306u);
    matrix = Identity();
    matrix.m[2][3] = 4.0f;
    matrix.m[3][3] = 100.0f;  // the fourth input coordinate is 0
    EXPECT_EQ(SampledRamp(D3DTTFF_COUNT4 | D3DTTFF_PROJECTED, matrix, 0.78f, 0.41f), 0x0103u);
    EXPECT_EQ(SampledRamp(D3DTTFF_COUNT2 | D3DTTFF_PROJECTED, Identity(), 0.2f, 0.5f) & 0xff,
              6u);  // 0.2 / 0.5
    EXPECT_EQ(SampledRamp(D3DTTFF_COUNT1, Scaling(3, 1, 1), 0.2f, 0.5f) & 0xff, 9u);
}

TEST(ConformanceRules, AlphaBlendsByTheFactor) {
    const std::uint32_t pixel = DrawnPixel([](Canvas& c) {
        c.Fill(0);
        c.Bind(0,
               c.Texture(1, 1, 1, D3DFMT_A8R8G8B8, [](UINT, UINT, UINT) -> D3DCOLOR { return 0x20ffffff; }));
        c.Rs(D3DRS_TEXTUREFACTOR, 0x40000000);
        c.AlphaOp(0, D3DTOP_BLENDFACTORALPHA, D3DTA_TEXTURE, D3DTA_DIFFUSE);
        c.TexturedRect({0, 0, 16, 16}, {}, 0xa0ffffff);
    });
    EXPECT_NEAR(static_cast<double>(pixel >> 24), 0x20 * 0.251 + 0xa0 * 0.749, 1);
}

// The judge itself: it passes what lies within an edge's width, and nothing else.
TEST(ConformanceCompare, FindsStraysBothWays) {
    Picture golden;
    golden.width = golden.height = 64;
    golden.pixels.assign(64 * 64, 0xff000000);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 20; ++x) {
            golden.pixels[static_cast<size_t>(y * 64 + x)] = 0xffffffff;
        }
    }
    const Bounds bounds;
    Picture ours = golden;
    EXPECT_TRUE(Compare(ours, golden, bounds).Within(bounds));
    ours.pixels[30 * 64 + 20] = 0xffffffff;  // the edge one pixel further
    EXPECT_TRUE(Compare(ours, golden, bounds).Within(bounds));
    ours.pixels[30 * 64 + 40] = 0xffffffff;  // a dot of ours away from it
    EXPECT_EQ(Compare(ours, golden, bounds).strays, 1);
    EXPECT_EQ(Compare(golden, ours, bounds).strays, 1);  // a dot of the golden's that we left out
    Picture alpha = golden;
    alpha.pixels[50 * 64 + 50] = 0x80000000;
    EXPECT_FALSE(Compare(alpha, golden, bounds).Within(bounds));
    Picture edge = golden;  // a whole edge, one pixel off: no stray, but more than the share
    for (int y = 0; y < 64; ++y) {
        edge.pixels[static_cast<size_t>(y * 64 + 20)] = 0xffffffff;
    }
    EXPECT_EQ(Compare(edge, golden, bounds).strays, 0);
    EXPECT_FALSE(Compare(edge, golden, bounds).Within(bounds));
    Picture near_color = golden;
    for (auto& pixel : near_color.pixels) {
        pixel ^= 0x00010101;
    }
    EXPECT_TRUE(Compare(near_color, golden, bounds).Within(bounds));
}

}  // namespace
}  // namespace conformance
