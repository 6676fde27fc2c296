// A globe of glass with a flame in it, pixel by pixel: what is behind it upside down, what is before it on its
// face, the more the flatter one looks on it. The sky (a cube) and the colours of the glass come from the stages
// of the material within.

float4x4 World : WORLD;
float4x4 ViewInverse : VIEWI;
float4x4 WorldViewProjection : WORLDVIEWPROJECTION;

// Towards the moon, and how sharp its image is.
float3 Moon = { 0.348f, 0.875f, 0.338f };
float Polish = 220.0f;
float3 Flame = { 1.0f, 0.74f, 0.36f };

samplerCUBE Sky : register(s0);
sampler2D Tints : register(s1);

struct Vertex
{
    float4 Place : POSITION;
    float3 Normal : NORMAL;
    float2 Tint : TEXCOORD0;
};

struct Pixel
{
    float4 Place : POSITION;
    float2 Tint : TEXCOORD0;
    float3 Normal : TEXCOORD1;
    float3 ToEye : TEXCOORD2;
};

Pixel Turn(Vertex vertex)
{
    Pixel pixel;
    pixel.Place = mul(vertex.Place, WorldViewProjection);
    pixel.Tint = vertex.Tint;
    pixel.Normal = mul(vertex.Normal, (float3x3)World);
    pixel.ToEye = ViewInverse[3].xyz - mul(vertex.Place, World).xyz;
    return pixel;
}

float3 SkyAt(float3 way)
{
    return texCUBE(Sky, float3(way.x, -way.y, way.z)).rgb;
}

float4 Shine(Pixel pixel) : COLOR
{
    float3 normal = normalize(pixel.Normal);
    float3 toEye = normalize(pixel.ToEye);
    float facing = saturate(dot(normal, toEye));
    float3 tint = tex2D(Tints, pixel.Tint).rgb;

    // Into the globe, through it and out on the far side.
    float3 within = refract(-toEye, normal, 0.74f);
    float path = -2.0f * dot(normal, within);
    float3 far = normal + within * path;
    float3 leaving = refract(within, -far, 1.35f);
    // Rays that would not leave go straight on.
    leaving = dot(leaving, leaving) > 0.25f ? leaving : within;

    // How near the way comes to the flame, a little drop on the axis.
    float3 nearest = normal + within * (0.5f * path);
    nearest.z = nearest.z < 0 ? nearest.z * 0.9f : nearest.z * 0.55f;
    float away = dot(nearest, nearest);
    float glow = 0.75f * exp(-3.2f * away) + 1.6f * exp(-42.0f * away);

    // The longer the way, the deeper the colour.
    float3 glass = pow(tint, 0.35f + 0.75f * path);
    float3 body = glass * (SkyAt(leaving) * 1.1f + Flame * glow * 1.5f) + tint * 0.05f;

    float3 bounce = reflect(-toEye, normal);
    float rim = pow(1.0f - facing, 5.0f);
    float3 before = SkyAt(bounce) + pow(saturate(dot(bounce, normalize(Moon))), Polish) * 3.0f;
    float3 seen = lerp(body, before, 0.05f + 0.90f * rim) + tint * 0.30f * pow(1.0f - facing, 2.5f);
    return float4(seen + Flame * 0.9f * exp(-60.0f * away), 1.0f);
}

technique Glass
{
    pass P0
    {
        VertexShader = compile vs_2_0 Turn();
        PixelShader = compile ps_2_0 Shine();
    }
}
