// The one Driver and the registry of stored classes. They stand in one file because their order counts:
// objects of one file are made from the top down and end from the bottom up.
#include "controller/constant.h"
#include "controller/key_framed.h"
#include "controller/operators.h"
#include "driver/animation_package.h"
#include "driver/driver.h"
#include "geometry/geometry_composite.h"
#include "geometry/geometry_simple.h"
#include "geometry/geometry_weighted.h"
#include "geometry/mesh_simple.h"
#include "geometry/modifier_skin.h"
#include "geometry/modifier_stack.h"
#include "io/registry.h"
#include "material/material_composite.h"
#include "material/material_simple.h"
#include "material/texture_bitmap_file.h"
#include "material/texture_cubemap_file.h"
#include "material/texture_stage.h"
#include "render/material_fx.h"
#include "render/scene_renderer_dof.h"
#include "render/scene_renderer_mirror.h"
#include "render/scene_renderer_shadow.h"
#include "scene/atmospheric.h"
#include "scene/atmospheric_billboard.h"
#include "scene/billboard.h"
#include "scene/camera.h"
#include "scene/controller_transformation.h"
#include "scene/hierarchy_node.h"
#include "scene/light.h"
#include "scene/scene_hierarchy.h"
#include "scene/transformation_prs.h"

namespace osm3d {

namespace {

using osmio::ChunkRegistrer;
using osmio::FourCC;

Driver theDriver;

const ChunkRegistrer<AnimationPackage> kAnimationPackage(FourCC("stfx"));
const ChunkRegistrer<TextureBitmapFile> kTextureBitmapFile(FourCC("TXBF"));
const ChunkRegistrer<MaterialComposite> kMaterialComposite(FourCC("MTCP"));
const ChunkRegistrer<SceneHierarchy> kSceneHierarchy(FourCC("SCHE"));
const ChunkRegistrer<MeshSimple> kMeshSimple(FourCC("MESM"));
const ChunkRegistrer<ControllerTransformation> kControllerTransformation(FourCC("CPRS"));
const ChunkRegistrer<ControllerTransformationMatrix> kControllerTransformationMatrix(FourCC("CMTX"));
const ChunkRegistrer<MaterialSimple> kMaterialSimple(FourCC("MTSM"));
const ChunkRegistrer<MaterialFX> kMaterialFX(FourCC("MTFX"));
const ChunkRegistrer<ModifierStack> kModifierStack(FourCC("MOST"));
const ChunkRegistrer<ModifierSkin> kModifierSkin(FourCC("MDSK"));
const ChunkRegistrer<HierarchyNode> kHierarchyNode(FourCC("HINO"));
const ChunkRegistrer<GeometryComposite> kGeometryComposite(FourCC("GOCP"));
const ChunkRegistrer<GeometrySimple> kGeometrySimple(FourCC("GOSM"));
const ChunkRegistrer<GeometryWeighted> kGeometryWeighted(FourCC("GOWT"));
const ChunkRegistrer<CameraSimple> kCameraSimple(FourCC("cASM"));
const ChunkRegistrer<LightOmni> kLightOmni(FourCC("LTOM"));
const ChunkRegistrer<TransformationPRS> kTransformationPRS(FourCC("TRPR"));
const ChunkRegistrer<SceneRendererMirror> kSceneRendererMirror(FourCC("SRMR"));
const ChunkRegistrer<SceneRendererDOF> kSceneRendererDOF(FourCC("SRDF"));
const ChunkRegistrer<SceneRendererShadow> kSceneRendererShadow(FourCC("SRSW"));
const ChunkRegistrer<AtmosphericAmbient> kAtmosphericAmbient(FourCC("ATAM"));
const ChunkRegistrer<AtmosphericFog> kAtmosphericFog(FourCC("ATFG"));
const ChunkRegistrer<AtmosphericBackground> kAtmosphericBackground(FourCC("ATBG"));
const ChunkRegistrer<AtmosphericBillboard> kAtmosphericBillboard(FourCC("ATBL"));
const ChunkRegistrer<controller::Const<f32>> kConstFloat(FourCC("CCFL"));
const ChunkRegistrer<controller::Const<vect3>> kConstVect3(FourCC("CCV3"));
const ChunkRegistrer<controller::Const<quat>> kConstQuat(FourCC("CCQU"));
const ChunkRegistrer<controller::Const<color>> kConstColor(FourCC("CCCO"));
const ChunkRegistrer<controller::Linear<f32>> kLinearFloat(FourCC("CLFL"));
const ChunkRegistrer<controller::Linear<vect3>> kLinearVect3(FourCC("CLV3"));
const ChunkRegistrer<controller::Linear<quat>> kLinearQuat(FourCC("CLQU"));
const ChunkRegistrer<controller::Linear<color>> kLinearColor(FourCC("CLCO"));
const ChunkRegistrer<controller::Linear<matrix>> kLinearMatrix(FourCC("CLMT"));
const ChunkRegistrer<controller::Op<color, color, f32>> kOpColor(FourCC("CoCF"));
const ChunkRegistrer<controller::Conv<color, vect3>> kConvColor(FourCC("CVCV"));
const ChunkRegistrer<TextureStage> kTextureStage(FourCC("TS__"));
const ChunkRegistrer<TextureCubemapFile> kTextureCubemapFile(FourCC("TXCF"));
const ChunkRegistrer<particle::Billboard> kBillboard(FourCC("FPRB"));

}  // namespace

Driver& GetDriver() { return theDriver; }

}  // namespace osm3d

// The build names this symbol to have this file linked in wherever the engine is linked as a library.
extern "C" void OsmUseStoredClasses();
void OsmUseStoredClasses() {}
