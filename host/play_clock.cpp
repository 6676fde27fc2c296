#include "play_clock.h"

#include <algorithm>
#include <cmath>

namespace host {
namespace {

// Seconds off the sound up to which the way back to it is gone gently: more than the step of any sound
// device, less than what one sees as wrong for a moment.
constexpr double kJump = 0.12;
// The part of the distance gone per step of the sound.
constexpr double kPull = 0.15;

// A position computed from a frame's own time may lie a rounding error before it.
constexpr double kFrameSlack = 1e-6;

}  // namespace

PlayClock::~PlayClock() { StopTrack(); }

void PlayClock::StopTrack() {
    if (sounding_) track_->Stop();
    sounding_ = false;
}

void PlayClock::SetTimeline(double length, Track* track, double start, double offset) {
    StopTrack();
    playing_ = false;
    length_ = length;
    track_ = track;
    track_start_ = start;
    track_offset_ = offset;
    shown_ = anchor_ = std::clamp(shown_, 0.0, length);
}

void PlayClock::Play(double now) {
    if (playing_) return;
    if (shown_ >= length_) shown_ = 0;
    anchor_ = shown_;
    anchor_now_ = now;
    playing_ = true;
}

void PlayClock::Pause(double now) {
    if (!playing_) return;
    Position(now);
    StopTrack();
    playing_ = false;
}

void PlayClock::Seek(double position, double now) {
    StopTrack();
    shown_ = anchor_ = std::clamp(position, 0.0, length_);
    anchor_now_ = now;
}

bool PlayClock::FollowTrack(double& position) {
    if (!track_ || position < track_start_) return false;
    if (!sounding_) {
        const double time = FileTime(position);
        if (track_->Length() > 0 && time >= track_->Length()) return false;
        track_->Play(time);
        sounding_ = true;
        reading_ = track_->Time();
        return false;
    }
    const double reading = track_->Time();
    // No step of the sound since, or no more sound to come.
    if (reading == reading_ || (track_->Length() > 0 && reading >= track_->Length())) return false;
    reading_ = reading;
    const double distance = reading - FileTime(position);
    const bool jumps = std::abs(distance) > kJump;
    position += jumps ? distance : kPull * distance;
    return jumps;
}

double PlayClock::Position(double now) {
    if (!playing_) return shown_;
    double position = anchor_ + (now - anchor_now_);
    const bool jumped = FollowTrack(position);
    anchor_ = position;
    anchor_now_ = now;
    shown_ = jumped ? position : std::max(position, shown_);
    if (shown_ < length_) return shown_;
    StopTrack();
    if (loop_ && length_ > 0) {
        shown_ = anchor_ = 0;
    } else {
        shown_ = length_;
        playing_ = false;
    }
    return shown_;
}

std::size_t FrameAt(double position, double frames_per_second, std::size_t count) {
    const double frame = std::floor(position * frames_per_second + kFrameSlack);
    if (frame <= 0) return 0;
    return std::min(static_cast<std::size_t>(frame), count - 1);
}

void FrameMeter::Show(std::size_t frame, double now) {
    if (has_last_ && frame > last_ + 1) dropped_ += frame - last_ - 1;
    last_ = frame;
    has_last_ = true;
    shown_.push_back(now);
}

double FrameMeter::Rate(double now) {
    while (!shown_.empty() && shown_.front() <= now - 1) shown_.pop_front();
    return static_cast<double>(shown_.size());
}

double Percentile(std::vector<double> values, double percent) {
    if (values.empty()) return 0;
    const auto rank = static_cast<std::size_t>(std::ceil(percent / 100 * static_cast<double>(values.size())));
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(std::clamp<std::size_t>(rank, 1, values.size()) - 1);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

}  // namespace host
