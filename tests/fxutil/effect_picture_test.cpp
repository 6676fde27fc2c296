// Effects through the machine's own compiler and device, against pixels that are worked out here.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

#include "fxutil/effect.h"
#include "platform/d3d9/com_ptr.h"
#include "support/picture_device.h"

namespace {

constexpr u32 kSize = 64;

struct Vertex {
    f32 x, y, z;
    f32 uv[3][2];
};
constexpr DWORD kFormat = D3DFVF_XYZ | D3DFVF_TEX3;

class EffectPicture : public testing::Test {
  protected:
    EffectPicture() : picture_(kSize, kSize), device_(picture_.context().device.Get()) {}

    bool Make(const std::string& text) {
        ComPtr<ID3DXBuffer> errors;
        D3DXCreateEffect(device_, text.data(), static_cast<UINT>(text.size()), nullptr, nullptr, 0, nullptr,
                         effect_.Put(), errors.Put());
        if (errors) ADD_FAILURE() << static_cast<const char*>(errors->GetBufferPointer());
        return static_cast<bool>(effect_);
    }

    // 2 x 2 texels, 0xAARRGGBB.
    ComPtr<IDirect3DTexture9> Texels(const u32 (&texels)[4]) {
        ComPtr<IDirect3DTexture9> texture;
        device_->CreateTexture(2, 2, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, texture.Put(), nullptr);
        D3DLOCKED_RECT locked{};
        texture->LockRect(0, &locked, nullptr, 0);
        for (u32 y = 0; y < 2; ++y)
            std::memcpy(static_cast<u8*>(locked.pBits) + static_cast<std::ptrdiff_t>(locked.Pitch) * y,
                        texels + std::size_t{y} * 2, 8);
        texture->UnlockRect(0);
        return texture;
    }

    // A rectangle with the same three coordinates at each corner, or with 0 to 1 across when `uv` is null.
    void Quad(f32 left, f32 bottom, f32 right, f32 top, const f32 (*uv)[2] = nullptr, f32 z = 0.5f) {
        Vertex vertices[4] = {
            {left, top, z, {}}, {right, top, z, {}}, {left, bottom, z, {}}, {right, bottom, z, {}}};
        for (u32 i = 0; i < 4; ++i)
            for (u32 set = 0; set < 3; ++set) {
                vertices[i].uv[set][0] = uv ? uv[set][0] : static_cast<f32>(i & 1);
                vertices[i].uv[set][1] = uv ? uv[set][1] : static_cast<f32>(i >> 1);
            }
        device_->SetFVF(kFormat);
        device_->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, vertices, sizeof(Vertex));
    }

    template <class Draw>
    void Frame(const char* technique, const Draw& draw) {
        picture_.Frame([&] {
            device_->Clear(0, nullptr, D3DCLEAR_TARGET | D3DCLEAR_ZBUFFER, 0xff000000, 1, 0);
            device_->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
            device_->SetRenderState(D3DRS_ZENABLE, FALSE);
            device_->SetRenderState(D3DRS_LIGHTING, FALSE);
            ASSERT_EQ(effect_->SetTechnique(technique), D3D_OK);
            UINT passes = 0;
            ASSERT_EQ(effect_->Begin(&passes, 0), D3D_OK);
            for (UINT pass = 0; pass < passes; ++pass) {
                ASSERT_EQ(effect_->Pass(pass), D3D_OK);
                draw();
            }
            effect_->End();
        });
    }

    support::PictureDevice picture_;
    IDirect3DDevice9* device_;
    ComPtr<ID3DXEffect> effect_;
};

