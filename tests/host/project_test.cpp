// Reading projects: what they say, and what is wrong with them.
#include "project.h"

#include <gtest/gtest.h>

#include <cmath>

#include "fuzz/mutations.h"
#include "module.h"
#include "player.h"
#include "project_controllers.h"
#include "support/om2_scene.h"
#include "support/run_program.h"
#include "xml_file.h"

#ifndef OSM_PROJECT_MUTATIONS
#define OSM_PROJECT_MUTATIONS 6000
#endif

namespace {

const host::EffectLibrary& Library() {
    static const host::EffectLibrary library(OSM_SOURCE_DIR "/data/libfx.xml");
    return library;
}

// The example of the page for people.
std::string Example() {
    const std::string page = host::ReadTextFile(OSM_SOURCE_DIR "/docs/project-format.md");
    const std::string opening = "```xml\n";
    const std::size_t begin = page.find(opening) + opening.size();
    return page.substr(begin, page.find("```", begin) - begin);
}

host::Project Parse(const std::string& text, host::Mistakes& mistakes) {
    return host::ParseProject("p.xml", text, Library(), mistakes);
}

TEST(ProjectReading, TimesInsideCountFromWhatHoldsThem) {
    host::Mistakes mistakes;
    const host::Project p = Parse(Example(), mistakes);
    EXPECT_EQ(mistakes, host::Mistakes{});
    EXPECT_EQ(p.sound.path, "march.ogg");
    EXPECT_EQ(p.sound.start, 0.5);
    EXPECT_EQ(p.length, 10);
    ASSERT_EQ(p.layers.size(), 2u);
    const host::Clip& fade = p.layers[0].clips.at(1);
    ASSERT_EQ(fade.contents.size(), 2u);
    const host::Clip& grey = fade.contents[1].at(0);
    EXPECT_EQ(grey.start, 8);
    EXPECT_EQ(grey.length, 2);
    EXPECT_EQ(grey.contents.at(0).at(0).start, 8);

    const host::Project deep = Parse(R"(<project><layer><clip effect="fx_render_bw" start="3" length="4">
      <clip effect="fx_render_rgb" start="1"><clip effect="fx_simple_color" start="-2" length="2.5"/></clip>
      </clip></layer></project>)",
                                     mistakes);
    EXPECT_EQ(mistakes, host::Mistakes{});
    const host::Clip& shift = deep.layers[0].clips[0].contents[0][0];
    EXPECT_EQ(shift.start, 4);
    EXPECT_EQ(shift.length, 3);
    EXPECT_EQ(shift.contents[0][0].start, 2);
}

TEST(ProjectReading, AllMistakesAreToldInTheOrderOfTheirLines) {
    const std::string text = R"(<project fps="nan" width="0">
<data><bitmap name="b" file="b.om2"/></data>
<sound file="a.wav" start="-1"/><sound file="b.wav"/>
<layer>stray
<clip effect="fx_render_bw" length="2"/>
<clip effect="fx_trans_blend" length="2"><input/></clip>
<clip effect="fx_simple_color" length="inf"><clip effect="fx_simple_color"/></clip>
<clip effect="fx_simple_color" length="0"/>
<clip effect="fx_render_rgb" length="2"><clip effect="fx_simple_color" start="2"/></clip>
<clip effect="fx_render_rgb" length="2"><clip effect="fx_simple_color" start="-1" length="1"/></clip>
<clip effect="fx_simple_color" length="1"><controler name="red" value="1e10"/><controler name="red" value="0"/>
<controler name="destination" value="4"/>
<controler name="blue"><key time="1" value="1e999"/><key time="0" value="0" curve="round"/></controler></clip>
<clip effect="fx_blur_radial" length="1" length="2"><controler name="steps" value="1.5"/>
<controler name="alpha"/><controler name="scale" value="1"><key time="0" value="0"/></controler>
<clip effect="fx_simple_bmp"><controler name="bitmap"><key time="0" value="b"/></controler></clip></clip>
<clip effect="fx_unheard_of" length="1"><clip effect="fx_simple_color" length="-1"/></clip>
</layer></project>)";
    const std::vector<std::pair<int, std::string>> expected = {
        {1, "width must be a whole number"},
        {1, "fps=\"nan\" is not a number from 1 to 1000"},
        {2, "a bitmap cannot be a \".om2\" file"},
        {3, "start=\"-1\" is not a number from 0"},
        {3, "one <sound>"},
        {4, "text cannot stand in <layer>"},
        {5, "filters nothing"},
        {6, "it takes two, here is 1"},
        {7, "<clip> cannot stand in <clip>; expected: controler"},
        {7, "length=\"inf\" is not a number"},
        {8, "length must be above 0"},
        {9, "never shown: it starts at 2 s"},
        {10, "never shown: it ends at 0 s"},
        {11, "value=\"1e10\" is not a number from -1000000000"},
        {11, "\"red\" is set twice"},
        {12, "not one of the choices"},
        {13, "value=\"1e999\" is not a number"},
        {13, "is not one of step, linear, smooth"},
        {13, "ascending order"},
        {14, "says \"length\" twice"},
        {14, "takes a whole number"},
        {15, "either the attribute \"value\" or <key>"},
        {15, "either the attribute \"value\" or <key>"},
        {16, "cannot be animated"},
        {16, "value=\"b\" is not a number"},
        {17, "there is no effect \"fx_unheard_of\""},
        {17, "length must be above 0"}};
    host::Mistakes mistakes;
    Parse(text, mistakes);
    std::vector<std::pair<int, std::string>> left = expected;
    int line = 0;
    for (const std::string& mistake : mistakes) {
        ASSERT_EQ(mistake.rfind("p.xml:", 0), 0u) << mistake;
        const int at = std::stoi(mistake.substr(6));
        EXPECT_GE(at, line) << mistake;
        line = at;
        const auto found = std::find_if(left.begin(), left.end(), [&](const auto& one) {
            return one.first == at && mistake.find(one.second) != mistake.npos;
        });
        if (found == left.end())
            ADD_FAILURE() << "not expected: " << mistake;
        else
            left.erase(found);
    }
    for (const auto& [at, what] : left) ADD_FAILURE() << "not told: " << at << ": " << what;
}

