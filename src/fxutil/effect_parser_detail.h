// The reader behind ParseEffect: declarations in effect_parser.cpp, techniques and states in
// effect_parser_states.cpp.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fxutil/effect_document.h"
#include "fxutil/effect_expression.h"
#include "fxutil/effect_preprocessor.h"
#include "fxutil/effect_shader_text.h"

namespace fxutil {

/// Reads one text. Each operation reads its part from the cursor on; false means that a message was given
/// and that reading on makes no sense.
class EffectParser {
  public:
    EffectParser(const PreprocessedText& text, EffectDocument& out, EffectMessages& messages)
        : cursor_(text.tokens), out_(out), messages_(messages), shaders_(text.tokens) {}

    void Run();

  private:
    bool Fail(TextPosition at, const std::string& what);
    bool Unexpected(const std::string& expected);
    bool Expect(std::string_view symbol);
    bool Name(std::string& name, const char* what);
    bool SkipBrackets();

    // ---- types

    bool Type(EffectType& type);
    bool FindType(std::string_view name, EffectType& type) const;
    bool Dimensions(u32& elements);

    // ---- declarations

    struct Modifiers {
        bool is_static = false, is_const = false, row_major = false;
    };
    static bool Modifier(const Token& token, Modifiers& modifiers);
    bool Declaration();
    bool Function(std::size_t start, std::size_t type_end);
    bool Static(std::size_t start, const Modifiers& modifiers);
    void Remember(std::string_view name, const ConstantValue& value);
    bool Typedef(std::size_t start);
    bool Structure(EffectType& type);
    bool Members(EffectStructure& structure, u64& cells);
    bool Variables(const Modifiers& modifiers, const EffectType& type, std::size_t type_start,
                   std::size_t type_end);
    bool Variable(const Modifiers& modifiers, const EffectType& type, std::size_t type_start,
                  std::size_t type_end);
    bool Initialiser(EffectParameter& parameter);
    void Fill(const EffectType& type, u32 elements, const std::vector<f64>& numbers, std::size_t& next,
              std::vector<u32>& cells) const;
    static std::string Unescaped(std::string_view text);
    bool Annotations(std::vector<EffectParameter>& annotations);

    // ---- techniques, passes and their states

    bool SamplerStates(std::vector<EffectAssignment>& states);
    bool Technique();
    bool PassState(EffectPass& pass);
    bool CountStates(std::size_t more, TextPosition at);
    bool SkipState();
    bool SamplerObject(EffectPass& pass, const EffectAssignment& state);
    bool Reference(EffectAssignment& out);
    bool TakeNull();
    bool Value(EffectAssignment& state);
    bool Store(EffectAssignment& state, std::vector<f64> numbers, TextPosition at);

    // ---- shaders

    bool ShaderValue(EffectAssignment& state);
    bool Compile(const EffectStateInfo& info, EffectAssignment& out);

    TokenCursor cursor_;
    EffectDocument& out_;
    EffectMessages& messages_;
    EffectShaderText shaders_;
    std::unordered_map<std::string_view, EffectType> types_;
    std::unordered_map<std::string_view, u32> parameters_;
    KnownConstants known_;
    ConstantValue values_;
    u64 cells_ = 0;
    std::size_t states_ = 0;
};

}  // namespace fxutil
