#include "platform/gl/isolated.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace platform::gl {
namespace {

constexpr rlim_t kSeconds = 10;
#ifndef OSM_SANITIZE
constexpr rlim_t kMemory = rlim_t{1} << 30;
#endif
// The last byte that the copy writes: without it the result is not whole.
constexpr u8 kComplete = 0xa5;

void Limit(decltype(RLIMIT_CPU) what, rlim_t value) {
    rlimit limit{};
    if (getrlimit(what, &limit) != 0) return;
    if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < value) value = limit.rlim_max;
    limit.rlim_cur = limit.rlim_max = value;
    setrlimit(what, &limit);
}

#ifndef OSM_SANITIZE
// Bytes of data that the process has now.
rlim_t DataSize() {
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr) return 0;
    unsigned long long pages = 0;
    const bool read = std::fscanf(file, "%*u %*u %*u %*u %*u %llu", &pages) == 1;
    std::fclose(file);
    return read ? pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) : 0;
}
#endif

[[noreturn]] void Child(int pipe, const std::function<std::vector<u8>()>& work, rlim_t data) {
    // What the program does about its own crashes is not for this one.
    for (const int number : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGXCPU, SIGPIPE, SIGTERM, SIGINT}) {
        std::signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_CPU, kSeconds);
    if (data != 0) Limit(RLIMIT_DATA, data);
    std::vector<u8> bytes;
    try {
        bytes = work();
    } catch (...) {
        _exit(1);
    }
    bytes.push_back(kComplete);
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t written = write(pipe, bytes.data() + at, bytes.size() - at);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) _exit(1);
        at += static_cast<std::size_t>(written);
    }
    _exit(0);
}

}  // namespace

bool RunIsolated(const std::function<std::vector<u8>()>& work, std::vector<u8>& result) {
    result.clear();
    rlim_t data = 0;
#ifndef OSM_SANITIZE  // the sanitizers' own tables count as data
    data = DataSize();
    if (data != 0) data += kMemory;
#endif
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        result = work();
        return true;
    }
    const pid_t child = fork();
    if (child < 0) {
        close(ends[0]);
        close(ends[1]);
        result = work();
        return true;
    }
    if (child == 0) {
        close(ends[0]);
        Child(ends[1], work, data);
    }
    close(ends[1]);
    u8 buffer[65536];
    for (;;) {
        const ssize_t count = read(ends[0], buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        result.insert(result.end(), buffer, buffer + count);
    }
    close(ends[0]);
    // Whoever else waits for children may have taken this one: what counts is what came through the pipe.
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (result.empty() || result.back() != kComplete) {
        result.clear();
        return false;
    }
    result.pop_back();
    return true;
}

}  // namespace platform::gl
