// om2 and files that hold whole projects.
#include <gtest/gtest.h>

#include <string>

#include "envelope.h"
#include "fuzz/package_seeds.h"
#include "support/run_program.h"

namespace {

class Om2Animation : public testing::Test {
  protected:
    test_support::Outcome Run(const std::string& arguments) {
        return test_support::Run(OSM_BINARY_DIR "/bin/om2", arguments, folder.path);
    }
    test_support::TempFolder folder;
};

TEST_F(Om2Animation, IsShownFromItsFirstByteAndChecked) {
    const std::string sound = folder.Write("sound", fuzz::SharingPackage());
    const test_support::Outcome info = Run("info " + sound);
    ASSERT_EQ(info.status, 0) << info.error;
    for (const char* line :
         {"root: stfx AnimationPackage version 1, object 0, at 0,", "- project <project/>",
          "textures[0]: TXBF TextureBitmapFile version 1, object 1, at 29,", "textures[1]: object 1",
          "textures[2]: none", "scenes[1]: SCHE SceneHierarchy", "texture: object 1"})
        EXPECT_NE(info.out.find(line), std::string::npos) << line << "\n" << info.out;
    EXPECT_NE(Run("info --json " + sound).out.find("\"form\":\"animation\""), std::string::npos);
    EXPECT_EQ(Run("check " + sound).out, sound + ": sound\n");
    for (const char* command : {"pack ", "unpack "}) {
        const test_support::Outcome refused = Run(command + sound + " -o " + folder.File("out"));
        EXPECT_EQ(refused.status, 1);
        EXPECT_NE(refused.error.find("is an animation"), std::string::npos) << refused.error;
    }

    om2::File f;
    f.bytes.clear();
    f.Chunk("stfx", 1, [&] {
        f.String("");
        f.I32(1);
        f.String("key");
        f.NamedTexture("/none/missing.png");
        f.I32(1);
        f.String("wall.om2");
        om2::File::SceneParts parts;
        parts.tree = [&] { f.Null(); };
        f.Scene(parts);
    });
    const std::string broken = folder.Write("broken", f.bytes);
    EXPECT_EQ(Run("check " + broken).status, 1);
    EXPECT_NE(Run("check " + broken).out.find("scene \"wall.om2\": the scene has no root"),
              std::string::npos);
    om2::File g;
    g.bytes.clear();
    g.Chunk("stfx", 1, [&] {
        g.String("");
        g.I32(1);
        g.String("key");
        g.NamedTexture("/none/missing.png");
        g.I32(0);
    });
    const std::string outside = folder.Write("outside", g.bytes);
    EXPECT_NE(Run("check " + outside).out.find("image \"/none/missing.png\" is not there"),
              std::string::npos);
}

TEST_F(Om2Animation, TheFormThatNothingReadsIsCalledSo) {
    const std::string text = "<project/>";
    const std::string file =
        folder.Write("bodies", tools::MakeEnvelope(tools::Form::Packed, {text.begin(), text.end()}));
    const test_support::Outcome check = Run("check " + file);
    EXPECT_EQ(check.status, 1);
    EXPECT_NE(check.out.find("at byte 4: no known object stands here: an animation exported"),
              std::string::npos)
        << check.out;
}

}  // namespace
