#include "commands.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "cli/error.h"
#include "cli/path.h"
#include "effect_library.h"
#include "module.h"
#include "player.h"
#include "png_file.h"
#include "project.h"
#include "source.h"
#include "system.h"

namespace host {
namespace fs = std::filesystem;

std::string LibraryPath(const Common& common) {
    return common.effects_file.empty() ? cli::ToText(cli::ToPath(ProgramFolder()) / "libfx.xml")
                                       : common.effects_file;
}
std::string ModulePath(const Common& common) {
    return common.module.empty() ? cli::ToText(cli::ToPath(ProgramFolder()) / kModuleName) : common.module;
}

void RequireFile(const std::string& path) {
    std::error_code error;
    const fs::path file = cli::ToPath(path);
    if (!fs::exists(file, error)) throw cli::Error(fmt::format("{}: no such file", path));
    if (!fs::is_regular_file(file, error)) throw cli::Error(fmt::format("{}: is not a file", path));
    if (fs::file_size(file, error) == 0) throw cli::Error(fmt::format("{}: is empty", path));
}

// Flat effects lay out their quads in pixels of a 640 x 480 picture, whatever the target's size.
void WarnOfSize(const Project& project, const Size& size) {
    if (size.width == 640 && size.height == 480) return;
    for (const Project::Layer& layer : project.layers)
        for (const Clip& clip : layer.clips)
            if (clip.effect->name != "fx_simple_scene") {
                std::fprintf(
                    stderr,
                    "osmplay: %s: %s covers 640x480 pixels of the %ux%u picture: flat effects do not scale\n",
                    clip.place.c_str(), clip.effect->name.c_str(), size.width, size.height);
                return;
            }
}

Size ParseSize(const std::string& text) {
    Size size;
    int end = 0;
    if (std::sscanf(text.c_str(), "%ux%u%n", &size.width, &size.height, &end) != 2 ||
        static_cast<std::size_t>(end) != text.size() || text.find('-') != text.npos || size.width < 1 ||
        size.height < 1 || size.width > 8192 || size.height > 8192)
        throw cli::Error(fmt::format("--size {}: a size is WIDTHxHEIGHT, each from 1 to 8192", text));
    return size;
}

Range ParseRange(const std::string& text, std::size_t count) {
    Range range{0, count};
    if (text.empty()) return range;
    const std::size_t colon = text.find(':');
    const auto number = [&](const std::string& part, std::size_t fallback) -> std::size_t {
        if (part.empty()) return fallback;
        if (part.size() > 9 || part.find_first_not_of("0123456789") != part.npos)
            throw cli::Error(fmt::format("--frames {}: a range is A:B, in frames", text));
        return std::stoul(part);
    };
    if (colon == text.npos) throw cli::Error(fmt::format("--frames {}: a range is A:B, in frames", text));
    range.first = number(text.substr(0, colon), 0);
    range.end = number(text.substr(colon + 1), count);
    if (range.first >= range.end || range.end > count)
        throw cli::Error(fmt::format("--frames {}: the project has frames 0 to {}", text, count - 1));
    return range;
}

void Still(const Common& common, const StillOptions& options) {
    RequireFile(options.in);
    const EffectLibrary library(LibraryPath(common));
    const bool is_scene = cli::ToPath(options.in).extension() == ".om2";
    Project project = is_scene ? SceneProject(options.in, options.time, options.camera, library)
                               : ReadSource(options.in, library);
    if (options.samples) project.samples = *options.samples;
    const Size size = options.size.value_or(Size{project.width, project.height});
    WarnOfSize(project, size);
    Module module(ModulePath(common));
    Player player(module, project, library, size.width, size.height);
    const double time = is_scene ? 0 : options.time;
    if (options.profile) {
        const double seconds = player.Profile(time);
        fmt::print("{}: {:.2f} ms a frame, the picture read back{}\n", options.in, seconds * 1e3,
                   player.ProfileReport());
    }
    player.Draw(time);
    WritePng(options.out, player.Grab());
}

void Check(const Common& common, const std::string& path) {
    RequireFile(path);
    const EffectLibrary library(LibraryPath(common));
    Mistakes mistakes;
    const Project project = ReadSource(path, library, mistakes);
    Module module(ModulePath(common));
    CheckData(module, project, mistakes);
    // One peak for all: the module decodes the whole sound for it.
    constexpr float kCoarse = 2;
    std::error_code error;
    if (fs::is_regular_file(cli::ToPath(project.sound.path), error) &&
        ReadPeaks(module, project.sound.path, kCoarse).empty())
        mistakes.push_back(
            fmt::format("{}: {} is no sound that can be decoded", project.sound.place, project.sound.path));
    if (mistakes.empty()) {
        fmt::print("{}: fine: {:g} s, {} frames\n", path, project.length, project.FrameCount());
        return;
    }
    for (std::size_t i = 0; i + 1 < mistakes.size(); ++i)
        std::fprintf(stderr, "osmplay: %s\n", mistakes[i].c_str());
    throw cli::Error(mistakes.back());
}

void Effects(const Common& common) {
    const EffectLibrary library(LibraryPath(common));
    Module module(ModulePath(common));
    for (const EffectEntry& effect : library.Effects()) {
        const std::unique_ptr<osm3d::Effect> made(module.Driver().CreateEffect(effect.name));
        fmt::print("{}: {} ({}). {}{}\n", effect.name, effect.title, RoleName(effect.role),
                   effect.description, made ? "" : " [not in this version of the module]");
        for (std::size_t i = 0; i < effect.parameters.size(); ++i) {
            const Parameter& parameter = effect.parameters[i];
            std::string line = fmt::format("  {}  {:<12} {:<7}", i, parameter.name, TypeName(parameter.type));
            if (!parameter.default_text.empty()) line += fmt::format(" = {}", parameter.default_text);
            fmt::print("{:<34} {}\n", line, parameter.description);
            for (const Choice& choice : parameter.choices)
                fmt::print("{:<34}   {} {}\n", "", choice.value, choice.title);
        }
    }
}

}  // namespace host
