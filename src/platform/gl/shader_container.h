// The form in which CreateVertexShader and CreatePixelShader take a shader: a stream of DWORDs that holds
// GLSL text and the tables that tie constant registers, samplers and vertex attributes to the names in that
// text. A compiler from the effect language to GLSL produces it; the byte code of real shaders is not
// interpreted.
//
// Layout, all DWORDs little-endian:
//     0  magic 0x4C534C47 ("GLSL"; the version token of a real shader has 0xFFFE or 0xFFFF in its high half)
//     1  length of the whole container in bytes, a multiple of 4
//     2  layout version, 1
//     3  kind: 0 vertex shader, 1 pixel shader
//     4  length of the GLSL text in bytes, without padding
//     5  number of constants, 6 number of samplers, 7 number of attributes
//     8  the text, zero-padded to a DWORD
//        then per constant: set, first register, register count, type, name; per sampler: unit, type, name;
//        per attribute: usage, usage index, name. A name is its length in bytes, then its bytes, zero-padded.
//
// What the text must look like. It is the body of a GLSL 3.30 shader without `#version` and without main():
//   vertex shader: `in vec4 NAME;` for each attribute, `uniform vec4 NAME[count];` for each constant, and
//       void osm_vertex();
//     which sets the globals osm_Position (clip space as Direct3D has it: z from 0 to w), osm_Color[2],
//     osm_TexCoord[8] (vec4), osm_Fog (1 no fog, 0 all fog) and osm_PointSize. All of them are declared, with
//     defaults, before the text. The pipeline turns the position into OpenGL's.
//   pixel shader: uniforms, samplers and
//       vec4 osm_pixel();
//     which may read osm_Color[2], osm_TexCoord[8], osm_Fog and osm_FragCoord (x, y of the pixel as Direct3D
//     counts them) and gives the colour. Alpha test and fog are applied to it by the pipeline.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace platform::gl {

inline constexpr DWORD kShaderContainerMagic = 0x4C534C47u;
inline constexpr DWORD kShaderContainerVersion = 1;
/// No container is larger.
inline constexpr DWORD kShaderContainerLimit = 1u << 20;

enum class ShaderKind : DWORD { kVertex = 0, kPixel = 1 };
/// Which register file a constant comes from.
enum class ConstantSet : DWORD { kFloat = 0, kInt = 1, kBool = 2 };
/// Type of the uniform that a constant feeds: `vec4 NAME[count]`, `ivec4 NAME[count]`, `bool NAME[count]`, or
/// one `mat4 NAME` of four float registers, each of which is a column.
enum class ConstantType : DWORD { kVec4 = 0, kIvec4 = 1, kBool = 2, kMat4 = 3 };
enum class SamplerType : DWORD { k2D = 0, kCube = 1 };

struct ShaderConstant {
    ConstantSet set = ConstantSet::kFloat;
    DWORD first_register = 0;
    DWORD register_count = 1;
    ConstantType type = ConstantType::kVec4;
    std::string name;
    bool operator==(const ShaderConstant&) const = default;
};
struct ShaderSampler {
    DWORD unit = 0;
    SamplerType type = SamplerType::k2D;
    std::string name;
    bool operator==(const ShaderSampler&) const = default;
};
struct ShaderAttribute {
    DWORD usage = 0;  // D3DDECLUSAGE
    DWORD usage_index = 0;
    std::string name;
    bool operator==(const ShaderAttribute&) const = default;
};

/// A shader before it is packed and after it is unpacked.
struct ShaderSource {
    ShaderKind kind = ShaderKind::kVertex;
    std::string text;
    std::vector<ShaderConstant> constants;
    std::vector<ShaderSampler> samplers;
    std::vector<ShaderAttribute> attributes;
    bool operator==(const ShaderSource&) const = default;
};

/// Packs a shader into the stream that CreateVertexShader or CreatePixelShader takes.
std::vector<DWORD> PackShader(const ShaderSource& source);
/// Unpacks a stream. Reads no DWORD past the length that the stream gives. False when it is no container of
/// `kind`, when a table does not fit, a register, unit or usage does not exist, or a name is no plain
/// identifier.
bool UnpackShader(const DWORD* stream, ShaderKind kind, ShaderSource& out);
/// Size in bytes of a stream that UnpackShader accepted.
UINT PackedShaderSize(const DWORD* stream);

}  // namespace platform::gl
