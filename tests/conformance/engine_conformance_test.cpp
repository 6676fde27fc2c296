// Scenes and projects as our module draws them against the pictures that osmplay.exe drew with another
// Direct3D 9 (tests/golden/engine, made by golden.sh).
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "conformance/engine_native.h"

namespace conformance {

void PrintTo(const EngineCase& entry, std::ostream* out) { *out << entry.name; }

namespace {

class EngineConformance : public testing::TestWithParam<EngineCase> {};

TEST_P(EngineConformance, DrawsTheGoldenPictures) {
    const EngineCase& entry = GetParam();
    std::vector<Picture> pictures;
    std::string reason;
    ASSERT_TRUE(DrawEngine(entry, pictures, reason)) << reason;
    for (unsigned i = 0; i < pictures.size(); ++i) {
        Picture golden;
        ASSERT_TRUE(ReadPng(EngineGolden(entry.PictureName(i)), golden)) << entry.PictureName(i);
        const Difference difference = Compare(pictures[i], golden, entry.bounds);
        EXPECT_TRUE(difference.Within(entry.bounds))
            << entry.PictureName(i) << ": worst " << difference.worst << ", beyond " << entry.bounds.level
            << ": " << difference.share * 100 << " % of the pixels, " << difference.strays
            << " strays, one at " << difference.stray_x << "," << difference.stray_y;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, EngineConformance, testing::ValuesIn(AllEngineCases()),
                         [](const testing::TestParamInfo<EngineCase>& entry) { return entry.param.name; });

// Pictures of one colour prove nothing, and a picture without a case is a case that somebody lost.
TEST(EngineGoldens, ShowSomethingAndBelongToACase) {
    std::set<std::string> names;
    for (const EngineCase& entry : AllEngineCases()) {
        std::set<std::uint32_t> colors;
        for (unsigned i = 0; i < entry.PictureCount(); ++i) {
            EXPECT_TRUE(names.insert(entry.PictureName(i)).second) << entry.PictureName(i) << " twice";
            Picture golden;
            ASSERT_TRUE(ReadPng(EngineGolden(entry.PictureName(i)), golden)) << entry.PictureName(i);
            colors.insert(golden.pixels.begin(), golden.pixels.end());
        }
        EXPECT_GT(colors.size(), 1u) << entry.name;
    }
    for (const auto& file : std::filesystem::directory_iterator(OSM_GOLDEN_DIR "/engine")) {
        EXPECT_EQ(names.count(file.path().stem().string()), 1u) << file.path();
    }
}

}  // namespace

}  // namespace conformance
