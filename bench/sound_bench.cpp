// The envelope of a song against decoding the same file and throwing the samples away.
#include <fmt/format.h>
#include <sndfile.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "bench.h"
#include "driver/sound_player.h"
#include "support/sound_bytes.h"

namespace bench {
namespace {

constexpr int kSeconds = 300;
constexpr int kRate = 44100;

// Five minutes of stereo, a ten-second piece over and over.
void WriteSong(const std::string& path) {
    const std::vector<i16> piece = sound_bytes::Sweep(kRate, 2, 10 * kRate);
    std::vector<i16> song;
    for (int i = 0; i < kSeconds / 10; ++i) song.insert(song.end(), piece.begin(), piece.end());
    const std::vector<u8> bytes = sound_bytes::Encode(sound_bytes::kMp3, kRate, 2, song);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

void Sounds() {
    const std::string path =
        (std::filesystem::temp_directory_path() / fmt::format("osm_bench_{}.mp3", ::getpid())).string();
    WriteSong(path);
    const auto fail = [](const char* what) {
        fmt::print(stderr, "bench: {}\n", what);
        std::exit(1);
    };
    osm3d::SoundPlayerFMOD player;
    if (!player.Init()) fail("no sound library");
    std::vector<f32> envelope;
    sf_count_t decoded = 0;
    const Pair times = Compare(
        [&] {
            envelope.clear();
            player.BuildEnvelope(&envelope, path, 100);
        },
        [&] {
            SF_INFO info{};
            SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
            if (file == nullptr) fail("the song does not open");
            std::vector<f32> block(16384);
            decoded = 0;
            while (const sf_count_t got = sf_readf_float(file, block.data(), 8192)) decoded += got;
            sf_close(file);
        },
        5);
    std::filesystem::remove(path);
    // A value for each 882 samples, and the same again.
    ReportCount("values in the envelope of a song", static_cast<long long>(envelope.size()),
                (2 * decoded + 881) / 882);
    Report("envelope of a five-minute MP3", fmt::format("{:.0f} ms", times.ours * 1e3),
           fmt::format("{:.0f} ms", times.reference * 1e3), times.ours / times.reference, true, 1.1);
}

}  // namespace bench
