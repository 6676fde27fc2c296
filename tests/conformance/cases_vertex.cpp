// Vertex formats, declarations, buffers, and the ways to draw from them.
#include <cmath>
#include <initializer_list>

#include "conformance/canvas.h"

namespace conformance {
namespace {

IDirect3DTexture9* Grid(Canvas& c) {
    return c.Texture(8, 8, 1, D3DFMT_A8R8G8B8, [](UINT x, UINT y, UINT) -> D3DCOLOR {
        return 0xff000000 | (x * 36 << 16) | (y * 36 << 8) | ((x + y) % 2 == 0 ? 0xff : 0x40);
    });
}

// A quad with the elements that the format names, at (x, y), 14 wide, as a strip.
void FormatCell(Canvas& c, DWORD fvf, float x, float y) {
    Mesh part(fvf);
    x -= 0.3f;  // no sample lies on the line between two texels
    y -= 0.3f;
    for (int corner = 0; corner < 4; ++corner) {
        const float u = F(corner % 2);
        const float v = F(corner / 2);
        UINT before = part.count;
        if ((fvf & D3DFVF_POSITION_MASK) == D3DFVF_XYZRHW) {
            part.V(x + u * 14, y + v * 14, 0.5f, 1.0f);
        } else if ((fvf & D3DFVF_POSITION_MASK) == D3DFVF_XYZW) {
            part.V(x + u * 14, y + v * 14, 0.5f, 1.0f);
        } else {
            part.V(x + u * 14, y + v * 14, 0.5f);
        }
        if ((fvf & D3DFVF_NORMAL) != 0) {
            part.V(0.3f * u, 0.3f * v, -0.9f);
        }
        if ((fvf & D3DFVF_PSIZE) != 0) {
            part.V(3.0f);
        }
        if ((fvf & D3DFVF_DIFFUSE) != 0) {
            part.V(Rgba{corner == 0   ? 0x80ff4040
                        : corner == 1 ? 0xff40ff40
                        : corner == 2 ? 0xff4040ff
                                      : 0xffffffff});
        }
        if ((fvf & D3DFVF_SPECULAR) != 0) {
            part.V(Rgba{corner == 3 ? 0xff000000 : 0x00303000});
        }
        for (UINT set = 0; set < ((fvf & D3DFVF_TEXCOUNT_MASK) >> D3DFVF_TEXCOUNT_SHIFT); ++set) {
            part.V(set == 0 ? u : 1 - u, v);
        }
        part.count = before + 1;
    }
    c.Draw(D3DPT_TRIANGLESTRIP, part);
}

// Positions of either kind with every choice of normal, diffuse, specular and texture coordinates.
void Formats(Canvas& c, bool lighting) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Bind(0, Grid(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    c.Rs(D3DRS_SPECULARENABLE, TRUE);
    c.Rs(D3DRS_LIGHTING, lighting ? TRUE : FALSE);
    c.Rs(D3DRS_AMBIENT, 0xff404040);
    D3DMATERIAL9 material = {};
    material.Diffuse.r = material.Diffuse.g = material.Ambient.b = material.Ambient.r = 0.8f;
    c.Check(c.device->SetMaterial(&material));
    D3DLIGHT9 light = {};
    light.Type = D3DLIGHT_DIRECTIONAL;
    light.Direction.z = 1;
    light.Diffuse.r = light.Diffuse.g = light.Diffuse.b = 0.9f;
    c.Check(c.device->SetLight(0, &light));
    c.Check(c.device->LightEnable(0, TRUE));
    const DWORD colors[4] = {0, D3DFVF_DIFFUSE, D3DFVF_SPECULAR, D3DFVF_DIFFUSE | D3DFVF_SPECULAR};
    const DWORD positions[3] = {D3DFVF_XYZRHW, D3DFVF_XYZ, D3DFVF_XYZ | D3DFVF_NORMAL};
    for (int row = 0; row < 6; ++row) {
        for (int column = 0; column < 4; ++column) {
            const DWORD fvf = positions[row / 2] | colors[column] |
                              (row % 2 == 0 ? D3DFVF_TEX0 : static_cast<DWORD>(D3DFVF_TEX1));
            FormatCell(c, fvf, F(column * 16 + 1), F(row * 16 + 1));
        }
    }
}

void UnlitFormats(Canvas& c) { Formats(c, false); }
void LitFormats(Canvas& c) { Formats(c, true); }

// Two and more coordinate sets, point sizes among the elements, weights that nobody blends by.
void LongFormats(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Bind(0, Grid(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    FormatCell(c, D3DFVF_XYZ | D3DFVF_DIFFUSE | D3DFVF_TEX2, 1, 1);
    FormatCell(c, D3DFVF_XYZ | D3DFVF_NORMAL | D3DFVF_DIFFUSE | D3DFVF_SPECULAR | D3DFVF_TEX8, 17, 1);
    FormatCell(c, D3DFVF_XYZ | D3DFVF_PSIZE | D3DFVF_DIFFUSE | D3DFVF_TEX1, 33, 1);
    FormatCell(c, D3DFVF_XYZRHW | D3DFVF_PSIZE | D3DFVF_TEX1, 49, 1);
    c.Tss(0, D3DTSS_TEXCOORDINDEX, 1);
    FormatCell(c, D3DFVF_XYZ | D3DFVF_DIFFUSE | D3DFVF_TEX2, 1, 17);
    FormatCell(c, D3DFVF_XYZRHW | D3DFVF_DIFFUSE | D3DFVF_TEX3, 17, 17);
}

struct PlainVertex {
    float x, y, z;
    D3DCOLOR color;
};

IDirect3DVertexBuffer9* Buffer(Canvas& c, const void* data, UINT size, DWORD usage, D3DPOOL pool, DWORD fvf) {
    IDirect3DVertexBuffer9* buffer = nullptr;
    c.Check(c.device->CreateVertexBuffer(size, usage, fvf, pool, &buffer, nullptr));
    if (c.Keep(buffer) != nullptr && data != nullptr) {
        void* bytes = nullptr;
        c.Check(buffer->Lock(0, 0, &bytes, 0));
        std::memcpy(bytes, data, size);
        c.Check(buffer->Unlock());
    }
    return buffer;
}

IDirect3DIndexBuffer9* Indices(Canvas& c, const void* data, UINT size, D3DFORMAT format) {
    IDirect3DIndexBuffer9* buffer = nullptr;
    c.Check(c.device->CreateIndexBuffer(size, D3DUSAGE_WRITEONLY, format, D3DPOOL_MANAGED, &buffer, nullptr));
    if (c.Keep(buffer) != nullptr) {
        void* bytes = nullptr;
        c.Check(buffer->Lock(0, 0, &bytes, 0));
        std::memcpy(bytes, data, size);
        c.Check(buffer->Unlock());
    }
    return buffer;
}

std::vector<PlainVertex> GridOfVertices() {
    std::vector<PlainVertex> vertices;
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 5; ++x) {
            vertices.push_back({F(x * 12 + 4), F(y * 12 + 4), 0.5f,
                                0xff000000u | static_cast<D3DCOLOR>(x * 60) << 16 |
                                    static_cast<D3DCOLOR>(y * 60) << 8 |
                                    static_cast<D3DCOLOR>((x * y * 40) & 0xff)});
        }
    }
    return vertices;
}

// Start vertices, stream offsets, start indices and base vertices, each on top of the other.
void BuffersAndOffsets(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    constexpr DWORD kFvf = D3DFVF_XYZ | D3DFVF_DIFFUSE;
    const auto vertices = GridOfVertices();
    IDirect3DVertexBuffer9* buffer =
        Buffer(c, vertices.data(), 25 * 16, D3DUSAGE_WRITEONLY, D3DPOOL_DEFAULT, kFvf);
    const std::uint16_t short_indices[] = {0, 0, 0, 0, 1, 5, 5, 1, 6, 2, 3, 7, 7, 3, 8};
    const std::uint32_t long_indices[] = {0, 0, 1, 5, 5, 1, 6};
    IDirect3DIndexBuffer9* shorts = Indices(c, short_indices, sizeof(short_indices), D3DFMT_INDEX16);
    IDirect3DIndexBuffer9* longs = Indices(c, long_indices, sizeof(long_indices), D3DFMT_INDEX32);
    c.Check(c.device->SetFVF(kFvf));
    c.Check(c.device->SetStreamSource(0, buffer, 0, 16));
    c.Check(c.device->SetIndices(shorts));
    c.Check(c.device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 9, 3, 4));   // cells (0,0) and (2,0)
    c.Check(c.device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 11, 0, 9, 3, 2));  // base vertex: cell (1,2)
    c.Check(c.device->SetStreamSource(0, buffer, 5 * 16, 16));                    // offset: one row
    c.Check(c.device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, -2, 2, 7, 9, 2));  // negative base: cell (0,1)
    c.Check(c.device->SetStreamSource(0, buffer, 10 * 16, 16));                   // two rows
    c.Check(c.device->SetIndices(longs));
    c.Check(c.device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 3, 0, 7, 1, 2));  // cell (3,2)
    c.Check(c.device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 10, 1));                // start vertex: none shared
    c.Check(c.device->DrawPrimitive(D3DPT_LINESTRIP, 5, 4));                     // the fourth row's line
    c.Check(c.device->SetStreamSource(0, buffer, 0, 32));                        // every second vertex
    c.Check(c.device->DrawPrimitive(D3DPT_POINTLIST, 0, 12));
}

