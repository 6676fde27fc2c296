// The setters and getters of plain state. A set that changes nothing returns before it marks anything.
#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/gl/gl_buffer.h"
#include "platform/gl/gl_device.h"
#include "platform/gl/gl_texture.h"
#include "platform/gl/pipeline_objects.h"

namespace platform::gl {
namespace {

// By their bits, so that a NaN equals itself and a zero of another sign counts as a change.
template <class T>
bool Same(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;  // NOLINT(bugprone-suspicious-memory-comparison)
}

// Registers of a constant file: false when the range does not exist.
template <class Row, std::size_t N, class T>
bool StoreConstants(std::array<Row, N>& file, UINT start, const T* data, UINT count, u32& dirty, u32 group) {
    if (!data || start > N || count > N - start) return false;
    const std::size_t bytes = sizeof(Row) * count;
    if (bytes == 0 || std::memcmp(file.data() + start, data, bytes) == 0) return true;
    std::memcpy(file.data() + start, data, bytes);
    dirty |= group;
    return true;
}

template <class Row, std::size_t N, class T>
bool LoadConstants(const std::array<Row, N>& file, UINT start, T* data, UINT count) {
    if (!data || start > N || count > N - start) return false;
    std::memcpy(data, file.data() + start, sizeof(Row) * count);
    return true;
}

HRESULT Answer(bool valid) { return valid ? D3D_OK : D3DERR_INVALIDCALL; }

// Hands out a held object through one of its interfaces.
template <class I, class T>
HRESULT Give(T* object, I** out) {
    if (!out) return D3DERR_INVALIDCALL;
    *out = object;
    if (object) object->AddRef();
    return D3D_OK;
}

}  // namespace

D3DMATRIX* GlDevice::TransformPlace(D3DTRANSFORMSTATETYPE state, u32& groups, u32& stage) {
    const auto number = static_cast<u32>(state);
    stage = kMaxStages;
    if (state == D3DTS_VIEW) {
        groups = kDirtyView;
        return &state_.view;
    }
    if (state == D3DTS_PROJECTION) {
        groups = kDirtyProjection;
        return &state_.projection;
    }
    if (number >= D3DTS_TEXTURE0 && number <= D3DTS_TEXTURE7) {
        groups = kDirtyTextureMatrices;
        stage = number - D3DTS_TEXTURE0;
        return &state_.texture_matrix[stage];
    }
    if (number >= 256 && number < 256 + kMaxWorldMatrices) {
        groups = kDirtyWorld;
        return &state_.world[number - 256];
    }
    return nullptr;
}

HRESULT GlDevice::SetTransform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX* matrix) {
    u32 groups = 0, stage = 0;
    D3DMATRIX* place = TransformPlace(state, groups, stage);
    if (!place || !matrix) return D3DERR_INVALIDCALL;
    if (Same(*place, *matrix)) return D3D_OK;
    *place = *matrix;
    state_.dirty |= groups;
    if (stage < kMaxStages) state_.dirty_texture_matrices |= 1u << stage;
    if (groups == kDirtyWorld) {
        const u32 index = static_cast<u32>(state) - 256;
        const bool none = state_.dirty_world_first >= state_.dirty_world_last;
        state_.dirty_world_first = none ? index : std::min(state_.dirty_world_first, index);
        state_.dirty_world_last = none ? index + 1 : std::max(state_.dirty_world_last, index + 1);
    }
    return D3D_OK;
}

HRESULT GlDevice::GetTransform(D3DTRANSFORMSTATETYPE state, D3DMATRIX* matrix) {
    u32 groups = 0, stage = 0;
    const D3DMATRIX* place = TransformPlace(state, groups, stage);
    if (!place || !matrix) return D3DERR_INVALIDCALL;
    *matrix = *place;
    return D3D_OK;
}

