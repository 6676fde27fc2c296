// A quantity that stays.
#pragma once

#include "controller/controller.h"

namespace osm3d::controller {

/// `value` is the whole of it. Stored as CCFL, CCV3, CCQU and CCCO for f32, vect3, quat and color.
template <class T>
class Const : public ControllerBase<T> {
  public:
    Const() = default;
    explicit Const(const T& initial) { this->value = initial; }

    bool IsConstant() override { return true; }
    void Update(f32) override {}
    /// Every component times `factor`, alpha too; a rotation goes that fraction of the way from none.
    void Scale(f32 factor) override;
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;
};

extern template class Const<f32>;
extern template class Const<vect3>;
extern template class Const<quat>;
extern template class Const<color>;

}  // namespace osm3d::controller
