#include "material/material.h"

#include <algorithm>
#include <cstddef>

namespace osm3d {

namespace {

// The one drawn with, and what may stand around it.
constexpr u32 kMaxDepth = 17;

/// A material being walked through, with what is left to see of it and the levels found below it.
struct Step {
    explicit Step(const Material* subject) : material(subject) { subject->References(below); }

    const Material* material;
    std::vector<const Material*> below;
    u32 levels = 1;
};

}  // namespace

bool MaterialReferences::Validate(const Material& top, std::string& reason) {
    // Depth first, without recursion: the levels of a material are known once it has been left.
    constexpr u32 kOpen = 0;
    if (!levels.try_emplace(&top, kOpen).second) return true;
    std::vector<Step> path;
    path.emplace_back(&top);
    while (!path.empty()) {
        Step& step = path.back();
        if (step.below.empty()) {
            const u32 found = step.levels;
            levels[step.material] = found;
            path.pop_back();
            if (!path.empty()) path.back().levels = std::max(path.back().levels, found + 1);
            if (found > kMaxDepth) {
                reason = "materials are nested too deep";
                return false;
            }
            continue;
        }
        const Material* next = step.below.back();
        step.below.pop_back();
        if (next == nullptr) continue;
        const auto [at, fresh] = levels.try_emplace(next, kOpen);
        if (fresh) {
            if (path.size() > kMaxDepth) {
                reason = "materials are nested too deep";
                return false;
            }
            path.emplace_back(next);
        } else if (at->second == kOpen) {
            reason = "a material contains itself";
            return false;
        } else {
            step.levels = std::max(step.levels, at->second + 1);
        }
    }
    return true;
}

}  // namespace osm3d
