#include "geometry/mesh_simple.h"

#include <array>
#include <cstddef>
#include <utility>

#include "fxutil/math.h"
#include "geometry/geometry_composite.h"
#include "io/block.h"
#include "io/stream.h"
#include "material/material_composite.h"
#include "render/context.h"
#include "render/draw_queue.h"
#include "scene/value_operations.h"
#include "trace/profiler.h"
#include "trace/tracer.h"

namespace osm3d {

namespace {

enum Contents : i32 { kHasGeometry = 1, kHasStack = 2 };

// When a piece is drawn, by the blend class of its material; 0 is never.
u32 SortKind(u32 blendClass) {
    constexpr std::array<u32, Material::kBlendClassCount> kinds{0, 1, 1, 2, 3, 3};
    return blendClass < kinds.size() ? kinds[blendClass] : 0;
}

vect3 Normalized(const vect3& v) {
    vect3 out;
    D3DXVec3Normalize(&out, &v);
    return out;
}

}  // namespace

MeshSimple::MeshSimple() : bounds{{0.0f, 0.0f, 0.0f}, kMatrixIdentity} {}

MeshSimple::~MeshSimple() {
    // The stack's results stand beside the geometry that they were made from; they go first.
    stack.Clear();
    geometry.Clear();
}

bool MeshSimple::Read(osmio::InStream* in) {
    const u32 version = in->GetChunkVersion();
    if (in->IsChunked() && version > 2) return false;
    i32 contents = 0;
    in->ReadI32(&contents);
    if (contents & kHasGeometry) geometry.Refer(osmio::ReadSlot<Geometry>(in));
    if (contents & kHasStack) stack.Refer(osmio::ReadSlot<ModifierStack>(in));
    if (geometry && stack) stack->SetGeometry(geometry.Get());
    in->ReadBool(&hidden);
    if (version == 2) in->ReadBool(&castShadow);
    i32 count = 0;
    in->ReadI32(&count);
    if (!osmio::ReadBlock(in, partAttributes, count, "part attributes")) return false;
    material = osmio::ReadSlot<Material>(in);
    transformation = osmio::ReadSlot<Transformation>(in);
    return true;
}

void MeshSimple::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("MESM"), 2);
    i32 contents = 0;
    if (geometry) contents |= kHasGeometry;
    if (stack) contents |= kHasStack;
    out->WriteI32(contents);
    if (contents & kHasGeometry) out->WriteObject(geometry.Get());
    if (contents & kHasStack) out->WriteObject(stack.Get());
    out->WriteBool(hidden);
    out->WriteBool(castShadow);
    out->WriteI32(static_cast<i32>(partAttributes.size()));
    osmio::WriteBlock(out, partAttributes);
    out->WriteObject(material);
    out->WriteObject(transformation);
}

void MeshSimple::SetGeometry(Geometry* value) {
    geometry.Release();
    geometry.Own(value);
}

void MeshSimple::SetGeometryParts(Geometry* value, std::vector<u32> attributes) {
    SetGeometry(value);
    partAttributes = std::move(attributes);
}

bool MeshSimple::AddModifier(Modifier* modifier) {
    if (!geometry) return false;
    if (!stack) {
        stack.Own(new ModifierStack);
        stack->SetGeometry(geometry.Get());
    }
    return stack->AddModifier(modifier);
}

Geometry* MeshSimple::DrawnGeometry() const { return stack ? stack->GetResult() : geometry.Get(); }

const matrix& MeshSimple::World() const {
    return transformation != nullptr ? transformation->GetWorldMatrix() : kMatrixIdentity;
}

void MeshSimple::Update(f32 time) {
    UpdateControllers(time);
    if (stack) {
        const trace::ProfilerScope scope(trace::skinSection);
        stack->Update(time);
    }
    Geometry* drawn = DrawnGeometry();
    if (drawn == nullptr) return;
    const box extent = drawn->GetBounds();
    bounds.half = (extent.max - extent.min) * 0.5f;
    bounds.transform = MatrixTranslation(extent.min + bounds.half);
    if (transformation != nullptr) {
        D3DXMatrixMultiply(&bounds.transform, &bounds.transform, &transformation->GetWorldMatrix());
    }
}

void MeshSimple::Prepare() {}

void MeshSimple::Initialize() {
    if (!stack || !stack->InitializeResult()) {
        if (!geometry) {
            trace::Box("MeshSimple has no geometry.");
        } else {
            geometry->Initialize();
        }
    }
    if (castShadow) {
        shadow = std::make_unique<ShadowVolume>(DrawnGeometry(), stack.Get() != nullptr);
        shadow->Build();
    }
}

