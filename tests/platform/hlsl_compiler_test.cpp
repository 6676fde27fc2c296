// HLSL to pictures: what a compiled function computes, seen on the device; and what does not compile, and
// where.
#include <algorithm>
#include <cstdlib>
#include <random>

#include "platform/device_fixture.h"
#include "platform/shader/hlsl_scan.h"
#include "platform/gl/isolated.h"
#include "platform/gl/shader_container.h"
#include "platform/shader_compiler.h"

namespace {

using namespace platform;

class HlslCompiler : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        target = NewTarget(16, 16);
        device->SetRenderState(D3DRS_LIGHTING, FALSE);
        device->SetRenderState(D3DRS_CULLMODE, D3DCULL_NONE);
        device->SetRenderState(D3DRS_ZENABLE, FALSE);
        ASSERT_EQ(D3D_OK, device->BeginScene());
    }
    static CompiledShader Compile(std::string_view text, const char* entry, const char* profile) {
        CompiledShader out;
        std::vector<CompileMessage> messages;
        EXPECT_TRUE(CompileShader({text, entry, profile}, out, messages));
        for (const CompileMessage& it : messages) ADD_FAILURE() << it.line << ": " << it.text;
        return out;
    }
    void UseVertex(std::string_view text, const char* entry = "vs", const char* profile = "vs_1_1") {
        vertex = Compile(text, entry, profile);
        ComPtr<IDirect3DVertexShader9> shader;
        ASSERT_EQ(D3D_OK, device->CreateVertexShader(vertex.tokens.data(), shader.Put()));
        device->SetVertexShader(shader.Get());
    }
    void UsePixel(std::string_view text, const char* entry = "ps", const char* profile = "ps_2_0") {
        pixel = Compile(text, entry, profile);
        ComPtr<IDirect3DPixelShader9> shader;
        ASSERT_EQ(D3D_OK, device->CreatePixelShader(pixel.tokens.data(), shader.Put()));
        device->SetPixelShader(shader.Get());
    }
    static const ShaderConstantInfo& Info(const CompiledShader& shader, const std::string& name) {
        static const ShaderConstantInfo kNone;
        for (const ShaderConstantInfo& it : shader.constants) {
            if (it.name == name) return it;
        }
        ADD_FAILURE() << "no constant " << name;
        return kNone;
    }
    // Whole registers, four floats each.
    void SetVertexF(const std::string& name, const std::vector<float>& values) const {
        const ShaderConstantInfo& info = Info(vertex, name);
        EXPECT_EQ(ShaderRegisterSet::kFloat, info.set);
        EXPECT_EQ(info.register_count * 4, values.size()) << name;
        device->SetVertexShaderConstantF(info.first_register, values.data(), info.register_count);
    }
    void SetPixelF(const std::string& name, const std::vector<float>& values) const {
        const ShaderConstantInfo& info = Info(pixel, name);
        device->SetPixelShaderConstantF(info.first_register, values.data(), info.register_count);
    }
    static u32 Unit(const CompiledShader& shader, const std::string& name) {
        for (const ShaderSamplerInfo& it : shader.samplers) {
            if (it.name == name) return it.unit;
        }
        ADD_FAILURE() << "no sampler " << name;
        return 0;
    }
    struct Vertex {
        float x, y, z;
        u32 color;
        float u, v;
    };
    // A quad over the whole target, with texel centres under pixel centres for a 16 x 16 texture.
    void Draw(u32 left = 0xffffffff, u32 right = 0xffffffff) const {
        const float s = 1 / 16.0f;
        const Vertex quad[4] = {{-1 - s, 1 + s, 0.5f, left, 0, 0},
                                {1 - s, 1 + s, 0.5f, right, 1, 0},
                                {-1 - s, -1 + s, 0.5f, left, 0, 1},
                                {1 - s, -1 + s, 0.5f, right, 1, 1}};
        device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff000000, 1, 0);
        device->SetFVF(D3DFVF_XYZ | D3DFVF_DIFFUSE | D3DFVF_TEX1);
        EXPECT_EQ(D3D_OK, device->DrawPrimitiveUP(D3DPT_TRIANGLESTRIP, 2, quad, sizeof(Vertex)));
    }
    u32 At(u32 x, u32 y) const { return Read(target)[y * 16 + x]; }
    u32 Drawn() const {
        Draw();
        return At(8, 8);
    }
    ComPtr<IDirect3DTexture9> Filled(const std::function<u32(u32, u32)>& color) const {
        auto texture = Texture(16, 16, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED);
        Fill(Level(texture), color);
        return texture;
    }

    ComPtr<IDirect3DSurface9> target;
    CompiledShader vertex, pixel;
};

