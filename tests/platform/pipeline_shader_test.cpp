// Shader objects: registers, samplers and attributes reach the names in the text, alone and mixed with fixed
// stages.
#include "platform/device_fixture.h"
#include "platform/gl/gl_device.h"

namespace {

using namespace platform::gl;

class PipelineShader : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        target = NewTarget(16, 16);
        device->SetRenderState(D3DRS_LIGHTING, FALSE);
        device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
        device->SetRenderState(D3DRS_ZENABLE, FALSE);
        ASSERT_EQ(D3D_OK, device->BeginScene());
        device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff000000, 1, 0);
    }
    ComPtr<IDirect3DVertexShader9> Vertex(const ShaderSource& source) const {
        ComPtr<IDirect3DVertexShader9> shader;
        EXPECT_EQ(D3D_OK, device->CreateVertexShader(PackShader(source).data(), shader.Put()));
        return shader;
    }
    ComPtr<IDirect3DPixelShader9> Pixel(const ShaderSource& source) const {
        ComPtr<IDirect3DPixelShader9> shader;
        EXPECT_EQ(D3D_OK, device->CreatePixelShader(PackShader(source).data(), shader.Put()));
        return shader;
    }
    // The picture's left half is moved out, colour and coordinates come from registers and the vertex.
    static ShaderSource MovingVertex() {
        ShaderSource source;
        source.kind = ShaderKind::kVertex;
        source.text =
            "in vec4 place; in vec4 wave; uniform mat4 move; uniform vec4 tint[2]; uniform bool swap[1];\n"
            "void osm_vertex() { osm_Position = move * vec4(place.xyz, 1.0);\n"
            "  osm_Color[0] = swap[0] ? tint[1] : tint[0]; osm_TexCoord[0] = vec4(wave.xy + 0.03, 0.0, 1.0); "
            "}\n";
        source.constants = {{ConstantSet::kFloat, 0, 4, ConstantType::kMat4, "move"},
                            {ConstantSet::kFloat, 10, 2, ConstantType::kVec4, "tint"},
                            {ConstantSet::kBool, 2, 1, ConstantType::kBool, "swap"}};
        source.attributes = {{D3DDECLUSAGE_TANGENT, 0, "wave"}, {D3DDECLUSAGE_POSITION, 0, "place"}};
        return source;
    }
    void SetConstants(float shift, BOOL swap) const {
        const float move[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, shift, 0, 0, 1};
        const float tint[8] = {1, 0, 0, 1, 0, 0, 1, 1};
        device->SetVertexShaderConstantF(0, move, 4);
        device->SetVertexShaderConstantF(10, tint, 2);
        device->SetVertexShaderConstantB(2, &swap, 1);
    }
    void Draw() const {
        struct Input {
            float x, y, z, u, v;
        };
        const Input quad[4] = {{-1, 1, 0, 0, 0}, {1, 1, 0, 1, 0}, {-1, -1, 0, 0, 1}, {1, -1, 0, 1, 1}};
        const D3DVERTEXELEMENT9 elements[] = {{0, 0, D3DDECLTYPE_FLOAT3, 0, D3DDECLUSAGE_POSITION, 0},
                                              {0, 12, D3DDECLTYPE_FLOAT2, 0, D3DDECLUSAGE_TANGENT, 0},
                                              {0, 12, D3DDECLTYPE_FLOAT2, 0, D3DDECLUSAGE_TEXCOORD, 0},
                                              D3DDECL_END()};
        ComPtr<IDirect3DVertexDeclaration9> declaration;
        ASSERT_EQ(D3D_OK, device->CreateVertexDeclaration(elements, declaration.Put()));
        device->SetVertexDeclaration(declaration.Get());
        EXPECT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(Input)));
    }
    u32 At(u32 x, u32 y) const { return Read(target)[y * 16 + x]; }
    // Red from left to right, green from top to bottom.
    ComPtr<IDirect3DTexture9> Ramp() const {
        auto texture = Texture(16, 16, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED);
        Fill(Level(texture), [](u32 x, u32 y) { return 0xff000000u | x << 20 | y << 12; });
        return texture;
    }

    ComPtr<IDirect3DSurface9> target;
};

TEST_F(PipelineShader, VertexShaderFeedsFixedStages) {
    const auto shader = Vertex(MovingVertex());
    device->SetVertexShader(shader.Get());
    SetConstants(1.0f, FALSE);
    Draw();
    EXPECT_EQ(0xff000000u, At(4, 4));
    EXPECT_EQ(0xffff0000u, At(12, 4));
    SetConstants(0.0f, TRUE);
    Draw();
    EXPECT_EQ(0xff0000ffu, At(4, 4));

    // Its coordinates go to the stage's sampler, row 0 of the texture at the top.
    device->SetTexture(0, Ramp().Get());
    device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG1);
    Draw();
    EXPECT_EQ(0xff302000u, At(3, 2) & 0xfff0f000u);
    device->SetTexture(0, nullptr);
}

