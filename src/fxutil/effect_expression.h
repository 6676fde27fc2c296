// Values that stand in an effect text: numbers, vectors, lists, words of a state, and sums of them.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fxutil/effect_document.h"

namespace fxutil {

/// A place in the words of a text.
class TokenCursor {
  public:
    explicit TokenCursor(const std::vector<Token>& tokens) : tokens_(tokens) {}

    const Token& Ahead(std::size_t ahead = 0) const {
        return at_ + ahead < tokens_.size() ? tokens_[at_ + ahead] : end_;
    }
    bool Is(std::string_view word, std::size_t ahead = 0) const { return Ahead(ahead).Is(word); }
    /// A name, in any case.
    bool IsName(std::string_view name, std::size_t ahead = 0) const {
        return Ahead(ahead).kind == TokenKind::kName && SameName(Ahead(ahead).text, name);
    }
    bool AtEnd() const { return at_ >= tokens_.size(); }
    bool Take(std::string_view word) {
        if (!Is(word)) return false;
        ++at_;
        return true;
    }
    const Token& Next() {
        const Token& token = Ahead();
        if (at_ < tokens_.size()) ++at_;
        return token;
    }
    std::size_t Place() const { return at_; }
    void Return(std::size_t place) { at_ = place; }
    const Token& At(std::size_t place) const { return tokens_[place]; }
    /// Where to point at: the word ahead, or the last one.
    TextPosition Here() const {
        if (tokens_.empty()) return {1, 1};
        return at_ < tokens_.size() ? tokens_[at_].at : tokens_.back().at;
    }

  private:
    const std::vector<Token>& tokens_;
    const Token end_;
    std::size_t at_ = 0;
};

/// The numbers of a value, flattened.
struct ConstantValue {
    std::vector<f64> numbers;
    /// Written between braces: the count must fit exactly.
    bool list = false;
};

using KnownConstants = std::unordered_map<std::string_view, ConstantValue>;

/// A numeric type of HLSL by its name: "float", "int3", "half4x4".
bool FindNumericType(std::string_view name, EffectType& type);

/// What a number becomes in a parameter of that type.
u32 ToCell(D3DXPARAMETER_TYPE type, f64 value);

/// Reads one value from the cursor on.
class ConstantReader {
  public:
    /// `state` may be null; its words count as numbers otherwise.
    ConstantReader(TokenCursor& cursor, const KnownConstants& known, const EffectStateInfo* state)
        : cursor_(cursor), known_(known), state_(state) {}

    /// False when it is no constant value; Fault says why.
    bool Read(ConstantValue& out) { return Binary(0, 0, out); }
    const std::string& Fault() const { return fault_; }

  private:
    bool Binary(int least, u32 depth, ConstantValue& out);
    bool Unary(u32 depth, ConstantValue& out);
    bool Primary(u32 depth, ConstantValue& out);
    bool List(u32 depth, std::string_view end, ConstantValue& out);
    bool Combine(const Token& op, ConstantValue& left, const ConstantValue& right);
    bool Fail(const std::string& what) {
        if (fault_.empty()) fault_ = what;
        return false;
    }

    TokenCursor& cursor_;
    const KnownConstants& known_;
    const EffectStateInfo* state_;
    std::string fault_;
};

}  // namespace fxutil
