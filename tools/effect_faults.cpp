#include "effect_faults.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <sstream>

namespace tools {

std::vector<std::string> EffectFaults(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return {fmt::format("\"{}\" cannot be opened", path)};
    return {};
}

}  // namespace tools
