// What the pipeline leaves out, keeps and refuses. What it draws is judged by tests/conformance.
#include "platform/device_fixture.h"
#include "platform/gl/gl_device.h"

namespace {

using platform::gl::PipelineStats;

class PipelineTest : public DeviceTest {
  protected:
    struct Vertex {
        float x, y, z;
        u32 color;
        float u, v;
    };
    static constexpr DWORD kFormat = D3DFVF_XYZ | D3DFVF_DIFFUSE | D3DFVF_TEX1;

    void SetUp() override {
        DeviceTest::SetUp();
        target = NewTarget(16, 16);
        device->SetRenderState(D3DRS_LIGHTING, FALSE);
        device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
        device->SetRenderState(D3DRS_ZENABLE, FALSE);
        ASSERT_EQ(D3D_OK, device->BeginScene());
    }
    const PipelineStats& Stats() const {
        return static_cast<platform::gl::GlDevice*>(device.Get())->DrawPipeline().Stats();
    }
    // Runs `work` and gives what it added to the counters.
    template <class Work>
    PipelineStats Added(Work&& work) const {
        const PipelineStats before = Stats();
        work();
        PipelineStats after = Stats();
        after.draws -= before.draws;
        after.stages_compiled -= before.stages_compiled;
        after.programs_compiled -= before.programs_compiled;
        after.program_switches -= before.program_switches;
        after.uniform_uploads -= before.uniform_uploads;
        after.attribute_setups -= before.attribute_setups;
        after.hand_overs -= before.hand_overs;
        return after;
    }
    static std::vector<Vertex> Quad(u32 color) {
        return {{-1, 1, 0, color, 0, 0},
                {1, 1, 0, color, 1, 0},
                {-1, -1, 0, color, 0, 1},
                {1, -1, 0, color, 1, 1}};
    }
    void DrawQuad(u32 color = 0xff204060) const {
        const auto quad = Quad(color);
        device->SetFVF(kFormat);
        EXPECT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad.data(), sizeof(Vertex)));
    }
    ComPtr<IDirect3DVertexBuffer9> Buffer(const std::vector<Vertex>& vertices, UINT front = 0) const {
        const UINT bytes = static_cast<UINT>(vertices.size() * sizeof(Vertex));
        ComPtr<IDirect3DVertexBuffer9> buffer;
        EXPECT_EQ(D3D_OK, device->CreateVertexBuffer(front + bytes, D3DUSAGE_WRITEONLY, 0, D3DPOOL_DEFAULT,
                                                     buffer.Put(), nullptr));
        void* to = nullptr;
        EXPECT_EQ(D3D_OK, buffer->Lock(front, bytes, &to, 0));
        std::memcpy(to, vertices.data(), bytes);
        buffer->Unlock();
        return buffer;
    }
    u32 Pixel(u32 x = 8, u32 y = 8) const { return Read(target)[y * 16 + x]; }
    void Clear() const { device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff000000, 1, 0); }

    ComPtr<IDirect3DSurface9> target;
};

