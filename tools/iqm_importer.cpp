#include "iqm_importer.h"

#include <assimp/material.h>
#include <assimp/scene.h>
#include <assimp/IOStream.hpp>
#include <assimp/IOSystem.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>

namespace tools {
namespace {

using u32 = std::uint32_t;

constexpr char kMagic[16] = "INTERQUAKEMODEL";
constexpr u32 kVersion = 2;
constexpr double kDefaultRate = 24;
constexpr u32 kMaxCount = 1u << 24;

struct Header {
    u32 version, file_size, flags, text_size, text, mesh_count, meshes, array_count, vertex_count, arrays,
        triangle_count, triangles, adjacency, joint_count, joints, pose_count, poses, animation_count,
        animations, frame_count, frame_channels, frames, bounds, comment_size, comment, extension_count,
        extensions;
};
struct FileMesh {
    u32 name, material, first_vertex, vertex_count, first_triangle, triangle_count;
};
struct FileArray {
    u32 type, flags, format, size, offset;
};
struct FileJoint {
    u32 name;
    std::int32_t parent;
    float translate[3], rotate[4], scale[3];
};
struct FilePose {
    std::int32_t parent;
    u32 mask;
    float offset[10], scale[10];
};
struct FileAnimation {
    u32 name, first_frame, frame_count;
    float rate;
    u32 flags;
};
static_assert(sizeof(Header) == 108 && sizeof(FileMesh) == 24 && sizeof(FileArray) == 20 &&
              sizeof(FileJoint) == 48 && sizeof(FilePose) == 88 && sizeof(FileAnimation) == 20);

enum ArrayType : u32 { kPosition, kCoordinate, kNormal, kTangent, kBoneIndices, kBoneWeights, kColor };
enum ArrayFormat : u32 { kByte, kUByte, kShort, kUShort, kInt, kUInt, kHalf, kFloat, kDouble };

using Matrix = aiMatrix4x4t<double>;

Matrix Compose(const float* translate, const float* rotate, const float* scale) {
    aiQuaterniont<double> q(rotate[3], rotate[0], rotate[1], rotate[2]);
    const double length = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
    q = length > 0 ? aiQuaterniont<double>(q.w / length, q.x / length, q.y / length, q.z / length)
                   : aiQuaterniont<double>();
    return {aiVector3t<double>(scale[0], scale[1], scale[2]), q,
            aiVector3t<double>(translate[0], translate[1], translate[2])};
}

aiMatrix4x4 Single(const Matrix& m) {
    aiMatrix4x4 out;
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned c = 0; c < 4; ++c) out[r][c] = static_cast<float>(m[r][c]);
    return out;
}

class File {
  public:
    File(std::vector<std::uint8_t> bytes, aiScene& scene) : bytes_(std::move(bytes)), scene_(scene) {}

    void Read() {
        if (bytes_.size() < sizeof kMagic + sizeof header_ ||
            std::memcmp(bytes_.data(), kMagic, sizeof kMagic) != 0)
            throw std::runtime_error("it is not an IQM file");
        std::memcpy(&header_, bytes_.data() + sizeof kMagic, sizeof header_);
        if (header_.version != kVersion) throw std::runtime_error("its IQM version is not 2");
        Joints();
        Meshes();
        Nodes();
        Animations();
    }

  private:
    // `count` records of `size` bytes at `offset`.
    const std::uint8_t* At(std::uint64_t offset, std::uint64_t count, std::uint64_t size) const {
        if (count > kMaxCount || offset > bytes_.size() || count * size > bytes_.size() - offset)
            throw std::runtime_error("it is cut short or broken");
        return bytes_.data() + offset;
    }
    template <class T>
    std::vector<T> Records(u32 offset, u32 count) const {
        const std::uint8_t* from = At(offset, count, sizeof(T));
        std::vector<T> out(count);
        if (count > 0) std::memcpy(out.data(), from, count * sizeof(T));
        return out;
    }
    std::string Text(u32 offset) const {
        if (offset >= header_.text_size) return {};
        const auto* text = reinterpret_cast<const char*>(At(header_.text, header_.text_size, 1)) + offset;
        return {text, strnlen(text, header_.text_size - offset)};
    }

