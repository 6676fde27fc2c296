// Scenes into files.
#pragma once

#include <string>

#include "cli/whole_file.h"
#include "scene/scene_hierarchy.h"

namespace tools {

// Writes `scene` with its chunks beside where `file`, called `path` in messages, is to be; the caller
// commits. Throws cli::Error when that fails.
void WriteBeside(cli::WholeFile& file, const std::string& path, osm3d::SceneHierarchy& scene);

}  // namespace tools
