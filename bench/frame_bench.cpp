// A still scene of 2,000 meshes in 20 materials: what a frame costs once warm, and what it must not do.
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "bench.h"
#include "driver/driver.h"
#include "effects/simple_effects.h"
#include "mesh_scene.h"
#include "platform/system/window.h"
#include "support/allocations.h"
#include "support/engine_device.h"
#include "support/recording_device.h"

namespace bench {
namespace {

std::string WriteScene() {
    const std::string path =
        (std::filesystem::temp_directory_path() / fmt::format("osm_frames_{}.om2", ::getpid())).string();
    WriteMeshScene(path);
    return path;
}

// The scene in a clip, ready to be drawn.
class Clip {
  public:
    explicit Clip(const std::string& path) : data_(osm3d::GetDriver().LoadData(path)) {
        if (!data_) {
            fmt::print(stderr, "bench: the scene does not load\n");
            std::exit(1);
        }
        effect_.SetStart(0);
        effect_.SetLength(1);
        effect_.OnObjectChanged(0, data_.get());
        effect_.Init();
    }
    ~Clip() { effect_.Shutdown(); }
    void Frame() {
        effect_.Update(0, 0.5f);
        effect_.ClearTarget();
        effect_.Draw();
        osm3d::GetDriver().GetPlayback()->Present();
    }

  private:
    std::unique_ptr<osm3d::DataObject> data_;
    osm3d::fx_simple_scene effect_;
};

}  // namespace

void Frames() {
    const std::string path = WriteScene();
    osm3d::PlaybackHost& playback = *osm3d::GetDriver().GetPlayback();
    {
        support::DeviceOptions options;
        options.keep_calls = false;
        support::RecordingSystem system(options);
        support::TestWindow window(640, 480);
        playback.Start(window.Handle(), nullptr, 640, 480, 32, true, 0);
        {
            Clip clip(path);
            for (int i = 0; i < 3; ++i) clip.Frame();
            const support::Totals before = system.Recorded().totals;
            const long long counted = support::Allocations();
            clip.Frame();
            ReportCount("2,000 meshes: allocations in a warm frame", support::Allocations() - counted, 0);
            const support::Totals& after = system.Recorded().totals;
            ReportCount("2,000 meshes: redundant device states",
                        static_cast<long long>(after.redundant_state_sets - before.redundant_state_sets), 0);
            ReportCount("2,000 meshes: draws", static_cast<long long>(after.draws - before.draws), 2000);
            fmt::print("{:<44} {} states for {} draws, and {} repeated calls of other kinds\n",
                       "2,000 meshes: sent to the device", after.state_sets - before.state_sets,
                       after.draws - before.draws, after.redundant_sets - before.redundant_sets);
        }
        playback.Stop();
    }
    {
        const auto window = platform::MakeOffscreenWindow(640, 480);
        playback.Start(window->Handle(), nullptr, 640, 480, 32, true, 0);
        {
            Clip clip(path);
            for (int i = 0; i < 3; ++i) clip.Frame();
            const long long counted = support::Allocations();
            constexpr int kFrames = 30;
            const double seconds = Seconds([&] {
                for (int i = 0; i < kFrames; ++i) clip.Frame();
            });
            // The OpenGL driver allocates with malloc, which is not counted here.
            ReportCount("2,000 meshes on our device: allocations", support::Allocations() - counted, 0);
            fmt::print("{:<44} {:.2f} ms\n", "2,000 meshes on our device: a frame", seconds / kFrames * 1e3);
        }
        playback.Stop();
    }
    std::filesystem::remove(path);
}

}  // namespace bench