// Steps of a fifth are whole in eight bits: 0.2 is 51, 0x33.
TEST_F(HlslCompiler, ConstantsOfEveryKindArrive) {
    UseVertex(R"(
struct Light { float3 direction; float reach; float4 color; };
float4 unused[80] = { 1, 2 };
float amount = 0.5;
float3 three : SOMETHING;
float4 fixed_place : register(c7) = float4(1, 1, 1, 1);
float ramp[3];
Light lights[2];
int which = 2;
bool on;
static const float kHalf = 0.5;
static float4 gathered = 0;
struct Out { float4 position : POSITION; float4 color : COLOR0; };
Out vs(float4 position : POSITION) {
    Out o;
    o.position = position;
    gathered.r = amount * kHalf + fixed_place.w;
    gathered.g = ramp[which] + three.z;
    gathered.b = on ? lights[which - 1].color.y : lights[0].reach;
    gathered.a = 1;
    o.color = gathered;
    return o;
})");
    EXPECT_EQ(7u, Info(vertex, "fixed_place").first_register);
    const ShaderConstantInfo ramp = Info(vertex, "ramp");
    EXPECT_EQ(std::make_tuple(ShaderConstantClass::kScalar, 3u, 3u),
              std::make_tuple(ramp.type, ramp.elements, ramp.register_count));
    EXPECT_TRUE(std::none_of(vertex.constants.begin(), vertex.constants.end(),
                             [](const auto& it) { return it.name == "unused"; }));
    SetVertexF("amount", {0.4f, 9, 9, 9});
    SetVertexF("fixed_place", {9, 9, 9, 0.4f});
    SetVertexF("three", {9, 9, 0.2f, 9});
    SetVertexF("ramp", {9, 9, 9, 9, 9, 9, 9, 9, 0.6f, 9, 9, 9});
    SetVertexF("lights[0].reach", {0.2f, 9, 9, 9});
    SetVertexF("lights[1].color", {9, 0.8f, 9, 9});
    const int which[4] = {2, 9, 9, 9};
    const BOOL on[2] = {TRUE, FALSE};
    EXPECT_EQ(ShaderRegisterSet::kInt, Info(vertex, "which").set);
    EXPECT_EQ(ShaderRegisterSet::kBool, Info(vertex, "on").set);
    device->SetVertexShaderConstantI(Info(vertex, "which").first_register, which, 1);
    device->SetVertexShaderConstantB(Info(vertex, "on").first_register, &on[0], 1);
    EXPECT_EQ(0xff99cccc, Drawn());  // red 0.2 + 0.4, green 0.6 + 0.2, blue 0.8
    device->SetVertexShaderConstantB(Info(vertex, "on").first_register, &on[1], 1);
    EXPECT_EQ(0xff99cc33, Drawn());
}

TEST_F(HlslCompiler, TheStagesOfAProgramHaveConstantsOfTheirOwn) {
    // As many registers in both, and more in one: the same places, other values.
    for (const char* more : {"", " + float4(0, 0, 0, rest.x)"}) {
        UseVertex(R"(
float4 first, second;
struct Out { float4 position : POSITION; float4 color : COLOR0; };
Out vs(float4 position : POSITION) {
    Out o;
    o.position = position;
    o.color = first + second;
    return o;
})");
        UsePixel(std::string("float4 first, second, rest; float4 ps(float4 color : COLOR0) : COLOR"
                             " { return color * first + second") +
                 more + "; }");
        SetVertexF("first", {0.2f, 0.4f, 0, 1});
        SetVertexF("second", {0.2f, 0.2f, 0.4f, 0});
        SetPixelF("first", {1, 1, 0.5f, 1});
        SetPixelF("second", {0.2f, 0, 0.4f, 0});
        if (*more != 0) SetPixelF("rest", {0, 0, 0, 0});
        EXPECT_EQ(0xff999999, Drawn()) << more;
    }
}

