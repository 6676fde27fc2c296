// Parts of a scene that say what was asked of them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "geometry/geometry_simple.h"
#include "material/material_simple.h"

namespace logged {

using namespace osm3d;
using Log = std::vector<std::string>;

class Material : public MaterialSimple {
  public:
    Material(std::string label, Log& to, u32 blend = 1, u32 count = 1)
        : name(std::move(label)), passes(count), log(to) {
        SetConstants({1, 1, 1, 1}, {}, {}, {}, 0);
        SetBlendClass(blend);
    }
    void Update(f32) override { log.push_back("update " + name); }
    void Load() override { log.push_back("load " + name); }
    void Prepare() override { log.push_back("prepare " + name); }
    u32 Begin(u32) override {
        log.push_back("begin " + name);
        return passes;
    }
    void Pass(u32 pass) override { log.push_back("pass " + std::to_string(pass)); }
    void End() override { log.push_back("end"); }

    std::string name;
    u32 passes;
    Log& log;
};

/// In a box from the origin to (2, 4, 6).
class Geometry : public GeometrySimple {
  public:
    Geometry(std::string label, Log& to) : name(std::move(label)), log(to) {
        positions = {{0, 0, 0}, {2, 4, 6}};
    }
    void Draw() override { log.push_back("draw " + name); }
    void Initialize() override { log.push_back("initialize " + name); }

    std::string name;
    Log& log;
};

}  // namespace logged
