// Why an effect text makes no effect.
#pragma once

#include <string>
#include <vector>

namespace tools {

// One line each for what is wrong with the effect file `path`: "NAME(line,column): error: what". Empty when
// it parses and all its shaders compile here.
std::vector<std::string> EffectFaults(const std::string& path);

}  // namespace tools
