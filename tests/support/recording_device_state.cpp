// States, streams, shaders and draws of the recording device.
#include <algorithm>
#include <cstring>

#include "support/recording_device_impl.h"

namespace support {

namespace {

template <class T, std::size_t N>
HRESULT Store(std::array<T, N>& constants, UINT start, const T* data, UINT count, UINT width) {
    if ((u64{start} + count) * width > N) return D3DERR_INVALIDCALL;
    std::copy_n(data, count * width, constants.begin() + start * width);
    return D3D_OK;
}

template <class T, std::size_t N>
HRESULT Fetch(const std::array<T, N>& constants, UINT start, T* data, UINT count, UINT width) {
    if ((u64{start} + count) * width > N) return D3DERR_INVALIDCALL;
    std::copy_n(constants.begin() + start * width, count * width, data);
    return D3D_OK;
}

// Bytes of a vertex of this format.
u32 FvfBytes(DWORD fvf) {
    u32 bytes = 0;
    switch (fvf & D3DFVF_POSITION_MASK) {
        case D3DFVF_XYZ:
            bytes = 12;
            break;
        case D3DFVF_XYZRHW:
        case D3DFVF_XYZB1:
        case D3DFVF_XYZW:
            bytes = 16;
            break;
        case D3DFVF_XYZB2:
            bytes = 20;
            break;
        case D3DFVF_XYZB3:
            bytes = 24;
            break;
        case D3DFVF_XYZB4:
            bytes = 28;
            break;
        case D3DFVF_XYZB5:
            bytes = 32;
            break;
        default:
            break;
    }
    if (fvf & D3DFVF_NORMAL) bytes += 12;
    for (DWORD bit : {D3DFVF_PSIZE, D3DFVF_DIFFUSE, D3DFVF_SPECULAR})
        if (fvf & bit) bytes += 4;
    constexpr u32 kCoordinates[] = {2, 3, 4, 1};
    const u32 sets = (fvf & D3DFVF_TEXCOUNT_MASK) >> D3DFVF_TEXCOUNT_SHIFT;
    for (u32 i = 0; i < sets && i < 8; ++i) bytes += 4 * kCoordinates[fvf >> (16 + 2 * i) & 3];
    return bytes;
}

u64 VertexCount(D3DPRIMITIVETYPE type, u64 primitives) {
    switch (type) {
        case D3DPT_POINTLIST:
            return primitives;
        case D3DPT_LINELIST:
            return 2 * primitives;
        case D3DPT_LINESTRIP:
            return primitives + 1;
        case D3DPT_TRIANGLELIST:
            return 3 * primitives;
        case D3DPT_TRIANGLESTRIP:
        case D3DPT_TRIANGLEFAN:
            return primitives + 2;
        default:
            return 0;
    }
}

u32 IndexAt(const u8* indices, u64 i, u32 bytes) {
    if (bytes == 4) {
        u32 index;
        std::memcpy(&index, indices + 4 * i, 4);
        return index;
    }
    u16 index;
    std::memcpy(&index, indices + 2 * i, 2);
    return index;
}

bool Within(DWORD value, DWORD first, DWORD last) { return value >= first && value <= last; }

}  // namespace

// ------------------------------------------------------------------------------------------------ states

void RecordingDevice::CheckState(D3DRENDERSTATETYPE state, DWORD value) {
    bool good = true;
    switch (state) {
        case D3DRS_FILLMODE:
        case D3DRS_SHADEMODE:
        case D3DRS_CULLMODE:
            good = Within(value, 1, 3);
            break;
        case D3DRS_SRCBLEND:
        case D3DRS_DESTBLEND:
            good = Within(value, D3DBLEND_ZERO, D3DBLEND_INVBLENDFACTOR);
            break;
        case D3DRS_ZFUNC:
        case D3DRS_ALPHAFUNC:
        case D3DRS_STENCILFUNC:
        case D3DRS_CCW_STENCILFUNC:
        case D3DRS_STENCILFAIL:
        case D3DRS_STENCILZFAIL:
        case D3DRS_STENCILPASS:
        case D3DRS_CCW_STENCILFAIL:
        case D3DRS_CCW_STENCILZFAIL:
        case D3DRS_CCW_STENCILPASS:
            good = Within(value, 1, 8);
            break;
        case D3DRS_FOGTABLEMODE:
        case D3DRS_FOGVERTEXMODE:
            good = value <= D3DFOG_LINEAR;
            break;
        case D3DRS_VERTEXBLEND:
            good = value <= D3DVBF_3WEIGHTS || Within(value, D3DVBF_TWEENING, D3DVBF_0WEIGHTS);
            break;
        case D3DRS_COLORWRITEENABLE:
            good = value <= 15;
            break;
        case D3DRS_ALPHAREF:
            good = value <= 255;
            break;
        default:
            good = static_cast<u32>(state) < render_states_.size();
            break;
    }
    if (!good)
        recorder_->Fault("render state " + std::to_string(state) + " cannot be " + std::to_string(value));
}

HRESULT RecordingDevice::SetRenderState(D3DRENDERSTATETYPE state, DWORD value) {
    CheckState(state, value);
    if (static_cast<u32>(state) >= render_states_.size()) return D3DERR_INVALIDCALL;
    Set("SetRenderState", {state, value}, render_states_[state] == value, true);
    render_states_[state] = value;
    return D3D_OK;
}

HRESULT RecordingDevice::GetRenderState(D3DRENDERSTATETYPE state, DWORD* value) {
    if (static_cast<u32>(state) >= render_states_.size()) return D3DERR_INVALIDCALL;
    *value = render_states_[state];
    return D3D_OK;
}

void RecordingDevice::CheckStageState(D3DTEXTURESTAGESTATETYPE type, DWORD value) {
    bool good = true;
    switch (type) {
        case D3DTSS_COLOROP:
        case D3DTSS_ALPHAOP:
            good = Within(value, D3DTOP_DISABLE, D3DTOP_LERP);
            break;
        case D3DTSS_TEXTURETRANSFORMFLAGS:
            good = (value & ~static_cast<DWORD>(D3DTTFF_PROJECTED)) <= D3DTTFF_COUNT4;
            break;
        default:
            break;
    }
    if (!good)
        recorder_->Fault("texture stage state " + std::to_string(type) + " cannot be " +
                         std::to_string(value));
}

HRESULT RecordingDevice::SetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD value) {
    if (stage >= kStages || static_cast<u32>(type) >= stage_states_[0].size()) {
        recorder_->Fault("texture stage that the device does not have");
        return D3DERR_INVALIDCALL;
    }
    CheckStageState(type, value);
    DWORD& held = stage_states_[stage][type];
    Set("SetTextureStageState", {stage, type, value}, held == value, true);
    held = value;
    return D3D_OK;
}

