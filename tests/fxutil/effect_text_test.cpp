// Effect texts down to what they say: macros, grammar, states, and the HLSL that is left. No device.
#include <gtest/gtest.h>

#include <bit>
#include <chrono>

#include "fxutil/effect.h"
#include "fxutil/effect_parser.h"
#include "fxutil/effect_preprocessor.h"

namespace {

using fxutil::EffectAssignment;
using fxutil::EffectDocument;
using fxutil::EffectMessages;
using fxutil::EffectParameter;
using fxutil::EffectStateInfo;

struct Outcome {
    std::string words, errors;
};

Outcome Words(const std::string& text, const D3DXMACRO* defines = nullptr) {
    EffectMessages messages("t.fx");
    fxutil::PreprocessedText out;
    fxutil::Preprocess(text, defines, out, messages);
    Outcome outcome{"", messages.Text()};
    for (const fxutil::Token& token : out.tokens) {
        if (!outcome.words.empty()) outcome.words += ' ';
        const bool string = token.kind == fxutil::TokenKind::kString;
        outcome.words += string ? '"' + std::string(token.text) + '"' : std::string(token.text);
    }
    return outcome;
}

struct Parsed {
    EffectDocument document;
    std::string errors;
};

Parsed Parse(const std::string& text) {
    EffectMessages messages("t.fx");
    fxutil::PreprocessedText words;
    Parsed parsed;
    if (fxutil::Preprocess(text, nullptr, words, messages))
        fxutil::ParseEffect(words, parsed.document, messages);
    parsed.errors = messages.Text();
    return parsed;
}

std::string ErrorsOf(const std::string& text) { return Parse(text).errors; }

std::vector<f32> Floats(const EffectParameter& parameter) {
    std::vector<f32> floats;
    for (const u32 cell : parameter.cells) floats.push_back(std::bit_cast<f32>(cell));
    return floats;
}

// --------------------------------------------------------------------------------------------- the words

TEST(EffectWords, MacrosAreReplaced) {
    EXPECT_EQ(Words("#define A 1\nA B /* A */ A // A\nA").words, "1 B 1 1");
    EXPECT_EQ(Words("#define ADD(a, b) ((a) + (b))\nADD(1, ADD(2, (3, 4))) ADD").words,
              "( ( 1 ) + ( ( ( 2 ) + ( ( 3 , 4 ) ) ) ) ) ADD");
    EXPECT_EQ(Words("#define NONE\n#define EMPTY() x\n[NONE] EMPTY( )").words, "[ ] x");
    EXPECT_EQ(Words("#define T2(n) Tex##n\n#define S(x) #x\nT2(4) S(a + b)").words, "Tex4 \"a + b\"");
    // An argument is replaced before it goes in, but not next to ##; a name does not replace itself again.
    EXPECT_EQ(Words("#define N 7\n#define P(x) x v##x\nP(N)").words, "7 vN");
    EXPECT_EQ(Words("#define f(x) f(x + g)\n#define g f(1)\nf(2)").words, "f ( 2 + f ( 1 ) )");
    EXPECT_EQ(Words("#define LONG 1 + \\\n  2\nLONG\n#undef LONG\nLONG").words, "1 + 2 LONG");
    // The bracket of a call may stand on another line.
    EXPECT_EQ(Words("#define F(x) <x>\nF\n(\n1\n)").words, "< 1 >");
    const D3DXMACRO defines[] = {{"HIGH", "ps_2_0"}, {"FLAG", nullptr}, {nullptr, nullptr}};
    EXPECT_EQ(Words("HIGH\n#ifdef FLAG\nyes FLAG\n#endif", defines).words, "ps_2_0 yes");
}

TEST(EffectWords, ConditionsChoose) {
    EXPECT_EQ(Words("#if 0\na\n#elif 2 - 1\nb\n#elif 1\nc\n#else\nd\n#endif\ne").words, "b e");
    EXPECT_EQ(Words("#define A 3\n#if defined(A) && A == 3 && !defined B\nyes\n#endif").words, "yes");
    EXPECT_EQ(Words("#if 0\n#if 1\nx\n#else\ny\n#endif\n#bad\n#include <z>\n#endif\nrest").words, "rest");
    EXPECT_EQ(Words("#if (1 + 2 * 3 == 7) && (7 / 2 % 2) && (1 << 4 | 1) == 0x11 && -1 < 0 && ~0 == -1\nyes\n"
                    "#endif")
                  .words,
              "yes");
    // What is not needed is not computed.
    EXPECT_EQ(Words("#if 0 && 1 / 0 || (1 ? 5 : 1 / 0)\nyes\n#endif").words, "yes");
    EXPECT_EQ(Words("#ifndef A\n#ifdef A\nx\n#else\ny\n#endif\n#endif").words, "y");
}

TEST(EffectWords, WhatIsWrongIsSaidWithItsPlace) {
    EXPECT_EQ(Words("a\n  #include \"b.fx\"").errors,
              "t.fx(2,4): error: #include is not supported: put the text in place\n");
    EXPECT_EQ(Words("x\n/* no end").errors, "t.fx(2,1): error: the comment has no end\n");
    EXPECT_EQ(Words("#if 1\nx").errors, "t.fx(1,2): error: this condition has no #endif\n");
    EXPECT_EQ(Words("#if 1 / 0\n#endif").errors.substr(0, 17), "t.fx(1,9): error:");
    EXPECT_EQ(Words("#define F(a, b) a\nF(1)").errors,
              "t.fx(2,1): error: macro 'F' takes 2 arguments, not 1\n");
    EXPECT_EQ(Words("#define F(a) a\n F(1").errors,
              "t.fx(2,2): error: the arguments of macro 'F' have no end\n");
    EXPECT_EQ(Words("#error too old").errors, "t.fx(1,2): error: #error too old\n");
    EXPECT_EQ(Words("#endif").errors, "t.fx(1,2): error: #endif without #if\n");
    EXPECT_EQ(Words("#line 40 \"other.fx\"\n#else\n\n#else").errors,
              "other.fx(40,2): error: #else without #if\nother.fx(42,2): error: #else without #if\n");
    // A joint does not move what follows it.
    EXPECT_EQ(Words("#define A \\\r\n 1\r\n  #else").errors, "t.fx(3,4): error: #else without #if\n");
}

TEST(EffectWords, MacrosThatExplodeEndSoon) {
    std::string bomb = "#define A0 x x x x x x x x\n";
    for (int i = 1; i < 30; ++i) {
        const std::string before = "A" + std::to_string(i - 1);
        bomb += "#define A" + std::to_string(i) + " " + before + " " + before + "\n";
    }
    EXPECT_NE(Words(bomb + "A29").errors.find("the macros make too much text"), std::string::npos);
    std::string nested = "#define F(x) x\n";
    for (int i = 0; i < 20000; ++i) nested += "F(";
    EXPECT_FALSE(Words(nested).errors.empty());
    nested += "1" + std::string(20000, ')');
    EXPECT_FALSE(Words(nested).errors.empty());
    EXPECT_FALSE(Words("#if " + std::string(100000, '(') + "1").errors.empty());
    EXPECT_FALSE(Words("#if " + std::string(100000, '!') + "1").errors.empty());
    EXPECT_FALSE(Words(std::string((1u << 20) + 1, ' ')).errors.empty());
}

// --------------------------------------------------------------------------------------------- the grammar

TEST(EffectGrammar, ParametersKeepTheirTypesAndDefaults) {
    const Parsed parsed = Parse(R"(
        float4 a : AMBIENT = float4(1, 2, 3.5, -1) * 2;
        float b = 0.25f;
        half3 c = 7;
        int2 d[2] = { 1, 2, 3, 4 };
        bool e = true;
        row_major float4x3 m = { 1,2,3, 4,5,6, 7,8,9, 10,11,12 };
        matrix World : WORLD < string UIName = "the " "world"; float2 r = {1, 2}; >;
        vector<float, 3> v;
        static const int N = 3;
        const float k = N + 1;
        float list[N] = { {1, 2}, 3 };
        struct Light { float3 color; row_major float2x2 rotate; int kind; };
        struct Pair { Light both[2]; float w; };
        uniform shared Pair p;
        texture2D Skin < string name = "skin.png"; >, Other : DIFFUSE;
        samplerCUBE s = sampler_state { Texture = <Skin>; AddressU = Clamp; MipMapLodBias = -1.5; };
        string note = "a\tb";
    )");
    ASSERT_EQ(parsed.errors, "");
    std::vector<std::string> names;
    for (const EffectParameter& p : parsed.document.parameters) names.push_back(p.name);
    EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "c", "d", "e", "m", "World", "v", "k", "list", "p",
                                               "Skin", "Other", "s", "note"}));
    const auto& p = parsed.document.parameters;
    EXPECT_EQ(p[0].semantic, "AMBIENT");
    EXPECT_EQ(Floats(p[0]), (std::vector<f32>{2, 4, 7, -2}));
    EXPECT_EQ(Floats(p[2]), (std::vector<f32>{7, 7, 7}));
    EXPECT_EQ(p[3].cells, (std::vector<u32>{1, 2, 3, 4}));
    EXPECT_EQ(p[3].elements, 2u);
    EXPECT_EQ(p[4].cells, (std::vector<u32>{1}));
    EXPECT_EQ(p[5].type.type_class, D3DXPC_MATRIX_ROWS);
    EXPECT_EQ(p[5].type.rows, 4u);
    EXPECT_EQ(p[5].type.columns, 3u);
    EXPECT_EQ(p[6].type.type_class, D3DXPC_MATRIX_COLUMNS);
    ASSERT_EQ(p[6].annotations.size(), 2u);
    EXPECT_EQ(p[6].annotations[0].text, "the world");
    EXPECT_EQ(Floats(p[6].annotations[1]), (std::vector<f32>{1, 2}));
    EXPECT_EQ(p[7].type.columns, 3u);
    EXPECT_TRUE(p[8].compiled_in);
    EXPECT_EQ(Floats(p[8]), (std::vector<f32>{4}));
    EXPECT_EQ(Floats(p[9]), (std::vector<f32>{1, 2, 3}));
    EXPECT_EQ(p[10].cells.size(), 2u * 8 + 1);
    EXPECT_EQ(p[12].semantic, "DIFFUSE");
    ASSERT_EQ(p[13].states.size(), 3u);
    EXPECT_EQ(p[13].states[0].parameter, 11u);
    EXPECT_EQ(p[13].states[1].cells, (std::vector<u32>{D3DTADDRESS_CLAMP}));
    EXPECT_EQ(p[13].states[2].cells, (std::vector<u32>{std::bit_cast<u32>(-1.5f)}));
    EXPECT_EQ(p[14].text, "a\tb");
}