void IndexedFromMemory(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    const auto vertices = GridOfVertices();
    const std::uint16_t shorts[] = {6, 7, 11, 12, 13};
    const std::uint32_t longs[] = {0, 2, 10, 3, 4, 8};
    c.Check(c.device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE));
    c.Check(c.device->DrawIndexedPrimitiveUP(D3DPT_TRIANGLESTRIP, 6, 8, 3, shorts, D3DFMT_INDEX16,
                                             vertices.data(), 16));
    c.Check(c.device->DrawIndexedPrimitiveUP(D3DPT_TRIANGLELIST, 0, 11, 2, longs, D3DFMT_INDEX32,
                                             vertices.data(), 16));
}

// A buffer used as a ring: written behind what earlier draws use, thrown away when it is full.
void RingBuffer(Canvas& c) {
    c.Fill(0xff202020);
    constexpr DWORD kFvf = D3DFVF_XYZRHW | D3DFVF_DIFFUSE;
    constexpr UINT kStride = 20;
    constexpr UINT kQuad = 6 * kStride;
    IDirect3DVertexBuffer9* ring =
        Buffer(c, nullptr, kQuad * 5, D3DUSAGE_DYNAMIC | D3DUSAGE_WRITEONLY, D3DPOOL_DEFAULT, 0);
    if (ring == nullptr) {
        return;
    }
    UINT offset = 0;
    for (int i = 0; i < 36; ++i) {
        const bool wrap = offset + kQuad > kQuad * 5;
        offset = wrap ? 0 : offset;
        void* bytes = nullptr;
        c.Check(ring->Lock(offset, kQuad, &bytes, offset == 0 ? D3DLOCK_DISCARD : D3DLOCK_NOOVERWRITE));
        Mesh quad(kFvf);
        AddRect(quad, {F(i % 6 * 10 + 2), F(i / 6 * 10 + 2), F(i % 6 * 10 + 10), F(i / 6 * 10 + 10)}, 0.5f,
                Rgba{0xff000000u + static_cast<D3DCOLOR>(i) * 0x060301u + 0x2060});
        std::memcpy(bytes, quad.bytes.data(), kQuad);
        c.Check(ring->Unlock());
        c.Check(c.device->SetFVF(kFvf));
        c.Check(c.device->SetStreamSource(0, ring, offset, kStride));
        c.Check(c.device->DrawPrimitive(D3DPT_TRIANGLELIST, 0, 2));
        offset += kQuad;
    }
}

