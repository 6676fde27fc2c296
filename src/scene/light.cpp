#include "scene/light.h"

#include "geometry/mesh.h"
#include "io/stream.h"
#include "render/context.h"
#include "scene/object_list.h"

namespace osm3d {

namespace {

D3DCOLORVALUE ToDevice(const color& c) { return {c.r, c.g, c.b, c.a}; }

}  // namespace

bool LightOmni::Read(osmio::InStream* in) {
    if (!osmio::VersionIs(in, 1)) {
        return false;
    }
    transformation = osmio::ReadSlot<Transformation>(in);
    ReadController(in, ambient);
    ReadController(in, diffuse);
    ReadController(in, specular);
    ReadController(in, range);
    for (auto& part : attenuation) {
        ReadController(in, part);
    }
    return ReadObjectList(in, linkedMeshes, "linked meshes") &&
           ReadObjectList(in, shadowCasters, "shadow casters");
}

void LightOmni::Write(osmio::OutStream* out) {
    out->BeginChunk(osmio::FourCC("LTOM"), 1);
    out->WriteObject(transformation);
    out->WriteObject(ambient.Get());
    out->WriteObject(diffuse.Get());
    out->WriteObject(specular.Get());
    out->WriteObject(range.Get());
    for (const auto& part : attenuation) {
        out->WriteObject(part.Get());
    }
    WriteObjectList(out, linkedMeshes);
    WriteObjectList(out, shadowCasters);
}

void LightOmni::Update(f32 time) {
    UpdateControllers(time);
    light.Type = D3DLIGHT_POINT;
    light.Ambient = ToDevice(ambient->value);
    light.Diffuse = ToDevice(diffuse->value);
    light.Specular = ToDevice(specular->value);
    light.Range = range->value;
    light.Attenuation0 = attenuation[0]->value;
    light.Attenuation1 = attenuation[1]->value;
    light.Attenuation2 = attenuation[2]->value;
    const vect3 position = transformation != nullptr ? transformation->GetPosition() : vect3{0, 0, 0};
    light.Position = {position.x, position.y, position.z};
}

void LightOmni::Apply() { GetContext()->AddLight(light); }

void LightOmni::SetAmbient(ColorController* value) { ReplaceController(ambient, value); }
void LightOmni::SetDiffuse(ColorController* value) { ReplaceController(diffuse, value); }
void LightOmni::SetSpecular(ColorController* value) { ReplaceController(specular, value); }
void LightOmni::SetRange(FloatController* value) { ReplaceController(range, value); }
void LightOmni::SetAttenuation(u32 power, FloatController* value) {
    ReplaceController(attenuation[power], value);
}

}  // namespace osm3d
