// The compiler of shaders: HLSL functions in, the stream that CreateVertexShader and CreatePixelShader of
// this machine's device take out. What stands behind it depends on the machine; a test can put its own there.
//
// Constants and samplers follow Direct3D 9: a global without `static` or `const` is a constant that the
// program sets through Set*ShaderConstant*, and its place is told here as far as the entry function uses it.
// `: register(cN)` asks for a place; otherwise it is the compiler's choice, on Windows that of the system's.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace platform {

struct ShaderRequest {
    /// HLSL: globals, structures, functions, of all shaders together; what the entry does not reach is left
    /// out. Statements of effect texts (techniques, annotations, sampler states, texture objects) must be
    /// gone already and macros expanded (a '#' is refused), with the line breaks kept so that messages fit.
    /// Comments may stay. So may default values and semantics of globals; they are not compiled in.
    std::string_view text;
    /// Name of the function to run.
    std::string entry;
    /// "vs_1_1", "vs_2_0", "vs_2_a", "ps_1_1" to "ps_1_4", "ps_2_0", "ps_2_a", "ps_2_b".
    std::string profile;
};

enum class ShaderRegisterSet : u32 { kFloat = 0, kInt = 1, kBool = 2 };
enum class ShaderConstantClass : u32 { kScalar, kVector, kMatrixRows, kMatrixColumns };

/// Where a global lies. One register (four floats, four ints or one BOOL) holds a scalar, a vector, one
/// column of a kMatrixColumns matrix (`column_major`, which is what HLSL takes by default), or one row of a
/// kMatrixRows matrix. So a float4x3 takes 3 registers as columns and 4 as rows. What a register has beyond
/// the components is not read. Elements of arrays follow each other. A global may be told once for each set
/// that it is read from.
struct ShaderConstantInfo {
    /// The global's name; a member of a global structure is "light.color", in an array "lights[1].color".
    std::string name;
    ShaderRegisterSet set = ShaderRegisterSet::kFloat;
    u32 first_register = 0;
    /// Registers of all elements together, at least 1; without those at the end that are not used.
    u32 register_count = 1;
    ShaderConstantClass type = ShaderConstantClass::kVector;
    u32 rows = 1, columns = 4;
    /// Length of an array; 1 for what is none.
    u32 elements = 1;
    bool operator==(const ShaderConstantInfo&) const = default;
};

struct ShaderSamplerInfo {
    std::string name;
    /// For SetTexture and SetSamplerState.
    u32 unit = 0;
    bool cube = false;
    bool operator==(const ShaderSamplerInfo&) const = default;
};

struct CompiledShader {
    /// For CreateVertexShader or CreatePixelShader.
    std::vector<DWORD> tokens;
    std::vector<ShaderConstantInfo> constants;
    std::vector<ShaderSamplerInfo> samplers;
};

/// Why a text does not compile. Line and column count from 1; 0 when the message belongs to no place.
struct CompileMessage {
    u32 line = 0, column = 0;
    std::string text;
};

/// Compiles one function for one profile. True: `out` is filled. False: `messages` has at least one entry and
/// `out` is empty. Never throws, whatever the text holds. The same request gives the same result, byte for
/// byte.
bool CompileShader(const ShaderRequest& request, CompiledShader& out, std::vector<CompileMessage>& messages);

using ShaderCompiler = std::function<bool(const ShaderRequest& request, CompiledShader& out,
                                          std::vector<CompileMessage>& messages)>;

/// Has `compiler` do the work from now on; an empty one brings the machine's own back. Gives back the one
/// that was there (empty for the machine's own).
ShaderCompiler SetShaderCompiler(ShaderCompiler compiler);

namespace detail {
/// The machine's own compiler.
bool SystemCompileShader(const ShaderRequest& request, CompiledShader& out,
                         std::vector<CompileMessage>& messages);
}  // namespace detail

}  // namespace platform
