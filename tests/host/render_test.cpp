// osmplay render and export as a person runs them: the same frames whatever the way to them, and what stands
// in the files.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <map>
#include <thread>

#include "player.h"
#include "png_file.h"
#include "sound_text.h"
#include "support/om2_scene.h"
#include "support/run_program.h"

extern char** environ;

namespace {

using test_support::Outcome;

constexpr const char* kProgram = OSM_BINARY_DIR "/bin/osmplay";

// The files of a folder by name.
std::map<std::string, std::string> Files(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream in(entry.path(), std::ios::binary);
        files[entry.path().filename()] = std::string{std::istreambuf_iterator<char>(in), {}};
    }
    return files;
}

class RenderTest : public testing::Test {
  protected:
    Outcome Run(const std::string& arguments) { return test_support::Run(kProgram, arguments, folder.path); }
    void Render(const std::string& arguments) {
        const Outcome outcome = Run("render " + arguments);
        ASSERT_EQ(outcome.status, 0) << outcome.error;
    }
    std::string Read(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    // Every effect, clips that leave something behind (a camera, a target's contents), and gaps in what
    // filters and inputs hold.
    std::string Show() {
        om2::SceneFile s;
        om2::File& f = s.file;
        int turned = -1;
        s.tree = [&] {
            turned = f.Chunk("HINO", 1, [&] {
                f.I32(0);
                f.Chunk("CPRS", 1, [&] {
                    f.ConstVec3({3, 0, 5});
                    f.Linear<4>("CLQU", {{0, {0, 0, 0, 1}}, {100, {0, 0, 0.70710678f, 0.70710678f}}});
                    f.ConstVec3({1, 1, 1});
                });
            });
            f.I32(0);
        };
        s.cameras = [&] {
            f.I32(2);
            s.camera = f.Camera([&] { f.Ref(turned); }, om2::kHalfPi, 1, 100);
            f.Camera([&] { f.Ref(turned); }, om2::kHalfPi / 2, 1, 100);
        };
        s.Mesh(om2::Colored(om2::Quad(-2, -1, 2, 1), {1, 0.5f, 0, 1}), s.Null(), s.Null());
        folder.Write("s.om2", s.Bytes());
        folder.Write("b.tga", om2::Tga(2, 2, {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}}));
        return folder.Write("show.xml", R"(<project fps="8" background="#304050">
<data><scene name="s" file="s.om2"/><bitmap name="b" file="b.tga"/></data>
<layer><clip effect="fx_simple_scene" start="0" length="0.5"><controler name="scene" value="s"/>
  <controler name="camera" value="1"/></clip>
<clip effect="fx_simple_scene" start="0.5" length="0.5"><controler name="scene" value="s"/>
  <controler name="time"><key time="0" value="0"/><key time="0.5" value="1"/></controler></clip>
<clip effect="fx_trans_blend" start="1" length="1">
  <input><clip effect="fx_render_bw" length="0.75"><clip effect="fx_simple_bmp" start="0.25" length="0.25">
    <controler name="bitmap" value="b"/></clip></clip></input>
  <input><clip effect="fx_render_rgb"><controler name="shift" value="0.1"/>
    <clip effect="fx_simple_scene" start="0.5"><controler name="scene" value="s"/></clip></clip></input></clip>
<clip effect="fx_trans_white" start="2" length="0.5"><input><clip effect="fx_simple_scene" length="0.125"/></input>
  <input><clip effect="fx_blur_radial"><clip effect="fx_simple_bmp" length="0.25"><controler name="bitmap" value="b"/>
    </clip></clip></input></clip></layer>
<layer><clip effect="fx_simple_scene" start="2.25" length="0.5"/></layer></project>)");
    }

    test_support::TempFolder folder;
};

