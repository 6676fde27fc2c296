#include "sound_format.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "cli/path.h"
#include "cli/win32/wide.h"

namespace host {
namespace {

template <std::size_t count>
bool Read(std::ifstream& file, std::array<char, count>& bytes) {
    return static_cast<bool>(file.read(bytes.data(), count));
}

std::uint32_t NumberAt(const char* bytes) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes, sizeof(number));
    return number;
}

}  // namespace

std::optional<SoundFormat> ReadSoundFormat(const std::string& path) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(cli::ToPath(path), error);
    if (error) return std::nullopt;
    SoundFormat format;
    std::ifstream file(cli::ToPath(path), std::ios::binary);
    std::array<char, 12> head{};
    if (!Read(file, head) || std::memcmp(head.data(), "RIFF", 4) != 0 ||
        std::memcmp(head.data() + 8, "WAVE", 4) != 0)
        return format;
    double bytes_per_second = 0;
    std::uintmax_t at = head.size();
    for (std::array<char, 8> chunk{}; Read(file, chunk);) {
        const std::uintmax_t length = NumberAt(chunk.data() + 4);
        at += chunk.size();
        if (std::memcmp(chunk.data(), "fmt ", 4) == 0) {
            std::array<char, 12> rates{};  // kind and channels, frames a second, bytes a second
            if (!Read(file, rates)) return format;
            if (NumberAt(&rates[4]) > 0) format.rate = NumberAt(&rates[4]);
            bytes_per_second = NumberAt(&rates[8]);
        } else if (std::memcmp(chunk.data(), "data", 4) == 0) {
            // A file that was cut off says more than there is.
            const auto bytes = static_cast<double>(std::min(length, size - std::min(at, size)));
            if (bytes_per_second > 0) format.length = bytes / bytes_per_second;
            return format;
        }
        at += length + (length & 1);
        file.seekg(static_cast<std::streamoff>(at));
    }
    return format;
}

// It stays loaded for the module.
bool HasSoundLibrary() { return LoadLibraryA("fmod.dll") != nullptr; }

}  // namespace host
