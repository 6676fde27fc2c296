// The part of an effect text that the shader compiler reads.
#pragma once

#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fxutil/effect_document.h"
#include "fxutil/effect_text.h"

namespace fxutil {

/// Where the parts of a function stand among the words of the text; each part ends where the next begins.
struct EffectFunction {
    std::size_t start, type_end, name, parameters, after_parameters, body;
};

/// Collects the words that stay and writes them out at their places. A function that is compiled with
/// arguments gets another one at the end that calls it with them.
class EffectShaderText {
  public:
    explicit EffectShaderText(const std::vector<Token>& tokens) : tokens_(tokens) {}

    /// The words from `start` up to `end` stay.
    void Keep(std::size_t start, std::size_t end);
    /// A word that the text does not have.
    void Make(const char* word, TextPosition at);
    void Define(const EffectFunction& function);
    /// The number of the shader `wanted`, whose arguments stand between the brackets at `start` and `end`
    /// - 1.
    std::optional<u32> Request(EffectShader wanted, std::size_t start, std::size_t end,
                               EffectDocument& document, EffectMessages& messages);
    /// Writes document.hlsl.
    void Finish(EffectDocument& document, EffectMessages& messages);

  private:
    using Range = std::pair<std::size_t, std::size_t>;
    struct Call {
        u32 shader;
        Range arguments;
    };

    std::vector<Range> Split(std::size_t start, std::size_t end) const;
    bool Wrap(const Call& call, EffectDocument& document, std::string& out, EffectMessages& messages) const;
    void Append(std::string& out, std::size_t start, std::size_t end, std::string_view without) const;

    const std::vector<Token>& tokens_;
    std::vector<Token> kept_;
    std::unordered_map<std::string_view, std::vector<EffectFunction>> functions_;
    std::vector<Call> calls_;
};

}  // namespace fxutil