TEST_F(RenderTest, AFrameIsTheSameInEveryRunOrderAndProcessAndOutOfAPackage) {
    const std::string show = Show(), out = folder.File("frames");
    Render(show + " -o " + out);
    const auto frames = Files(out);
    ASSERT_EQ(frames.size(), 22u);
    Render(show + " -o " + folder.File("again"));
    EXPECT_TRUE(Files(folder.path / "again") == frames);
    Render(show + " -o " + folder.File("jobs") + " --jobs 2");
    EXPECT_TRUE(Files(folder.path / "jobs") == frames);
    for (const int i : {5, 9, 12, 15, 17, 19, 20}) {
        const std::string alone = folder.File("alone");
        Render(show + " -o " + alone + " --frames " + std::to_string(i) + ":" + std::to_string(i + 1));
        for (const auto& [name, bytes] : Files(alone)) EXPECT_TRUE(frames.at(name) == bytes) << name;
        std::filesystem::remove_all(alone);
    }
    // Backwards, in one player.
    {
        const host::EffectLibrary library(OSM_SOURCE_DIR "/data/libfx.xml");
        host::Module module(OSM_BINARY_DIR "/bin/osmDriver.so");
        const host::Project project = host::ReadProject(show, library);
        host::Player player(module, project, library, 640, 480);
        for (std::size_t i = frames.size(); i-- > 0;) {
            player.Draw(static_cast<double>(i) / 8);
            const std::string one = folder.File("one.png");
            host::WritePng(one, player.Grab());
            std::string name = std::to_string(i);
            name = "frame_" + std::string(6 - name.size(), '0') + name + ".png";
            EXPECT_TRUE(frames.at(name) == Read(one)) << name;
        }
    }
    ASSERT_EQ(Run("export " + show + " --loadable -o " + folder.File("show.osm")).status, 0);
    const test_support::TempFolder elsewhere;
    std::filesystem::rename(folder.File("show.osm"), elsewhere.File("show.osm"));
    for (const char* name : {"s.om2", "b.tga", "show.xml"}) std::filesystem::remove(folder.File(name));
    Render(elsewhere.File("show.osm") + " -o " + folder.File("package"));
    EXPECT_TRUE(Files(folder.path / "package") == frames);
}

TEST(PackedSound, ComesBackAsItWas) {
    const test_support::TempFolder folder;
    for (const std::size_t size : {0u, 1u, 2u, 3u, 1000u}) {
        std::string bytes;
        for (std::size_t k = 0; k < size; ++k) bytes += static_cast<char>(k * 37 + size);
        folder.Write("a.b.ogg", bytes);
        std::string text = "<project/>";
        ASSERT_TRUE(host::AppendSound(text, folder.File("a.b.ogg")));
        EXPECT_EQ(text.find("--", text.find("<!--") + 4), text.size() - 4) << "a comment to its end";
        std::string path;
        {
            const auto sound = host::TakeSound(text);
            ASSERT_NE(sound, nullptr);
            path = sound->Path();
            EXPECT_TRUE(path.ends_with(".ogg"));
            std::ifstream in(path, std::ios::binary);
            EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), bytes);
            EXPECT_EQ(text, "<project/>");
        }
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    for (std::string none : {"<project/>", "<project/>\n<!-- sound ogg QUJ -->\n",
                             "<project/>\n<!-- sound ../x QUJD -->\n", "\n<!-- sound  -->\n"}) {
        const std::string before = none;
        EXPECT_EQ(host::TakeSound(none), nullptr);
        EXPECT_EQ(none, before);
    }
}

