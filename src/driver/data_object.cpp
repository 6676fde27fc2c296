#include "driver/data_object.h"

#include <algorithm>
#include <utility>

#include "material/texture_bitmap_file.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"

namespace osm3d {

namespace {

// What a data object asks of its texture; kept and handed back, nothing more.
constexpr u32 kTextureFlags = 2;

i32 IndexOfCurrentCamera(const SceneHierarchy& scene) {
    const auto at = std::find(scene.cameras.begin(), scene.cameras.end(), scene.currentCamera);
    return at == scene.cameras.end() ? -1 : static_cast<i32>(at - scene.cameras.begin());
}

Texture* LoadTexture(const std::string& file) {
    auto texture = std::make_unique<TextureBitmapFile>(file, kTextureFlags);
    texture->Load();
    return texture.release();
}

}  // namespace

std::string FileNameOfPath(const std::string& path) {
    if (path.empty()) {
        return {};
    }
    std::size_t at = path.size() - 1;
    while (at > 0 && path[at] != '\\') {
        --at;
    }
    return path.substr(at + 1);
}

// ---- scenes

data_scene::data_scene(SceneHierarchy* loaded) : attached(loaded) { Show(loaded); }

data_scene::data_scene(SceneHierarchy* loaded, std::shared_ptr<const void> owner) : keeper(std::move(owner)) {
    Show(loaded);
}

data_scene::data_scene() = default;

data_scene::~data_scene() = default;

void data_scene::Show(SceneHierarchy* loaded) {
    scene = loaded;
    followsView = loaded != nullptr && loaded->FollowsView();
    ownCamera = loaded != nullptr ? IndexOfCurrentCamera(*loaded) : -1;
}

bool data_scene::Load(const std::string& file) {
    if (!ReadFile(file)) {
        return false;
    }
    name = FileNameOfPath(file);
    path = file;
    description = "a osm3d 2 scene (should see how much data there is in).";
    return true;
}

bool data_scene::Reload() {
    scene = nullptr;
    attached.reset();
    keeper.reset();
    graph.Clear();
    return ReadFile(path);
}

bool data_scene::ReadFile(const std::string& file) {
    const auto in = OpenSceneFile(file, loadError);
    if (in == nullptr) {
        return false;
    }
    osmio::ObjectGraph read;
    SceneHierarchy* loaded = nullptr;
    const bool usable = LoadSceneStream(*in, read, loaded, loadError);
    if (graph.Size() != 0) {
        earlier.push_back(std::move(graph));
    }
    graph = std::move(read);
    Show(loaded);
    if (usable) {
        scene->LoadResources();
    }
    return usable;
}

// ---- images

data_texture::data_texture(const std::string& file) {
    path = file;
    texture = LoadTexture(file);
    name = FileNameOfPath(file);
    description = file;
}

data_texture::data_texture(Texture* loaded) { texture = loaded; }

data_texture::data_texture(Texture* loaded, std::shared_ptr<const void> owner) : keeper(std::move(owner)) {
    texture = loaded;
}

data_texture::~data_texture() { LetGo(); }

void data_texture::LetGo() {
    if (keeper == nullptr) {
        delete texture;
    }
    texture = nullptr;
    keeper.reset();
}

bool data_texture::Reload() {
    LetGo();
    texture = LoadTexture(path);
    return true;
}

}  // namespace osm3d
