#include "win32/command_line.h"

namespace host {

std::string CommandLine(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments) {
        if (!line.empty()) line += ' ';
        if (!argument.empty() && argument.find_first_of(" \t\n\v\"") == argument.npos) {
            line += argument;
            continue;
        }
        // Backslashes stand for themselves but before a quote, where each is written twice.
        line += '"';
        std::size_t backslashes = 0;
        for (const char c : argument) {
            if (c == '"') line.append(backslashes + 1, '\\');
            backslashes = c == '\\' ? backslashes + 1 : 0;
            line += c;
        }
        line.append(backslashes, '\\');
        line += '"';
    }
    return line;
}

}  // namespace host
