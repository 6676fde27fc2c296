#include "render/state_block.h"

#include <array>
#include <bit>
#include <iterator>

#include "io/stream.h"
#include "platform/d3d9/d3d9.h"
#include "render/context.h"
#include "scene/value_operations.h"

namespace osm3d {

namespace {

template <std::size_t N>
constexpr DWORD Lookup(const DWORD (&table)[N], u32 value, u32 fallback) {
    return table[value < N ? value : fallback];
}

// Values that count on from the first Direct3D value, 1.
constexpr DWORD Numbered(u32 value, u32 count, u32 fallback) {
    return (value < count ? value : fallback) + 1;
}
constexpr DWORD Blend(u32 value, u32 fallback) { return Numbered(value, 13, fallback); }
constexpr DWORD Compare(u32 value) { return Numbered(value, 8, 7); }
constexpr DWORD StencilOperation(u32 value) { return Numbered(value, 8, 0); }

constexpr DWORD kCullModes[] = {D3DCULL_CW, D3DCULL_CCW, D3DCULL_NONE};
constexpr DWORD kFillModes[] = {D3DFILL_POINT, D3DFILL_WIREFRAME, D3DFILL_SOLID};
constexpr DWORD kVertexBlends[] = {D3DVBF_DISABLE,  D3DVBF_0WEIGHTS, D3DVBF_1WEIGHTS,
                                   D3DVBF_2WEIGHTS, D3DVBF_3WEIGHTS, D3DVBF_TWEENING};
constexpr DWORD kDepthWrites[] = {TRUE, FALSE, TRUE};
constexpr DWORD kDepthFunctions[] = {D3DCMP_LESSEQUAL, D3DCMP_LESSEQUAL, D3DCMP_ALWAYS};

constexpr DWORD kStageOperations[] = {D3DTOP_DISABLE,  D3DTOP_SELECTARG1,  D3DTOP_SELECTARG2,
                                      D3DTOP_MODULATE, D3DTOP_MODULATE2X,  D3DTOP_MODULATE4X,
                                      D3DTOP_ADD,      D3DTOP_ADDSIGNED,   D3DTOP_ADDSIGNED2X,
                                      D3DTOP_SUBTRACT, D3DTOP_DOTPRODUCT3, D3DTOP_MULTIPLYADD};
constexpr DWORD kStageArguments[] = {D3DTA_DIFFUSE,  D3DTA_CURRENT, D3DTA_TEXTURE,    D3DTA_TFACTOR,
                                     D3DTA_SPECULAR, D3DTA_TEMP,    D3DTA_COMPLEMENT, D3DTA_ALPHAREPLICATE};
constexpr DWORD kAddressModes[] = {D3DTADDRESS_WRAP, D3DTADDRESS_MIRROR, D3DTADDRESS_CLAMP,
                                   D3DTADDRESS_BORDER, D3DTADDRESS_MIRRORONCE};
constexpr DWORD kFilters[] = {D3DTEXF_NONE,        D3DTEXF_POINT,         D3DTEXF_LINEAR,
                              D3DTEXF_ANISOTROPIC, D3DTEXF_PYRAMIDALQUAD, D3DTEXF_GAUSSIANQUAD};

DWORD CoordinateIndex(u32 value) {
    if (value <= 16) return value;
    switch (value) {
        case 17:
            return D3DTSS_TCI_CAMERASPACENORMAL;
        case 18:
            return D3DTSS_TCI_CAMERASPACEPOSITION;
        case 19:
            return D3DTSS_TCI_CAMERASPACEREFLECTIONVECTOR;
        default:
            return 0;
    }
}

// One stored byte into a word-sized field; the field keeps its value where the stream has ended.
void ReadByte(osmio::InStream* in, u32& field) {
    u8 value = static_cast<u8>(field);
    in->ReadU8(&value);
    field = value;
}

void ReadWord(osmio::InStream* in, u32& field) {
    i32 value = std::bit_cast<i32>(field);
    in->ReadI32(&value);
    field = std::bit_cast<u32>(value);
}

void WriteByte(osmio::OutStream* out, u32 field) { out->WriteU8(static_cast<u8>(field)); }
void WriteWord(osmio::OutStream* out, u32 field) { out->WriteI32(std::bit_cast<i32>(field)); }

constexpr auto kAlways = [](auto) { return true; };

}  // namespace

// ---------------------------------------------------------------------------------------- render states

const RenderStateBlock& RenderStateBlock::Default() {
    static const RenderStateBlock block(kComplete);
    return block;
}

bool RenderStateBlock::Read(osmio::InStream* in) {
    ReadWord(in, mask);
    if (mask & kColorOutput) {
        in->ReadBool(&blendEnable);
        ReadByte(in, destBlend);
        ReadByte(in, srcBlend);
        in->ReadBool(&alphaTestEnable);
        ReadByte(in, alphaFunc);
        in->ReadU8(&alphaRef);
        ReadWord(in, colorWriteMask);
    }
    if (mask & kDepth) {
        in->ReadBool(&depthEnable);
        ReadByte(in, depthMode);
    }
    if (mask & kRasterizer) {
        ReadByte(in, cullMode);
        ReadByte(in, fillMode);
        in->ReadBool(&clipping);
    }
    if (mask & kLighting) {
        in->ReadBool(&lighting);
        in->ReadBool(&specularEnable);
        in->ReadBool(&normalizeNormals);
        in->ReadBool(&localViewer);
    }
    if (mask & kVertexBlending) {
        in->ReadBool(&indexedBlend);
        ReadByte(in, vertexBlend);
        in->ReadBool(&softwareVertexProcessing);
    }
    if (mask & kStencil) {
        in->ReadBool(&stencilEnable);
        ReadByte(in, stencilFail);
        ReadByte(in, stencilDepthFail);
        ReadByte(in, stencilPass);
        ReadByte(in, stencilFunc);
        ReadWord(in, stencilMask);
        ReadWord(in, stencilWriteMask);
        ReadWord(in, stencilRef);
        in->ReadBool(&twoSidedStencil);
        ReadByte(in, ccwStencilFail);
        ReadByte(in, ccwStencilDepthFail);
        ReadByte(in, ccwStencilPass);
        ReadByte(in, ccwStencilFunc);
    }
    return true;
}

void RenderStateBlock::Write(osmio::OutStream* out) {
    WriteWord(out, mask);
    if (mask & kColorOutput) {
        out->WriteBool(blendEnable);
        WriteByte(out, destBlend);
        WriteByte(out, srcBlend);
        out->WriteBool(alphaTestEnable);
        WriteByte(out, alphaFunc);
        out->WriteU8(alphaRef);
        WriteWord(out, colorWriteMask);
    }
    if (mask & kDepth) {
        out->WriteBool(depthEnable);
        WriteByte(out, depthMode);
    }
    if (mask & kRasterizer) {
        WriteByte(out, cullMode);
        WriteByte(out, fillMode);
        out->WriteBool(clipping);
    }
    if (mask & kLighting) {
        out->WriteBool(lighting);
        out->WriteBool(specularEnable);
        out->WriteBool(normalizeNormals);
        out->WriteBool(localViewer);
    }
    if (mask & kVertexBlending) {
        out->WriteBool(indexedBlend);
        WriteByte(out, vertexBlend);
        out->WriteBool(softwareVertexProcessing);
    }
    if (mask & kStencil) {
        out->WriteBool(stencilEnable);
        WriteByte(out, stencilFail);
        WriteByte(out, stencilDepthFail);
        WriteByte(out, stencilPass);
        WriteByte(out, stencilFunc);
        WriteWord(out, stencilMask);
        WriteWord(out, stencilWriteMask);
        WriteWord(out, stencilRef);
        out->WriteBool(twoSidedStencil);
        WriteByte(out, ccwStencilFail);
        WriteByte(out, ccwStencilDepthFail);
        WriteByte(out, ccwStencilPass);
        WriteByte(out, ccwStencilFunc);
    }
}

void RenderStateBlock::Merge(const RenderStateBlock& source) {
    if (source.mask & kColorOutput) {
        blendEnable = source.blendEnable;
        destBlend = source.destBlend;
        srcBlend = source.srcBlend;
        alphaTestEnable = source.alphaTestEnable;
        alphaFunc = source.alphaFunc;
        alphaRef = source.alphaRef;
        colorWriteMask = source.colorWriteMask;
    }
    if (source.mask & kDepth) {
        depthEnable = source.depthEnable;
        depthMode = source.depthMode;
    }
    if (source.mask & kRasterizer) {
        cullMode = source.cullMode;
        fillMode = source.fillMode;
    }
    if (source.mask & kLighting) {
        lighting = source.lighting;
        specularEnable = source.specularEnable;
        localViewer = source.localViewer;
        normalizeNormals = source.normalizeNormals;
    }
    if (source.mask & kVertexBlending) {
        indexedBlend = source.indexedBlend;
        vertexBlend = source.vertexBlend;
        softwareVertexProcessing = source.softwareVertexProcessing;
    }
    if (source.mask & kStencil) {
        stencilEnable = source.stencilEnable;
        twoSidedStencil = source.twoSidedStencil;
        stencilFail = source.stencilFail;
        stencilDepthFail = source.stencilDepthFail;
        stencilPass = source.stencilPass;
        stencilFunc = source.stencilFunc;
        stencilMask = source.stencilMask;
        stencilWriteMask = source.stencilWriteMask;
        stencilRef = source.stencilRef;
        ccwStencilFail = source.ccwStencilFail;
        ccwStencilDepthFail = source.ccwStencilDepthFail;
        ccwStencilPass = source.ccwStencilPass;
        ccwStencilFunc = source.ccwStencilFunc;
    }
    if (source.mask & kReserved) reservedFlag = source.reservedFlag;
    mask |= source.mask;
}

template <class Changed>
void RenderStateBlock::Apply(Context& context, Changed changed) const {
    using Block = RenderStateBlock;
    IDirect3DDevice9& device = *context.device;
    const auto flag = [&](bool Block::*field, D3DRENDERSTATETYPE state) {
        if (changed(field)) device.SetRenderState(state, this->*field ? TRUE : FALSE);
    };
    const auto word = [&](u32 Block::*field, D3DRENDERSTATETYPE state, DWORD value) {
        if (changed(field)) device.SetRenderState(state, value);
    };

    if (mask & kColorOutput) {
        flag(&Block::blendEnable, D3DRS_ALPHABLENDENABLE);
        word(&Block::destBlend, D3DRS_DESTBLEND, Blend(destBlend, 0));
        word(&Block::srcBlend, D3DRS_SRCBLEND, Blend(srcBlend, 1));
        flag(&Block::alphaTestEnable, D3DRS_ALPHATESTENABLE);
        word(&Block::alphaFunc, D3DRS_ALPHAFUNC, Compare(alphaFunc));
        if (changed(&Block::alphaRef)) device.SetRenderState(D3DRS_ALPHAREF, alphaRef);
        word(&Block::colorWriteMask, D3DRS_COLORWRITEENABLE, colorWriteMask & 15);
    }
    if (mask & kDepth) {
        flag(&Block::depthEnable, D3DRS_ZENABLE);
        word(&Block::depthMode, D3DRS_ZWRITEENABLE, Lookup(kDepthWrites, depthMode, 0));
        word(&Block::depthMode, D3DRS_ZFUNC, Lookup(kDepthFunctions, depthMode, 0));
    }
    if (mask & kRasterizer) {
        word(&Block::cullMode, D3DRS_CULLMODE, Lookup(kCullModes, cullMode, 0));
        word(&Block::fillMode, D3DRS_FILLMODE, Lookup(kFillModes, fillMode, 2));
        flag(&Block::clipping, D3DRS_CLIPPING);
    }
    if (mask & kLighting) {
        flag(&Block::lighting, D3DRS_LIGHTING);
        flag(&Block::specularEnable, D3DRS_SPECULARENABLE);
        flag(&Block::localViewer, D3DRS_LOCALVIEWER);
        flag(&Block::normalizeNormals, D3DRS_NORMALIZENORMALS);
    }
    if (mask & kVertexBlending) {
        flag(&Block::indexedBlend, D3DRS_INDEXEDVERTEXBLENDENABLE);
        word(&Block::vertexBlend, D3DRS_VERTEXBLEND, Lookup(kVertexBlends, vertexBlend, 0));
        if (changed(&Block::softwareVertexProcessing))
            device.SetSoftwareVertexProcessing(softwareVertexProcessing ? TRUE : FALSE);
    }
    if (mask & kStencil) {
        flag(&Block::stencilEnable, D3DRS_STENCILENABLE);
        word(&Block::stencilFail, D3DRS_STENCILFAIL, StencilOperation(stencilFail));
        word(&Block::stencilDepthFail, D3DRS_STENCILZFAIL, StencilOperation(stencilDepthFail));
        word(&Block::stencilPass, D3DRS_STENCILPASS, StencilOperation(stencilPass));
        word(&Block::stencilFunc, D3DRS_STENCILFUNC, Compare(stencilFunc));
        word(&Block::stencilRef, D3DRS_STENCILREF, stencilRef);
        word(&Block::stencilMask, D3DRS_STENCILMASK, stencilMask);
        word(&Block::stencilWriteMask, D3DRS_STENCILWRITEMASK, stencilWriteMask);
        flag(&Block::twoSidedStencil, D3DRS_TWOSIDEDSTENCILMODE);
        word(&Block::ccwStencilFail, D3DRS_CCW_STENCILFAIL, StencilOperation(ccwStencilFail));
        word(&Block::ccwStencilDepthFail, D3DRS_CCW_STENCILZFAIL, StencilOperation(ccwStencilDepthFail));
        word(&Block::ccwStencilPass, D3DRS_CCW_STENCILPASS, StencilOperation(ccwStencilPass));
        word(&Block::ccwStencilFunc, D3DRS_CCW_STENCILFUNC, Compare(ccwStencilFunc));
    }
}

void RenderStateBlock::ApplyDifferences(const RenderStateBlock& current, Context& context) const {
    Apply(context, [&](auto field) { return this->*field != current.*field; });
}

void RenderStateBlock::ApplyAll(Context& context) const { Apply(context, kAlways); }

void RenderStateBlock::SetBlendPreset(i32 preset) {
    static constexpr struct { u32 source, destination; } kPresets[] = {{1, 0}, {1, 1}, {4, 5}, {4, 1}};
    if (preset < 0 || preset >= static_cast<i32>(std::size(kPresets))) return;
    srcBlend = kPresets[preset].source;
    destBlend = kPresets[preset].destination;
}

// --------------------------------------------------------------------------------------- texture stages

TextureStageStateBlock::TextureStageStateBlock() : matrix(kMatrixIdentity) {}

const TextureStageStateBlock& TextureStageStateBlock::Standard() {
    static const TextureStageStateBlock block = [] {
        TextureStageStateBlock standard;
        standard.colorOp = 3;
        standard.alphaOp = 1;
        return standard;
    }();
    return block;
}

namespace {

// The fields that are stored as one byte each, in stored order.
constexpr std::array kStoredBytes = {
    &TextureStageStateBlock::colorOp,       &TextureStageStateBlock::colorArg1,
    &TextureStageStateBlock::colorArg2,     &TextureStageStateBlock::alphaOp,
    &TextureStageStateBlock::alphaArg1,     &TextureStageStateBlock::alphaArg2,
    &TextureStageStateBlock::addressU,      &TextureStageStateBlock::addressV,
    &TextureStageStateBlock::addressW,      &TextureStageStateBlock::magFilter,
    &TextureStageStateBlock::minFilter,     &TextureStageStateBlock::mipFilter,
    &TextureStageStateBlock::texCoordIndex, &TextureStageStateBlock::transformCount};
static_assert(kStoredBytes.size() == 14);

}  // namespace

bool TextureStageStateBlock::Read(osmio::InStream* in) {
    for (u32 TextureStageStateBlock::*field : kStoredBytes) ReadByte(in, this->*field);
    in->ReadBool(&transformProjected);
    in->ReadBytes(matrix.Data(), sizeof matrix);
    return true;
}

void TextureStageStateBlock::Write(osmio::OutStream* out) {
    for (u32 TextureStageStateBlock::*field : kStoredBytes) WriteByte(out, this->*field);
    out->WriteBool(transformProjected);
    out->WriteBytes(matrix.Data(), sizeof matrix);
}

template <class Changed>
void TextureStageStateBlock::Apply(u32 stage, Context& context, Changed changed) const {
    using Block = TextureStageStateBlock;
    IDirect3DDevice9& device = *context.device;
    const auto state = [&](u32 Block::*field, D3DTEXTURESTAGESTATETYPE type, DWORD value) {
        if (changed(field)) device.SetTextureStageState(stage, type, value);
    };
    const auto sampler = [&](u32 Block::*field, D3DSAMPLERSTATETYPE type, DWORD value) {
        if (changed(field)) device.SetSamplerState(stage, type, value);
    };

    state(&Block::colorOp, D3DTSS_COLOROP, Lookup(kStageOperations, colorOp, 0));
    state(&Block::colorArg1, D3DTSS_COLORARG1, Lookup(kStageArguments, colorArg1, 2));
    state(&Block::colorArg2, D3DTSS_COLORARG2, Lookup(kStageArguments, colorArg2, 1));
    state(&Block::alphaOp, D3DTSS_ALPHAOP, Lookup(kStageOperations, alphaOp, 0));
    state(&Block::alphaArg1, D3DTSS_ALPHAARG1, Lookup(kStageArguments, alphaArg1, 2));
    state(&Block::alphaArg2, D3DTSS_ALPHAARG2, Lookup(kStageArguments, alphaArg2, 1));
    sampler(&Block::addressU, D3DSAMP_ADDRESSU, Lookup(kAddressModes, addressU, 0));
    sampler(&Block::addressV, D3DSAMP_ADDRESSV, Lookup(kAddressModes, addressV, 0));
    sampler(&Block::addressW, D3DSAMP_ADDRESSW, Lookup(kAddressModes, addressW, 0));
    sampler(&Block::minFilter, D3DSAMP_MINFILTER, Lookup(kFilters, minFilter, 1));
    sampler(&Block::magFilter, D3DSAMP_MAGFILTER, Lookup(kFilters, magFilter, 1));
    sampler(&Block::mipFilter, D3DSAMP_MIPFILTER, Lookup(kFilters, mipFilter, 0));
    state(&Block::texCoordIndex, D3DTSS_TEXCOORDINDEX, CoordinateIndex(texCoordIndex));
    if (changed(&Block::transformCount) || changed(&Block::transformProjected)) {
        DWORD flags = transformCount <= 4 ? transformCount : 0;
        if (transformProjected) flags |= D3DTTFF_PROJECTED;
        device.SetTextureStageState(stage, D3DTSS_TEXTURETRANSFORMFLAGS, flags);
    }
    if (transformCount != 0) {
        const D3DMATRIX m = std::bit_cast<D3DMATRIX>(matrix);
        device.SetTransform(static_cast<D3DTRANSFORMSTATETYPE>(D3DTS_TEXTURE0 + stage), &m);
    }
}

void TextureStageStateBlock::ApplyDifferences(const TextureStageStateBlock& current, u32 stage,
                                              Context& context) const {
    Apply(stage, context, [&](auto field) { return this->*field != current.*field; });
}

void TextureStageStateBlock::ApplyAll(u32 stage, Context& context) const { Apply(stage, context, kAlways); }

}  // namespace osm3d
