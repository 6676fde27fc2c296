#include "io/bzip2_stream.h"

#include <bzlib.h>

#include <algorithm>

#include "io/block.h"
#include "io/memory_stream.h"

namespace osmio {
namespace {

/// Appends what `packed` decompresses to, up to `limit` bytes, to `out`. False if bzip2 refuses it or it does
/// not end there.
bool Decompress(std::vector<u8>& packed, u64 limit, std::vector<u8>& out) {
    bz_stream stream{};
    if (BZ2_bzDecompressInit(&stream, 0, 0) != BZ_OK) return false;
    stream.next_in = reinterpret_cast<char*>(packed.data());
    stream.avail_in = static_cast<unsigned>(packed.size());
    int result = BZ_OK;
    std::size_t filled = 0;
    while (result == BZ_OK && filled < limit) {
        if (filled == out.size()) {
            const u64 step = std::max<u64>(256 << 10, filled);
            out.resize(static_cast<std::size_t>(std::min(limit, filled + step)));
        }
        stream.next_out = reinterpret_cast<char*>(out.data() + filled);
        stream.avail_out = static_cast<unsigned>(out.size() - filled);
        const unsigned before = stream.avail_out;
        result = BZ2_bzDecompress(&stream);
        filled += before - stream.avail_out;
        // Out of input without an end: the block was cut short.
        if (result == BZ_OK && stream.avail_in == 0 && before == stream.avail_out) break;
    }
    // With the output full bzip2 may still have to see the end of the stream, for which it needs no room.
    if (result == BZ_OK && filled == limit) {
        char none;
        stream.next_out = &none;
        stream.avail_out = 0;
        result = BZ2_bzDecompress(&stream);
    }
    BZ2_bzDecompressEnd(&stream);
    out.resize(filled);
    return result == BZ_STREAM_END;
}

}  // namespace

InStreamBzip2::InStreamBzip2(InStream* source, bool ownsSource)
    : InStreamComposite(new InStreamMemory(), true) {
    i32 dataSize = 0;
    i32 packedSize = 0;
    source->ReadI32(&dataSize);
    source->ReadI32(&packedSize);
    const u64 wanted = static_cast<u64>(std::max(dataSize, 0));
    const u32 present = std::min(static_cast<u32>(std::max(packedSize, 0)), source->Remaining());
    damaged = dataSize < 0 || packedSize < 0 || present < static_cast<u32>(packedSize);

    std::vector<u8> packed;
    ReadBlock(source, packed, static_cast<i32>(present), "compressed bytes");
    if (ownsSource) delete source;

    if (wanted > 0) {
        const u64 limit = std::min(wanted, present * kMaxRatio + kFreeBytes);
        if (!Decompress(packed, limit, buffer)) damaged = true;
        if (buffer.size() < wanted) {
            damaged = true;
            const u64 padded = std::min<u64>(wanted, buffer.size() * u64{2} + kFreeBytes);
            buffer.resize(static_cast<std::size_t>(padded));
        }
    }
    static_cast<InStreamMemory*>(inner)->Reset(buffer);
}

InStreamBzip2::~InStreamBzip2() = default;

OutStreamBzip2::OutStreamBzip2(OutStream* out, bool owns)
    : OutStreamComposite(new OutStreamMemory(), true), target(out), ownsTarget(owns) {}

OutStreamBzip2::~OutStreamBzip2() {
    if (target->IsOpen()) {
        std::vector<u8> data = static_cast<OutStreamMemory*>(inner)->GetData();
        std::vector<u8> packed(static_cast<std::size_t>(data.size() * u64{102} / 100 + 800));
        auto packedSize = static_cast<unsigned>(packed.size());
        char none = 0;
        char* from = data.empty() ? &none : reinterpret_cast<char*>(data.data());
        constexpr int kBlockSize = 1;
        constexpr int kWorkFactor = 30;
        BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(packed.data()), &packedSize, from,
                                 static_cast<unsigned>(data.size()), kBlockSize, 0, kWorkFactor);
        target->WriteU32(kCompressedMagic);
        target->WriteI32(static_cast<i32>(data.size()));
        target->WriteI32(static_cast<i32>(packedSize));
        target->WriteBytes(packed.data(), packedSize);
    }
    if (ownsTarget) delete target;
}

}  // namespace osmio
