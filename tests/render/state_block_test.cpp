#include "render/state_block.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <tuple>

#include "io/memory_stream.h"
#include "scene/value_operations.h"
#include "support/engine_device.h"

namespace osm3d {
namespace {

using Bytes = std::vector<u8>;
using Texts = std::vector<std::string>;

template <class Block>
Bytes Written(Block block) {
    osmio::OutStreamMemory out;
    block.Write(&out);
    return out.GetData();
}

void ReadFrom(osmio::Serializable& block, const Bytes& bytes) {
    osmio::InStreamMemory in(bytes);
    EXPECT_TRUE(block.Read(&in));
    EXPECT_EQ(in.Tell(), static_cast<i32>(bytes.size()));
}

std::string State(D3DRENDERSTATETYPE state, u32 value) {
    return "SetRenderState(" + std::to_string(state) + ", " + std::to_string(value) + ")";
}
std::string Stage(u32 stage, D3DTEXTURESTAGESTATETYPE type, u32 value) {
    return "SetTextureStageState(" + std::to_string(stage) + ", " + std::to_string(type) + ", " +
           std::to_string(value) + ")";
}
std::string Sampler(u32 stage, D3DSAMPLERSTATETYPE type, u32 value) {
    return "SetSamplerState(" + std::to_string(stage) + ", " + std::to_string(type) + ", " +
           std::to_string(value) + ")";
}

// A block in which no field has its default.
RenderStateBlock Unusual(u32 mask) {
    RenderStateBlock b(mask);
    b.depthEnable = false;
    b.blendEnable = b.alphaTestEnable = b.reservedFlag = true;
    b.lighting = false;
    b.specularEnable = b.localViewer = b.normalizeNormals = true;
    b.indexedBlend = b.softwareVertexProcessing = b.stencilEnable = b.twoSidedStencil = b.clipping = true;
    b.depthMode = 2;
    b.destBlend = 5;
    b.srcBlend = 4;
    b.cullMode = 1;
    b.fillMode = 0;
    b.vertexBlend = 3;
    b.alphaFunc = 4;
    b.alphaRef = 0x80;
    b.stencilFail = 1;
    b.stencilDepthFail = 2;
    b.stencilPass = 6;
    b.stencilFunc = 3;
    b.stencilMask = 0x11223344;
    b.stencilWriteMask = 0x55667788;
    b.stencilRef = 0x99aabbcc;
    b.ccwStencilFail = 3;
    b.ccwStencilDepthFail = 4;
    b.ccwStencilPass = 7;
    b.ccwStencilFunc = 5;
    b.colorWriteMask = 0x0d;
    return b;
}

const Bytes kUnusualRecord = {0xff, 0xff, 0,    0,                                      // mask
                              1,    5,    4,    1,    4,    0x80, 0x0d, 0,    0,    0,  // colour output
                              0,    2,                                                  // depth
                              1,    0,    1,                                            // rasteriser
                              0,    1,    1,    1,                                      // lighting
                              1,    3,    1,                                            // vertex blending
                              1,    1,    2,    6,    3,    0x44, 0x33, 0x22, 0x11, 0x88, 0x77,
                              0x66, 0x55, 0xcc, 0xbb, 0xaa, 0x99, 1,    3,    4,    7,    5};

TEST(RenderStateBlockRecord, HoldsTheGroupsOfItsMaskInOrder) {
    RenderStateBlock block = Unusual(0xffff);
    EXPECT_EQ(Written(block), kUnusualRecord);

    RenderStateBlock read(0);
    ReadFrom(read, kUnusualRecord);
    EXPECT_EQ(read.mask, 0xffffu);
    EXPECT_FALSE(read.reservedFlag);
    EXPECT_EQ(Written(read), kUnusualRecord);
    EXPECT_EQ(read.stencilRef, 0x99aabbccu);
    EXPECT_TRUE(read.normalizeNormals);
}

TEST(RenderStateBlockRecord, LeavesOutOtherGroups) {
    const std::pair<u32, std::size_t> sizes[] = {{0, 4},    {1, 7},    {2, 14},     {4, 6},  {8, 26},
                                                 {0x10, 8}, {0x20, 7}, {0x8000, 4}, {14, 38}};
    for (const auto& [mask, size] : sizes) EXPECT_EQ(Written(Unusual(mask)).size(), size) << mask;
    RenderStateBlock read(0xffff);
    ReadFrom(read, {2, 0, 0, 0, 1, 3, 2, 1, 6, 9, 7, 0, 0, 0});
    EXPECT_TRUE(read.mask == 2 && read.destBlend == 3 && read.srcBlend == 2 && read.alphaFunc == 6 &&
                read.alphaRef == 9 && read.colorWriteMask == 7);
    EXPECT_TRUE(read.depthEnable && read.lighting && read.fillMode == 2 && read.stencilFunc == 7);
}

TEST(StageBlockRecord, IsFourteenBytesAFlagAndAMatrix) {
    Bytes record;
    for (u8 i = 0; i < 14; ++i) record.push_back(static_cast<u8>(20 + i));
    record.push_back(1);
    for (u32 i = 0; i < 16; ++i) {
        const f32 value = 0.5f + static_cast<f32>(i);
        record.resize(record.size() + 4);
        std::memcpy(&record[record.size() - 4], &value, 4);
    }
    TextureStageStateBlock read;
    ReadFrom(read, record);
    EXPECT_EQ(Written(read), record);
    const u32 fields[] = {read.colorOp,       read.colorArg1,     read.colorArg2, read.alphaOp,
                          read.alphaArg1,     read.alphaArg2,     read.addressU,  read.addressV,
                          read.addressW,      read.magFilter,     read.minFilter, read.mipFilter,
                          read.texCoordIndex, read.transformCount};
    for (u32 i = 0; i < 14; ++i) EXPECT_EQ(fields[i], 20 + i);
    EXPECT_EQ(read.matrix.m[3][2], 14.5f);
}

TEST(RenderStateBlockMerge, TakesTheSourcesGroupsAloneAndNeverClipping) {
    for (u32 group : {1u, 2u, 4u, 8u, 0x10u, 0x20u, 0x8000u}) {
        RenderStateBlock merged(0x40);
        merged.Merge(Unusual(group));
        EXPECT_EQ(merged.mask, 0x40 | group);
        EXPECT_FALSE(merged.clipping);
        EXPECT_EQ(merged.reservedFlag, group == 0x8000);

        // The same fields as a block that never met the others, apart from what the group governs.
        RenderStateBlock expected(0);
        Bytes record = Written(Unusual(group));
        if (group == 0x20) record.back() = 0;
        osmio::InStreamMemory in(record);
        expected.Read(&in);
        expected.mask = merged.mask = 0xffff;
        EXPECT_EQ(Written(merged), Written(expected)) << group;
    }
    RenderStateBlock untouched = RenderStateBlock::Default();
    untouched.Merge(Unusual(0));
    EXPECT_EQ(Written(untouched), Written(RenderStateBlock(0xffff)));
}

TEST(RenderStateBlockPresets, SetTheTwoFactors) {
    const u32 expected[][2] = {{1, 0}, {1, 1}, {4, 5}, {4, 1}};
    for (i32 preset : {-1, 0, 1, 2, 3, 4}) {
        RenderStateBlock block;
        block.srcBlend = 9;
        block.destBlend = 8;
        block.SetBlendPreset(preset);
        const bool known = preset >= 0 && preset < 4;
        EXPECT_EQ(block.srcBlend, known ? expected[preset][0] : 9u);
        EXPECT_EQ(block.destBlend, known ? expected[preset][1] : 8u);
        EXPECT_FALSE(block.blendEnable);
    }
}

// --------------------------------------------------------------------------------------- to the device

// Everything that a block of unusual values sends, in order.
const Texts kUnusualStates = {State(D3DRS_ALPHABLENDENABLE, 1),
                              State(D3DRS_DESTBLEND, D3DBLEND_INVSRCALPHA),
                              State(D3DRS_SRCBLEND, D3DBLEND_SRCALPHA),
                              State(D3DRS_ALPHATESTENABLE, 1),
                              State(D3DRS_ALPHAFUNC, D3DCMP_GREATER),
                              State(D3DRS_ALPHAREF, 0x80),
                              State(D3DRS_COLORWRITEENABLE, 0x0d),
                              State(D3DRS_ZENABLE, 0),
                              State(D3DRS_ZWRITEENABLE, 1),
                              State(D3DRS_ZFUNC, D3DCMP_ALWAYS),
                              State(D3DRS_CULLMODE, D3DCULL_CCW),
                              State(D3DRS_FILLMODE, D3DFILL_POINT),
                              State(D3DRS_CLIPPING, 1),
                              State(D3DRS_LIGHTING, 0),
                              State(D3DRS_SPECULARENABLE, 1),
                              State(D3DRS_LOCALVIEWER, 1),
                              State(D3DRS_NORMALIZENORMALS, 1),
                              State(D3DRS_INDEXEDVERTEXBLENDENABLE, 1),
                              State(D3DRS_VERTEXBLEND, D3DVBF_2WEIGHTS),
                              "SetSoftwareVertexProcessing(1)",
                              State(D3DRS_STENCILENABLE, 1),
                              State(D3DRS_STENCILFAIL, D3DSTENCILOP_ZERO),
                              State(D3DRS_STENCILZFAIL, D3DSTENCILOP_REPLACE),
                              State(D3DRS_STENCILPASS, D3DSTENCILOP_INCR),
                              State(D3DRS_STENCILFUNC, D3DCMP_LESSEQUAL),
                              State(D3DRS_STENCILREF, 0x99aabbcc),
                              State(D3DRS_STENCILMASK, 0x11223344),
                              State(D3DRS_STENCILWRITEMASK, 0x55667788),
                              State(D3DRS_TWOSIDEDSTENCILMODE, 1),
                              State(D3DRS_CCW_STENCILFAIL, D3DSTENCILOP_INCRSAT),
                              State(D3DRS_CCW_STENCILZFAIL, D3DSTENCILOP_DECRSAT),
                              State(D3DRS_CCW_STENCILPASS, D3DSTENCILOP_DECR),
                              State(D3DRS_CCW_STENCILFUNC, D3DCMP_NOTEQUAL)};

TEST(RenderStatesOnDevice, GoOutGroupByGroupAndOnceWithoutClippingThroughTheContext) {
    {
        support::EngineDevice engine;
        Unusual(0xffff).ApplyAll(engine.context());
        EXPECT_EQ(engine.recorded().Texts(), kUnusualStates);
    }
    support::EngineDevice fresh;
    fresh.context().ApplyRenderState(Unusual(0xffff));
    Texts expected = kUnusualStates;
    std::erase(expected, State(D3DRS_CLIPPING, 1));
    EXPECT_EQ(fresh.recorded().Texts(), expected);
    fresh.recorded().Clear();
    fresh.context().ApplyRenderState(Unusual(0xffff));
    EXPECT_TRUE(fresh.recorded().Calls().empty());
}

TEST(RenderStatesOnDevice, DifferencesAlone) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.ApplyRenderState(RenderStateBlock(0));
    context.ApplyDefaultRenderState();
    EXPECT_EQ(engine.recorded().Texts(), Texts());

