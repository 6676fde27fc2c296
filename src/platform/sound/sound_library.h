// The operations of the sound library that the sound player is written against, under the library's own
// names.
//
// On Windows that library is fmod.dll, found as the system finds DLLs when FSOUND_GetVersion or FSOUND_Init
// is first called; without it, or with one that lacks an operation, FSOUND_Init gives false and all other
// calls do nothing. Paths are in the process's code page. Elsewhere the same operations are made out of
// OpenAL Soft, which sounds, and libsndfile, which decodes; a machine without a sound device keeps the time
// all the same and is silent.
//
// All calls come on one thread. A handle that is null is answered with false, -1 or 0, and so is one that was
// closed already, except by fmod.dll, which must not see it.
#pragma once

#include "platform/types.h"

namespace platform {

/// What the handles point at is the library's business.
struct FSOUND_STREAM;
struct FSOUND_SAMPLE;

inline constexpr f32 kSoundLibraryVersion = 3.5f;

/// Mode flags of files.
inline constexpr u32 FSOUND_LOOP_OFF = 0x1;
inline constexpr u32 FSOUND_16BITS = 0x10;
inline constexpr u32 FSOUND_MONO = 0x20;
inline constexpr u32 FSOUND_SIGNED = 0x100;
/// Flag of FSOUND_Init: sounds go on while another window has the focus.
inline constexpr u32 FSOUND_INIT_GLOBALFOCUS = 0x2;
/// For "any free channel", and as an index "any free place".
inline constexpr i32 FSOUND_FREE = -1;
/// A pan: each side of the file to its own side, neither turned down.
inline constexpr i32 FSOUND_STEREOPAN = -1;

class SoundLibrary {
  public:
    virtual ~SoundLibrary() = default;

    virtual f32 FSOUND_GetVersion() = 0;

    /// Mixing rate in hertz, channels that can sound at once, flags. False: nothing else may be called.
    virtual bool FSOUND_Init(i32 mixRate, i32 channels, u32 flags) = 0;
    /// Ends all sound and closes all streams and samples.
    virtual void FSOUND_Close() = 0;

    /// Opens a sound file to be decoded while it plays. `mode` is FSOUND_LOOP_OFF and `length` 0. Null when
    /// it is no sound file that can be decoded.
    virtual FSOUND_STREAM* FSOUND_Stream_OpenFile(const char* path, u32 mode, i32 length) = 0;
    virtual bool FSOUND_Stream_Close(FSOUND_STREAM* stream) = 0;

    /// Starts at the file's beginning, or where FSOUND_Stream_SetTime has put a stream that does not play; a
    /// stream that plays starts over. Gives the channel, -1 for none. At its end a stream stops.
    virtual i32 FSOUND_Stream_Play(i32 channel, FSOUND_STREAM* stream) = 0;
    /// Ends the sound; the next start is the beginning again. A stream that does not play stays as it is.
    virtual bool FSOUND_Stream_Stop(FSOUND_STREAM* stream) = 0;
    /// Milliseconds from the file's beginning: of what is heard now while it plays, the length after its end,
    /// and where the next start will be otherwise.
    virtual i32 FSOUND_Stream_GetTime(FSOUND_STREAM* stream) = 0;
    /// Goes on from there when it plays. Times outside the file are taken as its beginning or end.
    virtual bool FSOUND_Stream_SetTime(FSOUND_STREAM* stream, i32 milliseconds) = 0;

    /// `pan` is FSOUND_STEREOPAN, which is how a channel starts; no other is taken.
    virtual bool FSOUND_SetPan(i32 channel, i32 pan) = 0;

    /// Decodes a whole file, at its own rate. `mode` is FSOUND_LOOP_OFF | FSOUND_16BITS | FSOUND_MONO |
    /// FSOUND_SIGNED, `index` FSOUND_FREE and `length` 0. Null when it cannot be decoded, or is longer than
    /// 2^29 samples.
    virtual FSOUND_SAMPLE* FSOUND_Sample_Load(i32 index, const char* path, u32 mode, i32 length) = 0;
    /// Samples in it.
    virtual u32 FSOUND_Sample_GetLength(FSOUND_SAMPLE* sample) = 0;
    /// Where `length` bytes from byte `offset` on lie: a first region and, when they go round the end of the
    /// memory, a second one (null and 0 otherwise). They stay there until FSOUND_Sample_Unlock.
    virtual bool FSOUND_Sample_Lock(FSOUND_SAMPLE* sample, i32 offset, i32 length, void** first,
                                    void** second, u32* firstBytes, u32* secondBytes) = 0;
    virtual bool FSOUND_Sample_Unlock(FSOUND_SAMPLE* sample, void* first, void* second, u32 firstBytes,
                                      u32 secondBytes) = 0;
    virtual void FSOUND_Sample_Free(FSOUND_SAMPLE* sample) = 0;
};

/// The machine's own. It opens no device before FSOUND_Init, and lives at least as long as every object whose
/// constructor called this.
SoundLibrary& GetSoundLibrary();

}  // namespace platform