TEST_F(RenderTest, FiltersAndTransitionsWorkOnWhatIsInThem) {
    const auto color = [](const char* name, const char* inner = "") {
        return std::string("<clip effect=\"fx_simple_color\"><controler name=\"") + name +
               "\" value=\"1\"/>" + inner + "</clip>";
    };
    const std::string project = folder.Write(
        "p.xml",
        "<project fps=\"4\" background=\"#408060\"><layer>"
        "<clip effect=\"fx_simple_color\" length=\"2\"><controler name=\"green\" value=\"1\"/></clip>"
        "<clip effect=\"fx_render_rgb\" length=\"1\"><clip effect=\"fx_trans_blend\"><input>"
        "<clip effect=\"fx_render_bw\">" +
            color("red") + "</clip></input><input>" + color("blue") +
            "</input></clip></clip>"
            "<clip effect=\"fx_trans_direct\" start=\"1\" length=\"1\"><input/><input>" +
            color("blue") + "</input></clip></layer></project>");
    const host::EffectLibrary library(OSM_SOURCE_DIR "/data/libfx.xml");
    host::Module module(OSM_BINARY_DIR "/bin/osmDriver.so");
    const host::Project read = host::ReadProject(project, library);
    host::Player player(module, read, library, 640, 480);
    // Red as grey is a third: 85. It goes over blue with 1, 3/4 (the byte 191), 1/2 (128) and 1/4 (64) of
    // itself. The cut then goes from nothing, the background, to blue.
    const std::array<std::array<int, 3>, 8> expected = {{{85, 85, 85},
                                                         {64, 64, 128},
                                                         {43, 43, 170},
                                                         {21, 21, 212},
                                                         {64, 128, 96},
                                                         {64, 128, 96},
                                                         {0, 0, 255},
                                                         {0, 0, 255}}};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        player.Draw(static_cast<double>(i) / 4);
        const host::Picture& p = player.Grab();
        for (const std::size_t at : {std::size_t{100 * 640 + 30}, std::size_t{470 * 640 + 630}})
            for (std::size_t k = 0; k < 3; ++k)
                EXPECT_NEAR(p.rgb[3 * at + k], expected[i][k], 1) << "frame " << i << ", channel " << k;
    }
}

TEST_F(RenderTest, Y4mHoldsTheColoursByTheirRule) {
    const std::string project = folder.Write("p.xml", R"(<project width="640" height="480" fps="25"><layer>
<clip effect="fx_simple_color" length="0.04"><controler name="red" value="1"/></clip>
<clip effect="fx_simple_color" start="0.04" length="0.04"><controler name="red" value="1"/>
<controler name="green" value="1"/><controler name="blue" value="1"/></clip></layer></project>)");
    const std::string bytes = Run("render " + project + " -o -").out;
    const std::string head = "YUV4MPEG2 W640 H480 F25:1 Ip A1:1 C444 XCOLORRANGE=LIMITED\n", lead = "FRAME\n";
    const std::size_t plane = 640 * 480, frame = lead.size() + 3 * plane;
    ASSERT_EQ(bytes.size(), head.size() + 2 * frame);
    EXPECT_EQ(bytes.substr(0, head.size()), head);
    // Red: Y 16 + 65.481, Cb 128 - 37.797, Cr 128 + 112. White: 235, 128, 128.
    const std::array<std::array<int, 3>, 2> expected = {{{81, 90, 240}, {235, 128, 128}}};
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(bytes.substr(head.size() + i * frame, lead.size()), lead);
        for (std::size_t k = 0; k < 3; ++k)
            for (const std::size_t at : {std::size_t{0}, plane - 1})
                EXPECT_EQ(
                    static_cast<unsigned char>(bytes[head.size() + i * frame + lead.size() + k * plane + at]),
                    expected[i][k]);
    }
    EXPECT_TRUE(Run("render " + project + " -o - --jobs 2").out == bytes);
}

