#include "envelope.h"

#include <bzlib.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "cli/error.h"
#include "cli/path.h"
#include "cli/whole_file.h"

namespace tools {
namespace {

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::uint32_t WordAt(const Bytes& bytes, std::size_t at) {
    return bytes[at] | (bytes[at + 1] << 8) | (bytes[at + 2] << 16) |
           (static_cast<std::uint32_t>(bytes[at + 3]) << 24);
}

void PutWord(Bytes& bytes, std::uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

Bytes ReadWhole(const std::string& path) {
    const std::filesystem::path name = cli::ToPath(path);
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(name, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw cli::Error(fmt::format("{}: is not a file", path));
    FilePtr file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file) throw cli::Error(fmt::format("{}: cannot be opened: {}", path, std::strerror(errno)));
    const std::uintmax_t size = std::filesystem::file_size(name, error);
    if (error) throw cli::Error(fmt::format("{}: cannot be read: {}", path, error.message()));
    Bytes bytes(static_cast<std::size_t>(size));
    if (!bytes.empty() && std::fread(bytes.data(), bytes.size(), 1, file.get()) != 1)
        throw cli::Error(fmt::format("{}: cannot be read: {}", path, std::strerror(errno)));
    return bytes;
}

// Unpacks in growing steps, so that a file can only make us hold what it really contains.
Bytes Unpack(const std::string& path, const std::uint8_t* data, std::size_t size, std::uint32_t expected) {
    bz_stream stream{};
    if (BZ2_bzDecompressInit(&stream, 0, 0) != BZ_OK)
        throw cli::Error(fmt::format("{}: no memory to unpack", path));
    const auto finish = [](bz_stream* opened) { BZ2_bzDecompressEnd(opened); };
    const std::unique_ptr<bz_stream, decltype(finish)> end(&stream, finish);
    stream.next_in = reinterpret_cast<char*>(const_cast<std::uint8_t*>(data));
    stream.avail_in = static_cast<unsigned>(size);
    Bytes out;
    int result = BZ_OK;
    while (result == BZ_OK && out.size() <= expected) {
        const std::size_t before = out.size();
        const std::size_t step = std::clamp<std::size_t>(before, 1 << 16, 1 << 26);
        out.resize(before + step);
        stream.next_out = reinterpret_cast<char*>(out.data() + before);
        stream.avail_out = static_cast<unsigned>(step);
        result = BZ2_bzDecompress(&stream);
        out.resize(out.size() - stream.avail_out);
        if (result == BZ_OK && stream.avail_in == 0 && stream.avail_out != 0) break;
    }
    if (result != BZ_STREAM_END)
        throw cli::Error(
            fmt::format("{}: its packed data is damaged or cut short; get the file again", path));
    if (out.size() != expected)
        throw cli::Error(
            fmt::format("{}: unpacks to {} bytes where its header says {}", path, out.size(), expected));
    return out;
}

}  // namespace

Envelope ReadEnvelope(const std::string& path) {
    Bytes bytes = ReadWhole(path);
    Envelope result;
    result.stored_size = bytes.size();
    if (bytes.empty()) throw cli::Error(fmt::format("{}: is empty; an .om2 scene file is expected", path));
    if (bytes.size() >= 4 && std::memcmp(bytes.data(), "NONE", 4) == 0) {
        bytes.erase(bytes.begin(), bytes.begin() + 4);
        result.objects = std::move(bytes);
        return result;
    }
    if (bytes.size() >= 4 && std::memcmp(bytes.data(), "stfx", 4) == 0) {
        result.form = Form::Animation;
        result.objects = std::move(bytes);
        return result;
    }
    if (bytes.size() < 4 || std::memcmp(bytes.data(), "IOBZ", 4) != 0)
        throw cli::Error(fmt::format("{}: is not an .om2 file: it starts with neither NONE nor IOBZ", path));
    if (bytes.size() < 12)
        throw cli::Error(fmt::format("{}: ends inside its header; get the file again", path));
    result.form = Form::Packed;
    const std::uint32_t packed = WordAt(bytes, 8);
    const std::size_t there = bytes.size() - 12;
    if (packed > there)
        throw cli::Error(
            fmt::format("{}: its packed data is cut short: {} of {} bytes", path, there, packed));
    result.objects = Unpack(path, bytes.data() + 12, packed, WordAt(bytes, 4));
    return result;
}

Bytes MakeEnvelope(Form form, const Bytes& objects) {
    Bytes out;
    if (form == Form::Plain) {
        out.reserve(4 + objects.size());
        out.assign({'N', 'O', 'N', 'E'});
        out.insert(out.end(), objects.begin(), objects.end());
        return out;
    }
    if (objects.size() > 0x7fffffffu) throw cli::Error("a scene of more than 2 GiB cannot be packed");
    Bytes packed(objects.size() + objects.size() / 100 + 600);
    auto size = static_cast<unsigned>(packed.size());
    const int result =
        BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(packed.data()), &size,
                                 reinterpret_cast<char*>(const_cast<std::uint8_t*>(objects.data())),
                                 static_cast<unsigned>(objects.size()), 9, 0, 0);
    if (result != BZ_OK) throw cli::Error(fmt::format("packing failed (bzip2 code {})", result));
    out.assign({'I', 'O', 'B', 'Z'});
    PutWord(out, static_cast<std::uint32_t>(objects.size()));
    PutWord(out, size);
    out.insert(out.end(), packed.begin(), packed.begin() + size);
    return out;
}

void WriteWhole(const std::string& path, const Bytes& bytes) {
    cli::WholeFile file(path);
    if (!bytes.empty()) std::fwrite(bytes.data(), bytes.size(), 1, file.Handle());
    file.Commit();
}

}  // namespace tools
