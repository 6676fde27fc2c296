// Inter-Quake models with their skeletons and animations.
#pragma once

#include <assimp/BaseImporter.h>

#include <string>
#include <vector>

namespace tools {

/// Reads .iqm files (version 2) for Assimp, in place of its own reader, which leaves out bones and motion.
/// Bones become nodes below the root, which turns the model so that y is up, as Assimp has it.
class IqmImporter : public Assimp::BaseImporter {
  public:
    bool CanRead(const std::string& path, Assimp::IOSystem* io, bool check_signature) const override;
    const aiImporterDesc* GetInfo() const override;

  protected:
    /// Throws std::runtime_error for a file that is cut short or points past its end.
    void InternReadFile(const std::string& path, aiScene* scene, Assimp::IOSystem* io) override;
};

}  // namespace tools