HRESULT RecordingDevice::GetTextureStageState(DWORD stage, D3DTEXTURESTAGESTATETYPE type, DWORD* value) {
    if (stage >= kStages || static_cast<u32>(type) >= stage_states_[0].size()) return D3DERR_INVALIDCALL;
    *value = stage_states_[stage][type];
    return D3D_OK;
}

void RecordingDevice::CheckSamplerState(D3DSAMPLERSTATETYPE type, DWORD value) {
    bool good = true;
    if (type <= D3DSAMP_ADDRESSW)
        good = Within(value, D3DTADDRESS_WRAP, D3DTADDRESS_MIRRORONCE);
    else if (Within(type, D3DSAMP_MAGFILTER, D3DSAMP_MIPFILTER))
        good = value <= D3DTEXF_ANISOTROPIC || Within(value, D3DTEXF_PYRAMIDALQUAD, D3DTEXF_GAUSSIANQUAD);
    if (!good)
        recorder_->Fault("sampler state " + std::to_string(type) + " cannot be " + std::to_string(value));
}

HRESULT RecordingDevice::SetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD value) {
    if (sampler >= kSamplers || static_cast<u32>(type) >= sampler_states_[0].size()) {
        recorder_->Fault("sampler that the device does not have");
        return D3DERR_INVALIDCALL;
    }
    CheckSamplerState(type, value);
    DWORD& held = sampler_states_[sampler][type];
    Set("SetSamplerState", {sampler, type, value}, held == value, true);
    held = value;
    return D3D_OK;
}