TEST(EffectGrammar, WhatIsLeftForTheCompilerStaysInItsPlace) {
    const Parsed parsed = Parse(
        "texture T;\n"
        "float4 c : COLOR < int n = 1; > = { 1,\n"
        "  2, 3, 4 }; sampler S : register(s2) =\n"
        "sampler_state { Texture = <T>; };\n"
        "#define ONE 1\n"
        "static const float3 up = float3(0, ONE, 0);\n"
        "const int N = 2; float a[N], b : register(c4);\n"
        "struct V { float4 p : POSITION; };\n"
        "V main(float4 p : POSITION) { V v; v.p = p  *-ONE-a[0]; return v; }\n"
        "technique { pass { VertexShader = compile vs_1_1 main(); } }\n");
    ASSERT_EQ(parsed.errors, "");
    EXPECT_EQ(parsed.document.hlsl,
              "\n"
              "float4 c\n"
              "           ; sampler S : register(s2)\n"
              "                                ;\n"
              "\n"
              "static const float3 up = float3(0, 1  , 0);\n"
              "      static const int N = 2 ; float a[N] ; float b : register(c4) ;\n"
              "struct V { float4 p : POSITION; };\n"
              "V main(float4 p : POSITION) { V v; v.p = p  *- 1 -a[0]; return v; }\n");
}

