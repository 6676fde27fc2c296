#include "conformance/canvas.h"

#include <cmath>

namespace conformance {

namespace {

constexpr float kPi = 3.14159265358979f;

struct Corner {
    float x, y, u, v;
    int index;
};

}  // namespace

void AddRect(Mesh& mesh, Area area, float z, const std::array<D3DCOLOR, 4>& diffuse, Coords coords,
             const std::array<D3DCOLOR, 4>& specular) {
    const Corner corners[4] = {{area.left, area.top, coords.u0, coords.v0, 0},
                               {area.right, area.top, coords.u1, coords.v0, 1},
                               {area.left, area.bottom, coords.u0, coords.v1, 2},
                               {area.right, area.bottom, coords.u1, coords.v1, 3}};
    Mesh part(mesh.fvf);
    for (int index : {0, 1, 2, 2, 1, 3}) {
        const Corner& corner = corners[index];
        const bool transformed = (mesh.fvf & D3DFVF_POSITION_MASK) == D3DFVF_XYZRHW;
        if (transformed) {
            part.V(corner.x, corner.y, z, 1.0f);
        } else {
            part.V(corner.x, corner.y, z);
        }
        const auto at = static_cast<size_t>(corner.index);
        if ((mesh.fvf & D3DFVF_DIFFUSE) != 0) {
            part.V(Rgba{diffuse[at]});
        }
        if ((mesh.fvf & D3DFVF_SPECULAR) != 0) {
            part.V(Rgba{specular[at]});
        }
        if ((mesh.fvf & D3DFVF_TEXCOUNT_MASK) != 0) {
            part.V(corner.u, corner.v);
        }
    }
    mesh.bytes.insert(mesh.bytes.end(), part.bytes.begin(), part.bytes.end());
    mesh.count += 6;
}

void AddRect(Mesh& mesh, Area area, float z, Rgba diffuse, Coords coords, Rgba specular) {
    AddRect(mesh, area, z, {diffuse.value, diffuse.value, diffuse.value, diffuse.value}, coords,
            {specular.value, specular.value, specular.value, specular.value});
}

void AddSphere(Mesh& mesh, float x, float y, float z, float radius, Rgba diffuse, Rgba specular, int rings,
               int segments) {
    Mesh part(mesh.fvf);
    const auto put = [&](int ring, int segment) {
        const float latitude = kPi * static_cast<float>(ring) / static_cast<float>(rings);
        const float longitude = 2.0f * kPi * static_cast<float>(segment) / static_cast<float>(segments);
        const float nx = std::sin(latitude) * std::cos(longitude);
        const float ny = std::sin(latitude) * std::sin(longitude);
        const float nz = std::cos(latitude);
        part.V(x + nx * radius, y + ny * radius, z + nz * radius);
        if ((mesh.fvf & D3DFVF_NORMAL) != 0) {
            part.V(nx, ny, nz);
        }
        if ((mesh.fvf & D3DFVF_DIFFUSE) != 0) {
            part.V(diffuse);
        }
        if ((mesh.fvf & D3DFVF_SPECULAR) != 0) {
            part.V(specular);
        }
        if ((mesh.fvf & D3DFVF_TEXCOUNT_MASK) != 0) {
            part.V(static_cast<float>(segment) / static_cast<float>(segments),
                   static_cast<float>(ring) / static_cast<float>(rings));
        }
        ++mesh.count;
    };
    for (int ring = 0; ring < rings; ++ring) {
        for (int segment = 0; segment < segments; ++segment) {
            put(ring, segment);
            put(ring + 1, segment);
            put(ring + 1, segment + 1);
            put(ring, segment);
            put(ring + 1, segment + 1);
            put(ring, segment + 1);
        }
    }
    mesh.bytes.insert(mesh.bytes.end(), part.bytes.begin(), part.bytes.end());
}

D3DMATRIX Identity() { return Scaling(1, 1, 1); }

D3DMATRIX Multiply(const D3DMATRIX& first, const D3DMATRIX& second) {
    D3DMATRIX result;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) {
            float sum = 0;
            for (int k = 0; k < 4; ++k) {
                sum += first.m[row][k] * second.m[k][column];
            }
            result.m[row][column] = sum;
        }
    }
    return result;
}

D3DMATRIX Translation(float x, float y, float z) {
    D3DMATRIX result = Identity();
    result.m[3][0] = x;
    result.m[3][1] = y;
    result.m[3][2] = z;
    return result;
}

D3DMATRIX Scaling(float x, float y, float z) {
    D3DMATRIX result = {};
    result.m[0][0] = x;
    result.m[1][1] = y;
    result.m[2][2] = z;
    result.m[3][3] = 1.0f;
    return result;
}