HRESULT RecordingDevice::GetSamplerState(DWORD sampler, D3DSAMPLERSTATETYPE type, DWORD* value) {
    if (sampler >= kSamplers || static_cast<u32>(type) >= sampler_states_[0].size())
        return D3DERR_INVALIDCALL;
    *value = sampler_states_[sampler][type];
    return D3D_OK;
}

HRESULT RecordingDevice::SetTexture(DWORD stage, IDirect3DBaseTexture9* texture) {
    if (stage >= kSamplers || (texture && Id(texture) == 0)) {
        recorder_->Fault("SetTexture to a stage or texture that the device does not have");
        return D3DERR_INVALIDCALL;
    }
    Set("SetTexture", {stage, Id(texture)}, textures_[stage] == texture);
    Hold(textures_[stage], texture);
    return D3D_OK;
}

HRESULT RecordingDevice::GetTexture(DWORD stage, IDirect3DBaseTexture9** texture) {
    *texture = nullptr;
    return stage < kSamplers ? Give(textures_[stage], texture) : D3DERR_INVALIDCALL;
}

HRESULT RecordingDevice::ValidateDevice(DWORD* passes) {
    recorder_->Add("ValidateDevice", {});
    *passes = 1;
    return D3D_OK;
}

HRESULT RecordingDevice::SetScissorRect(const RECT* rect) {
    Set("SetScissorRect", {rect->left, rect->top, rect->right, rect->bottom},
        std::memcmp(rect, &scissor_, sizeof scissor_) == 0);
    scissor_ = *rect;
    return D3D_OK;
}

HRESULT RecordingDevice::GetScissorRect(RECT* rect) {
    *rect = scissor_;
    return D3D_OK;
}

HRESULT RecordingDevice::SetSoftwareVertexProcessing(BOOL software) {
    Set("SetSoftwareVertexProcessing", {software}, software_vertices_ == software, true);
    software_vertices_ = software;
    return D3D_OK;
}

// ------------------------------------------------------------------------------------------------- draws

u32 RecordingDevice::VertexBytes() const { return declaration_ ? 0 : FvfBytes(fvf_); }

bool RecordingDevice::CanDraw(D3DPRIMITIVETYPE type, UINT count) {
    if (!in_scene_) recorder_->Fault("draw outside a scene");
    if (!declaration_ && !vertex_shader_ && (fvf_ & D3DFVF_POSITION_MASK) == 0)
        recorder_->Fault("draw without a vertex format");
    return count != 0 && VertexCount(type, count) != 0;
}

void RecordingDevice::CountDraw(UINT primitives) {
    ++recorder_->totals.draws;
    recorder_->totals.primitives += primitives;
}

std::span<const u8> RecordingDevice::StreamVertices(i64 first, u64 count) {
    const Stream& stream = streams_[0];
    if (!stream.buffer) {
        recorder_->Fault("draw without vertices");
        return {};
    }
    const Storage& storage = static_cast<VertexBuffer*>(stream.buffer)->storage;
    if (storage.Locked()) recorder_->Fault("draw from locked vertices");
    if (stream.stride < VertexBytes())
        recorder_->Fault("vertices further apart in the format than in the buffer");
    const i64 start = stream.offset + first * stream.stride;
    const i64 end = start + static_cast<i64>(count * stream.stride);
    if (first < 0 || end > static_cast<i64>(storage.bytes.size())) {
        recorder_->Fault("draw of vertex bytes " + std::to_string(start) + " to " + std::to_string(end) +
                         " of " + std::to_string(storage.bytes.size()));
        return {};
    }
    return std::span<const u8>(storage.bytes).subspan(static_cast<std::size_t>(start), count * stream.stride);
}