TEST_F(PipelineShader, PixelShaderReadsFixedVerticesAndSamplers) {
    ShaderSource source;
    source.kind = ShaderKind::kPixel;
    source.text =
        "uniform sampler2D ramp; uniform vec4 add[1]; uniform ivec4 times[1];\n"
        "vec4 osm_pixel() { return texture(ramp, osm_TexCoord[0].xy) + add[0] * float(times[0].x); }\n";
    source.constants = {{ConstantSet::kFloat, 5, 1, ConstantType::kVec4, "add"},
                        {ConstantSet::kInt, 1, 1, ConstantType::kIvec4, "times"}};
    source.samplers = {{3, SamplerType::k2D, "ramp"}};
    const auto shader = Pixel(source);
    const auto ramp = Ramp();
    device->SetPixelShader(shader.Get());
    device->SetTexture(3, ramp.Get());
    const float add[4] = {0, 0, 0.25f, 0};
    const int times[4] = {2, 0, 0, 0};
    device->SetPixelShaderConstantF(5, add, 1);
    device->SetPixelShaderConstantI(1, times, 1);
    // The texture transform of the stage acts, as it does for shaders of the first model.
    D3DMATRIX flip{};
    flip.m[0][0] = -1, flip.m[1][1] = 1, flip.m[2][0] = 0.97f, flip.m[2][1] = 0.03f, flip.m[3][3] = 1;
    device->SetTransform(D3DTS_TEXTURE0, &flip);
    device->SetTextureStageState(0, D3DTSS_TEXTURETRANSFORMFLAGS, D3DTTFF_COUNT2);
    Draw();
    const u32 pixel = At(3, 2);
    EXPECT_EQ(0xc02000u, pixel & 0xf0f000u);
    EXPECT_NEAR(128, pixel & 0xff, 1);

    // Alpha test and fog are applied to what a shader gives.
    device->SetRenderState(D3DRS_ALPHATESTENABLE, TRUE);
    device->SetRenderState(D3DRS_ALPHAFUNC, D3DCMP_LESS);
    device->SetRenderState(D3DRS_ALPHAREF, 0xff);
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff123456, 1, 0);
    Draw();
    EXPECT_EQ(0xff123456u, At(3, 2));
    device->SetTexture(3, nullptr);
}

TEST_F(PipelineShader, PairsAreCompiledOnceAndGoWithTheirShaders) {
    Pipeline& pipeline = static_cast<GlDevice*>(device.Get())->DrawPipeline();
    auto shader = Vertex(MovingVertex());
    device->SetVertexShader(shader.Get());
    SetConstants(0.0f, FALSE);
    Draw();
    const u64 compiled = pipeline.Stats().stages_compiled;
    for (int i = 0; i < 3; ++i) {
        device->SetVertexShader(nullptr);
        Draw();
        device->SetVertexShader(shader.Get());
        Draw();
    }
    EXPECT_EQ(compiled + 1, pipeline.Stats().stages_compiled);  // the fixed vertex stage
    // A second object with the same text is another shader, and the first one's end does not disturb it.
    const auto second = Vertex(MovingVertex());
    device->SetVertexShader(second.Get());
    shader.Reset();
    Draw();
    EXPECT_EQ(compiled + 2, pipeline.Stats().stages_compiled);
    EXPECT_EQ(0xffff0000u, At(4, 4));
    UINT size = 0;
    ASSERT_EQ(D3D_OK, second->GetFunction(nullptr, &size));
    std::vector<DWORD> function(size / 4);
    ASSERT_EQ(D3D_OK, second->GetFunction(function.data(), &size));
    EXPECT_EQ(PackShader(MovingVertex()), function);
}

TEST_F(PipelineShader, WhatIsNoShaderIsRefused) {
    const DWORD real_vertex[] = {0xFFFE0101u, 0x0000FFFFu}, real_pixel[] = {0xFFFF0101u, 0x0000FFFFu};
    ComPtr<IDirect3DVertexShader9> vertex;
    ComPtr<IDirect3DPixelShader9> pixel;
    EXPECT_EQ(D3DERR_INVALIDCALL, device->CreateVertexShader(real_vertex, vertex.Put()));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->CreatePixelShader(real_pixel, pixel.Put()));
    EXPECT_EQ(D3DERR_INVALIDCALL, device->CreatePixelShader(nullptr, pixel.Put()));
    // Text that does not compile: the draw fails, once and again, and the device goes on.
    ShaderSource source;
    source.kind = ShaderKind::kPixel;
    source.text = "vec4 osm_pixel() { return nothing; }";
    const auto broken = Pixel(source);
    device->SetPixelShader(broken.Get());
    const float corners[9] = {-1, 1, 0, 3, 1, 0, -1, -3, 0};
    device->SetFVF(D3DFVF_XYZ);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(D3DERR_INVALIDCALL, device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, corners, 12));
    }
    device->SetPixelShader(nullptr);
    EXPECT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLELIST, 1, corners, 12));
    EXPECT_EQ(0xffffffffu, At(8, 8));
}

TEST_F(PipelineShader, ClipPlanesOfShadersLieInClipSpace) {
    const auto shader = Vertex(MovingVertex());
    device->SetVertexShader(shader.Get());
    SetConstants(0.0f, FALSE);
    D3DMATRIX elsewhere{};
    elsewhere.m[0][0] = elsewhere.m[1][1] = elsewhere.m[2][2] = elsewhere.m[3][3] = 1;
    elsewhere.m[3][0] = 50;
    device->SetTransform(D3DTS_VIEW, &elsewhere);
    const float right_half[4] = {1, 0, 0, 0};
    device->SetClipPlane(3, right_half);
    device->SetRenderState(D3DRS_CLIPPLANEENABLE, D3DCLIPPLANE3);
    Draw();
    EXPECT_EQ(0xff000000u, At(4, 4));
    EXPECT_EQ(0xffff0000u, At(12, 4));
}

}  // namespace
