#include "fxutil/effect_preprocessor.h"

#include <charconv>
#include <memory>
#include <optional>
#include <unordered_map>

#include "fxutil/effect.h"

namespace fxutil {
namespace {

// Words that replacing macros may make in all.
constexpr std::size_t kMaxMade = 400'000;
// Macros within the arguments of macros; parentheses within conditions.
constexpr u32 kMaxDepth = 48;

struct Macro {
    bool takes_arguments = false;
    std::vector<std::string_view> parameters;
    std::vector<Token> body;
    // Replacements of it that are being read: its name means nothing there.
    u32 active = 0;

    std::size_t ParameterAt(const Token& token) const {
        if (token.kind == TokenKind::kName) {
            for (std::size_t i = 0; i < parameters.size(); ++i)
                if (parameters[i] == token.text) return i;
        }
        return parameters.size();
    }
};

class Preprocessor {
  public:
    Preprocessor(std::string_view source, PreprocessedText& out, EffectMessages& messages)
        : lexer_(source, out.store), out_(out), messages_(messages) {}

    void DefineFromOutside(std::string_view name, std::string_view body) {
        auto macro = std::make_unique<Macro>();
        EffectLexer lexer(body, out_.store);
        for (Token token = lexer.Next(messages_); token.kind != TokenKind::kEnd;
             token = lexer.Next(messages_))
            if (token.kind != TokenKind::kNewLine) macro->body.push_back(token);
        Put(out_.store.emplace_back(name), std::move(macro));
    }

    void Run() {
        Source text(*this);
        for (Token token = text.Next(0); token.kind != TokenKind::kEnd; token = text.Next(0)) {
            out_.tokens.push_back(token);
            if (messages_.Enough() || given_up_) return;
        }
        for (const Condition& condition : conditions_)
            messages_.Error(condition.at, "this condition has no #endif");
    }

  private:
    struct Condition {
        TextPosition at;
        bool active = false;       // its lines are read
        bool was_active = false;   // a branch of it has been read
        bool outer_active = true;  // what it stands in is read
        bool had_else = false;
    };

    // A stream of words with macros replaced: the text itself, or the argument of a macro.
    class Source {
      public:
        explicit Source(Preprocessor& owner) : owner_(owner) {}
        Source(Preprocessor& owner, const std::vector<Token>& tokens) : owner_(owner), tokens_(&tokens) {}
        ~Source() {
            for (const Frame& frame : frames_)
                if (frame.macro) --frame.macro->active;
        }
        Source(const Source&) = delete;
        Source& operator=(const Source&) = delete;

        Token Next(u32 depth) {
            for (;;) {
                Token token = Pull();
                if (token.kind != TokenKind::kName || token.final_name) return token;
                Macro* macro = owner_.Find(token.text);
                if (!macro) return token;
                if (macro->active > 0) {
                    token.final_name = true;
                    return token;
                }
                std::vector<std::vector<Token>> arguments;
                if (macro->takes_arguments) {
                    const Token open = Pull();
                    if (!open.Is("(")) {
                        if (open.kind != TokenKind::kEnd) frames_.push_back({{open}, 0, nullptr});
                        return token;
                    }
                    if (!Arguments(token, arguments)) return {};
                }
                std::vector<Token> made;
                if (!owner_.Replace(*macro, token, arguments, depth, made)) return {};
                ++macro->active;
                frames_.push_back({std::move(made), 0, macro});
            }
        }

      private:
        struct Frame {
            std::vector<Token> tokens;
            std::size_t at;
            Macro* macro;
        };

        Token Pull() {
            while (!frames_.empty()) {
                Frame& frame = frames_.back();
                if (frame.at < frame.tokens.size()) return frame.tokens[frame.at++];
                if (frame.macro) --frame.macro->active;
                frames_.pop_back();
            }
            if (!tokens_) return owner_.NextOfText();
            return at_ < tokens_->size() ? (*tokens_)[at_++] : Token{};
        }

        bool Arguments(const Token& name, std::vector<std::vector<Token>>& arguments) {
            arguments.emplace_back();
            for (u32 open = 1;;) {
                const Token token = Pull();
                if (token.kind == TokenKind::kEnd || !owner_.Spend(name.at)) {
                    if (!owner_.given_up_)
                        owner_.messages_.Error(
                            name.at, "the arguments of macro '" + std::string(name.text) + "' have no end");
                    owner_.given_up_ = true;
                    return false;
                }
                if (token.Is("(")) ++open;
                if (token.Is(")") && --open == 0) return true;
                if (token.Is(",") && open == 1) {
                    arguments.emplace_back();
                } else {
                    arguments.back().push_back(token);
                }
            }
        }

