// The text of the programs: fixed-function stages out of their keys, and shader objects with the frame around
// them. Pure functions of their arguments; what they say keeps to GLSL ES 3.00, clip distances apart.
#pragma once

#include <string>

#include "platform/gl/ff_key.h"
#include "platform/gl/shader_container.h"

namespace platform::gl {

/// Where the lights of a program lie in u_light: directional ones first, then points, then spots;
/// kLightVectors vectors each: diffuse, specular, ambient, position (directional: direction to the light)
/// with range in w, direction of a spot, attenuation, and (cos(theta / 2), cos(phi / 2), falloff) of a spot.
inline constexpr u32 kLightVectors = 7;
/// Vectors of u_material: diffuse, ambient, specular, emissive, (power, 0, 0, 0), ambient light.
inline constexpr u32 kMaterialVectors = 6;
/// World-view matrices of vertex blending in the uniform block, three rows each.
inline constexpr u32 kBlendMatrices = 256;
/// Bytes of that block.
inline constexpr u32 kBlendBlockBytes = kBlendMatrices * 3 * 16;

std::string FixedVertexText(const VertexKey& key);
std::string FixedFragmentText(const FragmentKey& key);
/// A vertex shader object; of the key only fog, flat shading, points and clip planes count. `coordinates`:
/// one bit per texture coordinate that the fragment program reads.
std::string ShaderVertexText(const ShaderSource& source, const VertexKey& key, u32 coordinates);
/// A pixel shader object; of the key the alpha test, fog, flat shading and point sprites count.
std::string ShaderFragmentText(const ShaderSource& source, const FragmentKey& key, u32 coordinates);
/// One bit per osm_TexCoord that the text of a pixel shader names; all when an index is no number.
u32 CoordinatesOf(const ShaderSource& pixel_shader);

}  // namespace platform::gl
