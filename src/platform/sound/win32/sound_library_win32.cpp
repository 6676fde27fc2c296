// Sound on Windows: fmod.dll, which has the operations under these very names.
#ifdef _WIN32

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <string>

#include "platform/sound/sound_library.h"

namespace platform {
namespace {

// A bool of the library's: the result's lowest byte, whatever the others hold.
using Truth = signed char;

// One function of the library. While it is not found, calls do nothing and give 0.
template <typename Signature>
class Function;

template <typename Result, typename... Arguments>
class Function<Result(Arguments...)> {
  public:
    bool Find(HMODULE library, const char* name) {
        FARPROC found = nullptr;
        if constexpr (sizeof(void*) == 4) {
            // The library exports its functions with the bytes that each takes from the stack.
            static_assert(((sizeof(Arguments) == 4) && ...), "one word each");
            const std::string decorated =
                std::string("_") + name + '@' + std::to_string(4 * sizeof...(Arguments));
            found = GetProcAddress(library, decorated.c_str());
        }
        if (!found) found = GetProcAddress(library, name);
        address_ = reinterpret_cast<Address>(reinterpret_cast<void*>(found));
        return address_ != nullptr;
    }

    explicit operator bool() const { return address_ != nullptr; }
    Result operator()(Arguments... arguments) const { return address_ ? address_(arguments...) : Result(); }

  private:
    using Address = Result(__stdcall*)(Arguments...);
    Address address_ = nullptr;
};

struct Functions {
    Function<Truth(i32, i32, u32)> init;
    Function<void()> close;
    Function<FSOUND_STREAM*(const char*, u32, i32)> stream_open_file;
    Function<Truth(FSOUND_STREAM*)> stream_close;
    Function<i32(i32, FSOUND_STREAM*)> stream_play;
    Function<Truth(FSOUND_STREAM*)> stream_stop;
    Function<i32(FSOUND_STREAM*)> stream_get_time;
    Function<Truth(FSOUND_STREAM*, i32)> stream_set_time;
    Function<Truth(i32, i32)> set_pan;
    Function<FSOUND_SAMPLE*(i32, const char*, u32, i32)> sample_load;
    Function<u32(FSOUND_SAMPLE*)> sample_get_length;
    Function<Truth(FSOUND_SAMPLE*, i32, i32, void**, void**, u32*, u32*)> sample_lock;
    Function<Truth(FSOUND_SAMPLE*, void*, void*, u32, u32)> sample_unlock;
    Function<void(FSOUND_SAMPLE*)> sample_free;

    // False when one of them is missing.
    bool Find(HMODULE library) {
        return init.Find(library, "FSOUND_Init") && close.Find(library, "FSOUND_Close") &&
               stream_open_file.Find(library, "FSOUND_Stream_OpenFile") &&
               stream_close.Find(library, "FSOUND_Stream_Close") &&
               stream_play.Find(library, "FSOUND_Stream_Play") &&
               stream_stop.Find(library, "FSOUND_Stream_Stop") &&
               stream_get_time.Find(library, "FSOUND_Stream_GetTime") &&
               stream_set_time.Find(library, "FSOUND_Stream_SetTime") &&
               set_pan.Find(library, "FSOUND_SetPan") && sample_load.Find(library, "FSOUND_Sample_Load") &&
               sample_get_length.Find(library, "FSOUND_Sample_GetLength") &&
               sample_lock.Find(library, "FSOUND_Sample_Lock") &&
               sample_unlock.Find(library, "FSOUND_Sample_Unlock") &&
               sample_free.Find(library, "FSOUND_Sample_Free");
    }
};

// True while the process ends and its DLLs are told so, those that were loaded last before the others:
// fmod.dll has ended then, with all that it played, and must not be called by what a module's static objects
// do at their end.
bool ProcessEnds() {
    FARPROC found = GetProcAddress(GetModuleHandleA("ntdll.dll"), "RtlDllShutdownInProgress");
    const auto ends = reinterpret_cast<BOOLEAN(NTAPI*)()>(reinterpret_cast<void*>(found));
    return ends && ends();
}

class FmodLibrary final : public SoundLibrary {
  public:
    // Without the DLL it is the version that is expected: that there is no library is told by FSOUND_Init,
    // and not as a wrong version.
    f32 FSOUND_GetVersion() override {
        Load();
        return get_version_ ? get_version_() : kSoundLibraryVersion;
    }
    bool FSOUND_Init(i32 mixRate, i32 channels, u32 flags) override {
        Load();
        return fmod_.init(mixRate, channels, flags) != 0;
    }
    void FSOUND_Close() override {
        if (!ProcessEnds()) fmod_.close();
    }

    FSOUND_STREAM* FSOUND_Stream_OpenFile(const char* path, u32 mode, i32 length) override {
        return fmod_.stream_open_file(path, mode, length);
    }
    bool FSOUND_Stream_Close(FSOUND_STREAM* stream) override {
        return stream && !ProcessEnds() && fmod_.stream_close(stream) != 0;
    }
    i32 FSOUND_Stream_Play(i32 channel, FSOUND_STREAM* stream) override {
        return stream && fmod_.stream_play ? fmod_.stream_play(channel, stream) : -1;
    }
    bool FSOUND_Stream_Stop(FSOUND_STREAM* stream) override {
        return stream && fmod_.stream_stop(stream) != 0;
    }
    i32 FSOUND_Stream_GetTime(FSOUND_STREAM* stream) override {
        return stream ? fmod_.stream_get_time(stream) : 0;
    }
    bool FSOUND_Stream_SetTime(FSOUND_STREAM* stream, i32 milliseconds) override {
        return stream && fmod_.stream_set_time(stream, milliseconds) != 0;
    }
    bool FSOUND_SetPan(i32 channel, i32 pan) override { return fmod_.set_pan(channel, pan) != 0; }

    FSOUND_SAMPLE* FSOUND_Sample_Load(i32 index, const char* path, u32 mode, i32 length) override {
        return fmod_.sample_load(index, path, mode, length);
    }
    u32 FSOUND_Sample_GetLength(FSOUND_SAMPLE* sample) override {
        return sample ? fmod_.sample_get_length(sample) : 0;
    }
    bool FSOUND_Sample_Lock(FSOUND_SAMPLE* sample, i32 offset, i32 length, void** first, void** second,
                            u32* firstBytes, u32* secondBytes) override {
        return sample &&
               fmod_.sample_lock(sample, offset, length, first, second, firstBytes, secondBytes) != 0;
    }
    bool FSOUND_Sample_Unlock(FSOUND_SAMPLE* sample, void* first, void* second, u32 firstBytes,
                              u32 secondBytes) override {
        return sample && fmod_.sample_unlock(sample, first, second, firstBytes, secondBytes) != 0;
    }
    void FSOUND_Sample_Free(FSOUND_SAMPLE* sample) override {
        if (sample) fmod_.sample_free(sample);
    }

  private:
    // A DLL that is there stays loaded; one that is not is looked for again at the next start. All its
    // functions are taken or, where one is missing, none: an operation that began could not be ended.
    void Load() {
        if (module_) return;
        module_ = LoadLibraryA("fmod.dll");
        if (!module_) return;
        get_version_.Find(module_, "FSOUND_GetVersion");
        Functions found;
        if (get_version_ && found.Find(module_)) fmod_ = found;
    }

    HMODULE module_ = nullptr;
    Function<f32()> get_version_;
    Functions fmod_;
};

}  // namespace

SoundLibrary& GetSoundLibrary() {
    static FmodLibrary library;
    return library;
}

}  // namespace platform

#endif