// A static buffer partly rewritten between two draws of it.
void RewrittenBuffer(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    constexpr DWORD kFvf = D3DFVF_XYZ | D3DFVF_DIFFUSE;
    PlainVertex quad[4] = {{4, 4, 0.5f, 0xffff4040},
                           {28, 4, 0.5f, 0xff40ff40},
                           {4, 60, 0.5f, 0xff4040ff},
                           {28, 60, 0.5f, 0xffffffff}};
    IDirect3DVertexBuffer9* buffer = Buffer(c, quad, sizeof(quad), 0, D3DPOOL_MANAGED, kFvf);
    c.Check(c.device->SetFVF(kFvf));
    c.Check(c.device->SetStreamSource(0, buffer, 0, 16));
    c.Check(c.device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2));
    c.Transform(D3DTS_WORLD, Translation(32, 0, 0));
    void* bytes = nullptr;
    c.Check(buffer->Lock(16, 32, &bytes, 0));
    auto* changed = static_cast<PlainVertex*>(bytes);
    changed[0].color = 0xffffff00;
    changed[1].y = 40;
    c.Check(buffer->Unlock());
    c.Check(c.device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2));
}

void Declare(Canvas& c, const D3DVERTEXELEMENT9* elements) {
    IDirect3DVertexDeclaration9* declaration = nullptr;
    c.Check(c.device->CreateVertexDeclaration(elements, &declaration));
    c.Keep(declaration);
    c.Check(c.device->SetVertexDeclaration(declaration));
}

