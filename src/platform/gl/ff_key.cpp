#include "platform/gl/ff_key.h"

#include <algorithm>

#include "platform/gl/gl_texture.h"

namespace platform::gl {

namespace {

bool ReadsTexture(DWORD op, DWORD arg0, DWORD arg1, DWORD arg2) {
    const auto is_texture = [](DWORD arg) { return (arg & D3DTA_SELECTMASK) == D3DTA_TEXTURE; };
    switch (op) {
        case D3DTOP_DISABLE:
            return false;
        case D3DTOP_SELECTARG1:
            return is_texture(arg1);
        case D3DTOP_SELECTARG2:
            return is_texture(arg2);
        case D3DTOP_BLENDTEXTUREALPHA:
        case D3DTOP_BLENDTEXTUREALPHAPM:
        case D3DTOP_BUMPENVMAP:
        case D3DTOP_BUMPENVMAPLUMINANCE:
            return true;
        case D3DTOP_MULTIPLYADD:
        case D3DTOP_LERP:
            return is_texture(arg0) || is_texture(arg1) || is_texture(arg2);
        default:
            return is_texture(arg1) || is_texture(arg2);
    }
}

bool UsesArg0(DWORD op) { return op == D3DTOP_MULTIPLYADD || op == D3DTOP_LERP; }
bool UsesArg1(DWORD op) { return op != D3DTOP_SELECTARG2; }
bool UsesArg2(DWORD op) {
    return op != D3DTOP_SELECTARG1 && op != D3DTOP_PREMODULATE && op != D3DTOP_BUMPENVMAP &&
           op != D3DTOP_BUMPENVMAPLUMINANCE;
}

u8 Byte(DWORD value) { return static_cast<u8>(value); }

u8 DivideBy(DWORD flags) {
    if ((flags & D3DTTFF_PROJECTED) == 0) return 0;
    const DWORD count = flags & 0xff;
    // Without a count, and for one coordinate, the last component of four divides.
    return count >= 2 && count <= 4 ? Byte(count) : 4;
}

void PassOn(u8 op, u8& arg1, u8& arg2) {
    const auto change = [](u8& arg) {
        if ((arg & D3DTA_SELECTMASK) == D3DTA_TEXTURE)
            arg = Byte((arg & ~u32{D3DTA_SELECTMASK}) | D3DTA_CURRENT);
    };
    if (op == D3DTOP_SELECTARG1) change(arg1);
    if (op == D3DTOP_SELECTARG2) change(arg2);
}

u8 SourceOf(DWORD value, const VertexLayout& layout) {
    if (value == D3DMCS_COLOR1 && layout.diffuse) return kFromDiffuse;
    if (value == D3DMCS_COLOR2 && layout.specular) return kFromSpecular;
    return kFromMaterial;
}

u8 FogSourceOf(const DeviceState& state, bool transformed) {
    if (state.render[D3DRS_FOGENABLE] == 0) return kFogOff;
    if (state.render[D3DRS_FOGTABLEMODE] != D3DFOG_NONE) {
        return transformed || IsAffine(state.projection) ? kFogCoordZ : kFogCoordW;
    }
    if (state.vertex_shader != nullptr) return kFogShader;
    if (transformed) return kFogSpecularAlpha;
    switch (state.render[D3DRS_FOGVERTEXMODE]) {
        case D3DFOG_LINEAR:
            return kFogVertexLinear;
        case D3DFOG_EXP:
            return kFogVertexExp;
        case D3DFOG_EXP2:
            return kFogVertexExp2;
        default:
            return kFogSpecularAlpha;
    }
}

}  // namespace

u64 HashBytes(const void* data, std::size_t size) {
    const u8* bytes = static_cast<const u8*>(data);
    u64 hash = 0xcbf29ce484222325ull;
    for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 0x100000001b3ull;
    return hash;
}

bool IsAffine(const D3DMATRIX& projection) {
    return projection.m[0][3] == 0.0f && projection.m[1][3] == 0.0f && projection.m[2][3] == 0.0f &&
           projection.m[3][3] == 1.0f;
}

FragmentKey MakeFragmentKey(const DeviceState& state, bool points, u32& coordinates) {
    FragmentKey key;
    coordinates = 0;
    const auto& render = state.render;
    key.flat = render[D3DRS_SHADEMODE] == D3DSHADE_FLAT ? 1 : 0;
    key.point_sprite = points && render[D3DRS_POINTSPRITEENABLE] != 0 ? 1 : 0;
    if (render[D3DRS_ALPHATESTENABLE] != 0 && render[D3DRS_ALPHAFUNC] != D3DCMP_ALWAYS) {
        key.alpha_func = Byte(render[D3DRS_ALPHAFUNC]);
    }
    if (render[D3DRS_FOGENABLE] != 0) {
        switch (render[D3DRS_FOGTABLEMODE]) {
            case D3DFOG_LINEAR:
                key.fog = kFogTableLinear;
                break;
            case D3DFOG_EXP:
                key.fog = kFogTableExp;
                break;
            case D3DFOG_EXP2:
                key.fog = kFogTableExp2;
                break;
            default:
                key.fog = kFogFactor;
        }
    }
    if (state.pixel_shader != nullptr) return key;

    key.specular_add = render[D3DRS_SPECULARENABLE] != 0 ? 1 : 0;
    for (u32 i = 0; i < kMaxStages; ++i) {
        const auto& stage = state.stage[i];
        const DWORD color_op = stage[D3DTSS_COLOROP];
        if (color_op == D3DTOP_DISABLE) break;
        const DWORD alpha_op = stage[D3DTSS_ALPHAOP];
        StageKey& out = key.stages[i];
        key.stage_count = static_cast<u8>(i + 1);
        out.color_op = Byte(color_op);
        out.alpha_op = Byte(alpha_op);
        if (UsesArg0(color_op)) out.color_arg0 = Byte(stage[D3DTSS_COLORARG0]);
        if (UsesArg1(color_op)) out.color_arg1 = Byte(stage[D3DTSS_COLORARG1]);
        if (UsesArg2(color_op)) out.color_arg2 = Byte(stage[D3DTSS_COLORARG2]);
        if (alpha_op != D3DTOP_DISABLE) {
            if (UsesArg0(alpha_op)) out.alpha_arg0 = Byte(stage[D3DTSS_ALPHAARG0]);
            if (UsesArg1(alpha_op)) out.alpha_arg1 = Byte(stage[D3DTSS_ALPHAARG1]);
            if (UsesArg2(alpha_op)) out.alpha_arg2 = Byte(stage[D3DTSS_ALPHAARG2]);
        }
        out.to_temp = stage[D3DTSS_RESULTARG] == D3DTA_TEMP ? 1 : 0;
        const bool premodulated = i > 0 && key.stages[i - 1].color_op == D3DTOP_PREMODULATE;
        const bool reads =
            premodulated ||
            ReadsTexture(color_op, stage[D3DTSS_COLORARG0], stage[D3DTSS_COLORARG1],
                         stage[D3DTSS_COLORARG2]) ||
            ReadsTexture(alpha_op, stage[D3DTSS_ALPHAARG0], stage[D3DTSS_ALPHAARG1], stage[D3DTSS_ALPHAARG2]);
        GlTexture* texture = state.textures[i];
        if (reads && texture != nullptr && texture->Name() != 0) {
            out.texture = texture->Cube() ? kTextureCube : kTexture2D;
            out.divide_by = DivideBy(stage[D3DTSS_TEXTURETRANSFORMFLAGS]);
            coordinates |= 1u << i;
        } else {
            // A missing texture reads white, but an alpha operation that only selects it passes the current
            // alpha on: untextured vertices keep theirs under the default states.
            PassOn(out.alpha_op, out.alpha_arg1, out.alpha_arg2);
        }
    }
    return key;
}

bool DrawsNoColor(const DeviceState& state) {
    const auto& render = state.render;
    return (render[D3DRS_COLORWRITEENABLE] & 0xf) == 0 && state.vertex_shader == nullptr &&
           state.pixel_shader == nullptr &&
           (render[D3DRS_ALPHATESTENABLE] == 0 || render[D3DRS_ALPHAFUNC] == D3DCMP_ALWAYS);
}

VertexKey MakeVertexKey(const DeviceState& state, const VertexLayout& layout, bool points, u32 coordinates,
                        bool colorless) {
    VertexKey key;
    const auto& render = state.render;
    key.flat = render[D3DRS_SHADEMODE] == D3DSHADE_FLAT ? 1 : 0;
    key.draws_points = points ? 1 : 0;
    if (!colorless) key.fog = FogSourceOf(state, layout.transformed && state.vertex_shader == nullptr);
    const DWORD clip = render[D3DRS_CLIPPLANEENABLE] & 0xff;
    if (state.vertex_shader != nullptr) {
        for (u32 i = 0; i < kMaxClipPlanes; ++i) key.clip_planes = Byte(key.clip_planes + (clip >> i & 1u));
        return key;
    }
    key.transformed = layout.transformed ? 1 : 0;
    key.point_size = points && layout.point_size ? 1 : 0;
    key.diffuse = layout.diffuse && !colorless ? 1 : 0;
    key.specular = layout.specular && !colorless ? 1 : 0;

    for (u32 i = 0; i < kMaxStages; ++i) {
        if ((coordinates >> i & 1u) == 0) continue;
        CoordKey& coord = key.coords[i];
        const DWORD index = state.stage[i][D3DTSS_TEXCOORDINDEX];
        coord.used = 1;
        coord.set = Byte(std::min<DWORD>(index & 0xffff, 7));
        coord.components = layout.tex_coords[coord.set];
        if (layout.transformed) continue;
        coord.generate = Byte(index >> 16);
        if (coord.generate > 4) coord.generate = 0;
        if (coord.generate != 0) coord.set = coord.components = 0;
        coord.count = Byte(std::min<DWORD>(state.stage[i][D3DTSS_TEXTURETRANSFORMFLAGS] & 0xff, 4));
    }
    if (layout.transformed) return key;

    for (u32 i = 0; i < kMaxClipPlanes; ++i) key.clip_planes = Byte(key.clip_planes + (clip >> i & 1u));
    key.point_scale = points && render[D3DRS_POINTSCALEENABLE] != 0 ? 1 : 0;
    if (key.fog >= kFogVertexLinear && key.fog <= kFogVertexExp2) {
        key.fog_range = render[D3DRS_RANGEFOGENABLE] != 0 ? 1 : 0;
    }

    const DWORD blend = render[D3DRS_VERTEXBLEND];
    const bool indexed = render[D3DRS_INDEXEDVERTEXBLENDENABLE] != 0 && layout.blend_indices;
    if (blend >= D3DVBF_1WEIGHTS && blend <= D3DVBF_3WEIGHTS) {
        key.blend_matrices = Byte(blend + 1);
        key.blend_weights = std::min<u8>(Byte(blend), layout.weights);
    } else if (blend == static_cast<DWORD>(D3DVBF_0WEIGHTS) && indexed) {
        key.blend_matrices = 1;
    }
    if (key.blend_matrices != 0 && indexed) {
        key.blend_indexed = 1;
        key.blend_index_colors = layout.blend_indices_are_colors ? 1 : 0;
    }
    if (colorless) return key;

    const bool generates =
        std::any_of(std::begin(key.coords), std::end(key.coords),
                    [](const CoordKey& coord) { return coord.generate != 0 && coord.generate != 2; });
    if (render[D3DRS_LIGHTING] != 0 || generates) {
        key.normal = layout.normal ? 1 : 0;
        key.normalize = render[D3DRS_NORMALIZENORMALS] != 0 ? 1 : 0;
    }
    if (render[D3DRS_LIGHTING] == 0) return key;
    key.lighting = 1;
    key.light_specular = render[D3DRS_SPECULARENABLE] != 0 ? 1 : 0;
    key.local_viewer = key.light_specular != 0 && render[D3DRS_LOCALVIEWER] != 0 ? 1 : 0;
    if (render[D3DRS_COLORVERTEX] != 0) {
        key.source_diffuse = SourceOf(render[D3DRS_DIFFUSEMATERIALSOURCE], layout);
        key.source_ambient = SourceOf(render[D3DRS_AMBIENTMATERIALSOURCE], layout);
        key.source_specular = SourceOf(render[D3DRS_SPECULARMATERIALSOURCE], layout);
        key.source_emissive = SourceOf(render[D3DRS_EMISSIVEMATERIALSOURCE], layout);
    }
    for (u32 i = 0; i < state.active_light_count; ++i) {
        switch (state.lights[state.active_lights[i]].value.Type) {
            case D3DLIGHT_DIRECTIONAL:
                ++key.directional;
                break;
            case D3DLIGHT_POINT:
                ++key.points;
                break;
            case D3DLIGHT_SPOT:
                ++key.spots;
                break;
            default:
                break;
        }
    }
    return key;
}

}  // namespace platform::gl
