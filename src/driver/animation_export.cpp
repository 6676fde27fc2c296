#include "driver/animation_export.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>
#include <vector>

#include "driver/animation_package.h"
#include "effects/data_object.h"
#include "io/bzip2_stream.h"
#include "io/chunked_stream.h"
#include "io/file_stream.h"
#include "io/measure_stream.h"
#include "material/material_composite.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "platform/system/file_path.h"
#include "render/material_fx.h"
#include "scene/scene_hierarchy.h"
#include "trace/tracer.h"

namespace osm3d {

namespace {

// Positions and sizes are stored as i32, object ids as u16.
constexpr u64 kMaxBytes = std::numeric_limits<i32>::max();
constexpr std::size_t kMaxObjects = 1u << 16;
// Walks that follow every mention end within seconds below it.
constexpr u64 kMaxMentions = 1u << 24;

// ---- gathering

void Fill(HostDocument& document, AnimationPackage& package) {
    HostDataList* list = document.GetDataList();
    const u32 count = list != nullptr ? list->GetCount() : 0;
    for (u32 i = 0; i < count; ++i) {
        DataObject* item = list->GetItem(i);
        if (item == nullptr) {
            continue;
        }
        if (item->GetType() == kDataScene) {
            package.scenes[item->GetPath()] = static_cast<SceneData*>(item)->scene;
        } else if (item->GetType() == kDataTexture) {
            package.textures[item->GetPath()] = static_cast<TextureData*>(item)->texture;
        }
    }
    package.projectText = document.GetProjectText();
}

// The stages of a material and of all that it is composed of.
void CollectStages(Material* material, std::vector<TextureStage*>& stages) {
    if (material == nullptr) {
        return;
    }
    if (material->IsComposite()) {
        auto& composite = static_cast<MaterialComposite&>(*material);
        for (u32 i = 0; i < composite.MaterialCount(); ++i) {
            CollectStages(composite.GetMaterial(i), stages);
        }
    } else if (auto* simple = dynamic_cast<MaterialSimple*>(material)) {
        for (u32 i = 0; TextureStage* stage = simple->GetStage(i); ++i) {
            stages.push_back(stage);
        }
    }
}

// Whoever reads the numbers in the message knows them with this flaw: what follows a removed entry is not
// looked at, so that of two equal neighbours one stays.
void RemoveSkipping(std::vector<Texture*>& list, const Texture* texture) {
    for (auto at = list.begin(); at != list.end(); ++at) {
        if (*at == texture) {
            at = list.erase(at);
            if (at == list.end()) {
                return;
            }
        }
    }
}

// ---- looking before leaping

/// Why a package cannot be stored; empty when it can.
std::string CannotStore(AnimationPackage& package, PackageForm form) {
    osmio::OutStreamMeasure measure;
    measure.WriteObject(&package);
    if (measure.IsCircular()) {
        return "an object of its scenes is part of itself";
    }
    if (measure.IsTooDeep()) {
        return "the objects of its scenes nest too deep";
    }
    if (measure.Mentions() > kMaxMentions) {
        return "its scenes mention each other's objects too often";
    }
    const bool chunks = form == PackageForm::kChunks;
    if ((chunks ? measure.ChunkedBytes() : measure.RepeatedBytes()) > kMaxBytes) {
        return "it would take more than 2 GiB";
    }
    if (!chunks) {
        return {};
    }
    if (measure.Objects().size() > kMaxObjects) {
        return "its scenes have " + std::to_string(measure.Objects().size()) + " objects; " +
               std::to_string(kMaxObjects) + " is the most";
    }
    const auto isBroken = [](const std::string& text) { return text.find('\0') != text.npos; };
    bool broken = isBroken(package.projectText);
    for (const auto& [key, scene] : package.scenes) {
        broken = broken || isBroken(key);
    }
    for (const auto& [key, texture] : package.textures) {
        broken = broken || isBroken(key);
    }
    if (broken) {
        return "its text, or the path of an object, holds a zero byte";
    }
    std::string reason;
    return ValidatePackage(package, reason) ? std::string() : reason;
}

// Effect texts are files that a scene names and that no record holds.
void TellOfEffectFiles(AnimationPackage& package) {
    osmio::OutStreamMeasure measure;
    measure.WriteObject(&package);
    std::set<std::string> files;
    for (const osmio::Serializable* object : measure.Objects()) {
        if (const auto* effect = dynamic_cast<const MaterialFX*>(object)) {
            files.insert(effect->GetFile());
        }
    }
    for (const std::string& file : files) {
        trace::WarnIf(true, "effect \"%s\" not embeddable.", file.c_str());
    }
}

// ---- writing

bool WriteTo(const std::string& path, AnimationPackage& package, PackageForm form) {
    osmio::OutStreamFile file(path);
    if (!file.IsOpen()) {
        return false;
    }
    osmio::OutStreamChunked chunked(&file, false);
    if (form == PackageForm::kChunks) {
        chunked.WriteObject(&package);
    } else {
        // Around the chunked stream, not inside it: so no header reaches the file.
        osmio::OutStreamBzip2 packed(&chunked, false);
        packed.WriteObject(&package);
    }
    return file.Flush();
}

bool WriteWhole(const std::string& path, AnimationPackage& package, PackageForm form) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path target = platform::FilePath(path);
    std::string beside = path + ".part";
    if (fs::is_symlink(target, error)) {
        target = fs::canonical(target, error);
        if (error) {
            return false;
        }
        beside = target.string() + ".part";
    }
    const fs::file_status status = fs::status(target, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        // Devices take what comes; renaming would put a file in their place.
        return WriteTo(path, package, form);
    }
    const fs::path written = platform::FilePath(beside);
    if (WriteTo(beside, package, form)) {
        fs::rename(written, target, error);
        if (!error) {
            return true;
        }
    }
    fs::remove(written, error);
    return false;
}

bool Refuse(const std::string& path, const std::string& reason) {
    trace::Box("The animation is not exported to \"%s\": %s.", path.c_str(), reason.c_str());
    return false;
}

}  // namespace

