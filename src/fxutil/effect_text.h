// The words of an effect text and the messages about them: what all parts of the effect front end share.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/types.h"

namespace fxutil {

/// No longer text is read.
inline constexpr std::size_t kMaxEffectText = std::size_t{1} << 20;

/// A place in the text as it was handed in, both counted from 1; 0 for none.
struct TextPosition {
    u32 line = 0, column = 0;
};

enum class TokenKind : u8 { kEnd, kNewLine, kName, kNumber, kString, kSymbol, kOther };

/// One word. `text` lies in the texts that the tokens came with; of a string it is what stands between the
/// quotes, as written.
struct Token {
    std::string_view text;
    TextPosition at;
    TokenKind kind = TokenKind::kEnd;
    bool starts_line = false;
    bool space_before = false;
    /// Came out of a macro, so that its neighbours in the text say nothing about it.
    bool made = false;
    /// The name of a macro that stood within its own replacement.
    bool final_name = false;

    bool Is(std::string_view word) const {
        return (kind == TokenKind::kName || kind == TokenKind::kSymbol) && text == word;
    }
};

/// Strings that stay where they are.
using TextStore = std::deque<std::string>;

/// Equal but for the case of ASCII letters.
bool SameName(std::string_view a, std::string_view b);

/// The errors of one text, the first of them in words.
class EffectMessages {
  public:
    explicit EffectMessages(std::string name) : names_{{0, 0, std::move(name)}} {}

    void Error(TextPosition at, const std::string& what);
    bool Any() const { return count_ > 0; }
    /// So many that reading on helps nobody.
    bool Enough() const { return count_ >= kMost; }
    /// "NAME(line,column): error: what" for each, with line ends.
    const std::string& Text() const { return text_; }
    /// The line after `at` counts as `line` of the file `name` from now on; an empty name keeps the one in
    /// force. Called in the order of the text.
    void Rename(TextPosition at, u32 line, const std::string& name);

  private:
    static constexpr std::size_t kMost = 20;
    struct Naming {
        u32 after_line;
        i64 shift;
        std::string name;
    };
    std::vector<Naming> names_;
    std::string text_;
    std::size_t count_ = 0;
};

/// Splits a text into words. Comments are white space, a backslash before a line end joins the lines.
class EffectLexer {
  public:
    /// Keeps the text without its joints in `store`.
    EffectLexer(std::string_view source, TextStore& store);

    /// The next word or line end; kEnd from the end on. A comment or string without an end is reported and
    /// ends the text.
    Token Next(EffectMessages& messages);

  private:
    struct Joint {
        std::size_t offset;
        TextPosition at;
    };

    char Peek(std::size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }
    TextPosition Here();
    bool SkipSpace(Token& token, EffectMessages& messages);

    std::string_view text_;
    std::size_t at_ = 0;
    // Where in the source a piece of the text comes from, sorted by offset: one for each line.
    std::vector<Joint> joints_;
    std::size_t joint_ = 0;
    bool line_start_ = true;
};

}  // namespace fxutil
