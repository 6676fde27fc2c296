// What osmplay plays: a project file.
#pragma once

#include <string>

#include "module.h"
#include "project.h"

namespace host {

struct Source {
    std::string path;
    Project project;
};

// Reads a project (.xml). Throws cli::Error with the first mistake.
Source ReadSource(const std::string& path, const EffectLibrary& library);

// Comes before a Player for the source's project is made.
void Open(Source& source, Module& module);

}  // namespace host