HRESULT RecordingDevice::DrawPrimitive(D3DPRIMITIVETYPE type, UINT start, UINT count) {
    Call* call = recorder_->Add("DrawPrimitive", {type, start, count});
    if (!CanDraw(type, count)) return D3DERR_INVALIDCALL;
    const std::span<const u8> vertices = StreamVertices(start, VertexCount(type, count));
    if (call) call->vertices.assign(vertices.begin(), vertices.end());
    CountDraw(count);
    return D3D_OK;
}

HRESULT RecordingDevice::DrawIndexedPrimitive(D3DPRIMITIVETYPE type, INT base_vertex, UINT min_vertex,
                                              UINT vertex_count, UINT start_index, UINT count) {
    Call* call = recorder_->Add("DrawIndexedPrimitive",
                                {type, base_vertex, min_vertex, vertex_count, start_index, count});
    if (!CanDraw(type, count)) return D3DERR_INVALIDCALL;
    if (!indices_) {
        recorder_->Fault("indexed draw without indices");
        return D3DERR_INVALIDCALL;
    }
    auto* buffer = static_cast<IndexBuffer*>(indices_);
    const std::vector<u8>& bytes = buffer->storage.bytes;
    if (buffer->storage.Locked()) recorder_->Fault("draw from locked indices");
    const u64 index_count = VertexCount(type, count);
    if ((start_index + index_count) * buffer->IndexBytes() > bytes.size()) {
        recorder_->Fault("draw of indices to " + std::to_string(start_index + index_count) + " of " +
                         std::to_string(bytes.size() / buffer->IndexBytes()));
        return D3DERR_INVALIDCALL;
    }
    for (u64 i = start_index; i < start_index + index_count; ++i) {
        const u32 index = IndexAt(bytes.data(), i, buffer->IndexBytes());
        if (call) call->indices.push_back(index);
        if (index >= min_vertex && index - min_vertex < vertex_count) continue;
        recorder_->Fault("index " + std::to_string(index) + " outside the " + std::to_string(vertex_count) +
                         " vertices from " + std::to_string(min_vertex));
        return D3DERR_INVALIDCALL;
    }
    const std::span<const u8> vertices = StreamVertices(i64{base_vertex} + min_vertex, vertex_count);
    if (call) call->vertices.assign(vertices.begin(), vertices.end());
    CountDraw(count);
    return D3D_OK;
}

HRESULT RecordingDevice::DrawPrimitiveUP(D3DPRIMITIVETYPE type, UINT count, const void* vertices,
                                         UINT stride) {
    Call* call = recorder_->Add("DrawPrimitiveUP", {type, count, stride});
    if (!CanDraw(type, count)) return D3DERR_INVALIDCALL;
    if (stride < VertexBytes()) recorder_->Fault("vertices further apart in the format than in memory");
    // Copying makes a sanitizer look at all that a device would read.
    const u8* bytes = static_cast<const u8*>(vertices);
    std::vector<u8> copy(bytes, bytes + VertexCount(type, count) * stride);
    if (call) call->vertices = std::move(copy);
    Hold(streams_[0].buffer, nullptr);
    streams_[0] = {};
    CountDraw(count);
    return D3D_OK;
}

