// Playing: the clock that goes with the sound, the timeline's layout, what counts as changed, and the window.
#include <SDL2/SDL.h>
#include <gtest/gtest.h>
#include <png.h>

#include <filesystem>

#include "play.h"
#include "play_clock.h"
#include "play_files.h"
#include "support/om2_scene.h"
#include "support/run_program.h"
#include "timeline_view.h"

namespace {

using host::PlayClock;
using test_support::TempFolder;

// A sound device that steps: its time moves only when the test says so.
struct FakeTrack : host::Track {
    void Play(double at) override {
        time = at;
        is_playing = true;
        ++starts;
    }
    void Stop() override { is_playing = false; }
    double Time() override { return time; }
    double Length() const override { return length; }
    double time = 0, length = 0;
    bool is_playing = false;
    int starts = 0;
};

TEST(PlayClock, RunsPausesSeeksAndEndsWithoutSound) {
    PlayClock clock(10);
    EXPECT_EQ(clock.Position(5), 0);
    clock.Play(100);
    EXPECT_DOUBLE_EQ(clock.Position(102.5), 2.5);
    clock.Pause(103);
    EXPECT_DOUBLE_EQ(clock.Position(110), 3);
    clock.Play(120);
    clock.Seek(9, 120.5);
    EXPECT_DOUBLE_EQ(clock.Position(121), 9.5);
    EXPECT_EQ(clock.Position(122), 10);
    EXPECT_FALSE(clock.IsPlaying());
    clock.Play(130);
    EXPECT_DOUBLE_EQ(clock.Position(131), 1) << "from the end, playing begins anew";
    clock.SetLoop(true);
    EXPECT_EQ(clock.Position(141), 0);
    EXPECT_DOUBLE_EQ(clock.Position(142), 1);
    clock.Seek(-3, 142);
    EXPECT_EQ(clock.Position(142), 0);
}

TEST(PlayClock, GoesWithTheSound) {
    FakeTrack track;
    PlayClock clock(100);
    clock.SetTimeline(100, &track, 2, 0.5);
    clock.Play(0);
    clock.Position(1.9);
    EXPECT_FALSE(track.is_playing);
    EXPECT_DOUBLE_EQ(clock.Position(2.25), 2.25);
    EXPECT_TRUE(track.is_playing);
    EXPECT_DOUBLE_EQ(track.time, 0.75);

    // A device one percent slow for half a minute, in steps of 50 ms: the picture stays beside it, and never
    // goes back.
    double before = 2.25;
    for (int i = 1; i <= 3000; ++i) {
        const double elapsed = i * 0.01;
        track.time = 0.75 + static_cast<int>(elapsed / 0.05 + 1e-9) * 0.0495;
        const double position = clock.Position(2.25 + elapsed);
        EXPECT_GE(position, before);
        before = position;
    }
    EXPECT_NEAR(before - 2 + 0.5, track.time, 0.06);

    track.time += 3;  // the device lost three seconds
    EXPECT_NEAR(clock.Position(32.26), track.time - 0.5 + 2, 1e-9);
    EXPECT_EQ(track.starts, 1) << "the sound is left alone";

    clock.Pause(32.3);
    EXPECT_FALSE(track.is_playing);
    clock.Seek(50, 33);
    clock.Play(34);
    clock.Position(34);
    EXPECT_EQ(track.starts, 2);
    EXPECT_DOUBLE_EQ(track.time, 48.5);
}

TEST(PlayClock, GoesOnBehindTheSoundsEnd) {
    FakeTrack track;
    track.length = 5;
    PlayClock clock(20);
    clock.SetTimeline(20, &track, 0, 0);
    clock.Seek(4, 0);
    clock.Play(0);
    clock.Position(0);
    track.time = 5;  // where it stays
    EXPECT_DOUBLE_EQ(clock.Position(3), 7);
    EXPECT_DOUBLE_EQ(clock.Position(6), 10);
    clock.Seek(12, 6);
    clock.Position(6.5);
    EXPECT_EQ(track.starts, 1) << "there is nothing to sound behind the end";
}

TEST(PlayFrames, CountsWhatIsShownAndLeftOut) {
    EXPECT_EQ(host::FrameAt(0.1 + 0.2, 10, 100), 3u);
    EXPECT_EQ(host::FrameAt(7.0 / 30, 30, 100), 7u);
    EXPECT_EQ(host::FrameAt(1e6, 30, 100), 99u);
    host::FrameMeter meter;
    for (const std::size_t frame : {0u, 1u, 4u, 5u}) meter.Show(frame, 0.1 * static_cast<double>(frame));
    EXPECT_EQ(meter.Dropped(), 2u);
    meter.Break();
    meter.Show(90, 0.6);
    EXPECT_EQ(meter.Dropped(), 2u) << "a seek drops nothing";
    EXPECT_EQ(meter.Rate(1.2), 3) << "those at 0.4, 0.5 and 0.6";
    std::vector<double> values;
    for (int i = 200; i > 0; --i) values.push_back(i);
    EXPECT_EQ(host::Percentile(values, 99), 198);
    EXPECT_EQ(host::Percentile(values, 50), 100);
}

host::Clip MakeClip(const host::EffectEntry& effect, double start, double length) {
    host::Clip clip;
    clip.effect = &effect;
    clip.start = start;
    clip.length = length;
    return clip;
}

TEST(TimelineView, GivesNestedAndOverlappingClipsRowsOfTheirOwn) {
    const host::EffectEntry effect;
    host::Clip transition = MakeClip(effect, 4, 2);
    transition.contents = {{MakeClip(effect, 3, 3)}, {MakeClip(effect, 4, 9)}};
    host::Project project;
    project.length = 12;
    project.layers.push_back({"back", {}});
    project.layers.push_back({"front", {MakeClip(effect, 0, 1)}});
    auto& back = project.layers[0].clips;
    back.push_back(MakeClip(effect, 0, 4));
    back.push_back(std::move(transition));
    back.push_back(MakeClip(effect, 5, 3));
    const host::TimelineRows rows = host::LayOut(project);
    ASSERT_EQ(rows.layers.size(), 2u);
    EXPECT_EQ(rows.layers[0].name, "front");
    EXPECT_EQ(rows.layers[1].first, 1);
    EXPECT_EQ(rows.layers[1].count, 4);
    const auto start_at = [&](double seconds, int row) {
        const host::TimelineBar* bar = rows.At(seconds, row);
        return bar ? bar->clip->start : -1;
    };
    EXPECT_EQ(start_at(2, 1), 0);
    EXPECT_EQ(start_at(4.5, 1), 4);
    EXPECT_EQ(start_at(4.5, 2), 3) << "first input";
    EXPECT_EQ(start_at(4.5, 3), 4) << "second input";
    EXPECT_EQ(start_at(7, 4), 5) << "what overlaps lies below it all";
    EXPECT_EQ(start_at(6.5, 3), -1) << "an input is seen no longer than its transition";
    EXPECT_EQ(host::NextCut(rows, 4.5, 1, 12), 5);
    EXPECT_EQ(host::NextCut(rows, 4, -1, 12), 1);
    EXPECT_EQ(host::NextCut(rows, 9, 1, 12), 12);
}

TEST(TimelineView, ScalesBothWays) {
    host::TimeScale scale;
    scale.Reset(40);
    scale.Place(100, 500);
    EXPECT_FLOAT_EQ(scale.X(10), 200);
    EXPECT_DOUBLE_EQ(scale.Seconds(250), 15);
    EXPECT_EQ(scale.Seconds(5000), 40);
    EXPECT_EQ(scale.Step(60), 10);
    scale.Zoom(0.5, 200);
    EXPECT_NEAR(scale.Seconds(200), 10, 1e-6) << "what is under the mouse stays";
    EXPECT_NEAR(scale.Last() - scale.First(), 20, 1e-9);
    scale.Follow(33);
    EXPECT_LE(scale.First(), 33);
    EXPECT_GE(scale.Last(), 33);
    EXPECT_LE(scale.Last(), 40);
    scale.Zoom(100, 300);
    EXPECT_EQ(scale.First(), 0);
    EXPECT_EQ(scale.Last(), 40);

    const host::Box wide = host::Letterbox(640, 480, 1280, 480), tall = host::Letterbox(640, 480, 320, 900);
    EXPECT_EQ(wide.left, 320);
    EXPECT_EQ(wide.right, 960);
    EXPECT_EQ(wide.bottom, 480);
    EXPECT_EQ(tall.top, 330);
    EXPECT_EQ(tall.bottom, 570);
    EXPECT_EQ(host::ClockText(3723.0405), "1:02:03.040");
    EXPECT_EQ(host::ClockText(0.3 - 1e-9), "0:00.300");
}

TEST(FileSnapshot, TellsWhatChangedAroundAProject) {
    const TempFolder folder;
    const std::string path = folder.Write("p.xml", std::string("x"));
    folder.Write("s.om2", std::string("scene"));
    folder.Write("beside.png", std::string("picture"));
    folder.Write("gone.fx", std::string("text"));
    host::Project project;
    project.data.push_back({"s", "scene", folder.File("s.om2"), ""});
    const host::FileSnapshot before(path, project);
    EXPECT_TRUE(host::FileSnapshot::Changed(before, {path, project}).empty());
    folder.Write("beside.png", std::string("another picture"));
    folder.Write("still.png", std::string("made by the player"));
    std::filesystem::remove(folder.File("gone.fx"));
    project.data.push_back({"t", "scene", folder.Write("t.om2", std::string("new")), ""});
    EXPECT_EQ(host::FileSnapshot::Changed(before, {path, project}),
              (std::vector<std::string>{"beside.png", "gone.fx", "t.om2"}));
    EXPECT_EQ(host::ListOf({"a", "b", "c"}, 2), "a, b and 1 more");
}

class PlayWindowTest : public testing::Test {
  protected:
    void SetUp() override {
        SDL_SetHint(SDL_HINT_VIDEODRIVER, "offscreen");
        bool works = SDL_Init(SDL_INIT_VIDEO) == 0;
        if (works) {
            SDL_Window* probe = SDL_CreateWindow("probe", 0, 0, 16, 16, SDL_WINDOW_OPENGL);
            works = probe != nullptr;
            if (probe) SDL_DestroyWindow(probe);
        }
        const std::string why = SDL_GetError();
        SDL_Quit();
        if (!works) GTEST_SKIP() << "SDL has no offscreen window here: " << why;
        Write("red", 1, 0);
        Write("green", 0, 1);
        WriteProject("red");
    }
    void Write(const std::string& name, float red, float green) {
        om2::SceneFile s;
        s.Mesh(om2::Colored(om2::Quad(-2, -2, 2, 2), {red, green, 0, 1}), s.Null(), s.Null());
        folder.Write(name + ".om2", s.Bytes());
    }
    void WriteProject(const std::string& scene) {
        folder.Write(
            "p.xml",
            "<project width=\"64\" height=\"48\" fps=\"10\" length=\"600\"><data><scene name=\"s\" "
            "file=\"" +
                scene +
                ".om2\"/></data><layer name=\"l\"><clip effect=\"fx_simple_scene\" "
                "name=\"c\" start=\"0\" length=\"600\"><controler name=\"scene\" value=\"s\"/></clip>"
                "</layer></project>");
    }
    static void Press(host::PlayWindow& window, SDL_Keycode key, Uint16 modifiers = 0) {
        SDL_Event event{};
        event.type = SDL_KEYDOWN;
        event.key.keysym.sym = key;
        event.key.keysym.mod = modifiers;
        SDL_PushEvent(&event);
        for (int i = 0; i < 3; ++i) window.Step();
    }
    static void Mouse(host::PlayWindow& window, Uint32 type, float x, float y) {
        SDL_Event event{};
        event.type = type;
        if (type == SDL_MOUSEMOTION) {
            event.motion.x = static_cast<int>(x);
            event.motion.y = static_cast<int>(y);
        } else {
            event.button.button = SDL_BUTTON_LEFT;
            event.button.clicks = 1;
            event.button.x = static_cast<int>(x);
            event.button.y = static_cast<int>(y);
        }
        SDL_PushEvent(&event);
        for (int i = 0; i < 3; ++i) window.Step();
    }
    TempFolder folder;
};

TEST_F(PlayWindowTest, ObeysKeysAndMouseAndKeepsTheLastGoodProject) {
    host::PlayOptions options;
    options.in = folder.File("p.xml");
    host::Common common;
    common.module = OSM_BINARY_DIR "/bin/osmDriver.so";
    common.effects_file = OSM_BINARY_DIR "/bin/libfx.xml";
    host::PlayWindow window(common, options);
    EXPECT_TRUE(window.IsPlaying());
    for (int i = 0; i < 1000 && window.Frame() < 2; ++i) window.Step();
    EXPECT_GE(window.Frame(), 2u) << "it goes by itself";

    Press(window, SDLK_SPACE);
    EXPECT_FALSE(window.IsPlaying());
    Press(window, SDLK_HOME);
    EXPECT_EQ(window.Frame(), 0u);
    Press(window, SDLK_RIGHT);
    Press(window, SDLK_RIGHT);
    Press(window, SDLK_LEFT, KMOD_LSHIFT);
    EXPECT_EQ(window.Frame(), 19u);

    const host::Strip& strip = window.TimelineStrip();
    int width = 0, height = 0;
    SDL_GetWindowSize(window.Window(), &width, &height);
    const auto bottom = static_cast<float>(height - 3);
    EXPECT_LT(strip.Top(), bottom);
    Press(window, SDLK_SPACE);
    Mouse(window, SDL_MOUSEBUTTONDOWN, static_cast<float>(width) - 100, bottom);
    EXPECT_FALSE(window.IsPlaying()) << "it waits while the head is held";
    EXPECT_GT(window.Frame(), 1000u);
    Mouse(window, SDL_MOUSEMOTION, 0, bottom);
    EXPECT_EQ(window.Frame(), 0u);
    Mouse(window, SDL_MOUSEBUTTONUP, 0, bottom);
    EXPECT_TRUE(window.IsPlaying());
    Press(window, SDLK_SPACE);

    // The middle of the picture that S saves.
    const auto saved = [&] {
        const std::string digits = std::to_string(window.Frame());
        const std::string path = "p_" + std::string(6 - digits.size(), '0') + digits + ".png";
        Press(window, SDLK_s);
        EXPECT_EQ(window.Note(), "saved " + path);
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        std::vector<std::uint8_t> rgb(3 * 64 * 48);
        if (png_image_begin_read_from_file(&image, path.c_str()) && image.width == 64 && image.height == 48) {
            image.format = PNG_FORMAT_RGB;
            png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr);
        }
        png_image_free(&image);
        std::filesystem::remove(path);
        const std::size_t middle = 3 * (24 * 64 + 32);
        return std::vector<int>(rgb.begin() + middle, rgb.begin() + middle + 3);
    };
    const std::vector<int> red = {255, 0, 0}, green = {0, 255, 0};
    EXPECT_EQ(saved(), red);

    const std::size_t frame = window.Frame();
    folder.Write("p.xml", std::string("<project><layer>"));
    Press(window, SDLK_r);
    ASSERT_GE(window.Errors().size(), 2u);
    EXPECT_NE(window.Errors()[1].find("p.xml:"), std::string::npos) << window.Errors()[1];
    EXPECT_EQ(window.FrameCount(), 6000u);
    EXPECT_EQ(saved(), red) << "the last good one stays";

    WriteProject("green");
    folder.Write("green.om2", std::string("no scene"));
    Press(window, SDLK_r);
    EXPECT_FALSE(window.Errors().empty()) << "a scene that does not load is no reason to stop either";

    Write("green", 0, 1);
    Press(window, SDLK_r);
    EXPECT_TRUE(window.Errors().empty());
    EXPECT_EQ(window.Note(), "reloaded green.om2, p.xml");
    EXPECT_EQ(window.Frame(), frame);
    EXPECT_EQ(saved(), green);

    SDL_Event quit{};
    quit.type = SDL_QUIT;
    SDL_PushEvent(&quit);
    bool goes_on = true;
    for (int i = 0; i < 3 && goes_on; ++i) goes_on = window.Step();
    EXPECT_FALSE(goes_on);
}

}  // namespace
