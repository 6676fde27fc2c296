// Feeds bytes to the sound player as a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "driver/sound_player.h"
#include "platform/sound/stream_library.h"
#include "support/sound_bytes.h"

namespace fuzz {

// Short files of every kind, valid.
std::vector<std::vector<std::uint8_t>> SoundSeeds();

// A player whose device sounds into memory. One at a time.
class SoundPlayground {
  public:
    SoundPlayground();
    ~SoundPlayground();
    SoundPlayground(const SoundPlayground&) = delete;
    SoundPlayground& operator=(const SoundPlayground&) = delete;

    // Plays the bytes, jumps about in them, and makes an envelope. True when they were a sound.
    bool Play(const std::uint8_t* data, std::size_t size);

  private:
    platform::MemoryOutput* output_ = nullptr;
    platform::StreamLibrary library_;
    osm3d::SoundPlayerFMOD player_{library_};
    int file_;
};

}  // namespace fuzz
