// What an effect text says, before anything is compiled or bound to a device.
#pragma once

#include <string>
#include <vector>

#include "fxutil/effect.h"
#include "fxutil/effect_states.h"
#include "fxutil/effect_text.h"

namespace fxutil {

/// Numbers that all parameters of one effect may hold together, and parameters with all elements and members.
inline constexpr u32 kMaxEffectCells = 65536;
inline constexpr u32 kMaxEffectNodes = 16384;
inline constexpr u32 kMaxEffectShaders = 128;
/// Structures within structures.
inline constexpr u32 kMaxEffectDepth = 16;

struct EffectStructure;

struct EffectType {
    D3DXPARAMETER_CLASS type_class = D3DXPC_SCALAR;
    D3DXPARAMETER_TYPE type = D3DXPT_FLOAT;
    u32 rows = 1, columns = 1;
    /// With D3DXPC_STRUCT; index into EffectDocument::structures.
    u32 structure = 0;

    bool IsNumeric() const { return type_class <= D3DXPC_MATRIX_COLUMNS && type != D3DXPT_VOID; }
    bool IsTexture() const { return type >= D3DXPT_TEXTURE && type <= D3DXPT_TEXTURECUBE; }
    bool IsSampler() const { return type >= D3DXPT_SAMPLER && type <= D3DXPT_SAMPLERCUBE; }
    bool IsShader() const { return type == D3DXPT_PIXELSHADER || type == D3DXPT_VERTEXSHADER; }
};

struct EffectMember {
    std::string name, semantic;
    EffectType type;
    /// 0 for what is no array.
    u32 elements = 0;
};

struct EffectStructure {
    std::string name;
    std::vector<EffectMember> members;
    /// Numbers in one of them.
    u32 cells = 0;
    /// Structures within it, counted inwards.
    u32 depth = 0;
    /// Holds something that no parameter can hold; good for functions alone.
    bool opaque = false;
};

/// A state set to a value by a pass or a sampler.
struct EffectAssignment {
    enum class Source : u8 { kValue, kParameter, kShader };

    const EffectStateInfo* info = nullptr;
    u32 index = 0;
    Source source = Source::kValue;
    /// kValue: one DWORD, or the bits of the floats of a vector or matrix. Empty for no texture or shader.
    std::vector<u32> cells;
    /// kParameter: which, and which element of an array.
    u32 parameter = 0, element = 0;
    /// kShader: which.
    u32 shader = 0;
    TextPosition at;
};

struct EffectParameter {
    std::string name, semantic;
    EffectType type;
    u32 elements = 0;
    /// Default values of all elements, in row order: bits of floats, integers, 0 and 1.
    std::vector<u32> cells;
    /// Of a string.
    std::string text;
    /// Of a sampler.
    std::vector<EffectAssignment> states;
    /// Of a shader: index into EffectDocument::shaders, or kMaxEffectShaders.
    u32 shader = kMaxEffectShaders;
    std::vector<EffectParameter> annotations;
    /// A number that the compiler knew: setting it changes no shader.
    bool compiled_in = false;
    TextPosition at;
};

struct EffectPass {
    std::string name;
    std::vector<EffectParameter> annotations;
    std::vector<EffectAssignment> states;
};

struct EffectTechnique {
    std::string name;
    std::vector<EffectParameter> annotations;
    std::vector<EffectPass> passes;
};

/// One function compiled for one profile.
struct EffectShader {
    std::string profile, entry;
    TextPosition at;
    bool IsVertex() const { return profile[0] == 'v'; }
};

struct EffectDocument {
    std::vector<EffectStructure> structures;
    std::vector<EffectParameter> parameters;
    std::vector<EffectTechnique> techniques;
    std::vector<EffectShader> shaders;
    u32 functions = 0;
    /// The HLSL that is left, every word at its line, and at its column where macros allow.
    std::string hlsl;
};

/// Numbers in a value of a type, all elements together; kMaxEffectCells + 1 for too many.
u32 CountCells(const EffectDocument& document, const EffectType& type, u32 elements);

}  // namespace fxutil
