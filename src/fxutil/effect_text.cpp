#include "fxutil/effect_text.h"

#include <algorithm>

namespace fxutil {
namespace {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsNameStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
constexpr bool IsNamePart(char c) { return IsNameStart(c) || IsDigit(c); }
constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

// The longest first.
constexpr std::string_view kSymbols[] = {
    "<<=", ">>=", "...", "++", "--", "<<", ">>", "<=", ">=", "==", "!=", "&&",
    "||",  "+=",  "-=",  "*=", "/=", "%=", "&=", "|=", "^=", "::", "##", "->"};

}  // namespace

bool SameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Lower(x) == Lower(y); });
}

void EffectMessages::Error(TextPosition at, const std::string& what) {
    if (count_++ >= kMost) return;
    const Naming* naming = &names_.front();
    for (const Naming& n : names_)
        if (at.line > n.after_line) naming = &n;
    text_ += naming->name;
    if (at.line > 0) {
        text_ += "(" + std::to_string(at.line + naming->shift) + "," + std::to_string(at.column) + ")";
    }
    text_ += ": error: " + what + "\n";
}

void EffectMessages::Rename(TextPosition at, u32 line, const std::string& name) {
    names_.push_back({at.line, i64{line} - (i64{at.line} + 1), name.empty() ? names_.back().name : name});
}

EffectLexer::EffectLexer(std::string_view source, TextStore& store) {
    std::string& text = store.emplace_back();
    text.reserve(source.size());
    TextPosition at{1, 1};
    joints_.push_back({0, at});
    auto new_line = [&] {
        at = {at.line + 1, 1};
        joints_.push_back({text.size(), at});
    };
    for (std::size_t i = 0; i < source.size(); ++i) {
        const std::string_view rest = source.substr(i);
        if (rest.starts_with("\\\n") || rest.starts_with("\\\r\n")) {
            i += rest[1] == '\n' ? 1 : 2;
            new_line();
        } else if (rest.front() == '\n') {
            text += '\n';
            new_line();
        } else {
            text += rest.front() == '\r' ? ' ' : rest.front();
        }
    }
    text_ = text;
}

TextPosition EffectLexer::Here() {
    while (joint_ + 1 < joints_.size() && joints_[joint_ + 1].offset <= at_) ++joint_;
    const Joint& joint = joints_[joint_];
    return {joint.at.line, joint.at.column + static_cast<u32>(at_ - joint.offset)};
}

// False when the text ends within a comment.
bool EffectLexer::SkipSpace(Token& token, EffectMessages& messages) {
    for (;;) {
        const char c = Peek();
        if (c == ' ' || c == '\t' || c == '\v' || c == '\f') {
            ++at_;
        } else if (c == '/' && Peek(1) == '/') {
            at_ = std::min(text_.find('\n', at_), text_.size());
        } else if (c == '/' && Peek(1) == '*') {
            const TextPosition start = Here();
            const std::size_t end = text_.find("*/", at_ + 2);
            if (end == std::string_view::npos) {
                messages.Error(start, "the comment has no end");
                at_ = text_.size();
                return false;
            }
            at_ = end + 2;
        } else {
            return true;
        }
        token.space_before = true;
    }
}

Token EffectLexer::Next(EffectMessages& messages) {
    Token token;
    if (!SkipSpace(token, messages) || at_ >= text_.size()) {
        token.at = Here();
        return token;
    }
    token.at = Here();
    token.starts_line = std::exchange(line_start_, false);
    const std::size_t start = at_;
    const char c = Peek();
    if (c == '\n') {
        ++at_;
        token.kind = TokenKind::kNewLine;
        line_start_ = true;
        return token;
    }
    if (IsNameStart(c)) {
        token.kind = TokenKind::kName;
        while (IsNamePart(Peek())) ++at_;
    } else if (IsDigit(c) || (c == '.' && IsDigit(Peek(1)))) {
        token.kind = TokenKind::kNumber;
        const bool hex = c == '0' && Lower(Peek(1)) == 'x';
        while (IsNamePart(Peek()) || Peek() == '.' ||
               (!hex && (Peek() == '+' || Peek() == '-') && Lower(text_[at_ - 1]) == 'e'))
            ++at_;
    } else if (c == '"') {
        token.kind = TokenKind::kString;
        for (++at_; Peek() != '"'; ++at_) {
            if (at_ >= text_.size() || Peek() == '\n') {
                messages.Error(token.at, "the string has no end on its line");
                token.text = text_.substr(start + 1, at_ - start - 1);
                return token;
            }
            if (Peek() == '\\' && at_ + 1 < text_.size()) ++at_;
        }
        token.text = text_.substr(start + 1, at_ - start - 1);
        ++at_;
        return token;
    } else {
        token.kind = TokenKind::kSymbol;
        std::size_t length = 1;
        if (std::string_view("=<>+-&|:#.").find(Peek(1)) != std::string_view::npos) {
            for (const std::string_view symbol : kSymbols) {
                if (!text_.substr(at_).starts_with(symbol)) continue;
                length = symbol.size();
                break;
            }
        }
        if (length == 1 && std::string_view("!#%&()*+,-./:;<=>?[]^{|}~").find(c) == std::string_view::npos)
            token.kind = TokenKind::kOther;
        at_ += length;
    }
    token.text = text_.substr(start, at_ - start);
    return token;
}

}  // namespace fxutil