D3DMATRIX Rotation(int axis, float angle) {
    D3DMATRIX result = Identity();
    const int a = (axis + 1) % 3;
    const int b = (axis + 2) % 3;
    result.m[a][a] = std::cos(angle);
    result.m[b][b] = std::cos(angle);
    result.m[a][b] = std::sin(angle);
    result.m[b][a] = -std::sin(angle);
    return result;
}

D3DMATRIX PerspectiveRH(float fov_y, float aspect, float z_near, float z_far) {
    D3DMATRIX result = {};
    const float scale = 1.0f / std::tan(fov_y * 0.5f);
    result.m[0][0] = scale / aspect;
    result.m[1][1] = scale;
    result.m[2][2] = z_far / (z_near - z_far);
    result.m[2][3] = -1.0f;
    result.m[3][2] = z_near * z_far / (z_near - z_far);
    return result;
}

D3DMATRIX OrthoRH(float width, float height, float z_near, float z_far) {
    D3DMATRIX result = Scaling(2.0f / width, 2.0f / height, 1.0f / (z_near - z_far));
    result.m[3][2] = z_near / (z_near - z_far);
    return result;
}

D3DMATRIX PixelProjection(float width, float height) {
    // The viewport carries clip space (-1, 1) to the point (0, 0), which is the centre of the first pixel, as
    // for pre-transformed vertices.
    D3DMATRIX result = Scaling(2.0f / width, -2.0f / height, 1.0f);
    result.m[3][0] = -1.0f;
    result.m[3][1] = 1.0f;
    return result;
}

D3DMATRIX LookAtRH(float eye_x, float eye_y, float eye_z, float at_x, float at_y, float at_z) {
    const auto normalised = [](std::array<float, 3> v) {
        const float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        return std::array<float, 3>{v[0] / length, v[1] / length, v[2] / length};
    };
    const auto cross = [](const std::array<float, 3>& p, const std::array<float, 3>& q) {
        return std::array<float, 3>{p[1] * q[2] - p[2] * q[1], p[2] * q[0] - p[0] * q[2],
                                    p[0] * q[1] - p[1] * q[0]};
    };
    const std::array<float, 3> eye = {eye_x, eye_y, eye_z};
    const auto back = normalised({eye_x - at_x, eye_y - at_y, eye_z - at_z});
    const auto right = normalised(cross({0, 0, 1}, back));
    const auto up = cross(back, right);
    D3DMATRIX result = Identity();
    const std::array<float, 3> axes[3] = {right, up, back};
    for (int column = 0; column < 3; ++column) {
        float offset = 0;
        for (size_t row = 0; row < 3; ++row) {
            result.m[row][column] = axes[column][row];
            offset -= axes[column][row] * eye[row];
        }
        result.m[3][column] = offset;
    }
    return result;
}

DWORD Bits(float value) {
    DWORD bits = 0;
    static_assert(sizeof(bits) == sizeof(value));
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

UINT EncodeTexel(D3DFORMAT format, D3DCOLOR color, BYTE* out) {
    const UINT a = (color >> 24) & 0xff;
    const UINT r = (color >> 16) & 0xff;
    const UINT g = (color >> 8) & 0xff;
    const UINT b = color & 0xff;
    UINT value = 0;
    UINT size = 2;
    switch (format) {
        case D3DFMT_A8R8G8B8:
        case D3DFMT_X8R8G8B8:
            value = color;
            size = 4;
            break;
        case D3DFMT_A8B8G8R8:
            value = (a << 24) | (b << 16) | (g << 8) | r;
            size = 4;
            break;
        case D3DFMT_R5G6B5:
            value = ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3);
            break;
        case D3DFMT_A1R5G5B5:
        case D3DFMT_X1R5G5B5:
            value = ((a >> 7) << 15) | ((r >> 3) << 10) | ((g >> 3) << 5) | (b >> 3);
            break;
        case D3DFMT_A4R4G4B4:
            value = ((a >> 4) << 12) | ((r >> 4) << 8) | ((g >> 4) << 4) | (b >> 4);
            break;
        case D3DFMT_A8L8:
            value = (a << 8) | r;
            break;
        case D3DFMT_L8:
            value = r;
            size = 1;
            break;
        case D3DFMT_A8:
            value = a;
            size = 1;
            break;
        default:
            return 0;
    }
    for (UINT i = 0; i < size; ++i) {
        out[i] = static_cast<BYTE>((value >> (8 * i)) & 0xff);
    }
    return size;
}

