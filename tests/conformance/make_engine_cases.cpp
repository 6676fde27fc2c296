// Writes the engine's conformance cases: make_engine_cases OUTDIR [CASE...]
// Each case gets OUTDIR/NAME/ with its scene or project, and a line in OUTDIR/manifest.txt that says how its
// pictures are made: "still PICTURE FILE OPTIONS" of osmplay still, or "frames CASE COUNT FILE OPTIONS" of
// osmplay render. A CASE may be the beginning of a name.
#include <cstdio>
#include <exception>
#include <filesystem>

#include "cli/whole_file.h"
#include "conformance/engine_cases.h"

namespace {

using conformance::EngineCase;
using conformance::Kind;

std::string Options(const EngineCase& entry) {
    std::string options = "--size " + std::to_string(entry.width) + "x" + std::to_string(entry.height);
    const unsigned samples = entry.reference_samples > 0 ? entry.reference_samples : entry.samples;
    if (samples > 0) options += " --samples " + std::to_string(samples);
    return options;
}

void Describe(const EngineCase& entry, std::FILE* out) {
    const std::string file = entry.name + "/" + entry.Source(), options = Options(entry);
    if (entry.kind == Kind::Render) {
        std::fprintf(out, "frames %s %u %s %s\n", entry.name.c_str(), entry.frames, file.c_str(),
                     options.c_str());
        return;
    }
    const std::string camera = entry.camera < 0 ? "" : " --camera " + std::to_string(entry.camera);
    for (unsigned i = 0; i < entry.times.size(); ++i)
        std::fprintf(out, "still %s %s --time %.9g %s%s\n", entry.PictureName(i).c_str(), file.c_str(),
                     entry.times[i], options.c_str(), camera.c_str());
}

bool Wanted(const EngineCase& entry, int argc, char** argv) {
    for (int i = 2; i < argc; ++i)
        if (entry.name.starts_with(argv[i])) return true;
    return argc <= 2;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 2) {
        std::fprintf(stderr, "usage: make_engine_cases OUTDIR [CASE...]\n");
        return 2;
    }
    const std::string out = argv[1];
    std::filesystem::create_directories(out);
    cli::WholeFile manifest(out + "/manifest.txt");
    for (const EngineCase& entry : conformance::AllEngineCases()) {
        if (!Wanted(entry, argc, argv)) continue;
        MakeCase(entry, out + "/" + entry.name);
        Describe(entry, manifest.Handle());
    }
    manifest.Commit();
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_engine_cases: %s\n", error.what());
    return 1;
}
