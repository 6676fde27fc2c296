// Valid files to start from.
#pragma once

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/om2_scene.h"

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

struct Seed {
    std::string name, extension;
    Bytes bytes;
};

// A small scene that is drawn whole: lit, textured, animated and blended meshes.
inline Bytes DrawnScene() {
    om2::SceneFile s;
    om2::File& f = s.file;
    int texture = -1, textured = -1, blended = -1, node = -1;
    s.textures.push_back([&] {
        texture = f.EmbeddedTexture(om2::Tga(2, 2, {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {9, 9, 9}}), true);
    });
    s.materials.push_back([&] {
        textured = f.Material(
            {}, 1, [&] { f.RenderState(); },
            [&] {
                f.I32(1);
                f.TextureStage(s.Ref(texture), {}, 2, 0.5f);
            });
    });
    s.materials.push_back([&] {
        blended = f.Material(
            {}, 4, [&] { f.RenderState(true, 2, true, 1); }, [&] { f.I32(0); });
    });
    s.tree = [&] {
        node = f.Chunk("HINO", 1, [&] {
            f.I32(0);
            f.Chunk("CPRS", 1, [&] {
                f.Linear<3>("CLV3", {{0, {-1, 0, 0}}, {100, {1, 0, 0}}});
                f.Linear<4>("CLQU", {{0, {0, 0, 0, 1}}, {50, {0, 0, 1, 0}}, {100, {0, 1, 0, 0}}});
                f.ConstVec3({1, 1, 1});
            });
        });
        f.I32(0);
    };
    om2::File::Shape tangents = om2::TexturedQuad(-2, -2, 2, 2);
    tangents.tangents = true;
    s.Mesh(tangents, s.Ref(textured), s.Ref(node));
    s.Mesh(om2::Colored(om2::Quad(-1, -1, 1, 1, 1), {1, 1, 0, 0.5f}), s.Ref(blended), s.Ref(node));
    s.lights.push_back([&] {
        f.Light([&] { f.Ref(node); }, {0, 0, 0, 0}, {1, 1, 1, 1}, {1, 1, 1, 1}, 100, {1, 0.1f, 0});
    });
    s.before.push_back([&] {
        f.Chunk("ATFG", 1, [&] {
            f.U8(0);
            f.ConstColor({1, 1, 1, 1});
            f.ConstFloat(0);
            f.ConstFloat(1);
        });
    });
    return s.Bytes();
}

// A cube of images about the eye, a stage that mirrors it, and sprites before and after the meshes.
inline Bytes SkyScene() {
    om2::SceneFile s;
    om2::File& f = s.file;
    int sky = -1, mirror = -1, node = -1;
    std::array<Bytes, 6> images;
    for (int i = 0; i < 6; ++i)
        images[static_cast<std::size_t>(i)] = om2::Tga(2, 2, {{i, 0, 0}, {0, i, 0}, {0, 0, i}, {9, 9, 9}});
    s.textures.push_back([&] { sky = f.EmbeddedCube(images); });
    s.materials.push_back([&] {
        om2::File::StageState state;
        state.coord_index = 19, state.transform_count = 3;
        mirror = f.Material(
            {}, 1, [&] { f.RenderState(); },
            [&] {
                f.I32(1);
                f.TextureStage(s.Ref(sky), state, 2, 0, 1);
            });
    });
    s.tree = [&] {
        node = f.Node({0, 1, 0});
        f.I32(0);
    };
    s.Mesh(om2::Quad(-1, -1, 1, 1), s.Ref(mirror), s.Ref(node));
    s.before.push_back([&] { f.Billboards(s.Null(), {f.Sprite({1, 0, 0}, 1)}); });
    s.after.push_back([&] {
        f.Billboards(s.Ref(mirror), {[&] {
                                         f.Ref(node);
                                         f.LinearFloat({{0, 1}, {100, 2}});
                                     },
                                     f.Sprite({-1, 0, 0}, 1)});
    });
    s.background = [&] { f.TextureBackground(3, s.Ref(sky)); };
    return s.Bytes();
}

