#include "chunk_tree.h"

#include <fmt/format.h>

#include <cmath>
#include <cstring>
#include <map>
#include <unordered_set>
#include <utility>

#include "io/chunked_stream.h"
#include "scene/hierarchy_node.h"

namespace tools {
namespace {

// As deep as the engine's reader goes.
constexpr unsigned kMaxNesting = osmio::InStreamChunked::kMaxNesting;
constexpr unsigned kMaxTreeDepth = osm3d::HierarchyNode::kMaxTreeDepth;
constexpr std::size_t kMaxShown = 4;  // values of an array that are printed

const std::map<std::string, const char*>& ClassNames() {
    static const std::map<std::string, const char*> names = {
        {"stfx", "AnimationPackage"},
        {"TXBF", "TextureBitmapFile"},
        {"MTCP", "MaterialComposite"},
        {"SCHE", "SceneHierarchy"},
        {"MESM", "MeshSimple"},
        {"CPRS", "ControllerTransformation"},
        {"CMTX", "ControllerTransformationMatrix"},
        {"MTSM", "MaterialSimple"},
        {"HINO", "HierarchyNode"},
        {"GOCP", "GeometryComposite"},
        {"GOSM", "GeometrySimple"},
        {"cASM", "CameraSimple"},
        {"LTOM", "LightOmni"},
        {"TRPR", "TransformationPRS"},
        {"ATAM", "AtmosphericAmbient"},
        {"ATFG", "AtmosphericFog"},
        {"ATBG", "AtmosphericBackground"},
        {"CCFL", "Const<float>"},
        {"CCV3", "Const<vect3>"},
        {"CCQU", "Const<quat>"},
        {"CCCO", "Const<color>"},
        {"CLFL", "Linear<float>"},
        {"CLV3", "Linear<vect3>"},
        {"CLQU", "Linear<quat>"},
        {"CLCO", "Linear<color>"},
        {"CLMT", "Linear<matrix>"},
        {"CoCF", "Op<color, color, float>"},
        {"CVCV", "Conv<color, vect3>"},
        {"TS__", "TextureStage"},
        {"GOWT", "GeometryWeighted"},
        {"MOST", "ModifierStack"},
        {"MDSK", "ModifierSkin"},
        {"TXCF", "TextureCubemapFile"},
        {"MTFX", "MaterialFX"},
        {"SRMR", "SceneRendererMirror"},
        {"SRDF", "SceneRendererDOF"},
        {"SRSW", "SceneRendererShadow"},
        {"ATBL", "AtmosphericBillboard"},
        {"FPRB", "Billboard"},
    };
    return names;
}

std::string Printable(const std::uint8_t* tag) {
    std::string text;
    for (unsigned i = 0; i < 4; ++i)
        text += tag[i] >= 0x20 && tag[i] < 0x7f ? static_cast<char>(tag[i]) : '?';
    return text;
}

std::string Number(float value) { return fmt::format("{}", value); }

class Walker {
  public:
    Walker(const Envelope& envelope, ChunkTree& tree)
        : bytes_(envelope.objects),
          packed_(envelope.form == Form::Packed),
          magic_(envelope.form == Form::Animation ? 0 : 4),
          tree_(tree) {}

    void Run() {
        Slot("root", tree_.root);
        if (packed_ && tree_.root.kind == Node::Kind::Chunk && tree_.root.class_name.empty())
            tree_.faults.insert(tree_.faults.begin(),
                                {FileOffset(0),
                                 "no known object stands here: an animation exported in the form that is not "
                                 "loadable looks like this, and nothing reads it back"});
        if (!broken_ && at_ < bytes_.size())
            tree_.faults.push_back(
                {FileOffset(at_),
                 fmt::format("{} bytes follow the root object; nothing reads them", bytes_.size() - at_)});
    }

  private:
    std::size_t FileOffset(std::size_t at) const { return at + magic_; }
    std::size_t Left() const { return bytes_.size() - at_; }

    void Break(const std::string& what) {
        if (!broken_) tree_.faults.push_back({FileOffset(at_), what});
        broken_ = true;
    }
    // The next `size` bytes, or null (and the walk is over) when the file does not hold them.
    const std::uint8_t* Take(std::size_t size, const char* what) {
        if (broken_) return nullptr;
        if (size > Left()) {
            Break(fmt::format("the file ends inside {}", what));
            return nullptr;
        }
        const std::uint8_t* p = bytes_.data() + at_;
        at_ += size;
        return p;
    }
    template <class T>
    T Value(const char* what) {
        T value{};
        if (const std::uint8_t* p = Take(sizeof(T), what)) std::memcpy(&value, p, sizeof(T));
        return value;
    }