TEST(EffectGrammar, ArgumentsOfShadersBecomeAFunction) {
    const Parsed parsed = Parse(R"(
        float4 vs(float4 p : POSITION, uniform int n, uniform bool flip = true) : POSITION { return p * n; }
        void ps(out float4 c : COLOR, uniform float3 tint) { c = float4(tint, 1); }
        technique t {
            pass a { VertexShader = compile vs_1_1 vs(3); PixelShader = compile ps_1_1 ps(float3(1, 2, 3)); }
            pass b { VertexShader = compile vs_1_1 vs(3); PixelShader = compile ps_2_0 ps(float3(1, 2, 3)); }
        })");
    ASSERT_EQ(parsed.errors, "");
    // The same twice is compiled once.
    ASSERT_EQ(parsed.document.shaders.size(), 3u);
    EXPECT_EQ(parsed.document.shaders[0].entry, "vs_with_arguments_0");
    EXPECT_NE(parsed.document.hlsl.find("float4 vs_with_arguments_0(float4 p : POSITION ) : POSITION "
                                        "{ return vs(p, 3 , true ); }"),
              std::string::npos)
        << parsed.document.hlsl;
    EXPECT_NE(parsed.document.hlsl.find("void ps_with_arguments_2(out float4 c : COLOR ) "
                                        "{ ps(c, float3 ( 1 , 2 , 3 ) ); }"),
              std::string::npos)
        << parsed.document.hlsl;
    EXPECT_EQ(ErrorsOf("float4 f(uniform int n) : COLOR { return n; }\n"
                       "technique t { pass p { PixelShader = compile ps_1_1 f(); } }"),
              "t.fx(2,53): error: 'f' needs a value for its uniform parameter 'n'\n");
}

