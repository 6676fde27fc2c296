#include "system.h"

#include <fmt/format.h>

#include <cstdio>
#include <vector>

#include "cli/error.h"
#include "cli/path.h"
#include "cli/win32/wide.h"

namespace host {
namespace {

std::string TextOf(HWND window) {
    std::vector<wchar_t> text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1);
    const int length = GetWindowTextW(window, text.data(), static_cast<int>(text.size()));
    return cli::Narrow({text.data(), static_cast<std::size_t>(length)});
}

// Sees this thread's windows before they come up, and answers those that are message boxes.
LRESULT CALLBACK AnswerBoxes(int code, WPARAM w, LPARAM l) {
    constexpr int kTextId = 0xffff;
    wchar_t name[16] = L"";
    const auto window = reinterpret_cast<HWND>(w);
    if (code != HCBT_ACTIVATE || !GetClassNameW(window, name, 16) || std::wstring(name) != L"#32770")
        return CallNextHookEx(nullptr, code, w, l);
    std::string line = TextOf(window);
    if (HWND text = GetDlgItem(window, kTextId)) line += ": " + TextOf(text);
    for (char& c : line)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
    std::fprintf(stderr, "%s\n", line.c_str());
    EndDialog(window, IDOK);
    return 0;
}

}  // namespace

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

void KeepMessagesOffScreen() {
    static HHOOK hook = nullptr;
    if (!hook) hook = SetWindowsHookExW(WH_CBT, AnswerBoxes, nullptr, GetCurrentThreadId());
}

}  // namespace host