TEST_F(HlslCompiler, MatricesMultiplyFromTheirSide) {
    const std::string text = R"(
float4x4 m; row_major float4x4 rm; float4x3 tall; float3x3 turn[2];
struct Out { float4 position : POSITION; float4 color : COLOR0; };
Out Give(float4 p, float4 c) { Out o; o.position = p; o.color = c; return o; }
static const float4 x = float4(1, 0, 0, 0);
static const float4 y = float4(0, 1, 0, 0);
Out Row(float4 p : POSITION) { return Give(p, mul(y, m)); }
Out Column(float4 p : POSITION) { return Give(p, mul(m, x)); }
Out MajorRow(float4 p : POSITION) { return Give(p, mul(y, rm)); }
Out Element(float4 p : POSITION) { return Give(p, float4(m[1][2], m._m12, m._23, rm[1].z)); }
Out Tall(float4 p : POSITION) { return Give(p, float4(mul(y, tall), 1)); }
Out Turn(float4 p : POSITION) { return Give(p, float4(mul(turn[1], x.xyz), 1)); }
)";
    // Rows (0.2, 0.4, 0.6, 0.8), (1, 0, 0.2, 0.4), (0.6, ...), (0, ...).
    const float rows[4][4] = {{0.2f, 0.4f, 0.6f, 0.8f}, {1, 0, 0.2f, 0.4f}, {0.6f, 0, 0, 0}, {0, 0, 0, 1}};
    std::vector<float> by_rows, by_columns;
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            by_rows.push_back(rows[i][j]);
            by_columns.push_back(rows[j][i]);
        }
    }
    UseVertex(text, "Row");
    EXPECT_EQ(ShaderConstantClass::kMatrixColumns, Info(vertex, "m").type);
    SetVertexF("m", by_columns);
    EXPECT_EQ(0x66ff0033, Drawn());  // row 1: red 1, green 0, blue 0.2, alpha 0.4
    UseVertex(text, "Column");
    EXPECT_EQ(0x0033ff99, Drawn());  // column 0: 0.2, 1, 0.6, 0
    UseVertex(text, "Element");
    SetVertexF("m", by_columns);
    SetVertexF("rm", by_rows);
    EXPECT_EQ(0x33333333, Drawn());  // always row 1, column 2
    UseVertex(text, "MajorRow");
    EXPECT_EQ(ShaderConstantClass::kMatrixRows, Info(vertex, "rm").type);
    SetVertexF("rm", by_rows);
    EXPECT_EQ(0x66ff0033, Drawn());
    UseVertex(text, "Tall");
    EXPECT_EQ(3u, Info(vertex, "tall").register_count);
    EXPECT_EQ(4u, Info(vertex, "tall").rows);
    SetVertexF("tall", {by_columns.begin(), by_columns.begin() + 12});
    EXPECT_EQ(0xffff0033, Drawn());
    UseVertex(text, "Turn");
    std::vector<float> turns(12, 9.0f);
    turns.insert(turns.end(), by_columns.begin(), by_columns.begin() + 12);
    SetVertexF("turn", turns);
    EXPECT_EQ(0xff33ff99, Drawn());  // column 0 of the second
}

