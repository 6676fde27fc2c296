// A sound file, decoded step by step.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "platform/types.h"

namespace platform {

/// WAV, AIFF, FLAC, Ogg (Vorbis, Opus, FLAC) and MP3; what is in the file decides, not its name. A frame is
/// one sample of each channel.
class SoundFile {
  public:
    /// Null when the file is missing, is no regular file, or is none of these.
    static std::unique_ptr<SoundFile> Open(const std::string& path);
    SoundFile(const SoundFile&) = delete;
    SoundFile& operator=(const SoundFile&) = delete;
    ~SoundFile();

    /// Frames a second, 1 to 1000000.
    u32 rate() const { return rate_; }
    /// As the file says, not below 0; decoding may end earlier or later.
    i64 frames() const { return frames_; }
    /// Of the file.
    u64 bytes() const;

    /// Decode the next frames as 16-bit samples, clipped; how many, less than `count` only at the end. `out`
    /// has two samples for each frame: one channel goes to both sides, more than two go to both as their
    /// mean.
    std::size_t ReadStereo(i16* out, std::size_t count);
    /// One sample for each frame, the mean of the channels.
    std::size_t ReadMono(i16* out, std::size_t count);

    /// The next frame to be read. False where the file cannot go there.
    bool Seek(i64 frame);

  private:
    class Reader;
    SoundFile();
    // Fills block_ with as much as fits of `count` frames; how many.
    std::size_t ReadBlock(std::size_t count);

    // In this order: the decoder reads until it is closed.
    std::unique_ptr<Reader> reader_;
    struct Decoder;
    std::unique_ptr<Decoder> decoder_;
    u32 rate_ = 0;
    u32 channels_ = 0;
    i64 frames_ = 0;
    bool is_vorbis_ = false;
    std::vector<f32> block_;
};

/// All of a file as one channel of 16-bit samples; false, with `samples` empty, when it is no sound file or
/// has more than `limit` samples, or more for its size than music can have.
bool DecodeMono(const std::string& path, std::size_t limit, std::vector<i16>& samples);

}  // namespace platform
