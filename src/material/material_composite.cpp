#include "material/material_composite.h"

#include <cstddef>

#include "io/slot.h"
#include "io/stream.h"

namespace osm3d {

bool MaterialComposite::Read(osmio::InStream* in) {
    const u32 version = in->GetChunkVersion();
    if (in->IsChunked() && version != 1 && version != 2) return false;
    i32 count = 0;
    in->ReadI32(&count);
    if (!in->CanHold(count, sizeof(i32), "materials")) return false;
    materials.assign(static_cast<std::size_t>(count), nullptr);
    for (Material*& material : materials) material = osmio::ReadSlot<Material>(in);
    attributeMap.clear();
    if (version < 2) return true;
    i32 pairs = 0;
    in->ReadI32(&pairs);
    if (!in->CanHold(pairs, 2 * sizeof(i32), "attributes")) return false;
    for (i32 i = 0; i < pairs; ++i) {
        u32 attribute = 0;
        u32 index = 0;
        in->ReadU32(&attribute);
        in->ReadU32(&index);
        attributeMap[attribute] = index;
    }
    return true;
}

void MaterialComposite::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("MTCP"), 2);
    out->WriteI32(static_cast<i32>(materials.size()));
    for (Material* material : materials) out->WriteObject(material);
    out->WriteI32(static_cast<i32>(attributeMap.size()));
    for (const auto& [attribute, index] : attributeMap) {
        out->WriteU32(attribute);
        out->WriteU32(index);
    }
}

Material* MaterialComposite::Current() const {
    return current < materials.size() ? materials[current] : nullptr;
}

void MaterialComposite::Update(f32) {}

u32 MaterialComposite::GetBlendClass() const {
    const Material* material = Current();
    return material != nullptr ? material->GetBlendClass() : 0;
}

u32 MaterialComposite::Begin(u32 index) {
    current = index;
    Material* material = Current();
    return material != nullptr ? material->Begin(0) : 0;
}

void MaterialComposite::Pass(u32 pass) {
    if (Material* material = Current()) material->Pass(pass);
}

void MaterialComposite::End() {
    if (Material* material = Current()) material->End();
}

void MaterialComposite::PrepareDraw() {
    if (Material* material = Current()) material->PrepareDraw();
}

void MaterialComposite::Prepare() {}

void MaterialComposite::Load() {}

u32 MaterialComposite::BeginAttribute(u32 attribute) {
    const auto found = attributeMap.find(attribute);
    return Begin(found != attributeMap.end() ? found->second : 0);
}

Material* MaterialComposite::GetSubMaterial(u32 attribute) {
    const auto found = attributeMap.find(attribute);
    if (found == attributeMap.end()) return this;
    return found->second < materials.size() ? materials[found->second] : nullptr;
}

u32 MaterialComposite::AddMaterial(Material* material) {
    materials.push_back(material);
    return MaterialCount() - 1;
}

bool MaterialComposite::Validate(std::string& reason) const {
    for (const auto& [attribute, index] : attributeMap) {
        if (index >= materials.size()) {
            reason = "a composite material maps attribute " + std::to_string(attribute) + " to material " +
                     std::to_string(index) + " of " + std::to_string(materials.size());
            return false;
        }
    }
    return true;
}

void MaterialComposite::References(std::vector<const Material*>& out) const {
    out.insert(out.end(), materials.begin(), materials.end());
}

}  // namespace osm3d
