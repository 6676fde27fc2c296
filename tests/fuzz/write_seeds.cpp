// Writes the seeds of the libFuzzer targets: write_seeds FOLDER makes FOLDER/scene, FOLDER/image,
// FOLDER/effect, FOLDER/package and FOLDER/sound.
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "fuzz/effect_seeds.h"
#include "fuzz/package_seeds.h"
#include "fuzz/play_sound.h"
#include "fuzz/seeds.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: write_seeds FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    std::filesystem::create_directories(folder / "scene");
    std::filesystem::create_directories(folder / "image");
    std::filesystem::create_directories(folder / "effect");
    std::filesystem::create_directories(folder / "sound");
    std::filesystem::create_directories(folder / "package");
    auto write = [](const std::filesystem::path& path, const fuzz::Bytes& bytes) {
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    };
    for (const fuzz::Seed& seed : fuzz::SceneSeeds()) write(folder / "scene" / seed.name, seed.bytes);
    for (const fuzz::Seed& seed : fuzz::PackageSeeds()) write(folder / "package" / seed.name, seed.bytes);
    constexpr std::array<const char*, 6> kinds = {".bmp", ".dds", ".dib", ".jpg", ".png", ".tga"};
    for (const fuzz::Seed& seed : fuzz::ImageSeeds()) {
        fuzz::Bytes bytes = seed.bytes;
        for (std::size_t i = 0; i < kinds.size(); ++i)
            if (seed.extension == kinds[i]) bytes.insert(bytes.begin(), static_cast<std::uint8_t>(i));
        write(folder / "image" / seed.name, bytes);
    }
    int number = 0;
    for (const fuzz::Bytes& text : fuzz::EffectSeeds())
        write(folder / "effect" / (std::to_string(++number) + ".fx"), text);
    for (const fuzz::Bytes& sound : fuzz::SoundSeeds())
        write(folder / "sound" / std::to_string(++number), sound);
    return 0;
}
