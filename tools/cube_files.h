// The image files of a cube background.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "envelope.h"

namespace tools {

// The faces of a .dds cube map as six .dds files in the order of the engine's keys 1 to 6: up, down, -x, +x,
// -y, +y. The map's own y is taken as up and its z as the scene's +y; no face needs to be turned for that.
// Throws cli::Error when the file is none.
std::array<Bytes, 6> CubeFaces(const std::string& path);

// Throws cli::Error unless each of the six files is an image, square, and as large as the first.
void CheckFaces(const std::vector<std::string>& paths);

}  // namespace tools
