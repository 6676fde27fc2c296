// Sound on Windows. The functions of fmod.dll belong here, looked up when FSOUND_GetVersion is first called;
// this build does not carry them, so the start of the library fails and the host is told that there is no
// sound.
#include "platform/sound/sound_library.h"

namespace platform {
namespace {

class NoSoundLibrary final : public SoundLibrary {
  public:
    f32 FSOUND_GetVersion() override { return kSoundLibraryVersion; }
    bool FSOUND_Init(i32, i32, u32) override { return false; }
    void FSOUND_Close() override {}
    FSOUND_STREAM* FSOUND_Stream_OpenFile(const char*, u32, i32) override { return nullptr; }
    bool FSOUND_Stream_Close(FSOUND_STREAM*) override { return false; }
    i32 FSOUND_Stream_Play(i32, FSOUND_STREAM*) override { return -1; }
    bool FSOUND_Stream_Stop(FSOUND_STREAM*) override { return false; }
    i32 FSOUND_Stream_GetTime(FSOUND_STREAM*) override { return 0; }
    bool FSOUND_Stream_SetTime(FSOUND_STREAM*, i32) override { return false; }
    bool FSOUND_SetPan(i32, i32) override { return false; }
    FSOUND_SAMPLE* FSOUND_Sample_Load(i32, const char*, u32, i32) override { return nullptr; }
    u32 FSOUND_Sample_GetLength(FSOUND_SAMPLE*) override { return 0; }
    bool FSOUND_Sample_Lock(FSOUND_SAMPLE*, i32, i32, void**, void**, u32*, u32*) override { return false; }
    bool FSOUND_Sample_Unlock(FSOUND_SAMPLE*, void*, void*, u32, u32) override { return false; }
    void FSOUND_Sample_Free(FSOUND_SAMPLE*) override {}
};

}  // namespace

SoundLibrary& GetSoundLibrary() {
    static NoSoundLibrary library;
    return library;
}

}  // namespace platform
