#include <assimp/GltfMaterial.h>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <assimp/Importer.hpp>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "cli/error.h"
#include "gltf_details.h"
#include "iqm_importer.h"
#include "model.h"
#include "scene/value_operations.h"

namespace tools {
namespace {

namespace fs = std::filesystem;
using osm3d::color;
using osm3d::matrix;
using osm3d::quat;
using osm3d::vect3;

constexpr unsigned kMaxVertices = 65536;
constexpr std::size_t kMaxBones = 256;
constexpr std::size_t kMaxWeights = 4;
constexpr float kPi = 3.14159265358979f;
constexpr std::array<const char*, 7> kImageExtensions = {".png", ".jpg", ".tga", ".bmp",
                                                         ".dds", ".dib", ".jpeg"};

vect3 Unit(const vect3& v) { return v; }
quat Unit(const quat& q) {
    const float length = std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w);
    return length > 0 ? quat{q.x / length, q.y / length, q.z / length, q.w / length} : quat{0, 0, 0, 1};
}

vect3 FromAssimp(const aiVector3D& v) { return {v.x, v.y, v.z}; }
quat FromAssimp(const aiQuaternion& q) { return {q.x, q.y, q.z, q.w}; }

// Assimp's matrices act on columns; ours on rows.
matrix FromAssimp(const aiMatrix4x4& a) {
    matrix m{};
    for (unsigned row = 0; row < 4; ++row)
        for (unsigned column = 0; column < 4; ++column) m.m[row][column] = a[column][row];
    return m;
}

matrix Multiply(const matrix& a, const matrix& b) {
    matrix out{};
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned c = 0; c < 4; ++c)
            for (unsigned k = 0; k < 4; ++k) out.m[r][c] += a.m[r][k] * b.m[k][c];
    return out;
}

vect3 TransformPoint(const vect3& p, const matrix& m) {
    return {p.x * m.m[0][0] + p.y * m.m[1][0] + p.z * m.m[2][0] + m.m[3][0],
            p.x * m.m[0][1] + p.y * m.m[1][1] + p.z * m.m[2][1] + m.m[3][1],
            p.x * m.m[0][2] + p.y * m.m[1][2] + p.z * m.m[2][2] + m.m[3][2]};
}

