#include "material/image_bytes.h"

#include <cstddef>
#include <cstdio>

#include "platform/system/system.h"
#include "trace/tracer.h"

namespace osm3d {

bool ReadImageBytes(const std::string& path, std::vector<u8>& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    trace::WarnIf(file == nullptr, "texture \"%s\" not embeddable.", path.c_str());
    if (file == nullptr) return false;
    std::fseek(file, 0, SEEK_END);
    const long size = std::ftell(file);
    std::fseek(file, 0, SEEK_SET);
    if (size > 0) {
        bytes.resize(static_cast<std::size_t>(size));
        bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
    }
    std::fclose(file);
    return true;
}

void ReportUnreadableImage(const std::string& path) { platform::DebugString("Filename : " + path + "\n"); }

}  // namespace osm3d
