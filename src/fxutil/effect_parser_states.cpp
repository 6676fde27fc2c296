// Of the reader of effect texts: techniques, passes, states and their values, shaders.
#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>

#include "fxutil/effect_parser_detail.h"

namespace fxutil {
namespace {

constexpr std::string_view kProfiles[] = {"vs_1_1", "vs_2_0", "vs_2_a", "ps_1_1", "ps_1_2",
                                          "ps_1_3", "ps_1_4", "ps_2_0", "ps_2_a", "ps_2_b"};

}  // namespace

bool EffectParser::SamplerStates(std::vector<EffectAssignment>& states) {
    if (!Expect("{")) return false;
    while (!cursor_.Take("}")) {
        if (cursor_.Take(";")) continue;
        EffectAssignment state;
        state.at = cursor_.Here();
        std::string name;
        if (!Name(name, "the name of a sampler state")) return false;
        state.info = FindEffectState(name);
        if (!state.info ||
            (state.info->kind != EffectStateKind::kSampler && state.info->kind != EffectStateKind::kTexture))
            return Fail(state.at, "'" + name + "' is no state of a sampler");
        if (!Expect("=") || !Value(state) || (!cursor_.Is("}") && !Expect(";"))) return false;
        states.push_back(std::move(state));
        if (!CountStates(1, states.back().at)) return false;
    }
    return true;
}

bool EffectParser::Technique() {
    EffectTechnique technique;
    cursor_.Next();
    if (!cursor_.Is("{") && !cursor_.Is("<") && !Name(technique.name, "the name of the technique"))
        return false;
    if (cursor_.Is("<") && !Annotations(technique.annotations)) return false;
    if (!Expect("{")) return false;
    while (!cursor_.Take("}")) {
        if (!cursor_.IsName("pass")) return Unexpected("'pass'");
        cursor_.Next();
        EffectPass pass;
        if (!cursor_.Is("{") && !cursor_.Is("<") && !Name(pass.name, "the name of the pass")) return false;
        if (cursor_.Is("<") && !Annotations(pass.annotations)) return false;
        if (!Expect("{")) return false;
        while (!cursor_.Take("}")) {
            if (!cursor_.Take(";") && !PassState(pass)) return false;
            if (messages_.Enough()) return false;
        }
        technique.passes.push_back(std::move(pass));
    }
    out_.techniques.push_back(std::move(technique));
    return true;
}

bool EffectParser::PassState(EffectPass& pass) {
    EffectAssignment state;
    state.at = cursor_.Here();
    std::string name;
    if (!Name(name, "the name of a state")) return false;
    state.info = FindEffectState(name);
    if (!state.info) {
        messages_.Error(state.at, "there is no state '" + name + "'");
        return SkipState();
    }
    if (cursor_.Is("[")) {
        const TextPosition at = cursor_.Here();
        cursor_.Next();
        ConstantValue value;
        ConstantReader reader(cursor_, known_, nullptr);
        if (!reader.Read(value)) return Fail(at, "the index has " + reader.Fault());
        if (!Expect("]")) return false;
        if (value.numbers.size() != 1 || !(value.numbers[0] >= 0) || value.numbers[0] >= state.info->indices)
            return Fail(at, state.info->indices == 0 ? "state '" + name + "' takes no index"
                                                     : "the index of '" + name + "' is 0 to " +
                                                           std::to_string(state.info->indices - 1));
        state.index = static_cast<u32>(value.numbers[0]);
    }
    if (!Expect("=")) return false;
    if (state.info->kind == EffectStateKind::kSamplerObject) return SamplerObject(pass, state);
    if (!Value(state) || !Expect(";")) return false;
    pass.states.push_back(std::move(state));
    return CountStates(1, pass.states.back().at);
}

bool EffectParser::CountStates(std::size_t more, TextPosition at) {
    states_ += more;
    return states_ <= kMaxEffectCells || Fail(at, "too many states");
}

bool EffectParser::SkipState() {
    while (!cursor_.Is(";") && !cursor_.Is("}")) {
        if (cursor_.AtEnd()) return false;
        if (cursor_.Is("{") || cursor_.Is("(") || cursor_.Is("[")) {
            if (!SkipBrackets()) return false;
        } else {
            cursor_.Next();
        }
    }
    return true;
}

// A sampler in a pass is the states that it stands for.
bool EffectParser::SamplerObject(EffectPass& pass, const EffectAssignment& state) {
    std::vector<EffectAssignment> states;
    if (cursor_.IsName("sampler_state")) {
        cursor_.Next();
        if (!SamplerStates(states)) return false;
    } else {
        EffectAssignment source;
        const TextPosition at = cursor_.Here();
        if (!Reference(source)) return Fail(at, "a sampler is expected: <Name> or sampler_state { ... }");
        const EffectParameter& sampler = out_.parameters[source.parameter];
        if (!sampler.type.IsSampler()) return Fail(at, "'" + sampler.name + "' is no sampler");
        if (!CountStates(sampler.states.size(), at)) return false;
        states = sampler.states;
    }
    for (EffectAssignment& each : states) {
        each.index = state.index;
        pass.states.push_back(std::move(each));
    }
    return Expect(";");
}

// "<Name>", "(Name)", "Name", each with an element. False, at the same place, when it is none.
bool EffectParser::Reference(EffectAssignment& out) {
    const std::size_t start = cursor_.Place();
    const bool angle = cursor_.Take("<"), round = !angle && cursor_.Take("(");
    const auto known = parameters_.find(cursor_.Ahead().text);
    if (cursor_.Ahead().kind == TokenKind::kName && known != parameters_.end()) {
        cursor_.Next();
        u32 element = 0;
        bool good = true;
        if (cursor_.Take("[")) {
            ConstantValue value;
            good = ConstantReader(cursor_, known_, nullptr).Read(value) && value.numbers.size() == 1 &&
                   value.numbers[0] >= 0 && value.numbers[0] < out_.parameters[known->second].elements &&
                   cursor_.Take("]");
            if (good) element = static_cast<u32>(value.numbers[0]);
        }
        if (good && (angle ? cursor_.Take(">") : !round || cursor_.Take(")")) &&
            (cursor_.Is(";") || cursor_.Is("}"))) {
            out.source = EffectAssignment::Source::kParameter;
            out.parameter = known->second;
            out.element = element;
            return true;
        }
    }
    cursor_.Return(start);
    return false;
}

bool EffectParser::TakeNull() {
    const Token& token = cursor_.Ahead();
    if (!cursor_.IsName("NULL") && !(token.kind == TokenKind::kNumber && token.text == "0")) return false;
    cursor_.Next();
    return true;
}

bool EffectParser::Value(EffectAssignment& state) {
    const EffectStateInfo& info = *state.info;
    const TextPosition at = cursor_.Here();
    if (cursor_.IsName("asm") || cursor_.IsName("asm_fragment"))
        return Fail(at, "asm blocks are not supported: write the shader in HLSL and compile it");
    if (info.kind == EffectStateKind::kVertexShader || info.kind == EffectStateKind::kPixelShader)
        return ShaderValue(state);
    if (info.kind == EffectStateKind::kTexture) {
        if (TakeNull()) return true;
        const Token& name = cursor_.Is("<") || cursor_.Is("(") ? cursor_.Ahead(1) : cursor_.Ahead();
        if (!Reference(state)) {
            if (name.kind == TokenKind::kName && !parameters_.contains(name.text))
                return Fail(name.at, "there is no texture '" + std::string(name.text) + "'");
            return Fail(at, "a texture is expected: <Name> or NULL");
        }
        if (!out_.parameters[state.parameter].type.IsTexture())
            return Fail(at, "'" + out_.parameters[state.parameter].name + "' is no texture");
        return true;
    }
    const bool word = cursor_.Ahead().kind == TokenKind::kName &&
                      (FindEffectSymbol(info, cursor_.Ahead().text) || known_.contains(cursor_.Ahead().text));
    if (!word && Reference(state)) {
        const EffectParameter& parameter = out_.parameters[state.parameter];
        const u32 have = parameter.type.IsNumeric() ? parameter.type.rows * parameter.type.columns : 0;
        if (parameter.compiled_in) {
            // As constant as if it stood here.
            state.source = EffectAssignment::Source::kValue;
            std::vector<f64> numbers;
            for (u32 i = 0; i < have; ++i) {
                const u32 cell = parameter.cells[state.element * have + i];
                numbers.push_back(parameter.type.type == D3DXPT_FLOAT
                                      ? f64{std::bit_cast<f32>(cell)}
                                      : f64{static_cast<f64>(std::bit_cast<i32>(cell))});
            }
            return Store(state, numbers, at);
        }
        const bool fits = info.value == EffectValueKind::kMatrix   ? have == 16
                          : info.value == EffectValueKind::kVector ? have >= 1 && have <= 4
                          : info.value == EffectValueKind::kColor  ? have == 1 || have == 3 || have == 4
                                                                   : have == 1;
        if (!fits) return Fail(at, "'" + parameter.name + "' does not fit state " + std::string(info.name));
        return true;
    }
    ConstantValue value;
    ConstantReader reader(cursor_, known_, &info);
    const std::size_t before = cursor_.Place();
    if (!reader.Read(value)) {
        // Say so where a parameter is computed with, which is what Direct3D's effects could do.
        for (std::size_t i = before; i < cursor_.Place(); ++i)
            if (parameters_.contains(cursor_.At(i).text))
                return Fail(cursor_.At(i).at,
                            "values that are computed from parameters are not supported here");
        messages_.Error(at, "the value has " + reader.Fault());
        return SkipState();
    }
    return Store(state, value.numbers, at);
}

bool EffectParser::Store(EffectAssignment& state, std::vector<f64> numbers, TextPosition at) {
    const EffectStateInfo& info = *state.info;
    const auto one = [&] {
        return numbers.size() == 1 || Fail(at, "state " + std::string(info.name) + " takes one number");
    };
    switch (info.value) {
        case EffectValueKind::kFloat:
            if (!one()) return false;
            state.cells = {ToCell(D3DXPT_FLOAT, numbers[0])};
            return true;
        case EffectValueKind::kBool:
            if (!one()) return false;
            state.cells = {ToCell(D3DXPT_BOOL, numbers[0])};
            return true;
        case EffectValueKind::kColor:
            if (numbers.size() == 3 || numbers.size() == 4) {
                auto byte = [&](std::size_t i) {
                    return static_cast<DWORD>(std::lround(std::clamp(numbers[i], 0.0, 1.0) * 255.0));
                };
                state.cells = {(numbers.size() == 4 ? byte(3) << 24 : 0xff000000u) | byte(0) << 16 |
                               byte(1) << 8 | byte(2)};
                return true;
            }
            [[fallthrough]];
        case EffectValueKind::kInt:
        case EffectValueKind::kSymbol:
            if (!one()) return false;
            state.cells = {ToCell(D3DXPT_INT, numbers[0])};
            return true;
        case EffectValueKind::kVector:
            if (numbers.size() == 1) numbers.assign(4, numbers[0]);
            if (numbers.empty() || numbers.size() > 4)
                return Fail(at, "state " + std::string(info.name) + " takes four numbers");
            numbers.resize(4);
            break;
        case EffectValueKind::kMatrix:
            if (numbers.size() != 16)
                return Fail(at, "state " + std::string(info.name) + " takes sixteen numbers");
            break;
        case EffectValueKind::kObject:
            return false;
    }
    for (const f64 number : numbers) state.cells.push_back(ToCell(D3DXPT_FLOAT, number));
    return true;
}

// ---- shaders

bool EffectParser::ShaderValue(EffectAssignment& state) {
    const D3DXPARAMETER_TYPE wanted =
        state.info->kind == EffectStateKind::kVertexShader ? D3DXPT_VERTEXSHADER : D3DXPT_PIXELSHADER;
    const TextPosition at = cursor_.Here();
    if (!cursor_.IsName("compile") && Reference(state)) {
        const EffectParameter& parameter = out_.parameters[state.parameter];
        if (parameter.type.type != wanted)
            return Fail(at, "'" + parameter.name + "' is no shader for " + std::string(state.info->name));
        state.source = EffectAssignment::Source::kValue;
        if (parameter.shader < kMaxEffectShaders) {
            state.source = EffectAssignment::Source::kShader;
            state.shader = parameter.shader;
        }
        return true;
    }
    return Compile(*state.info, state);
}

// "compile vs_1_1 main(1, 2)" or "NULL"
bool EffectParser::Compile(const EffectStateInfo& info, EffectAssignment& out) {
    if (TakeNull()) return true;
    if (cursor_.IsName("asm"))
        return Fail(cursor_.Here(), "asm blocks are not supported: write the shader in HLSL and compile it");
    if (!cursor_.IsName("compile")) return Unexpected("'compile' or NULL");
    cursor_.Next();
    EffectShader shader;
    const TextPosition at = cursor_.Here();
    if (!Name(shader.profile, "a profile")) return false;
    if (std::find(std::begin(kProfiles), std::end(kProfiles), shader.profile) == std::end(kProfiles))
        return Fail(at, "there is no profile '" + shader.profile + "' of shader models 1 and 2");
    if (shader.IsVertex() != (info.kind == EffectStateKind::kVertexShader))
        return Fail(at, "profile '" + shader.profile + "' is not for " + std::string(info.name));
    shader.at = cursor_.Here();
    if (!Name(shader.entry, "a function")) return false;
    const std::size_t arguments = cursor_.Place();
    if (!cursor_.Is("(")) return Unexpected("'('");
    if (!SkipBrackets()) return false;
    const std::optional<u32> known = shaders_.Request(shader, arguments, cursor_.Place(), out_, messages_);
    if (!known) return false;
    out.source = EffectAssignment::Source::kShader;
    out.shader = *known;
    return true;
}

}  // namespace fxutil
