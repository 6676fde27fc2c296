#ifndef _WIN32

#include <chrono>
#include <cstdio>

#include "platform/system/system_detail.h"

namespace platform::detail {

void SystemMessageBox(const std::string& text, const std::string& caption, u32) {
    std::string line = caption + ": " + text;
    for (char& character : line) {
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7f) character = ' ';
    }
    std::fprintf(stderr, "%s\n", line.c_str());
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

}  // namespace platform::detail

#endif
