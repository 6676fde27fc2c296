#include "controller/constant.h"

#include "controller/value_traits.h"
#include "io/block.h"
#include "io/stream.h"

namespace osm3d::controller {
namespace {

template <class T>
constexpr u32 kTag = 0;
template <>
constexpr u32 kTag<f32> = osmio::FourCC("CCFL");
template <>
constexpr u32 kTag<vect3> = osmio::FourCC("CCV3");
template <>
constexpr u32 kTag<quat> = osmio::FourCC("CCQU");
template <>
constexpr u32 kTag<color> = osmio::FourCC("CCCO");

}  // namespace

template <class T>
void Const<T>::Scale(f32 factor) {
    this->value = Scaled(this->value, factor);
}

template <class T>
bool Const<T>::Read(osmio::InStream* in) {
    osmio::ReadPlain(in, this->value);
    return true;
}

template <class T>
void Const<T>::Write(osmio::OutStream* out) {
    out->BeginChunk(kTag<T>, 1);
    osmio::WritePlain(out, this->value);
}

template class Const<f32>;
template class Const<vect3>;
template class Const<quat>;
template class Const<color>;

}  // namespace osm3d::controller
