#include "driver/sound_player.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

#include "platform/system/system.h"

namespace osm3d {
namespace {

constexpr f32 kExpectedVersion = 3.5f;
constexpr u32 kWholeFile =
    platform::FSOUND_LOOP_OFF | platform::FSOUND_16BITS | platform::FSOUND_MONO | platform::FSOUND_SIGNED;

// `value` truncated; what an i32 does not hold becomes its nearest, and what is no number 0.
i32 Truncate(f64 value) {
    if (std::isnan(value)) return 0;
    return static_cast<i32>(
        std::clamp(value, f64{std::numeric_limits<i32>::min()}, f64{std::numeric_limits<i32>::max()}));
}

}  // namespace

SoundPlayerFMOD::~SoundPlayerFMOD() {
    if (initialized) {
        SoundPlayerFMOD::Shutdown();
    }
}

bool SoundPlayerFMOD::Init() {
    const f32 version = fsound.FSOUND_GetVersion();
    if (version != kExpectedVersion) {
        std::array<char, 256> text{};
        std::snprintf(text.data(), text.size(), "Incompatible version of FMOD (expecting : %f, has : %f).",
                      f64{kExpectedVersion}, f64{version});
        ShowMessage(text.data());
        return false;
    }
    if (!fsound.FSOUND_Init(44100, 32, platform::FSOUND_INIT_GLOBALFOCUS)) {
        ShowMessage("FMOD Init Failed");
        return false;
    }
    initialized = true;
    return true;
}

void SoundPlayerFMOD::Shutdown() {
    // The preview goes with the library. The track's handle stays and is not valid any more.
    if (trackStream != nullptr) {
        fsound.FSOUND_Stream_Close(trackStream);
    }
    initialized = false;
    fsound.FSOUND_Close();
}

void SoundPlayerFMOD::OpenPreview(const std::string& path) {
    if (previewStream != nullptr) {
        fsound.FSOUND_Stream_Close(previewStream);
        previewStream = nullptr;
    }
    previewStream = fsound.FSOUND_Stream_OpenFile(path.c_str(), platform::FSOUND_LOOP_OFF, 0);
    if (previewStream == nullptr) {
        ShowMessage("File is not a Stream.");
    }
}

void SoundPlayerFMOD::PlayPreview() {
    if (previewStream == nullptr) {
        ShowMessage("No stream openned.");
        return;
    }
    const i32 channel = fsound.FSOUND_Stream_Play(platform::FSOUND_FREE, previewStream);
    fsound.FSOUND_SetPan(channel, platform::FSOUND_STEREOPAN);
}

void SoundPlayerFMOD::StopPreview() {
    if (previewStream == nullptr) {
        ShowMessage("No stream openned.");
        return;
    }
    fsound.FSOUND_Stream_Stop(previewStream);
}

void SoundPlayerFMOD::BuildEnvelope(std::vector<f32>* envelope, const std::string& path, f32 resolution) {
    // A block of no samples would never reach the end.
    const f64 exact = 44100.0 / (f64{resolution} * 0.5);
    if (!(exact >= 1.0)) {
        return;
    }
    const u64 block = exact < 4294967296.0 ? static_cast<u64>(exact) : u64{1} << 32;

    platform::FSOUND_SAMPLE* sample =
        fsound.FSOUND_Sample_Load(platform::FSOUND_FREE, path.c_str(), kWholeFile, 0);
    if (sample == nullptr) {
        ShowMessage("Not possible to load the soundtrack");
        return;
    }
    const u32 length = fsound.FSOUND_Sample_GetLength(sample);
    void* first = nullptr;
    void* second = nullptr;
    u32 firstBytes = 0;
    u32 secondBytes = 0;
    if (!fsound.FSOUND_Sample_Lock(sample, 0, static_cast<i32>(length * 2), &first, &second, &firstBytes,
                                   &secondBytes)) {
        ShowMessage("Unable to lock the sample.");
        fsound.FSOUND_Sample_Free(sample);
        return;
    }

    // Hosts lay their pictures out by a value for each N bytes, while a value covers N samples: what comes
    // after the data's end is silence.
    envelope->reserve(envelope->size() + static_cast<std::size_t>((firstBytes + block - 1) / block));
    const i16* const samples = static_cast<const i16*>(first);
    const u64 count = firstBytes / 2;
    bool takeMaximum = true;
    for (u64 i = 0; i < firstBytes; i += block) {
        const u64 end = std::min(i + block, count);
        i16 peak = 0;
        if (takeMaximum) {
            for (u64 at = i; at < end; ++at) peak = std::max(peak, samples[at]);
        } else {
            for (u64 at = i; at < end; ++at) peak = std::min(peak, samples[at]);
        }
        envelope->push_back(static_cast<f32>(peak) * 3.0517578125e-05f);
        takeMaximum = !takeMaximum;
    }
    fsound.FSOUND_Sample_Unlock(sample, first, second, firstBytes, secondBytes);
    fsound.FSOUND_Sample_Free(sample);
}

f32 SoundPlayerFMOD::GetTrackTime() {
    return static_cast<f32>(fsound.FSOUND_Stream_GetTime(trackStream) * 0.001);
}

void SoundPlayerFMOD::OpenTrack(const std::string& path) {
    if (trackStream != nullptr) {
        fsound.FSOUND_Stream_Close(trackStream);
        trackStream = nullptr;
    }
    trackStream = fsound.FSOUND_Stream_OpenFile(path.c_str(), platform::FSOUND_LOOP_OFF, 0);
    if (trackStream == nullptr) {
        ShowMessage("File not found or not a Stream.");
    }
}

void SoundPlayerFMOD::PlayTrack() {
    trackChannel = fsound.FSOUND_Stream_Play(platform::FSOUND_FREE, trackStream);
    fsound.FSOUND_SetPan(trackChannel, platform::FSOUND_STEREOPAN);
}

void SoundPlayerFMOD::StopTrack() { fsound.FSOUND_Stream_Stop(trackStream); }

void SoundPlayerFMOD::SetTrackTime(f32 seconds) {
    fsound.FSOUND_Stream_SetTime(trackStream, Truncate(f64{seconds} * 1000.0));
}

f32 SoundPlayerFMOD::GetTrackPosition() { return GetTrackTime(); }

void SoundPlayerFMOD::ShowMessage(const char* text) {
    platform::ShowMessageBox(text, "SoundPlayerFMOD::MessageBox", 0);
}

}  // namespace osm3d
