// Writes .om2 files from the byte layout alone, with nothing of the engine's own writers: what a foreign
// exporter would do. Tests load what comes out, and the fuzz targets take it as seeds.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace om2 {

using Body = std::function<void()>;
using Vec3 = std::array<float, 3>;
using Vec4 = std::array<float, 4>;
using Mat = std::array<float, 16>;

inline constexpr Mat kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

// One file being written: raw values, chunks with their ids, back references and null slots.
class File {
  public:
    std::vector<std::uint8_t> bytes;
    std::vector<std::size_t> chunks, refs;  // where they begin, the chunks by their ids
    // Without headers and ids, each object whole wherever it is mentioned, strings without their end: the
    // form of an export. To be set before anything is written.
    bool bare = false;

    File() { Raw("NONE", 4); }

    void Raw(const void* data, std::size_t size) {
        const std::size_t at = bytes.size();
        bytes.resize(at + size);
        if (size > 0) std::memcpy(bytes.data() + at, data, size);
    }
    void U8(unsigned v) { bytes.push_back(static_cast<std::uint8_t>(v)); }
    void U16(unsigned v) {
        U8(v & 0xff);
        U8((v >> 8) & 0xff);
    }
    void U32(std::uint32_t v) {
        U16(v & 0xffff);
        U16(v >> 16);
    }
    void I32(std::int32_t v) { U32(static_cast<std::uint32_t>(v)); }
    void F32(float v) {
        std::uint32_t word = 0;
        std::memcpy(&word, &v, 4);
        U32(word);
    }
    template <std::size_t N>
    void Floats(const std::array<float, N>& values) {
        for (float v : values) F32(v);
    }
    void String(const std::string& text) { Raw(text.c_str(), text.size() + (bare ? 0 : 1)); }

    // Writes a chunk with the next id; `body` writes what stands in it. Returns the id.
    int Chunk(const char* tag, unsigned version, const Body& body) {
        const int id = next_id_++;
        if (bare) {
            const std::size_t start = bytes.size();
            body();
            bodies_[id].assign(bytes.begin() + static_cast<std::ptrdiff_t>(start), bytes.end());
            return id;
        }
        chunks.push_back(bytes.size());
        Raw(tag, 4);
        U16(version);
        U16(static_cast<unsigned>(id));
        const std::size_t size_at = bytes.size();
        U32(0xffffffffu);
        body();
        const auto size = static_cast<std::uint32_t>(bytes.size() - size_at - 4);
        for (unsigned i = 0; i < 4; ++i) bytes[size_at + i] = static_cast<std::uint8_t>(size >> (8 * i));
        return id;
    }
    void Null() { U32(0); }
    void Ref(int id) {
        if (id < 0) return Null();
        if (bare) return Raw(bodies_.at(id).data(), bodies_.at(id).size());
        refs.push_back(bytes.size());
        U32(0x80000000u | static_cast<std::uint32_t>(id));
    }

    int ConstFloat(float v) {
        return Chunk("CCFL", 1, [&] { F32(v); });
    }
    int ConstVec3(const Vec3& v) {
        return Chunk("CCV3", 1, [&] { Floats(v); });
    }
    int ConstQuat(const Vec4& v) {
        return Chunk("CCQU", 1, [&] { Floats(v); });
    }
    int ConstColor(const Vec4& v) {
        return Chunk("CCCO", 1, [&] { Floats(v); });
    }
    template <std::size_t N>
    int Linear(const char* tag, const std::vector<std::pair<float, std::array<float, N>>>& keys) {
        return Chunk(tag, 1, [&] {
            I32(static_cast<std::int32_t>(keys.size()));
            for (const auto& [time, value] : keys) {
                F32(time);
                Floats(value);
            }
        });
    }
    int LinearFloat(const std::vector<std::pair<float, float>>& keys) {
        return Chunk("CLFL", 1, [&] {
            I32(static_cast<std::int32_t>(keys.size()));
            for (const auto& [time, value] : keys) {
                F32(time);
                F32(value);
            }
        });
    }

