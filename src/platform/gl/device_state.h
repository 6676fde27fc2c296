// What the device has been told: the plain record between the device's setters, which write it, and the
// pipeline, which reads it in a draw.
//
// Setters compare before they write, so a redundant call costs a compare and nothing else; a change sets the
// bits of the groups that it touches. The pipeline clears the bits that it has taken up.
//
// How pictures lie (one scheme for every target, back buffer included):
// - Every target is a framebuffer object of ours. Row 0 of its texture is the top row of the picture, as in
// locked
//   memory, so uploads, downloads and copies never flip.
// - The vertex stage makes up for it: with (x, y, z, w) the clip position as Direct3D means it,
//       gl_Position = vec4(x + w / W, -y + w / H, 2 z - w, w)
//   where W and H are the viewport's size in pixels. The shift by half a pixel puts pixel centres on whole
//   coordinates, the sign puts the top on row 0. The GL viewport is then (X, Y, Width, Height) as given,
//   without a flip, and the GL depth range (MinZ, MaxZ). Pre-transformed vertices go through the inverse of
//   the viewport first.
// - The picture is mirrored as GL sees it: what is clockwise on the screen is GL_CCW in GL's window
// coordinates.
// - The scissor and the clear rectangles are GL rectangles as they stand (x, y from the top).
// - Only Present flips: it blits to the window upside down.
#pragma once

#include <array>
#include <vector>

#include "platform/d3d9/d3d9.h"

namespace platform::gl {

class GlTexture;
class GlSurface;
class GlBuffer;
class VertexDeclaration;
class VertexShader;
class PixelShader;

inline constexpr u32 kMaxStages = 8;     // fixed-function texture stages
inline constexpr u32 kMaxSamplers = 16;  // textures and samplers (pixel shaders may use more than 8)
inline constexpr u32 kMaxLights = 8;     // lights that act at once
inline constexpr u32 kMaxClipPlanes = 8;
inline constexpr u32 kMaxStreams = 16;
inline constexpr u32 kMaxWorldMatrices = 256;  // world matrices 0 to 255 for vertex blending
inline constexpr u32 kRenderStates = 210;      // one past the last render state
inline constexpr u32 kStageStates = 33;        // one past the last stage state
inline constexpr u32 kSamplerStates = 14;      // one past the last sampler state
inline constexpr u32 kVertexConstants = 256;   // float4 registers of a vertex shader
inline constexpr u32 kPixelConstants = 224;    // float4 registers of a pixel shader
inline constexpr u32 kIntConstants = 16;
inline constexpr u32 kBoolConstants = 16;

// Groups of state that belong together in a draw.
enum DirtyBits : u32 {
    kDirtyRaster =
        1u << 0,            // cull, fill, shade mode, depth bias, scissor enable, line and multisample states
    kDirtyBlend = 1u << 1,  // blending, blend factor, colour write mask
    kDirtyDepth = 1u << 2,  // depth test
    kDirtyStencil = 1u << 3,
    kDirtyVertexKey = 1u << 4,  // what chooses the fixed-function vertex program
    kDirtyFragmentKey =
        1u << 5,  // what chooses the fixed-function fragment program (stages, alpha test, fog)
    kDirtyWorld = 1u << 6,
    kDirtyView = 1u << 7,
    kDirtyProjection = 1u << 8,
    kDirtyTextureMatrices = 1u << 9,  // see `dirty_texture_matrices`
    kDirtyLights = 1u << 10,
    kDirtyMaterial = 1u << 11,
    kDirtyLightValues = 1u << 12,     // ambient colour
    kDirtyFogValues = 1u << 13,       // fog colour, start, end, density
    kDirtyFragmentValues = 1u << 14,  // texture factor, stage constants, bump matrices, alpha reference
    kDirtyPointValues = 1u << 15,     // point size, its limits and scale
    kDirtyClipPlanes = 1u << 16,      // planes or which are enabled
    kDirtyViewport = 1u << 17,
    kDirtyScissor = 1u << 18,
    kDirtyTextures = 1u << 19,  // see `dirty_textures`
    kDirtySamplers = 1u << 20,  // see `dirty_samplers`
    kDirtyStreams = 1u << 21,   // buffers, offsets or strides
    kDirtyIndices = 1u << 22,
    kDirtyVertexFormat = 1u << 23,  // FVF or declaration
    kDirtyShaders = 1u << 24,       // vertex or pixel shader
    kDirtyVertexConstants = 1u << 25,
    kDirtyPixelConstants = 1u << 26,
    kDirtyTarget = 1u << 27,  // render target or depth surface
    kDirtyAll = 0xffffffffu
};

// The groups that a render state belongs to; 0 for those that nothing draws by.
u32 RenderStateGroups(u32 state);
// The same for a state of a texture stage.
u32 StageStateGroups(u32 state);

struct StreamBinding {
    GlBuffer* buffer = nullptr;  // held
    u32 offset = 0, stride = 0;
};

struct Light {
    u32 index = 0;
    bool enabled = false;
    D3DLIGHT9 value{};
};

struct DeviceState {
    // Everything at the published defaults, nothing bound. `auto_depth`: a depth surface exists from the
    // start, so D3DRS_ZENABLE starts as true.
    void Reset(bool auto_depth);

    u32 dirty = kDirtyAll;
    u32 dirty_textures = 0xffff, dirty_samplers = 0xffff;  // one bit per sampler
    u32 dirty_texture_matrices = 0xff;                     // one bit per stage

    std::array<DWORD, kRenderStates> render{};
    std::array<std::array<DWORD, kStageStates>, kMaxStages> stage{};
    std::array<std::array<DWORD, kSamplerStates>, kMaxSamplers> sampler{};

    D3DMATRIX view{}, projection{};
    std::array<D3DMATRIX, kMaxStages> texture_matrix{};
    std::array<D3DMATRIX, kMaxWorldMatrices> world{};
    // World matrices changed since the pipeline last took them: [first, last), empty when first >= last.
    u32 dirty_world_first = 0, dirty_world_last = kMaxWorldMatrices;

    std::vector<Light> lights;                    // every light that was set or enabled, by ascending index
    std::array<u32, kMaxLights> active_lights{};  // places in `lights` of the first enabled ones
    u32 active_light_count = 0;
    D3DMATERIAL9 material{};

    D3DVIEWPORT9 viewport{};
    RECT scissor{};
    std::array<std::array<float, 4>, kMaxClipPlanes> clip_planes{};

    std::array<GlTexture*, kMaxSamplers> textures{};  // held
    std::array<StreamBinding, kMaxStreams> streams{};
    GlBuffer* indices = nullptr;               // held
    DWORD fvf = 0;                             // 0 while a declaration made by hand is set
    VertexDeclaration* declaration = nullptr;  // held; null while `fvf` rules

    VertexShader* vertex_shader = nullptr;  // held
    PixelShader* pixel_shader = nullptr;    // held
    std::array<std::array<float, 4>, kVertexConstants> vs_float{};
    std::array<std::array<float, 4>, kPixelConstants> ps_float{};
    std::array<std::array<int, 4>, kIntConstants> vs_int{}, ps_int{};
    std::array<BOOL, kBoolConstants> vs_bool{}, ps_bool{};

    GlSurface* target = nullptr;  // held; never null once the device stands
    GlSurface* depth = nullptr;   // held; may be null
    bool software_vertex_processing = false;

    // A render state that holds a float.
    float RenderFloat(D3DRENDERSTATETYPE state_type) const;
};

}  // namespace platform::gl
