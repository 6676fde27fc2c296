// From a model to the engine's scene objects.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model.h"
#include "scene/scene_hierarchy.h"

namespace tools {

struct BuildOptions {
    bool embed = false;  // take the image files into the scene
    // Sample motion this often; 0: the model's own keys, and kDefaultRate for what keys cannot say.
    double frames_per_second = 0;
    bool shadows = false;  // the brightest light casts shadows of all that is not blended
    std::vector<std::string>
        cube;  // background: none, one .dds cube map, or images for up, down, -x, +x, -y, +y
};

// Makes a scene that holds everything of `model`, and a fitting camera, light, ambient light and background
// where it has none. The camera takes in all that the motion reaches. What a person should know is added to
// `notes`. Throws cli::Error when an image cannot be read that is to be embedded or stands in the background.
std::unique_ptr<osm3d::SceneHierarchy> BuildScene(const Model& model, const BuildOptions& options,
                                                  std::vector<std::string>& notes);

}  // namespace tools
