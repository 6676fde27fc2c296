// The objects that the pipeline makes and draws by: vertex declarations and shader objects.
#pragma once

#include <vector>

#include "platform/gl/gl_object.h"
#include "platform/gl/shader_container.h"

namespace platform::gl {

/// One vertex element that a draw reads, in the pipeline's terms.
struct VertexElement {
    u16 stream = 0, offset = 0;
    u8 type = 0;                    // D3DDECLTYPE
    u8 usage = 0, usage_index = 0;  // D3DDECLUSAGE
    u8 location = 0;                // attribute location, 0 to 15
};

/// Attribute locations of the fixed-function inputs; a declaration gives other usages what is left.
enum AttributeLocation : u8 {
    kLocPosition = 0,
    kLocBlendWeight = 1,
    kLocBlendIndices = 2,
    kLocNormal = 3,
    kLocPointSize = 4,
    kLocDiffuse = 5,
    kLocSpecular = 6,
    kLocTexCoord0 = 8,  // to 15
    kLocations = 16,
    kNoLocation = 0xff
};

/// What the fixed-function vertex program must know about a vertex.
struct VertexLayout {
    bool transformed = false, normal = false, point_size = false, diffuse = false, specular = false;
    bool blend_indices_are_colors = false;  // BLENDINDICES as D3DCOLOR
    u8 weights = 0;                         // components of BLENDWEIGHT
    bool blend_indices = false;
    u8 tex_coords[8] = {};  // components of each set, 0 for none
    bool operator==(const VertexLayout&) const = default;
};

class VertexDeclaration final : public IDirect3DVertexDeclaration9, public GlObject {
  public:
    /// `elements` ends with D3DDECL_END() and was checked.
    VertexDeclaration(GlDevice& device, std::vector<D3DVERTEXELEMENT9> elements, DWORD fvf);
    ~VertexDeclaration() override;

    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override { return AddPublic(); }
    ULONG Release() override { return ReleasePublic(); }
    HRESULT GetDevice(IDirect3DDevice9** device) override { return DeviceOut(device); }
    HRESULT GetDeclaration(D3DVERTEXELEMENT9* elements, UINT* count) override;

    const std::vector<VertexElement>& Elements() const { return elements_; }
    const VertexLayout& Layout() const { return layout_; }
    /// One bit per stream that an element reads.
    u32 StreamMask() const { return stream_mask_; }
    /// The vertex format that this declaration was made from, 0 for one made by hand.
    DWORD Fvf() const { return fvf_; }
    /// The location of a usage, kNoLocation when the declaration lacks it.
    u8 LocationOf(u32 usage, u32 usage_index) const;

    /// Numbers declarations, from 1; never used twice.
    const u32 serial;
    /// True when the elements mean a layout that can be drawn.
    static bool Valid(const D3DVERTEXELEMENT9* elements, u32& count);
    /// The elements of a vertex format, with D3DDECL_END(); empty for a format without a position.
    static std::vector<D3DVERTEXELEMENT9> FromFvf(DWORD fvf);

  private:
    std::vector<D3DVERTEXELEMENT9> source_;
    std::vector<VertexElement> elements_;
    VertexLayout layout_;
    u32 stream_mask_ = 0;
    DWORD fvf_;
};

/// Components and bytes of a D3DDECLTYPE; 0 for one that does not exist.
u32 DeclTypeComponents(u32 type);
u32 DeclTypeBytes(u32 type);

/// What both kinds of shader object hold.
class ShaderData {
  public:
    ShaderData(ShaderSource shader_source, const DWORD* stream);
    const ShaderSource source;
    /// Numbers shader objects, from 1; never used twice.
    const u32 serial;

  protected:
    HRESULT CopyFunction(void* data, UINT* size) const;

  private:
    std::vector<DWORD> stream_;
};

class VertexShader final : public IDirect3DVertexShader9, public GlObject, public ShaderData {
  public:
    VertexShader(GlDevice& device, ShaderSource shader_source, const DWORD* stream)
        : GlObject(device), ShaderData(std::move(shader_source), stream) {}
    ~VertexShader() override;
    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override { return AddPublic(); }
    ULONG Release() override { return ReleasePublic(); }
    HRESULT GetDevice(IDirect3DDevice9** device) override { return DeviceOut(device); }
    HRESULT GetFunction(void* data, UINT* size) override { return CopyFunction(data, size); }
};

class PixelShader final : public IDirect3DPixelShader9, public GlObject, public ShaderData {
  public:
    PixelShader(GlDevice& device, ShaderSource shader_source, const DWORD* stream)
        : GlObject(device), ShaderData(std::move(shader_source), stream) {}
    ~PixelShader() override;
    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override { return AddPublic(); }
    ULONG Release() override { return ReleasePublic(); }
    HRESULT GetDevice(IDirect3DDevice9** device) override { return DeviceOut(device); }
    HRESULT GetFunction(void* data, UINT* size) override { return CopyFunction(data, size); }
};

}  // namespace platform::gl