    RenderStateBlock block(RenderStateBlock::kDepth);
    block.depthMode = 1;
    block.lighting = false;  // not among the groups of the block
    context.ApplyRenderState(block);
    EXPECT_EQ(engine.recorded().Texts(),
              (Texts{State(D3DRS_ZWRITEENABLE, 0), State(D3DRS_ZFUNC, D3DCMP_LESSEQUAL)}));
    EXPECT_TRUE(context.renderState.lighting);
    EXPECT_EQ(context.renderState.depthMode, 1u);
    EXPECT_EQ(context.renderState.mask, 0xffffu);
}

TEST(RenderStatesOnDevice, ForcedOverlayWinsUntilCleared) {
    support::EngineDevice engine;
    Context& context = engine.context();
    RenderStateBlock earlier(RenderStateBlock::kColorOutput);
    earlier.blendEnable = true;
    context.ApplyRenderState(earlier);
    engine.recorded().Clear();

    RenderStateBlock forced(RenderStateBlock::kRasterizer);
    forced.cullMode = 1;
    context.SetForcedRenderState(forced);
    EXPECT_EQ(engine.recorded().Texts(), Texts{State(D3DRS_CULLMODE, D3DCULL_CCW)});
    engine.recorded().Clear();

    RenderStateBlock conflicting(RenderStateBlock::kRasterizer | RenderStateBlock::kLighting);
    conflicting.cullMode = 2;
    conflicting.lighting = false;
    context.ApplyRenderState(conflicting);
    EXPECT_EQ(engine.recorded().Texts(), Texts{State(D3DRS_LIGHTING, 0)});
    engine.recorded().Clear();
    context.ApplyDefaultRenderState();
    EXPECT_EQ(engine.recorded().Texts(), (Texts{State(D3DRS_ALPHABLENDENABLE, 0), State(D3DRS_LIGHTING, 1)}));
    engine.recorded().Clear();

    context.ApplyRenderState(earlier);
    engine.recorded().Clear();
    context.ClearForcedRenderState();
    EXPECT_EQ(engine.recorded().Texts(),
              (Texts{State(D3DRS_ALPHABLENDENABLE, 0), State(D3DRS_CULLMODE, D3DCULL_CW)}));
    context.ApplyRenderState(conflicting);
    EXPECT_EQ(engine.recorded().Count("SetRenderState", {D3DRS_CULLMODE, D3DCULL_NONE}), 1u);
}

TEST(RenderStatesOnDevice, TranslateEveryNumberAndTakeAnyOther) {
    const auto counted = [](u32 from, u32 count) {
        std::vector<u32> values(count);
        std::iota(values.begin(), values.end(), from);
        return values;
    };
    using Block = RenderStateBlock;
    const std::tuple<u32 Block::*, D3DRENDERSTATETYPE, std::vector<u32>> rows[] = {
        {&Block::destBlend, D3DRS_DESTBLEND, counted(1, 13)},
        {&Block::srcBlend, D3DRS_SRCBLEND, counted(1, 13)},
        {&Block::cullMode, D3DRS_CULLMODE, {D3DCULL_CW, D3DCULL_CCW, D3DCULL_NONE}},
        {&Block::fillMode, D3DRS_FILLMODE, {D3DFILL_POINT, D3DFILL_WIREFRAME, D3DFILL_SOLID}},
        {&Block::vertexBlend,
         D3DRS_VERTEXBLEND,
         {D3DVBF_DISABLE, D3DVBF_0WEIGHTS, D3DVBF_1WEIGHTS, D3DVBF_2WEIGHTS, D3DVBF_3WEIGHTS,
          D3DVBF_TWEENING}},
        {&Block::alphaFunc, D3DRS_ALPHAFUNC, counted(1, 8)},
        {&Block::ccwStencilPass, D3DRS_CCW_STENCILPASS, counted(1, 8)},
        {&Block::ccwStencilFunc, D3DRS_CCW_STENCILFUNC, counted(1, 8)},
        {&Block::depthMode, D3DRS_ZWRITEENABLE, {1, 0, 1}},
        {&Block::depthMode, D3DRS_ZFUNC, {D3DCMP_LESSEQUAL, D3DCMP_LESSEQUAL, D3DCMP_ALWAYS}},
        {&Block::colorWriteMask, D3DRS_COLORWRITEENABLE, counted(0, 9)}};
    support::EngineDevice engine;
    for (const auto& [field, state, values] : rows) {
        for (u32 value = 0; value < 256; ++value) {
            Block block(0xffff);
            block.*field = value;
            engine.recorded().Clear();
            block.ApplyAll(engine.context());
            ASSERT_TRUE(engine.recorded().faults.empty()) << engine.recorded().faults[0];
            if (value >= values.size()) continue;
            EXPECT_EQ(engine.recorded().Count("SetRenderState", {state, values[value]}), 1u)
                << state << ' ' << value;
        }
    }
    for (u32 value = 0; value < 256; ++value) {
        TextureStageStateBlock stage;
        stage.colorOp = stage.alphaOp = stage.colorArg1 = stage.addressU = stage.minFilter = value;
        stage.texCoordIndex = stage.transformCount = value;
        engine.context().ApplyStage(value, stage);
    }
    EXPECT_TRUE(engine.recorded().faults.empty());
}

TEST(StagesOnDevice, DifferencesInOrder) {
    support::EngineDevice engine;
    Context& context = engine.context();
    context.ApplyStage(0, TextureStageStateBlock::Standard());
    EXPECT_EQ(engine.recorded().Texts(), Texts());

    TextureStageStateBlock block;
    block.colorOp = 11;
    block.colorArg1 = 3;
    block.colorArg2 = 7;
    block.alphaOp = 10;
    block.alphaArg1 = 0;
    block.alphaArg2 = 6;
    block.addressU = 1;
    block.addressV = 4;
    block.addressW = 3;
    block.magFilter = 3;
    block.minFilter = 2;
    block.mipFilter = 5;
    block.texCoordIndex = 19;
    block.transformProjected = true;
    context.ApplyStage(3, block);
    EXPECT_EQ(
        engine.recorded().Texts(),
        (Texts{Stage(3, D3DTSS_COLOROP, D3DTOP_MULTIPLYADD), Stage(3, D3DTSS_COLORARG1, D3DTA_TFACTOR),
               Stage(3, D3DTSS_COLORARG2, D3DTA_ALPHAREPLICATE), Stage(3, D3DTSS_ALPHAOP, D3DTOP_DOTPRODUCT3),
               Stage(3, D3DTSS_ALPHAARG1, D3DTA_DIFFUSE), Stage(3, D3DTSS_ALPHAARG2, D3DTA_COMPLEMENT),
               Sampler(3, D3DSAMP_ADDRESSU, D3DTADDRESS_MIRROR),
               Sampler(3, D3DSAMP_ADDRESSV, D3DTADDRESS_MIRRORONCE),
               Sampler(3, D3DSAMP_ADDRESSW, D3DTADDRESS_BORDER),
               Sampler(3, D3DSAMP_MINFILTER, D3DTEXF_LINEAR),
               Sampler(3, D3DSAMP_MAGFILTER, D3DTEXF_ANISOTROPIC),
               Sampler(3, D3DSAMP_MIPFILTER, D3DTEXF_GAUSSIANQUAD),
               Stage(3, D3DTSS_TEXCOORDINDEX, D3DTSS_TCI_CAMERASPACEREFLECTIONVECTOR),
               Stage(3, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_PROJECTED)}));
}

TEST(StagesOnDevice, SendTheMatrixWheneverThereIsACount) {
    support::EngineDevice engine;
    Context& context = engine.context();
    TextureStageStateBlock block;
    block.matrix.m[2][0] = 0.25f;
    context.ApplyStage(2, block);
    EXPECT_EQ(engine.recorded().Texts(), Texts());
    block.transformCount = 2;
    context.ApplyStage(2, block);
    context.ApplyStage(2, block);
    EXPECT_EQ(engine.recorded().Count("SetTextureStageState", {2, D3DTSS_TEXTURETRANSFORMFLAGS, 2}), 1u);
    const std::vector<support::Call> sent = engine.recorded().Named("SetTransform");
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].args[0], D3DTS_TEXTURE2);
    EXPECT_EQ(sent[1].floats[8], 0.25f);
}

