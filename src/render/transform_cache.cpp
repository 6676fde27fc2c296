#include "render/transform_cache.h"

#include <bit>

#include "fxutil/math.h"

namespace osm3d {

namespace {

// What depends on each source, and so falls with it.
constexpr u32 kOfWorld = TransformCache::kWorldInverse | TransformCache::kWorldView |
                         TransformCache::kWorldViewProjection | TransformCache::kWorldViewInverse |
                         TransformCache::kWorldViewProjectionInverse;
constexpr u32 kOfView = TransformCache::kViewInverse | TransformCache::kWorldView |
                        TransformCache::kViewProjection | TransformCache::kWorldViewProjection |
                        TransformCache::kWorldViewInverse | TransformCache::kViewProjectionInverse |
                        TransformCache::kWorldViewProjectionInverse;
constexpr u32 kOfProjection = TransformCache::kProjectionInverse | TransformCache::kViewProjection |
                              TransformCache::kWorldViewProjection | TransformCache::kViewProjectionInverse |
                              TransformCache::kWorldViewProjectionInverse;
static_assert(kOfWorld == 0xb48 && kOfView == 0xfd0 && kOfProjection == 0xda0);

constexpr u32 IndexOf(TransformCache::Flag flag) {
    return static_cast<u32>(std::countr_zero(static_cast<u32>(flag)));
}

}  // namespace

void TransformCache::SetWorld(const matrix& m) {
    matrices_[0] = m;
    flags_ = (flags_ & ~kOfWorld) | kWorld;
}

void TransformCache::SetView(const matrix& m) {
    matrices_[1] = m;
    flags_ = (flags_ & ~kOfView) | kView;
}

void TransformCache::SetProjection(const matrix& m) {
    matrices_[2] = m;
    flags_ = (flags_ & ~kOfProjection) | kProjection;
}

const matrix& TransformCache::Product(Flag flag, const matrix& a, const matrix& b) {
    matrix& out = matrices_[IndexOf(flag)];
    if (!Has(flag)) {
        D3DXMatrixMultiply(&out, &a, &b);
        flags_ |= flag;
    }
    return out;
}

const matrix& TransformCache::Inverse(Flag flag, const matrix& source) {
    matrix& out = matrices_[IndexOf(flag)];
    if (!Has(flag)) {
        if (!D3DXMatrixInverse(&out, nullptr, &source)) D3DXMatrixIdentity(&out);
        flags_ |= flag;
    }
    return out;
}

const matrix& TransformCache::GetWorldInverse() { return Inverse(kWorldInverse, GetWorld()); }
const matrix& TransformCache::GetViewInverse() { return Inverse(kViewInverse, GetView()); }
const matrix& TransformCache::GetProjectionInverse() { return Inverse(kProjectionInverse, GetProjection()); }
const matrix& TransformCache::GetWorldView() { return Product(kWorldView, GetWorld(), GetView()); }
const matrix& TransformCache::GetViewProjection() {
    return Product(kViewProjection, GetView(), GetProjection());
}

const matrix& TransformCache::GetWorldViewProjection() {
    if (Has(kWorldViewProjection)) return matrices_[IndexOf(kWorldViewProjection)];
    if (Has(kViewProjection)) return Product(kWorldViewProjection, GetWorld(), GetViewProjection());
    return Product(kWorldViewProjection, GetWorldView(), GetProjection());
}

const matrix& TransformCache::GetWorldViewInverse() { return Inverse(kWorldViewInverse, GetWorldView()); }
const matrix& TransformCache::GetViewProjectionInverse() {
    return Inverse(kViewProjectionInverse, GetViewProjection());
}
const matrix& TransformCache::GetWorldViewProjectionInverse() {
    return Inverse(kWorldViewProjectionInverse, GetWorldViewProjection());
}

}  // namespace osm3d
