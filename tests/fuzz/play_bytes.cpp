#include "fuzz/play_bytes.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "driver/animation_package.h"
#include "driver/driver.h"
#include "effects/simple_effects.h"
#include "fuzz/play_effect.h"
#include "material/texture.h"
#include "platform/system/system.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

osm3d::PlaybackHost& Playback() { return *osm3d::GetDriver().GetPlayback(); }

// In memory where the machine has such a folder.
std::string ScratchFolder() {
    std::error_code error;
    const fs::path base =
        fs::is_directory("/dev/shm", error) ? fs::path("/dev/shm") : fs::temp_directory_path();
    const fs::path folder = base / ("osm_fuzz_" + std::to_string(::getpid()));
    fs::create_directories(folder);
    return folder.string();
}

// One frame of one effect, in the order in which a host calls.
template <class Effect>
void PlayOnce(Effect& effect) {
    effect.Init();
    effect.Update(0, 0.5f);
    effect.ClearTarget();
    effect.Draw();
    Playback().Present();
    effect.Shutdown();
}

}  // namespace

Playground::Playground() : system_(support::kNullDevice), window_(640, 480), folder_(ScratchFolder()) {
    platform::SetMessageBoxHandler([](const std::string&, const std::string&, u32) {});
    platform::SetDebugStringHandler([](const std::string&) {});
    platform::SetShaderCompiler(MadeUpCompiler());
    Playback().Start(window_.Handle(), nullptr, 640, 480, 32, true, 0);
}

Playground::~Playground() {
    Playback().Stop();
    platform::SetShaderCompiler(nullptr);
    platform::SetDebugStringHandler(nullptr);
    platform::SetMessageBoxHandler(nullptr);
    fs::remove_all(folder_);
}

const std::string& Playground::Write(const std::uint8_t* data, std::size_t size,
                                     const std::string& extension) {
    path_ = folder_ + "/input" + extension;
    if (std::FILE* file = std::fopen(path_.c_str(), "wb")) {
        if (size > 0) std::fwrite(data, size, 1, file);
        std::fclose(file);
    }
    return path_;
}

bool Playground::Scene(const std::uint8_t* data, std::size_t size, float time) {
    const std::unique_ptr<osm3d::DataObject> scene(osm3d::GetDriver().LoadData(Write(data, size, ".om2")));
    if (!scene) return false;
    Show(*scene, time);
    return true;
}

void Playground::Show(osm3d::DataObject& scene, float time) {
    osm3d::fx_simple_scene effect;
    effect.SetStart(0);
    effect.SetLength(1);
    effect.OnObjectChanged(0, &scene);
    effect.OnFloatChanged(2, time / 100);
    PlayOnce(effect);
}

bool Playground::Package(const std::uint8_t* data, std::size_t size) {
    std::string reason;
    const std::shared_ptr<osm3d::LoadedAnimation> loaded =
        osm3d::LoadedAnimation::Read(Write(data, size, ".package"), reason);
    if (!loaded) return false;
    loaded->LoadResources();
    for (const auto& [key, scene] : loaded->Package().scenes) {
        osm3d::data_scene shown(scene, loaded);
        Show(shown, 37);
    }
    return true;
}

bool Playground::Image(const std::uint8_t* data, std::size_t size, const std::string& extension) {
    const std::unique_ptr<osm3d::DataObject> image(osm3d::GetDriver().LoadData(Write(data, size, extension)));
    if (!image) return false;
    osm3d::fx_simple_bmp effect;
    effect.SetStart(0);
    effect.SetLength(1);
    effect.OnObjectChanged(0, image.get());
    PlayOnce(effect);
    auto* texture = static_cast<osm3d::TextureData*>(image.get())->texture;
    return texture && texture->GetDeviceTexture();
}

std::string Playground::Faults() {
    std::string all;
    for (const std::string& fault : system_.Recorded().faults) all += fault + "\n";
    return all;
}

}  // namespace fuzz