HRESULT GlDevice::MultiplyTransform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX* matrix) {
    u32 groups = 0, stage = 0;
    const D3DMATRIX* place = TransformPlace(state, groups, stage);
    if (!place || !matrix) return D3DERR_INVALIDCALL;
    D3DMATRIX product{};
    for (int row = 0; row < 4; ++row) {
        for (int col = 0; col < 4; ++col) {
            for (int k = 0; k < 4; ++k) product.m[row][col] += matrix->m[row][k] * place->m[k][col];
        }
    }
    return SetTransform(state, &product);
}

HRESULT GlDevice::SetMaterial(const D3DMATERIAL9* material) {
    if (!material) return D3DERR_INVALIDCALL;
    if (Same(state_.material, *material)) return D3D_OK;
    state_.material = *material;
    state_.dirty |= kDirtyMaterial;
    return D3D_OK;
}

HRESULT GlDevice::GetMaterial(D3DMATERIAL9* material) {
    if (!material) return D3DERR_INVALIDCALL;
    *material = state_.material;
    return D3D_OK;
}

// The light of an index; one that was never set is white and shines along z.
Light& GlDevice::LightAt(DWORD index) {
    const auto at = std::lower_bound(state_.lights.begin(), state_.lights.end(), index,
                                     [](const Light& light, DWORD i) { return light.index < i; });
    if (at != state_.lights.end() && at->index == index) return *at;
    Light light;
    light.index = index;
    light.value.Type = D3DLIGHT_DIRECTIONAL;
    light.value.Diffuse = {1, 1, 1, 0};
    light.value.Direction = {0, 0, 1};
    Light& made = *state_.lights.insert(at, light);
    RefreshActiveLights();
    return made;
}

void GlDevice::RefreshActiveLights() {
    state_.active_light_count = 0;
    for (u32 i = 0; i < state_.lights.size() && state_.active_light_count < kMaxLights; ++i) {
        if (state_.lights[i].enabled) state_.active_lights[state_.active_light_count++] = i;
    }
}

HRESULT GlDevice::SetLight(DWORD index, const D3DLIGHT9* light) {
    if (!light || index > 0xffff) return D3DERR_INVALIDCALL;
    if (light->Type < D3DLIGHT_POINT || light->Type > D3DLIGHT_DIRECTIONAL) return D3DERR_INVALIDCALL;
    Light& place = LightAt(index);
    if (Same(place.value, *light)) return D3D_OK;
    // Lights of another type need another program.
    if (place.enabled) {
        state_.dirty |=
            kDirtyLights | (place.value.Type != light->Type ? static_cast<u32>(kDirtyVertexKey) : 0u);
    }
    place.value = *light;
    return D3D_OK;
}

HRESULT GlDevice::GetLight(DWORD index, D3DLIGHT9* light) {
    if (!light) return D3DERR_INVALIDCALL;
    for (const Light& known : state_.lights) {
        if (known.index != index) continue;
        *light = known.value;
        return D3D_OK;
    }
    return D3DERR_INVALIDCALL;
}

HRESULT GlDevice::LightEnable(DWORD index, BOOL enable) {
    if (index > 0xffff) return D3DERR_INVALIDCALL;
    Light& light = LightAt(index);
    if (light.enabled == (enable != FALSE)) return D3D_OK;
    light.enabled = enable != FALSE;
    RefreshActiveLights();
    state_.dirty |= kDirtyLights | kDirtyVertexKey;
    return D3D_OK;
}

HRESULT GlDevice::GetLightEnable(DWORD index, BOOL* enable) {
    if (!enable) return D3DERR_INVALIDCALL;
    for (const Light& known : state_.lights) {
        if (known.index != index) continue;
        *enable = known.enabled ? TRUE : FALSE;
        return D3D_OK;
    }
    return D3DERR_INVALIDCALL;
}

HRESULT GlDevice::SetClipPlane(DWORD index, const float* plane) {
    if (!plane || index >= kMaxClipPlanes) return D3DERR_INVALIDCALL;
    auto& place = state_.clip_planes[index];
    const std::array<float, 4> value = {plane[0], plane[1], plane[2], plane[3]};
    if (Same(place, value)) return D3D_OK;
    place = value;
    state_.dirty |= kDirtyClipPlanes;
    return D3D_OK;
}

