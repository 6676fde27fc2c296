#include "sound_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cli/error.h"
#include "cli/path.h"
#include "cli/system.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBegin = "\n<!-- sound ";
constexpr const char* kEnd = " -->\n";
constexpr const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLongestExtension = 8;

bool IsPlain(const std::string& extension) {
    return extension.size() <= kLongestExtension &&
           std::all_of(extension.begin(), extension.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0; });
}

// Three bytes to four digits of base 64, the last group filled up with "=".
void Encode(const std::string& bytes, std::string& text) {
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i)
            group = group << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0u);
        const std::size_t digits = std::min<std::size_t>(bytes.size() - at, 3) + 1;
        for (std::size_t i = 0; i < 4; ++i) text += i < digits ? kDigits[group >> (18 - 6 * i) & 63] : '=';
    }
}

bool Decode(const std::string& text, std::string& bytes) {
    std::array<int, 256> values;
    values.fill(-1);
    for (int i = 0; i < 64; ++i) values[static_cast<unsigned char>(kDigits[i])] = i;
    std::size_t length = text.size();
    while (length > 0 && text.size() - length < 2 && text[length - 1] == '=') --length;
    if (text.size() % 4 != 0) return false;
    std::uint32_t group = 0;
    int bits = 0;
    for (std::size_t at = 0; at < length; ++at) {
        const int value = values[static_cast<unsigned char>(text[at])];
        if (value < 0) return false;
        group = group << 6 | static_cast<std::uint32_t>(value);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes += static_cast<char>(group >> bits & 0xff);
    }
    return true;
}

}  // namespace

bool AppendSound(std::string& text, const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(cli::ToPath(path), error);
    std::ifstream in(path, std::ios::binary);
    if (error || !in) throw cli::Error(fmt::format("{}: cannot be read (sound)", path));
    if (size > kLargestPackedSound) return false;
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::string extension = cli::ToText(cli::ToPath(path).extension());
    if (!extension.empty()) extension.erase(0, 1);
    text += kBegin + (IsPlain(extension) && !extension.empty() ? extension : "sound") + " ";
    Encode(bytes, text);
    text += kEnd;
    return true;
}

TemporaryFile::TemporaryFile(const std::string& bytes, const std::string& extension) {
    // Others use the folder too, and what once ended too early has left its files.
    constexpr int kTries = 1000;
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    std::FILE* file = nullptr;
    for (int i = 0; !file && i < kTries && (i == 0 || errno == EEXIST); ++i) {
        path_ = cli::ToText(folder / fmt::format("osm_{}_{}.{}", cli::ProcessId(), i, extension));
        file = cli::CreateFresh(path_);
    }
    if (!file) throw cli::Error(fmt::format("{}: cannot be made for the package's sound", path_));
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) != 0 || !written) {
        std::remove(path_.c_str());
        throw cli::Error(fmt::format("{}: cannot be written with the package's sound", path_));
    }
}

TemporaryFile::~TemporaryFile() { std::remove(path_.c_str()); }

std::shared_ptr<const TemporaryFile> TakeSound(std::string& text) {
    const std::string begin = kBegin, end = kEnd;
    const std::size_t at = text.rfind(begin);
    if (at == text.npos || !text.ends_with(end)) return nullptr;
    const std::size_t name = at + begin.size(), space = text.find(' ', name);
    if (space == text.npos || space == name || space + 1 + end.size() > text.size()) return nullptr;
    const std::string extension = text.substr(name, space - name);
    std::string bytes;
    if (!IsPlain(extension) || !Decode(text.substr(space + 1, text.size() - end.size() - space - 1), bytes))
        return nullptr;
    text.resize(at);
    return std::make_shared<const TemporaryFile>(bytes, extension);
}

}  // namespace host
