// A model's skinned vertices as Assimp's data say them, worked out in double and without the importer.
#pragma once

#include <assimp/scene.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace independent {

using Point = std::array<double, 3>;
using Matrix = std::array<std::array<double, 4>, 4>;  // acts on columns, as Assimp's do

inline Matrix Identity() { return {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}}; }

inline Matrix From(const aiMatrix4x4& m) {
    Matrix out{};
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned c = 0; c < 4; ++c) out[r][c] = static_cast<double>(m[r][c]);
    return out;
}

inline Matrix operator*(const Matrix& a, const Matrix& b) {
    Matrix out{};
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned c = 0; c < 4; ++c)
            for (unsigned k = 0; k < 4; ++k) out[r][c] += a[r][k] * b[k][c];
    return out;
}

inline Point operator*(const Matrix& m, const Point& p) {
    Point out{};
    for (unsigned r = 0; r < 3; ++r) out[r] = m[r][0] * p[0] + m[r][1] * p[1] + m[r][2] * p[2] + m[r][3];
    return out;
}

// The keys around `time` and how far it is between them.
template <class Key>
std::pair<std::pair<const Key*, const Key*>, double> Around(const Key* keys, unsigned count, double time) {
    unsigned next = 0;
    while (next < count && keys[next].mTime <= time) ++next;
    if (next == 0) return {{keys, keys}, 0};
    if (next == count) return {{keys + count - 1, keys + count - 1}, 0};
    const double from = keys[next - 1].mTime, to = keys[next].mTime;
    return {{keys + next - 1, keys + next}, (time - from) / (to - from)};
}

inline Point VectorAt(const aiVectorKey* keys, unsigned count, double time) {
    const auto [pair, u] = Around(keys, count, time);
    const aiVector3D &a = pair.first->mValue, &b = pair.second->mValue;
    Point out{};
    for (unsigned k = 0; k < 3; ++k)
        out[k] = static_cast<double>(a[k]) * (1 - u) + static_cast<double>(b[k]) * u;
    return out;
}

// Spherical, the shorter way round.
inline std::array<double, 4> RotationAt(const aiQuatKey* keys, unsigned count, double time) {
    const auto [pair, u] = Around(keys, count, time);
    const auto unit = [](const aiQuaternion& q) {
        std::array<double, 4> v{q.x, q.y, q.z, q.w};
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2] + v[3] * v[3]);
        for (double& x : v) x /= length;
        return v;
    };
    const std::array<double, 4> a = unit(pair.first->mValue);
    std::array<double, 4> b = unit(pair.second->mValue);
    double dot = 0;
    for (unsigned k = 0; k < 4; ++k) dot += a[k] * b[k];
    if (dot < 0) {
        dot = -dot;
        for (double& x : b) x = -x;
    }
    const double angle = std::acos(std::min(dot, 1.0));
    double from = 1 - u, to = u;
    if (angle > 1e-6) {
        from = std::sin((1 - u) * angle) / std::sin(angle);
        to = std::sin(u * angle) / std::sin(angle);
    }
    std::array<double, 4> out{};
    for (unsigned k = 0; k < 4; ++k) out[k] = a[k] * from + b[k] * to;
    return out;
}

inline Matrix ChannelAt(const aiNodeAnim& channel, double time) {
    const Point t = VectorAt(channel.mPositionKeys, channel.mNumPositionKeys, time);
    const Point s = VectorAt(channel.mScalingKeys, channel.mNumScalingKeys, time);
    const auto [x, y, z, w] = RotationAt(channel.mRotationKeys, channel.mNumRotationKeys, time);
    return {{{s[0] * (1 - 2 * (y * y + z * z)), s[1] * 2 * (x * y - z * w), s[2] * 2 * (x * z + y * w), t[0]},
             {s[0] * 2 * (x * y + z * w), s[1] * (1 - 2 * (x * x + z * z)), s[2] * 2 * (y * z - x * w), t[1]},
             {s[0] * 2 * (x * z - y * w), s[1] * 2 * (y * z + x * w), s[2] * (1 - 2 * (x * x + y * y)), t[2]},
             {0, 0, 0, 1}}};
}

