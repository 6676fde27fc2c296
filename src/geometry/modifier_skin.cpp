#include "geometry/modifier_skin.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "fxutil/math.h"
#include "geometry/geometry_composite.h"
#include "geometry/geometry_weighted.h"
#include "geometry/skin_kernel.h"
#include "io/block.h"
#include "io/slot.h"
#include "io/stream.h"
#include "render/context.h"
#include "scene/hierarchy_node.h"

namespace osm3d {

namespace {

static_assert(ModifierSkin::kMaxPalette == SkinJob::kPaletteSize);

// Weights of this size are what rounding left of a sum that was meant to be one.
constexpr f32 kNoWeight = 1e-6f;

bool Invert(const matrix& m, matrix& out) {
    f32 determinant = 0.0f;
    return D3DXMatrixInverse(&out, &determinant, &m) != nullptr && std::isfinite(determinant);
}

bool ValidateWeights(const GeometryWeighted& geometry, std::size_t bones, std::string& reason) {
    if (geometry.weights.size() < geometry.positions.size()) {
        reason = "a skin has weights for " + std::to_string(geometry.weights.size()) + " of " +
                 std::to_string(geometry.positions.size()) + " vertices";
        return false;
    }
    for (std::size_t v = 0; v < geometry.positions.size(); ++v) {
        const VertexWeights& w = geometry.weights[v];
        const f32 rest = 1.0f - w.blend[0] - w.blend[1] - w.blend[2];
        const f32 share[4] = {w.blend[0], w.blend[1], w.blend[2], rest};
        for (u32 k = 0; k < 4; ++k) {
            // A bone without weight may have any number, unless it turns the normal.
            const bool used = std::abs(share[k]) > kNoWeight || (k == 0 && !geometry.normals.empty());
            if (used && w.bones[k] >= bones) {
                reason = "vertex " + std::to_string(v) + " of a skin follows bone " +
                         std::to_string(w.bones[k]) + " of " + std::to_string(bones);
                return false;
            }
        }
    }
    return true;
}

}  // namespace

// One entry for each value of a bone index: those behind the last bone change nothing, so that no index leads
// out of them.
struct ModifierSkin::Palettes {
    alignas(64) std::array<matrix, kMaxPalette> points;
    alignas(64) std::array<matrix, kMaxPalette> normals;
    bool affine = true;
};

bool ModifierSkin::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) return false;
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, sizeof(u32) + sizeof(matrix), "bones")) return false;
    bones.assign(static_cast<std::size_t>(count), nullptr);
    for (HierarchyNode*& bone : bones) bone = osmio::ReadSlot<HierarchyNode>(in);
    if (!osmio::ReadBlock(in, offsets, count, "bone offsets")) return false;
    osmio::ReadPlain(in, meshMatrix);
    return true;
}

void ModifierSkin::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("MDSK"), 1);
    out->WriteI32(static_cast<i32>(bones.size()));
    for (HierarchyNode* bone : bones) out->WriteObject(bone);
    osmio::WriteBlock(out, offsets);
    osmio::WritePlain(out, meshMatrix);
}

void ModifierSkin::Update(f32 /*time*/) {}

bool ModifierSkin::AcceptsGeometry(Geometry* geometry) const { return !geometry->IsComposite(); }

Geometry* ModifierSkin::CreateResult(Geometry* input) {
    if (!software) return input;
    if (input->IsComposite()) {
        const auto* composite = dynamic_cast<const GeometryComposite*>(input);
        std::vector<Geometry*> parts;
        for (u32 i = 0; composite != nullptr && i < composite->PartCount(); ++i) {
            parts.push_back(CreateResult(composite->Part(i)));
        }
        return new GeometryComposite(std::move(parts));
    }
    auto* result = new GeometrySimple(true, false);
    if (const auto* source = dynamic_cast<const GeometrySimple*>(input)) {
        result->positions = source->positions;
        result->normals = source->normals;
        result->colors = source->colors;
        result->uvSets = source->uvSets;
        result->triangles = source->triangles;
    }
    return result;
}

matrix ModifierSkin::BoneMatrix(std::size_t bone) const {
    matrix product = bone < offsets.size() ? offsets[bone] : kMatrixIdentity;
    if (bones[bone] != nullptr) D3DXMatrixMultiply(&product, &product, &bones[bone]->GetWorldMatrix());
    return product;
}