    void Joints() {
        joints_ = Records<FileJoint>(header_.joints, header_.joint_count);
        for (std::size_t i = 0; i < joints_.size(); ++i) {
            const FileJoint& joint = joints_[i];
            if (joint.parent >= static_cast<std::int64_t>(i))
                throw std::runtime_error("its bones are broken");
            const Matrix local = Compose(joint.translate, joint.rotate, joint.scale);
            locals_.push_back(local);
            worlds_.push_back(joint.parent < 0 ? local
                                               : worlds_[static_cast<std::size_t>(joint.parent)] * local);
            // Bones go by name from here on.
            std::string name = Text(joint.name);
            if (name.empty() || std::find(names_.begin(), names_.end(), name) != names_.end())
                name += "#" + std::to_string(i);
            names_.push_back(std::move(name));
        }
    }

    // Component `k` of vertex `v` of an array; whole numbers of bytes and words count as parts of their
    // range.
    float Component(const FileArray& array, const std::uint8_t* data, std::size_t v, u32 k) const {
        const std::size_t i = v * array.size + k;
        if (array.format == kFloat) {
            float value;
            std::memcpy(&value, data + 4 * i, 4);
            return value;
        }
        return static_cast<float>(data[i]) / 255.0f;
    }
    const FileArray* Array(ArrayType type, u32 min_size) const {
        for (const FileArray& array : arrays_)
            if (array.type == static_cast<u32>(type) && array.size >= min_size && array.size <= 4 &&
                (array.format == kFloat || array.format == kUByte))
                return &array;
        return nullptr;
    }
    const std::uint8_t* Data(const FileArray& array) const {
        return At(array.offset, header_.vertex_count, array.size * (array.format == kFloat ? 4u : 1u));
    }

    void Meshes() {
        arrays_ = Records<FileArray>(header_.arrays, header_.array_count);
        const auto meshes = Records<FileMesh>(header_.meshes, header_.mesh_count);
        const FileArray* positions = Array(kPosition, 3);
        if (positions == nullptr || meshes.empty()) throw std::runtime_error("it holds no meshes");
        std::uint64_t vertices = 0, triangles = 0;
        for (const FileMesh& mesh : meshes) {
            vertices += mesh.vertex_count;
            triangles += mesh.triangle_count;
        }
        if (vertices > header_.vertex_count || triangles > header_.triangle_count)
            throw std::runtime_error("its meshes overlap");
        std::map<std::string, unsigned> materials;
        scene_.mMeshes = new aiMesh*[meshes.size()]();
        scene_.mNumMeshes = static_cast<unsigned>(meshes.size());
        for (std::size_t i = 0; i < meshes.size(); ++i) {
            scene_.mMeshes[i] = new aiMesh;
            Mesh(meshes[i], *positions, *scene_.mMeshes[i]);
            const auto next = static_cast<unsigned>(materials.size());
            scene_.mMeshes[i]->mMaterialIndex =
                materials.emplace(Text(meshes[i].material), next).first->second;
        }
        scene_.mMaterials = new aiMaterial*[materials.size()]();
        scene_.mNumMaterials = static_cast<unsigned>(materials.size());
        for (const auto& [text, index] : materials) {
            auto* material = scene_.mMaterials[index] = new aiMaterial;
            const aiString name(text);
            material->AddProperty(&name, AI_MATKEY_NAME);
            // The one text of a material may be a name or an image's path.
            if (text.find('.') != text.npos) material->AddProperty(&name, AI_MATKEY_TEXTURE_DIFFUSE(0));
        }
    }

    void Mesh(const FileMesh& in, const FileArray& positions, aiMesh& out) {
        if (in.vertex_count > header_.vertex_count ||
            in.first_vertex > header_.vertex_count - in.vertex_count)
            throw std::runtime_error("a mesh is broken");
        out.mName = Text(in.name);
        out.mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
        out.mNumVertices = in.vertex_count;
        auto vectors = [&](const FileArray& array) {
            const std::uint8_t* data = Data(array);
            auto* to = new aiVector3D[in.vertex_count];
            for (u32 v = 0; v < in.vertex_count; ++v)
                for (u32 k = 0; k < std::min(array.size, 3u); ++k)
                    to[v][k] = Component(array, data, in.first_vertex + v, k);
            return to;
        };
        out.mVertices = vectors(positions);
        if (const FileArray* normals = Array(kNormal, 3)) out.mNormals = vectors(*normals);
        if (const FileArray* coordinates = Array(kCoordinate, 2)) {
            out.mTextureCoords[0] = vectors(*coordinates);
            out.mNumUVComponents[0] = 2;
            for (u32 v = 0; v < in.vertex_count; ++v) {
                aiVector3D& uv = out.mTextureCoords[0][v];
                uv = {uv.x, 1 - uv.y, 0};
            }
        }
        if (const FileArray* colors = Array(kColor, 4)) {
            const std::uint8_t* data = Data(*colors);
            out.mColors[0] = new aiColor4D[in.vertex_count];
            for (u32 v = 0; v < in.vertex_count; ++v)
                for (u32 k = 0; k < 4; ++k)
                    out.mColors[0][v][k] = Component(*colors, data, in.first_vertex + v, k);
        }
        Faces(in, out);
        Bones(in, out);
    }

