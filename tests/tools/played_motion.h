// How far what the engine plays of an imported model lies from what the model's file says.
#pragma once

#include <assimp/Importer.hpp>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "geometry/geometry_simple.h"
#include "geometry/mesh_simple.h"
#include "independent_pose.h"
#include "io/object_graph.h"
#include "iqm_importer.h"
#include "scene/hierarchy_node.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"

namespace independent {

// A scene file, brought to times without a device.
class PlayedScene {
  public:
    explicit PlayedScene(const std::string& file) {
        std::string reason;
        if (!osm3d::LoadSceneFile(file, graph_, scene_, reason)) throw std::runtime_error(reason);
    }

    // The vertices of each mesh at `time`, in world space, with where they lie in the file.
    std::vector<std::vector<Vertex>> At(float time) {
        std::vector<osm3d::HierarchyNode*> stack{scene_->root};
        while (!stack.empty()) {
            osm3d::HierarchyNode* node = stack.back();
            stack.pop_back();
            node->Update(time);
            stack.insert(stack.end(), node->children.begin(), node->children.end());
        }
        scene_->root->UpdateWorld(osm3d::kMatrixIdentity);
        std::vector<std::vector<Vertex>> out;
        for (osm3d::Mesh* any : scene_->meshes) {
            auto* mesh = dynamic_cast<osm3d::MeshSimple*>(any);
            mesh->Update(time);
            const auto* source = dynamic_cast<osm3d::GeometrySimple*>(mesh->GetGeometry());
            const auto* drawn = mesh->GetStack()
                                    ? dynamic_cast<osm3d::GeometrySimple*>(mesh->GetStack()->GetResult())
                                    : source;
            const osm3d::matrix& world = mesh->transformation->GetWorldMatrix();
            auto& vertices = out.emplace_back();
            for (std::size_t v = 0; v < drawn->positions.size(); ++v) {
                const osm3d::vect3 &r = source->positions[v], &p = drawn->positions[v];
                Point q{};
                for (unsigned k = 0; k < 3; ++k)
                    q[k] = double{p.x} * double{world.m[0][k]} + double{p.y} * double{world.m[1][k]} +
                           double{p.z} * double{world.m[2][k]} + double{world.m[3][k]};
                vertices.push_back({{r.x, r.y, r.z}, q});
            }
        }
        return out;
    }

    osm3d::SceneHierarchy& Scene() { return *scene_; }

  private:
    osmio::ObjectGraph graph_;
    osm3d::SceneHierarchy* scene_ = nullptr;
};

struct Comparison {
    double worst = 0;  // distance between a played vertex and the file's, in model units
    double moved = 0;  // the farthest that a vertex gets from where it is at the first time
    std::size_t vertices = 0;
};

// Compares at `times` even times from the animation's start to its end. `animation` counts from 0; -1 is the
// rest pose. Meshes must not have been split.
inline Comparison Compare(const std::string& model, const std::string& scene_file, int animation, int times) {
    Assimp::Importer importer;
    const std::unique_ptr<Assimp::BaseImporter> replaced(importer.GetImporter("iqm"));
    importer.UnregisterLoader(replaced.get());
    importer.RegisterLoader(new tools::IqmImporter);
    const aiScene* raw = importer.ReadFile(model, 0);
    if (raw == nullptr) throw std::runtime_error(importer.GetErrorString());
    const aiAnimation* moves = animation < 0 ? nullptr : raw->mAnimations[animation];
    const double rate = moves == nullptr || moves->mTicksPerSecond <= 0 ? 25 : moves->mTicksPerSecond;
    const double seconds = moves == nullptr ? 0 : moves->mDuration / rate;
    PlayedScene played(scene_file);
    // By mesh and vertex: for each vertex of the file at its place, the worst distance over all times.
    std::vector<std::vector<std::map<std::size_t, double>>> distances;
    std::vector<std::vector<Vertex>> first;
    Comparison out;
    for (int i = 0; i < times; ++i) {
        const double time = times > 1 ? seconds * i / (times - 1) : 0;
        const auto ours = played.At(static_cast<float>(time * 100));
        const auto theirs = Pose(*raw, moves, time).Meshes();
        if (ours.size() != theirs.size()) throw std::runtime_error("not the same meshes");
        if (i == 0) first = ours;
        distances.resize(ours.size());
        for (std::size_t m = 0; m < ours.size(); ++m) {
            distances[m].resize(ours[m].size());
            std::map<Point, std::vector<std::size_t>> places;
            for (std::size_t v = 0; v < theirs[m].size(); ++v) places[theirs[m][v].rest].push_back(v);
            for (std::size_t v = 0; v < ours[m].size(); ++v) {
                const auto distance = [](const Point& a, const Point& b) {
                    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
                };
                out.moved = std::max(out.moved, distance(ours[m][v].posed, first[m][v].posed));
                for (const std::size_t w : places.at(ours[m][v].rest)) {
                    double& worst = distances[m][v][w];
                    worst = std::max(worst, distance(ours[m][v].posed, theirs[m][w].posed));
                }
            }
        }
    }
    // Several vertices of the file may stand at one place; ours is the one that it stays nearest to.
    for (const auto& mesh : distances)
        for (const auto& vertex : mesh) {
            double best = INFINITY;
            for (const auto& [index, distance] : vertex) best = std::min(best, distance);
            out.worst = std::max(out.worst, best);
            ++out.vertices;
        }
    return out;
}

}  // namespace independent