    // A fixed placement.
    int Placement(const Vec3& position, const Vec4& rotation = {0, 0, 0, 1}, const Vec3& scale = {1, 1, 1}) {
        return Chunk("TRPR", 1, [&] {
            Floats(position);
            Floats(rotation);
            Floats(scale);
        });
    }

    // A camera with constant field of view and clip distances; `placement` writes the transformation's slot.
    int Camera(const Body& placement, float fov, float near_clip, float far_clip) {
        return Chunk("cASM", 1, [&] {
            placement();
            ConstFloat(fov);
            ConstFloat(near_clip);
            ConstFloat(far_clip);
            Null();
            Null();
        });
    }

    // A complete render state block (mask 0x3f: every stored group) with the usual defaults; `blend` switches
    // alpha blending on with source alpha and its inverse.
    void RenderState(bool blend = false, unsigned cull = 0, bool lighting = true, unsigned depth_mode = 0) {
        I32(0x3f);
        U8(blend ? 1 : 0);  // blendEnable
        U8(blend ? 5 : 0);  // destBlend
        U8(blend ? 4 : 1);  // srcBlend
        U8(0);              // alphaTestEnable
        U8(7);              // alphaFunc
        U8(0);              // alphaRef
        I32(15);            // colorWriteMask
        U8(1);              // depthEnable
        U8(depth_mode);
        U8(cull);
        U8(2);  // fillMode solid
        U8(0);  // clipping
        U8(lighting ? 1 : 0);
        U8(0);  // specularEnable
        U8(0);  // normalizeNormals
        U8(0);  // localViewer
        U8(0);  // indexedBlend
        U8(0);  // vertexBlend
        U8(0);  // softwareVertexProcessing
        U8(0);  // stencilEnable
        U8(0), U8(0), U8(0), U8(7);
        I32(-1), I32(-1), I32(0);
        U8(0);  // twoSidedStencil
        U8(0), U8(0), U8(0), U8(7);
    }

    struct MaterialColors {
        Vec4 diffuse{1, 1, 1, 1}, ambient{0, 0, 0, 0}, specular{0, 0, 0, 0}, emissive{0, 0, 0, 0};
        float power = 0;
    };

    // A fixed-function material; `state` writes the render state block, `stages` the count and the slots of
    // stages.
    int Material(const MaterialColors& colors, unsigned blend_class, const Body& state, const Body& stages) {
        return Chunk("MTSM", 1, [&] {
            ConstColor(colors.diffuse);
            ConstColor(colors.ambient);
            ConstColor(colors.specular);
            ConstColor(colors.emissive);
            ConstFloat(colors.power);
            state();
            U8(blend_class);
            stages();
        });
    }
    int Material(const MaterialColors& colors, unsigned blend_class = 1) {
        return Material(
            colors, blend_class, [&] { RenderState(); }, [&] { I32(0); });
    }

    struct StageState {
        unsigned color_op = 3, color_arg1 = 2, color_arg2 = 1;
        unsigned alpha_op = 1, alpha_arg1 = 2, alpha_arg2 = 1;
        unsigned address_u = 0, address_v = 0, address_w = 0;
        unsigned mag = 1, min = 1, mip = 0;
        unsigned coord_index = 0, transform_count = 0;
        bool projected = false;
        Mat matrix = kIdentity;
    };
    void Stage(const StageState& s) {
        for (unsigned v :
             {s.color_op, s.color_arg1, s.color_arg2, s.alpha_op, s.alpha_arg1, s.alpha_arg2, s.address_u,
              s.address_v, s.address_w, s.mag, s.min, s.mip, s.coord_index, s.transform_count})
            U8(v);
        U8(s.projected ? 1 : 0);
        Floats(s.matrix);
    }
    // A texture stage with neutral controllers. Version 1 has no transform mode.
    int TextureStage(const Body& texture, const StageState& state, unsigned version = 2, float u_offset = 0,
                     unsigned transform_mode = 0) {
        return Chunk("TS__", version, [&] {
            texture();
            Stage(state);
            ConstFloat(u_offset);
            ConstFloat(0);
            ConstFloat(1);
            ConstFloat(1);
            ConstFloat(0);
            ConstFloat(0);
            ConstFloat(0);
            if (version >= 2) U8(transform_mode);
        });
    }
    // A bitmap texture with the image file's bytes in it.
    int EmbeddedTexture(const std::vector<std::uint8_t>& image, bool normal_map = false) {
        return Chunk("TXBF", 1, [&] {
            I32(1 | (normal_map ? 2 : 0));
            I32(static_cast<std::int32_t>(image.size()));
            Raw(image.data(), image.size());
        });
    }
    int NamedTexture(const std::string& file) {
        return Chunk("TXBF", 1, [&] {
            I32(0);
            String(file);
        });
    }