// Elements in another order than a format code would have them, with gaps between.
void Declaration(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Bind(0, Grid(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    const D3DVERTEXELEMENT9 elements[] = {
        {0, 0, D3DDECLTYPE_FLOAT2, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 0},
        {0, 12, D3DDECLTYPE_D3DCOLOR, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_COLOR, 0},
        {0, 16, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
        D3DDECL_END()};
    Declare(c, elements);
    struct Vertex {
        float u, v, unused;
        D3DCOLOR color;
        float x, y, z, tail;
    };
    const Vertex vertices[4] = {{0, 0, 9, 0xffffffff, 3.75f, 3.75f, 0.5f, 9},
                                {2, 0, 9, 0xffff8080, 59.75f, 3.75f, 0.5f, 9},
                                {0, 2, 9, 0xff80ff80, 3.75f, 59.75f, 0.5f, 9},
                                {2, 2, 9, 0xff8080ff, 59.75f, 59.75f, 0.5f, 9}};
    c.Check(c.device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, vertices, sizeof(Vertex)));
}

// Positions in one buffer, colours and coordinates in another.
void TwoStreams(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Bind(0, Grid(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    const D3DVERTEXELEMENT9 elements[] = {
        {0, 0, D3DDECLTYPE_FLOAT3, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITION, 0},
        {1, 0, D3DDECLTYPE_FLOAT2, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 0},
        {1, 8, D3DDECLTYPE_D3DCOLOR, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_COLOR, 0},
        D3DDECL_END()};
    Declare(c, elements);
    const float positions[] = {0,    0,     0,      3.75f, 3.75f,  0.5f,   59.75f, 3.75f,
                               0.5f, 3.75f, 59.75f, 0.5f,  59.75f, 59.75f, 0.5f};
    struct Other {
        float u, v;
        D3DCOLOR color;
    };
    const Other others[4] = {{0, 0, 0xffffffff}, {1, 0, 0xffff8080}, {0, 1, 0xff80ff80}, {1, 1, 0xff8080ff}};
    c.Check(c.device->SetStreamSource(
        0, Buffer(c, positions, sizeof(positions), D3DUSAGE_WRITEONLY, D3DPOOL_DEFAULT, 0), 12, 12));
    c.Check(c.device->SetStreamSource(
        1, Buffer(c, others, sizeof(others), D3DUSAGE_WRITEONLY, D3DPOOL_DEFAULT, 0), 0, sizeof(Other)));
    c.Check(c.device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2));
    c.Check(c.device->SetStreamSource(1, nullptr, 0, 0));
}

// Coordinates as short integers and as normalised ones, a pre-transformed position by its usage.
void PackedElements(Canvas& c) {
    c.Fill(0xff202020);
    c.Bind(0, Grid(c));
    c.Filter(0, D3DTEXF_POINT, D3DTEXF_POINT, D3DTEXF_NONE);
    struct Vertex {
        float x, y, z, rhw;
        std::int16_t u, v;
    };
    for (int i = 0; i < 2; ++i) {
        const D3DVERTEXELEMENT9 elements[] = {
            {0, 0, D3DDECLTYPE_FLOAT4, D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_POSITIONT, 0},
            {0, 16, static_cast<BYTE>(i == 0 ? D3DDECLTYPE_SHORT2 : D3DDECLTYPE_SHORT2N),
             D3DDECLMETHOD_DEFAULT, D3DDECLUSAGE_TEXCOORD, 0},
            D3DDECL_END()};
        Declare(c, elements);
        const auto one = static_cast<std::int16_t>(i == 0 ? 2 : 32767);
        const auto zero = static_cast<std::int16_t>(i == 0 ? -1 : 0);
        const float x = F(i * 32) + 1.6f;
        const Vertex vertices[4] = {{x, 1.6f, 0.5f, 1, zero, zero},
                                    {x + 28, 1.6f, 0.5f, 1, one, zero},
                                    {x, 29.6f, 0.5f, 1, zero, one},
                                    {x + 28, 29.6f, 0.5f, 1, one, one}};
        c.Check(c.device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, vertices, sizeof(Vertex)));
    }
}

// World, view and projection, in that order.
void TransformOrder(Canvas& c) {
    c.Fill(0xff202020);
    c.Rs(D3DRS_LIGHTING, FALSE);
    c.Rs(D3DRS_CULLMODE, D3DCULL_NONE);
    c.Transform(D3DTS_WORLD, Multiply(Scaling(1, 2, 1), Rotation(2, 0.6f)));
    c.Transform(D3DTS_VIEW, Multiply(Translation(0.4f, 0.2f, 0), Scaling(0.5f, 0.25f, 1)));
    D3DMATRIX projection = Translation(-0.2f, 0.1f, 0.3f);
    projection.m[0][3] = 0.5f;  // w grows to the right
    c.Transform(D3DTS_PROJECTION, projection);
    Mesh mesh(D3DFVF_XYZ | D3DFVF_DIFFUSE);
    AddRect(mesh, {-0.8f, 0.8f, 0.8f, -0.8f}, 0, {0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffffff});
    c.Draw(D3DPT_TRIANGLELIST, mesh);
    D3DMATRIX turn = Multiply(Scaling(0.3f, 0.3f, 1), Translation(-1, -1, 0));
    c.Check(c.device->MultiplyTransform(D3DTS_WORLD, &turn));
    c.Draw(D3DPT_TRIANGLELIST, mesh);
}

// A vertex between two world matrices, by its weight.
void VertexBlending(Canvas& c) {
    c.Fill(0xff202020);
    c.PixelSpace();
    c.Rs(D3DRS_VERTEXBLEND, D3DVBF_1WEIGHTS);
    c.Transform(D3DTS_WORLDMATRIX(0), Identity());
    c.Transform(D3DTS_WORLDMATRIX(1), Multiply(Rotation(2, 0.7f), Translation(24, 4, 0)));
    Mesh mesh(D3DFVF_XYZB1 | D3DFVF_DIFFUSE);
    for (int i = 0; i <= 8; ++i) {
        const float y = 4 + 6 * F(i);
        const float weight = 1.0f - F(i) / 8.0f;
        mesh.V(6, y, 0.5f, weight, Rgba{0xff40a0ff}).V(26, y, 0.5f, weight, Rgba{0xffffa040});
    }
    c.Draw(D3DPT_TRIANGLESTRIP, mesh);
}

}  // namespace

void AddVertexCases(std::vector<Case>& cases) {
    cases.push_back({"vertex_formats_unlit", 64, 96, UnlitFormats});
    cases.push_back({"vertex_formats_lit", 64, 96, LitFormats});
    cases.push_back({"vertex_long_formats", 64, 32, LongFormats});
    cases.push_back({"vertex_buffers_offsets", 64, 64, BuffersAndOffsets});
    cases.push_back({"vertex_indexed_memory", 64, 64, IndexedFromMemory});
    cases.push_back({"vertex_ring_buffer", 64, 64, RingBuffer});
    cases.push_back({"vertex_rewritten_buffer", 64, 64, RewrittenBuffer});
    cases.push_back({"vertex_declaration", 64, 64, Declaration});
    cases.push_back({"vertex_two_streams", 64, 64, TwoStreams});
    cases.push_back({"vertex_packed_elements", 64, 32, PackedElements});
    cases.push_back({"vertex_transform_order", 64, 64, TransformOrder});
    cases.push_back({"vertex_blending", 64, 64, VertexBlending});
}

}  // namespace conformance
