#include "fuzz/play_sound.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/system/system.h"

#ifdef OSM_SANITIZE
// The decoder forgets a little memory when a file turns out broken while it opens. That our side closes all
// that it has opened is looked at in tests of files that are whole, which do not carry this.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libsndfile\nleak:libvorbis\nleak:libogg\nleak:libopus\nleak:libFLAC\nleak:libmpg123\n";
}
#endif

namespace fuzz {
namespace {

int messages = 0;

// A condition that any file must leave true; a fuzzer stops at it as at any other fault.
void Demand(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

std::vector<std::vector<std::uint8_t>> SoundSeeds() {
    std::vector<std::vector<std::uint8_t>> seeds;
    for (const auto& kind : sound_bytes::Kinds()) {
        for (const int channels : {1, 2})
            seeds.push_back(
                sound_bytes::Encode(kind.format, 48000, channels, sound_bytes::Sweep(48000, channels, 9000)));
    }
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_FLOAT, SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM,
                             SF_FORMAT_WAV | SF_FORMAT_MS_ADPCM, SF_FORMAT_WAV | SF_FORMAT_PCM_U8,
                             SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, SF_FORMAT_AIFF | SF_FORMAT_ULAW})
        seeds.push_back(sound_bytes::Encode(format, 8000, 2, sound_bytes::Sweep(8000, 2, 1500)));
    std::vector<std::uint8_t> tagged{'I', 'D', '3', 4, 0, 0, 0, 0, 0, 20};
    tagged.resize(30);
    tagged.insert(tagged.end(), seeds.front().begin(), seeds.front().end());
    seeds.push_back(tagged);
    return seeds;
}

SoundPlayground::SoundPlayground()
    : library_(
          [this](i32 rate) -> std::unique_ptr<platform::SoundOutput> {
              auto made = platform::MakeMemoryOutput(rate, [] { return u64{0}; });
              output_ = made.get();
              return made;
          },
          [] { return u64{0}; }, platform::StreamLibrary::Feeding::kByHand),
      file_(memfd_create("sound", MFD_CLOEXEC)) {
    platform::SetMessageBoxHandler([](const std::string&, const std::string&, u32) { ++messages; });
    Demand(player_.Init());
}

SoundPlayground::~SoundPlayground() {
    platform::SetMessageBoxHandler({});
    close(file_);
}

bool SoundPlayground::Play(const std::uint8_t* data, std::size_t size) {
    Demand(ftruncate(file_, 0) == 0 && pwrite(file_, data, size, 0) == static_cast<ssize_t>(size));
    const std::string path = "/proc/self/fd/" + std::to_string(file_);
    messages = 0;
    player_.OpenTrack(path);
    const bool is_sound = messages == 0;
    std::vector<f32> mix(2 * 1024);
    for (const f32 seconds : {0.0f, 0.1f, 0.02f, 1e6f, 0.15f}) {
        player_.SetTrackTime(seconds);
        player_.PlayTrack();
        for (int i = 0; i < 3; ++i) {
            library_.Feed();
            output_->Render(mix.data(), 1024);
            const f32 time = player_.GetTrackTime();
            Demand(time >= 0 && time <= 2147483.75f);
        }
        player_.SetTrackTime(seconds * 0.5f);
        library_.Feed();
        if (seconds == 0.1f) player_.StopTrack();
    }

    std::vector<f32> envelope;
    messages = 0;
    player_.BuildEnvelope(&envelope, path, 400);
    Demand(envelope.empty() || messages == 0);
    for (std::size_t i = 0; i < envelope.size(); ++i) {
        Demand(i % 2 == 0 ? envelope[i] >= 0 && envelope[i] < 1 : envelope[i] <= 0 && envelope[i] >= -1);
        Demand(i <= envelope.size() / 2 || envelope[i] == 0);
    }
    return is_sound;
}

}  // namespace fuzz
