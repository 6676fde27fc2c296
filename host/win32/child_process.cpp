#include "child_process.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <utility>

#include "cli/error.h"
#include "cli/path.h"
#include "cli/win32/wide.h"
#include "win32/command_line.h"

namespace host {
namespace {

class File {
  public:
    File() = default;
    explicit File(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    File(File&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    File& operator=(File&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~File() { Close(); }
    HANDLE Handle() const { return handle_; }
    explicit operator bool() const { return handle_ != nullptr; }
    void Close() {
        if (handle_) CloseHandle(std::exchange(handle_, nullptr));
    }
    // Lets a process that is started have it too.
    void Share() { SetHandleInformation(handle_, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT); }

  private:
    HANDLE handle_ = nullptr;
};

[[noreturn]] void Fail() { throw cli::Error(cli::SystemMessage(GetLastError())); }

// What is read from, and what is written to.
std::pair<File, File> MakePipe() {
    HANDLE read = nullptr, write = nullptr;
    constexpr DWORD kRoom = 1 << 16;
    if (!CreatePipe(&read, &write, nullptr, kRoom)) Fail();
    return {File(read), File(write)};
}

File OpenNothing() {
    return File(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, 0, nullptr));
}

// A file that goes with its last user.
File MakeTemporary() {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    wchar_t name[MAX_PATH];
    if (error || !GetTempFileNameW(folder.c_str(), L"osm", 0, name)) Fail();
    File file(CreateFileW(name, GENERIC_READ | GENERIC_WRITE | DELETE,
                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!file) Fail();
    return file;
}

File OwnErrors() {
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_ERROR_HANDLE), GetCurrentProcess(), &copy, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return copy ? File(copy) : OpenNothing();
}

// The program's file. A bare name is looked for in PATH alone, not where we happen to be.
std::wstring FindProgram(const std::string& name) {
    if (name.find_first_of("/\\:") != name.npos) return cli::Wide(name);
    std::wstring folders(GetEnvironmentVariableW(L"PATH", nullptr, 0), L' ');
    folders.resize(GetEnvironmentVariableW(L"PATH", folders.data(), static_cast<DWORD>(folders.size())));
    std::wstring found(SearchPathW(folders.c_str(), cli::Wide(name).c_str(), L".exe", 0, nullptr, nullptr),
                       L' ');
    if (found.empty()) Fail();
    found.resize(SearchPathW(folders.c_str(), cli::Wide(name).c_str(), L".exe",
                             static_cast<DWORD>(found.size()), found.data(), nullptr));
    return found;
}

// Has a process inherit these handles and no others.
class Inheritance {
  public:
    explicit Inheritance(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        info_.StartupInfo.cb = sizeof info_;
        info_.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
        if (!InitializeProcThreadAttributeList(info_.lpAttributeList, 1, 0, &size) ||
            !UpdateProcThreadAttribute(info_.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                       handles_.data(), handles_.size() * sizeof(HANDLE), nullptr, nullptr))
            Fail();
    }
    ~Inheritance() { DeleteProcThreadAttributeList(info_.lpAttributeList); }
    Inheritance(const Inheritance&) = delete;
    Inheritance& operator=(const Inheritance&) = delete;

    STARTUPINFOEXW& Info() { return info_; }

  private:
    std::vector<HANDLE> handles_;
    std::vector<std::uint8_t> memory_;
    STARTUPINFOEXW info_{};
};

}  // namespace

struct ChildProcess::System {
    File process, input, output, errors;
};

ChildProcess::ChildProcess(const Plan& plan) : system_(std::make_unique<System>()) {
    auto [input, to_input] = MakePipe();
    std::pair<File, File> output;
    if (plan.gives_output)
        output = MakePipe();
    else
        output.second = OpenNothing();
    File errors;
    if (plan.keeps_errors)
        system_->errors = MakeTemporary();
    else
        errors = OwnErrors();
    File& all_errors = plan.keeps_errors ? system_->errors : errors;
    for (File* file : {&input, &output.second, &all_errors}) file->Share();

    Inheritance inheritance({input.Handle(), output.second.Handle(), all_errors.Handle()});
    STARTUPINFOW& info = inheritance.Info().StartupInfo;
    info.dwFlags = STARTF_USESTDHANDLES;
    info.hStdInput = input.Handle();
    info.hStdOutput = output.second.Handle();
    info.hStdError = all_errors.Handle();
    const std::wstring program = FindProgram(plan.arguments.front());
    std::wstring line = cli::Wide(CommandLine(plan.arguments));
    PROCESS_INFORMATION started{};
    const DWORD group = plan.sees_interrupts ? 0 : CREATE_NEW_PROCESS_GROUP;
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                        EXTENDED_STARTUPINFO_PRESENT | group, nullptr, nullptr, &info, &started))
        Fail();
    CloseHandle(started.hThread);
    system_->process = File(started.hProcess);
    system_->input = std::move(to_input);
    system_->output = std::move(output.first);
}

ChildProcess::~ChildProcess() {
    system_->input.Close();
    system_->output.Close();
    Wait();
}

bool ChildProcess::Write(const void* bytes, std::size_t size) {
    const char* at = static_cast<const char*>(bytes);
    while (size > 0) {
        DWORD written = 0;
        const auto part = static_cast<DWORD>(std::min<std::size_t>(size, 1 << 20));
        if (!WriteFile(system_->input.Handle(), at, part, &written, nullptr) || written == 0) return false;
        at += written;
        size -= written;
    }
    return true;
}

void ChildProcess::CloseInput() { system_->input.Close(); }

bool ChildProcess::Read(void* bytes, std::size_t size) {
    char* at = static_cast<char*>(bytes);
    while (size > 0) {
        DWORD read = 0;
        const auto part = static_cast<DWORD>(std::min<std::size_t>(size, 1 << 20));
        if (!ReadFile(system_->output.Handle(), at, part, &read, nullptr) || read == 0) return false;
        at += read;
        size -= read;
    }
    return true;
}

void ChildProcess::CloseOutput() { system_->output.Close(); }

void ChildProcess::Kill() { TerminateProcess(system_->process.Handle(), 1); }

bool ChildProcess::Wait() {
    DWORD status = 1;
    WaitForSingleObject(system_->process.Handle(), INFINITE);
    return GetExitCodeProcess(system_->process.Handle(), &status) && status == 0;
}

std::string ChildProcess::LastError() {
    if (!system_->errors) return "";
    SetFilePointer(system_->errors.Handle(), 0, nullptr, FILE_BEGIN);
    std::string text;
    char block[4096];
    DWORD read = 0;
    while (ReadFile(system_->errors.Handle(), block, sizeof block, &read, nullptr) && read > 0)
        text.append(block, read);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return text.substr(text.find_last_of("\r\n") + 1);
}

}  // namespace host
