// What casts the shadows of an imported model.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "model.h"

namespace tools {

// Meshes that move as one.
struct ShadowBody {
    std::vector<std::size_t> meshes;  // by their positions in the model, at least one
    // Their surface without the cuts along hard edges, texture seams and changes of material, for a mesh that
    // is not to be seen; empty where one mesh has none. A shadow's outline runs along the edges of triangles,
    // and triangles on both sides of a cut do not share theirs: each would draw an outline of its own.
    std::optional<ModelMesh> welded;
};

// Puts `meshes` of the model into bodies: together when they have one node, or the same bones, and no more
// than 65,535 vertices and triangles in all.
std::vector<ShadowBody> ShadowBodies(const Model& model, const std::vector<std::size_t>& meshes);

}  // namespace tools