struct StateCase {
    const char* text;
    fxutil::EffectStateKind kind;
    u32 state, index;
    DWORD value;
};

// The numbers are those of Direct3D, written out so that a slip in the tables shows.
TEST(EffectGrammar, StatesHaveTheirPublishedValues) {
    using enum fxutil::EffectStateKind;
    const DWORD half = std::bit_cast<DWORD>(0.5f);
    const StateCase cases[] = {
        {"ZEnable = false", kRender, 7, 0, 0},
        {"ZEnable = UseW", kRender, 7, 0, 2},
        {"FillMode = WIREFRAME", kRender, 8, 0, 2},
        {"shademode = D3DSHADE_FLAT", kRender, 9, 0, 1},
        {"ZWriteEnable = 5", kRender, 14, 0, 1},
        {"SRCBLEND = SrcAlpha", kRender, 19, 0, 5},
        {"DestBlend = D3DBLEND_INVSRCALPHA", kRender, 20, 0, 6},
        {"CullMode = None", kRender, 22, 0, 1},
        {"CullMode = CCW", kRender, 22, 0, 3},
        {"ZFunc = LessEqual", kRender, 23, 0, 4},
        {"AlphaRef = 0x80", kRender, 24, 0, 128},
        {"AlphaFunc = GREATEREQUAL", kRender, 25, 0, 7},
        {"AlphaBlendEnable = TRUE", kRender, 27, 0, 1},
        {"FogColor = 0xff102030", kRender, 34, 0, 0xff102030},
        {"FogColor = float4(1, 0, 0.5, 0)", kRender, 34, 0, 0x00ff0080},
        {"FogTableMode = EXP2", kRender, 35, 0, 2},
        {"FogStart = 0.5", kRender, 36, 0, half},
        {"StencilPass = INCR", kRender, 55, 0, 7},
        {"StencilMask = -1", kRender, 58, 0, 0xffffffff},
        {"TextureFactor = 0x80000000", kRender, 60, 0, 0x80000000},
        {"Wrap3 = U | V", kRender, 131, 0, 3},
        {"Wrap8 = D3DWRAPCOORD_2", kRender, 198, 0, 4},
        {"AmbientMaterialSource = COLOR1", kRender, 147, 0, 1},
        {"VertexBlend = 2WEIGHTS", kRender, 151, 0, 2},
        {"ClipPlaneEnable = CLIPPLANE0 | D3DCLIPPLANE3", kRender, 152, 0, 9},
        {"PointSize = 0.5", kRender, 154, 0, half},
        {"ColorWriteEnable = RED|ALPHA", kRender, 168, 0, 9},
        {"ColorWriteEnable = D3DCOLORWRITEENABLE_BLUE", kRender, 168, 0, 4},
        {"BlendOp = RevSubtract", kRender, 171, 0, 3},
        {"TwoSidedStencilMode = true", kRender, 185, 0, 1},
        {"CCW_StencilFail = DECR", kRender, 186, 0, 8},
        {"DepthBias = 0.5", kRender, 195, 0, half},
        {"BlendOpAlpha = MAX", kRender, 209, 0, 5},
        {"ColorOp[1] = ModulateAlpha_AddColor", kStage, 1, 1, 18},
        {"ColorArg1[2] = TEXTURE | COMPLEMENT", kStage, 2, 2, 0x12},
        {"AlphaOp[0] = DotProduct3", kStage, 4, 0, 24},
        {"TexCoordIndex[3] = 3", kStage, 11, 3, 3},
        {"TexCoordIndex[0] = CameraSpaceNormal | 1", kStage, 11, 0, 0x10001},
        {"TextureTransformFlags[1] = COUNT3 | PROJECTED", kStage, 24, 1, 259},
        {"ResultArg[7] = TEMP", kStage, 28, 7, 5},
        {"AddressU[4] = MIRRORONCE", kSampler, 1, 4, 5},
        {"MagFilter[0] = D3DTEXF_LINEAR", kSampler, 5, 0, 2},
        {"MinFilter[0] = ANISOTROPIC", kSampler, 6, 0, 3},
        {"MipFilter = NONE", kSampler, 7, 0, 0},
        {"BorderColor[1] = 255", kSampler, 4, 1, 255},
        {"MaxAnisotropy[0] = 2 * (3 + 1)", kSampler, 10, 0, 8},
        {"SRGBTexture[15] = 1", kSampler, 11, 15, 1},
    };
    for (const StateCase& c : cases) {
        const Parsed parsed = Parse("technique t { pass p { " + std::string(c.text) + "; } }");
        EXPECT_EQ(parsed.errors, "") << c.text;
        if (!parsed.errors.empty()) continue;
        const EffectAssignment& state = parsed.document.techniques.at(0).passes.at(0).states.at(0);
        EXPECT_EQ(state.info->kind, c.kind) << c.text;
        EXPECT_EQ(state.info->state, c.state) << c.text;
        EXPECT_EQ(state.index, c.index) << c.text;
        EXPECT_EQ(state.cells, std::vector<u32>{c.value}) << c.text;
    }
}

