// What lies on disk around a project, to tell what has changed since it was loaded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "project.h"

namespace host {

class FileSnapshot {
  public:
    FileSnapshot() = default;
    // The project's file, its data and sound, and every other file in their folders: scenes name pictures and
    // effect texts that lie beside them.
    FileSnapshot(const std::string& project_path, const Project& project);

    // Names, without folders, in alphabetic order, of what has changed, came to be used or went away between
    // `before` and now. New files that nothing in `now` names are left out.
    static std::vector<std::string> Changed(const FileSnapshot& before, const FileSnapshot& now);

  private:
    struct Stamp {
        std::filesystem::file_time_type time;
        std::uintmax_t size = 0;
        bool is_named = false;  // by the project
        bool operator==(const Stamp& other) const { return time == other.time && size == other.size; }
    };
    void AddFolder(const std::filesystem::path& folder);
    void AddNamed(const std::filesystem::path& file);
    std::map<std::string, Stamp> files_;
};

// "a, b and 3 more" of `names`, at most `most` of them by name.
std::string ListOf(const std::vector<std::string>& names, std::size_t most);

}  // namespace host
