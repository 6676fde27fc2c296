#include "module.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <filesystem>

#include "cli/error.h"

namespace host {

Module::Module(const std::string& path) {
    void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw cli::Error(fmt::format("the module cannot be loaded: {}", ::dlerror()));
    const auto get = reinterpret_cast<osm3d::GetDriverFunction>(::dlsym(handle, osm3d::kGetDriverName));
    if (!get)
        throw cli::Error(fmt::format("{}: is not the module: it has no {}", path, osm3d::kGetDriverName));
    driver_ = get();
}

std::string ProgramFolder() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "." : program.parent_path().string();
}

}  // namespace host
