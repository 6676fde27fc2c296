#include "frame_rate.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/error.h"
#include "effect_library.h"
#include "module.h"
#include "player.h"
#include "project.h"
#include "source.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::vector<std::size_t> ChosenFrames(const BenchOptions& options, std::size_t count) {
    std::vector<std::size_t> out;
    std::istringstream parts(options.frames);
    std::string part;
    std::size_t passed = 0;
    do {
        std::getline(parts, part, ',');
        const Range range = ParseRange(part, count);
        for (std::size_t frame = range.first; frame < range.end; ++frame)
            if (passed++ % options.every == 0) out.push_back(frame);
    } while (parts.good());
    return out;
}

// The profiler's sections, and the seconds that they took in all frames.
class Sections {
  public:
    // `report` tells of one frame, of `seconds`: lines "name:    share%", each begun by a line feed.
    void Add(const std::string& report, double seconds) {
        std::istringstream lines(report);
        for (std::string line; std::getline(lines, line);) {
            const std::size_t colon = line.find(":  ");
            if (colon == line.npos) continue;
            const std::string name = line.substr(0, colon);
            auto found =
                std::find_if(sums_.begin(), sums_.end(), [&](const auto& sum) { return sum.first == name; });
            if (found == sums_.end()) found = sums_.insert(found, {name, 0});
            found->second += std::strtod(line.c_str() + colon + 1, nullptr) / 100 * seconds;
        }
    }
    void Print(std::size_t frames, double seconds) const {
        for (const auto& [name, sum] : sums_)
            fmt::print("  {:<24} {:7.3f} ms a frame {:5.1f} %\n", name,
                       sum * 1e3 / static_cast<double>(frames), 100 * sum / seconds);
    }

  private:
    std::vector<std::pair<std::string, double>> sums_;
};

}  // namespace

void Bench(const Common& common, const BenchOptions& options) {
    // So many frames stand for a scene file, which has none of its own.
    constexpr std::size_t kSceneFrames = 60;
    RequireFile(options.in);
    const EffectLibrary library(LibraryPath(common));
    const bool is_scene = std::filesystem::path(options.in).extension() == ".om2";
    const Project project =
        is_scene ? SceneProject(options.in, 0, -1, library) : ReadSource(options.in, library);
    const Size size = options.size.value_or(Size{project.width, project.height});
    const std::vector<std::size_t> frames =
        ChosenFrames(options, is_scene ? kSceneFrames : project.FrameCount());
    WarnOfSize(project, size);
    Module module(ModulePath(common));
    Player player(module, project, library, size.width, size.height);

    Sections sections;
    Picture picture;
    const auto time = [&](std::size_t frame) {
        return is_scene ? 0 : static_cast<double>(frame) / project.frames_per_second;
    };
    const auto round = [&](bool profiled) {
        const auto start = Clock::now();
        for (const std::size_t frame : frames) {
            const auto begin = Clock::now();
            player.Draw(time(frame));
            player.Present();
            if (profiled) sections.Add(player.ProfileReport(), SecondsSince(begin));
        }
        player.Grab(picture);
        return SecondsSince(start);
    };
    round(false);
    std::vector<double> rates;
    double seconds = 0;
    for (std::size_t i = 0; i < options.rounds; ++i) {
        const double taken = round(options.profile);
        seconds += taken;
        rates.push_back(static_cast<double>(frames.size()) / taken);
    }
    std::sort(rates.begin(), rates.end());
    fmt::print("{}: {} frames of {}x{}, {} rounds: {:.2f} frames/s (slowest {:.2f}, middle {:.2f})\n",
               options.in, frames.size(), size.width, size.height, options.rounds, rates.back(),
               rates.front(), rates[rates.size() / 2]);
    if (options.profile) sections.Print(frames.size() * options.rounds, seconds);
}

}  // namespace host
