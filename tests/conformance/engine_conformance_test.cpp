// Scenes and projects as our module draws them against the pictures that osmplay.exe drew with another
// Direct3D 9 (tests/golden/engine, made by golden.sh).
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
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

// A picture without a case is a case that somebody lost, and two cases with one picture are one too many.
TEST(EngineGoldens, BelongToACaseAndDiffer) {
    std::set<std::string> names;
    std::map<std::vector<std::uint32_t>, std::string> seen;
    for (const EngineCase& entry : AllEngineCases()) {
        for (unsigned i = 0; i < entry.PictureCount(); ++i) {
            const std::string name = entry.PictureName(i);
            EXPECT_TRUE(names.insert(name).second) << name << " twice";
            Picture golden;
            ASSERT_TRUE(ReadPng(EngineGolden(name), golden)) << name;
            const auto [other, is_new] = seen.try_emplace(golden.pixels, name);
            EXPECT_TRUE(is_new || entry.samples > 0) << name << " is the picture of " << other->second;
        }
    }
    for (const auto& file : std::filesystem::directory_iterator(OSM_GOLDEN_DIR "/engine")) {
        EXPECT_EQ(names.count(file.path().stem().string()), 1u) << file.path();
    }
}

}  // namespace

}  // namespace conformance
