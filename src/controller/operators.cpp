#include "controller/operators.h"

#include "io/stream.h"

namespace osm3d::controller {

template <class R, class A, class B>
bool Op<R, A, B>::IsConstant() {
    return (!a || a->IsConstant()) && (!b || b->IsConstant());
}

template <class R, class A, class B>
void Op<R, A, B>::Update(f32 time) {
    if (a) a->Update(time);
    if (b) b->Update(time);
    if (op != kMultiply || !a || !b) return;
    const A& left = a->value;
    const B right = b->value;
    this->value = {left.r * right, left.g * right, left.b * right, left.a * right};
}

template <class R, class A, class B>
void Op<R, A, B>::Scale(f32) {}

template <class R, class A, class B>
bool Op<R, A, B>::Read(osmio::InStream* in) {
    in->ReadI32(&op);
    a.Refer(osmio::ReadSlot<ControllerBase<A>>(in));
    b.Refer(osmio::ReadSlot<ControllerBase<B>>(in));
    return true;
}

template <class R, class A, class B>
void Op<R, A, B>::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("CoCF"), 1);
    out->WriteI32(op);
    out->WriteObject(a.Get());
    out->WriteObject(b.Get());
}

template <class R, class S>
bool Conv<R, S>::IsConstant() {
    return source->IsConstant();
}

template <class R, class S>
void Conv<R, S>::Update(f32 time) {
    source->Update(time);
}

template <class R, class S>
void Conv<R, S>::Scale(f32 factor) {
    source->Scale(factor);
}

template <class R, class S>
bool Conv<R, S>::Read(osmio::InStream* in) {
    source = osmio::ReadSlot<ControllerBase<S>>(in);
    return true;
}

template <class R, class S>
void Conv<R, S>::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("CVCV"), 1);
    out->WriteObject(source);
}

template class Op<color, color, f32>;
template class Conv<color, vect3>;

}  // namespace osm3d::controller
