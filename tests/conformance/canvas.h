// What a conformance case draws with: one fresh device whose back buffer is the picture, and short forms of
// the calls that nearly every case makes. Nothing here interprets what a case asks for.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <type_traits>
#include <vector>

#include "conformance/bounds.h"
#include "conformance/d3d.h"

namespace conformance {

/// A float out of any number: the cases count in integers and place things in floats.
template <typename Number>
constexpr float F(Number number) {
    return static_cast<float>(number);
}

/// A colour as a vertex element; a bare number in Mesh::V is a float.
struct Rgba {
    D3DCOLOR value;
};

/// Vertices in the order in which they are drawn, packed as their format says.
class Mesh {
  public:
    explicit Mesh(DWORD fvf_code) : fvf(fvf_code) {}

    /// Appends one vertex. Numbers become floats; an Rgba becomes a D3DCOLOR.
    template <typename... Parts>
    Mesh& V(Parts... parts) {
        (Append(parts), ...);
        ++count;
        return *this;
    }
    UINT Stride() const { return count == 0 ? 0 : static_cast<UINT>(bytes.size()) / count; }

    DWORD fvf;
    UINT count = 0;
    std::vector<BYTE> bytes;

  private:
    void Append(Rgba color) { AppendBytes(&color.value, 4); }
    template <typename Number>
    void Append(Number number) {
        static_assert(std::is_arithmetic_v<Number>);
        const float value = static_cast<float>(number);
        AppendBytes(&value, 4);
    }
    void AppendBytes(const void* data, size_t size) {
        const size_t at = bytes.size();
        bytes.resize(at + size);
        std::memcpy(bytes.data() + at, data, size);
    }
};

/// Where a rectangle lies, in pixels (pre-transformed) or in object space, with y of the first row first.
struct Area {
    float left, top, right, bottom;
};
/// The texture coordinates of a rectangle's left top and right bottom corners.
struct Coords {
    float u0 = 0, v0 = 0, u1 = 1, v1 = 1;
};

/// Appends two triangles that cover `area`, clockwise when y grows downwards. Which of diffuse, specular and
/// one two-coordinate texture coordinate set are written depends on the mesh's format: XYZ or XYZRHW.
void AddRect(Mesh& mesh, Area area, float z, Rgba diffuse, Coords coords = {}, Rgba specular = {0});
/// The same with a colour for each corner: left top, right top, left bottom, right bottom.
void AddRect(Mesh& mesh, Area area, float z, const std::array<D3DCOLOR, 4>& diffuse, Coords coords = {},
             const std::array<D3DCOLOR, 4>& specular = {});
/// Appends a sphere around the given centre, counter-clockwise seen from outside in a right-handed space.
/// Written per vertex: position, normal when the format has one, `diffuse`, `specular`, and one coordinate
/// pair (longitude, latitude).
void AddSphere(Mesh& mesh, float x, float y, float z, float radius, Rgba diffuse = {0xffffffff},
               Rgba specular = {0}, int rings = 16, int segments = 24);

D3DMATRIX Identity();
D3DMATRIX Multiply(const D3DMATRIX& first, const D3DMATRIX& second);
D3DMATRIX Translation(float x, float y, float z);
D3DMATRIX Scaling(float x, float y, float z);
/// Rotation about an axis, 0 x, 1 y, 2 z, counter-clockwise seen from the positive axis, radians.
D3DMATRIX Rotation(int axis, float angle);
D3DMATRIX PerspectiveRH(float fov_y, float aspect, float z_near, float z_far);
D3DMATRIX OrthoRH(float width, float height, float z_near, float z_far);
/// Orthographic projection that puts object space x, y on the target's pixel coordinates (y downwards), z as
/// it is.
D3DMATRIX PixelProjection(float width, float height);
D3DMATRIX LookAtRH(float eye_x, float eye_y, float eye_z, float at_x, float at_y, float at_z);

/// The bits of a float, for render states that take one.
DWORD Bits(float value);

/// Gives the colour of a texel, as A8R8G8B8, of a level.
using Texel = std::function<D3DCOLOR(UINT x, UINT y, UINT level)>;

class Canvas {
  public:
    Canvas() = default;
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas();

    /// Makes the device, with its back buffer (A8R8G8B8, D24S8) of the given size. False when it cannot.
    bool Open(IDirect3D9* direct3d, HWND window, UINT width, UINT height, D3DMULTISAMPLE_TYPE samples);
    /// The picture: A8R8G8B8, first row first. Empty when it cannot be read.
    std::vector<std::uint32_t> Read();

