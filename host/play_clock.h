// The time that a playing window shows: the sound's where there is sound, a steady clock's elsewhere.
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

namespace host {

// A sound track as a clock sees it. Times are seconds of the sound's file.
class Track {
  public:
    virtual ~Track() = default;
    // Sounds from `time` on. A playing track starts anew there.
    virtual void Play(double time) = 0;
    virtual void Stop() = 0;
    // Where it is. May stand still between steps of the sound device, and at the track's end.
    virtual double Time() = 0;
    // 0: not known.
    virtual double Length() const = 0;
};

// A position on the timeline, in seconds, that goes with the sound. `now` is seconds of a steady clock, which
// never goes back from call to call. Between two steps of the sound, and where there is none, the steady
// clock leads on; a step of the sound pulls the position to it, gently when it is near, at once when it is
// far. So pictures are left out or shown longer, and the sound is never touched.
class PlayClock {
  public:
    // Paused at 0. `length` is the timeline's.
    explicit PlayClock(double length) : length_(length) {}
    // Stops the track, which must still be there.
    ~PlayClock();
    PlayClock(const PlayClock&) = delete;
    PlayClock& operator=(const PlayClock&) = delete;

    // Another timeline, or null for no track: `start` is the position at which the track sets in, `offset`
    // the seconds of its file that are left out. Pauses, and keeps the position as far as the new length
    // allows.
    void SetTimeline(double length, Track* track, double start, double offset);
    // At the end, begin anew instead of pausing.
    void SetLoop(bool loop) { loop_ = loop; }
    bool IsLooping() const { return loop_; }

    // At the end, plays from the beginning.
    void Play(double now);
    void Pause(double now);
    // To a position within the timeline, playing or paused as before.
    void Seek(double position, double now);
    bool IsPlaying() const { return playing_; }
    double Length() const { return length_; }

    // Where the timeline is at `now`. Starts the track when its time comes; pauses, or begins anew, at the
    // end. Goes back only where the sound went back by a jump, and at a new beginning.
    double Position(double now);

  private:
    double FileTime(double position) const { return position - track_start_ + track_offset_; }
    // Lets the track's reading correct `position`; true when it had to jump.
    bool FollowTrack(double& position);
    void StopTrack();

    double length_;
    bool loop_ = false, playing_ = false;
    // The position at `anchor_now_`, from which the steady clock leads on.
    double anchor_ = 0, anchor_now_ = 0;
    double shown_ = 0;  // given last
    Track* track_ = nullptr;
    double track_start_ = 0, track_offset_ = 0;
    bool sounding_ = false;
    double reading_ = 0;  // the track's last
};

// The frame to show at `position`: the last one that began. Below `count`, which is 1 or more.
std::size_t FrameAt(double position, double frames_per_second, std::size_t count);

// Counts the frames that were shown and those that had to be left out.
class FrameMeter {
  public:
    // `frame` is shown at `now` seconds. Between it and the one before it, those in the middle were dropped.
    void Show(std::size_t frame, double now);
    // What comes next does not continue what came last: a pause, a seek.
    void Break() { has_last_ = false; }
    std::size_t Dropped() const { return dropped_; }
    // Frames a second over the last second before `now`.
    double Rate(double now);

  private:
    std::size_t last_ = 0, dropped_ = 0;
    bool has_last_ = false;
    std::deque<double> shown_;
};

// The least of `values` that `percent` (above 0, up to 100) of them do not exceed; 0 without values.
double Percentile(std::vector<double> values, double percent);

}  // namespace host
