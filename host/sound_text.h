// The sound track of a package, which travels at the end of the project's text.
#pragma once

#include <memory>
#include <string>

namespace host {

// A larger sound stays a file of its own.
inline constexpr std::size_t kLargestPackedSound = std::size_t{96} << 20;  // bytes

// Appends the file `path` to a project's text, in a comment. Throws cli::Error when it cannot be read. False,
// and nothing appended, when it is larger than kLargestPackedSound.
bool AppendSound(std::string& text, const std::string& path);

// A file of the system's folder for such, taken away with its last owner.
class TemporaryFile {
  public:
    // Throws cli::Error when it cannot be written.
    TemporaryFile(const std::string& bytes, const std::string& extension);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& Path() const { return path_; }

  private:
    std::string path_;
};

// Takes the sound off the end of a text and puts it into a file. Null, and the text as it was, when there is
// none.
std::shared_ptr<const TemporaryFile> TakeSound(std::string& text);

}  // namespace host
