// Makes the demo's scenes, pictures and music: make_demo [--plain] FOLDER. With --plain nothing in them needs shaders,
// for machines whose Direct3D has no compiler for them: no depth of field, and glass.fx is not named.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "cli/error.h"
#include "cli/whole_file.h"
#include "demo_scenes.h"
#include "music.h"
#include "picture.h"

namespace {

using namespace demo;

void Save(const std::string& path, const Picture32& picture) {
    cli::WholeFile file(path);
    const auto bytes = EncodePng(picture);
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.Handle()) != bytes.size())
        throw cli::Error(path + ": cannot be written");
    file.Commit();
}

void MakePictures(const std::string& folder) {
    const color top{1, 0.98f, 0.92f, 1}, bottom{1, 0.80f, 0.56f, 1}, glow{1, 0.62f, 0.30f, 0.34f};
    Save(folder + "/title.png", Lettering("LAMPLIGHT", 1024, 256, 0.34f, 0.34f, 0.034f, top, bottom, glow));
    Save(folder + "/byline.png", Lettering("DRAWN LIVE BY OSMDRIVER", 1024, 128, 0.22f, 0.42f, 0.045f, top,
                                           top, {1, 0.6f, 0.4f, 0.2f}));
    Save(folder + "/end.png",
         Lettering("KEEP A LIGHT ON", 1024, 256, 0.24f, 0.42f, 0.040f, top, bottom, glow));
    Save(folder + "/black.png", Painted(8, 8, [](float, float) { return color{0, 0, 0, 1}; }));
    // Darkens the corners.
    Save(folder + "/vignette.png", Painted(256, 256, [](float u, float v) {
             const float r = Length({(u - 0.5f) * 1.12f, (v - 0.5f) * 1.05f, 0});
             return color{0.02f, 0.01f, 0.05f, 0.62f * Smooth(0.34f, 0.80f, r)};
         }));
    // A streak of light across a lens.
    Save(folder + "/streak.png", Painted(512, 64, [](float u, float v) {
             const float x = 2 * (u - 0.5f), y = 2 * (v - 0.5f);
             const float a = Clamp01(1 - x * x) * Clamp01(1 - x * x) *
                             Smooth(0, 1, 1 - Clamp01((y < 0 ? -y : y) * (1.2f + 4 * (x < 0 ? -x : x))));
             return color{1, 0.84f, 0.62f, a};
         }));
}

}  // namespace

int main(int argc, char** argv) {
    const bool is_plain = argc == 3 && std::string(argv[1]) == "--plain";
    if (argc != (is_plain ? 3 : 2)) {
        std::fprintf(stderr, "usage: make_demo [--plain] FOLDER\n");
        return 2;
    }
    try {
        const std::string folder = argv[argc - 1];
        std::filesystem::create_directories(folder);
        MakeIsland(folder + "/island.om2");
        MakeClockwork(folder + "/clockwork.om2");
        MakeShadowHall(folder + "/shadow_hall.om2");
        MakeMirrorHall(folder + "/mirror_hall.om2");
        MakeWhale(folder + "/whale.om2");
        MakeMeadow(folder + "/meadow.om2");
        // An effect is opened where the program runs that plays the scene.
        MakeFloats(folder + "/floats.om2",
                   is_plain ? "" : std::filesystem::absolute(folder + "/glass.fx").string());
        MakeJetty(folder + "/jetty.om2", !is_plain);
        MakePictures(folder);
        SaveWav(folder + "/music.wav", Music());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_demo: %s\n", error.what());
        return 1;
    }
    return 0;
}