        Preprocessor& owner_;
        const std::vector<Token>* tokens_ = nullptr;
        std::size_t at_ = 0;
        std::vector<Frame> frames_;
    };

    bool Spend(TextPosition at) {
        if (++made_ <= kMaxMade) return true;
        if (!given_up_) messages_.Error(at, "the macros make too much text");
        given_up_ = true;
        return false;
    }

    Macro* Find(std::string_view name) {
        const auto found = macros_.find(name);
        return found == macros_.end() ? nullptr : found->second.get();
    }

    // A macro that is being replaced may be defined anew within its own arguments, so the old one stays.
    void Put(std::string_view name, std::unique_ptr<Macro> macro) {
        std::unique_ptr<Macro>& place = macros_[name];
        if (place) old_macros_.push_back(std::move(place));
        place = std::move(macro);
    }

    // The words of one macro with its arguments in place.
    bool Replace(const Macro& macro, const Token& name, std::vector<std::vector<Token>>& arguments, u32 depth,
                 std::vector<Token>& out) {
        if (macro.takes_arguments) {
            if (macro.parameters.empty() && arguments.size() == 1 && arguments[0].empty()) arguments.clear();
            if (arguments.size() != macro.parameters.size()) {
                messages_.Error(name.at, "macro '" + std::string(name.text) + "' takes " +
                                             std::to_string(macro.parameters.size()) + " arguments, not " +
                                             std::to_string(arguments.size()));
                given_up_ = true;
                return false;
            }
        }
        std::vector<std::optional<std::vector<Token>>> replaced(arguments.size());
        bool paste = false;
        auto put = [&](Token token) {
            if (!Spend(name.at)) return false;
            if (paste && !out.empty()) {
                Paste(out.back(), token);
                paste = false;
                return true;
            }
            paste = false;
            out.push_back(token);
            return true;
        };
        for (std::size_t i = 0; i < macro.body.size(); ++i) {
            Token token = macro.body[i];
            if (token.Is("##") && i > 0 && i + 1 < macro.body.size()) {
                paste = true;
                continue;
            }
            const std::size_t after =
                i + 1 < macro.body.size() ? macro.ParameterAt(macro.body[i + 1]) : macro.parameters.size();
            if (macro.takes_arguments && token.Is("#") && after < macro.parameters.size()) {
                token.kind = TokenKind::kString;
                token.text = Spelling(arguments[after], name.at);
                token.at = name.at;
                token.made = true;
                ++i;
                if (!put(token)) return false;
                continue;
            }
            const std::size_t parameter = macro.ParameterAt(token);
            if (parameter == macro.parameters.size()) {
                token.at = name.at;
                token.made = true;
                if (!put(token)) return false;
                continue;
            }
            const bool raw = paste || (i + 1 < macro.body.size() && macro.body[i + 1].Is("##"));
            if (!raw && !replaced[parameter]) {
                if (depth >= kMaxDepth) {
                    messages_.Error(name.at, "macros are nested too deep");
                    given_up_ = true;
                    return false;
                }
                replaced[parameter].emplace();
                Source source(*this, arguments[parameter]);
                for (Token t = source.Next(depth + 1); t.kind != TokenKind::kEnd;
                     t = source.Next(depth + 1)) {
                    if (!Spend(name.at)) return false;
                    replaced[parameter]->push_back(t);
                }
                if (given_up_) return false;
            }
            const std::vector<Token>& words = raw ? arguments[parameter] : *replaced[parameter];
            for (Token word : words) {
                word.made = true;
                if (!put(word)) return false;
            }
            // Nothing to paste onto what follows an empty argument.
            if (words.empty()) paste = false;
        }
        return true;
    }

    void Paste(Token& left, const Token& right) {
        std::string text(left.text);
        text += right.text;
        made_ += text.size() / 16;
        EffectLexer lexer(text, out_.store);
        Token whole = lexer.Next(messages_);
        if (whole.text.size() != text.size()) {
            messages_.Error(left.at, "'" + std::string(left.text) + "' and '" + std::string(right.text) +
                                         "' make no word together");
            given_up_ = true;
        }
        whole.at = left.at;
        whole.made = true;
        left = whole;
    }