TEST(ProjectReading, NestingHasABottom) {
    for (const int depth : {host::kDeepestNesting, host::kDeepestNesting + 1, 200000}) {
        std::string text = "<project><layer><clip effect=\"fx_render_bw\" length=\"1\">";
        std::string end;
        for (int i = 1; i < depth; ++i) {
            text += "<clip effect=\"fx_render_bw\">";
            end += "</clip>";
        }
        text += "<clip effect=\"fx_simple_color\"/>" + end + "</clip></layer></project>";
        host::Mistakes mistakes;
        Parse(text, mistakes);
        if (depth == host::kDeepestNesting) {
            EXPECT_EQ(mistakes, host::Mistakes{});
        } else {
            ASSERT_FALSE(mistakes.empty());
            EXPECT_NE(mistakes[0].find("deep"), std::string::npos) << mistakes[0];
        }
    }
}

TEST(ProjectControllers, ProgressRunsOverTheClipUnlessItIsSet) {
    host::ProjectControllerFactory factory(Library());
    const osm3d::EffectDefinition blend = factory.Definition(*Library().Find("fx_trans_blend"));
    const std::unique_ptr<osm3d::HostController> progress(factory.CreateController(blend.children.at(0)));
    ASSERT_FALSE(progress->IsStatic());
    for (const auto& [t, expected] :
         {std::pair{-1.0f, 0.0f}, {0.25f, 0.25f}, {1.0f, 1.0f}, {9.0f, 1.0f}, {std::nanf(""), 0.0f}}) {
        progress->Evaluate(t);
        EXPECT_EQ(progress->GetFloat(), expected) << t;
    }
    host::Mistakes mistakes;
    const host::Project p = Parse(R"(<project><layer><clip effect="fx_trans_blend" length="1"><input/><input/>
      <controler name="progress" value="0.5"/></clip></layer></project>)",
                                  mistakes);
    ASSERT_EQ(mistakes, host::Mistakes{});
    host::ProjectNode node(p.layers[0].clips[0]);
    ASSERT_EQ(node.GetChildCount(), 1u);
    EXPECT_EQ(node.GetChild(0)->GetName(), "controler");
    EXPECT_EQ(node.GetChild(0)->GetAttribute("name"), "progress");
    host::ClipContext context;
    progress->Load(node.GetChild(0), &context);
    EXPECT_TRUE(progress->IsStatic());
    EXPECT_EQ(progress->GetFloat(), 0.5f);
}

// ---- damage

