#include "platform/gl/pipeline.h"

#include <algorithm>
#include <bit>
#include <unordered_map>

#include "platform/gl/device_state.h"
#include "platform/gl/gl_buffer.h"
#include "platform/gl/gl_texture.h"
#include "platform/gl/pipeline_programs.h"
#include "platform/gl/pipeline_vertices.h"
#include "platform/gl/state_to_gl.h"

namespace platform::gl {

namespace {

constexpr u32 kRingBytes = 1u << 20;
// No draw has more vertices: more would not fit a signed count.
constexpr u64 kMostVertices = 0x7fffffff;
// Vertices after which the driver is asked whether it has nothing to do, and those after which it gets the
// draws in any case. Fewer cost more in hand-overs than they bring.
constexpr u64 kAskAfterVertices = 30'000;
constexpr u64 kHandOverAfterVertices = 250'000;
constexpr u32 kKeyGroups = kDirtyVertexKey | kDirtyFragmentKey | kDirtyProjection | kDirtyLights |
                           kDirtyTextures | kDirtyVertexFormat | kDirtyShaders | kDirtyClipPlanes;

}  // namespace

struct Pipeline::Impl {
    Impl(GlDevice& device_in, GlContext& context_in, DeviceState& state_in)
        : device(device_in), context(context_in), state(state_in) {}

    // What a draw reads, checked: the declaration, and null when there is none.
    const VertexDeclaration* Declaration();
    // State, program, textures and uniforms. False when the program does not compile.
    bool Ready(const VertexDeclaration& declaration, D3DPRIMITIVETYPE type);
    // Transformed vertices never are: their place depends on their coordinates by a little, see pipeline.h.
    bool Colorless(const VertexDeclaration& declaration) const {
        return !declaration.Layout().transformed && DrawsNoColor(state);
    }
    void ChooseProgram(const VertexDeclaration& declaration, bool points, bool colorless);
    void BindTextures();
    // Sources of the streams that the declaration reads; false when one has no buffer. `vertices` receives
    // how many vertices all of them hold.
    bool Sources(const VertexDeclaration& declaration, std::array<StreamSource, kMaxStreams>& sources,
                 u64& vertices);
    // After a draw of so many vertices: keeps the driver at work.
    void KeepBusy(u64 vertices);

    GlDevice& device;
    GlContext& context;
    DeviceState& state;
    PipelineStats stats;
    ProgramCache programs{context, stats};
    UniformStore uniforms{context};
    VertexArrays arrays{context, stats};
    SamplerCache samplers{context};
    StreamRing vertex_ring{context, kRingBytes}, index_ring{context, kRingBytes};
    std::unordered_map<DWORD, VertexDeclaration*> fvf_declarations;
    DWORD last_fvf = 0;
    VertexDeclaration* last_fvf_declaration = nullptr;

    // The program in use and what it was chosen for.
    Program* program = nullptr;
    u32 chosen_declaration = 0;
    bool chosen_points = false, chosen_colorless = false;
    u32 chosen_coordinates = 0;
    VertexKey vertex_key;
    FragmentKey fragment_key;
    const ShaderData* chosen_vertex_shader = nullptr;
    const ShaderData* chosen_pixel_shader = nullptr;
    u32 bound_samplers = 0, bound_cubes = 0;
    bool last_transformed = false;
    u32 clip_enabled = 0xffffffffu;

