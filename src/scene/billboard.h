// What the sprites of one object share.
#pragma once

#include <memory>

#include "io/serializable.h"
#include "platform/types.h"

namespace osm3d {
class GeometrySimple;
class Material;
}  // namespace osm3d

namespace osm3d::particle {

/// The material of an AtmosphericBillboard and the geometry of its sprites. Stored as chunk FPRB.
class Billboard : public osmio::Serializable {
  public:
    Billboard();
    Billboard(const Billboard&) = delete;
    Billboard& operator=(const Billboard&) = delete;
    ~Billboard() override;

    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Draws the geometry, which must be there, in world space.
    void Draw();

    /// Not owned. Null draws with the default material.
    Material* material = nullptr;
    /// Built by the first AtmosphericBillboard that is drawn; not stored.
    std::unique_ptr<GeometrySimple> geometry;
};

}  // namespace osm3d::particle
