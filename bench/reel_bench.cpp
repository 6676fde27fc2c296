// The demo's reel at 640 x 480: drawn alone, into a stream of frames, into PNG files, and in a window.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "bench.h"
#include "cli/error.h"
#include "effect_library.h"
#include "frame_sink.h"
#include "module.h"
#include "picture_queue.h"
#include "player.h"
#include "source.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kEvery = 12;  // one frame in so many stands for the reel
constexpr int kRounds = 3;
constexpr std::size_t kWaitingPictures = 4;

void Make(const fs::path& folder) {
    const fs::path source = fs::path(OSM_SOURCE_DIR) / "host/demo";
    fs::create_directories(folder);
    for (const char* name : {"demo.xml", "glass.fx"})
        fs::copy_file(source / name, folder / name, fs::copy_options::overwrite_existing);
    const std::string command = fmt::format("'{}/make_demo' '{}'", host::ProgramFolder(), folder.string());
    if (std::system(command.c_str()) != 0) throw cli::Error("the demo cannot be made");
}

class Reel {
  public:
    Reel(const fs::path& folder)
        : library_((fs::path(host::ProgramFolder()) / "libfx.xml").string()),
          project_(host::ReadSource((folder / "demo.xml").string(), library_)),
          module_((fs::path(host::ProgramFolder()) / "osmDriver.so").string()),
          player_(module_, project_, library_, 640, 480) {}

    std::size_t Count() const { return project_.FrameCount() / kEvery; }

    void Draw() {
        for (std::size_t i = 0; i < Count(); ++i) {
            player_.Draw(Time(i));
            player_.Present();
        }
        player_.Grab(picture_);  // what is still to be done
    }
    void Write(host::FrameSink& sink) {
        host::PictureQueue queue(kWaitingPictures, [&](std::size_t frame, const host::Picture& picture) {
            sink.Write(frame, picture);
        });
        for (std::size_t i = 0; i < Count(); ++i) {
            player_.Draw(Time(i));
            player_.Grab(picture_);
            queue.Push(i, picture_);
        }
        queue.Finish();
    }

  private:
    double Time(std::size_t i) const { return static_cast<double>(i * kEvery) / project_.frames_per_second; }

    host::EffectLibrary library_;
    host::Project project_;
    host::Module module_;
    host::Player player_;
    host::Picture picture_;
};

}  // namespace

void ReelOfTheDemo() {
    const fs::path folder = fs::temp_directory_path() / fmt::format("osm_reel_{}", ::getpid());
    try {
        Make(folder);
        {
            Reel reel(folder);
            const std::unique_ptr<std::FILE, int (*)(std::FILE*)> nothing(std::fopen("/dev/null", "wb"),
                                                                          std::fclose);
            double drawn = 1e9, streamed = 1e9, saved = 1e9;
            reel.Draw();
            for (int round = 0; round < kRounds; ++round) {
                drawn = std::min(drawn, Seconds([&] { reel.Draw(); }));
                const auto stream = host::MakeY4m(nothing.get(), 640, 480, 30);
                streamed = std::min(streamed, Seconds([&] { reel.Write(*stream); }));
                const auto files = host::MakePngFolder((folder / "frames").string());
                saved = std::min(saved, Seconds([&] { reel.Write(*files); }));
            }
            const auto rate = [&](double seconds) {
                return fmt::format("{:.1f} frames/s", static_cast<double>(reel.Count()) / seconds);
            };
            fmt::print("{:<44} {}\n", "the reel, no output", rate(drawn));
            fmt::print("{:<44} {}\n", "the reel to Y4M", rate(streamed));
            Report("the reel to PNG, time / no output", rate(saved), rate(drawn), saved / drawn, true, 1.5);
        }
        // The reel's every frame in a window that nobody sees; it prints what they took.
        std::fflush(stdout);
        const std::string play = fmt::format("SDL_VIDEODRIVER=offscreen '{}/osmplay' play --bench '{}'",
                                             host::ProgramFolder(), (folder / "demo.xml").string());
        if (std::system(play.c_str()) != 0) fmt::print("osmplay play: not measured, it has no window here\n");
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench: {}\n", error.what());
        fs::remove_all(folder);
        std::exit(1);
    }
    fs::remove_all(folder);
}

}  // namespace bench
