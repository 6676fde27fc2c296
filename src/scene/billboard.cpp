#include "scene/billboard.h"

#include "geometry/geometry_simple.h"
#include "io/slot.h"
#include "io/stream.h"
#include "material/material.h"
#include "render/context.h"
#include "scene/value_operations.h"

namespace osm3d::particle {

Billboard::Billboard() = default;
Billboard::~Billboard() = default;

bool Billboard::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) {
        return false;
    }
    material = osmio::ReadSlot<Material>(in);
    return true;
}

void Billboard::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("FPRB"), 1);
    out->WriteObject(material);
}

void Billboard::Draw() {
    GetContext()->SetWorld(kMatrixIdentity);
    if (material == nullptr) {
        ApplyDefaultMaterial();
        geometry->Draw();
        return;
    }
    const u32 passes = material->Begin(0);
    material->PrepareDraw();
    for (u32 pass = 0; pass < passes; ++pass) {
        material->Pass(pass);
        geometry->Draw();
    }
    material->End();
}

}  // namespace osm3d::particle
