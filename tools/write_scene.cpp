#include "write_scene.h"

#include <fmt/format.h>

#include <memory>

#include "cli/error.h"
#include "io/open.h"

namespace tools {

void WriteBeside(cli::WholeFile& file, const std::string& path, osm3d::SceneHierarchy& scene) {
    file.CloseHandle();
    std::unique_ptr<osmio::OutStream> out(osmio::OpenChunkedOutput(file.Beside(), osmio::kCompressionNone));
    if (!out) throw cli::Error(fmt::format("{}: cannot be written", path));
    out->WriteObject(&scene);
    const bool written = out->Flush();
    out.reset();
    if (!written) throw cli::Error(fmt::format("{}: cannot be written: the disk did not take it", path));
}

}  // namespace tools
