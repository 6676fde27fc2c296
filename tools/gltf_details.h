// What glTF files say beyond what Assimp makes of them: stepped and cubic motion, and weights in bytes and
// words.
#pragma once

#include <memory>
#include <string>

struct aiScene;

namespace tools {

class GltfDetails {
  public:
    // Opens `path`, a .gltf or .glb file, beside Assimp. A file that cannot be understood has no details: it
    // is Assimp's to say what is wrong with it. Throws cli::Error for a file that Assimp cannot be trusted
    // with.
    explicit GltfDetails(const std::string& path);
    ~GltfDetails();
    GltfDetails(const GltfDetails&) = delete;
    GltfDetails& operator=(const GltfDetails&) = delete;

    // Corrects `scene`, as Assimp made it without any post-processing. Stepped motion becomes pairs of keys
    // at one time; cubic motion is sampled `rate` times a second.
    void Apply(aiScene& scene, double rate) const;

  private:
    class Document;
    std::unique_ptr<Document> document_;
};

}  // namespace tools