TEST(EffectGrammar, WhatIsWrongIsSaidWithItsPlace) {
    const auto pass = [](const std::string& state) {
        return ErrorsOf(
            "float4 v; texture T; float4 f() : COLOR { return v; }\n"
            "technique t { pass p {\n" +
            state + "\n} }");
    };
    EXPECT_EQ(pass("  Colour = 1;"), "t.fx(3,3): error: there is no state 'Colour'\n");
    EXPECT_EQ(pass("CullMode = SIDEWAYS;"),
              "t.fx(3,12): error: the value has 'SIDEWAYS', which is no value of state CullMode\n");
    // Each state of a pass is looked at.
    EXPECT_EQ(
        pass("Colour = (1, {2});\nZEnabled = 1;"),
        "t.fx(3,1): error: there is no state 'Colour'\nt.fx(4,1): error: there is no state 'ZEnabled'\n");
    EXPECT_EQ(pass("Texture[16] = <T>;"), "t.fx(3,8): error: the index of 'Texture' is 0 to 15\n");
    EXPECT_EQ(pass("ZEnable[0] = 1;"), "t.fx(3,8): error: state 'ZEnable' takes no index\n");
    EXPECT_EQ(pass("Texture[0] = <U>;"), "t.fx(3,15): error: there is no texture 'U'\n");
    EXPECT_EQ(pass("Texture[0] = <v>;"), "t.fx(3,14): error: 'v' is no texture\n");
    EXPECT_EQ(pass("AlphaRef = v.x * 2;"),
              "t.fx(3,12): error: values that are computed from parameters are not supported here\n");
    EXPECT_EQ(pass("VertexShader = asm { vs.1.1 };"),
              "t.fx(3,16): error: asm blocks are not supported: write the shader in HLSL and compile it\n");
    EXPECT_EQ(pass("PixelShader = compile ps_3_0 f();"),
              "t.fx(3,23): error: there is no profile 'ps_3_0' of shader models 1 and 2\n");
    EXPECT_EQ(pass("PixelShader = compile vs_1_1 f();"),
              "t.fx(3,23): error: profile 'vs_1_1' is not for PixelShader\n");
    EXPECT_EQ(pass("PixelShader = compile ps_1_1 g();"), "t.fx(3,30): error: there is no function 'g'\n");
    EXPECT_EQ(pass("PixelShader = compile ps_1_1 f(2);"),
              "t.fx(3,30): error: 'f' has no uniform parameter for 1 of the arguments\n");

    EXPECT_EQ(ErrorsOf("float4 a = { 1, 2 };"),
              "t.fx(1,12): error: the default value has 2 numbers, 'a' takes 4\n");
    EXPECT_EQ(ErrorsOf("float a = sin(1);"),
              "t.fx(1,11): error: the default value has 'sin', which is no constant\n");
    EXPECT_EQ(ErrorsOf("int a;\nfloat a;"), "t.fx(2,7): error: 'a' is there already\n");
    EXPECT_EQ(ErrorsOf("float a[0];").substr(0, 17), "t.fx(1,8): error:");
    EXPECT_EQ(ErrorsOf("float4 f( { }"), "t.fx(1,9): error: the bracket that opens here is never closed\n");
    EXPECT_EQ(ErrorsOf("flaot4 f;"), "t.fx(1,1): error: 'flaot4' where a type is expected\n");
    EXPECT_EQ(ErrorsOf("technique t {\n pass p { ZEnable = 1 }").substr(0, 18), "t.fx(2,23): error:");
    EXPECT_EQ(ErrorsOf("technique t { pass p { ZEnable = 1; "),
              "t.fx(1,35): error: the end of the text where the name of a state is expected\n");
}

TEST(EffectGrammar, TextsThatWouldTakeForeverAreRefused) {
    const auto deep = [](const char* before, char open, const char* after) {
        return ErrorsOf(before + std::string(200000, open) + after);
    };
    EXPECT_FALSE(deep("float a = ", '(', "1;").empty());
    EXPECT_FALSE(deep("float a = ", '-', "1;").empty());
    EXPECT_FALSE(deep("float4 a = ", '{', "1;").empty());
    EXPECT_FALSE(deep("void f() ", '{', "").empty());
    EXPECT_FALSE(ErrorsOf("float4x4 a[60000];").empty());
    std::string structures = "struct S0 { float a[64]; };";
    for (int i = 1; i < 4000; ++i)
        structures += "struct S" + std::to_string(i) + " { S" + std::to_string(i - 1) + " a[64]; };";
    EXPECT_EQ(ErrorsOf(structures), "");
    EXPECT_NE(ErrorsOf(structures + "S3 s;").find("too many of them"), std::string::npos);
    EXPECT_FALSE(ErrorsOf(structures + "S3999 s;").empty());
}

}  // namespace
