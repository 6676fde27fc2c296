// Names of files between the calls that take them as text and those that take paths.
#pragma once

#include <filesystem>
#include <string>

namespace platform {

/// The file that std::fopen opens under `name`, for std::filesystem. On Windows `name` is text of the
/// process's code page; empty when it is none.
std::filesystem::path FilePath(const std::string& name);

}  // namespace platform
