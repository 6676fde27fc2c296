#include "fxutil/effect_expression.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

namespace fxutil {
namespace {

constexpr u32 kMaxDepth = 48;

int Level(const Token& token) {
    static constexpr std::pair<std::string_view, int> kLevels[] = {
        {"|", 1}, {"^", 2}, {"&", 3}, {"<<", 4}, {">>", 4}, {"+", 5}, {"-", 5}, {"*", 6}, {"/", 6}, {"%", 6}};
    for (const auto& [symbol, level] : kLevels)
        if (token.Is(symbol)) return level;
    return 0;
}

// Whole numbers of 32 bits, with or without a sign.
i64 Whole(f64 value) {
    if (std::isnan(value)) return 0;
    if (value >= 4294967295.0) return 4294967295;
    if (value <= -2147483648.0) return -2147483648LL;
    return static_cast<i64>(value);
}

bool ReadNumber(std::string_view text, f64& value) {
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
        while (!text.empty() && std::string_view("uUlL").find(text.back()) != std::string_view::npos)
            text.remove_suffix(1);
        u32 bits = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bits, 16);
        value = bits;
        return error == std::errc() && end == text.data() + text.size();
    }
    if (!text.empty() && std::string_view("fFhHlLuU").find(text.back()) != std::string_view::npos)
        text.remove_suffix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

bool FindNumericType(std::string_view name, EffectType& type) {
    static constexpr std::pair<std::string_view, D3DXPARAMETER_TYPE> kScalars[] = {
        {"float", D3DXPT_FLOAT},  {"int", D3DXPT_INT},   {"bool", D3DXPT_BOOL}, {"half", D3DXPT_FLOAT},
        {"double", D3DXPT_FLOAT}, {"dword", D3DXPT_INT}, {"DWORD", D3DXPT_INT}, {"uint", D3DXPT_INT}};
    for (const auto& [scalar, base] : kScalars) {
        if (!name.starts_with(scalar)) continue;
        const std::string_view sizes = name.substr(scalar.size());
        auto size = [&](std::size_t i) { return sizes[i] >= '1' && sizes[i] <= '4'; };
        auto number = [&](std::size_t i) { return static_cast<u32>(sizes[i] - '0'); };
        if (sizes.empty()) {
            type = {D3DXPC_SCALAR, base, 1, 1, 0};
            return true;
        }
        if (sizes.size() == 1 && size(0)) {
            type = {D3DXPC_VECTOR, base, 1, number(0), 0};
            return true;
        }
        if (sizes.size() == 3 && size(0) && sizes[1] == 'x' && size(2)) {
            type = {D3DXPC_MATRIX_COLUMNS, base, number(0), number(2), 0};
            return true;
        }
    }
    if (SameName(name, "vector")) {
        type = {D3DXPC_VECTOR, D3DXPT_FLOAT, 1, 4, 0};
        return true;
    }
    if (SameName(name, "matrix")) {
        type = {D3DXPC_MATRIX_COLUMNS, D3DXPT_FLOAT, 4, 4, 0};
        return true;
    }
    return false;
}

u32 ToCell(D3DXPARAMETER_TYPE type, f64 value) {
    if (type == D3DXPT_BOOL) return value != 0 ? 1 : 0;
    if (type == D3DXPT_INT) return static_cast<u32>(Whole(value));
    constexpr f64 kMost = std::numeric_limits<f32>::max();
    constexpr f32 kInfinite = std::numeric_limits<f32>::infinity();
    if (value > kMost) return std::bit_cast<u32>(kInfinite);
    if (value < -kMost) return std::bit_cast<u32>(-kInfinite);
    return std::bit_cast<u32>(static_cast<f32>(value));
}

bool ConstantReader::Combine(const Token& op, ConstantValue& left, const ConstantValue& right) {
    if (left.list || right.list) return Fail("a list in braces cannot be computed with");
    const std::size_t count = std::max(left.numbers.size(), right.numbers.size());
    if ((left.numbers.size() != count && left.numbers.size() != 1) ||
        (right.numbers.size() != count && right.numbers.size() != 1) || count == 0)
        return Fail("the two sides of '" + std::string(op.text) + "' have different sizes");
    if (left.numbers.size() < count) left.numbers.assign(count, left.numbers[0]);
    for (std::size_t i = 0; i < count; ++i) {
        f64& a = left.numbers[i];
        const f64 b = right.numbers[right.numbers.size() == 1 ? 0 : i];
        const u32 x = static_cast<u32>(Whole(a)), y = static_cast<u32>(Whole(b));
        switch (op.text[0]) {
            case '|':
                a = x | y;
                break;
            case '^':
                a = x ^ y;
                break;
            case '&':
                a = x & y;
                break;
            case '<':
                a = x << (y & 31);
                break;
            case '>':
                a = x >> (y & 31);
                break;
            case '+':
                a += b;
                break;
            case '-':
                a -= b;
                break;
            case '*':
                a *= b;
                break;
            default:
                if (b == 0) return Fail("a division by zero");
                a = op.text[0] == '/' ? a / b : std::fmod(a, b);
                break;
        }
    }
    return true;
}

bool ConstantReader::Binary(int least, u32 depth, ConstantValue& out) {
    if (!Unary(depth, out)) return false;
    for (;;) {
        const Token& op = cursor_.Ahead();
        const int level = Level(op);
        if (level == 0 || level <= least) return true;
        cursor_.Next();
        ConstantValue right;
        if (!Binary(level, depth, right) || !Combine(op, out, right)) return false;
    }
}

bool ConstantReader::Unary(u32 depth, ConstantValue& out) {
    if (depth >= kMaxDepth) return Fail("a value that is nested too deep");
    if (cursor_.Take("+")) return Unary(depth + 1, out);
    for (const char* sign : {"-", "~", "!"}) {
        if (!cursor_.Take(sign)) continue;
        if (!Unary(depth + 1, out)) return false;
        if (out.list) return Fail("a list in braces cannot be computed with");
        for (f64& number : out.numbers) {
            if (*sign == '-') number = -number;
            if (*sign == '~') number = static_cast<f64>(~static_cast<u32>(Whole(number)));
            if (*sign == '!') number = number == 0 ? 1 : 0;
        }
        return true;
    }
    return Primary(depth, out);
}

bool ConstantReader::List(u32 depth, std::string_view end, ConstantValue& out) {
    while (!cursor_.Take(end)) {
        ConstantValue part;
        if (!Binary(0, depth + 1, part)) return false;
        out.numbers.insert(out.numbers.end(), part.numbers.begin(), part.numbers.end());
        if (out.numbers.size() > kMaxEffectCells) return Fail("a value that is too long");
        if (!cursor_.Is(end) && !cursor_.Take(","))
            return Fail("'" + std::string(cursor_.Ahead().text) + "' where ',' or '" + std::string(end) +
                        "' is expected");
    }
    return true;
}

bool ConstantReader::Primary(u32 depth, ConstantValue& out) {
    const Token& token = cursor_.Ahead();
    const std::string text(token.text);
    if (token.kind == TokenKind::kEnd) return Fail("the end of the text where a value is expected");
    if (cursor_.Take("{")) {
        out.list = true;
        return List(depth, "}", out);
    }
    if (cursor_.Take("(")) {
        EffectType cast;
        if (cursor_.Ahead().kind == TokenKind::kName && cursor_.Is(")", 1) &&
            FindNumericType(cursor_.Ahead().text, cast)) {
            cursor_.Next();
            cursor_.Next();
            if (!Unary(depth + 1, out)) return false;
            const std::size_t size = std::size_t{cast.rows} * cast.columns;
            if (out.numbers.size() == 1) out.numbers.assign(size, out.numbers[0]);
            if (out.numbers.size() < size) return Fail("a cast to a larger type");
            out.numbers.resize(size);
            if (cast.type != D3DXPT_FLOAT)
                for (f64& number : out.numbers)
                    number = cast.type == D3DXPT_BOOL ? (number != 0 ? 1.0 : 0.0)
                                                      : static_cast<f64>(Whole(number));
            return true;
        }
        if (!Binary(0, depth + 1, out)) return false;
        return cursor_.Take(")") || Fail("'" + std::string(cursor_.Ahead().text) + "' where ')' is expected");
    }
    cursor_.Next();
    if (state_) {
        // Some words begin with a digit.
        if (const auto symbol = FindEffectSymbol(*state_, token.text)) {
            out.numbers = {static_cast<f64>(*symbol)};
            return true;
        }
    }
    if (token.kind == TokenKind::kNumber) {
        out.numbers.resize(1);
        return ReadNumber(token.text, out.numbers[0]) || Fail("'" + text + "', which is no number");
    }
    if (token.kind != TokenKind::kName) return Fail("'" + text + "' where a value is expected");
    if (SameName(token.text, "true") || SameName(token.text, "false")) {
        out.numbers = {SameName(token.text, "true") ? 1.0 : 0.0};
        return true;
    }
    EffectType type;
    if (cursor_.Is("(") && FindNumericType(token.text, type)) {
        cursor_.Next();
        if (!List(depth, ")", out)) return false;
        const std::size_t size = std::size_t{type.rows} * type.columns;
        if (out.numbers.size() == 1) out.numbers.assign(size, out.numbers[0]);
        if (out.numbers.size() != size)
            return Fail("a " + text + " of " + std::to_string(out.numbers.size()) + " numbers");
        return true;
    }
    if (const auto known = known_.find(token.text); known != known_.end()) {
        out.numbers = known->second.numbers;
        return true;
    }
    if (state_) return Fail("'" + text + "', which is no value of state " + std::string(state_->name));
    return Fail("'" + text + "', which is no constant");
}

}  // namespace fxutil
