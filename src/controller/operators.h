// Quantities made from others.
#pragma once

#include "controller/controller.h"
#include "io/slot.h"

namespace osm3d::controller {

/// Combines two quantities.
template <class R, class A, class B>
class Op : public ControllerBase<R> {
  public:
    /// The code of `op` that multiplies; no other does anything.
    static constexpr i32 kMultiply = 5;

    bool IsConstant() override;
    /// Updates both operands, then, with kMultiply, `value` is the first with each component times the
    /// second. Both must be there then.
    void Update(f32 time) override;
    /// Does nothing.
    void Scale(f32 factor) override;
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    osmio::Slot<ControllerBase<A>> a;
    osmio::Slot<ControllerBase<B>> b;
    i32 op = 0;
};

/// Stands for its source, which must be there, and keeps it moving; converts nothing and leaves `value`
/// alone.
template <class R, class S>
class Conv : public ControllerBase<R> {
  public:
    bool IsConstant() override;
    void Update(f32 time) override;
    void Scale(f32 factor) override;
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Not owned.
    ControllerBase<S>* source = nullptr;
};

/// Stored as CoCF.
extern template class Op<color, color, f32>;
/// Stored as CVCV.
extern template class Conv<color, vect3>;

}  // namespace osm3d::controller
