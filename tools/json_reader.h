// Reads JSON texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tools {

// A value. What is asked of the wrong kind of value, or is not there, gives a null value, zero or "".
class Json {
  public:
    // Nothing for a text that is no JSON, or nests deeper than 64 levels.
    static std::optional<Json> Parse(std::string_view text);

    bool IsNull() const { return kind_ == Kind::Null; }
    bool IsNumber() const { return kind_ == Kind::Number; }
    std::size_t Size() const { return items_.size(); }
    const Json& operator[](std::size_t index) const;
    const Json& operator[](std::string_view name) const;
    double Number() const { return number_; }
    // A whole number from 0 on; `otherwise` when it is none.
    std::size_t Index(std::size_t otherwise = 0) const;
    bool True() const { return kind_ == Kind::True; }
    const std::string& Text() const { return text_; }

  private:
    friend class JsonParser;
    enum class Kind { Null, False, True, Number, Text, Array, Object };

    Kind kind_ = Kind::Null;
    double number_ = 0;
    std::string text_;
    std::vector<std::string> names_;  // of an object's items
    std::vector<Json> items_;
};

}  // namespace tools
