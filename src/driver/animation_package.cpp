#include "driver/animation_package.h"

#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "io/measure_stream.h"
#include "io/open.h"
#include "io/slot.h"
#include "io/stream.h"
#include "material/texture.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_validation.h"

namespace osm3d {

namespace {

constexpr u32 kVersion = 1;

template <class T>
bool ReadEntries(osmio::InStream* in, std::map<std::string, T*>& entries, const char* what) {
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, sizeof(u32), what)) {
        return false;
    }
    for (i32 i = 0; i < count; ++i) {
        std::string key;
        in->ReadString(key);
        entries[key] = osmio::ReadSlot<T>(in);
    }
    return true;
}

template <class T>
void WriteEntries(osmio::OutStream* out, const std::map<std::string, T*>& entries) {
    out->WriteI32(static_cast<i32>(entries.size()));
    for (const auto& [key, object] : entries) {
        out->WriteString(key);
        out->WriteObject(object);
    }
}

// The objects of `entries`, each once, in the order of the keys.
template <class T>
std::vector<T*> Distinct(const std::map<std::string, T*>& entries) {
    std::vector<T*> objects;
    std::unordered_set<T*> seen;
    for (const auto& [key, object] : entries) {
        if (object != nullptr && seen.insert(object).second) {
            objects.push_back(object);
        }
    }
    return objects;
}

}  // namespace

// ---- the record

bool AnimationPackage::Read(osmio::InStream* in) {
    in->ReadString(projectText);
    return ReadEntries(in, textures, "images") && ReadEntries(in, scenes, "scenes");
}

void AnimationPackage::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("stfx"), kVersion);
    out->WriteString(projectText);
    WriteEntries(out, textures);
    WriteEntries(out, scenes);
}

bool ValidatePackage(const AnimationPackage& package, std::string& reason) {
    std::unordered_map<const osmio::Serializable*, const SceneHierarchy*> users;
    std::unordered_set<const Texture*> listed;
    std::unordered_set<const SceneHierarchy*> valid;
    for (const auto& [key, scene] : package.scenes) {
        if (scene == nullptr || !valid.insert(scene).second) {
            continue;
        }
        const std::string place = "scene \"" + key + "\": ";
        if (!ValidateScene(*scene, reason)) {
            reason = place + reason;
            return false;
        }
        osmio::OutStreamMeasure parts;
        parts.WriteObject(scene);
        if (parts.IsCircular() || parts.IsTooDeep()) {
            reason = place + (parts.IsCircular() ? "an object is part of itself" : "objects nest too deep");
            return false;
        }
        for (const osmio::Serializable* part : parts.Objects()) {
            const bool isImage = dynamic_cast<const Texture*>(part) != nullptr;
            if (!isImage && users.emplace(part, scene).first->second != scene) {
                reason = place + "an object of it is part of another scene as well";
                return false;
            }
        }
        for (const Texture* texture : scene->textures) {
            if (!listed.insert(texture).second) {
                reason = place + "an image of its list is in the list of another scene as well";
                return false;
            }
        }
    }
    return true;
}

// ---- out of a file

std::unique_ptr<LoadedAnimation> LoadedAnimation::Read(const std::string& path, std::string& reason) {
    const std::unique_ptr<osmio::InStreamChunked> in(osmio::OpenChunkedInputRaw(path));
    if (in == nullptr) {
        reason = "the file cannot be opened";
        return nullptr;
    }
    auto* root = dynamic_cast<AnimationPackage*>(in->ReadObject());
    auto loaded = std::make_unique<LoadedAnimation>();
    loaded->graph = in->TakeGraph();
    loaded->package = root;
    if (in->HasFailed()) {
        reason = in->GetError();
    } else if (root == nullptr) {
        reason = "the file's first object is no animation";
    } else if (in->IsExhausted()) {
        reason = "the file ends too early";
    } else if (ValidatePackage(*root, reason)) {
        reason.clear();
        return loaded;
    } else if (const std::string trouble = in->GetError(); !trouble.empty()) {
        // What a scene lacks often comes from something that was met earlier.
        reason += "; " + trouble;
    }
    return nullptr;
}

void LoadedAnimation::LoadResources() {
    for (Texture* texture : Distinct(package->textures)) {
        texture->Load();
    }
    for (SceneHierarchy* scene : Distinct(package->scenes)) {
        scene->LoadResources();
    }
}

}  // namespace osm3d