    struct Shape {
        std::vector<Vec3> positions, normals;
        std::vector<Vec4> colors;
        std::vector<std::vector<std::array<float, 2>>> uvs;
        std::vector<std::array<std::uint16_t, 3>> triangles;
        bool tangents = false;
    };
    // The body of a plain geometry: contents word, counts, arrays.
    void ShapeBody(const Shape& s) {
        std::uint32_t contents = 0;
        if (!s.positions.empty()) contents |= 0x100;
        if (!s.normals.empty()) contents |= 0x200;
        if (!s.uvs.empty()) contents |= 0x400;
        if (contents & 0x700) contents |= 1;
        if (!s.colors.empty()) contents |= 0x800;
        if (!s.triangles.empty()) contents |= 0x12;
        if (s.tangents) contents |= 0x40000;
        U32(contents);
        if (contents & 1) I32(static_cast<std::int32_t>(s.positions.size()));
        if (contents & 2) I32(static_cast<std::int32_t>(s.triangles.size()));
        for (const Vec3& p : s.positions) Floats(p);
        for (const Vec3& n : s.normals) Floats(n);
        for (const Vec4& c : s.colors) Floats(c);
        if (contents & 0x400) {
            I32(static_cast<std::int32_t>(s.uvs.size()));
            for (const auto& set : s.uvs)
                for (const auto& uv : set) Floats(uv);
        }
        for (const auto& t : s.triangles)
            for (unsigned index : t) U16(index);
    }
    int Geometry(const Shape& s) {
        return Chunk("GOSM", 1, [&] { ShapeBody(s); });
    }

    struct Weight {
        std::array<std::uint8_t, 4> bones{};
        Vec3 blend{1, 0, 0};
    };
    int WeightedGeometry(const Shape& s, const std::vector<Weight>& weights) {
        return Chunk("GOWT", 1, [&] {
            ShapeBody(s);
            I32(static_cast<std::int32_t>(weights.size()));
            for (const Weight& w : weights) {
                for (unsigned bone : w.bones) U8(bone);
                Floats(w.blend);
            }
        });
    }
    // `bones` writes as many slots of nodes as there are offsets.
    int Skin(const Body& bones, const std::vector<Mat>& offsets, const Mat& mesh = kIdentity,
             unsigned version = 1) {
        return Chunk("MDSK", version, [&] {
            I32(static_cast<std::int32_t>(offsets.size()));
            bones();
            for (const Mat& offset : offsets) Floats(offset);
            Floats(mesh);
        });
    }
    // `modifiers` writes `count` slots.
    int Stack(int count, const Body& modifiers, unsigned version = 1) {
        return Chunk("MOST", version, [&] { List(count, modifiers); });
    }
    // A mesh whose shape goes through a stack.
    int DeformedMesh(const Body& geometry, const Body& stack, const Body& material, const Body& placement,
                     const std::vector<int>& attributes = {}, bool casts_shadow = false) {
        return Chunk("MESM", 2, [&] {
            I32(3);
            geometry();
            stack();
            U8(0);
            U8(casts_shadow ? 1 : 0);
            I32(static_cast<std::int32_t>(attributes.size()));
            for (int a : attributes) I32(a);
            material();
            placement();
        });
    }

    // A mesh. Version 1 has no shadow flag.
    int Mesh(const Body& geometry, const Body& material, const Body& placement, bool hidden = false,
             const std::vector<int>& attributes = {}, unsigned version = 2, bool casts_shadow = false) {
        return Chunk("MESM", version, [&] {
            I32(1);
            geometry();
            U8(hidden ? 1 : 0);
            if (version == 2) U8(casts_shadow ? 1 : 0);
            I32(static_cast<std::int32_t>(attributes.size()));
            for (int a : attributes) I32(a);
            material();
            placement();
        });
    }

