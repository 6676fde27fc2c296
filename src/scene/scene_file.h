// From a scene file to a scene.
#pragma once

#include <memory>
#include <string>

#include "io/chunked_stream.h"
#include "io/object_graph.h"

namespace osm3d {

class SceneHierarchy;

/// Opens the scene file `path`, plain or packed, before its root's slot. Null, with `reason` saying why, when
/// it cannot.
std::unique_ptr<osmio::InStreamChunked> OpenSceneFile(const std::string& path, std::string& reason);

/// Reads the scene file `path`, plain or packed, and checks it. On success `graph` owns everything and
/// `scene` is its root; LoadResources is the caller's. On failure `graph` is empty, `scene` null, and
/// `reason` one line that says why.
bool LoadSceneFile(const std::string& path, osmio::ObjectGraph& graph, SceneHierarchy*& scene,
                   std::string& reason);

/// The same from an open stream that stands on the root's slot. `in` is not taken over.
bool LoadSceneStream(osmio::InStreamChunked& in, osmio::ObjectGraph& graph, SceneHierarchy*& scene,
                     std::string& reason);

}  // namespace osm3d