    // Readers of one field, which print as they go.
    std::int32_t I32(Node& node, const char* name) {
        const auto v = Value<std::int32_t>(name);
        node.fields.push_back({name, fmt::format("{}", v), true});
        return v;
    }
    std::uint32_t Flags(Node& node, const char* name) {
        const auto v = Value<std::uint32_t>(name);
        node.fields.push_back({name, fmt::format("{:#x}", v)});
        return v;
    }
    unsigned U8(Node& node, const char* name) {
        const unsigned v = Value<std::uint8_t>(name);
        node.fields.push_back({name, fmt::format("{}", v), true});
        return v;
    }
    void Floats(Node& node, const char* name, std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) text += (i ? ", " : "") + Number(Value<float>(name));
        if (!broken_) node.fields.push_back({name, count == 1 ? text : "[" + text + "]", true});
    }
    void String(Node& node, const char* name) {
        std::string text;
        while (!broken_ && at_ < bytes_.size() && bytes_[at_] != 0) text += static_cast<char>(bytes_[at_++]);
        if (!packed_ && at_ < bytes_.size()) ++at_;
        node.fields.push_back({name, text});
    }
    // A count of things of at least `size` bytes each.
    std::size_t Count(Node& node, const char* name, std::size_t size) {
        const std::int32_t count = I32(node, name);
        if (broken_) return 0;
        if (count < 0 || static_cast<std::size_t>(count) > Left() / size) {
            Break(fmt::format("{} is {}, more than the rest of the file can hold", name, count));
            return 0;
        }
        return static_cast<std::size_t>(count);
    }
    void Array(Node& node, const char* name, std::size_t count, std::size_t floats) {
        const std::size_t size = count * floats * sizeof(float);
        const std::uint8_t* p = Take(size, name);
        if (!p) return;
        std::string text;
        const std::size_t shown = std::min(count, kMaxShown);
        for (std::size_t i = 0; i < shown; ++i) {
            text += i ? ", [" : "[";
            for (std::size_t k = 0; k < floats; ++k) {
                float v = 0;
                std::memcpy(&v, p + (i * floats + k) * sizeof(float), sizeof(float));
                text += (k ? ", " : "") + Number(v);
            }
            text += "]";
        }
        node.fields.push_back(
            {name, fmt::format("{} values: {}{}", count, text, shown < count ? ", ..." : "")});
    }

    void Slot(std::string name, Node& node) {
        node.slot = std::move(name);
        node.offset = FileOffset(at_);
        const std::uint8_t* word = Take(4, "an object slot");
        if (!word) return;
        std::uint32_t value = 0;
        std::memcpy(&value, word, 4);
        if (value == 0) return;
        if (value & 0x80000000u) {
            node.kind = Node::Kind::Reference;
            node.id = value & 0xffff;
            if (!ids_.count(node.id))
                tree_.faults.push_back(
                    {node.offset,
                     fmt::format("{} refers to object {}, which does not stand before it: it reads as "
                                 "no object",
                                 node.slot, node.id)});
            return;
        }
        node.kind = Node::Kind::Chunk;
        node.tag = Printable(word);
        node.version = Value<std::uint16_t>("a chunk's header");
        node.id = Value<std::uint16_t>("a chunk's header");
        node.size = Value<std::uint32_t>("a chunk's header");
        if (broken_) return;
        ++tree_.chunk_count;
        const auto known = ClassNames().find(node.tag);
        if (known != ClassNames().end()) node.class_name = known->second;
        if (node.size > Left()) {
            Break(fmt::format("{} ({}) says that its body has {} bytes; the file has {} more", node.slot,
                              node.tag, node.size, Left()));
            return;
        }
        const std::size_t end = at_ + node.size;
        if (node.class_name.empty()) {
            at_ = end;
            return;
        }
        ids_.insert(node.id);
        if (++nesting_ > kMaxNesting) {
            Break("objects nest deeper than a reader goes");
            return;
        }
        Record(node);
        --nesting_;
        if (!broken_ && at_ != end) {
            tree_.faults.push_back(
                {node.offset, fmt::format("{} ({}) says that its body has {} bytes, but its fields take {}",
                                          node.slot, node.tag, node.size, at_ + node.size - end)});
            // A reader goes on where the fields end, whatever the size says.
        }
    }
    void Slot(Node& parent, const std::string& name) {
        if (broken_) return;
        Node child;
        Slot(name, child);
        parent.children.push_back(std::move(child));
    }
    void List(Node& parent, const char* name) {
        const std::size_t count = Count(parent, name, 4);
        for (std::size_t i = 0; i < count && !broken_; ++i) Slot(parent, fmt::format("{}[{}]", name, i));
    }
    void Tree(Node& parent, const std::string& name) {
        if (broken_) return;
        Node node;
        Slot(name, node);
        if (node.kind != Node::Kind::Null && !broken_) {
            if (++tree_depth_ > kMaxTreeDepth + 1) {
                Break("the tree is deeper than a reader goes");
            } else {
                const std::size_t count = Count(node, "children", 4);
                for (std::size_t i = 0; i < count && !broken_; ++i) Tree(node, fmt::format("child[{}]", i));
            }
            --tree_depth_;
        }
        parent.children.push_back(std::move(node));
    }

