// Sound files made on the spot, as bytes.
#pragma once

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "platform/types.h"

namespace sound_bytes {

inline constexpr int kWav = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
inline constexpr int kMp3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;

struct Kind {
    const char* name;
    int format;
    // Whether what is decoded is what was encoded.
    bool exact;
};
inline const std::vector<Kind>& Kinds() {
    static const std::vector<Kind> kinds{
        {"wav", kWav, true},
        {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, true},
        {"flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, true},
        {"ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, false},
        {"opus", SF_FORMAT_OGG | SF_FORMAT_OPUS, false},
        {"mp3", kMp3, false},
    };
    return kinds;
}

// `samples` go channel by channel within each frame.
template <class Sample>
std::vector<u8> Encode(int format, int rate, int channels, const std::vector<Sample>& samples) {
    struct Memory {
        std::vector<u8> bytes;
        sf_count_t at = 0;
    } memory;
    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* m) { return static_cast<sf_count_t>(static_cast<Memory*>(m)->bytes.size()); };
    io.tell = [](void* m) { return static_cast<Memory*>(m)->at; };
    io.seek = [](sf_count_t offset, int whence, void* m) {
        Memory* to = static_cast<Memory*>(m);
        const auto size = static_cast<sf_count_t>(to->bytes.size());
        return to->at = offset + (whence == SEEK_SET ? 0 : whence == SEEK_CUR ? to->at : size);
    };
    io.read = [](void* out, sf_count_t count, void* m) {
        Memory* from = static_cast<Memory*>(m);
        count = std::clamp<sf_count_t>(static_cast<sf_count_t>(from->bytes.size()) - from->at, 0, count);
        if (count > 0) std::memcpy(out, from->bytes.data() + from->at, static_cast<std::size_t>(count));
        from->at += count;
        return count;
    };
    io.write = [](const void* in, sf_count_t count, void* m) {
        Memory* to = static_cast<Memory*>(m);
        const auto end = static_cast<std::size_t>(to->at + count);
        if (end > to->bytes.size()) to->bytes.resize(end);
        std::memcpy(to->bytes.data() + to->at, in, static_cast<std::size_t>(count));
        to->at += count;
        return count;
    };
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* const file = sf_open_virtual(&io, SFM_WRITE, &info, &memory);
    if (file == nullptr) return {};
    const auto frames = static_cast<sf_count_t>(samples.size()) / channels;
    if constexpr (sizeof(Sample) == 2) {
        sf_writef_short(file, samples.data(), frames);
    } else {
        sf_writef_float(file, samples.data(), frames);
    }
    sf_close(file);
    return memory.bytes;
}

// A tone whose pitch and strength follow from where it is, so that no two places sound alike.
inline std::vector<i16> Sweep(int rate, int channels, int frames) {
    std::vector<i16> samples;
    for (int i = 0; i < frames; ++i) {
        const double t = static_cast<double>(i) / rate;
        for (int c = 0; c < channels; ++c) {
            const double wave = std::sin(6.283185307179586 * t * (200 + 150 * t * (c + 1)));
            samples.push_back(static_cast<i16>(std::lrint(wave * (9000 + 3000 * std::sin(3 * t)))));
        }
    }
    return samples;
}

}  // namespace sound_bytes
