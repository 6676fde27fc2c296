#ifndef _WIN32

#include "platform/sound/sound_file.h"

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace platform {
namespace {

// Samples of all channels in one block of decoding.
constexpr std::size_t kBlockSamples = 16384;

constexpr i64 kLastPageSeconds = 4;

// A second of digital silence at 48 kHz takes a lossless coder about 150 bytes. What expands further than
// this, with a start for short files, was made to fill memory.
constexpr u64 kSamplesPerByte = 1024;
constexpr u64 kSamplesAlways = 1 << 22;

// Nearest, halves to the even one, in a form that compilers make vector code of.
i16 ToSample(f32 value) {
    constexpr f32 kNoFraction = 12582912.0f;  // numbers this size have no room for one
    const f32 scaled = value == value ? value * 32768.0f : 0.0f;
    const f32 clipped = std::min(std::max(scaled, -32768.0f), 32767.0f);
    return static_cast<i16>(static_cast<i32>((clipped + kNoFraction) - kNoFraction));
}

bool StartsWith(const std::array<u8, 12>& head, std::size_t at, std::string_view magic) {
    return std::memcmp(head.data() + at, magic.data(), magic.size()) == 0;
}

// The containers that are let through to the decoder, which knows many more.
bool IsKnown(const std::array<u8, 12>& head) {
    if (StartsWith(head, 0, "RIFF") || StartsWith(head, 0, "RIFX") || StartsWith(head, 0, "RF64")) {
        return StartsWith(head, 8, "WAVE");
    }
    if (StartsWith(head, 0, "FORM")) return StartsWith(head, 8, "AIFF") || StartsWith(head, 8, "AIFC");
    if (StartsWith(head, 0, "fLaC") || StartsWith(head, 0, "OggS")) return true;
    // Eleven set bits, then version and layer, neither of which may be the reserved one.
    return head[0] == 0xff && (head[1] & 0xe0) == 0xe0 && (head[1] & 0x18) != 0x08 && (head[1] & 0x06) != 0;
}

bool IsKnownFormat(int format) {
    switch (format & SF_FORMAT_TYPEMASK) {
        case SF_FORMAT_WAV:
        case SF_FORMAT_WAVEX:
        case SF_FORMAT_RF64:
        case SF_FORMAT_AIFF:
        case SF_FORMAT_FLAC:
        case SF_FORMAT_OGG:
        case SF_FORMAT_MPEG:
            return true;
        default:
            return false;
    }
}

}  // namespace

// The file's bytes from its sound on, read in large pieces whatever pieces the decoder asks for.
class SoundFile::Reader {
  public:
    explicit Reader(int file) : file_(file) {}
    ~Reader() { close(file_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // False when this is no sound file.
    bool Begin() {
        struct stat status {};
        if (fstat(file_, &status) != 0 || !S_ISREG(status.st_mode)) return false;
        size_ = status.st_size;
        std::array<u8, 12> head{};
        // Tags before the sound, each with its length in four bytes of seven bits and maybe some padding
        // behind.
        for (int tags = 0; tags < 4; ++tags) {
            if (!Head(head)) return false;
            if (!StartsWith(head, 0, "ID3")) return IsKnown(head);
            i64 length = 10;
            for (std::size_t i = 0; i < 4; ++i) length += i64{head[6 + i] & 0x7f} << (7 * (3 - i));
            if ((head[5] & 0x10) != 0) length += 10;  // the same again at its end
            if (length > size_ - origin_) return false;
            origin_ += length;
            position_ = 0;
            u8 byte = 0;
            while (Read(&byte, 1) == 1 && byte == 0) ++origin_, position_ = 0;
        }
        return false;
    }

    i64 Size() const { return size_ - origin_; }
    i64 Tell() const { return position_; }
    i64 Seek(i64 to) {
        if (to < 0) return -1;
        return position_ = std::min(to, Size());
    }
    i64 Read(void* out, i64 count) {
        u8* to = static_cast<u8*>(out);
        i64 done = 0;
        while (done < count) {
            const i64 at = origin_ + position_;
            if (at < start_ || at >= start_ + held_) {
                start_ = at;
                held_ = std::max<i64>(pread(file_, buffer_.data(), buffer_.size(), at), 0);
                if (held_ == 0) break;
            }
            const i64 step = std::min(count - done, start_ + held_ - at);
            std::memcpy(to + done, buffer_.data() + (at - start_), static_cast<std::size_t>(step));
            done += step;
            position_ += step;
        }
        return done;
    }

  private:
    bool Head(std::array<u8, 12>& head) {
        position_ = 0;
        const bool whole = Read(head.data(), static_cast<i64>(head.size())) == static_cast<i64>(head.size());
        position_ = 0;
        return whole;
    }

    int file_;
    i64 size_ = 0;
    i64 origin_ = 0;    // where the sound begins
    i64 position_ = 0;  // from there
    i64 start_ = 0, held_ = 0;
    std::array<u8, 1 << 16> buffer_;
};

struct SoundFile::Decoder {
    explicit Decoder(SNDFILE* opened) : file(opened) {}
    ~Decoder() { sf_close(file); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    SNDFILE* file;
};

SoundFile::SoundFile() = default;
SoundFile::~SoundFile() = default;

std::unique_ptr<SoundFile> SoundFile::Open(const std::string& path) {
    // A pipe without a writer would be waited for.
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return nullptr;
    std::unique_ptr<SoundFile> sound(new SoundFile);
    sound->reader_ = std::make_unique<Reader>(file);
    if (!sound->reader_->Begin()) return nullptr;

    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* reader) -> sf_count_t { return static_cast<Reader*>(reader)->Size(); };
    io.seek = [](sf_count_t offset, int whence, void* data) -> sf_count_t {
        Reader* reader = static_cast<Reader*>(data);
        const i64 from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? reader->Tell() : reader->Size();
        i64 to = 0;
        return __builtin_add_overflow(from, i64{offset}, &to) ? -1 : reader->Seek(to);
    };
    io.read = [](void* out, sf_count_t count, void* reader) -> sf_count_t {
        return static_cast<Reader*>(reader)->Read(out, count);
    };
    io.write = [](const void*, sf_count_t, void*) -> sf_count_t { return 0; };
    io.tell = [](void* reader) -> sf_count_t { return static_cast<Reader*>(reader)->Tell(); };
    SF_INFO info{};
    SNDFILE* const decoder = sf_open_virtual(&io, SFM_READ, &info, sound->reader_.get());
    if (decoder == nullptr) return nullptr;
    sound->decoder_ = std::make_unique<Decoder>(decoder);
    if (!IsKnownFormat(info.format) || info.channels < 1 || info.samplerate < 1 ||
        info.samplerate > 1000000) {
        return nullptr;
    }
    sound->rate_ = static_cast<u32>(info.samplerate);
    sound->channels_ = static_cast<u32>(info.channels);
    sound->is_vorbis_ = (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_VORBIS;
    sound->frames_ = std::max<i64>(info.frames, 0);
    sound->block_.resize(std::max<std::size_t>(kBlockSamples / sound->channels_, 1) * sound->channels_);
    return sound;
}

u64 SoundFile::bytes() const { return static_cast<u64>(reader_->Size()); }

std::size_t SoundFile::ReadBlock(std::size_t count) {
    const std::size_t fits = std::min(count, block_.size() / channels_);
    const sf_count_t got = sf_readf_float(decoder_->file, block_.data(), static_cast<sf_count_t>(fits));
    return static_cast<std::size_t>(std::clamp<sf_count_t>(got, 0, static_cast<sf_count_t>(fits)));
}

std::size_t SoundFile::ReadMono(i16* out, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const std::size_t got = ReadBlock(count - done);
        if (got == 0) break;
        const f32* in = block_.data();
        i16* to = out + done;
        if (channels_ == 1) {
            for (std::size_t i = 0; i < got; ++i) to[i] = ToSample(in[i]);
        } else if (channels_ == 2) {
            for (std::size_t i = 0; i < got; ++i) to[i] = ToSample((in[2 * i] + in[2 * i + 1]) * 0.5f);
        } else {
            for (std::size_t i = 0; i < got; ++i, in += channels_) {
                f64 sum = 0;
                for (u32 c = 0; c < channels_; ++c) sum += f64{in[c]};
                to[i] = ToSample(static_cast<f32>(sum / channels_));
            }
        }
        done += got;
    }
    return done;
}

std::size_t SoundFile::ReadStereo(i16* out, std::size_t count) {
    if (channels_ != 2) {
        const std::size_t got = ReadMono(out, count);
        for (std::size_t i = got; i-- > 0;) out[2 * i] = out[2 * i + 1] = out[i];
        return got;
    }
    std::size_t done = 0;
    while (done < count) {
        const std::size_t got = ReadBlock(count - done);
        if (got == 0) break;
        for (std::size_t i = 0; i < 2 * got; ++i) out[2 * done + i] = ToSample(block_[i]);
        done += got;
    }
    return done;
}

bool SoundFile::Seek(i64 frame) {
    if (!is_vorbis_) return sf_seek(decoder_->file, frame, SEEK_SET) == frame;
    // The decoder goes to a wrong place unless it stands at the beginning, just put there, and within the
    // last page, which begins at most some seconds before the end, even then: those are read up to the place.
    const i64 safe = std::clamp<i64>(frames_ - kLastPageSeconds * rate_, 0, std::max<i64>(frame, 0));
    if (sf_seek(decoder_->file, 0, SEEK_SET) != 0) return false;
    if (safe > 0 && sf_seek(decoder_->file, safe, SEEK_SET) != safe) return false;
    for (i64 at = safe; at < frame;) {
        const std::size_t got = ReadBlock(static_cast<std::size_t>(std::min<i64>(frame - at, kBlockSamples)));
        if (got == 0) return false;
        at += static_cast<i64>(got);
    }
    return true;
}

bool DecodeMono(const std::string& path, std::size_t limit, std::vector<i16>& samples) {
    samples.clear();
    const std::unique_ptr<SoundFile> file = SoundFile::Open(path);
    if (file == nullptr) return false;
    const u64 believable = file->bytes() * kSamplesPerByte + kSamplesAlways;
    const std::size_t most = std::min<u64>(limit, believable);
    // What the file says of its length is taken only as far as it costs little to be wrong.
    const u64 said = std::min<u64>(static_cast<u64>(file->frames()), file->bytes() * 64);
    samples.reserve(std::min<u64>(said, most));
    std::vector<i16> block(kBlockSamples);
    while (const std::size_t got = file->ReadMono(block.data(), block.size())) {
        if (got > most - samples.size()) {
            std::vector<i16>().swap(samples);
            return false;
        }
        samples.insert(samples.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(got));
    }
    return true;
}

}  // namespace platform

#endif
