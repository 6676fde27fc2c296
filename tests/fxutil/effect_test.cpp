// The effect object: parameters, techniques, and what reaches the device, on a device that records and with a
// compiler that gives what the test says.
#include "fxutil/effect.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <filesystem>
#include <map>

#include "fxutil/texture.h"
#include "platform/d3d9/com_ptr.h"
#include "platform/d3d9/factory.h"
#include "platform/shader_compiler.h"
#include "platform/system/system.h"
#include "support/allocations.h"
#include "support/recording_device.h"

namespace {

using platform::CompiledShader;
using platform::ShaderConstantClass;
using platform::ShaderConstantInfo;
using platform::ShaderRegisterSet;

using Floats = std::vector<f32>;

ShaderConstantInfo Vector(const char* name, u32 first, u32 columns = 4, u32 elements = 1) {
    return {name,    ShaderRegisterSet::kFloat, first, elements, ShaderConstantClass::kVector, 1, columns,
            elements};
}
ShaderConstantInfo Columns(const char* name, u32 first, u32 rows, u32 columns) {
    return {
        name, ShaderRegisterSet::kFloat, first, columns, ShaderConstantClass::kMatrixColumns, rows, columns,
        1};
}
ShaderConstantInfo Rows(const char* name, u32 first, u32 rows, u32 columns) {
    return {name, ShaderRegisterSet::kFloat, first, rows, ShaderConstantClass::kMatrixRows, rows, columns, 1};
}

class Effect : public testing::Test {
  protected:
    explicit Effect(const support::DeviceOptions& options = {}) : system_(options) {
        platform::SetShaderCompiler([this](const platform::ShaderRequest& request, CompiledShader& out,
                                           std::vector<platform::CompileMessage>& messages) {
            compiled_.push_back(request.profile + " " + request.entry);
            if (const auto fault = faults_.find(request.entry); fault != faults_.end()) {
                messages = {fault->second};
                return false;
            }
            out = shaders_[request.entry];
            out.tokens = {request.profile[0] == 'v' ? 0xfffe0101u : 0xffff0101u, 0x0000ffff};
            return true;
        });
        platform::SetDebugStringHandler([this](const std::string& text) { debug_ += text; });
        d3d_ = platform::CreateDirect3D9(D3D_SDK_VERSION);
        D3DPRESENT_PARAMETERS parameters{};
        parameters.BackBufferWidth = parameters.BackBufferHeight = 64;
        parameters.BackBufferFormat = D3DFMT_X8R8G8B8;
        parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
        parameters.Windowed = TRUE;
        d3d_->CreateDevice(0, D3DDEVTYPE_HAL, nullptr, D3DCREATE_MIXED_VERTEXPROCESSING, &parameters,
                           device_.Put());
        for (ComPtr<IDirect3DTexture9>& texture : textures_)
            device_->CreateTexture(4, 4, 1, 0, D3DFMT_A8R8G8B8, D3DPOOL_MANAGED, texture.Put(), nullptr);
    }
    ~Effect() override {
        platform::SetDebugStringHandler(nullptr);
        platform::SetShaderCompiler(nullptr);
    }

    HRESULT Make(const std::string& text, const D3DXMACRO* defines = nullptr) {
        ComPtr<ID3DXBuffer> errors;
        const HRESULT result = D3DXCreateEffect(device_.Get(), text.data(), static_cast<UINT>(text.size()),
                                                defines, nullptr, 0, nullptr, effect_.Put(), errors.Put());
        errors_ = errors ? static_cast<const char*>(errors->GetBufferPointer()) : "";
        EXPECT_EQ(SUCCEEDED(result), static_cast<bool>(effect_));
        return result;
    }
    void Start(UINT pass = 0) {
        UINT passes = 0;
        ASSERT_EQ(effect_->Begin(&passes, 0), D3D_OK);
        ASSERT_GT(passes, pass);
        Recorded().Clear();
        ASSERT_EQ(effect_->Pass(pass), D3D_OK);
    }
    Floats VertexRegisters(UINT first, UINT count) {
        Floats floats(std::size_t{count} * 4);
        device_->GetVertexShaderConstantF(first, floats.data(), count);
        return floats;
    }
    Floats PixelRegister(UINT at) {
        Floats floats(4);
        device_->GetPixelShaderConstantF(at, floats.data(), 1);
        return floats;
    }
    DWORD Render(D3DRENDERSTATETYPE state) {
        DWORD value = 0xdead;
        device_->GetRenderState(state, &value);
        return value;
    }
    IDirect3DBaseTexture9* Bound(DWORD stage) {
        ComPtr<IDirect3DBaseTexture9> texture;
        device_->GetTexture(stage, texture.Put());
        return texture.Get();
    }
    support::Recorder& Recorded() { return system_.Recorded(); }