TEST_F(HlslCompiler, ParametersOfEveryFormAndStagesInBetween) {
    const std::string text = R"(
sampler Picture;
struct In { float3 place : POSITION; float4 tint : COLOR; float2 at[1] : TEXCOORD0; };
struct Out { float4 position : POSITION; float2 at[2] : TEXCOORD1; float4 color : COLOR0; float3 low : COLOR1; };
Out vs(In i) {
    Out o;
    o.position = float4(i.place, 1);
    o.at[0] = i.at[0].yx;
    o.at[1] = i.at[0] * 2;
    o.color = i.tint * 4 - 1;
    o.low = -i.tint.rgb;
    return o;
}
void split(in float4 place : POSITION, inout float4 tint : COLOR0, out float4 o : POSITION,
           float2 at : TEXCOORD, out float2 uv : TEXCOORD0) {
    o = place;
    uv = at;
    tint = tint.bgra;
}
float4 swapped(Out i) : COLOR { return tex2D(Picture, i.at[0]); }
half4 doubled(float2 at : TEXCOORD2) : COLOR0 { return half4(saturate(at), 0, 1); }
void clamped(in float4 c : COLOR0, in float4 d : COLOR1, out float4 o : COLOR) { o = float4(c.rg, d.b, 1); }
)";
    const auto ramp = Filled([](u32 x, u32 y) { return 0xff000000u | x << 20 | y << 12; });
    device->SetTexture(0, ramp.Get());
    UseVertex(text);
    UsePixel(text, "swapped");
    Draw();
    EXPECT_EQ(0xff20b000u, At(11, 2) & 0xfff0f000u);  // x and y of the picture change places
    UsePixel(text, "doubled");
    Draw();
    EXPECT_NEAR(255 * 2 * 4.5 / 16, At(4, 12) >> 16 & 0xff, 1);
    EXPECT_EQ(0xffu, At(4, 12) >> 8 & 0xff);

    // Colours are held to 0..1 before they are interpolated: from 3 and -1 comes 0.5 in the middle, not 1.
    UsePixel(text, "clamped", "ps_1_1");
    Draw(0xffffffff, 0xff000000);
    EXPECT_NEAR(255 * (1 - 8.5 / 16), At(8, 8) >> 16 & 0xff, 1);
    EXPECT_EQ(0u, At(8, 8) & 0xff);

    // A fixed stage after a compiled vertex function, and the other way about.
    device->SetPixelShader(nullptr);
    UseVertex(text, "split");
    Draw(0xff3366ff, 0xff3366ff);
    EXPECT_EQ(0xff000000u, At(0, 0) & 0xff00ff00u);          // modulated with a row of green 0
    EXPECT_EQ(0xffu * 0xf0 / 0xff, At(15, 2) >> 16 & 0xff);  // blue became red
    device->SetVertexShader(nullptr);
    UsePixel(
        "typedef float4 Color; sampler s; Color k; float4 ps(float4 c : COLOR, float2 at : TEXCOORD0) : "
        "COLOR {"
        " return lerp(tex2D(s, at), c, k.x); }");
    SetPixelF("k", {0, 9, 9, 9});
    Draw(0xff3366cc, 0xff3366cc);
    EXPECT_EQ(0xffb02000u, At(11, 2));
    SetPixelF("k", {1, 9, 9, 9});
    Draw(0xff3366cc, 0xff3366cc);
    EXPECT_EQ(0xff3366ccu, At(11, 2));
    device->SetTexture(0, nullptr);
}

