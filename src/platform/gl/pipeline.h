// From what the device was told to what OpenGL draws.
//
// The Pipeline reads the DeviceState (device_state.h), keeps one GLSL program per distinct state of the
// fixed-function stages or pair of shader objects, and sends to OpenGL only what changed since the draw
// before. IDirect3DDevice9's drawing calls forward to it; nothing else draws triangles.
//
// Picture rules that live here:
//  - Row 0 of every framebuffer object is the top row of the picture, so vertex programs negate y and the
//  front
//    face is the clockwise one in OpenGL's terms.
//  - The centre of pixel (i, j) is the point (i, j), OpenGL's is (i + 0.5, j + 0.5): vertex programs add half
//  a
//    pixel. With textured pre-transformed vertices they leave out 1/1024 of a pixel: pictures laid on the
//    target texel by texel are sampled exactly between texels, and the least shift decides all of these ties
//    alike, for the texel on the right and below, where rounding would decide each pixel by itself.
//  - Depth runs from 0 to 1; vertex programs send z as 2 z - w.
//
// Drivers collect draws and begin with them when enough have come or the target changes; a software driver
// does the latter alone, and its other threads wait meanwhile. So the pipeline hands over what was drawn
// (glFlush) after some ten thousand vertices whenever the driver is done with what it got before.
#pragma once

#include <memory>

#include "platform/d3d9/d3d9.h"
#include "platform/gl/pipeline_objects.h"
#include "platform/types.h"

namespace platform::gl {

struct DeviceState;
class GlContext;
class GlDevice;

/// Counters for tests and benchmarks; they only grow.
struct PipelineStats {
    u64 draws = 0;
    u64 stages_compiled = 0;
    u64 programs_compiled = 0;
    u64 program_switches = 0;
    u64 uniform_uploads = 0;
    u64 attribute_setups = 0;
    u64 hand_overs = 0;
};

class Pipeline {
  public:
    /// All must outlive the pipeline; the context must be current whenever a member is called.
    Pipeline(GlDevice& device, GlContext& gl, DeviceState& state);
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    /// The four drawing calls, with the arguments of the device's calls of the same meaning. The framebuffer
    /// of the current targets must be bound already. D3D_OK for a count of 0; D3DERR_INVALIDCALL for a
    /// primitive type that does not exist, without a vertex declaration or format, without a vertex or index
    /// buffer that is needed, for null data and for a stride of 0. Vertices past a buffer's end are not
    /// drawn.
    HRESULT Draw(D3DPRIMITIVETYPE type, UINT start_vertex, UINT primitive_count);
    HRESULT DrawIndexed(D3DPRIMITIVETYPE type, INT base_vertex, UINT min_vertex, UINT vertex_count,
                        UINT start_index, UINT primitive_count);
    HRESULT DrawUP(D3DPRIMITIVETYPE type, UINT primitive_count, const void* vertices, UINT stride);
    HRESULT DrawIndexedUP(D3DPRIMITIVETYPE type, UINT min_vertex, UINT vertex_count, UINT primitive_count,
                          const void* indices, D3DFORMAT index_format, const void* vertices, UINT stride);

    /// Makes a declaration out of elements that end with D3DDECL_END(); the caller gets the one public
    /// reference. D3DERR_INVALIDCALL for null, a stream or type that does not exist, or no end within 64
    /// elements.
    HRESULT CreateVertexDeclaration(GlDevice& device, const D3DVERTEXELEMENT9* elements,
                                    IDirect3DVertexDeclaration9** declaration);
    /// The declaration that a vertex format stands for, made once per format and held by the pipeline; null
    /// for a format that means no layout (0, or no position). For GetVertexDeclaration while a format rules.
    VertexDeclaration* DeclarationOfFvf(DWORD fvf);

    /// Makes shader objects out of containers (shader_container.h). Anything else is D3DERR_INVALIDCALL.
    /// Draws with a shader whose text does not compile are D3DERR_INVALIDCALL too.
    HRESULT CreateVertexShader(GlDevice& device, const DWORD* function, IDirect3DVertexShader9** shader);
    HRESULT CreatePixelShader(GlDevice& device, const DWORD* function, IDirect3DPixelShader9** shader);

    /// Compiles the program that a draw with the present state and declaration would use, without drawing, so
    /// that no later frame has to.
    void Prepare(D3DPRIMITIVETYPE type = D3DPT_TRIANGLELIST);

    /// A buffer object with this OpenGL name goes away, or its storage was made anew: forget what refers to
    /// it.
    void ForgetBuffer(u32 buffer_name);
    /// A declaration or shader object with this serial is about to be deleted: what was made for it goes too.
    void ForgetSerial(u32 serial);
    /// All OpenGL state that the pipeline believes to be set may have changed behind its back.
    void ForgetGlState();

    const PipelineStats& Stats() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace platform::gl
