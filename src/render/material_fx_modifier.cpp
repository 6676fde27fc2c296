#include "render/material_fx_modifier.h"

#include "render/material_fx.h"

namespace osm3d {

void MaterialFXModifier::SetupDraw() { material->BindTransforms(); }

}  // namespace osm3d
