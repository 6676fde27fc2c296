// A model as om2 import reads it: plain data between the file libraries and the engine's objects.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "envelope.h"
#include "geometry/geometry_simple.h"
#include "geometry/geometry_weighted.h"
#include "scene/value_types.h"

namespace tools {

// Key units in a second of the model's time.
inline constexpr double kKeyUnitsPerSecond = 100.0;
// Samples a second of motion that keys cannot say.
inline constexpr double kDefaultRate = 30.0;

template <class T>
struct ModelKey {
    float time = 0;  // in key units
    T value{};
};

// What moves a node, in its parent's space. Each list has at least one key.
struct ModelMotion {
    std::vector<ModelKey<osm3d::vect3>> positions, scales;
    std::vector<ModelKey<osm3d::quat>> rotations;
};

struct ModelNode {
    std::string name;
    int parent = -1;        // index of an earlier node
    osm3d::matrix local{};  // at rest, row vectors
    std::optional<ModelMotion> motion;
};

struct ModelImage {
    std::string path;  // of the image file, absolute; empty when `bytes` holds it
    Bytes bytes;       // an image file
};

struct ModelMaterial {
    std::string name;
    osm3d::color diffuse{0.8f, 0.8f, 0.8f, 1}, ambient{0.8f, 0.8f, 0.8f, 1}, specular{0, 0, 0, 1},
        emissive{0, 0, 0, 1};
    float power = 0;
    int image = -1;  // index into images
    bool clamp_u = false, clamp_v = false;
    bool blended = false;               // drawn last, mixed by alpha
    std::optional<float> alpha_cutoff;  // pixels below it are left out
    bool two_sided = false;
};

// How the vertices of a mesh follow nodes. The bones say it all: the placement of the mesh's own node plays
// no part.
struct ModelSkin {
    std::vector<int> bones;              // nodes, at most 256
    std::vector<osm3d::matrix> offsets;  // one per bone: from the mesh's space into the bone's
    // One per vertex, the heaviest bone first; the four weights sum to one.
    std::vector<osm3d::VertexWeights> weights;
};

// One drawable: at most 65,536 vertices, one material.
struct ModelMesh {
    std::string name;
    int node = -1;
    int material = -1;
    std::vector<osm3d::vect3> positions, normals;
    std::vector<osm3d::color> colors;
    std::vector<std::vector<osm3d::UV>> uv_sets;
    std::vector<osm3d::Triangle> triangles;
    std::optional<ModelSkin> skin;
};

// One of the motions that a model's file holds.
struct ModelAnimation {
    std::string name;
    double seconds = 0;
    double ticks = 0, ticks_per_second = 0;  // in the file's own unit
};

// Looks along its node's -z, y up.
struct ModelCamera {
    std::string name;
    int node = -1;
    float vertical_fov = 0.8f;  // radians
    float near_clip = 0.1f, far_clip = 1000;
};

// Shines from where its node is. A light that shines in one direction only has been put far away by then.
struct ModelLight {
    std::string name;
    int node = -1;
    osm3d::color diffuse{1, 1, 1, 1}, specular{1, 1, 1, 1}, ambient{0, 0, 0, 1};
    float attenuation[3] = {1, 0, 0};
    bool distant = false;  // its node only gives the direction: it shines along the node's -z
};

// Node 0 is the root; it turns the model so that z is up.
struct Model {
    std::vector<ModelNode> nodes;
    std::vector<ModelImage> images;
    std::vector<ModelMaterial> materials;
    std::vector<ModelMesh> meshes;
    std::vector<ModelCamera> cameras;
    std::vector<ModelLight> lights;
    std::vector<ModelAnimation> animations;  // all that the file holds
    int animation = -1;                      // the one that the nodes' motion is taken from
    float length = 0;                        // key units; 0 when nothing moves
    std::vector<std::string> notes;          // what a person should know of how the model was read
};

// The nodes' placements in the scene at rest, in the nodes' order.
std::vector<osm3d::matrix> RestWorlds(const Model& model);

// Widens `low` to `high` by the corners of a box around all meshes, with the nodes placed as `worlds` says.
void AddBounds(const Model& model, const std::vector<osm3d::matrix>& worlds, osm3d::vect3& low,
               osm3d::vect3& high);

struct ReadOptions {
    std::string texture;    // an image for a model that names none; empty: one beside the model is looked for
    std::string animation;  // a name or a number from 1 on; empty: the first; "none": the model at rest
    double cubic_rate = kDefaultRate;  // samples a second of motion along cubic curves
};

// Reads any model that Assimp knows. Throws cli::Error with the reason when the file cannot be read, holds no
// triangles, or has no such animation.
Model ReadModel(const std::string& path, const ReadOptions& options);

}  // namespace tools
