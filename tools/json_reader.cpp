#include "json_reader.h"

#include <charconv>

namespace tools {

class JsonParser {
  public:
    explicit JsonParser(std::string_view text) : text_(text) {}

    bool Document(Json& out) {
        if (!Value(out, 0)) return false;
        Space();
        return at_ == text_.size();
    }

  private:
    static constexpr unsigned kMaxDepth = 64;

    void Space() {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\n' || text_[at_] == '\r' ||
                                      text_[at_] == '\t' || text_[at_] == '\0'))
            ++at_;
    }
    bool Take(std::string_view word) {
        if (text_.substr(at_, word.size()) != word) return false;
        at_ += word.size();
        return true;
    }

    bool Value(Json& out, unsigned depth) {
        Space();
        if (at_ == text_.size() || depth > kMaxDepth) return false;
        switch (text_[at_]) {
            case '{':
                return Items(out, Json::Kind::Object, '}', depth);
            case '[':
                return Items(out, Json::Kind::Array, ']', depth);
            case '"':
                out.kind_ = Json::Kind::Text;
                return String(out.text_);
            case 't':
                out.kind_ = Json::Kind::True;
                return Take("true");
            case 'f':
                out.kind_ = Json::Kind::False;
                return Take("false");
            case 'n':
                return Take("null");
            default:
                return Number(out);
        }
    }

    bool Items(Json& out, Json::Kind kind, char end, unsigned depth) {
        out.kind_ = kind;
        ++at_;
        Space();
        if (at_ < text_.size() && text_[at_] == end) return ++at_, true;
        while (true) {
            if (kind == Json::Kind::Object) {
                Space();
                if (at_ == text_.size() || text_[at_] != '"' || !String(out.names_.emplace_back()))
                    return false;
                Space();
                if (!Take(":")) return false;
            }
            if (!Value(out.items_.emplace_back(), depth + 1)) return false;
            Space();
            if (at_ == text_.size()) return false;
            const char next = text_[at_++];
            if (next == end) return true;
            if (next != ',') return false;
        }
    }

    bool Number(Json& out) {
        out.kind_ = Json::Kind::Number;
        const char* from = text_.data() + at_;
        const auto [end, error] = std::from_chars(from, text_.data() + text_.size(), out.number_);
        at_ += static_cast<std::size_t>(end - from);
        return error == std::errc();
    }

    bool String(std::string& out) {
        for (++at_; at_ < text_.size(); ++at_) {
            const char c = text_[at_];
            if (c == '"') return ++at_, true;
            if (c != '\\') {
                out += c;
                continue;
            }
            if (++at_ == text_.size() || !Escape(out)) return false;
        }
        return false;
    }

    bool Escape(std::string& out) {
        switch (const char c = text_[at_]) {
            case 'b':
                out += '\b';
                return true;
            case 'f':
                out += '\f';
                return true;
            case 'n':
                out += '\n';
                return true;
            case 'r':
                out += '\r';
                return true;
            case 't':
                out += '\t';
                return true;
            case 'u':
                return Unicode(out);
            default:
                out += c;
                return c == '"' || c == '\\' || c == '/';
        }
    }
    bool Hex(unsigned& out) {
        if (text_.size() - at_ < 5) return false;
        const auto [end, error] = std::from_chars(text_.data() + at_ + 1, text_.data() + at_ + 5, out, 16);
        at_ += 4;
        return error == std::errc() && end == text_.data() + at_ + 1;
    }
    bool Unicode(std::string& out) {
        unsigned code = 0, low = 0;
        if (!Hex(code)) return false;
        if (code >= 0xd800 && code < 0xdc00 && text_.substr(at_ + 1, 2) == "\\u") {
            at_ += 2;
            if (!Hex(low)) return false;
            code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
        }
        const auto put = [&](unsigned byte) { out += static_cast<char>(byte); };
        if (code < 0x80) {
            put(code);
        } else if (code < 0x800) {
            put(0xc0 | code >> 6);
            put(0x80 | (code & 63));
        } else if (code < 0x10000) {
            put(0xe0 | code >> 12);
            put(0x80 | (code >> 6 & 63));
            put(0x80 | (code & 63));
        } else {
            put(0xf0 | (code >> 18 & 7));
            put(0x80 | (code >> 12 & 63));
            put(0x80 | (code >> 6 & 63));
            put(0x80 | (code & 63));
        }
        return true;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

std::optional<Json> Json::Parse(std::string_view text) {
    Json out;
    if (!JsonParser(text).Document(out)) return std::nullopt;
    return out;
}

const Json& Json::operator[](std::size_t index) const {
    static const Json none;
    return kind_ == Kind::Array && index < items_.size() ? items_[index] : none;
}

const Json& Json::operator[](std::string_view name) const {
    static const Json none;
    for (std::size_t i = 0; i < names_.size(); ++i)
        if (names_[i] == name) return items_[i];
    return none;
}

std::size_t Json::Index(std::size_t otherwise) const {
    constexpr double kMost = 4294967295.0;
    return kind_ == Kind::Number && number_ >= 0 && number_ <= kMost ? static_cast<std::size_t>(number_)
                                                                     : otherwise;
}

}  // namespace tools
