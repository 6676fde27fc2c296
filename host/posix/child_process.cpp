#include "child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

#include "cli/error.h"

extern char** environ;

namespace host {
namespace {

class File {
  public:
    File() = default;
    explicit File(int number) : number_(number) {}
    File(File&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    File& operator=(File&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~File() { Close(); }
    int Number() const { return number_; }
    void Close() {
        if (number_ >= 0) ::close(std::exchange(number_, -1));
    }

  private:
    int number_ = -1;
};

[[noreturn]] void Fail(int error) { throw cli::Error(std::strerror(error)); }

// What is read from, and what is written to.
std::pair<File, File> MakePipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) Fail(errno);
    return {File(ends[0]), File(ends[1])};
}

}  // namespace

struct ChildProcess::System {
    pid_t id = -1;
    bool went_well = false;
    File input, output;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> errors{nullptr, &std::fclose};
};

ChildProcess::ChildProcess(const Plan& plan) : system_(std::make_unique<System>()) {
    auto [input, to_input] = MakePipe();
    std::pair<File, File> output;
    if (plan.gives_output) output = MakePipe();
    if (plan.keeps_errors && !(system_->errors.reset(std::tmpfile()), system_->errors)) Fail(errno);

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input.Number(), STDIN_FILENO);
    if (plan.gives_output)
        ::posix_spawn_file_actions_adddup2(&actions, output.second.Number(), STDOUT_FILENO);
    else
        ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    if (plan.keeps_errors)
        ::posix_spawn_file_actions_adddup2(&actions, ::fileno(system_->errors.get()), STDERR_FILENO);
    ::posix_spawnattr_init(&attributes);
    // The signals as a program expects them.
    sigset_t defaults;
    ::sigemptyset(&defaults);
    ::sigaddset(&defaults, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    ::posix_spawnattr_setpgroup(&attributes, 0);
    const int group = plan.sees_interrupts ? 0 : POSIX_SPAWN_SETPGROUP;
    ::posix_spawnattr_setflags(&attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | group));
    std::vector<char*> arguments;
    for (const std::string& argument : plan.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const int failure =
        ::posix_spawnp(&system_->id, arguments.front(), &actions, &attributes, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    if (failure != 0) Fail(failure);
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
        const ssize_t written = ::write(system_->input.Number(), at, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        at += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

void ChildProcess::CloseInput() { system_->input.Close(); }

bool ChildProcess::Read(void* bytes, std::size_t size) {
    char* at = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t read = ::read(system_->output.Number(), at, size);
        if (read < 0 && errno == EINTR) continue;
        if (read <= 0) return false;
        at += read;
        size -= static_cast<std::size_t>(read);
    }
    return true;
}

void ChildProcess::CloseOutput() { system_->output.Close(); }

void ChildProcess::Kill() {
    if (system_->id > 0) ::kill(system_->id, SIGKILL);
}

bool ChildProcess::Wait() {
    int status = 0;
    while (system_->id > 0) {
        const pid_t ended = ::waitpid(system_->id, &status, 0);
        if (ended < 0 && errno == EINTR) continue;
        system_->went_well = ended == system_->id && WIFEXITED(status) && WEXITSTATUS(status) == 0;
        system_->id = -1;
    }
    return system_->went_well;
}

std::string ChildProcess::LastError() {
    std::string last;
    std::array<char, 1000> line{};
    if (!system_->errors) return last;
    std::rewind(system_->errors.get());
    while (std::fgets(line.data(), static_cast<int>(line.size()), system_->errors.get())) {
        std::string text = line.data();
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        if (!text.empty()) last = text;
    }
    return last;
}

}  // namespace host
