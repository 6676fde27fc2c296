// Makes the classes below the scene storable, for tests that link no more than those. (The module has its own
// table.)
#pragma once

#include "controller/constant.h"
#include "controller/key_framed.h"
#include "geometry/geometry_composite.h"
#include "geometry/geometry_simple.h"
#include "geometry/mesh_simple.h"
#include "geometry/modifier_stack.h"
#include "io/registry.h"
#include "material/material_composite.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "material/texture_stage.h"
#include "scene/transformation_prs.h"

namespace test_support {

template <class T>
using Stored = const osmio::ChunkRegistrer<T>;

inline Stored<osm3d::controller::Const<f32>> kConstFloat(osmio::FourCC("CCFL"));
inline Stored<osm3d::controller::Const<osm3d::color>> kConstColor(osmio::FourCC("CCCO"));
inline Stored<osm3d::controller::Linear<f32>> kLinearFloat(osmio::FourCC("CLFL"));
inline Stored<osm3d::TransformationPRS> kTransformationPRS(osmio::FourCC("TRPR"));
inline Stored<osm3d::TextureBitmapFile> kTextureBitmapFile(osmio::FourCC("TXBF"));
inline Stored<osm3d::TextureStage> kTextureStage(osmio::FourCC("TS__"));
inline Stored<osm3d::MaterialSimple> kMaterialSimple(osmio::FourCC("MTSM"));
inline Stored<osm3d::MaterialComposite> kMaterialComposite(osmio::FourCC("MTCP"));
inline Stored<osm3d::GeometrySimple> kGeometrySimple(osmio::FourCC("GOSM"));
inline Stored<osm3d::GeometryComposite> kGeometryComposite(osmio::FourCC("GOCP"));
inline Stored<osm3d::ModifierStack> kModifierStack(osmio::FourCC("MOST"));
inline Stored<osm3d::MeshSimple> kMeshSimple(osmio::FourCC("MESM"));

}  // namespace test_support