TEST_F(HlslCompiler, SamplersReachTheirUnits) {
    const std::string text = R"(
sampler2D First; sampler Unused; samplerCUBE Sky : register(s1); sampler Second; sampler Other;
float4 Place; float3 Direction;
float4 two(float4 at : TEXCOORD0) : COLOR { return float4(tex2D(Second, at.xy).rg, tex2D(First, at.xy).ba); }
float4 projected() : COLOR { return tex2Dproj(First, Place); }
float4 biased() : COLOR { return tex2Dbias(First, Place); }
float4 sky() : COLOR { return texCUBE(Sky, Direction); }
float4 plain() : COLOR { return texCUBE(Other, Direction); }
)";
    const auto ramp = Filled([](u32 x, u32 y) { return 0xff000000u | x << 20 | y << 12; });
    const auto flat = Filled([](u32, u32) { return 0x80335566u; });
    UsePixel(text, "two");
    EXPECT_EQ(0u, Unit(pixel, "First"));
    EXPECT_EQ(1u, Unit(pixel, "Second"));
    device->SetTexture(0, flat.Get());
    device->SetTexture(1, ramp.Get());
    Draw();
    EXPECT_EQ(0x80b02066u, At(11, 2));

    device->SetTexture(0, ramp.Get());
    UsePixel(text, "projected");
    SetPixelF("Place", {11.5f / 16 * 4, 2.5f / 16 * 4, 7, 4});
    EXPECT_EQ(0xffb02000u, Drawn());
    UsePixel(text, "biased");
    SetPixelF("Place", {11.5f / 16, 2.5f / 16, 7, 0});
    EXPECT_EQ(0xffb02000u, Drawn());

    // Face n is red n x 20, with green in its upper half and blue in its left half. A direction a little up
    // and to the left as one sees the face from inside.
    ComPtr<IDirect3DCubeTexture9> cube;
    ASSERT_EQ(D3D_OK,
              device->CreateCubeTexture(8, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, cube.Put(), nullptr));
    for (u32 face = 0; face < 6; ++face) {
        ComPtr<IDirect3DSurface9> surface;
        ASSERT_EQ(D3D_OK, cube->GetCubeMapSurface(static_cast<D3DCUBEMAP_FACES>(face), 0, surface.Put()));
        Fill(surface, [&](u32 x, u32 y) {
            return 0xff000000u | face * 20 << 16 | (y < 4 ? 0xff00u : 0u) | (x < 4 ? 0xffu : 0u);
        });
    }
    // The face's right and down are: +x (-z, -y), -x (+z, -y), +y (+x, +z), -y (+x, -z), +z (+x, -y),
    // -z (-x, -y).
    const float directions[6][3] = {{1, 0.5f, 0.5f},   {-1, 0.5f, -0.5f}, {-0.5f, 1, -0.5f},
                                    {-0.5f, -1, 0.5f}, {-0.5f, 0.5f, 1},  {0.5f, 0.5f, -1}};
    for (const char* entry : {"sky", "plain"}) {
        UsePixel(text, entry);
        const u32 unit = pixel.samplers.at(0).unit;
        EXPECT_EQ(entry == std::string("sky") ? 1u : 0u, unit);
        EXPECT_TRUE(pixel.samplers.at(0).cube);
        device->SetTexture(unit, cube.Get());
        for (u32 face = 0; face < 6; ++face) {
            const float* d = directions[face];
            SetPixelF("Direction", {d[0], d[1], d[2], 9});
            EXPECT_EQ(0xff00ffffu | face * 20 << 16, Drawn()) << face;
        }
    }
    for (DWORD i = 0; i < 2; ++i) device->SetTexture(i, nullptr);
}

TEST_F(HlslCompiler, FogAndPointSizeOfVertexFunctions) {
    const char* const text =
        "float4 amounts; void vs(inout float4 p : POSITION, out float fog : FOG, out float size : PSIZE,"
        " out float4 c : COLOR0) { fog = amounts.x; size = amounts.y; c = 1; }";
    UseVertex(text);
    SetVertexF("amounts", {0.4f, 5, 9, 9});
    device->SetRenderState(D3DRS_FOGENABLE, TRUE);
    device->SetRenderState(D3DRS_FOGCOLOR, 0xff0000ff);
    EXPECT_EQ(0xff6666ffu, Drawn());  // 0.4 of white, the rest blue
    device->SetRenderState(D3DRS_FOGENABLE, FALSE);

    // A point of 5 pixels around the middle of pixel 8, 8.
    const float point[3] = {0, 0, 0.5f};  // pixel centres lie on whole coordinates
    device->Clear(0, nullptr, D3DCLEAR_TARGET, 0xff000000, 1, 0);
    device->SetFVF(D3DFVF_XYZ);
    device->DrawPrimitiveUP(D3DPT_POINTLIST, 1, point, 12);
    const std::vector<u32> pixels = Read(target);
    for (u32 y = 0; y < 16; ++y) {
        for (u32 x = 0; x < 16; ++x) {
            const bool inside = x >= 6 && x <= 10 && y >= 6 && y <= 10;
            EXPECT_EQ(inside ? 0xffffffffu : 0xff000000u, pixels[y * 16 + x]) << x << ", " << y;
        }
    }
}

