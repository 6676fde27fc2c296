// Imports every animation of a model and prints how far the played vertices lie from the file's own.
#include <cstdio>

#include "commands.h"
#include "model.h"
#include "played_motion.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: measure_import MODEL [TIMES]\n");
        return 2;
    }
    const int times = argc > 2 ? std::atoi(argv[2]) : 25;
    const std::string scene = (std::filesystem::temp_directory_path() / "measure_import.om2").string();
    try {
        const int count = static_cast<int>(tools::ReadModel(argv[1], {{}, "none"}).animations.size());
        for (int i = -1; i < count; ++i) {
            tools::ImportOptions options;
            options.model = argv[1];
            options.out = scene;
            options.animation = i < 0 ? "none" : std::to_string(i + 1);
            tools::Import(options);
            const independent::Comparison c = independent::Compare(argv[1], scene, i, i < 0 ? 1 : times);
            std::printf("  %zu vertices, at most %.4g moved, worst error %.3g\n", c.vertices, c.moved,
                        c.worst);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    std::filesystem::remove(scene);
    return 0;
}
