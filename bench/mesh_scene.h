// The scene of 2,000 meshes that frames are timed with.
#pragma once

#include <string>

namespace bench {

// Writes it to `path`: quads in 20 materials, every fifth of them translucent.
void WriteMeshScene(const std::string& path);

}  // namespace bench