TEST_F(PipelineTest, NothingIsCompiledTwice) {
    const auto states = [&] {
        for (DWORD op : {D3DTOP_SELECTARG2, D3DTOP_MODULATE, D3DTOP_ADD}) {
            device->SetTextureStageState(0, D3DTSS_COLOROP, op);
            for (DWORD fog : {FALSE, TRUE}) {
                device->SetRenderState(D3DRS_FOGENABLE, fog);
                device->SetRenderState(D3DRS_LIGHTING, fog);
                DrawQuad();
            }
        }
    };
    const PipelineStats first = Added(states);
    EXPECT_EQ(6u, first.programs_compiled);
    EXPECT_EQ(8u, first.stages_compiled);  // two vertex stages and six fragment stages
    const PipelineStats again = Added(states);
    EXPECT_EQ(0u, again.programs_compiled + again.stages_compiled);
    EXPECT_EQ(6u, again.draws);

    // States that change only numbers, or nothing that a program sees, have no program of their own.
    const PipelineStats numbers = Added([&] {
        device->SetRenderState(D3DRS_FOGENABLE, FALSE);
        device->SetRenderState(D3DRS_LIGHTING, FALSE);
        DrawQuad();
        device->SetRenderState(D3DRS_TEXTUREFACTOR, 0x12345678);
        device->SetRenderState(D3DRS_FOGCOLOR, 0x123456);
        device->SetRenderState(D3DRS_NORMALIZENORMALS, TRUE);
        device->SetRenderState(D3DRS_ALPHABLENDENABLE, TRUE);
        device->SetRenderState(D3DRS_ALPHAFUNC, D3DCMP_LESS);  // without the test
        device->SetTextureStageState(0, D3DTSS_COLORARG0, D3DTA_TFACTOR);
        device->SetTextureStageState(3, D3DTSS_COLOROP, D3DTOP_ADD);  // past the end of the cascade
        DrawQuad();
    });
    EXPECT_EQ(0u, numbers.programs_compiled + numbers.stages_compiled);
}

TEST_F(PipelineTest, PreparedProgramsAreNotCompiledByTheDraw) {
    device->SetFVF(kFormat);
    device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_ADDSMOOTH);
    auto& pipeline = static_cast<platform::gl::GlDevice*>(device.Get())->DrawPipeline();
    EXPECT_EQ(1u, Added([&] { pipeline.Prepare(); }).programs_compiled);
    EXPECT_EQ(0u, Added([&] { DrawQuad(); }).programs_compiled);
}

TEST_F(PipelineTest, RepeatedDrawsSendNothing) {
    const auto buffer = Buffer(Quad(0xff204060), 5 * sizeof(Vertex));
    const auto draw = [&](UINT vertices_in) {
        device->SetFVF(kFormat);
        device->SetStreamSource(0, buffer.Get(), vertices_in * static_cast<UINT>(sizeof(Vertex)),
                                sizeof(Vertex));
        EXPECT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 5 - vertices_in, 2));
    };
    draw(0);
    // An offset of whole vertices moves the draw, not the attributes.
    const PipelineStats again = Added([&] {
        for (UINT i = 0; i < 6; ++i) draw(i);
    });
    EXPECT_EQ(6u, again.draws);
    EXPECT_EQ(0u, again.uniform_uploads);
    EXPECT_EQ(0u, again.attribute_setups);
    EXPECT_EQ(0u, again.program_switches);
    EXPECT_EQ(0xff204060u, Pixel());

    D3DMATRIX world{};
    for (int i = 0; i < 4; ++i) world.m[i][i] = 1;
    world.m[3][2] = 0.25f;
    const PipelineStats moved = Added([&] {
        device->SetTransform(D3DTS_WORLD, &world);
        device->SetRenderState(D3DRS_FOGCOLOR, 0x445566);  // no fog: nobody's uniform
        draw(0);
    });
    EXPECT_EQ(1u, moved.uniform_uploads);
}

TEST_F(PipelineTest, ARingOfOtherStridesReadsWhatWasWritten) {
    // A vertex that starts at no multiple of its stride: the attributes must take up what is left.
    const auto buffer = Buffer(Quad(0xff00ff00), 20);
    device->SetFVF(kFormat);
    device->SetStreamSource(0, buffer.Get(), 20, sizeof(Vertex));
    EXPECT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2));
    EXPECT_EQ(0xff00ff00u, Pixel());
}

TEST_F(PipelineTest, LongPassesAreHandedOverInParts) {
    std::vector<Vertex> strip;
    while (strip.size() < 20'000) {
        const auto quad = Quad(0xff00ff00);
        strip.insert(strip.end(), quad.begin(), quad.end());
    }
    const auto buffer = Buffer(strip);
    const auto draw = [&](int times) {
        device->SetFVF(kFormat);
        device->SetStreamSource(0, buffer.Get(), 0, sizeof(Vertex));
        for (int i = 0; i < times; ++i)
            EXPECT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 19'998));
    };
    EXPECT_EQ(0u, Added([&] { draw(1); }).hand_overs);
    // At the latest after 250,000 vertices, however busy the driver is; never more often than it is asked.
    const u64 parts = Added([&] { draw(100); }).hand_overs;
    EXPECT_GE(parts, 7u);
    EXPECT_LE(parts, 50u);
    EXPECT_EQ(0xff00ff00u, Pixel());
}