void RelinkTextures(AnimationPackage& package) {
    std::vector<TextureStage*> stages;
    std::vector<Texture*> orphans;
    for (const auto& [key, scene] : package.scenes) {
        if (scene == nullptr) {
            continue;
        }
        for (Material* material : scene->materials) {
            CollectStages(material, stages);
        }
        for (Texture* texture : scene->textures) {
            if (texture != nullptr) {
                texture->Embed();
                orphans.push_back(texture);
            }
        }
        scene->textures = {};
    }

    int replaced = 0;
    for (TextureStage* stage : stages) {
        Texture* texture = stage->GetTexture();
        if (texture == nullptr) {
            continue;
        }
        if (texture->GetType() != Texture::kType2D) {
            texture->Embed();
            continue;
        }
        const auto* bitmap = dynamic_cast<const TextureBitmapFile*>(texture);
        if (bitmap == nullptr || bitmap->GetFileName().empty()) {
            continue;
        }
        const auto [entry, isNew] = package.textures.emplace(bitmap->GetFileName(), texture);
        if (!isNew) {
            stage->SetTexture(entry->second);
            ++replaced;
        }
    }

    for (const auto& [key, texture] : package.textures) {
        if (texture != nullptr) {
            texture->Embed();
            RemoveSkipping(orphans, texture);
        }
    }
    for (std::size_t i = 0; i < orphans.size(); ++i) {
        package.textures[std::to_string(i)] = orphans[i];
    }
    trace::Box("Replaced references to textures : %d.Texture with references not found : %d", replaced,
               static_cast<int>(orphans.size()));
}

bool ExportPackage(HostDocument* document, const std::string& path, PackageForm form) {
    if (document == nullptr) {
        return Refuse(path, "there is no document");
    }
    AnimationPackage package;
    Fill(*document, package);
    // Nothing of the live scenes is touched for a file that would not be written.
    if (const std::string reason = CannotStore(package, form); !reason.empty()) {
        return Refuse(path, reason);
    }
    RelinkTextures(package);
    trace::Box("DriverOST - Exported animation :\n%d 3d Scenes.\n%d Bitmaps.",
               static_cast<int>(package.scenes.size()), static_cast<int>(package.textures.size()));
    if (const std::string reason = CannotStore(package, form); !reason.empty()) {
        return Refuse(path, reason);
    }
    if (form == PackageForm::kChunks) {
        TellOfEffectFiles(package);
    }
    return WriteWhole(path, package, form) || Refuse(path, "the file cannot be written");
}

}  // namespace osm3d
