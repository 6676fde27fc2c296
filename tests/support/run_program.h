// Runs a program as a person at a shell does.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace test_support {

struct Outcome {
    int status = -1;  // exit status; 128 + signal when it was killed
    std::string out, error;
};

// `arguments` go to a shell as they stand.
inline Outcome Run(const std::string& program, const std::string& arguments,
                   const std::filesystem::path& folder) {
    const std::string out = (folder / "stdout.txt").string(), error = (folder / "stderr.txt").string();
    const std::string command =
        "'" + program + "' " + arguments + " >'" + out + "' 2>'" + error + "' </dev/null";
    const int status = std::system(command.c_str());
    Outcome outcome;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    auto read = [](const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string{std::istreambuf_iterator<char>(in), {}};
    };
    outcome.out = read(out);
    outcome.error = read(error);
    std::filesystem::remove(out);
    std::filesystem::remove(error);
    return outcome;
}

// A folder of the test's own, gone with the object.
class TempFolder {
  public:
    TempFolder() {
        static int count = 0;
        path = std::filesystem::temp_directory_path() /
               ("osm_folder_" + std::to_string(::getpid()) + "_" + std::to_string(count++));
        std::filesystem::create_directories(path);
    }
    ~TempFolder() { std::filesystem::remove_all(path); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string File(const std::string& name) const { return (path / name).string(); }
    std::string Write(const std::string& name, const std::string& text) const {
        std::ofstream(path / name, std::ios::binary) << text;
        return File(name);
    }
    std::string Write(const std::string& name, const std::vector<unsigned char>& bytes) const {
        return Write(name, std::string(bytes.begin(), bytes.end()));
    }
    // Names of what lies in it.
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path))
            names.push_back(entry.path().filename());
        return names;
    }

    std::filesystem::path path;
};

}  // namespace test_support
