#include "cli/system.h"

#include <fcntl.h>
#include <unistd.h>

namespace cli {

void PrepareStreams() {}

bool IsTerminal(std::FILE* stream) { return ::isatty(::fileno(stream)) != 0; }

long ProcessId() { return ::getpid(); }

std::FILE* CreateFresh(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    return file < 0 ? nullptr : ::fdopen(file, "wb");
}

bool MoveOver(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace cli