void MeshSimple::Draw() {
    if (hidden || excluded) return;
    GetContext()->SetWorld(World());
    const bool prepared = stack && stack->PrepareDraw();
    Geometry* drawn = DrawnGeometry();
    if (drawn == nullptr) return;
    if (material == nullptr) {
        ApplyDefaultMaterial();
        drawn->Draw();
        return;
    }
    auto* parts = drawn->IsComposite() ? dynamic_cast<GeometryComposite*>(drawn) : nullptr;
    auto* materials = material->IsComposite() ? dynamic_cast<MaterialComposite*>(material) : nullptr;
    if (parts != nullptr && materials != nullptr) {
        for (u32 i = 0; i < parts->PartCount() && i < partAttributes.size(); ++i) {
            const u32 passes = materials->BeginAttribute(partAttributes[i]);
            if (!prepared) materials->PrepareDraw();
            for (u32 p = 0; p < passes; ++p) {
                materials->Pass(p);
                // By the number of the pass: one-pass materials all draw the first part here. Drawing the
                // right parts is the queue's road.
                if (p < parts->PartCount()) parts->Part(p)->Draw();
            }
            materials->End();
        }
        return;
    }
    const u32 passes = material->Begin(0);
    if (!prepared) material->PrepareDraw();
    for (u32 p = 0; p < passes; ++p) {
        material->Pass(p);
        drawn->Draw();
    }
    material->End();
}

void MeshSimple::Enqueue(DrawQueue* queue) {
    if (hidden || excluded) return;
    Geometry* drawn = DrawnGeometry();
    if (drawn == nullptr) return;
    const matrix& world = World();
    vect3 eye = MatrixGetTranslation(world);
    D3DXVec3TransformCoord(&eye, &eye, &GetContext()->transforms.GetView());
    DrawRecord record{1, D3DXVec3Length(&eye), material, drawn, stack.Get(), &world};
    if (material == nullptr) {
        queue->Insert(record);
        return;
    }
    auto* parts = drawn->IsComposite() ? dynamic_cast<GeometryComposite*>(drawn) : nullptr;
    auto* materials = material->IsComposite() ? dynamic_cast<MaterialComposite*>(material) : nullptr;
    if (parts != nullptr && materials != nullptr) {
        for (u32 i = 0; i < parts->PartCount() && i < partAttributes.size(); ++i) {
            record.material = materials->GetSubMaterial(partAttributes[i]);
            if (record.material == nullptr) continue;
            record.kind = SortKind(record.material->GetBlendClass());
            record.geometry = parts->Part(i);
            queue->Insert(record);
        }
        return;
    }
    record.kind = SortKind(material->GetBlendClass());
    queue->Insert(record);
}

void MeshSimple::UpdateShadow(const ShadowLight& light, u32 mode) {
    const trace::ProfilerScope scope(trace::shadowsSection);
    if (!castShadow || !shadow) return;
    if (stack) shadow->Refresh();
    matrix inverse = kMatrixIdentity;
    D3DXMatrixInverse(&inverse, nullptr, &World());
    const f32 length = D3DXVec3Length(&light.direction);
    const vect3 end = light.origin + light.direction;
    vect3 p0;
    vect3 p1;
    D3DXVec3TransformCoord(&p0, &light.origin, &inverse);
    D3DXVec3TransformCoord(&p1, &end, &inverse);
    const vect3 direction = Normalized(Normalized(p1 - p0)) * length;
    shadow->Update(ShadowLight{p0, direction}, mode);
}

void MeshSimple::DrawShadow() {
    const trace::ProfilerScope scope(trace::shadowsSection);
    if (!castShadow || !shadow) return;
    GetContext()->SetWorld(World());
    shadow->Draw();
}

bool MeshSimple::Validate(std::string& reason) const {
    if (geometry && !geometry->Validate(reason)) return false;
    if (stack && !stack->Validate(reason)) return false;
    const Geometry* drawn = DrawnGeometry();
    if (drawn == nullptr || material == nullptr || !material->IsComposite()) return true;
    const auto* parts = dynamic_cast<const GeometryComposite*>(drawn);
    if (parts != nullptr && partAttributes.size() < parts->PartCount()) {
        reason = "a mesh names the attributes of " + std::to_string(partAttributes.size()) + " of its " +
                 std::to_string(parts->PartCount()) + " parts";
        return false;
    }
    return true;
}

}  // namespace osm3d
