#include "shadow_bodies.h"

#include <array>
#include <cstring>
#include <map>
#include <utility>

namespace tools {
namespace {

constexpr std::size_t kMost = 65535;

bool MoveAsOne(const ModelMesh& a, const ModelMesh& b) {
    if (a.skin.has_value() != b.skin.has_value()) return false;
    if (!a.skin) return a.node == b.node;
    return a.skin->bones == b.skin->bones && std::memcmp(a.skin->offsets.data(), b.skin->offsets.data(),
                                                         a.skin->offsets.size() * sizeof(osm3d::matrix)) == 0;
}

// One vertex per place and way to move. Zeros of both signs are one place.
class Welder {
  public:
    explicit Welder(const ModelMesh& first) {
        mesh_.name = first.name;
        mesh_.node = first.node;
        if (first.skin) mesh_.skin = ModelSkin{first.skin->bones, first.skin->offsets, {}};
    }

    void Add(const ModelMesh& in) {
        vertices_ += in.positions.size();
        std::vector<u16> numbers;
        for (std::size_t v = 0; v < in.positions.size(); ++v) numbers.push_back(Vertex(in, v));
        for (const osm3d::Triangle& t : in.triangles) {
            const osm3d::Triangle welded{{numbers[t.index[0]], numbers[t.index[1]], numbers[t.index[2]]}};
            // What has no area throws no shadow.
            if (welded.index[0] != welded.index[1] && welded.index[1] != welded.index[2] &&
                welded.index[2] != welded.index[0])
                mesh_.triangles.push_back(welded);
        }
    }

    bool HasCuts() const { return mesh_.positions.size() < vertices_; }
    ModelMesh Take() { return std::move(mesh_); }

  private:
    using Key = std::pair<std::array<float, 6>, std::array<u8, 4>>;

    u16 Vertex(const ModelMesh& in, std::size_t v) {
        const osm3d::vect3& p = in.positions[v];
        Key key{{p.x + 0.0f, p.y + 0.0f, p.z + 0.0f, 0, 0, 0}, {}};
        if (in.skin) {
            const osm3d::VertexWeights& w = in.skin->weights[v];
            for (std::size_t k = 0; k < 3; ++k) key.first[3 + k] = w.blend[k];
            for (std::size_t k = 0; k < 4; ++k) key.second[k] = w.bones[k];
        }
        const auto [entry, is_new] = numbers_.emplace(key, static_cast<u16>(mesh_.positions.size()));
        if (is_new) {
            mesh_.positions.push_back(p);
            if (in.skin) mesh_.skin->weights.push_back(in.skin->weights[v]);
        }
        return entry->second;
    }

    ModelMesh mesh_;
    std::size_t vertices_ = 0;
    std::map<Key, u16> numbers_;
};

}  // namespace

std::vector<ShadowBody> ShadowBodies(const Model& model, const std::vector<std::size_t>& meshes) {
    struct Size {
        std::size_t vertices = 0, triangles = 0;
    };
    std::vector<ShadowBody> bodies;
    std::vector<Size> sizes;
    for (const std::size_t index : meshes) {
        const ModelMesh& mesh = model.meshes[index];
        std::size_t into = 0;
        while (into < bodies.size() && (!MoveAsOne(model.meshes[bodies[into].meshes.front()], mesh) ||
                                        sizes[into].vertices + mesh.positions.size() > kMost ||
                                        sizes[into].triangles + mesh.triangles.size() > kMost))
            ++into;
        if (into == bodies.size()) {
            bodies.emplace_back();
            sizes.emplace_back();
        }
        bodies[into].meshes.push_back(index);
        sizes[into].vertices += mesh.positions.size();
        sizes[into].triangles += mesh.triangles.size();
    }
    for (ShadowBody& body : bodies) {
        Welder welder(model.meshes[body.meshes.front()]);
        for (const std::size_t index : body.meshes) welder.Add(model.meshes[index]);
        if (body.meshes.size() > 1 || welder.HasCuts()) body.welded = welder.Take();
    }
    return bodies;
}

}  // namespace tools
