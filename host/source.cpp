#include "source.h"

#include <fmt/format.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <utility>

#include "cli/error.h"
#include "cli/path.h"
#include "sound_text.h"

namespace host {
namespace {

// A package is an object slot: what it is, version, number and size, then the project's text up to a zero.
constexpr std::array<char, 4> kPackage = {'s', 't', 'f', 'x'};
constexpr std::array<char, 4> kPacked = {'I', 'O', 'B', 'Z'};
constexpr std::streamoff kPackageHead = 12;
constexpr std::size_t kLongestText = std::size_t{256} << 20;

std::array<char, 4> Magic(const std::string& path) {
    std::array<char, 4> magic{};
    std::ifstream(path, std::ios::binary).read(magic.data(), magic.size());
    return magic;
}

std::string PackageText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    in.seekg(kPackageHead);
    std::string text;
    std::array<char, 65536> block{};
    while (in.read(block.data(), block.size()), in.gcount() > 0) {
        const auto size = static_cast<std::size_t>(in.gcount());
        const std::size_t length = ::strnlen(block.data(), size);
        text.append(block.data(), length);
        if (length < size) return text;
        if (text.size() > kLongestText) break;
    }
    throw cli::Error(fmt::format("{}: is a package without a project", path));
}

}  // namespace

Project ReadSource(const std::string& path, const EffectLibrary& library, Mistakes& mistakes) {
    if (cli::ToPath(path).extension() == ".xml") return ReadProject(path, library, mistakes);
    const std::array<char, 4> magic = Magic(path);
    if (magic == kPacked && cli::ToPath(path).extension() != ".om2")
        throw cli::Error(
            fmt::format("{}: is no file to be played; osmplay export --loadable makes one", path));
    if (magic != kPackage)
        throw cli::Error(
            fmt::format("{}: is neither a project (.xml) nor a package (osmplay export --loadable)", path));
    std::string whole = PackageText(path), text = whole;
    std::shared_ptr<const TemporaryFile> sound = TakeSound(text);
    Project project = ParseProject(path, text, library, mistakes);
    project.package = path;
    project.text = std::move(whole);  // as the module gives it
    if (project.sound.path.empty()) return project;
    if (sound) {
        project.sound.path = sound->Path();
        project.sound.packed = std::move(sound);
    } else {
        project.sound.path = cli::ToText(cli::ToPath(path).parent_path() / cli::ToPath(project.sound.path));
    }
    return project;
}

Project ReadSource(const std::string& path, const EffectLibrary& library) {
    Mistakes mistakes;
    Project project = ReadSource(path, library, mistakes);
    ThrowFirst(mistakes);
    return project;
}

}  // namespace host