HRESULT RecordingDevice::DrawIndexedPrimitiveUP(D3DPRIMITIVETYPE type, UINT min_vertex, UINT vertex_count,
                                                UINT count, const void* indices, D3DFORMAT index_format,
                                                const void* vertices, UINT stride) {
    Call* call = recorder_->Add("DrawIndexedPrimitiveUP", {type, min_vertex, vertex_count, count, stride});
    if (!CanDraw(type, count)) return D3DERR_INVALIDCALL;
    if (stride < VertexBytes()) recorder_->Fault("vertices further apart in the format than in memory");
    const u32 index_bytes = index_format == D3DFMT_INDEX32 ? 4 : 2;
    for (u64 i = 0; i < VertexCount(type, count); ++i) {
        const u32 index = IndexAt(static_cast<const u8*>(indices), i, index_bytes);
        if (call) call->indices.push_back(index);
        if (index < min_vertex || index - min_vertex >= vertex_count)
            recorder_->Fault("index " + std::to_string(index) + " outside its vertices");
    }
    const u8* bytes = static_cast<const u8*>(vertices);
    std::vector<u8> copy(bytes + u64{min_vertex} * stride, bytes + (u64{min_vertex} + vertex_count) * stride);
    if (call) call->vertices = std::move(copy);
    Hold(streams_[0].buffer, nullptr);
    streams_[0] = {};
    Hold(indices_, nullptr);
    CountDraw(count);
    return D3D_OK;
}

// --------------------------------------------------------------------------- vertex formats and streams

HRESULT RecordingDevice::CreateVertexDeclaration(const D3DVERTEXELEMENT9* elements,
                                                 IDirect3DVertexDeclaration9** declaration) {
    recorder_->Add("CreateVertexDeclaration", {});
    *declaration = new VertexDeclaration(this, recorder_, elements);
    return D3D_OK;
}

HRESULT RecordingDevice::SetVertexDeclaration(IDirect3DVertexDeclaration9* declaration) {
    Set("SetVertexDeclaration", {Id(declaration)}, declaration_ == declaration);
    Hold(declaration_, declaration);
    return D3D_OK;
}

HRESULT RecordingDevice::GetVertexDeclaration(IDirect3DVertexDeclaration9** declaration) {
    return Give(declaration_, declaration);
}

HRESULT RecordingDevice::SetFVF(DWORD fvf) {
    Set("SetFVF", {fvf}, fvf_ == fvf && !declaration_);
    fvf_ = fvf;
    Hold(declaration_, nullptr);
    return D3D_OK;
}

HRESULT RecordingDevice::GetFVF(DWORD* fvf) {
    *fvf = fvf_;
    return D3D_OK;
}

HRESULT RecordingDevice::SetStreamSource(UINT stream, IDirect3DVertexBuffer9* buffer, UINT offset,
                                         UINT stride) {
    if (stream >= kStreams || (buffer && Id(buffer) == 0)) {
        recorder_->Fault("SetStreamSource to a stream or buffer that the device does not have");
        return D3DERR_INVALIDCALL;
    }
    Stream& held = streams_[stream];
    Set("SetStreamSource", {stream, Id(buffer), offset, stride},
        held.buffer == buffer && held.offset == offset && held.stride == stride);
    Hold(held.buffer, buffer);
    held.offset = offset;
    held.stride = stride;
    return D3D_OK;
}

HRESULT RecordingDevice::GetStreamSource(UINT stream, IDirect3DVertexBuffer9** buffer, UINT* offset,
                                         UINT* stride) {
    if (stream >= kStreams) return D3DERR_INVALIDCALL;
    *offset = streams_[stream].offset;
    *stride = streams_[stream].stride;
    return Give(streams_[stream].buffer, buffer);
}

HRESULT RecordingDevice::SetStreamSourceFreq(UINT, UINT) { return E_NOTIMPL; }

HRESULT RecordingDevice::GetStreamSourceFreq(UINT, UINT* setting) {
    *setting = 1;
    return D3D_OK;
}

HRESULT RecordingDevice::SetIndices(IDirect3DIndexBuffer9* buffer) {
    Set("SetIndices", {Id(buffer)}, indices_ == buffer);
    Hold(indices_, buffer);
    return D3D_OK;
}

HRESULT RecordingDevice::GetIndices(IDirect3DIndexBuffer9** buffer) { return Give(indices_, buffer); }

