// Whether a scene keeps the rules that Update and Render take for granted.
#pragma once

#include <string>
#include <vector>

namespace osm3d {

class Mesh;
class SceneHierarchy;

/// True when LoadResources, Update and Render of `scene` are safe. Otherwise `reason` is one line that names
/// the object and what is wrong with it. Changes nothing and needs no device.
bool ValidateScene(const SceneHierarchy& scene, std::string& reason);

/// For what stands beside the scene's lists and refers to its meshes: whether each of `references` is one of
/// them, and none is null. Otherwise `reason` is one line that calls the first that is not `what`.
bool ValidateMeshReferences(const SceneHierarchy& scene, const std::vector<Mesh*>& references,
                            const char* what, std::string& reason);

}  // namespace osm3d
