// osmplay envelope: how loud a sound is over its time.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "cli/error.h"
#include "commands.h"
#include "driver/sound_player.h"
#include "module.h"
#include "png_file.h"

namespace host {
namespace {

struct Peak {
    float high = 0, low = 0;
};

// The highest samples of a stretch stand before the lowest of the next one; behind what the sound has there
// stand as many zeros again.
std::vector<Peak> Pair(const std::vector<float>& values) {
    std::vector<Peak> peaks;
    const std::size_t count = (values.size() + 1) / 2;
    for (std::size_t i = 0; i < count; i += 2)
        peaks.push_back({values[i], i + 1 < count ? values[i + 1] : 0.0f});
    return peaks;
}

Picture Draw(const std::vector<Peak>& peaks) {
    constexpr std::size_t kWidest = 1200, kHalf = 100;
    constexpr std::array<std::uint8_t, 3> kGround = {0x10, 0x18, 0x20}, kWave = {0x60, 0xc0, 0xf0},
                                          kLine = {0x50, 0x60, 0x70};
    Picture picture;
    const std::size_t width = std::min(peaks.size(), kWidest), height = 2 * kHalf + 1;
    picture.width = static_cast<unsigned>(width);
    picture.height = static_cast<unsigned>(height);
    picture.rgb.resize(3 * width * height);
    const auto row = [&](float value) {
        return std::clamp(std::lround(static_cast<float>(kHalf) * (1 - value)), 0l,
                          static_cast<long>(height - 1));
    };
    for (std::size_t x = 0; x < width; ++x) {
        Peak all;
        for (std::size_t i = x * peaks.size() / width; i < (x + 1) * peaks.size() / width; ++i) {
            all.high = std::max(all.high, peaks[i].high);
            all.low = std::min(all.low, peaks[i].low);
        }
        const long top = row(all.high), bottom = row(all.low);
        for (std::size_t y = 0; y < height; ++y) {
            const bool is_wave =
                top < bottom && static_cast<long>(y) >= top && static_cast<long>(y) <= bottom;
            const auto& color = is_wave ? kWave : y == kHalf ? kLine : kGround;
            std::copy(color.begin(), color.end(), &picture.rgb[3 * (y * width + x)]);
        }
    }
    return picture;
}

}  // namespace

std::vector<float> ReadPeaks(Module& module, const std::string& path, float resolution) {
    osm3d::SoundPlayerFMOD* sound = module.Driver().GetSoundPlayer();
    if (!sound->Init()) throw cli::Error("the module's sound cannot be started");
    std::vector<float> values;
    sound->BuildEnvelope(&values, path, resolution);
    sound->Shutdown();
    return values;
}

void PrintPeaks(const Common& common, const PeakOptions& options) {
    RequireFile(options.in);
    // The module counts in samples of 44100 a second, and by whole ones.
    const auto samples = static_cast<unsigned long>(44100.0 / (options.resolution * 0.5f));
    Module module(ModulePath(common));
    const std::vector<Peak> peaks = Pair(ReadPeaks(module, options.in, options.resolution));
    if (peaks.empty())
        throw cli::Error(fmt::format("{}: is no sound that can be decoded, or an empty one", options.in));
    if (!options.out.empty()) {
        WritePng(options.out, Draw(peaks));
        return;
    }
    std::string text =
        fmt::format("# {}: from sample, highest, lowest; {} samples for each\n", options.in, samples);
    for (std::size_t i = 0; i < peaks.size(); ++i)
        text += fmt::format("{} {:.6f} {:.6f}\n", 2 * i * samples, peaks[i].high, peaks[i].low);
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        throw cli::Error("standard output: cannot be written");
}

}  // namespace host
