#include "fxutil/effect_states.h"

#include <cstddef>
#include <iterator>

#include "fxutil/effect_text.h"

namespace fxutil {
namespace {

using enum EffectStateKind;
using enum EffectValueKind;

constexpr EffectSymbol kDepthBuffers[] = {{"USEW", D3DZB_USEW}};
constexpr EffectSymbol kFillModes[] = {
    {"POINT", D3DFILL_POINT}, {"WIREFRAME", D3DFILL_WIREFRAME}, {"SOLID", D3DFILL_SOLID}};
constexpr EffectSymbol kShadeModes[] = {
    {"FLAT", D3DSHADE_FLAT}, {"GOURAUD", D3DSHADE_GOURAUD}, {"PHONG", D3DSHADE_PHONG}};
constexpr EffectSymbol kCullModes[] = {{"NONE", D3DCULL_NONE}, {"CW", D3DCULL_CW}, {"CCW", D3DCULL_CCW}};
constexpr EffectSymbol kBlends[] = {{"ZERO", D3DBLEND_ZERO},
                                    {"ONE", D3DBLEND_ONE},
                                    {"SRCCOLOR", D3DBLEND_SRCCOLOR},
                                    {"INVSRCCOLOR", D3DBLEND_INVSRCCOLOR},
                                    {"SRCALPHA", D3DBLEND_SRCALPHA},
                                    {"INVSRCALPHA", D3DBLEND_INVSRCALPHA},
                                    {"DESTALPHA", D3DBLEND_DESTALPHA},
                                    {"INVDESTALPHA", D3DBLEND_INVDESTALPHA},
                                    {"DESTCOLOR", D3DBLEND_DESTCOLOR},
                                    {"INVDESTCOLOR", D3DBLEND_INVDESTCOLOR},
                                    {"SRCALPHASAT", D3DBLEND_SRCALPHASAT},
                                    {"BOTHSRCALPHA", D3DBLEND_BOTHSRCALPHA},
                                    {"BOTHINVSRCALPHA", D3DBLEND_BOTHINVSRCALPHA},
                                    {"BLENDFACTOR", D3DBLEND_BLENDFACTOR},
                                    {"INVBLENDFACTOR", D3DBLEND_INVBLENDFACTOR}};
constexpr EffectSymbol kBlendOperations[] = {{"ADD", D3DBLENDOP_ADD},
                                             {"SUBTRACT", D3DBLENDOP_SUBTRACT},
                                             {"REVSUBTRACT", D3DBLENDOP_REVSUBTRACT},
                                             {"MIN", D3DBLENDOP_MIN},
                                             {"MAX", D3DBLENDOP_MAX}};
constexpr EffectSymbol kComparisons[] = {{"NEVER", D3DCMP_NEVER},
                                         {"LESS", D3DCMP_LESS},
                                         {"EQUAL", D3DCMP_EQUAL},
                                         {"LESSEQUAL", D3DCMP_LESSEQUAL},
                                         {"GREATER", D3DCMP_GREATER},
                                         {"NOTEQUAL", D3DCMP_NOTEQUAL},
                                         {"GREATEREQUAL", D3DCMP_GREATEREQUAL},
                                         {"ALWAYS", D3DCMP_ALWAYS}};
constexpr EffectSymbol kStencilOperations[] = {
    {"KEEP", D3DSTENCILOP_KEEP},       {"ZERO", D3DSTENCILOP_ZERO},       {"REPLACE", D3DSTENCILOP_REPLACE},
    {"INCRSAT", D3DSTENCILOP_INCRSAT}, {"DECRSAT", D3DSTENCILOP_DECRSAT}, {"INVERT", D3DSTENCILOP_INVERT},
    {"INCR", D3DSTENCILOP_INCR},       {"DECR", D3DSTENCILOP_DECR}};
constexpr EffectSymbol kFogModes[] = {
    {"NONE", D3DFOG_NONE}, {"EXP", D3DFOG_EXP}, {"EXP2", D3DFOG_EXP2}, {"LINEAR", D3DFOG_LINEAR}};
constexpr EffectSymbol kColorSources[] = {
    {"MATERIAL", D3DMCS_MATERIAL}, {"COLOR1", D3DMCS_COLOR1}, {"COLOR2", D3DMCS_COLOR2}};
constexpr EffectSymbol kVertexBlends[] = {{"DISABLE", D3DVBF_DISABLE},   {"0WEIGHTS", D3DVBF_0WEIGHTS},
                                          {"1WEIGHTS", D3DVBF_1WEIGHTS}, {"2WEIGHTS", D3DVBF_2WEIGHTS},
                                          {"3WEIGHTS", D3DVBF_3WEIGHTS}, {"TWEENING", D3DVBF_TWEENING}};
constexpr EffectSymbol kWriteMasks[] = {{"RED", D3DCOLORWRITEENABLE_RED},
                                        {"GREEN", D3DCOLORWRITEENABLE_GREEN},
                                        {"BLUE", D3DCOLORWRITEENABLE_BLUE},
                                        {"ALPHA", D3DCOLORWRITEENABLE_ALPHA}};
constexpr EffectSymbol kClipPlanes[] = {{"CLIPPLANE0", 1}, {"CLIPPLANE1", 2},  {"CLIPPLANE2", 4},
                                        {"CLIPPLANE3", 8}, {"CLIPPLANE4", 16}, {"CLIPPLANE5", 32}};
constexpr EffectSymbol kWraps[] = {{"U", 1},       {"V", 2},       {"W", 4},      {"COORD_0", 1},
                                   {"COORD_1", 2}, {"COORD_2", 4}, {"COORD_3", 8}};
constexpr EffectSymbol kEdgeStyles[] = {{"DISCRETE", D3DPATCHEDGE_DISCRETE},
                                        {"CONTINUOUS", D3DPATCHEDGE_CONTINUOUS}};
constexpr EffectSymbol kDegrees[] = {{"LINEAR", D3DDEGREE_LINEAR},
                                     {"QUADRATIC", D3DDEGREE_QUADRATIC},
                                     {"CUBIC", D3DDEGREE_CUBIC},
                                     {"QUINTIC", D3DDEGREE_QUINTIC}};
constexpr EffectSymbol kOperations[] = {{"DISABLE", D3DTOP_DISABLE},
                                        {"SELECTARG1", D3DTOP_SELECTARG1},
                                        {"SELECTARG2", D3DTOP_SELECTARG2},
                                        {"MODULATE", D3DTOP_MODULATE},
                                        {"MODULATE2X", D3DTOP_MODULATE2X},
                                        {"MODULATE4X", D3DTOP_MODULATE4X},
                                        {"ADD", D3DTOP_ADD},
                                        {"ADDSIGNED", D3DTOP_ADDSIGNED},
                                        {"ADDSIGNED2X", D3DTOP_ADDSIGNED2X},
                                        {"SUBTRACT", D3DTOP_SUBTRACT},
                                        {"ADDSMOOTH", D3DTOP_ADDSMOOTH},
                                        {"BLENDDIFFUSEALPHA", D3DTOP_BLENDDIFFUSEALPHA},
                                        {"BLENDTEXTUREALPHA", D3DTOP_BLENDTEXTUREALPHA},
                                        {"BLENDFACTORALPHA", D3DTOP_BLENDFACTORALPHA},
                                        {"BLENDTEXTUREALPHAPM", D3DTOP_BLENDTEXTUREALPHAPM},
                                        {"BLENDCURRENTALPHA", D3DTOP_BLENDCURRENTALPHA},
                                        {"PREMODULATE", D3DTOP_PREMODULATE},
                                        {"MODULATEALPHA_ADDCOLOR", D3DTOP_MODULATEALPHA_ADDCOLOR},
                                        {"MODULATECOLOR_ADDALPHA", D3DTOP_MODULATECOLOR_ADDALPHA},
                                        {"MODULATEINVALPHA_ADDCOLOR", D3DTOP_MODULATEINVALPHA_ADDCOLOR},
                                        {"MODULATEINVCOLOR_ADDALPHA", D3DTOP_MODULATEINVCOLOR_ADDALPHA},
                                        {"BUMPENVMAP", D3DTOP_BUMPENVMAP},
                                        {"BUMPENVMAPLUMINANCE", D3DTOP_BUMPENVMAPLUMINANCE},
                                        {"DOTPRODUCT3", D3DTOP_DOTPRODUCT3},
                                        {"MULTIPLYADD", D3DTOP_MULTIPLYADD},
                                        {"LERP", D3DTOP_LERP}};
constexpr EffectSymbol kArguments[] = {
    {"DIFFUSE", D3DTA_DIFFUSE},   {"CURRENT", D3DTA_CURRENT},       {"TEXTURE", D3DTA_TEXTURE},
    {"TFACTOR", D3DTA_TFACTOR},   {"SPECULAR", D3DTA_SPECULAR},     {"TEMP", D3DTA_TEMP},
    {"CONSTANT", D3DTA_CONSTANT}, {"COMPLEMENT", D3DTA_COMPLEMENT}, {"ALPHAREPLICATE", D3DTA_ALPHAREPLICATE}};
constexpr EffectSymbol kCoordinates[] = {
    {"PASSTHRU", D3DTSS_TCI_PASSTHRU},
    {"CAMERASPACENORMAL", D3DTSS_TCI_CAMERASPACENORMAL},
    {"CAMERASPACEPOSITION", D3DTSS_TCI_CAMERASPACEPOSITION},
    {"CAMERASPACEREFLECTIONVECTOR", D3DTSS_TCI_CAMERASPACEREFLECTIONVECTOR},
    {"SPHEREMAP", D3DTSS_TCI_SPHEREMAP}};
constexpr EffectSymbol kCoordinateTransforms[] = {
    {"DISABLE", D3DTTFF_DISABLE}, {"COUNT1", D3DTTFF_COUNT1}, {"COUNT2", D3DTTFF_COUNT2},
    {"COUNT3", D3DTTFF_COUNT3},   {"COUNT4", D3DTTFF_COUNT4}, {"PROJECTED", D3DTTFF_PROJECTED}};
constexpr EffectSymbol kAddresses[] = {{"WRAP", D3DTADDRESS_WRAP},
                                       {"MIRROR", D3DTADDRESS_MIRROR},
                                       {"CLAMP", D3DTADDRESS_CLAMP},
                                       {"BORDER", D3DTADDRESS_BORDER},
                                       {"MIRRORONCE", D3DTADDRESS_MIRRORONCE}};
constexpr EffectSymbol kFilters[] = {{"NONE", D3DTEXF_NONE},
                                     {"POINT", D3DTEXF_POINT},
                                     {"LINEAR", D3DTEXF_LINEAR},
                                     {"ANISOTROPIC", D3DTEXF_ANISOTROPIC},
                                     {"PYRAMIDALQUAD", D3DTEXF_PYRAMIDALQUAD},
                                     {"GAUSSIANQUAD", D3DTEXF_GAUSSIANQUAD}};

constexpr EffectStateInfo Plain(std::string_view name, EffectStateKind kind, EffectValueKind value, u32 state,
                                u32 indices = 0) {
    return {name, kind, value, state, indices, "", nullptr, 0};
}
template <std::size_t N>
constexpr EffectStateInfo Words(std::string_view name, EffectStateKind kind, u32 state, u32 indices,
                                std::string_view prefix, const EffectSymbol (&symbols)[N]) {
    return {name, kind, kSymbol, state, indices, prefix, symbols, N};
}
template <std::size_t N>
constexpr EffectStateInfo Render(std::string_view name, u32 state, std::string_view prefix,
                                 const EffectSymbol (&symbols)[N]) {
    return Words(name, kRender, state, 0, prefix, symbols);
}
constexpr EffectStateInfo Flag(std::string_view name, u32 state) {
    return Plain(name, kRender, kBool, state);
}
constexpr EffectStateInfo Int(std::string_view name, u32 state) { return Plain(name, kRender, kInt, state); }
constexpr EffectStateInfo Float(std::string_view name, u32 state) {
    return Plain(name, kRender, kFloat, state);
}
constexpr EffectStateInfo Color(std::string_view name, u32 state) {
    return Plain(name, kRender, kColor, state);
}
constexpr EffectStateInfo Wrap(std::string_view name, u32 state) {
    return Render(name, state, "D3DWRAP", kWraps);
}
constexpr EffectStateInfo MaterialColor(std::string_view name, std::size_t offset) {
    return Plain(name, kMaterial, kVector, static_cast<u32>(offset / sizeof(float)));
}

constexpr u32 kStages = 8, kSamplers = 16;

constexpr EffectStateInfo kStates[] = {
    // render states
    Render("ZEnable", D3DRS_ZENABLE, "D3DZB_", kDepthBuffers),
    Render("FillMode", D3DRS_FILLMODE, "D3DFILL_", kFillModes),
    Render("ShadeMode", D3DRS_SHADEMODE, "D3DSHADE_", kShadeModes),
    Flag("ZWriteEnable", D3DRS_ZWRITEENABLE),
    Flag("AlphaTestEnable", D3DRS_ALPHATESTENABLE),
    Flag("LastPixel", D3DRS_LASTPIXEL),
    Render("SrcBlend", D3DRS_SRCBLEND, "D3DBLEND_", kBlends),
    Render("DestBlend", D3DRS_DESTBLEND, "D3DBLEND_", kBlends),
    Render("CullMode", D3DRS_CULLMODE, "D3DCULL_", kCullModes),
    Render("ZFunc", D3DRS_ZFUNC, "D3DCMP_", kComparisons),
    Int("AlphaRef", D3DRS_ALPHAREF),
    Render("AlphaFunc", D3DRS_ALPHAFUNC, "D3DCMP_", kComparisons),
    Flag("DitherEnable", D3DRS_DITHERENABLE),
    Flag("AlphaBlendEnable", D3DRS_ALPHABLENDENABLE),
    Flag("FogEnable", D3DRS_FOGENABLE),
    Flag("SpecularEnable", D3DRS_SPECULARENABLE),
    Color("FogColor", D3DRS_FOGCOLOR),
    Render("FogTableMode", D3DRS_FOGTABLEMODE, "D3DFOG_", kFogModes),
    Float("FogStart", D3DRS_FOGSTART),
    Float("FogEnd", D3DRS_FOGEND),
    Float("FogDensity", D3DRS_FOGDENSITY),
    Flag("RangeFogEnable", D3DRS_RANGEFOGENABLE),
    Flag("StencilEnable", D3DRS_STENCILENABLE),
    Render("StencilFail", D3DRS_STENCILFAIL, "D3DSTENCILOP_", kStencilOperations),
    Render("StencilZFail", D3DRS_STENCILZFAIL, "D3DSTENCILOP_", kStencilOperations),
    Render("StencilPass", D3DRS_STENCILPASS, "D3DSTENCILOP_", kStencilOperations),
    Render("StencilFunc", D3DRS_STENCILFUNC, "D3DCMP_", kComparisons),
    Int("StencilRef", D3DRS_STENCILREF),
    Int("StencilMask", D3DRS_STENCILMASK),
    Int("StencilWriteMask", D3DRS_STENCILWRITEMASK),
    Color("TextureFactor", D3DRS_TEXTUREFACTOR),
    Wrap("Wrap0", D3DRS_WRAP0),
    Wrap("Wrap1", D3DRS_WRAP1),
    Wrap("Wrap2", D3DRS_WRAP2),
    Wrap("Wrap3", D3DRS_WRAP3),
    Wrap("Wrap4", D3DRS_WRAP4),
    Wrap("Wrap5", D3DRS_WRAP5),
    Wrap("Wrap6", D3DRS_WRAP6),
    Wrap("Wrap7", D3DRS_WRAP7),
    Wrap("Wrap8", D3DRS_WRAP8),
    Wrap("Wrap9", D3DRS_WRAP9),
    Wrap("Wrap10", D3DRS_WRAP10),
    Wrap("Wrap11", D3DRS_WRAP11),
    Wrap("Wrap12", D3DRS_WRAP12),
    Wrap("Wrap13", D3DRS_WRAP13),
    Wrap("Wrap14", D3DRS_WRAP14),
    Wrap("Wrap15", D3DRS_WRAP15),
    Flag("Clipping", D3DRS_CLIPPING),
    Flag("Lighting", D3DRS_LIGHTING),
    Color("Ambient", D3DRS_AMBIENT),
    Render("FogVertexMode", D3DRS_FOGVERTEXMODE, "D3DFOG_", kFogModes),
    Flag("ColorVertex", D3DRS_COLORVERTEX),
    Flag("LocalViewer", D3DRS_LOCALVIEWER),
    Flag("NormalizeNormals", D3DRS_NORMALIZENORMALS),
    Render("DiffuseMaterialSource", D3DRS_DIFFUSEMATERIALSOURCE, "D3DMCS_", kColorSources),
    Render("SpecularMaterialSource", D3DRS_SPECULARMATERIALSOURCE, "D3DMCS_", kColorSources),
    Render("AmbientMaterialSource", D3DRS_AMBIENTMATERIALSOURCE, "D3DMCS_", kColorSources),
    Render("EmissiveMaterialSource", D3DRS_EMISSIVEMATERIALSOURCE, "D3DMCS_", kColorSources),
    Render("VertexBlend", D3DRS_VERTEXBLEND, "D3DVBF_", kVertexBlends),
    Render("ClipPlaneEnable", D3DRS_CLIPPLANEENABLE, "D3D", kClipPlanes),
    Float("PointSize", D3DRS_POINTSIZE),
    Float("PointSize_Min", D3DRS_POINTSIZE_MIN),
    Float("PointSize_Max", D3DRS_POINTSIZE_MAX),
    Flag("PointSpriteEnable", D3DRS_POINTSPRITEENABLE),
    Flag("PointScaleEnable", D3DRS_POINTSCALEENABLE),
    Float("PointScale_A", D3DRS_POINTSCALE_A),
    Float("PointScale_B", D3DRS_POINTSCALE_B),
    Float("PointScale_C", D3DRS_POINTSCALE_C),
    Flag("MultiSampleAntialias", D3DRS_MULTISAMPLEANTIALIAS),
    Int("MultiSampleMask", D3DRS_MULTISAMPLEMASK),
    Render("PatchEdgeStyle", D3DRS_PATCHEDGESTYLE, "D3DPATCHEDGE_", kEdgeStyles),
    Int("DebugMonitorToken", D3DRS_DEBUGMONITORTOKEN),
    Flag("IndexedVertexBlendEnable", D3DRS_INDEXEDVERTEXBLENDENABLE),
    Render("ColorWriteEnable", D3DRS_COLORWRITEENABLE, "D3DCOLORWRITEENABLE_", kWriteMasks),
    Render("ColorWriteEnable1", D3DRS_COLORWRITEENABLE1, "D3DCOLORWRITEENABLE_", kWriteMasks),
    Render("ColorWriteEnable2", D3DRS_COLORWRITEENABLE2, "D3DCOLORWRITEENABLE_", kWriteMasks),
    Render("ColorWriteEnable3", D3DRS_COLORWRITEENABLE3, "D3DCOLORWRITEENABLE_", kWriteMasks),
    Float("TweenFactor", D3DRS_TWEENFACTOR),
    Render("BlendOp", D3DRS_BLENDOP, "D3DBLENDOP_", kBlendOperations),
    Render("PositionDegree", D3DRS_POSITIONDEGREE, "D3DDEGREE_", kDegrees),
    Render("NormalDegree", D3DRS_NORMALDEGREE, "D3DDEGREE_", kDegrees),
    Flag("ScissorTestEnable", D3DRS_SCISSORTESTENABLE),
    Float("SlopeScaleDepthBias", D3DRS_SLOPESCALEDEPTHBIAS),
    Flag("AntialiasedLineEnable", D3DRS_ANTIALIASEDLINEENABLE),
    Float("MinTessellationLevel", D3DRS_MINTESSELLATIONLEVEL),
    Float("MaxTessellationLevel", D3DRS_MAXTESSELLATIONLEVEL),
    Float("AdaptiveTess_X", D3DRS_ADAPTIVETESS_X),
    Float("AdaptiveTess_Y", D3DRS_ADAPTIVETESS_Y),
    Float("AdaptiveTess_Z", D3DRS_ADAPTIVETESS_Z),
    Float("AdaptiveTess_W", D3DRS_ADAPTIVETESS_W),
    Flag("EnableAdaptiveTessellation", D3DRS_ENABLEADAPTIVETESSELLATION),
    Flag("TwoSidedStencilMode", D3DRS_TWOSIDEDSTENCILMODE),
    Render("CCW_StencilFail", D3DRS_CCW_STENCILFAIL, "D3DSTENCILOP_", kStencilOperations),
    Render("CCW_StencilZFail", D3DRS_CCW_STENCILZFAIL, "D3DSTENCILOP_", kStencilOperations),
    Render("CCW_StencilPass", D3DRS_CCW_STENCILPASS, "D3DSTENCILOP_", kStencilOperations),
    Render("CCW_StencilFunc", D3DRS_CCW_STENCILFUNC, "D3DCMP_", kComparisons),
    Color("BlendFactor", D3DRS_BLENDFACTOR),
    Flag("SRGBWriteEnable", D3DRS_SRGBWRITEENABLE),
    Float("DepthBias", D3DRS_DEPTHBIAS),
    Flag("SeparateAlphaBlendEnable", D3DRS_SEPARATEALPHABLENDENABLE),
    Render("SrcBlendAlpha", D3DRS_SRCBLENDALPHA, "D3DBLEND_", kBlends),
    Render("DestBlendAlpha", D3DRS_DESTBLENDALPHA, "D3DBLEND_", kBlends),
    Render("BlendOpAlpha", D3DRS_BLENDOPALPHA, "D3DBLENDOP_", kBlendOperations),
    // texture stages
    Words("ColorOp", kStage, D3DTSS_COLOROP, kStages, "D3DTOP_", kOperations),
    Words("ColorArg0", kStage, D3DTSS_COLORARG0, kStages, "D3DTA_", kArguments),
    Words("ColorArg1", kStage, D3DTSS_COLORARG1, kStages, "D3DTA_", kArguments),
    Words("ColorArg2", kStage, D3DTSS_COLORARG2, kStages, "D3DTA_", kArguments),
    Words("AlphaOp", kStage, D3DTSS_ALPHAOP, kStages, "D3DTOP_", kOperations),
    Words("AlphaArg0", kStage, D3DTSS_ALPHAARG0, kStages, "D3DTA_", kArguments),
    Words("AlphaArg1", kStage, D3DTSS_ALPHAARG1, kStages, "D3DTA_", kArguments),
    Words("AlphaArg2", kStage, D3DTSS_ALPHAARG2, kStages, "D3DTA_", kArguments),
    Words("ResultArg", kStage, D3DTSS_RESULTARG, kStages, "D3DTA_", kArguments),
    Plain("BumpEnvMat00", kStage, kFloat, D3DTSS_BUMPENVMAT00, kStages),
    Plain("BumpEnvMat01", kStage, kFloat, D3DTSS_BUMPENVMAT01, kStages),
    Plain("BumpEnvMat10", kStage, kFloat, D3DTSS_BUMPENVMAT10, kStages),
    Plain("BumpEnvMat11", kStage, kFloat, D3DTSS_BUMPENVMAT11, kStages),
    Plain("BumpEnvLScale", kStage, kFloat, D3DTSS_BUMPENVLSCALE, kStages),
    Plain("BumpEnvLOffset", kStage, kFloat, D3DTSS_BUMPENVLOFFSET, kStages),
    Words("TexCoordIndex", kStage, D3DTSS_TEXCOORDINDEX, kStages, "D3DTSS_TCI_", kCoordinates),
    Words("TextureTransformFlags", kStage, D3DTSS_TEXTURETRANSFORMFLAGS, kStages, "D3DTTFF_",
          kCoordinateTransforms),
    Plain("Constant", kStage, kColor, D3DTSS_CONSTANT, kStages),
    // samplers
    Words("AddressU", kSampler, D3DSAMP_ADDRESSU, kSamplers, "D3DTADDRESS_", kAddresses),
    Words("AddressV", kSampler, D3DSAMP_ADDRESSV, kSamplers, "D3DTADDRESS_", kAddresses),
    Words("AddressW", kSampler, D3DSAMP_ADDRESSW, kSamplers, "D3DTADDRESS_", kAddresses),
    Plain("BorderColor", kSampler, kColor, D3DSAMP_BORDERCOLOR, kSamplers),
    Words("MagFilter", kSampler, D3DSAMP_MAGFILTER, kSamplers, "D3DTEXF_", kFilters),
    Words("MinFilter", kSampler, D3DSAMP_MINFILTER, kSamplers, "D3DTEXF_", kFilters),
    Words("MipFilter", kSampler, D3DSAMP_MIPFILTER, kSamplers, "D3DTEXF_", kFilters),
    Plain("MipMapLodBias", kSampler, kFloat, D3DSAMP_MIPMAPLODBIAS, kSamplers),
    Plain("MaxMipLevel", kSampler, kInt, D3DSAMP_MAXMIPLEVEL, kSamplers),
    Plain("MaxAnisotropy", kSampler, kInt, D3DSAMP_MAXANISOTROPY, kSamplers),
    Plain("SRGBTexture", kSampler, kBool, D3DSAMP_SRGBTEXTURE, kSamplers),
    Plain("ElementIndex", kSampler, kInt, D3DSAMP_ELEMENTINDEX, kSamplers),
    // objects
    Plain("Texture", kTexture, kObject, 0, kSamplers),
    Plain("Sampler", kSamplerObject, kObject, 0, kSamplers),
    Plain("VertexShader", kVertexShader, kObject, 0),
    Plain("PixelShader", kPixelShader, kObject, 0),
    // the rest of the fixed pipeline
    Plain("WorldTransform", kTransform, kMatrix, 256, 256),
    Plain("ViewTransform", kTransform, kMatrix, D3DTS_VIEW),
    Plain("ProjectionTransform", kTransform, kMatrix, D3DTS_PROJECTION),
    Plain("TextureTransform", kTransform, kMatrix, D3DTS_TEXTURE0, kStages),
    MaterialColor("MaterialDiffuse", offsetof(D3DMATERIAL9, Diffuse)),
    MaterialColor("MaterialAmbient", offsetof(D3DMATERIAL9, Ambient)),
    MaterialColor("MaterialSpecular", offsetof(D3DMATERIAL9, Specular)),
    MaterialColor("MaterialEmissive", offsetof(D3DMATERIAL9, Emissive)),
    Plain("MaterialPower", kMaterial, kFloat,
          static_cast<u32>(offsetof(D3DMATERIAL9, Power) / sizeof(float))),
    Plain("VertexShaderConstant", kVertexConstant, kVector, 0, 256),
    Plain("VertexShaderConstantF", kVertexConstant, kVector, 0, 256),
    Plain("PixelShaderConstant", kPixelConstant, kVector, 0, 32),
    Plain("PixelShaderConstantF", kPixelConstant, kVector, 0, 32),
};

}  // namespace

const EffectStateInfo* FindEffectState(std::string_view name) {
    for (const EffectStateInfo& info : kStates)
        if (SameName(info.name, name)) return &info;
    return nullptr;
}

std::optional<DWORD> FindEffectSymbol(const EffectStateInfo& info, std::string_view word) {
    if (SameName(word, "true")) return 1u;
    if (SameName(word, "false")) return 0u;
    std::string_view bare = word;
    if (!info.prefix.empty() && bare.size() > info.prefix.size() &&
        SameName(bare.substr(0, info.prefix.size()), info.prefix))
        bare.remove_prefix(info.prefix.size());
    if (bare.size() != word.size() && bare.starts_with('_')) bare.remove_prefix(1);
    for (u32 i = 0; i < info.symbol_count; ++i)
        if (SameName(info.symbols[i].name, bare)) return info.symbols[i].value;
    return std::nullopt;
}

}  // namespace fxutil
