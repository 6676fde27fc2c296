// The sound library's operations over an output and decoded files.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/sound/sound_file.h"
#include "platform/sound/sound_library.h"
#include "platform/sound/sound_output.h"

namespace platform {

/// Streams are decoded a little ahead of what is heard, on a thread of the library's own; it sleeps while
/// nothing plays, and there is none for an output that needs no feeding. When the device is taken away, what
/// plays goes on silently and keeps its time.
class StreamLibrary final : public SoundLibrary {
  public:
    /// Makes the output when the library is initialised, for the given mixing rate. Null: no device, which is
    /// no failure.
    using OutputFactory = std::function<std::unique_ptr<SoundOutput>(i32 mixRate)>;
    enum class Feeding { kThread, kByHand };

    StreamLibrary();
    StreamLibrary(OutputFactory makeOutput, SoundClock clock, Feeding feeding);
    ~StreamLibrary() override;

    /// What the thread does at each turn; for kByHand.
    void Feed();

    f32 FSOUND_GetVersion() override;
    bool FSOUND_Init(i32 mixRate, i32 channels, u32 flags) override;
    void FSOUND_Close() override;
    FSOUND_STREAM* FSOUND_Stream_OpenFile(const char* path, u32 mode, i32 length) override;
    bool FSOUND_Stream_Close(FSOUND_STREAM* stream) override;
    i32 FSOUND_Stream_Play(i32 channel, FSOUND_STREAM* stream) override;
    bool FSOUND_Stream_Stop(FSOUND_STREAM* stream) override;
    i32 FSOUND_Stream_GetTime(FSOUND_STREAM* stream) override;
    bool FSOUND_Stream_SetTime(FSOUND_STREAM* stream, i32 milliseconds) override;
    bool FSOUND_SetPan(i32 channel, i32 pan) override;
    FSOUND_SAMPLE* FSOUND_Sample_Load(i32 index, const char* path, u32 mode, i32 length) override;
    u32 FSOUND_Sample_GetLength(FSOUND_SAMPLE* sample) override;
    bool FSOUND_Sample_Lock(FSOUND_SAMPLE* sample, i32 offset, i32 length, void** first, void** second,
                            u32* firstBytes, u32* secondBytes) override;
    bool FSOUND_Sample_Unlock(FSOUND_SAMPLE* sample, void* first, void* second, u32 firstBytes,
                              u32 secondBytes) override;
    void FSOUND_Sample_Free(FSOUND_SAMPLE* sample) override;

  private:
    struct Stream {
        std::unique_ptr<SoundFile> file;
        std::unique_ptr<SoundVoice> voice;  // while it plays
        i32 channel = -1;                   // likewise
        i64 frame = 0;                      // while it does not: where it stands
        bool ended = false;                 // it stands at its end, and starts from the beginning
    };

    Stream* Find(FSOUND_STREAM* stream);
    // All of these need the lock.
    bool Begin(Stream& stream, i32 channel, i64 frame);
    void Halt(Stream& stream);
    void Settle(Stream& stream);
    void FeedAll();
    bool IsAnyPlaying() const;
    void FeedUntilClosed();

    const OutputFactory make_output_;
    const SoundClock clock_;
    const Feeding feeding_;

    std::mutex mutex_;
    std::condition_variable wake_;
    std::thread feeder_;
    bool closing_ = false;

    std::unique_ptr<SoundOutput> output_;  // outlives the streams, whose voices are its own
    // Handles are numbers that are never given twice, so that one which was closed stays unknown.
    std::map<u64, Stream> streams_;
    std::map<u64, std::vector<i16>> samples_;
    std::vector<u64> channels_;  // the stream that sounds on each; 0 for none
    u64 last_handle_ = 0;
};

}  // namespace platform
