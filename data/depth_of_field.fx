// Depth of field, module resource 101. "depth" writes into the alpha of the picture how far each pixel is out
// of focus; "multitap" makes the blurred copies; "merge" lays the sharp picture and the copies together by that
// alpha.

float4 Black = { 0.0f, 0.0f, 0.0f, 0.0f };

texture RenderTarget : RENDERTARGET;
texture LookupMap : LOOKUPDEPTH;

sampler MultiTapSampler = sampler_state
{
    Texture = <RenderTarget>;
    MipFilter = LINEAR;
    MinFilter = LINEAR;
    MagFilter = LINEAR;
};

sampler Sampler = sampler_state
{
    Texture = <RenderTarget>;
    MipFilter = LINEAR;
    MinFilter = LINEAR;
    MagFilter = LINEAR;
};

sampler DepthSampler = sampler_state
{
    Texture = <LookupMap>;
    MipFilter = LINEAR;
    MinFilter = LINEAR;
    MagFilter = LINEAR;
    AddressU = CLAMP;
    AddressV = CLAMP;
};

// Where the four taps lie beside a pixel, in texture coordinates, and what each counts.
float4 OffsetTex0;
float4 OffsetTex1;
float4 OffsetTex2;
float4 OffsetTex3;
float4 WeightTex0 = { 0.25f, 0.25f, 0.25f, 0.25f };
float4 WeightTex1 = { 0.25f, 0.25f, 0.25f, 0.25f };
float4 WeightTex2 = { 0.25f, 0.25f, 0.25f, 0.25f };
float4 WeightTex3 = { 0.25f, 0.25f, 0.25f, 0.25f };

float4x4 WorldViewProjection : WORLDVIEWPROJECTION;

// Near clip distance and the depth of the view.
float4 Clip = { 1.0f, 1000.0f, 0.0f, 0.0f };
// The sharp depth, where that lies in the lookup map, and how far a unit of depth moves from there.
float4 Target = { 10.0f, 0.5f, 0.01f, 0.0f };

// ---- four taps of one picture, weighted

struct MultiTapVertex
{
    float4 Pos : POSITION;
    float2 Tex0 : TEXCOORD0;
    float2 Tex1 : TEXCOORD1;
    float2 Tex2 : TEXCOORD2;
    float2 Tex3 : TEXCOORD3;
};

MultiTapVertex MultiTapTransformBasic(float4 Pos : POSITION, float2 Tex : TEXCOORD0)
{
    MultiTapVertex Out;
    Out.Pos = Pos;
    Out.Tex0 = Tex + OffsetTex0.xy;
    Out.Tex1 = Tex + OffsetTex1.xy;
    Out.Tex2 = Tex + OffsetTex2.xy;
    Out.Tex3 = Tex + OffsetTex3.xy;
    return Out;
}

float4 MultiTapColorBasic(MultiTapVertex In) : COLOR
{
    float4 Sum = tex2D(MultiTapSampler, In.Tex0) * WeightTex0;
    Sum += tex2D(MultiTapSampler, In.Tex1) * WeightTex1;
    Sum += tex2D(MultiTapSampler, In.Tex2) * WeightTex2;
    Sum += tex2D(MultiTapSampler, In.Tex3) * WeightTex3;
    return Sum;
}

technique multitap
{
    pass p0
    {
        VertexShader = compile vs_1_1 MultiTapTransformBasic();
        PixelShader = compile ps_1_1 MultiTapColorBasic();

        Texture[0] = <RenderTarget>;
        Texture[1] = <RenderTarget>;
        Texture[2] = <RenderTarget>;
        Texture[3] = <RenderTarget>;
        TexCoordIndex[0] = 0;
        TexCoordIndex[1] = 1;
        TexCoordIndex[2] = 2;
        TexCoordIndex[3] = 3;
        TextureTransformFlags[0] = DISABLE;
        TextureTransformFlags[1] = DISABLE;
        TextureTransformFlags[2] = DISABLE;
        TextureTransformFlags[3] = DISABLE;
        CullMode = NONE;
        ZEnable = FALSE;
    }
}

// ---- distance from the focus

struct DepthVertex
{
    float4 Pos : POSITION;
    float2 Tex : TEXCOORD0;
};

DepthVertex DepthTransformBasic(float3 Pos : POSITION)
{
    DepthVertex Out;
    Out.Pos = mul(float4(Pos, 1.0f), WorldViewProjection);
    Out.Tex = float2(Target.y + (Out.Pos.z - Target.x) * Target.z, 0.0f);
    return Out;
}

float4 DepthColorBasic(DepthVertex In) : COLOR
{
    return tex2D(DepthSampler, In.Tex).rrrr;
}

technique depth
{
    pass P0
    {
        VertexShader = compile vs_1_1 DepthTransformBasic();
        PixelShader = compile ps_1_1 DepthColorBasic();

        Texture[0] = <LookupMap>;
        TexCoordIndex[0] = 0;
        TextureTransformFlags[0] = DISABLE;
        ColorWriteEnable = ALPHA;
    }
}

// ---- sharp, a little blurred and strongly blurred, by the alpha of the sharp one

struct MergeVertex
{
    float4 Pos : POSITION;
    float2 Tex0 : TEXCOORD0;
    float2 Tex1 : TEXCOORD1;
    float2 Tex2 : TEXCOORD2;
    float2 Tex3 : TEXCOORD3;
};

MergeVertex TransformBasic(float4 Pos : POSITION, float2 Tex0 : TEXCOORD0, float2 Tex1 : TEXCOORD1,
                           float2 Tex2 : TEXCOORD2)
{
    MergeVertex Out;
    Out.Pos = Pos;
    Out.Tex0 = Tex0;
    Out.Tex1 = Tex1;
    Out.Tex2 = Tex2;
    Out.Tex3 = Tex0;
    return Out;
}

float4 ColorBasic(MergeVertex In) : COLOR
{
    float4 Pixel = tex2D(Sampler, In.Tex0);
    float RgbFactor = saturate(clamp(Pixel.a - 0.5f, 0.0f, 1.0f) * 1.75f);
    float4 Output;
    Output.a = clamp(Pixel.a * 2.0f, 0.0f, 1.0f);
    float4 Blur1 = tex2D(Sampler, In.Tex1);
    float4 Blur2 = tex2D(Sampler, In.Tex2);
    Output.rgb = lerp(Blur1.rgb, Blur2.rgb, RgbFactor);
    return Output * Output.a + Pixel * (1.0f - Output.a);
}

technique merge
{
    pass P0
    {
        VertexShader = compile vs_1_1 TransformBasic();
        PixelShader = compile ps_1_1 ColorBasic();

        Texture[0] = <RenderTarget>;
        Texture[1] = <RenderTarget>;
        Texture[2] = <RenderTarget>;
        Texture[3] = <RenderTarget>;
        TexCoordIndex[0] = 0;
        TexCoordIndex[1] = 1;
        TexCoordIndex[2] = 2;
        TexCoordIndex[3] = 3;
        TextureTransformFlags[0] = DISABLE;
        TextureTransformFlags[1] = DISABLE;
        TextureTransformFlags[2] = DISABLE;
        TextureTransformFlags[3] = DISABLE;
        CullMode = NONE;
        ZEnable = FALSE;
    }
}