// y up to z up: a quarter turn about x.
matrix TurnUp() {
    matrix m{};
    m.m[0][0] = 1;
    m.m[1][2] = 1;
    m.m[2][1] = -1;
    m.m[3][3] = 1;
    return m;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// A plain 32-bit .tga of an image that the model holds as bare texels.
Bytes TexelsAsTga(const aiTexture& texture) {
    if (texture.mWidth > 0xffff || texture.mHeight > 0xffff) return {};
    Bytes out(18, 0);
    out[2] = 2;
    out[12] = static_cast<std::uint8_t>(texture.mWidth);
    out[13] = static_cast<std::uint8_t>(texture.mWidth >> 8);
    out[14] = static_cast<std::uint8_t>(texture.mHeight);
    out[15] = static_cast<std::uint8_t>(texture.mHeight >> 8);
    out[16] = 32;
    out[17] = 0x28;
    const std::size_t count = static_cast<std::size_t>(texture.mWidth) * texture.mHeight;
    for (std::size_t i = 0; i < count; ++i) {
        const aiTexel& t = texture.pcData[i];
        out.insert(out.end(), {t.b, t.g, t.r, t.a});
    }
    return out;
}

class Reader {
  public:
    Reader(const std::string& path, const ReadOptions& options) : path_(path), options_(options) {}

    Model Read() {
        Load();
        Nodes();
        Animation();
        Materials();
        Meshes();
        LooseTexture();
        Cameras();
        Lights();
        return std::move(model_);
    }

  private:
    void Load() {
        if (std::error_code error; !fs::exists(path_, error))
            throw cli::Error(fmt::format("{}: no such file", path_));
        const std::unique_ptr<Assimp::BaseImporter> replaced(importer_.GetImporter("iqm"));
        importer_.UnregisterLoader(replaced.get());
        importer_.RegisterLoader(new IqmImporter);
        importer_.SetPropertyInteger(AI_CONFIG_PP_SLM_VERTEX_LIMIT, kMaxVertices);
        importer_.SetPropertyInteger(AI_CONFIG_PP_SLM_TRIANGLE_LIMIT, std::numeric_limits<int>::max());
        importer_.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
        const std::string extension = Lower(fs::path(path_).extension().string());
        is_gltf_ = extension == ".gltf" || extension == ".glb" || extension == ".vrm";
        std::optional<GltfDetails> details;
        if (is_gltf_) details.emplace(path_);
        scene_ = importer_.ReadFile(path_, 0);
        if (scene_ && scene_->mRootNode) {
            // The importer owns the scene and lets nobody else change it; nothing is read of it before that.
            if (details) details->Apply(const_cast<aiScene&>(*scene_), options_.cubic_rate);
            // Assimp joins vertices that are alike whatever bones they follow; with bones it is done here.
            joins_ = std::any_of(scene_->mMeshes, scene_->mMeshes + scene_->mNumMeshes,
                                 [](const aiMesh* mesh) { return mesh->HasBones(); });
            scene_ = importer_.ApplyPostProcessing(
                (joins_ ? 0u : unsigned{aiProcess_JoinIdenticalVertices}) | aiProcess_Triangulate |
                aiProcess_SortByPType | aiProcess_GenSmoothNormals | aiProcess_FlipUVs |
                aiProcess_GenUVCoords | aiProcess_FindInvalidData | aiProcess_ImproveCacheLocality |
                aiProcess_SplitLargeMeshes);
        }
        if (!scene_ || !scene_->mRootNode) {
            std::string reason = importer_.GetErrorString();
            std::replace(reason.begin(), reason.end(), '\n', ' ');
            throw cli::Error(fmt::format("{}: cannot be read as a model: {}", path_,
                                         reason.empty() ? "it is empty" : reason));
        }
    }

    void Nodes() {
        ModelNode root;
        root.name = "up";
        root.local = TurnUp();
        model_.nodes.push_back(root);
        std::vector<std::pair<const aiNode*, int>> stack{{scene_->mRootNode, 0}};
        while (!stack.empty()) {
            const auto [node, parent] = stack.back();
            stack.pop_back();
            const int index = static_cast<int>(model_.nodes.size());
            node_index_.emplace(node->mName.C_Str(), index);
            // A mesh and a joint may have one name; bones mean the joint.
            if (node->mNumMeshes == 0 && !joint_index_.emplace(node->mName.C_Str(), index).second)
                shared_names_.insert(node->mName.C_Str());
            order_.emplace_back(node, index);
            ModelNode out;
            out.name = node->mName.C_Str();
            out.parent = parent;
            out.local = FromAssimp(node->mTransformation);
            model_.nodes.push_back(std::move(out));
            for (unsigned i = node->mNumChildren; i-- > 0;) stack.emplace_back(node->mChildren[i], index);
        }
    }

    // The joint called `name`, or, where only a mesh has the name, that; -1 for none.
    int Joint(const char* name) {
        if (shared_names_.count(name)) doubtful_names_.insert(name);
        if (const auto joint = joint_index_.find(name); joint != joint_index_.end()) return joint->second;
        const auto node = node_index_.find(name);
        return node == node_index_.end() ? -1 : node->second;
    }

    static float Units(double ticks, double rate) {
        return static_cast<float>(ticks / rate * kKeyUnitsPerSecond);
    }

    static double Rate(const aiAnimation& animation) {
        return animation.mTicksPerSecond > 0 ? animation.mTicksPerSecond : 25.0;
    }

    // What people call an animation is often only the last part of its name: "Armature|Walk", "Robot_Walk".
    static std::string ShortName(const std::string& name) {
        const std::size_t at = name.find_last_of("|_:");
        return Lower(at == name.npos ? name : name.substr(at + 1));
    }

    // Which animation `wanted` means: its name to the letter, its number from 1 on, its name in other
    // letters, the last part of its name if that is one animation's alone.
    int FindAnimation(const std::string& wanted) const {
        const auto& all = model_.animations;
        for (std::size_t i = 0; i < all.size(); ++i)
            if (all[i].name == wanted) return static_cast<int>(i);
        if (wanted == "none") return -1;
        const bool digits =
            !wanted.empty() && wanted.size() < 9 && wanted.find_first_not_of("0123456789") == wanted.npos;
        if (digits && std::stoul(wanted) >= 1 && std::stoul(wanted) <= all.size())
            return static_cast<int>(std::stoul(wanted)) - 1;
        for (const bool whole : {true, false}) {
            int found = -1, count = 0;
            for (std::size_t i = 0; i < all.size(); ++i) {
                if ((whole ? Lower(all[i].name) : ShortName(all[i].name)) != Lower(wanted)) continue;
                found = static_cast<int>(i);
                ++count;
            }
            if (count == 1) return found;
        }
        std::string names;
        for (std::size_t i = 0; i < all.size(); ++i)
            names += fmt::format("{}{} \"{}\"", i ? ", " : "", i + 1, all[i].name);
        throw cli::Error(all.empty()
                             ? fmt::format("{}: holds no animations", path_)
                             : fmt::format("{}: has no animation \"{}\"; it has {}", path_, wanted, names));
    }

    void Animation() {
        for (unsigned i = 0; i < scene_->mNumAnimations; ++i) {
            const aiAnimation& in = *scene_->mAnimations[i];
            model_.animations.push_back({in.mName.C_Str(), in.mDuration / Rate(in), in.mDuration, Rate(in)});
        }
        model_.animation = options_.animation.empty() ? (model_.animations.empty() ? -1 : 0)
                                                      : FindAnimation(options_.animation);
        if (model_.animation < 0) return;
        const aiAnimation& animation = *scene_->mAnimations[model_.animation];
        for (unsigned i = 0; i < animation.mNumChannels; ++i) {
            const aiNodeAnim& channel = *animation.mChannels[i];
            const int node = Joint(channel.mNodeName.C_Str());
            if (node >= 0) Channel(channel, Rate(animation), model_.nodes[static_cast<std::size_t>(node)]);
        }
        if (options_.animation.empty() && model_.animations.size() > 1)
            model_.notes.push_back(fmt::format(
                "{} animations; took the first, \"{}\" (--list names them, --animation picks one)",
                model_.animations.size(), animation.mName.C_Str()));
    }

    void Channel(const aiNodeAnim& channel, double rate, ModelNode& node) {
        aiMatrix4x4 rest;
        for (unsigned r = 0; r < 4; ++r)
            for (unsigned c = 0; c < 4; ++c) rest[r][c] = node.local.m[c][r];
        aiVector3D scale, position;
        aiQuaternion rotation;
        rest.Decompose(scale, rotation, position);
        ModelMotion motion;
        auto take = [&](const auto* keys, unsigned count, auto& out) {
            for (unsigned k = 0; k < count; ++k) {
                const float time = Units(keys[k].mTime, rate);
                if (!std::isfinite(time) || (!out.empty() && time < out.back().time)) continue;
                out.push_back({time, Unit(FromAssimp(keys[k].mValue))});
                model_.length = std::max(model_.length, time);
            }
        };
        take(channel.mPositionKeys, channel.mNumPositionKeys, motion.positions);
        take(channel.mRotationKeys, channel.mNumRotationKeys, motion.rotations);
        take(channel.mScalingKeys, channel.mNumScalingKeys, motion.scales);
        if (motion.positions.empty()) motion.positions.push_back({0, FromAssimp(position)});
        if (motion.rotations.empty()) motion.rotations.push_back({0, FromAssimp(rotation)});
        if (motion.scales.empty()) motion.scales.push_back({0, FromAssimp(scale)});
        node.motion = std::move(motion);
    }

    // Colours of physically based models are linear; ours go to the screen as they are.
    color ScreenColor(const aiColor4D& c) const {
        auto encode = [&](float v) {
            v = std::clamp(std::isfinite(v) ? v : 0.0f, 0.0f, 1.0f);
            if (!is_gltf_) return v;
            return v <= 0.0031308f ? v * 12.92f : 1.055f * std::pow(v, 1 / 2.4f) - 0.055f;
        };
        return {encode(c.r), encode(c.g), encode(c.b), std::clamp(c.a, 0.0f, 1.0f)};
    }

    void Materials() {
        for (unsigned i = 0; i < scene_->mNumMaterials; ++i) {
            const aiMaterial& in = *scene_->mMaterials[i];
            ModelMaterial out;
            out.name = in.GetName().C_Str();
            aiColor4D c;
            if (in.Get(AI_MATKEY_BASE_COLOR, c) == AI_SUCCESS ||
                in.Get(AI_MATKEY_COLOR_DIFFUSE, c) == AI_SUCCESS)
                out.diffuse = ScreenColor(c);
            if (in.Get(AI_MATKEY_COLOR_EMISSIVE, c) == AI_SUCCESS) out.emissive = ScreenColor(c);
            float opacity = 1;
            if (in.Get(AI_MATKEY_OPACITY, opacity) == AI_SUCCESS && out.diffuse.a == 1.0f)
                out.diffuse.a = std::clamp(opacity, 0.0f, 1.0f);
            Shine(in, out);
            int two_sided = 0;
            out.two_sided = in.Get(AI_MATKEY_TWOSIDED, two_sided) == AI_SUCCESS && two_sided != 0;
            out.image = Image(in, out);
            if (out.image >= 0) Whiten(in, out);
            aiString mode;
            if (in.Get(AI_MATKEY_GLTF_ALPHAMODE, mode) == AI_SUCCESS) {
                float cutoff = 0.5f;
                in.Get(AI_MATKEY_GLTF_ALPHACUTOFF, cutoff);
                out.blended = !std::strcmp(mode.C_Str(), "BLEND");
                if (!std::strcmp(mode.C_Str(), "MASK")) out.alpha_cutoff = cutoff;
                if (!out.blended) out.diffuse.a = 1;
            } else {
                out.blended = out.diffuse.a < 1;
            }
            // What the scene's ambient light falls on has the material's own colour.
            out.ambient = out.diffuse;
            model_.materials.push_back(std::move(out));
        }
    }

    void Shine(const aiMaterial& in, ModelMaterial& out) const {
        float roughness = 1, metallic = 0, power = 0;
        aiColor4D c;
        if (in.Get(AI_MATKEY_ROUGHNESS_FACTOR, roughness) == AI_SUCCESS) {
            in.Get(AI_MATKEY_METALLIC_FACTOR, metallic);
            // A Blinn-Phong lobe about as wide as the rough surface's.
            const float alpha = std::max(roughness * roughness, 0.05f);
            power = std::clamp(2 / (alpha * alpha) - 2, 0.0f, 200.0f);
            const float strength = std::clamp(1 - roughness, 0.0f, 1.0f);
            const vect3 base{out.diffuse.r, out.diffuse.g, out.diffuse.b};
            auto mix = [&](float own) { return strength * ((1 - metallic) * 0.25f + metallic * own); };
            out.specular = {mix(base.x), mix(base.y), mix(base.z), 1};
        } else if (in.Get(AI_MATKEY_SHININESS, power) == AI_SUCCESS && power > 0 &&
                   in.Get(AI_MATKEY_COLOR_SPECULAR, c) == AI_SUCCESS) {
            out.specular = ScreenColor(c);
            power = std::min(power, 200.0f);
        }
        out.power = power;
        if (power <= 0) out.specular = {0, 0, 0, 1};
    }

    // Many exporters leave a grey or black colour behind an image that is to show as it is.
    static void Whiten(const aiMaterial& in, ModelMaterial& out) {
        aiColor4D c;
        const bool has_base = in.Get(AI_MATKEY_BASE_COLOR, c) == AI_SUCCESS;
        const bool black = out.diffuse.r == 0 && out.diffuse.g == 0 && out.diffuse.b == 0;
        if (!has_base || black) out.diffuse = {1, 1, 1, out.diffuse.a};
    }

    int Image(const aiMaterial& in, ModelMaterial& out) {
        for (const aiTextureType type : {aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE}) {
            aiString name;
            if (in.GetTexture(type, 0, &name) != AI_SUCCESS) continue;
            int mode = 0;
            if (in.Get(AI_MATKEY_MAPPINGMODE_U(type, 0), mode) == AI_SUCCESS) out.clamp_u = mode == 1;
            if (in.Get(AI_MATKEY_MAPPINGMODE_V(type, 0), mode) == AI_SUCCESS) out.clamp_v = mode == 1;
            const int image = ImageByName(name.C_Str());
            if (image >= 0) return image;
        }
        return -1;
    }

    int AddImage(const std::string& key, ModelImage image) {
        model_.images.push_back(std::move(image));
        return images_[key] = static_cast<int>(model_.images.size()) - 1;
    }

    int ImageByName(const std::string& name) {
        if (const auto known = images_.find(name); known != images_.end()) return known->second;
        if (const aiTexture* texture = scene_->GetEmbeddedTexture(name.c_str())) {
            ModelImage image;
            if (texture->mHeight == 0) {
                const auto* bytes = reinterpret_cast<const std::uint8_t*>(texture->pcData);
                image.bytes.assign(bytes, bytes + texture->mWidth);
            } else {
                image.bytes = TexelsAsTga(*texture);
            }
            if (!image.bytes.empty()) return AddImage(name, std::move(image));
        } else {
            std::string slashes = name;
            std::replace(slashes.begin(), slashes.end(), '\\', '/');
            const fs::path folder = fs::path(path_).parent_path();
            for (const fs::path& candidate : {folder / slashes, folder / fs::path(slashes).filename()}) {
                std::error_code error;
                if (fs::is_regular_file(candidate, error))
                    return AddImage(name, {fs::absolute(candidate).lexically_normal().string(), {}});
            }
        }
        model_.notes.push_back(fmt::format("image \"{}\" is not there; its material has no texture", name));
        return images_[name] = -1;
    }

    void Meshes() {
        for (const auto& [node, index] : order_)
            for (unsigned i = 0; i < node->mNumMeshes; ++i) Mesh(*scene_->mMeshes[node->mMeshes[i]], index);
        if (model_.meshes.empty()) throw cli::Error(fmt::format("{}: holds no triangles to draw", path_));
        if (morphing_ > 0)
            model_.notes.push_back(
                fmt::format("{} meshes have morph targets, which are left out", morphing_));
        if (cut_vertices_ > 0)
            model_.notes.push_back(fmt::format(
                "{} vertices follow more than four bones; each keeps its four heaviest", cut_vertices_));
        if (!doubtful_names_.empty())
            model_.notes.push_back(fmt::format(
                "\"{}\" is the name of several nodes, and {} more are; bones and motion mean the first",
                *doubtful_names_.begin(), doubtful_names_.size() - 1));
        if (!lost_bones_.empty())
            model_.notes.push_back(fmt::format("{} bones have no node, \"{}\" for one; nothing follows them",
                                               lost_bones_.size(), *lost_bones_.begin()));
    }

    void Mesh(const aiMesh& in, int node) {
        if (!in.HasFaces() || !in.HasPositions() || in.mNumVertices > kMaxVertices) return;
        ModelMesh out;
        out.name = in.mName.C_Str();
        out.node = node;
        out.material = static_cast<int>(in.mMaterialIndex);
        for (unsigned v = 0; v < in.mNumVertices; ++v) {
            out.positions.push_back(FromAssimp(in.mVertices[v]));
            if (in.HasNormals()) out.normals.push_back(FromAssimp(in.mNormals[v]));
        }
        for (unsigned set = 0; set < AI_MAX_NUMBER_OF_TEXTURECOORDS && in.HasTextureCoords(set); ++set) {
            auto& uvs = out.uv_sets.emplace_back();
            for (unsigned v = 0; v < in.mNumVertices; ++v)
                uvs.push_back({in.mTextureCoords[set][v].x, in.mTextureCoords[set][v].y});
        }
        Colors(in, out);
        for (unsigned f = 0; f < in.mNumFaces; ++f) {
            const aiFace& face = in.mFaces[f];
            if (face.mNumIndices != 3) continue;
            out.triangles.push_back({{static_cast<u16>(face.mIndices[0]), static_cast<u16>(face.mIndices[1]),
                                      static_cast<u16>(face.mIndices[2])}});
        }
        if (in.mNumAnimMeshes > 0) ++morphing_;
        if (out.triangles.empty()) return;
        if (in.HasBones()) {
            Skin(in, out);
        } else {
            std::vector<Influences> none(out.positions.size());
            if (joins_) Join(out, none);
            model_.meshes.push_back(std::move(out));
        }
    }

    // Vertex colours make a mesh unlit, so that white ones, which say nothing, are left out.
    void Colors(const aiMesh& in, ModelMesh& out) const {
        if (!in.HasVertexColors(0)) return;
        bool says_something = false;
        for (unsigned v = 0; v < in.mNumVertices; ++v) {
            const color c = ScreenColor(in.mColors[0][v]);
            says_something = says_something || c.r < 0.995f || c.g < 0.995f || c.b < 0.995f;
            out.colors.push_back(c);
        }
        if (!says_something) out.colors.clear();
    }

    // One bone's part in a vertex, by its place among the bones of the mesh.
    struct Influence {
        std::size_t bone;
        float weight;
    };

    using Influences = std::vector<Influence>;

    // Makes one of vertices that are alike in everything, their bones included.
    static void Join(ModelMesh& mesh, std::vector<Influences>& influences) {
        std::map<std::vector<std::uint32_t>, u16> known;
        std::vector<u16> numbers;
        std::vector<std::uint32_t> all;
        const auto number = [&](float value) {
            value += 0.0f;  // one zero for both
            std::memcpy(&all.emplace_back(), &value, sizeof value);
        };
        const auto add = [&](const auto& list, std::size_t v) {
            if (list.empty()) return;
            const auto* value = reinterpret_cast<const float*>(&list[v]);
            std::for_each(value, value + sizeof(list[v]) / sizeof(float), number);
        };
        for (std::size_t v = 0; v < mesh.positions.size(); ++v) {
            all.clear();
            add(mesh.positions, v);
            add(mesh.normals, v);
            add(mesh.colors, v);
            for (const auto& set : mesh.uv_sets) add(set, v);
            for (const Influence& influence : influences[v]) {
                all.push_back(static_cast<std::uint32_t>(influence.bone));
                number(influence.weight);
            }
            const auto next = static_cast<u16>(known.size());
            const auto [entry, is_new] = known.emplace(all, next);
            numbers.push_back(entry->second);
            if (!is_new) continue;
            const auto keep = [&](auto& list) {
                if (!list.empty()) list[next] = list[v];
            };
            keep(mesh.positions);
            keep(mesh.normals);
            keep(mesh.colors);
            for (auto& set : mesh.uv_sets) keep(set);
            keep(influences);
        }
        const auto cut = [&](auto& list) {
            if (!list.empty()) list.resize(known.size());
        };
        cut(mesh.positions);
        cut(mesh.normals);
        cut(mesh.colors);
        for (auto& set : mesh.uv_sets) cut(set);
        cut(influences);
        for (osm3d::Triangle& triangle : mesh.triangles)
            for (u16& index : triangle.index) index = numbers[index];
    }

    // The bones of a mesh, and each vertex's part in them: the four heaviest at most, of positive weight, the
    // heaviest first. Vertices without any follow the mesh's own node.
    void Skin(const aiMesh& in, ModelMesh& out) {
        ModelSkin skin;
        std::vector<Influences> vertices(out.positions.size());
        for (unsigned b = 0; b < in.mNumBones; ++b) {
            const aiBone& bone = *in.mBones[b];
            const int joint = Joint(bone.mName.C_Str());
            if (joint < 0) {
                lost_bones_.insert(bone.mName.C_Str());
                continue;
            }
            const std::size_t place = skin.bones.size();
            bool used = false;
            for (unsigned w = 0; w < bone.mNumWeights; ++w) {
                const aiVertexWeight& weight = bone.mWeights[w];
                if (weight.mVertexId >= vertices.size() || !(weight.mWeight > 0) ||
                    !std::isfinite(weight.mWeight))
                    continue;
                vertices[weight.mVertexId].push_back({place, weight.mWeight});
                used = true;
            }
            if (!used) continue;
            skin.bones.push_back(joint);
            skin.offsets.push_back(FromAssimp(bone.mOffsetMatrix));
        }
        const bool loose =
            std::any_of(vertices.begin(), vertices.end(), [](const auto& list) { return list.empty(); });
        if (loose) {
            for (auto& list : vertices)
                if (list.empty()) list.push_back({skin.bones.size(), 1});
            skin.bones.push_back(out.node);
            skin.offsets.push_back(osm3d::kMatrixIdentity);
        }
        for (auto& list : vertices) {
            std::stable_sort(list.begin(), list.end(),
                             [](const Influence& a, const Influence& b) { return a.weight > b.weight; });
            if (list.size() > kMaxWeights) {
                list.resize(kMaxWeights);
                ++cut_vertices_;
            }
        }
        Join(out, vertices);
        SplitByBones(out, skin, vertices);
    }

    // Hands on the mesh, in pieces of at most 256 bones each.
    void SplitByBones(const ModelMesh& mesh, const ModelSkin& skin, const std::vector<Influences>& vertices) {
        std::size_t first = 0;
        while (first < mesh.triangles.size()) {
            std::map<std::size_t, std::size_t> palette;  // place in the skin, place in the piece
            std::size_t last = first;
            for (; last < mesh.triangles.size(); ++last) {
                std::set<std::size_t> more;
                for (const u16 v : mesh.triangles[last].index)
                    for (const Influence& influence : vertices[v])
                        if (!palette.count(influence.bone)) more.insert(influence.bone);
                if (palette.size() + more.size() > kMaxBones) break;
                for (const std::size_t bone : more) palette.emplace(bone, palette.size());
            }
            model_.meshes.push_back(Piece(mesh, skin, vertices, palette, first, last));
            first = last;
        }
    }

    // Triangles `first` to before `last`, with the vertices and bones that they need.
    static ModelMesh Piece(const ModelMesh& mesh, const ModelSkin& skin,
                           const std::vector<Influences>& vertices,
                           const std::map<std::size_t, std::size_t>& palette, std::size_t first,
                           std::size_t last) {
        ModelMesh out;
        out.name = mesh.name;
        out.node = mesh.node;
        out.material = mesh.material;
        out.uv_sets.resize(mesh.uv_sets.size());
        out.skin.emplace();
        out.skin->bones.resize(palette.size());
        out.skin->offsets.resize(palette.size());
        for (const auto& [from, to] : palette) {
            out.skin->bones[to] = skin.bones[from];
            out.skin->offsets[to] = skin.offsets[from];
        }
        std::map<u16, u16> numbers;
        for (std::size_t t = first; t < last; ++t) {
            osm3d::Triangle triangle = mesh.triangles[t];
            for (u16& v : triangle.index) {
                const auto [entry, is_new] = numbers.emplace(v, static_cast<u16>(numbers.size()));
                if (is_new) {
                    out.positions.push_back(mesh.positions[v]);
                    if (!mesh.normals.empty()) out.normals.push_back(mesh.normals[v]);
                    if (!mesh.colors.empty()) out.colors.push_back(mesh.colors[v]);
                    for (std::size_t set = 0; set < mesh.uv_sets.size(); ++set)
                        out.uv_sets[set].push_back(mesh.uv_sets[set][v]);
                    out.skin->weights.push_back(Weights(vertices[v], palette));
                }
                v = entry->second;
            }
            out.triangles.push_back(triangle);
        }
        return out;
    }

    // The fourth weight is what is left of one; where a vertex has fewer bones the places left over name its
    // first, so that rounding stays with it.
    static osm3d::VertexWeights Weights(const Influences& influences,
                                        const std::map<std::size_t, std::size_t>& palette) {
        double sum = 0;
        for (const Influence& influence : influences) sum += influence.weight;
        osm3d::VertexWeights out{};
        for (std::size_t k = 0; k < kMaxWeights; ++k) {
            const bool present = k < influences.size();
            out.bones[k] = static_cast<u8>(palette.at(influences[present ? k : 0].bone));
            if (present && k < 3) out.blend[k] = static_cast<float>(influences[k].weight / sum);
        }
        return out;
    }

    // A model that names no image at all, but has coordinates: the one given, or one beside it with its name.
    void LooseTexture() {
        if (!model_.images.empty()) return;
        fs::path image = options_.texture;
        if (image.empty()) {
            const fs::path base = fs::path(path_).parent_path() / fs::path(path_).stem();
            for (const char* ending : {"_diffuse", "_albedo", "_basecolor", "_color", ""})
                for (const char* extension : kImageExtensions) {
                    const fs::path candidate = base.string() + ending + extension;
                    std::error_code error;
                    if (image.empty() && fs::is_regular_file(candidate, error)) image = candidate;
                }
            if (image.empty()) return;
            model_.notes.push_back(
                fmt::format("the model names no image; took {} beside it", image.filename().string()));
        } else if (std::error_code error; !fs::is_regular_file(image, error)) {
            throw cli::Error(fmt::format("{}: no such image file", options_.texture));
        }
        const int index = AddImage("", {fs::absolute(image).lexically_normal().string(), {}});
        std::set<int> with_coordinates;
        for (const ModelMesh& mesh : model_.meshes)
            if (!mesh.uv_sets.empty()) with_coordinates.insert(mesh.material);
        for (const int i : with_coordinates) {
            ModelMaterial& material = model_.materials[static_cast<std::size_t>(i)];
            material.image = index;
            material.diffuse = {1, 1, 1, material.diffuse.a};
            material.ambient = material.diffuse;
        }
    }

    int NodeOf(const aiString& name) const {
        const auto found = node_index_.find(name.C_Str());
        return found == node_index_.end() ? 0 : found->second;
    }

    // A child of `parent` at `position` that looks along `direction` (its -z) with `up` as its y.
    int Aim(int parent, const aiVector3D& position, aiVector3D direction, aiVector3D up,
            const std::string& name) {
        if (direction.SquareLength() <= 0) direction = {0, 0, -1};
        const aiVector3D back = -direction.Normalize();
        aiVector3D right = up ^ back;
        if (right.SquareLength() < 1e-8f) right = aiVector3D(0, 1, 0) ^ back;
        if (right.SquareLength() < 1e-8f) right = aiVector3D(1, 0, 0);
        right.Normalize();
        const aiVector3D top = back ^ right;
        ModelNode node;
        node.name = name;
        node.parent = parent;
        const aiVector3D* rows[4] = {&right, &top, &back, &position};
        for (unsigned r = 0; r < 4; ++r)
            for (unsigned c = 0; c < 3; ++c) node.local.m[r][c] = (*rows[r])[c];
        node.local.m[3][3] = 1;
        model_.nodes.push_back(std::move(node));
        return static_cast<int>(model_.nodes.size()) - 1;
    }

    void Cameras() {
        for (unsigned i = 0; i < scene_->mNumCameras; ++i) {
            const aiCamera& in = *scene_->mCameras[i];
            ModelCamera out;
            out.name = in.mName.C_Str();
            out.node = Aim(NodeOf(in.mName), in.mPosition, in.mLookAt, in.mUp, out.name);
            const float aspect = in.mAspect > 0 ? in.mAspect : 4.0f / 3.0f;
            // glTF cameras come with the vertical angle times the aspect; the others with the horizontal one.
            out.vertical_fov = is_gltf_ ? in.mHorizontalFOV / (in.mAspect > 0 ? in.mAspect : 1.0f)
                                        : 2 * std::atan(std::tan(in.mHorizontalFOV / 2) / aspect);
            if (!(out.vertical_fov > 0.01f && out.vertical_fov < kPi - 0.01f)) out.vertical_fov = kPi / 4;
            out.near_clip = in.mClipPlaneNear > 0 ? in.mClipPlaneNear : 0.1f;
            out.far_clip = in.mClipPlaneFar > out.near_clip ? in.mClipPlaneFar : out.near_clip * 10000;
            model_.cameras.push_back(std::move(out));
        }
    }

    void Lights() {
        for (unsigned i = 0; i < scene_->mNumLights; ++i) {
            const aiLight& in = *scene_->mLights[i];
            if (in.mType == aiLightSource_AMBIENT || in.mType == aiLightSource_UNDEFINED) continue;
            ModelLight out;
            out.name = in.mName.C_Str();
            out.distant = in.mType == aiLightSource_DIRECTIONAL;
            out.node = Aim(NodeOf(in.mName), in.mPosition, in.mDirection, in.mUp, out.name);
            out.diffuse = Bounded(in.mColorDiffuse);
            out.specular = Bounded(in.mColorSpecular);
            out.ambient = {0, 0, 0, 1};
            if (!out.distant && !is_gltf_ &&
                in.mAttenuationConstant + in.mAttenuationLinear + in.mAttenuationQuadratic > 0) {
                out.attenuation[0] = in.mAttenuationConstant;
                out.attenuation[1] = in.mAttenuationLinear;
                out.attenuation[2] = in.mAttenuationQuadratic;
            }
            if (in.mType == aiLightSource_SPOT || in.mType == aiLightSource_AREA)
                model_.notes.push_back(fmt::format("light \"{}\" shines in all directions here", out.name));
            model_.lights.push_back(std::move(out));
        }
    }

    // Intensities in physical units keep their hue and lose what a screen cannot show.
    static color Bounded(const aiColor3D& c) {
        const float top = std::max({c.r, c.g, c.b, 1.0f});
        return {std::max(c.r, 0.0f) / top, std::max(c.g, 0.0f) / top, std::max(c.b, 0.0f) / top, 1};
    }

    std::string path_;
    const ReadOptions& options_;
    Assimp::Importer importer_;
    const aiScene* scene_ = nullptr;
    bool is_gltf_ = false;
    Model model_;
    bool joins_ = false;
    unsigned morphing_ = 0, cut_vertices_ = 0;
    std::set<std::string> lost_bones_;
    // Names of several nodes; those of them that bones or motion go by.
    std::set<std::string> shared_names_, doubtful_names_;
    std::map<std::string, int> node_index_, joint_index_, images_;
    std::vector<std::pair<const aiNode*, int>> order_;
};

}  // namespace