    std::map<std::string, CompiledShader> shaders_;
    std::map<std::string, platform::CompileMessage> faults_;
    std::vector<std::string> compiled_;
    std::string debug_, errors_;
    support::RecordingSystem system_;
    ComPtr<IDirect3D9> d3d_;
    ComPtr<IDirect3DDevice9> device_;
    ComPtr<IDirect3DTexture9> textures_[2];
    ComPtr<ID3DXEffect> effect_;
};

constexpr const char* kShaders =
    "float4 vs(float4 p : POSITION) : POSITION { return p; } float4 ps() : COLOR { return 1; }\n"
    "technique t { pass p { VertexShader = compile vs_1_1 vs(); PixelShader = compile ps_1_1 ps(); } }\n";

const D3DXMATRIX kMatrix = {{{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}}};

TEST_F(Effect, MatricesLieInRegistersAsTheShaderReadsThem) {
    shaders_["vs"].constants = {Columns("M", 0, 4, 4), Rows("R", 4, 4, 4), Columns("S", 8, 4, 3),
                                Rows("Q", 11, 2, 3)};
    ASSERT_EQ(
        Make(std::string("float4x4 M; row_major float4x4 R; float4x3 S; row_major float2x3 Q;") + kShaders),
        D3D_OK)
        << errors_;
    for (const char* name : {"M", "R", "S", "Q"}) ASSERT_EQ(effect_->SetMatrix(name, &kMatrix), D3D_OK);
    Start();
    // mul(v, M) is four products with the columns of M.
    EXPECT_EQ(VertexRegisters(0, 4), (Floats{1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16}));
    EXPECT_EQ(VertexRegisters(4, 4), (Floats{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(VertexRegisters(8, 3), (Floats{1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15}));
    EXPECT_EQ(VertexRegisters(11, 2), (Floats{1, 2, 3, 0, 5, 6, 7, 0}));
    ASSERT_EQ(effect_->SetMatrixTranspose("M", &kMatrix), D3D_OK);
    EXPECT_EQ(VertexRegisters(0, 4), (Floats{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
    D3DXMATRIX read{};
    EXPECT_EQ(effect_->GetMatrixTranspose("M", &read), D3D_OK);
    EXPECT_EQ(read, kMatrix);
    EXPECT_EQ(effect_->GetMatrix("Q", &read), D3D_OK);
    EXPECT_EQ(read, (D3DXMATRIX{{{1, 2, 3, 0}, {5, 6, 7, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}}}));
}

TEST_F(Effect, NumbersOfEveryKindReachTheirRegisters) {
    shaders_["vs"].constants = {Vector("v", 0),          Vector("three", 1, 3),
                                Vector("list", 2, 2, 3), Vector("lights[1].color", 5, 3),
                                Vector("one", 6, 1),     Vector("flag", 7, 1)};
    shaders_["vs"].constants.push_back(
        {"count", ShaderRegisterSet::kInt, 3, 1, ShaderConstantClass::kScalar, 1, 1, 1});
    shaders_["ps"].constants = {Vector("v", 2)};
    shaders_["ps"].constants.push_back(
        {"flag", ShaderRegisterSet::kBool, 5, 1, ShaderConstantClass::kScalar, 1, 1, 1});
    ASSERT_EQ(
        Make(std::string("float4 v = 0.25; float3 three = {1, 2, 3}; float2 list[3]; float one; bool flag;"
                         "struct Light { float3 color; float power; }; Light lights[2]; int count;") +
             kShaders),
        D3D_OK)
        << errors_;
    Start();
    EXPECT_EQ(VertexRegisters(0, 2), (Floats{0.25f, 0.25f, 0.25f, 0.25f, 1, 2, 3, 0}));
    EXPECT_EQ(PixelRegister(2), (Floats{0.25f, 0.25f, 0.25f, 0.25f}));
    // Between Pass and End each change is there at once, in both shaders.
    const D3DXVECTOR4 vector{1, 2, 3, 4};
    EXPECT_EQ(effect_->SetVector("v", &vector), D3D_OK);
    EXPECT_EQ(VertexRegisters(0, 1), (Floats{1, 2, 3, 4}));
    EXPECT_EQ(PixelRegister(2), (Floats{1, 2, 3, 4}));
    const D3DXVECTOR4 vectors[] = {{1, 2, 9, 9}, {3, 4, 9, 9}, {5, 6, 9, 9}, {7, 8, 9, 9}};
    EXPECT_EQ(effect_->SetVectorArray("list", vectors, 4), D3D_OK);
    EXPECT_EQ(VertexRegisters(2, 3), (Floats{1, 2, 0, 0, 3, 4, 0, 0, 5, 6, 0, 0}));
    EXPECT_EQ(effect_->SetFloat("list[1].x", 1), D3DERR_INVALIDCALL);
    const f32 pair[] = {8, 9};
    EXPECT_EQ(effect_->SetFloatArray("list[1]", pair, 2), D3D_OK);
    EXPECT_EQ(VertexRegisters(3, 1), (Floats{8, 9, 0, 0}));
    EXPECT_EQ(effect_->SetVector("lights[1].color", &vector), D3D_OK);
    EXPECT_EQ(VertexRegisters(5, 1), (Floats{1, 2, 3, 0}));
    f32 whole[8] = {};
    EXPECT_EQ(effect_->GetValue("lights", whole, sizeof(whole)), D3D_OK);
    EXPECT_EQ(Floats(whole, whole + 8), (Floats{0, 0, 0, 0, 1, 2, 3, 0}));
    EXPECT_EQ(effect_->GetValue("lights", whole, sizeof(whole) - 1), D3DERR_INVALIDCALL);
    EXPECT_EQ(effect_->SetFloat("count", 2.75f), D3D_OK);
    EXPECT_EQ(effect_->SetInt("one", -3), D3D_OK);
    EXPECT_EQ(effect_->SetBool("flag", 7), D3D_OK);
    int integers[4] = {};
    device_->GetVertexShaderConstantI(3, integers, 1);
    EXPECT_EQ(std::vector<int>(integers, integers + 4), (std::vector<int>{2, 0, 0, 0}));
    EXPECT_EQ(VertexRegisters(6, 2), (Floats{-3, 0, 0, 0, 1, 0, 0, 0}));
    BOOL flag = FALSE;
    device_->GetPixelShaderConstantB(5, &flag, 1);
    EXPECT_EQ(flag, TRUE);
    // The same again sends nothing.
    Recorded().Clear();
    EXPECT_EQ(effect_->SetVector("v", &vector), D3D_OK);
    EXPECT_TRUE(Recorded().Calls().empty());
    effect_->End();
    const D3DXVECTOR4 other{9, 9, 9, 9};
    EXPECT_EQ(effect_->SetVector("v", &other), D3D_OK);
    EXPECT_TRUE(Recorded().Named("SetPixelShaderConstantF").size() <= 1) << "nothing but what End restores";
}

TEST_F(Effect, ParametersAreFoundByNameSemanticAndPlace) {
    ASSERT_EQ(Make(R"(
        float4x4 wvp : WorldViewProjection < string ui = "matrix"; int order = 3; >;
        struct Light { float3 color : TINT; float4x4 place[2]; };
        Light lights[2]; Light sun;
        texture skin : DIFFUSE;
        technique first { pass a {} pass b < float f = 0.5; > {} }
        technique second < bool simple = true; > {} )"),
              D3D_OK)
        << errors_;
    D3DXEFFECT_DESC desc{};
    EXPECT_EQ(effect_->GetDesc(&desc), D3D_OK);
    EXPECT_EQ(desc.Parameters, 4u);
    EXPECT_EQ(desc.Techniques, 2u);
    const D3DXHANDLE wvp = effect_->GetParameterBySemantic(nullptr, "WORLDVIEWPROJECTION");
    ASSERT_NE(wvp, nullptr);
    EXPECT_EQ(wvp, effect_->GetParameterByName(nullptr, "wvp"));
    EXPECT_EQ(wvp, effect_->GetParameter(nullptr, 0));
    EXPECT_EQ(effect_->GetParameter(nullptr, 4), nullptr);
    EXPECT_EQ(effect_->GetParameterByName(nullptr, "WVP"), nullptr);
    EXPECT_EQ(effect_->GetParameterBySemantic(nullptr, "WORLD"), nullptr);
    for (const char* none : {"", "wvp.x", "wvp[0]", "lights[2]", "lights.color", "lights[1]color", "sun.",
                             "sun.place[1", "sun.place[]", "[0]", ".sun", "lights[99999999999]"})
        EXPECT_EQ(effect_->GetParameterByName(nullptr, none), nullptr) << none;
    const D3DXHANDLE light = effect_->GetParameterByName(nullptr, "lights[1]");
    EXPECT_EQ(light, effect_->GetParameterElement("lights", 1));
    EXPECT_EQ(effect_->GetParameterByName(light, "place[1]"),
              effect_->GetParameterByName(nullptr, "lights[1].place[1]"));
    EXPECT_EQ(effect_->GetParameterBySemantic(light, "tint"), effect_->GetParameter(light, 0));
    D3DXPARAMETER_DESC parameter{};
    EXPECT_EQ(effect_->GetParameterDesc("lights", &parameter), D3D_OK);
    EXPECT_EQ(parameter.Class, D3DXPC_STRUCT);
    EXPECT_EQ(parameter.Elements, 2u);
    EXPECT_EQ(parameter.StructMembers, 2u);
    EXPECT_EQ(parameter.Bytes, 2u * (3 + 32) * 4);
    LPCSTR text = nullptr;
    EXPECT_EQ(effect_->GetString(effect_->GetAnnotationByName("wvp", "ui"), &text), D3D_OK);
    EXPECT_STREQ(text, "matrix");
    INT order = 0;
    EXPECT_EQ(effect_->GetInt(effect_->GetAnnotation(wvp, 1), &order), D3D_OK);
    EXPECT_EQ(order, 3);
    EXPECT_EQ(effect_->SetInt(effect_->GetAnnotation(wvp, 1), 4), D3DERR_INVALIDCALL);
    f32 f = 0;
    const D3DXHANDLE pass = effect_->GetPassByName("first", "b");
    EXPECT_EQ(pass, effect_->GetPass("first", 1));
    EXPECT_EQ(effect_->GetFloat(effect_->GetAnnotationByName(pass, "f"), &f), D3D_OK);
    EXPECT_EQ(f, 0.5f);
    EXPECT_NE(effect_->GetAnnotationByName("second", "simple"), nullptr);
    // A handle is of its own kind, and what is not there is refused.
    EXPECT_EQ(effect_->SetTechnique(wvp), D3DERR_INVALIDCALL);
    EXPECT_EQ(effect_->SetFloat(pass, 1), D3DERR_INVALIDCALL);
    EXPECT_EQ(effect_->SetMatrix("nothing", &kMatrix), D3DERR_INVALIDCALL);
    EXPECT_EQ(effect_->SetMatrix(nullptr, &kMatrix), D3DERR_INVALIDCALL);
    EXPECT_EQ(effect_->SetMatrix(wvp, nullptr), D3DERR_INVALIDCALL);
    EXPECT_EQ(effect_->SetMatrix("skin", &kMatrix), D3DERR_INVALIDCALL);
    EXPECT_EQ(effect_->SetTexture(wvp, nullptr), D3DERR_INVALIDCALL);
}

TEST_F(Effect, APassSetsItsStatesAndEndPutsBackWhatWasThere) {
    shaders_["vs"].constants = {Vector("v", 3)};
    shaders_["ps"].samplers = {{"S", 1, false}};
    ASSERT_EQ(Make(R"(
        float4 v = 1; texture skin; int reference = 77; float4 tint = { 1, 0, 0, 1 };
        sampler S = sampler_state { Texture = <skin>; MinFilter = LINEAR; AddressU = CLAMP; };
        float4 vs(float4 p : POSITION) : POSITION { return p; }
        float4 ps() : COLOR { return 1; }
        technique t {
            pass p {
                CullMode = NONE; AlphaRef = <reference>; TextureFactor = (tint); ColorOp[2] = ADD;
                Texture[0] = <skin>; MinFilter[3] = POINT; WorldTransform[0] = { 1,2,3,4, 5,6,7,8, 9,10,11,12,
                13,14,15,16 }; MaterialPower = 8; MaterialDiffuse = { 0.5, 0.25, 0, 1 };
                VertexShader = compile vs_1_1 vs(); PixelShader = compile ps_1_1 ps();
            }
            pass q { CullMode = CW; VertexShader = NULL; Texture[0] = NULL; Sampler[5] = <S>; }
        })"),
              D3D_OK)
        << errors_;
    device_->SetRenderState(D3DRS_CULLMODE, D3DCULL_CCW);
    device_->SetRenderState(D3DRS_ALPHAREF, 5);
    device_->SetTexture(0, textures_[1].Get());
    device_->SetSamplerState(1, D3DSAMP_ADDRESSU, D3DTADDRESS_MIRROR);
    const f32 before[] = {6, 6, 6, 6};
    device_->SetVertexShaderConstantF(3, before, 1);
    D3DMATERIAL9 material{};
    material.Ambient = {0.125f, 0, 0, 0};
    device_->SetMaterial(&material);
    EXPECT_EQ(effect_->SetTexture("skin", textures_[0].Get()), D3D_OK);

    Start();
    EXPECT_EQ(Render(D3DRS_CULLMODE), D3DCULL_NONE);
    EXPECT_EQ(Render(D3DRS_ALPHAREF), 77u);
    EXPECT_EQ(Render(D3DRS_TEXTUREFACTOR), 0xffff0000u);
    EXPECT_EQ(Bound(0), textures_[0].Get());
    EXPECT_EQ(Bound(1), textures_[0].Get());
    EXPECT_EQ(Recorded().Count("SetTextureStageState", {2, D3DTSS_COLOROP, D3DTOP_ADD}), 1u);
    EXPECT_EQ(Recorded().Count("SetSamplerState", {1, D3DSAMP_ADDRESSU, D3DTADDRESS_CLAMP}), 1u);
    EXPECT_EQ(Recorded().Count("SetSamplerState", {3, D3DSAMP_MINFILTER, D3DTEXF_POINT}), 1u);
    ComPtr<IDirect3DVertexShader9> shader;
    device_->GetVertexShader(shader.Put());
    EXPECT_TRUE(shader);
    D3DMATRIX world{};
    device_->GetTransform(D3DTS_WORLD, &world);
    EXPECT_EQ(world.m[3][2], 15.0f);
    D3DMATERIAL9 now{};
    device_->GetMaterial(&now);
    EXPECT_EQ(now.Diffuse.g, 0.25f);
    EXPECT_EQ(now.Power, 8.0f);
    EXPECT_EQ(now.Ambient.r, 0.125f);
    // States follow their parameters.
    effect_->SetInt("reference", 78);
    EXPECT_EQ(Render(D3DRS_ALPHAREF), 78u);
    effect_->SetTexture("skin", textures_[1].Get());
    EXPECT_EQ(Bound(0), textures_[1].Get());
    EXPECT_EQ(Bound(1), textures_[1].Get());
    // What the second pass leaves alone stays.
    EXPECT_EQ(effect_->EndPass(), D3D_OK);
    EXPECT_EQ(effect_->BeginPass(1), D3D_OK);
    EXPECT_EQ(Render(D3DRS_CULLMODE), D3DCULL_CW);
    EXPECT_EQ(Render(D3DRS_ALPHAREF), 78u);
    EXPECT_EQ(Bound(0), nullptr);
    EXPECT_EQ(Bound(5), textures_[1].Get());
    device_->GetVertexShader(shader.Put());
    EXPECT_FALSE(shader);
    EXPECT_EQ(effect_->Pass(2), D3DERR_INVALIDCALL);

    EXPECT_EQ(effect_->End(), D3D_OK);
    EXPECT_EQ(Render(D3DRS_CULLMODE), D3DCULL_CCW);
    EXPECT_EQ(Render(D3DRS_ALPHAREF), 5u);
    EXPECT_EQ(Bound(0), textures_[1].Get());
    EXPECT_EQ(Bound(1), nullptr);
    EXPECT_EQ(Bound(5), nullptr);
    DWORD address = 0;
    device_->GetSamplerState(1, D3DSAMP_ADDRESSU, &address);
    EXPECT_EQ(address, D3DTADDRESS_MIRROR);
    EXPECT_EQ(VertexRegisters(3, 1), (Floats{6, 6, 6, 6}));
    device_->GetMaterial(&now);
    EXPECT_EQ(now.Diffuse.g, 0.0f);
    device_->GetTransform(D3DTS_WORLD, &world);
    EXPECT_EQ(world.m[3][2], 0.0f);
    ComPtr<IDirect3DPixelShader9> pixel;
    device_->GetPixelShader(pixel.Put());
    EXPECT_FALSE(pixel);

    EXPECT_EQ(effect_->End(), D3DERR_INVALIDCALL);
    EXPECT_EQ(effect_->Pass(0), D3DERR_INVALIDCALL);
    // Nothing saved, nothing restored.
    UINT passes = 0;
    EXPECT_EQ(effect_->Begin(&passes, D3DXFX_DONOTSAVESTATE), D3D_OK);
    EXPECT_EQ(passes, 2u);
    EXPECT_EQ(effect_->Begin(&passes, 0), D3DERR_INVALIDCALL);
    effect_->Pass(0);
    EXPECT_EQ(effect_->SetTechnique("t"), D3DERR_INVALIDCALL);
    effect_->End();
    EXPECT_EQ(Render(D3DRS_CULLMODE), D3DCULL_NONE);
}

TEST_F(Effect, TechniquesThatTheDeviceLacksArePassedOver) {
    ASSERT_EQ(Make(R"(
        float4 vs(float4 p : POSITION) : POSITION { return p; }
        float4 ps() : COLOR { return 1; }
        technique best { pass p { VertexShader = compile vs_1_1 vs(); PixelShader = compile ps_2_0 ps(); } }
        technique good { pass p { VertexShader = compile vs_1_1 vs(); PixelShader = compile ps_1_1 ps(); } }
        technique old { pass p { PixelShader = compile ps_1_4 ps(); } }
        technique plain { pass p { Lighting = FALSE; } } )"),
              D3D_OK)
        << errors_;
    // Each function once for each profile.
    EXPECT_EQ(compiled_, (std::vector<std::string>{"vs_1_1 vs", "ps_2_0 ps", "ps_1_1 ps", "ps_1_4 ps"}));
    EXPECT_EQ(effect_->GetCurrentTechnique(), effect_->GetTechniqueByName("best"));
    EXPECT_EQ(effect_->ValidateTechnique("best"), D3DERR_NOTAVAILABLE);
    UINT passes = 9;
    EXPECT_TRUE(FAILED(effect_->Begin(&passes, 0)));
    EXPECT_EQ(passes, 0u);
    D3DXHANDLE next = nullptr;
    EXPECT_EQ(effect_->FindNextValidTechnique(nullptr, &next), D3D_OK);
    EXPECT_EQ(next, effect_->GetTechniqueByName("good"));
    EXPECT_EQ(effect_->ValidateTechnique(next), D3D_OK);
    EXPECT_EQ(effect_->FindNextValidTechnique(next, &next), D3D_OK);
    EXPECT_EQ(next, effect_->GetTechnique(3));
    EXPECT_TRUE(FAILED(effect_->FindNextValidTechnique(next, &next)));
    EXPECT_EQ(next, nullptr);
    EXPECT_EQ(effect_->ValidateTechnique("none"), D3DERR_INVALIDCALL);
}

TEST_F(Effect, FaultsFailTheWholeEffectAndSayWhere) {
    faults_["ps"] = {2, 7, "'x' : undeclared"};
    EXPECT_EQ(Make(kShaders), D3DXERR_INVALIDDATA);
    EXPECT_EQ(errors_, "memory(2,7): error: 'x' : undeclared\n");
    EXPECT_EQ(debug_, errors_);
    faults_.clear();
    shaders_["vs"].constants = {Vector("unknown", 0)};
    EXPECT_EQ(Make(kShaders), D3DXERR_INVALIDDATA);
    EXPECT_NE(errors_.find("'unknown'"), std::string::npos);

    const std::filesystem::path file = std::filesystem::path(testing::TempDir()) / "effect_test.fx";
    std::FILE* out = std::fopen(file.string().c_str(), "wb");
    ASSERT_NE(out, nullptr);
    std::fputs("\n float4 a\n= WRONG;", out);
    std::fclose(out);
    ComPtr<ID3DXBuffer> errors;
    const D3DXMACRO defines[] = {{"WRONG", "what"}, {nullptr, nullptr}};
    EXPECT_EQ(D3DXCreateEffectFromFileA(device_.Get(), file.string().c_str(), defines, nullptr, 0, nullptr,
                                        effect_.Put(), errors.Put()),
              D3DXERR_INVALIDDATA);
    EXPECT_EQ(std::string(static_cast<const char*>(errors->GetBufferPointer())),
              file.string() + "(3,3): error: the default value has 'what', which is no constant\n");
    std::filesystem::remove(file);
    EXPECT_EQ(D3DXCreateEffectFromFileA(device_.Get(), file.string().c_str(), nullptr, nullptr, 0, nullptr,
                                        effect_.Put(), nullptr),
              D3DXERR_INVALIDDATA);
    const std::string resource = "technique r { pass p { ZEnable = 0; } }";
    platform::RegisterModuleResource(4711, {reinterpret_cast<const u8*>(resource.data()), resource.size()});
    EXPECT_EQ(D3DXCreateEffectFromResourceA(device_.Get(), nullptr, MAKEINTRESOURCEA(4711), nullptr, nullptr,
                                            0, nullptr, effect_.Put(), nullptr),
              D3D_OK);
    EXPECT_NE(effect_->GetTechniqueByName("r"), nullptr);
    platform::RegisterModuleResource(4711, {});
    EXPECT_EQ(D3DXCreateEffectFromResourceA(device_.Get(), nullptr, MAKEINTRESOURCEA(4711), nullptr, nullptr,
                                            0, nullptr, effect_.Put(), nullptr),
              D3DXERR_INVALIDDATA);
}

TEST_F(Effect, HoldsItsTexturesAndNothingWhenItEnds) {
    const std::size_t live = Recorded().LiveObjects();
    ASSERT_EQ(Make(std::string("texture skin; ") + kShaders), D3D_OK);
    const auto references = [&] {
        textures_[0]->AddRef();
        return textures_[0]->Release();
    };
    const ULONG before = references();
    effect_->SetTexture("skin", textures_[0].Get());
    EXPECT_EQ(references(), before + 1);
    ComPtr<IDirect3DBaseTexture9> got;
    EXPECT_EQ(effect_->GetTexture("skin", got.Put()), D3D_OK);
    EXPECT_EQ(got.Get(), textures_[0].Get());
    got.Reset();
    // Let go in the middle of drawing.
    Start();
    effect_.Reset();
    EXPECT_EQ(references(), before);
    device_->SetVertexShader(nullptr);
    device_->SetPixelShader(nullptr);
    EXPECT_EQ(Recorded().LiveObjects(), live);
}

class QuietEffect : public Effect {
  protected:
    QuietEffect() : Effect({.keep_calls = false}) {}
};

TEST_F(QuietEffect, AllocatesNothingWhileDrawing) {
    shaders_["vs"].constants = {Columns("M", 0, 4, 4), Vector("v", 4)};
    shaders_["ps"].samplers = {{"S", 0, false}};
    ASSERT_EQ(Make(std::string("float4x4 M : WORLD; float4 v; texture skin;"
                               "sampler S = sampler_state { Texture = <skin>; MinFilter = LINEAR; };") +
                   kShaders),
              D3D_OK);
    const D3DXVECTOR4 vector{1, 2, 3, 4};
    const auto draw = [&](IDirect3DTexture9* texture) {
        UINT passes = 0;
        effect_->SetTechnique(effect_->GetTechniqueByName("t"));
        effect_->SetTexture(effect_->GetParameterByName(nullptr, "skin"), texture);
        effect_->Begin(&passes, 0);
        effect_->Pass(0);
        effect_->SetMatrix(effect_->GetParameterBySemantic(nullptr, "WORLD"), &kMatrix);
        effect_->SetVector("v", &vector);
        effect_->End();
    };
    draw(nullptr);
    const long long before = support::Allocations();
    for (int i = 0; i < 100; ++i) draw(textures_[i & 1].Get());
    EXPECT_EQ(support::Allocations(), before);
}

}  // namespace
