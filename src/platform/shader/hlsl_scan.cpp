#include "platform/shader/hlsl_scan.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <set>

namespace platform {
namespace {

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsWord(char c) { return IsLetter(c) || IsDigit(c); }

// float4x4 and the like.
bool IsMatrix(std::string_view type) {
    const std::size_t n = type.size();
    return type == "matrix" || (n > 3 && type[n - 2] == 'x' && IsDigit(type[n - 1]) && IsDigit(type[n - 3]));
}

constexpr std::size_t kLongestWord = 100;
constexpr std::size_t kMostOverloads = 8, kMostFunctions = 1000;

struct Token {
    enum Kind : u8 { kWord, kNumber, kMark };
    Kind kind;
    std::string_view text;
    u32 at, line, column;
    bool Is(std::string_view what) const { return text == what; }
    bool Is(char mark) const { return kind == kMark && text[0] == mark; }
};

using Range = std::pair<std::size_t, std::size_t>;  // of tokens, without the last

class Scanner {
  public:
    Scanner(std::string_view text, std::string_view entry, bool vertex, HlslScan& out,
            std::vector<CompileMessage>& messages, bool keep_registers)
        : text_(text),
          entry_(entry),
          vertex_(vertex),
          keep_registers_(keep_registers),
          out_(out),
          messages_(messages) {}

    bool Run() {
        out_ = {};
        if (text_.size() > kHlslTextLimit) return Fail(0, 0, "the text is too long");
        out_.text = text_;
        if (!Tokenize() || !CheckBounds() || !Split()) return false;
        if (functions_.find(entry_) == functions_.end()) {
            return Fail(0, 0, "there is no function '" + std::string(entry_) + "'");
        }
        if (functions_.size() > kMostFunctions) return Fail(0, 0, "there are too many functions");
        for (const Range& range : declarations_) {
            if (!Declaration(range)) return false;
        }
        for (const auto& [name, range] : functions_) {
            if (!CheckHead(range) || !CheckBody(range)) return false;
            if (functions_.count(name) > kMostOverloads) {
                return Fail(tokens_[range.first], "there are too many functions '" + std::string(name) + "'");
            }
        }
        if (Expanded(entry_) > kHlslExpandedLimit) {
            const Token& head = tokens_[functions_.find(entry_)->second.first];
            return Fail(head, "the functions that '" + std::string(entry_) + "' calls are too long together");
        }
        DropUnreached();
        ChooseSamplerTypes();
        return CheckEntry();
    }

  private:
    bool Fail(u32 line, u32 column, std::string text) {
        messages_.push_back({line, column, std::move(text)});
        return false;
    }
    bool Fail(const Token& token, std::string text) {
        return Fail(token.line, token.column, std::move(text));
    }

    bool Tokenize();
    bool CheckBounds();
    bool Split();
    bool Declaration(Range range);
    bool Members(Range range, u64& scalars);
    bool Register(std::size_t at, std::size_t end, HlslGlobal& global);
    bool Declarators(std::size_t at, std::size_t end, const std::string& type, u64 scalars, bool global);
    bool Length(std::size_t& at, std::size_t end, u64& elements);
    bool TypeAndName(std::size_t& at, std::size_t end, bool parameter);
    bool CheckHead(Range range);
    bool CheckBody(Range range);
    bool CheckEntry();
    u64 Expanded(std::string_view name);
    void DropUnreached();
    void ChooseSamplerTypes();
    std::optional<u32> Integer(const Token& token) const;
    u64 ScalarsOf(std::string_view type) const;
    std::size_t Close(std::size_t open, std::size_t end) const;  // of the mark that closes the one at `open`
    void Blank(u32 from, u32 to) {
        for (u32 i = from; i < to; ++i) {
            if (out_.text[i] != '\n') out_.text[i] = ' ';
        }
    }
    u32 EndOf(std::size_t token) const {
        return tokens_[token].at + static_cast<u32>(tokens_[token].text.size());
    }

