#include "platform/gl/device_state.h"

#include <bit>

namespace platform::gl {
namespace {

struct GroupTable {
    u32 groups[kRenderStates] = {};
    constexpr GroupTable() {
        for (u32 state :
             {D3DRS_FILLMODE, D3DRS_CULLMODE, D3DRS_LASTPIXEL, D3DRS_CLIPPING, D3DRS_MULTISAMPLEANTIALIAS,
              D3DRS_MULTISAMPLEMASK, D3DRS_SCISSORTESTENABLE, D3DRS_SLOPESCALEDEPTHBIAS, D3DRS_DEPTHBIAS,
              D3DRS_ANTIALIASEDLINEENABLE, D3DRS_DITHERENABLE}) {
            groups[state] |= kDirtyRaster;
        }
        groups[D3DRS_SHADEMODE] |= kDirtyRaster | kDirtyVertexKey | kDirtyFragmentKey;
        groups[D3DRS_SCISSORTESTENABLE] |= kDirtyScissor;
        for (u32 state :
             {D3DRS_SRCBLEND, D3DRS_DESTBLEND, D3DRS_ALPHABLENDENABLE, D3DRS_COLORWRITEENABLE, D3DRS_BLENDOP,
              D3DRS_BLENDFACTOR, D3DRS_SEPARATEALPHABLENDENABLE, D3DRS_SRCBLENDALPHA, D3DRS_DESTBLENDALPHA,
              D3DRS_BLENDOPALPHA, D3DRS_SRGBWRITEENABLE}) {
            groups[state] |= kDirtyBlend;
        }
        for (u32 state : {D3DRS_ZENABLE, D3DRS_ZWRITEENABLE, D3DRS_ZFUNC}) groups[state] |= kDirtyDepth;
        for (u32 state : {D3DRS_STENCILENABLE, D3DRS_STENCILFAIL, D3DRS_STENCILZFAIL, D3DRS_STENCILPASS,
                          D3DRS_STENCILFUNC, D3DRS_STENCILREF, D3DRS_STENCILMASK, D3DRS_STENCILWRITEMASK,
                          D3DRS_TWOSIDEDSTENCILMODE, D3DRS_CCW_STENCILFAIL, D3DRS_CCW_STENCILZFAIL,
                          D3DRS_CCW_STENCILPASS, D3DRS_CCW_STENCILFUNC}) {
            groups[state] |= kDirtyStencil;
        }
        for (u32 state : {D3DRS_ALPHATESTENABLE, D3DRS_ALPHAFUNC}) groups[state] |= kDirtyFragmentKey;
        for (u32 state : {D3DRS_ALPHAREF, D3DRS_TEXTUREFACTOR}) groups[state] |= kDirtyFragmentValues;
        for (u32 state : {D3DRS_FOGENABLE, D3DRS_FOGTABLEMODE, D3DRS_FOGVERTEXMODE, D3DRS_RANGEFOGENABLE,
                          D3DRS_SPECULARENABLE, D3DRS_POINTSPRITEENABLE}) {
            groups[state] |= kDirtyVertexKey | kDirtyFragmentKey;
        }
        for (u32 state : {D3DRS_FOGCOLOR, D3DRS_FOGSTART, D3DRS_FOGEND, D3DRS_FOGDENSITY}) {
            groups[state] |= kDirtyFogValues;
        }
        for (u32 state = D3DRS_WRAP0; state <= D3DRS_WRAP7; ++state) groups[state] |= kDirtyVertexKey;
        for (u32 state : {D3DRS_LIGHTING, D3DRS_COLORVERTEX, D3DRS_LOCALVIEWER, D3DRS_NORMALIZENORMALS,
                          D3DRS_DIFFUSEMATERIALSOURCE, D3DRS_SPECULARMATERIALSOURCE,
                          D3DRS_AMBIENTMATERIALSOURCE, D3DRS_EMISSIVEMATERIALSOURCE, D3DRS_VERTEXBLEND,
                          D3DRS_INDEXEDVERTEXBLENDENABLE, D3DRS_POINTSCALEENABLE, D3DRS_TWEENFACTOR}) {
            groups[state] |= kDirtyVertexKey;
        }
        groups[D3DRS_AMBIENT] |= kDirtyLightValues;
        groups[D3DRS_CLIPPLANEENABLE] |= kDirtyClipPlanes | kDirtyVertexKey;
        for (u32 state : {D3DRS_POINTSIZE, D3DRS_POINTSIZE_MIN, D3DRS_POINTSIZE_MAX, D3DRS_POINTSCALE_A,
                          D3DRS_POINTSCALE_B, D3DRS_POINTSCALE_C}) {
            groups[state] |= kDirtyPointValues;
        }
    }
};
constexpr GroupTable kRenderGroups;

D3DMATRIX Identity() {
    D3DMATRIX m{};
    for (int i = 0; i < 4; ++i) m.m[i][i] = 1;
    return m;
}

DWORD Bits(float value) { return std::bit_cast<DWORD>(value); }

}  // namespace

u32 RenderStateGroups(u32 state) { return state < kRenderStates ? kRenderGroups.groups[state] : 0; }

u32 StageStateGroups(u32 state) {
    switch (state) {
        case D3DTSS_BUMPENVMAT00:
        case D3DTSS_BUMPENVMAT01:
        case D3DTSS_BUMPENVMAT10:
        case D3DTSS_BUMPENVMAT11:
        case D3DTSS_BUMPENVLSCALE:
        case D3DTSS_BUMPENVLOFFSET:
        case D3DTSS_CONSTANT:
            return kDirtyFragmentValues;
        case D3DTSS_TEXCOORDINDEX:
        case D3DTSS_TEXTURETRANSFORMFLAGS:
            return kDirtyVertexKey | kDirtyFragmentKey;
        case D3DTSS_COLOROP:
            return kDirtyVertexKey | kDirtyFragmentKey |
                   kDirtyTextures;  // decides how many stages are in force
        default:
            return kDirtyFragmentKey;
    }
}

void DeviceState::Reset(bool auto_depth) {
    *this = DeviceState();

    render[D3DRS_ZENABLE] = auto_depth ? D3DZB_TRUE : D3DZB_FALSE;
    render[D3DRS_FILLMODE] = D3DFILL_SOLID;
    render[D3DRS_SHADEMODE] = D3DSHADE_GOURAUD;
    render[D3DRS_ZWRITEENABLE] = TRUE;
    render[D3DRS_LASTPIXEL] = TRUE;
    render[D3DRS_SRCBLEND] = D3DBLEND_ONE;
    render[D3DRS_DESTBLEND] = D3DBLEND_ZERO;
    render[D3DRS_CULLMODE] = D3DCULL_CCW;
    render[D3DRS_ZFUNC] = D3DCMP_LESSEQUAL;
    render[D3DRS_ALPHAFUNC] = D3DCMP_ALWAYS;
    render[D3DRS_FOGEND] = Bits(1.0f);
    render[D3DRS_FOGDENSITY] = Bits(1.0f);
    render[D3DRS_STENCILFAIL] = render[D3DRS_STENCILZFAIL] = render[D3DRS_STENCILPASS] = D3DSTENCILOP_KEEP;
    render[D3DRS_STENCILFUNC] = D3DCMP_ALWAYS;
    render[D3DRS_STENCILMASK] = render[D3DRS_STENCILWRITEMASK] = 0xffffffffu;
    render[D3DRS_TEXTUREFACTOR] = 0xffffffffu;
    render[D3DRS_CLIPPING] = TRUE;
    render[D3DRS_LIGHTING] = TRUE;
    render[D3DRS_COLORVERTEX] = TRUE;
    render[D3DRS_LOCALVIEWER] = TRUE;
    render[D3DRS_DIFFUSEMATERIALSOURCE] = D3DMCS_COLOR1;
    render[D3DRS_SPECULARMATERIALSOURCE] = D3DMCS_COLOR2;
    render[D3DRS_POINTSIZE] = Bits(1.0f);
    render[D3DRS_POINTSIZE_MIN] = Bits(1.0f);
    render[D3DRS_POINTSCALE_A] = Bits(1.0f);
    render[D3DRS_MULTISAMPLEANTIALIAS] = TRUE;
    render[D3DRS_MULTISAMPLEMASK] = 0xffffffffu;
    render[D3DRS_POINTSIZE_MAX] = Bits(64.0f);
    render[D3DRS_COLORWRITEENABLE] = 0xf;
    render[D3DRS_COLORWRITEENABLE1] = render[D3DRS_COLORWRITEENABLE2] = render[D3DRS_COLORWRITEENABLE3] = 0xf;
    render[D3DRS_BLENDOP] = D3DBLENDOP_ADD;
    render[D3DRS_POSITIONDEGREE] = D3DDEGREE_CUBIC;
    render[D3DRS_NORMALDEGREE] = D3DDEGREE_LINEAR;
    render[D3DRS_MINTESSELLATIONLEVEL] = Bits(1.0f);
    render[D3DRS_MAXTESSELLATIONLEVEL] = Bits(1.0f);
    render[D3DRS_ADAPTIVETESS_Z] = Bits(1.0f);
    render[D3DRS_CCW_STENCILFAIL] = render[D3DRS_CCW_STENCILZFAIL] = render[D3DRS_CCW_STENCILPASS] =
        D3DSTENCILOP_KEEP;
    render[D3DRS_CCW_STENCILFUNC] = D3DCMP_ALWAYS;
    render[D3DRS_BLENDFACTOR] = 0xffffffffu;
    render[D3DRS_SRCBLENDALPHA] = D3DBLEND_ONE;
    render[D3DRS_DESTBLENDALPHA] = D3DBLEND_ZERO;
    render[D3DRS_BLENDOPALPHA] = D3DBLENDOP_ADD;

    for (u32 i = 0; i < kMaxStages; ++i) {
        auto& s = stage[i];
        s[D3DTSS_COLOROP] = i == 0 ? D3DTOP_MODULATE : D3DTOP_DISABLE;
        s[D3DTSS_ALPHAOP] = i == 0 ? D3DTOP_SELECTARG1 : D3DTOP_DISABLE;
        s[D3DTSS_COLORARG1] = s[D3DTSS_ALPHAARG1] = D3DTA_TEXTURE;
        s[D3DTSS_COLORARG2] = s[D3DTSS_ALPHAARG2] = D3DTA_CURRENT;
        s[D3DTSS_COLORARG0] = s[D3DTSS_ALPHAARG0] = s[D3DTSS_RESULTARG] = D3DTA_CURRENT;
        s[D3DTSS_TEXCOORDINDEX] = i;
        texture_matrix[i] = Identity();
    }
    for (auto& s : sampler) {
        s[D3DSAMP_ADDRESSU] = s[D3DSAMP_ADDRESSV] = s[D3DSAMP_ADDRESSW] = D3DTADDRESS_WRAP;
        s[D3DSAMP_MAGFILTER] = s[D3DSAMP_MINFILTER] = D3DTEXF_POINT;
        s[D3DSAMP_MIPFILTER] = D3DTEXF_NONE;
        s[D3DSAMP_MAXANISOTROPY] = 1;
    }
    view = projection = Identity();
    for (D3DMATRIX& m : world) m = Identity();
}

float DeviceState::RenderFloat(D3DRENDERSTATETYPE state_type) const {
    return std::bit_cast<float>(render[state_type]);
}

}  // namespace platform::gl
