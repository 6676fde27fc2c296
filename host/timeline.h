// Clips with their effects, and the walk over them that makes a picture.
//
// Everything is drawn in the order that effects rely on: each active clip is updated, a filter's content is
// drawn between its BeginRender and EndRender, a needed input of a transition between BeginInput and
// EndRender, and then the effect itself. What is drawn first into a target clears it, so that no picture
// holds anything of an earlier one: the first clip of the whole picture, of a filter's content, and of each
// input of a transition. So filters and transitions, which paint the whole picture, cover what lies under
// them.
#pragma once

#include <vector>

#include "effects/effect.h"
#include "project.h"

namespace host {

// A clip whose effect is made, its parameters set.
struct PlayingClip {
    const Clip* clip = nullptr;
    osm3d::Effect* effect = nullptr;  // not owned
    // Its picture shows the view of the picture before it.
    bool follows_view = false;
    // Its ClearTarget leaves the target as it is.
    bool leaves_target = false;
    std::vector<std::vector<PlayingClip>> contents;  // as the clip's

    // Init was called last, not Shutdown.
    bool is_ready = false;
};

class Timeline {
  public:
    // Takes the clips in the order of drawing. `eraser` is an effect whose ClearTarget clears any target, for
    // one into which nothing else is drawn. Both must outlive the timeline.
    Timeline(std::vector<PlayingClip>& clips, osm3d::Effect& eraser) : clips_(clips), eraser_(eraser) {}

    // Makes ready what can be ready all the time, and lets those that capture pictures take them once, so
    // that none is made while playing: clips that are not active together share theirs.
    void Init();
    // The counterpart of Init, to be called before the effects go.
    void Shutdown();

    // Draws the picture at `seconds`. False, and nothing drawn, when no clip is active.
    bool Draw(double seconds);

  private:
    // Those that are active at `seconds` of `clips`, and of what they hold, get Init before it is first
    // needed; captured pictures of the others are given back.
    static void MakeReady(std::vector<PlayingClip>& clips, double seconds, bool is_shown, bool give_back);
    static void Update(std::vector<PlayingClip>& clips, double seconds);
    static void DrawFollowers(std::vector<PlayingClip>& clips, double seconds);
    // `opens`: nothing has been drawn into the target yet.
    bool DrawClips(std::vector<PlayingClip>& clips, double seconds, bool opens);
    void DrawWhole(std::vector<PlayingClip>& clips, double seconds);
    void DrawClip(PlayingClip& playing, double seconds, bool opens);
    void DrawTransition(PlayingClip& playing, double seconds);

    std::vector<PlayingClip>& clips_;
    osm3d::Effect& eraser_;
};

}  // namespace host