// ----------------------------------------------------------------------------------------------- shaders

HRESULT RecordingDevice::CreateVertexShader(const DWORD* function, IDirect3DVertexShader9** shader) {
    recorder_->Add("CreateVertexShader", {});
    *shader = new Shader<IDirect3DVertexShader9>(this, recorder_, function);
    return D3D_OK;
}

HRESULT RecordingDevice::SetVertexShader(IDirect3DVertexShader9* shader) {
    Set("SetVertexShader", {Id(shader)}, vertex_shader_ == shader);
    Hold(vertex_shader_, shader);
    return D3D_OK;
}

HRESULT RecordingDevice::GetVertexShader(IDirect3DVertexShader9** shader) {
    return Give(vertex_shader_, shader);
}

HRESULT RecordingDevice::CreatePixelShader(const DWORD* function, IDirect3DPixelShader9** shader) {
    recorder_->Add("CreatePixelShader", {});
    *shader = new Shader<IDirect3DPixelShader9>(this, recorder_, function);
    return D3D_OK;
}

HRESULT RecordingDevice::SetPixelShader(IDirect3DPixelShader9* shader) {
    Set("SetPixelShader", {Id(shader)}, pixel_shader_ == shader);
    Hold(pixel_shader_, shader);
    return D3D_OK;
}

HRESULT RecordingDevice::GetPixelShader(IDirect3DPixelShader9** shader) {
    return Give(pixel_shader_, shader);
}

HRESULT RecordingDevice::SetVertexShaderConstantF(UINT start, const float* data, UINT count) {
    if (Call* call = recorder_->Add("SetVertexShaderConstantF", {start, count}))
        call->floats.assign(data, data + count * 4);
    return Store(vertex_constants_.floats, start, data, count, 4);
}

HRESULT RecordingDevice::GetVertexShaderConstantF(UINT start, float* data, UINT count) {
    return Fetch(vertex_constants_.floats, start, data, count, 4);
}

HRESULT RecordingDevice::SetVertexShaderConstantI(UINT start, const int* data, UINT count) {
    return Store(vertex_constants_.integers, start, data, count, 4);
}

HRESULT RecordingDevice::GetVertexShaderConstantI(UINT start, int* data, UINT count) {
    return Fetch(vertex_constants_.integers, start, data, count, 4);
}

HRESULT RecordingDevice::SetVertexShaderConstantB(UINT start, const BOOL* data, UINT count) {
    return Store(vertex_constants_.booleans, start, data, count, 1);
}

HRESULT RecordingDevice::GetVertexShaderConstantB(UINT start, BOOL* data, UINT count) {
    return Fetch(vertex_constants_.booleans, start, data, count, 1);
}

HRESULT RecordingDevice::SetPixelShaderConstantF(UINT start, const float* data, UINT count) {
    if (Call* call = recorder_->Add("SetPixelShaderConstantF", {start, count}))
        call->floats.assign(data, data + count * 4);
    return Store(pixel_constants_.floats, start, data, count, 4);
}

HRESULT RecordingDevice::GetPixelShaderConstantF(UINT start, float* data, UINT count) {
    return Fetch(pixel_constants_.floats, start, data, count, 4);
}

HRESULT RecordingDevice::SetPixelShaderConstantI(UINT start, const int* data, UINT count) {
    return Store(pixel_constants_.integers, start, data, count, 4);
}

HRESULT RecordingDevice::GetPixelShaderConstantI(UINT start, int* data, UINT count) {
    return Fetch(pixel_constants_.integers, start, data, count, 4);
}

HRESULT RecordingDevice::SetPixelShaderConstantB(UINT start, const BOOL* data, UINT count) {
    return Store(pixel_constants_.booleans, start, data, count, 1);
}

HRESULT RecordingDevice::GetPixelShaderConstantB(UINT start, BOOL* data, UINT count) {
    return Fetch(pixel_constants_.booleans, start, data, count, 1);
}

}  // namespace support
