#include "fxutil/effect_shader_text.h"

#include <algorithm>

namespace fxutil {
namespace {

void Spell(const Token& token, std::string& out) {
    if (token.kind == TokenKind::kString) out += '"';
    out += token.text;
    if (token.kind == TokenKind::kString) out += '"';
}

u32 Length(const Token& token) {
    return static_cast<u32>(token.text.size()) + (token.kind == TokenKind::kString ? 2 : 0);
}

}  // namespace

void EffectShaderText::Keep(std::size_t start, std::size_t end) {
    kept_.insert(kept_.end(), tokens_.begin() + static_cast<std::ptrdiff_t>(start),
                 tokens_.begin() + static_cast<std::ptrdiff_t>(end));
}

void EffectShaderText::Make(const char* word, TextPosition at) {
    Token token;
    token.text = word;
    token.at = at;
    token.kind = TokenKind::kSymbol;
    token.made = true;
    kept_.push_back(token);
}

void EffectShaderText::Define(const EffectFunction& function) {
    functions_[tokens_[function.name].text].push_back(function);
}

// What stands between the commas of a bracket.
std::vector<EffectShaderText::Range> EffectShaderText::Split(std::size_t start, std::size_t end) const {
    std::vector<Range> parts;
    if (start >= end) return parts;
    u32 depth = 0;
    for (std::size_t i = start; i < end; ++i) {
        const Token& token = tokens_[i];
        if (token.Is("(") || token.Is("[") || token.Is("{")) ++depth;
        if (token.Is(")") || token.Is("]") || token.Is("}")) --depth;
        if (token.Is(",") && depth == 0) {
            parts.emplace_back(start, i);
            start = i + 1;
        }
    }
    parts.emplace_back(start, end);
    return parts;
}

void EffectShaderText::Append(std::string& out, std::size_t start, std::size_t end,
                              std::string_view without) const {
    for (std::size_t i = start; i < end; ++i) {
        if (!without.empty() && tokens_[i].Is(without)) continue;
        Spell(tokens_[i], out);
        out += ' ';
    }
}

std::optional<u32> EffectShaderText::Request(EffectShader wanted, std::size_t start, std::size_t end,
                                             EffectDocument& document, EffectMessages& messages) {
    auto same = [&](const Call& call) {
        const EffectShader& known = document.shaders[call.shader];
        const Range& arguments = call.arguments;
        if (known.profile != wanted.profile || known.entry != wanted.entry ||
            arguments.second - arguments.first != end - start)
            return false;
        for (std::size_t i = 0; i < end - start; ++i)
            if (tokens_[arguments.first + i].text != tokens_[start + i].text) return false;
        return true;
    };
    const auto found = std::find_if(calls_.begin(), calls_.end(), same);
    if (found != calls_.end()) return found->shader;
    if (document.shaders.size() >= kMaxEffectShaders) {
        messages.Error(wanted.at, "more than " + std::to_string(kMaxEffectShaders) + " different shaders");
        return std::nullopt;
    }
    const auto number = static_cast<u32>(document.shaders.size());
    document.shaders.push_back(std::move(wanted));
    calls_.push_back({number, {start, end}});
    return number;
}

// Leaves a function without `uniform` parameters and arguments alone.
bool EffectShaderText::Wrap(const Call& call, EffectDocument& document, std::string& out,
                            EffectMessages& messages) const {
    EffectShader& shader = document.shaders[call.shader];
    const auto fail = [&](const std::string& what) {
        messages.Error(shader.at, what);
        return false;
    };
    const auto found = functions_.find(shader.entry);
    if (found == functions_.end()) return fail("there is no function '" + shader.entry + "'");
    if (found->second.size() > 1)
        return fail("there are several functions '" + shader.entry + "': give the shader a name of its own");
    const EffectFunction& function = found->second[0];
    const std::vector<Range> arguments = Split(call.arguments.first + 1, call.arguments.second - 1);
    std::vector<Range> parameters = Split(function.parameters + 1, function.after_parameters - 1);
    if (parameters.size() == 1 && tokens_[parameters[0].first].Is("void")) parameters.clear();

    std::string head, passed;
    std::size_t used = 0;
    bool uniform = false;
    for (const auto& [start, end] : parameters) {
        std::size_t name = start, name_end = end, value = end;
        bool is_uniform = false;
        for (std::size_t i = start; i < end; ++i) {
            is_uniform |= tokens_[i].Is("uniform");
            if (tokens_[i].Is("=")) value = std::min(value, i);
            if (tokens_[i].Is(":") || tokens_[i].Is("[") || tokens_[i].Is("="))
                name_end = std::min(name_end, i);
        }
        for (std::size_t i = start; i < name_end; ++i)
            if (tokens_[i].kind == TokenKind::kName) name = i;
        if (!passed.empty()) passed += ", ";
        if (!is_uniform) {
            if (!head.empty()) head += ", ";
            Append(head, start, value, "");
            if (name < end) passed += tokens_[name].text;
            continue;
        }
        uniform = true;
        if (used < arguments.size()) {
            Append(passed, arguments[used].first, arguments[used].second, "");
            ++used;
        } else if (value < end) {
            Append(passed, value + 1, end, "");
        } else {
            return fail("'" + shader.entry + "' needs a value for its uniform parameter '" +
                        std::string(tokens_[name].text) + "'");
        }
    }
    if (used < arguments.size())
        return fail("'" + shader.entry + "' has no uniform parameter for " +
                    std::to_string(arguments.size() - used) + " of the arguments");
    if (!uniform) return true;

    const std::string entry = shader.entry + "_with_arguments_" + std::to_string(call.shader);
    // Type, name, parameters, then the semantic of the result.
    std::string type;
    Append(type, function.start, function.type_end, "");
    out += type + entry + "(" + head + ") ";
    Append(out, function.after_parameters, function.body, "");
    const bool gives = !tokens_[function.type_end - 1].Is("void");
    out += std::string("{ ") + (gives ? "return " : "") + shader.entry + "(" + passed + "); }\n";
    shader.entry = entry;
    return true;
}

void EffectShaderText::Finish(EffectDocument& document, EffectMessages& messages) {
    std::string& out = document.hlsl;
    u32 line = 1, column = 1;
    const Token* previous = nullptr;
    for (const Token& token : kept_) {
        if (token.at.line > line) {
            out.append(token.at.line - line, '\n');
            line = token.at.line;
            column = 1;
            previous = nullptr;
        }
        const bool joined = previous && !previous->made && !token.made && !token.space_before &&
                            previous->at.line == token.at.line &&
                            previous->at.column + Length(*previous) == token.at.column;
        if (!joined && token.at.line == line && token.at.column > column) {
            out.append(token.at.column - column, ' ');
            column = token.at.column;
        } else if (!joined && previous) {
            out += ' ';
            ++column;
        }
        Spell(token, out);
        column += Length(token);
        previous = &token;
    }
    out += '\n';
    std::string more;
    for (const Call& call : calls_) {
        if (!Wrap(call, document, more, messages)) return;
        if (more.size() <= kMaxEffectText) continue;
        messages.Error(document.shaders[call.shader].at, "the arguments of the shaders are too long");
        return;
    }
    out += more;
}

}  // namespace fxutil
