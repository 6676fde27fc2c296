#ifndef _WIN32

#include <chrono>

#include "platform/system/file_path.h"
#include "platform/system/system.h"
#include "platform/system/system_detail.h"

namespace platform {

std::filesystem::path FilePath(const std::string& name) { return name; }

namespace detail {

void SystemMessageBox(const std::string& text, const std::string& caption, u32) {
    PrintMessage(text, caption);
}

void SystemDebugString(const std::string&) {}

u32 SystemTickCount() {
    using namespace std::chrono;
    return static_cast<u32>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

std::span<const u8> SystemResource(u32 id) {
    for (const EmbeddedResource& resource : EmbeddedResources()) {
        if (resource.id == id) return resource.data;
    }
    return {};
}

}  // namespace detail
}  // namespace platform

#endif