TEST_F(RenderTest, AStopLeavesWholeFramesAndResumeGoesOnFromThem) {
    const std::string project = folder.Write("p.xml", R"(<project fps="100"><layer>
<clip effect="fx_simple_color" length="100"><controler name="red"><key time="0" value="0"/><key time="0.2" value="1"/>
</controler></clip></layer></project>)");
    const std::string out = folder.File("frames");
    for (const char* jobs : {"1", "2"}) {
        std::filesystem::remove_all(out);
        std::vector<std::string> words = {kProgram, "render", project, "-o", out, "--jobs", jobs};
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        pid_t process = -1;
        ASSERT_EQ(::posix_spawn(&process, kProgram, nullptr, nullptr, argv.data(), environ), 0);
        const auto last = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!std::filesystem::exists(out + "/frame_000002.png") && std::chrono::steady_clock::now() < last)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ::kill(process, SIGINT);
        int status = 0;
        ::waitpid(process, &status, 0);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 130);
        const auto left = Files(out);
        ASSERT_GE(left.size(), 2u);
        ASSERT_LT(left.size(), 10000u);
        for (const auto& [name, bytes] : left)
            EXPECT_TRUE(host::IsWholePng(out + "/" + name, 640, 480)) << name;
    }
    // One cut short, one of another size, one missing, one that only looks as if it were right.
    const std::string range = " --frames 0:20 ";
    Render(project + " -o " + out + range);
    const auto right = Files(out);
    std::filesystem::resize_file(out + "/frame_000003.png", 100);
    Render(project + " -o " + folder.File("small") + " --size 64x48 --frames 4:5");
    std::filesystem::copy(folder.File("small/frame_000004.png"), out + "/frame_000004.png",
                          std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(out + "/frame_000005.png");
    std::filesystem::copy(out + "/frame_000007.png", out + "/frame_000006.png",
                          std::filesystem::copy_options::overwrite_existing);
    Render(project + " -o " + out + range + "--resume");
    auto resumed = Files(out);
    EXPECT_TRUE(resumed.at("frame_000006.png") == right.at("frame_000007.png"));
    resumed["frame_000006.png"] = right.at("frame_000006.png");
    EXPECT_TRUE(resumed == right);
}

constexpr std::uint32_t kRate = 44100;

std::vector<std::uint8_t> Wave(const std::vector<std::int16_t>& samples) {
    std::vector<std::uint8_t> wave;
    const auto put = [&](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) wave.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    };
    const auto text = [&](const char* four) { wave.insert(wave.end(), four, four + 4); };
    const auto size = static_cast<std::uint32_t>(2 * samples.size());
    text("RIFF"), put(36 + size, 4), text("WAVE"), text("fmt "), put(16, 4), put(1, 2), put(1, 2);
    put(kRate, 4), put(2 * kRate, 4), put(2, 2), put(16, 2), text("data"), put(size, 4);
    for (const std::int16_t sample : samples) put(static_cast<std::uint16_t>(sample), 2);
    return wave;
}

// A tone of a quarter second, one second into its file.
std::vector<std::uint8_t> ToneWave() {
    std::vector<std::int16_t> samples(2 * kRate);
    for (std::uint32_t i = kRate; i < kRate + kRate / 4; ++i)
        samples[i] = static_cast<std::int16_t>(std::lround(20000 * std::sin(i * 0.06)));
    return Wave(samples);
}

TEST_F(RenderTest, EnvelopePrintsOrDrawsThePeaks) {
    std::vector<std::int16_t> samples(900, 16384);
    samples.resize(1800, -8192);
    samples.resize(2200, 32767);
    samples.resize(2201, -32768);
    const std::string wave = folder.Write("a.wav", Wave(samples));
    // 44100 / (98 / 2) is 900; the third stretch is one of highest samples.
    const Outcome printed = Run("envelope " + wave + " --resolution 98");
    EXPECT_EQ(printed.status, 0) << printed.error;
    const std::size_t first = printed.out.find('\n') + 1;
    EXPECT_EQ(printed.out.substr(0, 1), "#");
    EXPECT_EQ(printed.out.substr(first), "0 0.500000 -0.250000\n1800 0.999969 0.000000\n");
    EXPECT_EQ(Run("envelope " + wave + " --resolution 98 -o " + folder.File("a.png")).status, 0);
    EXPECT_TRUE(host::IsWholePng(folder.File("a.png"), 2, 201));
    const Outcome broken = Run("envelope " + folder.Write("b.wav", "no sound"));
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.error.find("no sound that can be decoded"), std::string::npos);
}

