// Where streams sound, and what tells how far they are.
#pragma once

#include <functional>
#include <memory>

#include "platform/sound/sound_file.h"
#include "platform/types.h"

namespace platform {

/// Nanoseconds since some moment; never goes back.
using SoundClock = std::function<u64()>;
u64 SteadyClock();

/// One stream's sound. Positions are frames from the file's beginning.
class SoundVoice {
  public:
    virtual ~SoundVoice() = default;
    /// Sounds from `frame` on, whatever it did before.
    virtual void Start(i64 frame) = 0;
    /// Decodes what will be needed next. Between Start and the end it is called every kFeedMilliseconds.
    virtual void Feed() = 0;
    /// What is heard now. Never goes back between two Starts.
    virtual i64 Position() = 0;
    /// All of the file from Start's frame on was heard.
    virtual bool Ended() = 0;
};

class SoundOutput {
  public:
    virtual ~SoundOutput() = default;
    /// Null when it has no room for another. `file` is read by the voice alone, and outlives it.
    virtual std::unique_ptr<SoundVoice> MakeVoice(SoundFile& file) = 0;
    /// Whether its voices want Feed.
    virtual bool NeedsFeeding() const = 0;
    /// The device was taken away: the voices stand still for good.
    virtual bool IsLost() = 0;
};

inline constexpr u32 kFeedMilliseconds = 15;

/// Makes no sound, and goes by `clock` alone.
std::unique_ptr<SoundOutput> MakeSilentOutput(SoundClock clock);

/// The machine's default device, mixing at `rate`; null when there is none, or only one that plays nothing.
std::unique_ptr<SoundOutput> MakeDeviceOutput(i32 rate, SoundClock clock);

/// Into memory, in stereo: the same as a device, but for Render.
class MemoryOutput : public SoundOutput {
  public:
    /// The next `frames` frames of the mix: two samples each, 1 as the greatest.
    virtual void Render(f32* out, i32 frames) = 0;
};
std::unique_ptr<MemoryOutput> MakeMemoryOutput(i32 rate, SoundClock clock);

}  // namespace platform