HRESULT GlDevice::GetClipPlane(DWORD index, float* plane) {
    if (!plane || index >= kMaxClipPlanes) return D3DERR_INVALIDCALL;
    std::copy_n(state_.clip_planes[index].begin(), 4, plane);
    return D3D_OK;
}

HRESULT GlDevice::SetRenderState(D3DRENDERSTATETYPE state, DWORD value) {
    const auto number = static_cast<u32>(state);
    if (number >= kRenderStates) return D3DERR_INVALIDCALL;
    if (state_.render[number] == value) return D3D_OK;
    state_.render[number] = value;
    state_.dirty |= RenderStateGroups(number);
    return D3D_OK;
}

HRESULT GlDevice::GetRenderState(D3DRENDERSTATETYPE state, DWORD* value) {
    const auto number = static_cast<u32>(state);
    if (!value || number >= kRenderStates) return D3DERR_INVALIDCALL;
    *value = state_.render[number];
    return D3D_OK;
}

HRESULT GlDevice::SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value) {
    const auto number = static_cast<u32>(type);
    if (stage >= kMaxStages || number >= kStageStates) return D3DERR_INVALIDCALL;
    DWORD& place = state_.stage[stage][number];
    if (place == value) return D3D_OK;
    place = value;
    state_.dirty |= StageStateGroups(number);
    return D3D_OK;
}

HRESULT GlDevice::GetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD* value) {
    const auto number = static_cast<u32>(type);
    if (!value || stage >= kMaxStages || number >= kStageStates) return D3DERR_INVALIDCALL;
    *value = state_.stage[stage][number];
    return D3D_OK;
}

HRESULT GlDevice::SetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD value) {
    const auto number = static_cast<u32>(type);
    if (sampler >= kMaxSamplers || number == 0 || number >= kSamplerStates) return D3DERR_INVALIDCALL;
    DWORD& place = state_.sampler[sampler][number];
    if (place == value) return D3D_OK;
    place = value;
    state_.dirty |= kDirtySamplers;
    state_.dirty_samplers |= 1u << sampler;
    return D3D_OK;
}

HRESULT GlDevice::GetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD* value) {
    const auto number = static_cast<u32>(type);
    if (!value || sampler >= kMaxSamplers || number == 0 || number >= kSamplerStates)
        return D3DERR_INVALIDCALL;
    *value = state_.sampler[sampler][number];
    return D3D_OK;
}

HRESULT GlDevice::SetTexture(DWORD stage, IDirect3DBaseTexture9* texture) {
    if (stage >= kMaxSamplers) return D3DERR_INVALIDCALL;
    GlTexture* bound = GlTexture::From(texture);
    if (bound && bound->Pool() == D3DPOOL_SCRATCH) return D3DERR_INVALIDCALL;
    GlTexture*& place = state_.textures[stage];
    if (place == bound) return D3D_OK;
    // What kind of texture a stage reads, if any, chooses the program.
    if (!place || !bound || place->Cube() != bound->Cube() || place->Format().d3d != bound->Format().d3d) {
        state_.dirty |= kDirtyVertexKey | kDirtyFragmentKey;
    }
    Bind(place, bound);
    state_.dirty |= kDirtyTextures;
    state_.dirty_textures |= 1u << stage;
    return D3D_OK;
}

HRESULT GlDevice::GetTexture(DWORD stage, IDirect3DBaseTexture9** texture) {
    if (!texture) return D3DERR_INVALIDCALL;
    *texture = nullptr;
    if (stage >= kMaxSamplers) return D3DERR_INVALIDCALL;
    GlTexture* bound = state_.textures[stage];
    return Give(bound ? bound->Interface() : nullptr, texture);
}

HRESULT GlDevice::ValidateDevice(DWORD* passes) {
    if (!passes) return D3DERR_INVALIDCALL;
    *passes = 1;
    return D3D_OK;
}