Canvas::~Canvas() {
    if (device != nullptr) {
        for (DWORD stage = 0; stage < 8; ++stage) {
            device->SetTexture(stage, nullptr);
        }
        device->SetStreamSource(0, nullptr, 0, 0);
        device->SetIndices(nullptr);
    }
    for (size_t i = kept_.size(); i > 0; --i) {
        kept_[i - 1]->Release();
    }
    if (device != nullptr) {
        device->Release();
    }
}

bool Canvas::Open(IDirect3D9* direct3d, HWND window, UINT w, UINT h, D3DMULTISAMPLE_TYPE samples) {
    D3DPRESENT_PARAMETERS parameters = {};
    parameters.BackBufferWidth = w;
    parameters.BackBufferHeight = h;
    parameters.BackBufferFormat = D3DFMT_A8R8G8B8;
    parameters.BackBufferCount = 1;
    parameters.MultiSampleType = samples;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.hDeviceWindow = window;
    parameters.Windowed = TRUE;
    parameters.EnableAutoDepthStencil = TRUE;
    parameters.AutoDepthStencilFormat = D3DFMT_D24S8;
    parameters.PresentationInterval = D3DPRESENT_INTERVAL_IMMEDIATE;
    if (FAILED(direct3d->CreateDevice(0, D3DDEVTYPE_HAL, window, D3DCREATE_MIXED_VERTEXPROCESSING,
                                      &parameters, &device))) {
        device = nullptr;
        return false;
    }
    width = w;
    height = h;
    multisampled_ = samples != D3DMULTISAMPLE_NONE;
    if (FAILED(device->GetRenderTarget(0, &target_)) || FAILED(device->GetDepthStencilSurface(&depth_))) {
        return false;
    }
    Keep(target_);
    Keep(depth_);
    return true;
}

std::vector<std::uint32_t> Canvas::Read() {
    IDirect3DSurface9* source = target_;
    if (multisampled_) {
        source = Level(TargetTexture(width, height));
        Check(device->StretchRect(target_, nullptr, source, nullptr, D3DTEXF_NONE));
    }
    IDirect3DSurface9* plain = nullptr;
    if (FAILED(device->CreateOffscreenPlainSurface(width, height, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM, &plain,
                                                   nullptr))) {
        return {};
    }
    Keep(plain);
    D3DLOCKED_RECT locked = {};
    if (FAILED(device->GetRenderTargetData(source, plain)) ||
        FAILED(plain->LockRect(&locked, nullptr, D3DLOCK_READONLY))) {
        return {};
    }
    std::vector<std::uint32_t> pixels(static_cast<size_t>(width) * height);
    for (UINT y = 0; y < height; ++y) {
        std::memcpy(pixels.data() + static_cast<size_t>(y) * width,
                    static_cast<const BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y,
                    static_cast<size_t>(width) * 4);
    }
    plain->UnlockRect();
    return pixels;
}

void Canvas::Fill(D3DCOLOR color) {
    Check(device->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER | D3DCLEAR_STENCIL, color, 1.0f, 0));
}

void Canvas::ColorOp(DWORD stage, DWORD op, DWORD arg1, DWORD arg2) {
    Tss(stage, D3DTSS_COLOROP, op);
    Tss(stage, D3DTSS_COLORARG1, arg1);
    Tss(stage, D3DTSS_COLORARG2, arg2);
}

void Canvas::AlphaOp(DWORD stage, DWORD op, DWORD arg1, DWORD arg2) {
    Tss(stage, D3DTSS_ALPHAOP, op);
    Tss(stage, D3DTSS_ALPHAARG1, arg1);
    Tss(stage, D3DTSS_ALPHAARG2, arg2);
}

void Canvas::Filter(DWORD sampler, DWORD min, DWORD mag, DWORD mip) {
    Samp(sampler, D3DSAMP_MINFILTER, min);
    Samp(sampler, D3DSAMP_MAGFILTER, mag);
    Samp(sampler, D3DSAMP_MIPFILTER, mip);
}

void Canvas::Camera(float distance) {
    Transform(D3DTS_WORLD, Identity());
    Transform(D3DTS_VIEW, LookAtRH(0, -distance, 0, 0, 0, 0));
    const float aspect = static_cast<float>(width) / static_cast<float>(height);
    Transform(D3DTS_PROJECTION, PerspectiveRH(kPi / 3.0f, aspect, 1.0f, 20.0f));
    // Counter-clockwise faces of a right-handed space are the outer ones here.
    Rs(D3DRS_CULLMODE, D3DCULL_CW);
}