    void Faces(const FileMesh& in, aiMesh& out) {
        const std::uint8_t* from =
            At(header_.triangles + std::uint64_t{12} * in.first_triangle, in.triangle_count, 12);
        out.mFaces = new aiFace[in.triangle_count];
        out.mNumFaces = in.triangle_count;
        for (u32 f = 0; f < in.triangle_count; ++f) {
            u32 corner[3];
            std::memcpy(corner, from + std::size_t{12} * f, 12);
            aiFace& face = out.mFaces[f];
            face.mNumIndices = 3;
            face.mIndices = new unsigned[3];
            // Fronts are clockwise in the file.
            const u32 order[3] = {corner[0], corner[2], corner[1]};
            for (unsigned k = 0; k < 3; ++k) {
                if (order[k] < in.first_vertex || order[k] - in.first_vertex >= in.vertex_count)
                    throw std::runtime_error("a triangle names a vertex that is not there");
                face.mIndices[k] = order[k] - in.first_vertex;
            }
        }
    }

    void Bones(const FileMesh& in, aiMesh& out) {
        const FileArray* weights = Array(kBoneWeights, 4);
        const FileArray* indices = nullptr;
        for (const FileArray& array : arrays_)
            if (array.type == kBoneIndices && array.size == 4 &&
                (array.format == kUByte || array.format == kUInt || array.format == kInt))
                indices = &array;
        if (weights == nullptr || indices == nullptr || joints_.empty()) return;
        const std::uint8_t* weight_data = Data(*weights);
        const u32 width = indices->format == kUByte ? 1 : 4;
        const std::uint8_t* index_data = At(indices->offset, header_.vertex_count, 4 * width);
        std::vector<std::vector<aiVertexWeight>> lists(joints_.size());
        for (u32 v = 0; v < in.vertex_count; ++v)
            for (u32 k = 0; k < 4; ++k) {
                const float weight = Component(*weights, weight_data, in.first_vertex + v, k);
                if (!(weight > 0)) continue;
                u32 joint = 0;
                std::memcpy(&joint, index_data + (std::size_t{in.first_vertex} + v) * 4 * width + k * width,
                            width);
                if (joint >= lists.size())
                    throw std::runtime_error("a vertex names a bone that is not there");
                lists[joint].emplace_back(v, weight);
            }
        const auto used = std::count_if(lists.begin(), lists.end(), [](auto& list) { return !list.empty(); });
        out.mBones = new aiBone*[static_cast<std::size_t>(used)]();
        for (std::size_t joint = 0; joint < lists.size(); ++joint) {
            if (lists[joint].empty()) continue;
            auto* bone = out.mBones[out.mNumBones++] = new aiBone;
            bone->mName = names_[joint];
            Matrix inverse = worlds_[joint];
            bone->mOffsetMatrix = Single(inverse.Inverse());
            bone->mNumWeights = static_cast<unsigned>(lists[joint].size());
            bone->mWeights = new aiVertexWeight[lists[joint].size()];
            std::copy(lists[joint].begin(), lists[joint].end(), bone->mWeights);
        }
    }

    void Nodes() {
        auto* root = scene_.mRootNode = new aiNode("iqm");
        // z is up in the file.
        root->mTransformation = aiMatrix4x4(1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1);
        root->mMeshes = new unsigned[scene_.mNumMeshes];
        root->mNumMeshes = scene_.mNumMeshes;
        for (unsigned i = 0; i < scene_.mNumMeshes; ++i) root->mMeshes[i] = i;
        std::vector<aiNode*> nodes;
        std::map<aiNode*, std::vector<aiNode*>> children;
        for (std::size_t i = 0; i < joints_.size(); ++i) {
            auto* node = new aiNode(names_[i]);
            node->mTransformation = Single(locals_[i]);
            nodes.push_back(node);
            children[joints_[i].parent < 0 ? root : nodes[static_cast<std::size_t>(joints_[i].parent)]]
                .push_back(node);
        }
        for (const auto& [parent, list] : children)
            parent->addChildren(static_cast<unsigned>(list.size()), const_cast<aiNode**>(list.data()));
    }

