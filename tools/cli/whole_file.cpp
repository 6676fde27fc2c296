#include "whole_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "error.h"
#include "system.h"

namespace cli {

WholeFile::WholeFile(const std::string& path)
    : path_(path),
      beside_(fmt::format("{}.{}.part", path, ProcessId())),
      file_(std::fopen(beside_.c_str(), "wb")) {
    if (!file_) throw Error(fmt::format("{}: cannot be written: {}", path_, std::strerror(errno)));
}

WholeFile::~WholeFile() {
    if (file_) std::fclose(file_);
    if (!committed_) std::remove(beside_.c_str());
}

void WholeFile::CloseHandle() {
    if (!file_) return;
    failed_ = std::ferror(file_) != 0 || failed_;
    failed_ = std::fclose(file_) != 0 || failed_;
    file_ = nullptr;
}

void WholeFile::Commit() {
    CloseHandle();
    if (failed_ || !MoveOver(beside_, path_))
        throw Error(fmt::format("{}: cannot be written: {}", path_,
                                errno ? std::strerror(errno) : "the disk did not take it"));
    committed_ = true;
}

}  // namespace cli
