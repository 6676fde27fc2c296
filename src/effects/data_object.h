// Entries of the host's media list: one scene file or one image each.
#pragma once

#include <string>

#include "effects/host_interfaces.h"
#include "platform/types.h"

namespace osm3d {

class SceneHierarchy;
class Texture;

/// The answers of DataObject::GetType.
enum DataObjectType : u32 {
    kDataTexture = 1,
    kDataScene = 2,
};

/// What the host holds. The order of the operations is part of the module's interface.
class DataObject {
  public:
    virtual void Accept(HostVisitor* visitor) = 0;
    virtual ~DataObject() = default;
    virtual std::string& GetName() = 0;
    virtual std::string& GetPath() = 0;
    virtual void SetName(const std::string& name) = 0;
    virtual std::string& GetDescription() = 0;
    virtual u32 GetType() = 0;
    /// Reads the file anew. After a false answer the object holds nothing to draw.
    virtual bool Reload() = 0;
    virtual std::string& GetTypeName() = 0;
};

/// The texts of a data object.
class DataObjectBase : public DataObject {
  public:
    explicit DataObjectBase(const char* type) : typeName(type) {}
    DataObjectBase(const DataObjectBase&) = delete;
    DataObjectBase& operator=(const DataObjectBase&) = delete;

    void Accept(HostVisitor* visitor) override { visitor->VisitData(this); }
    std::string& GetName() override { return name; }
    std::string& GetPath() override { return path; }
    void SetName(const std::string& text) override { name = text; }
    std::string& GetDescription() override { return description; }
    std::string& GetTypeName() override { return typeName; }

  protected:
    std::string name;
    std::string path;
    std::string description;
    std::string typeName;
};

/// The part of a scene data object that effects read.
class SceneData : public DataObjectBase {
  public:
    SceneData() : DataObjectBase("data_scene") {}
    u32 GetType() final { return kDataScene; }

    /// Null until loaded.
    SceneHierarchy* scene = nullptr;
    /// Whether a picture of the scene depends on the view of the picture before
    /// (SceneHierarchy::FollowsView). A host that wants a picture to depend on its time alone draws such a
    /// scene twice and keeps the second picture.
    bool followsView = false;
    /// The index of the camera that is the current one in the file; -1 when it is none of the list. An effect
    /// with a camera of its own leaves that as the current one, so that what is drawn next without one would
    /// hang on it: a host gives this number there.
    i32 ownCamera = -1;
};

/// The part of an image data object that effects read.
class TextureData : public DataObjectBase {
  public:
    TextureData() : DataObjectBase("data_texture") {}
    u32 GetType() final { return kDataTexture; }

    Texture* texture = nullptr;
};

}  // namespace osm3d