    std::string_view text_, entry_;
    bool vertex_, keep_registers_;
    HlslScan& out_;
    std::vector<CompileMessage>& messages_;
    std::vector<Token> tokens_;
    std::vector<Range> declarations_;
    std::multimap<std::string_view, Range> functions_;
    std::map<std::string_view, u64> expanded_;                  // of functions
    std::set<std::string_view> matrices_;                       // that globals and parameters name
    std::set<std::string_view> names_;                          // of what is declared outside functions
    std::map<std::string_view, u64> structures_;                // scalars
    std::map<std::string_view, u32> numbers_;                   // static const int
    std::map<std::string_view, std::size_t> generic_samplers_;  // to the token `sampler`
};

bool Scanner::Tokenize() {
    u32 line = 1, line_start = 0;
    const u32 size = static_cast<u32>(text_.size());
    const auto column = [&](u32 at) { return at - line_start + 1; };
    for (u32 at = 0; at < size;) {
        const char c = text_[at];
        const char next = at + 1 < size ? text_[at + 1] : '\0';
        if (c == '\n') {
            ++line;
            line_start = ++at;
        } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
            out_.text[at++] = ' ';
        } else if (c == '/' && next == '/') {
            const u32 from = at;
            while (at < size && text_[at] != '\n') ++at;
            Blank(from, at);
        } else if (c == '/' && next == '*') {
            const std::size_t close = text_.find("*/", at + 2);
            if (close == std::string_view::npos) return Fail(line, column(at), "a comment does not end");
            const u32 from = at;
            for (; at < close + 2; ++at) {
                if (text_[at] != '\n') continue;
                ++line;
                line_start = at + 1;
            }
            Blank(from, at);
        } else if (IsLetter(c)) {
            const u32 from = at;
            while (at < size && IsWord(text_[at])) ++at;
            if (at - from > kLongestWord) return Fail(line, column(from), "a name is too long");
            tokens_.push_back({Token::kWord, text_.substr(from, at - from), from, line, column(from)});
        } else if (IsDigit(c) || (c == '.' && IsDigit(next))) {
            const u32 from = at;
            while (at < size && (IsWord(text_[at]) || text_[at] == '.' ||
                                 ((text_[at] == '+' || text_[at] == '-') &&
                                  (text_[at - 1] == 'e' || text_[at - 1] == 'E')))) {
                ++at;
            }
            if (at - from > kLongestWord) return Fail(line, column(from), "a number is too long");
            tokens_.push_back({Token::kNumber, text_.substr(from, at - from), from, line, column(from)});
        } else if (std::string_view("+-*/%=<>!&|^~?:;,.()[]{}").find(c) != std::string_view::npos) {
            tokens_.push_back({Token::kMark, text_.substr(at, 1), at, line, column(at)});
            ++at;
        } else if (c == '#') {
            return Fail(line, column(at), "a directive is left in the text");
        } else {
            return Fail(line, column(at),
                        c > ' ' && c < 127 ? std::string("unexpected '") + c + "'"
                                           : std::string("unexpected character"));
        }
    }
    return true;
}

bool Scanner::CheckBounds() {
    std::vector<char> open;
    u32 statement = 0, elses = 0;
    for (const Token& token : tokens_) {
        if (token.Is("else")) ++elses;
        if (elses > kHlslElseLimit) return Fail(token, "too many branches in one function");
        if (++statement > kHlslStatementLimit) return Fail(token, "a statement is too long");
        if (token.kind != Token::kMark) continue;
        const char c = token.text[0];
        if (c == ';' || c == '{' || c == '}') statement = 0;
        if (c == '(' || c == '[' || c == '{') {
            open.push_back(c);
            if (open.size() > kHlslNestingLimit) return Fail(token, "the text nests too deep");
        }
        if (c == ')' || c == ']' || c == '}') {
            const char wanted = c == ')' ? '(' : c == ']' ? '[' : '{';
            if (open.empty() || open.back() != wanted) {
                return Fail(token, std::string("nothing is open for this '") + c + "'");
            }
            open.pop_back();
            if (open.empty()) elses = 0;
        }
    }
    if (!open.empty()) return Fail(tokens_.back(), std::string("a '") + open.back() + "' is not closed");
    return true;
}

std::size_t Scanner::Close(std::size_t open, std::size_t end) const {
    u32 depth = 0;
    for (std::size_t i = open; i < end; ++i) {
        if (tokens_[i].Is('(') || tokens_[i].Is('[') || tokens_[i].Is('{')) ++depth;
        if ((tokens_[i].Is(')') || tokens_[i].Is(']') || tokens_[i].Is('}')) && --depth == 0) return i;
    }
    return end;
}

// Takes the text apart into functions and what lies between them.
bool Scanner::Split() {
    static constexpr std::string_view kRefused[] = {
        "cbuffer",   "tbuffer",     "namespace",   "class",     "interface",
        "technique", "technique10", "technique11", "Technique", "ConstantBuffer"};
    const std::size_t count = tokens_.size();
    for (std::size_t at = 0; at < count;) {
        const std::size_t first = at;
        std::size_t parameters = count;  // the '(' of what may be a function
        bool value = false, colon = false;
        for (;; ++at) {
            if (at == count) return Fail(tokens_[first], "a declaration does not end");
            const Token& token = tokens_[at];
            if (std::find(std::begin(kRefused), std::end(kRefused), token.text) != std::end(kRefused)) {
                return Fail(token, "'" + std::string(token.text) + "' does not belong in a shader's text");
            }
            if (token.Is(';')) break;
            if (token.Is('=')) value = true;
            if (token.Is(':')) colon = true;
            if (token.Is('(') && !value && !colon && parameters == count && at > first &&
                tokens_[at - 1].kind == Token::kWord) {
                parameters = at;
            }
            if (token.Is('(') || token.Is('[') || token.Is('{')) {
                const bool body = token.Is('{') && parameters != count;
                at = Close(at, count);
                if (body) break;
            }
        }
        const Range range{first, ++at};
        if (parameters != count) {
            functions_.emplace(tokens_[parameters - 1].text, range);
        } else {
            declarations_.push_back(range);
        }
    }
    return true;
}

std::optional<u32> Scanner::Integer(const Token& token) const {
    if (token.kind == Token::kWord) {
        const auto found = numbers_.find(token.text);
        return found != numbers_.end() ? std::optional(found->second) : std::nullopt;
    }
    u32 value = 0;
    const char* const end = token.text.data() + token.text.size();
    const auto [last, error] = std::from_chars(token.text.data(), end, value);
    return error == std::errc() && last == end ? std::optional(value) : std::nullopt;
}

u64 Scanner::ScalarsOf(std::string_view type) const {
    const auto found = structures_.find(type);
    return found != structures_.end() ? found->second : 16;
}

// The lengths after a declared name; `at` stands on what may be a '['.
bool Scanner::Length(std::size_t& at, std::size_t end, u64& elements) {
    elements = 1;
    if (at >= end || !tokens_[at].Is('[')) return true;
    const std::size_t close = Close(at, end);
    const auto length = close == at + 2 ? Integer(tokens_[at + 1]) : std::nullopt;
    if (!length) return Fail(tokens_[at], "the length of an array must be one whole number");
    if (*length == 0 || *length > kHlslArrayLimit) return Fail(tokens_[at + 1], "no array has this length");
    elements = *length;
    at = close + 1;
    if (at < end && tokens_[at].Is('[')) return Fail(tokens_[at], "arrays of arrays are not supported");
    return true;
}

// `register(c1)` or `register(vs, c1)`; `at` stands on the first word.
bool Scanner::Register(std::size_t at, std::size_t end, HlslGlobal& global) {
    const std::size_t close = Close(at + 1, end);
    const Token& place = tokens_[close - 1];
    u32 number = 0;
    const char* const last = place.text.data() + place.text.size();
    const auto parsed = std::from_chars(place.text.data() + 1, last, number);
    const char kind = place.text[0];
    const bool known = global.sampler ? kind == 's' : kind == 'c' || kind == 'i' || kind == 'b';
    if (place.kind != Token::kWord || parsed.ec != std::errc() || parsed.ptr != last || number > 255 ||
        !known) {
        return Fail(tokens_[at], "no register is named here");
    }
    // `register(vs, c0)` is for vertex shaders only.
    const bool other = close == at + 5 && tokens_[at + 2].text[0] != (vertex_ ? 'v' : 'p');
    if (!other) global.register_number = static_cast<i32>(number);
    return true;
}

// `a, b[2] : SEMANTIC = value, ...` up to `end`.
bool Scanner::Declarators(std::size_t at, std::size_t end, const std::string& type, u64 scalars,
                          bool global) {
    while (at < end) {
        const Token& name = tokens_[at];
        if (name.kind != Token::kWord) return Fail(name, "a name is expected here");
        u64 elements = 1;
        if (!Length(++at, end, elements)) return false;
        if (scalars * elements > 4 * kHlslArrayLimit) return Fail(name, "this is too large");
        HlslGlobal made{std::string(name.text),      type,      -1,
                        type.starts_with("sampler"), name.line, name.column};
        if (made.sampler && elements > 1) return Fail(name, "arrays of samplers are not supported");
        if (IsMatrix(type)) matrices_.insert(name.text);
        const auto drop = [&](std::size_t from) {
            if (global && at > from) Blank(tokens_[from].at, EndOf(std::min(at, end) - 1));
        };
        while (at < end && tokens_[at].Is(':')) {
            const std::size_t colon = at;
            bool place = false;
            if (++at >= end || tokens_[at].kind != Token::kWord) {
                return Fail(tokens_[at - 1], "a semantic or a register is expected here");
            }
            if (tokens_[at].Is("register") && at + 1 < end && tokens_[at + 1].Is('(')) {
                if (!Register(at, end, made)) return false;
                at = Close(at + 1, end);
                place = true;
            }
            ++at;
            if (!place || !keep_registers_) drop(colon);
        }
        if (at < end && tokens_[at].Is('=')) {
            const std::size_t value = at;
            while (at < end && !tokens_[at].Is(',')) {
                if (tokens_[at].Is('(') || tokens_[at].Is('[') || tokens_[at].Is('{')) at = Close(at, end);
                ++at;
            }
            drop(value);
        }
        if (at < end && !tokens_[at].Is(',')) return Fail(tokens_[at], "a ';' is expected before this");
        if (!names_.insert(name.text).second) {
            return Fail(name, "'" + made.name + "' is declared twice");
        }
        if (global) out_.globals.push_back(std::move(made));
        ++at;
    }
    return true;
}

// Members of a structure; the tokens between its braces.
bool Scanner::Members(Range range, u64& scalars) {
    scalars = 0;
    for (std::size_t at = range.first; at < range.second;) {
        std::size_t end = at;
        while (end < range.second && !tokens_[end].Is(';')) {
            if (tokens_[end].Is('{')) return Fail(tokens_[end], "a structure inside one is not supported");
            ++end;
        }
        static constexpr std::string_view kQualifiers[] = {
            "row_major", "column_major", "const", "nointerpolation", "linear", "centroid", "uniform"};
        while (at < end && std::find(std::begin(kQualifiers), std::end(kQualifiers), tokens_[at].text) !=
                               std::end(kQualifiers)) {
            ++at;
        }
        if (at == end) {
            ++at;
            continue;
        }
        const std::string_view type = tokens_[at].text;
        u64 each = ScalarsOf(type);
        if (++at < end && tokens_[at].Is('<')) {
            while (at < end && !tokens_[at].Is('>')) ++at;
            ++at;
        }
        while (at < end) {
            u64 elements = 1;
            if (tokens_[at].kind != Token::kWord) return Fail(tokens_[at], "a name is expected here");
            if (!Length(++at, end, elements)) return false;
            scalars += each * elements;
            if (scalars > 4 * kHlslArrayLimit) return Fail(tokens_[range.first], "a structure is too large");
            if (at < end && tokens_[at].Is(':')) at += 2;
            if (at < end && !tokens_[at].Is(',')) return Fail(tokens_[at], "a ';' is expected before this");
            ++at;
        }
        at = end + 1;
    }
    return true;
}

// A declaration outside functions, with its ';'.
bool Scanner::Declaration(Range range) {
    std::size_t at = range.first;
    const std::size_t end = range.second - 1;
    bool program = true;
    static constexpr std::string_view kQualifiers[] = {"uniform",  "extern",    "shared",
                                                       "volatile", "row_major", "column_major"};
    for (; at < end; ++at) {
        const std::string_view word = tokens_[at].text;
        if (word == "static" || word == "const" || word == "groupshared" || word == "precise") {
            program = false;
        } else if (word == "typedef") {
            for (; at < end; ++at) {
                if (tokens_[at].Is('[')) return Fail(tokens_[at], "a type cannot be named for an array");
            }
            return true;
        } else if (std::find(std::begin(kQualifiers), std::end(kQualifiers), word) == std::end(kQualifiers)) {
            break;
        }
    }
    if (at >= end) return true;
    std::string type(tokens_[at].text);
    const std::size_t type_at = at;
    u64 scalars = ScalarsOf(type);
    if (type == "struct") {
        ++at;
        const std::string_view name = at < end && tokens_[at].kind == Token::kWord ? tokens_[at++].text : "";
        if (at >= end) return true;
        if (tokens_[at].Is('{')) {
            const std::size_t close = Close(at, end);
            if (!Members({at + 1, close}, scalars)) return false;
            if (!name.empty() && !names_.insert(name).second) {
                return Fail(tokens_[at], "'" + std::string(name) + "' is declared twice");
            }
            structures_[name] = scalars;
            at = close + 1;
        } else {
            scalars = ScalarsOf(name);
        }
        type = name;
    } else if (++at < end && tokens_[at].Is('<')) {
        // vector<float, 4>
        if (at + 1 < end) type = tokens_[at + 1].text;
        while (at < end && !tokens_[at].Is('>')) ++at;
        ++at;
    }
    if (type.starts_with("sampler") && !program) {
        return Fail(tokens_[type_at], "a sampler cannot be static or const");
    }
    if (program && at < end) {
        if (type == "sampler") {
            for (std::size_t i = at; i < end; ++i) generic_samplers_[tokens_[i].text] = type_at;
        }
        if (type == "texture" || type == "Texture2D" || type == "string" || type == "SamplerState") {
            return Fail(tokens_[type_at], "'" + type + "' does not belong in a shader's text");
        }
    }
    if (!program && end == at + 3 && tokens_[at + 1].Is('=') && (type == "int" || type == "uint")) {
        if (const auto value = Integer(tokens_[at + 2])) numbers_[tokens_[at].text] = *value;
    }
    return Declarators(at, end, type, scalars, program);
}

// `float4 name` and the like, with qualifiers before: false when this is none. `at` goes past the name.
bool Scanner::TypeAndName(std::size_t& at, std::size_t end, bool parameter) {
    static constexpr std::string_view kQualifiers[] = {
        "in", "out", "inout", "const", "uniform", "row_major", "column_major", "precise", "static", "inline"};
    const std::size_t first = at;
    for (; at < end; ++at) {
        const auto* const found = std::find(std::begin(kQualifiers), std::end(kQualifiers), tokens_[at].text);
        if (found == std::end(kQualifiers)) break;
    }
    const auto word = [&] { return at < end && tokens_[at].kind == Token::kWord; };
    const std::string_view type = at < end ? tokens_[at].text : "";
    if (!word()) return Fail(tokens_[std::min(at, tokens_.size() - 1)], "a type is expected here");
    if (type == "struct") return Fail(tokens_[at], "a structure cannot be declared here");
    if (++at < end && tokens_[at].Is('<')) {
        while (at < end && !tokens_[at].Is('>')) ++at;
        ++at;
    }
    if (!word())
        return Fail(tokens_[first], parameter ? "a parameter has no name" : "a name is expected here");
    if (IsMatrix(type)) matrices_.insert(tokens_[at].text);
    ++at;
    return true;
}

// The head of a function: what it gives, its parameters and their semantics.
bool Scanner::CheckHead(Range range) {
    std::size_t at = range.first;
    while (at < range.second && tokens_[at].Is('[')) at = Close(at, range.second) + 1;
    if (!TypeAndName(at, range.second, false)) return false;
    if (!tokens_[at].Is('(')) return Fail(tokens_[at], "a '(' is expected here");
    const std::size_t close = Close(at, range.second);
    ++at;
    if (at + 1 == close && tokens_[at].Is("void")) ++at;
    const auto semantic = [&](std::size_t end) {
        if (!tokens_[at].Is(':')) return true;
        if (at + 1 >= end || tokens_[at + 1].kind != Token::kWord) {
            return Fail(tokens_[at], "a semantic is expected here");
        }
        at += 2;
        return true;
    };
    while (at < close) {
        u64 elements = 1;
        if (!TypeAndName(at, close, true) || !Length(at, close, elements) || !semantic(close)) return false;
        if (tokens_[at].Is('=')) {
            while (at < close && !tokens_[at].Is(',')) {
                if (tokens_[at].Is('(') || tokens_[at].Is('[') || tokens_[at].Is('{')) at = Close(at, close);
                ++at;
            }
        }
        if (at < close && !tokens_[at].Is(',')) return Fail(tokens_[at], "a ',' is expected here");
        if (at < close && ++at == close) return Fail(tokens_[at], "a parameter is expected here");
    }
    at = close + 1;
    if (!semantic(range.second)) return false;
    return tokens_[at].Is('{') || tokens_[at].Is(';') || Fail(tokens_[at], "a '{' is expected here");
}

// Lengths of arrays in the bodies of functions, and parts of matrices that are none.
bool Scanner::CheckBody(Range range) {
    for (std::size_t at = range.first + 1; at < range.second; ++at) {
        if (!tokens_[at].Is('[')) continue;
        const std::size_t close = Close(at, range.second);
        u64 product = 1;
        for (std::size_t i = at + 1; i < close; ++i) {
            const auto value = Integer(tokens_[i]);
            const bool fraction = tokens_[i].text.find('.') != std::string_view::npos;
            if (tokens_[i].kind == Token::kNumber && !value && !fraction) product = kHlslArrayLimit + 1;
            if (tokens_[i].Is('<') && tokens_[i + 1].Is('<')) product = kHlslArrayLimit + 1;
            if (value) product *= std::max(*value, 1u);
            if (product > kHlslArrayLimit) return Fail(tokens_[i], "no array has this length");
        }
    }
    std::set<std::string_view> matrices, others;
    for (std::size_t at = range.first; at + 1 < range.second; ++at) {
        if (tokens_[at].kind != Token::kWord || tokens_[at + 1].kind != Token::kWord) continue;
        (IsMatrix(tokens_[at].text) ? matrices : others).insert(tokens_[at + 1].text);
    }
    for (std::size_t at = range.first + 2; at < range.second; ++at) {
        if (!tokens_[at - 1].Is('.') || tokens_[at].text[0] == '_') continue;
        const std::string_view name = tokens_[at - 2].text;
        if (!matrices.contains(name) && (!matrices_.contains(name) || others.contains(name))) continue;
        return Fail(tokens_[at], "'" + std::string(tokens_[at].text) + "' is no part of a matrix");
    }
    return true;
}

void Scanner::DropUnreached() {
    std::set<std::string_view> reached;
    std::vector<std::string_view> work;
    const auto visit = [&](std::string_view name) {
        if (functions_.contains(name) && reached.insert(name).second) work.push_back(name);
    };
    visit(entry_);
    for (const Range& range : declarations_) {
        for (std::size_t i = range.first; i < range.second; ++i) visit(tokens_[i].text);
    }
    while (!work.empty()) {
        const std::string_view name = work.back();
        work.pop_back();
        const auto [first, last] = functions_.equal_range(name);
        for (auto it = first; it != last; ++it) {
            for (std::size_t i = it->second.first; i < it->second.second; ++i) visit(tokens_[i].text);
        }
    }
    for (const auto& [name, range] : functions_) {
        if (!reached.contains(name)) Blank(tokens_[range.first].at, EndOf(range.second - 1));
    }
}

// How many words a function has with every call in it written out, which is how the device takes it.
u64 Scanner::Expanded(std::string_view name) {
    const auto [known, fresh] = expanded_.emplace(name, 0);
    if (!fresh) return known->second;
    u64 words = 0;
    const auto [first, last] = functions_.equal_range(name);
    for (auto it = first; it != last; ++it) {
        for (std::size_t i = it->second.first; i < it->second.second; ++i) {
            const std::string_view word = tokens_[i].text;
            ++words;
            if (words <= kHlslExpandedLimit && word != name && functions_.contains(word)) {
                words += Expanded(word);
            }
        }
    }
    return expanded_[name] = words;
}

// A plain `sampler` is a cube where it is used as one.
void Scanner::ChooseSamplerTypes() {
    std::set<std::size_t> cubes;
    for (std::size_t i = 0; i + 2 < tokens_.size(); ++i) {
        if (!tokens_[i].text.starts_with("texCUBE") || !tokens_[i + 1].Is('(')) continue;
        const auto found = generic_samplers_.find(tokens_[i + 2].text);
        if (found != generic_samplers_.end()) cubes.insert(found->second);
    }
    for (auto it = cubes.rbegin(); it != cubes.rend(); ++it) {
        out_.text.insert(EndOf(*it), "CUBE");
    }
}

bool Scanner::CheckEntry() {
    const auto [first, last] = functions_.equal_range(entry_);
    u32 bodies = 0;
    for (auto it = first; it != last; ++it) {
        const Range range = it->second;
        if (!tokens_[range.second - 1].Is('}')) continue;
        ++bodies;
        std::size_t at = range.first;
        while (!tokens_[at].Is('(')) ++at;
        out_.entry_line = tokens_[at - 1].line;
        out_.entry_column = tokens_[at - 1].column;
        const std::size_t close = Close(at, range.second);
        for (; at < close; ++at) {
            if (tokens_[at].Is("uniform")) {
                return Fail(tokens_[at], "a uniform parameter of the entry function has no value");
            }
            if (tokens_[at].text.starts_with("sampler")) {
                return Fail(tokens_[at], "a sampler cannot be a parameter of the entry function");
            }
        }
    }
    if (bodies != 1) {
        return Fail(out_.entry_line, out_.entry_column,
                    "the entry function '" + std::string(entry_) + "' must have one body");
    }
    return true;
}

}  // namespace

bool ScanHlsl(std::string_view text, std::string_view entry, bool vertex, HlslScan& out,
              std::vector<CompileMessage>& messages, bool keep_registers) {
    return Scanner(text, entry, vertex, out, messages, keep_registers).Run();
}

u32 ColumnOf(std::string_view text, u32 line, std::string_view token) {
    std::size_t start = 0;
    for (u32 i = 1; i < line; ++i) {
        start = text.find('\n', start);
        if (start == std::string_view::npos) return 1;
        ++start;
    }
    const std::string_view row = text.substr(start, text.find('\n', start) - start);
    if (token.empty()) return 1;
    for (std::size_t at = row.find(token); at != std::string_view::npos; at = row.find(token, at + 1)) {
        const std::size_t end = at + token.size();
        if (IsWord(token.front()) && at > 0 && IsWord(row[at - 1])) continue;
        if (IsWord(token.back()) && end < row.size() && IsWord(row[end])) continue;
        return static_cast<u32>(at + 1);
    }
    return 1;
}

}  // namespace platform
