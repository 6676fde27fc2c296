// Effect texts on the system's own compiler and Direct3D 9: constants arrive in the registers that are told,
// and what does not compile says where. The compiler of Wine 8 does not know tex2D; what a text with textures
// must do there is fail with its place.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "fxutil/effect.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/shader_compiler.h"

namespace {

using namespace platform;

constexpr char kText[] = R"(
float4x4 World : WORLD; row_major float4x4 Turn; float4 Offsets[3] = { 1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 2, 3 };
struct Light { float3 Direction; float4 Color; }; Light Lights[2]; Light Single[1];
float Amount; float4 Tint : register(c5);
struct Vertex { float4 Position : POSITION; float4 Color : COLOR0; };
Vertex vs(float4 position : POSITION) {
    Vertex Out;
    Out.Position = mul(mul(position, World), Turn) + Offsets[1];
    Out.Color = Lights[1].Color * Single[0].Direction.z;
    return Out;
}
float4 ps(float4 color : COLOR0) : COLOR { return color * Amount + Tint; }
float4 Unreached(float2 at : TEXCOORD0) : COLOR { return nothing; }
technique both { pass p { VertexShader = compile vs_1_1 vs(); PixelShader = compile ps_1_1 ps(); } }
technique vertices { pass p { VertexShader = compile vs_1_1 vs(); PixelShader = NULL; } }
technique pixels { pass p { VertexShader = NULL; PixelShader = compile ps_1_4 ps(); } }
)";

class WindowsShaders : public testing::Test {
  protected:
    void SetUp() override {
        window = CreateWindowA("STATIC", "", WS_OVERLAPPEDWINDOW, 0, 0, 64, 64, nullptr, nullptr, nullptr,
                               nullptr);
        d3d.Attach(Direct3DCreate9(D3D_SDK_VERSION));
        ASSERT_TRUE(d3d);
        D3DPRESENT_PARAMETERS present{};
        present.BackBufferWidth = present.BackBufferHeight = 64;
        present.BackBufferFormat = D3DFMT_A8R8G8B8;
        present.SwapEffect = D3DSWAPEFFECT_DISCARD;
        present.hDeviceWindow = window;
        present.Windowed = TRUE;
        ASSERT_EQ(D3D_OK, d3d->CreateDevice(0, D3DDEVTYPE_HAL, window, D3DCREATE_HARDWARE_VERTEXPROCESSING,
                                            &present, device.Put()));
        for (const D3DRENDERSTATETYPE off : {D3DRS_LIGHTING, D3DRS_ZENABLE})
            device->SetRenderState(off, FALSE);
        device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
        device->SetTextureStageState(0, D3DTSS_COLOROP, D3DTOP_SELECTARG2);  // the vertices' colour
    }
    void TearDown() override { DestroyWindow(window); }

    // A quad over everything, grey where the vertices are the device's, drawn on black by a technique.
    void Draw(ID3DXEffect& effect, const char* technique) {
        const struct {
            float x, y, z;
            D3DCOLOR color;
        } quad[] = {{-1, 1, 0.5f, 0xff666666},
                    {1, 1, 0.5f, 0xff666666},
                    {-1, -1, 0.5f, 0xff666666},
                    {1, -1, 0.5f, 0xff666666}};
        device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff000000, 1, 0);
        device->BeginScene();
        device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE);
        UINT passes = 0;
        EXPECT_EQ(D3D_OK, effect.SetTechnique(technique));
        EXPECT_EQ(D3D_OK, effect.ValidateTechnique(technique));
        EXPECT_EQ(D3D_OK, effect.Begin(&passes, 0));
        EXPECT_EQ(D3D_OK, effect.Pass(0));
        EXPECT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(quad[0])));
        effect.End();
        device->EndScene();
        ComPtr<IDirect3DSurface9> target, copy;
        device->GetRenderTarget(0, target.Put());
        device->CreateOffscreenPlainSurface(64, 64, D3DFMT_A8R8G8B8, D3DPOOL_SYSTEMMEM, copy.Put(), nullptr);
        ASSERT_EQ(D3D_OK, device->GetRenderTargetData(target.Get(), copy.Get()));
        D3DLOCKED_RECT locked;
        ASSERT_EQ(D3D_OK, copy->LockRect(&locked, nullptr, D3DLOCK_READONLY));
        for (int i = 0; i < 4; ++i) {
            const char* row = static_cast<const char*>(locked.pBits) + locked.Pitch * (i < 2 ? 16 : 48);
            std::memcpy(&quarters[i], row + (i % 2 == 0 ? 16 : 48) * 4, 4);
        }
        copy->UnlockRect();
    }
    void ExpectQuarters(u32 a, u32 b, u32 c, u32 d) const {
        const u32 expected[] = {a, b, c, d};
        for (int i = 0; i < 4; ++i) {
            for (u32 shift = 0; shift < 24; shift += 8) {
                EXPECT_NEAR(expected[i] >> shift & 0xff, quarters[i] >> shift & 0xff, 1)
                    << i << std::hex << ": " << quarters[i];
            }
        }
    }

    HWND window = nullptr;
    ComPtr<IDirect3D9> d3d;
    ComPtr<IDirect3DDevice9> device;
    u32 quarters[4] = {};  // a pixel of each: upper left, upper right, lower ones
};