    void Animations() {
        const auto poses = Records<FilePose>(header_.poses, header_.pose_count);
        const auto animations = Records<FileAnimation>(header_.animations, header_.animation_count);
        if (animations.empty() || poses.size() != joints_.size() || poses.empty()) return;
        u32 channels = 0;
        for (const FilePose& pose : poses)
            for (unsigned k = 0; k < 10; ++k) channels += pose.mask >> k & 1;
        std::uint64_t keys = 0;
        for (const FileAnimation& animation : animations) keys += animation.frame_count;
        if (keys * poses.size() > kMaxCount ||
            std::uint64_t{header_.frame_count} * std::max(channels, 1u) > kMaxCount)
            throw std::runtime_error("its frames are broken");
        const auto frames = Records<std::uint16_t>(header_.frames, header_.frame_count * channels);
        scene_.mAnimations = new aiAnimation*[animations.size()]();
        scene_.mNumAnimations = static_cast<unsigned>(animations.size());
        for (std::size_t i = 0; i < animations.size(); ++i) {
            const FileAnimation& in = animations[i];
            if (in.frame_count > header_.frame_count ||
                in.first_frame > header_.frame_count - in.frame_count || in.frame_count == 0)
                throw std::runtime_error("an animation is broken");
            auto* out = scene_.mAnimations[i] = new aiAnimation;
            out->mName = Text(in.name);
            out->mTicksPerSecond = in.rate > 0 && std::isfinite(in.rate) ? in.rate : kDefaultRate;
            out->mDuration = in.frame_count - 1;
            out->mNumChannels = static_cast<unsigned>(poses.size());
            out->mChannels = new aiNodeAnim*[poses.size()]();
            for (std::size_t p = 0; p < poses.size(); ++p)
                out->mChannels[p] = NewChannel(names_[p], in.frame_count);
            for (u32 frame = 0; frame < in.frame_count; ++frame) {
                const std::uint16_t* data = frames.data() + std::size_t{in.first_frame + frame} * channels;
                for (std::size_t p = 0; p < poses.size(); ++p) Key(poses[p], data, frame, *out->mChannels[p]);
            }
        }
    }

    static aiNodeAnim* NewChannel(const std::string& name, u32 count) {
        auto* channel = new aiNodeAnim;
        channel->mNodeName = name;
        channel->mPositionKeys = new aiVectorKey[count];
        channel->mRotationKeys = new aiQuatKey[count];
        channel->mScalingKeys = new aiVectorKey[count];
        channel->mNumPositionKeys = channel->mNumRotationKeys = channel->mNumScalingKeys = count;
        return channel;
    }

    // Takes the pose's words off `data`.
    static void Key(const FilePose& pose, const std::uint16_t*& data, u32 frame, aiNodeAnim& channel) {
        float value[10];
        for (unsigned k = 0; k < 10; ++k) {
            value[k] = pose.offset[k];
            if (pose.mask >> k & 1) value[k] += static_cast<float>(*data++) * pose.scale[k];
        }
        channel.mPositionKeys[frame] = {static_cast<double>(frame), {value[0], value[1], value[2]}};
        aiQuaternion rotation(value[6], value[3], value[4], value[5]);
        channel.mRotationKeys[frame] = {static_cast<double>(frame), rotation.Normalize()};
        channel.mScalingKeys[frame] = {static_cast<double>(frame), {value[7], value[8], value[9]}};
    }

    std::vector<std::uint8_t> bytes_;
    aiScene& scene_;
    Header header_{};
    std::vector<FileArray> arrays_;
    std::vector<FileJoint> joints_;
    std::vector<std::string> names_;
    std::vector<Matrix> locals_, worlds_;  // of the joints at rest, in the file's space
};

}  // namespace

bool IqmImporter::CanRead(const std::string& path, Assimp::IOSystem*, bool) const {
    return SimpleExtensionCheck(path, "iqm");
}

const aiImporterDesc* IqmImporter::GetInfo() const {
    static const aiImporterDesc description = {
        "Inter-Quake Model", "", "", "", aiImporterFlags_SupportBinaryFlavour, 0, 0, 0, 0, "iqm"};
    return &description;
}

void IqmImporter::InternReadFile(const std::string& path, aiScene* scene, Assimp::IOSystem* io) {
    const std::unique_ptr<Assimp::IOStream> stream(io->Open(path, "rb"));
    if (!stream) throw std::runtime_error("it cannot be opened");
    std::vector<std::uint8_t> bytes(stream->FileSize());
    if (stream->Read(bytes.data(), 1, bytes.size()) != bytes.size())
        throw std::runtime_error("it cannot be read");
    File(std::move(bytes), *scene).Read();
}

}  // namespace tools
