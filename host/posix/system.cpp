#include "system.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <filesystem>

#include "cli/error.h"

namespace host {
namespace {

constexpr const char* kOwnProgram = "/proc/self/exe";

}  // namespace

const char* const kModuleName = "osmDriver.so";

Function LoadFunction(const std::string& path, const char* name) {
    void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw cli::Error(fmt::format("the module cannot be loaded: {}", ::dlerror()));
    return reinterpret_cast<Function>(::dlsym(handle, name));
}

std::string ProgramPath() {
    std::error_code error;
    return std::filesystem::read_symlink(kOwnProgram, error).string();
}

std::string OwnProgram() { return kOwnProgram; }

}  // namespace host
