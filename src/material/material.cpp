#include "material/material.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>

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

bool ValidateReferences(const Material& top, std::string& reason) {
    // Depth first, without recursion: the levels below a material are known once it has been left.
    constexpr u32 kOpen = 0;
    std::unordered_map<const Material*, u32> known{{&top, kOpen}};
    std::vector<Step> path;
    path.emplace_back(&top);
    while (!path.empty()) {
        Step& step = path.back();
        if (step.below.empty()) {
            const u32 levels = step.levels;
            known[step.material] = levels;
            path.pop_back();
            if (!path.empty()) path.back().levels = std::max(path.back().levels, levels + 1);
            if (levels > kMaxDepth) {
                reason = "materials are nested too deep";
                return false;
            }
            continue;
        }
        const Material* next = step.below.back();
        step.below.pop_back();
        if (next == nullptr) continue;
        const auto [at, fresh] = known.try_emplace(next, kOpen);
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