std::string Seed() {
    return R"(<project width="32" height="24" fps="5" background="#102030"><data>
<scene name="s" file="s.om2"/><bitmap name="b" file="b.tga"/></data><sound file="x.wav" start="1" offset="0"/>
<layer name="l"><clip effect="fx_simple_scene" name="c" start="0" length="2"><controler name="scene" value="s"/>
<controler name="time"><key time="0" value="0"/><key time="1" value="2" curve="smooth"/></controler></clip>
<clip effect="fx_trans_blend" start="1" length="2"><input><clip effect="fx_render_bw" start="0.5">
<clip effect="fx_simple_bmp"><controler name="bitmap" value="b"/></clip></clip></input><input/></clip>
<clip effect="fx_blur_radial" start="0" length="3"><controler name="steps" value="5"/>
<clip effect="fx_render_rgb"><clip effect="fx_simple_color"/></clip></clip></layer></project>)";
}

// Damage that leaves the XML whole: another value in quotes, an element left out or said twice.
std::string DamageWords(std::string text, fuzz::Mutator& mutator) {
    const std::vector<std::string> values = {"",
                                             "0",
                                             "-0",
                                             "-1",
                                             "1e-300",
                                             "1e300",
                                             "nan",
                                             "inf",
                                             "0x10",
                                             "1e9",
                                             "0.5",
                                             "32",
                                             "1024",
                                             "4",
                                             "2147483648",
                                             "b",
                                             "s",
                                             "l",
                                             "fx_trans_white",
                                             "step",
                                             "5000",
                                             "/",
                                             "..",
                                             "#fff",
                                             "fx_trans_direct",
                                             "time",
                                             "fx_render_bw",
                                             "&lt;",
                                             "fx_simple_scene"};
    for (std::uint32_t wounds = 1 + mutator.Below(3); wounds > 0; --wounds) {
        const char mark = mutator.Below(3) == 0 ? '<' : '"';
        std::size_t at = text.find(mark, mutator.Below(text.size()));
        if (at == text.npos) continue;
        const std::size_t end = text.find(mark == '"' ? '"' : '>', at + 1);
        if (end == text.npos) continue;
        if (mark == '"')
            text.replace(at + 1, end - at - 1, values[mutator.Below(values.size())]);
        else if (mutator.Below(2) == 0 && text[end - 1] == '/')
            text.erase(at, end + 1 - at);
        else if (text[end - 1] == '/')
            text.insert(at, text.substr(at, end + 1 - at));
    }
    return text;
}

TEST(ProjectMutations, DamagedProjectsAreRefusedOrPlayed) {
    const test_support::TempFolder folder;
    om2::SceneFile scene;
    scene.Mesh(om2::Colored(om2::Quad(-2, -2, 2, 2), {1, 0, 0, 1}), scene.Null(), scene.Null());
    folder.Write("s.om2", scene.Bytes());
    folder.Write("b.tga", om2::Tga(1, 1, {{0, 0, 255}}));
    host::Module module(OSM_BINARY_DIR "/bin/osmDriver.so");
    fuzz::Mutator mutator(20260131);
    const std::string seed = Seed();
    int fine = 0, played = 0;
    constexpr int kPlayed = OSM_PROJECT_MUTATIONS / 100;
    for (int i = 0; i < OSM_PROJECT_MUTATIONS; ++i) {
        std::string text;
        if (i % 2 == 0) {
            const auto bytes = mutator.Damage({seed.begin(), seed.end()});
            text.assign(bytes.begin(), bytes.end());
        } else {
            text = DamageWords(seed, mutator);
        }
        host::Mistakes mistakes;
        const host::Project read = Parse(text, mistakes);
        for (const std::string& mistake : mistakes) {
            ASSERT_EQ(mistake.rfind("p.xml:", 0), 0u) << mistake;
            ASSERT_EQ(mistake.find('\n'), std::string::npos) << mistake;
        }
        if (!mistakes.empty()) continue;
        ++fine;
        ASSERT_GT(read.length, 0);
        ASSERT_GE(read.FrameCount(), 1u);
        if (played >= kPlayed) continue;
        const host::Project project = host::ReadProject(folder.Write("p.xml", text), Library(), mistakes);
        try {
            host::Player player(module, project, Library(), 32, 24);
            ++played;
            for (const double seconds : {0.0, 1.7, 2.9, 1.0}) player.Draw(seconds);
            EXPECT_EQ(player.Grab().rgb.size(), 32u * 24 * 3);
        } catch (const std::exception& error) {
            EXPECT_NE(std::string(error.what()).find("p.xml:"), std::string::npos) << error.what();
        }
    }
    EXPECT_GT(fine, OSM_PROJECT_MUTATIONS / 20);
    EXPECT_LT(fine, OSM_PROJECT_MUTATIONS * 9 / 10);
    EXPECT_GT(played, kPlayed / 2);
}

}  // namespace
