// What osmplay plays: a project and the files that it names, or a package that holds both.
#pragma once

#include <string>

#include "project.h"

namespace host {

// Reads a project (.xml) or a package (osmplay export --loadable). Throws cli::Error with the first mistake,
// or when it is neither.
Project ReadSource(const std::string& path, const EffectLibrary& library);

// The same with all mistakes.
Project ReadSource(const std::string& path, const EffectLibrary& library, Mistakes& mistakes);

}  // namespace host
