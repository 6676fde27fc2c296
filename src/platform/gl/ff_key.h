// The keys of the fixed-function programs: every choice that changes the text of a program and nothing else.
// Two draws whose keys are equal share a program; values that only change numbers are uniforms.
#pragma once

#include <cstring>

#include "platform/gl/device_state.h"
#include "platform/gl/pipeline_objects.h"

namespace platform::gl {

/// How a vertex program gives fog to the fragment program.
enum FogSource : u8 {
    kFogOff,
    kFogSpecularAlpha,  // factor: alpha of the specular colour
    kFogVertexLinear,   // factor by distance
    kFogVertexExp,
    kFogVertexExp2,
    kFogCoordZ,  // coordinate: depth, for table fog under an affine projection and for transformed vertices
    kFogCoordW,  // coordinate: w, for table fog under a perspective projection
    kFogShader   // factor: osm_Fog of a vertex shader object
};
enum FogBlend : u8 { kNoFog, kFogFactor, kFogTableLinear, kFogTableExp, kFogTableExp2 };

/// Where a colour of the lighting sum comes from.
enum ColorSource : u8 { kFromMaterial, kFromDiffuse, kFromSpecular };

/// Texture coordinates that a stage receives.
struct CoordKey {
    u8 used = 0;
    u8 set = 0;         // vertex texture coordinate set
    u8 generate = 0;    // 0 from the vertex; 1 camera space normal, 2 position, 3 reflection, 4 sphere map
    u8 count = 0;       // components that the texture matrix gives, 0 without one
    u8 components = 0;  // of the set in the vertex
};

/// All bytes: compared and hashed as memory.
struct VertexKey {
    u8 transformed = 0, normal = 0, point_size = 0, diffuse = 0, specular = 0;
    u8 blend_matrices = 0;  // 0 no blending, else matrices that act
    u8 blend_weights = 0;   // weights in the vertex
    u8 blend_indexed = 0, blend_index_colors = 0;
    u8 lighting = 0, normalize = 0, local_viewer = 0, light_specular = 0;
    u8 source_diffuse = 0, source_ambient = 0, source_specular = 0, source_emissive = 0;  // ColorSource
    u8 directional = 0, points = 0, spots = 0;  // lights of each type
    u8 fog = 0;                                 // FogSource
    u8 fog_range = 0;
    u8 flat = 0;
    u8 draws_points = 0, point_scale = 0;
    u8 clip_planes = 0;
    CoordKey coords[kMaxStages] = {};

    bool operator==(const VertexKey& other) const { return std::memcmp(this, &other, sizeof(*this)) == 0; }
};

/// What a stage samples.
enum TextureKind : u8 { kNoTexture, kTexture2D, kTextureCube };

struct StageKey {
    u8 color_op = 0, color_arg0 = 0, color_arg1 = 0, color_arg2 = 0;
    u8 alpha_op = 0, alpha_arg0 = 0, alpha_arg1 = 0, alpha_arg2 = 0;
    u8 to_temp = 0;
    u8 texture = 0;    // TextureKind; kNoTexture reads white
    u8 divide_by = 0;  // 1-based component that the coordinates are divided by, 0 for none
};

struct FragmentKey {
    u8 stage_count = 0;
    u8 specular_add = 0;
    u8 alpha_func = 0;  // D3DCMPFUNC, 0 without a test
    u8 fog = 0;         // FogBlend
    u8 flat = 0;
    u8 point_sprite = 0;
    u8 shader_samplers = 0;  // not used by fixed stages
    StageKey stages[kMaxStages] = {};

    bool operator==(const FragmentKey& other) const { return std::memcmp(this, &other, sizeof(*this)) == 0; }
};

static_assert(std::is_trivially_copyable_v<VertexKey> && std::has_unique_object_representations_v<VertexKey>);
static_assert(std::has_unique_object_representations_v<FragmentKey>);

/// Hash of a key's bytes.
u64 HashBytes(const void* data, std::size_t size);

/// The fragment key of the state: stages up to the first disabled one, alpha test, fog. `points`: the draw
/// makes points. `coordinates` receives one bit per stage whose texture coordinates are read. With a pixel
/// shader the stages are left out.
FragmentKey MakeFragmentKey(const DeviceState& state, bool points, u32& coordinates);
/// The vertex key for a layout; `coordinates` from above. `colorless`: the fragment program asks for no
/// colour and no fog.
VertexKey MakeVertexKey(const DeviceState& state, const VertexLayout& layout, bool points, u32 coordinates,
                        bool colorless = false);

/// True when nothing hangs on what the fixed stages make of a fragment: no channel is written, none is
/// tested. The draws of shadow volumes are such.
bool DrawsNoColor(const DeviceState& state);

/// True for a projection whose last column is (0, 0, 0, 1): fog then goes by depth.
bool IsAffine(const D3DMATRIX& projection);

}  // namespace platform::gl