HRESULT GlDevice::SetSoftwareVertexProcessing(BOOL software) {
    const bool on = software != FALSE;
    if (on == state_.software_vertex_processing) return D3D_OK;
    if (on && (creation_.BehaviorFlags & D3DCREATE_HARDWARE_VERTEXPROCESSING)) return D3DERR_INVALIDCALL;
    if (!on && (creation_.BehaviorFlags & D3DCREATE_SOFTWARE_VERTEXPROCESSING)) return D3DERR_INVALIDCALL;
    state_.software_vertex_processing = on;
    return D3D_OK;
}

HRESULT GlDevice::CreateVertexDeclaration(const D3DVERTEXELEMENT9* elements,
                                          IDirect3DVertexDeclaration9** declaration) {
    return pipeline_->CreateVertexDeclaration(*this, elements, declaration);
}

HRESULT GlDevice::SetVertexDeclaration(IDirect3DVertexDeclaration9* declaration) {
    auto* bound = static_cast<VertexDeclaration*>(declaration);
    if (state_.declaration == bound && state_.fvf == 0) return D3D_OK;
    Bind(state_.declaration, bound);
    state_.fvf = 0;
    state_.dirty |= kDirtyVertexFormat | kDirtyVertexKey;
    return D3D_OK;
}

HRESULT GlDevice::GetVertexDeclaration(IDirect3DVertexDeclaration9** declaration) {
    if (!declaration) return D3DERR_INVALIDCALL;
    if (state_.fvf) return Give(pipeline_->DeclarationOfFvf(state_.fvf), declaration);
    return Give(state_.declaration, declaration);
}

HRESULT GlDevice::SetFVF(DWORD fvf) {
    if (fvf == state_.fvf && !state_.declaration) return D3D_OK;
    if (fvf == 0) return D3D_OK;
    if (!pipeline_->DeclarationOfFvf(fvf)) return D3DERR_INVALIDCALL;
    Bind<VertexDeclaration>(state_.declaration, nullptr);
    state_.fvf = fvf;
    state_.dirty |= kDirtyVertexFormat | kDirtyVertexKey;
    return D3D_OK;
}

HRESULT GlDevice::GetFVF(DWORD* fvf) {
    if (!fvf) return D3DERR_INVALIDCALL;
    *fvf = state_.declaration ? state_.declaration->Fvf() : state_.fvf;
    return D3D_OK;
}

HRESULT GlDevice::CreateVertexShader(const DWORD* function, IDirect3DVertexShader9** shader) {
    return pipeline_->CreateVertexShader(*this, function, shader);
}

HRESULT GlDevice::CreatePixelShader(const DWORD* function, IDirect3DPixelShader9** shader) {
    return pipeline_->CreatePixelShader(*this, function, shader);
}

HRESULT GlDevice::SetVertexShader(IDirect3DVertexShader9* shader) {
    auto* bound = static_cast<VertexShader*>(shader);
    if (state_.vertex_shader == bound) return D3D_OK;
    Bind(state_.vertex_shader, bound);
    state_.dirty |= kDirtyShaders;
    return D3D_OK;
}

HRESULT GlDevice::GetVertexShader(IDirect3DVertexShader9** shader) {
    return Give(state_.vertex_shader, shader);
}

HRESULT GlDevice::SetPixelShader(IDirect3DPixelShader9* shader) {
    auto* bound = static_cast<PixelShader*>(shader);
    if (state_.pixel_shader == bound) return D3D_OK;
    Bind(state_.pixel_shader, bound);
    state_.dirty |= kDirtyShaders;
    return D3D_OK;
}

HRESULT GlDevice::GetPixelShader(IDirect3DPixelShader9** shader) { return Give(state_.pixel_shader, shader); }

