// From a scene file to a scene.
#pragma once

#include <string>

#include "io/in_stream_chunked.h"
#include "io/object_graph.h"

namespace osm3d {

class SceneHierarchy;

/// Reads the scene file `path`, plain or packed, and checks it. On success `graph` owns everything and
/// `scene` is its root; LoadResources is the caller's. On failure `graph` is empty, `scene` null, and
/// `reason` one line that says why.
bool LoadSceneFile(const std::string& path, osmio::ObjectGraph& graph, SceneHierarchy*& scene,
                   std::string& reason);

/// The same from an open stream that stands on the root's slot. `in` is not taken over.
bool LoadSceneStream(osmio::InStreamChunked& in, osmio::ObjectGraph& graph, SceneHierarchy*& scene,
                     std::string& reason);

}  // namespace osm3d
