#include "conformance/engine_native.h"

#include <exception>

#include "module.h"
#include "player.h"
#include "project.h"
#include "support/run_program.h"

namespace conformance {

namespace {

Picture Converted(const host::Picture& in) {
    Picture out;
    out.width = in.width;
    out.height = in.height;
    for (std::size_t i = 0; i + 2 < in.rgb.size(); i += 3)
        out.pixels.push_back(0xff000000u | in.rgb[i] * 0x10000u | in.rgb[i + 1] * 0x100u | in.rgb[i + 2]);
    return out;
}

void DrawInto(const EngineCase& entry, const CaseFolder& files, std::vector<Picture>& pictures) {
    static const host::EffectLibrary library(OSM_SOURCE_DIR "/data/libfx.xml");
    static host::Module module(OSM_BINARY_DIR "/bin/osmDriver.so");
    const std::string source = files.File(entry.Source());
    const auto draw = [&](host::Project project, const std::vector<double>& times) {
        project.samples = entry.samples;
        host::Player player(module, project, library, entry.width, entry.height);
        for (const double time : times) {
            player.Draw(time);
            pictures.push_back(Converted(player.Grab()));
        }
    };
    if (entry.is_scene) {
        for (const double time : entry.times)
            draw(host::SceneProject(source, time, entry.camera, library), {0.0});
        return;
    }
    host::Project project = host::ReadProject(source, library);
    std::vector<double> times = entry.times;
    if (entry.kind == Kind::Render) {
        times.clear();
        for (std::size_t frame = 0; frame < project.FrameCount(); ++frame)
            times.push_back(static_cast<double>(frame) / project.frames_per_second);
    }
    draw(std::move(project), times);
}

}  // namespace

bool DrawEngine(const EngineCase& entry, std::vector<Picture>& pictures, std::string& reason) {
    const test_support::TempFolder folder;
    pictures.clear();
    try {
        MakeCase(entry, folder.path.string());
        DrawInto(entry, CaseFolder(folder.path.string()), pictures);
    } catch (const std::exception& error) {
        reason = error.what();
        return false;
    }
    if (pictures.size() != entry.PictureCount()) {
        reason = std::to_string(pictures.size()) + " pictures, not " + std::to_string(entry.PictureCount());
        return false;
    }
    return true;
}

std::string EngineGolden(const std::string& picture_name) {
    return OSM_GOLDEN_DIR "/engine/" + picture_name + ".png";
}

}  // namespace conformance