HRESULT GlDevice::SetVertexShaderConstantF(UINT start, const float* data, UINT count) {
    return Answer(StoreConstants(state_.vs_float, start, data, count, state_.dirty, kDirtyVertexConstants));
}
HRESULT GlDevice::GetVertexShaderConstantF(UINT start, float* data, UINT count) {
    return Answer(LoadConstants(state_.vs_float, start, data, count));
}
HRESULT GlDevice::SetVertexShaderConstantI(UINT start, const int* data, UINT count) {
    return Answer(StoreConstants(state_.vs_int, start, data, count, state_.dirty, kDirtyVertexConstants));
}
HRESULT GlDevice::GetVertexShaderConstantI(UINT start, int* data, UINT count) {
    return Answer(LoadConstants(state_.vs_int, start, data, count));
}
HRESULT GlDevice::SetVertexShaderConstantB(UINT start, const BOOL* data, UINT count) {
    return Answer(StoreConstants(state_.vs_bool, start, data, count, state_.dirty, kDirtyVertexConstants));
}
HRESULT GlDevice::GetVertexShaderConstantB(UINT start, BOOL* data, UINT count) {
    return Answer(LoadConstants(state_.vs_bool, start, data, count));
}
HRESULT GlDevice::SetPixelShaderConstantF(UINT start, const float* data, UINT count) {
    return Answer(StoreConstants(state_.ps_float, start, data, count, state_.dirty, kDirtyPixelConstants));
}
HRESULT GlDevice::GetPixelShaderConstantF(UINT start, float* data, UINT count) {
    return Answer(LoadConstants(state_.ps_float, start, data, count));
}
HRESULT GlDevice::SetPixelShaderConstantI(UINT start, const int* data, UINT count) {
    return Answer(StoreConstants(state_.ps_int, start, data, count, state_.dirty, kDirtyPixelConstants));
}
HRESULT GlDevice::GetPixelShaderConstantI(UINT start, int* data, UINT count) {
    return Answer(LoadConstants(state_.ps_int, start, data, count));
}
HRESULT GlDevice::SetPixelShaderConstantB(UINT start, const BOOL* data, UINT count) {
    return Answer(StoreConstants(state_.ps_bool, start, data, count, state_.dirty, kDirtyPixelConstants));
}
HRESULT GlDevice::GetPixelShaderConstantB(UINT start, BOOL* data, UINT count) {
    return Answer(LoadConstants(state_.ps_bool, start, data, count));
}

HRESULT GlDevice::SetStreamSource(UINT stream, IDirect3DVertexBuffer9* buffer, UINT offset, UINT stride) {
    if (stream >= kMaxStreams) return D3DERR_INVALIDCALL;
    GlBuffer* bound = buffer ? static_cast<GlVertexBuffer*>(buffer) : nullptr;
    StreamBinding& place = state_.streams[stream];
    if (place.buffer == bound && place.offset == offset && place.stride == stride) return D3D_OK;
    if (place.buffer != bound) Bind(place.buffer, bound);
    place.offset = offset;
    place.stride = stride;
    state_.dirty |= kDirtyStreams;
    return D3D_OK;
}

HRESULT GlDevice::GetStreamSource(UINT stream, IDirect3DVertexBuffer9** buffer, UINT* offset, UINT* stride) {
    if (!buffer) return D3DERR_INVALIDCALL;
    *buffer = nullptr;
    if (stream >= kMaxStreams) return D3DERR_INVALIDCALL;
    const StreamBinding& place = state_.streams[stream];
    if (offset) *offset = place.offset;
    if (stride) *stride = place.stride;
    return Give(static_cast<GlVertexBuffer*>(place.buffer), buffer);
}

HRESULT GlDevice::GetStreamSourceFreq(UINT stream, UINT* setting) {
    if (!setting || stream >= kMaxStreams) return D3DERR_INVALIDCALL;
    *setting = 1;
    return D3D_OK;
}

HRESULT GlDevice::SetIndices(IDirect3DIndexBuffer9* buffer) {
    GlBuffer* bound = buffer ? static_cast<GlIndexBuffer*>(buffer) : nullptr;
    if (state_.indices == bound) return D3D_OK;
    Bind(state_.indices, bound);
    state_.dirty |= kDirtyIndices;
    return D3D_OK;
}

HRESULT GlDevice::GetIndices(IDirect3DIndexBuffer9** buffer) {
    return Give(static_cast<GlIndexBuffer*>(state_.indices), buffer);
}

}  // namespace platform::gl
