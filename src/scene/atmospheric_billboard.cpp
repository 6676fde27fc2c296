#include "scene/atmospheric_billboard.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

#include "fxutil/math.h"
#include "geometry/geometry_simple.h"
#include "io/stream.h"
#include "render/context.h"
#include "scene/transformation.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

constexpr u32 kCorners = 4;

struct Corner {
    f32 x, y;  // from the centre, in halves of the size
    UV uv;     // v grows upwards: the first row of an image lies at the bottom
};

constexpr std::array<Corner, kCorners> kCornerRules{{
    {-1.0f, -1.0f, {0.0f, -1.0f}},
    {1.0f, -1.0f, {1.0f, -1.0f}},
    {-1.0f, 1.0f, {0.0f, 0.0f}},
    {1.0f, 1.0f, {1.0f, 0.0f}},
}};

constexpr color kWhite{1.0f, 1.0f, 1.0f, 1.0f};

}  // namespace

// ---- element

void BillboardElement::Update(f32 time) { UpdateControllers(time); }

bool BillboardElement::Read(osmio::InStream* in) {
    transformation = osmio::ReadSlot<Transformation>(in);
    ReadController(in, size);
    return true;
}

void BillboardElement::Write(osmio::OutStream* out) {
    out->WriteObject(transformation);
    out->WriteObject(size.Get());
}

void BillboardElement::SetSize(FloatController* value) { ReplaceController(size, value); }

// ---- storage

bool AtmosphericBillboard::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) {
        return false;
    }
    billboard.Refer(osmio::ReadSlot<particle::Billboard>(in));
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, 2 * sizeof(u32), "billboard elements")) {
        return false;
    }
    elements.clear();
    elements.resize(static_cast<std::size_t>(count));
    sprites.assign(elements.size(), Sprite{});
    return std::all_of(elements.begin(), elements.end(),
                       [in](BillboardElement& element) { return element.Read(in); });
}

void AtmosphericBillboard::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("ATBL"), 1);
    out->WriteObject(billboard.Get());
    out->WriteI32(static_cast<i32>(elements.size()));
    for (BillboardElement& element : elements) {
        element.Write(out);
    }
}

void AtmosphericBillboard::AddElement(Transformation* transformation, FloatController* size) {
    BillboardElement& element = elements.emplace_back();
    element.transformation = transformation;
    element.SetSize(size);
    sprites.push_back({});
}

void AtmosphericBillboard::SetBillboard(particle::Billboard* value) { billboard.Own(value); }

bool AtmosphericBillboard::Validate(std::string& reason) const {
    if (!billboard) {
        reason = "it has no billboard";
        return false;
    }
    if (elements.size() > kMaxSprites) {
        reason = "it has " + std::to_string(elements.size()) + " sprites, which is more than " +
                 std::to_string(kMaxSprites);
        return false;
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const bool placed = elements[i].transformation != nullptr;
        if (!placed || elements[i].GetSize() == nullptr) {
            reason = "sprite " + std::to_string(i) + " has no " + (placed ? "size" : "transformation");
            return false;
        }
    }
    return true;
}

// ---- the frame

void AtmosphericBillboard::Update(f32 time) {
    for (BillboardElement& element : elements) {
        element.Update(time);
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const vect3 centre = MatrixGetTranslation(elements[i].transformation->GetWorldMatrix());
        sprites[i] = {centre.x, centre.y, centre.z, elements[i].GetSize()->value};
    }
}

void AtmosphericBillboard::BuildGeometry() {
    auto built = std::make_unique<GeometrySimple>(true, false);
    const std::size_t count = std::min<std::size_t>(sprites.size(), kMaxSprites);
    built->positions.resize(kCorners * count);
    built->colors.assign(kCorners * count, kWhite);
    std::vector<UV>& uvs = built->uvSets.emplace_back();
    uvs.reserve(kCorners * count);
    built->triangles.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        for (const Corner& corner : kCornerRules) {
            uvs.push_back(corner.uv);
        }
        const auto index = [i](u32 corner) { return static_cast<u16>(kCorners * i + corner); };
        built->triangles.push_back({{index(1), index(2), index(0)}});
        built->triangles.push_back({{index(1), index(3), index(2)}});
    }
    built->Initialize();
    billboard->geometry = std::move(built);
}

void AtmosphericBillboard::Apply(Camera*) {
    if (!billboard) {
        return;
    }
    Context* context = GetContext();
    for (const Sprite& sprite : sprites) {
        context->DrawPoint3D({sprite.x, sprite.y, sprite.z}, kDebugColor);
    }
    if (!billboard->geometry) {
        BuildGeometry();
    }
    GeometrySimple& geometry = *billboard->geometry;

    matrix turn = context->transforms.GetViewInverse();
    turn.m[3][0] = turn.m[3][1] = turn.m[3][2] = 0.0f;
    // Sprites that came after the geometry, or after that of another object with the same billboard, have no
    // vertices in it.
    const std::size_t count = std::min(sprites.size(), geometry.positions.size() / kCorners);
    for (std::size_t i = 0; i < count; ++i) {
        const vect3 centre{sprites[i].x, sprites[i].y, sprites[i].z};
        const f32 half = sprites[i].size * 0.5f;
        for (u32 c = 0; c < kCorners; ++c) {
            vect3 offset{kCornerRules[c].x * half, kCornerRules[c].y * half, 0.0f};
            D3DXVec3TransformCoord(&offset, &offset, &turn);
            geometry.positions[kCorners * i + c] = centre + offset;
        }
        context->DrawPoint3D(centre, kDebugColor);
    }
    geometry.UpdateBuffers(GeometrySimple::kUpdatePositions);
    billboard->Draw();
}

void AtmosphericBillboard::Unapply() {}

}  // namespace osm3d
