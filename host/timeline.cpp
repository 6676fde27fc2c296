#include "timeline.h"

#include <algorithm>

namespace host {
namespace {

// The transition that lays one input over the other. At either end it needs just one of them, and is left
// out: what it has captured is then an earlier picture.
constexpr const char* kCrossFade = "fx_trans_blend";

// Filters and transitions hold captured pictures from Init to Shutdown.
bool Captures(const PlayingClip& playing) { return playing.clip->effect->role != Role::Source; }

void Ready(PlayingClip& playing, bool ready) {
    if (playing.is_ready == ready) return;
    playing.is_ready = ready;
    if (ready)
        playing.effect->Init();
    else
        playing.effect->Shutdown();
}

void InitSources(std::vector<PlayingClip>& clips) {
    for (PlayingClip& playing : clips) {
        if (!Captures(playing)) Ready(playing, true);
        for (auto& content : playing.contents) InitSources(content);
    }
}

void ShutdownAll(std::vector<PlayingClip>& clips) {
    for (PlayingClip& playing : clips) {
        Ready(playing, false);
        for (auto& content : playing.contents) ShutdownAll(content);
    }
}

// A stretch of time in which a clip holds a captured picture.
struct Capture {
    PlayingClip* playing;
    double start, end;
};

void CollectCaptures(std::vector<PlayingClip>& clips, double start, double end,
                     std::vector<Capture>& captures) {
    for (PlayingClip& playing : clips) {
        if (!Captures(playing)) continue;
        const double from = std::max(start, playing.clip->start);
        const double to = std::min(end, playing.clip->start + playing.clip->length);
        if (from >= to) continue;
        captures.push_back({&playing, from, to});
        for (auto& content : playing.contents) CollectCaptures(content, from, to, captures);
    }
}

}  // namespace

void Timeline::Init() {
    InitSources(clips_);
    std::vector<Capture> captures;
    CollectCaptures(clips_, -kLongestProject, 2 * kLongestProject, captures);
    std::stable_sort(captures.begin(), captures.end(),
                     [](const Capture& a, const Capture& b) { return a.start < b.start; });
    std::vector<const Capture*> open;
    for (const Capture& capture : captures) {
        std::erase_if(open, [&](const Capture* other) {
            const bool ended = other->end <= capture.start;
            if (ended) Ready(*other->playing, false);
            return ended;
        });
        Ready(*capture.playing, true);
        open.push_back(&capture);
    }
    for (const Capture* capture : open) Ready(*capture->playing, false);
}

void Timeline::Shutdown() { ShutdownAll(clips_); }

void Timeline::MakeReady(std::vector<PlayingClip>& clips, double seconds, bool is_shown, bool give_back) {
    for (PlayingClip& playing : clips) {
        if (!Captures(playing)) continue;
        const bool is_active = is_shown && playing.clip->IsActive(seconds);
        if (is_active != give_back) Ready(playing, is_active);
        for (auto& content : playing.contents) MakeReady(content, seconds, is_active, give_back);
    }
}

void Timeline::Update(std::vector<PlayingClip>& clips, double seconds) {
    for (PlayingClip& playing : clips) {
        if (!playing.clip->IsActive(seconds)) continue;
        playing.effect->Update(0, static_cast<f32>(seconds));
        for (auto& content : playing.contents) Update(content, seconds);
    }
}

void Timeline::DrawFollowers(std::vector<PlayingClip>& clips, double seconds) {
    for (PlayingClip& playing : clips) {
        if (!playing.clip->IsActive(seconds)) continue;
        if (playing.follows_view) {
            playing.effect->ClearTarget();
            playing.effect->Draw();
        }
        for (auto& content : playing.contents) DrawFollowers(content, seconds);
    }
}

bool Timeline::Draw(double seconds) {
    // First give back, so that what begins now finds what ends now in the pool.
    MakeReady(clips_, seconds, true, true);
    MakeReady(clips_, seconds, true, false);
    Update(clips_, seconds);
    // A picture is to depend on its time alone: what follows the view gets the view of this very picture, by
    // a first round that the main one clears away.
    DrawFollowers(clips_, seconds);
    return DrawClips(clips_, seconds, true);
}

bool Timeline::DrawClips(std::vector<PlayingClip>& clips, double seconds, bool opens) {
    bool drawn = false;
    for (PlayingClip& playing : clips) {
        if (!playing.clip->IsActive(seconds)) continue;
        DrawClip(playing, seconds, opens && !drawn);
        drawn = true;
    }
    return drawn;
}

void Timeline::DrawWhole(std::vector<PlayingClip>& clips, double seconds) {
    if (!DrawClips(clips, seconds, true)) eraser_.ClearTarget();
}

void Timeline::DrawClip(PlayingClip& playing, double seconds, bool opens) {
    const Role role = playing.clip->effect->role;
    if (role == Role::Transition) {
        DrawTransition(playing, seconds);
        return;
    }
    if (role == Role::Filter) {
        playing.effect->BeginRender();
        DrawWhole(playing.contents.front(), seconds);
        playing.effect->EndRender();
    }
    if (opens) (playing.leaves_target ? eraser_ : *playing.effect).ClearTarget();
    playing.effect->Draw();
}

void Timeline::DrawTransition(PlayingClip& playing, double seconds) {
    auto& transition = static_cast<osm3d::TransitionEffect&>(*playing.effect);
    int needed = 0;
    for (i32 input = 1; input <= 2; ++input) {
        if (!transition.IsInputNeeded(input)) continue;
        ++needed;
        transition.BeginInput(input);
        DrawWhole(playing.contents[static_cast<std::size_t>(input - 1)], seconds);
        transition.EndRender();
    }
    if (needed == 2 || playing.clip->effect->name != kCrossFade) transition.Draw();
}

}  // namespace host
