#include "driver/driver.h"

#include <array>
#include <memory>
#include <utility>

#include "driver/animation_export.h"
#include "driver/animation_package.h"
#include "platform/system/system.h"
#include "trace/tracer.h"

namespace osm3d {

Driver::Driver() {
    // The images of a package must not outlive the device.
    playback.beforeStop = [this] { package.reset(); };
}

Driver::~Driver() {
    if (playback.IsStarted()) {
        playback.Stop();
    }
    // The members follow in reverse order: the sound player ends what is initialised of it, the pool is last.
}

u32 Driver::GetVersion() { return 3; }

const char* Driver::GetName() { return "Ostrel Team Simpliest Driver(Final Version)"; }

Effect* Driver::LoadEffect(const EffectDefinition& definition, const std::string& instanceName) {
    return CreateEffectByDefinition(definition, instanceName, controllerFactory, renderTargetPool);
}

Effect* Driver::CreateEffect(const std::string& name) { return CreateEffectByName(name, renderTargetPool); }

DataObject* Driver::LoadData(const std::string& path) {
    if (package != nullptr) {
        return LoadPackaged(path);
    }
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

void Driver::ExportAnimation(HostDocument* document, const std::string& path) {
    ExportPackage(document, path, PackageForm::kBodies);
}

bool Driver::ExportLoadable(HostDocument* document, const std::string& path) {
    return ExportPackage(document, path, PackageForm::kChunks);
}

void Driver::SetMessageHandler(MessageHandler handler) {
    if (!handler) {
        platform::SetMessageBoxHandler({});
        return;
    }
    platform::SetMessageBoxHandler([handler](const std::string& text, const std::string& caption, u32 icon) {
        handler(text.c_str(), caption.c_str(), icon);
    });
}

void Driver::LoadAnimation(const std::string& path, std::string& text) {
    std::string reason;
    std::shared_ptr<LoadedAnimation> loaded = LoadedAnimation::Read(path, reason);
    if (loaded == nullptr) {
        trace::Box("The animation \"%s\" cannot be loaded: %s.", path.c_str(), reason.c_str());
        return;
    }
    loaded->LoadResources();
    package = std::move(loaded);
    text = package->Package().projectText;
}

DataObject* Driver::LoadPackaged(const std::string& path) {
    const AnimationPackage& entries = package->Package();
    if (const auto found = entries.scenes.find(path); found != entries.scenes.end()) {
        return new data_scene(found->second, package);
    }
    if (const auto found = entries.textures.find(path); found != entries.textures.end()) {
        return new data_texture(found->second, package);
    }
    return nullptr;
}

SoundPlayerFMOD* Driver::GetSoundPlayer() { return &soundPlayer; }

PlaybackHost* Driver::GetPlayback() { return &playback; }

}  // namespace osm3d
