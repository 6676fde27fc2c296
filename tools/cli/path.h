// File names: in UTF-8 in all texts of ours, whatever the system's own way to hold them.
#pragma once

#include <filesystem>
#include <string>

namespace cli {

inline std::filesystem::path ToPath(const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

inline std::string ToText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

}  // namespace cli