void Canvas::PixelSpace() {
    Transform(D3DTS_WORLD, Identity());
    Transform(D3DTS_VIEW, Identity());
    Transform(D3DTS_PROJECTION, PixelProjection(static_cast<float>(width), static_cast<float>(height)));
    Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    Rs(D3DRS_LIGHTING, FALSE);
}

void Canvas::Viewport(DWORD x, DWORD y, DWORD w, DWORD h, float min_z, float max_z) {
    const D3DVIEWPORT9 viewport = {x, y, w, h, min_z, max_z};
    Check(device->SetViewport(&viewport));
}

void Canvas::Draw(D3DPRIMITIVETYPE type, const Mesh& mesh) {
    UINT primitives = 0;
    switch (type) {
        case D3DPT_POINTLIST:
            primitives = mesh.count;
            break;
        case D3DPT_LINELIST:
            primitives = mesh.count / 2;
            break;
        case D3DPT_LINESTRIP:
            primitives = mesh.count - 1;
            break;
        case D3DPT_TRIANGLELIST:
            primitives = mesh.count / 3;
            break;
        default:
            primitives = mesh.count - 2;
            break;
    }
    Check(device->SetFVF(mesh.fvf));
    Check(device->DrawPrimitiveUP(type, primitives, mesh.bytes.data(), mesh.Stride()));
}

void Canvas::Rect(Area area, float z, D3DCOLOR color) {
    Mesh mesh(D3DFVF_XYZRHW | D3DFVF_DIFFUSE);
    AddRect(mesh, area, z, Rgba{color});
    Draw(D3DPT_TRIANGLELIST, mesh);
}

void Canvas::TexturedRect(Area area, Coords coords, D3DCOLOR color, float z) {
    Mesh mesh(D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX1);
    AddRect(mesh, area, z, Rgba{color}, coords);
    Draw(D3DPT_TRIANGLELIST, mesh);
}

IDirect3DTexture9* Canvas::Texture(UINT w, UINT h, UINT levels, D3DFORMAT format, const Texel& texel) {
    IDirect3DTexture9* texture = nullptr;
    Check(device->CreateTexture(w, h, levels, 0, format, D3DPOOL_MANAGED, &texture, nullptr));
    if (texture == nullptr) {
        return nullptr;
    }
    for (UINT level = 0; level < texture->GetLevelCount(); ++level) {
        D3DSURFACE_DESC desc = {};
        D3DLOCKED_RECT locked = {};
        Check(texture->GetLevelDesc(level, &desc));
        if (FAILED(texture->LockRect(level, &locked, nullptr, 0))) {
            ++failures_;
            continue;
        }
        for (UINT y = 0; y < desc.Height; ++y) {
            BYTE* out = static_cast<BYTE*>(locked.pBits) + static_cast<size_t>(locked.Pitch) * y;
            for (UINT x = 0; x < desc.Width; ++x) {
                out += EncodeTexel(format, texel(x, y, level), out);
            }
        }
        Check(texture->UnlockRect(level));
    }
    return Keep(texture);
}

IDirect3DTexture9* Canvas::TargetTexture(UINT w, UINT h, D3DFORMAT format, UINT levels) {
    IDirect3DTexture9* texture = nullptr;
    Check(device->CreateTexture(w, h, levels, D3DUSAGE_RENDERTARGET, format, D3DPOOL_DEFAULT, &texture,
                                nullptr));
    return Keep(texture);
}

IDirect3DSurface9* Canvas::Level(IDirect3DTexture9* texture, UINT level) {
    IDirect3DSurface9* surface = nullptr;
    Check(texture->GetSurfaceLevel(level, &surface));
    return Keep(surface);
}

IDirect3DSurface9* Canvas::DepthSurface(UINT w, UINT h) {
    IDirect3DSurface9* surface = nullptr;
    Check(device->CreateDepthStencilSurface(w, h, D3DFMT_D24S8, D3DMULTISAMPLE_NONE, 0, FALSE, &surface,
                                            nullptr));
    return Keep(surface);
}

void Canvas::Target(IDirect3DSurface9* surface, IDirect3DSurface9* depth) {
    Check(device->SetRenderTarget(0, surface));
    Check(device->SetDepthStencilSurface(depth));
}

const std::vector<Case>& AllCases() {
    static const std::vector<Case> cases = [] {
        std::vector<Case> all;
        AddRasterCases(all);
        AddClipCases(all);
        AddOutputCases(all);
        AddStencilCases(all);
        AddStageCases(all);
        AddSamplerCases(all);
        AddFormatCases(all);
        AddCoordinateCases(all);
        AddLightCases(all);
        AddFogCases(all);
        AddVertexCases(all);
        AddTargetCases(all);
        return all;
    }();
    return cases;
}

}  // namespace conformance
