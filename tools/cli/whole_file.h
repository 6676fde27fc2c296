// Output files that are whole or not there.
#pragma once

#include <cstdio>
#include <string>

namespace cli {

// A file written beside its target and renamed over it by Commit. Without Commit nothing is left behind.
class WholeFile {
  public:
    // Throws Error when no file can be made beside `path`.
    explicit WholeFile(const std::string& path);
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    // Open for writing, owned by this object. Null after Commit.
    std::FILE* Handle() const { return file_; }
    // Where the bytes lie until Commit.
    const std::string& Beside() const { return beside_; }
    // Takes the file at Beside() as it is, for writers that open it by name: closes the handle first.
    void CloseHandle();
    // Gives the file its name. Throws Error when something could not be written.
    void Commit();

  private:
    std::string path_, beside_;
    std::FILE* file_ = nullptr;
    bool failed_ = false;
    bool committed_ = false;
};

}  // namespace cli