TEST_F(RenderTest, VideoHasItsFramesAndTheSoundInItsPlace) {
    folder.Write("tone.wav", ToneWave());
    const std::string project = folder.Write("p.xml", R"(<project fps="10" length="3">
<sound file="tone.wav" start="0.5" offset="0.25"/>
<layer><clip effect="fx_simple_color" length="3"><controler name="red" value="1"/></clip></layer></project>)");
    // Without the program it is a clear refusal, and nothing is left.
    const std::string path = std::getenv("PATH");
    ::setenv("PATH", "/nowhere", 1);
    const Outcome without =
        test_support::Run(kProgram, "render " + project + " -o " + folder.File("v.mp4"), folder.path);
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(without.status, 1);
    EXPECT_NE(without.error.find("needs the program ffmpeg"), std::string::npos) << without.error;
    EXPECT_EQ(folder.Names().size(), 2u);
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no ffmpeg here";

    const auto decode = [&](const std::string& options) {
        const std::string raw = folder.File("raw");
        std::system(("ffmpeg -v error -y -i " + folder.File("v.mp4") + " " + options + " " + raw).c_str());
        return Read(raw);
    };
    // The tone is heard at 1 - 0.25 + 0.5 seconds of the project.
    for (const auto& [range, frames, tone] :
         {std::tuple{"0:30", 30.0, 1.25}, {"10:20", 10.0, 0.25}, {"13:15", 2.0, -0.05}}) {
        Render(project + " -o " + folder.File("v.mp4") + " --frames " + range);
        const std::string video = decode("-map 0:v -f rawvideo -pix_fmt rgb24");
        constexpr std::size_t kFrame = 3 * 640 * 480;
        ASSERT_EQ(video.size(), static_cast<std::size_t>(frames) * kFrame) << range;
        EXPECT_NEAR(static_cast<unsigned char>(video[3 * (240 * 640 + 320)]), 255, 3);
        EXPECT_NEAR(static_cast<unsigned char>(video[3 * (240 * 640 + 320) + 1]), 0, 3);
        const std::string sound = decode("-map 0:a -ac 1 -ar 44100 -f s16le");
        const double length = static_cast<double>(sound.size()) / 2 / 44100;
        EXPECT_NEAR(length, frames / 10, 0.035) << range;
        double first = -1, end = -1;
        for (std::size_t i = 0; 2 * i + 1 < sound.size(); ++i) {
            std::int16_t sample = 0;
            std::memcpy(&sample, &sound[2 * i], 2);
            if (std::abs(sample) < 4000) continue;
            if (first < 0) first = static_cast<double>(i) / 44100;
            end = static_cast<double>(i) / 44100;
        }
        EXPECT_NEAR(first, std::max(tone, 0.0), 0.004) << range;
        EXPECT_NEAR(end, std::min(tone + 0.25, frames / 10), 0.004 + (tone < 0 ? 0.035 : 0)) << range;
    }
    Render(project + " -o " + folder.File("a.mkv") + " --frames 0:2 --jobs 2");

    folder.Write("tone.wav", "no sound at all");
    std::filesystem::remove(folder.File("v.mp4"));
    const Outcome broken = Run("render " + project + " -o " + folder.File("v.mp4"));
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.error.find("ffmpeg cannot make the video: "), std::string::npos) << broken.error;
    EXPECT_FALSE(std::filesystem::exists(folder.File("v.mp4")));
    for (const std::string& name : folder.Names()) EXPECT_EQ(name.find(".part"), std::string::npos) << name;
}

TEST_F(RenderTest, CheckTellsWhatIsWrongWithAProjectAndItsData) {
    const std::string show = Show();
    Outcome outcome = Run("check " + show);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_NE(outcome.out.find("fine"), std::string::npos);
    EXPECT_EQ(outcome.error, "");

    folder.Write("cut.om2", Read(folder.File("s.om2")).substr(0, 300));
    folder.Write("text.png", "no picture");
    outcome = Run("check " + folder.Write("bad.xml", R"(<project><data>
<scene name="a" file="cut.om2"/>
<bitmap name="b" file="text.png"/>
<bitmap name="c" file="none.png"/></data>
<sound file="text.png"/>
<layer><clip effect="fx_simple_color"/>
<clip effect="fx_simple_blur" length="1"/></layer></project>)"));
    EXPECT_EQ(outcome.status, 1);
    for (const char* says : {"bad.xml:2: cannot be loaded as a scene", "bad.xml:3: ", "bad.xml:4: ",
                             "bad.xml:5: ", "bad.xml:6: <clip> needs", "bad.xml:7: there is no effect"})
        EXPECT_NE(outcome.error.find(says), std::string::npos) << says << "\n" << outcome.error;
}

}  // namespace
