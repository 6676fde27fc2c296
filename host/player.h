// Plays a project through the module: data, effects, and one frame at a time.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "module.h"
#include "picture_window.h"
#include "platform/d3d9/com_ptr.h"
#include "png_file.h"
#include "project.h"
#include "project_controllers.h"
#include "timeline.h"

namespace host {

class Player {
  public:
    // Starts the device without a window to see, at `width` x `height` pixels, loads the project's data and
    // makes its effects. Module, project and library must outlive the player. One player at a time. Throws
    // cli::Error when data cannot be loaded.
    Player(Module& module, const Project& project, const EffectLibrary& library, unsigned width,
           unsigned height);
    // The same in a window of the host's.
    Player(Module& module, const Project& project, const EffectLibrary& library,
           std::unique_ptr<PictureWindow> window);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Draws the frame at `seconds`: the active clips, layer by layer. A time without clips shows the module's
    // empty frame.
    void Draw(double seconds);
    // Ends the frame, for a window that shows it.
    void Present() { driver_.GetPlayback()->Present(); }
    // The frame drawn last. The reference holds until the next call.
    const Picture& Grab();
    // The same into a picture of the caller's, which keeps its memory from call to call.
    void Grab(Picture& picture);
    // Draws the frame at `seconds` several times and ends each; gives the seconds that the last one took,
    // from the first call to the picture read back. ProfileReport then says where they went, one line per
    // section, each begun by a line feed.
    double Profile(double seconds);
    std::string ProfileReport() const { return driver_.GetPlayback()->GetProfile(); }

  private:
    void WarnOfSamples();
    void LoadData();
    void MakeEffects();
    std::vector<PlayingClip> MakeClips(const std::vector<Clip>& clips);
    PlayingClip MakeClip(const Clip& clip);
    osm3d::Effect* MakeEffect(const std::string& name, const std::string& place);
    void Stop();

    osm3d::Driver& driver_;
    const Project& project_;
    const EffectLibrary& library_;
    ProjectControllerFactory factory_;
    std::unique_ptr<PictureWindow> window_;
    std::map<std::string, std::unique_ptr<osm3d::DataObject>> data_;
    std::vector<osm3d::Effect*> effects_;  // all of them; ended by Release
    std::vector<PlayingClip> clips_;       // in the order of drawing
    std::unique_ptr<Timeline> timeline_;
    ComPtr<IDirect3DSurface9> copy_, resolved_;
    Picture picture_;
};

// What `item` names, loaded by the module, whose playback is started; null, and why, when that cannot be.
std::unique_ptr<osm3d::DataObject> LoadDataItem(osm3d::Driver& driver, const Project& project,
                                                const DataItem& item, std::string& why);

// Adds to `mistakes` what of the project's data is not there or does not load in the module. With a player,
// that of its project or another, it uses that one's device.
void CheckData(Module& module, const Project& project, Mistakes& mistakes);

}  // namespace host
