// Reading the tables that golden.sh made.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/types.h"

namespace golden {

inline std::string Folder() { return std::string(OSM_SOURCE_DIR) + "/tests/fxutil/"; }

/// The lines of a table that are not remarks. Empty when the file is missing.
inline std::vector<std::string> Lines(const std::string& table) {
    std::vector<std::string> lines;
    std::ifstream file(Folder() + "golden/" + table);
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line[0] != '#') lines.push_back(line);
    }
    return lines;
}

inline std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

inline std::vector<u8> Picture(const std::string& name) {
    std::ifstream file(Folder() + "images/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace golden
