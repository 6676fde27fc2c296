#include "commands.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>

#include "chunk_tree.h"
#include "cli/error.h"
#include "cli/path.h"
#include "cli/whole_file.h"
#include "driver/animation_package.h"
#include "effect_faults.h"
#include "envelope.h"
#include "info.h"
#include "io/open.h"
#include "material/texture.h"
#include "material/texture_bitmap_file.h"
#include "material/texture_cubemap_file.h"
#include "render/material_fx.h"
#include "scene/atmospheric.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "write_scene.h"

namespace tools {
namespace {

void Print(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stdout); }

// The scene of `file`, held by `graph`.
osm3d::SceneHierarchy* LoadScene(const std::string& file, osmio::ObjectGraph& graph) {
    osm3d::SceneHierarchy* scene = nullptr;
    std::string reason;
    if (!osm3d::LoadSceneFile(file, graph, scene, reason))
        throw cli::Error(fmt::format("{}: {}", file, reason));
    return scene;
}

// The files that `texture` takes its images from and that are not there.
std::vector<std::string> MissingImages(const osm3d::Texture& texture) {
    std::vector<std::string> missing;
    const auto look = [&](const std::string& path) {
        std::error_code error;
        if (!std::filesystem::is_regular_file(cli::ToPath(path), error)) missing.push_back(path);
    };
    if (const auto* bitmap = dynamic_cast<const osm3d::TextureBitmapFile*>(&texture)) {
        if (bitmap->GetFileData().empty()) look(bitmap->GetFileName());
    } else if (const auto* cube = dynamic_cast<const osm3d::TextureCubemapFile*>(&texture)) {
        if (cube->GetFileData().empty())
            for (const auto& [key, path] : cube->GetFileNames()) look(path);
    }
    return missing;
}

// A scene file, for what scenes alone have.
Envelope ReadScene(const std::string& file) {
    Envelope envelope = ReadEnvelope(file);
    if (envelope.form == Form::Animation)
        throw cli::Error(
            fmt::format("{}: is an animation, which has neither a plain nor a packed form", file));
    return envelope;
}

using Tell = std::function<void(const std::string&)>;

// What is taken from files and cannot be had, as `om2 check` tells it.
void TellOfImages(const osm3d::Texture& texture, const Tell& tell) {
    for (const std::string& path : MissingImages(texture))
        tell(fmt::format("image \"{}\" is not there: what needs it draws untextured", path));
}

void TellOfEffects(const osmio::ObjectGraph& graph, const Tell& tell) {
    for (const auto& object : graph.Objects())
        if (const auto* effect = dynamic_cast<const osm3d::MaterialFX*>(object.get()))
            for (const std::string& message : EffectFaults(effect->GetFile()))
                tell(fmt::format("an effect material does not draw: {}", message));
}

void TellOfBackground(const osm3d::SceneHierarchy& scene, const Tell& tell) {
    const auto* background = dynamic_cast<const osm3d::AtmosphericBackground*>(scene.background);
    if (background && background->GetCube() && !background->GetCube()->IsSeparated())
        tell("the cube background has one cube map in place of six images: it draws white");
}

void CheckScene(const std::string& file, const Tell& tell) {
    osmio::ObjectGraph graph;
    osm3d::SceneHierarchy* scene = nullptr;
    std::string reason;
    if (!osm3d::LoadSceneFile(file, graph, scene, reason)) return tell(reason);
    for (const osm3d::Texture* texture : scene->textures) TellOfImages(*texture, tell);
    TellOfEffects(graph, tell);
    TellOfBackground(*scene, tell);
}

void CheckAnimation(const std::string& file, const Tell& tell) {
    std::string reason;
    const auto animation = osm3d::LoadedAnimation::Read(file, reason);
    if (!animation) return tell(reason);
    for (const auto& [key, texture] : animation->Package().textures)
        if (texture) TellOfImages(*texture, tell);
    TellOfEffects(animation->Graph(), tell);
    for (const auto& [key, scene] : animation->Package().scenes)
        if (scene)
            TellOfBackground(*scene,
                             [&tell, &place = key](const std::string& line) { tell(place + ": " + line); });
}

}  // namespace

void Info(const std::string& file, bool json) {
    const Envelope envelope = ReadEnvelope(file);
    const ChunkTree tree = ReadChunkTree(envelope);
    Print(json ? TreeAsJson(file, envelope, tree) : TreeAsText(file, envelope, tree));
}

bool Check(const std::string& file) {
    const Envelope envelope = ReadEnvelope(file);
    const ChunkTree tree = ReadChunkTree(envelope);
    bool sound = true;
    auto tell = [&](const std::string& line) {
        Print(fmt::format("{}: {}\n", file, line));
        sound = false;
    };
    for (const Fault& fault : tree.faults) tell(fmt::format("at byte {}: {}", fault.offset, fault.what));
    if (envelope.form == Form::Animation)
        CheckAnimation(file, tell);
    else
        CheckScene(file, tell);
    if (sound) Print(fmt::format("{}: sound\n", file));
    return sound;
}

void Pack(const std::string& in, const std::string& out, bool embed) {
    Envelope envelope = ReadScene(in);
    const ChunkTree tree = ReadChunkTree(envelope);
    if (!tree.faults.empty())
        throw cli::Error(fmt::format("{}: is damaged and is not packed: {} (om2 check tells more)", in,
                                     tree.faults.front().what));
    const NamedFiles named = FindNamedFiles(tree.root);
    if (named.effects)
        throw cli::Error(fmt::format(
            "{}: names effect files, which neither the packed form nor the scene itself can carry", in));
    if (named.images) {
        if (!embed)
            throw cli::Error(
                fmt::format("{}: names image files, which the packed form cannot carry: use --embed to "
                            "take the images in",
                            in));
        osmio::ObjectGraph graph;
        osm3d::SceneHierarchy* scene = LoadScene(in, graph);
        for (const auto& object : graph.Objects()) {
            auto* texture = dynamic_cast<osm3d::Texture*>(object.get());
            if (!texture) continue;
            const std::vector<std::string> missing = MissingImages(*texture);
            if (!missing.empty())
                throw cli::Error(
                    fmt::format("{}: image \"{}\" cannot be read to be embedded", in, missing.front()));
            if (!texture->Embed())
                throw cli::Error(fmt::format("{}: an image cannot be read to be embedded", in));
        }
        cli::WholeFile plain(
            out);  // never committed: what stands at `out` stays until the packed form is whole
        WriteBeside(plain, out, *scene);
        envelope = ReadEnvelope(plain.Beside());
    }
    WriteWhole(out, MakeEnvelope(Form::Packed, envelope.objects));
}

void Unpack(const std::string& in, const std::string& out) {
    const Envelope envelope = ReadScene(in);
    const NamedFiles named =
        envelope.form == Form::Packed ? FindNamedFiles(ReadChunkTree(envelope).root) : NamedFiles{};
    if (named.images || named.effects)
        throw cli::Error(
            fmt::format("{}: names files in a form that readers cannot follow; it cannot be "
                        "unpacked",
                        in));
    WriteWhole(out, MakeEnvelope(Form::Plain, envelope.objects));
}

}  // namespace tools