    /// Clears colour, depth (1) and stencil (0) of the whole target.
    void Fill(D3DCOLOR color);
    void Rs(D3DRENDERSTATETYPE state, DWORD value) { Check(device->SetRenderState(state, value)); }
    void RsFloat(D3DRENDERSTATETYPE state, float value) { Rs(state, Bits(value)); }
    void Tss(DWORD stage, D3DTEXTURESTAGESTATETYPE state, DWORD value) {
        Check(device->SetTextureStageState(stage, state, value));
    }
    void Samp(DWORD sampler, D3DSAMPLERSTATETYPE state, DWORD value) {
        Check(device->SetSamplerState(sampler, state, value));
    }
    void Transform(D3DTRANSFORMSTATETYPE state, const D3DMATRIX& matrix) {
        Check(device->SetTransform(state, &matrix));
    }
    void Bind(DWORD stage, IDirect3DBaseTexture9* texture) { Check(device->SetTexture(stage, texture)); }
    /// Colour operation and its arguments; the alpha of the stage stays as it is.
    void ColorOp(DWORD stage, DWORD op, DWORD arg1, DWORD arg2 = D3DTA_CURRENT);
    void AlphaOp(DWORD stage, DWORD op, DWORD arg1, DWORD arg2 = D3DTA_CURRENT);
    /// Sets min, mag and mip filter.
    void Filter(DWORD sampler, DWORD min, DWORD mag, DWORD mip);
    /// World identity, a camera at (0, -distance, 0) that looks along +y with z up, perspective of 60
    /// degrees.
    void Camera(float distance = 4.0f);
    /// View and world identity, projection so that object space is pixel space; culling off, lighting off.
    void PixelSpace();
    /// A viewport with full depth range.
    void Viewport(DWORD x, DWORD y, DWORD w, DWORD h, float min_z = 0.0f, float max_z = 1.0f);

    /// Draws the whole mesh with DrawPrimitiveUP.
    void Draw(D3DPRIMITIVETYPE type, const Mesh& mesh);
    /// One pre-transformed, coloured rectangle.
    void Rect(Area area, float z, D3DCOLOR color);
    /// One pre-transformed, textured rectangle with a colour for all corners.
    void TexturedRect(Area area, Coords coords = {}, D3DCOLOR color = 0xffffffff, float z = 0.5f);

    /// A managed texture of any uncompressed format that the cases use. The canvas owns it.
    IDirect3DTexture9* Texture(UINT width, UINT height, UINT levels, D3DFORMAT format, const Texel& texel);
    /// A texture that can be drawn into. The canvas owns it.
    IDirect3DTexture9* TargetTexture(UINT width, UINT height, D3DFORMAT format = D3DFMT_A8R8G8B8,
                                     UINT levels = 1);
    /// The first level's surface. The canvas owns it.
    IDirect3DSurface9* Level(IDirect3DTexture9* texture, UINT level = 0);
    /// A depth-stencil surface (D24S8). The canvas owns it.
    IDirect3DSurface9* DepthSurface(UINT width, UINT height);
    IDirect3DSurface9* BackBuffer() const { return target_; }
    IDirect3DSurface9* AutoDepth() const { return depth_; }
    /// Draws into `surface` with `depth`; BackBuffer() and AutoDepth() bring the picture back.
    void Target(IDirect3DSurface9* surface, IDirect3DSurface9* depth);
    /// Releases the interface when the canvas goes.
    template <typename Interface>
    Interface* Keep(Interface* object) {
        if (object != nullptr) {
            kept_.push_back(object);
        }
        return object;
    }
    /// Remembers that a call failed which no case expects to fail.
    void Check(HRESULT result) {
        if (FAILED(result)) {
            ++failures_;
        }
    }
    int failures() const { return failures_; }

    IDirect3DDevice9* device = nullptr;
    UINT width = 0;
    UINT height = 0;

  private:
    std::vector<IUnknown*> kept_;
    IDirect3DSurface9* target_ = nullptr;
    IDirect3DSurface9* depth_ = nullptr;
    bool multisampled_ = false;
    int failures_ = 0;
};

/// Writes a texel of an uncompressed format; returns its bytes (0 for a format that the cases do not use).
UINT EncodeTexel(D3DFORMAT format, D3DCOLOR color, BYTE* out);

struct Case {
    const char* name;
    UINT width;
    UINT height;
    void (*draw)(Canvas&);
    Bounds bounds = {};
    D3DMULTISAMPLE_TYPE samples = D3DMULTISAMPLE_NONE;
};

void AddRasterCases(std::vector<Case>& cases);
void AddClipCases(std::vector<Case>& cases);
void AddOutputCases(std::vector<Case>& cases);
void AddStencilCases(std::vector<Case>& cases);
void AddStageCases(std::vector<Case>& cases);
void AddSamplerCases(std::vector<Case>& cases);
void AddFormatCases(std::vector<Case>& cases);
void AddCoordinateCases(std::vector<Case>& cases);
void AddLightCases(std::vector<Case>& cases);
void AddFogCases(std::vector<Case>& cases);
void AddVertexCases(std::vector<Case>& cases);
void AddTargetCases(std::vector<Case>& cases);
/// Every case, in a fixed order.
const std::vector<Case>& AllCases();

}  // namespace conformance