struct Vertex {
    Point rest, posed;
};

class Pose {
  public:
    // `animation` may be null: at rest. `seconds` into it.
    Pose(const aiScene& scene, const aiAnimation* animation, double seconds) : scene_(scene) {
        if (animation != nullptr) {
            const double rate = animation->mTicksPerSecond > 0 ? animation->mTicksPerSecond : 25;
            for (unsigned i = 0; i < animation->mNumChannels; ++i) {
                const aiNodeAnim& channel = *animation->mChannels[i];
                moved_[channel.mNodeName.C_Str()] = ChannelAt(channel, seconds * rate);
            }
        }
        Walk(*scene.mRootNode, Identity());
        for (const auto& [node, world] : worlds_)
            if (node->mNumMeshes == 0) joints_.emplace(node->mName.C_Str(), world);
        for (const auto& [node, world] : worlds_) joints_.emplace(node->mName.C_Str(), world);
    }

    // The meshes that nodes show, first to last down the tree, in the scene's space: z up.
    std::vector<std::vector<Vertex>> Meshes() const {
        std::vector<std::vector<Vertex>> out;
        for (const auto& [node, world] : worlds_)
            for (unsigned i = 0; i < node->mNumMeshes; ++i)
                out.push_back(Mesh(*scene_.mMeshes[node->mMeshes[i]], world));
        return out;
    }

  private:
    void Walk(const aiNode& node, const Matrix& parent) {
        // Of a mesh and a bone with one name the bone is meant.
        const auto channel = moved_.find(node.mName.C_Str());
        const bool moves = channel != moved_.end() && (node.mNumMeshes == 0 || !HasBone(node.mName));
        const Matrix world = parent * (moves ? channel->second : From(node.mTransformation));
        worlds_.emplace_back(&node, world);
        for (unsigned i = 0; i < node.mNumChildren; ++i) Walk(*node.mChildren[i], world);
    }
    bool HasBone(const aiString& name) const {
        for (unsigned m = 0; m < scene_.mNumMeshes; ++m)
            for (unsigned b = 0; b < scene_.mMeshes[m]->mNumBones; ++b)
                if (scene_.mMeshes[m]->mBones[b]->mName == name) return true;
        return false;
    }

    std::vector<Vertex> Mesh(const aiMesh& mesh, const Matrix& world) const {
        std::vector<std::vector<std::pair<double, Matrix>>> parts(mesh.mNumVertices);
        for (unsigned b = 0; b < mesh.mNumBones; ++b) {
            const aiBone& bone = *mesh.mBones[b];
            const Matrix m = joints_.at(bone.mName.C_Str()) * From(bone.mOffsetMatrix);
            for (unsigned w = 0; w < bone.mNumWeights; ++w)
                if (bone.mWeights[w].mWeight > 0)
                    parts[bone.mWeights[w].mVertexId].emplace_back(bone.mWeights[w].mWeight, m);
        }
        std::vector<Vertex> out;
        for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
            const aiVector3D& p = mesh.mVertices[v];
            Vertex vertex{{p.x, p.y, p.z}, {}};
            if (parts[v].empty()) parts[v].emplace_back(1, world);
            double sum = 0;
            for (const auto& part : parts[v]) sum += part.first;
            Point posed{};
            for (const auto& [weight, m] : parts[v]) {
                const Point q = m * vertex.rest;
                for (unsigned k = 0; k < 3; ++k) posed[k] += q[k] * weight / sum;
            }
            vertex.posed = {posed[0], -posed[2], posed[1]};
            out.push_back(vertex);
        }
        return out;
    }

    const aiScene& scene_;
    std::map<std::string, Matrix> moved_, joints_;
    std::vector<std::pair<const aiNode*, Matrix>> worlds_;
};

}  // namespace independent
