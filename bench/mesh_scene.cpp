#include "mesh_scene.h"

#include <cstdint>
#include <fstream>
#include <vector>

#include "support/om2_scene.h"

namespace bench {

void WriteMeshScene(const std::string& path) {
    om2::SceneFile scene;
    constexpr int kMaterials = 20, kMeshes = 2000;
    static int ids[kMaterials];
    for (int i = 0; i < kMaterials; ++i)
        scene.Glowing(ids[i], {static_cast<float>(i) / kMaterials, 0.5f, 1, 1}, i % 5 == 4 ? 4 : 1);
    for (int i = 0; i < kMeshes; ++i) {
        const auto x = static_cast<float>(i % 50), y = static_cast<float>(i / 50);
        scene.Mesh(om2::Quad(-0.05f, -0.05f, 0.05f, 0.05f), scene.Ref(ids[i % kMaterials]), [&scene, x, y] {
            scene.file.Placement({(x - 25) * 0.2f, (y - 20) * 0.2f, 0});
        });
    }
    const std::vector<std::uint8_t>& bytes = scene.Bytes();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace bench
