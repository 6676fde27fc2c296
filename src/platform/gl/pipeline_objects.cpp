#include "platform/gl/pipeline_objects.h"

#include <algorithm>
#include <cstring>

#include "platform/gl/gl_device.h"

namespace platform::gl {

namespace {

u32 NextSerial() {
    static u32 serial = 0;
    return ++serial;
}

void Forget(GlDevice& device, u32 serial) {
    device.Context().Activate();
    device.DrawPipeline().ForgetSerial(serial);
}

constexpr D3DVERTEXELEMENT9 kEnd = D3DDECL_END();

u8 FixedLocation(const D3DVERTEXELEMENT9& element) {
    const auto first = [&](u8 location) { return element.UsageIndex == 0 ? location : u8{kNoLocation}; };
    switch (element.Usage) {
        case D3DDECLUSAGE_POSITION:
        case D3DDECLUSAGE_POSITIONT:
            return first(kLocPosition);
        case D3DDECLUSAGE_BLENDWEIGHT:
            return first(kLocBlendWeight);
        case D3DDECLUSAGE_BLENDINDICES:
            return first(kLocBlendIndices);
        case D3DDECLUSAGE_NORMAL:
            return first(kLocNormal);
        case D3DDECLUSAGE_PSIZE:
            return first(kLocPointSize);
        case D3DDECLUSAGE_COLOR:
            return element.UsageIndex < 2 ? static_cast<u8>(kLocDiffuse + element.UsageIndex)
                                          : u8{kNoLocation};
        case D3DDECLUSAGE_TEXCOORD:
            return element.UsageIndex < 8 ? static_cast<u8>(kLocTexCoord0 + element.UsageIndex)
                                          : u8{kNoLocation};
        default:
            return kNoLocation;
    }
}

void Describe(const D3DVERTEXELEMENT9& element, VertexLayout& layout) {
    const u8 components = static_cast<u8>(DeclTypeComponents(element.Type));
    if (FixedLocation(element) == kNoLocation) return;
    switch (element.Usage) {
        case D3DDECLUSAGE_POSITIONT:
            layout.transformed = true;
            break;
        case D3DDECLUSAGE_BLENDWEIGHT:
            layout.weights = components;
            break;
        case D3DDECLUSAGE_BLENDINDICES:
            layout.blend_indices = true;
            layout.blend_indices_are_colors = element.Type == D3DDECLTYPE_D3DCOLOR;
            break;
        case D3DDECLUSAGE_NORMAL:
            layout.normal = true;
            break;
        case D3DDECLUSAGE_PSIZE:
            layout.point_size = true;
            break;
        case D3DDECLUSAGE_COLOR:
            (element.UsageIndex == 0 ? layout.diffuse : layout.specular) = true;
            break;
        case D3DDECLUSAGE_TEXCOORD:
            layout.tex_coords[element.UsageIndex] = components;
            break;
        default:
            break;
    }
}

}  // namespace

u32 DeclTypeComponents(u32 type) {
    static constexpr u8 kComponents[] = {1, 2, 3, 4, 4, 4, 2, 4, 4, 2, 4, 2, 4, 3, 3, 2, 4};
    return type < std::size(kComponents) ? kComponents[type] : 0;
}

u32 DeclTypeBytes(u32 type) {
    static constexpr u8 kBytes[] = {4, 8, 12, 16, 4, 4, 4, 8, 4, 4, 8, 4, 8, 4, 4, 4, 8};
    return type < std::size(kBytes) ? kBytes[type] : 0;
}

bool VertexDeclaration::Valid(const D3DVERTEXELEMENT9* elements, u32& count) {
    if (elements == nullptr) return false;
    for (count = 0; count <= MAXD3DDECLLENGTH; ++count) {
        const D3DVERTEXELEMENT9& element = elements[count];
        if (element.Stream == kEnd.Stream) return true;
        if (element.Stream >= 16 || element.Type >= D3DDECLTYPE_UNUSED || element.Usage > MAXD3DDECLUSAGE ||
            element.UsageIndex > MAXD3DDECLUSAGEINDEX || element.Offset % 4 != 0) {
            return false;
        }
    }
    return false;
}

std::vector<D3DVERTEXELEMENT9> VertexDeclaration::FromFvf(DWORD fvf) {
    std::vector<D3DVERTEXELEMENT9> elements;
    WORD offset = 0;
    const auto add = [&](u32 type, u32 usage, u32 index = 0) {
        elements.push_back({0, offset, static_cast<BYTE>(type), D3DDECLMETHOD_DEFAULT,
                            static_cast<BYTE>(usage), static_cast<BYTE>(index)});
        offset = static_cast<WORD>(offset + DeclTypeBytes(type));
    };
    const DWORD position = fvf & D3DFVF_POSITION_MASK;
    switch (position) {
        case D3DFVF_XYZRHW:
            add(D3DDECLTYPE_FLOAT4, D3DDECLUSAGE_POSITIONT);
            break;
        case D3DFVF_XYZW:
            add(D3DDECLTYPE_FLOAT4, D3DDECLUSAGE_POSITION);
            break;
        case D3DFVF_XYZ:
        case D3DFVF_XYZB1:
        case D3DFVF_XYZB2:
        case D3DFVF_XYZB3:
        case D3DFVF_XYZB4:
        case D3DFVF_XYZB5:
            add(D3DDECLTYPE_FLOAT3, D3DDECLUSAGE_POSITION);
            break;
        default:
            return {};
    }
    if (position >= D3DFVF_XYZB1 && position <= D3DFVF_XYZB5) {
        u32 floats = (position - D3DFVF_XYZ) / 2 - 1;
        const bool bytes = (fvf & D3DFVF_LASTBETA_UBYTE4) != 0, color = (fvf & D3DFVF_LASTBETA_D3DCOLOR) != 0;
        const bool indices = bytes || color || floats == 5;
        if (indices) --floats;
        if (floats > 0) add(D3DDECLTYPE_FLOAT1 + floats - 1, D3DDECLUSAGE_BLENDWEIGHT);
        if (indices) {
            const u32 type = bytes ? D3DDECLTYPE_UBYTE4 : color ? D3DDECLTYPE_D3DCOLOR : D3DDECLTYPE_FLOAT1;
            add(type, D3DDECLUSAGE_BLENDINDICES);
        }
    }
    if ((fvf & D3DFVF_NORMAL) != 0) add(D3DDECLTYPE_FLOAT3, D3DDECLUSAGE_NORMAL);
    if ((fvf & D3DFVF_PSIZE) != 0) add(D3DDECLTYPE_FLOAT1, D3DDECLUSAGE_PSIZE);
    if ((fvf & D3DFVF_DIFFUSE) != 0) add(D3DDECLTYPE_D3DCOLOR, D3DDECLUSAGE_COLOR, 0);
    if ((fvf & D3DFVF_SPECULAR) != 0) add(D3DDECLTYPE_D3DCOLOR, D3DDECLUSAGE_COLOR, 1);
    const DWORD sets =
        std::min<DWORD>((fvf & D3DFVF_TEXCOUNT_MASK) >> D3DFVF_TEXCOUNT_SHIFT, D3DDP_MAXTEXCOORD);
    for (DWORD i = 0; i < sets; ++i) {
        static constexpr u8 kTypes[] = {D3DDECLTYPE_FLOAT2, D3DDECLTYPE_FLOAT3, D3DDECLTYPE_FLOAT4,
                                        D3DDECLTYPE_FLOAT1};
        add(kTypes[fvf >> (16 + 2 * i) & 3u], D3DDECLUSAGE_TEXCOORD, i);
    }
    elements.push_back(kEnd);
    return elements;
}

VertexDeclaration::VertexDeclaration(GlDevice& device, std::vector<D3DVERTEXELEMENT9> elements, DWORD fvf)
    : GlObject(device), serial(NextSerial()), source_(std::move(elements)), fvf_(fvf) {
    for (const D3DVERTEXELEMENT9& element : source_) {
        if (element.Stream == kEnd.Stream) break;
        elements_.push_back({element.Stream, element.Offset, element.Type, element.Usage, element.UsageIndex,
                             FixedLocation(element)});
        stream_mask_ |= 1u << element.Stream;
        Describe(element, layout_);
    }
}

VertexDeclaration::~VertexDeclaration() {
    // Those of vertex formats go with the pipeline itself.
    if (fvf_ == 0) Forget(Device(), serial);
}

u8 VertexDeclaration::LocationOf(u32 usage, u32 usage_index) const {
    for (const VertexElement& element : elements_) {
        if (element.usage == usage && element.usage_index == usage_index) return element.location;
    }
    return kNoLocation;
}

HRESULT VertexDeclaration::QueryInterface(REFIID riid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (riid != IID_IUnknown && riid != IID_IDirect3DVertexDeclaration9) return E_NOINTERFACE;
    AddPublic();
    *object = static_cast<IDirect3DVertexDeclaration9*>(this);
    return S_OK;
}

HRESULT VertexDeclaration::GetDeclaration(D3DVERTEXELEMENT9* elements, UINT* count) {
    if (count == nullptr) return D3DERR_INVALIDCALL;
    *count = static_cast<UINT>(source_.size());
    if (elements != nullptr) std::copy(source_.begin(), source_.end(), elements);
    return D3D_OK;
}

ShaderData::ShaderData(ShaderSource shader_source, const DWORD* stream)
    : source(std::move(shader_source)),
      serial(NextSerial()),
      stream_(stream, stream + PackedShaderSize(stream) / 4) {}

HRESULT ShaderData::CopyFunction(void* data, UINT* size) const {
    if (size == nullptr) return D3DERR_INVALIDCALL;
    const UINT bytes = static_cast<UINT>(stream_.size() * 4);
    if (data != nullptr) {
        if (*size < bytes) return D3DERR_INVALIDCALL;
        std::memcpy(data, stream_.data(), bytes);
    }
    *size = bytes;
    return D3D_OK;
}

VertexShader::~VertexShader() { Forget(Device(), serial); }

HRESULT VertexShader::QueryInterface(REFIID riid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (riid != IID_IUnknown && riid != IID_IDirect3DVertexShader9) return E_NOINTERFACE;
    AddPublic();
    *object = static_cast<IDirect3DVertexShader9*>(this);
    return S_OK;
}

PixelShader::~PixelShader() { Forget(Device(), serial); }

HRESULT PixelShader::QueryInterface(REFIID riid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (riid != IID_IUnknown && riid != IID_IDirect3DPixelShader9) return E_NOINTERFACE;
    AddPublic();
    *object = static_cast<IDirect3DPixelShader9*>(this);
    return S_OK;
}

}  // namespace platform::gl
