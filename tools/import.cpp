// om2 import: a scene of a model.
#include <fmt/format.h>

#include <memory>

#include "build_scene.h"
#include "cli/error.h"
#include "cli/whole_file.h"
#include "commands.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_validation.h"
#include "write_scene.h"

namespace tools {
namespace {

std::string Counts(const Model& model) {
    std::size_t vertices = 0, triangles = 0, skinned = 0;
    for (const ModelMesh& mesh : model.meshes) {
        vertices += mesh.positions.size();
        triangles += mesh.triangles.size();
        if (mesh.skin) ++skinned;
    }
    std::string text =
        fmt::format("{} meshes, {} vertices, {} triangles, {} materials, {} images", model.meshes.size(),
                    vertices, triangles, model.materials.size(), model.images.size());
    if (skinned > 0) text += fmt::format(", {} skinned", skinned);
    return text;
}

}  // namespace

void Import(const ImportOptions& options) {
    const double rate = options.frames_per_second > 0 ? options.frames_per_second : kDefaultRate;
    Model model = ReadModel(options.model, {options.texture, options.animation, rate});
    const std::unique_ptr<osm3d::SceneHierarchy> scene = BuildScene(
        model, {options.embed, options.frames_per_second, options.shadows, options.cube}, model.notes);
    std::string reason;
    if (!osm3d::ValidateScene(*scene, reason))
        throw cli::Error(fmt::format("{}: makes a scene that cannot be played: {}", options.model, reason));
    cli::WholeFile file(options.out);
    WriteBeside(file, options.out, *scene);
    file.Commit();
    std::string summary = fmt::format("{}: {}", options.out, Counts(model));
    if (model.animation >= 0)
        summary += fmt::format(", {:.2f} s of motion: \"{}\"", model.length / kKeyUnitsPerSecond,
                               model.animations[static_cast<std::size_t>(model.animation)].name);
    fmt::print("{}\n", summary);
    for (const std::string& note : model.notes) fmt::print("  {}\n", note);
}

void ListModel(const ImportOptions& options) {
    const Model model = ReadModel(options.model, {options.texture, "none", kDefaultRate});
    fmt::print("{}: {}, {} cameras, {} lights, {} animations\n", options.model, Counts(model),
               model.cameras.size(), model.lights.size(), model.animations.size());
    int number = 0;
    for (const ModelAnimation& animation : model.animations)
        fmt::print("  {} \"{}\" {:.3f} s, {:g} ticks, {:g} a second\n", ++number, animation.name,
                   animation.seconds, animation.ticks, animation.ticks_per_second);
}

}  // namespace tools