    void RenderState(Node& node) {
        const std::uint32_t mask = Flags(node, "render state mask");
        if (mask & 2) {
            for (const char* name : {"blend", "destination factor", "source factor", "alpha test",
                                     "alpha function", "alpha reference"})
                U8(node, name);
            Flags(node, "colour write mask");
        }
        if (mask & 4)
            for (const char* name : {"depth", "depth mode"}) U8(node, name);
        if (mask & 0x20)
            for (const char* name : {"cull", "fill", "clipping"}) U8(node, name);
        if (mask & 0x10)
            for (const char* name : {"lighting", "specular", "normalise normals", "local viewer"})
                U8(node, name);
        if (mask & 1)
            for (const char* name : {"indexed blending", "vertex blending", "software processing"})
                U8(node, name);
        if (mask & 8) {
            for (const char* name :
                 {"stencil", "stencil fail", "stencil depth fail", "stencil pass", "stencil function"})
                U8(node, name);
            for (const char* name : {"stencil mask", "stencil write mask", "stencil reference"})
                Flags(node, name);
            for (const char* name :
                 {"two-sided stencil", "ccw fail", "ccw depth fail", "ccw pass", "ccw function"})
                U8(node, name);
        }
    }
    void Stage(Node& node) {
        for (const char* name : {"colour operation", "colour argument 1", "colour argument 2",
                                 "alpha operation", "alpha argument 1", "alpha argument 2", "address u",
                                 "address v", "address w", "magnifying filter", "minifying filter",
                                 "mip filter", "coordinate set", "transformed coordinates", "projected"})
            U8(node, name);
        Floats(node, "matrix", 16);
    }
    void Geometry(Node& node) {
        const std::uint32_t contents = Flags(node, "contents");
        const std::size_t vertices = contents & 1 ? Count(node, "vertices", 1) : 0;
        const std::size_t triangles = contents & 2 ? Count(node, "triangles", 6) : 0;
        if (contents & 1) {
            if (contents & 0x100) Array(node, "positions", vertices, 3);
            if (contents & 0x200) Array(node, "normals", vertices, 3);
            if (contents & 0x800) Array(node, "colours", vertices, 4);
            if (contents & 0x400) {
                const std::size_t sets = Count(node, "coordinate sets", 1);
                for (std::size_t i = 0; i < sets && !broken_; ++i) Array(node, "coordinates", vertices, 2);
            }
        }
        if (contents & 2) Take(triangles * 6, "triangles");
        if (contents & 4) Take(Count(node, "groups", 8) * 8, "groups");
    }
    // One vertex's bones and the weights of the first three.
    void Weights(Node& node) {
        constexpr std::size_t kSize = 16;
        const std::size_t count = Count(node, "weights", kSize);
        const std::uint8_t* p = Take(count * kSize, "weights");
        if (!p) return;
        std::string text;
        const std::size_t shown = std::min(count, kMaxShown);
        for (std::size_t i = 0; i < shown; ++i) {
            const std::uint8_t* w = p + i * kSize;
            float blend[3];
            std::memcpy(blend, w + 4, sizeof blend);
            text += fmt::format("{}[{}, {}, {}, {}: {}, {}, {}]", i ? ", " : "", w[0], w[1], w[2], w[3],
                                Number(blend[0]), Number(blend[1]), Number(blend[2]));
        }
        node.fields.push_back(
            {"bones and weights", fmt::format("{} values: {}{}", count, text, shown < count ? ", ..." : "")});
    }
    // An image of a cube map: its path, or its bytes.
    void CubeImage(Node& node, const std::string& name, bool embedded) {
        if (broken_) return;
        if (!embedded) {
            String(node, (name + " file").c_str());
            return;
        }
        const std::size_t size = Count(node, (name + " embedded bytes").c_str(), 1);
        if (const std::uint8_t* image = Take(size, "embedded image")) ImageKind(node, image, size);
    }
    void Cube(Node& node) {
        const std::uint32_t contents = Flags(node, "contents");
        const bool embedded = contents & 4;
        if (contents & 1) CubeImage(node, "cube", embedded);
        if (contents & 2)
            for (const char* face : {"+z", "-z", "-x", "+x", "-y", "+y"}) CubeImage(node, face, embedded);
    }
    void Skin(Node& node) {
        const std::size_t count = Count(node, "bones", 4);
        for (std::size_t i = 0; i < count && !broken_; ++i) Slot(node, fmt::format("bones[{}]", i));
        if (!broken_ && count > Left() / 64) {
            Break(fmt::format("bones is {}, more than there are offsets for in the rest of the file", count));
            return;
        }
        Array(node, "offsets", count, 16);
        Floats(node, "mesh matrix", 16);
    }