    std::string_view Spelling(const std::vector<Token>& tokens, TextPosition at) {
        std::string text;
        for (const Token& token : tokens) {
            if (!text.empty() && token.space_before) text += ' ';
            text += token.text;
            made_ += token.text.size() / 16;
            if (!Spend(at)) break;
        }
        return out_.store.emplace_back(std::move(text));
    }

    // ---- directives

    bool Active() const { return conditions_.empty() || conditions_.back().active; }

    Token NextOfText() {
        for (;;) {
            if (given_up_ || messages_.Enough()) return {};
            const Token token = lexer_.Next(messages_);
            if (token.kind == TokenKind::kNewLine) continue;
            if (token.starts_line && token.Is("#")) {
                Directive(token);
            } else if (token.kind == TokenKind::kEnd || Active()) {
                return token;
            }
        }
    }

    void Directive(const Token& hash) {
        std::vector<Token> line;
        for (Token t = lexer_.Next(messages_); t.kind != TokenKind::kNewLine && t.kind != TokenKind::kEnd;
             t = lexer_.Next(messages_))
            line.push_back(t);
        if (line.empty()) return;
        const Token word = line.front();
        line.erase(line.begin());
        if (word.Is("if") || word.Is("ifdef") || word.Is("ifndef")) {
            Condition condition{word.at, false, false, Active(), false};
            if (condition.outer_active) condition.active = condition.was_active = Holds(word, line);
            conditions_.push_back(condition);
        } else if (word.Is("elif") || word.Is("else") || word.Is("endif")) {
            if (conditions_.empty()) {
                messages_.Error(word.at, "#" + std::string(word.text) + " without #if");
                return;
            }
            Condition& condition = conditions_.back();
            if (word.Is("endif")) {
                conditions_.pop_back();
                return;
            }
            if (condition.had_else) messages_.Error(word.at, "#" + std::string(word.text) + " after #else");
            condition.had_else = word.Is("else");
            condition.active =
                condition.outer_active && !condition.was_active && (word.Is("else") || Holds(word, line));
            condition.was_active |= condition.active;
        } else if (!Active()) {
            return;
        } else if (word.Is("define")) {
            Define(word, line);
        } else if (word.Is("undef")) {
            if (line.empty() || line[0].kind != TokenKind::kName) {
                messages_.Error(word.at, "#undef needs a name");
                return;
            }
            if (const auto found = macros_.find(line[0].text); found != macros_.end()) {
                old_macros_.push_back(std::move(found->second));
                macros_.erase(found);
            }
        } else if (word.Is("include")) {
            messages_.Error(word.at, "#include is not supported: put the text in place");
        } else if (word.Is("error")) {
            std::string text;
            for (const Token& token : line) text += (text.empty() ? "" : " ") + std::string(token.text);
            messages_.Error(word.at, "#error " + text);
        } else if (word.Is("line")) {
            u32 number = 0;
            if (line.empty() || line[0].kind != TokenKind::kNumber || !Decimal(line[0].text, number)) {
                messages_.Error(word.at, "#line needs a number");
                return;
            }
            const bool named = line.size() > 1 && line[1].kind == TokenKind::kString;
            messages_.Rename(hash.at, number, named ? std::string(line[1].text) : "");
        } else if (word.Is("pragma")) {
            if (!line.empty() && line[0].Is("pack_matrix"))
                messages_.Error(word.at, "pack_matrix is not supported: write row_major or column_major");
        } else if (!word.Is("warning")) {
            messages_.Error(word.at, "unknown directive '#" + std::string(word.text) + "'");
        }
    }

    static bool Decimal(std::string_view text, u32& value) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        return error == std::errc() && end == text.data() + text.size();
    }

