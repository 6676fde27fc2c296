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

TEST(ConformanceRules, MissingTextureReadsOpaqueWhite) {
    EXPECT_EQ(DrawnPixel([](Canvas& c) {
                  c.Fill(0xff202020);
                  c.ColorOp(0, D3DTOP_SUBTRACT, D3DTA_TEXTURE, D3DTA_TFACTOR);
                  c.AlphaOp(0, D3DTOP_SELECTARG1, D3DTA_TEXTURE);
                  c.Rs(D3DRS_TEXTUREFACTOR, 0x40204060);
                  c.Rect({0, 0, 16, 16}, 0.5f, 0x80808080);
              }),
              0xffdfbf9fu);
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
