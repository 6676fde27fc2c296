// Loading a scene of much geometry against reading the same file into one buffer.
#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "bench.h"
#include "io/object_graph.h"
#include "scene/scene_file.h"
#include "scene/scene_hierarchy.h"
#include "support/om2_scene.h"

namespace bench {
namespace {

// About 100 MB: 34 meshes of 65,536 vertices with normals and coordinates, and 131,072 triangles.
std::size_t WriteScene(const std::string& path) {
    om2::SceneFile scene;
    om2::File::Shape shape;
    constexpr unsigned kSide = 256;
    shape.uvs.emplace_back();
    for (unsigned y = 0; y < kSide; ++y)
        for (unsigned x = 0; x < kSide; ++x) {
            shape.positions.push_back({static_cast<float>(x), static_cast<float>(y), 0});
            shape.normals.push_back({0, 0, 1});
            shape.uvs[0].push_back({static_cast<float>(x) / kSide, static_cast<float>(y) / kSide});
        }
    for (unsigned t = 0; t < 131072; ++t)
        shape.triangles.push_back({static_cast<std::uint16_t>(t / 2),
                                   static_cast<std::uint16_t>((t / 2 + 1) & 0xffff),
                                   static_cast<std::uint16_t>((t / 2 + kSide) & 0xffff)});
    for (int mesh = 0; mesh < 34; ++mesh) scene.Mesh(shape, scene.Null(), scene.Null());
    const std::vector<std::uint8_t>& bytes = scene.Bytes();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes.size();
}

}  // namespace

void Loading() {
    const std::string path =
        (std::filesystem::temp_directory_path() / fmt::format("osm_bench_{}.om2", ::getpid())).string();
    const std::size_t size = WriteScene(path);
    // The buffer is there already, so that the reference pays for the reading alone.
    std::vector<char> buffer(size);
    const Pair times = Compare(
        [&] {
            osmio::ObjectGraph graph;
            osm3d::SceneHierarchy* scene = nullptr;
            std::string reason;
            if (!osm3d::LoadSceneFile(path, graph, scene, reason)) {
                fmt::print(stderr, "bench: {}\n", reason);
                std::exit(1);
            }
        },
        [&] {
            std::FILE* file = std::fopen(path.c_str(), "rb");
            if (!file || std::fread(buffer.data(), size, 1, file) != 1) std::exit(1);
            std::fclose(file);
        },
        15);
    std::filesystem::remove(path);
    Report(fmt::format("load {:.0f} MB of geometry / fread", static_cast<double>(size) / 1e6),
           fmt::format("{:.1f} ms", times.ours * 1e3), fmt::format("{:.1f} ms", times.reference * 1e3),
           times.ours / times.reference, true, 2.0);
}

}  // namespace bench
