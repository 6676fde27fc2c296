// Effect texts to start from.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/seeds.h"

namespace fuzz {

// Says a little of everything that a text can hold.
inline constexpr std::string_view kEffectText = R"(// all of it
#define COUNT 2
#define SUM(a, b) ((a) + (b))
#define JOIN(a, b) a##b
#if defined(OUTSIDE) && COUNT >= 1 + 1
#pragma warning(disable : 1)
float4x4 World : WORLD < string name = "the world"; int n = 3; >;
#elif 0
#error no
#endif
row_major float4x3 Bones[3];
float4 Tint = { 1, 0.5, SUM(0.25, 1) * 2, -1e-3 };
float JOIN(Po, wer) = 0x10;
int Reference = 77;
bool Flag = true;
static const int N = COUNT + 1;
const float3 Up = float3(0, 1, 0);
struct Light { float3 color : TINT; float power; };
struct Group { Light lights[2]; float4 all; };
Group group;
texture Skin : DIFFUSE, Other;
textureCUBE Sky;
sampler S = sampler_state { Texture = <Skin>; MinFilter = LINEAR; AddressU = CLAMP; BorderColor = 0xff00ff00; };
samplerCUBE C : register(s1) = sampler_state { Texture = (Sky); MipMapLodBias = -0.5; };
string note = "a" "b";
typedef float4 Color;
struct V { float4 p : POSITION; float2 uv : TEXCOORD0; float4 c : COLOR0; };
V Move(float3 p : POSITION, float2 uv : TEXCOORD0, uniform float z, uniform bool b = true)
{
    V v;
    v.p = mul(float4(p.xy, z, 1), World);
    v.uv = uv * N;
    v.c = b ? Tint * Power : float4(Up, 1);
    return v;
}
float4 Fill(V v) : COLOR { return tex2D(S, v.uv) * v.c; }
VertexShader kept = compile vs_1_1 Move(0.5);
technique first < bool simple = false; >
{
    pass a < int order = 0; >
    {
        VertexShader = (kept);
        PixelShader = compile ps_1_1 Fill();
        CullMode = NONE; ZEnable = FALSE; AlphaBlendEnable = TRUE; SrcBlend = SRCALPHA; DestBlend = D3DBLEND_ONE;
        ColorWriteEnable = RED | ALPHA; AlphaRef = <Reference>; TextureFactor = (Tint); FogStart = 0.5;
        Texture[0] = <Skin>; Texture[1] = NULL; Sampler[2] = <S>; TexCoordIndex[1] = CAMERASPACENORMAL | 1;
        ColorOp[0] = MODULATE; TextureTransformFlags[0] = COUNT2; WorldTransform[0] = <World>;
        MaterialDiffuse = { 1, 0, 0, 1 }; MaterialPower = 8; VertexShaderConstant[9] = { 1, 2, 3, 4 };
    }
    pass b { VertexShader = NULL; PixelShader = NULL; Lighting = true; MinFilter[3] = POINT; }
}
technique { pass { } }
)";

inline std::vector<Bytes> EffectSeeds() {
    std::vector<Bytes> seeds{Bytes(kEffectText.begin(), kEffectText.end())};
    std::ifstream in(OSM_SOURCE_DIR "/data/depth_of_field.fx", std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return seeds;
}

}  // namespace fuzz
