// Whole scenes out of the byte layout, for tests that need something to load.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "support/om2_bytes.h"

namespace om2 {

inline constexpr float kHalfPi = 1.57079632679f;

struct Rgb {
    int r, g, b;
};

// A scene under construction: lists that are filled one after the other, in the order of the record.
class SceneFile {
  public:
    File file;
    std::vector<Body> textures, materials, meshes, lights, before, after, renderers;
    Body tree, background, cameras, current, shadow_light;
    unsigned version = 2;
    int camera = -1;

    SceneFile() {
        cameras = [this] {
            file.I32(1);
            camera = file.Camera([this] { file.Placement({0, 0, 5}); }, kHalfPi, 1, 100);
        };
        current = [this] { file.Ref(camera); };
        background = [this] { file.ColorBackground({0, 0, 0, 1}); };
    }

    const std::vector<std::uint8_t>& Bytes() {
        File::SceneParts parts;
        auto list = [this](const std::vector<Body>& bodies) {
            return [this, &bodies] {
                file.I32(static_cast<std::int32_t>(bodies.size()));
                for (const Body& body : bodies) body();
            };
        };
        parts.textures = list(textures);
        parts.materials = list(materials);
        parts.tree = tree;
        parts.meshes = list(meshes);
        parts.cameras = cameras;
        parts.current_camera = current;
        parts.lights = list(lights);
        parts.before = list(before);
        parts.after = list(after);
        parts.background = background;
        parts.shadow_light = shadow_light;
        parts.renderers = list(renderers);
        file.Scene(parts, version);
        return file.bytes;
    }