TEST(StagesOnDevice, ResetLetsTheVertexColourThrough) {
    support::EngineDevice engine;
    Context& context = engine.context();
    TextureStageStateBlock block = TextureStageStateBlock::Standard();
    block.addressU = 2;
    context.ApplyStage(0, block);
    engine.recorded().Clear();
    context.ResetStages();
    EXPECT_EQ(engine.recorded().Texts(),
              (Texts{"SetTexture(0, 0)", Stage(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1),
                     Stage(0, D3DTSS_COLORARG1, D3DTA_CURRENT), Stage(0, D3DTSS_COLORARG2, D3DTA_TEXTURE),
                     Stage(0, D3DTSS_ALPHAARG1, D3DTA_CURRENT), Stage(0, D3DTSS_ALPHAARG2, D3DTA_TEXTURE),
                     // Stage 1 becomes a copy of stage 0, switched off.
                     Stage(1, D3DTSS_COLORARG1, D3DTA_CURRENT), Stage(1, D3DTSS_COLORARG2, D3DTA_TEXTURE),
                     Stage(1, D3DTSS_ALPHAARG1, D3DTA_CURRENT), Stage(1, D3DTSS_ALPHAARG2, D3DTA_TEXTURE),
                     Sampler(1, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP)}));
    engine.recorded().Clear();
    context.ResetStages();
    EXPECT_EQ(engine.recorded().Texts(), Texts{"SetTexture(0, 0)"});
}

}  // namespace
}  // namespace osm3d