    // Vertices drawn since the driver was last asked, and since it last got what was drawn; the latter's end.
    u64 not_asked = 0, not_handed_over = 0;
    GLsync handed_over = nullptr;
};

const VertexDeclaration* Pipeline::Impl::Declaration() {
    if (state.declaration != nullptr) return state.declaration;
    if (state.fvf == last_fvf && last_fvf_declaration != nullptr) return last_fvf_declaration;
    const auto found = fvf_declarations.find(state.fvf);
    VertexDeclaration* declaration = found != fvf_declarations.end() ? found->second : nullptr;
    if (declaration == nullptr) {
        std::vector<D3DVERTEXELEMENT9> elements = VertexDeclaration::FromFvf(state.fvf);
        if (elements.empty()) return nullptr;
        declaration = new VertexDeclaration(device, std::move(elements), state.fvf);
        declaration->Hold();
        fvf_declarations.emplace(state.fvf, declaration);
    }
    last_fvf = state.fvf;
    last_fvf_declaration = declaration;
    return declaration;
}

void Pipeline::Impl::ChooseProgram(const VertexDeclaration& declaration, bool points, bool colorless) {
    u32 coordinates = 0;
    const FragmentKey fragment = colorless ? FragmentKey{} : MakeFragmentKey(state, points, coordinates);
    const ShaderData* vertex_shader = state.vertex_shader;
    const ShaderData* pixel_shader = state.pixel_shader;
    if (pixel_shader != nullptr) coordinates = CoordinatesOf(pixel_shader->source);
    const VertexKey vertex = MakeVertexKey(state, declaration.Layout(), points, coordinates, colorless);
    chosen_colorless = colorless;
    chosen_declaration = declaration.serial;
    chosen_points = points;
    if (program != nullptr && vertex == vertex_key && fragment == fragment_key &&
        coordinates == chosen_coordinates && vertex_shader == chosen_vertex_shader &&
        pixel_shader == chosen_pixel_shader) {
        return;
    }
    vertex_key = vertex;
    fragment_key = fragment;
    chosen_coordinates = coordinates;
    chosen_vertex_shader = vertex_shader;
    chosen_pixel_shader = pixel_shader;
    program = programs.Find(vertex, fragment, vertex_shader, pixel_shader, coordinates);
    ++stats.program_switches;
}

void Pipeline::Impl::BindTextures() {
    GlStateCache& gl = context.State();
    const u32 stale = state.dirty_textures | state.dirty_samplers | (program->samplers & ~bound_samplers) |
                      (program->cube_samplers ^ bound_cubes);
    for (u32 left = program->samplers; left != 0; left &= left - 1) {
        const u32 unit = static_cast<u32>(std::countr_zero(left));
        GlTexture* texture = state.textures[unit];
        const bool cube = (program->cube_samplers >> unit & 1u) != 0;
        if (texture != nullptr) texture->Prepare();
        if ((stale >> unit & 1u) == 0) continue;
        const GLenum target = cube ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D;
        if (texture == nullptr || texture->Target() != target || texture->Name() == 0) {
            gl.BindTexture(unit, target, 0);
            continue;
        }
        gl.BindTexture(unit, target, texture->Name());
        const auto& states = state.sampler[unit];
        const u32 last = texture->SampledLevels() - 1;
        // Without mip levels the sampler's limit does not act.
        const u32 limit = states[D3DSAMP_MIPFILTER] == D3DTEXF_NONE ? 0 : states[D3DSAMP_MAXMIPLEVEL];
        texture->SetBaseLevel(unit, std::min(std::max(texture->Lod(), limit), last));
        gl.BindSampler(unit, samplers.Find(states, cube));
    }
    // What the program does not read stays to be looked at when one does.
    state.dirty_textures &= ~program->samplers;
    state.dirty_samplers &= ~program->samplers;
    bound_samplers = program->samplers | bound_samplers;
    bound_cubes = (bound_cubes & ~program->samplers) | program->cube_samplers;
}

bool Pipeline::Impl::Ready(const VertexDeclaration& declaration, D3DPRIMITIVETYPE type) {
    ++stats.draws;
    const u32 dirty = state.dirty;
    const bool points = type == D3DPT_POINTLIST || state.render[D3DRS_FILLMODE] == D3DFILL_POINT;
    const bool transformed = declaration.Layout().transformed && state.vertex_shader == nullptr;
    if ((dirty & (kDirtyRaster | kDirtyBlend | kDirtyDepth | kDirtyStencil | kDirtyViewport | kDirtyScissor |
                  kDirtyTarget)) != 0 ||
        transformed != last_transformed) {
        last_transformed = transformed;
        SendOutputState(state, dirty, transformed, context.State());
    }
    const bool colorless = Colorless(declaration);
    if (program == nullptr || (dirty & kKeyGroups) != 0 || chosen_points != points ||
        chosen_colorless != colorless || chosen_declaration != declaration.serial) {
        ChooseProgram(declaration, points, colorless);
    }
    if (dirty != 0) {
        uniforms.Note(state, dirty);
        state.dirty = 0;
    }
    if (program->name == 0) return false;
    context.State().UseProgram(program->name);
    BindTextures();
    uniforms.Send(state, *program, stats);
    if (clip_enabled != program->clip_planes) {
        clip_enabled = program->clip_planes;
        for (u32 i = 0; i < kMaxClipPlanes; ++i) context.State().EnableClipDistance(i, i < clip_enabled);
    }
    return true;
}

bool Pipeline::Impl::Sources(const VertexDeclaration& declaration,
                             std::array<StreamSource, kMaxStreams>& sources, u64& vertices) {
    vertices = kMostVertices;
    const u32 streams = declaration.StreamMask();
    for (u32 i = 0; (streams >> i) != 0; ++i) {
        if ((streams >> i & 1u) == 0) continue;
        const StreamBinding& binding = state.streams[i];
        if (binding.buffer == nullptr) return false;
        sources[i].buffer = binding.buffer->Prepare();
        sources[i].offset = binding.buffer->BaseOffset() + binding.offset;
        sources[i].stride = binding.stride;
        if (binding.stride == 0) continue;
        const u32 size = binding.buffer->Size();
        vertices =
            std::min<u64>(vertices, binding.offset < size ? (size - binding.offset) / binding.stride : 0);
    }
    return true;
}

void Pipeline::Impl::KeepBusy(u64 vertices) {
    not_asked += vertices;
    if (not_asked < kAskAfterVertices) return;
    not_handed_over += not_asked;
    not_asked = 0;
    if (handed_over != nullptr) {
        if (not_handed_over < kHandOverAfterVertices &&
            glClientWaitSync(handed_over, 0, 0) == GL_TIMEOUT_EXPIRED) {
            return;
        }
        glDeleteSync(handed_over);
    }
    not_handed_over = 0;
    handed_over = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    glFlush();
    ++stats.hand_overs;
}

Pipeline::Pipeline(GlDevice& device, GlContext& gl, DeviceState& state)
    : impl_(std::make_unique<Impl>(device, gl, state)) {}

Pipeline::~Pipeline() {
    if (impl_->handed_over != nullptr) glDeleteSync(impl_->handed_over);
    for (const auto& [fvf, declaration] : impl_->fvf_declarations) declaration->Drop();
}

HRESULT Pipeline::Draw(D3DPRIMITIVETYPE type, UINT start_vertex, UINT primitive_count) {
    Impl& it = *impl_;
    if (VertexCount(type, 1) == 0) return D3DERR_INVALIDCALL;
    const VertexDeclaration* declaration = it.Declaration();
    if (declaration == nullptr) return D3DERR_INVALIDCALL;
    if (primitive_count == 0) return D3D_OK;
    std::array<StreamSource, kMaxStreams> sources;
    u64 held = 0;
    if (!it.Sources(*declaration, sources, held)) return D3DERR_INVALIDCALL;
    u64 count = VertexCount(type, primitive_count);
    if (start_vertex + count > held) count = start_vertex < held ? held - start_vertex : 0;
    if (count == 0) return D3D_OK;
    if (!it.Ready(*declaration, type)) return D3DERR_INVALIDCALL;
    const u32 moved = it.arrays.Bind(*declaration, it.state.vertex_shader, sources, 0);
    glDrawArrays(PrimitiveMode(type), static_cast<GLint>(moved + start_vertex), static_cast<GLsizei>(count));
    it.KeepBusy(count);
    return D3D_OK;
}

HRESULT Pipeline::DrawIndexed(D3DPRIMITIVETYPE type, INT base_vertex, UINT /*min_vertex*/,
                              UINT /*vertex_count*/, UINT start_index, UINT primitive_count) {
    Impl& it = *impl_;
    if (VertexCount(type, 1) == 0) return D3DERR_INVALIDCALL;
    const VertexDeclaration* declaration = it.Declaration();
    GlBuffer* indices = it.state.indices;
    if (declaration == nullptr || indices == nullptr) return D3DERR_INVALIDCALL;
    if (primitive_count == 0) return D3D_OK;
    std::array<StreamSource, kMaxStreams> sources;
    u64 held = 0;
    if (!it.Sources(*declaration, sources, held)) return D3DERR_INVALIDCALL;
    const u64 held_indices = indices->Size() / indices->IndexBytes();
    u64 count = VertexCount(type, primitive_count);
    if (start_index + count > held_indices)
        count = start_index < held_indices ? held_indices - start_index : 0;
    if (count == 0) return D3D_OK;
    const GLuint index_buffer = indices->Prepare();
    if (!it.Ready(*declaration, type)) return D3DERR_INVALIDCALL;
    const u32 moved = it.arrays.Bind(*declaration, it.state.vertex_shader, sources, index_buffer);
    const std::size_t offset =
        indices->BaseOffset() + static_cast<std::size_t>(start_index) * indices->IndexBytes();
    glDrawElementsBaseVertex(PrimitiveMode(type), static_cast<GLsizei>(count), indices->IndexType(),
                             reinterpret_cast<const void*>(offset), static_cast<GLint>(moved) + base_vertex);
    it.KeepBusy(count);
    return D3D_OK;
}

HRESULT Pipeline::DrawUP(D3DPRIMITIVETYPE type, UINT primitive_count, const void* vertices, UINT stride) {
    Impl& it = *impl_;
    if (VertexCount(type, 1) == 0 || vertices == nullptr || stride == 0) return D3DERR_INVALIDCALL;
    const VertexDeclaration* declaration = it.Declaration();
    if (declaration == nullptr) return D3DERR_INVALIDCALL;
    if (primitive_count == 0) return D3D_OK;
    const u64 count = VertexCount(type, primitive_count);
    if (count * stride > kMostVertices) return D3DERR_INVALIDCALL;
    std::array<StreamSource, kMaxStreams> sources;
    const u32 offset = it.vertex_ring.Put(vertices, static_cast<u32>(count * stride), stride);
    // Every stream reads the one array of vertices.
    sources.fill({it.vertex_ring.Name(), offset, stride});
    if (!it.Ready(*declaration, type)) return D3DERR_INVALIDCALL;
    const u32 moved = it.arrays.Bind(*declaration, it.state.vertex_shader, sources, 0);
    glDrawArrays(PrimitiveMode(type), static_cast<GLint>(moved), static_cast<GLsizei>(count));
    it.KeepBusy(count);
    return D3D_OK;
}

HRESULT Pipeline::DrawIndexedUP(D3DPRIMITIVETYPE type, UINT min_vertex, UINT vertex_count,
                                UINT primitive_count, const void* indices, D3DFORMAT index_format,
                                const void* vertices, UINT stride) {
    Impl& it = *impl_;
    const bool wide = index_format == D3DFMT_INDEX32;
    if (VertexCount(type, 1) == 0 || vertices == nullptr || indices == nullptr || stride == 0 ||
        (!wide && index_format != D3DFMT_INDEX16)) {
        return D3DERR_INVALIDCALL;
    }
    const VertexDeclaration* declaration = it.Declaration();
    if (declaration == nullptr) return D3DERR_INVALIDCALL;
    if (primitive_count == 0 || vertex_count == 0) return D3D_OK;
    const u64 count = VertexCount(type, primitive_count);
    const u64 vertex_bytes = static_cast<u64>(vertex_count) * stride, index_bytes = count * (wide ? 4 : 2);
    if (vertex_bytes > kMostVertices || index_bytes > kMostVertices) return D3DERR_INVALIDCALL;
    // Indices count from the start of `vertices`; what lies before min_vertex is not read.
    const u8* first = static_cast<const u8*>(vertices) + static_cast<std::size_t>(min_vertex) * stride;
    std::array<StreamSource, kMaxStreams> sources;
    const u32 offset = it.vertex_ring.Put(first, static_cast<u32>(vertex_bytes), stride);
    const u32 index_offset = it.index_ring.Put(indices, static_cast<u32>(index_bytes), 4);
    sources.fill({it.vertex_ring.Name(), offset, stride});
    if (!it.Ready(*declaration, type)) return D3DERR_INVALIDCALL;
    const u32 moved = it.arrays.Bind(*declaration, it.state.vertex_shader, sources, it.index_ring.Name());
    glDrawElementsBaseVertex(PrimitiveMode(type), static_cast<GLsizei>(count),
                             wide ? GL_UNSIGNED_INT : GL_UNSIGNED_SHORT,
                             reinterpret_cast<const void*>(static_cast<std::size_t>(index_offset)),
                             static_cast<GLint>(moved) - static_cast<GLint>(min_vertex));
    it.KeepBusy(count);
    return D3D_OK;
}

HRESULT Pipeline::CreateVertexDeclaration(GlDevice& device, const D3DVERTEXELEMENT9* elements,
                                          IDirect3DVertexDeclaration9** declaration) {
    if (declaration == nullptr) return D3DERR_INVALIDCALL;
    *declaration = nullptr;
    u32 count = 0;
    if (!VertexDeclaration::Valid(elements, count)) return D3DERR_INVALIDCALL;
    auto* made =
        new VertexDeclaration(device, std::vector<D3DVERTEXELEMENT9>(elements, elements + count + 1), 0);
    made->AddPublic();
    *declaration = made;
    return D3D_OK;
}

VertexDeclaration* Pipeline::DeclarationOfFvf(DWORD fvf) {
    Impl& it = *impl_;
    const DWORD set = it.state.fvf;
    VertexDeclaration* const by_hand = it.state.declaration;
    it.state.fvf = fvf;
    it.state.declaration = nullptr;
    auto* found = const_cast<VertexDeclaration*>(it.Declaration());
    it.state.fvf = set;
    it.state.declaration = by_hand;
    return found;
}

HRESULT Pipeline::CreateVertexShader(GlDevice& device, const DWORD* function,
                                     IDirect3DVertexShader9** shader) {
    if (shader == nullptr) return D3DERR_INVALIDCALL;
    *shader = nullptr;
    ShaderSource source;
    if (!UnpackShader(function, ShaderKind::kVertex, source)) return D3DERR_INVALIDCALL;
    auto* made = new VertexShader(device, std::move(source), function);
    made->AddPublic();
    *shader = made;
    return D3D_OK;
}

HRESULT Pipeline::CreatePixelShader(GlDevice& device, const DWORD* function, IDirect3DPixelShader9** shader) {
    if (shader == nullptr) return D3DERR_INVALIDCALL;
    *shader = nullptr;
    ShaderSource source;
    if (!UnpackShader(function, ShaderKind::kPixel, source)) return D3DERR_INVALIDCALL;
    auto* made = new PixelShader(device, std::move(source), function);
    made->AddPublic();
    *shader = made;
    return D3D_OK;
}

void Pipeline::Prepare(D3DPRIMITIVETYPE type) {
    Impl& it = *impl_;
    const VertexDeclaration* declaration = it.Declaration();
    if (declaration == nullptr) return;
    it.ChooseProgram(*declaration,
                     type == D3DPT_POINTLIST || it.state.render[D3DRS_FILLMODE] == D3DFILL_POINT,
                     it.Colorless(*declaration));
}

void Pipeline::ForgetBuffer(u32 buffer_name) { impl_->arrays.ForgetBuffer(buffer_name); }

void Pipeline::ForgetSerial(u32 serial) {
    impl_->program = nullptr;
    impl_->programs.Forget(serial);
    impl_->arrays.Forget(serial);
}

void Pipeline::ForgetGlState() {
    impl_->context.State().Invalidate();
    impl_->state.dirty = kDirtyAll;
    impl_->state.dirty_textures = impl_->state.dirty_samplers = 0xffff;
    impl_->bound_samplers = impl_->bound_cubes = 0;
    impl_->clip_enabled = 0xffffffffu;
}

const PipelineStats& Pipeline::Stats() const { return impl_->stats; }

}  // namespace platform::gl
