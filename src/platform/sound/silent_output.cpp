#ifndef _WIN32

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/sound/sound_output.h"

namespace platform {
namespace {

constexpr u64 kSecond = 1000000000;

class SilentVoice final : public SoundVoice {
  public:
    SilentVoice(const SoundFile& file, SoundClock clock) : file_(file), clock_(std::move(clock)) {}

    void Start(i64 frame) override {
        start_ = std::clamp<i64>(frame, 0, file_.frames());
        started_ = clock_();
    }
    void Feed() override {}
    i64 Position() override {
        const u64 elapsed = clock_() - started_;
        // Rounded up, so that a whole millisecond is never shown as the one before it.
        const u64 rate = file_.rate();
        const u64 frames = elapsed / kSecond * rate + (elapsed % kSecond * rate + kSecond - 1) / kSecond;
        return start_ + std::min(static_cast<i64>(frames), file_.frames() - start_);
    }
    bool Ended() override { return Position() >= file_.frames(); }

  private:
    const SoundFile& file_;
    SoundClock clock_;
    i64 start_ = 0;
    u64 started_ = 0;
};

class SilentOutput final : public SoundOutput {
  public:
    explicit SilentOutput(SoundClock clock) : clock_(std::move(clock)) {}
    std::unique_ptr<SoundVoice> MakeVoice(SoundFile& file) override {
        return std::make_unique<SilentVoice>(file, clock_);
    }
    bool NeedsFeeding() const override { return false; }
    bool IsLost() override { return false; }

  private:
    SoundClock clock_;
};

}  // namespace

u64 SteadyClock() {
    return static_cast<u64>(
        std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count());
}

std::unique_ptr<SoundOutput> MakeSilentOutput(SoundClock clock) {
    return std::make_unique<SilentOutput>(std::move(clock));
}

}  // namespace platform

#endif
