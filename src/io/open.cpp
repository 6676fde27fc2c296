#include "io/open.h"

#include <memory>

#include "io/bzip2_stream.h"
#include "io/file_stream.h"

namespace osmio {

InStreamChunked* OpenChunkedInput(const std::string& path) {
    auto file = std::make_unique<InStreamFile>(path);
    if (!file->IsOpen()) return nullptr;
    i32 magic = 0;
    file->ReadI32(&magic);
    switch (static_cast<u32>(magic)) {
        case kPlainMagic:
            return new InStreamChunked(file.release(), true);
        case kCompressedMagic: {
            auto* unpacked = new InStreamBzip2(file.release(), true);
            auto* chunked = new InStreamChunked(unpacked, true);
            if (unpacked->IsDamaged()) chunked->Note("the compressed data is damaged");
            return chunked;
        }
        default:
            return nullptr;
    }
}

InStreamChunked* OpenChunkedInputRaw(const std::string& path) {
    auto file = std::make_unique<InStreamFile>(path);
    if (!file->IsOpen()) return nullptr;
    return new InStreamChunked(file.release(), true);
}

OutStream* OpenChunkedOutput(const std::string& path, i32 compression) {
    auto file = std::make_unique<OutStreamFile>(path);
    if (!file->IsOpen()) return nullptr;
    auto* chunked = new OutStreamChunked(file.release(), true);
    if (compression == kCompressionNone) chunked->WriteU32(kPlainMagic);
    if (compression == kCompressionBzip2) return new OutStreamBzip2(chunked, true);
    return chunked;
}

OutStream* OpenPackedOutput(const std::string& path) {
    auto file = std::make_unique<OutStreamFile>(path);
    if (!file->IsOpen()) return nullptr;
    return new OutStreamChunked(new OutStreamBzip2(file.release(), true), true);
}

}  // namespace osmio