    void Define(const Token& word, const std::vector<Token>& line) {
        if (line.empty() || line[0].kind != TokenKind::kName || line[0].text == "defined") {
            messages_.Error(word.at, "#define needs a name");
            return;
        }
        auto macro = std::make_unique<Macro>();
        std::size_t i = 1;
        if (line.size() > 1 && line[1].Is("(") && !line[1].space_before) {
            macro->takes_arguments = true;
            for (i = 2;; ++i) {
                const bool first = macro->parameters.empty();
                if (i < line.size() && line[i].Is(")") && first) break;
                if (i < line.size() && line[i].kind == TokenKind::kName &&
                    macro->ParameterAt(line[i]) == macro->parameters.size() &&
                    macro->parameters.size() < 256) {
                    macro->parameters.push_back(line[i++].text);
                    if (i < line.size() && line[i].Is(")")) break;
                    if (i < line.size() && line[i].Is(",")) continue;
                }
                messages_.Error(line[0].at,
                                "the parameters of macro '" + std::string(line[0].text) + "' are no list");
                return;
            }
            ++i;
        }
        macro->body.assign(line.begin() + static_cast<std::ptrdiff_t>(i), line.end());
        Put(line[0].text, std::move(macro));
    }

    // ---- conditions

    bool Holds(const Token& word, const std::vector<Token>& line) {
        if (word.Is("ifdef") || word.Is("ifndef")) {
            if (line.empty() || line[0].kind != TokenKind::kName) {
                messages_.Error(word.at, "#" + std::string(word.text) + " needs a name");
                return false;
            }
            return (Find(line[0].text) != nullptr) == word.Is("ifdef");
        }
        static constexpr std::string_view kValues[] = {"0", "1"};
        std::vector<Token> plain;
        for (std::size_t i = 0; i < line.size(); ++i) {
            if (!line[i].Is("defined")) {
                plain.push_back(line[i]);
                continue;
            }
            const bool bracket = i + 1 < line.size() && line[i + 1].Is("(");
            const std::size_t name = i + (bracket ? 2 : 1);
            if (name >= line.size() || line[name].kind != TokenKind::kName ||
                (bracket && (name + 1 >= line.size() || !line[name + 1].Is(")")))) {
                messages_.Error(line[i].at, "'defined' needs a name");
                return false;
            }
            Token value = line[i];
            value.kind = TokenKind::kNumber;
            value.text = kValues[Find(line[name].text) ? 1 : 0];
            plain.push_back(value);
            i = name + (bracket ? 1 : 0);
        }
        condition_.clear();
        Source source(*this, plain);
        for (Token t = source.Next(0); t.kind != TokenKind::kEnd; t = source.Next(0)) condition_.push_back(t);
        condition_at_ = 0;
        condition_fault_ = false;
        if (given_up_) return false;
        const i64 value = Ternary(0, true);
        if (!condition_fault_ && condition_at_ < condition_.size()) Fault("is not expected here");
        if (condition_fault_ && condition_.empty()) messages_.Error(word.at, "the condition is missing");
        return !condition_fault_ && value != 0;
    }

    const Token* Ahead() const {
        return condition_at_ < condition_.size() ? &condition_[condition_at_] : nullptr;
    }
    bool Take(std::string_view symbol) {
        if (!Ahead() || !Ahead()->Is(symbol)) return false;
        ++condition_at_;
        return true;
    }
    void Fault(const char* what) {
        if (!condition_fault_ && !condition_.empty()) {
            const Token& token = Ahead() ? *Ahead() : condition_.back();
            messages_.Error(token.at, "in this condition '" + std::string(token.text) + "' " + what);
        }
        condition_fault_ = true;
    }

    // `counts`: the value matters; a division by zero in a branch that is not taken does not.
    i64 Ternary(u32 depth, bool counts) {
        const i64 chosen = Binary(0, depth, counts);
        if (!Take("?")) return chosen;
        if (depth >= kMaxDepth) return Fault("lies too deep"), 0;
        const i64 yes = Ternary(depth + 1, counts && chosen != 0);
        if (!Take(":")) return Fault("stands where ':' is expected"), 0;
        const i64 no = Ternary(depth + 1, counts && chosen == 0);
        return chosen ? yes : no;
    }

    static int Level(const Token& t) {
        static constexpr std::pair<std::string_view, int> kLevels[] = {
            {"||", 1}, {"&&", 2}, {"|", 3},  {"^", 4},  {"&", 5}, {"==", 6}, {"!=", 6}, {"<", 7},  {">", 7},
            {"<=", 7}, {">=", 7}, {"<<", 8}, {">>", 8}, {"+", 9}, {"-", 9},  {"*", 10}, {"/", 10}, {"%", 10}};
        for (const auto& [symbol, level] : kLevels)
            if (t.Is(symbol)) return level;
        return 0;
    }

