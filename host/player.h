// Plays a project through the module: data, effects, and one frame at a time.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "module.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/system/window.h"
#include "png_file.h"
#include "project.h"
#include "project_controllers.h"

namespace host {

class Player {
  public:
    // Starts the device without a window to see, at `width` x `height` pixels, loads the project's data and
    // makes its effects. Module, project and library must outlive the player. One player at a time. Throws
    // cli::Error when data cannot be loaded.
    Player(Module& module, const Project& project, const EffectLibrary& library, unsigned width,
           unsigned height);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Draws the frame at `seconds`: the active clips, layer by layer. A time without clips shows the module's
    // empty frame.
    void Draw(double seconds);
    // Whether any clip is active at `seconds`.
    bool HasPicture(double seconds) const;
    // The frame drawn last. The reference holds until the next call.
    const Picture& Grab();
    // Draws the frame at `seconds` several times and ends each; gives the seconds that the last one took,
    // from the first call to the picture read back. ProfileReport then says where they went, one line per
    // section, each begun by a line feed.
    double Profile(double seconds);
    std::string ProfileReport() const { return driver_.GetPlayback()->GetProfile(); }

  private:
    struct Playing {
        const Clip* clip = nullptr;
        std::unique_ptr<ProjectNode> node;
        osm3d::Effect* effect = nullptr;
        bool follows_view = false;  // its scene shows the view of the picture before
    };

    void LoadData();
    void MakeEffects();
    void Stop();
    bool FollowsView(const Clip& clip) const;
    static bool IsActive(const Clip& clip, double seconds);

    osm3d::Driver& driver_;
    const Project& project_;
    ProjectControllerFactory factory_;
    std::unique_ptr<platform::Window> window_;
    std::map<std::string, std::unique_ptr<osm3d::DataObject>> data_;
    std::vector<Playing> clips_;  // in the order of drawing
    ComPtr<IDirect3DSurface9> copy_, resolved_;
    Picture picture_;
};

}  // namespace host