TEST_F(HlslCompiler, FunctionsOfTheLanguage) {
    // Each is 0.2, 0.4, 0.6, 1 by the language's own rules.
    for (const char* value : {
             "float4(lit(0.2, 0.5, 1).y, lit(0.4, 0.5, 1).y, lit(0.6, 0.5, 1).y, lit(1, 1, 1).x)",
             "lerp(float4(0, 0.2, 0.4, 1), float4(0.4, 0.6, 0.8, 1), 0.5)",
             "saturate(float4(0.2, 0.4, 0.6, 7))",
             "float4(dot(float3(0.1, 0.1, 0), float3(1, 1, 1)), frac(3.4), abs(-0.6), step(1, 2))",
             "float4(pow(0.2, 1), fmod(2.4, 2), clamp(0.6, 0, 1), sign(5))",
             "float4(0.6, 0.4, 0.2, 1).zyxw",
             "mul(float4(0.2, 0.4, 0.6, 1), float4x4(1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1))",
             "float4(mul(float2(0.2, 0.4), float2x2(1, 0, 0, 1)), 0.6, all(one) && any(one.yx) ? 1 : 0)",
         }) {
        UsePixel(std::string("float2 one; float4 ps() : COLOR { float4 r = ") + value + "; return r; }");
        const float one[4] = {1, 1, 9, 9};
        device->SetPixelShaderConstantF(0, one, 1);
        const u32 got = Drawn();
        for (u32 shift = 0; shift < 32; shift += 8) {
            EXPECT_NEAR(0xff336699u >> shift & 0xff, got >> shift & 0xff, 1) << value;
        }
    }
    UsePixel(R"(
float4 weights[3];
float4 ps() : COLOR {
    float4 sum = 0;
    for (int i = 0; i < 3; i++) { if (i == 1) sum += weights[i] * 2; else sum += weights[i]; }
    clip(sum.a - 0.5);
    return sum;
})");
    SetPixelF("weights", {0.2f, 0, 0, 0, 0, 0.2f, 0, 0, 0, 0, 0.6f, 1});
    EXPECT_EQ(0xff336699u, Drawn());
    SetPixelF("weights", {0.2f, 0, 0, 0, 0, 0.2f, 0, 0, 0, 0, 0.6f, 0.4f});
    EXPECT_EQ(0xff000000u, Drawn());  // cut out
}

