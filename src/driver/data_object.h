// The data objects that the module makes: a scene file, an image file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "effects/data_object.h"
#include "io/object_graph.h"
#include "platform/types.h"

namespace osm3d {

/// The part of `path` behind its last backslash, as the host shows it. A path without a backslash loses its
/// first character, and a forward slash is no separator. An empty path gives an empty name.
std::string FileNameOfPath(const std::string& path);

/// A scene file. Owns the scene and all that the file made. Needs a Context.
// The host knows the class by this name.
// NOLINTNEXTLINE(readability-identifier-naming)
class data_scene : public SceneData {
  public:
    data_scene();

    /// Takes `loaded`, made in code, over; the texts stay empty.
    explicit data_scene(SceneHierarchy* loaded);

    /// For a scene, which may be null, that `owner` owns; the texts stay empty. There is no file that Reload
    /// could read.
    data_scene(SceneHierarchy* loaded, std::shared_ptr<const void> owner);
    ~data_scene() override;

    bool Reload() override;

    /// Reads the file and loads its resources. False, with GetLoadError saying why, for a file that is no
    /// scene or that breaks the rules of scenes. A second Load keeps the first scene alive until this object
    /// goes.
    virtual bool Load(const std::string& file);

    /// Why the last Load or Reload gave false; empty after success.
    const std::string& GetLoadError() const { return loadError; }

  private:
    bool ReadFile(const std::string& file);
    /// Puts `loaded`, which may be null, up for the effects.
    void Show(SceneHierarchy* loaded);

    /// A scene made in code.
    std::unique_ptr<SceneHierarchy> attached;
    /// Of a scene out of a package.
    std::shared_ptr<const void> keeper;
    /// What the last read made.
    osmio::ObjectGraph graph;
    /// What earlier reads made.
    std::vector<osmio::ObjectGraph> earlier;
    std::string loadError;
};

/// An image file. Owns the texture. Needs a Context.
// NOLINTNEXTLINE(readability-identifier-naming)
class data_texture : public TextureData {
  public:
    /// Loads the image. When it cannot be read, `texture` stands without a picture.
    explicit data_texture(const std::string& file);

    /// Takes `loaded` over; the texts stay empty.
    explicit data_texture(Texture* loaded);

    /// For a texture, which may be null, that `owner` owns; the texts stay empty. There is no file that
    /// Reload could read: it leaves a texture without a picture.
    data_texture(Texture* loaded, std::shared_ptr<const void> owner);
    ~data_texture() override;

    /// Always true.
    bool Reload() override;

  private:
    void LetGo();

    /// Of a texture out of a package.
    std::shared_ptr<const void> keeper;
};

}  // namespace osm3d
