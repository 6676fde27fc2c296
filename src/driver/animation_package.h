// A whole project in one object: its text, its scenes, its images.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "io/object_graph.h"
#include "io/serializable.h"

namespace osm3d {

class SceneHierarchy;
class Texture;

/// What an export stores, under the keys by which Driver::LoadData finds it again. Stored as chunk stfx. Owns
/// none of the objects; any of them may be null.
class AnimationPackage : public osmio::Serializable {
  public:
    /// Any version.
    bool Read(osmio::InStream* in) override;

    /// The images stand before the scenes, so that in chunks the materials refer back to them.
    void Write(osmio::OutStream* out) override;

    /// By the path of the data object.
    std::map<std::string, SceneHierarchy*> scenes;
    /// By the path of the data object, the file name, or a number.
    std::map<std::string, Texture*> textures;
    /// The host's project. The module does not look into it.
    std::string projectText;
};

/// A package out of a file, with all that the file made.
class LoadedAnimation {
  public:
    /// Reads a file of chunks that begins with the package's slot, and checks it. Null, with `reason` one
    /// line that says why, for a file that is none, that is cut short, or whose scenes break the rules of
    /// scenes. Needs no device.
    static std::unique_ptr<LoadedAnimation> Read(const std::string& path, std::string& reason);

    /// Makes the device's resources, of each image and scene once. Needs a Context.
    void LoadResources();

    AnimationPackage& Package() { return *package; }

    /// All that the file made.
    const osmio::ObjectGraph& Graph() const { return graph; }

  private:
    osmio::ObjectGraph graph;
    AnimationPackage* package = nullptr;
};

/// Whether the scenes are ready to be loaded beside each other: each keeps the rules of scenes, and none has
/// a part in common with another, images apart, of which each is listed by one scene at most. Otherwise
/// `reason` is one line that names the scene.
bool ValidatePackage(const AnimationPackage& package, std::string& reason);

}  // namespace osm3d