// Under a renderer: two mirrors, or the shadow of one mesh on another.
inline Bytes ReflectedScene(bool shadows) {
    om2::SceneFile s;
    om2::File& f = s.file;
    int material = -1, light = -1;
    std::array<int, 2> meshes{};
    s.Glowing(material, {1, 1, 1, 0.5f});
    for (std::size_t i = 0; i < meshes.size(); ++i)
        s.meshes.push_back([&, i] {
            const auto z = static_cast<float>(i);
            meshes[i] = f.Mesh([&, z] { f.Geometry(om2::Quad(-2 + z, -2 + z, 2, 2, z)); }, s.Ref(material),
                               [&] {
                                   f.Placement({0, 0, 0});
                               },
                               false, {}, 2, shadows);
        });
    const om2::Body both = [&] {
        f.I32(2);
        for (const int mesh : meshes) f.Ref(mesh);
    };
    s.lights.push_back([&] {
        light = f.Light(
            [&] {
                f.Placement({-3, 0, 4});
            },
            {0, 0, 0, 0}, {1, 1, 1, 1}, {0, 0, 0, 0}, 100, {1, 0, 0}, both);
    });
    if (shadows) {
        s.shadow_light = s.Ref(light);
        s.renderers.push_back([&] { f.Chunk("SRSW", 1, [] {}); });
    } else {
        s.renderers.push_back([&] { f.Chunk("SRMR", 1, both); });
    }
    return s.Bytes();
}

// Effect materials, one of them around a composite, drawn with depth of field. The text is one that is there.
inline Bytes FocusedScene() {
    om2::SceneFile s;
    om2::File& f = s.file;
    int inner = -1, effect = -1, around = -1;
    s.Glowing(inner, {1, 1, 1, 1});
    const auto fx = [&](int& id, const om2::Body& under) {
        id = f.Chunk("MTFX", 1, [&] {
            f.String(OSM_SOURCE_DIR "/data/depth_of_field.fx");
            under();
        });
    };
    s.materials.push_back([&] { fx(effect, s.Ref(inner)); });
    s.materials.push_back([&] {
        fx(around, [&] {
            f.Chunk("MTCP", 2, [&] {
                f.I32(2);
                f.Ref(effect);
                f.Ref(inner);
                f.I32(0);
            });
        });
    });
    s.Mesh(om2::Quad(-1, -1, 1, 1), s.Ref(effect), s.Null());
    s.Mesh(om2::Quad(-3, -1, -1, 1, -2), s.Ref(around), s.Null());
    s.renderers.push_back([&] {
        f.Chunk("SRDF", 1, [&] {
            f.I32(2);
            f.Ref(s.camera);
            f.ConstFloat(2);
            f.LinearFloat({{0, 1}, {100, 9}});
            f.Null();
            f.Null();
            f.Null();
        });
    });
    return s.Bytes();
}

