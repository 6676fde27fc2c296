// What a texture stage can bind.
#pragma once

#include <string>

#include "io/serializable.h"
#include "platform/d3d9/d3d9.h"
#include "platform/types.h"
#include "scene/animatable.h"

namespace osm3d {

/// An image that a texture stage can bind. Two stages share an image by pointing at the same object. Whoever
/// lists the texture owns it: a scene its list, a data object its one.
class Texture : public Animatable, public osmio::Serializable {
  public:
    /// Results of GetType.
    static constexpr u32 kType2D = 1;
    static constexpr u32 kTypeCube = 2;

    /// The device texture, owned by this object; null before Load or when the image could not be loaded.
    virtual IDirect3DBaseTexture9* GetDeviceTexture() = 0;

    /// Binds the texture (or null) to the device's stage `stage`, 0 to 7.
    virtual void SetToStage(u32 stage) = 0;

    virtual void Prepare() = 0;

    /// Decodes the image and makes the device texture. Needs a Context.
    virtual void Load() = 0;

    /// Takes the bytes of the image file into the object, so that Write stores them in place of the name.
    /// False, with a warning to the tracer, when the file cannot be read.
    virtual bool Embed() = 0;

    /// kType2D or kTypeCube.
    virtual u32 GetType() const = 0;

    /// Flags that the maker gave; 0 for a texture out of a scene file.
    virtual u32 GetFlags() const = 0;

    /// Whether Load turns the image into a normal map.
    virtual void SetNormalMap(bool normalMap) = 0;

    ~Texture() override = default;
};

}  // namespace osm3d
