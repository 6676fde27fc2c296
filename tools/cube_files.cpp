#include "cube_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include "cli/error.h"
#include "fxutil/image.h"

namespace tools {
namespace {

constexpr std::size_t kHeaderSize = 128, kExtensionSize = 20;
constexpr std::size_t kFourCCAt = 84, kCapsAt = 112, kExtensionMiscAt = 136;
constexpr std::uint32_t kCapsCube = 0xfe00, kMiscCube = 4;
// The place in the file (+x, -x, +y, -y, +z, -z) of what the engine has up, down, at -x, +x, -y, +y.
constexpr std::size_t kOrder[6] = {2, 3, 1, 0, 5, 4};

Bytes ReadImage(const std::string& path, D3DXIMAGE_INFO& info) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw cli::Error(fmt::format("{}: no such image file", path));
    Bytes bytes{std::istreambuf_iterator<char>(in), {}};
    if (!fxutil::ReadImageInfo(bytes, &info)) throw cli::Error(fmt::format("{}: is not an image", path));
    return bytes;
}

void ClearBits(Bytes& bytes, std::size_t at, std::uint32_t bits) {
    std::uint32_t value;
    std::memcpy(&value, bytes.data() + at, 4);
    value &= ~bits;
    std::memcpy(bytes.data() + at, &value, 4);
}

}  // namespace

std::array<Bytes, 6> CubeFaces(const std::string& path) {
    D3DXIMAGE_INFO info{};
    const Bytes file = ReadImage(path, info);
    fxutil::Image decoded;
    if (info.ImageFileFormat != D3DXIFF_DDS || info.ResourceType != D3DRTYPE_CUBETEXTURE ||
        !fxutil::DecodeImage(file, &decoded))
        throw cli::Error(fmt::format("{}: is not a .dds cube map of six faces", path));
    const bool extended = !std::memcmp(file.data() + kFourCCAt, "DX10", 4);
    const std::size_t header = kHeaderSize + (extended ? kExtensionSize : 0);
    const std::size_t size = (file.size() - header) / 6;
    if ((file.size() - header) % 6 != 0)
        throw cli::Error(fmt::format("{}: holds something else behind its six faces", path));
    std::array<Bytes, 6> faces;
    for (std::size_t key = 0; key < 6; ++key) {
        const auto face = file.begin() + static_cast<std::ptrdiff_t>(header + kOrder[key] * size);
        Bytes& out = faces[key];
        out.assign(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(header));
        ClearBits(out, kCapsAt, kCapsCube);
        if (extended) ClearBits(out, kExtensionMiscAt, kMiscCube);
        out.insert(out.end(), face, face + static_cast<std::ptrdiff_t>(size));
    }
    return faces;
}

void CheckFaces(const std::vector<std::string>& paths) {
    UINT first = 0;
    for (const std::string& path : paths) {
        D3DXIMAGE_INFO info{};
        ReadImage(path, info);
        if (first == 0) first = info.Width;
        if (info.Width != info.Height || info.Width != first || info.ResourceType != D3DRTYPE_TEXTURE)
            throw cli::Error(
                fmt::format("{}: the six images of a cube are square and of one size; this is {} x {}", path,
                            info.Width, info.Height));
    }
}

}  // namespace tools