TEST_F(HlslCompiler, ErrorsSayWhere) {
    const struct {
        const char *text, *entry, *profile;
        u32 line, column;
        const char* part;
    } kCases[] = {
        {"float4 ps() : COLOR {\n  return missing;\n}", "ps", "ps_2_0", 2, 10, "unknown variable"},
        {"/* a\n comment */ float4 ps() : COLOR { float4 x = 1; x.k = 2; return x; }", "ps", "ps_2_0", 2, 51,
         "'k'"},
        {"float4 ps() : COLOR { return 1 }", "ps", "ps_2_0", 1, 1, "Expected"},
        {"float4 a;\n\n float4 ps() : COLOR { return 0;", "ps", "ps_2_0", 3, 32, "not closed"},
        {"float4 ps() : COLOR { return 1; }", "vs", "vs_1_1", 0, 0, "no function 'vs'"},
        {"float4 ps() : COLOR { return 1; }", "ps", "ps_3_0", 0, 0, "'ps_3_0' is no profile"},
        {"#define X 1\nfloat4 ps() : COLOR { return X; }", "ps", "ps_2_0", 1, 1, "directive"},
        {"\n float4 ps(uniform float x) : COLOR { return x; }", "ps", "ps_2_0", 2, 12, "uniform parameter"},
        {"float4 ps(float4 x) : COLOR { return x; }", "ps", "ps_2_0", 1, 8, "'x' has no semantic"},
        {"float4 ps(float4 x : NORMAL) : COLOR { return x; }", "ps", "ps_2_0", 1, 8, "no pixel input"},
        {"float4 ps(float4 x : TEXCOORD4) : COLOR { return x; }", "ps", "ps_1_1", 1, 8, "TEXCOORD4"},
        {"void ps(out float4 c : COLOR, out float d : DEPTH) { c = d = 1; }", "ps", "ps_2_0", 1, 6, "DEPTH"},
        {"float4 vs() : COLOR { return 1; }", "vs", "vs_1_1", 1, 8, "POSITION"},
        {"float4 a[90];\nfloat4 b[7];\nfloat4 vs(int i : TEXCOORD) : POSITION { return a[i] + b[i]; }", "vs",
         "vs_1_1", 2, 8, "no room in the registers of vs_1_1 for 'b'"},
        {"float4 a[9];\nfloat4 ps() : COLOR { return a[1]; }", "ps", "ps_1_4", 1, 8, "no room"},
        {"float4 a : register(c3);\nfloat4 b : register(c3);\nfloat4 ps() : COLOR { return a + b; }", "ps",
         "ps_2_0", 2, 8, "no room"},
        {"sampler a : register(s4);\nfloat4 ps(float2 t : TEXCOORD) : COLOR { return tex2D(a, t); }", "ps",
         "ps_1_1", 1, 9, "no unit"},
        {"sampler3D a;\nfloat4 ps(float3 t : TEXCOORD) : COLOR { return tex3D(a, t); }", "ps", "ps_2_0", 1,
         11, "two-dimensional"},
        {"float4 f(float x) { return f(x); }\nfloat4 ps() : COLOR { return f(1); }", "ps", "ps_2_0", 0, 0,
         "ecursion"},
    };
    for (const auto& it : kCases) {
        CompiledShader out;
        std::vector<CompileMessage> messages;
        EXPECT_FALSE(CompileShader({it.text, it.entry, it.profile}, out, messages)) << it.text;
        ASSERT_FALSE(messages.empty()) << it.text;
        EXPECT_EQ(it.line, messages[0].line) << it.text << "\n" << messages[0].text;
        EXPECT_EQ(it.column, messages[0].column) << it.text << "\n" << messages[0].text;
        EXPECT_NE(std::string::npos, messages[0].text.find(it.part)) << messages[0].text;
        EXPECT_TRUE(out.tokens.empty());
    }
}

// Functions that another shader of the same text needs do not stand in the way of this one.
TEST_F(HlslCompiler, WhatIsNotReachedIsNotCompiled) {
    const char* const text =
        "sampler s; float4 c; float4 vs(float4 p : POSITION) : POSITION { return p; }\n"
        "float4 broken() { return nothing; }\n"
        "float4 ps(float2 t : TEXCOORD) : COLOR { clip(t); return tex2D(s, t) * c; }";
    EXPECT_TRUE(Compile(text, "vs", "vs_1_1").samplers.empty());
    EXPECT_EQ(Compile(text, "ps", "ps_2_0").tokens, Compile(text, "ps", "ps_2_0").tokens);
}

TEST_F(HlslCompiler, HostileTextEndsWithAMessage) {
    const std::string deep(5000, '('), chain = [] {
        std::string text = "float4 ps() : COLOR { return 1";
        for (int i = 0; i < 50000; ++i) text += "+1";
        return text + "; }";
    }();
    std::string branches = "float4 ps(float x : TEXCOORD) : COLOR { if (x > 1) return 1;";
    for (int i = 0; i < 5000; ++i) branches += " else if (x > 2) return 2;";
    std::string doubling = "float4 f0() { return 1; }";
    for (int i = 1; i < 60; ++i) {
        const std::string before = "f" + std::to_string(i - 1) + "()";
        doubling += "float4 f" + std::to_string(i) + "() { return " + before + " * " + before + "; }";
    }
    const std::string texts[] = {
        doubling + "float4 ps() : COLOR { return f59(); }",
        "float4 ps() : COLOR { return " + deep,
        chain,
        branches + " return 0; }",
        "float4 ps() : COLOR { float4 a[1000000000]; return a[0]; }",
        "float4 ps() : COLOR { float4 a[65536 * 65536]; return a[0]; }",
        "struct A { float a[4000]; }; struct B { A b[4000]; }; float4 ps(B b : TEXCOORD) : COLOR { return 0; "
        "}",
        std::string(1 << 20, ' '),
        std::string("float4 ps() : COLOR { return 0; }\0", 35),
        "",
        // The front end itself crashes on this.
        "float4 ps(float2 t : TEXCOORD) : COLOR { for (int k; 0; k < nk++) ; return 0; }",
    };
    for (const std::string& text : texts) {
        CompiledShader out;
        std::vector<CompileMessage> messages;
        EXPECT_FALSE(CompileShader({text, "ps", "ps_2_0"}, out, messages)) << text.substr(0, 60);
        EXPECT_FALSE(messages.empty());
    }
}

