#include <algorithm>

#include "platform/gl/device_state.h"
#include "platform/gl/gl_direct3d9.h"

namespace platform::gl {

int SampleCount(D3DMULTISAMPLE_TYPE type, DWORD quality, u32 max_samples) {
    if (type == D3DMULTISAMPLE_NONE) return quality == 0 ? 0 : -1;
    if (quality >= QualityLevels(type, max_samples)) return -1;
    return type == D3DMULTISAMPLE_NONMASKABLE ? 2 << quality : static_cast<int>(type);
}

DWORD QualityLevels(D3DMULTISAMPLE_TYPE type, u32 max_samples) {
    switch (type) {
        case D3DMULTISAMPLE_NONE:
            return 1;
        case D3DMULTISAMPLE_NONMASKABLE: {
            DWORD levels = 0;
            for (u32 samples = 2; samples <= std::min(max_samples, 16u); samples *= 2) ++levels;
            return levels;
        }
        case D3DMULTISAMPLE_2_SAMPLES:
        case D3DMULTISAMPLE_4_SAMPLES:
        case D3DMULTISAMPLE_8_SAMPLES:
        case D3DMULTISAMPLE_16_SAMPLES:
            return static_cast<u32>(type) <= max_samples ? 1 : 0;
        default:
            return 0;
    }
}

bool IsBackBufferFormat(D3DFORMAT format) {
    switch (format) {
        case D3DFMT_A8R8G8B8:
        case D3DFMT_X8R8G8B8:
        case D3DFMT_R5G6B5:
        case D3DFMT_X1R5G5B5:
        case D3DFMT_A1R5G5B5:
            return true;
        default:
            return false;
    }
}

void FillCaps(const GlFeatures& features, D3DDEVTYPE type, D3DCAPS9& caps) {
    caps = {};
    caps.DeviceType = type;
    caps.Caps2 = D3DCAPS2_CANAUTOGENMIPMAP | D3DCAPS2_DYNAMICTEXTURES | D3DCAPS2_CANMANAGERESOURCE;
    caps.Caps3 =
        D3DCAPS3_ALPHA_FULLSCREEN_FLIP_OR_DISCARD | D3DCAPS3_COPY_TO_VIDMEM | D3DCAPS3_COPY_TO_SYSTEMMEM;
    caps.PresentationIntervals = D3DPRESENT_INTERVAL_IMMEDIATE | D3DPRESENT_INTERVAL_ONE;
    caps.DevCaps = D3DDEVCAPS_EXECUTESYSTEMMEMORY | D3DDEVCAPS_EXECUTEVIDEOMEMORY |
                   D3DDEVCAPS_TLVERTEXSYSTEMMEMORY | D3DDEVCAPS_TLVERTEXVIDEOMEMORY |
                   D3DDEVCAPS_TEXTUREVIDEOMEMORY | D3DDEVCAPS_DRAWPRIMTLVERTEX |
                   D3DDEVCAPS_CANRENDERAFTERFLIP | D3DDEVCAPS_DRAWPRIMITIVES2 | D3DDEVCAPS_DRAWPRIMITIVES2EX |
                   D3DDEVCAPS_HWTRANSFORMANDLIGHT | D3DDEVCAPS_HWRASTERIZATION | D3DDEVCAPS_PUREDEVICE;
    caps.DevCaps2 = D3DDEVCAPS2_STREAMOFFSET | D3DDEVCAPS2_CAN_STRETCHRECT_FROM_TEXTURES |
                    D3DDEVCAPS2_VERTEXELEMENTSCANSHARESTREAMOFFSET;
    caps.PrimitiveMiscCaps = D3DPMISCCAPS_MASKZ | D3DPMISCCAPS_CULLNONE | D3DPMISCCAPS_CULLCW |
                             D3DPMISCCAPS_CULLCCW | D3DPMISCCAPS_COLORWRITEENABLE | D3DPMISCCAPS_CLIPTLVERTS |
                             D3DPMISCCAPS_TSSARGTEMP | D3DPMISCCAPS_BLENDOP | D3DPMISCCAPS_PERSTAGECONSTANT |
                             D3DPMISCCAPS_SEPARATEALPHABLEND | D3DPMISCCAPS_FOGVERTEXCLAMPED;
    caps.RasterCaps = D3DPRASTERCAPS_ZTEST | D3DPRASTERCAPS_FOGVERTEX | D3DPRASTERCAPS_FOGTABLE |
                      D3DPRASTERCAPS_MIPMAPLODBIAS | D3DPRASTERCAPS_FOGRANGE | D3DPRASTERCAPS_ZFOG |
                      D3DPRASTERCAPS_WFOG | D3DPRASTERCAPS_COLORPERSPECTIVE | D3DPRASTERCAPS_SCISSORTEST |
                      D3DPRASTERCAPS_SLOPESCALEDEPTHBIAS | D3DPRASTERCAPS_DEPTHBIAS |
                      D3DPRASTERCAPS_MULTISAMPLE_TOGGLE;
    if (features.anisotropy) caps.RasterCaps |= D3DPRASTERCAPS_ANISOTROPY;
    caps.ZCmpCaps = caps.AlphaCmpCaps = D3DPCMPCAPS_NEVER | D3DPCMPCAPS_LESS | D3DPCMPCAPS_EQUAL |
                                        D3DPCMPCAPS_LESSEQUAL | D3DPCMPCAPS_GREATER | D3DPCMPCAPS_NOTEQUAL |
                                        D3DPCMPCAPS_GREATEREQUAL | D3DPCMPCAPS_ALWAYS;
    caps.SrcBlendCaps = caps.DestBlendCaps =
        D3DPBLENDCAPS_ZERO | D3DPBLENDCAPS_ONE | D3DPBLENDCAPS_SRCCOLOR | D3DPBLENDCAPS_INVSRCCOLOR |
        D3DPBLENDCAPS_SRCALPHA | D3DPBLENDCAPS_INVSRCALPHA | D3DPBLENDCAPS_DESTALPHA |
        D3DPBLENDCAPS_INVDESTALPHA | D3DPBLENDCAPS_DESTCOLOR | D3DPBLENDCAPS_INVDESTCOLOR |
        D3DPBLENDCAPS_SRCALPHASAT | D3DPBLENDCAPS_BLENDFACTOR;
    caps.SrcBlendCaps |= D3DPBLENDCAPS_BOTHSRCALPHA | D3DPBLENDCAPS_BOTHINVSRCALPHA;
    caps.ShadeCaps = D3DPSHADECAPS_COLORGOURAUDRGB | D3DPSHADECAPS_SPECULARGOURAUDRGB |
                     D3DPSHADECAPS_ALPHAGOURAUDBLEND | D3DPSHADECAPS_FOGGOURAUD;
    caps.TextureCaps = D3DPTEXTURECAPS_PERSPECTIVE | D3DPTEXTURECAPS_ALPHA | D3DPTEXTURECAPS_PROJECTED |
                       D3DPTEXTURECAPS_CUBEMAP | D3DPTEXTURECAPS_MIPMAP | D3DPTEXTURECAPS_MIPCUBEMAP;
    caps.TextureFilterCaps = D3DPTFILTERCAPS_MINFPOINT | D3DPTFILTERCAPS_MINFLINEAR |
                             D3DPTFILTERCAPS_MIPFPOINT | D3DPTFILTERCAPS_MIPFLINEAR |
                             D3DPTFILTERCAPS_MAGFPOINT | D3DPTFILTERCAPS_MAGFLINEAR;
    if (features.anisotropy) {
        caps.TextureFilterCaps |= D3DPTFILTERCAPS_MINFANISOTROPIC | D3DPTFILTERCAPS_MAGFANISOTROPIC;
    }
    caps.CubeTextureFilterCaps = caps.TextureFilterCaps;
    caps.StretchRectFilterCaps = D3DPTFILTERCAPS_MINFPOINT | D3DPTFILTERCAPS_MINFLINEAR |
                                 D3DPTFILTERCAPS_MAGFPOINT | D3DPTFILTERCAPS_MAGFLINEAR;
    caps.TextureAddressCaps = D3DPTADDRESSCAPS_WRAP | D3DPTADDRESSCAPS_MIRROR | D3DPTADDRESSCAPS_CLAMP |
                              D3DPTADDRESSCAPS_BORDER | D3DPTADDRESSCAPS_INDEPENDENTUV;
    if (features.mirror_once) caps.TextureAddressCaps |= D3DPTADDRESSCAPS_MIRRORONCE;
    caps.LineCaps =
        D3DLINECAPS_TEXTURE | D3DLINECAPS_ZTEST | D3DLINECAPS_BLEND | D3DLINECAPS_ALPHACMP | D3DLINECAPS_FOG;
    caps.MaxTextureWidth = caps.MaxTextureHeight = features.max_texture_size;
    caps.MaxTextureRepeat = 32768;
    caps.MaxTextureAspectRatio = features.max_texture_size;
    caps.MaxAnisotropy = static_cast<DWORD>(features.max_anisotropy);
    caps.MaxVertexW = 1e10f;
    caps.GuardBandLeft = caps.GuardBandTop = -32768.0f;
    caps.GuardBandRight = caps.GuardBandBottom = 32768.0f;
    caps.StencilCaps = D3DSTENCILCAPS_KEEP | D3DSTENCILCAPS_ZERO | D3DSTENCILCAPS_REPLACE |
                       D3DSTENCILCAPS_INCRSAT | D3DSTENCILCAPS_DECRSAT | D3DSTENCILCAPS_INVERT |
                       D3DSTENCILCAPS_INCR | D3DSTENCILCAPS_DECR | D3DSTENCILCAPS_TWOSIDED;
    caps.FVFCaps = D3DFVFCAPS_PSIZE | kMaxStages;
    caps.TextureOpCaps =
        D3DTEXOPCAPS_DISABLE | D3DTEXOPCAPS_SELECTARG1 | D3DTEXOPCAPS_SELECTARG2 | D3DTEXOPCAPS_MODULATE |
        D3DTEXOPCAPS_MODULATE2X | D3DTEXOPCAPS_MODULATE4X | D3DTEXOPCAPS_ADD | D3DTEXOPCAPS_ADDSIGNED |
        D3DTEXOPCAPS_ADDSIGNED2X | D3DTEXOPCAPS_SUBTRACT | D3DTEXOPCAPS_ADDSMOOTH |
        D3DTEXOPCAPS_BLENDDIFFUSEALPHA | D3DTEXOPCAPS_BLENDTEXTUREALPHA | D3DTEXOPCAPS_BLENDFACTORALPHA |
        D3DTEXOPCAPS_BLENDTEXTUREALPHAPM | D3DTEXOPCAPS_BLENDCURRENTALPHA |
        D3DTEXOPCAPS_MODULATEALPHA_ADDCOLOR | D3DTEXOPCAPS_MODULATECOLOR_ADDALPHA |
        D3DTEXOPCAPS_MODULATEINVALPHA_ADDCOLOR | D3DTEXOPCAPS_MODULATEINVCOLOR_ADDALPHA |
        D3DTEXOPCAPS_PREMODULATE | D3DTEXOPCAPS_BUMPENVMAP | D3DTEXOPCAPS_BUMPENVMAPLUMINANCE |
        D3DTEXOPCAPS_DOTPRODUCT3 | D3DTEXOPCAPS_MULTIPLYADD | D3DTEXOPCAPS_LERP;
    caps.MaxTextureBlendStages = caps.MaxSimultaneousTextures = kMaxStages;
    caps.VertexProcessingCaps = D3DVTXPCAPS_TEXGEN | D3DVTXPCAPS_MATERIALSOURCE7 |
                                D3DVTXPCAPS_DIRECTIONALLIGHTS | D3DVTXPCAPS_POSITIONALLIGHTS |
                                D3DVTXPCAPS_LOCALVIEWER | D3DVTXPCAPS_TEXGEN_SPHEREMAP;
    caps.MaxActiveLights = kMaxLights;
    caps.MaxUserClipPlanes = std::min(kMaxClipPlanes, features.max_clip_distances);
    caps.MaxVertexBlendMatrices = 4;
    caps.MaxVertexBlendMatrixIndex = kMaxWorldMatrices - 1;
    caps.MaxPointSize = std::min(features.max_point_size, 256.0f);
    caps.MaxPrimitiveCount = 0x00555555;
    caps.MaxVertexIndex = 0x00ffffff;
    caps.MaxStreams = kMaxStreams;
    caps.MaxStreamStride = 1024;
    caps.VertexShaderVersion = D3DVS_VERSION(2, 0);
    caps.MaxVertexShaderConst = kVertexConstants;
    caps.PixelShaderVersion = D3DPS_VERSION(2, 0);
    caps.PixelShader1xMaxValue = 8.0f;
    caps.NumberOfAdaptersInGroup = 1;
    caps.DeclTypes = D3DDTCAPS_UBYTE4 | D3DDTCAPS_UBYTE4N | D3DDTCAPS_SHORT2N | D3DDTCAPS_SHORT4N |
                     D3DDTCAPS_USHORT2N | D3DDTCAPS_USHORT4N | D3DDTCAPS_FLOAT16_2 | D3DDTCAPS_FLOAT16_4;
    caps.NumSimultaneousRTs = 1;
    caps.VS20Caps.NumTemps = 12;
    caps.VS20Caps.StaticFlowControlDepth = 1;
    caps.PS20Caps.NumTemps = 12;
    caps.PS20Caps.NumInstructionSlots = 96;
    caps.MaxVShaderInstructionsExecuted = caps.MaxPShaderInstructionsExecuted = 65535;
}

}  // namespace platform::gl
