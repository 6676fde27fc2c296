#include "jobs.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "cli/error.h"

namespace host {
namespace {

// What goes through a pipe: a head, then `size` bytes, of a picture (rows of red, green, blue) or of a text.
struct Head {
    enum Kind : std::uint32_t { kDone, kPicture, kError } kind;
    std::uint32_t width, height, size;
};

// False when the other side is gone.
bool WriteAll(int file, const void* bytes, std::size_t size) {
    const char* at = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t written = ::write(file, at, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        at += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool ReadAll(int file, void* bytes, std::size_t size) {
    char* at = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t read = ::read(file, at, size);
        if (read < 0 && errno == EINTR) continue;
        if (read <= 0) return false;
        at += read;
        size -= static_cast<std::size_t>(read);
    }
    return true;
}

// What a process says when nobody listens any more.
struct Deserted : std::runtime_error {
    Deserted() : std::runtime_error("") {}
};

void Send(int pipe, const Head& head, const void* bytes) {
    if (!WriteAll(pipe, &head, sizeof head) || !WriteAll(pipe, bytes, head.size)) throw Deserted();
}

[[noreturn]] void RunProcess(int pipe, const std::vector<std::size_t>& frames, const Jobs::Work& work) {
    try {
        work(frames, [&](std::size_t, const Picture* picture) {
            Head head{Head::kDone, 0, 0, 0};
            if (picture)
                head = {Head::kPicture, picture->width, picture->height,
                        static_cast<std::uint32_t>(picture->rgb.size())};
            Send(pipe, head, picture ? picture->rgb.data() : nullptr);
        });
    } catch (const Deserted&) {
    } catch (const std::exception& error) {
        const std::string what = error.what();
        const Head head{Head::kError, 0, 0, static_cast<std::uint32_t>(what.size())};
        if (WriteAll(pipe, &head, sizeof head)) WriteAll(pipe, what.data(), what.size());
    }
    // Past the ends of objects that belong to the process that this one came from.
    ::_exit(0);
}

}  // namespace

Jobs::Jobs(std::size_t count, const std::vector<std::size_t>& frames, const Work& work) {
    std::fflush(nullptr);
    for (std::size_t k = 0; k < count; ++k) {
        std::vector<std::size_t> share;
        for (std::size_t i = k; i < frames.size(); i += count) share.push_back(frames[i]);
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            throw cli::Error(fmt::format("a process cannot be started: {}", std::strerror(errno)));
        const pid_t id = ::fork();
        if (id == 0) {
            ::close(ends[0]);
            for (const Process& other : processes_) ::close(other.pipe);
            RunProcess(ends[1], share, work);
        }
        ::close(ends[1]);
        if (id < 0) {
            ::close(ends[0]);
            throw cli::Error(fmt::format("a process cannot be started: {}", std::strerror(errno)));
        }
        processes_.push_back({id, ends[0]});
    }
}

Jobs::~Jobs() {
    for (const Process& process : processes_) ::close(process.pipe);
    for (const Process& process : processes_)
        while (::waitpid(process.id, nullptr, 0) < 0 && errno == EINTR) {
        }
}

void Jobs::Next(Picture& picture) {
    const int pipe = processes_[next_++ % processes_.size()].pipe;
    Head head{};
    bool read = ReadAll(pipe, &head, sizeof head);
    if (read && head.kind == Head::kError) {
        std::string what(head.size, ' ');
        ReadAll(pipe, what.data(), what.size());
        throw cli::Error(what);
    }
    if (read && head.kind == Head::kPicture) {
        picture.width = head.width;
        picture.height = head.height;
        picture.rgb.resize(head.size);
        read = ReadAll(pipe, picture.rgb.data(), head.size);
    }
    if (!read) throw cli::Error("a process that draws frames ended before its time");
}

}  // namespace host
