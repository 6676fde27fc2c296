#include "scene/scene_file.h"

#include <memory>

#include "io/file_stream.h"
#include "io/open.h"
#include "scene/scene_hierarchy.h"
#include "scene/scene_validation.h"

namespace osm3d {

std::unique_ptr<osmio::InStreamChunked> OpenSceneFile(const std::string& path, std::string& reason) {
    std::unique_ptr<osmio::InStreamChunked> in(osmio::OpenChunkedInput(path));
    if (in == nullptr) {
        reason =
            osmio::InStreamFile(path).IsOpen() ? "the file is no scene file" : "the file cannot be opened";
    }
    return in;
}

bool LoadSceneStream(osmio::InStreamChunked& in, osmio::ObjectGraph& graph, SceneHierarchy*& scene,
                     std::string& reason) {
    scene = nullptr;
    graph.Clear();
    osmio::Serializable* object = in.ReadObject();
    osmio::ObjectGraph read = in.TakeGraph();
    auto* root = dynamic_cast<SceneHierarchy*>(object);
    const std::string trouble = in.GetError();
    if (in.HasFailed()) {
        reason = trouble;
        return false;
    }
    if (root == nullptr) {
        reason = "the file's first object is no scene";
    } else if (ValidateScene(*root, reason)) {
        graph = std::move(read);
        scene = root;
        reason.clear();
        return true;
    }
    // What the scene lacks often comes from something that was met earlier.
    if (!trouble.empty()) {
        reason += "; " + trouble;
    }
    return false;
}

bool LoadSceneFile(const std::string& path, osmio::ObjectGraph& graph, SceneHierarchy*& scene,
                   std::string& reason) {
    scene = nullptr;
    graph.Clear();
    const auto in = OpenSceneFile(path, reason);
    return in != nullptr && LoadSceneStream(*in, graph, scene, reason);
}

}  // namespace osm3d