TEST_F(WindowsShaders, ParametersReachWhatIsDrawn) {
    ID3DXEffect* effect = nullptr;
    ID3DXBuffer* errors = nullptr;
    D3DXCreateEffect(device.Get(), kText, sizeof(kText) - 1, nullptr, nullptr, 0, nullptr, &effect, &errors);
    ASSERT_TRUE(effect) << (errors ? static_cast<const char*>(errors->GetBufferPointer()) : "");
    ComPtr<ID3DXEffect> owner;
    owner.Attach(effect);
    // The left half; a quarter turn makes it the upper half; an offset leaves its right part.
    const D3DXMATRIX world = {0.5f, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -0.5f, 0, 0, 1};
    const D3DXMATRIX turn = {0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const D3DXVECTOR4 offset = {1, 0, 0, 0}, color = {0.4f, 0.8f, 1, 1}, z = {0, 0, 1, 0},
                      tint = {0.2f, 0, 0, 1};
    EXPECT_EQ(D3D_OK, effect->SetMatrix("World", &world));
    EXPECT_EQ(D3D_OK, effect->SetMatrix("Turn", &turn));
    EXPECT_EQ(D3D_OK, effect->SetVector("Offsets[1]", &offset));
    EXPECT_EQ(D3D_OK, effect->SetVector("Lights[1].Color", &color));
    EXPECT_EQ(D3D_OK, effect->SetVector("Single[0].Direction", &z));
    EXPECT_EQ(D3D_OK, effect->SetFloat("Amount", 0.5f));
    EXPECT_EQ(D3D_OK, effect->SetVector("Tint", &tint));
    Draw(*effect, "both");
    ExpectQuarters(0, 0x666680, 0, 0);
    Draw(*effect, "vertices");
    ExpectQuarters(0, 0x66ccff, 0, 0);
    Draw(*effect, "pixels");
    ExpectQuarters(0x663333, 0x663333, 0x663333, 0x663333);
}

TEST_F(WindowsShaders, WhatDoesNotCompileSaysWhere) {
    const struct {
        const char *text, *profile;
        u32 line;
        const char* part;
    } kCases[] = {
        {"float4 f() : COLOR {\n\n  return Missing; }", "ps_1_1", 3, "Missing"},
        {"float4 f() : COLOR {\n return 1 1; }", "ps_2_b", 2, ""},
        {"\nfloat4 f(float4 p : POSITION) : POSITION { return p * None; }", "vs_1_1", 2, "None"},
        {"float4 f() : COLOR { return 1; }\n#error", "ps_2_0", 2, "directive"},
        {"float4 f() : COLOR { return 1; }", "ps_3_0", 0, "'ps_3_0' is no profile"},
    };
    for (const auto& it : kCases) {
        for (int twice = 0; twice < 2; ++twice) {
            CompiledShader out;
            std::vector<CompileMessage> messages;
            EXPECT_FALSE(CompileShader({it.text, "f", it.profile}, out, messages)) << it.text;
            ASSERT_FALSE(messages.empty()) << it.text;
            EXPECT_EQ(it.line, messages[0].line) << messages[0].text;
            EXPECT_NE(std::string::npos, messages[0].text.find(it.part)) << messages[0].text;
            EXPECT_TRUE(out.tokens.empty() && out.constants.empty());
        }
    }
}

// The text of the module's own effect.
TEST_F(WindowsShaders, TexturesAreSampledOrRefusedWithTheirPlace) {
    ID3DXEffect* effect = nullptr;
    ID3DXBuffer* errors = nullptr;
    D3DXCreateEffectFromResourceA(device.Get(), nullptr, MAKEINTRESOURCEA(101), nullptr, nullptr, 0, nullptr,
                                  &effect, &errors);
    ASSERT_NE(effect == nullptr, errors == nullptr);
    if (effect) {
        for (const char* technique : {"multitap", "depth", "merge"}) {
            EXPECT_EQ(D3D_OK, effect->ValidateTechnique(technique)) << technique;
        }
        effect->Release();
    } else {
        const std::string text = static_cast<const char*>(errors->GetBufferPointer());
        EXPECT_EQ(0u, text.find("resource 101(77,")) << text;  // the first line that samples
        EXPECT_NE(std::string::npos, text.find("tex2D")) << text;
        errors->Release();
    }
}

}  // namespace