    // A material whose light is all its own; its id goes to `id`.
    void Glowing(int& id, const Vec4& color, unsigned blend_class = 1) {
        materials.push_back([this, &id, color, blend_class] {
            File::MaterialColors colors;
            colors.diffuse = {0, 0, 0, 1};
            colors.emissive = color;
            id = file.Material(colors, blend_class);
        });
    }
    // A glowing white material that shows `texture` as it is; its id goes to `id`.
    void Textured(int& id, int& texture, unsigned stage_version = 2, float u_offset = 0) {
        materials.push_back([this, &id, &texture, stage_version, u_offset] {
            File::MaterialColors colors;
            colors.diffuse = {0, 0, 0, 1};
            colors.emissive = {1, 1, 1, 1};
            id = file.Material(
                colors, 1, [&] { file.RenderState(); },
                [&] {
                    file.I32(1);
                    file.TextureStage(Ref(texture), {}, stage_version, u_offset);
                });
        });
    }
    void Mesh(const File::Shape& shape, const Body& material, const Body& placement, bool hidden = false,
              unsigned mesh_version = 2) {
        meshes.push_back([=, this] {
            file.Mesh([&] { file.Geometry(shape); }, material, placement, hidden, {}, mesh_version);
        });
    }
    Body Ref(int& id) {
        return [this, &id] { file.Ref(id); };
    }
    Body Null() {
        return [this] { file.Null(); };
    }
};

inline File::Shape Colored(File::Shape shape, const Vec4& color) {
    shape.colors.assign(shape.positions.size(), color);
    return shape;
}

// A 32-bit .tga, rows from the top.
inline std::vector<std::uint8_t> Tga(unsigned width, unsigned height, const std::vector<Rgb>& pixels,
                                     int alpha = 255) {
    std::vector<std::uint8_t> out(18, 0);
    out[2] = 2;
    out[12] = static_cast<std::uint8_t>(width);
    out[14] = static_cast<std::uint8_t>(height);
    out[16] = 32;
    out[17] = 0x28;
    for (const Rgb& p : pixels)
        for (int v : {p.b, p.g, p.r, alpha}) out.push_back(static_cast<std::uint8_t>(v));
    return out;
}

inline File::Shape TexturedQuad(float x0, float y0, float x1, float y1) {
    File::Shape shape = Quad(x0, y0, x1, y1);
    shape.uvs = {{{0, 1}, {1, 1}, {1, 0}, {0, 0}}};
    return shape;
}

// Two parts, attributes 7 and 3, under a composite that maps 7 to its second material and 3 to its first.
inline void AddComposite(SceneFile& s, int& red, int& green, int& composite, unsigned version) {
    s.Glowing(red, {1, 0, 0, 1});
    s.Glowing(green, {0, 1, 0, 1});
    s.materials.push_back([&s, &red, &green, &composite, version] {
        composite = s.file.Chunk("MTCP", version, [&] {
            s.file.I32(2);
            s.file.Ref(red);
            s.file.Ref(green);
            if (version < 2) return;
            s.file.I32(2);
            for (int v : {3, 0, 7, 1}) s.file.I32(v);
        });
    });
    s.meshes.push_back([&s, &composite] {
        s.file.Mesh(
            [&] {
                s.file.Chunk("GOCP", 1, [&] {
                    s.file.I32(2);
                    s.file.Geometry(Quad(-4, -1, -2, 1));
                    s.file.Geometry(Quad(2, -1, 4, 1));
                });
            },
            [&] { s.file.Ref(composite); }, [&] { s.file.Null(); }, false, {7, 3});
    });
}

// One of every record and every encoding in it.
inline std::vector<std::uint8_t> RichScene() {
    SceneFile s;
    int texture = -1, stage_material = -1, red = -1, green = -1, composite = -1, node = -1, light = -1,
        shared = -1;
    s.textures.push_back([&] { texture = s.file.EmbeddedTexture(Tga(2, 1, {{1, 2, 3}, {4, 5, 6}}), true); });
    s.textures.push_back([&] { s.file.NamedTexture("C:\\pictures\\wall.png"); });
    AddComposite(s, red, green, composite, 2);
    s.materials.push_back([&] {
        File::StageState state;
        state.color_op = 4, state.address_u = 2, state.mag = 2, state.coord_index = 18,
        state.projected = true;
        state.matrix[12] = 0.5f;
        stage_material = s.file.Material(
            {}, 5, [&] { s.file.RenderState(true, 1, false, 2); },
            [&] {
                s.file.I32(1);
                s.file.TextureStage(s.Ref(texture), state);
            });
    });
    s.materials.push_back([&] {  // a partial render state: colour output alone
        s.file.Material(
            {}, 3,
            [&] {
                s.file.I32(2);
                for (unsigned v : {1u, 4u, 2u, 1u, 6u, 128u}) s.file.U8(v);
                s.file.I32(7);
            },
            [&] { s.file.I32(0); });
    });
    s.tree = [&] {
        s.file.PlainNode();
        s.file.I32(2);
        node = s.file.Chunk("HINO", 1, [&] {
            s.file.I32(1);
            s.file.Node({0, 0, 1});
            s.file.LinearFloat({{0, 0}, {50, 3}});
            s.file.Chunk("CPRS", 1, [&] {
                s.file.Linear<3>("CLV3", {{0, {0, 0, 0}}, {1, {1, 2, 3}}});
                s.file.Linear<4>("CLQU", {{0, {0, 0, 0, 1}}, {1, {0, 0, 1, 0}}});
                shared = s.file.ConstVec3({1, 1, 1});
            });
        });
        s.file.I32(0);
        s.file.Chunk("HINO", 1, [&] {
            s.file.I32(0);
            s.file.Chunk("CMTX", 1, [&] { s.file.Linear<16>("CLMT", {{0, kIdentity}}); });
        });
        s.file.I32(0);
    };
    File::Shape shape = TexturedQuad(-1, -1, 1, 1);
    shape.tangents = true;
    s.Mesh(shape, s.Ref(stage_material), s.Ref(node), true);
    s.lights.push_back([&] {
        light = s.file.Chunk("LTOM", 1, [&] {
            s.file.Ref(node);
            s.file.Linear<4>("CLCO", {{0, {0, 0, 0, 0}}, {9, {1, 1, 1, 1}}});
            s.file.Chunk("CVCV", 1, [&] { s.file.Ref(shared); });
            s.file.Chunk("CoCF", 1, [&] {
                s.file.I32(5);
                s.file.ConstColor({1, 0, 0, 1});
                s.file.ConstFloat(0.5f);
            });
            s.file.ConstFloat(10);
            for (float a : {1.0f, 0.0f, 0.0f}) s.file.ConstFloat(a);
            s.file.I32(1);
            s.file.Null();
            s.file.I32(0);
        });
    });
    s.before.push_back([&] { s.file.Chunk("ATAM", 1, [&] { s.file.ConstColor({0.2f, 0.2f, 0.2f, 1}); }); });
    s.before.push_back([&] {
        s.file.Chunk("ATFG", 1, [&] {
            s.file.U8(1);
            s.file.ConstColor({1, 1, 1, 1});
            s.file.ConstFloat(0);
            s.file.ConstFloat(1);
        });
    });
    return s.Bytes();
}

// A quad in two parts, each bent by two bones, of which the second turns; and one without a stack, whose
// weights nothing uses.
inline std::vector<std::uint8_t> SkinnedScene() {
    SceneFile s;
    int material = -1, bone = -1, hand = -1;
    s.Glowing(material, {1, 0.5f, 0, 1});
    s.tree = [&] {
        bone = s.file.Node({-1, 0, 0});
        s.file.I32(1);
        hand = s.file.Chunk("HINO", 1, [&] {
            s.file.I32(0);
            s.file.Chunk("CPRS", 1, [&] {
                s.file.ConstVec3({1, 0, 0});
                s.file.Linear<4>("CLQU", {{0, {0, 0, 0, 1}}, {1, {0, 0, 1, 0}}});
                s.file.ConstVec3({1, 1, 1});
            });
        });
        s.file.I32(0);
    };
    const std::vector<File::Weight> weights = {
        {{0, 1, 0, 0}, {1, 0, 0}}, {{1, 0, 0, 0}, {0.5f, 0.5f, 0}}, {{0, 1, 0, 1}, {0, 0, 0}}, {}};
    const auto part = [&](float x) { s.file.WeightedGeometry(Quad(x, -1, x + 1, 1), weights); };
    s.meshes.push_back([&s, &material, &bone, &hand, part] {
        s.file.DeformedMesh(
            [&] {
                s.file.Chunk("GOCP", 1, [&] {
                    s.file.I32(2);
                    part(-1);
                    part(0);
                });
            },
            [&] {
                s.file.Stack(1, [&] {
                    const auto bones = [&] {
                        s.file.Ref(bone);
                        s.file.Ref(hand);
                    };
                    Mat offset = kIdentity;
                    offset[12] = 1;
                    s.file.Skin(bones, {offset, kIdentity});
                });
            },
            s.Ref(material), s.Null());
    });
    s.meshes.push_back(
        [&s, part] { s.file.Mesh([&] { part(2); }, [&] { s.file.Null(); }, [&] { s.file.Null(); }); });
    return s.Bytes();
}

}  // namespace om2
