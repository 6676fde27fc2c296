#include "gltf_details.h"

#include <assimp/scene.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "cli/error.h"
#include "envelope.h"
#include "json_reader.h"

namespace tools {
namespace {

constexpr std::size_t kNone = ~std::size_t{0};

Bytes ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Bytes FromBase64(std::string_view text) {
    Bytes out;
    unsigned bits = 0, count = 0;
    for (const char c : text) {
        unsigned value;
        if (c >= 'A' && c <= 'Z')
            value = static_cast<unsigned>(c - 'A');
        else if (c >= 'a' && c <= 'z')
            value = static_cast<unsigned>(c - 'a') + 26;
        else if (c >= '0' && c <= '9')
            value = static_cast<unsigned>(c - '0') + 52;
        else if (c == '+' || c == '/')
            value = c == '+' ? 62 : 63;
        else
            break;
        bits = bits << 6 | value;
        if ((count += 6) < 8) continue;
        count -= 8;
        out.push_back(static_cast<std::uint8_t>(bits >> count));
    }
    return out;
}

std::string WithoutPercents(const std::string& uri) {
    std::string out;
    for (std::size_t i = 0; i < uri.size(); ++i) {
        if (uri[i] == '%' && i + 2 < uri.size() && std::isxdigit(static_cast<unsigned char>(uri[i + 1])) &&
            std::isxdigit(static_cast<unsigned char>(uri[i + 2]))) {
            out += static_cast<char>(std::stoi(uri.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += uri[i];
        }
    }
    return out;
}

std::size_t ComponentSize(std::size_t type) {
    switch (type) {
        case 5120:
        case 5121:
            return 1;
        case 5122:
        case 5123:
            return 2;
        case 5125:
        case 5126:
            return 4;
        default:
            return 0;
    }
}

template <class T>
double As(const std::uint8_t* p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return static_cast<double>(value);
}

double Component(const std::uint8_t* p, std::size_t type, bool normalized) {
    const auto part = [&](double value, double most) {
        return normalized ? std::max(value / most, -1.0) : value;
    };
    switch (type) {
        case 5120:
            return part(As<std::int8_t>(p), 127);
        case 5121:
            return part(As<std::uint8_t>(p), 255);
        case 5122:
            return part(As<std::int16_t>(p), 32767);
        case 5123:
            return part(As<std::uint16_t>(p), 65535);
        case 5125:
            return As<std::uint32_t>(p);
        default:
            return As<float>(p);
    }
}

}  // namespace

class GltfDetails::Document {
  public:
    Document(const std::string& path, Json root, Bytes binary)
        : folder_(std::filesystem::path(path).parent_path()),
          root_(std::move(root)),
          binary_(std::move(binary)) {}

    const Json& Root() const { return root_; }

    // `width` numbers for each element of an accessor; empty when it is not there or not whole.
    std::vector<double> Numbers(const Json& index, std::size_t width) {
        const Json& accessor = root_["accessors"][index.Index(kNone)];
        const Json& view = root_["bufferViews"][accessor["bufferView"].Index(kNone)];
        const std::size_t type = accessor["componentType"].Index(), count = accessor["count"].Index();
        const std::size_t element = ComponentSize(type) * width;
        if (view.IsNull() || element == 0 || !accessor["sparse"].IsNull()) return {};
        const Bytes& buffer = Buffer(view["buffer"].Index(kNone));
        const std::size_t stride = view["byteStride"].Index(element);
        const std::size_t from = view["byteOffset"].Index() + accessor["byteOffset"].Index();
        if (count == 0 || stride < element || from > buffer.size() || buffer.size() - from < element ||
            (buffer.size() - from - element) / stride < count - 1)
            return {};
        std::vector<double> out;
        out.reserve(count * width);
        for (std::size_t i = 0; i < count; ++i)
            for (std::size_t k = 0; k < width; ++k)
                out.push_back(Component(buffer.data() + from + i * stride + k * ComponentSize(type), type,
                                        accessor["normalized"].True()));
        return out;
    }

    void Weights(aiScene& scene) {
        unsigned next = 0;
        for (std::size_t m = 0; m < root_["meshes"].Size(); ++m) {
            const Json& primitives = root_["meshes"][m]["primitives"];
            for (std::size_t p = 0; p < primitives.Size() && next < scene.mNumMeshes; ++p, ++next)
                PrimitiveWeights(primitives[p]["attributes"], *scene.mMeshes[next]);
        }
    }

    void Motion(aiScene& scene, double rate) {
        const Json& animations = root_["animations"];
        for (std::size_t a = 0; a < animations.Size() && a < scene.mNumAnimations; ++a) {
            const Json& channels = animations[a]["channels"];
            for (std::size_t c = 0; c < channels.Size(); ++c) {
                const Json& sampler = animations[a]["samplers"][channels[c]["sampler"].Index(kNone)];
                const std::string& way = sampler["interpolation"].Text();
                if (way != "STEP" && way != "CUBICSPLINE") continue;
                const std::size_t node = channels[c]["target"]["node"].Index(kNone);
                const std::string& name = root_["nodes"][node]["name"].Text();
                aiNodeAnim* channel =
                    Find(*scene.mAnimations[a], name.empty() ? fmt::format("nodes_{}", node) : name);
                if (channel)
                    Channel(sampler, channels[c]["target"]["path"].Text(), way == "STEP", rate, *channel);
            }
        }
    }

  private:
    const Bytes& Buffer(std::size_t index) {
        static const Bytes none;
        const Json& buffer = root_["buffers"][index];
        if (buffer.IsNull()) return none;
        const std::string& uri = buffer["uri"].Text();
        if (uri.empty()) return index == 0 ? binary_ : none;
        buffers_.resize(std::max(buffers_.size(), index + 1));
        if (buffers_[index].empty()) {
            const std::size_t data = uri.find(";base64,");
            buffers_[index] = uri.rfind("data:", 0) == 0 && data != uri.npos
                                  ? FromBase64(std::string_view(uri).substr(data + 8))
                                  : ReadFile(folder_ / WithoutPercents(uri));
        }
        return buffers_[index];
    }

    // Weights that are not floats, which Assimp takes for such. Bones stand in the order of the skin's
    // joints.
    void PrimitiveWeights(const Json& attributes, aiMesh& mesh) {
        constexpr std::size_t kFloat = 5126;
        const Json& first = attributes["WEIGHTS_0"];
        const std::size_t type = root_["accessors"][first.Index(kNone)]["componentType"].Index(kFloat);
        if (first.IsNull() || type == kFloat || mesh.mNumBones == 0) return;
        std::vector<std::vector<aiVertexWeight>> lists(mesh.mNumBones);
        for (int set = 0; !attributes[fmt::format("WEIGHTS_{}", set)].IsNull(); ++set) {
            const std::vector<double> weights = Numbers(attributes[fmt::format("WEIGHTS_{}", set)], 4);
            const std::vector<double> joints = Numbers(attributes[fmt::format("JOINTS_{}", set)], 4);
            if (weights.size() != std::size_t{mesh.mNumVertices} * 4 || joints.size() != weights.size())
                return;
            for (std::size_t i = 0; i < weights.size(); ++i)
                if (weights[i] > 0 && joints[i] < mesh.mNumBones)
                    lists[static_cast<std::size_t>(joints[i])].emplace_back(static_cast<unsigned>(i / 4),
                                                                            static_cast<float>(weights[i]));
        }
        for (unsigned b = 0; b < mesh.mNumBones; ++b) {
            aiBone& bone = *mesh.mBones[b];
            delete[] bone.mWeights;
            // A bone without weights is not one to Assimp.
            if (lists[b].empty()) lists[b].emplace_back(0, 0.0f);
            bone.mWeights = new aiVertexWeight[lists[b].size()];
            bone.mNumWeights = static_cast<unsigned>(lists[b].size());
            std::copy(lists[b].begin(), lists[b].end(), bone.mWeights);
        }
    }

    static aiNodeAnim* Find(const aiAnimation& animation, const std::string& node) {
        for (unsigned i = 0; i < animation.mNumChannels; ++i)
            if (node == animation.mChannels[i]->mNodeName.C_Str()) return animation.mChannels[i];
        return nullptr;
    }

    using Value = std::array<double, 4>;
    struct Key {
        double time;
        Value value;
    };

    void Channel(const Json& sampler, const std::string& path, bool step, double rate, aiNodeAnim& channel) {
        const std::size_t width = path == "rotation" ? 4 : 3;
        if (path != "rotation" && path != "translation" && path != "scale") return;
        const std::vector<double> times = Numbers(sampler["input"], 1),
                                  values = Numbers(sampler["output"], width);
        const std::size_t per_key = step ? 1 : 3;
        if (times.empty() || values.size() < times.size() * width * per_key) return;
        const auto value = [&](std::size_t key, std::size_t part) {
            Value out{};
            for (std::size_t k = 0; k < width; ++k) out[k] = values[(key * per_key + part) * width + k];
            return out;
        };
        std::vector<Key> keys;
        for (std::size_t i = 0; i < times.size(); ++i) {
            keys.push_back({times[i], value(i, step ? 0 : 1)});
            if (i + 1 == times.size()) break;
            const double span = times[i + 1] - times[i];
            if (step)
                keys.push_back({times[i + 1], keys.back().value});
            else
                Cubic(times[i], span, rate, {value(i, 1), value(i, 2), value(i + 1, 0), value(i + 1, 1)},
                      keys);
        }
        if (path == "rotation")
            Put(keys, channel.mRotationKeys, channel.mNumRotationKeys, [](const Value& v) {
                aiQuaternion q(static_cast<float>(v[3]), static_cast<float>(v[0]), static_cast<float>(v[1]),
                               static_cast<float>(v[2]));
                return q.Normalize();
            });
        else if (path == "translation")
            Put(keys, channel.mPositionKeys, channel.mNumPositionKeys, Vector);
        else
            Put(keys, channel.mScalingKeys, channel.mNumScalingKeys, Vector);
    }

    // Points between two keys: `corners` are the first value, its tangent out, the second's tangent in, its
    // value.
    static void Cubic(double time, double span, double rate, const std::array<Value, 4>& corners,
                      std::vector<Key>& keys) {
        constexpr double kMostSteps = 100000;
        if (!(span > 0)) return;
        const auto steps = static_cast<int>(std::min(std::ceil(span * rate - 1e-6), kMostSteps));
        for (int step = 1; step < steps; ++step) {
            const double t = static_cast<double>(step) / steps, t2 = t * t, t3 = t2 * t;
            Key key{time + span * t, {}};
            for (std::size_t k = 0; k < 4; ++k)
                key.value[k] = (2 * t3 - 3 * t2 + 1) * corners[0][k] +
                               span * (t3 - 2 * t2 + t) * corners[1][k] + span * (t3 - t2) * corners[2][k] +
                               (3 * t2 - 2 * t3) * corners[3][k];
            keys.push_back(key);
        }
    }

    static aiVector3D Vector(const Value& v) {
        return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
    }
    template <class T, class Make>
    static void Put(const std::vector<Key>& keys, T*& out, unsigned& count, const Make& make) {
        constexpr double kTicksPerSecond = 1000;  // what Assimp has for glTF
        delete[] out;
        out = new T[keys.size()];
        count = static_cast<unsigned>(keys.size());
        for (std::size_t i = 0; i < keys.size(); ++i)
            out[i] = T(keys[i].time * kTicksPerSecond, make(keys[i].value));
    }

    std::filesystem::path folder_;
    Json root_;
    Bytes binary_;
    std::vector<Bytes> buffers_;
};

GltfDetails::GltfDetails(const std::string& path) {
    constexpr std::size_t kHeader = 12, kChunk = 8;
    Bytes file = ReadFile(path), binary;
    std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
    if (text.substr(0, 4) == "glTF") {
        const auto word = [&](std::size_t at) {
            std::uint32_t value = 0;
            if (at + 4 <= file.size()) std::memcpy(&value, file.data() + at, 4);
            return std::size_t{value};
        };
        const std::size_t size = word(kHeader), next = kHeader + kChunk + size;
        if (next > file.size()) return;
        if (next + kChunk <= file.size() && word(next) <= file.size() - next - kChunk)
            binary.assign(file.begin() + static_cast<std::ptrdiff_t>(next + kChunk),
                          file.begin() + static_cast<std::ptrdiff_t>(next + kChunk + word(next)));
        text = text.substr(kHeader + kChunk, size);
    }
    std::optional<Json> root = Json::Parse(text);
    if (!root) return;
    const Json& skins = (*root)["skins"];
    for (std::size_t i = 0; i < skins.Size(); ++i)
        if (skins[i]["inverseBindMatrices"].IsNull())
            throw cli::Error(
                fmt::format("{}: its skin {} has no inverse bind matrices, which are needed here", path, i));
    document_ = std::make_unique<Document>(path, std::move(*root), std::move(binary));
}

GltfDetails::~GltfDetails() = default;

void GltfDetails::Apply(aiScene& scene, double rate) const {
    if (!document_) return;
    document_->Weights(scene);
    document_->Motion(scene, rate);
}

}  // namespace tools