// Every record that deforms, shades, reflects, shadows and blurs, in one scene.
inline om2::File CrowdedFile() {
    om2::SceneFile s;
    om2::File& f = s.file;
    int sky = -1, picture = -1, plain = -1, effect = -1, composite = -1, bone = -1, hand = -1, skinned = -1,
        mirror = -1, light = -1, second = -1;
    s.textures.push_back([&] {
        std::array<Bytes, 6> images;
        for (int i = 0; i < 6; ++i) images[static_cast<std::size_t>(i)] = om2::Tga(1, 1, {{i, 2 * i, 99}});
        sky = f.EmbeddedCube(images);
    });
    s.textures.push_back([&] { picture = f.EmbeddedTexture(om2::Tga(1, 1, {{1, 2, 3}})); });
    s.Textured(plain, picture);
    s.materials.push_back([&] {
        effect = f.Chunk("MTFX", 1, [&] {
            f.String(OSM_SOURCE_DIR "/data/depth_of_field.fx");
            f.Ref(plain);
        });
    });
    s.materials.push_back([&] {
        composite = f.Chunk("MTCP", 2, [&] {
            f.I32(2);
            f.Ref(plain);
            f.Ref(effect);
            f.I32(2);
            for (const int v : {0, 0, 1, 1}) f.I32(v);
        });
    });
    s.tree = [&] {
        bone = f.Node({0, 1, 0});
        f.I32(1);
        hand = f.Node({1, 0, 0});
        f.I32(0);
    };
    const om2::Body bones = [&] {
        f.Ref(bone);
        f.Ref(hand);
    };
    const om2::Body stack = [&] { f.Stack(1, [&] { f.Skin(bones, {om2::kIdentity, om2::kIdentity}); }); };
    const om2::Body bent = [&] {
        f.WeightedGeometry(om2::Quad(0, 0, 1, 1),
                           {{{0, 1, 0, 0}, {0.5f, 0.5f, 0}}, {{1, 0, 0, 0}, {1, 0, 0}}, {}, {}});
    };
    const om2::Body parts = [&] {
        f.Chunk("GOCP", 1, [&] {
            f.I32(2);
            f.Geometry(om2::Quad(-4, -1, -2, 1));
            f.WeightedGeometry(om2::Quad(2, -1, 4, 1), {});
        });
    };
    const om2::Body flat = [&] { f.Geometry(om2::Quad(-4, -4, 4, 4, -3)); };
    s.meshes.push_back([&] { skinned = f.DeformedMesh(bent, stack, s.Ref(plain), s.Ref(bone), {}, true); });
    s.meshes.push_back([&] { f.Mesh(parts, s.Ref(composite), s.Ref(hand), false, {1, 0}, 2, true); });
    s.meshes.push_back([&] { mirror = f.Mesh(flat, s.Null(), s.Null()); });
    s.cameras = [&] {
        f.I32(2);
        s.camera = f.Camera([&] { f.Placement({0, 0, 5}); }, om2::kHalfPi, 1, 100);
        second = f.Camera([&] { f.Ref(hand); }, om2::kHalfPi, 1, 100);
    };
    const om2::Body casters = [&] { f.List(1, s.Ref(skinned)); };
    s.lights.push_back([&] {
        light = f.Light(
            [&] {
                f.Placement({-3, 0, 4});
            },
            {0, 0, 0, 0}, {1, 1, 1, 1}, {0, 0, 0, 0}, 100, {1, 0, 0}, casters);
    });
    s.shadow_light = s.Ref(light);
    s.before.push_back([&] { f.Chunk("ATAM", 1, [&] { f.ConstColor({0.2f, 0.2f, 0.2f, 1}); }); });
    s.before.push_back([&] {
        f.Chunk("ATFG", 1, [&] {
            f.U8(1);
            f.ConstColor({1, 1, 1, 1});
            f.ConstFloat(0);
            f.ConstFloat(1);
        });
    });
    s.after.push_back([&] { f.Billboards(s.Ref(effect), {f.Sprite({1, 0, 0}, 1)}); });
    s.background = [&] { f.TextureBackground(3, s.Ref(sky)); };
    s.renderers.push_back([&] { f.Chunk("SRSW", 1, [] {}); });
    s.renderers.push_back([&] { f.Chunk("SRMR", 1, [&] { f.List(1, s.Ref(mirror)); }); });
    s.renderers.push_back([&] {
        f.Chunk("SRDF", 1, [&] {
            f.I32(2);
            f.Ref(s.camera);
            f.Null();
            f.ConstFloat(4);
            f.Ref(second);
            f.ConstFloat(2);
            f.Null();
        });
    });
    s.Bytes();
    return f;
}

inline std::vector<Seed> SceneSeeds() {
    return {{"rich", ".om2", om2::RichScene()},         {"drawn", ".om2", DrawnScene()},
            {"skinned", ".om2", om2::SkinnedScene()},   {"sky", ".om2", SkyScene()},
            {"mirrors", ".om2", ReflectedScene(false)}, {"shadows", ".om2", ReflectedScene(true)},
            {"focused", ".om2", FocusedScene()},        {"crowded", ".om2", CrowdedFile().bytes}};
}

// The image files that the tests of the image readers use.
inline std::vector<Seed> ImageSeeds() {
    std::vector<Seed> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(OSM_SOURCE_DIR "/tests/fxutil/images")) {
        const std::string extension = entry.path().extension().string();
        std::ifstream in(entry.path(), std::ios::binary);
        Bytes bytes{std::istreambuf_iterator<char>(in), {}};
        for (const char* known : {".bmp", ".dds", ".dib", ".jpg", ".png", ".tga"})
            if (extension == known && bytes.size() <= 20000)
                seeds.push_back({entry.path().filename().string(), extension, std::move(bytes)});
    }
    return seeds;
}

}  // namespace fuzz