void ModifierSkin::MakePalettes(Palettes& palettes) const {
    matrix inverseMesh = kMatrixIdentity;
    D3DXMatrixInverse(&inverseMesh, nullptr, &meshMatrix);
    const std::size_t count = std::min<std::size_t>(bones.size(), kMaxPalette);
    for (std::size_t i = 0; i < count; ++i) {
        matrix m = BoneMatrix(i);
        D3DXMatrixMultiply(&m, &m, &inverseMesh);
        // Inverses leave w a rounding off one. Where it is the same for all points, dividing the matrix by it
        // once is dividing every point.
        const f32 w = m.m[3][3];
        const bool uniform = m.m[0][3] == 0.0f && m.m[1][3] == 0.0f && m.m[2][3] == 0.0f && w != 0.0f;
        if (uniform && w != 1.0f) {
            for (auto& row : m.m) {
                for (f32& element : row) element /= w;
            }
        }
        palettes.affine = palettes.affine && uniform;
        palettes.points[i] = m;
        m.m[3][0] = m.m[3][1] = m.m[3][2] = 0.0f;
        // A bone that is scaled to nothing has no inverse; its normals then follow the matrix itself.
        D3DXMatrixInverse(&m, nullptr, &m);
        D3DXMatrixTranspose(&palettes.normals[i], &m);
    }
    std::fill(palettes.points.begin() + static_cast<std::ptrdiff_t>(count), palettes.points.end(),
              kMatrixIdentity);
    std::fill(palettes.normals.begin() + static_cast<std::ptrdiff_t>(count), palettes.normals.end(),
              kMatrixIdentity);
}

void ModifierSkin::Apply(Geometry* result, Geometry* input) {
    if (!software || result == nullptr || input == nullptr) return;
    Palettes palettes;
    MakePalettes(palettes);
    ApplyParts(palettes, result, input);
}

void ModifierSkin::ApplyParts(const Palettes& palettes, Geometry* result, Geometry* input) {
    if (result->IsComposite() && input->IsComposite()) {
        const auto* results = dynamic_cast<const GeometryComposite*>(result);
        const auto* inputs = dynamic_cast<const GeometryComposite*>(input);
        if (results == nullptr || inputs == nullptr) return;
        const u32 count = std::min(results->PartCount(), inputs->PartCount());
        for (u32 i = 0; i < count; ++i) ApplyParts(palettes, results->Part(i), inputs->Part(i));
        return;
    }
    const auto* source = dynamic_cast<const GeometryWeighted*>(input);
    auto* target = dynamic_cast<GeometrySimple*>(result);
    if (source == nullptr || target == nullptr || source == target) return;
    SkinJob job;
    job.weights = source->weights.data();
    job.positions = source->positions.data();
    job.normals = source->normals.data();
    job.palette = palettes.points.data();
    job.normalPalette = palettes.normals.data();
    job.vertexCount = static_cast<u32>(
        std::min({target->positions.size(), source->positions.size(), source->weights.size()}));
    job.normalCount =
        static_cast<u32>(std::min({target->normals.size(), source->normals.size(), source->weights.size()}));
    job.affine = palettes.affine;
    job.outPositions = target->positions.data();
    job.outNormals = target->normals.data();
    job.Run();
    target->UpdateBuffers(GeometrySimple::kUpdatePositions | GeometrySimple::kUpdateNormals);
}

void ModifierSkin::SetupDraw() {
    Context* context = GetContext();
    if (software) {
        context->SetWorld(kMatrixIdentity);
        return;
    }
    RenderStateBlock blending(RenderStateBlock::kVertexBlending);
    blending.vertexBlend = 4;
    blending.indexedBlend = true;
    context->ApplyRenderState(blending);
    const std::size_t count = std::min<std::size_t>(bones.size(), kMaxPalette);
    for (std::size_t i = 0; i < count; ++i) {
        const matrix m = BoneMatrix(i);
        D3DMATRIX sent;
        static_assert(sizeof sent == sizeof m);
        std::copy_n(m.Data(), 16, &sent.m[0][0]);
        context->device->SetTransform(D3DTS_WORLDMATRIX(static_cast<u32>(i)), &sent);
    }
}

bool ModifierSkin::Validate(const Geometry* input, std::string& reason) const {
    if (offsets.size() != bones.size()) {
        reason = "a skin has " + std::to_string(bones.size()) + " bones and " +
                 std::to_string(offsets.size()) + " offsets";
        return false;
    }
    const auto empty = std::find(bones.begin(), bones.end(), nullptr);
    if (empty != bones.end()) {
        reason = "bone " + std::to_string(empty - bones.begin()) + " of a skin is no node";
        return false;
    }
    matrix inverse;
    if (!Invert(meshMatrix, inverse)) {
        reason = "the mesh matrix of a skin has no inverse";
        return false;
    }
    std::vector<const Geometry*> open{input};
    while (!open.empty()) {
        const Geometry* geometry = open.back();
        open.pop_back();
        if (const auto* composite = dynamic_cast<const GeometryComposite*>(geometry)) {
            for (u32 i = composite->PartCount(); i-- > 0;) open.push_back(composite->Part(i));
        } else if (const auto* weighted = dynamic_cast<const GeometryWeighted*>(geometry)) {
            if (!ValidateWeights(*weighted, bones.size(), reason)) return false;
        } else {
            reason = "a skin is given a geometry without weights";
            return false;
        }
    }
    return true;
}

}  // namespace osm3d
