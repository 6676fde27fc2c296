#include "geometry/geometry_composite.h"

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <unordered_set>
#include <utility>

#include "geometry/geometry_simple.h"
#include "io/slot.h"
#include "io/stream.h"
#include "scene/value_operations.h"

namespace osm3d {

GeometryComposite::GeometryComposite(std::vector<Geometry*> value)
    : parts(std::move(value)), ownsParts(true) {}

GeometryComposite::~GeometryComposite() { DeleteOwned(); }

void GeometryComposite::DeleteOwned() {
    if (ownsParts) {
        for (Geometry* part : parts) delete part;
    }
    parts.clear();
    ownsParts = false;
}

bool GeometryComposite::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) return false;
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, sizeof(i32), "parts")) return false;
    DeleteOwned();
    parts.assign(static_cast<std::size_t>(count), nullptr);
    for (Geometry*& part : parts) part = osmio::ReadSlot<Geometry>(in);
    return true;
}

void GeometryComposite::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("GOCP"), 1);
    out->WriteI32(static_cast<i32>(parts.size()));
    for (Geometry* part : parts) out->WriteObject(part);
}

void GeometryComposite::Draw() {
    for (Geometry* part : parts) part->Draw();
}

sphere GeometryComposite::GetBoundingSphere() {
    sphere all{{0.0f, 0.0f, 0.0f}, -FLT_MAX};
    for (Geometry* part : parts) all = SphereMerge(all, part->GetBoundingSphere());
    return all;
}

box GeometryComposite::GetBounds() {
    box all = kBoxEmpty;
    for (Geometry* part : parts) {
        const box b = part->GetBounds();
        all.min = {std::min(all.min.x, b.min.x), std::min(all.min.y, b.min.y), std::min(all.min.z, b.min.z)};
        all.max = {std::max(all.max.x, b.max.x), std::max(all.max.y, b.max.y), std::max(all.max.z, b.max.z)};
    }
    return all;
}

plane GeometryComposite::GetPlane() { return plane{{0.0f, 0.0f, 0.0f}, 0.0f}; }

void GeometryComposite::Prepare() {
    for (Geometry* part : parts) part->Prepare();
}

void GeometryComposite::Initialize() {
    for (Geometry* part : parts) part->Initialize();
}

bool GeometryComposite::Validate(std::string& reason) const {
    std::unordered_set<const Geometry*> seen{this};
    std::vector<std::pair<const GeometryComposite*, u32>> open{{this, 1}};
    while (!open.empty()) {
        const auto [composite, depth] = open.back();
        open.pop_back();
        for (const Geometry* part : composite->parts) {
            if (part == nullptr) {
                reason = "a composite geometry has an empty part";
                return false;
            }
            if (!seen.insert(part).second) {
                reason = "a geometry occurs twice in one composite geometry";
                return false;
            }
            if (const auto* nested = dynamic_cast<const GeometryComposite*>(part)) {
                if (depth == kMaxDepth) {
                    reason = "composite geometries are nested too deep";
                    return false;
                }
                open.emplace_back(nested, depth + 1);
                // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): not null, as asked above.
            } else if (!part->Validate(reason)) {
                return false;
            }
        }
    }
    return true;
}

GeometrySimple* GeometryComposite::Flatten() const {
    auto* flat = new GeometrySimple(false, false);
    for (const Geometry* part : parts) {
        const auto* simple = dynamic_cast<const GeometrySimple*>(part);
        if (simple == nullptr) continue;
        const auto base = static_cast<u16>(flat->positions.size());
        flat->positions.insert(flat->positions.end(), simple->positions.begin(), simple->positions.end());
        for (const Triangle& t : simple->triangles) {
            flat->triangles.push_back(
                {{static_cast<u16>(t.index[0] + base), static_cast<u16>(t.index[1] + base),
                  static_cast<u16>(t.index[2] + base)}});
        }
    }
    return flat;
}

}  // namespace osm3d
