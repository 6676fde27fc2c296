// The module's one object. A host loads the module, calls its one exported function, and works through the
// virtual operations from there on:
//
//     auto get = reinterpret_cast<osm3d::GetDriverFunction>(dlsym(module, "OSMIRA_GetDriver"));
//     osm3d::Driver* driver = get();
//     driver->GetPlayback()->Start(window, instance, 640, 480, 32, true, 0);
//     driver->SetControllerFactory(&factory);
//     osm3d::Effect* effect = driver->LoadEffect(definition, "clip 1");
#pragma once

#include <memory>
#include <string>

#include "driver/data_object.h"
#include "driver/playback_host.h"
#include "driver/sound_player.h"
#include "effects/effect.h"
#include "effects/host_interfaces.h"
#include "platform/types.h"
#include "render/render_target.h"

namespace osm3d {

class LoadedAnimation;

/// Shows a text to a person. `icon` is 48 for a warning, 64 for information, 0 for none, as message boxes
/// number them. The texts hold only during the call.
using MessageHandler = void (*)(const char* text, const char* caption, u32 icon);

/// The order of the operations is part of the module's interface. All calls come on the host's one thread.
/// The host deletes the effects (or calls Release) and data objects that it gets.
class Driver {
  public:
    Driver();
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;
    /// Stops the playback when it is started, then the sound likewise.
    ~Driver();

    /// Always 3.
    virtual u32 GetVersion();
    virtual const char* GetName();

    /// A new effect of the type `definition.name`, with its parameters at their library values; null for a
    /// type that does not exist. Needs SetControllerFactory, and GetPlayback()->Start for effects that
    /// capture a picture.
    virtual Effect* LoadEffect(const EffectDefinition& definition, const std::string& instanceName);

    /// The same without parameters, for LoadControllers or LoadState.
    virtual Effect* CreateEffect(const std::string& name);

    /// A new data object for a scene (.om2) or an image (.bmp .dds .dib .jpg .png .tga, in lower case); null
    /// when the file cannot be loaded or has another extension. Needs GetPlayback()->Start.
    virtual DataObject* LoadData(const std::string& path);

    /// Pairs of label and patterns, each ended by a vertical bar, for a file dialog.
    virtual const std::string& GetFileFilter();

    /// Where the host finds the description of the effects, relative to it.
    virtual const std::string& GetLibraryPath();

    /// Gives `factory` back. Not owned; effects loaded later use it.
    virtual HostControllerFactory* SetControllerFactory(HostControllerFactory* factory);

    /// Writes the document's scenes, images and text into one compressed file, which nothing reads back (see
    /// ExportLoadable). Tells the person how it went; a file that cannot be written is left as it was.
    /// Embeds images and has the document's scenes share them: see ExportPackage.
    virtual void ExportAnimation(HostDocument* document, const std::string& path);

    /// Reads a file of ExportLoadable; `text` becomes its project. From then on, until the playback stops,
    /// LoadData takes everything from there, by the paths that the data objects had. When the file cannot be
    /// loaded the person is told why, `text` stays, and LoadData goes on as before. Needs
    /// GetPlayback()->Start.
    virtual void LoadAnimation(const std::string& path, std::string& text);

    /// Never null.
    virtual SoundPlayerFMOD* GetSoundPlayer();

    virtual PlaybackHost* GetPlayback();

    /// ExportAnimation in the form that LoadAnimation reads. False when nothing was written. Effect texts
    /// stay files of their own; the person is told of each.
    virtual bool ExportLoadable(HostDocument* document, const std::string& path);

    /// Has `handler` show what the module tells a person, in place of message boxes that wait until somebody
    /// closes them; null brings these back.
    virtual void SetMessageHandler(MessageHandler handler);

    /// The targets that effects share.
    RenderTargetPool& GetRenderTargetPool() { return renderTargetPool; }

  private:
    DataObject* LoadPackaged(const std::string& path);

    HostControllerFactory* controllerFactory = nullptr;
    RenderTargetPool renderTargetPool;
    SoundPlayerFMOD soundPlayer;
    PlaybackHost playback;
    /// Shared with the data objects made of it.
    std::shared_ptr<LoadedAnimation> package;
};

/// The one Driver.
Driver& GetDriver();

/// The exported function's type and name.
using GetDriverFunction = Driver* (*)();
inline constexpr const char* kGetDriverName = "OSMIRA_GetDriver";

}  // namespace osm3d
