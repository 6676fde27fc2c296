// Whether a scene keeps the rules that Update and Render take for granted.
#pragma once

#include <string>

namespace osm3d {

class SceneHierarchy;

/// True when LoadResources, Update and Render of `scene` are safe. Otherwise `reason` is one line that names
/// the object and what is wrong with it. Changes nothing and needs no device.
bool ValidateScene(const SceneHierarchy& scene, std::string& reason);

}  // namespace osm3d
