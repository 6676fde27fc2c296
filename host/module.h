// The engine's module, loaded as any host loads it.
#pragma once

#include <string>

#include "driver/driver.h"

namespace host {

class Module {
  public:
    // Loads the module at `path` and asks it for its Driver. Throws cli::Error when that fails.
    explicit Module(const std::string& path);
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    osm3d::Driver& Driver() const { return *driver_; }

  private:
    // Stays loaded for the life of the process, as the Driver's own static objects expect.
    osm3d::Driver* driver_ = nullptr;
};

// The folder of the running program, where the module and the effect library lie too.
std::string ProgramFolder();

}  // namespace host
