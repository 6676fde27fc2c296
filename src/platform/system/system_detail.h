// What each operating system supplies below system.h.
#pragma once

#include <span>
#include <string>

#include "platform/types.h"

namespace platform::detail {

void SystemMessageBox(const std::string& text, const std::string& caption, u32 icon);
void SystemDebugString(const std::string& text);
u32 SystemTickCount();
std::span<const u8> SystemResource(u32 id);

/// A file that the build put into the module.
struct EmbeddedResource {
    u32 id;
    std::span<const u8> data;
};
/// Generated (embed_resources.cmake). Windows modules carry theirs in the system's own way.
std::span<const EmbeddedResource> EmbeddedResources();

}  // namespace platform::detail
