// The engine's vocabulary of fixed-function state. Values are small numbers of our own, as scene files store
// them in single bytes; they become Direct3D values at the moment that they change. A number that its table
// does not have (a damaged file) is stored and compared as it stands, and goes to the device as the field's
// default.
#pragma once

#include "io/serializable.h"
#include "platform/types.h"
#include "scene/value_types.h"

namespace osm3d {

class Context;

/// Render states in groups; `mask` tells the groups that count. 0xffff is a complete block, 0 an empty
/// overlay. Plain data: copying copies every field and the mask. No operation allocates.
class RenderStateBlock : public osmio::Serializable {
  public:
    enum Group : u32 {
        kVertexBlending = 1,
        kColorOutput = 2,  ///< blending, alpha test, colour write mask
        kDepth = 4,
        kStencil = 8,
        kLighting = 0x10,
        kRasterizer = 0x20,
        kReserved = 0x8000,
        kComplete = 0xffff,
    };

    explicit RenderStateBlock(u32 mask_ = 0) : mask(mask_) {}

    /// The process-wide complete block of default values.
    static const RenderStateBlock& Default();

    /// Fields of groups that are not in the stored mask keep their values. Always true.
    bool Read(osmio::InStream* in) override;
    /// Writes the bare record: blocks stand inside other objects' chunks.
    void Write(osmio::OutStream* out) override;

    /// Copies the groups in `source.mask` into this block and adds them to its mask. `clipping` stays behind.
    void Merge(const RenderStateBlock& source);

    /// Sends to the device each field of this block's groups that differs from `current`.
    void ApplyDifferences(const RenderStateBlock& current, Context& context) const;
    /// Sends every field of this block's groups.
    void ApplyAll(Context& context) const;

    /// 0 replace, 1 add, 2 by source alpha, 3 add times source alpha; anything else changes nothing. Sets the
    /// two factors alone, not `blendEnable`.
    void SetBlendPreset(i32 preset);

    bool depthEnable = true;
    bool blendEnable = false;
    bool alphaTestEnable = false;
    bool reservedFlag = false;  ///< kept and merged only
    bool lighting = true;
    bool specularEnable = false;
    bool localViewer = false;
    bool normalizeNormals = false;
    bool indexedBlend = false;
    bool softwareVertexProcessing = false;
    bool stencilEnable = false;
    bool twoSidedStencil = false;
    bool clipping = false;
    u32 depthMode = 0;  ///< 0 write and test, 1 test without writing, 2 write always
    u32 destBlend = 0;  ///< 0 to 12: zero, one, source colour, ... as the D3DBLEND values less one
    u32 srcBlend = 1;
    u32 cullMode = 0;     ///< 0 clockwise, 1 counter-clockwise, 2 none
    u32 fillMode = 2;     ///< 0 points, 1 wireframe, 2 solid
    u32 vertexBlend = 0;  ///< 0 off, 1 to 4: none to three weights, 5 tweening
    u32 alphaFunc = 7;    ///< compare values 0 to 7: never ... always
    u8 alphaRef = 0;
    u32 stencilFail = 0;  ///< stencil operations 0 to 7: keep ... decrement with wrapping
    u32 stencilDepthFail = 0;
    u32 stencilPass = 0;
    u32 stencilFunc = 7;
    u32 stencilMask = 0xffffffff;
    u32 stencilWriteMask = 0xffffffff;
    u32 stencilRef = 0;
    u32 ccwStencilFail = 0;
    u32 ccwStencilDepthFail = 0;
    u32 ccwStencilPass = 0;
    u32 ccwStencilFunc = 7;
    u32 colorWriteMask = 15;  ///< bits 0 to 3: red, green, blue, alpha
    u32 mask;

  private:
    template <class Changed>
    void Apply(Context& context, Changed changed) const;
};

/// One texture stage with its sampler. Plain data, no mask: every field counts.
class TextureStageStateBlock : public osmio::Serializable {
  public:
    TextureStageStateBlock();

    /// Texture times current colour, alpha of the texture; what effects start from.
    static const TextureStageStateBlock& Standard();

    /// 79 bytes. Always true.
    bool Read(osmio::InStream* in) override;
    void Write(osmio::OutStream* out) override;

    /// Sends what differs from `current`; the matrix goes out whenever `transformCount` is not 0.
    void ApplyDifferences(const TextureStageStateBlock& current, u32 stage, Context& context) const;
    void ApplyAll(u32 stage, Context& context) const;

    u32 colorOp = 0;  ///< 0 disable, 1, 2 select argument, 3 to 5 modulate (2x, 4x), 6 to 8 add, 9 subtract,
                      ///< 10 dot product, 11 multiply and add
    u32 colorArg1 = 2;  ///< 0 diffuse, 1 current, 2 texture, 3 texture factor, 4 specular, 5 temporary
                        ///< register, 6 complement, 7 alpha replicated
    u32 colorArg2 = 1;
    u32 alphaOp = 0;
    u32 alphaArg1 = 2;
    u32 alphaArg2 = 1;
    u32 addressU = 0;  ///< 0 wrap, 1 mirror, 2 clamp, 3 border, 4 mirror once
    u32 addressV = 0;
    u32 addressW = 0;
    u32 magFilter = 1;  ///< 0 none, 1 point, 2 linear, 3 anisotropic, 4 pyramidal quad, 5 gaussian quad
    u32 minFilter = 1;
    u32 mipFilter = 0;
    u32 texCoordIndex =
        0;  ///< a coordinate set, or generated in camera space: 17 normal, 18 position, 19 reflection
    u32 transformCount = 0;  ///< 0 no texture matrix, 1 to 4 coordinates out of it
    bool transformProjected = false;
    osm3d::matrix matrix;  ///< identity at start

  private:
    template <class Changed>
    void Apply(u32 stage, Context& context, Changed changed) const;
};

}  // namespace osm3d
