#include "cli/system.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

#include "cli/win32/wide.h"

// Arguments come as they were given: no stars that become file names.
extern "C" int _CRT_glob = 0;

namespace cli {
namespace {

// The console's way before us, which is given back at the end.
UINT code_page = 0;
DWORD error_mode = 0;

HANDLE ErrorConsole() { return GetStdHandle(STD_ERROR_HANDLE); }

void RestoreConsole() {
    if (code_page) SetConsoleOutputCP(code_page);
    if (error_mode) SetConsoleMode(ErrorConsole(), error_mode);
}

void ErrnoOf(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            errno = ENOENT;
            break;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
            errno = EACCES;
            break;
        case ERROR_DISK_FULL:
            errno = ENOSPC;
            break;
        default:
            errno = EIO;
    }
}

}  // namespace

std::wstring Wide(const std::string& text) {
    const int size = static_cast<int>(text.size());
    std::wstring out(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)),
                     L' ');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), size, out.data(), static_cast<int>(out.size()));
    return out;
}

std::string Narrow(const std::wstring& text) {
    const int size = static_cast<int>(text.size());
    std::string out(static_cast<std::size_t>(
                        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)),
                    ' ');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, out.data(), static_cast<int>(out.size()), nullptr,
                        nullptr);
    return out;
}

std::string SystemMessage(DWORD error) {
    wchar_t text[500];
    const DWORD size =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                       MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), text, 500, nullptr);
    std::string out = Narrow({text, size});
    while (!out.empty() && (static_cast<unsigned char>(out.back()) <= ' ' || out.back() == '.'))
        out.pop_back();
    return out.empty() ? "error " + std::to_string(error) : out;
}

void PrepareStreams() {
    for (std::FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
    DWORD mode = 0;
    if (GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) || GetConsoleMode(ErrorConsole(), &mode)) {
        code_page = GetConsoleOutputCP();
        SetConsoleOutputCP(CP_UTF8);
    }
    if (GetConsoleMode(ErrorConsole(), &mode)) {
        error_mode = mode;
        SetConsoleMode(ErrorConsole(), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
    std::atexit(RestoreConsole);
}

// The C library takes any device for a terminal.
bool IsTerminal(std::FILE* stream) {
    DWORD mode = 0;
    return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))), &mode) != 0;
}

long ProcessId() { return static_cast<long>(GetCurrentProcessId()); }

std::FILE* CreateFresh(const std::string& path) {
    const int file = _wopen(Wide(path).c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                            _S_IREAD | _S_IWRITE);
    return file < 0 ? nullptr : _fdopen(file, "wb");
}

bool MoveOver(const std::string& from, const std::string& to) {
    // Somebody who looks at the file just then (a scanner, a viewer) soon has done.
    constexpr int kTries = 10;
    constexpr DWORD kPause = 20;  // milliseconds
    for (int i = 0; i < kTries; ++i) {
        if (MoveFileExW(Wide(from).c_str(), Wide(to).c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
        const DWORD error = GetLastError();
        ErrnoOf(error);
        const DWORD attributes = GetFileAttributesW(Wide(to).c_str());
        const bool is_file =
            attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
        if (!is_file || (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED)) return false;
        Sleep(kPause);
    }
    return false;
}

}  // namespace cli
