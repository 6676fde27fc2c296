#include "system.h"

#include <fmt/format.h>

#include <filesystem>
#include <string>

#include "cli/error.h"
#include "cli/path.h"
#include "cli/win32/wide.h"

namespace host {
const char* const kModuleName = "osmDriver.dll";

Function LoadFunction(const std::string& path, const char* name) {
    // No box of the system's for a library that is not there either.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::absolute(cli::ToPath(path), error);
    HMODULE library = LoadLibraryExW(whole.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!library)
        throw cli::Error(
            fmt::format("the module cannot be loaded: {}: {}", path, cli::SystemMessage(GetLastError())));
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

std::string ProgramPath() {
    std::wstring path(MAX_PATH, L' ');
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) return cli::Narrow(path.substr(0, length));
        path.resize(2 * path.size());
    }
}

std::string OwnProgram() { return ProgramPath(); }

}  // namespace host
