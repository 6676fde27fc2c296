#include "driver/driver.h"

#include <array>
#include <memory>

#include "trace/tracer.h"

namespace osm3d {

Driver::~Driver() {
    if (playback.IsStarted()) {
        playback.Stop();
    }
}

u32 Driver::GetVersion() { return 3; }

const char* Driver::GetName() { return "Ostrel Team Simpliest Driver(Final Version)"; }

Effect* Driver::LoadEffect(const EffectDefinition& definition, const std::string& instanceName) {
    return CreateEffectByDefinition(definition, instanceName, controllerFactory, renderTargetPool);
}

Effect* Driver::CreateEffect(const std::string& name) { return CreateEffectByName(name, renderTargetPool); }

DataObject* Driver::LoadData(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos) {
        return nullptr;
    }
    const std::string extension = path.substr(dot);
    if (extension == ".om2") {
        auto data = std::make_unique<data_scene>();
        return data->Load(path) ? data.release() : nullptr;
    }
    static constexpr std::array kImages{".bmp", ".dds", ".dib", ".jpg", ".png", ".tga"};
    for (const char* image : kImages) {
        if (extension == image) {
            auto data = std::make_unique<data_texture>(path);
            return data->texture != nullptr ? data.release() : nullptr;
        }
    }
    return nullptr;
}

const std::string& Driver::GetFileFilter() {
    // The second entry parts its patterns with commas; hosts know it so.
    static const std::string filter =
        "OM2 3D Scene files (*.om2)|*.om2|"
        "OM2 3D Texture (*.bmp, *.dds, *.dib, *.jpg, *.png, *.tga)|*.bmp,*.dds,*.dib,*.jpg,*.png,*.tga|"
        "Texture BMP (*.bmp)|*.bmp|Texture DDS (*.dds)|*.dds|Texture DIB (*.dib)|*.dib|"
        "Texture JPG (*.jpg)|*.jpg|Texture PNG (*.png)|*.png|Texture TGA (*.tga)|*.tga|";
    return filter;
}

const std::string& Driver::GetLibraryPath() {
    static const std::string path = "..\\osmdriver\\libfx.xml";
    return path;
}

HostControllerFactory* Driver::SetControllerFactory(HostControllerFactory* factory) {
    controllerFactory = factory;
    return factory;
}

void Driver::ExportAnimation(HostDocument*, const std::string&) {
    trace::Box("Animation export is not available in this version.");
}

void Driver::LoadAnimation(const std::string&, std::string&) {
    trace::Box("Loading of exported animations is not available in this version.");
}

SoundPlayerFMOD* Driver::GetSoundPlayer() { return nullptr; }

PlaybackHost* Driver::GetPlayback() { return &playback; }

}  // namespace osm3d