TEST_F(PipelineTest, DegenerateArgumentsDrawNothing) {
    const auto quad = Quad(0xffffffff);
    const auto buffer = Buffer(quad);
    ComPtr<IDirect3DIndexBuffer9> indices;
    device->CreateIndexBuffer(8, 0, D3DFMT_INDEX16, D3DPOOL_DEFAULT, indices.Put(), nullptr);
    void* to = nullptr;
    ASSERT_EQ(D3D_OK, indices->Lock(0, 0, &to, 0));
    std::memset(to, 0, 8);
    indices->Unlock();
    Clear();
    device->SetFVF(kFormat);
    EXPECT_EQ(D3DERR_INVALIDCALL, device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 2));  // no stream
    device->SetStreamSource(0, buffer.Get(), 0, sizeof(Vertex));
    EXPECT_EQ(D3DERR_INVALIDCALL,
              device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0, 1));  // no indices
    EXPECT_EQ(D3DERR_INVALIDCALL, device->DrawPrimitive(static_cast<D3DPRIMITIVETYPE>(0), 0, 1));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->DrawPrimitive(static_cast<D3DPRIMITIVETYPE>(7), 0, 1));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, nullptr, sizeof(Vertex)));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad.data(), 0));
    EXPECT_EQ(D3DERR_INVALIDCALL,
              device->DrawIndexedPrimitiveUP(D3DPT_TRIANGLELIST, 0, 4, 1, quad.data(), D3DFMT_VERTEXDATA,
                                             quad.data(), sizeof(Vertex)));
    EXPECT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 0, quad.data(), sizeof(Vertex)));
    device->SetStreamSource(0, buffer.Get(), 0, sizeof(Vertex));
    device->SetIndices(indices.Get());
    EXPECT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_TRIANGLELIST, 0, 0));
    // Past the end of buffers: nothing, or what there is.
    EXPECT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_TRIANGLELIST, 4, 1));
    EXPECT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_TRIANGLELIST, 0xfffffff0u, 0x7fffffffu));
    EXPECT_EQ(D3D_OK, device->DrawIndexedPrimitive(D3DPT_TRIANGLELIST, 0, 0, 4, 0xfffffff0u, 0x7fffffffu));
    EXPECT_EQ(0xff000000u, Pixel());
    EXPECT_EQ(D3D_OK, device->DrawPrimitive(D3DPT_TRIANGLESTRIP, 0, 1000));
    EXPECT_EQ(0xffffffffu, Pixel());
}

TEST_F(PipelineTest, LargeDrawsOutgrowTheRing) {
    std::vector<Vertex> vertices(200000, Vertex{3, 3, 0, 0, 0, 0});
    const auto quad = Quad(0xff8040c0);
    for (std::size_t i = 0; i < 4; ++i) vertices[vertices.size() - 4 + i] = quad[i];
    device->SetFVF(kFormat);
    Clear();
    EXPECT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 199998, vertices.data(), sizeof(Vertex)));
    EXPECT_EQ(0xff8040c0u, Pixel());
    DrawQuad(0xff010203);
    EXPECT_EQ(0xff010203u, Pixel());
}

