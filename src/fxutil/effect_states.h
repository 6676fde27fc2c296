// The states that a pass or a sampler may set: their names in effect texts and what they mean to the device.
#pragma once

#include <optional>
#include <string_view>

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace fxutil {

enum class EffectStateKind : u8 {
    kRender,         ///< SetRenderState
    kStage,          ///< SetTextureStageState, index: stage
    kSampler,        ///< SetSamplerState, index: sampler
    kTexture,        ///< SetTexture, index: sampler
    kSamplerObject,  ///< a whole sampler, index: sampler
    kVertexShader,
    kPixelShader,
    kTransform,       ///< SetTransform of `state` + index
    kMaterial,        ///< SetMaterial; `state`: offset in floats within D3DMATERIAL9
    kVertexConstant,  ///< SetVertexShaderConstantF, index: register
    kPixelConstant,   ///< SetPixelShaderConstantF, index: register
};

/// What a state's value is written as, beside a number.
enum class EffectValueKind : u8 {
    kBool,
    kInt,
    kFloat,
    kColor,   ///< 0xAARRGGBB, or a vector of red, green, blue and alpha in 0 to 1
    kSymbol,  ///< one word, or several joined with |
    kVector,  ///< four floats
    kMatrix,  ///< sixteen floats in row order
    kObject,
};

/// A word that stands for a value.
struct EffectSymbol {
    std::string_view name;
    DWORD value;
};

struct EffectStateInfo {
    std::string_view name;
    EffectStateKind kind;
    EffectValueKind value;
    /// D3DRENDERSTATETYPE, D3DTEXTURESTAGESTATETYPE, D3DSAMPLERSTATETYPE or as the kind says.
    u32 state;
    /// Indices that the state takes; 0 when it takes none.
    u32 indices;
    /// What the words begin with in the headers of Direct3D ("D3DCULL_"); they may stand with or without it.
    std::string_view prefix;
    const EffectSymbol* symbols;
    u32 symbol_count;
};

/// By its name in any case; null for none.
const EffectStateInfo* FindEffectState(std::string_view name);
/// The value of a word, in any case. Beside the state's own words TRUE and FALSE are 1 and 0.
std::optional<DWORD> FindEffectSymbol(const EffectStateInfo& info, std::string_view word);

}  // namespace fxutil
