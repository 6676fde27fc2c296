#include "fxutil/effect_parser.h"

#include <algorithm>

#include "fxutil/effect_parser_detail.h"

namespace fxutil {

u32 CountCells(const EffectDocument& document, const EffectType& type, u32 elements) {
    u64 one = 0;
    if (type.type_class == D3DXPC_STRUCT) {
        one = document.structures[type.structure].cells;
    } else if (type.IsNumeric()) {
        one = u64{type.rows} * type.columns;
    }
    return static_cast<u32>(std::min<u64>(one * std::max(elements, 1u), kMaxEffectCells + 1));
}

void EffectParser::Run() {
    while (!cursor_.AtEnd()) {
        if (cursor_.Take(";")) continue;
        const bool technique = cursor_.IsName("technique") && !cursor_.Is("(", 1);
        if (!(technique ? Technique() : Declaration())) break;
        if (messages_.Enough()) return;
    }
    if (messages_.Any()) return;
    shaders_.Finish(out_, messages_);
}

bool EffectParser::Fail(TextPosition at, const std::string& what) {
    messages_.Error(at, what);
    return false;
}

bool EffectParser::Unexpected(const std::string& expected) {
    const Token& token = cursor_.Ahead();
    const std::string found =
        token.kind == TokenKind::kEnd ? "the end of the text" : "'" + std::string(token.text) + "'";
    return Fail(cursor_.Here(), found + " where " + expected + " is expected");
}

bool EffectParser::Expect(std::string_view symbol) {
    return cursor_.Take(symbol) || Unexpected("'" + std::string(symbol) + "'");
}

bool EffectParser::Name(std::string& name, const char* what) {
    if (cursor_.Ahead().kind != TokenKind::kName) return Unexpected(what);
    name = cursor_.Next().text;
    return true;
}

// Moves past the bracket that fits the one ahead.
bool EffectParser::SkipBrackets() {
    const TextPosition start = cursor_.Here();
    std::vector<char> open;
    do {
        const Token& token = cursor_.Ahead();
        if (token.kind == TokenKind::kEnd) return Fail(start, "the bracket that opens here is never closed");
        if (token.kind == TokenKind::kSymbol && token.text.size() == 1) {
            const char c = token.text[0];
            if (c == '(' || c == '[' || c == '{') open.push_back(c == '(' ? ')' : c == '[' ? ']' : '}');
            if (c == ')' || c == ']' || c == '}') {
                if (open.back() != c) return Unexpected(std::string("'") + open.back() + "'");
                open.pop_back();
            }
        }
        cursor_.Next();
    } while (!open.empty());
    return true;
}

// ---- types

bool EffectParser::Type(EffectType& type) {
    const Token& token = cursor_.Ahead();
    if (cursor_.Take("struct")) {
        const Token& name = cursor_.Ahead();
        if (!FindType(name.text, type) || type.type_class != D3DXPC_STRUCT)
            return Unexpected("the name of a structure");
        cursor_.Next();
        return true;
    }
    if (token.kind != TokenKind::kName) return Unexpected("a type");
    cursor_.Take("unsigned");
    if (!FindType(cursor_.Ahead().text, type)) return Unexpected("a type");
    const std::string_view name = cursor_.Next().text;
    // vector<float, 3> and matrix<float, 4, 4>
    if ((SameName(name, "vector") || SameName(name, "matrix")) && cursor_.Take("<")) {
        EffectType base;
        if (!FindNumericType(cursor_.Ahead().text, base) || base.type_class != D3DXPC_SCALAR)
            return Unexpected("a type of numbers");
        cursor_.Next();
        type.type = base.type;
        u32* sizes[] = {&type.rows, &type.columns};
        for (std::size_t i = SameName(name, "vector") ? 1 : 0; i < 2; ++i) {
            const std::string_view size = cursor_.Ahead(1).text;
            if (!Expect(",")) return false;
            if (size.size() != 1 || size[0] < '1' || size[0] > '4') return Unexpected("1 to 4");
            *sizes[i] = static_cast<u32>(size[0] - '0');
            cursor_.Next();
        }
        return Expect(">");
    }
    return true;
}

bool EffectParser::FindType(std::string_view name, EffectType& type) const {
    if (const auto known = types_.find(name); known != types_.end()) {
        type = known->second;
        return true;
    }
    if (FindNumericType(name, type)) return true;
    static constexpr std::pair<std::string_view, D3DXPARAMETER_TYPE> kObjects[] = {
        {"void", D3DXPT_VOID},
        {"string", D3DXPT_STRING},
        {"texture", D3DXPT_TEXTURE},
        {"texture1D", D3DXPT_TEXTURE1D},
        {"texture2D", D3DXPT_TEXTURE2D},
        {"texture3D", D3DXPT_TEXTURE3D},
        {"textureCUBE", D3DXPT_TEXTURECUBE},
        {"pixelshader", D3DXPT_PIXELSHADER},
        {"vertexshader", D3DXPT_VERTEXSHADER}};
    for (const auto& [object, kind] : kObjects)
        if (SameName(object, name)) {
            type = {D3DXPC_OBJECT, kind, 0, 0, 0};
            return true;
        }
    static constexpr std::pair<std::string_view, D3DXPARAMETER_TYPE> kSamplers[] = {
        {"sampler", D3DXPT_SAMPLER},
        {"sampler1D", D3DXPT_SAMPLER1D},
        {"sampler2D", D3DXPT_SAMPLER2D},
        {"sampler3D", D3DXPT_SAMPLER3D},
        {"samplerCUBE", D3DXPT_SAMPLERCUBE}};
    for (const auto& [object, kind] : kSamplers)
        if (object == name) {
            type = {D3DXPC_OBJECT, kind, 0, 0, 0};
            return true;
        }
    return false;
}

// "[4]", several or none.
bool EffectParser::Dimensions(u32& elements) {
    elements = 0;
    for (u32 count = 0; cursor_.Is("["); ++count) {
        const TextPosition at = cursor_.Here();
        cursor_.Next();
        ConstantValue value;
        ConstantReader reader(cursor_, known_, nullptr);
        if (!reader.Read(value)) return Fail(at, "a size of " + reader.Fault());
        if (value.numbers.size() != 1 || !(value.numbers[0] >= 1) || value.numbers[0] > kMaxEffectCells)
            return Fail(at, "an array has 1 to " + std::to_string(kMaxEffectCells) + " elements");
        if (count > 0) return Fail(at, "arrays of arrays are not supported");
        elements = static_cast<u32>(value.numbers[0]);
        if (!Expect("]")) return false;
    }
    return true;
}

// ---- declarations

bool EffectParser::Modifier(const Token& token, Modifiers& modifiers) {
    if (token.kind != TokenKind::kName) return false;
    if (token.text == "static") return modifiers.is_static = true;
    if (token.text == "const") return modifiers.is_const = true;
    if (token.text == "row_major") return modifiers.row_major = true;
    if (token.text == "column_major") return !(modifiers.row_major = false);
    for (const char* other : {"uniform", "extern", "shared", "volatile", "inline"})
        if (token.text == other) return true;
    return false;
}

bool EffectParser::Declaration() {
    const std::size_t start = cursor_.Place();
    Modifiers modifiers;
    while (Modifier(cursor_.Ahead(), modifiers)) cursor_.Next();
    if (cursor_.Is("typedef")) return Typedef(start);
    const std::size_t type_start = cursor_.Place();
    EffectType type;
    if (cursor_.Is("struct") && (cursor_.Is("{", 2) || cursor_.Is("{", 1))) {
        if (!Structure(type)) return false;
        if (cursor_.Take(";")) {
            shaders_.Keep(start, cursor_.Place());
            return true;
        }
        shaders_.Keep(type_start, cursor_.Place());
        shaders_.Make(";", cursor_.Here());
        if (modifiers.is_static)
            return Fail(cursor_.Here(), "a static variable is declared apart from its structure");
        if (out_.structures.back().name.empty())
            return Fail(cursor_.Here(), "a structure of a parameter needs a name");
        return Variables(modifiers, type, type_start + 1, type_start + 2);
    }
    if (!Type(type)) return false;
    const std::size_t type_end = cursor_.Place();
    if (cursor_.Ahead().kind == TokenKind::kName && cursor_.Is("(", 1)) return Function(start, type_end);
    if (type.type_class == D3DXPC_OBJECT && type.type == D3DXPT_VOID) return Unexpected("a function");
    if (modifiers.is_static) return Static(start, modifiers);
    if (modifiers.row_major && type.type_class == D3DXPC_MATRIX_COLUMNS) type.type_class = D3DXPC_MATRIX_ROWS;
    return Variables(modifiers, type, type_start, type_end);
}

bool EffectParser::Function(std::size_t start, std::size_t type_end) {
    const std::size_t name = cursor_.Place();
    cursor_.Next();
    const std::size_t parameters = cursor_.Place();
    if (!SkipBrackets()) return false;
    const std::size_t after = cursor_.Place();
    if (cursor_.Take(":")) {
        std::string semantic;
        if (!Name(semantic, "a semantic")) return false;
    }
    const std::size_t head = cursor_.Place();
    if (!cursor_.Take(";")) {
        if (!cursor_.Is("{")) return Unexpected("the body of the function");
        if (!SkipBrackets()) return false;
        ++out_.functions;
        shaders_.Define({start, type_end, name, parameters, after, head});
    }
    shaders_.Keep(start, cursor_.Place());
    return true;
}

// Everything up to the semicolon belongs to the compiler; a simple constant is remembered.
bool EffectParser::Static(std::size_t start, const Modifiers& modifiers) {
    const std::size_t name = cursor_.Place();
    while (!cursor_.Is(";")) {
        if (cursor_.AtEnd()) return Unexpected("';'");
        if (cursor_.Is("(") || cursor_.Is("[") || cursor_.Is("{")) {
            if (!SkipBrackets()) return false;
        } else {
            cursor_.Next();
        }
    }
    cursor_.Next();
    const std::size_t end = cursor_.Place();
    shaders_.Keep(start, end);
    cursor_.Return(name);
    if (modifiers.is_const && cursor_.Ahead().kind == TokenKind::kName && cursor_.Is("=", 1)) {
        const std::string_view known = cursor_.Next().text;
        cursor_.Next();
        ConstantValue value;
        if (ConstantReader(cursor_, known_, nullptr).Read(value)) Remember(known, value);
    }
    cursor_.Return(end);
    return true;
}

void EffectParser::Remember(std::string_view name, const ConstantValue& value) {
    if (value.numbers.empty() || value.numbers.size() > 16) return;
    known_[name] = {value.numbers, false};
}

bool EffectParser::Typedef(std::size_t start) {
    cursor_.Next();
    Modifiers modifiers;
    while (Modifier(cursor_.Ahead(), modifiers)) cursor_.Next();
    EffectType type;
    if (!Type(type)) return false;
    if (modifiers.row_major && type.type_class == D3DXPC_MATRIX_COLUMNS) type.type_class = D3DXPC_MATRIX_ROWS;
    const std::string_view name = cursor_.Ahead().text;
    if (cursor_.Ahead().kind != TokenKind::kName) return Unexpected("a name");
    cursor_.Next();
    if (cursor_.Is("[")) return Fail(cursor_.Here(), "types of arrays are not supported");
    if (!Expect(";")) return false;
    types_[name] = type;
    if (type.IsNumeric() || type.type_class == D3DXPC_STRUCT) shaders_.Keep(start, cursor_.Place());
    return true;
}

bool EffectParser::Structure(EffectType& type) {
    cursor_.Next();
    EffectStructure structure;
    std::string_view name;
    const TextPosition at = cursor_.Here();
    if (!cursor_.Is("{")) {
        name = cursor_.Ahead().text;
        if (!Name(structure.name, "the name of the structure")) return false;
        if (types_.contains(name)) return Fail(at, "'" + structure.name + "' is there already");
    }
    const std::size_t body = cursor_.Place();
    if (!SkipBrackets()) return false;
    const std::size_t end = cursor_.Place();
    cursor_.Return(body + 1);
    u64 cells = 0;
    while (!structure.opaque && cursor_.Place() + 1 < end) structure.opaque = !Members(structure, cells);
    structure.opaque |= cells > kMaxEffectCells || structure.members.empty();
    structure.cells = static_cast<u32>(std::min<u64>(cells, kMaxEffectCells + 1));
    cursor_.Return(end);
    type = {D3DXPC_STRUCT, D3DXPT_VOID, 0, 0, static_cast<u32>(out_.structures.size())};
    out_.structures.push_back(std::move(structure));
    if (!name.empty()) types_[name] = type;
    return true;
}

// "float4 a, b[2] : SEMANTIC;". False for anything but numbers, which functions alone may use.
bool EffectParser::Members(EffectStructure& structure, u64& cells) {
    Modifiers modifiers;
    while (Modifier(cursor_.Ahead(), modifiers) || cursor_.Is("nointerpolation") || cursor_.Is("centroid"))
        cursor_.Next();
    const Token& type_name = cursor_.Ahead();
    EffectType type;
    if (type_name.kind != TokenKind::kName || !FindType(type_name.text, type)) return false;
    if (!type.IsNumeric() && type.type_class != D3DXPC_STRUCT) return false;
    if (type.type_class == D3DXPC_STRUCT) {
        const EffectStructure& inner = out_.structures[type.structure];
        if (inner.opaque || inner.depth >= kMaxEffectDepth) return false;
        structure.depth = std::max(structure.depth, inner.depth + 1);
    }
    if (cursor_.Is("<", 1)) return false;
    if (modifiers.row_major && type.type_class == D3DXPC_MATRIX_COLUMNS) type.type_class = D3DXPC_MATRIX_ROWS;
    cursor_.Next();
    do {
        EffectMember member;
        member.type = type;
        if (cursor_.Ahead().kind != TokenKind::kName) return false;
        member.name = cursor_.Next().text;
        if (cursor_.Take("[")) {
            ConstantValue size;
            if (!ConstantReader(cursor_, known_, nullptr).Read(size) || size.numbers.size() != 1 ||
                !(size.numbers[0] >= 1) || size.numbers[0] > kMaxEffectCells || !cursor_.Take("]"))
                return false;
            member.elements = static_cast<u32>(size.numbers[0]);
        }
        if (cursor_.Take(":")) {
            if (cursor_.Ahead().kind != TokenKind::kName) return false;
            member.semantic = cursor_.Next().text;
        }
        cells += CountCells(out_, type, member.elements);
        structure.members.push_back(std::move(member));
    } while (cursor_.Take(","));
    return cursor_.Take(";");
}

bool EffectParser::Variables(const Modifiers& modifiers, const EffectType& type, std::size_t type_start,
                             std::size_t type_end) {
    do {
        if (!Variable(modifiers, type, type_start, type_end)) return false;
    } while (cursor_.Take(","));
    return Expect(";");
}

bool EffectParser::Variable(const Modifiers& modifiers, const EffectType& type, std::size_t type_start,
                            std::size_t type_end) {
    EffectParameter parameter;
    parameter.type = type;
    parameter.at = cursor_.Here();
    const std::size_t name = cursor_.Place();
    if (!Name(parameter.name, "a name")) return false;
    const std::string_view key = cursor_.At(name).text;
    if (parameters_.contains(key)) return Fail(parameter.at, "'" + parameter.name + "' is there already");
    if (!Dimensions(parameter.elements)) return false;
    const std::size_t dimensions_end = cursor_.Place();
    if (parameter.elements > 0 && type.type_class == D3DXPC_OBJECT)
        return Fail(parameter.at, "arrays are of numbers or structures");
    if (type.type_class == D3DXPC_STRUCT && out_.structures[type.structure].opaque)
        return Fail(parameter.at, "this structure holds other things than numbers, or too many of them");
    const u32 count = CountCells(out_, type, parameter.elements);
    cells_ += count;
    if (cells_ > kMaxEffectCells) return Fail(parameter.at, "the parameters are too large");
    parameter.cells.assign(count, 0);

    std::size_t register_start = 0, register_end = 0;
    while (cursor_.Is(":")) {
        const std::size_t colon = cursor_.Place();
        cursor_.Next();
        if ((cursor_.Is("register") || cursor_.Is("packoffset")) && cursor_.Is("(", 1)) {
            const bool place = cursor_.Is("register");
            cursor_.Next();
            if (!SkipBrackets()) return false;
            if (place) {
                register_start = colon;
                register_end = cursor_.Place();
            }
        } else if (!Name(parameter.semantic, "a semantic")) {
            return false;
        }
    }
    if (cursor_.Is("<") && !Annotations(parameter.annotations)) return false;
    const std::size_t value = cursor_.Place();
    if (cursor_.Take("=") && !Initialiser(parameter)) return false;
    const std::size_t value_end = cursor_.Place();

    // What is left of it for the compiler.
    parameter.compiled_in = modifiers.is_const && value_end > value && parameter.semantic.empty() &&
                            (type.IsNumeric() || type.type_class == D3DXPC_STRUCT);
    if (type.IsNumeric() || type.type_class == D3DXPC_STRUCT || type.IsSampler()) {
        const TextPosition at = cursor_.At(type_start).at;
        if (parameter.compiled_in) shaders_.Make("static const", at);
        if (type.type_class == D3DXPC_MATRIX_ROWS) shaders_.Make("row_major", at);
        if (SameName(cursor_.At(type_start).text, "vector") && type_end == type_start + 1) {
            shaders_.Make("float4", at);
        } else if (SameName(cursor_.At(type_start).text, "matrix") && type_end == type_start + 1) {
            shaders_.Make("float4x4", at);
        } else {
            shaders_.Keep(type_start, type_end);
        }
        shaders_.Keep(name, dimensions_end);
        shaders_.Keep(register_start, register_end);
        if (parameter.compiled_in) shaders_.Keep(value, value_end);
        shaders_.Make(";", cursor_.Here());
    }
    if (parameter.compiled_in && !values_.list) Remember(key, values_);
    parameters_.emplace(key, static_cast<u32>(out_.parameters.size()));
    out_.parameters.push_back(std::move(parameter));
    return true;
}

bool EffectParser::Initialiser(EffectParameter& parameter) {
    const TextPosition at = cursor_.Here();
    const EffectType& type = parameter.type;
    values_ = {};
    if (type.type == D3DXPT_STRING) {
        if (cursor_.Ahead().kind != TokenKind::kString) return Unexpected("a string");
        while (cursor_.Ahead().kind == TokenKind::kString) parameter.text += Unescaped(cursor_.Next().text);
        return true;
    }
    if (type.IsSampler()) {
        if (!cursor_.IsName("sampler_state")) return Unexpected("'sampler_state'");
        cursor_.Next();
        return SamplerStates(parameter.states);
    }
    if (type.IsShader()) {
        const EffectStateInfo& info =
            *FindEffectState(type.type == D3DXPT_VERTEXSHADER ? "VertexShader" : "PixelShader");
        EffectAssignment shader;
        if (!Compile(info, shader)) return false;
        if (shader.source == EffectAssignment::Source::kShader) parameter.shader = shader.shader;
        return true;
    }
    if (type.IsTexture()) return Fail(at, "a texture has no default value");
    ConstantReader reader(cursor_, known_, nullptr);
    if (!reader.Read(values_)) return Fail(at, "the default value has " + reader.Fault());
    std::vector<f64>& numbers = values_.numbers;
    const std::size_t count = parameter.cells.size();
    if (numbers.size() == 1 && !values_.list && type.IsNumeric()) numbers.assign(count, numbers[0]);
    if (numbers.size() < count || (numbers.size() > count && values_.list))
        return Fail(at, "the default value has " + std::to_string(numbers.size()) + " numbers, '" +
                            parameter.name + "' takes " + std::to_string(count));
    numbers.resize(count);
    std::size_t next = 0;
    Fill(type, parameter.elements, numbers, next, parameter.cells);
    return true;
}

// Structures lie within each other at most as deep as the text declares them one after another; an array
// of many tiny ones is bounded by the cells that it fills.
void EffectParser::Fill(const EffectType& type, u32 elements, const std::vector<f64>& numbers,
                        std::size_t& next, std::vector<u32>& cells) const {
    for (u32 i = 0; i < std::max(elements, 1u); ++i) {
        if (type.type_class == D3DXPC_STRUCT) {
            for (const EffectMember& member : out_.structures[type.structure].members)
                Fill(member.type, member.elements, numbers, next, cells);
        } else {
            for (u32 k = 0; k < type.rows * type.columns; ++k, ++next)
                cells[next] = ToCell(type.type, numbers[next]);
        }
    }
}

std::string EffectParser::Unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        const char c = text[++i];
        plain += c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c;
    }
    return plain;
}

// "< string name = "x"; int n = 3; >"
bool EffectParser::Annotations(std::vector<EffectParameter>& annotations) {
    cursor_.Next();
    while (!cursor_.Take(">")) {
        if (cursor_.Take(";")) continue;
        EffectParameter annotation;
        annotation.at = cursor_.Here();
        if (!Type(annotation.type)) return false;
        if (!annotation.type.IsNumeric() && annotation.type.type != D3DXPT_STRING)
            return Fail(annotation.at, "an annotation is a number or a string");
        if (!Name(annotation.name, "a name") || !Dimensions(annotation.elements)) return false;
        const u32 count = CountCells(out_, annotation.type, annotation.elements);
        cells_ += count;
        if (cells_ > kMaxEffectCells) return Fail(annotation.at, "the annotations are too large");
        annotation.cells.assign(count, 0);
        if (cursor_.Take("=") && !Initialiser(annotation)) return false;
        if (!Expect(";")) return false;
        annotations.push_back(std::move(annotation));
    }
    return true;
}

bool ParseEffect(const PreprocessedText& text, EffectDocument& out, EffectMessages& messages) {
    EffectParser(text, out, messages).Run();
    return !messages.Any();
}

}  // namespace fxutil
