#include "play_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "cli/path.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// A folder that holds more is not looked through to its end.
constexpr std::size_t kMostFiles = 20000;

fs::path FolderOf(const fs::path& file) {
    const fs::path folder = file.parent_path();
    return folder.empty() ? fs::path(".") : folder;
}

std::string KeyOf(const fs::path& file) {
    return cli::ToText((FolderOf(file) / file.filename()).lexically_normal());
}

}  // namespace

void FileSnapshot::AddFolder(const fs::path& folder) {
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator() && files_.size() < kMostFiles;
         entry.increment(error)) {
        std::error_code ignored;
        if (!entry->is_regular_file(ignored)) continue;
        files_[KeyOf(entry->path())] = {entry->last_write_time(ignored), entry->file_size(ignored), false};
    }
}

void FileSnapshot::AddNamed(const fs::path& file) {
    std::error_code error;
    const fs::file_time_type time = fs::last_write_time(file, error);
    if (error) return;
    const std::uintmax_t size = fs::file_size(file, error);
    if (!error) files_[KeyOf(file)] = {time, size, true};
}

FileSnapshot::FileSnapshot(const std::string& project_path, const Project& project) {
    std::vector<fs::path> named{cli::ToPath(project_path)};
    if (project.package.empty()) {
        for (const DataItem& item : project.data) named.push_back(cli::ToPath(item.path));
        if (!project.sound.path.empty()) named.push_back(cli::ToPath(project.sound.path));
    }
    std::set<std::string> folders;
    for (const fs::path& file : named)
        if (folders.insert(cli::ToText(FolderOf(file).lexically_normal())).second) AddFolder(FolderOf(file));
    for (const fs::path& file : named) AddNamed(file);
}

std::vector<std::string> FileSnapshot::Changed(const FileSnapshot& before, const FileSnapshot& now) {
    std::set<std::string> changed;
    for (const auto& [key, stamp] : now.files_) {
        const auto old = before.files_.find(key);
        const bool is_new = old == before.files_.end();
        if (is_new ? stamp.is_named : !(old->second == stamp))
            changed.insert(cli::ToText(cli::ToPath(key).filename()));
    }
    for (const auto& [key, stamp] : before.files_)
        if (!now.files_.contains(key)) changed.insert(cli::ToText(cli::ToPath(key).filename()));
    return {changed.begin(), changed.end()};
}

std::string ListOf(const std::vector<std::string>& names, std::size_t most) {
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), most); ++i) list += (i == 0 ? "" : ", ") + names[i];
    return names.size() > most ? fmt::format("{} and {} more", list, names.size() - most) : list;
}

}  // namespace host
