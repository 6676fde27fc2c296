#ifdef _WIN32

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include "platform/system/file_path.h"
#include "platform/system/system_detail.h"

namespace platform {

std::filesystem::path FilePath(const std::string& name) {
    const int size = static_cast<int>(name.size());
    const int length = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, name.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length > 0 ? length : 0), L' ');
    if (length > 0) MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, name.data(), size, wide.data(), length);
    return wide;
}

namespace detail {
namespace {

/// The module that this code is linked into, which need not be the program.
HMODULE OwnModule() {
    HMODULE module = nullptr;
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    GetModuleHandleExA(flags, reinterpret_cast<LPCSTR>(&OwnModule), &module);
    return module;
}

}  // namespace

void SystemMessageBox(const std::string& text, const std::string& caption, u32 icon) {
    MessageBoxA(nullptr, text.c_str(), caption.c_str(), icon);
}

void SystemDebugString(const std::string& text) { OutputDebugStringA(text.c_str()); }

u32 SystemTickCount() { return GetTickCount(); }

std::span<const u8> SystemResource(u32 id) {
    if (id > 0xffff) return {};
    HMODULE module = OwnModule();
    HRSRC found =
        FindResourceA(module, MAKEINTRESOURCEA(static_cast<WORD>(id)), MAKEINTRESOURCEA(10) /* raw data */);
    if (!found) return {};
    HGLOBAL loaded = LoadResource(module, found);
    const void* data = loaded ? LockResource(loaded) : nullptr;
    if (!data) return {};
    return {static_cast<const u8*>(data), SizeofResource(module, found)};
}

}  // namespace detail
}  // namespace platform

#endif