TEST_F(PipelineTest, DeclarationsAreCheckedAndRead) {
    ComPtr<IDirect3DVertexDeclaration9> declaration;
    const D3DVERTEXELEMENT9 bad_type[] = {{0, 0, D3DDECLTYPE_UNUSED, 0, D3DDECLUSAGE_POSITION, 0},
                                          D3DDECL_END()};
    const D3DVERTEXELEMENT9 bad_stream[] = {{16, 0, D3DDECLTYPE_FLOAT3, 0, D3DDECLUSAGE_POSITION, 0},
                                            D3DDECL_END()};
    const std::vector<D3DVERTEXELEMENT9> endless(66, {0, 0, D3DDECLTYPE_FLOAT3, 0, D3DDECLUSAGE_POSITION, 0});
    EXPECT_EQ(D3DERR_INVALIDCALL, device->CreateVertexDeclaration(nullptr, declaration.Put()));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->CreateVertexDeclaration(bad_type, declaration.Put()));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->CreateVertexDeclaration(bad_stream, declaration.Put()));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->CreateVertexDeclaration(endless.data(), declaration.Put()));

    // What a vertex format says of itself, element by element.
    device->SetFVF(D3DFVF_XYZB3 | D3DFVF_LASTBETA_UBYTE4 | D3DFVF_NORMAL | D3DFVF_TEX2 |
                   D3DFVF_TEXCOORDSIZE1(0) | D3DFVF_TEXCOORDSIZE4(1));
    ASSERT_EQ(D3D_OK, device->GetVertexDeclaration(declaration.Put()));
    D3DVERTEXELEMENT9 elements[MAXD3DDECLLENGTH + 1];
    UINT count = MAXD3DDECLLENGTH + 1;
    ASSERT_EQ(D3D_OK, declaration->GetDeclaration(elements, &count));
    const D3DVERTEXELEMENT9 expected[] = {{0, 0, D3DDECLTYPE_FLOAT3, 0, D3DDECLUSAGE_POSITION, 0},
                                          {0, 12, D3DDECLTYPE_FLOAT2, 0, D3DDECLUSAGE_BLENDWEIGHT, 0},
                                          {0, 20, D3DDECLTYPE_UBYTE4, 0, D3DDECLUSAGE_BLENDINDICES, 0},
                                          {0, 24, D3DDECLTYPE_FLOAT3, 0, D3DDECLUSAGE_NORMAL, 0},
                                          {0, 36, D3DDECLTYPE_FLOAT1, 0, D3DDECLUSAGE_TEXCOORD, 0},
                                          {0, 40, D3DDECLTYPE_FLOAT4, 0, D3DDECLUSAGE_TEXCOORD, 1},
                                          D3DDECL_END()};
    ASSERT_EQ(std::size(expected), count);
    EXPECT_EQ(0, std::memcmp(expected, elements, sizeof(expected)));
}

TEST_F(PipelineTest, VerticesChooseTheirMatrices) {
    struct Blended {
        float x, y, z, weight;
        u8 indices[4];
        u32 color;
    };
    static_assert(sizeof(Blended) == 24);
    D3DMATRIX half{};
    for (int i = 0; i < 4; ++i) half.m[i][i] = 1;
    half.m[0][0] = half.m[1][1] = 0.5f;
    D3DMATRIX far_away = half;
    far_away.m[3][0] = 100;
    device->SetTransform(D3DTS_WORLDMATRIX(7), &half);
    device->SetTransform(D3DTS_WORLDMATRIX(200), &far_away);
    device->SetRenderState(D3DRS_INDEXEDVERTEXBLENDENABLE, TRUE);
    device->SetRenderState(D3DRS_VERTEXBLEND, D3DVBF_1WEIGHTS);
    const auto draw = [&](float weight) {
        Clear();
        std::vector<Blended> quad;
        for (const Vertex& v : Quad(0)) quad.push_back({v.x, v.y, v.z, weight, {7, 200, 0, 0}, 0xffff8000});
        device->SetFVF(D3DFVF_XYZB2 | D3DFVF_LASTBETA_UBYTE4 | D3DFVF_DIFFUSE);
        EXPECT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad.data(), sizeof(Blended)));
    };
    draw(1.0f);
    EXPECT_EQ(0xffff8000u, Pixel(8, 8));
    EXPECT_EQ(0xff000000u, Pixel(2, 8));  // half the size
    draw(0.5f);
    EXPECT_EQ(0xff000000u, Pixel(8, 8));  // half way to where the second matrix puts it
}

}  // namespace