    void Keys(Node& node, std::size_t floats) {
        const std::size_t count = Count(node, "keys", 4 + 4 * floats);
        Array(node, "time and value", count, 1 + floats);
    }

    void Record(Node& node) {
        const std::string& tag = node.tag;
        auto slots = [&](std::initializer_list<const char*> names) {
            for (const char* name : names) Slot(node, name);
        };
        if (tag == "SCHE") {
            List(node, "textures");
            List(node, "materials");
            Tree(node, "root node");
            List(node, "meshes");
            List(node, "cameras");
            Slot(node, "current camera");
            List(node, "lights");
            if (node.version == 2) Slot(node, "shadow light");
            List(node, "atmospherics before");
            List(node, "atmospherics after");
            Slot(node, "background");
            List(node, "renderers");
        } else if (tag == "HINO") {
            if (I32(node, "aims") & 1) slots({"target", "roll"});
            Slot(node, "transform");
        } else if (tag == "TRPR") {
            Floats(node, "position", 3);
            Floats(node, "rotation", 4);
            Floats(node, "scale", 3);
        } else if (tag == "CPRS") {
            slots({"position", "rotation", "scale"});
        } else if (tag == "CMTX") {
            slots({"matrix"});
        } else if (tag == "cASM") {
            slots({"placement", "field of view", "near", "far", "near range", "fog far"});
        } else if (tag == "LTOM") {
            slots({"placement", "ambient", "diffuse", "specular", "range", "attenuation 0", "attenuation 1",
                   "attenuation 2"});
            List(node, "linked meshes");
            List(node, "shadow casters");
        } else if (tag == "MESM") {
            const std::uint32_t contents = Flags(node, "contents");
            if (contents & 1) Slot(node, "geometry");
            if (contents & 2) Slot(node, "modifier stack");
            U8(node, "hidden");
            if (node.version == 2) U8(node, "casts shadow");
            const std::size_t count = Count(node, "part attributes", 4);
            for (std::size_t i = 0; i < count && !broken_; ++i) I32(node, "attribute");
            slots({"material", "placement"});
        } else if (tag == "GOSM") {
            Geometry(node);
        } else if (tag == "GOCP") {
            List(node, "parts");
        } else if (tag == "MTSM") {
            slots({"diffuse", "ambient", "specular", "emissive", "power"});
            RenderState(node);
            U8(node, "blend class");
            List(node, "stages");
        } else if (tag == "MTCP") {
            List(node, "materials");
            if (node.version >= 2) {
                const std::size_t count = Count(node, "attribute map", 8);
                for (std::size_t i = 0; i < count && !broken_; ++i) {
                    const auto attribute = Value<std::int32_t>("attribute map");
                    node.fields.push_back({fmt::format("attribute {}", attribute),
                                           fmt::format("{}", Value<std::int32_t>("attribute map")), true});
                }
            }
        } else if (tag == "TS__") {
            Slot(node, "texture");
            Stage(node);
            slots({"u offset", "v offset", "u tiling", "v tiling", "u angle", "v angle", "w angle"});
            if (node.version >= 2) U8(node, "transform mode");
        } else if (tag == "TXBF") {
            const std::uint32_t contents = Flags(node, "contents");
            if (contents & 1) {
                const std::size_t size = Count(node, "embedded bytes", 1);
                if (const std::uint8_t* image = Take(size, "embedded image")) ImageKind(node, image, size);
            } else {
                String(node, "file");
            }
        } else if (tag == "ATAM") {
            slots({"ambient"});
        } else if (tag == "ATFG") {
            U8(node, "can clear");
            slots({"colour", "near intensity", "far intensity"});
        } else if (tag == "ATBG") {
            const unsigned mode = U8(node, "mode");
            if (mode == 1) slots({"colour"});
            if (mode == 2) slots({"texture"});
            if (mode == 3) slots({"cube"});
        } else if (tag == "GOWT") {
            Geometry(node);
            Weights(node);
        } else if (tag == "MOST") {
            List(node, "modifiers");
        } else if (tag == "MDSK") {
            Skin(node);
        } else if (tag == "TXCF") {
            Cube(node);
        } else if (tag == "MTFX") {
            String(node, "file");
            slots({"inner material"});
        } else if (tag == "SRMR") {
            List(node, "mirrors");
        } else if (tag == "SRDF") {
            Groups(node, "cameras", {"camera", "scale", "distance"});
        } else if (tag == "SRSW") {
            // Nothing is stored.
        } else if (tag == "ATBL") {
            slots({"billboard"});
            Groups(node, "sprites", {"placement", "size"});
        } else if (tag == "FPRB") {
            slots({"material"});
        } else if (tag == "CCFL") {
            Floats(node, "value", 1);
        } else if (tag == "CCV3") {
            Floats(node, "value", 3);
        } else if (tag == "CCQU" || tag == "CCCO") {
            Floats(node, "value", 4);
        } else if (tag == "CLFL") {
            Keys(node, 1);
        } else if (tag == "CLV3") {
            Keys(node, 3);
        } else if (tag == "CLQU" || tag == "CLCO") {
            Keys(node, 4);
        } else if (tag == "CLMT") {
            Keys(node, 16);
        } else if (tag == "CoCF") {
            I32(node, "operation");
            slots({"colour", "factor"});
        } else if (tag == "CVCV") {
            slots({"source"});
        } else if (tag == "stfx") {
            String(node, "project");
            NamedList(node, "textures");
            NamedList(node, "scenes");
        }
    }
    // A count, and as many groups of slots.
    void Groups(Node& node, const char* name, std::initializer_list<const char*> slots) {
        const std::size_t count = Count(node, name, 4 * slots.size());
        for (std::size_t i = 0; i < count && !broken_; ++i)
            for (const char* slot : slots) Slot(node, fmt::format("{}[{}].{}", name, i, slot));
    }
    void NamedList(Node& node, const char* name) {
        const std::size_t count = Count(node, name, 5);
        for (std::size_t i = 0; i < count && !broken_; ++i) {
            String(node, "key");
            Slot(node, fmt::format("{}[{}]", name, i));
        }
    }
    void ImageKind(Node& node, const std::uint8_t* image, std::size_t size) {
        auto starts = [&](const char* magic, std::size_t n) {
            return size >= n && !std::memcmp(image, magic, n);
        };
        const char* kind = starts("\x89PNG", 4)        ? "png"
                           : starts("\xff\xd8\xff", 3) ? "jpg"
                           : starts("DDS ", 4)         ? "dds"
                           : starts("BM", 2)           ? "bmp"
                                                       : "tga or dib";
        node.fields.push_back({"image", kind});
    }

    const Bytes& bytes_;
    const bool packed_;
    const std::size_t magic_;  // bytes before the root
    ChunkTree& tree_;
    std::size_t at_ = 0;
    unsigned nesting_ = 0, tree_depth_ = 0;
    bool broken_ = false;
    std::unordered_set<unsigned> ids_;
};

}  // namespace

ChunkTree ReadChunkTree(const Envelope& envelope) {
    ChunkTree tree;
    Walker(envelope, tree).Run();
    return tree;
}

NamedFiles FindNamedFiles(const Node& node) {
    NamedFiles found;
    for (const Field& field : node.fields) {
        const bool file = field.name == "file" || field.name.ends_with(" file");
        if (file && node.tag == "MTFX")
            found.effects = true;
        else if (file)
            found.images = true;
    }
    for (const Node& child : node.children) {
        const NamedFiles below = FindNamedFiles(child);
        found.images |= below.images;
        found.effects |= below.effects;
    }
    return found;
}

}  // namespace tools
