// Small glTF files with bones, written as text.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace gltf {

// The lists of a file, each a row of JSON objects, and the buffer that its accessors lie in.
class File {
  public:
    std::vector<std::string> nodes, meshes, skins, animations;

    // Numbers of T, `width` to an element (1, 3, 4 or 16). Gives the accessor's index.
    template <class T>
    std::size_t Numbers(const std::vector<T>& values, unsigned width, bool normalized = false) {
        while (bytes_.size() % 4 != 0) bytes_.push_back(0);
        const std::size_t at = bytes_.size(), size = values.size() * sizeof(T);
        bytes_.resize(at + size);
        std::memcpy(bytes_.data() + at, values.data(), size);
        views_.push_back("{\"buffer\":0,\"byteOffset\":" + Text(at) + ",\"byteLength\":" + Text(size) + "}");
        const char* type = width == 1 ? "SCALAR" : width == 3 ? "VEC3" : width == 4 ? "VEC4" : "MAT4";
        const int component = std::is_same_v<T, float> ? 5126 : sizeof(T) == 1 ? 5121 : 5123;
        accessors_.push_back("{\"bufferView\":" + Text(views_.size() - 1) + ",\"componentType\":" +
                             Text(component) + ",\"count\":" + Text(values.size() / width) + ",\"type\":\"" +
                             type + "\"" + (normalized ? ",\"normalized\":true" : "") +
                             (width == 3 ? ",\"min\":[-9,-9,-9],\"max\":[9,9,9]" : "") + "}");
        return accessors_.size() - 1;
    }

    // A mesh of one primitive; `attributes` are pairs of a name and an accessor.
    void Mesh(const std::vector<std::pair<std::string, std::size_t>>& attributes, std::size_t indices,
              const std::string& more = "") {
        std::string list;
        for (const auto& [name, accessor] : attributes)
            list += (list.empty() ? "\"" : ",\"") + name + "\":" + Text(accessor);
        meshes.push_back("{\"name\":\"mesh\",\"primitives\":[{\"attributes\":{" + list +
                         "},\"indices\":" + Text(indices) + more + "}]}");
    }
    // Joints whose places at bind time are `binds`, moved there without turning.
    void Skin(const std::vector<std::size_t>& joints, const std::vector<std::array<float, 3>>& binds) {
        std::vector<float> inverse;
        for (const auto& b : binds)
            inverse.insert(inverse.end(), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -b[0], -b[1], -b[2], 1});
        std::string list;
        for (const std::size_t joint : joints) list += (list.empty() ? "" : ",") + Text(joint);
        const std::size_t accessor = Numbers(inverse, 16);
        skins.push_back("{\"joints\":[" + list + "],\"inverseBindMatrices\":" + Text(accessor) + "}");
    }
    struct Channel {
        std::size_t node;
        std::string path;
        std::vector<float> times, values;
        std::string interpolation = "LINEAR";
    };
    void Animation(const std::string& name, const std::vector<Channel>& channels) {
        std::string list, samplers;
        for (const Channel& c : channels) {
            const std::size_t input = Numbers(c.times, 1),
                              output = Numbers(c.values, c.path == "rotation" ? 4 : 3);
            const char* comma = list.empty() ? "" : ",";
            list += comma + ("{\"sampler\":" + Text(&c - channels.data())) +
                    ",\"target\":{\"node\":" + Text(c.node) + ",\"path\":\"" + c.path + "\"}}";
            samplers += comma + ("{\"input\":" + Text(input)) + ",\"output\":" + Text(output) +
                        ",\"interpolation\":\"" + c.interpolation + "\"}";
        }
        animations.push_back("{\"name\":\"" + name + "\",\"channels\":[" + list + "],\"samplers\":[" +
                             samplers + "]}");
    }

    // The whole file. The first node is the scene's.
    std::string Document() const {
        const auto list = [](const char* name, const std::vector<std::string>& items) {
            std::string text;
            for (const std::string& item : items) text += (text.empty() ? "" : ",") + item;
            return items.empty() ? text : ",\"" + std::string(name) + "\":[" + text + "]";
        };
        return "{\"asset\":{\"version\":\"2.0\"},\"scene\":0,\"scenes\":[{\"nodes\":[0]}]" +
               list("nodes", nodes) + list("meshes", meshes) + list("skins", skins) +
               list("animations", animations) + list("accessors", accessors_) + list("bufferViews", views_) +
               ",\"buffers\":[{\"byteLength\":" + Text(bytes_.size()) +
               ",\"uri\":\"data:application/octet-stream;base64," + Base64() + "\"}]}";
    }

  private:
    template <class T>
    static std::string Text(T number) {
        return std::to_string(number);
    }
    std::string Base64() const {
        static const char* kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string out;
        for (std::size_t i = 0; i < bytes_.size(); i += 3) {
            std::uint32_t word = 0;
            for (std::size_t k = 0; k < 3; ++k)
                word = word << 8 | (i + k < bytes_.size() ? bytes_[i + k] : 0u);
            for (std::size_t k = 0; k < 4; ++k)
                out += i + k <= bytes_.size() || k < 2 ? kLetters[word >> (18 - 6 * k) & 63] : '=';
        }
        return out;
    }

    std::vector<std::uint8_t> bytes_;
    std::vector<std::string> accessors_, views_;
};

// A strip up the y axis: vertices at x 0 and 1, heights 0, 1 and 2, on a bone "low" at the origin, and "high"
// on top of it at height 1. The lowest two follow "low", the highest two "high", the middle two both in equal
// parts. Nodes: 0 root, 1 the mesh (moved 5 along x), 2 low, 3 high.
struct Strip : File {
    Strip() {
        nodes = {R"({"name":"root","children":[1,2]})",
                 R"({"name":"strip","mesh":0,"skin":0,"translation":[5,0,0]})",
                 R"({"name":"low","children":[3]})", R"({"name":"high","translation":[0,1,0]})"};
        positions = Numbers<float>({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 2, 0, 1, 2, 0}, 3);
        indices = Numbers<std::uint16_t>({0, 1, 3, 0, 3, 2, 2, 3, 5, 2, 5, 4}, 1);
        joints = Numbers<std::uint8_t>(
            {0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0}, 4);
        Skin({2, 3}, {{0, 0, 0}, {0, 1, 0}});
    }
    // With the weights as floats, or as parts of a byte's or word's range.
    template <class T>
    void Weighted(T one) {
        const T half = static_cast<T>(one / 2);
        const std::size_t weights = Numbers<T>(
            {one, 0, 0, 0, one, 0, 0, 0, half, half, 0, 0, half, half, 0, 0, 0, one, 0, 0, 0, one, 0, 0}, 4,
            sizeof(T) < 4);
        Mesh({{"POSITION", positions}, {"JOINTS_0", joints}, {"WEIGHTS_0", weights}}, indices);
    }

    std::size_t positions, indices, joints;
};

}  // namespace gltf
