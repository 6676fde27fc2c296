// World, view and projection, with the products and inverses that drawing asks for, each made at most once
// per change of what it is made from.
#pragma once

#include <array>

#include "platform/types.h"
#include "scene/value_types.h"

namespace osm3d {

class TransformCache {
  public:
    /// Bits of GetFlags(), in the order of the matrices: set while the matrix stands.
    enum Flag : u32 {
        kWorld = 0x1,
        kView = 0x2,
        kProjection = 0x4,
        kWorldInverse = 0x8,
        kViewInverse = 0x10,
        kProjectionInverse = 0x20,
        kWorldView = 0x40,
        kViewProjection = 0x80,
        kWorldViewProjection = 0x100,
        kWorldViewInverse = 0x200,
        kViewProjectionInverse = 0x400,
        kWorldViewProjectionInverse = 0x800,
    };

    void SetWorld(const matrix& m);
    void SetView(const matrix& m);
    void SetProjection(const matrix& m);

    const matrix& GetWorld() const { return matrices_[0]; }
    const matrix& GetView() const { return matrices_[1]; }
    const matrix& GetProjection() const { return matrices_[2]; }

    // The reference that a getter gives stays valid as long as the cache; its value until a source changes.
    // A source that has no inverse gives the identity as its inverse.
    const matrix& GetWorldInverse();
    const matrix& GetViewInverse();
    const matrix& GetProjectionInverse();
    const matrix& GetWorldView();
    const matrix& GetViewProjection();
    const matrix& GetWorldViewProjection();
    const matrix& GetWorldViewInverse();
    const matrix& GetViewProjectionInverse();
    const matrix& GetWorldViewProjectionInverse();

    u32 GetFlags() const { return flags_; }

  private:
    bool Has(Flag flag) const { return (flags_ & flag) != 0; }
    const matrix& Product(Flag flag, const matrix& a, const matrix& b);
    const matrix& Inverse(Flag flag, const matrix& source);

    u32 flags_ = 0;
    std::array<matrix, 12> matrices_{};
};

}  // namespace osm3d