std::vector<matrix> RestWorlds(const Model& model) {
    std::vector<matrix> worlds;
    for (const ModelNode& node : model.nodes)
        worlds.push_back(node.parent < 0
                             ? node.local
                             : Multiply(node.local, worlds[static_cast<std::size_t>(node.parent)]));
    return worlds;
}

void AddBounds(const Model& model, const std::vector<matrix>& worlds, vect3& low, vect3& high) {
    const auto add = [&](const vect3& p) {
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    };
    for (const ModelMesh& mesh : model.meshes) {
        if (!mesh.skin) {
            for (const vect3& position : mesh.positions)
                add(TransformPoint(position, worlds[static_cast<std::size_t>(mesh.node)]));
            continue;
        }
        const ModelSkin& skin = *mesh.skin;
        std::vector<matrix> palette;
        for (std::size_t b = 0; b < skin.bones.size(); ++b)
            palette.push_back(Multiply(skin.offsets[b], worlds[static_cast<std::size_t>(skin.bones[b])]));
        for (std::size_t v = 0; v < mesh.positions.size(); ++v) {
            const osm3d::VertexWeights& w = skin.weights[v];
            const float blend[4] = {w.blend[0], w.blend[1], w.blend[2],
                                    1 - w.blend[0] - w.blend[1] - w.blend[2]};
            vect3 sum{0, 0, 0};
            for (unsigned k = 0; k < 4; ++k) {
                const vect3 p = TransformPoint(mesh.positions[v], palette[w.bones[k]]);
                sum = {sum.x + p.x * blend[k], sum.y + p.y * blend[k], sum.z + p.z * blend[k]};
            }
            add(sum);
        }
    }
}

Model ReadModel(const std::string& path, const ReadOptions& options) { return Reader(path, options).Read(); }

}  // namespace tools