    // A point light of constant colours; `placement` writes the transformation's slot, `casters` the list of
    // those whose shadows it throws.
    int Light(const Body& placement, const Vec4& ambient, const Vec4& diffuse, const Vec4& specular,
              float range, const Vec3& attenuation, const Body& casters = nullptr) {
        return Chunk("LTOM", 1, [&] {
            placement();
            ConstColor(ambient);
            ConstColor(diffuse);
            ConstColor(specular);
            ConstFloat(range);
            for (float a : attenuation) ConstFloat(a);
            I32(0);
            casters ? casters() : I32(0);
        });
    }

    // A node whose placement comes from three constants; children are the tree's business.
    int Node(const Vec3& position, const Vec4& rotation = {0, 0, 0, 1}, const Vec3& scale = {1, 1, 1}) {
        return Chunk("HINO", 1, [&] {
            I32(0);
            Chunk("CPRS", 1, [&] {
                ConstVec3(position);
                ConstQuat(rotation);
                ConstVec3(scale);
            });
        });
    }
    // A node without placement of its own.
    int PlainNode() {
        return Chunk("HINO", 1, [&] {
            I32(0);
            Null();
        });
    }

    // The lists of a scene, each a body that writes its count and slots. Those left out are empty.
    struct SceneParts {
        Body textures, materials, tree, meshes, cameras, current_camera, lights, shadow_light, before, after,
            background, renderers;
    };
    int Scene(const SceneParts& p, unsigned version = 2) {
        return Chunk("SCHE", version, [&] {
            auto list = [&](const Body& b) { b ? b() : I32(0); };
            auto slot = [&](const Body& b) { b ? b() : Null(); };
            list(p.textures);
            list(p.materials);
            if (p.tree) {
                p.tree();
            } else {
                PlainNode();
                I32(0);
            }
            list(p.meshes);
            list(p.cameras);
            slot(p.current_camera);
            list(p.lights);
            if (version == 2) slot(p.shadow_light);
            list(p.before);
            list(p.after);
            slot(p.background);
            list(p.renderers);
        });
    }

    // A list of `count` slots written by `body`.
    void List(int count, const Body& body) {
        I32(count);
        body();
    }

    // A cube map of six separate images, with their bytes in it.
    int EmbeddedCube(const std::array<std::vector<std::uint8_t>, 6>& images) {
        return Chunk("TXCF", 1, [&] {
            I32(6);
            for (const auto& image : images) {
                I32(static_cast<std::int32_t>(image.size()));
                Raw(image.data(), image.size());
            }
        });
    }
    // The picture `texture` (mode 2) or environment (mode 3) behind the scene.
    int TextureBackground(unsigned mode, const Body& texture) {
        return Chunk("ATBG", 1, [&] {
            U8(mode);
            texture();
        });
    }
    // Sprites of one material. Each element writes the slots of its transformation and its size.
    int Billboards(const Body& material, const std::vector<Body>& elements) {
        return Chunk("ATBL", 1, [&] {
            Chunk("FPRB", 1, material);
            I32(static_cast<std::int32_t>(elements.size()));
            for (const Body& element : elements) element();
        });
    }
    Body Sprite(const Vec3& position, float size) {
        return [this, position, size] {
            Placement(position);
            ConstFloat(size);
        };
    }

    // Colour background.
    int ColorBackground(const Vec4& c) {
        return Chunk("ATBG", 1, [&] {
            U8(1);
            ConstColor(c);
        });
    }

  private:
    int next_id_ = 0;
    std::map<int, std::vector<std::uint8_t>> bodies_;
};

// An axis-aligned rectangle in the plane z, facing +z, counter-clockwise from the front.
inline File::Shape Quad(float x0, float y0, float x1, float y1, float z = 0) {
    File::Shape s;
    s.positions = {{x0, y0, z}, {x1, y0, z}, {x1, y1, z}, {x0, y1, z}};
    s.normals.assign(4, {0, 0, 1});
    s.triangles = {{0, 1, 2}, {0, 2, 3}};
    return s;
}

}  // namespace om2
