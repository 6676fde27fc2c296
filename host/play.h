// A project in a window, with its sound and its timeline.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "effect_library.h"
#include "module.h"
#include "play_clock.h"
#include "play_files.h"
#include "play_sound.h"
#include "play_strip.h"
#include "play_surface.h"
#include "player.h"
#include "project.h"
#include "timeline_view.h"

struct SDL_Window;
union SDL_Event;

namespace host {

struct PlayOptions {
    std::string in;
    bool is_paused = false;   // at the beginning, until a person lets it go
    bool is_looping = false;  // begin anew at the end
    bool is_full_screen = false;
    std::optional<unsigned> samples;  // a pixel: 0, 2 or 4; else the project's
    bool bench = false;  // every frame without waiting, and without sound; then print what each took
};

// Plays until the window is closed. Throws cli::Error when there is no display, or the project has a mistake.
void Play(const Common& common, const PlayOptions& options);

// What Play runs, to be looked at between its steps. One at a time.
class PlayWindow {
  public:
    // Opens the window, loads the project, shows the first frame and starts.
    PlayWindow(const Common& common, const PlayOptions& options);
    ~PlayWindow();
    PlayWindow(const PlayWindow&) = delete;
    PlayWindow& operator=(const PlayWindow&) = delete;

    // Does what keys and mouse ask for, shows the frame that is due, or waits for either a little. False once
    // the person is done.
    bool Step();
    // Draws and shows every frame as fast as it goes; milliseconds that each took.
    std::vector<double> ShowAll();

    SDL_Window* Window() const { return window_; }
    bool IsPlaying() const { return clock_.IsPlaying(); }
    bool IsFullScreen() const;
    std::size_t Frame() const { return frame_; }  // shown last
    std::size_t FrameCount() const { return project_->FrameCount(); }
    std::size_t Dropped() const { return meter_.Dropped(); }
    const std::string& Note() const { return note_; }
    const std::vector<std::string>& Errors() const { return errors_; }
    const Strip& TimelineStrip() const { return *strip_; }

  private:
    void OpenWindow();
    void Close();
    std::unique_ptr<Player> MakePlayer(const Project& project);
    void TakeTimeline();
    void OpenSound();
    void Reload();
    // Makes the player of the same project anew; none, and why, when that cannot be.
    void Renew(Mistakes& mistakes);
    void ShowMistakes(const Mistakes& mistakes);
    // Renews the player whose device the system had taken. False while there is none to be had.
    bool HasDevice();
    void SaveStill();

    void Handle(const SDL_Event& event);
    void HandleKey(int key, bool shift, bool is_repeat);
    void SeekTo(double seconds);
    void StepFrame(int frames);
    void TogglePlaying();
    void ToggleFullScreen();
    void Hold(float x);

    void Show(double now);
    Box PictureArea(int width, int height) const;
    ImDrawData* DrawOver();
    void PlaceStrip();
    bool IsStripShown() const;
    float PixelsPerUnit() const;
    double Now() const;
    void Say(const std::string& note);
    double Rate() const { return project_->frames_per_second; }

    EffectLibrary library_;
    std::string path_;
    std::optional<unsigned> samples_;  // in place of the project's
    std::unique_ptr<Project> project_;
    Module module_;
    SDL_Window* window_ = nullptr;
    std::unique_ptr<Strip> strip_;
    std::unique_ptr<PlaySurface> surface_;
    std::unique_ptr<Player> player_;  // null when not even the last good project could be loaded again
    std::unique_ptr<PlaySound> sound_;
    bool has_track_ = false;
    FileSnapshot files_;
    TimelineRows rows_;
    PlayClock clock_{0};
    FrameMeter meter_;

    std::string note_, file_name_;
    std::vector<std::string> errors_;
    double note_until_ = 0, shown_at_ = -1, mouse_moved_ = -10;
    std::size_t frame_ = 0;
    float mouse_x_ = -1, mouse_y_ = -1;
    bool is_bench_ = false;
    bool has_strip_ = true, strip_was_shown_ = true, was_playing_ = false;
    bool is_holding_ = false, plays_after_hold_ = false;
    bool picture_due_ = true, window_due_ = true, is_done_ = false;
};

}  // namespace host
