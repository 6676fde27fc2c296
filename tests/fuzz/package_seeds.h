// Valid loadable animations to start from.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/seeds.h"

namespace fuzz {

// Two scenes with one image, which stands before them, and an entry without an object.
inline Bytes SharingPackage() {
    om2::File f;
    f.bytes.clear();
    f.Chunk("stfx", 1, [&] {
        int image = -1;
        f.String("<project/>");
        f.I32(3);
        f.String("0");
        image = f.EmbeddedTexture(om2::Tga(2, 1, {{1, 2, 3}, {4, 5, 6}}));
        f.String("again");
        f.Ref(image);
        f.String("none");
        f.Null();
        f.I32(2);
        for (const char* key : {"first.om2", "second.om2"}) {
            f.String(key);
            om2::SceneFile s;
            int material = -1;
            s.Textured(material, image);
            s.Mesh(om2::TexturedQuad(-1, -1, 1, 1), s.Ref(material), s.Null());
            std::swap(s.file, f);
            s.Bytes();
            std::swap(s.file, f);
        }
    });
    return f.bytes;
}

// Scene files side by side. Each begins its numbers at 0 and means its own: the later ones hold.
inline Bytes PackageOf(const std::vector<Seed>& scenes) {
    om2::File f;
    f.bytes.clear();
    f.Chunk("stfx", 1, [&] {
        f.String("text");
        f.I32(1);
        f.String("image");
        f.EmbeddedTexture(om2::Tga(1, 1, {{9, 9, 9}}));
        f.I32(static_cast<std::int32_t>(scenes.size()));
        for (const Seed& scene : scenes) {
            f.String(scene.name);
            f.Raw(scene.bytes.data() + 4, scene.bytes.size() - 4);
        }
    });
    return f.bytes;
}

inline std::vector<Seed> PackageSeeds() {
    const std::vector<Seed> scenes = SceneSeeds();
    return {{"sharing", ".package", SharingPackage()},
            {"one", ".package", PackageOf({scenes.front()})},
            {"all", ".package", PackageOf(scenes)}};
}

}  // namespace fuzz
