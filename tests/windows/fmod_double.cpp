// Stands in for fmod.dll: notes what it is asked, and answers what FakeFmod says.
#include "windows/fmod_double.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#ifndef FAKE_FMOD_VERSION
#define FAKE_FMOD_VERSION 3.5f
#endif

namespace {

FakeFmod fake;
std::string notes;
short wave[] = {100, 200, -300, 50, -5, -4, -600, 7, 8, 32767};

// A call after this DLL's end is a crash in waiting.
bool ended = false;
struct End {
    ~End() { ended = true; }
} end;

std::string Text(const char* value) { return value; }
std::string Text(void* value) { return "#" + std::to_string(reinterpret_cast<std::uintptr_t>(value)); }
template <typename Number>
std::string Text(Number value) {
    return std::to_string(value);
}

template <typename... Values>
void Note(const char* name, Values... values) {
    if (ended) TerminateProcess(GetCurrentProcess(), 3);
    notes += name;
    ((notes += " " + Text(values)), ...);
    notes += "\n";
    fake.calls = notes.c_str();
}

// A bool of the library's is one byte, and the rest of the register is what was there before.
int Truth(bool value) { return 0x5500 | int{value}; }

}  // namespace

#define FMOD_API extern "C" __declspec(dllexport)

FMOD_API FakeFmod* GetFakeFmod() { return &fake; }

FMOD_API float __stdcall FSOUND_GetVersion() {
    Note("version");
    return FAKE_FMOD_VERSION;
}
FMOD_API int __stdcall FSOUND_Init(int rate, int channels, unsigned flags) {
    Note("init", rate, channels, flags);
    return Truth(fake.starts);
}
FMOD_API void __stdcall FSOUND_Close() { Note("end"); }
FMOD_API void* __stdcall FSOUND_Stream_OpenFile(const char* path, unsigned mode, int length) {
    Note("open", path, mode, length);
    return reinterpret_cast<void*>(std::uintptr_t{0x1230});
}
FMOD_API int __stdcall FSOUND_Stream_Close(void* stream) {
    Note("close", stream);
    return Truth(true);
}
FMOD_API int __stdcall FSOUND_Stream_Play(int channel, void* stream) {
    Note("play", channel, stream);
    return 17;
}
FMOD_API int __stdcall FSOUND_Stream_Stop(void* stream) {
    Note("stop", stream);
    return Truth(true);
}
FMOD_API int __stdcall FSOUND_Stream_GetTime(void* stream) {
    Note("time", stream);
    return fake.time;
}
FMOD_API int __stdcall FSOUND_Stream_SetTime(void* stream, int milliseconds) {
    Note("seek", stream, milliseconds);
    fake.time = milliseconds;
    return Truth(true);
}
FMOD_API int __stdcall FSOUND_SetPan(int channel, int pan) {
    Note("pan", channel, pan);
    return Truth(true);
}
FMOD_API void* __stdcall FSOUND_Sample_Load(int index, const char* path, unsigned mode, int length) {
    Note("load", index, path, mode, length);
    return wave;
}
FMOD_API unsigned __stdcall FSOUND_Sample_GetLength(void* sample) {
    Note(sample == wave ? "length" : "length of what?");
    return 10;
}
#ifndef FAKE_FMOD_WITHOUT_LOCK
FMOD_API int __stdcall FSOUND_Sample_Lock(void* sample, int offset, int length, void** first, void** second,
                                          unsigned* first_bytes, unsigned* second_bytes) {
    Note(sample == wave ? "lock" : "lock what?", offset, length);
    *first = wave;
    *second = nullptr;
    *first_bytes = static_cast<unsigned>(length);
    *second_bytes = 0;
    return Truth(fake.locks);
}
#endif
FMOD_API int __stdcall FSOUND_Sample_Unlock(void* sample, void* first, void* second, unsigned first_bytes,
                                            unsigned second_bytes) {
    Note(sample == wave && first == wave ? "unlock" : "unlock what?", second, first_bytes, second_bytes);
    return Truth(true);
}
FMOD_API void __stdcall FSOUND_Sample_Free(void* sample) { Note(sample == wave ? "free" : "free what?"); }