// The scan runs in this process, on whatever a file holds.
TEST(HlslScan, BrokenTextsEndWithAMessageOrKeepTheirLines) {
    const std::string text = R"(
struct In { float4 place : POSITION; float2 at[2] : TEXCOORD0; }; /* lines
stay */ uniform row_major float4x4 m : WORLD, n[3] : register(vs, c4) = { 1, 2 };
sampler2D flat : register(s1); sampler sky; static const int kCount = 3; typedef float4 Color;
vector<float, 4> v; struct { float3 a; matrix<float, 3, 3> b; } light[2];
[unroll] static float4 help(in float4 a, inout float b[kCount], uniform float c = 2) { return texCUBE(sky, a); }
Color ps(In i, const float4 c : COLOR) : COLOR { float4x4 k = m; if (c.x < 1) { return help(i.place, v); } return k[1]; }
)";
    const std::string marks = "(){}[];:,.=<>/*#\"\n 0ax";
    std::mt19937 random(7);
    u32 whole = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string broken = text;
        for (auto i = 1 + random() % 3; i > 0 && !broken.empty(); --i) {
            const std::size_t at = random() % broken.size(), length = 1 + random() % 12;
            switch (random() % 4) {
                case 0:
                    broken.erase(at, length);
                    break;
                case 1:
                    broken.insert(at, broken.substr(random() % broken.size(), length));
                    break;
                case 2:
                    broken.resize(at + 1);
                    break;
                default:
                    broken[at] = marks[random() % marks.size()];
            }
        }
        HlslScan scan;
        std::vector<CompileMessage> messages;
        const bool good = ScanHlsl(broken, "ps", false, scan, messages);
        ASSERT_EQ(good, messages.empty()) << broken;
        if (!good) continue;
        ++whole;
        ASSERT_EQ(std::count(broken.begin(), broken.end(), '\n'),
                  std::count(scan.text.begin(), scan.text.end(), '\n'))
            << broken;
    }
    EXPECT_GT(whole, 100u);
}

TEST(Isolated, WhatBreaksThereDoesNotBreakHere) {
    std::vector<u8> result;
    int here = 1;
    EXPECT_TRUE(gl::RunIsolated(
        [&] {
            ++here;
            return std::vector<u8>(300000, static_cast<u8>(here));
        },
        result));
    EXPECT_EQ(std::vector<u8>(300000, 2), result);
    EXPECT_EQ(1, here);
    EXPECT_FALSE(gl::RunIsolated([]() -> std::vector<u8> { std::abort(); }, result));
    EXPECT_FALSE(gl::RunIsolated([]() -> std::vector<u8> { throw 1; }, result));
    EXPECT_TRUE(result.empty());
    EXPECT_TRUE(gl::RunIsolated([] { return std::vector<u8>(); }, result));
}

TEST(ShaderCompilerSeam, ATestCanStandInForTheCompiler) {
    const ShaderCompiler before =
        SetShaderCompiler([](const ShaderRequest& request, CompiledShader& out, auto&) {
            out.tokens = {static_cast<DWORD>(request.entry.size())};
            return true;
        });
    CompiledShader out;
    std::vector<CompileMessage> messages;
    EXPECT_TRUE(CompileShader({"nonsense", "four", "x"}, out, messages));
    EXPECT_EQ(std::vector<DWORD>{4}, out.tokens);
    SetShaderCompiler(before);
    EXPECT_FALSE(CompileShader({"nonsense", "four", "x"}, out, messages));
}

}  // namespace
