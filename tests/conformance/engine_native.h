// Our pictures of the engine's cases.
#pragma once

#include <string>
#include <vector>

#include "conformance/engine_cases.h"
#include "conformance/picture.h"

namespace conformance {

/// Makes the case's files, and draws each of its pictures by the module and the host code that osmplay runs.
/// False with a reason when that cannot be done. The module is loaded once for the process.
bool DrawEngine(const EngineCase& entry, std::vector<Picture>& pictures, std::string& reason);

/// Where another Direct3D 9's picture of it lies.
std::string EngineGolden(const std::string& picture_name);

}  // namespace conformance