TEST_F(EffectPicture, MeshesOfOnePassStandWhereTheirMatricesPutThem) {
    ASSERT_TRUE(Make(R"(
        #define SCALED(x) ((x) * Brightness)
        float4x4 Place : WORLD;
        float4 Tint = { 1, 0.5, 0.25, 1 };
        const float Brightness = 0.8;
        float4 Move(float3 p : POSITION, uniform float z) : POSITION { return mul(float4(p.xy, z, 1), Place); }
        float4 Fill() : COLOR { return SCALED(Tint); }
        technique t { pass p { VertexShader = compile vs_1_1 Move(0.5); PixelShader = compile ps_1_1 Fill(); } }
    )"));
    Frame("t", [&] {
        // A unit square, half as large, to the upper right and then to the lower left; turned by a quarter
        // there, so that rows and columns cannot be mixed up.
        D3DXMATRIX place = {{{0.5f, 0, 0, 0}, {0, 0.5f, 0, 0}, {0, 0, 1, 0}, {0.25f, 0.5f, 0, 1}}};
        effect_->SetMatrix("Place", &place);
        Quad(0, 0, 1, 0.5f);
        place = {{{0, 0.5f, 0, 0}, {-0.5f, 0, 0, 0}, {0, 0, 1, 0}, {-0.25f, -0.5f, 0, 1}}};
        effect_->SetMatrix("Place", &place);
        const D3DXVECTOR4 blue{0, 0, 1.25f, 1};
        effect_->SetVector("Tint", &blue);
        Quad(0, 0, 1, 0.5f);
    });
    // x 0.25 to 0.75, y 0.5 to 0.75: pixels 40 to 56 from the left and 8 to 16 from the top.
    const u32 first = 0xcc6633, second = 0x0000ff;
    EXPECT_TRUE(support::Alike(picture_.At(42, 10), first)) << std::hex << picture_.At(42, 10);
    EXPECT_TRUE(support::Alike(picture_.At(54, 14), first));
    EXPECT_EQ(picture_.At(38, 12), 0u);
    EXPECT_EQ(picture_.At(58, 12), 0u);
    EXPECT_EQ(picture_.At(48, 6), 0u);
    EXPECT_EQ(picture_.At(48, 18), 0u);
    // (x, y) goes to (-0.25 - y / 2, -0.5 + x / 2): x -0.5 to -0.25, y -0.5 to 0.
    EXPECT_TRUE(support::Alike(picture_.At(18, 34), second)) << std::hex << picture_.At(18, 34);
    EXPECT_TRUE(support::Alike(picture_.At(22, 46), second));
    EXPECT_EQ(picture_.At(14, 40), 0u);
    EXPECT_EQ(picture_.At(26, 40), 0u);
    EXPECT_EQ(picture_.At(20, 30), 0u);
    EXPECT_EQ(picture_.At(20, 50), 0u);
}

TEST_F(EffectPicture, EachSamplerReadsItsTextureWithItsStates) {
    ASSERT_TRUE(Make(R"(
        texture First, Second;
        sampler Unused = sampler_state { Texture = <Second>; };
        sampler A = sampler_state { Texture = <First>; MinFilter = POINT; MagFilter = POINT;
                                    AddressU = CLAMP; AddressV = CLAMP; };
        sampler2D B : register(s3) = sampler_state { MagFilter = POINT; AddressU = WRAP; };
        struct V { float4 p : POSITION; float2 a : TEXCOORD0; float2 b : TEXCOORD1; };
        V Move(float4 p : POSITION, float2 uv : TEXCOORD0)
        { V v; v.p = p; v.a = uv * 2; v.b = uv * 2; return v; }
        float4 Both(V v) : COLOR { return tex2D(A, v.a) + tex2D(B, v.b); }
        technique t { pass p {
            VertexShader = compile vs_1_1 Move(); PixelShader = compile ps_2_0 Both();
            Texture[3] = <Second>; AddressV[3] = MIRROR; } }
        technique fallback { pass p { VertexShader = compile vs_1_1 Move(); } }
    )"));
    // Red in its left and right columns 0x40 and 0x80, green in its rows 0x20 and 0x60.
    const ComPtr<IDirect3DTexture9> first = Texels({0xff400000, 0xff800000, 0xff400000, 0xff800000});
    const ComPtr<IDirect3DTexture9> second = Texels({0xff002010, 0xff002030, 0xff006010, 0xff006030});
    effect_->SetTexture("First", first.Get());
    effect_->SetTexture("Second", second.Get());
    Frame("t", [&] { Quad(-1, -1, 1, 1); });
    // Coordinates run from 0 to 2 over 64 pixels: a texel is 16 pixels wide. The first clamps after two of
    // them, the second repeats to the right and mirrors downwards.
    const auto expected = [](u32 x, u32 y) {
        const u32 column = x / 16, row = y / 16;
        const u32 red = column == 0 ? 0x40 : 0x80;
        const u32 green = row == 0 || row == 3 ? 0x20 : 0x60;
        return red << 16 | green << 8 | (column % 2 == 0 ? 0x10u : 0x30u);
    };
    for (u32 y = 8; y < kSize; y += 16)
        for (u32 x = 8; x < kSize; x += 16)
            EXPECT_TRUE(support::Alike(picture_.At(x, y), expected(x, y)))
                << x << "," << y << ": " << std::hex << picture_.At(x, y) << ", not " << expected(x, y);
    // The device is as it was.
    ComPtr<IDirect3DBaseTexture9> left;
    device_->GetTexture(3, left.Put());
    EXPECT_FALSE(left);
}

// The text that the depth of field renderer uses.
class DepthOfFieldText : public EffectPicture {
  protected:
    void SetUp() override {
        std::ifstream in(OSM_SOURCE_DIR "/data/depth_of_field.fx", std::ios::binary);
        ASSERT_TRUE(Make({std::istreambuf_iterator<char>(in), {}}));
        for (const char* name : {"multitap", "depth", "merge"})
            ASSERT_EQ(effect_->ValidateTechnique(name), D3D_OK) << name;
    }
    void SetVector(const std::string& name, const D3DXVECTOR4& value) {
        ASSERT_EQ(effect_->SetVector(name.c_str(), &value), D3D_OK);
    }
    static u32 Pixel(f32 r, f32 g, f32 b) {
        const auto byte = [](f32 v) { return static_cast<u32>(std::lround(std::fmin(v, 1.0f) * 255)); };
        return byte(r) << 16 | byte(g) << 8 | byte(b);
    }
};

TEST_F(DepthOfFieldText, MultitapAddsFourWeightedTexels) {
    const ComPtr<IDirect3DTexture9> texture = Texels({0xff800000, 0xff008000, 0xff000080, 0xff404040});
    effect_->SetTexture(effect_->GetParameterBySemantic(nullptr, "RenderTarget"), texture.Get());
    // From the first texel's centre to each of the four.
    const f32 offsets[4][2] = {{0, 0}, {0.5f, 0}, {0, 0.5f}, {0.5f, 0.5f}};
    const f32 weights[4] = {0.5f, 0.25f, 1.0f, 0.75f};
    for (u32 i = 0; i < 4; ++i) {
        SetVector("OffsetTex" + std::to_string(i), {offsets[i][0], offsets[i][1], 0, 0});
        SetVector("WeightTex" + std::to_string(i), {weights[i], weights[i], weights[i], weights[i]});
    }
    const f32 uv[3][2] = {{0.25f, 0.25f}, {0, 0}, {0, 0}};
    Frame("multitap", [&] { Quad(-1, -1, 0, 1, uv); });
    // 0x80 x 0.5 + 0x40 x 0.75 = 0x70, 0x20 + 0x30 = 0x50, 0x80 + 0x30 = 0xb0.
    EXPECT_TRUE(support::Alike(picture_.At(16, 32), 0x7050b0)) << std::hex << picture_.At(16, 32);
    EXPECT_EQ(picture_.At(48, 32), 0u);
}

TEST_F(DepthOfFieldText, MergeTakesTheBlursByTheAlphaOfTheSharpPixel) {
    const f32 uv[3][2] = {{0.25f, 0.25f}, {0.75f, 0.25f}, {0.25f, 0.75f}};
    for (const u32 alpha : {0u, 64u, 128u, 191u, 255u}) {
        const ComPtr<IDirect3DTexture9> texture =
            Texels({alpha << 24 | 0x804020, 0xff2040c0, 0xffe0a000, 0xffffffff});
        effect_->SetTexture("RenderTarget", texture.Get());
        Frame("merge", [&] { Quad(-1, -1, 1, 1, uv); });
        const f32 a = static_cast<f32>(alpha) / 255;
        const f32 factor = std::fmin(std::fmax(a - 0.5f, 0.0f) * 1.75f, 1.0f);
        const f32 cover = std::fmin(a * 2, 1.0f);
        const auto channel = [&](u32 sharp, u32 blur1, u32 blur2) {
            const f32 blur =
                static_cast<f32>(blur1) + (static_cast<f32>(blur2) - static_cast<f32>(blur1)) * factor;
            return (blur * cover + static_cast<f32>(sharp) * (1 - cover)) / 255;
        };
        const u32 expected =
            Pixel(channel(0x80, 0x20, 0xe0), channel(0x40, 0x40, 0xa0), channel(0x20, 0xc0, 0));
        EXPECT_TRUE(support::Alike(picture_.At(32, 32), expected, 2))
            << alpha << ": " << std::hex << picture_.At(32, 32) << ", not " << expected;
    }
}

TEST_F(DepthOfFieldText, DepthLooksUpTheDistanceFromTheFocusAndWritesAlphaAlone) {
    // Left half of the table 0x20, right half 0xc0.
    const ComPtr<IDirect3DTexture9> table = Texels({0x20202020, 0xc0c0c0c0, 0x20202020, 0xc0c0c0c0});
    effect_->SetTexture("LookupMap", table.Get());
    const D3DXMATRIX place = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 0.5f, 0}, {0, 0, 0, 1}}};
    effect_->SetMatrix("WorldViewProjection", &place);
    // Depths of 0.2 and 0.4 about a focus of 0.3: table coordinates 0.25 and 0.75 at its height 0, where the
    // clamped table shows its first row.
    SetVector("Target", {0.3f, 0.5f, 2.5f, 0});
    DWORD mask = 0;
    Frame("depth", [&] {
        device_->GetRenderState(D3DRS_COLORWRITEENABLE, &mask);
        device_->SetRenderState(D3DRS_COLORWRITEENABLE, 0xf);
        Quad(-1, -1, 0, 1, nullptr, 0.4f);
        Quad(0, -1, 1, 1, nullptr, 0.8f);
    });
    EXPECT_EQ(mask, D3DCOLORWRITEENABLE_ALPHA);
    EXPECT_TRUE(support::Alike(picture_.At(16, 32), 0x202020)) << std::hex << picture_.At(16, 32);
    EXPECT_TRUE(support::Alike(picture_.At(48, 32), 0xc0c0c0)) << std::hex << picture_.At(48, 32);
}

TEST_F(EffectPicture, TheCompilersMessagesPointIntoTheText) {
    const std::string text =
        "texture T < string n = \"x\"; >;\n"
        "sampler S = sampler_state { Texture = <T>; };\n"
        "float4 tint = { 1, 1, 1, 1 };\n"
        "float4 Fill(float2 uv : TEXCOORD0) : COLOR\n"
        "{\n"
        "    return tex2D(S, uv) * tnit;\n"
        "}\n"
        "technique t { pass p { PixelShader = compile ps_2_0 Fill(); } }\n";
    ComPtr<ID3DXBuffer> errors;
    EXPECT_TRUE(FAILED(D3DXCreateEffect(device_, text.data(), static_cast<UINT>(text.size()), nullptr,
                                        nullptr, 0, nullptr, effect_.Put(), errors.Put())));
    ASSERT_TRUE(errors);
    const std::string message = static_cast<const char*>(errors->GetBufferPointer());
    EXPECT_EQ(message.substr(0, 13), "memory(6,27):") << message;
    EXPECT_NE(message.find("tnit"), std::string::npos) << message;
}

}  // namespace