    i64 Binary(int least, u32 depth, bool counts) {
        i64 left = Unary(depth, counts);
        while (!condition_fault_ && Ahead()) {
            const Token op = *Ahead();
            const int level = Level(op);
            if (level == 0 || level <= least) break;
            ++condition_at_;
            const bool needed = !(op.Is("&&") && left == 0) && !(op.Is("||") && left != 0);
            left = Apply(op, left, Binary(level, depth, counts && needed), counts);
        }
        return left;
    }

    i64 Apply(const Token& op, i64 left, i64 right, bool counts) {
        // Overflow wraps.
        const u64 a = static_cast<u64>(left), b = static_cast<u64>(right);
        auto wrapped = [](u64 value) { return static_cast<i64>(value); };
        const std::string_view s = op.text;
        if (s == "||") return left || right;
        if (s == "&&") return left && right;
        if (s == "==") return left == right;
        if (s == "!=") return left != right;
        if (s == "<=") return left <= right;
        if (s == ">=") return left >= right;
        if (s == "<<") return wrapped(a << (b & 63));
        if (s == ">>") return left >> (b & 63);
        switch (s[0]) {
            case '|':
                return wrapped(a | b);
            case '^':
                return wrapped(a ^ b);
            case '&':
                return wrapped(a & b);
            case '<':
                return left < right;
            case '>':
                return left > right;
            case '+':
                return wrapped(a + b);
            case '-':
                return wrapped(a - b);
            case '*':
                return wrapped(a * b);
            default:
                break;
        }
        if (right == 0) {
            if (counts) Fault("divides by zero");
            return 0;
        }
        if (right == -1) return s == "/" ? wrapped(0 - a) : 0;
        return s == "/" ? left / right : left % right;
    }

    i64 Unary(u32 depth, bool counts) {
        if (condition_fault_) return 0;
        if (!Ahead() || depth >= kMaxDepth) {
            Fault(Ahead() ? "lies too deep" : "ends too early");
            condition_fault_ = true;
            return 0;
        }
        if (Take("!")) return !Unary(depth + 1, counts);
        if (Take("-")) return static_cast<i64>(0 - static_cast<u64>(Unary(depth + 1, counts)));
        if (Take("+")) return Unary(depth + 1, counts);
        if (Take("~")) return ~Unary(depth + 1, counts);
        if (Take("(")) {
            const i64 value = Ternary(depth + 1, counts);
            if (!Take(")")) Fault("stands where ')' is expected");
            return value;
        }
        const Token& token = *Ahead();
        if (token.kind == TokenKind::kName) {
            ++condition_at_;
            return token.text == "true" ? 1 : 0;
        }
        std::string_view digits = token.text;
        while (!digits.empty() && std::string_view("uUlL").find(digits.back()) != std::string_view::npos)
            digits.remove_suffix(1);
        int base = 10;
        if (digits.starts_with("0x") || digits.starts_with("0X")) {
            base = 16;
            digits.remove_prefix(2);
        } else if (digits.size() > 1 && digits[0] == '0') {
            base = 8;
        }
        u64 value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
        if (token.kind != TokenKind::kNumber || error != std::errc() || end != digits.data() + digits.size())
            return Fault("is no whole number"), 0;
        ++condition_at_;
        return static_cast<i64>(value);
    }

    EffectLexer lexer_;
    PreprocessedText& out_;
    EffectMessages& messages_;
    std::unordered_map<std::string_view, std::unique_ptr<Macro>> macros_;
    std::vector<std::unique_ptr<Macro>> old_macros_;
    std::vector<Condition> conditions_;
    std::vector<Token> condition_;
    std::size_t condition_at_ = 0;
    bool condition_fault_ = false;
    std::size_t made_ = 0;
    bool given_up_ = false;
};

}  // namespace

bool Preprocess(std::string_view source, const D3DXMACRO* defines, PreprocessedText& out,
                EffectMessages& messages) {
    if (source.size() > kMaxEffectText) {
        messages.Error({}, "the text is longer than 1 MB");
        return false;
    }
    if (source.starts_with("\xEF\xBB\xBF")) source.remove_prefix(3);
    while (!source.empty() && source.back() == '\0') source.remove_suffix(1);
    Preprocessor preprocessor(source, out, messages);
    for (; defines && defines->Name; ++defines)
        preprocessor.DefineFromOutside(defines->Name, defines->Definition ? defines->Definition : "");
    preprocessor.Run();
    return !messages.Any();
}

}  // namespace fxutil
