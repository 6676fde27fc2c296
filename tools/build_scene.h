// From a model to the engine's scene objects.
#pragma once

#include <memory>

#include "model.h"
#include "scene/scene_hierarchy.h"

namespace tools {

struct BuildOptions {
    bool embed = false;            // take the image files into the scene
    double frames_per_second = 0;  // sample motion this often; 0: the model's own keys
};

// Makes a scene that holds everything of `model`, and a fitting camera, light, ambient light and background
// where it has none. Throws cli::Error when an image that is to be embedded cannot be read.
std::unique_ptr<osm3d::SceneHierarchy> BuildScene(const Model& model, const BuildOptions& options);

}  // namespace tools
